#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "References.h"
#include "records/HostRecords.h"

namespace {

std::vector<UInt8> bytes_at(const auto& record, std::size_t offset, std::size_t count) {
  return {record.bytes.begin() + std::ptrdiff_t(offset),
          record.bytes.begin() + std::ptrdiff_t(offset + count)};
}

// Every byte written is nonzero, so that a field one byte too wide or
// misplaced shows as a byte too many or in the wrong place.
TEST(HostRecords, FieldsAreBigEndianAndTouchOnlyTheirOwnBytes) {
  AcquireParams params{};
  Set(params, kAcquireImagePlanes, -2);
  Set(params, kAcquireDataRect, Rect{0x0101, 0x0202, 0x0304, -1});
  Set(params, kAcquireRowStep, 0x01020304);
  Set(params, kAcquireHostByte1090, 0xAB);
  Set(params, kAcquirePresetSelection, VRect{0x01020304, 0x05060708, 0x090A0B0C, -2});
  Set(params, kAcquireBigDocuments, 0x11121314u);
  Set(params, kAcquireImageRows32, 0x21222324);
  Set(params, kAcquireImageColumns32, 0x31323334);
  Set(params, kAcquireDataRect32, VRect{0x41424344, 0x45464748, 0x494A4B4C, 0x4D4E4F50});

  EXPECT_EQ(bytes_at(params, kAcquireImagePlanes.offset, 2), (std::vector<UInt8>{0xFF, 0xFE}));
  EXPECT_EQ(bytes_at(params, kAcquireDataRect.offset, 8),
            (std::vector<UInt8>{0x01, 0x01, 0x02, 0x02, 0x03, 0x04, 0xFF, 0xFF}));
  EXPECT_EQ(bytes_at(params, kAcquireRowStep.offset, 4),
            (std::vector<UInt8>{0x01, 0x02, 0x03, 0x04}));
  EXPECT_EQ(params.bytes[kAcquireHostByte1090.offset], 0xAB);
  EXPECT_EQ(bytes_at(params, 1100, 16),
            (std::vector<UInt8>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0xFF, 0xFF, 0xFF, 0xFE}));
  std::vector<UInt8> extension;
  for (UInt8 b = 0x11; b <= 0x14; ++b) extension.push_back(b);
  for (UInt8 b = 0x21; b <= 0x24; ++b) extension.push_back(b);
  for (UInt8 b = 0x31; b <= 0x34; ++b) extension.push_back(b);
  for (UInt8 b = 0x41; b <= 0x50; ++b) extension.push_back(b);
  EXPECT_EQ(bytes_at(params, 1116, 28), extension);
  EXPECT_EQ(std::ranges::count_if(params.bytes, [](UInt8 b) { return b != 0; }),
            2 + 8 + 4 + 1 + 16 + 28);

