// The preferences file of the selection dialog. Nothing here is ever
// reported or allowed to stop the dialog: any trouble with the file means
// the defaults, and a save that fails is dropped.
#include "selection/AskDefaults.h"

#include <span>

#include "platform/ByteOrder.h"
#include "platform/Files.h"
#include "platform/MacErrors.h"
#include "platform/MacMemory.h"
#include "platform/Resources.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

namespace {

using tessel::platform::read_big16;
using tessel::platform::read_big32;
using tessel::platform::write_big16;
using tessel::platform::write_big32;

// One slot as this module writes it; bytes 0..15 and 40..295 are the
// image's key (volume, folder, width, height, full name).
struct ImagePrefsSlot {
  UInt8 bytes[kPrefsSlotSize];
};

// Offsets within a slot.
constexpr std::size_t kSlotVolume = 0;
constexpr std::size_t kSlotDirectory = 4;
constexpr std::size_t kSlotWidth = 8;
constexpr std::size_t kSlotHeight = 12;
constexpr std::size_t kSlotSelection = 16;  // four 32-bit sides
constexpr std::size_t kSlotGridOn = 32;
constexpr std::size_t kSlotColumns = 34;
constexpr std::size_t kSlotRows = 36;
constexpr std::size_t kSlotName = 40;  // a length byte and up to 255 bytes

// Offsets within a slot of a version 2 file, which are read and converted.
constexpr std::size_t kShortSlotName = 8;
constexpr std::size_t kShortSlotNameSize = 64;
constexpr std::size_t kShortSlotWidth = 72;
constexpr std::size_t kShortSlotSelection = 80;
constexpr std::size_t kShortSlotGridOn = 88;
constexpr std::size_t kShortSlotColumns = 90;

// Offsets within the "FILE" descriptor.
constexpr std::size_t kDescriptorCreator = 32;
constexpr std::size_t kDescriptorType = 36;
constexpr std::size_t kDescriptorScript = 40;
constexpr std::size_t kDescriptorSize = 42;
constexpr UInt8 kDescriptorNameMax = 31;

std::span<UInt8> field(ImagePrefsSlot* slot, std::size_t offset) {
  return std::span<UInt8>(slot->bytes).subspan(offset);
}

std::span<const UInt8> field(const ImagePrefsSlot* slot, std::size_t offset) {
  return std::span<const UInt8>(slot->bytes).subspan(offset);
}

SInt16 slotWord(const ImagePrefsSlot* slot, std::size_t offset) {
  return SInt16(read_big16(field(slot, offset)));
}

// A selection side; this dialog's coordinates are 16-bit, and a side beyond
// them comes from a damaged file.
SInt32 slotSide(const ImagePrefsSlot* slot, int side) {
  return SInt32(read_big32(field(slot, kSlotSelection + 4 * std::size_t(side))));
}

}  // namespace

// The image's file identity, width and height into the slot's key. The
// name is the file's full name, not the stand-in an FSSpec may hold for a
// long one: stand-ins of two names can share their start, and one may
// change when the folder's id does.
static void rememberSlotKeys(SelectionDialogState* state, ImagePrefsSlot* slot) {
  const SourceImage* image = state->sourceImage;
  write_big16(field(slot, kSlotVolume), UInt16(image->fileSpec.vRefNum));
  write_big16(field(slot, kSlotVolume + 2), 0);
  write_big32(field(slot, kSlotDirectory), UInt32(image->fileSpec.parID));
  write_big32(field(slot, kSlotWidth), UInt32(image->width));
  write_big32(field(slot, kSlotHeight), UInt32(image->height));
  if (FSpGetLongName(&image->fileSpec, slot->bytes + kSlotName) != noErr) {
    CopyPString(image->fileSpec.name, slot->bytes + kSlotName);
  }
}

// Width, then height, then the name, byte for byte; folder and volume take
// no part.
static Boolean equalSlotKeys(const ImagePrefsSlot* a, const ImagePrefsSlot* b) {
  if (read_big32(field(a, kSlotWidth)) != read_big32(field(b, kSlotWidth))) return false;
  if (read_big32(field(a, kSlotHeight)) != read_big32(field(b, kSlotHeight))) return false;
  return EqualPString(a->bytes + kSlotName, b->bytes + kSlotName);
}

