// Expression evaluators: operators, assignments, names, array elements,
// literals, constants and array initializers.
#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "base/global.h"
#include "diag/report.h"
#include "script/front/lexer.h"
#include "script/interp/eval.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

const char* TextOf(const std::optional<std::string>& text) {
  return text ? text->c_str() : "";
}

// Makes the blank record `value` a num holding `number`.
void SetNum(Value& value, std::int32_t number) {
  value.m_nType = ValueType::Num;
  value.m_nSize = 4;
  value.m_nNum = number;
}

}  // namespace

std::int32_t CompareTexts(int op, const std::optional<std::string>& l,
                          const std::optional<std::string>& r) {
  if (!l || !r) {
    const bool bothMissing = !l && !r;
    switch (op) {
      case TK_LT:
      case TK_GT:
        return 0;
      case TK_NE:
        return bothMissing ? 0 : 1;
      default:  // <=, >=, ==
        return bothMissing ? 1 : 0;
    }
  }
  const int order = l->compare(*r);
  switch (op) {
    case TK_LT:
      return order < 0;
    case TK_GT:
      return order > 0;
    case TK_LE:
      return order <= 0;
    case TK_GE:
      return order >= 0;
    case TK_EQ:
      return order == 0;
    default:
      return order != 0;
  }
}

// False (reported) when a concatenation of `length` bytes would be longer
// than a string may be.
bool TextFits(std::size_t length) {
  if (length <= kMaxTextLength) return true;
  ReportError("string longer than %d bytes.", static_cast<int>(kMaxTextLength));
  return false;
}

namespace {

// The messages of a binary operator that folds.
struct BinaryRule {
  int op;
  const char* stringMessage;    // strings not allowed; none where they are
  const char* mismatchMessage;  // operand types differ
};

constexpr BinaryRule kBinaryRules[] = {
    {TK_PLUS, nullptr, "'+' operand can not match."},
    {TK_MINUS, "'-' operand only can be used in 'num' type.", "'-' operand can not match."},
    {TK_STAR, "'*' operand only can be used in 'num' type.", "'*' operand can not match."},
    {TK_SLASH, "'/' operand only can be used in 'num' type.", "'/' operand can not match."},
    {TK_PERCENT, "'/' operand only can be used in 'num' type.", "'/' operand can not match."},
    {TK_ANDAND, "'&&' operand in illegal usage.", "'&&' operand can not match."},
    {TK_OROR, "'||' operand in illegal usage.", "'||' operand can not match."},
    {TK_AND, "'&' operand in illegal usage.", "'&' operand can not match."},
    {TK_OR, "'|' operand in illegal usage.", "'|' operand can not match."},
    {TK_LT, nullptr, "'<' operand can not match."},
    {TK_GT, nullptr, "'>' operand can not match."},
    {TK_LE, nullptr, "'<=' operand can not match."},
    {TK_GE, nullptr, "'>=' operand can not match."},
    {TK_EQ, nullptr, "'==' operand can not match."},
    {TK_NE, nullptr, "'!=' operand can not match."},
};

// The rules indexed by token code, so that an operator finds its rule at once.
struct BinaryRuleIndex {
  const BinaryRule* rules[TK_END + 1] = {};
  constexpr BinaryRuleIndex() {
    for (const BinaryRule& rule : kBinaryRules) rules[rule.op] = &rule;
  }
};
constexpr BinaryRuleIndex kBinaryRuleIndex;

const BinaryRule* FindBinaryRule(int op) {
  return op >= 0 && op <= TK_END ? kBinaryRuleIndex.rules[op] : nullptr;
}

bool IsComparison(int op) {
  return op >= TK_LT && op <= TK_EQ;
}

bool NumBinary(int op, std::int32_t a, std::int32_t b, std::int32_t& result);

// Applies a folding operator to L and R, leaving the result in L.
[[gnu::noinline]] bool ApplyBinary(const BinaryRule& rule, Value& l, const Value& r) {
  if (l.m_nType != r.m_nType) {
    ReportError(rule.mismatchMessage);
    return false;
  }
  if (l.m_nType == ValueType::String) {
    if (rule.stringMessage != nullptr) {
      ReportError(rule.stringMessage);
      return false;
    }
    if (rule.op == TK_PLUS) {
      // L is a temporary: R's text is appended to it in place.
      const std::size_t length =
          (l.m_szValue ? l.m_szValue->size() : 0) + (r.m_szValue ? r.m_szValue->size() : 0);
      if (!TextFits(length)) return false;
      if (!l.m_szValue) l.m_szValue.emplace();
      if (r.m_szValue) l.m_szValue->append(*r.m_szValue);
      l.m_nSize = static_cast<std::int32_t>(length + 1);
      return true;
    }
    const std::int32_t truth = CompareTexts(rule.op, l.m_szValue, r.m_szValue);
    l.m_szValue.reset();  // L becomes a new num value
    SetNum(l, truth);
    return true;
  }
  if (l.m_nType != ValueType::Num) return false;

  std::int32_t result = 0;
  if (!NumBinary(rule.op, l.m_nNum, r.m_nNum, result)) return false;
  l.m_nNum = result;
  return true;
}

// The num operators of ApplyBinary: false (reported) on a division by 0.
bool NumBinary(int op, std::int32_t a, std::int32_t b, std::int32_t& result) {
  if ((op == TK_SLASH || op == TK_PERCENT) && b == 0) {
    ReportError("potential divide by 0.");
    return false;
  }
  result = NumOperator(op, a, b);
  return true;
}

// The compound assignments: update the variable, leave its new value in L.
bool ApplyCompound(SyntaxNode* node, Value& l, const Value& r) {
  const int op = node->m_nOp;
  const bool same = l.m_nType == r.m_nType;
  const bool strings = same && l.m_nType == ValueType::String;
  switch (op) {
    case TK_PLUS_ASSIGN:
      if (!same) {
        ReportError("'+=' operand cannot match.");
        return false;
      }
      break;
    case TK_MINUS_ASSIGN:
      if (!same || strings) {
        ReportError("'-=' operand cannot match.");
        return false;
      }
      break;
    case TK_STAR_ASSIGN:
      if (!same || strings) {
        ReportError("'*=' operand cannot match.");
        return false;
      }
      break;
    case TK_SLASH_ASSIGN:
    case TK_PERCENT_ASSIGN:
      if (strings) {
        ReportError("'/=' operand cannot match.");
        return false;
      }
      if (!same) {
        ReportError(op == TK_SLASH_ASSIGN ? "'/=' operand cannot match."
                                          : "'%=' operand cannot match.");
        return false;
      }
      if (r.m_nNum == 0) {
        ReportError("potential divide by 0.");
        return false;
      }
      break;
    default:
      return false;
  }
  if (l.m_nType != ValueType::Num && l.m_nType != ValueType::String) return false;

  SyntaxNode* target = node->m_pChild2.get();
  StorageSlot slot;
  if (!LocateStorage(target, r.m_nType, slot)) return false;

  if (r.m_nType == ValueType::String) {
    // Appended in place, so a loop of appends copies the text only as the
    // string grows; the result is copied out only for a consumer.
    std::optional<std::string>& text = *slot.m_pText;
    const std::size_t length = (text ? text->size() : 0) + (r.m_szValue ? r.m_szValue->size() : 0);
    if (!TextFits(length)) return false;
    if (!text) text.emplace();
    if (r.m_szValue) text->append(*r.m_szValue);
    const auto size = static_cast<std::int32_t>(length + 1);
    slot.m_pVariable->m_nSize = size;
    if (node->m_bConsumed) {
      l.m_szValue = text;
    } else {
      l.m_szValue.reset();
    }
    l.m_nSize = size;
    return true;
  }

  std::int32_t& cell = *slot.m_pNum;
  UpdateCell(op, cell, r.m_nNum);
  l.m_nNum = cell;
  return true;
}

// Rewrites an operator node whose operands are both literals into the
// literal of its result, so that later executions skip the work.
void Fold(SyntaxNode* node, const Value& result) {
  SyntaxNode* left = node->m_pChild2.get();
  SyntaxNode* right = node->m_pChild0.get();
  const bool nums = left->m_nKind == NodeKind::NumT && right->m_nKind == NodeKind::NumT;
  const bool strings = left->m_nKind == NodeKind::StringT && right->m_nKind == NodeKind::StringT;
  if (!nums && !(strings && (IsComparison(node->m_nOp) || node->m_nOp == TK_PLUS))) return;

  DropNumProgram(*node);
  node->m_pChild0.reset();
  node->m_pChild2.reset();
  node->m_nOp = 0;
  if (result.m_nType == ValueType::String) {
    node->m_nKind = NodeKind::StringT;
    if (result.m_szValue && !result.m_szValue->empty()) {
      node->m_szText = *result.m_szValue;
    } else {
      node->m_szText.reset();
    }
  } else {
    node->m_nKind = NodeKind::NumT;
    node->m_szText = std::to_string(result.m_nNum);
    node->m_Cache.m_nValue = result.m_nNum;
    node->m_bNumKnown = true;
  }
}

// Leaves `value` for the consumer when there is one.
int Deliver(SyntaxNode* node, Value& value) {
  if (node->m_bConsumed) PushTaken(value);
  return 1;
}

}  // namespace

