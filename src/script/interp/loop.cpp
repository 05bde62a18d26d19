// The loop machine: a while statement, or the body of a function, runs as a
// flat instruction list instead of the tree walk when that cannot change what
// the script sees.
//
// The loop's condition and the statements that compute on nums (assignments
// and compound assignments to num variables and num array elements, if,
// while, switch on a num or a string variable, break, continue, return of a
// num) and string assignments between scalars, literals and elements become
// instructions; every other statement stays a tree that the machine hands to
// the tree walk (GenerateOne), so declarations and the rest behave exactly as
// before. A call with a num result inside such a statement, and an operator
// with a num result over strings (a comparison), is evaluated by the tree
// walk as an operand (EvalInt). Names are looked up
// once when the code starts: no statement can add a variable or move the
// innermost frame (calls return to it).
//
// The machine runs only where the walk's per-node checks cannot fail and
// count nothing: no step budget is set and the host stack has room to spare.
// A statement evaluates all its operands before it stores anything, so when
// one of its checks fails (a division by 0, an index out of range, a name
// that no longer holds a num) nothing has changed yet: the machine hands that
// statement to the tree walk, which runs it again from the start and reports
// what it reports. Once a statement has called something, running it again
// would repeat the call, so after a call operand a statement may only use
// instructions whose checks cannot fail (no element, no division but by a
// literal other than 0); a call that fails fails the statement as the walk
// would. Flags that a statement raises (break, continue, return) travel up
// the enclosing constructs exactly as the walk's returns carry them, and a
// failure writes the trace lines that the walk's evaluators on the way up
// would have written.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <new>
#include <vector>

#include "base/global.h"
#include "builtins/table.h"
#include "diag/report.h"
#include "script/front/lexer.h"
#include "script/interp/eval.h"
#include "script/interp/observe.h"
#include "script/store/node.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

enum LoopOp : std::uint8_t {
  kLiteral,  // push m_nValue
  kName,     // push the num of name slot m_nName
  kElement,  // pop m_nSub indexes (the first lowest), push the element
  kAdd,      // pop b and a, push a op b
  kSub,
  kMul,
  kDiv,
  kMod,
  kLess,
  kGreater,
  kOther,  // another operator that folds (m_nValue: its token)
  // The operators above with a literal right operand in m_nValue (the
  // literal's instruction fused into them): a op m_nValue.
  kAddK,
  kSubK,
  kMulK,
  kDivK,  // the literal is not 0
  kModK,
  kLessK,
  kGreaterK,
  kOtherK,         // m_nSub: the operator's token
  kStore,          // pop into the num variable of slot m_nName
  kStoreK,         // store m_nValue into the num variable of slot m_nName
  kStoreElement,   // pop the value, then m_nSub indexes; store into the element
  kUpdate,         // pop r; compound assignment m_nValue on the variable
  kUpdateK,        // compound assignment m_nSub on the variable, with r = m_nValue
  kUpdateElement,  // pop r, then the indexes; compound assignment on the element
  kJumpIfZero,     // pop; jump to m_nValue when 0
  kLoopTest,       // kJumpIfZero for a while's condition: one loop pass
  kJump,           // jump to m_nValue
  kBreak,          // leave a num 1 and raise the break flag
  kContinue,       // leave a num 1 and raise the continue flag
  kSwitch,         // pop the selector; jump to the section of switch m_nValue
  kSwitchText,     // the same with the text of the string variable of slot m_nName
  // `name = text` into the string scalar of slot m_nName, the text from:
  kStoreText,         // the string literal m_Walked[m_nValue]
  kStoreTextName,     // the string scalar of slot m_nValue
  kStoreTextElement,  // the element of the string array of slot m_nValue (m_nSub indexes)
  kStoreJoin,         // a string function's result, joined with texts (join m_nValue);
                      // m_nSub 1 for a declaration's initializer
  kStoreChain,        // the texts of join m_nValue joined; m_nSub as for kStoreJoin
  kWalk,              // hand the statement to the tree walk
  kWalkOperand,       // push the num of call m_nValue, evaluated by the tree walk
  kBuiltin,           // pop the operands of built-in m_nValue (num result), call it, push its num
  kCompareText,       // pop the operands of string comparison m_nValue, push its truth
  kCall,              // pop the arguments of call m_nValue, make the call, push its num
  kReturn,            // pop the result of a num function and raise the return flag
  kReturnText,        // the same for a string function: the text of join m_nValue
  kEnd,               // the loop's condition failed, or the body ended: done
};

constexpr std::size_t kMaxNames = 64;          // name slots of one code
constexpr std::int32_t kMaxOperandSteps = 64;  // instructions of one operand tree
constexpr int kMaxOperandDepth = 16;
constexpr int kMaxNesting = 16;  // constructs inside one another
constexpr std::size_t kMaxCode = 16384;
constexpr std::size_t kMaxTextParams = 16;  // parameters of a direct call with string arguments

// The kinds of LoopText.
enum TextKind : std::uint8_t { kTextNum, kTextLiteral, kTextName, kTextElement, kTextBuiltin };

bool IsCompound(int op) {
  return op >= TK_PLUS_ASSIGN && op <= TK_PERCENT_ASSIGN;
}

// A body is direct, and runs in a frame of cells (CallDirect), when it is a
// direct body itself (m_bDirectBody) and every function it calls has a
// direct body too, and so on: a direct body never needs the walk. Bodies are
// compiled when they first run, so the answer waits until every function
// reachable has run once; a yes or a no, once given, holds for the run.
enum DirectState : std::uint8_t { kUndecided, kDirect, kNotDirect, kDeciding };
enum class Reach { kYes, kNo, kNotYet };
constexpr std::size_t kMaxDeciding = 64;  // bodies one decision visits

Reach Visit(const FunctionEntry* function, std::vector<LoopCode*>& visited) {
  const SyntaxNode* definition = function->m_pDefinition.get();
  if (definition == nullptr || definition->m_Cache.m_Loop.State() == 2) return Reach::kNo;
  LoopCode* code = definition->m_Cache.m_Loop.Get();
  if (code == nullptr) return Reach::kNotYet;
  switch (code->m_nDirect) {
    case kDirect:
    case kDeciding:  // a cycle: direct if everything else on it is
      return Reach::kYes;
    case kNotDirect:
      return Reach::kNo;
    default:
      break;
  }
  if (!code->m_bDirectBody) {
    code->m_nDirect = kNotDirect;
    return Reach::kNo;
  }
  if (visited.size() >= kMaxDeciding) return Reach::kNotYet;
  code->m_nDirect = kDeciding;
  visited.push_back(code);
  for (const FunctionEntry* callee : code->m_Callees) {
    const Reach reach = Visit(callee, visited);
    if (reach != Reach::kYes) return reach;
  }
  return Reach::kYes;
}

// The compiled body of `function` when it is direct; none otherwise.
const LoopCode* DirectBody(const FunctionEntry* function) {
  const SyntaxNode* definition = function->m_pDefinition.get();
  LoopCode* code = definition != nullptr ? definition->m_Cache.m_Loop.Get() : nullptr;
  if (code == nullptr) return nullptr;
  if (code->m_nDirect == kUndecided) {
    std::vector<LoopCode*> visited;
    const Reach reach = Visit(function, visited);
    // A yes covers every body visited: each of them only calls bodies that
    // were visited or are direct already. A no is final for the first body
    // (it reaches a body that is never direct); the others are asked again.
    for (LoopCode* each : visited) each->m_nDirect = reach == Reach::kYes ? kDirect : kUndecided;
    if (reach == Reach::kNo) code->m_nDirect = kNotDirect;
  }
  return code->m_nDirect == kDirect ? code : nullptr;
}

// Builds the code of one loop. Statements the machine cannot run become
// kWalk units; only the loop's own condition must compile.
class LoopCompiler {
 public:
  // `function`: the function whose frame is innermost (none at top level).
  LoopCompiler(LoopCode& code, const FunctionEntry* function)
      : m_Code(code), m_pFunction(function) {}

  // A function body: its statements, directly in no construct.
  bool CompileBody(SyntaxNode* body) {
    m_Code.m_Units.push_back(LoopUnit{body, nullptr, 0, -1});  // unit 0: never current
    Chain(body, -1, nullptr);
    Emit(kEnd, 0, 0, 0);
    return !m_bTooLarge;
  }

  bool CompileLoop(SyntaxNode* loop) {
    m_Code.m_Units.push_back(LoopUnit{loop, nullptr, 0, -1});
    std::int32_t steps = 0;
    if (!Operand(loop->m_pChild2.get(), 1, steps)) return false;
    const std::size_t exitJump = Emit(kLoopTest, 0, 0, 0);
    const auto context = NewContext(loop, 0, -1, 0);
    Chain(loop->m_pChild1.get(), context, nullptr);
    Emit(kJump, 0, 0, 0);
    Patch(exitJump);
    m_Code.m_Contexts[static_cast<std::size_t>(context)].m_nExit = Here();
    Emit(kEnd, 0, 0, 0);
    m_Code.m_Units[0].m_nResume = Here();
    return !m_bTooLarge;
  }

  // Every statement is on the machine and no instruction can fail a check
  // that would hand its statement to the walk (elements, divisions but by a
  // literal other than 0).
  bool Closed() const { return m_bClosed; }

 private:
  std::int32_t Here() const { return static_cast<std::int32_t>(m_Code.m_Code.size()); }

  // Where the compiler stands, to go back to when a tree does not compile.
  struct Mark {
    std::size_t m_nCode, m_nNames, m_nWalked, m_nCalls, m_nBuiltins, m_nArgs, m_nCompares, m_nJoins;
    std::int32_t m_nSteps;
    bool m_bCalled, m_bClosed, m_bTextElement, m_bDeferred;
  };
  Mark Save(std::int32_t steps) const {
    return Mark{m_Code.m_Code.size(),
                m_Code.m_Names.size(),
                m_Code.m_Walked.size(),
                m_Code.m_Calls.size(),
                m_Code.m_Builtins.size(),
                m_Code.m_Args.size(),
                m_Code.m_Compares.size(),
                m_Code.m_Joins.size(),
                steps,
                m_bCalled,
                m_bClosed,
                m_bTextElement,
                m_bDeferred};
  }
  void Restore(const Mark& mark, std::int32_t& steps) {
    Truncate(mark.m_nCode);
    m_Code.m_Names.resize(mark.m_nNames);
    m_Code.m_Walked.resize(mark.m_nWalked);
    m_Code.m_Calls.resize(mark.m_nCalls);
    m_Code.m_Builtins.resize(mark.m_nBuiltins);
    m_Code.m_Args.resize(mark.m_nArgs);
    m_Code.m_Compares.resize(mark.m_nCompares);
    m_Code.m_Joins.resize(mark.m_nJoins);
    steps = mark.m_nSteps;
    m_bCalled = mark.m_bCalled;
    m_bClosed = mark.m_bClosed;
    m_bTextElement = mark.m_bTextElement;
    m_bDeferred = mark.m_bDeferred;
  }

  // Appends an instruction of the statement being compiled. An operator, a
  // store or a compound assignment whose (right) operand is a literal just
  // emitted takes the literal into itself instead: the literal's place stays
  // the same, so a jump to it reaches the fused instruction.
  std::size_t Emit(LoopOp op, int sub, int name, std::int32_t value) {
    if (!m_Code.m_Code.empty() && m_Code.m_Code.back().m_nOp == kLiteral &&
        m_Code.m_UnitOf.back() == m_nUnit) {
      LoopInstr& last = m_Code.m_Code.back();
      const std::int32_t literal = last.m_nValue;
      const LoopOp fused = Fused(op, literal);
      if (fused != op) {
        const int op2 = (op == kOther || op == kUpdate) ? value : 0;
        if (op2 >= 0 && op2 <= 255) {
          last = LoopInstr{static_cast<std::uint8_t>(fused), static_cast<std::uint8_t>(op2),
                           static_cast<std::int16_t>(name), literal};
          return m_Code.m_Code.size() - 1;
        }
      }
    }
    if (m_Code.m_Code.size() >= kMaxCode) m_bTooLarge = true;
    m_Code.m_Code.push_back(LoopInstr{static_cast<std::uint8_t>(op), static_cast<std::uint8_t>(sub),
                                      static_cast<std::int16_t>(name), value});
    m_Code.m_UnitOf.push_back(m_nUnit);
    return m_Code.m_Code.size() - 1;
  }

