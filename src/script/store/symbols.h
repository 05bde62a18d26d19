// Symbol tables and scopes: globals, functions, macros, global statements,
// call frames, the value stack and the include stack.
//
// Every table keeps declaration order and every lookup answers the first entry
// of the name (byte-for-byte comparison). Hash indexes map a name to its first
// entry so that lookups stay constant-time on large scripts.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/global.h"
#include "platform/textfile.h"
#include "script/store/node.h"
#include "script/store/value.h"

namespace setup {

// One parameter of a script function, a built-in or a macro.
struct ParamEntry {
  ValueType m_nType = ValueType::None;  // 0 for macro parameters
  std::string m_szName;                 // empty for built-ins
};

// A new id for a function entry (never 0, which stands for the top level).
std::uint32_t NewFunctionId();

struct FunctionEntry {
  std::uint32_t m_nId = NewFunctionId();  // what name bindings remember
  std::string m_szName;
  ValueType m_nRetType = ValueType::None;
  std::vector<ParamEntry> m_Params;
  // One variable per parameter (in order), then the body's declarations.
  std::vector<VariablePtr> m_Locals;
  bool m_bDefined = false;  // a definition header was accepted
  NodePtr m_pDefinition;    // the ExternalFunT node; none while only declared

  // The first local of that name, or none.
  Variable* FindLocal(const std::string& name) const;
};

struct MacroEntry {
  std::string m_szName;
  std::optional<std::string> m_szBody;  // none after a failed definition
  bool m_bHasParams = false;
  std::vector<ParamEntry> m_Params;
};

struct CallFrame {
  FunctionEntry* m_pFunction = nullptr;
  std::string m_szFunName;
};

// Saved reader state of a file that includes the file being compiled.
struct IncludeFrame {
  std::int32_t m_nLineNo = 0;
  std::unique_ptr<plat::TextFile> m_pSource;
  std::string m_szFileName;
  std::string m_szLine;  // copy of the line buffer (up to its NUL)
  std::int32_t m_nLineLen = 0;
  std::int32_t m_nLinePos = 0;
  std::int32_t m_nToken = 0;
  std::string m_szToken;
};

// A list whose entries keep declaration order, with a first-match name index:
// an open-addressed table of the name (held in the run's name pool, shared
// with the syntax tree's texts) and the first entry of that name, so that an
// entry costs no allocation of its own in the index.
template <typename T, typename Ptr = std::unique_ptr<T>>
class NamedList {
 public:
  // Appends; the index keeps pointing at the first entry of a name.
  T* Append(Ptr entry, const std::string& name) {
    T* raw = entry.get();
    m_Entries.push_back(std::move(entry));
    if ((m_nNames + 1) * 2 > m_Slots.size()) Grow();
    Slot& slot = m_Slots[Probe(name)];
    if (slot.m_pName == nullptr) {
      slot = Slot{&PooledText(name), raw};
      ++m_nNames;
    }
    return raw;
  }
  T* Find(const std::string& name) const {
    return m_Slots.empty() ? nullptr : m_Slots[Probe(name)].m_pEntry;
  }
  bool Empty() const { return m_Entries.empty(); }
  std::size_t Size() const { return m_Entries.size(); }
  const std::vector<Ptr>& Entries() const { return m_Entries; }
  // Empties the list; the index's names go with the name pool (FreeAll).
  void Clear() {
    std::vector<Slot>().swap(m_Slots);
    m_nNames = 0;
    m_Entries.clear();
  }

 private:
  struct Slot {
    const std::string* m_pName = nullptr;
    T* m_pEntry = nullptr;
  };

  // The slot of `name`, or the free slot where it would go.
  std::size_t Probe(std::string_view name) const {
    const std::size_t mask = m_Slots.size() - 1;
    std::size_t i = HashText(name) & mask;
    while (m_Slots[i].m_pName != nullptr && *m_Slots[i].m_pName != name) i = (i + 1) & mask;
    return i;
  }
  void Grow() {
    std::vector<Slot> old(m_Slots.empty() ? 16 : m_Slots.size() * 2);
    old.swap(m_Slots);
    for (const Slot& slot : old) {
      if (slot.m_pName != nullptr) m_Slots[Probe(*slot.m_pName)] = slot;
    }
  }

