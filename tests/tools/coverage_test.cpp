// setup-run --coverage: the exact counts of an lcov tracefile for a script
// whose runs take known paths, merged over Action calls, --coverage-append
// and --matrix profiles; lcov and genhtml accept what it writes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "shell.h"

namespace {

namespace fs = std::filesystem;

using toolstest::ReadWhole;
using toolstest::Shell;
using toolstest::ShellRun;

// Line 3 is in a function never called; the first if never takes its else;
// the while runs 3 times; case 3 falls through into case 4; the last if
// goes one way for /a and the other for /b.
constexpr const char* kScript =
    "include \"lib\\twice.inc\"\n"        // 1
    "num Unused(num n) {\n"               // 2
    "  return n + 1\n"                    // 3
    "}\n"                                 // 4
    "\n"                                  // 5
    "num main() {\n"                      // 6
    "  num i = 0\n"                       // 7
    "  num x = 0\n"                       // 8
    "  if (i == 0) {\n"                   // 9
    "    x = 1\n"                         // 10
    "  } else {\n"                        // 11
    "    x = 2\n"                         // 12
    "  }\n"                               // 13
    "  while (i < 3) {\n"                 // 14
    "    i += 1\n"                        // 15
    "  }\n"                               // 16
    "  switch (i) {\n"                    // 17
    "    case 3:\n"                       // 18
    "      x += 10\n"                     // 19
    "    case 4:\n"                       // 20
    "      x += 20\n"                     // 21
    "      break\n"                       // 22
    "    default: {\n"                    // 23
    "      x = 0\n"                       // 24
    "    }\n"                             // 25
    "  }\n"                               // 26
    "  if (_Parameters[0] == \"a\") {\n"  // 27
    "    x += Twice(100)\n"               // 28
    "  }\n"                               // 29
    "  return x\n"                        // 30
    "}\n";                                // 31

constexpr const char* kInclude =
    "num Twice(num n) {\n"  // 1
    "  return n * 2\n"      // 2
    "}\n";                  // 3

class Coverage : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/coverage-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_Dir = pattern;
    fs::create_directories(m_Dir / "lib");
    std::ofstream(m_Dir / "cov.cxx") << kScript;
    std::ofstream(m_Dir / "lib" / "twice.inc") << kInclude;
  }
  void TearDown() override { fs::remove_all(m_Dir); }

  ShellRun Run(const std::string& options, const std::string& commands) {
    return Shell("'" + std::string(SETUP_RUN_PATH) + "' --fixed-time --put lib/twice.inc " +
                     options + " cov.cxx " + commands,
                 m_Dir);
  }

  // The records of one SF section whose path ends with `file`.
  std::set<std::string> Records(const std::string& file) {
    std::istringstream in(ReadWhole(m_Dir / "cov.info"));
    std::set<std::string> records;
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
      if (line.rfind("SF:", 0) == 0) {
        inside = line.size() >= file.size() &&
                 line.compare(line.size() - file.size(), file.size(), file) == 0;
        continue;
      }
      if (inside && line != "end_of_record" && line != "TN:") records.insert(line);
    }
    return records;
  }

  static std::set<std::string> Expected(int runs, int withA) {
    auto n = [](int count) { return std::to_string(count); };
    return {
        "FN:2,Unused",
        "FN:6,main",
        "FNDA:0,Unused",
        "FNDA:" + n(runs) + ",main",
        "FNF:2",
        "FNH:1",
        "DA:3,0",
        "DA:7," + n(runs),
        "DA:8," + n(runs),
        "DA:9," + n(runs),
        "DA:10," + n(runs),
        "DA:12,0",
        "DA:14," + n(runs),
        "DA:15," + n(3 * runs),
        "DA:17," + n(runs),
        "DA:19," + n(runs),
        "DA:21," + n(runs),
        "DA:22," + n(runs),
        "DA:24,0",
        "DA:27," + n(runs),
        "DA:28," + n(withA),
        "DA:30," + n(runs),
        "LF:16",
        "LH:" + n(withA > 0 ? 13 : 12),
        "BRDA:9,0,0," + n(runs),
        "BRDA:9,0,1,0",
        "BRDA:14,0,0," + n(3 * runs),
        "BRDA:14,0,1," + n(runs),
        "BRDA:17,0,0," + n(runs),
        "BRDA:17,0,1,0",
        "BRDA:17,0,2,0",
        "BRDA:27,0,0," + n(withA),
        "BRDA:27,0,1," + n(runs - withA),
        "BRF:9",
        "BRH:" + n(4 + (withA > 0 ? 1 : 0) + (runs > withA ? 1 : 0)),
    };
  }

  fs::path m_Dir;
};