  // The instruction that takes a literal operand into `op`; `op` itself when
  // there is none (a division by 0 must stay one that fails).
  static LoopOp Fused(LoopOp op, std::int32_t literal) {
    switch (op) {
      case kAdd:
        return kAddK;
      case kSub:
        return kSubK;
      case kMul:
        return kMulK;
      case kDiv:
        return literal != 0 ? kDivK : op;
      case kMod:
        return literal != 0 ? kModK : op;
      case kLess:
        return kLessK;
      case kGreater:
        return kGreaterK;
      case kOther:
        return kOtherK;
      case kStore:
        return kStoreK;
      case kUpdate:
        return literal != 0 ? kUpdateK : op;
      default:
        return op;
    }
  }

  void Truncate(std::size_t size) {
    m_Code.m_Code.resize(size);
    m_Code.m_UnitOf.resize(size);
  }
  void Patch(std::size_t jump) { m_Code.m_Code[jump].m_nValue = Here(); }

  std::int32_t NewContext(SyntaxNode* node, std::int32_t unit, std::int32_t parent,
                          std::int32_t top) {
    m_Code.m_Contexts.push_back(LoopContext{node, unit, parent, top, 0});
    return static_cast<std::int32_t>(m_Code.m_Contexts.size() - 1);
  }

  // The name slot of an IdT or Id_ArrayT node; -1 when the slots are full.
  // Nodes of one name share a slot: in one frame the lookup of a name finds
  // the same variable from every node (pooled texts: same entry, same name).
  int NameSlot(SyntaxNode* node) {
    for (std::size_t i = 0; i < m_Code.m_Names.size(); ++i) {
      if (m_Code.m_Names[i]->m_szText.Entry() == node->m_szText.Entry()) {
        return static_cast<int>(i);
      }
    }
    if (m_Code.m_Names.size() >= kMaxNames) return -1;
    m_Code.m_Names.push_back(node);
    return static_cast<int>(m_Code.m_Names.size() - 1);
  }

  // The variable a name node finds now, when it is a num (scalar or array as
  // asked); none otherwise.
  static Variable* NumVariable(SyntaxNode* node, bool array) {
    if (!node->m_szText) return nullptr;
    Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
    if (var == nullptr || var->m_nType != ValueType::Num) return nullptr;
    if (array != (var->m_pArray != nullptr)) return nullptr;
    if (array && (var->m_pArray->m_Dims.empty() || var->m_pArray->m_Dims.size() > 255)) {
      return nullptr;
    }
    return var;
  }

  // The variable a name node finds now, when it is a string (scalar or array
  // as asked); none otherwise.
  static Variable* TextVariable(SyntaxNode* node, bool array) {
    if (!node->m_szText || !node->m_bConsumed || node->m_pNext != nullptr) return nullptr;
    Variable* var = FindValueBound(*node->m_szText, node->m_Cache.m_Binding);
    if (var == nullptr || var->m_nType != ValueType::String) return nullptr;
    if (array != (var->m_pArray != nullptr)) return nullptr;
    if (array && (var->m_pArray->m_Dims.empty() || var->m_pArray->m_Dims.size() > 255)) {
      return nullptr;
    }
    return var;
  }

  // `target = value` of string scalars: a literal, a name or an element as
  // the value. Its checks (the types of the variables, the indexes) come
  // before it stores anything.
  bool TextAssignment(SyntaxNode* target, SyntaxNode* value) {
    if (target->m_nKind != NodeKind::IdT || TextVariable(target, false) == nullptr) return false;
    std::int32_t steps = 0;
    std::int32_t source = 0;
    LoopOp op = kStoreText;
    int dims = 0;
    if (value->m_nKind == NodeKind::StringT && value->m_bConsumed && value->m_pNext == nullptr) {
      m_Code.m_Walked.push_back(value);
      source = static_cast<std::int32_t>(m_Code.m_Walked.size() - 1);
    } else if (value->m_nKind == NodeKind::IdT && TextVariable(value, false) != nullptr) {
      source = NameSlot(value);
      op = kStoreTextName;
    } else if (value->m_nKind == NodeKind::Id_ArrayT && value->m_nType == ValueType::String) {
      const Variable* var = TextVariable(value, true);
      if (var == nullptr || !Indexes(value, *var, 0, steps) || m_bCalled) return false;
      source = NameSlot(value);
      op = kStoreTextElement;
      dims = static_cast<int>(var->m_pArray->m_Dims.size());
    } else if (value->m_nKind == NodeKind::CallT || value->m_nKind == NodeKind::OpT) {
      return StoreJoin(target, value, false);
    } else {
      return false;
    }
    const int slot = NameSlot(target);
    if (slot < 0 || source < 0) return false;
    Emit(op, dims, slot, source);
    if (op == kStoreTextElement || !OwnLocal(target)) m_bClosed = false;
    return true;
  }

  // A string local of the function whose body is compiled, not one of its
  // parameters: a direct body may assign it, as no frame borrows it (a
  // parameter may be the caller's variable itself, see TextFrame).
  bool OwnLocal(const SyntaxNode* target) const {
    if (m_pFunction == nullptr) return false;
    const NameBinding& binding = target->m_Cache.m_Binding;
    return binding.Valid() && !binding.IsGlobal() && binding.Function() == m_pFunction->m_nId &&
           static_cast<std::size_t>(binding.FrameSlot()) > m_pFunction->m_Params.size();
  }

  // The index operands of an element (as many as the array has dimensions);
  // false when one does not compile.
  bool Indexes(SyntaxNode* node, const Variable& var, int depth, std::int32_t& steps) {
    SyntaxNode* item = node->m_pItems.get();
    for (std::size_t d = 0; d < var.m_pArray->m_Dims.size(); ++d, item = item->m_pNext.get()) {
      if (item == nullptr || !Operand(item->m_pChild2.get(), depth + 1, steps)) return false;
    }
    return true;
  }

  // True when the last instruction pushes a literal other than 0: a division
  // by it cannot fail.
  bool AfterNonZeroLiteral() const {
    const LoopInstr& last = m_Code.m_Code.back();
    return last.m_nOp == kLiteral && last.m_nValue != 0;
  }

  // An operand that the num programs accept: operators that fold, num
  // literals, num names and num array elements; and calls with a num result,
  // evaluated by the tree walk.
  bool Operand(SyntaxNode* node, int depth, std::int32_t& steps) {
    if (node == nullptr || !node->m_bConsumed || node->m_pNext != nullptr) return false;
    if (depth > kMaxOperandDepth || ++steps > kMaxOperandSteps) return false;
    switch (node->m_nKind) {
      case NodeKind::CallT:
        if (node->m_nType == ValueType::Num && Call(node, depth, steps)) return true;
        [[fallthrough]];
      case NodeKind::InLineFunT:
        if (node->m_nType != ValueType::Num || m_bInArguments) return false;
        // A call made here would come before a built-in whose result an
        // enclosing built-in or comparison reads when it runs.
        if (m_bDeferred) return false;
        if (node->m_nKind == NodeKind::InLineFunT) {
          const Mark mark = Save(steps);
          std::int32_t index = 0;
          if (Builtin(node, depth, steps, index)) {
            Emit(kBuiltin, 0, 0, index);
            m_bDeferred = false;  // the built-ins among its arguments ran with it
            return true;
          }
          Restore(mark, steps);
        }
        // The walk's operand could be a script call, which may change a
        // variable that an enclosing built-in reads later.
        if (m_bInBuiltin) return false;
        m_Code.m_Walked.push_back(node);
        Emit(kWalkOperand, 0, 0, static_cast<std::int32_t>(m_Code.m_Walked.size() - 1));
        m_bCalled = true;
        m_bClosed = false;
        return true;
      case NodeKind::NumT:
        Emit(kLiteral, 0, 0,
             node->m_bNumKnown ? node->m_Cache.m_nValue
                               : TextToNum(node->m_szText ? node->m_szText->c_str() : ""));
        return true;
      case NodeKind::IdT: {
        if (NumVariable(node, false) == nullptr) return false;
        const int slot = NameSlot(node);
        if (slot < 0) return false;
        Emit(kName, 0, slot, 0);
        return true;
      }
      case NodeKind::Id_ArrayT: {
        if (node->m_nType != ValueType::Num) return false;
        const Variable* var = NumVariable(node, true);
        if (var == nullptr || !Indexes(node, *var, depth, steps) || m_bCalled) return false;
        const int slot = NameSlot(node);
        if (slot < 0) return false;
        Emit(kElement, static_cast<int>(var->m_pArray->m_Dims.size()), slot, 0);
        m_bClosed = false;
        return true;
      }
      case NodeKind::OpT: {
        const int op = node->m_nOp;
        if (!IsFoldingOperator(op)) return false;
        const Mark mark = Save(steps);
        if (!Operand(node->m_pChild2.get(), depth + 1, steps) ||
            !Operand(node->m_pChild0.get(), depth + 1, steps)) {
          Restore(mark, steps);
          if (IsTextComparison(op) && CompareText(node, depth, steps)) return true;
          // An operator whose result is a num (every one but `+`) over
          // operands the machine does not compute, strings among them: the
          // walk evaluates it whole, as an operand, like a call.
          if (op == TK_PLUS || m_bInArguments || m_bInBuiltin) return false;
          m_Code.m_Walked.push_back(node);
          Emit(kWalkOperand, 0, 0, static_cast<std::int32_t>(m_Code.m_Walked.size() - 1));
          m_bCalled = true;
          m_bClosed = false;
          return true;
        }
        switch (op) {
          case TK_PLUS:
            Emit(kAdd, 0, 0, op);
            break;
          case TK_MINUS:
            Emit(kSub, 0, 0, op);
            break;
          case TK_STAR:
            Emit(kMul, 0, 0, op);
            break;
          case TK_SLASH:
          case TK_PERCENT:
            if (!AfterNonZeroLiteral()) {
              if (m_bCalled) return false;
              m_bClosed = false;
            }
            Emit(op == TK_SLASH ? kDiv : kMod, 0, 0, op);
            break;
          case TK_LT:
            Emit(kLess, 0, 0, op);
            break;
          case TK_GT:
            Emit(kGreater, 0, 0, op);
            break;
          default:
            Emit(kOther, 0, 0, op);
            break;
        }
        return true;
      }
      default:
        return false;
    }
  }

  // `target = value` or `target op= value` without a consumer.
  bool Assignment(SyntaxNode* node, bool compound) {
    if (node->m_bConsumed) return false;
    SyntaxNode* target = node->m_pChild2.get();
    SyntaxNode* value = node->m_pChild0.get();
    if (target == nullptr || value == nullptr) return false;
    std::int32_t steps = 0;
    const int op = compound ? node->m_nOp : 0;
    if (!compound && target->m_nKind == NodeKind::IdT && NumVariable(target, false) == nullptr) {
      return TextAssignment(target, value);
    }
    if (target->m_nKind == NodeKind::IdT) {
      if (NumVariable(target, false) == nullptr || !Operand(value, 1, steps)) return false;
      const bool divides = op == TK_SLASH_ASSIGN || op == TK_PERCENT_ASSIGN;
      if (divides && !AfterNonZeroLiteral()) {
        if (m_bCalled) return false;
        m_bClosed = false;
      }
      const int slot = NameSlot(target);
      if (slot < 0) return false;
      Emit(compound ? kUpdate : kStore, 0, slot, op);
      return true;
    }
    if (target->m_nKind == NodeKind::Id_ArrayT && target->m_nType == ValueType::Num) {
      const Variable* var = NumVariable(target, true);
      if (var == nullptr || !Indexes(target, *var, 0, steps) || !Operand(value, 1, steps) ||
          m_bCalled) {
        return false;
      }
      const int slot = NameSlot(target);
      if (slot < 0) return false;
      Emit(compound ? kUpdateElement : kStoreElement,
           static_cast<int>(var->m_pArray->m_Dims.size()), slot, op);
      m_bClosed = false;
      return true;
    }
    return false;
  }