bool IsFoldingOperator(int op) {
  return FindBinaryRule(op) != nullptr;
}

const std::optional<std::string> kNoText;

// The text that a string literal or a string name as an operand gives,
// without copying it: the checks (and step) of Eval with StringValue or
// IdValue, then `text` points at the literal's or the variable's text (or
// at none). 1 with `text` set; 1 with `text` none when `node` is another
// kind or does not hold a string (the caller evaluates it as usual, which
// reports what the walk reports); 0 when a check failed (reported).
int TextInPlace(SyntaxNode* node, const std::optional<std::string>*& text) {
  text = nullptr;
  if (node == nullptr || !node->m_bConsumed || node->m_pNext != nullptr) return 1;
  if (node->m_nKind == NodeKind::StringT) {
    if (!MayRun()) return EvalFailed();
    text = &LiteralText(node->m_szText);
    return 1;
  }
  if (node->m_nKind == NodeKind::IdT && node->m_szText) {
    const Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
    if (var == nullptr || var->m_nType != ValueType::String) return 1;
    if (!MayRun()) return EvalFailed();
    text = &VariableText(*var);
    return 1;
  }
  if (node->m_nKind == NodeKind::Id_ArrayT && node->m_nType == ValueType::String) {
    // The element that Id_ArrayValue would copy, after the same lookup.
    if (!MayRun()) return EvalFailed();
    StorageSlot slot;
    if (!LocateStorage(node, ValueType::String, slot)) {
      FailWith("Error in Id_ArrayT()");
      return EvalFailed();
    }
    text = *slot.m_pText ? slot.m_pText : &kNoText;
  }
  return 1;
}

// ---- Storage ---------------------------------------------------------------------------

