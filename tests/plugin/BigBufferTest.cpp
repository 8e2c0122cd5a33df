#include <gtest/gtest.h>

#include "MacErrors.h"
#include "MacMemory.h"
#include "plugin/BigBuffer.h"

namespace mem = tessel::platform::memory;

namespace {

// Sets how much each zone has free beyond what it already holds, restoring
// the budgets afterwards.
class BigBuffer : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_application_ = mem::zone_budget(ApplicZone());
    saved_temporary_ = mem::zone_budget(mem::temporary_zone());
  }
  void TearDown() override {
    mem::set_zone_budget(ApplicZone(), saved_application_);
    mem::set_zone_budget(mem::temporary_zone(), saved_temporary_);
  }
  static void give_free(std::int64_t application, std::int64_t temporary) {
    mem::set_zone_budget(ApplicZone(), mem::zone_used(ApplicZone()) + application);
    mem::set_zone_budget(mem::temporary_zone(), mem::zone_used(mem::temporary_zone()) + temporary);
  }

  struct Grant {
    OSErr err;
    SInt32 units;
    THz zone;
  };
  static Grant ask(SInt32 unitSize, SInt32 unitCount) {
    SInt32 units = -1;
    Ptr address = nullptr;
    OSErr err = AllocateBigBuffer(unitSize, unitCount, &units, &address);
    THz zone = nullptr;
    if (err == noErr) {
      zone = HandleZone(RecoverHandle(address));
      address[SInt64(units) * unitSize - 1] = 1;  // the whole grant is usable
      DisposeBigBuffer(address);
    } else {
      EXPECT_EQ(address, nullptr) << "nothing is handed out on failure";
      EXPECT_EQ(units, -1);
    }
    return {err, units, zone};
  }

 private:
  std::int64_t saved_application_ = 0;
  std::int64_t saved_temporary_ = 0;
};

}  // namespace

TEST_F(BigBuffer, TakesTheApplicationHeapWhenEverythingFits) {
  give_free(140000, 1000000);
  Grant grant = ask(1000, 50);
  EXPECT_EQ(grant.err, noErr);
  EXPECT_EQ(grant.units, 50);
  EXPECT_EQ(grant.zone, ApplicZone());
}

TEST_F(BigBuffer, TakesTheRoomierHeapWhenTheNeedDoesNotFit) {
  give_free(100000, 240000);
  Grant grant = ask(1000, 500);
  EXPECT_EQ(grant.err, noErr);
  EXPECT_EQ(grant.units, 200);
  EXPECT_EQ(grant.zone, mem::temporary_zone());

  give_free(100000, 50000);
  grant = ask(1000, 500);
  EXPECT_EQ(grant.units, 60);
  EXPECT_EQ(grant.zone, ApplicZone());
}

TEST_F(BigBuffer, RefusesWhenNotOneUnitFitsAboveTheReserve) {
  give_free(40999, 40999);
  EXPECT_EQ(ask(1000, 10).err, memFullErr);
  give_free(41000, 0);
  Grant grant = ask(1000, 10);
  EXPECT_EQ(grant.err, noErr);
  EXPECT_EQ(grant.units, 1);
}

TEST_F(BigBuffer, AllOrNothingWhenOneUnitIsTheWholeNeed) {
  give_free(1000000, 0);
  Ptr address = nullptr;
  EXPECT_EQ(AllocateBigBuffer(960000, 1, nullptr, &address), noErr);
  DisposeBigBuffer(address);
  address = nullptr;
  EXPECT_EQ(AllocateBigBuffer(960001, 1, nullptr, &address), memFullErr);
  EXPECT_EQ(address, nullptr);
}
