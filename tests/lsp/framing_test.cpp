// The message framing on its own: bytes in any pieces, bad headers, garbage.
#include "framing.h"

#include <gtest/gtest.h>

namespace {

using lsp::MessageReader;

std::vector<std::string> Bodies(MessageReader& reader,
                                std::vector<std::string>* problems = nullptr) {
  std::vector<std::string> bodies;
  while (std::optional<MessageReader::Item> item = reader.Next()) {
    if (item->ok) {
      bodies.push_back(item->body);
    } else if (problems != nullptr) {
      problems->push_back(item->problem);
    }
  }
  return bodies;
}

TEST(Framing, MessagesArriveWholeWhateverThePieces) {
  const std::string stream = lsp::Frame("{\"a\":1}") + lsp::Frame("") + "\r\n" +
                             "content-length:  3\nContent-Type: x\n\n[1]";
  for (std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{7}, stream.size()}) {
    MessageReader reader;
    std::vector<std::string> bodies;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
      reader.Feed(std::string_view(stream).substr(at, piece));
      for (std::string& body : Bodies(reader)) bodies.push_back(std::move(body));
    }
    EXPECT_EQ(bodies, (std::vector<std::string>{"{\"a\":1}", "", "[1]"})) << piece;
    EXPECT_EQ(reader.Buffered(), 0u);
  }
}

TEST(Framing, BadHeadersAreSkippedAndReadingGoesOn) {
  MessageReader reader;
  reader.Feed(
      "Content-Length: x1\r\n\r\n"
      "no colon here\r\n\r\n"
      "Content-Length: 99999999999999\r\n\r\n" +
      lsp::Frame("ok"));
  std::vector<std::string> problems;
  EXPECT_EQ(Bodies(reader, &problems), std::vector<std::string>{"ok"});
  EXPECT_EQ(problems, (std::vector<std::string>{"bad Content-Length", "header line without ':'",
                                                "bad Content-Length"}));
}

TEST(Framing, EndlessGarbageIsDroppedUpToTheNextHeader) {
  MessageReader reader;
  reader.Feed(std::string(lsp::kMaxHeader + 10, 'x'));
  std::vector<std::string> problems;
  EXPECT_TRUE(Bodies(reader, &problems).empty());
  EXPECT_EQ(problems, std::vector<std::string>{"header too long"});
  EXPECT_EQ(reader.Buffered(), 0u);
  reader.Feed(std::string(lsp::kMaxHeader + 10, 'y') + "\n" + lsp::Frame("{}"));
  EXPECT_EQ(Bodies(reader), std::vector<std::string>{"{}"});
}

TEST(Framing, ACutOffBodyWaitsForItsBytes) {
  MessageReader reader;
  reader.Feed("Content-Length: 10\r\n\r\n12345");
  EXPECT_FALSE(reader.Next());
  EXPECT_GT(reader.Buffered(), 0u);
  reader.Feed("67890");
  EXPECT_EQ(Bodies(reader), std::vector<std::string>{"1234567890"});
}

}  // namespace