  std::vector<Ptr> m_Entries;
  std::vector<Slot> m_Slots;  // a power of two in size, at most half full; or empty
  std::size_t m_nNames = 0;
};

// ---- The tables -------------------------------------------------------------
extern NamedList<Variable, VariablePtr> theVariables;  // global variables
extern NamedList<FunctionEntry> theFunctions;          // declared and defined functions
extern NamedList<MacroEntry> theMacros;                // macros, in definition order
extern std::vector<NodePtr> theStatements;  // statements outside functions, run before main
extern std::vector<std::unique_ptr<CallFrame>> theCallFrames;  // innermost last
extern std::vector<VariablePtr> theValueStack;                 // bottom first; the top is back()
extern std::int64_t theFrameBase;  // index of the innermost frame marker, -1 for none
// The function of the innermost call frame (none without frames or when the
// frame names none); PushFrame and PopFrame keep it.
extern const FunctionEntry* theTopFunction;
extern std::vector<std::unique_ptr<IncludeFrame>> theIncludes;  // outermost first
extern VariablePtr theStringResult;  // text result of a string built-in; none between calls

// ---- Compile-time lookups ------------------------------------------------------
FunctionEntry* FindFunction(const std::string& name);
int FunctionExists(const std::string& name);
// -1 unknown, 0 declared only, 1 defined.
int IsFunctionDefined(const std::string& name);
int SameSignature(const FunctionEntry& a, const FunctionEntry& b);
int IsParaExist(const std::vector<ParamEntry>& list, const std::string& name);
MacroEntry* FindMacro(const std::string& name);
int MacroExists(const std::string& name);
int VariableExists(const std::string& name, int localOnly);
int VariableExistsTyped(const std::string& name, ValueType type, int localOnly);
// The function's locals first (when a function name is given), then the globals.
Variable* FindVariable(const std::string& name, const std::string* functionName);
// Adds a declared variable to the current scope (the function being compiled, or the globals).
void AddVariable(VariablePtr variable);
void AddStatement(NodePtr node);

// ---- Run-time lookup and stacks --------------------------------------------------
// The innermost frame's parameters, marker and locals, then the globals.
Variable* FindValue(const std::string& name);
// FindValue for the name of an IdT or Id_ArrayT node: the first lookup under
// a function's frame (or at top level) is remembered in `binding` and reused
// while the innermost frame belongs to the same function.
inline Variable* FindValueBound(const std::string& name, NameBinding& binding);
// The lookup behind FindValueBound when the binding does not hold.
Variable* BindValue(const std::string& name, NameBinding& binding);
inline void PushValue(VariablePtr value) {
  if (value) theValueStack.push_back(std::move(value));
}
VariablePtr PopValue();
void PushFrame(std::unique_ptr<CallFrame> frame);
std::unique_ptr<CallFrame> PopFrame();
CallFrame* TopFrame();
// PushFrame and PopFrame for the interpreter: frame records are kept for
// reuse until the end of the run instead of being made for every call
// (theSpareFrames, emptied by FreeAll). Every script call passes here, so the
// usual case (a spare record of the same function, room in both lists) is
// inline and the rest out of line.
extern std::vector<std::unique_ptr<CallFrame>> theSpareFrames;
void EnterFrameSlow(FunctionEntry* function);
[[nodiscard]] bool LeaveFrameSlow();
inline void EnterFrame(FunctionEntry* function) {
  if (theSpareFrames.empty() || theSpareFrames.back()->m_pFunction != function ||
      theCallFrames.size() == theCallFrames.capacity()) {
    EnterFrameSlow(function);
    return;
  }
  theCallFrames.push_back(std::move(theSpareFrames.back()));
  theSpareFrames.pop_back();
  theTopFunction = function;
  theGlobal.m_bInFunction = 1;
}
[[nodiscard]] inline bool LeaveFrame() {
  const std::size_t depth = theCallFrames.size();
  if (depth < 2 || theSpareFrames.size() == theSpareFrames.capacity()) return LeaveFrameSlow();
  theSpareFrames.push_back(std::move(theCallFrames.back()));
  theCallFrames.pop_back();
  theTopFunction = theCallFrames.back()->m_pFunction;  // frames remain
  return true;
}

// The global of a binding that found one; none for an undefined name.
inline Variable* BoundGlobal(const NameBinding& binding) {
  const std::uint32_t position = binding.GlobalPosition();
  return position != 0 ? theVariables.Entries()[position - 1].get() : nullptr;
}

inline Variable* FindValueBound(const std::string& name, NameBinding& binding) {
  if (binding.Valid()) {
    const FunctionEntry* function = theTopFunction;
    if (binding.Function() == (function != nullptr ? function->m_nId : 0)) {
      if (function == nullptr) return BoundGlobal(binding);
      // The remembered place holds while the frame is whole, as BindValue
      // required; anything else takes the full lookup.
      const auto size = static_cast<std::int64_t>(theValueStack.size());
      const std::int64_t first =
          theFrameBase - static_cast<std::int64_t>(function->m_Params.size());
      if (theFrameBase < size && first >= 0 &&
          first + static_cast<std::int64_t>(function->m_Locals.size()) + 1 <= size) {
        if (binding.IsGlobal()) return BoundGlobal(binding);
        return theValueStack[static_cast<std::size_t>(first + binding.FrameSlot())].get();
      }
    }
  }
  return BindValue(name, binding);
}

// ---- Include stack -------------------------------------------------------------------
int PushInclude();
int OpenInclude(const std::string& fileName);
std::unique_ptr<IncludeFrame> PopInclude();
int RestoreInclude(IncludeFrame* frame);

// Releases every table, value, tree and include frame after a run.
void FreeAll();
// The one per-run reset that every Action call, compile session and test ends
// with: FreeAll, closes the script handle and the source stream, then
// ResetGlobal, which clears every per-run member of theGlobal.
void ResetRun();

}  // namespace setup
