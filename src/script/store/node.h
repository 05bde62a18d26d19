// The syntax tree that the interpreter executes directly, and its dispatcher.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/hash.h"
#include "script/store/text.h"
#include "script/store/value.h"

namespace setup {

// What a node stands for; codes are the evaluators' table indexes.
enum class NodeKind : std::uint8_t {
  ItemT = 0,
  IfT = 2,
  WhileT = 4,
  AssignT = 5,
  AssignInitializingT = 6,
  SwitchT = 7,
  CaseT = 8,
  DefaultT = 9,
  MsCallT = 10,
  OpT = 11,
  IdT = 12,
  Id_ArrayT = 13,
  NumT = 14,
  CallT = 15,
  ConstT = 16,
  BreakT = 17,
  ReturnT = 19,
  ContinueT = 20,
  StringT = 21,
  InLineFunT = 22,
  ExternalFunT = 23,
  ArrayContentT = 24,
};

struct SyntaxNode;
// Returns a node to the run's node arena (see NewNode).
struct NodeRelease {
  void operator()(SyntaxNode* node) const noexcept;
};
using NodePtr = std::unique_ptr<SyntaxNode, NodeRelease>;
struct FunctionEntry;
struct BuiltinEntry;

// Where the name of an IdT or Id_ArrayT node was found the last time the node
// ran: the same lookup as FindValue, remembered for the function whose frame
// was innermost. A frame of one function always holds the same names at the
// same places (parameters, marker, locals), and the globals do not change
// while a script runs, so the remembered place is the one the lookup would
// find again as long as the innermost frame belongs to the same function.
// Two 32-bit words, so that the run cache of every node stays one word: the
// function's id (FunctionEntry::m_nId, 0 at top level), and the place: a
// frame slot (slot << 2 | 1), a global (its position among the globals, from
// 1, << 2 | 2; 0 << 2 | 2 when the name is undefined), or 0 before the first
// lookup.
class NameBinding {
 public:
  NameBinding() = default;
  static NameBinding Global(std::uint32_t function, std::uint32_t position) {
    return NameBinding(function, (position << 2) | kGlobalTag);
  }
  static NameBinding Slot(std::uint32_t function, std::int32_t slot) {
    return NameBinding(function, (static_cast<std::uint32_t>(slot) << 2) | kSlotTag);
  }

  bool Valid() const { return m_nPlace != 0; }
  // The id of the innermost frame's function when the place was found.
  std::uint32_t Function() const { return m_nFunction; }
  bool IsGlobal() const { return (m_nPlace & 3) == kGlobalTag; }
  // The global's position among the globals, from 1; 0 when the name is
  // undefined. Only for IsGlobal.
  std::uint32_t GlobalPosition() const { return m_nPlace >> 2; }
  // The place in the frame from its first parameter. Only when not IsGlobal.
  std::int32_t FrameSlot() const { return static_cast<std::int32_t>(m_nPlace >> 2); }

 private:
  static constexpr std::uint32_t kSlotTag = 1;
  static constexpr std::uint32_t kGlobalTag = 2;
  NameBinding(std::uint32_t function, std::uint32_t place)
      : m_nFunction(function), m_nPlace(place) {}

  std::uint32_t m_nFunction = 0;
  std::uint32_t m_nPlace = 0;
};

// A pointer that a node looks up once, with the state of the lookup in the
// same word: 0 not looked up yet, 1 looked up and none (or not possible),
// else the pointer.
template <typename T>
struct CachedPtr {
  std::uintptr_t m_nBits;

