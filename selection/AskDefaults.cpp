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

// One slot as it lies in the file; bytes 0..79 are the image's key.
struct ImagePrefsSlot {
  UInt8 bytes[kPrefsSlotSize];
};

// Offsets within a slot.
constexpr std::size_t kSlotVolume = 0;
constexpr std::size_t kSlotDirectory = 4;
constexpr std::size_t kSlotName = 8;
constexpr std::size_t kSlotNameSize = 64;
constexpr std::size_t kSlotWidth = 72;
constexpr std::size_t kSlotHeight = 76;
constexpr std::size_t kSlotSelection = 80;
constexpr std::size_t kSlotGridOn = 88;
constexpr std::size_t kSlotColumns = 90;
constexpr std::size_t kSlotRows = 92;

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

}  // namespace

// The image's file identity, width and height into the slot's key. The
// padding after the volume reference is always stored as zeros.
static void rememberSlotKeys(SelectionDialogState* state, ImagePrefsSlot* slot) {
  const SourceImage* image = state->sourceImage;
  write_big16(field(slot, kSlotVolume), UInt16(image->fileSpec.vRefNum));
  write_big16(field(slot, kSlotVolume + 2), 0);
  write_big32(field(slot, kSlotDirectory), UInt32(image->fileSpec.parID));
  MoveMemory(image->fileSpec.name, slot->bytes + kSlotName, kSlotNameSize);
  write_big32(field(slot, kSlotWidth), UInt32(image->width));
  write_big32(field(slot, kSlotHeight), UInt32(image->height));
}

// Width, then height, then the name, byte for byte; folder and volume take
// no part. A stored name whose length byte overruns its 64 bytes (a damaged
// file) never matches.
static Boolean equalSlotKeys(const ImagePrefsSlot* a, const ImagePrefsSlot* b) {
  if (read_big32(field(a, kSlotWidth)) != read_big32(field(b, kSlotWidth))) return false;
  if (read_big32(field(a, kSlotHeight)) != read_big32(field(b, kSlotHeight))) return false;
  if (a->bytes[kSlotName] >= kSlotNameSize || b->bytes[kSlotName] >= kSlotNameSize) return false;
  return EqualPString(a->bytes + kSlotName, b->bytes + kSlotName);
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

// Opens an existing file of the current version. A file of another version
// is closed and deleted, and reported as missing (fnfErr).
static OSErr openCurrentPrefsFile(const FSSpec* spec, SInt16* refNum) {
  SInt16 ref = 0;
  if (OSErr err = OpenFile(spec, &ref); err != noErr) return err;
  UInt8 version[4];
  OSErr err = ReadBytes(ref, sizeof version, version);
  if (err != noErr && err != eofErr) {
    CloseFile(ref);
    return err;
  }
  // A file too short to hold a version (cut off while it was being made)
  // is treated as one of another version; kept, it would refuse every save.
  if (err == eofErr || SInt32(read_big32(version)) != kPrefsVersion) {
    CloseFile(ref);
    DeleteFile(spec);
    return fnfErr;
  }
  *refNum = ref;
  return noErr;
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
// missing. Without the descriptor returns noErr and leaves *refNum as the
// caller set it (0), so that reading fails and saving writes nothing.
static OSErr openTesselPrefs(SInt16* refNum, Boolean create) {
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
  OSErr err = openCurrentPrefsFile(&spec, refNum);
  if (err == fnfErr && create) err = createPrefsFile(&spec, creator, fileType, script, refNum);
  return err;
}

// The first stored slot whose key is the image's, into *slot.
static OSErr readImagePrefs(SelectionDialogState* state, SInt16 refNum, ImagePrefsSlot* slot) {
  if (OSErr err = SeekTo(refNum, kPrefsHeaderSize); err != noErr) return err;
  ImagePrefsSlot wanted{};
  rememberSlotKeys(state, &wanted);
  ImagePrefsSlot stored{};
  for (;;) {
    if (OSErr err = ReadBytes(refNum, kPrefsSlotSize, stored.bytes); err != noErr) return err;
    if (equalSlotKeys(&wanted, &stored)) break;
  }
  *slot = stored;
  return noErr;
}

// The slot just read, replaced by slot.
static OSErr overwriteLastSlot(SInt16 refNum, const ImagePrefsSlot* slot) {
  SInt32 position = 0;
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
  return slot->bytes[kSlotGridOn] <= 1 && columns >= 1 && columns <= 50 && rows >= 1 && rows <= 50;
}

static void copySlotToState(const ImagePrefsSlot* slot, SelectionDialogState* state) {
  state->selection = Rect{slotWord(slot, kSlotSelection), slotWord(slot, kSlotSelection + 2),
                          slotWord(slot, kSlotSelection + 4), slotWord(slot, kSlotSelection + 6)};
  state->gridOn = slot->bytes[kSlotGridOn];
  state->gridColumns = slotWord(slot, kSlotColumns);
  state->gridRows = slotWord(slot, kSlotRows);
}

static void copyStateToSlot(const SelectionDialogState* state, ImagePrefsSlot* slot) {
  const Rect& r = state->selection;
  write_big16(field(slot, kSlotSelection), UInt16(r.top));
  write_big16(field(slot, kSlotSelection + 2), UInt16(r.left));
  write_big16(field(slot, kSlotSelection + 4), UInt16(r.bottom));
  write_big16(field(slot, kSlotSelection + 6), UInt16(r.right));
  slot->bytes[kSlotGridOn] = state->gridOn;
  write_big16(field(slot, kSlotColumns), UInt16(state->gridColumns));
  write_big16(field(slot, kSlotRows), UInt16(state->gridRows));
}

OSErr SetUpSelectionDefaults(SelectionDialogState* state) {
  state->selectionExists = 1;
  state->antsMode = kAntsIdle;
  SInt16 refNum = 0;
  ImagePrefsSlot slot{};
  OSErr err = openTesselPrefs(&refNum, false);
  if (err == noErr) err = refNum != 0 ? readImagePrefs(state, refNum, &slot) : fnfErr;
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
  OSErr err = openTesselPrefs(&refNum, true);
  if (err == noErr && refNum != 0) {
    ImagePrefsSlot slot{};
    copyStateToSlot(state, &slot);
    rememberSlotKeys(state, &slot);
    writeImagePrefs(state, refNum, &slot);
  }
  if (refNum != 0) CloseFile(refNum);
  return noErr;
}