// Finds the slot in the variable found for `nameText`.
static int LocateIn(Variable* var, const std::string& nameText, SyntaxNode* items, ValueType type,
                    StorageSlot& slot) {
  const std::string* name = &nameText;
  if (var == nullptr) return FailWith("Error in LocateStorage()");

  if (!var->m_pArray) {
    slot.m_pVariable = var;
    if (type == ValueType::Num) {
      slot.m_pNum = &var->m_nNum;
    } else {
      slot.m_pText = &var->m_szValue;
    }
    return 1;
  }

  ArrayStore& store = *var->m_pArray;
  if (items == nullptr) {
    ReportError("Cannot calc dimension of array.");
    return FailWith("Error in LocateStorage()");
  }
  std::int64_t position = 0;
  std::int64_t stride = 1;
  SyntaxNode* item = items;
  for (std::size_t d = 0; d < store.m_Dims.size(); ++d, item = item->m_pNext.get()) {
    if (item == nullptr) return FailWith("calc dimension error.");
    Value other;
    std::int32_t number = 0;
    const int kind = EvalInt(item->m_pChild2.get(), number, other);
    if (kind == 0) return FailWith("calc dimension error.");
    const int dim = static_cast<int>(d);
    if (kind != 1) {
      ReportError("dimension %d of '%s' must be '%s'.\n", dim, name->c_str(), "NUM");
      return FailWith("Error in LocateStorage()");
    }
    if (number < 0) {
      ReportError("dimension %d of '%s' can not less than zero.\n", dim, name->c_str());
      return FailWith("Error in LocateStorage()");
    }
    if (number >= store.m_Dims[d]) {
      ReportError("dimension %d of '%s' can not more than %d.\n", dim, name->c_str(),
                  store.m_Dims[d]);
      return FailWith("Error in LocateStorage()");
    }
    position += number * stride;
    stride *= store.m_Dims[d];
  }

  slot.m_pVariable = var;
  const auto pos = static_cast<std::size_t>(position);
  if (type == ValueType::Num && pos < store.m_Nums.size()) {
    slot.m_pNum = &store.m_Nums[pos];
    return 1;
  }
  if (type == ValueType::String && pos < store.m_Strings.size()) {
    slot.m_pText = &store.m_Strings[pos];
    return 1;
  }
  return FailWith("Error in LocateStorage()");  // no element storage of that type
}

int LocateStorage(const std::optional<std::string>& name, SyntaxNode* items, ValueType type,
                  StorageSlot& slot) {
  slot = StorageSlot{};
  if (!name) return FailWith("Error in LocateStorage()");
  return LocateIn(FindValue(*name), *name, items, type, slot);
}

int LocateStorage(SyntaxNode* target, ValueType type, StorageSlot& slot) {
  slot = StorageSlot{};
  if (!target->m_szText) return FailWith("Error in LocateStorage()");
  Variable* var = FindValueBound(*target->m_szText, target->m_Cache.m_Binding);
  return LocateIn(var, *target->m_szText, target->m_pItems.get(), type, slot);
}

// The num cell that LocateStorage finds for `target` (a scalar directly);
// 0 on failure, reported as LocateStorage reports it.
static int NumCell(SyntaxNode* target, std::int32_t*& cell) {
  if (target->m_szText) {
    Variable* var = FindValueBound(*target->m_szText, target->m_Cache.m_Binding);
    if (var != nullptr && !var->m_pArray) {
      cell = &var->m_nNum;
      return 1;
    }
  }
  StorageSlot slot;
  if (!LocateStorage(target, ValueType::Num, slot)) return 0;
  cell = slot.m_pNum;
  return 1;
}

// ---- Operators -----------------------------------------------------------------------