  void Chain(SyntaxNode* first, std::int32_t context, SyntaxNode* section) {
    for (SyntaxNode* node = first; node != nullptr && !m_bTooLarge; node = node->m_pNext.get()) {
      Statement(node, context, section);
    }
  }

  void Statement(SyntaxNode* node, std::int32_t context, SyntaxNode* section) {
    const auto unit = static_cast<std::int32_t>(m_Code.m_Units.size());
    m_Code.m_Units.push_back(LoopUnit{node, section, 0, context});
    const std::int32_t outer = m_nUnit;
    m_nUnit = unit;
    const std::int32_t start = Here();
    m_bCalled = false;
    m_bTextElement = false;
    m_bDeferred = false;
    std::int32_t steps = 0;
    const Mark mark = Save(steps);
    if (!Construct(node, unit, context, start)) {
      // The tree walk runs it; nothing compiled for it stays.
      Restore(mark, steps);
      Emit(kWalk, 0, 0, 0);
      m_bClosed = false;
    }
    m_bCalled = false;
    m_Code.m_Units[static_cast<std::size_t>(unit)].m_nResume = Here();
    m_nUnit = outer;
  }

  // The instructions of one statement; false when the tree
  // walk must run it (before anything of its body was compiled).
  bool Construct(SyntaxNode* node, std::int32_t unit, std::int32_t context, std::int32_t start) {
    std::int32_t steps = 0;
    switch (node->m_nKind) {
      case NodeKind::AssignT:
        return Assignment(node, false);
      case NodeKind::AssignInitializingT: {
        // `num x = value` of a num scalar: the node names the variable.
        if (NumVariable(node, false) == nullptr) {
          Variable* var =
              node->m_szText ? FindValueBound(*node->m_szText, node->m_Cache.m_Binding) : nullptr;
          if (var == nullptr || var->m_nType != ValueType::String || var->m_pArray) return false;
          return node->m_pChild0 != nullptr && StoreJoin(node, node->m_pChild0.get(), true);
        }
        if (!Operand(node->m_pChild0.get(), 1, steps)) return false;
        const int slot = NameSlot(node);
        if (slot < 0) return false;
        Emit(kStore, 0, slot, 0);
        return true;
      }
      case NodeKind::OpT:
        return IsCompound(node->m_nOp) && Assignment(node, true);
      case NodeKind::BreakT:
        Emit(kBreak, 0, 0, 0);
        return true;
      case NodeKind::ContinueT:
        // Inside a switch, the walk runs the sections after it (SwitchTail).
        if (m_nSwitches > 0) m_bClosed = false;
        Emit(kContinue, 0, 0, 0);
        return true;
      case NodeKind::IfT: {
        if (m_nNesting >= kMaxNesting || !Operand(node->m_pChild2.get(), 1, steps)) return false;
        const std::size_t toElse = Emit(kJumpIfZero, 0, 0, 0);
        const std::int32_t inner = NewContext(node, unit, context, 0);
        ++m_nNesting;
        Chain(node->m_pChild1.get(), inner, nullptr);
        if (node->m_pChild0 != nullptr) {
          const std::size_t toEnd = Emit(kJump, 0, 0, 0);
          Patch(toElse);
          Chain(node->m_pChild0.get(), inner, nullptr);
          Patch(toEnd);
        } else {
          Patch(toElse);
        }
        --m_nNesting;
        m_Code.m_Contexts[static_cast<std::size_t>(inner)].m_nExit = Here();
        return true;
      }
      case NodeKind::WhileT: {
        if (m_nNesting >= kMaxNesting || !Operand(node->m_pChild2.get(), 1, steps)) return false;
        const std::size_t toExit = Emit(kLoopTest, 0, 0, 0);
        const std::int32_t inner = NewContext(node, unit, context, start);
        ++m_nNesting;
        Chain(node->m_pChild1.get(), inner, nullptr);
        --m_nNesting;
        Emit(kJump, 0, 0, start);
        Patch(toExit);
        m_Code.m_Contexts[static_cast<std::size_t>(inner)].m_nExit = Here();
        return true;
      }
      case NodeKind::SwitchT:
        return Switch(node, unit, context, steps);
      case NodeKind::ReturnT:
        if (m_pFunction != nullptr && m_pFunction->m_nRetType == ValueType::String) {
          return ReturnJoin(node->m_pChild2.get());
        }
        // The result of a num function, as ReturnT checks and leaves it.
        if (m_pFunction == nullptr || m_pFunction->m_nRetType != ValueType::Num ||
            !Operand(node->m_pChild2.get(), 1, steps)) {
          return false;
        }
        Emit(kReturn, 0, 0, 0);
        return true;
      default:
        return false;
    }
  }

  // A switch on a num: the first case whose label equals the selector, else
  // the default, else the end; sections fall through in order, and falling
  // into the default runs it and ends the switch, as SwitchT does.
  bool Switch(SyntaxNode* node, std::int32_t unit, std::int32_t context, std::int32_t& steps) {
    SyntaxNode* sections = node->m_pItems.get();
    if (sections == nullptr || m_nNesting >= kMaxNesting) return false;
    int defaults = 0;
    for (SyntaxNode* s = sections; s != nullptr; s = s->m_pNext.get()) {
      if (s->m_nKind == NodeKind::DefaultT) ++defaults;
    }
    if (defaults > 1) return false;
    // A string selector is a string variable, compared where it lies.
    SyntaxNode* selector = node->m_pChild2.get();
    int textSlot = -1;
    if (selector != nullptr && selector->m_nKind == NodeKind::IdT &&
        TextVariable(selector, false) != nullptr) {
      textSlot = NameSlot(selector);
      if (textSlot < 0) return false;
      m_bClosed = false;
    } else if (!Operand(selector, 1, steps)) {
      return false;
    }
    const auto index = static_cast<std::int32_t>(m_Code.m_Switches.size());
    m_Code.m_Switches.push_back(LoopSwitch{0, 0, -1});
    if (textSlot >= 0) {
      Emit(kSwitchText, 0, textSlot, index);
    } else {
      Emit(kSwitch, 0, 0, index);
    }
    const std::int32_t inner = NewContext(node, unit, context, 0);
    std::vector<LoopCase> cases;
    std::size_t toExit = 0;
    bool hasDefault = false;
    ++m_nNesting;
    ++m_nSwitches;
    for (SyntaxNode* s = sections; s != nullptr; s = s->m_pNext.get()) {
      if (s->m_nKind == NodeKind::CaseT) {
        cases.push_back(LoopCase{s->m_Cache.m_nValue, Here(), s});
        Chain(s->m_pChild2.get(), inner, s);
      } else if (s->m_nKind == NodeKind::DefaultT) {
        m_Code.m_Switches[static_cast<std::size_t>(index)].m_nDefault = Here();
        Chain(s->m_pChild2.get(), inner, s);
        toExit = Emit(kJump, 0, 0, 0);
        hasDefault = true;
      }
    }
    --m_nNesting;
    --m_nSwitches;
    if (hasDefault) Patch(toExit);
    LoopSwitch& table = m_Code.m_Switches[static_cast<std::size_t>(index)];
    table.m_nFirst = static_cast<std::int32_t>(m_Code.m_Cases.size());
    table.m_nCount = static_cast<std::int32_t>(cases.size());
    if (!hasDefault) table.m_nDefault = Here();
    m_Code.m_Cases.insert(m_Code.m_Cases.end(), cases.begin(), cases.end());
    m_Code.m_Contexts[static_cast<std::size_t>(inner)].m_nExit = Here();
    return true;
  }

  // A call of a script function with a num result, as an operand.
  bool Call(SyntaxNode* node, int depth, std::int32_t& steps) {
    std::int32_t index = 0;
    if (!CompileCall(node, depth, steps, ValueType::Num, index)) return false;
    Emit(kCall, 0, 0, index);
    return true;
  }

  // A call of a script function with a `result` result (m_Calls[index]): the
  // machine computes the arguments, without calls among them, so that the
  // walk may still evaluate them afresh when the callee cannot run on the
  // machine. The caller emits the instruction that makes it.
  bool CompileCall(SyntaxNode* node, int depth, std::int32_t& steps, ValueType result,
                   std::int32_t& index) {
    if (m_bInArguments || m_bInBuiltin || !node->m_szText) return false;
    FunctionEntry* function = FindFunction(*node->m_szText);
    if (function == nullptr || !function->m_pDefinition || function->m_nRetType != result) {
      return false;
    }
    const Mark mark = Save(steps);
    const std::vector<ParamEntry>& params = function->m_Params;
    std::size_t k = 0;
    SyntaxNode* item = node->m_pItems.get();
    bool compiled = true;
    bool texts = false;
    std::vector<LoopText> args;
    std::int32_t nums = 0;
    m_bInArguments = true;
    for (; item != nullptr && k < params.size(); item = item->m_pNext.get(), ++k) {
      // A string argument is a literal, a name or an element: a built-in
      // among the arguments is refused (m_bInArguments).
      LoopText arg{kTextNum, 0, 0, 0};
      if (params[k].m_nType == ValueType::Num) {
        compiled = Operand(item->m_pChild2.get(), depth + 1, steps);
        ++nums;
      } else {
        compiled = params[k].m_nType == ValueType::String &&
                   TextOperand(item->m_pChild2.get(), depth, steps, arg, nums);
        texts = true;
      }
      if (!compiled) break;
      if (arg.m_nKind == kTextLiteral) {
        // The literal as a parameter would hold it, for the callee to borrow.
        if (m_Code.m_Constants.size() >= 32767) {
          compiled = false;
          break;
        }
        const std::optional<std::string>& literal =
            LiteralText(m_Code.m_Walked[static_cast<std::size_t>(arg.m_nIndex)]->m_szText);
        Variable& constant = m_Code.m_Constants.emplace_back();
        constant.m_nType = ValueType::String;
        if (literal) {
          constant.m_szValue = literal;
          constant.m_nSize = static_cast<std::int32_t>(literal->size() + 1);
        }
        arg.m_nSlot = static_cast<std::int16_t>(m_Code.m_Constants.size() - 1);
      }
      args.push_back(arg);
    }
    m_bInArguments = false;
    if (!compiled || item != nullptr || k != params.size() || (m_bTextElement && m_bCalled) ||
        (texts && params.size() > kMaxTextParams)) {
      Restore(mark, steps);
      return false;
    }
    std::int32_t first = -1;
    if (texts) {
      first = static_cast<std::int32_t>(m_Code.m_Args.size());
      m_Code.m_Args.insert(m_Code.m_Args.end(), args.begin(), args.end());
    }
    if (function != m_pFunction && std::find(m_Code.m_Callees.begin(), m_Code.m_Callees.end(),
                                             function) == m_Code.m_Callees.end()) {
      m_Code.m_Callees.push_back(function);
    }
    m_Code.m_Calls.push_back(
        LoopCall{node, function, &m_Code, static_cast<std::int32_t>(k), nums, first});
    index = static_cast<std::int32_t>(m_Code.m_Calls.size() - 1);
    m_bCalled = true;
    return true;
  }

  // The operands of `value`, leftmost first: those of a chain of + (at most
  // kMaxChainTexts), or `value` itself.
  static bool JoinParts(SyntaxNode* value, SyntaxNode** parts, std::int32_t& count) {
    count = 0;
    SyntaxNode* op = value;
    while (op->m_nKind == NodeKind::OpT) {
      SyntaxNode* left = op->m_pChild2.get();
      SyntaxNode* right = op->m_pChild0.get();
      if (op->m_nOp != TK_PLUS || !op->m_bConsumed || op->m_pNext != nullptr ||
          op->m_pChild1 != nullptr || left == nullptr || right == nullptr ||
          count >= kMaxChainTexts - 1) {
        return false;
      }
      parts[count++] = right;
      op = left;
    }
    parts[count++] = op;
    std::reverse(parts, parts + count);
    return true;
  }

