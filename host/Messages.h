// Every text the host program shows, fetched from the program's own
// resources (host/resources/messages.r) by its place in this list. "^0" to
// "^3" in a text stand for the arguments, as in the Toolbox's ParamText.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "MacTypes.h"

namespace tessel::host {

enum class Text {
  kUsage,
  kUnknownCommand,
  kUnknownOption,
  kMissingValue,
  kMissingDocument,
  kExtraArgument,
  kBadMemoryLimit,
  kDocumentMissing,
  kDocumentUnreadable,
  kDocumentUnsupported,
  kModuleMissing,
  kModuleUnusable,
  kModuleNoResources,
  kBandOutOfBounds,
  kStoreFailed,
  kExportFailed,
  kExportStopped,
  kSavedBack,
  kNotDurable,
  kImageBusy,
  kExportRefused,
  kBadRect,
  kExtractNeeds,
  kDocumentExists,
  kRectOutsideImage,
  kImageUnreadable,
  kDocumentNotWritten,
  kExtracted,
  kScriptUnreadable,
  kScriptBadLine,
  kAboutFailed,
  kNoArguments,
  kMissingImage,
  kAcquireFailed,
  kAcquireStopped,
  kStripOutOfBounds,
  kAcquired,
  kNoTitle,
  kImageNotOpened,
  kInfoFormat,
  kInfoMode,
  kInfoSize,
  kInfoResolution,
  kInfoLayout,
  kInfoLayoutInterleaved,
  kInfoLayoutPlanar,
  kInfoTiffLayout,
  kInfoAcquirable,
  kInfoWarning,
  kInfoRefused,
  kModeNames,
  kOutputIsInput,
  kNoSuchFile,
  kIsFolder,
  kImageNotRecognised,
  kImageNotChosen,
  kExportImageMissing,
  kExportImageRefused,
  kDocumentUnreadableBecause,
  kImageCutShort,
  kImageHeadCutShort,
  kSignedSamples,
  kFloatSamples,
  kOtherSampleFormat,
  kTIFFValueRefused,
  kAcquireRefused,
  kImageRefused,
  kNoDesktop,
  kNoDisplayVariables,
  kInfoTiles,
  kInfoPlanes,
  kInfoBytes,
  kByteUnits,
  kInfoBigTIFF,
  kInfoFormatNames,
  kInfoByteOrder,
  kByteOrderNames,
  kInfoCompression,
  kCompressionNames,
  kInfoPhotometric,
  kPhotometricNames,
  kUnnamedCode,
  kInfoStrips,
  kInfoNoResolution,
  kInfoExportWrites,
  kInfoExportRefuses,
  kInfoExportNeedsAcquire,
  kProgressReading,
  kProgressWriting,
  kProgressLine,
  kProgressFigures,
  kTimeUnits,
  kExportResume,
  kVersion,
  kHelpUnreadable,
  kOpenNeedsFile,
  kOpenElsewhere,
  kOpenerFailed,
  kCount,  // not a text: how many there are
};

std::string message(Text text, std::initializer_list<std::string_view> arguments = {});
// A text that holds a list, its entries split at '|'.
std::vector<std::string> message_list(Text text);
// A size as a person reads it, in the host's units: "512 bytes", "12.5 MB",
// "7.2 GB"; three significant figures at most, one decimal below 100.
std::string size_text(UInt64 bytes);

// The entries of the string list id in the program's own resources, in
// UTF-8; empty when there is no such list or it cannot be read.
std::vector<std::string> string_list_texts(SInt16 id);

// A length-prefixed Mac Roman text, such as the plug-in's strings, in UTF-8.
std::string text_from_mac_roman(const unsigned char* text);
// A length-prefixed UTF-8 text (file names, document titles); bytes that are
// not UTF-8 show as U+FFFD.
std::string text_from_utf8(const unsigned char* text);

}  // namespace tessel::host
