// Remembered name bindings and pooled value records: the cases that scripts
// cannot set up (frames of other functions sharing a node's binding, broken
// frames, the pool's release at the end of a run, the spare text buffers).
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "library_fixture.h"
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

class BindingTest : public LibraryTest {
 protected:
  // A function with the given parameters and further locals.
  FunctionEntry* Declare(const std::string& name, std::initializer_list<const char*> params,
                         std::initializer_list<const char*> locals) {
    auto entry = std::make_unique<FunctionEntry>();
    entry->m_szName = name;
    entry->m_nRetType = ValueType::Num;
    entry->m_bDefined = true;
    for (const char* param : params) {
      entry->m_Params.push_back(ParamEntry{ValueType::Num, param});
      entry->m_Locals.push_back(Named(ValueType::Num, param));
    }
    for (const char* local : locals) entry->m_Locals.push_back(Named(ValueType::Num, local));
    return theFunctions.Append(std::move(entry), name);
  }

  // Pushes a whole frame of `function` as a call would: arguments named after
  // the parameters (numbered from `base`), the marker, then the locals.
  void Enter(FunctionEntry* function, std::int32_t base) {
    for (std::size_t i = 0; i < function->m_Params.size(); ++i) {
      PushValue(Named(ValueType::Num, function->m_Params[i].m_szName,
                      base + static_cast<std::int32_t>(i)));
    }
    EnterFrame(function);
    VariablePtr marker = NewNumValue();
    marker->m_nSavedFrameBase = theFrameBase;
    PushValue(std::move(marker));
    theFrameBase = static_cast<std::int64_t>(theValueStack.size()) - 1;
    for (std::size_t i = function->m_Params.size(); i < function->m_Locals.size(); ++i) {
      PushValue(Named(ValueType::Num, *function->m_Locals[i]->m_szName,
                      base + 100 + static_cast<std::int32_t>(i)));
    }
  }

  void Leave(FunctionEntry* function) {
    while (static_cast<std::int64_t>(theValueStack.size()) - 1 > theFrameBase) PopValue();
    theFrameBase = theValueStack.back()->m_nSavedFrameBase;
    PopValue();
    for (std::size_t i = 0; i < function->m_Params.size(); ++i) PopValue();
    ASSERT_TRUE(LeaveFrame());
  }

  // Every name the test uses answers the same through one shared binding per
  // name as through the full lookup.
  void ExpectAgreement(const char* where) {
    for (const char* name : {"a", "b", "n", "g", "missing"}) {
      NameBinding& binding = m_Bindings[name];
      EXPECT_EQ(FindValueBound(name, binding), FindValue(name)) << where << ": " << name;
      // A second lookup takes the remembered place.
      EXPECT_EQ(FindValueBound(name, binding), FindValue(name)) << where << ": " << name;
    }
  }

  std::map<std::string, NameBinding> m_Bindings;  // value-initialized: not yet bound
};

TEST_F(BindingTest, RememberedPlacesAgreeWithTheLookupInEveryFrame) {
  AddVariable(Named(ValueType::Num, "a", 1));
  AddVariable(Named(ValueType::Num, "g", 2));
  FunctionEntry* f = Declare("f", {"a", "b"}, {"n"});
  FunctionEntry* h = Declare("h", {"n"}, {"g", "a"});
  ExpectAgreement("top level");

  Enter(f, 10);
  ExpectAgreement("f");
  PushValue(Named(ValueType::Num, "a", 77));  // a temporary above the frame
  Enter(f, 20);                               // recursion one value higher
  ExpectAgreement("f inside f");
  Enter(h, 30);  // another function: the same bindings must not carry over
  ExpectAgreement("h inside f");
  Enter(f, 40);
  ExpectAgreement("f inside h");
  Leave(f);
  ExpectAgreement("back in h");
  Leave(h);
  ExpectAgreement("back in the inner f");
  Leave(f);
  PopValue();
  ExpectAgreement("back in the outer f");
  Leave(f);
  ExpectAgreement("top level again");
}