  // The literals and string names of a join (parts[first] onwards) as texts
  // read where they lie, and the join.
  bool AddJoin(SyntaxNode* const* parts, std::int32_t first, std::int32_t count,
               std::int32_t call) {
    const auto args = static_cast<std::int32_t>(m_Code.m_Args.size());
    for (std::int32_t i = first; i < count; ++i) {
      SyntaxNode* part = parts[i];
      if (!part->m_bConsumed || part->m_pNext != nullptr) return false;
      if (part->m_nKind == NodeKind::StringT) {
        m_Code.m_Walked.push_back(part);
        m_Code.m_Args.push_back(
            LoopText{kTextLiteral, 0, 0, static_cast<std::int32_t>(m_Code.m_Walked.size() - 1)});
      } else if (part->m_nKind == NodeKind::IdT && TextVariable(part, false) != nullptr) {
        const int slot = NameSlot(part);
        if (slot < 0) return false;
        m_Code.m_Args.push_back(LoopText{kTextName, 0, static_cast<std::int16_t>(slot), 0});
      } else {
        return false;
      }
    }
    m_Code.m_Joins.push_back(LoopJoin{args, count - first, call});
    return true;
  }

  // `return` of a string function with a text joined by +: string literals
  // and string names, as the walk's ConcatChain takes them (no operator over
  // two literals, which the walk folds).
  bool ReturnJoin(SyntaxNode* value) {
    SyntaxNode* parts[kMaxChainTexts];
    std::int32_t count = 0;
    if (value != nullptr && value->m_nKind == NodeKind::IdT) {
      // A string name alone: its value as IdValue copies it.
      parts[0] = value;
      if (!AddJoin(parts, 0, 1, -1)) return false;
      Emit(kReturnText, 0, 0, static_cast<std::int32_t>(m_Code.m_Joins.size() - 1));
      return true;
    }
    if (value == nullptr || value->m_nKind != NodeKind::OpT || !value->m_bConsumed ||
        value->m_pNext != nullptr || !JoinParts(value, parts, count) ||
        (parts[0]->m_nKind == NodeKind::StringT && parts[1]->m_nKind == NodeKind::StringT) ||
        !AddJoin(parts, 0, count, -1)) {
      return false;
    }
    Emit(kReturnText, 0, 0, static_cast<std::int32_t>(m_Code.m_Joins.size() - 1));
    return true;
  }

  // `target = value` (or the declaration `string target = value`) of a string
  // scalar, where value is a call of a string function, alone or joined by +
  // with string literals and names after it: the walk runs the call first,
  // then appends the other texts where they lie.
  bool StoreJoin(SyntaxNode* target, SyntaxNode* value, bool declaration) {
    SyntaxNode* parts[kMaxChainTexts];
    std::int32_t count = 0;
    if (!value->m_bConsumed || value->m_pNext != nullptr || !JoinParts(value, parts, count)) {
      return false;
    }
    LoopOp op = kStoreJoin;
    if (parts[0]->m_nKind == NodeKind::CallT) {
      std::int32_t steps = 0;
      std::int32_t call = 0;
      if (parts[0]->m_nType != ValueType::String || !parts[0]->m_bConsumed ||
          parts[0]->m_pNext != nullptr ||
          !CompileCall(parts[0], 0, steps, ValueType::String, call) ||
          !AddJoin(parts, 1, count, call)) {
        return false;
      }
    } else {
      // Literals and names only, as the walk's ConcatChain joins them.
      if (count < 2 ||
          (parts[0]->m_nKind == NodeKind::StringT && parts[1]->m_nKind == NodeKind::StringT) ||
          !AddJoin(parts, 0, count, -1)) {
        return false;
      }
      op = kStoreChain;
    }
    const int slot = NameSlot(target);
    if (slot < 0) return false;
    Emit(op, declaration ? 1 : 0, slot, static_cast<std::int32_t>(m_Code.m_Joins.size() - 1));
    if (!OwnLocal(target)) m_bClosed = false;
    return true;
  }

  // A call of a built-in, for a num (kBuiltin) or as a text operand: its
  // arguments are operands the machine computes or texts it reads where they
  // lie when the handler runs. Nothing among the arguments runs script code,
  // so no variable changes between an argument's turn and the handler; and
  // no element is read after a call of the statement, so a failed index
  // hands the statement to the walk before anything ran. The operands are
  // left in the code; the caller goes back to its mark on failure.
  bool Builtin(SyntaxNode* node, int depth, std::int32_t& steps, std::int32_t& index) {
    if (m_bInArguments || node->m_pNext != nullptr || !node->m_bConsumed) return false;
    const BuiltinEntry* entry = BuiltinOf(node);
    if (entry == nullptr || entry->pfnHandler == nullptr || entry->nRetType != node->m_nType ||
        entry->nParamCount < 0 || entry->nParamCount > kMaxBuiltinParams) {
      return false;
    }
    LoopText args[kMaxBuiltinParams] = {};
    std::int32_t nums = 0;
    const bool outerInBuiltin = m_bInBuiltin;
    m_bInBuiltin = true;
    int k = 0;
    SyntaxNode* item = node->m_pItems.get();
    bool compiled = true;
    for (; item != nullptr && k < entry->nParamCount; item = item->m_pNext.get(), ++k) {
      SyntaxNode* operand = item->m_pChild2.get();
      const ValueType type = entry->pParams[k].m_nType;
      if (type == ValueType::Num) {
        compiled = Operand(operand, depth + 1, steps);
        args[k] = LoopText{kTextNum, 0, 0, 0};
        ++nums;
      } else {
        compiled = type == ValueType::String && TextOperand(operand, depth, steps, args[k], nums);
      }
      if (!compiled) break;
    }
    m_bInBuiltin = outerInBuiltin;
    if (!compiled || item != nullptr || k != entry->nParamCount) return false;
    if (m_bTextElement && m_bCalled) return false;
    const auto first = static_cast<std::int32_t>(m_Code.m_Args.size());
    m_Code.m_Args.insert(m_Code.m_Args.end(), args, args + k);
    bool nested = false;
    for (int a = 0; a < k; ++a) nested = nested || args[a].m_nKind == kTextBuiltin;
    m_Code.m_Builtins.push_back(LoopBuiltin{node, entry, first, nums, nested});
    index = static_cast<std::int32_t>(m_Code.m_Builtins.size() - 1);
    m_bCalled = true;
    return true;
  }

  // A string operand read where it lies: a literal, a string scalar or
  // element, or a string built-in's result. `nums` counts the operand stack
  // entries it takes (indexes, arguments).
  bool TextOperand(SyntaxNode* node, int depth, std::int32_t& steps, LoopText& text,
                   std::int32_t& nums) {
    if (node == nullptr || !node->m_bConsumed || node->m_pNext != nullptr) return false;
    if (++depth > kMaxOperandDepth || ++steps > kMaxOperandSteps) return false;
    switch (node->m_nKind) {
      case NodeKind::StringT:
        m_Code.m_Walked.push_back(node);
        text = LoopText{kTextLiteral, 0, 0, static_cast<std::int32_t>(m_Code.m_Walked.size() - 1)};
        return true;
      case NodeKind::IdT: {
        if (TextVariable(node, false) == nullptr) return false;
        const int slot = NameSlot(node);
        if (slot < 0) return false;
        text = LoopText{kTextName, 0, static_cast<std::int16_t>(slot), 0};
        return true;
      }
      case NodeKind::Id_ArrayT: {
        if (node->m_nType != ValueType::String) return false;
        const Variable* var = TextVariable(node, true);
        if (var == nullptr || !Indexes(node, *var, depth, steps)) return false;
        const int slot = NameSlot(node);
        if (slot < 0) return false;
        const auto dims = static_cast<std::uint8_t>(var->m_pArray->m_Dims.size());
        text = LoopText{kTextElement, dims, static_cast<std::int16_t>(slot), 0};
        nums += dims;
        m_bTextElement = true;
        m_bClosed = false;
        return true;
      }
      case NodeKind::InLineFunT: {
        if (node->m_nType != ValueType::String) return false;
        std::int32_t index = 0;
        if (!Builtin(node, depth, steps, index)) return false;
        // It runs when the enclosing built-in or comparison runs: no call
        // may be compiled before that.
        m_bDeferred = true;
        text = LoopText{kTextBuiltin, 0, 0, index};
        nums += m_Code.m_Builtins[static_cast<std::size_t>(index)].m_nNums;
        return true;
      }
      default:
        return false;
    }
  }

  // A comparison of two strings, read where they lie; the walk keeps a
  // comparison of two literals, which it folds into a literal.
  bool CompareText(SyntaxNode* node, int depth, std::int32_t& steps) {
    SyntaxNode* left = node->m_pChild2.get();
    SyntaxNode* right = node->m_pChild0.get();
    if (left == nullptr || right == nullptr) return false;
    if (left->m_nKind == NodeKind::StringT && right->m_nKind == NodeKind::StringT) return false;
    // Its built-ins would run before one whose result is read later.
    if (m_bDeferred) return false;
    const Mark mark = Save(steps);
    const bool outerInBuiltin = m_bInBuiltin;
    m_bInBuiltin = true;
    LoopCompare compare{LoopText{}, LoopText{}, node->m_nOp, 0};
    const bool compiled = TextOperand(left, depth, steps, compare.m_Left, compare.m_nNums) &&
                          TextOperand(right, depth, steps, compare.m_Right, compare.m_nNums) &&
                          !(m_bTextElement && m_bCalled);
    m_bInBuiltin = outerInBuiltin;
    if (!compiled) {
      Restore(mark, steps);
      return false;
    }
    m_Code.m_Compares.push_back(compare);
    Emit(kCompareText, 0, 0, static_cast<std::int32_t>(m_Code.m_Compares.size() - 1));
    m_bDeferred = false;
    return true;
  }

  LoopCode& m_Code;
  const FunctionEntry* m_pFunction;
  int m_nNesting = 0;
  int m_nSwitches = 0;       // switches around the statement being compiled
  std::int32_t m_nUnit = 0;  // the statement being compiled (0: the loop's condition)
  bool m_bTooLarge = false;
  bool m_bCalled = false;       // the statement being compiled has a call operand
  bool m_bInArguments = false;  // compiling the arguments of a kCall
  bool m_bInBuiltin = false;    // compiling the operands of a built-in or a string comparison
  bool m_bTextElement = false;  // the statement reads a string element when a built-in runs
  bool m_bDeferred = false;     // a built-in compiled as a text operand runs later
  bool m_bClosed = true;        // see Closed
};

// Marks the closed body of `function` as a direct body when its frame can be
// plain cells: num or string parameters, scalar locals, a num or string result
// (a string result being a join of texts), and every
// name found in that frame or among the globals, as the walk's lookup found
// it while the body was compiled (a frame of one function holds the same
// names at the same places on every call, and the globals do not change).
void MarkDirectBody(LoopCode& code, const FunctionEntry* function) {
  if (function == nullptr ||
      (function->m_nRetType != ValueType::Num && function->m_nRetType != ValueType::String)) {
    return;
  }
  const std::size_t params = function->m_Params.size();
  const std::size_t locals = function->m_Locals.size();
  if (locals < params) return;
  bool texts = false;
  for (const ParamEntry& param : function->m_Params) {
    if (param.m_nType != ValueType::Num && param.m_nType != ValueType::String) return;
    texts = texts || param.m_nType == ValueType::String;
  }
  for (std::size_t i = params; i < locals; ++i) {
    const Variable* local = function->m_Locals[i].get();
    if (local == nullptr || local->m_pArray ||
        (local->m_nType != ValueType::Num && local->m_nType != ValueType::String)) {
      return;
    }
    texts = texts || local->m_nType == ValueType::String;
  }
  std::vector<std::int32_t> places;
  std::vector<Variable*> globals;
  for (const SyntaxNode* name : code.m_Names) {
    const NameBinding& binding = name->m_Cache.m_Binding;
    if (!binding.Valid() || binding.Function() != function->m_nId) return;
    const std::int32_t place = binding.IsGlobal() ? -1 : binding.FrameSlot();
    if (place < 0) {
      if (BoundGlobal(binding) == nullptr) return;
    } else if (static_cast<std::size_t>(place) == params ||
               static_cast<std::size_t>(place) > locals) {
      return;  // the marker, or outside the frame
    }
    places.push_back(place);
    globals.push_back(place < 0 ? BoundGlobal(binding) : nullptr);
  }
  code.m_Places = std::move(places);
  code.m_Globals = std::move(globals);
  code.m_nParams = static_cast<std::int32_t>(params);
  code.m_nCells = static_cast<std::int32_t>(locals + 1);
  code.m_bTextCells = texts;
  code.m_bTextResult = function->m_nRetType == ValueType::String;
  code.m_bDirectBody = true;
}

