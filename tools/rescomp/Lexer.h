// Tokens of a resource source: words, integers, "texts", 'type' codes and
// the punctuation { } , :. A # starts a comment to the end of the line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessel::rescomp {

enum class TokenKind { word, integer, text, typeCode, punctuation, end };

struct Token {
  TokenKind kind = TokenKind::end;
  std::string text;        // a word, the punctuation mark, a text's UTF-8 contents, a type code
  std::int64_t value = 0;  // an integer's value
  int line = 0;
};

// Thrown by the lexer and the parser; the compiler turns it into a message
// naming the file and line. It never leaves the library.
struct SourceError {
  int line;
  std::string message;
};

// The whole source as tokens, ending with one end token. Throws SourceError
// for an unterminated text, an unknown escape, a malformed number or type
// code, or a character that starts no token.
std::vector<Token> tokenize(std::string_view source);

// How a token reads in a message: `word`, "text", '{', end of file.
std::string describe(const Token& token);

}  // namespace tessel::rescomp
