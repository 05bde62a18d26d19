// The three reports of the system, its bounded text formatter and the trace hook.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace setup {

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

}  // namespace setup
