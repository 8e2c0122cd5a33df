#include <gtest/gtest.h>

#include <cstring>

#include "MacErrors.h"
#include "MacMemory.h"

namespace mem = tessel::platform::memory;

namespace {

// Gives both zones small budgets for one test and puts them back afterwards.
class SmallZones : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_application_ = mem::zone_budget(ApplicZone());
    saved_temporary_ = mem::zone_budget(mem::temporary_zone());
    mem::set_zone_budget(ApplicZone(), 100000 + mem::zone_used(ApplicZone()));
    mem::set_zone_budget(mem::temporary_zone(), 50000 + mem::zone_used(mem::temporary_zone()));
    SetZone(ApplicZone());
  }
  void TearDown() override {
    mem::set_zone_budget(ApplicZone(), saved_application_);
    mem::set_zone_budget(mem::temporary_zone(), saved_temporary_);
  }

 private:
  std::int64_t saved_application_ = 0;
  std::int64_t saved_temporary_ = 0;
};

}  // namespace

TEST_F(SmallZones, AllocationsBeyondTheBudgetFailAndMaxBlockFollowsTheRest) {
  EXPECT_EQ(NewHandle(100001), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
  EXPECT_EQ(NewPtrClear(200000), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
  Handle exact = NewHandle(100000);
  EXPECT_NE(exact, nullptr);
  EXPECT_EQ(MemError(), noErr);
  DisposeHandle(exact);

  EXPECT_EQ(MaxBlock(), 100000);
  Handle h = NewHandle(60000);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(MaxBlock(), 40000);
  Ptr p = NewPtr(1000);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(MaxBlock(), 39000);
  DisposeHandle(h);
  DisposePtr(p);
  EXPECT_EQ(MaxBlock(), 100000);
}

TEST_F(SmallZones, TemporaryMemoryHasItsOwnZoneAndBudget) {
  OSErr err = 1;
  Handle probe = TempNewHandle(0, &err);
  ASSERT_NE(probe, nullptr);
  EXPECT_EQ(err, noErr);
  THz temporary = HandleZone(probe);
  EXPECT_EQ(temporary, mem::temporary_zone());
  EXPECT_NE(temporary, ApplicZone());
  DisposeHandle(probe);

  SetZone(temporary);
  EXPECT_EQ(MaxBlock(), 50000);
  SetZone(ApplicZone());

  EXPECT_EQ(TempNewHandle(50001, &err), nullptr);
  EXPECT_EQ(err, memFullErr);
  Handle fits = TempNewHandle(50000, &err);
  ASSERT_NE(fits, nullptr);
  EXPECT_EQ(MaxBlock(), 100000) << "temporary memory must not be charged to the application heap";
  DisposeHandle(fits);
}

TEST_F(SmallZones, SetHandleSizeChargesTheZoneAndRefusesToMoveLockedBlocks) {
  Handle h = NewHandleClear(10);
  ASSERT_NE(h, nullptr);
  std::memcpy(*h, "abcdefghij", 10);
  SetHandleSize(h, 90000);
  ASSERT_EQ(MemError(), noErr);
  EXPECT_EQ(GetHandleSize(h), 90000);
  EXPECT_EQ(std::memcmp(*h, "abcdefghij", 10), 0) << "contents survive a resize";
  EXPECT_EQ(MaxBlock(), 10000);
  SetHandleSize(h, 100001);
  EXPECT_EQ(MemError(), memFullErr);
  EXPECT_EQ(GetHandleSize(h), 90000);

  HLock(h);
  SetHandleSize(h, 95000);
  EXPECT_EQ(MemError(), memFullErr);
  SetHandleSize(h, 5);
  EXPECT_EQ(MemError(), noErr) << "a locked block may still shrink";
  HUnlock(h);
  DisposeHandle(h);
}

TEST(MacMemory, RecoverHandleFindsTheMasterPointerOnlyForHandles) {
  Handle h = NewHandle(64);
  ASSERT_NE(h, nullptr);
  HLock(h);
  EXPECT_EQ(RecoverHandle(StripAddress(*h)), h);
  Ptr p = NewPtr(64);
  EXPECT_EQ(RecoverHandle(p), nullptr);
  EXPECT_EQ(MemError(), memWZErr);
  EXPECT_EQ(GetPtrSize(p), 64);
  DisposePtr(p);
  DisposeHandle(h);
}

TEST(MacMemory, ClearedBlocksAreZeroAndDisposedHandlesAreRejected) {
  Ptr p = NewPtrClear(48);
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 48; ++i) EXPECT_EQ(p[i], 0);
  DisposePtr(p);

  Handle h = NewHandleClear(0);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(GetHandleSize(h), 0);
  DisposeHandle(h);
  EXPECT_EQ(GetHandleSize(h), 0);
  EXPECT_EQ(MemError(), memWZErr);
  EXPECT_EQ(GetHandleSize(nullptr), 0);
  EXPECT_EQ(MemError(), nilHandleErr);
}

TEST(MacMemory, BlockMoveHandlesOverlap) {
  char bytes[] = "abcdef";
  BlockMove(bytes, bytes + 1, 5);
  EXPECT_STREQ(bytes, "aabcde");
  BlockMove(bytes + 1, bytes, 5);
  EXPECT_STREQ(bytes, "abcdee");
}
