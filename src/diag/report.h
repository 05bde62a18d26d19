// The three reports of the system, its bounded text formatter and the trace hook.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace setup {

// Every report formats into a buffer of this size, so one report's text holds
// at most 254 characters.
constexpr std::size_t kReportBufferSize = 255;

// A counted string of 16-bit characters, the argument of the "%T" conversion:
// Length is in bytes, Buffer need not be NUL-terminated.
struct CountedText16 {
  std::uint16_t Length;
  std::uint16_t MaximumLength;
  const std::uint16_t* Buffer;
};

// Writes the formatted text into `buffer` (always NUL-terminated within
// `size`), with the system's own conversions: %d %i %u %x %c %s %C %S %T %D %L
// %l, widths and "*". Answers the number of characters written.
int FormatText(char* buffer, std::size_t size, const char* format, va_list args);

// "\n%s(%d):%s" with the current file, the reported line and the text.
int ReportWarning(const char* format, ...);
// "\n%s" with the text.
int PrintLine(const char* format, ...);
// "\n$ %s " with the text.
int ReportError(const char* format, ...);
// The evaluators' trace hook; discards the text.
void TraceLine(const char* text);

// Shows one of the system's message boxes (no owner window); answers the
// button the user chose.
int ShowMessageBox(const char* text, const char* caption, unsigned int type);

}  // namespace setup
