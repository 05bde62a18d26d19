// Texts held once per run: node texts and variable names.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace setup {

// A text of a node or a variable's name: none, or one entry of the run's
// name pool (node.cpp), which holds every distinct text once until the end
// of the run. Reads like a std::optional<std::string> (test, *, ->, reset,
// assignment), converts to a reference to a pooled std::optional<std::string>
// without copying, and costs one pointer. Equal texts share one entry, so
// identity is equality.
class NodeText {
 public:
  NodeText() = default;
  NodeText(std::nullopt_t) {}  // NOLINT(google-explicit-constructor)
  NodeText& operator=(std::nullopt_t) {
    m_pText = nullptr;
    return *this;
  }
  NodeText& operator=(std::string_view text);
  NodeText& operator=(const std::string& text) { return *this = std::string_view(text); }
  NodeText& operator=(const char* text) { return *this = std::string_view(text); }
  // An optional without text clears the node's text.
  NodeText& operator=(const std::optional<std::string>& text);

  explicit operator bool() const { return m_pText != nullptr; }
  bool has_value() const { return m_pText != nullptr; }
  const std::string& operator*() const { return **m_pText; }
  const std::string* operator->() const { return &**m_pText; }
  const std::string& value() const { return **m_pText; }
  std::string value_or(std::string fallback) const {
    return m_pText ? **m_pText : std::move(fallback);
  }
  void reset() { m_pText = nullptr; }
  // The pooled text, or a shared optional without text.
  operator const std::optional<std::string>&() const;  // NOLINT(google-explicit-constructor)
  // The pool entry (none without text): equal texts give equal entries.
  const std::optional<std::string>* Entry() const { return m_pText; }

 private:
  const std::optional<std::string>* m_pText = nullptr;
};

inline bool operator==(const NodeText& text, std::string_view other) {
  return text && *text == other;
}

}  // namespace setup
