// The host's parameter records, shared by the host program and the plug-in.
//
// Both records keep the classic layout that the entry points' protocol fixes:
// a block of bytes with big-endian fields at fixed offsets. Every field is
// read and written through one typed descriptor (offset and width), never by
// casting a struct over the bytes. Pointer, callback and procs fields are 4
// bytes wide and hold references from the platform's reference table
// (References.h); 0 stands for null. The plug-in's data slot holds a
// reference in the same way.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <type_traits>

#include "ByteOrder.h"
#include "MacTypes.h"

// Records are zero-filled when value-initialised: `AcquireParams params{};`.
struct AcquireParams {
  std::array<UInt8, 1216> bytes;
};

struct ExportParams {
  std::array<UInt8, 1160> bytes;
};

template <typename Record>
concept HostRecord = std::is_same_v<Record, AcquireParams> || std::is_same_v<Record, ExportParams>;

// A field of type T at offset. T is SInt16, UInt16, SInt32, UInt32 (also used
// for references), UInt8 (byte fields and flags), Rect (four 16-bit values:
// top, left, bottom, right), VRect (the same as four 32-bit values) or Str255
// (256 bytes, a length byte first).
template <typename T>
struct HostField {
  std::size_t offset;
  static constexpr std::size_t width = sizeof(T);
};

// ---------------------------------------------------------------------------
// The entry points' protocol

// A slot the host keeps from call to call for the plug-in's state record: a
// reference, 0 until the plug-in stores one.
using PluginDataSlot = UInt32;

constexpr SInt16 kSelectorAbout = 0;
constexpr SInt16 kSelectorStart = 1;
constexpr SInt16 kSelectorContinue = 2;
constexpr SInt16 kSelectorFinish = 3;
constexpr SInt16 kSelectorPrepare = 4;

// The module's exported entry points (C linkage), as the host finds them.
using AcquireEntryProc = void (*)(SInt16 selector, AcquireParams* params, PluginDataSlot* data,
                                  SInt16* result);
using ExportEntryProc = void (*)(SInt16 selector, ExportParams* params, PluginDataSlot* data,
                                 SInt16* result);
// Returns a Str255 owned by the module.
using TrapMessageProc = unsigned char* (*)();
constexpr const char* kAcquireEntryName = "ts_acquire_main";
constexpr const char* kExportEntryName = "ts_export_main";
constexpr const char* kTrapMessageName = "trap_message";

// Callbacks the host gives directly in both records (as references).
// testAbort answers nonzero when the user asked to stop.
using TestAbortProc = UInt8 (*)();
using UpdateProgressProc = void (*)(SInt32 done, SInt32 total);

// ---------------------------------------------------------------------------
// AcquireParams fields

