// The front end's compile observer: which declarations it reports, in which
// order, and that the reader stands on the name when it does.
#include <string>
#include <vector>

#include "compile_helpers.h"

namespace setup::testing {
namespace {

std::vector<std::string> theEvents;

const char* EventName(CompileEvent event) {
  switch (event) {
    case CompileEvent::Declaration:
      return "declaration";
    case CompileEvent::Variable:
      return "variable";
    case CompileEvent::Parameter:
      return "parameter";
    case CompileEvent::Prototype:
      return "prototype";
    case CompileEvent::Definition:
      return "definition";
    case CompileEvent::BodyEnd:
      return "body-end";
    case CompileEvent::Macro:
      return "macro";
    case CompileEvent::Include:
      return "include";
  }
  return "?";
}

// "event name line:token" with the reader's line and current token.
void Record(CompileEvent event, const char* name) {
  theEvents.push_back(std::string(EventName(event)) + " " + name + " " +
                      std::to_string(theGlobal.m_nLineNo) + ":" + theGlobal.m_szToken);
}

class CompileObserverTest : public CompilerTest {
 protected:
  void SetUp() override {
    CompilerTest::SetUp();
    theEvents.clear();
    theGlobal.m_pCompileObserver = Record;
  }
  void TearDown() override {
    theGlobal.m_pCompileObserver = nullptr;
    CompilerTest::TearDown();
  }
};

TEST_F(CompileObserverTest, ReportsEveryDeclarationWithTheReaderOnItsName) {
  ASSERT_TRUE(
      Compile("define LIMIT 3\n"
              "num total = 0\n"
              "num add(num a, string b);\n"
              "num add(num a, string b) {\n"
              "  num grid[2][LIMIT]\n"
              "  return a\n"
              "}\n"));
  EXPECT_EQ(theEvents, (std::vector<std::string>{
                           "macro LIMIT 1:define",  // its line read to the end
                           "declaration total 2:total",
                           "variable total 2:=",
                           "declaration add 3:add",
                           "parameter a 3:a",
                           "parameter b 3:b",
                           "prototype add 3:;",
                           "declaration add 4:add",
                           "parameter a 4:a",
                           "parameter b 4:b",
                           "definition add 4:{",
                           "declaration grid 5:grid",
                           "variable grid 6:return",
                           "body-end add 7:}",
                       }));
}

TEST_F(CompileObserverTest, AnIncludeIsReportedBeforeItOpensAndAnErrorEndsTheReports) {
  ASSERT_TRUE(sim::PutFile("C:\\lib.cxx", "num helper() {\n  return 1\n}\n"));
  EXPECT_FALSE(Compile("include \"C:\\lib.cxx\"\nnum x\nnum = 2\nnum late\n"));
  ASSERT_GE(theEvents.size(), 4u);
  // The reader has gone on to the token after the path.
  EXPECT_EQ(theEvents[0], "include C:\\lib.cxx 2:num");
  EXPECT_EQ(theEvents[1], "declaration helper 1:helper");  // line 1 of lib.cxx
  EXPECT_EQ(theEvents[2], "definition helper 1:{");
  EXPECT_EQ(theEvents[3], "body-end helper 3:}");
  EXPECT_EQ(theEvents.back().rfind("variable x", 0), 0u) << theEvents.back();
}

}  // namespace
}  // namespace setup::testing
