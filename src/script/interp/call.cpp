// Calls of script functions and built-ins, call frames, and the run of main.
//
// A call of a script function keeps this frame on the value stack:
//   arguments (named after the parameters) | marker | locals | temporaries
// theFrameBase is the marker's index; the marker remembers the caller's base.
#include <bit>
#include <new>
#include <string>

#include "base/global.h"
#include "base/observer.h"
#include "builtins/table.h"
#include "diag/report.h"
#include "script/interp/eval.h"
#include "script/interp/observe.h"
#include "script/interp/run.h"
#include "script/store/symbols.h"

namespace setup {

ReturnSlot theReturnSlot;

namespace {

const char* NameOf(const SyntaxNode* node) {
  return node->m_szText ? node->m_szText->c_str() : "";
}

// A fresh value of a declared local: its own scalar value copied, or an
// array of its dimensions with every element empty. None on failure.
VariablePtr FreshLocal(const Variable& local) {
  VariablePtr value;
  if (local.m_nType == ValueType::Num) {
    value = NewNumValue();
    value->m_nNum = local.m_nNum;
  } else if (local.m_nType == ValueType::String) {
    value = NewStringValue(local.m_nSize);
    if (local.m_nSize >= 1 && local.m_szValue) value->m_szValue = local.m_szValue;
  } else {
    TraceLine("Type of the value is insufficent.");
    return nullptr;
  }
  if (local.m_pArray) {
    if (ReserveArrayElements(local.m_pArray->ElementCount())) {
      value->m_pArray = local.m_pArray->CloneEmpty(static_cast<std::int32_t>(local.m_nType));
    }
    if (!value->m_pArray) {
      ReportError("not enough memory for array '%s'.",
                  local.m_szName ? local.m_szName->c_str() : "");
      return nullptr;
    }
    value->m_nNum = 0;
    value->m_szValue.reset();
    value->m_nSize = local.m_nType == ValueType::Num ? 4 : 0;
  }
  value->m_szName = local.m_szName;
  return value;
}

// The result of a function whose body ended without a return: the declared
// type's empty value.
Value DefaultResult(ValueType type) {
  Value value;
  const bool num = type == ValueType::Num;
  value.m_nType = num ? ValueType::Num : ValueType::String;
  value.m_nSize = num ? 4 : 0;
  return value;
}

}  // namespace

const BuiltinEntry* BuiltinOf(SyntaxNode* node) {
  if (node->m_Cache.m_Builtin.State() == 0) {
    node->m_Cache.m_Builtin.Set(GetBuiltinEntry(NameOf(node)));
  }
  return node->m_Cache.m_Builtin.Get();
}

int CallTail(const char* name) {
  if (!RunAbandoned()) ReportError("   see the declare of external function '%s'.", name);
  return FailWith("Error in CallT()");
}

namespace {

int InLineTail(const char* name) {
  if (!RunAbandoned()) ReportError("see the declare of internal function '%s'.", name);
  return FailWith("Error in InLineFunT()");
}

// ---- Script functions ------------------------------------------------------------------

// The callee of a CallT node, looked up once: the function table does not
// change while the script runs.
FunctionEntry* Callee(SyntaxNode* node) {
  if (node->m_Cache.m_Call.State() == 0) {
    node->m_Cache.m_Call.Set(node->m_szText ? FindFunction(*node->m_szText) : nullptr);
  }
  return node->m_Cache.m_Call.Get();
}

// The call steps with the callee already found.
int BindArguments(SyntaxNode* node, FunctionEntry* function);
int BuildFrame(FunctionEntry* function);
int DropArguments(FunctionEntry* function);
int PushArguments(SyntaxNode* node, const BuiltinEntry* entry);
int PopArguments(const BuiltinEntry* entry);

}  // namespace

int _before_gen_callexfun(SyntaxNode* node) {
  FunctionEntry* function = node->m_szText ? FindFunction(*node->m_szText) : nullptr;
  if (function == nullptr) return FailWith("Error in _before_gen_callexfun()");
  return BindArguments(node, function);
}

int EnterFunction(const std::string& name) {
  FunctionEntry* function = FindFunction(name);
  if (function == nullptr) return FailWith("Error in before ExternalFunT()");
  return BuildFrame(function);
}

int _after_gen_callexfun(const std::string& name) {
  FunctionEntry* function = FindFunction(name);
  if (function == nullptr) return FailWith("Error in _after_gen_callexfun()");
  return DropArguments(function);
}

int _before_gen_callinlinefun(SyntaxNode* node) {
  const BuiltinEntry* entry = GetBuiltinEntry(NameOf(node));
  if (entry == nullptr) return FailWith("Error in _before_gen_callinlinefun()");
  return PushArguments(node, entry);
}

int _after_gen_callinlinefun(SyntaxNode* node) {
  const BuiltinEntry* entry = GetBuiltinEntry(NameOf(node));
  if (entry == nullptr) return FailWith("Error in _after_gen_callinlinefun()");
  return PopArguments(entry);
}

namespace {

// A string literal, string name or string element as an argument: its text
// copied straight into the parameter's record, with the checks, step and
// size that Eval would give it, without a temporary in between. 1 when
// copied, -1 when `operand` is another kind or holds no string (Eval then
// runs it and reports as always), 0 when a check failed (reported).
int CopyTextArgument(SyntaxNode* operand, Variable& record) {
  if (operand == nullptr) return -1;
  if (operand->m_nKind == NodeKind::IdT) {
    // IdValue's copy: the variable's size is kept as it is.
    if (!operand->m_bConsumed || operand->m_pNext != nullptr || !operand->m_szText) return -1;
    const Variable* var = FindValueBound(*operand->m_szText, operand->m_Cache.m_Binding);
    if (var == nullptr || var->m_nType != ValueType::String) return -1;
    if (!MayRun()) return EvalFailed();
    record.m_nType = ValueType::String;
    if (var->m_nSize > 0 && var->m_szValue) {
      CopyText(record.m_szValue, *var->m_szValue);
      record.m_nSize = var->m_nSize;
    }
    return 1;
  }
  if (operand->m_nKind != NodeKind::StringT && operand->m_nKind != NodeKind::Id_ArrayT) return -1;
  // SetText's copy of a literal's or an element's text: size = length + 1.
  const std::optional<std::string>* text = nullptr;
  if (!TextInPlace(operand, text)) return 0;
  if (text == nullptr) return -1;
  record.m_nType = ValueType::String;
  if (*text) {
    CopyText(record.m_szValue, **text);
    record.m_nSize = static_cast<std::int32_t>((*text)->size() + 1);
  }
  return 1;
}

int BindArguments(SyntaxNode* node, FunctionEntry* function) {
  const std::vector<ParamEntry>& params = function->m_Params;
  const auto count = static_cast<std::int64_t>(params.size());
  SyntaxNode* item = node->m_pItems.get();
  if (item != nullptr) {
    std::size_t k = 0;  // parameter index; the messages count from 1
    for (; item != nullptr && k < params.size(); item = item->m_pNext.get(), ++k) {
      const ParamEntry& param = params[k];
      if (theGlobal.m_bCallMain) {
        // main's arguments were pushed by PrepareMainCall, first one lowest.
        const std::int64_t at =
            static_cast<std::int64_t>(theValueStack.size()) - count + static_cast<std::int64_t>(k);
        if (at < 0) return FailWith("Error in _before_gen_callexfun()");
        const Variable& value = *theValueStack[static_cast<std::size_t>(at)];
        if (value.m_nType != param.m_nType) {
          ReportError("paramters %d of '%s' can not match '%s'.", static_cast<int>(k + 1),
                      function->m_szName.c_str(), TypeWord(value.m_nType));
          return FailWith("Error in _before_gen_callexfun()");
        }
        continue;
      }
      VariablePtr value = AllocVariable();
      const int copied = CopyTextArgument(item->m_pChild2.get(), *value);
      if (copied == 0 || (copied < 0 && !Eval(item->m_pChild2.get(), *value))) {
        return FailWith("Error in _before_gen_callexfun()");
      }
      if (value->m_nType != param.m_nType) {
        ReportError("paramters %d of '%s' can not match '%s'.", static_cast<int>(k + 1),
                    function->m_szName.c_str(), TypeWord(value->m_nType));
        return FailWith("Error in _before_gen_callexfun()");
      }
      // The parameter's local holds the same name, already pooled.
      const Variable* local = k < function->m_Locals.size() ? function->m_Locals[k].get() : nullptr;
      if (local != nullptr && local->m_szName == param.m_szName) {
        value->m_szName = local->m_szName;
      } else {
        value->m_szName = param.m_szName;
      }
      PushValue(std::move(value));
    }
    if (item != nullptr || k != params.size()) {
      ReportError("paramters type can not match '%s'.", function->m_szName.c_str());
      return FailWith("Error in _before_gen_callexfun()");
    }
  } else if (!params.empty()) {
    // Without argument items there would be no values for the parameters.
    ReportError("paramters type can not match '%s'.", function->m_szName.c_str());
    return FailWith("Error in _before_gen_callexfun()");
  }

  EnterFrame(function);
  theGlobal.m_bCallMain = 0;
  return 1;
}

int BuildFrame(FunctionEntry* function) {
  VariablePtr marker = NewNumValue();
  marker->m_nSavedFrameBase = theFrameBase;
  PushValue(std::move(marker));
  theFrameBase = static_cast<std::int64_t>(theValueStack.size()) - 1;

  // The first locals are the parameters, already bound below the marker.
  for (std::size_t i = function->m_Params.size(); i < function->m_Locals.size(); ++i) {
    VariablePtr value = FreshLocal(*function->m_Locals[i]);
    if (!value) return FailWith("Error in before ExternalFunT()");
    PushValue(std::move(value));
  }
  return 1;
}

}  // namespace

int LeaveFunction() {
  if (theFrameBase < 0 || theFrameBase >= static_cast<std::int64_t>(theValueStack.size())) {
    return FailWith("Error in LeaveFunction()");
  }
  while (static_cast<std::int64_t>(theValueStack.size()) - 1 > theFrameBase) {
    if (IsLeftover(theValueStack.back().get())) {
      theValueStack.pop_back();  // nothing to give back
      continue;
    }
    VariablePtr value = PopValue();
    // The frame's own arrays give their elements back to the run's budget.
    if (value->m_pArray && !IsBorrowed(value->m_pArray)) {
      ReleaseArrayElements(value->m_pArray->ElementCount());
    }
  }
  theFrameBase = theValueStack.back()->m_nSavedFrameBase;
  PopValue();
  return 1;
}

namespace {

int DropArguments(FunctionEntry* function) {
  const std::size_t count = function->m_Params.size();
  if (theValueStack.size() < count) return FailWith("Error in _after_gen_callexfun()");
  for (std::size_t i = 0; i < count; ++i) {
    // The argument's text buffer serves the next call's argument copies.
    VariablePtr value = PopValue();
    if (value) KeepSpareText(value->m_szValue);
  }
  if (!LeaveFrame()) return FailWith("Error in _after_gen_callexfun()");
  return 1;
}

}  // namespace

namespace {

// The end of a failed call that the observer saw begin.
int CallFailed(SyntaxNode* node, const char* name) {
  if (theGlobal.m_pObserver != nullptr) ObserveReturn(node, nullptr);
  return CallTail(name);
}

// Runs the call of a script function; on success `value` holds the value
// that the call gives.
int RunCall(SyntaxNode* node, Value& value) {
  const char* name = NameOf(node);
  FunctionEntry* function = Callee(node);
  if (function == nullptr || !TakePass()) return CallTail(name);
  if (!function->m_pDefinition) {
    ReportError("The function '%s' had not defined so far.", name);
    return CallTail(name);
  }
  if (!BindArguments(node, function)) {
    if (!RunAbandoned()) ReportError("_before_gen_callexfun() of '%s' failed.", name);
    return CallTail(name);
  }
  if (theGlobal.m_pObserver != nullptr) ObserveCall(node, *function);
  if (!BuildFrame(function)) return CallFailed(node, name);
  SyntaxNode* body = function->m_pDefinition->m_pChild2.get();
  if (body == nullptr) {
    ReportError("illegal function define. see define of '%s'.", name);
    return CallFailed(node, name);
  }
  const int compiled = RunBodyCode(function->m_pDefinition.get(), body);
  if (compiled == 0 || (compiled < 0 && !Generate(body))) {
    if (!RunAbandoned()) ReportError("Generate '%s' failed.", name);
    return CallFailed(node, name);
  }

  // A return left the result in the return slot; a body that just ends
  // gives the declared type's empty value and leaves the frames below
  // untouched.
  if (theReturnSlot.m_bHeld) {
    value = std::move(theReturnSlot.m_Value);
    theReturnSlot.m_Value = Value{};
    theReturnSlot.m_bHeld = false;
  } else {
    value = DefaultResult(function->m_nRetType);
  }
  if (!LeaveFunction()) return CallFailed(node, name);
  if (!DropArguments(function)) {
    ReportError("_after_gen_callexfun() of '%s' failed.", name);
    return CallFailed(node, name);
  }
  theGlobal.m_bReturn = 0;
  if (theGlobal.m_pObserver != nullptr) ObserveReturn(node, &value);
  return 1;
}

}  // namespace

int CallT(SyntaxNode* node) {
  Value value;
  if (!RunCall(node, value)) return 0;
  if (node->m_bConsumed || Callee(node)->m_szName == "main") PushTaken(value);
  return 1;
}

int CallValue(SyntaxNode* node, Value& value) {
  return RunCall(node, value);
}

// ---- Built-ins -------------------------------------------------------------------------

namespace {

int PushArguments(SyntaxNode* node, const BuiltinEntry* entry) {
  int k = 0;
  SyntaxNode* item = node->m_pItems.get();
  for (; item != nullptr && k < entry->nParamCount; item = item->m_pNext.get(), ++k) {
    VariablePtr value = AllocVariable();
    if (!Eval(item->m_pChild2.get(), *value)) {
      return FailWith("Error in _before_gen_callinlinefun()");
    }
    if (value->m_nType != entry->pParams[k].m_nType) {
      ReportError("paramters %d of '%s' can not match '%s'.", k + 1, entry->szName,
                  TypeWord(value->m_nType));
      return FailWith("Error in _before_gen_callinlinefun()");
    }
    PushValue(std::move(value));
  }
  // The handler reads exactly nParamCount values: anything else is a mismatch.
  if (item != nullptr || k != entry->nParamCount) {
    ReportError("paramters type can not match '%s'.", entry->szName);
    return FailWith("Error in _before_gen_callinlinefun()");
  }
  // The pushed records are the arguments a handler called next reads.
  static BuiltinArg views[5];
  const std::size_t first = theValueStack.size() - static_cast<std::size_t>(k);
  for (int i = 0; i < k; ++i) {
    const Variable& record = *theValueStack[first + static_cast<std::size_t>(i)];
    views[i] = BuiltinArg{record.m_nType, record.m_nNum, &record.m_szValue};
  }
  SetBuiltinArgs(views, k);
  return 1;
}

int PopArguments(const BuiltinEntry* entry) {
  SetBuiltinArgs(nullptr, 0);
  if (theValueStack.size() < static_cast<std::size_t>(entry->nParamCount)) {
    return FailWith("Error in _after_gen_callinlinefun()");
  }
  for (int i = 0; i < entry->nParamCount; ++i) PopValue();
  return 1;
}

// True when evaluating `node` can change no variable: literals, constants,
// names, elements and operators that fold, nothing else (no assignment, no
// call). `budget` bounds the nodes looked at.
bool ChangesNothing(const SyntaxNode* node, int& budget) {
  if (node == nullptr) return true;
  if (--budget < 0 || node->m_pNext != nullptr) return false;
  switch (node->m_nKind) {
    case NodeKind::NumT:
    case NodeKind::StringT:
    case NodeKind::ConstT:
    case NodeKind::IdT:
      return true;
    case NodeKind::Id_ArrayT:
      for (const SyntaxNode* item = node->m_pItems.get(); item != nullptr;
           item = item->m_pNext.get()) {
        if (!ChangesNothing(item->m_pChild2.get(), budget)) return false;
      }
      return true;
    case NodeKind::OpT:
      return IsFoldingOperator(node->m_nOp) && node->m_pChild1 == nullptr &&
             ChangesNothing(node->m_pChild2.get(), budget) &&
             ChangesNothing(node->m_pChild0.get(), budget);
    default:
      return false;
  }
}

// The values of a built-in's arguments that are evaluated rather than lent,
// each made when its argument is evaluated: most arguments are lent, and
// five blank values made and destroyed on every call cost more than the
// lending saves.
class ArgValues {
 public:
  ArgValues() = default;
  ~ArgValues() {
    for (unsigned made = m_nMade; made != 0; made &= made - 1) {
      std::launder(reinterpret_cast<Value*>(m_Slots[std::countr_zero(made)]))->~Value();
    }
  }
  ArgValues(const ArgValues&) = delete;
  ArgValues& operator=(const ArgValues&) = delete;