constexpr HostField<UInt32> kAcquireTestAbort{4};
constexpr HostField<UInt32> kAcquireUpdateProgress{8};
constexpr HostField<SInt32> kAcquireMemoryLimit{12};
constexpr HostField<SInt16> kAcquireImageMode{16};
constexpr HostField<SInt16> kAcquireImageRows{18};
constexpr HostField<SInt16> kAcquireImageColumns{20};
constexpr HostField<SInt16> kAcquireImageDepth{22};
constexpr HostField<SInt16> kAcquireImagePlanes{24};
constexpr HostField<SInt32> kAcquireHorizontalResolution{28};  // 16.16 fixed point
constexpr HostField<SInt32> kAcquireVerticalResolution{32};    // 16.16 fixed point
constexpr HostField<UInt32> kAcquireDataPointer{804};
constexpr HostField<Rect> kAcquireDataRect{808};
constexpr HostField<SInt16> kAcquireFirstPlane{816};
constexpr HostField<SInt16> kAcquireLastPlane{818};
constexpr HostField<SInt16> kAcquireColumnStep{820};
constexpr HostField<SInt32> kAcquireRowStep{824};
constexpr HostField<SInt32> kAcquirePlaneStep{828};
constexpr HostField<Str255> kAcquireDocumentName{832};  // UTF-8, at most 31 bytes
// Two fields whose meaning belongs to the host; the plug-in clears them at start.
constexpr HostField<SInt16> kAcquireHostWord1088{1088};
constexpr HostField<UInt8> kAcquireHostByte1090{1090};
constexpr HostField<UInt32> kAcquireDialogPlatformData{1092};
// A rectangle of the image, in image pixels, that start takes as the user's
// choice instead of running the selection dialog, so that a host which
// already knows the rectangle runs the very same acquire without a dialog.
// All four zero: none, the dialog runs. Written by the host before start.
constexpr HostField<VRect> kAcquirePresetSelection{1100};
// The big-document extension: the host writes kBigDocumentsVersion here
// before prepare when it reads the 32-bit fields below (0: it does not).
constexpr HostField<UInt32> kAcquireBigDocuments{1116};
constexpr HostField<SInt32> kAcquireImageRows32{1120};
constexpr HostField<SInt32> kAcquireImageColumns32{1124};
constexpr HostField<VRect> kAcquireDataRect32{1128};
constexpr HostField<UInt32> kAcquireBufferProcs{1196};    // HostBufferProcs*
constexpr HostField<UInt32> kAcquireResourceProcs{1200};  // HostResourceProcs*
constexpr HostField<UInt32> kAcquireProcessEvent{1204};
constexpr HostField<UInt32> kAcquireDisplayProcs{1212};  // DisplayPixelsProc

// A band of 8-bit samples handed to the host's pixel-display routine: ten
// 4-byte fields at offsets 0 to 36. The address of the first sample is a
// reference (References.h), like every pointer the host records carry.
struct DisplayPixelMap {
  SInt32 version;    // 0
  VRect bounds;      // the band: top 0, left 0, bottom rows, right columns
  SInt32 imageMode;  // 1 grayscale, 3 RGB, 4 CMYK, 9 Lab
  SInt32 rowBytes;
  SInt32 colBytes;  // 1 planar, else the bytes of one pixel
  SInt32 planeBytes;
  UInt32 baseAddr;  // reference to the sample at bounds' top-left, first plane
};
static_assert(sizeof(DisplayPixelMap) == 40 && offsetof(DisplayPixelMap, baseAddr) == 36);

// Draws source rectangle srcRect of the band into the current port with its
// top-left at (dstRow, dstCol). The result is the host's; callers may ignore it.
using DisplayPixelsProc = OSErr (*)(const DisplayPixelMap* source, const VRect* srcRect,
                                    SInt32 dstRow, SInt32 dstCol, void* platformContext);

// ---------------------------------------------------------------------------
// ExportParams fields

constexpr HostField<UInt32> kExportTestAbort{4};
constexpr HostField<UInt32> kExportUpdateProgress{8};
constexpr HostField<SInt32> kExportMemoryLimit{12};
constexpr HostField<SInt16> kExportImageMode{16};
constexpr HostField<SInt16> kExportImageRows{18};
constexpr HostField<SInt16> kExportImageColumns{20};
constexpr HostField<SInt16> kExportImagePlanes{24};
constexpr HostField<Rect> kExportRequestRect{804};
constexpr HostField<SInt16> kExportFirstPlane{812};
constexpr HostField<SInt16> kExportLastPlane{814};
constexpr HostField<UInt32> kExportDataPointer{816};
constexpr HostField<SInt32> kExportRowStep{820};
// The big-document extension, as in AcquireParams: the host writes
// kBigDocumentsVersion and the document's 32-bit size; the plug-in answers
// in the 32-bit request.
constexpr HostField<UInt32> kExportBigDocuments{824};
constexpr HostField<SInt32> kExportImageRows32{828};
constexpr HostField<SInt32> kExportImageColumns32{832};
constexpr HostField<VRect> kExportRequestRect32{836};
constexpr HostField<UInt8> kExportModifiedFlag{1082};
constexpr HostField<UInt32> kExportBufferProcs{1152};    // HostBufferProcs*
constexpr HostField<UInt32> kExportResourceProcs{1156};  // HostResourceProcs*

// ---------------------------------------------------------------------------
// The big-document extension