// A slot of a version 2 file in this version's layout. Its name was the
// whole name then (longer ones could not be opened at all). A name whose
// length byte overruns its 64 bytes (a damaged file) becomes one no image
// has, so the slot never matches.
static void upgradeSlot(const UInt8* old, ImagePrefsSlot* slot) {
  *slot = ImagePrefsSlot{};
  MoveMemory(old, slot->bytes, 8);  // volume, padding, folder
  MoveMemory(old + kShortSlotWidth, slot->bytes + kSlotWidth, 8);
  for (std::size_t side = 0; side < 4; ++side) {
    const SInt16 value = SInt16(read_big16(std::span(old + kShortSlotSelection + 2 * side, 2)));
    write_big32(field(slot, kSlotSelection + 4 * side), UInt32(SInt32(value)));
  }
  slot->bytes[kSlotGridOn] = old[kShortSlotGridOn];
  MoveMemory(old + kShortSlotColumns, slot->bytes + kSlotColumns, 4);
  if (old[kShortSlotName] < kShortSlotNameSize) {
    MoveMemory(old + kShortSlotName, slot->bytes + kSlotName, old[kShortSlotName] + 1);
  } else {
    slot->bytes[kSlotName] = 1;
    slot->bytes[kSlotName + 1] = '/';  // no file's name
  }
}

// Reads the next slot of a file of the given version into *slot.
static OSErr readSlot(SInt16 refNum, SInt32 version, ImagePrefsSlot* slot) {
  if (version == kPrefsVersion) return ReadBytes(refNum, kPrefsSlotSize, slot->bytes);
  UInt8 old[kShortPrefsSlotSize];
  if (OSErr err = ReadBytes(refNum, kShortPrefsSlotSize, old); err != noErr) return err;
  upgradeSlot(old, slot);
  return noErr;
}

// The preferences file's identity in the preferences folder, and how to
// create it, from the "FILE" descriptor. False when the descriptor is
// missing or too short to hold its fields.
static Boolean readPrefsDescriptor(Handle descriptor, SInt16 vRefNum, SInt32 dirID, FSSpec* spec,
                                   OSType* creator, OSType* fileType, SInt16* script) {
  if (descriptor == nullptr || GetHandleSize(descriptor) < Size(kDescriptorSize)) return false;
  std::span<const UInt8> bytes(reinterpret_cast<const UInt8*>(*descriptor), kDescriptorSize);
  *spec = FSSpec{vRefNum, dirID, {}};
  UInt8 length = bytes[0] > kDescriptorNameMax ? kDescriptorNameMax : bytes[0];
  spec->name[0] = length;
  MoveMemory(bytes.data() + 1, spec->name + 1, length);
  *creator = read_big32(bytes.subspan(kDescriptorCreator));
  *fileType = read_big32(bytes.subspan(kDescriptorType));
  *script = SInt16(read_big16(bytes.subspan(kDescriptorScript)));
  return true;
}

// Opens an existing file of this version or the one before, and gives its
// version. A file of any other version is closed and deleted, and reported
// as missing (fnfErr).
static OSErr openKnownPrefsFile(const FSSpec* spec, SInt16* refNum, SInt32* version) {
  SInt16 ref = 0;
  if (OSErr err = OpenFile(spec, &ref); err != noErr) return err;
  UInt8 stored[4];
  OSErr err = ReadBytes(ref, sizeof stored, stored);
  if (err != noErr && err != eofErr) {
    CloseFile(ref);
    return err;
  }
  // A file too short to hold a version (cut off while it was being made)
  // is treated as one of another version; kept, it would refuse every save.
  const SInt32 found = SInt32(read_big32(stored));
  if (err == eofErr || (found != kPrefsVersion && found != kShortPrefsVersion)) {
    CloseFile(ref);
    DeleteFile(spec);
    return fnfErr;
  }
  *refNum = ref;
  *version = found;
  return noErr;
}

