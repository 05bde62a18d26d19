// The lexer: reads the current source (a file line by line, or a macro text)
// and keeps exactly one current token in theGlobal (m_nToken, m_szToken).
#pragma once

#include <cstdint>

namespace setup {

// Number text to num: optional blanks and sign, then "0x" hexadecimal or
// decimal digits; 32-bit wrap-around, 0 for text without digits.
std::int32_t TextToNum(const char* text);

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
