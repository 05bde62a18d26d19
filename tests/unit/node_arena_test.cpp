// The node arena and the name pool: node slots are reused and given back
// with the run, equal texts share one pool entry, and nothing of one
// compilation is visible to (or kept by) the next.
#include <optional>
#include <string>
#include <utility>

#include "compile_helpers.h"
#include "script/store/node.h"

namespace setup::testing {
namespace {

class NodeArenaTest : public CompilerTest {};

TEST_F(NodeArenaTest, EqualTextsShareOneEntryThatReadsLikeAnOptional) {
  NodePtr a = NewNode(NodeKind::IdT);
  NodePtr b = NewNode(NodeKind::IdT);
  ASSERT_TRUE(a && b);
  const std::size_t pooled = NamePoolSize();
  a->m_szText = "name";
  b->m_szText = std::string("na") + "me";
  EXPECT_EQ(a->m_szText.Entry(), b->m_szText.Entry());
  EXPECT_EQ(NamePoolSize(), pooled + 1);
  b->m_szText = "name2";
  EXPECT_NE(a->m_szText.Entry(), b->m_szText.Entry());
  EXPECT_EQ(*a->m_szText, "name");
  EXPECT_EQ(a->m_szText->size(), 4u);

  // An empty text is a text (a pool entry), unlike no text at all.
  b->m_szText = "";
  ASSERT_TRUE(b->m_szText);
  EXPECT_TRUE(b->m_szText->empty());
  b->m_szText = std::optional<std::string>();
  EXPECT_FALSE(b->m_szText);
  const std::optional<std::string>& none = b->m_szText;
  EXPECT_FALSE(none.has_value());
  const std::optional<std::string>& some = a->m_szText;
  EXPECT_EQ(&*some, &*a->m_szText);  // the pooled text itself, not a copy
  EXPECT_EQ(b->m_szText.value_or("?"), "?");
  b->m_szText = a->m_szText;
  EXPECT_EQ(b->m_szText.Entry(), a->m_szText.Entry());
  a->m_szText.reset();
  EXPECT_EQ(*b->m_szText, "name");
}

TEST_F(NodeArenaTest, FreedSlotsAreReusedAndCounted) {
  const std::size_t live = LiveNodeCount();
  NodePtr node = NewNode(NodeKind::NumT);
  SyntaxNode* first = node.get();
  node->m_Cache.m_nValue = 7;
  node->m_bNumKnown = true;
  EXPECT_EQ(LiveNodeCount(), live + 1);
  FreeNode(node);
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(LiveNodeCount(), live);
  // The slot comes back zeroed, as a new node.
  NodePtr again = NewNode(NodeKind::OpT);
  EXPECT_EQ(again.get(), first);
  EXPECT_EQ(again->m_nKind, NodeKind::OpT);
  EXPECT_EQ(again->m_Cache.m_nValue, 0);
  EXPECT_FALSE(again->m_bNumKnown);
  EXPECT_FALSE(again->m_szText);
  EXPECT_FALSE(again->m_Cache.m_Binding.Valid());
}

TEST_F(NodeArenaTest, LongChainsAndDeepTreesAreReleasedWhole) {
  const std::size_t live = LiveNodeCount();
  NodePtr list = NewNode(NodeKind::ItemT);
  NodeAppender appender(list);
  NodePtr deep = NewNode(NodeKind::OpT);
  SyntaxNode* leaf = deep.get();
  for (int i = 0; i < 200000; ++i) {
    appender.Append(NewNode(NodeKind::ItemT));
    leaf->m_pChild2 = NewNode(NodeKind::OpT);
    leaf = leaf->m_pChild2.get();
  }
  // The deepest node owns an initializer's values, released with it.
  leaf->m_pChild2 = NewNode(NodeKind::ArrayContentT);
  auto store = std::make_unique<ArrayStore>();
  store->m_Nums.assign(16, 1);
  leaf->m_pChild2->SetArray(std::move(store));
  ASSERT_NE(leaf->m_pChild2->Array(), nullptr);
  list->m_pChild0 = std::move(deep);
  EXPECT_EQ(LiveNodeCount(), live + 400003);
  list.reset();
  EXPECT_EQ(LiveNodeCount(), live);
}

TEST_F(NodeArenaTest, EachCompilationStartsFromAnEmptyArenaAndPool) {
  for (const char* name : {"alpha", "beta"}) {
    const std::string source = std::string("num ") + name + " = 1\nnum f() { " + name + " = " +
                               name + " + 2 }\nnum main() { return 0 }\n";
    ASSERT_TRUE(Compile(source)) << m_Out;
    EXPECT_GT(LiveNodeCount(), 0u);
    const SyntaxNode* assign = Body("f");
    ASSERT_NE(assign, nullptr);
    EXPECT_EQ(Show(assign), std::string("(") + name + " = (" + name + " + 2))");
    // Three uses of the name, one entry.
    EXPECT_EQ(assign->m_pChild2->m_szText.Entry(), assign->m_pChild0->m_pChild2->m_szText.Entry());
    Release();
    EXPECT_EQ(LiveNodeCount(), 0u);
    EXPECT_EQ(NamePoolSize(), 0u);
  }
}

TEST_F(NodeArenaTest, ANodeHeldPastTheRunKeepsItsTextUntilItIsFreed) {
  NodePtr held = NewNode(NodeKind::StringT);
  held->m_szText = "kept";
  ASSERT_TRUE(Compile("string s = \"other\"\nnum main() { return 0 }\n")) << m_Out;
  Release();
  EXPECT_EQ(LiveNodeCount(), 1u);
  EXPECT_EQ(*held->m_szText, "kept");
  ASSERT_TRUE(Compile("string s = \"kept\"\nnum main() { return 0 }\n")) << m_Out;
  EXPECT_EQ(theStatements[0]->m_pChild0->m_szText.Entry(), held->m_szText.Entry());
  Release();
  held.reset();
  ResetRun();
  EXPECT_EQ(LiveNodeCount(), 0u);
  EXPECT_EQ(NamePoolSize(), 0u);
}

}  // namespace
}  // namespace setup::testing