namespace {

// EvalInt for a lone operand with a consumer: num literals and num variables
// inline, everything else through EvalInt.
SETUP_ALWAYS_INLINE int OperandInt(SyntaxNode* node, std::int32_t& out, Value& other) {
  if (node != nullptr && node->m_bConsumed && node->m_pNext == nullptr) {
    if (node->m_nKind == NodeKind::NumT && node->m_bNumKnown) {
      if (!MayRun()) return EvalFailed();
      out = node->m_Cache.m_nValue;
      return 1;
    }
    if (node->m_nKind == NodeKind::IdT && node->m_szText) {
      const Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
      if (var != nullptr && var->m_nType == ValueType::Num) {
        if (!MayRun()) return EvalFailed();
        out = var->m_nNum;
        return 1;
      }
    }
  }
  return EvalInt(node, out, other);
}

// ---- Num programs ----------------------------------------------------------------------
//
// An operator tree of nums runs as a postfix program while running it cannot
// differ from the tree walk: no step budget is set (so the per-node checks
// count nothing) and the host stack has room for far more than the tree's
// depth (so none of them can fail). A name that does not hold a num, an
// index out of range or a division by 0 abandons the program before anything has changed, and the
// tree walk runs the tree instead, with its messages; the program is then
// dropped.
//
// A tree of literals and the operators that fold gets no program: the walk
// folds it into a literal on its first execution, and a literal behaves
// differently from an operator where nothing consumes it (a statement
// `2 * 3` passes once, then fails as a bare `6`). Inside a larger tree a
// subtree of literals is computed without folding: its parent never folds
// (some operand is not a literal), and the literal it would become gives the
// same number to that parent.

constexpr int kMaxProgramDepth = 16;
constexpr int kMaxProgramSteps = 64;

// True when `node` is a num literal, or an operator that folds over two
// trees of literals: the walk would turn it into one literal.
bool IsLiteralTree(const SyntaxNode* node, int depth) {
  if (node == nullptr || depth > kMaxProgramDepth) return false;
  if (node->m_nKind == NodeKind::NumT) return true;
  return node->m_nKind == NodeKind::OpT && FindBinaryRule(node->m_nOp) != nullptr &&
         IsLiteralTree(node->m_pChild2.get(), depth + 1) &&
         IsLiteralTree(node->m_pChild0.get(), depth + 1);
}

bool AppendSteps(SyntaxNode* node, int depth, NumStep* steps, std::int32_t& count) {
  if (node == nullptr || !node->m_bConsumed || node->m_pNext != nullptr) return false;
  if (depth > kMaxProgramDepth || count >= kMaxProgramSteps) return false;
  NumStep& step = steps[count];
  switch (node->m_nKind) {
    case NodeKind::NumT:
      step =
          NumStep{0, node->m_bNumKnown ? node->m_Cache.m_nValue : TextToNum(TextOf(node->m_szText)),
                  nullptr};
      break;
    case NodeKind::IdT: {
      if (!node->m_szText) return false;
      const Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
      if (var == nullptr || var->m_nType != ValueType::Num) return false;
      step = NumStep{1, 0, node};
      break;
    }
    case NodeKind::Id_ArrayT: {
      // An element of a num array: its index expressions, then the element.
      if (!node->m_szText || node->m_nType != ValueType::Num) return false;
      const Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
      if (var == nullptr || !var->m_pArray || var->m_pArray->m_Dims.empty()) return false;
      const auto dims = static_cast<std::int32_t>(var->m_pArray->m_Dims.size());
      SyntaxNode* item = node->m_pItems.get();
      for (std::int32_t d = 0; d < dims; ++d, item = item->m_pNext.get()) {
        if (item == nullptr || !AppendSteps(item->m_pChild2.get(), depth + 1, steps, count)) {
          return false;
        }
      }
      if (count >= kMaxProgramSteps) return false;
      steps[count] = NumStep{3, dims, node};
      break;
    }
    case NodeKind::OpT:
      if (FindBinaryRule(node->m_nOp) == nullptr ||
          !AppendSteps(node->m_pChild2.get(), depth + 1, steps, count) ||
          !AppendSteps(node->m_pChild0.get(), depth + 1, steps, count) ||
          count >= kMaxProgramSteps) {
        return false;
      }
      steps[count] = NumStep{2, node->m_nOp, nullptr};
      break;
    default:
      return false;
  }
  ++count;
  return true;
}

// The program of the tree under `node` (an operator that folds), built on
// first use; none when the tree has other kinds of nodes.
[[gnu::noinline]] const NumProgram* ProgramOf(SyntaxNode* node) {
  auto& cache = node->m_Cache.m_Num;
  if (cache.State() == 0) {
    cache.Set(nullptr);
    NumStep steps[kMaxProgramSteps];
    std::int32_t count = 0;
    SyntaxNode* left = node->m_pChild2.get();
    SyntaxNode* right = node->m_pChild0.get();
    if (!IsLiteralTree(node, 0) && AppendSteps(left, 1, steps, count) &&
        AppendSteps(right, 1, steps, count) && count < kMaxProgramSteps) {
      steps[count++] = NumStep{2, node->m_nOp, nullptr};
      auto* program = new (std::nothrow) NumProgram;
      if (program != nullptr) {
        program->m_pSteps.reset(new (std::nothrow) NumStep[static_cast<std::size_t>(count)]);
        if (program->m_pSteps) {
          std::copy(steps, steps + count, program->m_pSteps.get());
          program->m_nCount = count;
          cache.Set(program);
        } else {
          delete program;
        }
      }
    }
  }
  return cache.Get();
}

// Runs the program of `node` into `out`; false when there is none or it
// cannot give the tree walk's result.
[[gnu::noinline]] bool RunProgram(SyntaxNode* node, std::int32_t& out) {
  if (!FastPathsMayRun()) return false;
  const auto& cache = node->m_Cache.m_Num;
  const NumProgram* program = cache.State() == 1 ? cache.Get() : ProgramOf(node);
  if (program == nullptr) return false;
  const NumStep* steps = program->m_pSteps.get();
  // The most frequent shape, a name and a literal or two names around one
  // operator (`n - 1`, `i < n`), without the loop; any check that fails
  // leaves it to the loop, which gives up the same way.
  if (program->m_nCount == 3 && steps[0].m_nKind == 1 && steps[1].m_nKind <= 1 &&
      steps[2].m_nKind == 2) {
    SyntaxNode* left = steps[0].m_pName;
    const Variable* a = FindValueBound(*left->m_szText, left->m_Cache.m_Binding);
    const Variable* b = nullptr;
    if (steps[1].m_nKind == 1) {
      SyntaxNode* right = steps[1].m_pName;
      b = FindValueBound(*right->m_szText, right->m_Cache.m_Binding);
    }
    if (a != nullptr && a->m_nType == ValueType::Num &&
        (steps[1].m_nKind == 0 || (b != nullptr && b->m_nType == ValueType::Num))) {
      const std::int32_t r = b != nullptr ? b->m_nNum : steps[1].m_nValue;
      const int op = steps[2].m_nValue;
      if (r != 0 || (op != TK_SLASH && op != TK_PERCENT)) {
        out = NumOperator(op, a->m_nNum, r);
        return true;
      }
    }
  }
  std::int32_t stack[kMaxProgramSteps];
  int top = 0;
  const NumStep* step = steps;
  const NumStep* end = step + program->m_nCount;
  for (; step != end; ++step) {
    if (step->m_nKind == 0) {
      stack[top++] = step->m_nValue;
    } else if (step->m_nKind == 1) {
      SyntaxNode* name = step->m_pName;
      const Variable* var = FindValueBound(*name->m_szText, name->m_Cache.m_Binding);
      if (var == nullptr || var->m_nType != ValueType::Num) break;
      stack[top++] = var->m_nNum;
    } else if (step->m_nKind == 3) {
      // The element LocateStorage finds, when all its checks pass.
      SyntaxNode* name = step->m_pName;
      const Variable* var = FindValueBound(*name->m_szText, name->m_Cache.m_Binding);
      if (var == nullptr || !var->m_pArray) break;
      const ArrayStore& store = *var->m_pArray;
      const std::int32_t dims = step->m_nValue;
      if (static_cast<std::int32_t>(store.m_Dims.size()) != dims) break;
      top -= dims;
      std::int64_t position = 0;
      std::int64_t stride = 1;
      std::int32_t d = 0;
      for (; d < dims; ++d) {
        const std::int32_t index = stack[top + d];
        if (index < 0 || index >= store.m_Dims[static_cast<std::size_t>(d)]) break;
        position += index * stride;
        stride *= store.m_Dims[static_cast<std::size_t>(d)];
      }
      if (d != dims || static_cast<std::size_t>(position) >= store.m_Nums.size()) break;
      stack[top++] = store.m_Nums[static_cast<std::size_t>(position)];
    } else {
      const std::int32_t b = stack[--top];
      std::int32_t& a = stack[top - 1];
      const int op = step->m_nValue;
      if ((op == TK_SLASH || op == TK_PERCENT) && b == 0) break;
      std::int32_t result = 0;
      static_cast<void>(NumBinary(op, a, b, result));
      a = result;
    }
  }
  if (step != end) {
    DropNumProgram(*node);
    return false;
  }
  out = stack[0];
  return true;
}

}  // namespace

