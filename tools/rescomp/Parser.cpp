#include "Parser.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <limits>
#include <string_view>
#include <utility>

#include "ByteOrder.h"
#include "SourceFiles.h"
#include "Templates.h"
#include "TextEncoding.h"

namespace tessel::rescomp {
namespace {

using platform::resources::Resource;

constexpr std::int64_t kInt16Min = std::numeric_limits<SInt16>::min();
constexpr std::int64_t kInt16Max = std::numeric_limits<SInt16>::max();
constexpr std::size_t kLargestInclude = std::size_t(16) << 20;  // a fork's data reach

template <class T>
struct Named {
  std::string_view name;
  T value;
};

constexpr Named<UInt8> kAttributes[] = {
    {"sysheap", 64}, {"purgeable", 32}, {"locked", 16}, {"protected", 8}, {"preload", 4}};

constexpr Named<SInt16> kWindowKinds[] = {
    {"document", 0},         {"modal", 1},         {"plain", 2},         {"shadow", 3},
    {"no_grow_document", 4}, {"movable_modal", 5}, {"zoom_document", 8}, {"rounded", 16}};

constexpr Named<UInt16> kPlacements[] = {{"none", 0x0000},
                                         {"center_main_screen", 0x280A},
                                         {"alert_main_screen", 0x300A},
                                         {"stagger_main_screen", 0x380A},
                                         {"center_parent_window", 0xA80A},
                                         {"alert_parent_window", 0xB00A},
                                         {"stagger_parent_window", 0xB80A},
                                         {"center_parent_screen", 0x680A},
                                         {"alert_parent_screen", 0x700A},
                                         {"stagger_parent_screen", 0x780A}};

constexpr Named<ItemKind> kItemKinds[] = {{"button", ItemKind::button},
                                          {"check_box", ItemKind::checkBox},
                                          {"radio_button", ItemKind::radioButton},
                                          {"control", ItemKind::control},
                                          {"static_text", ItemKind::staticText},
                                          {"edit_text", ItemKind::editText},
                                          {"icon", ItemKind::icon},
                                          {"picture", ItemKind::picture},
                                          {"user_item", ItemKind::userItem}};

constexpr Named<bool> kBooleans[] = {{"true", true}, {"false", false}};

// The value of the entry with that name in a table of Named entries.
template <class Table>
auto find_named(const Table& table, std::string_view name) -> decltype(&std::begin(table)->value) {
  for (const auto& entry : table) {
    if (entry.name == name) return &entry.value;
  }
  return nullptr;
}

// "a, b, c": the names of a table's entries, for messages.
template <class Table>
std::string list_names(const Table& table) {
  std::string names;
  for (const auto& entry : table) names += (names.empty() ? "" : ", ") + std::string(entry.name);
  return names;
}

Bytes big_endian(std::int64_t value, int bytes) {
  Bytes out;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) out.push_back(UInt8(value >> shift));
  return out;
}

// One field of a field-style body: its name, whether it must appear, and
// what reads its value.
struct Field {
  std::string_view name;
  bool required;
  std::function<void()> read;
};

class Parser {
 public:
  Parser(std::vector<Token> tokens, std::filesystem::path includes_from)
      : tokens_(std::move(tokens)), includes_from_(std::move(includes_from)) {}

  std::vector<ParsedResource> parse_all() {
    std::vector<ParsedResource> resources;
    while (peek().kind != TokenKind::end) resources.push_back(parse_resource());
    return resources;
  }

 private:
  // ---- tokens ----
  const Token& peek() const { return tokens_[at_]; }
  const Token& take() { return tokens_[at_ < tokens_.size() - 1 ? at_++ : at_]; }

  [[noreturn]] void fail_at(const Token& token, const std::string& message) const {
    throw SourceError{token.line, message};
  }
  [[noreturn]] void fail_expecting(const std::string& wanted) const {
    fail_at(peek(), "expected " + wanted + ", found " + describe(peek()));
  }

  bool is_punctuation(char mark) const {
    return peek().kind == TokenKind::punctuation && peek().text[0] == mark;
  }
  bool accept(char mark) {
    if (!is_punctuation(mark)) return false;
    take();
    return true;
  }
  void expect(char mark) {
    if (!accept(mark)) fail_expecting(std::string("'") + mark + "'");
  }