  // 0 not looked up, 1 found, 2 looked up and none.
  int State() const { return m_nBits == 0 ? 0 : m_nBits == 1 ? 2 : 1; }
  T* Get() const { return m_nBits > 1 ? reinterpret_cast<T*>(m_nBits) : nullptr; }
  void Set(T* pointer) {
    m_nBits = pointer != nullptr ? reinterpret_cast<std::uintptr_t>(pointer) : 1;
  }
};

// An operator tree on nums (operators that fold, num literals, names, num
// array elements) in postfix order, for evaluation without the tree walk. Built by the
// interpreter on the tree's first execution and owned by the tree's top node.
struct NumStep {
  // 0 literal (m_nValue), 1 name (m_pName), 2 operator (m_nValue), 3 array
  // element (m_pName; m_nValue indexes on the stack, first one lowest)
  std::int32_t m_nKind;
  std::int32_t m_nValue;  // the literal's number, the operator's token code, the index count
  SyntaxNode* m_pName;    // the IdT or Id_ArrayT node of a name
};
struct NumProgram {
  std::unique_ptr<NumStep[]> m_pSteps;
  std::int32_t m_nCount = 0;
};

// A while statement compiled for the loop machine (script/interp/loop.cpp):
// its condition, and the statements of its body that compute on nums, as a
// flat instruction list; every other statement stays a tree that the machine
// hands to the tree walk. Built on the loop's first execution and owned by
// the WhileT node.
struct LoopInstr {
  std::uint8_t m_nOp;     // LoopOp (loop.cpp)
  std::uint8_t m_nSub;    // operator of a compound assignment, index count of an element
  std::int16_t m_nName;   // name slot
  std::int32_t m_nValue;  // literal, jump target, unit or switch index
};
// A statement of the loop: what the tree walk runs when the machine hands the
// statement over, where the machine goes on after it, and where it sits.
struct LoopUnit {
  SyntaxNode* m_pNode;
  SyntaxNode* m_pSection;   // the switch section holding it directly, or none
  std::int32_t m_nResume;   // the instruction after the statement
  std::int32_t m_nContext;  // innermost if, while or switch around it; -1 for the loop itself
};
// An if, while or switch of the loop, the loop itself being context 0.
struct LoopContext {
  SyntaxNode* m_pNode;
  std::int32_t m_nUnit;    // the statement that the construct is
  std::int32_t m_nParent;  // -1 for the loop itself
  std::int32_t m_nTop;     // while: its condition; switch: unused
  std::int32_t m_nExit;    // while, switch: the instruction after it
};
struct LoopCase {
  std::int32_t m_nLabel;
  std::int32_t m_nTarget;
  const SyntaxNode* m_pSection;  // the CaseT node (its text: a string label)
};
struct LoopSwitch {
  std::int32_t m_nFirst;  // its cases in m_Cases, in section order
  std::int32_t m_nCount;
  std::int32_t m_nDefault;  // the default section's first instruction, else the exit
};
// A call of a script function whose arguments the machine computes: the
// CallT node, the callee and how many arguments it takes.
struct LoopCode;
struct LoopCall {
  SyntaxNode* m_pNode;
  FunctionEntry* m_pFunction;
  const LoopCode* m_pOwner;  // the code making the call
  std::int32_t m_nArgs;
  // Operand stack entries of the arguments (nums and element indexes).
  std::int32_t m_nNums;
  // With a string parameter, the arguments as texts are read: m_Args
  // [m_nTexts] onwards, one per parameter; -1 when every parameter is a num.
  std::int32_t m_nTexts;
  // The callee's body once it is known to run direct (that holds for the
  // run): in m_pDirectText when its frame holds texts.
  mutable const LoopCode* m_pDirect = nullptr;
  mutable const LoopCode* m_pDirectText = nullptr;
};
// A built-in's argument or a compared string, as the machine reads it when
// the call or the comparison runs: a num from the operand stack, a string
// literal (m_Walked[m_nIndex]), a string scalar or element (name slot
// m_nSlot; an element's m_nDims indexes on the operand stack), or the text
// of a string built-in (m_Builtins[m_nIndex]).
struct LoopText {
  std::uint8_t m_nKind;
  std::uint8_t m_nDims;
  std::int16_t m_nSlot;
  std::int32_t m_nIndex;
};
// A built-in call: its arguments are m_Args[m_nFirst] onwards, one per
// parameter; m_nNums operand stack entries belong to it (its own and those of
// the built-ins among its arguments).
struct LoopBuiltin {
  SyntaxNode* m_pNode;
  const BuiltinEntry* m_pEntry;
  std::int32_t m_nFirst;
  std::int32_t m_nNums;
  bool m_bNested;  // a built-in among its arguments
};
// A comparison of two strings (token m_nOp); m_nNums as for LoopBuiltin.
struct LoopCompare {
  LoopText m_Left;
  LoopText m_Right;
  std::int32_t m_nOp;
  std::int32_t m_nNums;
};
// A text joined by +: a string function's `return` of literals and string
// names (`root + "\" + leaf`), or a call of a string function (m_Calls
// [m_nCall]) with literals and names after it. The literals and names are
// m_Args[m_nFirst] onwards, leftmost first.
struct LoopJoin {
  std::int32_t m_nFirst;
  std::int32_t m_nCount;
  std::int32_t m_nCall;  // -1: none
};
struct LoopCode {
  std::vector<LoopInstr> m_Code;
  std::vector<std::int32_t> m_UnitOf;  // the statement (unit) of each instruction
  std::vector<LoopUnit> m_Units;
  std::vector<LoopContext> m_Contexts;
  std::vector<SyntaxNode*> m_Names;   // nodes naming a variable, one per name slot
  std::vector<SyntaxNode*> m_Walked;  // operands for the tree walk, string literals stored
  std::vector<LoopCase> m_Cases;
  std::vector<LoopSwitch> m_Switches;
  std::vector<LoopCall> m_Calls;
  std::vector<const FunctionEntry*> m_Callees;  // of m_Calls, once each, without itself
  std::vector<LoopBuiltin> m_Builtins;
  std::vector<LoopText> m_Args;  // of m_Builtins, m_Calls and m_Joins
  std::vector<LoopCompare> m_Compares;
  std::vector<LoopJoin> m_Joins;
  // String literals as arguments of m_Calls, as parameters hold them; the
  // callee's frame borrows them and never writes to them.
  mutable std::deque<Variable> m_Constants;
  // A body that can run in a frame of plain cells (m_bDirectBody): where each
  // name slot lives, a place in the frame (parameters, marker, locals) or a
  // global (-1, the variable in m_Globals).
  std::vector<std::int32_t> m_Places;
  std::vector<Variable*> m_Globals;
  std::int32_t m_nParams = 0;  // a direct body's parameters
  std::int32_t m_nCells = 0;   // and cells: parameters, marker, locals
  bool m_bDirectBody = false;
  bool m_bTextCells = false;   // a direct body with a string parameter or local
  bool m_bTextResult = false;  // a direct body of a string function
  std::uint8_t m_nDirect = 0;  // whether the body runs direct, decided by the machine
};

// The run-time part of a node, none of it visible to a script. Which member
// is in use follows from the node's kind.
union RunCache {
  RunCache() : m_nBits(0) {}
  std::uintptr_t m_nBits;  // all zero on a new node
  NameBinding m_Binding;   // IdT, Id_ArrayT: where the name lives
  // CallT: the callee (FindFunction of m_szText); the function table does not
  // change during a run.
  CachedPtr<FunctionEntry> m_Call;
  // InLineFunT: the built-in table's row.
  CachedPtr<const BuiltinEntry> m_Builtin;
  // OpT: the tree's num program, owned here; none when not possible.
  CachedPtr<NumProgram> m_Num;
  // WhileT: the compiled loop; ExternalFunT: the compiled body; owned here.
  CachedPtr<LoopCode> m_Loop;
  // ArrayContentT: the initializer's element values, owned by the node and
  // set when it is parsed (SetArray).
  ArrayStore* m_pArray;
  // NumT: the literal's number (once m_bNumKnown); CaseT: a num label;
  // ConstT: a num constant.
  std::int32_t m_nValue;
};
static_assert(sizeof(RunCache) == 8, "the run cache is one 64-bit word");

// One node. A node owns its children, its item list, its array initializer
// and everything chained behind it through m_pNext. Nodes live in the run's
// node arena; the fields are ordered to leave no padding (64 bytes on a
// 64-bit build): a large script makes millions of them.
struct SyntaxNode {
  NodePtr m_pNext;  // next statement of a list / next item
  NodePtr m_pChild0;
  NodePtr m_pChild1;
  NodePtr m_pChild2;
  NodePtr m_pItems;        // first node of the item list
  NodeText m_szText;       // name or literal text; none for ""
  RunCache m_Cache;        // filled by the node's first execution (or its parse)
  std::int16_t m_nOp = 0;  // operator token code of an OpT
  ValueType m_nElemType = ValueType::None;
  ValueType m_nConstType = ValueType::None;
  ValueType m_nType = ValueType::None;  // static type of the expression
  NodeKind m_nKind = NodeKind::ItemT;
  bool m_bNumKnown = false;  // NumT: m_Cache.m_nValue holds m_szText converted
  // Another node consumes this node's value (an operand, an argument, an
  // initializer), as opposed to a statement, whose value nobody takes.
  bool m_bConsumed = false;

