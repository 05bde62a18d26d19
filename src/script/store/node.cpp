// Syntax tree records: the node arena, the name pool, item lists and release.
#include "script/store/node.h"

#include <new>
#include <utility>
#include <vector>

#include "base/global.h"
#include "base/observer.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

// ---- Node arena ---------------------------------------------------------------------
//
// A large script makes millions of nodes of one size that all die together at
// the end of the run, so nodes come from blocks of kNodesPerBlock instead of
// one heap allocation each: no per-allocation header, no rounding, and far
// fewer calls into the allocator. A freed node goes onto a free list for the
// next NewNode (the interpreter frees operands it folds). The blocks go back
// to the heap when the last node is gone (ReleaseNodeArena).

constexpr std::size_t kNodesPerBlock = 1024;

union NodeSlot {
  NodeSlot* m_pNextFree;
  alignas(SyntaxNode) unsigned char m_Bytes[sizeof(SyntaxNode)];
};

struct NodeArena {
  std::vector<std::unique_ptr<NodeSlot[]>> m_Blocks;
  std::size_t m_nUsedInLast = kNodesPerBlock;  // slots handed out from the last block
  NodeSlot* m_pFree = nullptr;
  std::size_t m_nLive = 0;
};

// Never destroyed: a table that still holds nodes at exit must not outlive it.
NodeArena& s_Arena = *new NodeArena();

void* TakeSlot() {
  NodeArena& arena = s_Arena;
  if (arena.m_pFree != nullptr) {
    NodeSlot* slot = arena.m_pFree;
    arena.m_pFree = slot->m_pNextFree;
    return slot;
  }
  if (arena.m_nUsedInLast == kNodesPerBlock) {
    std::unique_ptr<NodeSlot[]> block(new (std::nothrow) NodeSlot[kNodesPerBlock]);
    if (!block) return nullptr;
    try {
      arena.m_Blocks.push_back(std::move(block));
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
    arena.m_nUsedInLast = 0;
  }
  return &arena.m_Blocks.back()[arena.m_nUsedInLast++];
}

// ---- Name pool ----------------------------------------------------------------------
//
// Every node text of a run, each distinct text once: an open-addressed hash
// set of entries that never move (they sit in blocks), so a node holds one
// pointer instead of a string of its own.

constexpr std::size_t kNamesPerBlock = 1024;

struct NamePool {
  std::vector<std::unique_ptr<std::optional<std::string>[]>> m_Blocks;
  std::size_t m_nUsedInLast = kNamesPerBlock;
  std::vector<const std::optional<std::string>*> m_Slots;  // size a power of two, or 0
  std::size_t m_nCount = 0;
};

NamePool& s_Names = *new NamePool();

// Doubles the slot table (at least 1024 slots) and places every entry again.
void GrowSlots(NamePool& pool) {
  const std::size_t size = pool.m_Slots.empty() ? 1024 : pool.m_Slots.size() * 2;
  std::vector<const std::optional<std::string>*> slots(size, nullptr);
  for (const std::optional<std::string>* entry : pool.m_Slots) {
    if (entry == nullptr) continue;
    std::size_t i = HashText(**entry) & (size - 1);
    while (slots[i] != nullptr) i = (i + 1) & (size - 1);
    slots[i] = entry;
  }
  pool.m_Slots.swap(slots);
}

// The pool's entry for `text`, added when new. Allocation failure throws
// std::bad_alloc like the std::string assignment this replaces.
const std::optional<std::string>* Intern(std::string_view text) {
  NamePool& pool = s_Names;
  if ((pool.m_nCount + 1) * 2 > pool.m_Slots.size()) GrowSlots(pool);
  const std::size_t mask = pool.m_Slots.size() - 1;
  std::size_t i = HashText(text) & mask;
  while (const std::optional<std::string>* entry = pool.m_Slots[i]) {
    if (**entry == text) return entry;
    i = (i + 1) & mask;
  }
  if (pool.m_nUsedInLast == kNamesPerBlock) {
    pool.m_Blocks.push_back(std::make_unique<std::optional<std::string>[]>(kNamesPerBlock));
    pool.m_nUsedInLast = 0;
  }
  std::optional<std::string>& entry = pool.m_Blocks.back()[pool.m_nUsedInLast];
  entry.emplace(text);
  ++pool.m_nUsedInLast;
  pool.m_Slots[i] = &entry;
  ++pool.m_nCount;
  return &entry;
}

const std::optional<std::string> kNoText;

// ---- Release ------------------------------------------------------------------------

void ReturnSlot(SyntaxNode* node) {
  auto* slot = reinterpret_cast<NodeSlot*>(node);
  slot->m_pNextFree = s_Arena.m_pFree;
  s_Arena.m_pFree = slot;
  --s_Arena.m_nLive;
}

// Takes every subtree that `node` owns onto `pending`; the room is made
// first, so a failed allocation leaves the node as it was.
void DetachOwned(SyntaxNode& node, std::vector<SyntaxNode*>& pending) {
  if (pending.capacity() - pending.size() < 5) pending.reserve(pending.size() * 2 + 64);
  for (NodePtr* slot :
       {&node.m_pChild0, &node.m_pChild1, &node.m_pChild2, &node.m_pItems, &node.m_pNext}) {
    if (SyntaxNode* owned = slot->release()) pending.push_back(owned);
  }
}

bool OwnsAnything(const SyntaxNode& node) {
  return node.m_pChild0 || node.m_pChild1 || node.m_pChild2 || node.m_pItems || node.m_pNext;
}

// The work list of ~SyntaxNode, kept between releases so that freeing the
// trees of a run costs no allocation per statement; ReleaseNodeArena frees it.
std::vector<SyntaxNode*>& s_Pending = *new std::vector<SyntaxNode*>();
bool s_bReleasing = false;

}  // namespace