  std::string expect_word(const std::string& wanted) {
    if (peek().kind != TokenKind::word) fail_expecting(wanted);
    return take().text;
  }

  std::int64_t expect_integer(const std::string& what, std::int64_t low, std::int64_t high) {
    if (peek().kind != TokenKind::integer) fail_expecting(what);
    const Token& token = take();
    if (token.value < low || token.value > high) {
      fail_at(token, what + " " + token.text + " is out of range (" + std::to_string(low) + " to " +
                         std::to_string(high) + ")");
    }
    return token.value;
  }
  SInt16 expect_int16(const std::string& what) {
    return SInt16(expect_integer(what, kInt16Min, kInt16Max));
  }

  ResType expect_type_code(const std::string& what) {
    if (peek().kind != TokenKind::typeCode) fail_expecting(what + " (a code in single quotes)");
    const std::string& code = take().text;
    return FourCC({code[0], code[1], code[2], code[3], '\0'});
  }

  // One or more adjacent texts, joined, in UTF-8.
  std::string expect_utf8(const std::string& what) {
    if (peek().kind != TokenKind::text) fail_expecting(what + " (a text in double quotes)");
    std::string joined;
    while (peek().kind == TokenKind::text) joined += take().text;
    return joined;
  }

  // One or more adjacent texts, joined and encoded in Mac Roman.
  Bytes expect_text(const std::string& what, std::size_t longest = 255) {
    const Token& first = peek();
    MacRomanResult encoded = utf8_to_mac_roman(expect_utf8(what));
    if (encoded.malformed) fail_at(first, what + " is not valid UTF-8");
    if (encoded.refused) {
      fail_at(first, what + " holds " + describe_character(*encoded.refused) +
                         ", which Mac Roman cannot represent");
    }
    if (encoded.bytes.size() > longest) {
      fail_at(first, what + " is " + std::to_string(encoded.bytes.size()) +
                         " characters long; at most " + std::to_string(longest) + " fit");
    }
    return encoded.bytes;
  }

  bool expect_boolean(const std::string& what) { return expect_one_of(what, kBooleans); }

  Rect expect_rect(const std::string& what) {
    std::string part = what + " (top, left, bottom, right)";
    SInt16 top = expect_int16(part);
    expect(',');
    SInt16 left = expect_int16(part);
    expect(',');
    SInt16 bottom = expect_int16(part);
    expect(',');
    SInt16 right = expect_int16(part);
    return Rect{top, left, bottom, right};
  }

  // A name from the table.
  template <class T, std::size_t N>
  T expect_one_of(const std::string& what, const Named<T> (&table)[N]) {
    const Token& token = peek();
    const T* value = find_named(table, expect_word(what + " (" + list_names(table) + ")"));
    if (value == nullptr)
      fail_at(token, what + " must be one of " + list_names(table) + ", not '" + token.text + "'");
    return *value;
  }

  // A name from the table, or a number in [low, high].
  template <class T, std::size_t N>
  T expect_named_or_number(const std::string& what, const Named<T> (&table)[N], std::int64_t low,
                           std::int64_t high) {
    if (peek().kind == TokenKind::integer) return T(expect_integer(what, low, high));
    return expect_one_of(what, table);
  }

  // ---- resources ----
  ParsedResource parse_resource() {
    const Token& keyword = peek();
    if (expect_word("'resource'") != "resource")
      fail_at(keyword, "expected 'resource', found " + describe(keyword));
    Resource resource{};
    resource.type = expect_type_code("the resource type");
    resource.id = expect_int16("the resource ID");
    if (peek().kind == TokenKind::text) {
      Bytes name = expect_text("the resource name");
      resource.name.assign(name.begin(), name.end());
    }
    bool raw = parse_attributes(resource);
    expect('{');
    resource.data = raw ? parse_raw() : parse_body(resource.type, keyword.line);
    expect('}');
    return ParsedResource{std::move(resource), keyword.line};
  }