// The code kept in `owner` (a WhileT node, or the ExternalFunT node of a
// function for its body `body`), built on its first execution; none when a
// loop's condition is not a num operand the machine can evaluate, or when no
// statement of a body would run on the machine.
const LoopCode* CodeOf(SyntaxNode* owner, SyntaxNode* body) {
  auto& cache = owner->m_Cache.m_Loop;
  if (cache.State() == 0) {
    cache.Set(nullptr);
    auto* code = new (std::nothrow) LoopCode;
    if (code == nullptr) return nullptr;
    bool built = false;
    try {
      LoopCompiler compiler(*code, theTopFunction);
      built = body != nullptr ? compiler.CompileBody(body) : compiler.CompileLoop(owner);
      if (built && body != nullptr && compiler.Closed()) MarkDirectBody(*code, theTopFunction);
    } catch (const std::bad_alloc&) {
      built = false;
    }
    if (built && body != nullptr) {
      built = false;
      for (const LoopInstr& in : code->m_Code) {
        if (in.m_nOp != kWalk && in.m_nOp != kEnd) built = true;
      }
    }
    if (!built || code->m_Names.size() > kMaxNames) {
      delete code;
      return nullptr;
    }
    cache.Set(code);
  }
  return cache.Get();
}

const char* TraceOf(const SyntaxNode* construct) {
  switch (construct->m_nKind) {
    case NodeKind::IfT:
      return "Error in IfT()";
    case NodeKind::SwitchT:
      return "Error in SwitchT()";
    default:
      return "Error in WhileT()";
  }
}

// A statement of context `context` failed and the chain that held it wrote
// its trace: the constructs around it fail in turn, as their evaluators
// would, up to the loop itself.
int Unwind(const LoopCode& code, std::int32_t context) {
  while (context >= 0) {
    const LoopContext& k = code.m_Contexts[static_cast<std::size_t>(context)];
    FailWith(TraceOf(k.m_pNode));
    if (k.m_nParent >= 0) FailWith("Error in Generate()");
    context = k.m_nParent;
  }
  return 0;
}

// Statement `unit` failed where the walk fails it too, after its operands
// had effects (a call) or a budget ran out: its evaluator's failure, then the
// chain's, then the constructs around it.
int FailUnit(const LoopCode& code, std::int32_t unit) {
  const LoopUnit& u = code.m_Units[static_cast<std::size_t>(unit)];
  switch (u.m_pNode->m_nKind) {
    case NodeKind::IfT:
    case NodeKind::WhileT:
    case NodeKind::SwitchT:
      FailWith(TraceOf(u.m_pNode));
      break;
    case NodeKind::AssignT:
      FailWith("Error in AssignT()");
      break;
    default:
      FailWith("Error in OpT()");
      break;
  }
  if (unit == 0) return 0;  // the loop itself
  FailWith("Error in Generate()");
  return Unwind(code, u.m_nContext);
}

enum RaiseResult { kRaiseDone, kRaiseFailed, kRaiseGoOn };

// Statement `unit` ended with a flag set: the chain holding it returns, and
// each construct around it does what its evaluator does with the flag. Sets
// `next` where the machine goes on.
RaiseResult Raise(const LoopCode& code, std::int32_t unit, std::int32_t& next) {
  for (;;) {
    const LoopUnit& u = code.m_Units[static_cast<std::size_t>(unit)];
    if (u.m_nContext < 0) return kRaiseDone;  // the loop itself returns 1
    const LoopContext& k = code.m_Contexts[static_cast<std::size_t>(u.m_nContext)];
    switch (k.m_pNode->m_nKind) {
      case NodeKind::WhileT:
        if (theGlobal.m_bBreak) {
          theGlobal.m_bBreak = 0;
          next = k.m_nExit;
          return kRaiseGoOn;
        }
        if (theGlobal.m_bContinue) {
          theGlobal.m_bContinue = 0;
          next = k.m_nTop;
          return kRaiseGoOn;
        }
        break;  // a return: WhileT returns 1
      case NodeKind::SwitchT:
        if (theGlobal.m_bBreak || theGlobal.m_bReturn) {
          theGlobal.m_bBreak = 0;
          if (!theGlobal.m_bReturn) {
            next = k.m_nExit;
            return kRaiseGoOn;
          }
          break;
        }
        // A continue: the following sections run as SwitchT runs them.
        if (!SwitchTail(u.m_pSection)) {
          FailWith("Error in Generate()");
          Unwind(code, k.m_nParent);
          return kRaiseFailed;
        }
        if (!theGlobal.m_bBreak && !theGlobal.m_bContinue && !theGlobal.m_bReturn) {
          next = k.m_nExit;
          return kRaiseGoOn;
        }
        break;
      default:
        break;  // IfT returns 1
    }
    unit = k.m_nUnit;
  }
}

// The name slots and operand stacks of the running machines, innermost
// last: each run takes as many slots as its code has names and a stack for
// its longest operand tree. Kept off the host stack, so that a recursion
// through function bodies on the machine goes as deep as on the walk.
std::vector<Variable*> s_Slots;
std::size_t s_nSlotTop = 0;
std::vector<std::int32_t> s_Numbers;
std::size_t s_nNumberTop = 0;

class MachineFrame {
 public:
  MachineFrame(std::size_t names, bool direct)
      : m_nSlotBase(s_nSlotTop), m_nNumberBase(s_nNumberTop), m_bDirect(direct) {
    constexpr auto kNumbers = static_cast<std::size_t>(kMaxOperandSteps) + 1;
    if (s_Slots.size() < m_nSlotBase + names) s_Slots.resize(m_nSlotBase + names);
    if (s_Numbers.size() < m_nNumberBase + kNumbers) s_Numbers.resize(m_nNumberBase + kNumbers);
    s_nSlotTop = m_nSlotBase + names;
    s_nNumberTop = m_nNumberBase + kNumbers;
  }
  ~MachineFrame() {
    s_nSlotTop = m_nSlotBase;
    s_nNumberTop = m_nNumberBase;
  }
  MachineFrame(const MachineFrame&) = delete;
  MachineFrame& operator=(const MachineFrame&) = delete;

  // This run's slots and stack; valid until a nested run may have grown the
  // lists.
  Variable** Slots() const { return s_Slots.data() + m_nSlotBase; }
  std::int32_t* Stack() const { return s_Numbers.data() + m_nNumberBase; }
  // A direct body's run, in a frame of cells. Kept here rather than in a
  // local so that the dispatch loop does not hold it in a register.
  bool Direct() const { return m_bDirect; }

 private:
  std::size_t m_nSlotBase;
  std::size_t m_nNumberBase;
  bool m_bDirect;
};

// The place of the element whose `dims` indexes start at `indexes` in an
// array of `count` elements, as LocateStorage finds it; -1 when an index is
// out of range.
SETUP_ALWAYS_INLINE std::int64_t ElementPlace(const ArrayStore& store, int dims,
                                              const std::int32_t* indexes, std::size_t count) {
  if (static_cast<int>(store.m_Dims.size()) != dims) return -1;
  std::int64_t position = 0;
  std::int64_t stride = 1;
  for (int d = 0; d < dims; ++d) {
    const std::int32_t index = indexes[d];
    const std::int32_t size = store.m_Dims[static_cast<std::size_t>(d)];
    if (index < 0 || index >= size) return -1;
    position += index * stride;
    stride *= size;
  }
  return static_cast<std::size_t>(position) < count ? position : -1;
}

// Finds the element of a num array that LocateStorage would find, popping
// its indexes; none when a check fails.
SETUP_ALWAYS_INLINE std::int32_t* ElementCell(Variable* var, int dims, std::int32_t* stack,
                                              int& top) {
  if (var->m_nType != ValueType::Num || !var->m_pArray) return nullptr;
  ArrayStore& store = *var->m_pArray;
  top -= dims;
  const std::int64_t place = ElementPlace(store, dims, stack + top, store.m_Nums.size());
  return place >= 0 ? &store.m_Nums[static_cast<std::size_t>(place)] : nullptr;
}

// The element of a string array that LocateStorage would find, its indexes
// at `indexes`; none when a check fails.
const std::optional<std::string>* ElementText(const Variable* var, int dims,
                                              const std::int32_t* indexes) {
  if (var->m_nType != ValueType::String || !var->m_pArray) return nullptr;
  const ArrayStore& store = *var->m_pArray;
  const std::int64_t place = ElementPlace(store, dims, indexes, store.m_Strings.size());
  return place >= 0 ? &store.m_Strings[static_cast<std::size_t>(place)] : nullptr;
}

SETUP_ALWAYS_INLINE bool IsNumScalar(const Variable* var) {
  return var->m_nType == ValueType::Num && !var->m_pArray;
}

// The frames of direct calls: num records for a frame's places (parameters,
// marker, locals), innermost last, reused from call to call. The records
// stay where they are while the lists grow.
std::deque<Variable> s_Cells;
std::vector<Variable*> s_CellList;
std::size_t s_nCellTop = 0;

class CellFrame {
 public:
  SETUP_ALWAYS_INLINE explicit CellFrame(std::size_t count) : m_nBase(s_nCellTop) {
    while (s_CellList.size() < m_nBase + count) {
      Variable& cell = s_Cells.emplace_back();
      cell.m_nType = ValueType::Num;
      cell.m_nSize = 4;
      s_CellList.push_back(&cell);
    }
    s_nCellTop = m_nBase + count;
  }
  ~CellFrame() { s_nCellTop = m_nBase; }
  CellFrame(const CellFrame&) = delete;
  CellFrame& operator=(const CellFrame&) = delete;

  // Valid until a nested frame may have grown the list.
  Variable* const* Cells() const { return s_CellList.data() + m_nBase; }
  // The same, for a frame that puts other variables in place of its cells.
  Variable** MutableCells() const { return s_CellList.data() + m_nBase; }

 private:
  std::size_t m_nBase;
};

int CallDirect(const LoopCall& call, const std::int32_t* args, std::int32_t& number);

// The leftover of a break or continue: one more in the run of leftovers on
// top of the value stack when that run is the same call's, or a new run. A
// run counts as that many leftovers wherever leftovers are popped (PopValue,
// LeaveFunction), so a loop of a million breaks costs one record instead of
// a million entries. A direct call's leftovers never join its caller's run:
// the call removes its own when it ends.
[[gnu::noinline]] void PushLeftover() {
  const std::size_t depth = theCallFrames.size();
  if (!theValueStack.empty() && depth < 0xFFFF) {
    Variable* top = theValueStack.back().get();
    if (top->m_bLeftoverRun && top->m_nRunDepth == depth) {
      ++top->m_nSavedFrameBase;
      return;
    }
  }
  VariablePtr run = NewNumValue();
  if (!run) {
    theValueStack.push_back(LeftoverValue());
    return;
  }
  run->m_nNum = 1;
  run->m_bLeftoverRun = true;
  run->m_nSavedFrameBase = 1;
  // At a depth too large to hold, every leftover starts a run of its own.
  run->m_nRunDepth = static_cast<std::uint16_t>(std::min<std::size_t>(depth, 0xFFFF));
  theValueStack.push_back(std::move(run));
}

