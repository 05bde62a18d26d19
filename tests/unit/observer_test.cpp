// The observer hook (base/observer.h): where nodes are placed while
// compiling, what DescribeScript reports, and the run's events, which must
// be the same on the fast paths and on the tree walk.
#include "base/observer.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "compile_helpers.h"
#include "script/interp/run.h"

namespace setup::testing {
namespace {

std::string Text(const ObservedValue& value) {
  if (value.m_nKind == ObservedValue::Kind::Num) return std::to_string(value.m_nNum);
  if (value.m_nKind == ObservedValue::Kind::Array) return "[array]";
  return "\"" + std::string(value.m_pText != nullptr ? value.m_pText : "", value.m_nLength) + "\"";
}

// Records every event as a line "WHAT @FILE:LINE ...".
class Recorder : public ScriptObserver {
 public:
  void NodeMade(const void* node, const char* file, std::int32_t line) override {
    m_Places[node] = std::string(file != nullptr ? file : "script") + ":" + std::to_string(line);
  }
  void SamePlace(const void* node, const void* place) override { m_Places[node] = m_Places[place]; }
  void Construct(const void* node, ObservedKind, const char* what, std::int32_t branches) override {
    m_Shape.push_back(At(node) + " " + what + " /" + std::to_string(branches));
    m_Described.insert(node);
  }
  void FunctionDefined(const char* name, const void* definition) override {
    m_Shape.push_back(At(definition) + " function " + name);
  }
  // Operands that run through Generate are no statements of a list.
  void Statement(const void* node) override {
    if (m_Described.count(node) != 0) m_Statements.push_back(At(node));
  }
  void Branch(const void* node, std::int32_t branch) override {
    m_Events.push_back(At(node) + " branch " + std::to_string(branch));
  }
  void Call(const void* node, const char* name, const ObservedValue* args,
            std::int32_t count) override {
    std::string line = At(node) + " call " + name + "(";
    for (std::int32_t i = 0; i < count; ++i) line += (i ? ", " : "") + Text(args[i]);
    m_Calls.push_back(line + ")");
  }
  void Return(const void* node, const char* name, const ObservedValue* result) override {
    m_Calls.push_back(At(node) + " " + name + (result ? " = " + Text(*result) : " failed"));
  }
  void Builtin(const void* node, const char* name, const ObservedValue* args, std::int32_t count,
               const ObservedValue& result, bool failed) override {
    std::string line = At(node) + " " + name + "(";
    for (std::int32_t i = 0; i < count; ++i) line += (i ? ", " : "") + Text(args[i]);
    m_Calls.push_back(line + ") = " + Text(result) + (failed ? " failed" : ""));
  }

  std::string At(const void* node) const {
    const auto it = m_Places.find(node);
    return it == m_Places.end() ? "?" : it->second;
  }

  std::map<const void*, std::string> m_Places;
  std::set<const void*> m_Described;
  std::vector<std::string> m_Shape, m_Statements, m_Events, m_Calls;
};

class ObserverTest : public CompilerTest {
 protected:
  void SetUp() override {
    CompilerTest::SetUp();
    theGlobal.m_pObserver = &m_Recorder;
  }
  void TearDown() override {
    theGlobal.m_pObserver = nullptr;
    theGlobal.m_bWalkOnly = 0;
    theGlobal.m_nStepLimit = 0;
    CompilerTest::TearDown();
  }

  // Compiles and runs `source`; answers main's number (-1 when the run failed).
  int Run(const std::string& source) {
    m_Recorder = Recorder();
    if (!Compile(source)) return -2;
    std::int32_t result = -1;
    return RunMain(&result) == 1 ? result : -1;
  }