  // Attributes into the resource; true when the body is marked raw.
  bool parse_attributes(Resource& resource) {
    bool raw = false;
    while (peek().kind == TokenKind::word) {
      const Token& token = take();
      if (token.text == "raw") {
        raw = true;
      } else if (const UInt8* bit = find_named(kAttributes, token.text)) {
        resource.attributes |= *bit;
      } else {
        fail_at(token, "unknown attribute '" + token.text + "' (one of " + list_names(kAttributes) +
                           ", raw)");
      }
    }
    return raw;
  }

  Bytes parse_body(ResType type, int line) {
    if (type == FourCC("STR#")) return encode_string_list(parse_string_list());
    if (type == FourCC("STR ")) return encode_string(expect_text("the string"));
    if (type == FourCC("DLOG")) return encode_dialog(parse_dialog(line));
    if (type == FourCC("ALRT")) return encode_alert(parse_alert(line));
    if (type == FourCC("DITL")) return encode_item_list(parse_item_list(line));
    if (type == FourCC("CURS")) return encode_cursor(parse_cursor(line));
    if (type == FourCC("FILE")) return encode_file_descriptor(parse_file_descriptor(line));
    return parse_raw();
  }

  // `N:` before the N-th entry of a numbered body.
  void expect_number(const std::string& what, std::size_t wanted) {
    const Token& token = peek();
    std::int64_t number = expect_integer(what + " number", 1, 32767);
    if (std::size_t(number) != wanted) {
      fail_at(token, what + " " + token.text + " is out of order: " + what + " " +
                         std::to_string(wanted) + " comes next");
    }
    expect(':');
  }

  std::vector<Bytes> parse_string_list() {
    std::vector<Bytes> strings;
    while (!is_punctuation('}')) {
      expect_number("string", strings.size() + 1);
      strings.push_back(expect_text("string " + std::to_string(strings.size() + 1)));
    }
    return strings;
  }

  // Reads `name value` pairs until the closing brace; every field at most
  // once, the required ones at least once.
  void parse_fields(const std::string& kind, int line, const std::vector<Field>& fields) {
    std::vector<std::string_view> seen;
    while (!is_punctuation('}')) {
      const Token& token = peek();
      std::string name = expect_word("a field of the " + kind);
      auto field = std::find_if(fields.begin(), fields.end(),
                                [&](const Field& f) { return f.name == name; });
      if (field == fields.end())
        fail_at(token,
                "unknown field '" + name + "' in the " + kind + " (" + list_names(fields) + ")");
      if (std::find(seen.begin(), seen.end(), field->name) != seen.end())
        fail_at(token, "field '" + name + "' is given twice");
      seen.push_back(field->name);
      field->read();
    }
    for (const Field& field : fields) {
      if (field.required && std::find(seen.begin(), seen.end(), field.name) == seen.end()) {
        throw SourceError{line,
                          "the " + kind + " lacks its '" + std::string(field.name) + "' field"};
      }
    }
  }

  UInt32 expect_refcon() {
    if (peek().kind == TokenKind::typeCode) return expect_type_code("the reference constant");
    return UInt32(expect_integer("the reference constant", std::numeric_limits<SInt32>::min(),
                                 std::numeric_limits<UInt32>::max()));
  }

  UInt16 expect_placement() { return expect_named_or_number("placement", kPlacements, 0, 0xFFFF); }

  DialogTemplate parse_dialog(int line) {
    DialogTemplate dialog;
    dialog.procID = 1;
    parse_fields("dialog", line,
                 {{"bounds", true, [&] { dialog.bounds = expect_rect("the bounds"); }},
                  {"window", false,
                   [&] {
                     dialog.procID =
                         expect_named_or_number("window kind", kWindowKinds, kInt16Min, kInt16Max);
                   }},
                  {"visible", false, [&] { dialog.visible = expect_boolean("visible"); }},
                  {"close_box", false, [&] { dialog.goAway = expect_boolean("close_box"); }},
                  {"refcon", false, [&] { dialog.refCon = expect_refcon(); }},
                  {"items", true, [&] { dialog.itemsID = expect_int16("the item list ID"); }},
                  {"title", false, [&] { dialog.title = expect_text("the title"); }},
                  {"position", false, [&] { dialog.position = expect_placement(); }}});
    return dialog;
  }

