// Hashing of short texts, and a small index of fixed names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace setup {

// FNV-1a over the bytes: names and literals are short, and an inline loop
// beats the library's out-of-line hash on them.
inline std::size_t HashText(std::string_view text) {
  std::uint32_t hash = 2166136261u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash;
}

// Names to row numbers for a table that the lexer consults on every
// identifier (keywords, built-ins): open addressing, at most a quarter full,
// the first row of a name wins. The names must outlive the index.
class NameIndex {
 public:
  void Clear() {
    m_Slots.clear();
    m_nCount = 0;
  }
  void Add(std::string_view name, int row) {
    if ((m_nCount + 1) * 4 > m_Slots.size()) Grow();
    Slot& slot = m_Slots[Probe(name)];
    if (slot.m_nRow < 0) {
      slot = Slot{name, row};
      ++m_nCount;
    }
  }
  // The row of `name`, or -1.
  int Find(std::string_view name) const {
    return m_Slots.empty() ? -1 : m_Slots[Probe(name)].m_nRow;
  }

 private:
  struct Slot {
    std::string_view m_Name;
    int m_nRow = -1;
  };
  std::size_t Probe(std::string_view name) const {
    const std::size_t mask = m_Slots.size() - 1;
    std::size_t i = HashText(name) & mask;
    while (m_Slots[i].m_nRow >= 0 && m_Slots[i].m_Name != name) i = (i + 1) & mask;
    return i;
  }
  void Grow() {
    std::vector<Slot> old(m_Slots.empty() ? 64 : m_Slots.size() * 2);
    old.swap(m_Slots);
    for (const Slot& slot : old) {
      if (slot.m_nRow >= 0) m_Slots[Probe(slot.m_Name)] = slot;
    }
  }

  std::vector<Slot> m_Slots;  // a power of two in size, or empty
  std::size_t m_nCount = 0;
};

}  // namespace setup
