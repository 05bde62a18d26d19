// The evaluators behind Generate and the helpers they share. Internal to the
// interpreter: everything else runs nodes through Generate.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/global.h"
#include "script/front/lexer.h"
#include "script/store/node.h"
#include "script/store/symbols.h"
#include "script/store/value.h"

namespace setup {

struct BuiltinArg;
struct BuiltinEntry;

// A temporary value on the host stack: what an operand hands to its consumer.
// Only the members a scalar needs, so that a num temporary is plain data;
// array values (initializers) travel in Variable records.
struct Value {
  ValueType m_nType = ValueType::None;
  std::int32_t m_nNum = 0;
  // Size of the text buffer including its NUL (0 without text), or 4 for a num.
  std::int32_t m_nSize = 0;
  std::optional<std::string> m_szValue;  // text of a string; none = no text storage
};

// The result that a return hands to the call it ends. The call takes it as
// soon as the body returns, before anything else runs, so it need not travel
// in a record on top of the frame.
struct ReturnSlot {
  Value m_Value;
  bool m_bHeld = false;
};
extern ReturnSlot theReturnSlot;

// ---- Num arithmetic ------------------------------------------------------------------
// 32-bit wrap-around; quotient and remainder stay defined for the smallest
// num by -1. Shared by the tree walk, the num programs and the loop machine.

inline std::int32_t Wrap(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}
inline std::int32_t Quotient(std::int32_t l, std::int32_t r) {
  return (l == INT32_MIN && r == -1) ? INT32_MIN : l / r;
}
inline std::int32_t Remainder(std::int32_t l, std::int32_t r) {
  return (l == INT32_MIN && r == -1) ? 0 : l % r;
}
inline std::int32_t CompareNums(int op, std::int32_t l, std::int32_t r) {
  switch (op) {
    case TK_LT:
      return l < r;
    case TK_GT:
      return l > r;
    case TK_LE:
      return l <= r;
    case TK_GE:
      return l >= r;
    case TK_EQ:
      return l == r;
    default:
      return l != r;
  }
}
// An operator that folds, on two nums; the caller has ruled out a division
// by 0.
inline std::int32_t NumOperator(int op, std::int32_t a, std::int32_t b) {
  switch (op) {
    case TK_PLUS:
      return Wrap(std::int64_t{a} + b);
    case TK_MINUS:
      return Wrap(std::int64_t{a} - b);
    case TK_STAR:
      return Wrap(std::int64_t{a} * b);
    case TK_SLASH:
      return Quotient(a, b);
    case TK_PERCENT:
      return Remainder(a, b);
    case TK_ANDAND:
      return (a == 1 && b == 1) ? 1 : 0;
    case TK_OROR:
      return (a == 1 || b == 1) ? 1 : 0;
    case TK_AND:
      return a & b;
    case TK_OR:
      return a | b;
    default:
      return CompareNums(op, a, b);
  }
}
// The update of a num compound assignment whose checks have passed.
inline void UpdateCell(int op, std::int32_t& cell, std::int32_t r) {
  switch (op) {
    case TK_PLUS_ASSIGN:
      cell = Wrap(std::int64_t{cell} + r);
      break;
    case TK_MINUS_ASSIGN:
      cell = Wrap(std::int64_t{cell} - r);
      break;
    case TK_STAR_ASSIGN:
      cell = Wrap(std::int64_t{cell} * r);
      break;
    case TK_SLASH_ASSIGN:
      cell = Quotient(cell, r);
      break;
    default:
      cell = Remainder(cell, r);
      break;
  }
}
// True for the operators that fold (arithmetic, comparisons, logic).
bool IsFoldingOperator(int op);

// A string without text storage, for views that point at a text or at none.
extern const std::optional<std::string> kNoText;
// The text that a string literal, a string name or a string element as an
// operand gives, without copying it: the checks (and step) of Eval with
// StringValue, IdValue or Id_ArrayValue (the indexes evaluated), then `text`
// points at the literal's, the variable's or the element's text (or at
// kNoText). 1 with `text` set; 1 with `text` none when `node` is another
// kind or does not hold a string (the caller evaluates it as usual, which
// reports what the walk reports); 0 when a check failed (reported). The
// text stays valid until a variable may have changed.
[[nodiscard]] int TextInPlace(SyntaxNode* node, const std::optional<std::string>*& text);

// The text a string literal gives as an operand: its bytes, or none for "".
inline const std::optional<std::string>& LiteralText(const NodeText& literal) {
  return literal && !literal->empty() ? static_cast<const std::optional<std::string>&>(literal)
                                      : kNoText;
}
// The text a string variable gives as an operand: none unless it holds both
// a size and a text.
inline const std::optional<std::string>& VariableText(const Variable& var) {
  return var.m_nSize > 0 && var.m_szValue ? var.m_szValue : kNoText;
}

// False (reported) when a concatenation of `length` bytes would be longer
// than a string may be.
bool TextFits(std::size_t length);
// The most texts a chain of string + joins in one step (ConcatChain, the
// loop machine's joins).
constexpr int kMaxChainTexts = 8;

// `=` of a string value (`text`, `size`) without a consumer into `target`,
// the text of `var` or of one of its elements: the text moves, the old
// buffer is kept as a spare, and `var` takes the size.
void MoveText(Variable& var, std::optional<std::string>& target, std::optional<std::string>& text,
              std::int32_t size);
// A string declaration's initializer (`text`, `size`) into `var`: a text
// that has a size moves in, with size = length + 1; else none.
void InitializeText(Variable& var, std::optional<std::string>& text, std::int32_t size);

// The string comparison `op` of two texts: a missing text (the empty
// string) equals only another missing text and is neither less nor greater
// than anything.
std::int32_t CompareTexts(int op, const std::optional<std::string>& l,
                          const std::optional<std::string>& r);
// The comparisons that compare strings (<, >, <=, >=, ==, !=).
bool IsTextComparison(int op);

// ---- Built-ins ------------------------------------------------------------------
// The table row of an InLineFunT node, looked up once; none for an unknown name.
const BuiltinEntry* BuiltinOf(SyntaxNode* node);
// Runs the handler of `entry` for `node` with its arguments `args` (checked
// and complete), with what surrounds it in every call: the string result
// cleared before, the observer and the line of a 0 answer after. The answer;
// a string built-in's text moves into `result` (left alone when it has none).
std::int32_t RunHandler(SyntaxNode* node, const BuiltinEntry& entry, const BuiltinArg* args,
                        std::optional<std::string>& result);

// ---- Expressions ----------------------------------------------------------------
[[nodiscard]] int OpT(SyntaxNode* node);
[[nodiscard]] int AssignT(SyntaxNode* node);
[[nodiscard]] int AssignInitializingT(SyntaxNode* node);
[[nodiscard]] int IdT(SyntaxNode* node);
[[nodiscard]] int Id_ArrayT(SyntaxNode* node);
[[nodiscard]] int NumT(SyntaxNode* node);
[[nodiscard]] int StringT(SyntaxNode* node);
[[nodiscard]] int ConstT(SyntaxNode* node);
[[nodiscard]] int ArrayContentT(SyntaxNode* node);

// The value-producing evaluators without the value stack: each leaves its
// value in `value` (a blank record) instead of pushing it.
[[nodiscard]] int OpValue(SyntaxNode* node, Value& value);  // operators that fold
[[nodiscard]] int AssignValue(SyntaxNode* node, Value& value);
[[nodiscard]] int IdValue(SyntaxNode* node, Value& value);
[[nodiscard]] int Id_ArrayValue(SyntaxNode* node, Value& value);
[[nodiscard]] int NumValue(SyntaxNode* node, Value& value);
[[nodiscard]] int StringValue(SyntaxNode* node, Value& value);
[[nodiscard]] int ConstValue(SyntaxNode* node, Value& value);
[[nodiscard]] int CallValue(SyntaxNode* node, Value& value);
[[nodiscard]] int InLineFunValue(SyntaxNode* node, Value& value);

// ---- Statements -------------------------------------------------------------------
[[nodiscard]] int IfT(SyntaxNode* node);
[[nodiscard]] int WhileT(SyntaxNode* node);
[[nodiscard]] int SwitchT(SyntaxNode* node);
[[nodiscard]] int BreakT(SyntaxNode* node);
[[nodiscard]] int ContinueT(SyntaxNode* node);
[[nodiscard]] int ReturnT(SyntaxNode* node);
// WhileT by the tree walk alone.
[[nodiscard]] int WhileWalk(SyntaxNode* node);
// Runs a while statement on the loop machine (loop.cpp): 1 done, 0 failed
// (reported), -1 when the machine cannot run it now and the tree walk must.
[[nodiscard]] int RunLoopCode(SyntaxNode* node);
// Runs a function body (the statements under the definition node
// `definition`) on the same machine: 1 done, 0 failed (reported), -1 when the
// tree walk must run it.
[[nodiscard]] int RunBodyCode(SyntaxNode* definition, SyntaxNode* body);
// Gives the machines' name slots back at the end of a run.
void ReleaseLoopSlots();
// The rest of a switch after the case section `section` ended with a
// continue flag set: the following sections run as SwitchT runs them.
[[nodiscard]] int SwitchTail(SyntaxNode* section);
// One statement as Generate runs it (checks, evaluator, flags), without the
// statements chained after it.
[[nodiscard]] int GenerateOne(SyntaxNode* node);

// ---- Calls ----------------------------------------------------------------------------
[[nodiscard]] int CallT(SyntaxNode* node);
[[nodiscard]] int InLineFunT(SyntaxNode* node);
[[nodiscard]] int ExternalFunT(SyntaxNode* node);
// The end of a failed call of the script function `name`: its report and
// trace line. Always 0.
int CallTail(const char* name);

// The storage that an assignment writes: a num cell or a text reference,
// together with the variable that owns it.
struct StorageSlot {
  Variable* m_pVariable = nullptr;
  std::int32_t* m_pNum = nullptr;                 // type num
  std::optional<std::string>* m_pText = nullptr;  // type string
};

// Finds the variable `name` (frame first, then globals) and, for an array,
// the element addressed by the index items. 0 on failure (ErrorFlag set).
[[nodiscard]] int LocateStorage(const std::optional<std::string>& name, SyntaxNode* items,
                                ValueType type, StorageSlot& slot);
// The same for the name and index items of an IdT or Id_ArrayT node, with the
// node's remembered binding (FindValueBound).
[[nodiscard]] int LocateStorage(SyntaxNode* target, ValueType type, StorageSlot& slot);

// Runs an operand and takes the one value it left on the value stack. None
// when the operand failed or did not leave exactly one value of its own, so
// that no evaluator ever consumes a value that belongs to someone else.
VariablePtr EvaluateOperand(SyntaxNode* node);
// The same into a blank `value` (Eval below), or into a blank record (arguments, results); an array
// initializer's value keeps its borrowed store.
[[nodiscard]] int Eval(SyntaxNode* node, Variable& value);
// Eval for consumers that want a num: 1 with the number in `out`, 2 with a
// value of another type in `other` (blank on entry), 0 on failure. Operators
// on nums run without Value records.
[[nodiscard]] int EvalInt(SyntaxNode* node, std::int32_t& out, Value& other);
// Moves `value` into a pooled record on top of the value stack.
void PushTaken(Value& value);
// Moves everything `from` holds into the blank record `to`.
void TakeValue(Variable& to, Variable& from);
// Moves the scalar parts of `from` into the blank `to`, or back.
void TakeValue(Value& to, Variable& from);
void TakeValue(Variable& to, Value& from);

#if defined(__GNUC__)
#define SETUP_ALWAYS_INLINE __attribute__((always_inline)) inline
#else
#define SETUP_ALWAYS_INLINE inline
#endif

// The checks made before every node runs: room on the host stack and the
// step budget. False (reported) when the run must stop.
bool MayRunSlow();
SETUP_ALWAYS_INLINE bool MayRun() {
  if (StackHasRoom() && theGlobal.m_nStepLimit == 0) return true;
  return MayRunSlow();
}

// The num programs and the loop machine run only where the walk's per-node
// checks cannot fail and count nothing: no step budget is set and the host
// stack has 64 KiB to spare; and not while an observer watches statements
// and branches, which only the walk reports.
SETUP_ALWAYS_INLINE bool FastPathsMayRun() {
  if (theGlobal.m_nStepLimit != 0 || theGlobal.m_bWalkOnly != 0) return false;
  if (theGlobal.m_pStackBase == nullptr) return true;
  const char* here = static_cast<const char*>(__builtin_frame_address(0));
  return theGlobal.m_pStackBase - here < kStackBudget - 64 * 1024;
}

// The test hook that bounds loop passes and calls (m_nPassLimit): false
// (reported once) when the run must stop.
bool CountPass();
SETUP_ALWAYS_INLINE bool TakePass() {
  return theGlobal.m_nPassLimit == 0 || CountPass();
}

// Eval's general path (through Generate and the value stack), the direct
// evaluators by kind, and the failure report.
[[nodiscard]] int EvalGeneral(SyntaxNode* node, Value& value);
[[nodiscard]] int EvalNode(SyntaxNode* node, Value& value);
int EvalFailed();

// EvaluateOperand into a blank `value`: operators, assignments, names,
// elements, literals, constants and calls with a consumer leave their value
// there directly (after the same depth and step checks as Generate), other
// kinds run through Generate and the value stack. 0 on failure.
// Num literals and num variables, the most frequent operands, are read here
// without a call; their checks and results are those of NumValue and IdValue
// (the lookup has no effect but on the node's binding, so it may come first).
SETUP_ALWAYS_INLINE int Eval(SyntaxNode* node, Value& value) {
  if (node == nullptr) return 0;
  // Only a lone operand with a consumer: a chain or a value-less statement
  // takes the general path with its checks.
  if (!node->m_bConsumed || node->m_pNext != nullptr) return EvalGeneral(node, value);
  if (node->m_nKind == NodeKind::NumT && node->m_bNumKnown) {
    if (!MayRun()) return EvalFailed();
    value.m_nType = ValueType::Num;
    value.m_nSize = 4;
    value.m_nNum = node->m_Cache.m_nValue;
    return 1;
  }
  if (node->m_nKind == NodeKind::IdT && node->m_szText) {
    const Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
    if (var != nullptr && var->m_nType == ValueType::Num) {
      if (!MayRun()) return EvalFailed();
      value.m_nType = ValueType::Num;
      value.m_nSize = 4;
      value.m_nNum = var->m_nNum;
      return 1;
    }
  }
  return EvalNode(node, value);
}

// New temporaries.
VariablePtr MakeNum(std::int32_t number);
// A string value holding a copy of `text` (size = length + 1), or no text.
VariablePtr MakeString(const std::optional<std::string>& text);

// Marks the run as failed and passes the evaluator's trace line on.
int FailWith(const char* trace);

// A run stopped by a limit (host stack, step budget) unwinds many levels at
// once; after the limit's own report the calls on the way up stay silent, so
// the output does not depend on how deep the run was.
void AbandonRun();
bool RunAbandoned();

// "NUM" or "STRING": the type word of the system's messages.
const char* TypeWord(ValueType type);

}  // namespace setup
