#include "Lexer.h"

#include <cctype>
#include <limits>

namespace tessel::rescomp {
namespace {

constexpr std::string_view kPunctuation = "{},:";

class Lexer {
 public:
  explicit Lexer(std::string_view source) : source_(source) {}

  std::vector<Token> run() {
    std::vector<Token> tokens;
    while (skip_blanks_and_comments()) tokens.push_back(next());
    tokens.push_back(Token{TokenKind::end, "", 0, line_});
    return tokens;
  }

 private:
  bool at_end() const { return at_ >= source_.size(); }
  char peek() const { return at_end() ? '\0' : source_[at_]; }

  [[noreturn]] void fail(const std::string& message) const { throw SourceError{line_, message}; }

  using UInt = unsigned char;

  bool skip_blanks_and_comments() {
    while (!at_end()) {
      char c = peek();
      if (c == '#') {
        while (!at_end() && peek() != '\n') ++at_;
      } else if (std::isspace(UInt(c))) {
        if (c == '\n') ++line_;
        ++at_;
      } else {
        return true;
      }
    }
    return false;
  }

  Token next() {
    char c = peek();
    if (c == '"') return text();
    if (c == '\'') return type_code();
    if (c == '-' || std::isdigit(UInt(c))) return integer();
    if (std::isalpha(UInt(c)) || c == '_') return word();
    if (kPunctuation.find(c) != std::string_view::npos) {
      ++at_;
      return Token{TokenKind::punctuation, std::string(1, c), 0, line_};
    }
    fail("unexpected character '" + std::string(1, c) + "'");
  }

  Token word() {
    std::size_t start = at_;
    while (!at_end() && (std::isalnum(UInt(peek())) || peek() == '_')) ++at_;
    return Token{TokenKind::word, std::string(source_.substr(start, at_ - start)), 0, line_};
  }

  Token integer() {
    std::size_t start = at_;
    bool negative = peek() == '-';
    if (negative) ++at_;
    int base = 10;
    if (peek() == '0' && at_ + 1 < source_.size() &&
        (source_[at_ + 1] == 'x' || source_[at_ + 1] == 'X')) {
      base = 16;
      at_ += 2;
    }
    std::int64_t value = 0;
    std::size_t digits = 0;
    while (!at_end() && std::isalnum(UInt(peek()))) {
      int digit = digit_value(peek(), base);
      if (digit < 0)
        fail("malformed number '" + std::string(source_.substr(start, at_ - start + 1)) + "'");
      if (value > (std::numeric_limits<std::int64_t>::max() - digit) / base)
        fail("number too large");
      value = value * base + digit;
      ++digits;
      ++at_;
    }
    if (digits == 0)
      fail("malformed number '" + std::string(source_.substr(start, at_ - start)) + "'");
    return Token{TokenKind::integer, std::string(source_.substr(start, at_ - start)),
                 negative ? -value : value, line_};
  }

  static int digit_value(char c, int base) {
    int digit = std::isdigit(UInt(c))    ? c - '0'
                : std::isxdigit(UInt(c)) ? std::tolower(UInt(c)) - 'a' + 10
                                         : -1;
    return digit < base ? digit : -1;
  }

  Token text() {
    int start_line = line_;
    ++at_;
    std::string contents;
    while (peek() != '"') {
      if (at_end() || peek() == '\n') throw SourceError{start_line, "text not closed on its line"};
      if (peek() == '\\') {
        contents += escape();
      } else {
        contents += source_[at_++];
      }
    }
    ++at_;
    return Token{TokenKind::text, contents, 0, start_line};
  }

  // \" and \\ stand for themselves; \r is the Toolbox's line break in a
  // text, \t a tab.
  char escape() {
    ++at_;
    char c = peek();
    ++at_;
    switch (c) {
      case '"': return '"';
      case '\\': return '\\';
      case 'r': return '\r';
      case 't': return '\t';
      default: fail(std::string("unknown escape '\\") + c + "' (use \\\", \\\\, \\r or \\t)");
    }
  }

  Token type_code() {
    std::size_t start = ++at_;
    while (!at_end() && peek() != '\'' && peek() != '\n') ++at_;
    std::string code(source_.substr(start, at_ - start));
    if (peek() != '\'') fail("type code not closed on its line");
    ++at_;
    bool printable = true;
    for (char c : code) printable = printable && c >= 0x20 && c < 0x7F;
    if (code.size() != 4 || !printable)
      fail("type code '" + code + "' is not four printable ASCII characters");
    return Token{TokenKind::typeCode, code, 0, line_};
  }

  std::string_view source_;
  std::size_t at_ = 0;
  int line_ = 1;
};

}  // namespace

std::vector<Token> tokenize(std::string_view source) { return Lexer(source).run(); }

std::string describe(const Token& token) {
  switch (token.kind) {
    case TokenKind::word: return "'" + token.text + "'";
    case TokenKind::integer: return "number " + token.text;
    case TokenKind::text: return "text \"" + token.text + "\"";
    case TokenKind::typeCode: return "type code '" + token.text + "'";
    case TokenKind::punctuation: return "'" + token.text + "'";
    case TokenKind::end: return "end of file";
  }
  return "?";
}

}  // namespace tessel::rescomp