  AlertTemplate parse_alert(int line) {
    AlertTemplate alert;
    parse_fields("alert", line,
                 {{"bounds", true, [&] { alert.bounds = expect_rect("the bounds"); }},
                  {"items", true, [&] { alert.itemsID = expect_int16("the item list ID"); }},
                  {"stages", true, [&] { alert.stages = expect_stages(); }},
                  {"position", false, [&] { alert.position = expect_placement(); }}});
    return alert;
  }

  UInt16 expect_stages() {
    if (peek().kind == TokenKind::integer)
      return UInt16(expect_integer("the stages word", 0, 0xFFFF));
    UInt16 stages = 0;
    for (int stage = 0; stage < 4; ++stage) {
      if (stage > 0) expect(',');
      stages = UInt16(stages | (expect_stage(stage + 1) << (4 * stage)));
    }
    return stages;
  }

  // Four bits: the default button (set for Cancel), whether the alert is
  // shown, and the beep.
  unsigned expect_stage(int number) {
    std::string what = "stage " + std::to_string(number);
    constexpr Named<unsigned> kButtons[] = {{"ok", 0}, {"cancel", 8}};
    constexpr Named<unsigned> kShown[] = {{"visible", 4}, {"hidden", 0}};
    constexpr Named<unsigned> kSounds[] = {
        {"silent", 0}, {"sound1", 1}, {"sound2", 2}, {"sound3", 3}};
    unsigned bits = expect_one_of(what + "'s default button", kButtons);
    bits |= expect_one_of(what + "'s visibility", kShown);
    return bits | expect_one_of(what + "'s sound", kSounds);
  }

  std::vector<DialogItem> parse_item_list(int line) {
    std::vector<DialogItem> items;
    while (!is_punctuation('}')) {
      expect_number("item", items.size() + 1);
      items.push_back(parse_item("item " + std::to_string(items.size() + 1)));
    }
    if (items.empty()) throw SourceError{line, "an item list needs at least one item"};
    return items;
  }

  DialogItem parse_item(const std::string& what) {
    DialogItem item;
    item.kind = expect_one_of(what + "'s kind", kItemKinds);
    constexpr Named<bool> kEnabled[] = {{"enabled", true}, {"disabled", false}};
    item.enabled = expect_one_of(what, kEnabled);
    item.bounds = expect_rect(what + "'s rectangle");
    switch (item.kind) {
      case ItemKind::userItem: break;
      case ItemKind::control:
      case ItemKind::icon:
      case ItemKind::picture: item.resourceID = expect_int16(what + "'s resource ID"); break;
      default: item.text = expect_text(what + "'s text");
    }
    return item;
  }

  CursorTemplate parse_cursor(int line) {
    CursorTemplate cursor;
    parse_fields("cursor", line,
                 {{"image", true, [&] { cursor.image = expect_cursor_rows("image"); }},
                  {"mask", true, [&] { cursor.mask = expect_cursor_rows("mask"); }},
                  {"hot_spot", true, [&] { cursor.hotSpot = expect_hot_spot(); }}});
    return cursor;
  }

  std::array<UInt16, 16> expect_cursor_rows(const std::string& what) {
    std::array<UInt16, 16> rows{};
    expect('{');
    for (std::size_t row = 0; row < rows.size(); ++row) {
      std::string name = "row " + std::to_string(row + 1) + " of the " + what;
      const Token& token = peek();
      Bytes bits = expect_bit_row(name);
      if (token.text.size() != 16)
        fail_at(token, name + " has " + std::to_string(token.text.size()) +
                           " pixels; a cursor row has 16");
      rows[row] = platform::read_big16(bits);
    }
    if (!is_punctuation('}')) fail_at(peek(), "the " + what + " has more than 16 rows");
    expect('}');
    return rows;
  }

  Point expect_hot_spot() {
    SInt16 v = SInt16(expect_integer("the hot spot's vertical position", 0, 15));
    expect(',');
    SInt16 h = SInt16(expect_integer("the hot spot's horizontal position", 0, 15));
    return Point{v, h};
  }

