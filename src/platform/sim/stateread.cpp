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

namespace {

// Builds the document like the library's own DOM parser, but counts the
// nesting on the way and stops the parse at the first container too deep.
// (The library's callback parser rescans a container's members at every
// closed object, which makes large states load in quadratic time.)
class DepthLimitedBuilder : public nlohmann::json_sax<Json> {
 public:
  explicit DepthLimitedBuilder(Json& root) : m_dom(root) {}

  bool null() override { return m_dom.null(); }
  bool boolean(bool value) override { return m_dom.boolean(value); }
  bool number_integer(number_integer_t value) override { return m_dom.number_integer(value); }
  bool number_unsigned(number_unsigned_t value) override { return m_dom.number_unsigned(value); }
  bool number_float(number_float_t value, const string_t& text) override {
    return m_dom.number_float(value, text);
  }
  bool string(string_t& value) override { return m_dom.string(value); }
  bool binary(binary_t& value) override { return m_dom.binary(value); }
  bool start_object(std::size_t elements) override {
    return Enter() && m_dom.start_object(elements);
  }
  bool key(string_t& value) override { return m_dom.key(value); }
  bool end_object() override {
    --m_depth;
    return m_dom.end_object();
  }
  bool start_array(std::size_t elements) override { return Enter() && m_dom.start_array(elements); }
  bool end_array() override {
    --m_depth;
    return m_dom.end_array();
  }
  bool parse_error(std::size_t position, const std::string& last,
                   const nlohmann::detail::exception& e) override {
    return m_dom.parse_error(position, last, e);
  }

  bool TooDeep() const { return m_tooDeep; }

 private:
  bool Enter() {
    if (++m_depth > kMaxStateDepth) m_tooDeep = true;
    return !m_tooDeep;
  }

  nlohmann::detail::json_sax_dom_parser<Json> m_dom;
  int m_depth = 0;  // containers open at the current position
  bool m_tooDeep = false;
};

}  // namespace

bool ParseState(std::string_view text, Json* out, std::string* error) {
  Json root;
  DepthLimitedBuilder builder(root);
  try {
    bool ok = Json::sax_parse(text.begin(), text.end(), &builder);
    if (builder.TooDeep()) {
      if (error) *error = "nested deeper than " + std::to_string(kMaxStateDepth) + " levels";
      return false;
    }
    if (!ok) {
      if (error) *error = "syntax error";
      return false;
    }
  } catch (const std::exception& e) {
    if (error) *error = e.what();
    return false;
  }
  *out = std::move(root);
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
