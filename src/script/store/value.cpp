// Value records and array storage.
#include "script/store/value.h"

#include <cstdlib>
#include <limits>
#include <new>

#include "base/global.h"
#include "diag/report.h"
#include "script/store/symbols.h"

// Under AddressSanitizer a spare record is poisoned, so that a use of a record
// after its release is reported although its memory stays in the slab.
#if defined(__SANITIZE_ADDRESS__)
#define SETUP_POISON_RECORDS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SETUP_POISON_RECORDS 1
#endif
#endif
#ifdef SETUP_POISON_RECORDS
#include <sanitizer/asan_interface.h>
#define SETUP_POISON(record) ASAN_POISON_MEMORY_REGION((record), sizeof(Variable))
#define SETUP_UNPOISON(record) ASAN_UNPOISON_MEMORY_REGION((record), sizeof(Variable))
#else
#define SETUP_POISON(record) ((void)(record))
#define SETUP_UNPOISON(record) ((void)(record))
#endif

namespace setup {

namespace {

// Records come from slabs of kSlabRecords, carved in order and never freed
// one by one: a released record goes to the pool of spare records, which
// grows as needed, so a run that holds many records at once (the leftovers of
// `break` in a long loop) costs one allocation per slab instead of one per
// record. Plain pointers and arrays, so that records released during static
// destruction (theGlobal's string result) never touch a destroyed container.
constexpr std::size_t kSlabRecords = 256;
struct Slab {
  Slab* m_pNext;
  alignas(Variable) unsigned char m_Records[kSlabRecords * sizeof(Variable)];
};
Slab* s_pSlabs = nullptr;      // newest first
std::size_t s_nCarved = 0;     // records carved from the newest slab
std::size_t s_nRecords = 0;    // records carved from all slabs
Variable** s_pPool = nullptr;  // spare records
std::size_t s_nPooled = 0;
std::size_t s_nPoolCapacity = 0;

// A record carved from the newest slab (a new slab when it is full), with a
// place for it in the pool. Kept out of AllocVariable's path for spare records.
[[gnu::noinline]] Variable* NewRecord() {
  if (s_nRecords == s_nPoolCapacity) {
    std::size_t capacity = s_nPoolCapacity == 0 ? kSlabRecords : 2 * s_nPoolCapacity;
    void* pool = std::realloc(static_cast<void*>(s_pPool), capacity * sizeof(Variable*));
    if (pool == nullptr) throw std::bad_alloc();
    s_pPool = static_cast<Variable**>(pool);
    s_nPoolCapacity = capacity;
  }
  if (s_pSlabs == nullptr || s_nCarved == kSlabRecords) {
    Slab* slab = static_cast<Slab*>(std::malloc(sizeof(Slab)));
    if (slab == nullptr) throw std::bad_alloc();
    slab->m_pNext = s_pSlabs;
    s_pSlabs = slab;
    s_nCarved = 0;
  }
  Variable* record = new (s_pSlabs->m_Records + s_nCarved * sizeof(Variable)) Variable();
  ++s_nCarved;
  ++s_nRecords;
  return record;
}
}  // namespace

void Variable::Clear() {
  m_nType = ValueType::None;
  m_bLeftoverRun = false;
  m_nRunDepth = 0;
  m_nGlobal = 0;
  m_szName.reset();
  m_szValue.reset();
  m_nNum = 0;
  m_nSize = 0;
  m_pArray = ArrayPtr();  // a borrowed store goes back to its owner untouched
  m_nSavedFrameBase = -1;
}

// Nothing reads or writes a leftover on the stack (it has no name and is
// never an operand), so every leftover is this one record, and a long loop of
// breaks costs no record each.
Variable theLeftover;

VariablePtr LeftoverValue() {
  theLeftover.m_nType = ValueType::Num;
  theLeftover.m_nNum = 1;
  theLeftover.m_nSize = 4;
  return VariablePtr(&theLeftover);
}

void VariableRecycler::operator()(Variable* variable) const noexcept {
  if (variable == nullptr || variable == &theLeftover) return;
  variable->Clear();
  // The pool never needs more places than there are records, so growing it
  // ahead to that count keeps a release from failing.
  s_pPool[s_nPooled++] = variable;
  SETUP_POISON(variable);
}

VariablePtr AllocVariable() {
  if (s_nPooled > 0) {
    Variable* record = s_pPool[--s_nPooled];
    SETUP_UNPOISON(record);
    return VariablePtr(record);
  }
  return VariablePtr(NewRecord());
}

namespace {
constexpr std::size_t kSpareTexts = 8;
std::string s_SpareTexts[kSpareTexts];
std::size_t s_nSpareTexts = 0;
// The longest text a std::string holds without the heap.
const std::size_t kInPlaceCapacity = std::string().capacity();
}  // namespace

void KeepSpareText(std::optional<std::string>& text) {
  if (!text || s_nSpareTexts == kSpareTexts || text->capacity() <= kInPlaceCapacity ||
      text->capacity() > kMaxSpareTextCapacity) {
    return;
  }
  s_SpareTexts[s_nSpareTexts++] = std::move(*text);
  text.reset();
}

void CopyText(std::optional<std::string>& to, const std::string& from) {
  if (from.size() > kInPlaceCapacity && s_nSpareTexts > 0) {
    std::string& spare = s_SpareTexts[--s_nSpareTexts];
    spare.assign(from);
    to.emplace(std::move(spare));
    spare = std::string();
    return;
  }
  to = from;
}

void SpareText(std::optional<std::string>& to, std::size_t length) {
  if (length > kInPlaceCapacity && s_nSpareTexts > 0 && (!to || to->capacity() < length)) {
    std::string& spare = s_SpareTexts[--s_nSpareTexts];
    spare.clear();
    to.emplace(std::move(spare));
    spare = std::string();
  } else if (!to) {
    to.emplace();
  } else {
    to->clear();
  }
  to->reserve(length);
}

void ReleaseSpareTexts() {
  for (std::size_t i = 0; i < kSpareTexts; ++i) std::string().swap(s_SpareTexts[i]);
  s_nSpareTexts = 0;
}

void ReleaseVariablePool() {
  // A record still held elsewhere keeps its slab; the slabs then serve the
  // next run and go when all their records are back.
  if (s_nPooled != s_nRecords) return;
  for (std::size_t i = 0; i < s_nPooled; ++i) {
    SETUP_UNPOISON(s_pPool[i]);
    s_pPool[i]->~Variable();
  }
  while (s_pSlabs != nullptr) {
    Slab* next = s_pSlabs->m_pNext;
    std::free(s_pSlabs);
    s_pSlabs = next;
  }
  std::free(static_cast<void*>(s_pPool));
  s_pPool = nullptr;
  s_nPooled = s_nRecords = s_nCarved = s_nPoolCapacity = 0;
}

std::size_t VariablePoolSize() {
  return s_nPooled;
}

bool ReserveArrayElements(std::int64_t count) {
  std::int64_t& live = theGlobal.m_nLiveElements;
  if (count < 0 || count > kMaxLiveArrayElements - live) return false;
  live += count;
  return true;
}

void ReleaseArrayElements(std::int64_t count) {
  std::int64_t& live = theGlobal.m_nLiveElements;
  live = count >= live ? 0 : live - count;
}

void ResetArrayBudget() {
  theGlobal.m_nLiveElements = 0;
}

std::int32_t TextToNum(const char* text) {
  if (text == nullptr) return 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  while (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\v' || *p == '\f' || *p == '\r') ++p;
  bool negative = false;
  if (*p == '+' || *p == '-') {
    negative = *p == '-';
    ++p;
  }
  std::uint32_t value = 0;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
    for (p += 2;; ++p) {
      std::uint32_t digit;
      if (*p >= '0' && *p <= '9') {
        digit = *p - '0';
      } else if (*p >= 'a' && *p <= 'f') {
        digit = *p - 'a' + 10;
      } else if (*p >= 'A' && *p <= 'F') {
        digit = *p - 'A' + 10;
      } else {
        break;
      }
      value = value * 16u + digit;
    }
  } else {
    for (; *p >= '0' && *p <= '9'; ++p) value = value * 10u + static_cast<std::uint32_t>(*p - '0');
  }
  if (negative) value = 0u - value;
  return static_cast<std::int32_t>(value);
}

Variable::~Variable() = default;

std::int64_t ArrayStore::ElementCount() const {
  if (m_Dims.empty()) return 0;
  std::int64_t count = 1;
  for (std::int32_t d : m_Dims) {
    if (d <= 0) return 0;
    count *= d;
    if (count > std::numeric_limits<std::int32_t>::max()) return 0;
  }
  return count;
}

std::unique_ptr<ArrayStore> ArrayStore::CloneEmpty(std::int32_t type) const {
  const std::int64_t count = ElementCount();
  if (count <= 0 || count > kMaxArrayElements) return nullptr;
  try {
    auto store = std::make_unique<ArrayStore>();
    store->m_Dims = m_Dims;
    if (type == static_cast<std::int32_t>(ValueType::Num)) {
      store->m_Nums.assign(static_cast<std::size_t>(count), 0);
    } else if (type == static_cast<std::int32_t>(ValueType::String)) {
      store->m_Strings.resize(static_cast<std::size_t>(count));
    } else {
      return nullptr;
    }
    return store;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

VariablePtr NewStringValue(std::int32_t size) {
  VariablePtr value = AllocVariable();
  value->m_nType = ValueType::String;
  if (size >= 1) {
    value->m_szValue.emplace();
    value->m_nSize = size;
  }
  return value;
}

VariablePtr NewNumValue() {
  VariablePtr value = AllocVariable();
  value->m_nType = ValueType::Num;
  value->m_nSize = 4;
  return value;
}

int AllocGlobals() {
  for (const auto& entry : theVariables.Entries()) {
    Variable& var = *entry;
    if (var.m_nType != ValueType::Num && var.m_nType != ValueType::String) return 0;
    if (!var.m_pArray) {
      if (var.m_nType == ValueType::Num) var.m_nNum = 0;
      continue;
    }
    // Same dimensions, fresh element storage.
    std::unique_ptr<ArrayStore> store;
    if (ReserveArrayElements(var.m_pArray->ElementCount())) {
      store = var.m_pArray->CloneEmpty(static_cast<std::int32_t>(var.m_nType));
    }
    if (!store) {
      ReportError("not enough memory for array '%s'.", var.m_szName ? var.m_szName->c_str() : "");
      theGlobal.ErrorFlag = 1;
      return 0;
    }
    var.m_pArray = std::move(store);
  }
  return 1;
}

}  // namespace setup
