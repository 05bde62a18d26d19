// Program store rules that scripts cannot reach well: the run-time lookup
// window, the value stack's edge cases, the include stack, the release order
// and the built-in table.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <string>

#include "base/global.h"
#include "builtins/table.h"
#include "common/package_writer.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "library_fixture.h"
#include "platform/sim/machine.h"
#include "script/front/lexer.h"
#include "script/interp/run.h"
#include "script/store/node.h"
#include "script/store/symbols.h"
#include "script/store/value.h"

namespace setup {
namespace {

VariablePtr Named(ValueType type, const std::string& name, std::int32_t number = 0) {
  VariablePtr value = type == ValueType::Num ? NewNumValue() : NewStringValue(0);
  value->m_szName = name;
  value->m_nNum = number;
  return value;
}

class StoreTest : public LibraryTest {
 protected:
  // Declares `num name(num a, num b)` with one further local `n`.
  FunctionEntry* DeclareFunction(const std::string& name) {
    auto entry = std::make_unique<FunctionEntry>();
    entry->m_szName = name;
    entry->m_nRetType = ValueType::Num;
    entry->m_bDefined = true;
    for (const char* param : {"a", "b"}) {
      entry->m_Params.push_back(ParamEntry{ValueType::Num, param});
      entry->m_Locals.push_back(Named(ValueType::Num, param));
    }
    entry->m_Locals.push_back(Named(ValueType::Num, "n"));
    return theFunctions.Append(std::move(entry), name);
  }
};

// ---- Run-time lookup -----------------------------------------------------------------

TEST_F(StoreTest, FindValueSearchesOnlyTheInnermostFrameThenGlobals) {
  theVariables.Append(Named(ValueType::Num, "a", 100), "a");
  theVariables.Append(Named(ValueType::Num, "y", 200), "y");
  FunctionEntry* f = DeclareFunction("f");

  // Outside any call the globals answer.
  EXPECT_EQ(FindValue("a")->m_nNum, 100);

  // f(1, 2): parameters, marker, local n.
  PushValue(Named(ValueType::Num, "a", 1));
  PushValue(Named(ValueType::Num, "b", 2));
  auto frame = std::make_unique<CallFrame>();
  frame->m_pFunction = f;
  frame->m_szFunName = "f";
  PushFrame(std::move(frame));
  ASSERT_EQ(EnterFunction("f"), 1);
  EXPECT_EQ(theGlobal.m_bInFunction, 1);
  EXPECT_EQ(FindValue("a")->m_nNum, 1);
  EXPECT_EQ(FindValue("b")->m_nNum, 2);
  ASSERT_NE(FindValue("n"), nullptr);
  EXPECT_EQ(FindValue("n"), theValueStack.back().get());

  // A value bound above the frame (an argument being set up for a call) is
  // never found: the global of that name answers.
  PushValue(Named(ValueType::Num, "y", 7));
  EXPECT_EQ(FindValue("y")->m_nNum, 200);
  EXPECT_EQ(FindValue("missing"), nullptr);

  // Leaving the frame pops everything above the marker and the marker.
  EXPECT_EQ(LeaveFunction(), 1);
  EXPECT_EQ(theValueStack.size(), 2u);
  EXPECT_EQ(theFrameBase, -1);
  EXPECT_EQ(_after_gen_callexfun("f"), 1);
  EXPECT_TRUE(theValueStack.empty());
  EXPECT_EQ(theGlobal.m_bInFunction, 0);
  EXPECT_EQ(FindValue("a")->m_nNum, 100);
}

TEST_F(StoreTest, NestedFramesRestoreTheCallersFrameBase) {
  FunctionEntry* f = DeclareFunction("f");
  for (int depth = 0; depth < 2; ++depth) {
    PushValue(Named(ValueType::Num, "a", 10 + depth));
    PushValue(Named(ValueType::Num, "b", 0));
    auto frame = std::make_unique<CallFrame>();
    frame->m_pFunction = f;
    frame->m_szFunName = "f";
    PushFrame(std::move(frame));
    ASSERT_EQ(EnterFunction("f"), 1);
  }
  const std::int64_t inner = theFrameBase;
  EXPECT_EQ(FindValue("a")->m_nNum, 11);
  ASSERT_EQ(LeaveFunction(), 1);
  ASSERT_EQ(_after_gen_callexfun("f"), 1);
  EXPECT_LT(theFrameBase, inner);
  EXPECT_EQ(FindValue("a")->m_nNum, 10);
}

// ---- Value stack edge cases ---------------------------------------------------------

TEST_F(StoreTest, PopValueOnAnEmptyStack) {
  // Nothing broken: no box.
  EXPECT_EQ(PopValue(), nullptr);
  EXPECT_EQ(m_Events, "");

  // A frame base without a stack is a broken state: the box, then reset.
  theFrameBase = 2;
  EXPECT_EQ(PopValue(), nullptr);
  EXPECT_EQ(theFrameBase, -1);
  EXPECT_NE(m_Events.find("[msgbox] Warning: a fatal error occur: esp:0x0 ebp:0x3"),
            std::string::npos)
      << m_Events;

  // Popping the bottom entry clears the frame base as well.
  PushValue(NewNumValue());
  theFrameBase = 0;
  EXPECT_NE(PopValue(), nullptr);
  EXPECT_EQ(theFrameBase, -1);
  PushValue(nullptr);  // ignored
  EXPECT_TRUE(theValueStack.empty());
}

TEST_F(StoreTest, ALeftoverRunPopsAsThatManyLeftovers) {
  // A run of three leftovers (the loop machine's breaks) above a local.
  PushValue(Named(ValueType::Num, "kept", 7));
  VariablePtr run = NewNumValue();
  run->m_nNum = 1;
  run->m_bLeftoverRun = true;
  run->m_nSavedFrameBase = 3;
  Variable* record = run.get();
  PushValue(std::move(run));
  ASSERT_TRUE(IsLeftover(record));

  // Each pop hands out a num 1 of its own; the run stays until its last one.
  for (int left = 3; left > 0; --left) {
    ASSERT_EQ(theValueStack.size(), 2U);
    EXPECT_EQ(theValueStack.back().get(), record);
    EXPECT_EQ(record->m_nSavedFrameBase, left);
    VariablePtr one = PopValue();
    ASSERT_NE(one, nullptr);
    EXPECT_NE(one.get(), record);
    EXPECT_EQ(one->m_nType, ValueType::Num);
    EXPECT_EQ(one->m_nNum, 1);
    EXPECT_FALSE(IsLeftover(one.get()));
  }
  ASSERT_EQ(theValueStack.size(), 1U);
  EXPECT_EQ(PopValue()->m_nNum, 7);

  // A released run record goes back to the pool as a plain record.
  VariablePtr again = NewNumValue();
  again->m_bLeftoverRun = true;
  again->m_nRunDepth = 9;
  Variable* reused = again.get();
  again.reset();
  VariablePtr fresh = AllocVariable();
  EXPECT_EQ(fresh.get(), reused);
  EXPECT_FALSE(fresh->m_bLeftoverRun);
  EXPECT_EQ(fresh->m_nRunDepth, 0);
}

TEST_F(StoreTest, LeavingAFrameDropsItsLeftoverRuns) {
  PushValue(Named(ValueType::Num, "a", 1));
  PushValue(Named(ValueType::Num, "b", 2));
  VariablePtr marker = NewNumValue();
  marker->m_nSavedFrameBase = theFrameBase;
  PushValue(std::move(marker));
  theFrameBase = static_cast<std::int64_t>(theValueStack.size()) - 1;
  PushValue(Named(ValueType::Num, "n", 3));
  VariablePtr run = NewNumValue();
  run->m_bLeftoverRun = true;
  run->m_nSavedFrameBase = 1000000;
  PushValue(std::move(run));
  PushValue(LeftoverValue());  // the walk's own leftover above it

  ASSERT_TRUE(LeaveFunction());
  EXPECT_EQ(theValueStack.size(), 2U);  // the arguments, for the caller to drop
  EXPECT_EQ(theFrameBase, -1);
}

// ---- Compile-time tables -------------------------------------------------------------

TEST_F(StoreTest, ScopeRulesWhileABodyIsCompiled) {
  theVariables.Append(Named(ValueType::Num, "g"), "g");
  theVariables.Append(Named(ValueType::String, "Count"), "Count");
  DeclareFunction("f");

  EXPECT_EQ(VariableExists("g", 1), 1);  // no body: the globals count
  EXPECT_EQ(VariableExists("count", 0), 0);
  EXPECT_EQ(VariableExistsTyped("Count", ValueType::String, 0), 1);
  EXPECT_EQ(VariableExistsTyped("Count", ValueType::Num, 0), 0);

  theGlobal.m_bInFunction = 1;
  theGlobal.m_szExFunName = "f";
  EXPECT_EQ(VariableExists("g", 1), 0);  // local-only ignores globals
  EXPECT_EQ(VariableExists("g", 0), 1);
  EXPECT_EQ(VariableExists("n", 1), 1);
  AddVariable(Named(ValueType::String, "s"));
  EXPECT_EQ(FindFunction("f")->m_Locals.size(), 4u);
  const std::string f = "f";
  EXPECT_EQ(FindVariable("s", &f)->m_nType, ValueType::String);
  EXPECT_EQ(FindVariable("g", &f), theVariables.Find("g"));
  const std::string unknown = "h";
  EXPECT_EQ(FindVariable("g", &unknown), nullptr);

  // A body whose function is not in the table.
  theGlobal.m_szExFunName = "ghost";
  AddVariable(Named(ValueType::Num, "x"));
  EXPECT_EQ(VariableExists("x", 0), 0);
  EXPECT_EQ(m_Out, "\n$ Add temp val to 'ghost' failed. \n$ 'ghost' not declare. ");
}

TEST_F(StoreTest, SignaturesAndParameters) {
  FunctionEntry a;
  a.m_szName = "f";
  a.m_Params = {{ValueType::Num, "x"}, {ValueType::String, "s"}};
  FunctionEntry b;
  b.m_szName = "f";
  b.m_Params = a.m_Params;
  EXPECT_EQ(SameSignature(a, b), 1);
  b.m_nRetType = ValueType::String;  // the result type is not compared
  EXPECT_EQ(SameSignature(a, b), 1);
  b.m_Params[1].m_szName = "t";
  EXPECT_EQ(SameSignature(a, b), 0);
  b.m_Params = {{ValueType::Num, "x"}};
  EXPECT_EQ(SameSignature(a, b), 0);
  b.m_Params = {{ValueType::Num, "x"}, {ValueType::Num, "s"}};
  EXPECT_EQ(SameSignature(a, b), 0);
  FunctionEntry unnamed;
  EXPECT_EQ(SameSignature(unnamed, unnamed), 0);

  EXPECT_EQ(IsParaExist(a.m_Params, "s"), 1);
  EXPECT_EQ(IsParaExist(a.m_Params, "S"), 0);
  EXPECT_EQ(IsParaExist(a.m_Params, ""), 0);

  EXPECT_EQ(IsFunctionDefined("f"), -1);
  FunctionEntry* declared = DeclareFunction("f");
  declared->m_bDefined = false;
  EXPECT_EQ(IsFunctionDefined("f"), 0);
  declared->m_bDefined = true;
  EXPECT_EQ(IsFunctionDefined("f"), 1);
  EXPECT_EQ(FunctionExists(""), 0);
}

// ---- Values and arrays ---------------------------------------------------------------

TEST_F(StoreTest, ArrayElementCountAndStorage) {
  ArrayStore store;
  EXPECT_EQ(store.ElementCount(), 0);
  store.m_Dims = {2, 3};
  EXPECT_EQ(store.ElementCount(), 6);
  store.m_Dims = {2, 0};
  EXPECT_EQ(store.ElementCount(), 0);
  store.m_Dims = {65536, 65536};  // beyond 32 bits
  EXPECT_EQ(store.ElementCount(), 0);
  store.m_Dims = {static_cast<std::int32_t>(kMaxArrayElements), 2};
  EXPECT_EQ(store.CloneEmpty(2), nullptr);

  store.m_Dims = {2, 3};
  auto nums = store.CloneEmpty(2);
  ASSERT_NE(nums, nullptr);
  EXPECT_EQ(nums->m_Nums, std::vector<std::int32_t>(6, 0));
  auto texts = store.CloneEmpty(3);
  ASSERT_NE(texts, nullptr);
  ASSERT_EQ(texts->m_Strings.size(), 6u);
  EXPECT_FALSE(texts->m_Strings[5]);

  EXPECT_FALSE(NewStringValue(0)->m_szValue);
  EXPECT_EQ(NewStringValue(0)->m_nSize, 0);
  EXPECT_EQ(NewStringValue(5)->m_nSize, 5);
  EXPECT_EQ(NewNumValue()->m_nSize, 4);
}

TEST_F(StoreTest, AllocGlobalsPreparesEveryGlobal) {
  VariablePtr grid = Named(ValueType::Num, "grid");
  grid->m_pArray = std::make_unique<ArrayStore>();
  grid->m_pArray->m_Dims = {2, 2};
  theVariables.Append(std::move(grid), "grid");
  VariablePtr names = Named(ValueType::String, "names");
  names->m_pArray = std::make_unique<ArrayStore>();
  names->m_pArray->m_Dims = {3};
  theVariables.Append(std::move(names), "names");
  theVariables.Append(Named(ValueType::Num, "n", 9), "n");

  ASSERT_EQ(AllocGlobals(), 1);
  EXPECT_EQ(theVariables.Find("grid")->m_pArray->m_Nums.size(), 4u);
  EXPECT_EQ(theVariables.Find("names")->m_pArray->m_Strings.size(), 3u);
  EXPECT_EQ(theVariables.Find("n")->m_nNum, 0);

  VariablePtr odd = Named(ValueType::Num, "odd");
  odd->m_nType = ValueType::None;
  theVariables.Append(std::move(odd), "odd");
  EXPECT_EQ(AllocGlobals(), 0);
}

TEST_F(StoreTest, BorrowedInitializerArrayIsDetachedNotFreed) {
  ArrayStore owned;
  owned.m_Dims = {1};
  owned.m_Nums = {5};
  {
    VariablePtr value = NewNumValue();
    value->m_pArray = BorrowArray(&owned);
    EXPECT_TRUE(IsBorrowed(value->m_pArray));
    // Giving the value an array of its own ends the borrow, not the store.
    value->m_pArray = std::make_unique<ArrayStore>();
    EXPECT_FALSE(IsBorrowed(value->m_pArray));
    value->m_pArray = BorrowArray(&owned);
  }
  EXPECT_EQ(owned.m_Nums[0], 5);  // still alive: ASan would flag a free
}

// ---- Include stack and release -----------------------------------------------------

TEST_F(StoreTest, MissingIncludeStaysOnTheStackUntilFreeAll) {
  std::strcpy(theGlobal.m_szFileName, "C:\\WINDOWS\\setup.cxx");
  theGlobal.m_nLineNo = 12;
  ASSERT_TRUE(sim::PutFile("C:\\inc\\one.h", "num x\n"));
  ASSERT_EQ(OpenInclude("C:\\inc\\one.h"), 1);
  EXPECT_STREQ(theGlobal.m_szFileName, "C:\\inc\\one.h");
  EXPECT_EQ(theGlobal.m_nLineNo, 0);

  EXPECT_EQ(OpenInclude("C:\\inc\\missing.h"), 0);
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
  EXPECT_EQ(m_Out, "\n$ file C:\\inc\\missing.h not found.\n ");
  EXPECT_EQ(theIncludes.size(), 2u);

  FreeAll();
  EXPECT_TRUE(theIncludes.empty());
  EXPECT_STREQ(theGlobal.m_szFileName, "C:\\WINDOWS\\setup.cxx");
}

TEST_F(StoreTest, RestoreIncludeBringsBackTheReaderState) {
  std::strcpy(theGlobal.m_szFileName, "main.cxx");
  std::strcpy(theGlobal.m_szLine, "include \"one.h\" num y\n");
  theGlobal.m_nLineLen = static_cast<std::int32_t>(std::strlen(theGlobal.m_szLine));
  theGlobal.m_nLinePos = 15;
  theGlobal.m_nLineNo = 4;
  theGlobal.m_nToken = TK_KW_NUM;
  std::strcpy(theGlobal.m_szToken, "num");
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\one.h", "num x\n"));
  ASSERT_EQ(OpenInclude("one.h"), 1);
  theGlobal.m_nToken = TK_END;

  std::unique_ptr<IncludeFrame> frame = PopInclude();
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(RestoreInclude(frame.get()), 1);
  EXPECT_STREQ(theGlobal.m_szFileName, "main.cxx");
  EXPECT_STREQ(theGlobal.m_szLine, "include \"one.h\" num y\n");
  EXPECT_EQ(theGlobal.m_nLinePos, 15);
  EXPECT_EQ(theGlobal.m_nLineNo, 4);
  EXPECT_EQ(theGlobal.m_nToken, TK_KW_NUM);
  EXPECT_STREQ(theGlobal.m_szToken, "num");
  EXPECT_EQ(RestoreInclude(nullptr), 0);
  EXPECT_EQ(PopInclude(), nullptr);
}

TEST_F(StoreTest, FreeAllEmptiesEveryTable) {
  DeclareFunction("f");
  theVariables.Append(Named(ValueType::Num, "g"), "g");
  theMacros.Append(std::make_unique<MacroEntry>(), "M");
  AddStatement(NewNode(NodeKind::NumT));
  PushValue(NewNumValue());
  theFrameBase = 0;
  PushFrame(std::make_unique<CallFrame>());
  ResetStringResult();

  FreeAll();
  EXPECT_TRUE(theFunctions.Empty());
  EXPECT_TRUE(theVariables.Empty());
  EXPECT_TRUE(theMacros.Empty());
  EXPECT_TRUE(theStatements.empty());
  EXPECT_TRUE(theValueStack.empty());
  EXPECT_TRUE(theCallFrames.empty());
  EXPECT_EQ(theFrameBase, -1);
  EXPECT_EQ(theStringResult, nullptr);
  EXPECT_EQ(theGlobal.m_bInFunction, 0);
  EXPECT_EQ(FindFunction("f"), nullptr);
  EXPECT_EQ(m_Events, "");  // no broken-stack box on the way
}

// ---- Built-in table ----------------------------------------------------------------------

TEST_F(StoreTest, BuiltinTableHasFortyDistinctTokens) {
  ASSERT_EQ(theGlobal.m_nBuiltinCount, 40);
  bool seen[47] = {};
  for (int i = 0; i < theGlobal.m_nBuiltinCount; ++i) {
    const BuiltinEntry& entry = theGlobal.m_Builtins[i];
    ASSERT_GE(entry.nToken, TK_BUILTIN_FIRST);
    ASSERT_LE(entry.nToken, TK_BUILTIN_LAST);
    EXPECT_FALSE(seen[entry.nToken]) << entry.szName;
    seen[entry.nToken] = true;
    EXPECT_EQ(FindBuiltin(entry.szName), entry.nToken);
    EXPECT_NE(entry.pfnHandler, nullptr);
    for (int p = 0; p < entry.nParamCount; ++p) {
      EXPECT_TRUE(entry.pParams[p].m_nType == ValueType::Num ||
                  entry.pParams[p].m_nType == ValueType::String);
    }
  }
  EXPECT_EQ(FindBuiltin("MsgBox"), TK_IDENT);
  EXPECT_EQ(GetBuiltinEntry(nullptr), nullptr);
  const BuiltinEntry* values = GetBuiltinEntry("addregvalues");
  ASSERT_NE(values, nullptr);
  EXPECT_EQ(values->nToken, 15);
  EXPECT_EQ(values->nParamCount, 5);
  EXPECT_EQ(values->pParams[4].m_nType, ValueType::String);
  EXPECT_EQ(GetBuiltinEntry("getstr")->nRetType, ValueType::String);
  EXPECT_EQ(GetBuiltinEntry("deleteregx")->nToken, 18);
}

TEST_F(StoreTest, HandlersReadTheArgumentsOfTheRunningCall) {
  const std::optional<std::string> abc = "abc";
  const std::optional<std::string> none;
  const std::optional<std::string> empty = "";
  const BuiltinArg args[4] = {{ValueType::String, 0, &abc},
                              {ValueType::String, 0, &none},  // "" has no storage: missing
                              {ValueType::Num, 3, nullptr},
                              {ValueType::String, 0, &empty}};
  SetBuiltinArgs(args, 4);
  EXPECT_STREQ(ArgText(0, 4), "abc");
  EXPECT_EQ(ArgText(1, 4), nullptr);
  EXPECT_STREQ(ArgText(3, 4), "");  // an empty text with storage is present
  std::int32_t number = 0;
  EXPECT_TRUE(ArgNum(2, 4, &number));
  EXPECT_EQ(number, 3);
  EXPECT_FALSE(ArgNum(0, 4, &number));  // a string has no number
  EXPECT_EQ(ArgText(2, 4), nullptr);    // a num has no text
  EXPECT_EQ(ArgText(0, 9), nullptr);    // more than the call has
  EXPECT_EQ(ArgText(4, 4), nullptr);
  EXPECT_EQ(ArgText(-1, 4), nullptr);
  SetBuiltinArgs(nullptr, 0);  // between calls there are none
  EXPECT_EQ(ArgText(0, 1), nullptr);
  EXPECT_FALSE(ArgNum(0, 1, &number));
}

TEST_F(StoreTest, StringResultKeepsItsRecordAndStartsEmpty) {
  std::optional<std::string>* first = ResetStringResult();
  ASSERT_NE(first, nullptr);
  EXPECT_FALSE(*first);
  *first = "text";
  theStringResult->m_nSize = 5;
  std::optional<std::string>* second = ResetStringResult();
  EXPECT_EQ(second, first);  // the same record, its text cleared
  EXPECT_FALSE(*second);
  EXPECT_EQ(theStringResult->m_nSize, 0);
  EXPECT_EQ(theStringResult->m_nType, ValueType::String);
}

// ---- Action on one load --------------------------------------------------------------------

const plat::HMODULE kModule =
    reinterpret_cast<plat::HMODULE>(static_cast<std::uintptr_t>(0x10000000));

class ActionTest : public StoreTest {
 protected:
  void Load(const std::string& script) {
    std::vector<char> module = {'M', 'Z'};
    std::string error;
    ASSERT_TRUE(
        pack::AppendPackage(module, {{"setup.cxx", {script.begin(), script.end()}}}, &error))
        << error;
    ASSERT_TRUE(sim::SetModule(kModule, "C:\\Setup\\Setup.dll", module));
    ASSERT_EQ(DllMain(kModule, kDllProcessAttach, nullptr), plat::TRUE) << m_Out;
    m_Out.clear();
  }
  void TearDown() override {
    DllMain(kModule, kDllProcessDetach, nullptr);
    theGlobal.m_hModule = nullptr;
    StoreTest::TearDown();
  }
  std::string Expanded() { return sim::GetFile("C:\\WINDOWS\\setup.cxx.e").value_or("<none>"); }
};

TEST_F(ActionTest, ParametersBecomeThePrelude) {
  Load("num main() {\r\n  return _Parameters_Num\r\n}\r\n");
  sim::SetFixedTime(plat::SYSTEMTIME{2008, 5, 3, 7, 20, 4, 0, 0});
  EXPECT_EQ(Action("/a/b x /\tc /"), 4);
  const std::string expanded = Expanded();
  EXPECT_EQ(expanded.substr(0, expanded.find("num main")),
            "///Generate By Halden.Ru.      [2008.5.7 28:4]\r\n"
            "num _Parameters_Num = 4 \r\n"
            "string _Parameters[4]={\"a\",\"b\",\"\tc\",\"\",}\r\n");
  sim::SetFixedTime(std::nullopt);

  // No parameters: two prelude lines; a later call rewrites the file.
  EXPECT_EQ(Action("install"), 0);
  EXPECT_EQ(Expanded().find("string _Parameters"), std::string::npos);
  EXPECT_NE(m_Out.find("not any module parameters."), std::string::npos);
}

TEST_F(ActionTest, ParameterCountAndLengthLimits) {
  Load("num main() {\r\n  return _Parameters_Num\r\n}\r\n");
  std::string command;
  for (int i = 0; i < 99; ++i) command += "/p" + std::to_string(i) + " ";
  EXPECT_EQ(Action(command.c_str()), 99);
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\setup.cxx.e", "untouched"));
  m_Out.clear();
  EXPECT_EQ(Action((command + "/last").c_str()), -1);
  EXPECT_EQ(m_Out, "\ntoo many in put parameters.");
  EXPECT_EQ(Expanded(), "untouched");

  m_Out.clear();
  EXPECT_EQ(Action(("/" + std::string(252, 'x')).c_str()), 1);
  EXPECT_EQ(Action(("/ok /" + std::string(253, 'x')).c_str()), -1);
  EXPECT_NE(m_Out.find("\nparameter 2 is longer than 252 characters."), std::string::npos);
  EXPECT_EQ(Action(nullptr), 0);
}

TEST_F(ActionTest, RepeatedCallsStartCleanAndKeepMemoryFlat) {
  Load(
      "num g[3] = {1, 2, 3}\r\nstring s = \"x\"\r\n"
      "num f(num n) {\r\n  string t = s + \"y\"\r\n  return n + g[2]\r\n}\r\n"
      "num main() {\r\n  return f(_Parameters_Num)\r\n}\r\n");
  for (int i = 0; i < 10; ++i) ASSERT_EQ(Action("/a"), 4);
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 1000; ++i) {
    m_Out.clear();  // keeps its capacity
    ASSERT_EQ(Action("/a /b"), 5);
    ASSERT_EQ(theGlobal.ErrorFlag, 0);
    ASSERT_TRUE(theVariables.Empty());
    ASSERT_TRUE(theValueStack.empty());
    ASSERT_EQ(LiveNodeCount(), 0u);
    ASSERT_EQ(NamePoolSize(), 0u);
  }
  const std::size_t after = mallinfo2().uordblks;
  EXPECT_LT(after, before + 4096) << "heap grew from " << before << " to " << after;
  EXPECT_EQ(m_Events, "");  // no "memory leak" box from a dirty table
}

}  // namespace
}  // namespace setup
