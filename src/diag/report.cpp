// The reports: warning, print line and error, all on standard output.
//
// A report never touches ErrorFlag: the part that detects a failure sets it.
#include "diag/report.h"

#include <cstring>
#include <string>

#include "base/global.h"
#include "platform/winapi.h"

namespace setup {

namespace {

void Write(const std::string& text) {
  plat::WriteStdout(text.data(), text.size());
}

void WriteText(const char* text) {
  plat::WriteStdout(text, std::strlen(text));
}

// Warnings count the lines of the script as packaged, not of the expanded
// file that begins with the generated prelude.
std::int32_t ReportedLine() {
  const std::int32_t line = theGlobal.m_nLineNo;
  const std::int32_t prelude = theGlobal.m_nPreludeLines;
  if (prelude >= 1 && line > prelude) return line - prelude;
  return line;
}

// Formats the caller's text and writes it between `before` and `after`; a
// format of none writes `missing` instead. Answers 1, or 0 for no format.
int Emit(const std::string& before, const char* after, const char* missing, const char* format,
         va_list args) {
  if (format == nullptr) {
    WriteText(missing);
    return 0;
  }
  char text[kReportBufferSize];
  FormatText(text, sizeof text, format, args);
  Write(before + text + after);
  return 1;
}

}  // namespace

int ReportWarning(const char* format, ...) {
  std::string before = "\n";
  before.append(theGlobal.m_szFileName,
                strnlen(theGlobal.m_szFileName, sizeof theGlobal.m_szFileName));
  before += '(' + std::to_string(ReportedLine()) + "):";
  va_list args;
  va_start(args, format);
  const int result = Emit(before, "", "\nno warn information.\n", format, args);
  va_end(args);
  return result;
}

int PrintLine(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = Emit("\n", "", "\nno debug information.\n", format, args);
  va_end(args);
  return result;
}

int ReportError(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = Emit("\n$ ", " ", "\nno debug information.\n", format, args);
  va_end(args);
  return result;
}

void TraceLine(const char* /*text*/) {}

int ShowMessageBox(const char* text, const char* caption, unsigned int type) {
  return plat::MessageBoxA(nullptr, text, caption, type);
}

}  // namespace setup
