// Every message literal of the library must appear in some expected output,
// or be listed with a reason in uncovered.txt.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "golden.h"

namespace golden {
namespace {

TEST(GoldenMessages, EveryMessageIsCovered) {
  const fs::path src = SETUP_SRC_DIR;
  std::vector<Message> messages;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(src, ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    const fs::path& path = it->path();
    const std::string relative = path.lexically_relative(src).generic_string();
    // The simulated machine is not part of the library; the reports' own
    // fall-back texts are tested by unit tests.
    if (relative.rfind("platform/sim", 0) == 0 || relative.rfind("diag/", 0) == 0) continue;
    if (path.extension() != ".cpp" && path.extension() != ".h") continue;
    CollectMessages(path, "src/" + relative, &messages);
  }

  std::vector<std::string> outputs;
  for (auto it = fs::recursive_directory_iterator(SETUP_GOLDEN_DIR, ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    if (it->path().extension() != ".out") continue;
    std::string text;
    if (ReadWhole(it->path(), &text)) outputs.push_back(text);
  }

  // The allow-list: "<message with C escapes> # reason" per line.
  std::map<std::string, bool> allowed;  // escaped text -> still found in the source
  std::string allowText;
  ReadWhole(fs::path(SETUP_GOLDEN_DIR) / "uncovered.txt", &allowText);
  bool open = false;
  for (std::string line : SplitLines(allowText, &open)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::size_t hash = line.rfind(" # ");
    EXPECT_NE(hash, std::string::npos) << "uncovered.txt: no \" # reason\" in: " << line;
    if (hash == std::string::npos) continue;
    allowed[line.substr(0, hash)] = false;
  }

  std::set<std::string> seen;
  std::ostringstream missing;
  std::ostringstream listedButCovered;
  for (const Message& message : messages) {
    const std::string escaped = Escaped(message.text);
    if (!seen.insert(escaped).second) continue;
    std::vector<std::string> pieces = SplitAtConversions(message.text);
    bool covered = std::any_of(outputs.begin(), outputs.end(),
                               [&](const std::string& out) { return MatchesInOrder(out, pieces); });
    auto entry = allowed.find(escaped);
    if (entry != allowed.end()) {
      entry->second = true;
      if (covered) listedButCovered << "  " << escaped << "   (" << message.where << ")\n";
      continue;
    }
    if (!covered) missing << "  " << escaped << "   (" << message.where << ")\n";
  }
  std::ostringstream stale;
  for (const auto& [text, found] : allowed) {
    if (!found) stale << "  " << text << "\n";
  }

  EXPECT_TRUE(missing.str().empty())
      << "Messages that no .out file covers (add a golden case, or list them in "
         "tests/golden/uncovered.txt with a reason):\n"
      << missing.str();
  EXPECT_TRUE(listedButCovered.str().empty())
      << "Messages in uncovered.txt that a golden case now covers (remove them from the list):\n"
      << listedButCovered.str();
  EXPECT_TRUE(stale.str().empty())
      << "Messages in uncovered.txt that the source no longer contains:\n"
      << stale.str();
}

}  // namespace
}  // namespace golden
