// Value records and array storage.
#include "script/store/value.h"

#include <limits>
#include <new>

#include "diag/report.h"
#include "entry/global.h"
#include "script/store/symbols.h"

namespace setup {

namespace {
std::int64_t s_nLiveElements = 0;  // array elements reserved by the current run

// Spare records. A plain array, so that records released during static
// destruction (theGlobal's string result) never touch a destroyed container.
constexpr std::size_t kPoolCapacity = 1024;
Variable* s_Pool[kPoolCapacity] = {};
std::size_t s_nPooled = 0;
}  // namespace

void Variable::Clear() {
  m_nType = ValueType::None;
  m_szName.reset();
  m_szValue.reset();
  m_nNum = 0;
  m_nSize = 0;
  if (m_bBorrowedArray) {
    static_cast<void>(m_pArray.release());
    m_bBorrowedArray = false;
  }
  m_pArray.reset();
  m_nSavedFrameBase = -1;
}

void VariableRecycler::operator()(Variable* variable) const noexcept {
  if (variable == nullptr) return;
  if (s_nPooled == kPoolCapacity) {
    delete variable;
    return;
  }
  variable->Clear();
  s_Pool[s_nPooled++] = variable;
}

VariablePtr AllocVariable() {
  if (s_nPooled > 0) return VariablePtr(s_Pool[--s_nPooled]);
  return VariablePtr(new Variable());
}

void ReleaseVariablePool() {
  while (s_nPooled > 0) delete s_Pool[--s_nPooled];
}

std::size_t VariablePoolSize() {
  return s_nPooled;
}

bool ReserveArrayElements(std::int64_t count) {
  if (count < 0 || count > kMaxLiveArrayElements - s_nLiveElements) return false;
  s_nLiveElements += count;
  return true;
}

void ReleaseArrayElements(std::int64_t count) {
  s_nLiveElements = count >= s_nLiveElements ? 0 : s_nLiveElements - count;
}

void ResetArrayBudget() {
  s_nLiveElements = 0;
}

Variable::~Variable() {
  // An initializer's element values belong to its syntax node: detach them.
  if (m_bBorrowedArray) static_cast<void>(m_pArray.release());
}

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
