// The plug-in's own result codes. Platform and host errors are negative and
// pass through unchanged; these are positive and each has its message.
#pragma once

#include "MacTypes.h"
#include "formats/FormatCodes.h"

constexpr OSErr kPrepareRefused = 1;
constexpr OSErr kModeBitmap = 100;
constexpr OSErr kModeIndexed = 101;
constexpr OSErr kModeFive = 102;
constexpr OSErr kModeSix = 103;
constexpr OSErr kModeSeven = 104;
constexpr OSErr kModeDuotone = 105;
constexpr OSErr kModeTenOrGray16 = 106;
constexpr OSErr kModeElevenOrRGB16 = 107;
constexpr OSErr kModeUnknown = 108;
constexpr OSErr kDocumentSizeChanged = 109;
constexpr OSErr kDocumentChannelsDiffer = 110;
constexpr OSErr kDocumentNotGrayscale = 111;
constexpr OSErr kDepthNotEight = 114;
constexpr OSErr kNoSingleTag = 120;
constexpr OSErr kTagVersion = 121;
constexpr OSErr kFileSizeChanged = 123;
constexpr OSErr kDocumentNotRGB = 124;
constexpr OSErr kDocumentNotCMYK = 125;
constexpr OSErr kDocumentNotLab = 126;
constexpr OSErr kFileDepthNotEight = 127;
constexpr OSErr kFileModeNotWritable = 129;
constexpr OSErr kNoModeHandled = 130;
constexpr OSErr kCannotWriteBack = 131;
constexpr OSErr kFileLocked = 132;
constexpr OSErr kChosenFileUnusable = 133;
constexpr OSErr kVolumeLocked = 134;
// The host's preset rectangle is empty or reaches outside the image.
constexpr OSErr kPresetSelectionOutside = 135;
// The document is wider or taller than a host without the big-document
// extension can take; ^0 its width, ^1 its height.
constexpr OSErr kHostSideLimit = 136;
// One row of the document needs more memory than can be had at once; ^0
// its width in pixels, ^1 its bytes.
constexpr OSErr kRowBeyondMemory = 137;
constexpr OSErr kUserCancelled = 996;
constexpr OSErr kInternalFailure = 999;
