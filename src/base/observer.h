// The hook through which a host watches the compiler and the interpreter
// (setup-run's trace and coverage). The library never prints what it sees;
// theGlobal.m_pObserver is null unless a host installs one, and every hook is
// a single test of that pointer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace setup {

// A value as an observer sees it: a num, a text (none when the string has no
// text storage) or an array.
struct ObservedValue {
  enum class Kind : std::uint8_t { Num, Text, Array };
  Kind m_nKind = Kind::Num;
  std::int32_t m_nNum = 0;
  const char* m_pText = nullptr;  // Text: its bytes, not NUL-terminated; none = no text
  std::size_t m_nLength = 0;
};

// What a construct is, as the interpreter describes it before the run.
enum class ObservedKind : std::uint8_t {
  Statement,  // a statement of a list (a body, a branch, a section, the top level)
  If,         // also a statement; two branches: the block, the else (or none)
  While,      // also a statement; two branches: the body entered, the loop left
  Switch,     // also a statement; a branch per section, and one for no match
};

// Nodes are named by their address, which stays the same from the node's
// making to the end of the run.
class ScriptObserver {
 public:
  virtual ~ScriptObserver() = default;

  // ---- While compiling ----
  // A node was made while the reader was on `line` of `file`: none for the
  // script itself, whose line counts without the parameter prelude (0 or less
  // in the prelude); else the included file as the include directive names
  // it. Macro text counts at the line where the macro is used.
  virtual void NodeMade(const void* node, const char* file, std::int32_t line) = 0;
  // `node`, made by the interpreter, stands at the place of `place`.
  virtual void SamePlace(const void* node, const void* place) = 0;

  // ---- Before the run: what the script holds ----
  // A statement, described in a few words ("if", "x =", "call f").
  virtual void Construct(const void* node, ObservedKind kind, const char* what,
                         std::int32_t branches) = 0;
  // A function with a body, at its definition node.
  virtual void FunctionDefined(const char* name, const void* definition) = 0;

  // ---- While running ----
  virtual void Statement(const void* node) = 0;
  // Branch `branch` of an if, while or switch was taken (numbered as
  // Construct describes them).
  virtual void Branch(const void* node, std::int32_t branch) = 0;
  // A script function was entered with these arguments, at the call node.
  virtual void Call(const void* node, const char* name, const ObservedValue* args,
                    std::int32_t count) = 0;
  // ... and left: with its result, or none when the call failed.
  virtual void Return(const void* node, const char* name, const ObservedValue* result) = 0;
  // A built-in ran its handler: its arguments and result; `failed` when it
  // answered 0 as a failure (the library reported it).
  virtual void Builtin(const void* node, const char* name, const ObservedValue* args,
                       std::int32_t count, const ObservedValue& result, bool failed) = 0;
};

}  // namespace setup
