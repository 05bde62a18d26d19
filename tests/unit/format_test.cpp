// The bounded formatter and the three reports.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/global.h"
#include "diag/report.h"
#include "library_fixture.h"
#include "platform/sim/machine.h"

namespace setup {
namespace {

// Formats into a buffer of `size` bytes and answers the text.
std::string FormatSized(std::size_t size, const char* format, ...) {
  std::string buffer(size, '\x7F');
  va_list args;
  va_start(args, format);
  const int length = FormatText(buffer.data(), size, format, args);
  va_end(args);
  const std::size_t end = buffer.find('\0');
  EXPECT_NE(end, std::string::npos) << "not terminated";
  EXPECT_EQ(static_cast<std::size_t>(length), end);
  return buffer.substr(0, end);
}

#define FMT(...) FormatSized(kReportBufferSize, __VA_ARGS__)

TEST(FormatText, SignedAndUnsignedDecimalIgnoreWidths) {
  EXPECT_EQ(FMT("%d|%i", 0, 42), "0|42");
  EXPECT_EQ(FMT("%d", -5), "-5");
  EXPECT_EQ(FMT("%d %d", INT_MIN, INT_MAX), "-2147483648 2147483647");
  EXPECT_EQ(FMT("[%5d]", 42), "[42]");
  EXPECT_EQ(FMT("%u", 4294967295u), "4294967295");
  EXPECT_EQ(FMT("%D", INT64_MIN), "-9223372036854775808");
  EXPECT_EQ(FMT("%D", static_cast<std::int64_t>(1234567890123)), "1234567890123");
}

TEST(FormatText, HexadecimalWidths) {
  EXPECT_EQ(FMT("%x", 5u), "00000005");
  EXPECT_EQ(FMT("0x%8x", 5u), "0x00000005");
  EXPECT_EQ(FMT("%4x", 0x12345678u), "5678");
  EXPECT_EQ(FMT("%1x", 0xABCDEFu), "F");
  EXPECT_EQ(FMT("%7x", 0xDEADBEEFu), "EADBEEF");
  EXPECT_EQ(FMT("%12x", 0xdeadbeefu), "DEADBEEF");
  EXPECT_EQ(FMT("%*x", 3, 0x12345678u), "678");
  EXPECT_EQ(FMT("%*x", -2, 0x12u), "00000012");  // a negative width counts as none
}

TEST(FormatText, SixtyFourBitHexadecimal) {
  const std::uint64_t value = 0x0123456789ABCDEFull;
  EXPECT_EQ(FMT("%L", value), "0123456789ABCDEF");
  EXPECT_EQ(FMT("%l", value), "0123456789ABCDEF");
  EXPECT_EQ(FMT("%4L", value), "CDEF");
  EXPECT_EQ(FMT("%8l", value), "89ABCDEF");
  EXPECT_EQ(FMT("%10L", value), "6789ABCDEF");
  EXPECT_EQ(FMT("%15L", value), "123456789ABCDEF");
  EXPECT_EQ(FMT("%20L", value), "0123456789ABCDEF");
}

TEST(FormatText, CharactersAndStrings) {
  EXPECT_EQ(FMT("%c%c", 'A', 0x4142), "AB");  // the low byte only
  EXPECT_EQ(FMT("%C", 0x0143), "C");
  EXPECT_EQ(FMT("<%s>", "abc"), "<abc>");
  EXPECT_EQ(FMT("<%2s>", "abc"), "<ab>");
  EXPECT_EQ(FMT("<%*s>", 1, "abc"), "<a>");
  EXPECT_EQ(FMT("<%9s>", "abc"), "<abc>");  // no padding
  EXPECT_EQ(FMT("<%s>", static_cast<const char*>(nullptr)), "<>");

  const std::uint16_t wide[] = {'W', 'i', 0x0141, 0};
  EXPECT_EQ(FMT("%S", wide), "WiA");
  EXPECT_EQ(FMT("%2S", wide), "Wi");
  EXPECT_EQ(FMT("<%S>", static_cast<const std::uint16_t*>(nullptr)), "<>");
}

TEST(FormatText, CountedStrings) {
  const std::uint16_t chars[] = {'a', 'b', 'c', 'd'};  // no terminator
  CountedText16 three{6, 8, chars};
  EXPECT_EQ(FMT("%T", &three), "abc");
  CountedText16 odd{5, 8, chars};  // length in bytes: 2 whole characters
  EXPECT_EQ(FMT("%T", &odd), "ab");
  const std::uint16_t stop[] = {'x', 0, 'y'};
  CountedText16 early{6, 6, stop};
  EXPECT_EQ(FMT("%T", &early), "x");
  CountedText16 none{6, 6, nullptr};
  EXPECT_EQ(FMT("<%T>", &none), "<>");
  EXPECT_EQ(FMT("<%T>", static_cast<const CountedText16*>(nullptr)), "<>");
}

TEST(FormatText, NonConversionsAreCopiedAndConsumeNoArgument) {
  EXPECT_EQ(FMT("100%% %d", 7), "100% 7");
  EXPECT_EQ(FMT("%08x %d", 7), "08x 7");  // a leading 0 is the conversion character
  EXPECT_EQ(FMT("%q%d", 3), "q3");
  EXPECT_EQ(FMT("end%"), "end");
  EXPECT_EQ(FMT("end%12"), "end");
  // A huge width neither overflows nor pads.
  EXPECT_EQ(FMT("%99999999999999s|", "ok"), "ok|");
}

TEST(FormatText, OutputIsCutAtTheBufferEnd) {
  const std::string longText(300, 'a');
  const std::string cut = FMT("%s", longText.c_str());
  EXPECT_EQ(cut, std::string(254, 'a'));

  EXPECT_EQ(FormatSized(4, "%d", 123456), "123");
  EXPECT_EQ(FormatSized(4, "%x", 0xABCDEF12u), "ABC");
  EXPECT_EQ(FormatSized(6, "ab%sxyz", "cdef"), "abcde");
  EXPECT_EQ(FormatSized(1, "abc"), "");

  char untouched = 'Z';
  va_list none{};
  EXPECT_EQ(FormatText(&untouched, 0, "abc", none), 0);
  EXPECT_EQ(untouched, 'Z');
}

TEST(FormatText, NoFormatGivesAnEmptyText) {
  char buffer[8] = "xxxxxxx";
  va_list none{};
  EXPECT_EQ(FormatText(buffer, sizeof buffer, nullptr, none), 0);
  EXPECT_STREQ(buffer, "");
}

// ---- Reports ------------------------------------------------------------------

class ReportTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    std::strcpy(theGlobal.m_szFileName, "C:\\WINDOWS\\setup.cxx");
  }
};

