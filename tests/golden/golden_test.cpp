// Golden script cases: every tests/golden/**/<name>.cxx runs through setup-run
// and its standard output (and standard error, when <name>.err exists) must
// match the files beside it byte for byte. The format is described in
// tests/golden/README.md. Runner tests check what one case cannot: state kept
// across runs, the expanded copy, a packed module.
#include "golden.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace golden {
namespace {

class Golden : public testing::TestWithParam<GoldenCase> {};

TEST_P(Golden, Output) {
  const GoldenCase& test = GetParam();
  const fs::path dir = test.script.parent_path();
  fs::path base = test.script;
  base.replace_extension();
  const fs::path outPath = base.string() + ".out";
  const fs::path errPath = base.string() + ".err";

  const std::vector<std::string> args = CaseArguments(test);
  // A --check of a script that does not compile exits with its own status.
  constexpr int kExitNotCompiled = 4;
  const bool check = std::find(args.begin(), args.end(), "--check") != args.end();
  RunResult run = RunProcess(args, dir);
  ASSERT_TRUE(run.failure.empty()) << test.name << ": " << run.failure << "\nstderr:\n" << run.err;
  ASSERT_FALSE(run.timedOut) << test.name << ": setup-run did not finish within "
                             << TimeoutSeconds() << " s\nstderr:\n"
                             << run.err;

  std::string expectedErr;
  const bool haveErr = ReadWhole(errPath, &expectedErr);
  const int expectedExit = haveErr ? TakeExitLine(&expectedErr) : 0;

  if (UpdateRequested()) {
    WriteWhole(outPath, run.out);
    if (haveErr) {
      std::string err = run.err;
      if (expectedExit >= 0 || run.exitCode != 0) {
        err += "exit " + std::to_string(run.exitCode) + "\n";
      }
      WriteWhole(errPath, err);
    }
    return;
  }

  std::string expectedOut;
  if (!ReadWhole(outPath, &expectedOut)) {
    ADD_FAILURE() << outPath << " is missing; actual stdout:\n" << run.out;
  } else if (run.out != expectedOut) {
    ADD_FAILURE() << "stdout differs\n" << UnifiedDiff(expectedOut, run.out, outPath.string());
  }
  if (haveErr) {
    if (run.err != expectedErr) {
      ADD_FAILURE() << "stderr differs\n" << UnifiedDiff(expectedErr, run.err, errPath.string());
    }
    if (expectedExit >= 0 && run.exitCode != expectedExit) {
      ADD_FAILURE() << "setup-run exited with " << run.exitCode << ", expected " << expectedExit;
    }
  } else if (run.exitCode != 0 && !(check && run.exitCode == kExitNotCompiled)) {
    ADD_FAILURE() << "setup-run exited with " << run.exitCode << "\nstderr:\n" << run.err;
  }
}

std::string CaseName(const testing::TestParamInfo<GoldenCase>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Cases, Golden, testing::ValuesIn(FindCases()), CaseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Golden);

// The num programs and the loop machine run only without a step budget. With
// a budget too large to be reached the tree walk runs everything, and every
// case must print exactly what it prints without one.
class TreeWalk : public testing::TestWithParam<GoldenCase> {};

TEST_P(TreeWalk, AgreesWithTheFastPaths) {
  const GoldenCase& test = GetParam();
  std::vector<std::string> args = CaseArguments(test);
  if (std::find(args.begin(), args.end(), "--step-limit") != args.end() ||
      std::find(args.begin(), args.end(), "--check") != args.end() || UpdateRequested()) {
    GTEST_SKIP() << "no run, or a step budget of its own";
  }
  args.insert(args.begin() + 1, {"--step-limit", "4000000000"});
  const RunResult run = RunProcess(args, test.script.parent_path());
  ASSERT_TRUE(run.failure.empty() && !run.timedOut) << test.name << ": " << run.failure;

  fs::path base = test.script;
  base.replace_extension();
  std::string expectedOut;
  std::string expectedErr;
  ASSERT_TRUE(ReadWhole(base.string() + ".out", &expectedOut));
  EXPECT_EQ(run.out, expectedOut) << UnifiedDiff(expectedOut, run.out, base.string() + ".out");
  if (ReadWhole(base.string() + ".err", &expectedErr)) {
    TakeExitLine(&expectedErr);
    EXPECT_EQ(run.err, expectedErr) << UnifiedDiff(expectedErr, run.err, base.string() + ".err");
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, TreeWalk, testing::ValuesIn(FindCases()), CaseName);

// ---- The runner's own behaviour across runs ------------------------------------

TEST(GoldenRunner, MachineStatePersistsAcrossRuns) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.Path().empty());
  const fs::path machine = scratch.Path() / "machine";
  WriteWhole(scratch.Path() / "version.cxx", "num main() {\n  return getwinversion()\n}\n");
  WriteWhole(scratch.Path() / "lib.inc", "num Seven() {\n  return 7\n}\n");
  WriteWhole(scratch.Path() / "uses_lib.cxx",
             "include \"C:\\keep\\lib.inc\"\nnum main() {\n  return Seven()\n}\n");

