// String and number built-ins: length, character, substring and conversions.
// Strings are byte strings with 0-based indexes.
#include <cstring>
#include <string>

#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"
#include "script/store/value.h"

namespace setup {

namespace {

std::int32_t Length(const char* text) {
  return static_cast<std::int32_t>(std::strlen(text));
}

}  // namespace

// ---- Operations ----------------------------------------------------------------------

std::int32_t GetLen(const char* text) {
  return Length(text);
}

std::int32_t StringToNum(const char* text) {
  return TextToNum(text);
}

std::int32_t NumToString(std::int32_t value, TextOut& out) {
  out = std::to_string(value);
  return 1;
}

std::int32_t GetAt(const char* text, std::int32_t index, TextOut& out) {
  if (index < 0 || index > Length(text) - 1) {
    TraceLine("getat() : buffer overflow.");
    return 0;
  }
  out = std::string(1, text[index]);
  return 1;
}

// The characters from first to last, both included. first == last gives the
// empty string (no text), not the one character there.
std::int32_t GetStr(const char* text, std::int32_t first, std::int32_t last, TextOut& out) {
  const std::int32_t length = Length(text);
  if (first < 0 || first > length - 1 || last < 0 || last > length - 1 || first > last) {
    TraceLine("getstr() : buffer overflow.");
    return 0;
  }
  if (first == last) return 1;
  out = std::string(text + first, static_cast<std::size_t>(last - first + 1));
  return 1;
}

// ---- Handlers --------------------------------------------------------------------------

std::int32_t HandleGetLen(SyntaxNode*) {
  const char* text = ArgText(0, 1);
  if (text == nullptr) return MissingArgument();
  return GetLen(text);
}

std::int32_t HandleStringToNum(SyntaxNode*) {
  const char* text = ArgText(0, 1);
  if (text == nullptr) return MissingArgument();
  return StringToNum(text);
}

std::int32_t HandleNumToString(SyntaxNode*) {
  std::int32_t value = 0;
  if (!ArgNum(0, 1, &value)) return MissingArgument();
  return NumToString(value, *ResetStringResult());
}

std::int32_t HandleGetAt(SyntaxNode*) {
  const char* text = ArgText(0, 2);
  std::int32_t index = 0;
  if (text == nullptr || !ArgNum(1, 2, &index)) return MissingArgument();
  return GetAt(text, index, *ResetStringResult());
}

std::int32_t HandleGetStr(SyntaxNode*) {
  const char* text = ArgText(0, 3);
  std::int32_t first = 0;
  std::int32_t last = 0;
  if (text == nullptr || !ArgNum(1, 3, &first) || !ArgNum(2, 3, &last)) {
    return MissingArgument();
  }
  return GetStr(text, first, last, *ResetStringResult());
}

}  // namespace setup