  // The blank value of argument k (below kMax), made on the first request.
  Value& At(int k) {
    if ((m_nMade & (1u << k)) == 0) {
      new (m_Slots[k]) Value();
      m_nMade |= 1u << k;
    }
    return *std::launder(reinterpret_cast<Value*>(m_Slots[k]));
  }

  static constexpr int kMax = kMaxBuiltinParams;

 private:
  alignas(Value) unsigned char m_Slots[kMax][sizeof(Value)];
  unsigned m_nMade = 0;
};

// Evaluates the arguments of a built-in call in order, with the type checks
// and messages of the call, into `values` and the handler's views `args`.
// A string variable's text is lent rather than copied when no later
// argument can change it.
int EvalArguments(SyntaxNode* node, const BuiltinEntry* entry, ArgValues& values,
                  BuiltinArg* args) {
  int k = 0;
  SyntaxNode* item = node->m_pItems.get();
  for (; item != nullptr && k < entry->nParamCount; item = item->m_pNext.get(), ++k) {
    SyntaxNode* operand = item->m_pChild2.get();
    // A literal, name or element is lent when no later argument can change a
    // variable before the handler has run.
    bool lend = operand != nullptr &&
                (operand->m_nKind == NodeKind::StringT || operand->m_nKind == NodeKind::IdT ||
                 operand->m_nKind == NodeKind::Id_ArrayT);
    int budget = 64;
    for (const SyntaxNode* later = item->m_pNext.get(); later != nullptr && lend;
         later = later->m_pNext.get()) {
      lend = ChangesNothing(later->m_pChild2.get(), budget);
    }
    const std::optional<std::string>* text = nullptr;
    if (lend && !TextInPlace(operand, text)) {
      return FailWith("Error in _before_gen_callinlinefun()");
    }
    if (text != nullptr) {
      args[k].m_nType = ValueType::String;
      args[k].m_pText = text;
    } else {
      Value& value = values.At(k);
      // An array initializer travels in a record; the handler sees its type
      // and no text, as it would on the value stack.
      if (operand != nullptr && operand->m_nKind == NodeKind::ArrayContentT) {
        VariablePtr record = AllocVariable();
        if (!Eval(operand, *record)) return FailWith("Error in _before_gen_callinlinefun()");
        TakeValue(value, *record);
      } else if (!Eval(operand, value)) {
        return FailWith("Error in _before_gen_callinlinefun()");
      }
      args[k].m_nType = value.m_nType;
      args[k].m_nNum = value.m_nNum;
      args[k].m_pText = &value.m_szValue;
    }
    if (args[k].m_nType != entry->pParams[k].m_nType) {
      ReportError("paramters %d of '%s' can not match '%s'.", k + 1, entry->szName,
                  TypeWord(args[k].m_nType));
      return FailWith("Error in _before_gen_callinlinefun()");
    }
  }
  // The handler reads exactly nParamCount values: anything else is a mismatch.
  if (item != nullptr || k != entry->nParamCount) {
    ReportError("paramters type can not match '%s'.", entry->szName);
    return FailWith("Error in _before_gen_callinlinefun()");
  }
  return 1;
}

// Runs a built-in; on success `value` holds the value that the call gives.
// The arguments stay on the host stack (or are lent from their variables)
// while the handler reads them; nothing goes through the value stack.
int RunBuiltin(SyntaxNode* node, Value& value) {
  const char* name = NameOf(node);
  const BuiltinEntry* entry = BuiltinOf(node);
  ArgValues values;
  BuiltinArg args[ArgValues::kMax];
  if (entry == nullptr || !EvalArguments(node, entry, values, args)) {
    if (!RunAbandoned()) ReportError("_before_gen_callinlinefun() of '%s' failed.", name);
    return InLineTail(name);
  }
  if (entry->pfnHandler == nullptr) return InLineTail(name);
  // Every built-in gives a num or a string.
  const std::int32_t r = RunHandler(node, *entry, args, value.m_szValue);
  if (entry->nRetType == ValueType::Num) {
    value.m_nType = ValueType::Num;
    value.m_nSize = 4;
    value.m_nNum = r;
  } else {
    value.m_nType = ValueType::String;
    if (value.m_szValue) value.m_nSize = static_cast<std::int32_t>(value.m_szValue->size() + 1);
  }
  return 1;
}

}  // namespace

std::int32_t RunHandler(SyntaxNode* node, const BuiltinEntry& entry, const BuiltinArg* args,
                        std::optional<std::string>& result) {
  // A string built-in whose arguments fail the check leaves no text behind,
  // so its call gives the empty string rather than an earlier call's text.
  Variable* text = theStringResult.get();
  if (entry.nRetType == ValueType::String && text != nullptr) {
    text->m_szValue.reset();
    text->m_nSize = 0;
  }
  SetBuiltinArgs(args, entry.nParamCount);
  const std::int32_t r = entry.pfnHandler(node);
  if (theGlobal.m_pObserver != nullptr) ObserveBuiltin(node, entry, r, args);
  SetBuiltinArgs(nullptr, 0);
  if (r == 0) ReportError("[%s()] Return Value = %d", entry.szName, 0);
  if (entry.nRetType == ValueType::String) {
    // The handler's text moves out; the next string built-in starts from an
    // empty result in any case.
    text = theStringResult.get();
    if (text != nullptr && text->m_szValue) {
      result = std::move(text->m_szValue);
      text->m_szValue.reset();
    }
  }
  return r;
}

int InLineFunT(SyntaxNode* node) {
  Value value;
  if (!RunBuiltin(node, value)) return 0;
  if (node->m_bConsumed) PushTaken(value);
  return 1;
}

int InLineFunValue(SyntaxNode* node, Value& value) {
  return RunBuiltin(node, value);
}

// ---- The run -------------------------------------------------------------------------------

int PrepareMainCall(NodePtr& node) {
  node = NewNode(NodeKind::CallT);
  if (!node) return FailWith("Error in PrepareMainCall()");
  node->m_szText = "main";
  FunctionEntry* function = FindFunction("main");
  if (function == nullptr) return FailWith("Error in PrepareMainCall()");
  // The call of main stands where main is defined.
  if (theGlobal.m_pObserver != nullptr) {
    theGlobal.m_pObserver->SamePlace(node.get(), function->m_pDefinition.get());
  }
  node->m_nType = function->m_nRetType;
  for (const ParamEntry& param : function->m_Params) {
    NodePtr item = NewNode(NodeKind::ItemT);
    if (!item) return FailWith("Error in PrepareMainCall()");
    AppendItem(node->m_pItems, std::move(item));
    VariablePtr value;
    if (param.m_nType == ValueType::Num) {
      value = NewNumValue();
    } else if (param.m_nType == ValueType::String) {
      value = NewStringValue(0);
    } else {
      return FailWith("Error in PrepareMainCall()");
    }
    value->m_szName = param.m_szName;
    PushValue(std::move(value));
  }
  return 1;
}

int RunMain(std::int32_t* result) {
  ResetRunLimits();
  if (theGlobal.m_pObserver != nullptr) DescribeScript();
  NodePtr call;
  int ok = AllocGlobals() && FindFunction("main") != nullptr;
  for (std::size_t i = 0; ok && i < theStatements.size(); ++i) {
    ok = Generate(theStatements[i].get());
  }
  if (ok) ok = PrepareMainCall(call);
  if (ok) {
    theGlobal.m_bCallMain = 1;
    ok = Generate(call.get());
  }
  if (ok) {
    VariablePtr value = PopValue();
    if (value && value->m_nType == ValueType::Num && result != nullptr) *result = value->m_nNum;
  }
  FreeNode(call);
  theStringResult.reset();
  theReturnSlot = ReturnSlot{};
  ReleaseLoopSlots();
  return ok ? 1 : 0;
}

}  // namespace setup