  // First run: a Windows 7 profile and a file put on the machine.
  RunResult first = RunProcess({SETUP_RUN_PATH, "--machine", machine.string(), "--os", "6.1",
                                "--put", "lib.inc=C:\\keep\\lib.inc", "version.cxx", "/a"},
                               scratch.Path());
  ASSERT_EQ(first.exitCode, 0) << first.err;
  EXPECT_EQ(Results(first.err), std::vector<std::string>{"7"}) << first.err;

  // Second run on the same machine, without the options: both are still there.
  RunResult again = RunProcess({SETUP_RUN_PATH, "--machine", machine.string(), "version.cxx", "/a"},
                               scratch.Path());
  EXPECT_EQ(Results(again.err), std::vector<std::string>{"7"}) << again.err;
  RunResult include = RunProcess(
      {SETUP_RUN_PATH, "--machine", machine.string(), "uses_lib.cxx", "/a"}, scratch.Path());
  EXPECT_EQ(Results(include.err), std::vector<std::string>{"7"}) << include.out << include.err;

  // A fresh machine has neither.
  RunResult fresh = RunProcess({SETUP_RUN_PATH, "version.cxx", "/a"}, scratch.Path());
  EXPECT_EQ(Results(fresh.err), std::vector<std::string>{"5"}) << fresh.err;
}

TEST(GoldenRunner, KeepExpandedCopiesThePreludeAndScript) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.Path().empty());
  const std::string script = "num main() {\n  return _Parameters_Num\n}\n";
  WriteWhole(scratch.Path() / "s.cxx", script);
  RunResult run = RunProcess(
      {SETUP_RUN_PATH, "--fixed-time", "--keep-expanded", "expanded.txt", "s.cxx", "/a /bc"},
      scratch.Path());
  ASSERT_EQ(run.exitCode, 0) << run.err;
  std::string expanded;
  ASSERT_TRUE(ReadWhole(scratch.Path() / "expanded.txt", &expanded)) << run.err;
  // The expanded file is a text file of the machine: CR LF line ends on disk.
  EXPECT_EQ(expanded,
            "///Generate By Halden.Ru.      [2008.5.7 17:4]\r\n"
            "num _Parameters_Num = 2 \r\n"
            "string _Parameters[2]={\"a\",\"bc\",}\r\n"
            "num main() {\r\n  return _Parameters_Num\r\n}\r\n");
}

TEST(GoldenRunner, RunsAModuleBuiltBySetupPack) {
  const fs::path pack = fs::path(SETUP_RUN_PATH).parent_path() / "setup-pack";
  if (!fs::exists(pack)) GTEST_SKIP() << "setup-pack is not built";
  ScratchDir scratch;
  ASSERT_FALSE(scratch.Path().empty());
  WriteWhole(scratch.Path() / "setup.CXX", "num main() {\n  return 42\n}\n");
  RunResult packed = RunProcess({pack.string(), "create", "mod.dll", "setup.CXX"}, scratch.Path());
  ASSERT_EQ(packed.exitCode, 0) << packed.out << packed.err;
  RunResult run =
      RunProcess({SETUP_RUN_PATH, "--module", "mod.dll", "/go", "/again"}, scratch.Path());
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Results(run.err), (std::vector<std::string>{"42", "42"})) << run.out << run.err;
}

}  // namespace
}  // namespace golden
