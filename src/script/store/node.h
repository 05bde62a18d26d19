// The syntax tree that the interpreter executes directly, and its dispatcher.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "script/store/value.h"

namespace setup {

// What a node stands for; codes are the evaluators' table indexes.
enum class NodeKind : std::int32_t {
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
using NodePtr = std::unique_ptr<SyntaxNode>;
struct FunctionEntry;
struct BuiltinEntry;

// Where the name of an IdT or Id_ArrayT node was found the last time the node
// ran: the same lookup as FindValue, remembered for the function whose frame
// was innermost. A frame of one function always holds the same names at the
// same places (parameters, marker, locals), and the globals do not change
// while a script runs, so the remembered place is the one the lookup would
// find again as long as the innermost frame belongs to the same function.
struct NameBinding {
  const FunctionEntry* m_pFunction;  // innermost frame's function; none at top level
  Variable* m_pGlobal;               // the global found (m_nSlot -1); none: undefined
  std::int32_t m_nSlot;              // place in the frame from its first parameter; -1: global
  bool m_bValid;                     // set by the first lookup; all zero before
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

// What a node remembers from its first execution; which member is in use
// follows from the node's kind. None of it is visible to a script.
union RunCache {
  NameBinding m_Binding;  // IdT, Id_ArrayT: where the name lives
  // CallT: the callee (FindFunction of m_szText); the function table does not
  // change during a run.
  struct {
    FunctionEntry* m_pEntry;
    bool m_bKnown;
  } m_Call;
  // InLineFunT: the built-in table's row.
  struct {
    const BuiltinEntry* m_pEntry;
    bool m_bKnown;
  } m_Builtin;
  // OpT: the tree's num program; m_nState 0 not tried, 1 built (owned here),
  // 2 not possible.
  struct {
    NumProgram* m_pProgram;
    std::int32_t m_nState;
  } m_Num;
};

// One node. A node owns its children, its item list, its array initializer
// and everything chained behind it through m_pNext.
struct SyntaxNode {
  SyntaxNode* m_pParent = nullptr;  // the node that consumes this node's value
  NodePtr m_pNext;                  // next statement of a list / next item
  SyntaxNode* m_pPrev = nullptr;    // previous item of an item list
  NodePtr m_pChild0;
  NodePtr m_pChild1;
  NodePtr m_pChild2;
  NodePtr m_pItems;                      // first node of the item list
  std::unique_ptr<ArrayStore> m_pArray;  // element values of an array initializer
  ValueType m_nElemType = ValueType::None;
  NodeKind m_nKind = NodeKind::ItemT;
  std::int32_t m_nValue = 0;  // num case label / num constant / cached number of a NumT
  std::int32_t m_nLine = 0;   // the lexer's line count when the node was made
  std::int32_t m_nOp = 0;     // operator token code of an OpT
  ValueType m_nConstType = ValueType::None;
  ValueType m_nType = ValueType::None;       // static type of the expression
  bool m_bNumKnown = false;                  // NumT: m_nValue holds m_szText converted
  std::optional<std::string> m_szText;       // name or literal text; none for ""
  std::unique_ptr<std::string> m_szFunName;  // name of the function a definition defines
  RunCache m_Cache{};                        // filled by the node's first execution

  SyntaxNode() = default;
  // Releases the subtrees and the m_pNext chain without deep recursion.
  ~SyntaxNode();
  SyntaxNode(const SyntaxNode&) = delete;
  SyntaxNode& operator=(const SyntaxNode&) = delete;
};

// Releases the num program of an OpT node, which then runs without one.
void DropNumProgram(SyntaxNode& node);
// A zeroed node of `kind` stamped with the current line count.
NodePtr NewNode(NodeKind kind);
// Frees the node in the holder (and its chain) and clears the holder.
void FreeNode(NodePtr& holder);
// Builds a list chained through m_pNext in O(1) per node: it remembers the
// last node. Nodes are linked both ways (m_pPrev); an appended node may bring
// its own m_pNext chain, which stays behind it.
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
