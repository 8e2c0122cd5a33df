#include "host/ExtractCommand.h"

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>

#include "Backend.h"
#include "MacErrors.h"
#include "headless/HeadlessBackend.h"
#include "host/AcquireCommand.h"
#include "host/Commands.h"
#include "host/HostOptions.h"
#include "host/Messages.h"

namespace tessel::host {

namespace {

struct ExtractArguments {
  std::filesystem::path image{};
  std::optional<VRect> rect{};
  CommonOptions common{};
};

// "TOP,LEFT,BOTTOM,RIGHT" in image pixels, bottom and right exclusive.
std::optional<VRect> parse_rect(std::string_view text) {
  SInt32 sides[4] = {};
  const char* at = text.data();
  const char* end = text.data() + text.size();
  for (int side = 0; side < 4; ++side) {
    const auto [next, error] = std::from_chars(at, end, sides[side]);
    if (error != std::errc() || (side < 3 && (next == end || *next != ','))) return std::nullopt;
    at = side < 3 ? next + 1 : next;
  }
  if (at != end) return std::nullopt;
  return VRect{sides[0], sides[1], sides[2], sides[3]};
}

constexpr CommandOptions kExtractOptions{"extract", kOutputOption | kForceOption};

// One option at args[at], with its value when it takes one.
bool take_option(std::span<const std::string_view> args, std::size_t& at, ExtractArguments& parsed,
                 std::ostream& err) {
  const Taken common = take_common_option(args, at, kExtractOptions, parsed.common, err);
  if (common != Taken::no) return common == Taken::yes;
  const std::string_view option = args[at];
  if (option != "--rect") {
    tell_unknown_option(option, kExtractOptions, err);
    return false;
  }
  if (++at == args.size()) {
    err << message(Text::kMissingValue, {option}) << '\n';
    return false;
  }
  parsed.rect = parse_rect(args[at]);
  if (!parsed.rect) err << message(Text::kBadRect, {args[at]}) << '\n';
  return parsed.rect.has_value();
}

std::optional<ExtractArguments> parse_arguments(std::span<const std::string_view> args,
                                                std::ostream& err) {
  ExtractArguments parsed;
  for (std::size_t at = 0; at < args.size(); ++at) {
    if (args[at].starts_with("-")) {
      if (!take_option(args, at, parsed, err)) return std::nullopt;
    } else if (parsed.image.empty()) {
      parsed.image = std::filesystem::path(args[at]);
    } else {
      err << message(Text::kExtraArgument, {args[at]}) << '\n';
      return std::nullopt;
    }
  }
  if (parsed.image.empty() || !parsed.rect || !parsed.common.output) {
    err << message(Text::kExtractNeeds) << '\n';
    return std::nullopt;
  }
  return parsed;
}

}  // namespace

int run_extract_command(std::span<const std::string_view> args, std::ostream& out,
                        std::ostream& err) {
  std::optional<ExtractArguments> parsed = parse_arguments(args, err);
  if (!parsed) return kExitFailed;
  // An empty rectangle would read as none given, and open the selection dialog.
  const VRect& rect = *parsed->rect;
  if (rect.top >= rect.bottom || rect.left >= rect.right) {
    err << rect_outside_message(parsed->image, rect) << '\n';
    return kExitFailed;
  }
  // Extract is acquire with the answers given: the file dialog answers with
  // the image and the rectangle stands in for the selection dialog. No window
  // opens, whatever the display; the plug-in's alerts go to standard error.
  platform::backend::install(platform::headless::make());
  AcquireRequest request{std::filesystem::absolute(parsed->image), parsed->common.output,
                         parsed->common.force};
  request.options.presetSelection = rect;
  request.done = Text::kExtracted;
  return acquire_document(request, out, err);
}

}  // namespace tessel::host