constexpr UInt32 kBigDocumentsVersion = 1;

// The largest side a host without the extension can take.
constexpr SInt32 kLargestClassicSide = 32767;

// A size or rectangle the records carry twice: in the classic 16-bit field
// and, when the host has set the extension's field, in a 32-bit one.
template <typename Narrow, typename Wide>
struct WideHostField {
  HostField<UInt32> extension;
  HostField<Narrow> narrow;
  HostField<Wide> wide;
};

constexpr WideHostField<SInt16, SInt32> kAcquireDocumentRows{
    kAcquireBigDocuments, kAcquireImageRows, kAcquireImageRows32};
constexpr WideHostField<SInt16, SInt32> kAcquireDocumentColumns{
    kAcquireBigDocuments, kAcquireImageColumns, kAcquireImageColumns32};
constexpr WideHostField<Rect, VRect> kAcquireDeliveredRect{kAcquireBigDocuments, kAcquireDataRect,
                                                           kAcquireDataRect32};
constexpr WideHostField<SInt16, SInt32> kExportDocumentRows{kExportBigDocuments, kExportImageRows,
                                                            kExportImageRows32};
constexpr WideHostField<SInt16, SInt32> kExportDocumentColumns{
    kExportBigDocuments, kExportImageColumns, kExportImageColumns32};
constexpr WideHostField<Rect, VRect> kExportRequestedRect{kExportBigDocuments, kExportRequestRect,
                                                          kExportRequestRect32};

// ---------------------------------------------------------------------------
// Access

namespace tessel::plugin::host_records {

template <typename T>
constexpr T decode(std::span<const UInt8> bytes) {
  using platform::read_big16;
  using platform::read_big32;
  if constexpr (std::is_same_v<T, Rect>) {
    return Rect{SInt16(read_big16(bytes)), SInt16(read_big16(bytes.subspan(2))),
                SInt16(read_big16(bytes.subspan(4))), SInt16(read_big16(bytes.subspan(6)))};
  } else if constexpr (std::is_same_v<T, VRect>) {
    return VRect{SInt32(read_big32(bytes)), SInt32(read_big32(bytes.subspan(4))),
                 SInt32(read_big32(bytes.subspan(8))), SInt32(read_big32(bytes.subspan(12)))};
  } else if constexpr (sizeof(T) == 1) {
    return T(bytes[0]);
  } else if constexpr (sizeof(T) == 2) {
    return T(read_big16(bytes));
  } else {
    static_assert(sizeof(T) == 4);
    return T(read_big32(bytes));
  }
}

template <typename T>
constexpr void encode(std::span<UInt8> bytes, T value) {
  using platform::write_big16;
  using platform::write_big32;
  if constexpr (std::is_same_v<T, Rect>) {
    write_big16(bytes, UInt16(value.top));
    write_big16(bytes.subspan(2), UInt16(value.left));
    write_big16(bytes.subspan(4), UInt16(value.bottom));
    write_big16(bytes.subspan(6), UInt16(value.right));
  } else if constexpr (std::is_same_v<T, VRect>) {
    write_big32(bytes, UInt32(value.top));
    write_big32(bytes.subspan(4), UInt32(value.left));
    write_big32(bytes.subspan(8), UInt32(value.bottom));
    write_big32(bytes.subspan(12), UInt32(value.right));
  } else if constexpr (sizeof(T) == 1) {
    bytes[0] = UInt8(value);
  } else if constexpr (sizeof(T) == 2) {
    write_big16(bytes, UInt16(value));
  } else {
    static_assert(sizeof(T) == 4);
    write_big32(bytes, UInt32(value));
  }
}

template <typename Record, typename T>
constexpr bool fits(HostField<T> field) {
  return field.offset + HostField<T>::width <= sizeof(Record::bytes);
}

}  // namespace tessel::plugin::host_records

template <HostRecord Record, typename T>
requires(!std::is_array_v<T>) constexpr T Get(const Record& record, HostField<T> field) {
  return tessel::plugin::host_records::decode<T>(
      std::span<const UInt8>(record.bytes).subspan(field.offset, HostField<T>::width));
}