  Recorder m_Recorder;
};

// Statements and branches are seen on the tree walk only (m_bWalkOnly).
TEST_F(ObserverTest, PlacesMacroTextAtTheUseAndIncludedLinesInTheirFile) {
  theGlobal.m_bWalkOnly = 1;
  ASSERT_TRUE(sim::PutFile("C:\\lib.inc", "num Half(num n) {\n\n  return n / 2\n}\n"));
  const int result =
      Run("define BUMP n += 1\n"       // 1
          "include \"C:\\lib.inc\"\n"  // 2
          "num main() {\n"             // 3
          "  num n = 4\n"              // 4
          "  BUMP\n"                   // 5
          "  BUMP\n"                   // 6
          "  return Half(n)\n"         // 7
          "}\n");
  ASSERT_EQ(result, 3) << m_Out;
  EXPECT_EQ(m_Recorder.m_Statements, (std::vector<std::string>{"script:4", "script:5", "script:6",
                                                               "script:7", "C:\\lib.inc:3"}));
  EXPECT_EQ(m_Recorder.m_Calls,
            (std::vector<std::string>{"script:3 call main()", "script:7 call Half(6)",
                                      "script:7 Half = 3", "script:3 main = 3"}));
}

TEST_F(ObserverTest, DescribesStatementsBranchPointsAndFunctions) {
  theGlobal.m_bWalkOnly = 1;
  ASSERT_GE(Run("num g = 1\n"
                "num unused() {\n"
                "  return 0\n"
                "}\n"
                "num main() {\n"
                "  while (g < 3) {\n"
                "    if (g == 2) {\n"
                "      g += 1\n"
                "    }\n"
                "    g += 1\n"
                "  }\n"
                "  switch (g) {\n"
                "    case 1:\n"
                "      g = 0\n"
                "    case 2: {\n"
                "      break\n"
                "    }\n"
                "  }\n"
                "  switch (g) {\n"
                "    default: {\n"
                "      g = 9\n"
                "    }\n"
                "  }\n"
                "  return g\n"
                "}\n"),
            0);
  const std::vector<std::string> expected = {
      "script:1 g = /0",        "script:2 function unused", "script:3 return /0",
      "script:5 function main", "script:6 while /2",        "script:7 if /2",
      "script:8 g += /0",       "script:10 g += /0",        "script:12 switch /3",
      "script:14 g = /0",       "script:16 break /0",       "script:19 switch /1",
      "script:21 g = /0",       "script:24 return /0"};
  std::vector<std::string> shape = m_Recorder.m_Shape;
  std::sort(shape.begin(), shape.end());
  std::vector<std::string> sorted = expected;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(shape, sorted);
  // g: 1 -> 2 -> 4; the while's condition is true twice, then false; no case
  // matches 4 (branch 2 of the first switch), the default is branch 0.
  EXPECT_EQ(m_Recorder.m_Events,
            (std::vector<std::string>{"script:6 branch 0", "script:7 branch 1", "script:6 branch 0",
                                      "script:7 branch 0", "script:6 branch 1",
                                      "script:12 branch 2", "script:19 branch 0"}));
}

TEST_F(ObserverTest, EveryCallEndsAlsoWhenTheRunFails) {
  const int result =
      Run("num inner(num d) {\n"
          "  msgbox(\"x\", \"y\", 0)\n"
          "  return 1 / d\n"
          "}\n"
          "num main() {\n"
          "  return inner(0)\n"
          "}\n");
  EXPECT_EQ(result, -1);
  EXPECT_EQ(m_Recorder.m_Calls,
            (std::vector<std::string>{"script:5 call main()", "script:6 call inner(0)",
                                      "script:2 msgbox(\"x\", \"y\", 0) = 1",
                                      "script:6 inner failed", "script:5 main failed"}));
}

// Direct calls of the loop machine report what the walk's calls report.
TEST_F(ObserverTest, FastPathsAndTheWalkReportTheSameCalls) {
  const std::string source =
      "num sq(num n) {\n"
      "  return n * n\n"
      "}\n"
      "num main() {\n"
      "  num i = 0\n"
      "  num s = 0\n"
      "  while (i < 4) {\n"
      "    s += sq(i)\n"
      "    i += 1\n"
      "  }\n"
      "  return s + getlen(numtostring(s))\n"
      "}\n";
  ASSERT_EQ(Run(source), 16);
  const std::vector<std::string> fast = m_Recorder.m_Calls;
  theGlobal.m_nStepLimit = 4000000000U;
  ASSERT_EQ(Run(source), 16);
  EXPECT_EQ(m_Recorder.m_Calls, fast);
  theGlobal.m_nStepLimit = 0;
  theGlobal.m_bWalkOnly = 1;
  ASSERT_EQ(Run(source), 16);
  EXPECT_EQ(m_Recorder.m_Calls, fast);
  EXPECT_EQ(fast.size(), 12u);
  EXPECT_EQ(fast[1], "script:8 call sq(0)");
}

}  // namespace
}  // namespace setup::testing
