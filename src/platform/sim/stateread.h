// Reading machine.json safely: a parser that refuses deep nesting while it
// parses, and field accessors that check every type and integer range and
// name the offending field ("services[2].errorControl") in their message.
//
// The accessors never copy a subtree: a damaged file cannot make the loader
// recurse or allocate beyond what the parsed text already holds.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "platform/sim/simcore.h"

namespace sim::detail {

// The deepest nesting of arrays and objects machine.json may hold: the
// registry's 512 key levels take two each ("keys" array, key object), below
// the file's own four levels (state, registry, root key, values).
constexpr int kMaxStateDepth = 2 * 512 + 8;

// A malformed state: what() names the field and what is wrong with it.
class StateError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses the text of a state file. Nesting deeper than kMaxStateDepth fails
// as soon as the parser meets it. Answers false with the reason in *error.
bool ParseState(std::string_view text, Json* out, std::string* error);

// Where a value sits in the state file: a chain of frames on the caller's
// stack, turned into text only when a message needs it.
class Where {
 public:
  Where() : m_root(true) {}  // the whole file
  explicit Where(std::string_view field) : m_field(field) {}
  Where(const Where& parent, std::string_view field) : m_parent(&parent), m_field(field) {}
  Where(const Where& parent, std::size_t index) : m_parent(&parent), m_index(index) {}
  Where(const Where&) = delete;
  Where& operator=(const Where&) = delete;

  std::string Text() const;
  // Throws StateError "<where>: <problem>".
  [[noreturn]] void Fail(const std::string& problem) const;

 private:
  const Where* m_parent = nullptr;  // enclosing value; none at the top
  std::string_view m_field;         // member name, empty for an array element
  std::size_t m_index = 0;          // element index when m_field is empty
  bool m_root = false;              // the whole file: no name of its own
};

// ---- Type checks ----------------------------------------------------------------
const Json& ExpectObject(const Json& value, const Where& where);
const Json& ExpectArray(const Json& value, const Where& where);
std::string ReadString(const Json& value, const Where& where);
bool ReadBool(const Json& value, const Where& where);
// An integer in [lo, hi]: a JSON integer, or a float holding an exact integer.
std::int64_t ReadInteger(const Json& value, const Where& where, std::int64_t lo, std::int64_t hi);

template <std::integral T>
T ReadInt(const Json& value, const Where& where) {
  static_assert(sizeof(T) <= 4, "wider integers need their own range check");
  return static_cast<T>(
      ReadInteger(value, where, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

// The member `name` of an object; null when absent.
const Json* Member(const Json& object, const char* name);

// ---- Optional members: absent leaves *out as it is --------------------------------
void Get(const Json& object, const Where& where, const char* name, std::string* out);
void Get(const Json& object, const Where& where, const char* name, bool* out);
template <std::integral T>
requires(!std::same_as<T, bool>) void Get(const Json& object, const Where& where, const char* name,
                                          T* out) {
  if (const Json* v = Member(object, name)) *out = ReadInt<T>(*v, Where(where, name));
}

}  // namespace sim::detail
