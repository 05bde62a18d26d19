// Text-mode streams: CR LF translation, fgets bounds, end and error states.
#include "platform/textfile.h"

#include <cstring>

#include "sim_fixture.h"

namespace {

using plat::TextFile;

class TextFileTest : public SimTest {};

std::string ReadAllLines(TextFile& file, int size) {
  std::string all;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  while (file.GetLine(buffer.data(), size)) all += std::string(buffer.data()) + "|";
  return all;
}

TEST_F(TextFileTest, WritingTurnsLineFeedsIntoCrLf) {
  auto file = TextFile::Open("C:\\t.txt", "w");
  ASSERT_NE(file, nullptr);
  ASSERT_TRUE(file->Write("one\ntwo\r\nthree", 14));
  ASSERT_TRUE(file->Close());
  EXPECT_EQ(sim::GetFile("C:\\t.txt").value_or(""), "one\r\ntwo\r\r\nthree");
}

TEST_F(TextFileTest, ReadingTurnsCrLfIntoLineFeedsAndKeepsLoneCrs) {
  ASSERT_TRUE(sim::PutFile("C:\\t.txt", "a\r\nb\rc\n\r\nend\r"));
  auto file = TextFile::Open("C:\\t.txt", "r");
  ASSERT_NE(file, nullptr);
  char buffer[64];
  std::size_t n = file->Read(buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer, n), "a\nb\rc\n\nend\r");
  EXPECT_TRUE(file->AtEnd());
  EXPECT_FALSE(file->HasError());
}

TEST_F(TextFileTest, CrLfAcrossTheReadBufferBoundary) {
  // 4095 bytes, then CR LF split over the first and second buffer fill.
  std::string content(4095, 'x');
  content += "\r\ny";
  ASSERT_TRUE(sim::PutFile("C:\\t.txt", content));
  auto file = TextFile::Open("C:\\t.txt", "r");
  EXPECT_EQ(ReadAllLines(*file, 8192), std::string(4095, 'x') + "\n|y|");
}

TEST_F(TextFileTest, GetLineBehavesLikeFgets) {
  ASSERT_TRUE(sim::PutFile("C:\\t.txt", "abcdef\r\ngh"));
  auto file = TextFile::Open("C:\\t.txt", "r");
  char buffer[8];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_FALSE(file->GetLine(buffer, 1));  // no room for a character
  EXPECT_FALSE(file->GetLine(buffer, 0));
  EXPECT_EQ(buffer[0], '#');
  ASSERT_TRUE(file->GetLine(buffer, 4));  // at most size - 1 characters
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');
  ASSERT_TRUE(file->GetLine(buffer, 8));
  EXPECT_STREQ(buffer, "def\n");
  ASSERT_TRUE(file->GetLine(buffer, 8));  // the last line has no line feed
  EXPECT_STREQ(buffer, "gh");
  EXPECT_TRUE(file->AtEnd());
  std::strcpy(buffer, "keep");
  EXPECT_FALSE(file->GetLine(buffer, 8));
  EXPECT_STREQ(buffer, "keep");
}

TEST_F(TextFileTest, CtrlZEndsATextStream) {
  ASSERT_TRUE(sim::PutFile("C:\\t.txt",
                           "ab\x1A"
                           "cd"));
  auto text = TextFile::Open("C:\\t.txt", "r");
  char buffer[16];
  EXPECT_EQ(text->Read(buffer, sizeof buffer), 2u);
  EXPECT_TRUE(text->AtEnd());
  auto binary = TextFile::Open("C:\\t.txt", "rb");
  EXPECT_EQ(binary->Read(buffer, sizeof buffer), 5u);
}

TEST_F(TextFileTest, WritePlusTruncatesAndCanBeReopened) {
  ASSERT_TRUE(sim::PutFile("C:\\t.e", "old contents that are long"));
  auto file = TextFile::Open("C:\\t.e", "w+");
  ASSERT_NE(file, nullptr);
  ASSERT_TRUE(file->Write("new\n", 4));
  char buffer[8];
  EXPECT_EQ(file->Read(buffer, sizeof buffer), 0u);  // positioned at the end
  EXPECT_TRUE(file->AtEnd());
  ASSERT_TRUE(file->Close());
  auto again = TextFile::Open("C:\\t.e", "r");
  EXPECT_EQ(ReadAllLines(*again, 16), "new\n|");
}

TEST_F(TextFileTest, OpenFailuresLeaveTheErrorCode) {
  EXPECT_EQ(TextFile::Open("C:\\missing.txt", "r"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(TextFile::Open("C:\\x.txt", "a"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);

  // "r" coexists with a handle that shares reading only; "w" does not.
  ASSERT_TRUE(sim::PutFile("C:\\s.cxx", "num x\r\n"));
  plat::HANDLE guard =
      Open("C:\\s.cxx", plat::GENERIC_READ, plat::FILE_SHARE_READ, plat::OPEN_EXISTING);
  ASSERT_NE(guard, plat::INVALID_HANDLE_VALUE);
  auto reader = TextFile::Open("C:\\s.cxx", "r");
  EXPECT_NE(reader, nullptr);
  EXPECT_EQ(TextFile::Open("C:\\s.cxx", "w"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_SHARING_VIOLATION);
  plat::CloseHandle(guard);
}

TEST_F(TextFileTest, ErrorsAreSticky) {
  auto file = TextFile::Open("C:\\t.txt", "w");
  char buffer[4];
  EXPECT_EQ(file->Read(buffer, sizeof buffer), 0u);  // not open for reading
  EXPECT_TRUE(file->HasError());

  auto writer = TextFile::Open("C:\\u.txt", "w");
  ASSERT_TRUE(writer->Write("buffered\n", 9));
  sim::FailNext(sim::Op::WriteFile, 112);
  EXPECT_FALSE(writer->Close());  // the flush failed
  EXPECT_TRUE(writer->HasError());

  ASSERT_TRUE(sim::PutFile("C:\\v.txt", "line\r\n"));
  auto reader = TextFile::Open("C:\\v.txt", "r");
  sim::FailNext(sim::Op::ReadFile, 5);
  EXPECT_FALSE(reader->GetLine(buffer, sizeof buffer));
  EXPECT_TRUE(reader->HasError());
  EXPECT_FALSE(reader->AtEnd());
  EXPECT_FALSE(reader->Write("x", 1));  // not open for writing
}

}  // namespace