bool IsTextComparison(int op) {
  switch (op) {
    case TK_LT:
    case TK_GT:
    case TK_LE:
    case TK_GE:
    case TK_EQ:
    case TK_NE:
      return true;
    default:
      return false;
  }
}

namespace {

[[gnu::noinline]] void FoldNum(SyntaxNode* node, std::int32_t result) {
  Value folded;
  SetNum(folded, result);
  Fold(node, folded);
}

// An operator whose rule folds, on num operands without Value records.
// BinaryInt once an operand is not a num: ApplyBinary and Fold on Value
// records. `l` holds the left operand's value; the right one is run here
// when `right` is given, else `r` holds it. The result goes to `l`; 1 for a
// num (in `out`), 2 for another type, 0 on failure.
[[gnu::noinline]] int MixedBinary(SyntaxNode* node, const BinaryRule& rule, Value& l,
                                  SyntaxNode* right, Value& r, std::int32_t& out) {
  std::int32_t b = 0;
  const std::optional<std::string>* text = nullptr;
  if (right != nullptr && l.m_nType == ValueType::String &&
      (IsTextComparison(rule.op) ||
       (rule.op == TK_PLUS &&
        (right->m_nKind == NodeKind::StringT || right->m_nKind == NodeKind::IdT ||
         right->m_nKind == NodeKind::Id_ArrayT)))) {
    const int read = TextInPlace(right, text);
    if (read == 0) return FailWith("Error in OpT()");
  }
  if (text != nullptr && rule.op == TK_PLUS) {
    // The right operand's text appended where it lies: L is a temporary of
    // its own, and nothing runs between reading the text and appending it.
    const std::size_t length =
        (l.m_szValue ? l.m_szValue->size() : 0) + (*text ? (*text)->size() : 0);
    if (!TextFits(length)) return FailWith("Error in OpT()");
    if (!l.m_szValue) l.m_szValue.emplace();
    if (*text) l.m_szValue->append(**text);
    l.m_nSize = static_cast<std::int32_t>(length + 1);
  } else if (text != nullptr) {
    // The right operand's text compared where it lies: nothing runs between
    // reading it and comparing.
    const std::int32_t truth = CompareTexts(rule.op, l.m_szValue, *text);
    l.m_szValue.reset();
    SetNum(l, truth);
  } else if (right != nullptr) {
    const int rightKind = OperandInt(right, b, r);
    if (rightKind == 0) return FailWith("Error in OpT()");
    if (rightKind == 1) SetNum(r, b);
  }
  if (text == nullptr && !ApplyBinary(rule, l, r)) return FailWith("Error in OpT()");
  Fold(node, l);
  if (l.m_nType == ValueType::Num) {
    out = l.m_nNum;
    l.m_nType = ValueType::None;
    l.m_nSize = 0;
    l.m_nNum = 0;
    return 1;
  }
  return 2;
}

// The right operand was not a num (its value in `other`) after the num `a`.
[[gnu::noinline]] int MixedRight(SyntaxNode* node, const BinaryRule& rule, std::int32_t a,
                                 Value& other, std::int32_t& out) {
  Value l;
  SetNum(l, a);
  const int kind = MixedBinary(node, rule, l, nullptr, other, out);
  // `other` takes the result, or is left blank for a num result.
  other = std::move(l);
  return kind;
}

[[gnu::noinline]] int MixedLeft(SyntaxNode* node, const BinaryRule& rule, Value& other,
                                SyntaxNode* right, std::int32_t& out) {
  Value r;
  return MixedBinary(node, rule, other, right, r, out);
}

// An operator whose rule folds: 1 with a num result in `out`, 2 with a value
// of another type in `other` (blank on entry), 0 on failure. Operands that
// are nums take no Value records.
int BinaryInt(SyntaxNode* node, const BinaryRule& rule, std::int32_t& out, Value& other) {
  SyntaxNode* left = node->m_pChild2.get();
  SyntaxNode* right = node->m_pChild0.get();
  if (left == nullptr || right == nullptr) {
    ReportError("Cannot get operand l_value or r_value");
    return FailWith("Error in OpT()");
  }
  std::int32_t a = 0;
  std::int32_t b = 0;
  const int leftKind = OperandInt(left, a, other);
  if (leftKind == 0) return FailWith("Error in OpT()");
  if (leftKind == 2) return MixedLeft(node, rule, other, right, out);
  // `other` is blank again: the right operand may leave its value there.
  const int rightKind = OperandInt(right, b, other);
  if (rightKind == 0) return FailWith("Error in OpT()");
  if (rightKind == 2) return MixedRight(node, rule, a, other, out);
  // ApplyBinary and Fold on two nums.
  std::int32_t result = 0;
  if (!NumBinary(rule.op, a, b, result)) return FailWith("Error in OpT()");
  if (left->m_nKind == NodeKind::NumT && right->m_nKind == NodeKind::NumT) FoldNum(node, result);
  out = result;
  return 1;
}

}  // namespace