  ExportParams request{};
  Set(request, kExportRowStep, -1);
  Set(request, kExportBigDocuments, 0x11121314u);
  Set(request, kExportImageRows32, 0x21222324);
  Set(request, kExportImageColumns32, 0x31323334);
  Set(request, kExportRequestRect32, VRect{0x41424344, 0x45464748, 0x494A4B4C, 0x4D4E4F50});
  Set(request, kExportModifiedFlag, 0xAB);
  EXPECT_EQ(bytes_at(request, 820, 4), (std::vector<UInt8>{0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(bytes_at(request, 824, 28), extension);
  EXPECT_EQ(request.bytes[1082], 0xAB);
  EXPECT_EQ(std::ranges::count_if(request.bytes, [](UInt8 b) { return b != 0; }), 4 + 28 + 1);
  EXPECT_EQ(Get(params, kAcquireImagePlanes), -2);
  EXPECT_EQ(Get(params, kAcquireDataRect).right, -1);
  EXPECT_EQ(Get(params, kAcquireRowStep), 0x01020304);
  EXPECT_EQ(Get(params, kAcquirePresetSelection).left, 0x05060708);
  EXPECT_EQ(Get(params, kAcquirePresetSelection).right, -2);
}

// Sizes and rectangles the big-document extension doubles: the classic
// field always gets the low 16 bits; the 32-bit one is written and read only
// when the host has said it takes the extension, since otherwise its bytes
// are the host's.
TEST(HostRecords, WideFieldsFollowTheHostsExtension) {
  for (UInt32 version : {0u, kBigDocumentsVersion}) {
    SCOPED_TRACE(version);
    ExportParams params{};
    Set(params, kExportBigDocuments, version);
    Set(params, kExportImageColumns32, 0x5A5A5A5A);  // the host's, until the extension
    Set(params, kExportDocumentColumns, 100000);
    Set(params, kExportRequestedRect, VRect{70000, 0, 70005, 100000});
    EXPECT_EQ(Get(params, kExportImageColumns), SInt16(100000 - 65536));
    EXPECT_EQ(Get(params, kExportRequestRect).top, SInt16(70000 - 65536));
    EXPECT_EQ(Get(params, kExportRequestRect).bottom, SInt16(70005 - 65536));
    if (version == 0) {
      EXPECT_EQ(Get(params, kExportImageColumns32), 0x5A5A5A5A);
      EXPECT_EQ(Get(params, kExportDocumentColumns), SInt16(100000 - 65536));
      EXPECT_EQ(Get(params, kExportRequestRect32).bottom, 0);
    } else {
      EXPECT_EQ(Get(params, kExportDocumentColumns), 100000);
      EXPECT_EQ(Get(params, kExportRequestedRect).bottom, 70005);
      EXPECT_EQ(Get(params, kExportRequestedRect).right, 100000);
    }
  }
}

TEST(HostRecords, DocumentNameKeepsItsLengthByteAndClearsTheRest) {
  AcquireParams params{};
  std::fill(params.bytes.begin() + 832, params.bytes.begin() + 1088, UInt8(0x77));
  const unsigned char name[] =
      "\x03"
      "abc";
  Set(params, kAcquireDocumentName, name);

  EXPECT_EQ(bytes_at(params, 832, 5), (std::vector<UInt8>{3, 'a', 'b', 'c', 0}));
  EXPECT_EQ(params.bytes[1087], 0);
  EXPECT_EQ(params.bytes[1088], 0);  // the host's field after it is untouched
  Str255 back;
  Get(params, kAcquireDocumentName, back);
  EXPECT_EQ(std::vector<UInt8>(back, back + 4), (std::vector<UInt8>{3, 'a', 'b', 'c'}));
}

int answer = 0;
UInt8 give_answer() { return UInt8(answer); }

TEST(References, StandForTheirPointerUntilDisposedOf) {
  int a = 0, b = 0;
  UInt32 ra = NewReference(&a);
  EXPECT_NE(ra, 0u);
  EXPECT_EQ(NewReference(&a), ra);
  EXPECT_NE(NewReference(&b), ra);
  EXPECT_EQ(NewReference(nullptr), 0u);
  EXPECT_EQ(ReferencePointer(ra), &a);
  EXPECT_EQ(ReferencePointer(0), nullptr);

  DisposeReference(ra);
  EXPECT_EQ(ReferencePointer(ra), nullptr);
  UInt32 again = NewReference(&a);
  EXPECT_NE(again, ra);  // a stale reference never comes to mean something else
  EXPECT_EQ(ReferencePointerAs<int>(again), &a);
}

TEST(References, KeepCallbacksApartFromData) {
  UInt32 proc = NewProcReference(&give_answer);
  EXPECT_EQ(NewProcReference(&give_answer), proc);
  EXPECT_EQ(ReferencePointer(proc), nullptr);
  answer = 42;
  EXPECT_EQ(ReferenceProcAs<TestAbortProc>(proc)(), 42);
  int data = 0;
  EXPECT_EQ(ReferenceProc(NewReference(&data)), nullptr);
}

}  // namespace