TEST_F(BindingTest, BrokenFramesTakeTheFullLookup) {
  AddVariable(Named(ValueType::Num, "b", 5));
  FunctionEntry* f = Declare("f", {"a", "b"}, {"n"});
  Enter(f, 10);
  ExpectAgreement("whole frame");

  // The frame base below its parameters: the window is clipped at the bottom.
  const std::int64_t base = theFrameBase;
  theFrameBase = 1;
  ExpectAgreement("clipped at the bottom");
  // The stack shorter than the frame: the window is clipped at the top.
  theFrameBase = base;
  VariablePtr last = PopValue();
  ExpectAgreement("clipped at the top");
  PushValue(std::move(last));
  // No usable frame base: only the globals.
  theFrameBase = -1;
  ExpectAgreement("no frame base");
  theFrameBase = base;
  ExpectAgreement("whole again");
}

TEST_F(BindingTest, PooledRecordsComeBackBlankAndGoAtTheEndOfTheRun) {
  VariablePtr first = Named(ValueType::String, "s");
  first->m_szValue = "text";
  first->m_nSize = 5;
  first->m_pArray = std::make_unique<ArrayStore>();
  Variable* raw = first.get();
  first.reset();
  ASSERT_GE(VariablePoolSize(), 1u);

  VariablePtr again = NewNumValue();
  EXPECT_EQ(again.get(), raw);  // reused, not allocated
  EXPECT_EQ(again->m_nType, ValueType::Num);
  EXPECT_FALSE(again->m_szName);
  EXPECT_FALSE(again->m_szValue);
  EXPECT_EQ(again->m_pArray, nullptr);
  EXPECT_EQ(again->m_nNum, 0);
  EXPECT_EQ(again->m_nSize, 4);
  EXPECT_EQ(again->m_nSavedFrameBase, -1);

  // A borrowed array goes back to its owner, not to the heap.
  ArrayStore owned;
  again->m_pArray = BorrowArray(&owned);
  again.reset();

  FreeAll();
  EXPECT_EQ(VariablePoolSize(), 0u);
}

// Spare text buffers: only heap buffers of at most kMaxSpareTextCapacity
// bytes are kept (the text then leaves its holder), at most eight; a copy
// of a text that needs the heap takes one; FreeAll empties the list.
TEST_F(BindingTest, SpareTextsServeCopiesAndGoAtTheEndOfTheRun) {
  FreeAll();
  const std::string longText(40, 'x');
  std::optional<std::string> kept = longText;
  const char* buffer = kept->data();
  KeepSpareText(kept);
  EXPECT_FALSE(kept);

  std::optional<std::string> copy;
  const std::string source = "a text of more than fifteen bytes";
  CopyText(copy, source);
  ASSERT_TRUE(copy);
  EXPECT_EQ(*copy, source);
  EXPECT_EQ(copy->data(), buffer);  // the kept buffer, not a new one

  std::optional<std::string> small = std::string("abc");
  KeepSpareText(small);
  EXPECT_EQ(small, "abc");  // held in place: nothing to keep
  std::optional<std::string> large = std::string(kMaxSpareTextCapacity + 1, 'y');
  KeepSpareText(large);
  EXPECT_TRUE(large);  // too large to keep
  std::optional<std::string> none;
  KeepSpareText(none);
  EXPECT_FALSE(none);
  CopyText(copy, "short");
  EXPECT_EQ(copy, "short");

  // Eight at most: a ninth buffer stays with its holder. The end of the run
  // gives them all back, so eight fit again in the next.
  for (int run = 0; run < 2; ++run) {
    std::optional<std::string> texts[9];
    for (auto& text : texts) {
      text = longText;
      KeepSpareText(text);
    }
    for (int i = 0; i < 8; ++i) EXPECT_FALSE(texts[i]) << run << " " << i;
    EXPECT_TRUE(texts[8]) << run;
    FreeAll();
  }
}

#if defined(__SANITIZE_ADDRESS__)
#define SETUP_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SETUP_TEST_ASAN 1
#endif
#endif
#ifdef SETUP_TEST_ASAN
// A released record stays in its slab; AddressSanitizer still reports a use
// of it after the release.
TEST_F(BindingTest, AUseOfAReleasedRecordIsReported) {
  EXPECT_DEATH(
      {
        VariablePtr record = NewNumValue();
        Variable* raw = record.get();
        record.reset();
        raw->m_nNum = 7;
      },
      "use-after-poison");
}
#endif

}  // namespace
}  // namespace setup