namespace {

// The text a string literal or a string name gives as an operand of a
// concatenation, where it lies: TextInPlace's reading without its checks,
// which cannot fail where the fast paths may run; false for any other
// operand.
bool ChainText(SyntaxNode* node, const std::optional<std::string>*& text) {
  if (!node->m_bConsumed || node->m_pNext != nullptr) return false;
  if (node->m_nKind == NodeKind::StringT) {
    text = &LiteralText(node->m_szText);
    return true;
  }
  if (node->m_nKind != NodeKind::IdT || !node->m_szText) return false;
  const Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
  if (var == nullptr || var->m_nType != ValueType::String) return false;
  text = &VariableText(*var);
  return true;
}

// A chain of string + (`root + "\" + leaf`) whose operands are all string
// literals and string names, none of its operators over two literals (that
// one folds): the texts appended once into one buffer, the value the walk
// gives (a text with storage, size = length + 1). Taken only where the
// walk's per-node checks cannot fail and count nothing (FastPathsMayRun) and
// after the walk has run the tree once (its num program given up); a name
// that does not hold a string, or a result above the bound, leaves the tree
// to the walk with its messages. Reading the operands changes nothing but
// the names' bindings, so giving up after reading is harmless.
[[gnu::noinline]] bool ConcatChain(SyntaxNode* node, Value& l) {
  if (!FastPathsMayRun()) return false;
  const std::optional<std::string>* texts[kMaxChainTexts];
  int count = 0;
  SyntaxNode* op = node;
  for (;;) {
    SyntaxNode* left = op->m_pChild2.get();
    SyntaxNode* right = op->m_pChild0.get();
    if (left == nullptr || right == nullptr || op->m_pChild1 != nullptr ||
        count > kMaxChainTexts - 2 || !ChainText(right, texts[count++])) {
      return false;
    }
    if (left->m_nKind == NodeKind::OpT) {
      if (left->m_nOp != TK_PLUS || !left->m_bConsumed || left->m_pNext != nullptr) return false;
      op = left;
      continue;
    }
    if (left->m_nKind == NodeKind::StringT && right->m_nKind == NodeKind::StringT) return false;
    if (!ChainText(left, texts[count++])) return false;
    break;
  }
  std::size_t length = 0;
  for (int i = 0; i < count; ++i) length += *texts[i] ? (*texts[i])->size() : 0;
  if (length > kMaxTextLength) return false;
  l.m_nType = ValueType::String;
  std::string& text = l.m_szValue.emplace();
  text.reserve(length);
  // The leftmost operand was read last.
  for (int i = count - 1; i >= 0; --i) {
    if (*texts[i]) text.append(**texts[i]);
  }
  l.m_nSize = static_cast<std::int32_t>(length + 1);
  return true;
}

}  // namespace

int EvalInt(SyntaxNode* node, std::int32_t& out, Value& other) {
  if (node != nullptr && node->m_bConsumed && node->m_pNext == nullptr &&
      node->m_nKind == NodeKind::OpT) {
    if (const BinaryRule* rule = FindBinaryRule(node->m_nOp)) {
      if (node->m_Cache.m_Num.State() != 2 && RunProgram(node, out)) return 1;
      int kind = 0;
      if (!MayRun() || (kind = BinaryInt(node, *rule, out, other)) == 0) return EvalFailed();
      return kind;
    }
  }
  if (!Eval(node, other)) return 0;
  if (other.m_nType == ValueType::Num) {
    out = other.m_nNum;
    other.m_nType = ValueType::None;
    other.m_nSize = 0;
    other.m_nNum = 0;
    return 1;
  }
  return 2;
}

static int CompoundValue(SyntaxNode* node, Value& l);

int OpValue(SyntaxNode* node, Value& l) {
  if (const BinaryRule* rule = FindBinaryRule(node->m_nOp)) {
    if (rule->op == TK_PLUS && node->m_Cache.m_Num.State() == 2 && ConcatChain(node, l)) {
      return 1;
    }
    std::int32_t number = 0;
    if (node->m_Cache.m_Num.State() != 2 && RunProgram(node, number)) {
      SetNum(l, number);
      return 1;
    }
    const int kind = BinaryInt(node, *rule, number, l);
    if (kind == 1) SetNum(l, number);
    return kind != 0 ? 1 : 0;
  }
  return CompoundValue(node, l);
}

// A compound assignment; apart from OpValue so that the operators' frames on
// the host stack stay small.
[[gnu::noinline]] static int CompoundValue(SyntaxNode* node, Value& l) {
  SyntaxNode* left = node->m_pChild2.get();
  SyntaxNode* right = node->m_pChild0.get();
  if (left == nullptr || right == nullptr) {
    ReportError("Cannot get operand l_value or r_value");
    return FailWith("Error in OpT()");
  }
  // A compound assignment.
  Value r;
  std::int32_t a = 0;
  std::int32_t b = 0;
  const int leftKind = EvalInt(left, a, l);
  if (leftKind == 0) return FailWith("Error in OpT()");
  const int rightKind = EvalInt(right, b, r);
  if (rightKind == 0) return FailWith("Error in OpT()");
  if (leftKind == 1 && rightKind == 1) {
    // ApplyCompound on two nums.
    const int op = node->m_nOp;
    switch (op) {
      case TK_PLUS_ASSIGN:
      case TK_MINUS_ASSIGN:
      case TK_STAR_ASSIGN:
        break;
      case TK_SLASH_ASSIGN:
      case TK_PERCENT_ASSIGN:
        if (b == 0) {
          ReportError("potential divide by 0.");
          return FailWith("Error in OpT()");
        }
        break;
      default:
        return FailWith("Error in OpT()");
    }
    std::int32_t* cell = nullptr;
    if (!NumCell(left, cell)) return FailWith("Error in OpT()");
    UpdateCell(op, *cell, b);
    SetNum(l, *cell);
    return 1;
  }
  if (leftKind == 1) SetNum(l, a);
  if (rightKind == 1) SetNum(r, b);
  if (!ApplyCompound(node, l, r)) return FailWith("Error in OpT()");
  return 1;
}