  // The element values of an ArrayContentT node; none for other kinds.
  ArrayStore* Array() const {
    return m_nKind == NodeKind::ArrayContentT ? m_Cache.m_pArray : nullptr;
  }
  // Hands the element values to an ArrayContentT node (which frees any it held).
  void SetArray(std::unique_ptr<ArrayStore> store);

  SyntaxNode() = default;
  // Releases the subtrees and the m_pNext chain without deep recursion.
  ~SyntaxNode();
  SyntaxNode(const SyntaxNode&) = delete;
  SyntaxNode& operator=(const SyntaxNode&) = delete;
};
static_assert(sizeof(void*) != 8 || sizeof(SyntaxNode) == 64, "a node grew");

// Releases the num program of an OpT node, which then runs without one.
void DropNumProgram(SyntaxNode& node);
// Releases the compiled loop of a WhileT node or body of an ExternalFunT node.
void DropLoopCode(SyntaxNode& node);
// A zeroed node of `kind` from the run's node arena; none when memory runs
// out.
NodePtr NewNode(NodeKind kind);
// Frees the node in the holder (and its chain) and clears the holder.
void FreeNode(NodePtr& holder);
// Nodes made and not yet freed (for tests of the release).
std::size_t LiveNodeCount();
// Gives the node arena's blocks and the name pool back to the heap once no
// node is left; FreeAll calls it after emptying the tables, so nothing
// outlives the run that made it. A node still held (by a test) keeps both.
void ReleaseNodeArena();
// The name pool's copy of `text`, which lasts as long as the pool: until the
// end of the run (ReleaseNodeArena).
const std::string& PooledText(std::string_view text);
// Distinct texts in the name pool (for tests).
std::size_t NamePoolSize();
// Builds a list chained through m_pNext in O(1) per node: it remembers the
// last node. An appended node may bring its own m_pNext chain, which stays
// behind it.
class NodeAppender {
 public:
  // Appends behind the list that `head` holds now (walked once).
  explicit NodeAppender(NodePtr& head);
  void Append(NodePtr list);

 private:
  NodePtr* m_pHead;
  SyntaxNode* m_pTail = nullptr;
};
// Appends `item` to the item list headed by `head` (walks the list; build
// long lists with a NodeAppender).
void AppendItem(NodePtr& head, NodePtr item);

// Executes `node` and every node after it in its m_pNext chain, until a
// break, continue or return flag is set. 0 on failure.
[[nodiscard]] int Generate(SyntaxNode* node);

}  // namespace setup