// Rewrites a version 2 file in this version, every whole slot converted (a
// trailing part-slot is dropped). The new slots are larger, so they cover
// every old byte; the version goes last, so a file cut short on the way
// still reads as version 2, and at worst its slots no longer match.
static OSErr upgradePrefsFile(SInt16 refNum) {
  SInt32 length = 0;
  if (OSErr err = GetEOF(refNum, &length); err != noErr) return err;
  const SInt32 count = (length - kPrefsHeaderSize) / kShortPrefsSlotSize;
  Ptr old = nullptr;
  if (OSErr err = AllocateMemory(count * kShortPrefsSlotSize + 1, &old); err != noErr) return err;
  OSErr err = SeekTo(refNum, kPrefsHeaderSize);
  if (err == noErr) err = ReadBytes(refNum, count * kShortPrefsSlotSize, old);
  if (err == noErr) err = SeekTo(refNum, kPrefsHeaderSize);
  for (SInt32 i = 0; err == noErr && i < count; ++i) {
    ImagePrefsSlot slot{};
    upgradeSlot(reinterpret_cast<const UInt8*>(old) + i * kShortPrefsSlotSize, &slot);
    err = WriteBytes(refNum, kPrefsSlotSize, slot.bytes);
  }
  DisposeMemory(old);
  if (err == noErr) err = SetEOF(refNum, kPrefsHeaderSize + count * kPrefsSlotSize);
  UInt8 version[4];
  write_big32(version, UInt32(kPrefsVersion));
  if (err == noErr) err = SeekTo(refNum, 0);
  if (err == noErr) err = WriteBytes(refNum, sizeof version, version);
  return err;
}

// Creates the file holding only its version, and opens it.
static OSErr createPrefsFile(const FSSpec* spec, OSType creator, OSType fileType, SInt16 script,
                             SInt16* refNum) {
  if (OSErr err = CreateFile(spec, creator, fileType, script); err != noErr) return err;
  SInt16 ref = 0;
  if (OSErr err = OpenFile(spec, &ref); err != noErr) return err;
  UInt8 version[4];
  write_big32(version, UInt32(kPrefsVersion));
  if (OSErr err = WriteBytes(ref, sizeof version, version); err != noErr) {
    CloseFile(ref);
    return err;
  }
  *refNum = ref;
  return noErr;
}

// Opens the preferences file, creating it when create is true and it is
// missing, and upgrading a version 2 file before it is written. Without the
// descriptor returns noErr and leaves *refNum as the caller set it (0), so
// that reading fails and saving writes nothing.
static OSErr openTesselPrefs(SInt16* refNum, SInt32* version, Boolean create) {
  SInt16 vRefNum = 0;
  SInt32 dirID = 0;
  if (OSErr err =
          FindFolder(kOnSystemDisk, kPreferencesFolderType, kCreateFolder, &vRefNum, &dirID);
      err != noErr)
    return err;
  Handle descriptor = GetResource(kPrefsDescriptorType, kPrefsDescriptorID);
  FSSpec spec{};
  OSType creator = 0, fileType = 0;
  SInt16 script = 0;
  Boolean found =
      readPrefsDescriptor(descriptor, vRefNum, dirID, &spec, &creator, &fileType, &script);
  if (descriptor != nullptr) HPurge(descriptor);
  if (!found) return noErr;
  *version = kPrefsVersion;
  OSErr err = openKnownPrefsFile(&spec, refNum, version);
  if (err == fnfErr && create) err = createPrefsFile(&spec, creator, fileType, script, refNum);
  if (err == noErr && create && *version != kPrefsVersion) {
    err = upgradePrefsFile(*refNum);
    *version = kPrefsVersion;
  }
  return err;
}

// The first stored slot whose key is the image's, into *slot.
static OSErr readImagePrefs(SelectionDialogState* state, SInt16 refNum, SInt32 version,
                            ImagePrefsSlot* slot) {
  if (OSErr err = SeekTo(refNum, kPrefsHeaderSize); err != noErr) return err;
  ImagePrefsSlot wanted{};
  rememberSlotKeys(state, &wanted);
  ImagePrefsSlot stored{};
  for (;;) {
    if (OSErr err = readSlot(refNum, version, &stored); err != noErr) return err;
    if (equalSlotKeys(&wanted, &stored)) break;
  }
  *slot = stored;
  return noErr;
}