int OpT(SyntaxNode* node) {
  Value value;
  if (!OpValue(node, value)) return 0;
  return Deliver(node, value);
}

// `=`: the consumer of an assignment, whatever it is, receives the assigned
// value, so chained assignments, arguments and conditions see that value.
int AssignValue(SyntaxNode* node, Value& r) {
  SyntaxNode* left = node->m_pChild2.get();
  SyntaxNode* right = node->m_pChild0.get();
  if (left == nullptr || right == nullptr) return FailWith("Error in AssignT()");
  Value l;
  std::int32_t a = 0;
  std::int32_t b = 0;
  // The target's value only gives its type: a string name is read without
  // copying its text (the checks and step of Eval and IdValue all the same).
  int leftKind = 0;
  const Variable* target = nullptr;
  if (left->m_nKind == NodeKind::IdT && left->m_bConsumed && left->m_pNext == nullptr &&
      left->m_szText) {
    target = FindValueBound(*left->m_szText, left->m_Cache.m_Binding);
  }
  if (target != nullptr && target->m_nType == ValueType::String) {
    if (!MayRun()) {
      EvalFailed();
      return FailWith("Error in AssignT()");
    }
    l.m_nType = ValueType::String;
    leftKind = 2;
  } else {
    leftKind = EvalInt(left, a, l);
  }
  if (leftKind == 0) return FailWith("Error in AssignT()");
  const int rightKind = EvalInt(right, b, r);
  if (rightKind == 0) return FailWith("Error in AssignT()");
  if (leftKind == 1 && rightKind == 1) {
    std::int32_t* cell = nullptr;
    if (!NumCell(left, cell)) return FailWith("Error in AssignT()");
    *cell = b;
    SetNum(r, b);
    return 1;
  }
  if (leftKind == 1) SetNum(l, a);
  if (rightKind == 1) SetNum(r, b);
  if (r.m_nType != l.m_nType) {
    ReportError("'=' operand cannot match.");
    return FailWith("Error in AssignT()");
  }
  StorageSlot slot;
  if (!LocateStorage(left, r.m_nType, slot)) {
    return FailWith("Error in AssignT()");
  }
  if (r.m_nType == ValueType::Num) {
    *slot.m_pNum = r.m_nNum;
  } else {
    Variable* var = slot.m_pVariable;
    if (!node->m_bConsumed) {
      // Without a consumer R is released right after, so its text moves.
      MoveText(*var, *slot.m_pText, r.m_szValue, r.m_nSize);
    } else if (r.m_szValue) {
      *slot.m_pText = *r.m_szValue;
      var->m_nSize = r.m_nSize;
    } else {
      slot.m_pText->reset();
      var->m_nSize = 0;
    }
  }
  return 1;
}

void MoveText(Variable& var, std::optional<std::string>& target, std::optional<std::string>& text,
              std::int32_t size) {
  var.m_nSize = 0;
  if (text) {
    // The variable's old buffer serves later copies (CopyText).
    KeepSpareText(target);
    target = std::move(text);
    var.m_nSize = size;
  } else {
    target.reset();
  }
}

void InitializeText(Variable& var, std::optional<std::string>& text, std::int32_t size) {
  var.m_szValue.reset();
  var.m_nSize = 0;
  if (size != 0 && text) {
    var.m_nSize = static_cast<std::int32_t>(text->size() + 1);
    var.m_szValue = std::move(text);
  }
}

int AssignT(SyntaxNode* node) {
  Value r;
  if (!AssignValue(node, r)) return 0;
  return Deliver(node, r);
}

// The declared variable of an AssignInitializingT node (which holds its
// name), read as a name operand is read: the same check and step first, the
// same report when it is missing. None on failure.
Variable* DeclaredTarget(SyntaxNode* node) {
  if (!MayRun()) {
    EvalFailed();
    return nullptr;
  }
  Variable* var =
      node->m_szText ? FindValueBound(*node->m_szText, node->m_Cache.m_Binding) : nullptr;
  if (var == nullptr) {
    ReportError("'%s' undefined.", TextOf(node->m_szText));
  } else if (var->m_nType != ValueType::String && var->m_nType != ValueType::Num) {
    var = nullptr;
  }
  if (var == nullptr) {
    FailWith("Error in IdT()");
    EvalFailed();
  }
  return var;
}

// A declaration's initializer; never leaves a value.
int AssignInitializingT(SyntaxNode* node) {
  SyntaxNode* init = node->m_pChild0.get();
  if (init == nullptr) return FailWith("Error in  AssignInitializingT()");
  Variable* var = DeclaredTarget(node);
  Variable s;
  if (var == nullptr || !Eval(init, s)) return FailWith("Error in  AssignInitializingT()");
  if (s.m_nType != var->m_nType) {
    ReportError("'=' operand can not match.");
    return FailWith("Error in  AssignInitializingT()");
  }

  if (var->m_nType == ValueType::Num && !var->m_pArray) {
    var->m_nNum = s.m_nNum;
    return 1;
  }
  if (var->m_nType == ValueType::String && !var->m_pArray) {
    InitializeText(*var, s.m_szValue, s.m_nSize);
    return 1;
  }
  if (var->m_nType != ValueType::Num && var->m_nType != ValueType::String) {
    return FailWith("Error in  AssignInitializingT()");
  }

  // An array takes the initializer's elements position by position.
  if (!s.m_pArray) {
    ReportError(var->m_nType == ValueType::Num
                    ? "'initializing' : cannot convert from 'num' to 'num array'."
                    : "'initializing' : cannot convert from 'string' to 'string array'.");
    return FailWith("Error in  AssignInitializingT()");
  }
  const ArrayStore& from = *s.m_pArray;
  ArrayStore& to = *var->m_pArray;
  if (from.ElementCount() == 0) return FailWith("Error in  AssignInitializingT()");
  if (var->m_nType == ValueType::Num) {
    const std::size_t count = std::min(from.m_Nums.size(), to.m_Nums.size());
    for (std::size_t i = 0; i < count; ++i) to.m_Nums[i] = from.m_Nums[i];
  } else {
    const std::size_t count = std::min(from.m_Strings.size(), to.m_Strings.size());
    for (std::size_t i = 0; i < count; ++i) {
      if (from.m_Strings[i]) {
        to.m_Strings[i] = from.m_Strings[i];
        var->m_nSize = static_cast<std::int32_t>(from.m_Strings[i]->size() + 1);
      }
    }
  }
  return 1;
}

