// Test support for the compiler: sources written to the simulated machine,
// captured report output, a lexer driver and a printer for expression trees.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/global.h"
#include "entry/action.h"
#include "library_fixture.h"
#include "platform/sim/machine.h"
#include "script/front/compile.h"
#include "script/front/lexer.h"
#include "script/store/symbols.h"

namespace setup::testing {

inline const char* kSourcePath = "C:\\front_test.cxx";

// A library test that also closes the source file it opened.
class CompilerTest : public LibraryTest {
 protected:
  void TearDown() override {
    Release();
    LibraryTest::TearDown();
  }

  // Opens `source` as the current source file in a compile session.
  void Open(const std::string& source) {
    Release();
    ASSERT_TRUE(sim::PutFile(kSourcePath, source));
    m_Session.emplace(kSourcePath);
    ASSERT_TRUE(m_Session->Opened());
  }

  // Compiles `source`; true when it compiled without error. The tables stay
  // filled for inspection until the next Compile or the end of the test.
  bool Compile(const std::string& source) {
    Open(source);
    m_Out.clear();
    return m_Session && m_Session->Compile() == 1;
  }

  // Reads every token of `source` up to the end of input: "code:text" items.
  std::vector<std::pair<int, std::string>> Lex(const std::string& source) {
    Open(source);
    std::vector<std::pair<int, std::string>> tokens;
    for (int guard = 0; guard < 100000; ++guard) {
      const int code = front::GetToken();
      if (code == TK_END) break;
      tokens.emplace_back(code, theGlobal.m_szToken);
    }
    return tokens;
  }

  void Release() {
    m_Session.reset();
    ResetRun();
  }

  // The body of a compiled function.
  static const SyntaxNode* Body(const char* function) {
    const FunctionEntry* entry = FindFunction(function);
    if (entry == nullptr || !entry->m_pDefinition) return nullptr;
    return entry->m_pDefinition->m_pChild2.get();
  }

  std::optional<CompileSession> m_Session;
};

// Writes an expression tree with every operator parenthesised: "(a < (b < c))".
inline std::string Show(const SyntaxNode* node) {
  if (node == nullptr) return "<none>";
  static const std::pair<int, const char*> kOps[] = {{TK_PLUS, "+"},
                                                     {TK_MINUS, "-"},
                                                     {TK_STAR, "*"},
                                                     {TK_SLASH, "/"},
                                                     {TK_PERCENT, "%"},
                                                     {TK_ANDAND, "&&"},
                                                     {TK_OROR, "||"},
                                                     {TK_AND, "&"},
                                                     {TK_OR, "|"},
                                                     {TK_LT, "<"},
                                                     {TK_GT, ">"},
                                                     {TK_LE, "<="},
                                                     {TK_GE, ">="},
                                                     {TK_NE, "!="},
                                                     {TK_EQ, "=="},
                                                     {TK_PLUS_ASSIGN, "+="},
                                                     {TK_MINUS_ASSIGN, "-="},
                                                     {TK_STAR_ASSIGN, "*="},
                                                     {TK_SLASH_ASSIGN, "/="},
                                                     {TK_PERCENT_ASSIGN, "%="}};
  switch (node->m_nKind) {
    case NodeKind::OpT: {
      const char* op = "?";
      for (const auto& [code, text] : kOps) {
        if (code == node->m_nOp) op = text;
      }
      return "(" + Show(node->m_pChild2.get()) + " " + op + " " + Show(node->m_pChild0.get()) + ")";
    }
    case NodeKind::AssignT:
      return "(" + Show(node->m_pChild2.get()) + " = " + Show(node->m_pChild0.get()) + ")";
    case NodeKind::StringT:
      return "\"" + node->m_szText.value_or("") + "\"";
    case NodeKind::Id_ArrayT: {
      std::string text = node->m_szText.value_or("?");
      for (const SyntaxNode* item = node->m_pItems.get(); item; item = item->m_pNext.get()) {
        text += "[" + Show(item->m_pChild2.get()) + "]";
      }
      return text;
    }
    case NodeKind::CallT:
    case NodeKind::InLineFunT: {
      std::string text = node->m_szText.value_or("?") + "(";
      for (const SyntaxNode* item = node->m_pItems.get(); item; item = item->m_pNext.get()) {
        if (item != node->m_pItems.get()) text += ", ";
        text += Show(item->m_pChild2.get());
      }
      return text + ")";
    }
    default:
      return node->m_szText.value_or("?");
  }
}

}  // namespace setup::testing