const std::string& PooledText(std::string_view text) {
  return **Intern(text);
}

NodeText& NodeText::operator=(std::string_view text) {
  m_pText = Intern(text);
  return *this;
}

NodeText& NodeText::operator=(const std::optional<std::string>& text) {
  m_pText = text ? Intern(*text) : nullptr;
  return *this;
}

NodeText::operator const std::optional<std::string>&() const {
  return m_pText != nullptr ? *m_pText : kNoText;
}

// Trees can be deep (long statement lists, left-nested operator chains), so the
// subtrees are released from an explicit work list instead of by recursion:
// each node on the list has already given up its own subtrees, so destroying
// it releases only its array initializer. The outermost release owns the
// list; nested ones (none in practice: listed nodes own nothing) use their own.
SyntaxNode::~SyntaxNode() {
  DropNumProgram(*this);
  DropLoopCode(*this);
  SetArray(nullptr);
  if (!OwnsAnything(*this)) return;
  std::vector<SyntaxNode*> local;
  std::vector<SyntaxNode*>& pending = s_bReleasing ? local : s_Pending;
  const bool outermost = !s_bReleasing;
  s_bReleasing = true;
  try {
    DetachOwned(*this, pending);
    while (!pending.empty()) {
      SyntaxNode* node = pending.back();
      pending.pop_back();
      DetachOwned(*node, pending);
      node->~SyntaxNode();
      ReturnSlot(node);
    }
  } catch (const std::bad_alloc&) {
    // The list could not grow: the nodes still listed (and what they own)
    // keep their slots, and with them the arena, instead of ending the
    // process in a destructor.
    pending.clear();
  }
  if (outermost) s_bReleasing = false;
}

void NodeRelease::operator()(SyntaxNode* node) const noexcept {
  node->~SyntaxNode();
  ReturnSlot(node);
}

void SyntaxNode::SetArray(std::unique_ptr<ArrayStore> store) {
  if (m_nKind != NodeKind::ArrayContentT) return;
  delete m_Cache.m_pArray;
  m_Cache.m_pArray = store.release();
}

void DropNumProgram(SyntaxNode& node) {
  if (node.m_nKind == NodeKind::OpT && node.m_Cache.m_Num.State() == 1) {
    delete node.m_Cache.m_Num.Get();
    node.m_Cache.m_Num.Set(nullptr);
  }
}

void DropLoopCode(SyntaxNode& node) {
  if ((node.m_nKind == NodeKind::WhileT || node.m_nKind == NodeKind::ExternalFunT) &&
      node.m_Cache.m_Loop.State() == 1) {
    delete node.m_Cache.m_Loop.Get();
    node.m_Cache.m_Loop.Set(nullptr);
  }
}

namespace {

// Tells the observer where the reader is: the script's own line (without the
// prelude) or the line of the included file.
[[gnu::noinline]] void NotePlace(const SyntaxNode* node) {
  const char* file = nullptr;
  // Macro text counts at the line where the outermost macro is used.
  std::int32_t line = theGlobal.m_nMacroDepth > 0 ? theGlobal.m_nMacroLine : theGlobal.m_nLineNo;
  if (!theIncludes.empty()) {
    file = theGlobal.m_szFileName;
  } else {
    line -= theGlobal.m_nPreludeLines;
  }
  theGlobal.m_pObserver->NodeMade(node, file, line);
}

}  // namespace

NodePtr NewNode(NodeKind kind) {
  void* memory = TakeSlot();
  if (memory == nullptr) return nullptr;
  NodePtr node(new (memory) SyntaxNode());
  ++s_Arena.m_nLive;
  node->m_nKind = kind;
  if (theGlobal.m_pObserver != nullptr) NotePlace(node.get());
  return node;
}

void FreeNode(NodePtr& holder) {
  holder.reset();
}

std::size_t LiveNodeCount() {
  return s_Arena.m_nLive;
}

void ReleaseNodeArena() {
  std::vector<SyntaxNode*>().swap(s_Pending);
  if (s_Arena.m_nLive != 0) return;
  s_Arena = NodeArena();
  s_Names = NamePool();
}

std::size_t NamePoolSize() {
  return s_Names.m_nCount;
}

NodeAppender::NodeAppender(NodePtr& head) : m_pHead(&head) {
  for (SyntaxNode* node = head.get(); node != nullptr; node = node->m_pNext.get()) m_pTail = node;
}

void NodeAppender::Append(NodePtr list) {
  if (!list) return;
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