TEST_F(Coverage, CountsLinesBranchesAndCallsOverActionCalls) {
  const ShellRun run = Run("--coverage cov.info", "/a /b");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Records("/cov.cxx"), Expected(2, 1));
  // The included file is named by the host file that --put placed there.
  EXPECT_EQ(Records("/lib/twice.inc"),
            (std::set<std::string>{"FN:1,Twice", "FNDA:1,Twice", "FNF:1", "FNH:1", "BRF:0", "BRH:0",
                                   "DA:2,1", "LF:1", "LH:1"}));
  // Coverage leaves the library's output and the results alone.
  const ShellRun plain = Run("", "/a /b");
  EXPECT_EQ(run.out, plain.out);
  EXPECT_EQ(run.err, plain.err);
}

TEST_F(Coverage, AppendAndMatrixAddUp) {
  ASSERT_EQ(Run("--coverage cov.info", "/a").status, 0);
  ShellRun run = Run("--coverage cov.info --coverage-append", "/b");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Records("/cov.cxx"), Expected(2, 1));
  // Every profile of a matrix adds its runs.
  run = Run("--matrix xp,7,10 --coverage cov.info --coverage-append", "/a /b");
  ASSERT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_EQ(Records("/cov.cxx"), Expected(8, 4));
  // Without --coverage-append the file starts afresh.
  ASSERT_EQ(Run("--coverage cov.info", "/b").status, 0);
  EXPECT_EQ(Records("/cov.cxx"), Expected(1, 0));
}

TEST_F(Coverage, RejectsWhatItCannotMerge) {
  std::ofstream(m_Dir / "cov.info") << "SF:x.cxx\nDA:one,1\nend_of_record\n";
  const ShellRun run = Run("--coverage cov.info --coverage-append", "/a");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("is not an lcov tracefile (line 2: bad DA record)"), std::string::npos)
      << run.err;
  EXPECT_EQ(Run("--coverage-append", "/a").status, 2);
  EXPECT_EQ(Run("--check --coverage cov.info", "/a").status, 2);
  EXPECT_EQ(Run("--matrix xp,7 --trace", "/a").status, 2);
  EXPECT_EQ(Run("--trace=lines", "/a").status, 2);
}

// lcov reads every tracefile setup-run writes, and genhtml renders it with
// branches and without a warning.
TEST_F(Coverage, LcovAndGenhtmlAcceptTheTracefile) {
  if (Shell("command -v lcov && command -v genhtml", m_Dir).status != 0) {
    GTEST_SKIP() << "lcov is not installed (scripts/install-tools.sh host installs it)";
  }
  ASSERT_EQ(Run("--coverage cov.info", "/a /b").status, 0);
  const ShellRun summary = Shell("lcov --rc lcov_branch_coverage=1 --summary cov.info", m_Dir);
  ASSERT_EQ(summary.status, 0) << summary.out << summary.err;
  const std::string text = summary.out + summary.err;
  EXPECT_NE(text.find("lines......: 82.4% (14 of 17 lines)"), std::string::npos) << text;
  EXPECT_NE(text.find("functions..: 66.7% (2 of 3 functions)"), std::string::npos) << text;
  EXPECT_NE(text.find("branches...: 66.7% (6 of 9 branches)"), std::string::npos) << text;
  const ShellRun html =
      Shell("genhtml --quiet --branch-coverage --output-directory html cov.info", m_Dir);
  EXPECT_EQ(html.status, 0) << html.err;
  EXPECT_EQ(html.err, "");
  EXPECT_TRUE(fs::exists(m_Dir / "html" / "index.html"));
}

}  // namespace
