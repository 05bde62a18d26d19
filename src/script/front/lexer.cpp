// Lexer: source reader (file lines and macro texts) and the token state machine.
#include "script/front/lexer.h"

#include <cstring>

#include "base/global.h"
#include "builtins/table.h"
#include "diag/report.h"
#include "script/front/keywords.h"
#include "script/store/symbols.h"

namespace setup {

std::int32_t FindBuiltin(const char* name) {
  const BuiltinEntry* entry = GetBuiltinEntry(name);
  return entry != nullptr ? entry->nToken : TK_IDENT;
}

namespace front {

namespace {

bool IsDigit(int c) {
  return c >= '0' && c <= '9';
}
bool IsHexDigit(int c) {
  return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
bool IsLetter(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// Pushes a byte back; the end of input is never pushed back, so the next read
// meets the end again.
void PushBack(int c) {
  if (c != kEndOfInput) UnreadChar();
}

// The text of the token being read: bytes past 4,095 are read and dropped.
class TokenText {
 public:
  explicit TokenText(char* buffer) : m_pBuffer(buffer) { m_pBuffer[0] = '\0'; }
  void Append(int c) {
    if (c <= 0 || m_nLength >= kMaxTokenLen) return;
    m_pBuffer[m_nLength++] = static_cast<char>(c);
    m_pBuffer[m_nLength] = '\0';
  }
  void Clear() {
    m_nLength = 0;
    m_pBuffer[0] = '\0';
  }

 private:
  char* m_pBuffer;
  int m_nLength = 0;
};

// The NUL that ends a macro text ends whatever token is open there.
bool IsMacroEnd(int c) {
  return c == 0 && theGlobal.m_bInMacro;
}

std::int32_t ClassifyName(const char* name) {
  if (FindMacro(name) != nullptr) return TK_MACRO;
  std::int32_t code = FindKeyword(name);
  if (code != TK_IDENT) return code;
  return FindBuiltin(name);
}

// One-byte punctuation, or TK_NONE.
std::int32_t Punctuation(int c) {
  switch (c) {
    case '(':
      return TK_LPAREN;
    case ')':
      return TK_RPAREN;
    case ',':
      return TK_COMMA;
    case ':':
      return TK_COLON;
    case ';':
      return TK_SEMICOLON;
    case '[':
      return TK_LBRACKET;
    case ']':
      return TK_RBRACKET;
    case '{':
      return TK_LBRACE;
    case '}':
      return TK_RBRACE;
    default:
      return TK_NONE;
  }
}

// An operator whose optional second byte is '=': the one-byte and two-byte codes.
bool EqualsOperator(int c, std::int32_t* single, std::int32_t* twoByte) {
  switch (c) {
    case '=':
      *single = TK_ASSIGN, *twoByte = TK_EQ;
      return true;
    case '<':
      *single = TK_LT, *twoByte = TK_LE;
      return true;
    case '>':
      *single = TK_GT, *twoByte = TK_GE;
      return true;
    case '%':
      *single = TK_PERCENT, *twoByte = TK_PERCENT_ASSIGN;
      return true;
    case '+':
      *single = TK_PLUS, *twoByte = TK_PLUS_ASSIGN;
      return true;
    case '-':
      *single = TK_MINUS, *twoByte = TK_MINUS_ASSIGN;
      return true;
    case '*':
      *single = TK_STAR, *twoByte = TK_STAR_ASSIGN;
      return true;
    default:
      return false;
  }
}

// Number literal after its first byte (a digit, or the '-' of a negative literal).
std::int32_t ReadNumber(int first, TokenText& text) {
  text.Append(first);
  int digits = 0;
  bool leadingZero = false;
  if (first == '-') {
    int c = ReadChar();  // a digit: the caller has peeked at it
    text.Append(c);
    digits = 1;
    leadingZero = c == '0';
  } else {
    digits = 1;
    leadingZero = first == '0';
  }
  for (;;) {
    int c = ReadChar();
    if (IsHexDigit(c) || ((c == 'x' || c == 'X') && digits == 1 && leadingZero)) {
      text.Append(c);
      ++digits;
      continue;
    }
    PushBack(c);
    return TK_NUMBER;
  }
}

// String literal after its opening quote. An unclosed literal yields the error token.
std::int32_t ReadString(TokenText& text) {
  for (;;) {
    int c = ReadChar();
    if (c == '"') return TK_STRING;
    if (c == kEndOfInput || IsMacroEnd(c)) {
      ReportError("string miss the closing '\"'.");
      text.Clear();
      text.Append('"');
      return TK_ERROR;
    }
    text.Append(c);
  }
}

// Discards the rest of the line (or of the macro text) after "//". Answers
// false when the source ends there.
bool SkipLineComment() {
  Global& g = theGlobal;
  if (g.m_bInMacro) {
    if (g.m_pMacroText != nullptr) {
      g.m_nMacroPos = static_cast<std::int32_t>(std::strlen(g.m_pMacroText));
    }
    return true;
  }
  if (ReadLine() == kEndOfInput) {
    g.m_nLinePos = g.m_nLineLen;
    return false;
  }
  UnreadChar();
  return true;
}

}  // namespace

void ResetReader() {
  Global& g = theGlobal;
  g.m_nLineNo = 0;
  g.m_nLinePos = 0;
  g.m_nLineLen = 0;
  std::memset(g.m_szLine, 0, sizeof g.m_szLine);
}

int ReadLine() {
  Global& g = theGlobal;
  if (!g.m_pSourceFile) return kEndOfInput;
  if (!g.m_pSourceFile->GetLine(g.m_szLine, kLineSize - 1)) return kEndOfInput;
  ++g.m_nLineNo;
  g.m_nLineLen = static_cast<std::int32_t>(std::strlen(g.m_szLine));
  g.m_nLinePos = 1;
  return static_cast<unsigned char>(g.m_szLine[0]);
}

int ReadChar() {
  Global& g = theGlobal;
  if (g.m_bInMacro) {
    const char* text = g.m_pMacroText;
    std::int32_t pos = g.m_nMacroPos;
    // Past the terminating NUL the reader stays on it.
    if (text == nullptr || pos < 0 || (pos > 0 && text[pos - 1] == '\0')) return 0;
    g.m_nMacroPos = pos + 1;
    return static_cast<unsigned char>(text[pos]);
  }
  if (g.m_nLinePos >= 0 && g.m_nLinePos < g.m_nLineLen) {
    return static_cast<unsigned char>(g.m_szLine[g.m_nLinePos++]);
  }
  return ReadLine();
}

void UnreadChar() {
  Global& g = theGlobal;
  if (g.m_bInMacro) {
    if (g.m_nMacroPos > 0) --g.m_nMacroPos;
  } else if (g.m_nLinePos > 0) {
    --g.m_nLinePos;
  }
}

std::int32_t GetToken() {
  Global& g = theGlobal;
  const std::int32_t previous = g.m_nToken;
  TokenText text(g.m_szToken);
  std::int32_t code = TK_NONE;

  for (;;) {
    int c = ReadChar();
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (c == kEndOfInput) {
      code = TK_END;
      break;
    }
    if (c == '#') {  // block comment up to the next '#'
      do {
        c = ReadChar();
      } while (c != '#' && c != kEndOfInput && !IsMacroEnd(c));
      if (c == '#') continue;
      code = c == kEndOfInput ? TK_END : TK_NONE;
      break;
    }
    if (c == '"') {
      code = ReadString(text);
      break;
    }
    if (IsDigit(c)) {
      code = ReadNumber(c, text);
      break;
    }
    if (c == '-') {
      int next = ReadChar();
      PushBack(next);
      if (IsDigit(next) && previous == TK_LPAREN) {
        code = ReadNumber(c, text);
        break;
      }
    }
    if (IsLetter(c)) {
      for (;;) {
        text.Append(c);
        c = ReadChar();
        if (!IsLetter(c) && !IsDigit(c)) break;
      }
      PushBack(c);
      code = ClassifyName(g.m_szToken);
      break;
    }
    std::int32_t single, twoByte;
    if (EqualsOperator(c, &single, &twoByte)) {
      text.Append(c);
      int next = ReadChar();
      if (next == '=') {
        text.Append(next);
        code = twoByte;
      } else {
        PushBack(next);
        code = single;
      }
      break;
    }
    if (c == '!') {
      text.Append(c);
      int next = ReadChar();
      if (next == '=') {
        text.Append(next);
        code = TK_NE;
      } else {
        // The byte after a lone '!' is consumed with it.
        ReportError("\nThe current err state is %d . \n", 17);
        code = TK_ERROR;
      }
      break;
    }
    if (c == '&' || c == '|') {
      text.Append(c);
      int next = ReadChar();
      if (next == c) {
        text.Append(next);
        code = c == '&' ? TK_ANDAND : TK_OROR;
      } else {
        PushBack(next);
        code = c == '&' ? TK_AND : TK_OR;
      }
      break;
    }
    if (c == '/') {
      int next = ReadChar();
      if (next == '/') {
        text.Clear();
        if (SkipLineComment()) continue;
        code = TK_END;
        break;
      }
      text.Append(c);
      if (next == '=') {
        text.Append(next);
        code = TK_SLASH_ASSIGN;
      } else {
        PushBack(next);
        code = TK_SLASH;
      }
      break;
    }
    text.Append(c);
    code = Punctuation(c);  // TK_NONE for a byte that begins no token
    break;
  }

  g.m_nToken = code;
  return code;
}

int MatchToken(std::int32_t code) {
  if (theGlobal.m_nToken != code) return 0;
  GetToken();
  return 1;
}

}  // namespace front
}  // namespace setup
