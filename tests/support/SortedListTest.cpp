#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "MacErrors.h"
#include "MacMemory.h"
#include "support/SortedList.h"
#include "support/ZoneBudgets.h"

namespace {

using Pairs = std::vector<std::pair<SInt32, SInt32>>;

// Builds a list of that capacity from the pairs and reads it back by rank.
Pairs insertedAndReadBack(SInt32 capacity, const Pairs& pairs) {
  SortedList* list = nullptr;
  EXPECT_EQ(AllocateSortedList(capacity, &list), noErr);
  if (list == nullptr) return {};
  for (auto [key, value] : pairs) InsertSortedListElement(list, key, value);
  EXPECT_EQ(GetSortedListMaxElements(list), capacity);
  Pairs read;
  for (SInt32 rank = 0; rank < GetSortedListNumElements(list); ++rank) {
    read.emplace_back(GetSortedListKeyByIndex(list, rank), GetSortedListValueByIndex(list, rank));
  }
  DisposeSortedList(list);
  return read;
}

TEST(SortedList, AFullListDropsFurtherPairs) {
  EXPECT_EQ(insertedAndReadBack(2, {{5, 0}, {6, 1}, {1, 2}}), (Pairs{{5, 0}, {6, 1}}));
}

TEST(SortedList, RanksOutsideTheListStayOnTheChain) {
  SortedList* list = nullptr;
  ASSERT_EQ(AllocateSortedList(4, &list), noErr);
  EXPECT_EQ(GetSortedListValueByIndex(list, 0), 0);
  InsertSortedListElement(list, 20, 200);
  InsertSortedListElement(list, 10, 100);
  EXPECT_EQ(GetSortedListValueByIndex(list, -3), 100);
  EXPECT_EQ(GetSortedListValueByIndex(list, 2), 0);
  EXPECT_EQ(GetSortedListKeyByIndex(list, 3), 0);
  EXPECT_EQ(DisposeSortedList(list), noErr);
}

TEST(SortedList, RefusedCapacitiesLeaveTheOutPointerAlone) {
  SortedList sentinel{};
  SortedList* list = &sentinel;
  EXPECT_EQ(AllocateSortedList(0, &list), 1);
  EXPECT_EQ(AllocateSortedList(-1, &list), 1);
  // 2^28 slots of 16 bytes wrap a 32-bit size to just the header.
  EXPECT_EQ(AllocateSortedList(1 << 28, &list), memFullErr);
  EXPECT_EQ(AllocateSortedList(INT32_MAX, &list), memFullErr);
  EXPECT_EQ(list, &sentinel);

  tessel::testing::ZoneBudgets budgets;
  budgets.leave_free(1000, 1 << 20);
  EXPECT_EQ(AllocateSortedList(1000, &list), memFullErr);
  EXPECT_EQ(list, &sentinel);
}

TEST(SortedList, RandomInsertionsMatchAStableSort) {
  std::mt19937 random(7351);
  for (int round = 0; round < 500; ++round) {
    SInt32 capacity = std::uniform_int_distribution<SInt32>(1, 40)(random);
    std::size_t inserted = std::uniform_int_distribution<std::size_t>(0, 50)(random);
    SInt32 spread = round % 2 == 0 ? 8 : INT32_MAX;
    std::uniform_int_distribution<SInt32> keys(-spread, spread);
    Pairs pairs;
    for (std::size_t i = 0; i < inserted; ++i) pairs.emplace_back(keys(random), SInt32(i));

    Pairs expected(pairs.begin(), pairs.begin() + std::min<std::size_t>(inserted, capacity));
    std::stable_sort(expected.begin(), expected.end(),
                     [](auto& a, auto& b) { return a.first < b.first; });
    ASSERT_EQ(insertedAndReadBack(capacity, pairs), expected) << "round " << round;
  }
}

}  // namespace