int CallDirectText(const LoopCall& call, const LoopCode* body, const std::int32_t* args,
                   std::int32_t& number);

// The result of a direct body's return (Execute answers 2).
std::int32_t s_nDirectResult = 0;
// The result of a direct body of a string function: the text and size that
// the walk's value of the call would hold, moved out by the consumer.
std::optional<std::string> s_DirectText;
std::int32_t s_nDirectSize = 0;

int RunBuiltinCode(const LoopCode& code, std::int32_t index, Variable* const* slots,
                   const std::int32_t*& operands, std::optional<std::string>& text,
                   std::int32_t& number);

// Reads the text operand `text` as the walk's TextInPlace finds it, its
// nums taken from `operands` onwards: `out` points at the text (or at
// kNoText); a built-in's result lands in `owned`. 0 when a check fails, which
// the compiler allows only before anything ran.
int ReadText(const LoopCode& code, const LoopText& text, Variable* const* slots,
             const std::int32_t*& operands, const std::optional<std::string>*& out,
             std::optional<std::string>* owned) {
  switch (text.m_nKind) {
    case kTextLiteral:
      out = &LiteralText(code.m_Walked[static_cast<std::size_t>(text.m_nIndex)]->m_szText);
      return 1;
    case kTextName: {
      const Variable* var = slots[text.m_nSlot];
      if (var->m_nType != ValueType::String || var->m_pArray) return 0;
      out = &VariableText(*var);
      return 1;
    }
    case kTextElement: {
      const std::optional<std::string>* element =
          ElementText(slots[text.m_nSlot], text.m_nDims, operands);
      operands += text.m_nDims;
      if (element == nullptr) return 0;
      out = *element ? element : &kNoText;
      return 1;
    }
    default: {
      std::int32_t number = 0;
      if (owned == nullptr ||
          !RunBuiltinCode(code, text.m_nIndex, slots, operands, *owned, number)) {
        return 0;
      }
      out = owned;
      return 1;
    }
  }
}

// The arguments of built-in `call` as the handler reads them: nums from
// `operands` onwards, texts where they lie; a built-in among them leaves its
// result in `owned` (none when there is no such argument). False when an
// argument's check fails (nothing ran).
bool ReadBuiltinArgs(const LoopCode& code, const LoopBuiltin& call, Variable* const* slots,
                     const std::int32_t*& operands, BuiltinArg* args,
                     std::optional<std::string>* owned) {
  const LoopText* texts = code.m_Args.data() + call.m_nFirst;
  for (int k = 0; k < call.m_pEntry->nParamCount; ++k) {
    if (texts[k].m_nKind == kTextNum) {
      args[k].m_nType = ValueType::Num;
      args[k].m_nNum = *operands++;
      args[k].m_pText = &kNoText;
    } else {
      args[k].m_nType = ValueType::String;
      if (!ReadText(code, texts[k], slots, operands, args[k].m_pText,
                    owned != nullptr ? &owned[k] : nullptr)) {
        return false;
      }
    }
  }
  return true;
}

// Calls built-in `index` of `code` with its arguments as RunBuiltin makes
// them, its nums taken from `operands` onwards: the answer in `number`, a
// string result in `text`. 0 when an argument's check fails (nothing ran).
[[gnu::noinline]] int RunBuiltinCode(const LoopCode& code, std::int32_t index,
                                     Variable* const* slots, const std::int32_t*& operands,
                                     std::optional<std::string>& text, std::int32_t& number) {
  const LoopBuiltin& call = code.m_Builtins[static_cast<std::size_t>(index)];
  BuiltinArg args[kMaxBuiltinParams];
  if (!call.m_bNested) {
    // No built-in among the arguments: nothing to hold their results.
    if (!ReadBuiltinArgs(code, call, slots, operands, args, nullptr)) return 0;
  } else {
    std::optional<std::string> owned[kMaxBuiltinParams];
    if (!ReadBuiltinArgs(code, call, slots, operands, args, owned)) return 0;
    number = RunHandler(call.m_pNode, *call.m_pEntry, args, text);
    return 1;
  }
  number = RunHandler(call.m_pNode, *call.m_pEntry, args, text);
  return 1;
}

// kBuiltin: the num of built-in `index`, its operands at `operands`.
[[gnu::noinline]] int RunNumBuiltin(const LoopCode& code, std::int32_t index,
                                    Variable* const* slots, const std::int32_t* operands,
                                    std::int32_t& number) {
  std::optional<std::string> unused;
  return RunBuiltinCode(code, index, slots, operands, unused, number);
}

// kCompareText: the truth of comparison `index`, its operands at `operands`.
[[gnu::noinline]] int RunCompareText(const LoopCode& code, std::int32_t index,
                                     Variable* const* slots, const std::int32_t* operands,
                                     std::int32_t& truth) {
  const LoopCompare& compare = code.m_Compares[static_cast<std::size_t>(index)];
  const std::optional<std::string>* left = nullptr;
  const std::optional<std::string>* right = nullptr;
  std::optional<std::string> ownedLeft;
  std::optional<std::string> ownedRight;
  if (!ReadText(code, compare.m_Left, slots, operands, left, &ownedLeft) ||
      !ReadText(code, compare.m_Right, slots, operands, right, &ownedRight)) {
    return 0;
  }
  truth = CompareTexts(compare.m_nOp, *left, *right);
  return 1;
}

// Stores s_DirectText with `size` into `var`, as the walk's assignment
// (`declaration`: its declaration's initializer) stores a value, and clears
// it.
void StoreText(Variable& var, bool declaration, std::int32_t size) {
  if (declaration) {
    InitializeText(var, s_DirectText, size);
  } else {
    MoveText(var, var.m_szValue, s_DirectText, size);
  }
  s_DirectText.reset();
}

// The texts of `join` (literals and string names) in `parts`; their total
// length, or kNoJoin when a name does not hold a string scalar.
constexpr std::size_t kNoJoin = ~std::size_t{0};
std::size_t JoinTexts(const LoopCode& code, const LoopJoin& join, Variable* const* slots,
                      const std::optional<std::string>** parts) {
  const LoopText* arg = code.m_Args.data() + join.m_nFirst;
  std::size_t length = 0;
  for (std::int32_t i = 0; i < join.m_nCount; ++i) {
    if (arg[i].m_nKind == kTextLiteral) {
      parts[i] = &LiteralText(code.m_Walked[static_cast<std::size_t>(arg[i].m_nIndex)]->m_szText);
    } else {
      const Variable* var = slots[arg[i].m_nSlot];
      if (var->m_nType != ValueType::String || var->m_pArray) return kNoJoin;
      parts[i] = &VariableText(*var);
    }
    if (*parts[i]) length += (*parts[i])->size();
  }
  return length;
}

// The texts of `join` joined into `out` (a spare buffer when the text needs
// the heap), as the walk joins them: always a text, `length` its length. -1
// when the walk must run the statement (nothing done), 0 when the text would
// be too long in a direct body (reported as the walk reports it).
int JoinInto(const LoopCode& code, const LoopJoin& join, Variable* const* slots, bool direct,
             std::optional<std::string>& out, std::size_t& length) {
  const std::optional<std::string>* parts[kMaxChainTexts];
  length = JoinTexts(code, join, slots, parts);
  if (length == kNoJoin) return -1;
  if (length > kMaxTextLength) {
    if (!direct) return -1;
    return TextFits(length) ? 1 : 0;
  }
  SpareText(out, length);
  for (std::int32_t i = 0; i < join.m_nCount; ++i) {
    if (*parts[i]) out->append(**parts[i]);
  }
  return 1;
}

// The result of a string function's `return` of `join`, as the walk's value
// of it: a join of two texts or more (size = length + 1), or a string name
// alone, copied as IdValue copies it (its size, or none). In s_DirectText
// for a direct body, else left in the return slot with the return flag
// raised, as ReturnT does. -1 and 0 as for JoinInto.
[[gnu::noinline]] int ReturnJoin(const LoopCode& code, const LoopJoin& join, Variable* const* slots,
                                 bool direct) {
  std::optional<std::string>& out = direct ? s_DirectText : theReturnSlot.m_Value.m_szValue;
  std::int32_t size = 0;
  if (join.m_nCount == 1) {
    const Variable* var = slots[code.m_Args[static_cast<std::size_t>(join.m_nFirst)].m_nSlot];
    if (var->m_nType != ValueType::String || var->m_pArray) return -1;
    const std::optional<std::string>& text = VariableText(*var);
    if (text) {
      CopyText(out, *text);
      size = var->m_nSize;
    } else {
      out.reset();
    }
  } else {
    std::size_t length = 0;
    const int joined = JoinInto(code, join, slots, direct, out, length);
    if (joined <= 0) return joined;
    size = static_cast<std::int32_t>(length + 1);
  }
  if (direct) {
    s_nDirectSize = size;
  } else {
    Value& result = theReturnSlot.m_Value;  // blank while not held
    result.m_nType = ValueType::String;
    result.m_nSize = size;
    theReturnSlot.m_bHeld = true;
    theGlobal.m_bReturn = 1;
  }
  return 1;
}

// After the call of `join`: its result (s_DirectText) with the join's texts
// appended, as the walk appends each right operand to the left value; then
// stored into `var` as the walk's
// assignment (`declaration`: its declaration's initializer) stores a value.
// False when the text grew too long (reported).
[[gnu::noinline]] bool StoreJoin(const LoopCode& code, const LoopJoin& join, Variable* const* slots,
                                 Variable& var, bool declaration) {
  std::int32_t size = s_nDirectSize;
  if (join.m_nCount > 0) {
    // The walk checks the bound at each append; the length only grows, so
    // one check of the whole gives the same answer and report.
    const std::optional<std::string>* parts[kMaxChainTexts];
    const std::size_t added = JoinTexts(code, join, slots, parts);
    const std::size_t length = (s_DirectText ? s_DirectText->size() : 0) + added;
    // The names of a join are string scalars of the frame or globals, whose
    // types do not change: a text is always found.
    if (added == kNoJoin || !TextFits(length)) {
      s_DirectText.reset();
      return false;
    }
    if (!s_DirectText) s_DirectText.emplace();
    for (std::int32_t i = 0; i < join.m_nCount; ++i) {
      if (*parts[i]) s_DirectText->append(**parts[i]);
    }
    size = static_cast<std::int32_t>(length + 1);
  }
  StoreText(var, declaration, size);
  return true;
}

// The kStoreChain of `join` into `var`; -1 and 0 as for JoinInto.
[[gnu::noinline]] int StoreChain(const LoopCode& code, const LoopJoin& join, Variable* const* slots,
                                 Variable& var, bool declaration, bool direct) {
  std::size_t length = 0;
  const int joined = JoinInto(code, join, slots, direct, s_DirectText, length);
  if (joined <= 0) return joined;
  StoreText(var, declaration, static_cast<std::int32_t>(length + 1));
  return 1;
}

