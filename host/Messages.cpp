#include "host/Messages.h"

#include <filesystem>
#include <optional>
#include <span>
#include <sstream>
#include <vector>

#include "AppleDouble.h"
#include "MacRoman.h"
#include "ResourceFork.h"
#include "Utf8.h"
#include "host/InstallLayout.h"

namespace tessel::host {

namespace {

constexpr ResType kStringListType = FourCC("STR#");
constexpr ResType kTextType = FourCC("TEXT");
constexpr SInt16 kHostTextsID = 17000;

// Mac Roman in UTF-8, a carriage return (the Toolbox's line break) as '\n'.
std::string utf8_from_mac_roman(std::span<const UInt8> bytes) {
  std::string result;
  for (UInt8 byte : bytes) {
    if (byte == '\r') {
      result += '\n';
    } else {
      platform::append_utf8(result, platform::mac_roman_to_unicode(byte));
    }
  }
  return result;
}

struct HostTexts {
  std::vector<std::string> list;  // Text n is entry n; kUsage is the usage text
  std::string problem;            // why they could not be read; empty when they were
};

const platform::resources::Resource* find(const platform::resources::ResourceFork& fork,
                                          ResType type, SInt16 id) {
  for (const auto& resource : fork.resources) {
    if (resource.type == type && resource.id == id) return &resource;
  }
  return nullptr;
}

// The entries of a string list: a 16-bit count, then length-prefixed texts.
std::optional<std::vector<std::string>> string_list(std::span<const UInt8> data) {
  if (data.size() < 2) return std::nullopt;
  const std::size_t count = std::size_t(data[0]) << 8 | data[1];
  std::vector<std::string> entries;
  std::size_t at = 2;
  for (std::size_t i = 0; i < count; ++i) {
    if (at >= data.size() || at + 1 + data[at] > data.size()) return std::nullopt;
    entries.push_back(utf8_from_mac_roman(data.subspan(at + 1, data[at])));
    at += 1 + data[at];
  }
  return entries;
}

// The program's resource fork, read once; empty when it cannot be read.
const std::optional<platform::resources::ResourceFork>& program_fork() {
  static const auto& fork = *new std::optional<platform::resources::ResourceFork>(
      []() -> std::optional<platform::resources::ResourceFork> {
        auto bytes = platform::appledouble::read_resource_fork(layout::texts_file());
        if (!bytes) return std::nullopt;
        return platform::resources::parse_fork(*bytes);
      }());
  return fork;
}

HostTexts load_texts() {
  HostTexts texts;
  texts.problem = "tessel: the program's texts cannot be read from the resource fork of " +
                  layout::texts_file().string() + "; reinstall Tessel";
  const auto& fork = program_fork();
  if (!fork) return texts;
  const auto* list = find(*fork, kStringListType, kHostTextsID);
  const auto* usage = find(*fork, kTextType, kHostTextsID);
  if (list == nullptr || usage == nullptr) return texts;
  auto entries = string_list(list->data);
  if (!entries || entries->size() + 1 != std::size_t(Text::kCount)) return texts;
  texts.list.push_back(utf8_from_mac_roman(usage->data));
  texts.list.insert(texts.list.end(), entries->begin(), entries->end());
  texts.problem.clear();
  return texts;
}

const HostTexts& host_texts() {
  static const HostTexts& texts = *new HostTexts(load_texts());
  return texts;
}

std::string_view text_of(Text text) {
  const HostTexts& texts = host_texts();
  if (!texts.problem.empty()) return texts.problem;
  return texts.list[std::size_t(text)];
}

}  // namespace

std::string message(Text text, std::initializer_list<std::string_view> arguments) {
  const std::vector<std::string_view> values(arguments);
  const std::string_view pattern = text_of(text);
  std::string result;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const bool placeholder = pattern[at] == '^' && at + 1 < pattern.size() &&
                             pattern[at + 1] >= '0' && pattern[at + 1] <= '3';
    if (!placeholder) {
      result += pattern[at];
      continue;
    }
    const std::size_t index = std::size_t(pattern[++at] - '0');
    if (index < values.size()) result += values[index];
  }
  return result;
}

std::vector<std::string> message_list(Text text) {
  std::vector<std::string> entries;
  std::istringstream in{std::string(text_of(text))};
  for (std::string entry; std::getline(in, entry, '|');) entries.push_back(entry);
  if (entries.empty()) entries.emplace_back();
  return entries;
}

std::string size_text(UInt64 bytes) {
  const std::vector<std::string> units = message_list(Text::kByteUnits);
  // Decimal units, as disks are sold: 20000 x 20000 RGB is 1.2 GB.
  std::size_t unit = 0;
  double value = double(bytes);
  // 999.7 KB would show as 1000 KB: such a size is shown as 1.0 MB instead.
  while (value >= 999.5 && unit + 1 < units.size()) {
    value /= 1000.0;
    ++unit;
  }
  std::ostringstream text;
  text.setf(std::ios::fixed);
  text.precision(unit == 0 || value >= 100.0 ? 0 : 1);
  text << value << ' ' << units[unit];
  return text.str();
}

std::vector<std::string> string_list_texts(SInt16 id) {
  const auto& fork = program_fork();
  const auto* list = fork ? find(*fork, kStringListType, id) : nullptr;
  if (list == nullptr) return {};
  return string_list(list->data).value_or(std::vector<std::string>{});
}

std::string text_from_mac_roman(const unsigned char* text) {
  return utf8_from_mac_roman({text + 1, text[0]});
}

std::string text_from_utf8(const unsigned char* text) {
  std::string result;
  for (char32_t code : platform::decode_utf8({reinterpret_cast<const char*>(text + 1), text[0]})) {
    platform::append_utf8(result, code);
  }
  return result;
}

}  // namespace tessel::host