  FileDescriptor parse_file_descriptor(int line) {
    FileDescriptor file;
    parse_fields("file descriptor", line,
                 {{"name", true, [&] { file.name = expect_text("the file name", 31); }},
                  {"creator", true, [&] { file.creator = expect_type_code("the creator"); }},
                  {"type", true, [&] { file.fileType = expect_type_code("the file type"); }},
                  {"script", false, [&] { file.script = expect_int16("the script code"); }}});
    return file;
  }

  // ---- raw bodies ----
  Bytes parse_raw() {
    Bytes out;
    while (!is_punctuation('}')) append_raw_statement(out);
    return out;
  }

  void append_raw_statement(Bytes& out) {
    constexpr auto kInt32Min = std::numeric_limits<SInt32>::min();
    constexpr auto kUInt32Max = std::numeric_limits<UInt32>::max();
    const std::vector<Named<std::function<Bytes()>>> statements = {
        {"hex", [&] { return expect_hex(); }},
        {"include", [&] { return expect_include(); }},
        {"bits", [&] { return expect_bits(); }},
        {"int8", [&] { return big_endian(expect_integer("the int8", -128, 255), 1); }},
        {"int16", [&] { return big_endian(expect_integer("the int16", kInt16Min, 0xFFFF), 2); }},
        {"int32",
         [&] { return big_endian(expect_integer("the int32", kInt32Min, kUInt32Max), 4); }},
        {"type", [&] { return big_endian(expect_type_code("the code"), 4); }},
        {"pstring", [&] { return encode_string(expect_text("the pstring")); }},
        {"text", [&] { return expect_text("the text", std::numeric_limits<std::size_t>::max()); }}};
    const Token& token = peek();
    std::string word = expect_word("a data statement (" + list_names(statements) + ")");
    const std::function<Bytes()>* read = find_named(statements, word);
    if (read == nullptr) {
      fail_at(token, "unknown data statement '" + word + "' (" + list_names(statements) + ")");
    }
    append(out, (*read)());
  }

  static void append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
  }

  Bytes expect_hex() {
    const Token& token = peek();
    std::string digits;
    for (char c : expect_utf8("hex digits")) {
      if (std::isxdigit(static_cast<unsigned char>(c))) {
        digits += c;
      } else if (!std::isspace(static_cast<unsigned char>(c))) {
        fail_at(token, std::string("'") + c + "' is not a hex digit");
      }
    }
    if (digits.size() % 2 != 0) fail_at(token, "hex data has an odd number of digits");
    Bytes out;
    for (std::size_t i = 0; i < digits.size(); i += 2)
      out.push_back(UInt8(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return out;
  }

  // One row, or rows in braces, each padded to whole bytes on its own.
  Bytes expect_bits() {
    if (!accept('{')) return expect_bit_row("the bits");
    Bytes out;
    while (!accept('}')) append(out, expect_bit_row("a row of bits"));
    return out;
  }

  // Pixels from '#' (set) and '.' (clear), the first in the high bit.
  Bytes expect_bit_row(const std::string& what) {
    const Token& token = peek();
    if (token.kind != TokenKind::text) fail_expecting(what + " (a text of '#' and '.')");
    std::string row = take().text;
    Bytes out((row.size() + 7) / 8, 0);
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (row[i] != '#' && row[i] != '.') fail_at(token, what + " may hold only '#' and '.'");
      if (row[i] == '#') out[i / 8] = UInt8(out[i / 8] | (0x80 >> (i % 8)));
    }
    return out;
  }

  Bytes expect_include() {
    const Token& token = peek();
    std::filesystem::path path = includes_from_ / expect_utf8("the file to include");
    std::string why;
    std::optional<Bytes> bytes = read_whole_file(path, kLargestInclude, why);
    if (!bytes) fail_at(token, "cannot include " + path.string() + ": " + why);
    return std::move(*bytes);
  }

  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  std::filesystem::path includes_from_;
};

}  // namespace

std::vector<ParsedResource> parse_source(std::vector<Token> tokens,
                                         const std::filesystem::path& includes_from) {
  return Parser(std::move(tokens), includes_from).parse_all();
}

}  // namespace tessel::rescomp