// Runs `code`: a loop's (`loop` its WhileT node) or a function body's (`loop`
// none), in the innermost frame on the value stack or, for a direct body, in
// the frame `cells`. -1, before anything ran, when a name of the code is not
// defined; 2 when a direct body returned (its num in s_nDirectResult).
// Aligned to a cache line: the speed of its dispatch depends on where its
// jumps fall in the line (measured up to 2x on the tightest loops), and
// without this an edit anywhere before it in the file moves them.
[[gnu::aligned(64)]] int Execute(SyntaxNode* loop, const LoopCode& code, Variable* const* cells) {
  const MachineFrame frame(code.m_Names.size(), cells != nullptr);
  Variable** slots = frame.Slots();
  // Every name of the code, as the walk would find it now; the frame and the
  // variables stay the same while the code runs.
  if (cells != nullptr) {
    // Read once: the stores to the slots could alias the lists.
    const std::size_t names = code.m_Names.size();
    const std::int32_t* places = code.m_Places.data();
    Variable* const* globals = code.m_Globals.data();
    for (std::size_t i = 0; i < names; ++i) {
      const std::int32_t place = places[i];
      slots[i] = place >= 0 ? cells[place] : globals[i];
    }
  } else {
    for (std::size_t i = 0; i < code.m_Names.size(); ++i) {
      SyntaxNode* name = code.m_Names[i];
      slots[i] = FindValueBound(*name->m_szText, name->m_Cache.m_Binding);
      if (slots[i] == nullptr) return -1;
    }
  }
  const auto get = [&slots](int slot) { return slots[slot]; };
  std::int32_t* stack = frame.Stack();
  int top = 0;
  const LoopInstr* const base = code.m_Code.data();
  const LoopInstr* pc = base;
  // The statement of the instruction just run, for the slow paths.
  const auto unitOf = [&code, base](const LoopInstr* next) {
    return code.m_UnitOf[static_cast<std::size_t>(next - 1 - base)];
  };
  for (;;) {
    const LoopInstr& in = *pc++;
    bool raising = false;  // the statement raised a flag
    switch (static_cast<LoopOp>(in.m_nOp)) {
      case kLiteral:
        stack[top++] = in.m_nValue;
        continue;
      case kName: {
        const Variable* var = get(in.m_nName);
        if (!IsNumScalar(var)) break;
        stack[top++] = var->m_nNum;
        continue;
      }
      case kElement: {
        const std::int32_t* cell = ElementCell(get(in.m_nName), in.m_nSub, stack, top);
        if (cell == nullptr) break;
        stack[top++] = *cell;
        continue;
      }
      case kAdd:
        --top;
        stack[top - 1] = Wrap(std::int64_t{stack[top - 1]} + stack[top]);
        continue;
      case kSub:
        --top;
        stack[top - 1] = Wrap(std::int64_t{stack[top - 1]} - stack[top]);
        continue;
      case kMul:
        --top;
        stack[top - 1] = Wrap(std::int64_t{stack[top - 1]} * stack[top]);
        continue;
      case kDiv:
        if (stack[top - 1] == 0) break;
        --top;
        stack[top - 1] = Quotient(stack[top - 1], stack[top]);
        continue;
      case kMod:
        if (stack[top - 1] == 0) break;
        --top;
        stack[top - 1] = Remainder(stack[top - 1], stack[top]);
        continue;
      case kLess:
        --top;
        stack[top - 1] = stack[top - 1] < stack[top] ? 1 : 0;
        continue;
      case kGreater:
        --top;
        stack[top - 1] = stack[top - 1] > stack[top] ? 1 : 0;
        continue;
      case kOther:
        --top;
        stack[top - 1] = NumOperator(in.m_nValue, stack[top - 1], stack[top]);
        continue;
      case kAddK:
        stack[top - 1] = Wrap(std::int64_t{stack[top - 1]} + in.m_nValue);
        continue;
      case kSubK:
        stack[top - 1] = Wrap(std::int64_t{stack[top - 1]} - in.m_nValue);
        continue;
      case kMulK:
        stack[top - 1] = Wrap(std::int64_t{stack[top - 1]} * in.m_nValue);
        continue;
      case kDivK:
        stack[top - 1] = Quotient(stack[top - 1], in.m_nValue);
        continue;
      case kModK:
        stack[top - 1] = Remainder(stack[top - 1], in.m_nValue);
        continue;
      case kLessK:
        stack[top - 1] = stack[top - 1] < in.m_nValue ? 1 : 0;
        continue;
      case kGreaterK:
        stack[top - 1] = stack[top - 1] > in.m_nValue ? 1 : 0;
        continue;
      case kOtherK:
        stack[top - 1] = NumOperator(in.m_nSub, stack[top - 1], in.m_nValue);
        continue;
      case kStore: {
        Variable* var = get(in.m_nName);
        if (!IsNumScalar(var)) break;
        var->m_nNum = stack[--top];
        continue;
      }
      case kStoreK: {
        Variable* var = get(in.m_nName);
        if (!IsNumScalar(var)) break;
        var->m_nNum = in.m_nValue;
        continue;
      }
      case kStoreElement: {
        const std::int32_t value = stack[--top];
        std::int32_t* cell = ElementCell(get(in.m_nName), in.m_nSub, stack, top);
        if (cell == nullptr) break;
        *cell = value;
        continue;
      }
      case kUpdate: {
        Variable* var = get(in.m_nName);
        const std::int32_t r = stack[top - 1];
        if (!IsNumScalar(var) ||
            (r == 0 && (in.m_nValue == TK_SLASH_ASSIGN || in.m_nValue == TK_PERCENT_ASSIGN))) {
          break;
        }
        --top;
        UpdateCell(in.m_nValue, var->m_nNum, r);
        continue;
      }
      case kUpdateK: {
        // The literal is not 0, so a division by it cannot fail.
        Variable* var = get(in.m_nName);
        if (!IsNumScalar(var)) break;
        UpdateCell(in.m_nSub, var->m_nNum, in.m_nValue);
        continue;
      }
      case kUpdateElement: {
        const std::int32_t r = stack[--top];
        if (r == 0 && (in.m_nValue == TK_SLASH_ASSIGN || in.m_nValue == TK_PERCENT_ASSIGN)) break;
        std::int32_t* cell = ElementCell(get(in.m_nName), in.m_nSub, stack, top);
        if (cell == nullptr) break;
        UpdateCell(in.m_nValue, *cell, r);
        continue;
      }
      case kLoopTest:
        // The walk counts the pass after the condition and fails the loop
        // when the budget is used up.
        if (!TakePass()) return FailUnit(code, unitOf(pc));
        [[fallthrough]];
      case kJumpIfZero:
        if (stack[--top] == 0) pc = base + in.m_nValue;
        continue;
      case kJump:
        pc = base + in.m_nValue;
        continue;
      case kBreak:
      case kContinue: {
        PushLeftover();
        if (in.m_nOp == kBreak) {
          theGlobal.m_bBreak = 1;
        } else {
          theGlobal.m_bContinue = 1;
        }
        raising = true;
        break;
      }
      case kSwitch: {
        const std::int32_t selector = stack[--top];
        const LoopSwitch& table = code.m_Switches[static_cast<std::size_t>(in.m_nValue)];
        std::int32_t target = table.m_nDefault;
        const LoopCase* c = code.m_Cases.data() + table.m_nFirst;
        for (const LoopCase* end = c + table.m_nCount; c != end; ++c) {
          if (c->m_nLabel == selector) {
            target = c->m_nTarget;
            break;
          }
        }
        pc = base + target;
        continue;
      }
      case kSwitchText: {
        const Variable* var = get(in.m_nName);
        if (var->m_nType != ValueType::String || var->m_pArray) break;
        const std::optional<std::string>& text = VariableText(*var);
        const LoopSwitch& table = code.m_Switches[static_cast<std::size_t>(in.m_nValue)];
        std::int32_t target = table.m_nDefault;
        const LoopCase* c = code.m_Cases.data() + table.m_nFirst;
        for (const LoopCase* end = c + table.m_nCount; c != end; ++c) {
          const NodeText& label = c->m_pSection->m_szText;
          if (text ? (label && *label == *text) : !label) {
            target = c->m_nTarget;
            break;
          }
        }
        pc = base + target;
        continue;
      }
      case kStoreText:
      case kStoreTextName:
      case kStoreTextElement: {
        Variable* var = get(in.m_nName);
        if (var->m_nType != ValueType::String || var->m_pArray) break;
        // The text as the walk's value carries it: none, or its bytes.
        const std::optional<std::string>* text = &kNoText;
        std::int32_t size = -1;  // the text's length + 1 unless a name gives its own
        if (in.m_nOp == kStoreText) {
          text = &LiteralText(code.m_Walked[static_cast<std::size_t>(in.m_nValue)]->m_szText);
        } else if (in.m_nOp == kStoreTextName) {
          const Variable* from = get(in.m_nValue);
          if (from->m_nType != ValueType::String || from->m_pArray) break;
          if (from->m_nSize > 0 && from->m_szValue) {
            text = &from->m_szValue;
            size = from->m_nSize;
          }
        } else {
          top -= in.m_nSub;
          const std::optional<std::string>* element =
              ElementText(get(in.m_nValue), in.m_nSub, stack + top);
          if (element == nullptr) break;
          text = element;
        }
        if (text == &var->m_szValue) continue;  // the variable onto itself
        if (*text) {
          var->m_szValue = **text;
          var->m_nSize = size >= 0 ? size : static_cast<std::int32_t>(var->m_szValue->size() + 1);
        } else {
          var->m_szValue.reset();
          var->m_nSize = 0;
        }
        continue;
      }
      case kStoreJoin: {
        // The target's check comes first, as the walk's assignment looks at
        // the target before it runs the value.
        const Variable* target = get(in.m_nName);
        if (target->m_nType != ValueType::String || target->m_pArray) break;
        const LoopJoin& join = code.m_Joins[static_cast<std::size_t>(in.m_nValue)];
        const LoopCall& call = code.m_Calls[static_cast<std::size_t>(join.m_nCall)];
        std::int32_t number = 0;
        const int done = CallDirect(call, stack + top - call.m_nNums, number);
        if (done < 0) break;  // the walk makes the call, nothing done yet
        if (done == 0) return FailUnit(code, unitOf(pc));
        top -= call.m_nNums;
        slots = frame.Slots();
        stack = frame.Stack();
        if (!StoreJoin(code, join, slots, *get(in.m_nName), in.m_nSub != 0)) {
          return FailUnit(code, unitOf(pc));
        }
        continue;
      }
      case kStoreChain: {
        Variable* var = get(in.m_nName);
        if (var->m_nType != ValueType::String || var->m_pArray) break;
        const LoopJoin& join = code.m_Joins[static_cast<std::size_t>(in.m_nValue)];
        const int done = StoreChain(code, join, slots, *var, in.m_nSub != 0, frame.Direct());
        if (done < 0) break;
        if (done == 0) return FailUnit(code, unitOf(pc));
        continue;
      }
      case kWalkOperand: {
        Value other;
        std::int32_t number = 0;
        // A call with a num result gives a num or fails.
        if (EvalInt(code.m_Walked[static_cast<std::size_t>(in.m_nValue)], number, other) != 1) {
          return FailUnit(code, unitOf(pc));
        }
        slots = frame.Slots();
        stack = frame.Stack();
        stack[top++] = number;
        continue;
      }
      case kBuiltin: {
        top -= code.m_Builtins[static_cast<std::size_t>(in.m_nValue)].m_nNums;
        std::int32_t number = 0;
        if (!RunNumBuiltin(code, in.m_nValue, slots, stack + top, number)) break;
        stack[top++] = number;
        continue;
      }
      case kCompareText: {
        top -= code.m_Compares[static_cast<std::size_t>(in.m_nValue)].m_nNums;
        std::int32_t truth = 0;
        if (!RunCompareText(code, in.m_nValue, slots, stack + top, truth)) break;
        stack[top++] = truth;
        continue;
      }
      case kCall: {
        const LoopCall& call = code.m_Calls[static_cast<std::size_t>(in.m_nValue)];
        top -= call.m_nNums;
        std::int32_t number = 0;
        int done = CallDirect(call, stack + top, number);
        if (done < 0) {
          // The walk makes the call, its arguments evaluated afresh (they
          // have no effects). A direct body only calls direct bodies.
          if (frame.Direct()) return FailUnit(code, unitOf(pc));
          Value other;
          done = EvalInt(call.m_pNode, number, other) == 1 ? 1 : 0;
        }
        if (done == 0) return FailUnit(code, unitOf(pc));
        slots = frame.Slots();
        stack = frame.Stack();
        stack[top++] = number;
        continue;
      }
      case kReturn: {
        if (frame.Direct()) {
          // Straight to CallDirect, which clears the flag anyway.
          s_nDirectResult = stack[--top];
          return 2;
        }
        Value& result = theReturnSlot.m_Value;  // blank while not held
        result.m_nType = ValueType::Num;
        result.m_nSize = 4;
        result.m_nNum = stack[--top];
        result.m_szValue.reset();
        theReturnSlot.m_bHeld = true;
        theGlobal.m_bReturn = 1;
        // Every construct around a return passes the flag up and ends (Raise
        // would end with kRaiseDone): the code is done.
        return 1;
      }
      case kReturnText: {
        const LoopJoin& join = code.m_Joins[static_cast<std::size_t>(in.m_nValue)];
        const std::int32_t done = ReturnJoin(code, join, slots, frame.Direct());
        if (done < 0) break;
        if (done == 0) return FailUnit(code, unitOf(pc));
        return frame.Direct() ? 2 : 1;
      }
      case kWalk:
        break;
      case kEnd:
        return 1;
    }

    const std::int32_t unit = unitOf(pc);
    if (!raising) {
      // The statement goes to the tree walk; it has changed nothing yet. A
      // direct body has no statement that gets here.
      if (frame.Direct()) return FailUnit(code, unit);
      top = 0;
      if (unit == 0) return WhileWalk(loop);  // the loop's own condition (never in a body)
      const LoopUnit& u = code.m_Units[static_cast<std::size_t>(unit)];
      if (!GenerateOne(u.m_pNode)) return Unwind(code, u.m_nContext);
      slots = frame.Slots();
      stack = frame.Stack();
      pc = base + u.m_nResume;
      if (!theGlobal.m_bBreak && !theGlobal.m_bContinue && !theGlobal.m_bReturn) continue;
    }
    // The flag travels up the constructs around the statement.
    std::int32_t next = 0;
    const RaiseResult raised = Raise(code, unit, next);
    if (raised == kRaiseDone) return 1;
    if (raised == kRaiseFailed) return 0;
    slots = frame.Slots();
    stack = frame.Stack();
    pc = base + next;
  }
}

