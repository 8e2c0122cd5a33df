#include <charconv>
#include <fstream>
#include <sstream>

#include "Events.h"
#include "HeadlessBackend.h"
#include "MacErrors.h"

namespace tessel::platform::headless {
namespace {

struct NamedKey {
  std::string_view name;
  UInt8 character;
  UInt8 keyCode;
};

constexpr NamedKey kNamedKeys[] = {
    {"return", 13, kReturnKeyCode},    {"enter", 3, kEnterKeyCode},
    {"escape", 27, kEscapeKeyCode},    {"tab", 9, kTabKeyCode},
    {"space", ' ', kSpaceKeyCode},     {"delete", 8, kDeleteKeyCode},
    {"left", 28, kLeftArrowKeyCode},   {"right", 29, kRightArrowKeyCode},
    {"up", 30, kUpArrowKeyCode},       {"down", 31, kDownArrowKeyCode},
    {"command", 0, kCommandKeyCode},   {"option", 0, kOptionKeyCode},
    {"shift", 0, kShiftKeyCode},       {"control", 0, kControlKeyCode},
    {"capslock", 0, kCapsLockKeyCode},
};

constexpr UInt16 key_of(UInt8 character, int keyCode) { return UInt16((keyCode << 8) | character); }

// A key by name, or a single character that a keyboard types.
std::optional<UInt16> named_key(std::string_view word) {
  for (const NamedKey& key : kNamedKeys) {
    if (key.name == word) return key_of(key.character, key.keyCode);
  }
  if (word.size() != 1) return std::nullopt;
  int code = events::key_code_of(word[0]);
  if (code < 0) return std::nullopt;
  return key_of(UInt8(word[0]), code);
}

Step step_of(Command command) {
  Step step;
  step.command = command;
  return step;
}

std::optional<int> number(std::string_view word) {
  int value = 0;
  auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  return value;
}

std::vector<std::string> words_of(std::string_view line) {
  std::istringstream in{std::string(line)};
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// "key" takes the rest of the line as typed text, blanks included.
std::optional<Step> typed_text(std::string_view rest) {
  Step step = step_of(Command::key);
  for (char c : rest) {
    int code = events::key_code_of(c);
    if (code < 0) return std::nullopt;
    step.keys.push_back(key_of(UInt8(c), code));
  }
  if (step.keys.empty()) return std::nullopt;
  return step;
}

std::optional<Step> key_list(Command command, const std::vector<std::string>& words) {
  Step step = step_of(command);
  for (std::size_t i = 1; i < words.size(); ++i) {
    auto key = named_key(words[i]);
    if (!key) return std::nullopt;
    step.keys.push_back(*key);
  }
  if (step.keys.empty() && command != Command::release) return std::nullopt;
  return step;
}

std::optional<Step> point_step(Command command, const std::vector<std::string>& words) {
  if (words.size() != 3) return std::nullopt;
  auto h = number(words[1]), v = number(words[2]);
  if (!h || !v) return std::nullopt;
  Step step = step_of(command);
  step.where = Point{SInt16(*v), SInt16(*h)};
  return step;
}

std::optional<Step> number_step(Command command, const std::vector<std::string>& words) {
  if (words.size() != 2) return std::nullopt;
  auto n = number(words[1]);
  if (!n || *n < 0) return std::nullopt;
  Step step = step_of(command);
  step.item = *n;
  step.ticks = *n;
  return step;
}

std::optional<Step> parse_line(std::string_view line) {
  auto words = words_of(line);
  const std::string& verb = words.front();
  if (verb == "click") return number_step(Command::click, words);
  if (verb == "wait") return number_step(Command::wait, words);
  if (verb == "down") return point_step(Command::down, words);
  if (verb == "drag") return point_step(Command::drag, words);
  if (verb == "up") return point_step(Command::up, words);
  if (verb == "press") return key_list(Command::press, words);
  if (verb == "autokey") return key_list(Command::autoKey, words);
  if (verb == "hold") return key_list(Command::hold, words);
  if (verb == "release") return key_list(Command::release, words);
  if (verb == "key") return line.size() > 4 ? typed_text(line.substr(4)) : std::nullopt;
  if (verb == "save" && words.size() == 2) {
    Step step = step_of(Command::save);
    step.file = words[1];
    return step;
  }
  return std::nullopt;
}

bool is_blank(std::string_view line) {
  auto first = line.find_first_not_of(" \t\r");
  return first == std::string_view::npos || line[first] == '#';
}

}  // namespace

std::optional<Script> parse_script(std::string_view text, int* badLine) {
  Script script;
  int lineNumber = 0;
  std::istringstream in{std::string(text)};
  for (std::string line; std::getline(in, line);) {
    ++lineNumber;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (is_blank(line)) continue;
    auto first = line.find_first_not_of(" \t");
    auto step = parse_line(std::string_view(line).substr(first));
    if (!step) {
      if (badLine != nullptr) *badLine = lineNumber;
      return std::nullopt;
    }
    script.steps.push_back(*step);
  }
  return script;
}

OSErr load_script(const std::filesystem::path& path, int* badLine) {
  std::ifstream in(path);
  if (!in) return fnfErr;
  std::ostringstream text;
  text << in.rdbuf();
  auto script = parse_script(text.str(), badLine);
  if (!script) return paramErr;
  backend::install(make(std::move(*script)));
  return noErr;
}

}  // namespace tessel::platform::headless
