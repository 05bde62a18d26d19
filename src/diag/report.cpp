// The reports: warning, print line and error, all on standard output.
//
// A report never touches ErrorFlag: the part that detects a failure sets it.
#include "diag/report.h"

#include <cstring>
#include <string>

#include "entry/global.h"
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

}  // namespace

int ReportWarning(const char* format, ...) {
  if (format == nullptr) {
    WriteText("\nno warn information.\n");
    return 0;
  }
  char text[kReportBufferSize];
  va_list args;
  va_start(args, format);
  FormatText(text, sizeof text, format, args);
  va_end(args);

  std::string line = "\n";
  line.append(theGlobal.m_szFileName,
              strnlen(theGlobal.m_szFileName, sizeof theGlobal.m_szFileName));
  line += '(';
  line += std::to_string(ReportedLine());
  line += "):";
  line += text;
  Write(line);
  return 1;
}

int PrintLine(const char* format, ...) {
  if (format == nullptr) {
    WriteText("\nno debug information.\n");
    return 0;
  }
  char text[kReportBufferSize];
  va_list args;
  va_start(args, format);
  FormatText(text, sizeof text, format, args);
  va_end(args);

  Write(std::string("\n") + text);
  return 1;
}

int ReportError(const char* format, ...) {
  if (format == nullptr) {
    WriteText("\nno debug information.\n");
    return 0;
  }
  char text[kReportBufferSize];
  va_list args;
  va_start(args, format);
  FormatText(text, sizeof text, format, args);
  va_end(args);

  Write(std::string("\n$ ") + text + " ");
  return 1;
}

void TraceLine(const char* /*text*/) {}

int ShowMessageBox(const char* text, const char* caption, unsigned int type) {
  return plat::MessageBoxA(nullptr, text, caption, type);
}

}  // namespace setup