// ---- Names and elements ----------------------------------------------------------------

// Fills `value` as a fresh string value holding a copy of `text` (size =
// length + 1), or no text.
void SetText(Value& value, const std::optional<std::string>& text) {
  value.m_nType = ValueType::String;
  value.m_nSize = 0;
  if (text) {
    value.m_szValue = *text;
    value.m_nSize = static_cast<std::int32_t>(text->size() + 1);
  }
}

int IdValue(SyntaxNode* node, Value& value) {
  Variable* var =
      node->m_szText ? FindValueBound(*node->m_szText, node->m_Cache.m_Binding) : nullptr;
  if (var == nullptr) {
    ReportError("'%s' undefined.", TextOf(node->m_szText));
    return FailWith("Error in IdT()");
  }
  if (var->m_nType == ValueType::String) {
    value.m_nType = ValueType::String;
    if (var->m_nSize > 0 && var->m_szValue) {
      CopyText(value.m_szValue, *var->m_szValue);
      value.m_nSize = var->m_nSize;
    }
  } else if (var->m_nType == ValueType::Num) {
    SetNum(value, var->m_nNum);
  } else {
    return FailWith("Error in IdT()");
  }
  if (!node->m_bConsumed) {
    ReportError("id:%s must be sub course", TextOf(node->m_szText));
    return FailWith("Error in IdT()");
  }
  return 1;
}

int IdT(SyntaxNode* node) {
  Value value;
  if (!IdValue(node, value)) return 0;
  PushTaken(value);
  return 1;
}

int Id_ArrayValue(SyntaxNode* node, Value& value) {
  if (node->m_nType != ValueType::Num && node->m_nType != ValueType::String) {
    return FailWith("Error in Id_ArrayT()");
  }
  StorageSlot slot;
  if (!LocateStorage(node, node->m_nType, slot)) {
    return FailWith("Error in Id_ArrayT()");
  }
  if (node->m_nType == ValueType::Num) {
    SetNum(value, *slot.m_pNum);
  } else {
    SetText(value, *slot.m_pText);
  }
  if (!node->m_bConsumed) {
    ReportError("id array:%s must be sub course", TextOf(node->m_szText));
    return FailWith("Error in Id_ArrayT()");
  }
  return 1;
}

int Id_ArrayT(SyntaxNode* node) {
  Value value;
  if (!Id_ArrayValue(node, value)) return 0;
  PushTaken(value);
  return 1;
}

// ---- Literals and constants ------------------------------------------------------------

// The literal's text is converted on the node's first execution only.
int NumValue(SyntaxNode* node, Value& value) {
  if (!node->m_bNumKnown) {
    node->m_Cache.m_nValue = TextToNum(TextOf(node->m_szText));
    node->m_bNumKnown = true;
  }
  const std::int32_t number = node->m_Cache.m_nValue;
  if (!node->m_bConsumed) {
    ReportError("num:%d must be sub course", number);
    return FailWith("Error in NumT()");
  }
  SetNum(value, number);
  return 1;
}

int NumT(SyntaxNode* node) {
  Value value;
  if (!NumValue(node, value)) return 0;
  PushTaken(value);
  return 1;
}

int StringValue(SyntaxNode* node, Value& value) {
  const bool hasText = node->m_szText && !node->m_szText->empty();
  if (!node->m_bConsumed) {
    ReportError("string:%s must be sub course", hasText ? node->m_szText->c_str() : "");
  }
  SetText(value, hasText ? node->m_szText : std::nullopt);
  return 1;
}

// A string literal always leaves its value, even as a statement of its own.
int StringT(SyntaxNode* node) {
  Value value;
  static_cast<void>(StringValue(node, value));
  PushTaken(value);
  return 1;
}

int ConstValue(SyntaxNode* node, Value& value) {
  if (node->m_nConstType == ValueType::String) {
    SetText(value, node->m_szText);
  } else if (node->m_nConstType == ValueType::Num) {
    SetNum(value, node->m_Cache.m_nValue);
  } else {
    return FailWith("Error in ConstT()");
  }
  if (!node->m_bConsumed) {
    ReportError("const must be sub course");
    return FailWith("Error in ConstT()");
  }
  return 1;
}

int ConstT(SyntaxNode* node) {
  Value value;
  if (!ConstValue(node, value)) return 0;
  PushTaken(value);
  return 1;
}

// The element values stay with the node; the value only borrows them for its
// consumer, the initializer, and lets go of them when it is released.
int ArrayContentT(SyntaxNode* node) {
  VariablePtr value = node->m_nElemType == ValueType::Num ? NewNumValue() : NewStringValue(0);
  if (node->m_nElemType != ValueType::Num && node->m_nElemType != ValueType::String) {
    value->m_nType = node->m_nElemType;
  }
  if (node->Array() != nullptr) {
    value->m_pArray = BorrowArray(node->Array());
  }
  PushValue(std::move(value));
  return 1;
}

}  // namespace setup
