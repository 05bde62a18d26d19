// Value records: the one record type that carries every value of a script
// (globals, parameters, locals, temporaries) and the storage of arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "script/store/text.h"

namespace setup {

// Type codes of values, function results, parameters and constants.
enum class ValueType : std::uint8_t {
  None = 0,
  Num = 2,     // 32-bit signed integer
  String = 3,  // NUL-free byte text
};

// Largest number of elements one array may hold; a larger declaration fails
// like an allocation failure instead of exhausting the host's memory.
constexpr std::int64_t kMaxArrayElements = std::int64_t{1} << 22;
// Elements that the arrays of one run (globals and the locals of active
// calls) may hold together, so that recursion cannot multiply a large array.
constexpr std::int64_t kMaxLiveArrayElements = std::int64_t{1} << 24;
// Longest text one string value may hold (bytes, without the NUL): strings
// are bounded by memory, and this budget keeps one runaway concatenation from
// taking all of it. Longer texts fail like an allocation failure.
constexpr std::size_t kMaxTextLength = std::size_t{1} << 30;

// Element storage of an array; the first index varies fastest.
struct ArrayStore {
  std::vector<std::int32_t> m_Dims;  // d0 ... d(n-1), each >= 1 once declared
  // Elements of a num array (empty until the storage is allocated).
  std::vector<std::int32_t> m_Nums;
  // Elements of a string array; none = an element that holds no text.
  std::vector<std::optional<std::string>> m_Strings;

  // d0 * d1 * ... ; 0 without dimensions, when the product is not positive,
  // or when it does not fit in 32 bits.
  std::int64_t ElementCount() const;
  // A store with the same dimensions, all elements empty (num 0 / no text);
  // none when the element count is 0 or above kMaxArrayElements, or memory
  // runs out.
  std::unique_ptr<ArrayStore> CloneEmpty(std::int32_t type) const;
};

// A scalar of one of the two types, or an array of one of them.
// Releases an array store unless its holder only borrows it.
struct ArrayRelease {
  bool m_bBorrowed = false;  // the store belongs to an initializer's syntax node

  ArrayRelease() = default;
  explicit ArrayRelease(bool borrowed) : m_bBorrowed(borrowed) {}
  // An owned store made with std::make_unique.
  ArrayRelease(std::default_delete<ArrayStore>) {}  // NOLINT(google-explicit-constructor)
  void operator()(ArrayStore* store) const {
    if (!m_bBorrowed) delete store;
  }
};

// The array store of a value: owned, or borrowed as its deleter records.
using ArrayPtr = std::unique_ptr<ArrayStore, ArrayRelease>;

// A holder of `store` that leaves it to its owner.
inline ArrayPtr BorrowArray(ArrayStore* store) {
  return ArrayPtr(store, ArrayRelease(true));
}
inline bool IsBorrowed(const ArrayPtr& array) {
  return array.get_deleter().m_bBorrowed;
}

struct Variable {
  ValueType m_nType = ValueType::None;
  // A run of break/continue leftovers that the loop machine counts instead
  // of pushing one each: it stands for m_nSavedFrameBase leftovers of the
  // call at depth m_nRunDepth (theCallFrames' size; 0xFFFF: too deep).
  bool m_bLeftoverRun = false;
  std::uint16_t m_nRunDepth = 0;
  // A global's position among the globals, from 1 (name bindings refer to
  // it); 0 for every other record.
  std::uint32_t m_nGlobal = 0;
  // The variable's name; none for temporaries.
  NodeText m_szName;
  // Text of a string scalar; none = no text storage (how the empty string is
  // usually held).
  std::optional<std::string> m_szValue;
  // Number of a num scalar.
  std::int32_t m_nNum = 0;
  // Size of the text buffer including its NUL (0 without text), or 4 for a num.
  std::int32_t m_nSize = 0;
  // Present exactly when the variable is an array; borrowed only by the
  // value of an array initializer (ArrayContentT).
  ArrayPtr m_pArray;
  // Frame marker of a call only: the frame base that was current before the
  // call (an index into the value stack, -1 for none).
  std::int64_t m_nSavedFrameBase = -1;

  Variable() = default;
  ~Variable();
  // Returns the record to the state of a fresh one.
  void Clear();
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
};

// Releases a record into the run's pool of spare records, so that
// temporaries cost no heap traffic.
struct VariableRecycler {
  void operator()(Variable* variable) const noexcept;
};
using VariablePtr = std::unique_ptr<Variable, VariableRecycler>;

// The value that break and continue leave on the value stack: a num 1 shared
// by all of them, which releasing leaves alone. PopValue hands out a record
// of its own in its place.
VariablePtr LeftoverValue();
extern Variable theLeftover;
// The shared leftover, or a run of leftovers (m_bLeftoverRun).
inline bool IsLeftover(const Variable* variable) {
  return variable == &theLeftover || variable->m_bLeftoverRun;
}

// A blank record (type None, no name, no text, no array) from the pool or,
// when the pool is empty, from the run's slabs of records.
VariablePtr AllocVariable();
// Gives the records and their slabs back to the heap once every record is
// back in the pool; FreeAll calls it at the end of every run so that no
// record outlives the Action call that made it.
void ReleaseVariablePool();
// Spare records the pool holds now (for tests of the release).
std::size_t VariablePoolSize();

// Spare text buffers: the texts of parameter records dropped at the end of a
// call and the old texts of variables that a temporary's text replaced, kept
// (a few, each of at most kMaxSpareTextCapacity bytes) so that copies of
// texts longer than the 15 bytes a std::string holds in place (arguments,
// string names as operands) reuse them instead of the heap. FreeAll gives
// them back at the end of every run.
constexpr std::size_t kMaxSpareTextCapacity = 256;
// Keeps the buffer of `text` when it is on the heap and small enough; `text`
// may be left without its text.
void KeepSpareText(std::optional<std::string>& text);
// `to` = a copy of `from`, in a spare buffer when `from` needs the heap.
void CopyText(std::optional<std::string>& to, const std::string& from);
// `to` = an empty text with room for `length` bytes, in a spare buffer when
// that needs the heap.
void SpareText(std::optional<std::string>& to, std::size_t length);
void ReleaseSpareTexts();

// A new string scalar with no name; an empty text (storage present) of that
// size when size >= 1, else no text and size 0.
VariablePtr NewStringValue(std::int32_t size);
// A new num scalar holding 0, size 4.
VariablePtr NewNumValue();
// Number text to num: optional blanks and sign, then "0x" hexadecimal or
// decimal digits; 32-bit wrap-around, 0 for text without digits.
std::int32_t TextToNum(const char* text);

// Prepares the storage of every global before a run; 0 on failure.
[[nodiscard]] int AllocGlobals();

// The run's budget of live array elements (kMaxLiveArrayElements): Reserve
// answers false, taking nothing, when `count` more would exceed it.
[[nodiscard]] bool ReserveArrayElements(std::int64_t count);
void ReleaseArrayElements(std::int64_t count);
// Empties the budget at the start of a run.
void ResetArrayBudget();

}  // namespace setup
