// The standard colour tables of the Toolbox, entry for entry: a program that
// draws an 8-bit icon expects exactly these colours behind its pixel values.
#include <array>

#include "QuickdrawInternal.h"

namespace {

constexpr UInt16 kSixLevels[6] = {0xFFFF, 0xCCCC, 0x9999, 0x6666, 0x3333, 0x0000};
// The ramps of the 8-bit table hold the levels the 6 x 6 x 6 cube lacks.
constexpr UInt16 kRampLevels[10] = {0xEEEE, 0xDDDD, 0xBBBB, 0xAAAA, 0x8888,
                                    0x7777, 0x5555, 0x4444, 0x2222, 0x1111};

constexpr RGBColor kFourBit[16] = {
    {0xFFFF, 0xFFFF, 0xFFFF}, {0xFC00, 0xF37D, 0x052F}, {0xFFFF, 0x648A, 0x028C},
    {0xDD6B, 0x08C2, 0x06A2}, {0xF2D7, 0x0856, 0x84EC}, {0x46E3, 0x0000, 0xA53E},
    {0x0000, 0x0000, 0xD400}, {0x0241, 0xAB54, 0xEAFF}, {0x1F21, 0xB793, 0x1431},
    {0x0000, 0x64AF, 0x11B0}, {0x5600, 0x2C9D, 0x0524}, {0x90D7, 0x7160, 0x3A34},
    {0xC000, 0xC000, 0xC000}, {0x8000, 0x8000, 0x8000}, {0x4000, 0x4000, 0x4000},
    {0x0000, 0x0000, 0x0000}};

constexpr RGBColor kTwoBit[4] = {
    {0xFFFF, 0xFFFF, 0xFFFF}, {0xACAC, 0xACAC, 0xACAC}, {0x5555, 0x5555, 0x5555}, {0, 0, 0}};

constexpr RGBColor kOneBit[2] = {{0xFFFF, 0xFFFF, 0xFFFF}, {0, 0, 0}};

// Entries 0..214: the cube from white down, blue varying fastest; 215..254:
// ten reds, greens, blues and greys; 255: black.
RGBColor eight_bit_entry(int index) {
  if (index < 215) {
    return RGBColor{kSixLevels[index / 36], kSixLevels[(index / 6) % 6], kSixLevels[index % 6]};
  }
  if (index == 255) return RGBColor{0, 0, 0};
  int ramp = (index - 215) / 10;
  UInt16 level = kRampLevels[(index - 215) % 10];
  switch (ramp) {
    case 0: return RGBColor{level, 0, 0};
    case 1: return RGBColor{0, level, 0};
    case 2: return RGBColor{0, 0, level};
    default: return RGBColor{level, level, level};
  }
}

RGBColor standard_entry(int depth, int index) {
  switch (depth) {
    case 1: return kOneBit[index];
    case 2: return kTwoBit[index];
    case 4: return kFourBit[index];
    default: return eight_bit_entry(index);
  }
}

}  // namespace

CTabHandle GetCTable(SInt16 ctID) {
  if (ctID != 1 && ctID != 2 && ctID != 4 && ctID != 8) return nullptr;
  int count = 1 << ctID;
  CTabHandle table = tessel::platform::quickdraw::new_record<ColorTable>();
  (**table).ctSeed = ctID;
  (**table).ctFlags = 0;
  (**table).ctSize = SInt16(count - 1);
  for (int i = 0; i < count; ++i) {
    (**table).ctTable[i] = ColorSpec{SInt16(i), standard_entry(ctID, i)};
  }
  return table;
}

void DisposeCTable(CTabHandle table) { tessel::platform::quickdraw::dispose_record(table); }
