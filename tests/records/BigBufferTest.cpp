#include <gtest/gtest.h>

#include "MacErrors.h"
#include "MacMemory.h"
#include "records/BigBuffer.h"
#include "support/ZoneBudgets.h"

namespace mem = tessel::platform::memory;

namespace {

class BigBuffer : public ::testing::Test {
 protected:
  tessel::testing::ZoneBudgets budgets;

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
};

}  // namespace

// The application heap when the whole need fits there, else the roomier
// heap; at least one unit above the reserve, or nothing.
TEST_F(BigBuffer, TakesTheHeapThatFitsOrRefuses) {
  struct Case {
    std::int64_t applicationFree, temporaryFree;
    SInt32 unitCount;
    OSErr err;
    SInt32 units;
    bool application;
  };
  const Case cases[] = {{140000, 1000000, 50, noErr, 50, true},
                        {100000, 240000, 500, noErr, 200, false},
                        {100000, 50000, 500, noErr, 60, true},
                        {40999, 40999, 10, memFullErr, -1, false},
                        {41000, 0, 10, noErr, 1, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.applicationFree);
    budgets.leave_free(c.applicationFree, c.temporaryFree);
    Grant grant = ask(1000, c.unitCount);
    EXPECT_EQ(grant.err, c.err);
    EXPECT_EQ(grant.units, c.units);
    THz zone = c.err != noErr ? nullptr : c.application ? ApplicZone() : mem::temporary_zone();
    EXPECT_EQ(grant.zone, zone);
  }
}

TEST_F(BigBuffer, AllOrNothingWhenOneUnitIsTheWholeNeed) {
  budgets.leave_free(1000000, 0);
  Ptr address = nullptr;
  EXPECT_EQ(AllocateBigBuffer(960000, 1, nullptr, &address), noErr);
  DisposeBigBuffer(address);
  address = nullptr;
  EXPECT_EQ(AllocateBigBuffer(960001, 1, nullptr, &address), memFullErr);
  EXPECT_EQ(address, nullptr);
}
