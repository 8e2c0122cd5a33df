#include <gtest/gtest.h>

#include <vector>

#include "References.h"
#include "plugin/HostRecords.h"

namespace {

std::vector<UInt8> bytes_at(const auto& record, std::size_t offset, std::size_t count) {
  return {record.bytes.begin() + std::ptrdiff_t(offset),
          record.bytes.begin() + std::ptrdiff_t(offset + count)};
}

TEST(HostRecords, AcquireFieldsAreBigEndianAtTheirOffsets) {
  AcquireParams params{};
  Set(params, kAcquireImageMode, 3);
  Set(params, kAcquireImagePlanes, -2);
  Set(params, kAcquireHorizontalResolution, 19660800);
  Set(params, kAcquireDataRect, Rect{1, 2, 0x0304, -1});
  Set(params, kAcquireRowStep, 0x01020304);
  Set(params, kAcquireHostByte1090, 0xAB);
  Set(params, kAcquireDisplayProcs, 0xCAFEF00Du);

  EXPECT_EQ(bytes_at(params, 16, 2), (std::vector<UInt8>{0x00, 0x03}));
  EXPECT_EQ(bytes_at(params, 24, 2), (std::vector<UInt8>{0xFF, 0xFE}));
  EXPECT_EQ(bytes_at(params, 28, 4), (std::vector<UInt8>{0x01, 0x2C, 0x00, 0x00}));
  EXPECT_EQ(bytes_at(params, 808, 8),
            (std::vector<UInt8>{0x00, 0x01, 0x00, 0x02, 0x03, 0x04, 0xFF, 0xFF}));
  EXPECT_EQ(bytes_at(params, 824, 4), (std::vector<UInt8>{0x01, 0x02, 0x03, 0x04}));
  EXPECT_EQ(params.bytes[1090], 0xAB);
  EXPECT_EQ(bytes_at(params, 1212, 4), (std::vector<UInt8>{0xCA, 0xFE, 0xF0, 0x0D}));
  // Nothing else moved.
  std::size_t written = 2 + 2 + 4 + 8 + 4 + 1 + 4;
  std::size_t nonzero = 0;
  for (UInt8 b : params.bytes) nonzero += b != 0;
  EXPECT_LE(nonzero, written);
  EXPECT_EQ(Get(params, kAcquireImagePlanes), -2);
  Rect r = Get(params, kAcquireDataRect);
  EXPECT_EQ(r.bottom, 0x0304);
  EXPECT_EQ(r.right, -1);
}

TEST(HostRecords, ExportFieldsAreBigEndianAtTheirOffsets) {
  ExportParams params{};
  Set(params, kExportRequestRect, Rect{0, 0, 333, 1000});
  Set(params, kExportLastPlane, 2);
  Set(params, kExportDataPointer, 0x11223344u);
  Set(params, kExportModifiedFlag, 1);
  Set(params, kExportResourceProcs, 0x55667788u);

  EXPECT_EQ(bytes_at(params, 804, 10),
            (std::vector<UInt8>{0, 0, 0, 0, 0x01, 0x4D, 0x03, 0xE8, 0, 0}));
  EXPECT_EQ(bytes_at(params, 814, 6), (std::vector<UInt8>{0, 2, 0x11, 0x22, 0x33, 0x44}));
  EXPECT_EQ(params.bytes[1082], 1);
  EXPECT_EQ(bytes_at(params, 1156, 4), (std::vector<UInt8>{0x55, 0x66, 0x77, 0x88}));
  EXPECT_EQ(Get(params, kExportDataPointer), 0x11223344u);
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
