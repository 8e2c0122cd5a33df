#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "MacMemory.h"
#include "support/MemoryUtilities.h"
#include "support/ZoneBudgets.h"

namespace {

namespace mem = tessel::platform::memory;

struct Record {
  SInt32 count;
  Ptr data;
};

TEST(MemoryUtilities, BlocksAreZeroFilledEvenWhenReusingFreedMemory) {
  for (int round = 0; round < 2; ++round) {
    Ptr block = nullptr;
    ASSERT_EQ(AllocateMemory(48, &block), noErr);
    ASSERT_NE(block, nullptr);
    SInt32 size = -1;
    EXPECT_EQ(SizeOfMemory(block, &size), noErr);
    EXPECT_EQ(size, 48);
    for (int i = 0; i < 48; ++i) EXPECT_EQ(block[i], 0) << "byte " << i << ", round " << round;
    SetMemory(block, 48, 0xA5);
    EXPECT_EQ(DisposeMemory(block), noErr);
  }
}

TEST(MemoryUtilities, DisposingGivesTheBytesBackAndAcceptsNull) {
  std::int64_t before = mem::zone_used(ApplicZone());
  Record* record = nullptr;
  ASSERT_EQ(AllocateMemory(SInt32{sizeof(Record)}, &record), noErr);
  EXPECT_EQ(record->count, 0);
  EXPECT_EQ(record->data, nullptr);
  EXPECT_GT(mem::zone_used(ApplicZone()), before);
  EXPECT_EQ(DisposeMemory(record), noErr);
  EXPECT_EQ(mem::zone_used(ApplicZone()), before);
  EXPECT_EQ(DisposeMemory(nullptr), noErr);
}

TEST(MemoryUtilities, FailedAllocationReportsTheHeapErrorAndKeepsTheOutPointer) {
  tessel::testing::ZoneBudgets budgets;
  budgets.leave_free(64, 1 << 20);  // no way round the full heap
  char sentinel = 0;
  Ptr block = &sentinel;
  EXPECT_EQ(AllocateMemory(65, &block), memFullErr);
  EXPECT_EQ(block, &sentinel);

  Record stale{};
  Record* record = &stale;
  EXPECT_EQ(AllocateMemory(1000, &record), memFullErr);
  EXPECT_EQ(record, &stale);

  SInt32 size = 77;
  EXPECT_NE(SizeOfMemory(nullptr, &size), noErr);
  EXPECT_EQ(size, 77);
}

TEST(MemoryUtilities, MoveMemoryCopiesSourceToDestinationAcrossOverlaps) {
  std::array<UInt8, 8> bytes{1, 2, 3, 4, 5, 6, 7, 8};
  MoveMemory(bytes.data(), bytes.data() + 1, 6);
  EXPECT_EQ(bytes, (std::array<UInt8, 8>{1, 1, 2, 3, 4, 5, 6, 8}));
  MoveMemory(bytes.data() + 2, bytes.data(), 6);
  EXPECT_EQ(bytes, (std::array<UInt8, 8>{2, 3, 4, 5, 6, 8, 6, 8}));
}

TEST(MemoryUtilities, SetMemoryStoresExactlyCountBytes) {
  std::array<UInt8, 6> bytes{};
  SetMemory(bytes.data() + 1, 4, 0xFF);
  EXPECT_EQ(bytes, (std::array<UInt8, 6>{0, 0xFF, 0xFF, 0xFF, 0xFF, 0}));
  SetMemory(bytes.data(), -5, 7);
  SetMemory(bytes.data(), 0, 7);
  EXPECT_EQ(bytes, (std::array<UInt8, 6>{0, 0xFF, 0xFF, 0xFF, 0xFF, 0}));
}

}  // namespace