template <HostRecord Record, typename T>
requires(!std::is_array_v<T>) constexpr void Set(Record& record, HostField<T> field,
                                                 std::type_identity_t<T> value) {
  tessel::plugin::host_records::encode<T>(
      std::span<UInt8>(record.bytes).subspan(field.offset, HostField<T>::width), value);
}

// True when the host has said it takes the big-document extension.
template <HostRecord Record>
constexpr bool TakesBigDocuments(const Record& record, HostField<UInt32> extension) {
  return Get(record, extension) >= kBigDocumentsVersion;
}

namespace tessel::plugin::host_records {

constexpr SInt32 widen(SInt16 value) { return value; }
constexpr VRect widen(const Rect& r) { return VRect{r.top, r.left, r.bottom, r.right}; }
// The low 16 bits, as a host without the extension has always been given.
constexpr SInt16 narrow(SInt32 value) { return SInt16(UInt16(UInt32(value))); }
constexpr Rect narrow(const VRect& r) {
  return Rect{narrow(r.top), narrow(r.left), narrow(r.bottom), narrow(r.right)};
}

}  // namespace tessel::plugin::host_records

// The 32-bit field with the extension, else the 16-bit one widened.
template <HostRecord Record, typename Narrow, typename Wide>
constexpr Wide Get(const Record& record, WideHostField<Narrow, Wide> field) {
  if (TakesBigDocuments(record, field.extension)) return Get(record, field.wide);
  return tessel::plugin::host_records::widen(Get(record, field.narrow));
}

// Writes the 16-bit field with the value's low 16 bits, and the 32-bit field
// as well when the host takes the extension (without it those bytes are the
// host's).
template <HostRecord Record, typename Narrow, typename Wide>
constexpr void Set(Record& record, WideHostField<Narrow, Wide> field,
                   std::type_identity_t<Wide> value) {
  Set(record, field.narrow, tessel::plugin::host_records::narrow(value));
  if (TakesBigDocuments(record, field.extension)) Set(record, field.wide, value);
}

// Copies the whole 256 bytes of the string field into text.
template <HostRecord Record>
void Get(const Record& record, HostField<Str255> field, StringPtr text) {
  std::copy_n(record.bytes.begin() + std::ptrdiff_t(field.offset), sizeof(Str255), text);
}

// Stores the length byte and characters of text; the rest of the field is cleared.
template <HostRecord Record>
void Set(Record& record, HostField<Str255> field, ConstStringPtr text) {
  auto destination = record.bytes.begin() + std::ptrdiff_t(field.offset);
  std::fill_n(destination, sizeof(Str255), UInt8(0));
  std::copy_n(text, std::size_t(text[0]) + 1, destination);
}

// Every field lies inside its record: a descriptor typed wrongly or a record
// cut too short fails here rather than in a test run.
namespace tessel::plugin::host_records {
static_assert(fits<AcquireParams>(kAcquireDisplayProcs) && sizeof(AcquireParams) == 1216);
static_assert(fits<AcquireParams>(kAcquireDocumentName) &&
              kAcquireDocumentName.offset + 256 == kAcquireHostWord1088.offset);
static_assert(fits<AcquireParams>(kAcquirePresetSelection) &&
              kAcquirePresetSelection.offset + 16 == kAcquireBigDocuments.offset);
static_assert(kAcquireDataRect32.offset + 16 <= kAcquireBufferProcs.offset);
static_assert(fits<AcquireParams>(kAcquireDataRect) &&
              kAcquireDataRect.offset + 8 == kAcquireFirstPlane.offset);
static_assert(fits<ExportParams>(kExportResourceProcs) && sizeof(ExportParams) == 1160);
static_assert(fits<ExportParams>(kExportRequestRect) &&
              kExportRequestRect.offset + 8 == kExportFirstPlane.offset);
static_assert(kExportRowStep.offset + 4 == kExportBigDocuments.offset &&
              kExportRequestRect32.offset + 16 <= kExportModifiedFlag.offset);
}  // namespace tessel::plugin::host_records
