// The parser through the trees and tables it builds: operator grouping and
// types, declarations and initializer storage order, macros, scopes, deep
// input and the release of everything a compilation made.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "compile_helpers.h"
#include "script/front/compile.h"

namespace setup::testing {
namespace {

class ParserTest : public CompilerTest {
 protected:
  // Compiles `expression` as the only statement of a function with the
  // variables a, b, c (num) and s (string), and shows its tree.
  std::string Tree(const std::string& expression) {
    const std::string source = "num a num b num c string s\nnum f() {\n" + expression + "\n}\n";
    if (!Compile(source)) return "<failed>" + m_Out;
    const SyntaxNode* body = Body("f");
    if (body == nullptr) return "<empty>";
    return Show(body);
  }
  ValueType TypeOf(const std::string& expression) {
    Tree(expression);
    const SyntaxNode* body = Body("f");
    return body ? body->m_nType : ValueType::None;
  }
};

TEST_F(ParserTest, OperatorGroupingAndPrecedence) {
  EXPECT_EQ(Tree("a < b < c"), "(a < (b < c))");
  EXPECT_EQ(Tree("a && b || c"), "((a && b) || c)");
  EXPECT_EQ(Tree("a == 1 && b == 2"), "((a == 1) && (b == 2))");
  EXPECT_EQ(Tree("a = b && c"), "(a = (b && c))");
  EXPECT_EQ(Tree("a = b = c"), "(a = (b = c))");
  EXPECT_EQ(Tree("a = 10 - 4 - 3"), "(a = ((10 - 4) - 3))");
  EXPECT_EQ(Tree("a = 1 + 2 * 3"), "(a = (1 + (2 * 3)))");
  EXPECT_EQ(Tree("a = (1 + 2) * 3 % c / b"), "(a = ((((1 + 2) * 3) % c) / b))");
  EXPECT_EQ(Tree("a += b += 1"), "(a += (b += 1))");
  EXPECT_EQ(Tree("a -= b + 1 < c"), "(a -= ((b + 1) < c))");
  EXPECT_EQ(Tree("a = b | c & a"), "(a = ((b | c) & a))");
  EXPECT_EQ(Tree("a = (-1) + 0x10"), "(a = (-1 + 0x10))");
}

TEST_F(ParserTest, OperandsAreLinkedToTheirOperator) {
  ASSERT_EQ(Tree("a = b + 1"), "(a = (b + 1))");
  const SyntaxNode* assign = Body("f");
  EXPECT_FALSE(assign->m_bConsumed);
  EXPECT_TRUE(assign->m_pChild2->m_bConsumed);
  EXPECT_TRUE(assign->m_pChild0->m_bConsumed);
  const SyntaxNode* plus = assign->m_pChild0.get();
  EXPECT_TRUE(plus->m_pChild2->m_bConsumed);
  EXPECT_TRUE(plus->m_pChild0->m_bConsumed);
}

TEST_F(ParserTest, StaticTypes) {
  EXPECT_EQ(TypeOf("s + \"x\""), ValueType::String);
  EXPECT_EQ(TypeOf("s += \"x\""), ValueType::Num);
  EXPECT_EQ(TypeOf("s == \"x\""), ValueType::Num);
  EXPECT_EQ(TypeOf("s = \"x\""), ValueType::String);
  EXPECT_EQ(TypeOf("a && b"), ValueType::Num);
}

TEST_F(ParserTest, TypeErrorsAreFoundAtTheirLevel) {
  EXPECT_FALSE(Compile("string s num f() { s = s + 1 }"));
  EXPECT_NE(m_Out.find("$ cannot match type. \n$ The '}()' had some error occur. \n"),
            std::string::npos)
      << m_Out;
  EXPECT_FALSE(Compile("num f() { 3 += 1 }"));
  EXPECT_NE(m_Out.find("left operand must be l-value."), std::string::npos) << m_Out;
  EXPECT_FALSE(Compile("num f() { \"a\" - \"b\" }"));
  EXPECT_NE(m_Out.find("cannot match type."), std::string::npos) << m_Out;
  EXPECT_FALSE(Compile("string s num f() { s -= \"b\" }"));
  EXPECT_NE(m_Out.find("cannot match type."), std::string::npos) << m_Out;
  EXPECT_FALSE(Compile("num f() { x = 1 }"));
  EXPECT_NE(m_Out.find("illegal indirection. "), std::string::npos) << m_Out;
}

TEST_F(ParserTest, ArrayElementsAndCalls) {
  ASSERT_TRUE(
      Compile("num g(num x, string y);\nnum m[2][3]\nnum f() { m[1][2] = g(m[0][1], \"x\") }"));
  EXPECT_EQ(Show(Body("f")), "(m[1][2] = g(m[0][1], \"x\"))");
  const SyntaxNode* call = Body("f")->m_pChild0.get();
  EXPECT_EQ(call->m_nKind, NodeKind::CallT);
  const SyntaxNode* second = call->m_pItems->m_pNext.get();
  EXPECT_TRUE(second->m_bConsumed);
  EXPECT_TRUE(second->m_pChild2->m_bConsumed);
}

TEST_F(ParserTest, CommaSeparatedDeclarationsKeepTheirType) {
  ASSERT_TRUE(Compile("num i = 0, j = 1, k\nstring s = \"x\", n\n"));
  ASSERT_EQ(theStatements.size(), 3u);
  EXPECT_EQ(theStatements[0]->m_nKind, NodeKind::AssignInitializingT);
  EXPECT_EQ(*theStatements[0]->m_szText, "i");
  EXPECT_EQ(*theStatements[1]->m_szText, "j");
  EXPECT_EQ(*theStatements[2]->m_szText, "s");
  ASSERT_NE(theVariables.Find("k"), nullptr);
  EXPECT_EQ(theVariables.Find("k")->m_nType, ValueType::Num);
  ASSERT_NE(theVariables.Find("n"), nullptr);
  EXPECT_EQ(theVariables.Find("n")->m_nType, ValueType::String);
}

// The initializer's element values, in storage order.
class InitializerTest : public CompilerTest {
 protected:
  const ArrayStore* Store(const std::string& declaration) {
    if (!Compile(declaration)) {
      ADD_FAILURE() << m_Out;
      return nullptr;
    }
    if (theStatements.empty() || !theStatements[0]->m_pChild0) return nullptr;
    return theStatements[0]->m_pChild0->Array();
  }
};

TEST_F(InitializerTest, TwoDimensionsAreWrittenRowByRow) {
  const ArrayStore* store = Store("num m[2][3] = {1, 2, 3, 4, 5, 6}");
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(store->m_Nums, (std::vector<std::int32_t>{1, 4, 2, 5, 3, 6}));
}

TEST_F(InitializerTest, ThreeDimensionsAreBlocksOfRows) {
  // d0 = 2, d1 = 2, d2 = 2: the second block holds the elements [i][j][1].
  const ArrayStore* store = Store("num m[2][2][2] = {1, 2, 3, 4, 5, 6, 7, 8}");
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(store->m_Nums, (std::vector<std::int32_t>{1, 3, 2, 4, 5, 7, 6, 8}));
  const ArrayStore* partial = Store("num p[3][2][2] = {1, 2, 3}");
  ASSERT_NE(partial, nullptr);
  EXPECT_EQ(partial->m_Nums, (std::vector<std::int32_t>{1, 3, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(InitializerTest, MissingStringsAreBlankOnlyFromTwoDimensions) {
  const ArrayStore* table = Store("string t[2][2] = {\"a\"}");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table->m_Strings.size(), 4u);
  EXPECT_EQ(table->m_Strings[0], "a");
  for (int i = 1; i < 4; ++i) EXPECT_EQ(table->m_Strings[i], " ");
  const ArrayStore* list = Store("string u[3] = {\"a\", \"\",}");
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->m_Strings[0], "a");
  EXPECT_FALSE(list->m_Strings[1].has_value());
  EXPECT_FALSE(list->m_Strings[2].has_value());
}

TEST_F(InitializerTest, TooManyElementsAndBadElements) {
  EXPECT_FALSE(Compile("num v[2] = {1, 2, 3}"));
  EXPECT_NE(m_Out.find("illegal access to array 'v' via out of the boundary."), std::string::npos);
  EXPECT_FALSE(Compile("num v[2] = {1 2}"));
  EXPECT_NE(m_Out.find("miss ',' in assign to array 'v'."), std::string::npos);
  EXPECT_FALSE(Compile("num v[2] = {(-1)}"));  // -1 is the failure value of a constant
}

TEST_F(ParserTest, DimensionLimits) {
  std::string dims;
  for (int i = 0; i < 99; ++i) dims += "[1]";
  EXPECT_TRUE(Compile("num a" + dims)) << m_Out;
  EXPECT_FALSE(Compile("num a" + dims + "[1]"));
  EXPECT_NE(m_Out.find("can not have more than 99 dimensions"), std::string::npos);
  EXPECT_FALSE(Compile("num big[65536][65536]"));
  EXPECT_NE(m_Out.find("array 'big' is too large."), std::string::npos);
}

TEST_F(ParserTest, MacrosExpandIntoStatementsAndOperands) {
  ASSERT_TRUE(
      Compile("define SET(v)  nFlag = v\ndefine LIMIT 3\nnum nFlag\n"
              "num f() { SET(LIMIT + 1) }"))
      << m_Out;
  EXPECT_EQ(Show(Body("f")), "(nFlag = (3 + 1))");
  const MacroEntry* set = FindMacro("SET");
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(set->m_szBody, "nFlag = v");
  ASSERT_EQ(set->m_Params.size(), 1u);
  EXPECT_EQ(set->m_Params[0].m_szName, "v");
}

TEST_F(ParserTest, MacroDefinitionForms) {
  ASSERT_TRUE(Compile("define F (a) a\ndefine G(x , y)x\ndefine H  one \\ dropped\n   two\n"))
      << m_Out;
  EXPECT_FALSE(FindMacro("F")->m_bHasParams);
  EXPECT_EQ(FindMacro("F")->m_szBody, "(a) a");
  ASSERT_EQ(FindMacro("G")->m_Params.size(), 2u);
  EXPECT_EQ(FindMacro("G")->m_Params[1].m_szName, "y");
  EXPECT_EQ(FindMacro("H")->m_szBody, "one two");
  EXPECT_FALSE(Compile("define\tT 1\n"));
  EXPECT_NE(m_Out.find("illegal define. "), std::string::npos);
  EXPECT_FALSE(Compile("define " + std::string(255, 'm') + " 1\n"));
  EXPECT_NE(m_Out.find("Macro define length must be less than 255 bytes."), std::string::npos);
  EXPECT_FALSE(Compile("define P(" + std::string(300, 'p') + ") 1\n"));
  EXPECT_NE(m_Out.find("Macro define length must be less than 255 bytes."), std::string::npos);
  EXPECT_FALSE(Compile("define B " + std::string(4096, 'b') + "\n"));
  EXPECT_NE(m_Out.find("Macro stub length must be less than 4096 bytes."), std::string::npos);
}

TEST_F(ParserTest, MacroArgumentsSplitAtEveryComma) {
  ASSERT_TRUE(
      Compile("define F(p, q) a = p , q\nnum a num b\nnum g(num x, num y);\n"
              "num f() { F(g(a,b)) }"))
      << m_Out;
  EXPECT_EQ(Show(Body("f")), "(a = g(a, b))");
}

TEST_F(ParserTest, RunawayMacrosAndCallsFailCleanly) {
  EXPECT_FALSE(Compile("define M M\nnum f() { M }"));
  EXPECT_NE(m_Out.find("macro 'M' nested too deeply."), std::string::npos) << m_Out;
  EXPECT_FALSE(Compile("define A(x) x\nnum f() { A(1, 2"));
  EXPECT_NE(m_Out.find("miss ')' in the call of macro 'A'."), std::string::npos) << m_Out;
  EXPECT_FALSE(Compile("define A(x) x\nnum f() { A(" + std::string(300, '1') + ") }"));
  EXPECT_NE(m_Out.find("parameters 1 can be not long than 255 bytes."), std::string::npos);
}

TEST_F(ParserTest, LocalsShadowGlobalsAndParametersComeFirst) {
  ASSERT_TRUE(Compile("string x\nnum f(num p, string q) { num x string r x = p }")) << m_Out;
  const FunctionEntry* f = FindFunction("f");
  ASSERT_EQ(f->m_Locals.size(), 4u);
  EXPECT_EQ(f->m_Locals[0]->m_szName, "p");
  EXPECT_EQ(f->m_Locals[1]->m_szName, "q");
  EXPECT_EQ(f->m_Locals[1]->m_nType, ValueType::String);
  EXPECT_EQ(f->m_Locals[2]->m_szName, "x");
  EXPECT_EQ(Body("f")->m_nType, ValueType::Num);
  EXPECT_FALSE(Compile("num f() { num x num x }"));
  EXPECT_NE(m_Out.find("The 'x' had redefined. "), std::string::npos);
}

TEST_F(ParserTest, FunctionsInsideFunctionsAreRejected) {
  EXPECT_FALSE(Compile("num f() { num g() { } }"));
  EXPECT_NE(m_Out.find("function 'g' can not be declared inside function 'f'."), std::string::npos);
  EXPECT_FALSE(Compile("num f() { { } }"));
  EXPECT_NE(m_Out.find("illegal '{' inside function 'f'."), std::string::npos);
  EXPECT_EQ(FindFunction("f")->m_pDefinition, nullptr) << "a failed body is not kept";
}

TEST_F(ParserTest, PrototypeThenDefinition) {
  ASSERT_TRUE(Compile("num f(num a);\nnum g() { return f(1) }\nstring f(num a) { return a }"))
      << m_Out;
  const FunctionEntry* f = FindFunction("f");
  EXPECT_TRUE(f->m_bDefined);
  EXPECT_EQ(f->m_nRetType, ValueType::Num);  // the prototype's type stays
  EXPECT_EQ(theFunctions.Size(), 2u);
}

// Deep input must fail with a message, not overflow the host stack.
TEST_F(ParserTest, DeepNestingFailsWithOneMessage) {
  const int depth = 200000;
  EXPECT_FALSE(Compile("num a num f() { a = " + std::string(depth, '(') + "1" +
                       std::string(depth, ')') + " }"));
  EXPECT_EQ(m_Out, "\n$ script nested too deeply. ");
  std::string ifs;
  for (int i = 0; i < depth / 4; ++i) ifs += "if (1) {";
  EXPECT_FALSE(Compile("num f() { " + ifs));
  EXPECT_EQ(m_Out, "\n$ script nested too deeply. ");
  std::string chain = "a = a";
  for (int i = 0; i < depth; ++i) chain += " < a";
  EXPECT_FALSE(Compile("num a num f() { " + chain + " }"));
  EXPECT_EQ(m_Out, "\n$ script nested too deeply. ");
}

TEST_F(ParserTest, LongFlatChainsCompileAndFree) {
  std::string sum = "a = 1";
  for (int i = 0; i < 200000; ++i) sum += " + 1";
  std::string body;
  for (int i = 0; i < 100000; ++i) body += "a = a\n";
  ASSERT_TRUE(Compile("num a num f() { " + sum + "\n" + body + " }")) << m_Out;
  Release();  // the left-deep tree and the long statement list go without recursion
}

TEST_F(ParserTest, EveryCompilationIsReleased) {
  const std::string script =
      "define SQ(x) x * x\nnum g[2][2] = {1, 2, 3, 4}\nstring t[2] = {\"a\", \"b\"}\n"
      "num h(num a);\nnum h(num a) { num i = 0 while (i < a) { i += SQ(2) if (i > 5) { break } }"
      " switch (i) { case 1: i = 2 default: { i = 3 } } return i }\n"
      "num main() { return h(3) }\n";
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(Compile(script)) << m_Out;
    Release();
    ASSERT_TRUE(theFunctions.Empty() && theVariables.Empty() && theMacros.Empty() &&
                theStatements.empty() && theIncludes.empty());
  }
}

TEST_F(ParserTest, CheckScriptFilePrintsTheClosingLines) {
  ASSERT_TRUE(sim::PutFile("C:\\ok.cxx", "num main() { return 1 }\n"));
  EXPECT_EQ(CheckScriptFile("C:\\ok.cxx"), 1);
  EXPECT_EQ(m_Out, "\n\n\n-----Compiled finished.-----\n\n");
  m_Out.clear();
  ASSERT_TRUE(sim::PutFile("C:\\bad.cxx", "num main() { return 1 } }\n"));
  EXPECT_EQ(CheckScriptFile("C:\\bad.cxx"), 0);
  EXPECT_EQ(m_Out, "\n\n\n\n-----Compile failed.------\n-----Error executing.------\n\n\n");
  EXPECT_TRUE(theFunctions.Empty());
}

}  // namespace
}  // namespace setup::testing
