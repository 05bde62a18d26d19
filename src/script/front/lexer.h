// The lexer: reads the current source (a file line by line, or a macro text)
// and keeps exactly one current token in theGlobal (m_nToken, m_szToken).
#pragma once

#include <cstdint>

namespace setup {

// Token codes of the lexer.
enum TokenCode : std::int32_t {
  TK_NONE = 0,  // a byte that begins no token (also a macro text's NUL)
  TK_IDENT = 1,
  TK_NUMBER = 2,
  TK_STRING = 3,
  TK_CONST = 4,
  TK_KW_STRING = 5,
  TK_KW_NUM = 6,
  TK_BUILTIN_FIRST = 7,
  TK_BUILTIN_LAST = 46,
  TK_MACRO = 47,
  TK_LBRACE = 49,
  TK_RBRACE = 50,
  TK_LBRACKET = 51,
  TK_RBRACKET = 52,
  TK_IF = 53,
  TK_THEN = 54,
  TK_ELSE = 55,
  TK_INCLUDE = 56,
  TK_SWITCH = 57,
  TK_CASE = 58,
  TK_DO = 59,
  TK_WHILE = 60,
  TK_ASSIGN = 61,
  TK_LPAREN = 62,
  TK_RPAREN = 63,
  TK_PLUS = 64,
  TK_MINUS = 65,
  TK_STAR = 66,
  TK_SLASH = 67,
  TK_ANDAND = 68,
  TK_OROR = 69,
  TK_AND = 70,
  TK_OR = 71,
  TK_LT = 72,
  TK_GT = 73,
  TK_LE = 74,
  TK_GE = 75,
  TK_NE = 76,
  TK_EQ = 77,
  TK_PLUS_ASSIGN = 78,
  TK_MINUS_ASSIGN = 79,
  TK_STAR_ASSIGN = 80,
  TK_SLASH_ASSIGN = 81,
  TK_PERCENT_ASSIGN = 82,
  TK_BREAK = 83,
  TK_CONTINUE = 84,
  TK_MSCALL = 85,
  TK_DEFAULT = 87,
  TK_RETURN = 88,
  TK_DEFINE = 89,
  TK_PERCENT = 90,
  TK_COLON = 91,
  TK_SEMICOLON = 92,
  TK_COMMA = 94,
  TK_ERROR = 97,
  TK_END = 98,
};

// The token code (7 to 46) of the built-in named `name`, or TK_IDENT.
std::int32_t FindBuiltin(const char* name);

namespace front {

// Marks the end of the source in ReadChar's answer.
constexpr int kEndOfInput = -1;

// Reads the next token into m_nToken / m_szToken and answers its code.
std::int32_t GetToken();
// Consumes the current token when it is `code` (answers 1); else 0, nothing changed.
int MatchToken(std::int32_t code);
// The next source byte (0..255), or kEndOfInput.
int ReadChar();
// Steps back one byte in the macro text or the current line.
void UnreadChar();
// Reads the next line of m_pSourceFile; answers its first byte or kEndOfInput.
int ReadLine();
// Puts the reader at the start of a freshly opened source file.
void ResetReader();

}  // namespace front
}  // namespace setup
