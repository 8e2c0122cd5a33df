// Every text the host program shows, in one table. "^0" to "^3" in a text
// stand for the arguments, as in the Toolbox's ParamText.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

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
  kDocumentTooLarge,
  kModuleMissing,
  kModuleUnusable,
  kModuleNoResources,
  kBandOutOfBounds,
  kStoreFailed,
  kExportFailed,
  kExportStopped,
  kSavedBack,
  kBadRect,
  kExtractNeeds,
  kDocumentExists,
  kRectOutsideImage,
  kImageUnreadable,
  kDocumentNotWritten,
  kExtracted,
};

std::string message(Text text, std::initializer_list<std::string_view> arguments = {});

}  // namespace tessel::host
