// Syntax tree records: creation, item lists and release.
#include "script/store/node.h"

#include <new>
#include <utility>
#include <vector>

#include "base/global.h"

namespace setup {

namespace {

// Moves every subtree that `node` owns onto `pending`.
void DetachOwned(SyntaxNode& node, std::vector<NodePtr>& pending) {
  for (NodePtr* slot :
       {&node.m_pChild0, &node.m_pChild1, &node.m_pChild2, &node.m_pItems, &node.m_pNext}) {
    if (*slot) {
      (*slot)->m_pParent = nullptr;
      (*slot)->m_pPrev = nullptr;
      pending.push_back(std::move(*slot));
    }
  }
}

bool OwnsAnything(const SyntaxNode& node) {
  return node.m_pChild0 || node.m_pChild1 || node.m_pChild2 || node.m_pItems || node.m_pNext;
}

}  // namespace

// Trees can be deep (long statement lists, left-nested operator chains), so the
// subtrees are released from an explicit work list instead of by recursion:
// each released node has already given up its own subtrees.
SyntaxNode::~SyntaxNode() {
  DropNumProgram(*this);
  if (!OwnsAnything(*this)) return;
  std::vector<NodePtr> pending;
  DetachOwned(*this, pending);
  while (!pending.empty()) {
    NodePtr node = std::move(pending.back());
    pending.pop_back();
    DetachOwned(*node, pending);
  }
}

void DropNumProgram(SyntaxNode& node) {
  if (node.m_nKind == NodeKind::OpT && node.m_Cache.m_Num.m_nState == 1) {
    delete node.m_Cache.m_Num.m_pProgram;
    node.m_Cache.m_Num.m_pProgram = nullptr;
    node.m_Cache.m_Num.m_nState = 2;
  }
}

NodePtr NewNode(NodeKind kind) {
  NodePtr node(new (std::nothrow) SyntaxNode());
  if (!node) return nullptr;
  node->m_nKind = kind;
  node->m_nLine = theGlobal.m_nLineNo;
  return node;
}

void FreeNode(NodePtr& holder) {
  holder.reset();
}

NodeAppender::NodeAppender(NodePtr& head) : m_pHead(&head) {
  for (SyntaxNode* node = head.get(); node != nullptr; node = node->m_pNext.get()) m_pTail = node;
}

void NodeAppender::Append(NodePtr list) {
  if (!list) return;
  list->m_pPrev = m_pTail;
  SyntaxNode* last = list.get();
  while (last->m_pNext) last = last->m_pNext.get();
  if (m_pTail == nullptr) {
    *m_pHead = std::move(list);
  } else {
    m_pTail->m_pNext = std::move(list);
  }
  m_pTail = last;
}

void AppendItem(NodePtr& head, NodePtr item) {
  NodeAppender(head).Append(std::move(item));
}

}  // namespace setup
