// The runner's helpers decide what counts as a pass, so they get checks of
// their own.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "golden.h"

namespace golden {
namespace {

TEST(GoldenRunner, ConversionsSplitMessages) {
  EXPECT_EQ(SplitAtConversions("file %s not found."),
            (std::vector<std::string>{"file ", " not found."}));
  EXPECT_EQ(SplitAtConversions("win error code:0x%8x"),
            (std::vector<std::string>{"win error code:0x"}));
  EXPECT_EQ(SplitAtConversions("100% sure %d"), (std::vector<std::string>{"100% sure "}));
  EXPECT_TRUE(MatchesInOrder("\n$ file C:\\a.cxx not found. ", {"file ", " not found."}));
  EXPECT_FALSE(MatchesInOrder("not found. file x", {"file ", " not found."}));
}

TEST(GoldenRunner, CommandLineWordsAndExitLine) {
  EXPECT_EQ(SplitOptions("--os 6.1  --sysdir \"C:\\My Win\\system32\" --answer 7"),
            (std::vector<std::string>{"--os", "6.1", "--sysdir", "C:\\My Win\\system32", "--answer",
                                      "7"}));
  EXPECT_TRUE(SplitOptions("   ").empty());
  std::string err = "[msgbox] Prompt: Init dll failed -> 1\nexit 1\n";
  EXPECT_EQ(TakeExitLine(&err), 1);
  EXPECT_EQ(err, "[msgbox] Prompt: Init dll failed -> 1\n");
  std::string plain = "Action returned 0\n";
  EXPECT_EQ(TakeExitLine(&plain), -1);
  EXPECT_EQ(plain, "Action returned 0\n");
}

TEST(GoldenRunner, DiffShowsChangedLinesAndTrailingBlanks) {
  std::string diff = UnifiedDiff("a\nb\nc\n", "a\nB \nc\n", "x.out");
  EXPECT_NE(diff.find("-b\n"), std::string::npos) << diff;
  EXPECT_NE(diff.find("+B\xC2\xB7\n"), std::string::npos) << diff;
  EXPECT_NE(diff.find(" a\n"), std::string::npos) << diff;
  std::string open = UnifiedDiff("a\n", "a", "x.out");
  EXPECT_NE(open.find("(no newline at end)"), std::string::npos) << open;
}

}  // namespace
}  // namespace golden
