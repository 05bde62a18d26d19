// Reading machine.json safely: depth-limited parsing and checked field access.
#include "platform/sim/stateread.h"

#include <cmath>

namespace sim::detail {

namespace {

// A short rendering of a bad value for a message (a long string is cut).
std::string Shown(const Json& value) {
  constexpr std::size_t kMaxShown = 40;
  std::string text = value.is_structured()
                         ? std::string(value.type_name())
                         : value.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (text.size() > kMaxShown) text = text.substr(0, kMaxShown) + "...";
  return text;
}

}  // namespace

bool ParseState(std::string_view text, Json* out, std::string* error) {
  auto limit = [](int depth, Json::parse_event_t event, Json&) {
    if ((event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start) &&
        depth >= kMaxStateDepth) {
      throw StateError("nested deeper than " + std::to_string(kMaxStateDepth) + " levels");
    }
    return true;
  };
  try {
    *out = Json::parse(text.begin(), text.end(), limit);
  } catch (const std::exception& e) {
    if (error) *error = e.what();
    return false;
  }
  return true;
}

// ---- Where --------------------------------------------------------------------------

std::string Where::Text() const {
  if (m_root) return {};
  std::string parent = m_parent ? m_parent->Text() : std::string();
  if (m_field.empty()) return parent + "[" + std::to_string(m_index) + "]";
  if (parent.empty()) return std::string(m_field);
  return parent + "." + std::string(m_field);
}

void Where::Fail(const std::string& problem) const {
  const std::string where = Text();
  throw StateError(where.empty() ? problem : where + ": " + problem);
}

// ---- Type checks ----------------------------------------------------------------------

const Json& ExpectObject(const Json& value, const Where& where) {
  if (!value.is_object()) where.Fail(std::string("must be an object, not ") + value.type_name());
  return value;
}

const Json& ExpectArray(const Json& value, const Where& where) {
  if (!value.is_array()) where.Fail(std::string("must be an array, not ") + value.type_name());
  return value;
}

std::string ReadString(const Json& value, const Where& where) {
  if (!value.is_string()) where.Fail(std::string("must be a string, not ") + value.type_name());
  return value.get_ref<const std::string&>();
}

bool ReadBool(const Json& value, const Where& where) {
  if (!value.is_boolean()) where.Fail(std::string("must be true or false, not ") + Shown(value));
  return value.get<bool>();
}

std::int64_t ReadInteger(const Json& value, const Where& where, std::int64_t lo, std::int64_t hi) {
  bool ok = false;
  std::int64_t result = 0;
  if (value.is_number_unsigned()) {
    auto u = value.get<std::uint64_t>();
    ok = std::cmp_less_equal(u, hi) && std::cmp_greater_equal(u, lo);
    if (ok) result = static_cast<std::int64_t>(u);
  } else if (value.is_number_integer()) {
    auto i = value.get<std::int64_t>();
    ok = i >= lo && i <= hi;
    result = i;
  } else if (value.is_number_float()) {
    // Only exact integers within range: the comparison happens in double,
    // where every bound of a 32-bit field is exact, before any conversion.
    double d = value.get<double>();
    ok = std::isfinite(d) && d == std::floor(d) && d >= static_cast<double>(lo) &&
         d <= static_cast<double>(hi);
    if (ok) result = static_cast<std::int64_t>(d);
  }
  if (!ok) {
    where.Fail("must be an integer from " + std::to_string(lo) + " to " + std::to_string(hi) +
               ", not " + Shown(value));
  }
  return result;
}

const Json* Member(const Json& object, const char* name) {
  auto it = object.find(name);
  return it == object.end() ? nullptr : &*it;
}

void Get(const Json& object, const Where& where, const char* name, std::string* out) {
  if (const Json* v = Member(object, name)) *out = ReadString(*v, Where(where, name));
}

void Get(const Json& object, const Where& where, const char* name, bool* out) {
  if (const Json* v = Member(object, name)) *out = ReadBool(*v, Where(where, name));
}

}  // namespace sim::detail