TEST_F(ReportTest, SurroundingFormats) {
  EXPECT_EQ(ReportError("file %s not found.", "C:\\WINDOWS\\setup.cxx"), 1);
  EXPECT_EQ(m_Out, "\n$ file C:\\WINDOWS\\setup.cxx not found. ");
  m_Out.clear();

  EXPECT_EQ(PrintLine("-----Compiled finished.-----"), 1);
  EXPECT_EQ(m_Out, "\n-----Compiled finished.-----");
  m_Out.clear();

  theGlobal.m_nLineNo = 7;
  EXPECT_EQ(ReportWarning("'%s' undeclared.", "x"), 1);
  EXPECT_EQ(m_Out, "\nC:\\WINDOWS\\setup.cxx(7):'x' undeclared.");
  EXPECT_EQ(theGlobal.ErrorFlag, 0);  // reports never set the flag
}

TEST_F(ReportTest, NoFormatTexts) {
  EXPECT_EQ(ReportWarning(nullptr), 0);
  EXPECT_EQ(m_Out, "\nno warn information.\n");
  m_Out.clear();
  EXPECT_EQ(PrintLine(nullptr), 0);
  EXPECT_EQ(m_Out, "\nno debug information.\n");
  m_Out.clear();
  EXPECT_EQ(ReportError(nullptr), 0);
  EXPECT_EQ(m_Out, "\nno debug information.\n");
}

TEST_F(ReportTest, WarningsCountLinesOfThePackagedScript) {
  theGlobal.m_nPreludeLines = 3;
  theGlobal.m_nLineNo = 5;
  ReportWarning("w");
  theGlobal.m_nLineNo = 2;  // inside the prelude: unchanged
  ReportWarning("w");
  theGlobal.m_nLineNo = 3;  // not greater than the prelude: unchanged
  ReportWarning("w");
  theGlobal.m_nPreludeLines = 0;
  theGlobal.m_nLineNo = 5;
  ReportWarning("w");
  EXPECT_EQ(m_Out,
            "\nC:\\WINDOWS\\setup.cxx(2):w\nC:\\WINDOWS\\setup.cxx(2):w"
            "\nC:\\WINDOWS\\setup.cxx(3):w\nC:\\WINDOWS\\setup.cxx(5):w");
}

TEST_F(ReportTest, ReportTextIsCutAt254Characters) {
  const std::string longText(300, 'b');
  ReportError("%s", longText.c_str());
  EXPECT_EQ(m_Out, "\n$ " + std::string(254, 'b') + " ");
  m_Out.clear();
  PrintLine("%s%s", longText.c_str(), "tail");
  EXPECT_EQ(m_Out, "\n" + std::string(254, 'b'));
}

TEST_F(ReportTest, MessageBoxHelperShowsOwnerlessBox) {
  std::string events;
  sim::SetEventSink([&events](const std::string& line) { events += line + "\n"; });
  EXPECT_EQ(ShowMessageBox("Init dll failed", "Prompt", 0x10), 1);
  sim::SetEventSink({});
  EXPECT_EQ(events, "[msgbox] Prompt: Init dll failed -> 1\n");
}

}  // namespace
}  // namespace setup
