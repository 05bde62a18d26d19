// The compile session and the per-run reset: whatever a compilation or a run
// leaves behind, the next one starts from the same state.
#include <cstring>
#include <string>

#include "compile_helpers.h"
#include "script/front/compile.h"
#include "script/interp/run.h"
#include "script/store/node.h"

namespace setup::testing {
namespace {

class SessionTest : public CompilerTest {};

TEST_F(SessionTest, EndsWithEverythingReleasedAndTheFileNameBack) {
  ASSERT_TRUE(sim::PutFile(kSourcePath, "num g = 1\nnum main() { return g }\n"));
  std::strcpy(theGlobal.m_szFileName, "C:\\WINDOWS\\setup.cxx");
  {
    CompileSession session(kSourcePath);
    ASSERT_TRUE(session.Opened());
    EXPECT_STREQ(theGlobal.m_szFileName, kSourcePath);
    EXPECT_EQ(session.Compile(), 1);
    EXPECT_NE(FindFunction("main"), nullptr);
    EXPECT_FALSE(theVariables.Empty());
  }
  EXPECT_STREQ(theGlobal.m_szFileName, "C:\\WINDOWS\\setup.cxx");
  EXPECT_EQ(FindFunction("main"), nullptr);
  EXPECT_TRUE(theVariables.Empty());
  EXPECT_FALSE(theGlobal.m_pSourceFile);
  EXPECT_EQ(theGlobal.m_pStackBase, nullptr);
  EXPECT_EQ(theGlobal.m_nLineNo, 0);
}

TEST_F(SessionTest, MissingFileIsReportedAndNothingCompiles) {
  {
    CompileSession session("C:\\no\\such.cxx");
    EXPECT_FALSE(session.Opened());
    EXPECT_EQ(session.Compile(), 0);
  }
  EXPECT_NE(m_Out.find("file C:\\no\\such.cxx not found."), std::string::npos) << m_Out;
  EXPECT_EQ(theGlobal.ErrorFlag, 0);
}

TEST_F(SessionTest, AFailedCompilationLeavesNothingForTheNext) {
  // Nesting too deep abandons the compilation; the next one reports again.
  std::string deep = "num f() { return ";
  for (int i = 0; i < 200000; ++i) deep += (i % 1000 == 999) ? "(\n" : "(";
  deep += "1";
  EXPECT_FALSE(Compile(deep));
  EXPECT_NE(m_Out.find("script nested too deeply."), std::string::npos);
  EXPECT_EQ(theGlobal.m_bCompileAbandoned, 1);
  EXPECT_FALSE(Compile("num f() { x = 1 }"));
  EXPECT_FALSE(m_Out.empty());
  EXPECT_TRUE(Compile("num f() { return 1 }")) << m_Out;
}

TEST_F(SessionTest, ResetRunClearsTheRunStateKeptOutsideTheTables) {
  theGlobal.m_bCompileAbandoned = 1;
  theGlobal.m_bRunAbandoned = 1;
  theGlobal.m_nLiveElements = 12345;
  theGlobal.m_nSteps = 7;
  theGlobal.m_nStepLimit = 99;
  theStringResult = NewStringValue(4);
  ResetRun();
  EXPECT_EQ(theGlobal.m_bCompileAbandoned, 0);
  EXPECT_EQ(theGlobal.m_bRunAbandoned, 0);
  EXPECT_EQ(theGlobal.m_nLiveElements, 0);
  EXPECT_EQ(theGlobal.m_nSteps, 0u);
  EXPECT_EQ(theStringResult, nullptr);
  EXPECT_EQ(theGlobal.m_nStepLimit, 99u);  // a host setting, kept
  theGlobal.m_nStepLimit = 0;
}

TEST(NodeAppender, LinksInOrderAndKeepsAppendedChains) {
  NodePtr head = NewNode(NodeKind::ItemT);
  SyntaxNode* first = head.get();
  NodeAppender list(head);
  NodePtr pair = NewNode(NodeKind::ItemT);
  pair->m_pNext = NewNode(NodeKind::ItemT);
  SyntaxNode* second = pair.get();
  SyntaxNode* third = pair->m_pNext.get();
  list.Append(std::move(pair));
  list.Append(nullptr);
  NodePtr last = NewNode(NodeKind::ItemT);
  SyntaxNode* fourth = last.get();
  list.Append(std::move(last));
  EXPECT_EQ(first->m_pNext.get(), second);
  EXPECT_EQ(second->m_pNext.get(), third);
  EXPECT_EQ(third->m_pNext.get(), fourth);
  EXPECT_EQ(fourth->m_pNext, nullptr);

  NodePtr empty;
  NodeAppender fresh(empty);
  fresh.Append(NewNode(NodeKind::ItemT));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty->m_pNext, nullptr);
}

}  // namespace
}  // namespace setup::testing