// The end of a direct call once its frame of cells is set: the body, the
// report of a failure, the leftovers and the frame record dropped, and the
// result (the empty num for a body that ends without a return).
SETUP_ALWAYS_INLINE int RunDirectBody(const LoopCall& call, const LoopCode& body,
                                      Variable* const* cells, const char* name,
                                      std::int32_t& number) {
  // Leftovers of break and continue stay on the value stack until the call
  // ends, as they stay in a frame there.
  const std::size_t mark = theValueStack.size();
  const int ran = Execute(nullptr, body, cells);
  if (ran == 2) {
    number = s_nDirectResult;
  } else if (ran == 1) {
    // A body that just ends gives the declared type's empty value.
    number = 0;
    if (body.m_bTextResult) {
      s_DirectText.reset();
      s_nDirectSize = 0;
    }
  } else {
    if (!RunAbandoned()) ReportError("Generate '%s' failed.", name);
    if (theGlobal.m_pObserver != nullptr) ObserveReturn(call.m_pNode, nullptr);
    CallTail(name);
    return EvalFailed();
  }
  while (theValueStack.size() > mark) theValueStack.pop_back();
  if (!LeaveFrame()) return EvalFailed();
  theGlobal.m_bReturn = 0;
  if (theGlobal.m_pObserver != nullptr) {
    if (body.m_bTextResult) {
      ObserveDirectReturn(call.m_pNode, s_DirectText, s_nDirectSize);
    } else {
      ObserveDirectReturn(call.m_pNode, number);
    }
  }
  return 1;
}

// The frame of a direct body with texts. A string parameter borrows its
// argument's variable where there is one (a name, or the literal's constant
// in the caller's code): no direct body assigns a string, and nothing it
// calls does, so that variable holds the text the parameter would hold
// until the call ends. Other string parameters and string locals are cells
// holding copies, as BindArguments and FreshLocal make them. On leaving, the
// cells are put back and left as they are outside a running frame: nums
// without text, which the frames of num bodies rely on.
class TextFrame {
 public:
  TextFrame(const CellFrame& frame, std::size_t count) : m_Frame(frame), m_nCount(count) {}
  ~TextFrame() {
    Variable** cells = m_Frame.MutableCells();
    for (std::size_t i = 0; i < m_nBorrowed; ++i) cells[m_Borrowed[i]] = m_Own[i];
    for (std::size_t i = 0; i < m_nCount; ++i) {
      Variable& cell = *cells[i];
      if (cell.m_nType != ValueType::String) continue;
      if (cell.m_szValue) {
        KeepSpareText(cell.m_szValue);
        cell.m_szValue.reset();
      }
      cell.m_nType = ValueType::Num;
      cell.m_nSize = 4;
    }
  }
  TextFrame(const TextFrame&) = delete;
  TextFrame& operator=(const TextFrame&) = delete;

  // Parameter `i` is `var` itself while the call runs.
  void Borrow(std::size_t i, Variable* var) {
    Variable** cells = m_Frame.MutableCells();
    m_Borrowed[m_nBorrowed] = i;
    m_Own[m_nBorrowed++] = cells[i];
    cells[i] = var;
  }

 private:
  const CellFrame& m_Frame;
  std::size_t m_nCount;
  std::size_t m_nBorrowed = 0;
  // The first m_nBorrowed entries are set.
  std::size_t m_Borrowed[kMaxTextParams];
  Variable* m_Own[kMaxTextParams];
};

// Sets `cell` to a string holding `text` (none, or a copy) with `size`.
void SetTextCell(Variable& cell, const std::optional<std::string>& text, std::int32_t size) {
  cell.m_nType = ValueType::String;
  if (text) {
    CopyText(cell.m_szValue, *text);
    cell.m_nSize = size;
  } else {
    cell.m_szValue.reset();
    cell.m_nSize = 0;
  }
}

// CallDirect for a body with string parameters or locals. The string
// arguments are found in the caller's code and name slots (the innermost
// machine's) before anything runs; -1 when an element argument fails its
// check (nothing done).
[[gnu::noinline]] int CallDirectText(const LoopCall& call, const LoopCode* body,
                                     const std::int32_t* args, std::int32_t& number) {
  FunctionEntry* function = call.m_pFunction;
  const auto params = static_cast<std::size_t>(body->m_nParams);
  // Per parameter: the variable it borrows, or the text it copies (an
  // element), or its num.
  Variable* borrowed[kMaxTextParams];
  const std::optional<std::string>* texts[kMaxTextParams];
  std::int32_t nums[kMaxTextParams];
  if (call.m_nTexts >= 0) {
    const LoopCode* code = call.m_pOwner;
    Variable* const* slots = s_Slots.data() + (s_nSlotTop - code->m_Names.size());
    const LoopText* arg = code->m_Args.data() + call.m_nTexts;
    const std::int32_t* operand = args;
    for (std::size_t i = 0; i < params; ++i) {
      borrowed[i] = nullptr;
      texts[i] = nullptr;
      switch (arg[i].m_nKind) {
        case kTextNum:
          nums[i] = *operand++;
          break;
        case kTextName: {
          Variable* var = slots[arg[i].m_nSlot];
          if (var->m_nType != ValueType::String || var->m_pArray) return -1;
          // IdValue's copy keeps the size and drops a text the size denies;
          // the variable is the same value unless the two disagree.
          if ((var->m_nSize > 0) == var->m_szValue.has_value()) {
            borrowed[i] = var;
          } else {
            texts[i] = &kNoText;
          }
          break;
        }
        case kTextLiteral:
          borrowed[i] = &code->m_Constants[static_cast<std::size_t>(arg[i].m_nSlot)];
          break;
        default:  // an element: no built-in is an argument of a call
          if (!ReadText(*code, arg[i], slots, operand, texts[i], nullptr)) return -1;
          break;
      }
    }
  }
  if (!MayRun()) return EvalFailed();
  const char* name = call.m_pNode->m_szText->c_str();
  if (!TakePass()) {
    CallTail(name);
    return EvalFailed();
  }
  EnterFrame(function);
  const auto count = static_cast<std::size_t>(body->m_nCells);
  const CellFrame frame(count);
  TextFrame textFrame(frame, count);
  for (std::size_t i = 0; i < params; ++i) {
    if (call.m_nTexts < 0) {
      frame.Cells()[i]->m_nNum = args[i];
    } else if (borrowed[i] != nullptr) {
      textFrame.Borrow(i, borrowed[i]);
    } else if (texts[i] != nullptr) {
      // SetText's copy of an element's text: size = length + 1.
      const std::optional<std::string>& text = *texts[i];
      SetTextCell(*frame.Cells()[i], text, text ? static_cast<std::int32_t>(text->size() + 1) : 0);
    } else {
      frame.Cells()[i]->m_nNum = nums[i];
    }
  }
  Variable* const* cells = frame.Cells();
  for (std::size_t i = params + 1; i < count; ++i) {
    const Variable& local = *function->m_Locals[i - 1];
    if (local.m_nType == ValueType::Num) {
      cells[i]->m_nNum = local.m_nNum;
    } else {
      SetTextCell(*cells[i], local.m_nSize >= 1 ? local.m_szValue : kNoText, local.m_nSize);
      cells[i]->m_nSize = local.m_nSize;
    }
  }
  if (theGlobal.m_pObserver != nullptr) ObserveDirectCall(call.m_pNode, *function, cells);
  return RunDirectBody(call, *body, cells, name, number);
}

// Calls the script function of `call` with `args` as RunCall does (the
// checks, the pass, the frame record, the reports on failure, the result),
// when its body is direct: its frame is then a set of cells instead of
// records on the value stack, which only the walk's lookup needs. -1 when
// the body is not direct (nothing done), 0 on failure.
[[gnu::noinline]] int CallDirect(const LoopCall& call, const std::int32_t* args,
                                 std::int32_t& number) {
  FunctionEntry* function = call.m_pFunction;
  const LoopCode* body = call.m_pDirect;
  if (body == nullptr) {
    // A body with texts is kept apart, so that num calls test nothing more.
    if (call.m_pDirectText != nullptr)
      return CallDirectText(call, call.m_pDirectText, args, number);
    body = DirectBody(function);
    if (body == nullptr) return -1;
    if (body->m_bTextCells) {
      call.m_pDirectText = body;
      return CallDirectText(call, body, args, number);
    }
    call.m_pDirect = body;
  }
  if (!MayRun()) return EvalFailed();
  const char* name = call.m_pNode->m_szText->c_str();
  if (!TakePass()) {
    CallTail(name);
    return EvalFailed();
  }
  if (theGlobal.m_pObserver != nullptr) ObserveDirectCall(call.m_pNode, *function, args);
  EnterFrame(function);
  const auto params = static_cast<std::size_t>(body->m_nParams);
  const auto count = static_cast<std::size_t>(body->m_nCells);
  const CellFrame frame(count);
  Variable* const* cells = frame.Cells();
  for (std::size_t i = 0; i < params; ++i) cells[i]->m_nNum = args[i];
  for (std::size_t i = params + 1; i < count; ++i) {
    cells[i]->m_nNum = function->m_Locals[i - 1]->m_nNum;
  }
  return RunDirectBody(call, *body, cells, name, number);
}

}  // namespace

int RunLoopCode(SyntaxNode* node) {
  if (node->m_Cache.m_Loop.State() == 2 || !FastPathsMayRun()) return -1;
  const LoopCode* code = CodeOf(node, nullptr);
  if (code == nullptr) return -1;
  return Execute(node, *code, nullptr);
}

int RunBodyCode(SyntaxNode* definition, SyntaxNode* body) {
  if (body == nullptr || definition->m_Cache.m_Loop.State() == 2 || !FastPathsMayRun()) {
    return -1;
  }
  const LoopCode* code = CodeOf(definition, body);
  if (code == nullptr) return -1;
  return Execute(nullptr, *code, nullptr);
}

void ReleaseLoopSlots() {
  s_DirectText.reset();
  s_nDirectSize = 0;
  std::vector<Variable*>().swap(s_Slots);
  s_nSlotTop = 0;
  std::vector<std::int32_t>().swap(s_Numbers);
  s_nNumberTop = 0;
  std::deque<Variable>().swap(s_Cells);
  std::vector<Variable*>().swap(s_CellList);
  s_nCellTop = 0;
}

}  // namespace setup