// The slot just read, replaced by slot.
static OSErr overwriteLastSlot(SInt16 refNum, const ImagePrefsSlot* slot) {
  SInt64 position = 0;
  if (OSErr err = GetPosition(refNum, &position); err != noErr) return err;
  if (OSErr err = SeekTo(refNum, position - kPrefsSlotSize); err != noErr) return err;
  return WriteBytes(refNum, kPrefsSlotSize, slot->bytes);
}

// Overwrites the stored slot with slot's key, or appends slot at the end
// (after a trailing part-slot, which then stays unreachable).
static OSErr writeImagePrefs(SelectionDialogState* /*state*/, SInt16 refNum,
                             const ImagePrefsSlot* slot) {
  if (OSErr err = SeekTo(refNum, kPrefsHeaderSize); err != noErr) return err;
  ImagePrefsSlot stored{};
  for (;;) {
    OSErr err = ReadBytes(refNum, kPrefsSlotSize, stored.bytes);
    if (err == eofErr) break;
    if (err != noErr) return err;
    if (equalSlotKeys(slot, &stored)) return overwriteLastSlot(refNum, slot);
  }
  return WriteBytes(refNum, kPrefsSlotSize, slot->bytes);
}

// Counts and flag a slot may hold; anything else comes from a damaged file
// and would divide by zero in the grid arithmetic.
static Boolean slotValuesUsable(const ImagePrefsSlot* slot) {
  SInt16 columns = slotWord(slot, kSlotColumns), rows = slotWord(slot, kSlotRows);
  for (int side = 0; side < 4; ++side) {
    if (slotSide(slot, side) < INT16_MIN || slotSide(slot, side) > INT16_MAX) return false;
  }
  return slot->bytes[kSlotGridOn] <= 1 && columns >= 1 && columns <= 50 && rows >= 1 && rows <= 50;
}

static void copySlotToState(const ImagePrefsSlot* slot, SelectionDialogState* state) {
  state->selection = Rect{SInt16(slotSide(slot, 0)), SInt16(slotSide(slot, 1)),
                          SInt16(slotSide(slot, 2)), SInt16(slotSide(slot, 3))};
  state->gridOn = slot->bytes[kSlotGridOn];
  state->gridColumns = slotWord(slot, kSlotColumns);
  state->gridRows = slotWord(slot, kSlotRows);
}

static void copyStateToSlot(const SelectionDialogState* state, ImagePrefsSlot* slot) {
  const Rect& r = state->selection;
  const SInt32 sides[] = {r.top, r.left, r.bottom, r.right};
  for (std::size_t side = 0; side < 4; ++side) {
    write_big32(field(slot, kSlotSelection + 4 * side), UInt32(sides[side]));
  }
  slot->bytes[kSlotGridOn] = state->gridOn;
  write_big16(field(slot, kSlotColumns), UInt16(state->gridColumns));
  write_big16(field(slot, kSlotRows), UInt16(state->gridRows));
}

OSErr SetUpSelectionDefaults(SelectionDialogState* state) {
  state->selectionExists = 1;
  state->antsMode = kAntsIdle;
  SInt16 refNum = 0;
  SInt32 version = 0;
  ImagePrefsSlot slot{};
  OSErr err = openTesselPrefs(&refNum, &version, false);
  if (err == noErr) err = refNum != 0 ? readImagePrefs(state, refNum, version, &slot) : fnfErr;
  if (err == noErr && !slotValuesUsable(&slot)) err = paramErr;
  if (refNum != 0) CloseFile(refNum);
  if (err == noErr) {
    copySlotToState(&slot, state);
    return noErr;
  }
  state->selection = Rect{0, 0, 0, 0};
  state->gridOn = 0;
  state->gridColumns = kDefaultGridColumns;
  state->gridRows = kDefaultGridRows;
  return noErr;
}

OSErr TearDownSelectionDefaults(SelectionDialogState* state, Boolean save) {
  if (!save) return noErr;
  SInt16 refNum = 0;
  SInt32 version = 0;
  OSErr err = openTesselPrefs(&refNum, &version, true);
  if (err == noErr && refNum != 0) {
    ImagePrefsSlot slot{};
    copyStateToSlot(state, &slot);
    rememberSlotKeys(state, &slot);
    writeImagePrefs(state, refNum, &slot);
  }
  if (refNum != 0) CloseFile(refNum);
  return noErr;
}
