// The script generator: a grammar of the script language (docs/language.md)
// written as recursive functions that pick among the productions at random.
//
// Every script terminates: each loop counts a counter of its own that nothing
// else assigns up to a bound below 6 (or one taken modulo 5), and recursion
// passes `n - 1` under `n > 0`. Strings cannot grow faster than a constant
// per assignment: whatever is stored (assignments, arguments, results) holds
// at most one text of unbounded length (a variable, an element, a call)
// besides literals, and `+=` on a string appends literals only. The runs
// still carry a pass budget in case a hazard (below) picks a large bound.
//
// Hazards are the forms that may fail when they run: any divisor, any index,
// a string where a num belongs, a call of a function that was only declared,
// a result of the wrong type, a bare literal or name as a statement. A script
// draws its hazard rate (none, low, high) from its seed, so most scripts run
// to their end and the others fail at some point.
#include "script_gen.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace equiv {
namespace {

// splitmix64: the same sequence on every host and standard library.
class Rng {
 public:
  explicit Rng(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  int Below(int n) { return n <= 0 ? 0 : static_cast<int>(Next() % static_cast<std::uint64_t>(n)); }
  int Range(int lo, int hi) { return lo + Below(hi - lo + 1); }
  bool Chance(int percent) { return Below(100) < percent; }
  // An index chosen with the given weights (at least one must be positive).
  int Weighted(std::initializer_list<int> weights) {
    int total = 0;
    for (int w : weights) total += w;
    int pick = Below(total);
    int index = 0;
    for (int w : weights) {
      if (pick < w) return index;
      pick -= w;
      ++index;
    }
    return 0;
  }
  template <typename T>
  const T& Pick(const std::vector<T>& items) {
    return items[static_cast<std::size_t>(Below(static_cast<int>(items.size())))];
  }

 private:
  std::uint64_t state_;
};

enum class Type { Num, Str };

const char* TypeName(Type type) {
  return type == Type::Num ? "num" : "string";
}

struct Var {
  std::string name;
  Type type = Type::Num;
  std::vector<int> dims;  // empty: a scalar
  bool fixed = false;     // a loop counter or a depth parameter: never assigned by statements
};

struct Function {
  std::string name;
  Type result = Type::Num;
  std::vector<Var> params;
  bool pure = false;       // nums only: no strings, arrays, built-ins, impure calls
  bool recursive = false;  // params[0] is the depth `n`; it calls itself only under `n > 0`
  bool leaf = false;       // declared first and called from anywhere: calls only itself
  bool defined = true;     // false: declared only, a call fails when it runs
  bool reader = false;     // (n, a, b): only reads its strings, with built-ins and comparisons
  bool joiner = false;     // (a, b, k): returns its strings, literals and globals joined by +
  int recursions = 0;      // self-calls written so far
};

// Operator levels from the lowest to the highest (docs/language.md).
constexpr int kAssignLevel = 1;
constexpr int kLogicLevel = 2;
constexpr int kCompareLevel = 3;
constexpr int kAddLevel = 4;
constexpr int kMulLevel = 5;
constexpr int kAtomLevel = 6;

struct Expr {
  std::string text;
  int level = kAtomLevel;
};

Expr Paren(const Expr& e) {
  return {"(" + e.text + ")", kAtomLevel};
}
Expr AtLeast(const Expr& e, int level) {
  return e.level >= level ? e : Paren(e);
}
// `left op right` at `level`; levels 1 and 3 group to the right.
Expr Binary(const Expr& left, const std::string& op, const Expr& right, int level) {
  const bool rightGrouping = level == kAssignLevel || level == kCompareLevel;
  const Expr l = AtLeast(left, rightGrouping ? level + 1 : level);
  const Expr r = AtLeast(right, rightGrouping ? level : level + 1);
  return {l.text + " " + op + " " + r.text, level};
}

const std::vector<std::string> kStrings = {
    "\"\"", "\"a\"", "\"b\"", "\"ab\"", "\"ba\"", "\"A\"", "\"abc\"", "\"x1\"", "\"12\"", "\"7x\"",
    "\"-3\"", "\" \"", "\"hello\"", "\"C:\\temp\\\"", "\"0\"", "\"zz\"",
    // Longer than the 15 bytes a std::string holds without the heap.
    "\"SYSTEM\\CurrentControlSet\\Services\"", "\"a text of sixteen\""};
const std::vector<std::string> kDivisors = {"1", "2", "3", "5", "7", "(-2)", "(-3)", "16", "0x10"};
const std::vector<std::string> kNumLabels = {"0", "1", "2", "3", "4", "5", "(-1)", "0x10", "7"};
const std::vector<std::string> kBigNums = {"2147483647", "65536",      "65537",
                                           "1000000",    "0x7fffffff", "0x80000000"};
const std::vector<std::string> kNumOps = {"+", "-", "*", "/", "%"};
const std::vector<std::string> kLogicOps = {"&&", "||", "&", "|"};
const std::vector<std::string> kCompareOps = {"<", ">", "<=", ">=", "==", "!="};
const std::vector<std::string> kCompoundOps = {"+=", "-=", "*=", "/=", "%="};

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : rng_(seed), seed_(seed) {}

  std::string Script() {
    hazard_ = rng_.Pick(std::vector<int>{0, 0, 0, 0, 2, 2, 2, 6, 6, 12});
    literalRate_ = rng_.Range(2, 12);
    Line("// generated, seed " + std::to_string(seed_));
    PlanFunctions();
    for (const Function& f : functions_) {
      if (f.leaf || !f.defined) Line(Header(f) + ";");
    }
    Globals(rng_.Range(0, 4));
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      if (!functions_[i].defined) continue;
      FunctionBody(static_cast<int>(i));
      definedSoFar_ = static_cast<int>(i) + 1;
      if (rng_.Chance(40)) Globals(rng_.Range(1, 2));
    }
    definedSoFar_ = static_cast<int>(functions_.size());
    Main();
    return text_;
  }

 private:
  // ---- Output ------------------------------------------------------------------

  void Line(const std::string& text) {
    text_.append(static_cast<std::size_t>(indent_) * 2, ' ');
    text_ += text;
    text_ += '\n';
  }
  void Open(const std::string& text) {
    Line(text);
    ++indent_;
  }
  void Close(const std::string& text = "}") {
    --indent_;
    Line(text);
  }
  std::string NewName(const char* prefix) { return prefix + std::to_string(++names_); }
  bool Hazard() { return hazard_ > 0 && rng_.Chance(hazard_); }

  // ---- Functions ---------------------------------------------------------------

  void PlanFunctions() {
    const int count = rng_.Weighted({1, 3, 4, 3, 2, 1});
    for (int i = 0; i < count; ++i) {
      Function f;
      f.name = "f" + std::to_string(i + 1);
      f.pure = rng_.Chance(40);
      f.result = f.pure || rng_.Chance(65) ? Type::Num : Type::Str;
      f.recursive = rng_.Chance(35);
      f.leaf = i > 0 && rng_.Chance(20);
      if (f.recursive) f.params.push_back({"n", Type::Num, {}, true});
      const int params = rng_.Range(0, 3);
      for (int p = 0; p < params; ++p) {
        const Type type = f.pure || rng_.Chance(60) ? Type::Num : Type::Str;
        f.params.push_back({"p" + std::to_string(p + 1), type, {}, false});
      }
      functions_.push_back(f);
    }
    if (rng_.Chance(60)) {
      // A function that only reads its string parameters: the shape of
      // prefix tests and lookups, which runs in a frame of cells.
      Function reader;
      reader.name = "r" + std::to_string(count + 1);
      reader.reader = true;
      reader.recursive = true;
      reader.leaf = true;
      reader.params = {
          {"n", Type::Num, {}, true}, {"a", Type::Str, {}, true}, {"b", Type::Str, {}, true}};
      functions_.push_back(reader);
    }
    if (rng_.Chance(60)) {
      // A string function that joins texts: the shape of registry paths.
      Function joiner;
      joiner.name = "j" + std::to_string(count + 2);
      joiner.result = Type::Str;
      joiner.joiner = true;
      joiner.leaf = true;
      joiner.params = {
          {"a", Type::Str, {}, true}, {"b", Type::Str, {}, true}, {"k", Type::Num, {}, true}};
      functions_.push_back(joiner);
    }
    if (hazard_ > 0 && rng_.Chance(15)) {
      Function undefined;
      undefined.name = "missing";
      undefined.result = Type::Num;
      undefined.params.push_back({"p1", Type::Num, {}, false});
      undefined.defined = false;
      functions_.push_back(undefined);
    }
  }

  static std::string Header(const Function& f) {
    std::string text = std::string(TypeName(f.result)) + " " + f.name + "(";
    for (std::size_t i = 0; i < f.params.size(); ++i) {
      if (i > 0) text += ", ";
      text += std::string(TypeName(f.params[i].type)) + " " + f.params[i].name;
    }
    return text + ")";
  }

  void EnterFunction(Function* f) {
    fn_ = f;
    scope_.clear();
    if (f != nullptr) scope_ = f->params;
    counters_.clear();
    declared_.clear();
    loopDepth_ = 0;
    sectionDepth_ = 0;
  }

  // A reader's body: a length, tests of pieces and comparisons that return,
  // and a recursion that passes its strings on, swapped.
  void ReaderBody(Function& f) {
    static const std::vector<std::string> kPieces = {"", "S", "SYSTEM", "x1", "USB\\VID", "ab"};
    Open(Header(f) + " {");
    Line("num m = getlen(a)");
    const int tests = rng_.Range(1, 4);
    for (int t = 0; t < tests; ++t) {
      const std::string op = rng_.Pick(kCompareOps);
      const std::string at = std::to_string(rng_.Below(6));
      std::string test;
      switch (rng_.Below(4)) {
        case 0:
          test = "getstr(a, 0, " + (rng_.Chance(50) ? at : std::string("m - 1")) + ") " + op + " b";
          break;
        case 1:
          test = "getat(b, " + at + ") " + op + " \"" + rng_.Pick(kPieces) + "\"";
          break;
        case 2:
          test = "a " + op + " " + (rng_.Chance(50) ? "b" : "\"" + rng_.Pick(kPieces) + "\"");
          break;
        default:
          test = "getlen(b) " + op + " m";
          break;
      }
      Open("if (" + test + ") {");
      Line("return m * " + std::to_string(t + 2) + " + n");
      Close();
    }
    Open("if (n > 0) {");
    Line("return " + f.name + "(n - 1, b, a) + " + std::to_string(rng_.Below(5)));
    Close();
    Line("return m - getlen(b)");
    Close();
  }

  // A text of 1 to 7 parts joined by +: the parameters, string globals and
  // literals (two literals first fold).
  std::string Join() {
    const auto vars = Visible(Type::Str, false, false);
    const int parts = rng_.Weighted({1, 4, 4, 3, 2, 1, 1}) + 1;
    std::string text;
    for (int i = 0; i < parts; ++i) {
      if (i > 0) text += " + ";
      text += rng_.Chance(55) ? rng_.Pick(vars)->name : rng_.Pick(kStrings);
    }
    return text;
  }

  // A string literal or a string scalar.
  std::string PlainScalar() {
    const auto vars = Visible(Type::Str, false, false);
    if (!vars.empty() && rng_.Chance(50)) return rng_.Pick(vars)->name;
    return rng_.Pick(kStrings);
  }

  // A string literal, name or element with a plain index.
  std::string PlainText() {
    const auto vars = Visible(Type::Str, false, false);
    const auto arrays = Visible(Type::Str, true, false);
    const int form = rng_.Below(10);
    if (form < 4 && !vars.empty()) return rng_.Pick(vars)->name;
    if (form < 6 && !arrays.empty()) {
      const Var& a = *rng_.Pick(arrays);
      std::string text = a.name;
      for (int dim : a.dims) {
        text += "[" +
                (counters_.empty() || rng_.Chance(30)
                     ? std::to_string(rng_.Below(dim + (Hazard() ? 1 : 0)))
                     : rng_.Pick(counters_) + " % " + std::to_string(dim)) +
                "]";
      }
      return text;
    }
    return rng_.Pick(kStrings);
  }

  // A loop that stores a joiner's results: its first call runs on the walk,
  // the others in a frame of cells.
  void JoinLoop(const Function& f) {
    const std::string i = NewName("i");
    const std::string text = NewName("s");
    Line("num " + i + " = 0");
    Line("string " + text);
    Open("while (" + i + " < " + std::to_string(rng_.Range(2, 5)) + ") {");
    counters_.push_back(i);
    scope_.push_back({text, Type::Str, {}, false});
    // The result alone or with texts after it; stored, or a declaration's
    // initializer.
    std::string value = f.name + "(" + PlainText() + ", " + PlainText() + ", " + i + ")";
    const int after = rng_.Weighted({5, 3, 2, 1});
    for (int k = 0; k < after; ++k) value += " + " + PlainScalar();
    if (rng_.Chance(30)) {
      const std::string local = NewName("t");
      Line("string " + local + " = " + value);
      Line(text + " = " + local);
    } else {
      Line(text + " = " + value);
    }
    if (rng_.Chance(50)) Line(rng_.Pick(Visible(Type::Str, false, true))->name + " = " + text);
    counters_.pop_back();
    Line(i + " += 1");
    Close();
    Line("msgbox(" + text + ", \"" + text + "\", 0)");
  }

  // A joiner's body: returns of joined texts, one under a test; sometimes
  // it just ends (the empty string).
  void JoinerBody(Function& f) {
    EnterFunction(&f);
    Open(Header(f) + " {");
    if (rng_.Chance(50)) {
      static const std::vector<std::string> kTests = {"getlen(a) > k", "a == b", "k % 3 == 1",
                                                      "getat(b, 0) == \"S\"", "k > 2"};
      Open("if (" + rng_.Pick(kTests) + ") {");
      Line("return " + Join());
      Close();
    }
    // A parameter assigned: the caller's variable must not change.
    if (rng_.Chance(25)) Line("a = " + Join());
    if (rng_.Chance(40)) {
      // A string local: declared with a join or without, then joined onto.
      const std::string local = NewName("t");
      Line("string " + local + (rng_.Chance(70) ? " = " + Join() : std::string()));
      scope_.push_back({local, Type::Str, {}, false});
      if (rng_.Chance(50)) Line(local + " = " + Join());
      if (rng_.Chance(50)) Line(local + " = " + local + " + " + Join());
      if (rng_.Chance(60)) {
        Line("return " + local);
        Close();
        EnterFunction(nullptr);
        return;
      }
    }
    if (rng_.Chance(85)) {
      const auto vars = Visible(Type::Str, false, false);
      Line("return " + (rng_.Chance(20) ? rng_.Pick(vars)->name : Join()));
    }
    Close();
    EnterFunction(nullptr);
  }

  void FunctionBody(int index) {
    Function& f = functions_[static_cast<std::size_t>(index)];
    current_ = index;
    if (f.reader) {
      ReaderBody(f);
      return;
    }
    if (f.joiner) {
      JoinerBody(f);
      return;
    }
    EnterFunction(&f);
    Open(Header(f) + " {");
    if (f.recursive && rng_.Chance(50)) {
      Open("if (n < 1) {");
      Line("return " + Result(2).text);
      Close();
    }
    budget_ = rng_.Range(3, 12);
    while (budget_ > 0) Statement(0);
    if (f.recursive && f.recursions == 0) Recurse(0);
    if (rng_.Chance(75)) Line("return " + Result(2).text);
    Close();
    EnterFunction(nullptr);
  }

  void Main() {
    Function main;
    main.name = "main";
    functions_.push_back(main);
    current_ = static_cast<int>(functions_.size()) - 1;
    if (rng_.Chance(15)) {
      // Parameters of main are 0 and empty.
      functions_.back().params = {{"p1", Type::Num, {}, false}, {"p2", Type::Str, {}, false}};
    }
    EnterFunction(&functions_.back());
    Open(Header(functions_.back()) + " {");
    if (rng_.Chance(3)) Line("num broken = undeclared + 1");  // does not compile
    budget_ = rng_.Range(6, 24);
    while (budget_ > 0) Statement(0);
    for (const Function& f : functions_) {
      if (f.joiner && rng_.Chance(70)) JoinLoop(f);
    }
    // The globals' final values, for the comparison.
    for (const Var& g : globals_) {
      if (!g.dims.empty() || rng_.Chance(30)) continue;
      if (g.type == Type::Num) {
        Line("msgbox(numtostring(" + g.name + "), \"end " + g.name + "\", 0)");
      } else {
        Line("msgbox(" + g.name + ", \"end " + g.name + "\", 0)");
      }
    }
    Line("return " + NumExpr(2).text);
    Close();
  }

  // The functions the current code may call with the given result type.
  std::vector<int> Callees(Type result) {
    std::vector<int> out;
    const Function* self = fn_;
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      const Function& f = functions_[i];
      const int index = static_cast<int>(i);
      if (f.result != result || f.name == "main") continue;
      if (!f.defined && !Hazard()) continue;
      if (self == nullptr) {
        // A global initializer: functions above it, or declared above it.
        if (index >= definedSoFar_ && !f.leaf && f.defined) continue;
      } else if (self->name != "main") {
        if (index == current_) continue;  // self-calls only through Recurse
        if (self->leaf) continue;
        if (index > current_ && !f.leaf && f.defined) continue;
        if (self->pure && !f.pure) continue;
      }
      out.push_back(index);
    }
    return out;
  }

  // A depth argument for a recursive function: small, or (hazard) anything.
  std::string DepthArgument(int depth) {
    if (Hazard()) return NumExpr(depth).text;
    if (!counters_.empty() && rng_.Chance(30)) return rng_.Pick(counters_) + " % 4";
    return std::to_string(rng_.Range(0, 4));
  }

  std::string Arguments(const Function& f, int depth, bool self) {
    std::string text = "(";
    for (std::size_t i = 0; i < f.params.size(); ++i) {
      if (i > 0) text += ", ";
      if (i == 0 && f.recursive) {
        text += self ? "n - 1" : DepthArgument(depth);
      } else if (f.params[i].type == Type::Num) {
        text += NumExpr(depth).text;
      } else {
        int leaves = 1;
        // A reader mostly gets names, literals and elements, which the
        // machine passes where they lie.
        text += ((f.reader || f.joiner) && rng_.Chance(75) ? StrAtom(depth, false, leaves)
                                                           : StrExpr(depth, false, leaves))
                    .text;
      }
    }
    return text + ")";
  }

  Expr Call(Type result, int depth) {
    const std::vector<int> callees = Callees(result);
    if (callees.empty()) return {};
    const Function& f = functions_[static_cast<std::size_t>(rng_.Pick(callees))];
    return {f.name + Arguments(f, depth, false), kAtomLevel};
  }

  // The value of a return statement in the current function.
  Expr Result(int depth) {
    Type type = fn_->result;
    if (Hazard() && fn_->name != "main" && !fn_->pure) {
      type = type == Type::Num ? Type::Str : Type::Num;  // fails when it runs
    }
    if (type == Type::Num) return NumExpr(depth);
    int leaves = 1;
    return StrExpr(depth, false, leaves);
  }

  // ---- Variables ---------------------------------------------------------------

  bool Pure() const { return fn_ != nullptr && fn_->pure; }

  // Visible variables: the current function's (innermost first), then the
  // globals they do not hide.
  std::vector<const Var*> Visible(Type type, bool array, bool assignable) {
    std::vector<const Var*> out;
    auto fits = [&](const Var& v) {
      return v.type == type && v.dims.empty() != array && (!assignable || !v.fixed);
    };
    for (auto it = scope_.rbegin(); it != scope_.rend(); ++it) {
      if (fits(*it)) out.push_back(&*it);
    }
    for (const Var& g : globals_) {
      bool hidden = false;
      for (const Var& v : scope_) hidden = hidden || v.name == g.name;
      if (!hidden && fits(g)) out.push_back(&g);
    }
    return out;
  }

  std::string Index(int dim, int depth) {
    if (Hazard()) return NumExpr(depth).text;
    const int form = rng_.Below(10);
    if (form < 5 || depth <= 0) return std::to_string(rng_.Below(dim));
    if (form < 8 && !counters_.empty()) return rng_.Pick(counters_) + " % " + std::to_string(dim);
    const std::string d = std::to_string(dim);
    const auto vars = Visible(Type::Num, false, true);
    if (form == 8 && !vars.empty()) {
      // An index with an effect: a store evaluates it twice.
      return "((" + rng_.Pick(vars)->name + " += 1) % " + d + " + " + d + ") % " + d;
    }
    return "(" + AtLeast(NumExpr(depth - 1), kMulLevel).text + " % " + d + " + " + d + ") % " + d;
  }

  std::string Element(const Var& array, int depth) {
    std::string text = array.name;
    for (int dim : array.dims) text += "[" + Index(dim, depth) + "]";
    return text;
  }

  // A scalar or an element to assign, or empty.
  std::string Target(Type type, int depth) {
    const auto scalars = Visible(type, false, true);
    const auto arrays = Visible(type, true, true);
    if (!arrays.empty() && (scalars.empty() || rng_.Chance(25))) {
      return Element(*rng_.Pick(arrays), depth);
    }
    if (scalars.empty()) return {};
    return rng_.Pick(scalars)->name;
  }

  // ---- Expressions -------------------------------------------------------------

  std::string NumLiteral() {
    const int r = rng_.Below(100);
    if (r < 50) return std::to_string(rng_.Below(10));
    if (r < 65) return std::to_string(rng_.Range(10, 300));
    if (r < 75) {
      static const char kHex[] = "0123456789ABCDEF";
      const int v = rng_.Range(1, 0x1FF);
      std::string text = "0x";
      if (v >= 0x100) text += kHex[v >> 8];
      if (v >= 0x10) text += kHex[(v >> 4) & 15];
      return text + kHex[v & 15];
    }
    if (r < 88) return "(-" + std::to_string(rng_.Range(1, 20)) + ")";
    return rng_.Pick(kBigNums);
  }

  Expr NumAtom(int depth, bool literal) {
    if (literal) return {NumLiteral(), kAtomLevel};
    for (int tries = 0; tries < 8; ++tries) {
      switch (rng_.Weighted(
          {6, 6, 2, Pure() ? 1 : 2, Pure() ? 0 : 2, 2, Pure() ? 0 : 1, 1, 1, Pure() ? 0 : 1})) {
        case 0:
          return {NumLiteral(), kAtomLevel};
        case 1: {
          const auto vars = Visible(Type::Num, false, false);
          if (!vars.empty()) return {rng_.Pick(vars)->name, kAtomLevel};
          break;
        }
        case 2: {
          const auto arrays = Visible(Type::Num, true, false);
          if (!arrays.empty()) return {Element(*rng_.Pick(arrays), depth - 1), kAtomLevel};
          break;
        }
        case 3:
          if (depth > 0) {
            Expr call = Call(Type::Num, depth - 1);
            if (!call.text.empty()) return call;
          }
          break;
        case 4:
          if (depth > 0) {
            int leaves = 3;
            const Expr s = StrExpr(depth - 1, false, leaves);
            return {(rng_.Chance(60) ? "getlen(" : "stringtonum(") + s.text + ")", kAtomLevel};
          }
          break;
        case 5:
          if (depth > 0) {
            // An assignment or compound assignment as an operand.
            const std::string target = Target(Type::Num, depth - 1);
            if (target.empty()) break;
            if (rng_.Chance(30)) {
              return Paren(Binary({target}, "=", NumExpr(depth - 1), kAssignLevel));
            }
            const std::string& op = rng_.Pick(kCompoundOps);
            const Expr value =
                (op == "/=" || op == "%=") ? Divisor(depth - 1, false) : NumExpr(depth - 1);
            return Binary({target}, op, value, kCompareLevel);
          }
          break;
        case 6: {
          static const std::vector<std::string> kConstants = {
              "_Parameters_Num", "HKEY_LOCAL_MACHINE", "OS_WINXP", "MSG_YESNO", "REG_TYPE_DWORD"};
          return {rng_.Pick(kConstants), kAtomLevel};
        }
        case 7:
          if (Hazard() && !Pure()) {
            // A string where a num belongs: the compound assignment's type
            // is num, its value a string.
            const std::string target = Target(Type::Str, 0);
            if (!target.empty()) return {"(" + target + " += \"x\")", kAtomLevel};
          }
          break;
        case 8: {
          // An array's name: its scalar part, which no statement can set.
          const auto arrays = Visible(Type::Num, true, false);
          if (!arrays.empty()) return {rng_.Pick(arrays)->name, kAtomLevel};
          break;
        }
        case 9:
          if (depth > 0) {
            // A built-in with an effect among the operands: its place in the
            // order of evaluation shows.
            return {"msgbox(numtostring(" + NumExpr(depth - 1).text + "), \"m" +
                        std::to_string(++shows_) + "\", 0)",
                    kAtomLevel};
          }
          break;
      }
    }
    return {NumLiteral(), kAtomLevel};
  }

  // A right operand of / or %: 0 only as a hazard.
  Expr Divisor(int depth, bool literal) {
    if (Hazard()) return rng_.Chance(30) ? Expr{"0"} : NumExpr(depth, literal);
    if (literal || depth <= 0 || rng_.Chance(75)) return {rng_.Pick(kDivisors), kAtomLevel};
    return {"(" + AtLeast(NumExpr(depth - 1), kMulLevel).text + " % 5 + 6)", kAtomLevel};
  }

  Expr NumExpr(int depth, bool literal = false) {
    if (!literal && rng_.Chance(literalRate_)) literal = true;  // a subtree that folds
    if (depth <= 0 || rng_.Chance(30)) return NumAtom(depth, literal);
    switch (rng_.Weighted({40, 12, 30, Pure() ? 0 : 12})) {
      case 0: {
        const std::string& op = rng_.Pick(kNumOps);
        const Expr left = NumExpr(depth - 1, literal);
        if (op == "/" || op == "%") {
          return Binary(left, op, Divisor(depth - 1, literal), kMulLevel);
        }
        return Binary(left, op, NumExpr(depth - 1, literal), op == "*" ? kMulLevel : kAddLevel);
      }
      case 1:
        return Binary(NumExpr(depth - 1, literal), rng_.Pick(kLogicOps),
                      NumExpr(depth - 1, literal), kLogicLevel);
      case 2:
        return Binary(NumExpr(depth - 1, literal), rng_.Pick(kCompareOps),
                      NumExpr(depth - 1, literal), kCompareLevel);
      default: {
        int leaves = 4;
        const Expr left = StrExpr(depth - 1, literal, leaves);
        return Binary(left, rng_.Pick(kCompareOps), StrExpr(depth - 1, literal, leaves),
                      kCompareLevel);
      }
    }
  }

  // A position in a text: mostly a small literal, some computed.
  std::string Position(int depth) {
    if (rng_.Chance(60)) return std::to_string(rng_.Below(8));
    return NumExpr(depth - 1).text;
  }

  // A string expression holding at most `leaves` texts of unbounded length.
  Expr StrAtom(int depth, bool literal, int& leaves) {
    if (literal) return {rng_.Pick(kStrings), kAtomLevel};
    for (int tries = 0; tries < 8; ++tries) {
      switch (rng_.Weighted({6, 6, 2, 2, 3, 1, 3})) {
        case 0:
          return {rng_.Pick(kStrings), kAtomLevel};
        case 1: {
          const auto vars = Visible(Type::Str, false, false);
          if (leaves > 0 && !vars.empty()) {
            --leaves;
            return {rng_.Pick(vars)->name, kAtomLevel};
          }
          break;
        }
        case 2: {
          const auto arrays = Visible(Type::Str, true, false);
          if (leaves > 0 && !arrays.empty()) {
            --leaves;
            return {Element(*rng_.Pick(arrays), depth - 1), kAtomLevel};
          }
          break;
        }
        case 3:
          if (leaves > 0 && depth > 0) {
            Expr call = Call(Type::Str, depth - 1);
            if (!call.text.empty()) {
              --leaves;
              return call;
            }
          }
          break;
        case 4:
          return {"numtostring(" + NumExpr(depth - 1).text + ")", kAtomLevel};
        case 5:
          return {rng_.Chance(70) ? "_Parameters[0]" : "WINDIR", kAtomLevel};
        case 6:
          if (leaves > 0 && depth > 0) {
            // A piece of a text: its empty results, and a 0 answer's line.
            const Expr text = StrExpr(depth - 1, false, leaves);
            if (rng_.Chance(50))
              return {"getat(" + text.text + ", " + Position(depth) + ")", kAtomLevel};
            return {"getstr(" + text.text + ", " + Position(depth) + ", " + Position(depth) + ")",
                    kAtomLevel};
          }
          break;
      }
    }
    return {rng_.Pick(kStrings), kAtomLevel};
  }

  Expr StrExpr(int depth, bool literal, int& leaves) {
    if (!literal && rng_.Chance(literalRate_)) literal = true;
    if (depth <= 0 || rng_.Chance(35)) return StrAtom(depth, literal, leaves);
    if (literal || rng_.Chance(85)) {
      const Expr left = StrExpr(depth - 1, literal, leaves);
      return Binary(left, "+", StrExpr(depth - 1, literal, leaves), kAddLevel);
    }
    // An assignment as an operand: its value counts as one long text.
    const std::string target = Target(Type::Str, depth - 1);
    if (target.empty() || leaves == 0) return StrAtom(depth, literal, leaves);
    --leaves;
    int inner = 1;
    return Paren(Binary({target}, "=", StrExpr(depth - 1, false, inner), kAssignLevel));
  }

  Expr Condition(int depth) {
    if (Hazard() && !Pure()) {
      const std::string target = Target(Type::Str, 0);
      if (!target.empty()) return {target + " += \"x\"", kCompareLevel};  // a string condition
    }
    const int r = rng_.Below(100);
    if (r < 55) {
      return Binary(NumExpr(depth), rng_.Pick(kCompareOps), NumExpr(depth), kCompareLevel);
    }
    if (r < 70 && !Pure()) {
      int leaves = 4;
      const Expr left = StrExpr(depth, false, leaves);
      return Binary(left, rng_.Pick(kCompareOps), StrExpr(depth, false, leaves), kCompareLevel);
    }
    return NumExpr(depth + 1);
  }

  // ---- Statements --------------------------------------------------------------

  enum Kind {
    kDeclare,
    kAssign,
    kCompound,
    kShow,
    kLiteral,
    kCallStatement,
    kIf,
    kWhile,
    kSwitch,
    kJump,
    kReturn,
    kRecurse,
  };

  void Statement(int depth) {
    --budget_;
    const bool nest = depth < 3 && budget_ > 1;
    const bool jump = loopDepth_ > 0 || sectionDepth_ > 0;
    const bool recurse = fn_->recursive && fn_->recursions < 2;
    for (int tries = 0; tries < 10; ++tries) {
      const int kind = rng_.Weighted({10, 12, 10, Pure() ? 0 : 12, literalRate_ + 2, 6,
                                      nest ? 9 : 0, nest ? 8 : 0, nest ? 5 : 0, jump ? 5 : 0,
                                      depth > 0 ? 3 : 1, recurse ? 8 : 0});
      if (Try(kind, depth)) return;
    }
    ShowOrAssign();
  }

  bool Try(int kind, int depth) {
    switch (kind) {
      case kDeclare:
        return Declare();
      case kAssign:
        return Assign();
      case kCompound:
        return Compound();
      case kShow:
        return Show();
      case kLiteral:
        return LiteralStatement();
      case kCallStatement:
        return CallStatement();
      case kIf:
        return If(depth);
      case kWhile:
        return While(depth);
      case kSwitch:
        return Switch(depth);
      case kJump:
        return Jump();
      case kReturn:
        Line("return " + Result(2).text);
        return true;
      case kRecurse:
        return Recurse(depth);
      default:
        return false;
    }
  }

  void ShowOrAssign() {
    if (!Pure()) {
      Show();
      return;
    }
    const std::string name = NewName("v");
    Line("num " + name + " = " + NumExpr(2).text);
    scope_.push_back({name, Type::Num, {}, false});
  }

  std::string Initializer(Type type, int elements) {
    std::string text = " = {";
    const int count = rng_.Range(1, elements);
    for (int i = 0; i < count; ++i) {
      if (i > 0) text += ", ";
      text += type == Type::Num ? std::to_string(rng_.Range(0, 99)) : rng_.Pick(kStrings);
    }
    if (rng_.Chance(20)) text += ",";
    return text + "}";
  }

  // A global scalar this function may hide with a local of its own.
  const Var* Shadowable() {
    std::vector<const Var*> out;
    for (const Var& g : globals_) {
      if (!g.dims.empty() || (Pure() && g.type != Type::Num)) continue;
      bool taken = false;
      for (const Var& v : scope_) taken = taken || v.name == g.name;
      for (const std::string& name : declared_) taken = taken || name == g.name;
      if (!taken) out.push_back(&g);
    }
    return out.empty() ? nullptr : rng_.Pick(out);
  }

  bool Declare() {
    const int form = rng_.Below(10);
    if (form < 2 && !Pure()) {
      // An array, with an initializer or without.
      Var array{NewName("a"), rng_.Chance(60) ? Type::Num : Type::Str, {}, false};
      const int dims = rng_.Chance(65) ? 1 : 2;
      int elements = 1;
      for (int d = 0; d < dims; ++d) {
        array.dims.push_back(rng_.Range(1, 4));
        elements *= array.dims.back();
      }
      std::string text = std::string(TypeName(array.type)) + " " + array.name;
      for (int d : array.dims) text += "[" + std::to_string(d) + "]";
      if (rng_.Chance(60)) text += Initializer(array.type, elements);
      Line(text);
      scope_.push_back(array);
      return true;
    }
    const Type type = Pure() || rng_.Chance(65) ? Type::Num : Type::Str;
    std::string name = NewName("v");
    if (form == 2) {
      if (const Var* global = Shadowable()) {
        name = global->name;
        declared_.push_back(name);
        Line(std::string(TypeName(global->type)) + " " + name + " = " + Value(global->type));
        scope_.push_back({name, global->type, {}, false});
        return true;
      }
    }
    std::string text = std::string(TypeName(type)) + " " + name;
    if (rng_.Chance(80)) text += " = " + Value(type);
    std::vector<Var> added = {{name, type, {}, false}};
    if (form == 3) {
      const std::string second = NewName("v");
      text += ", " + second;
      if (rng_.Chance(50)) text += " = " + Value(type);
      added.push_back({second, type, {}, false});
    }
    Line(text);
    // The names are visible from the next statement on.
    for (const Var& v : added) scope_.push_back(v);
    return true;
  }

  // A value to store: strings hold at most one long text.
  std::string Value(Type type) {
    if (type == Type::Num) return NumExpr(rng_.Range(0, 3)).text;
    int leaves = 1;
    return StrExpr(rng_.Range(0, 3), false, leaves).text;
  }

  bool Assign() {
    const Type type = Pure() || rng_.Chance(65) ? Type::Num : Type::Str;
    const std::string target = Target(type, 1);
    if (target.empty()) return false;
    if (type == Type::Str && rng_.Chance(loopDepth_ > 0 ? 80 : 40)) {
      // A string function's result moved into a variable; a joiner mostly
      // gets names, literals and elements, which the machine passes.
      for (const Function& f : functions_) {
        if (!f.joiner || Pure() || (fn_->leaf && fn_ != &f) || rng_.Chance(40)) continue;
        const std::string k =
            counters_.empty() ? std::to_string(rng_.Below(4)) : rng_.Pick(counters_);
        Line(target + " = " + f.name + "(" + PlainText() + ", " + PlainText() + ", " + k + ")");
        return true;
      }
      const Expr call = Call(Type::Str, 1);
      if (!call.text.empty()) {
        Line(target + " = " + call.text);
        return true;
      }
    }
    Line(target + " = " + Value(type));
    return true;
  }

  bool Compound() {
    const Type type = Pure() || rng_.Chance(75) ? Type::Num : Type::Str;
    const std::string target = Target(type, 1);
    if (target.empty()) return false;
    if (type == Type::Str) {
      // Literals only: `s += s` doubles.
      int none = 0;
      Line(target + " += " + StrExpr(rng_.Range(0, 2), false, none).text);
      return true;
    }
    const std::string& op = rng_.Pick(kCompoundOps);
    const Expr value = (op == "/=" || op == "%=") ? Divisor(2, false) : NumExpr(rng_.Range(0, 3));
    Line(target + " " + op + " " + AtLeast(value, kCompareLevel).text);
    return true;
  }

  bool Show() {
    const std::string label = "\"s" + std::to_string(++shows_) + "\"";
    if (rng_.Chance(65)) {
      Line("msgbox(numtostring(" + NumExpr(rng_.Range(1, 3)).text + "), " + label + ", 0)");
    } else {
      int leaves = 3;
      Line("msgbox(" + StrExpr(rng_.Range(0, 3), false, leaves).text + ", " + label + ", 0)");
    }
    return true;
  }

  // A statement of literals only: the first run folds it into a literal.
  // A statement must not start with "(": it would continue the one before.
  bool LiteralStatement() {
    const int form = rng_.Below(100);
    std::string text;
    if (form < 50) {
      for (int tries = 0; tries < 8 && (text.empty() || text[0] == '('); ++tries) {
        const std::string& op = rng_.Pick(kNumOps);
        const Expr left = NumExpr(rng_.Range(0, 2), true);
        if (op == "/" || op == "%") {
          text = Binary(left, op, Divisor(1, true), kMulLevel).text;
        } else {
          text =
              Binary(left, op, NumExpr(rng_.Range(0, 2), true), op == "*" ? kMulLevel : kAddLevel)
                  .text;
        }
      }
      if (text.empty() || text[0] == '(') text = "2 * 3";
    } else if (form < 65 && !Pure()) {
      int none = 0;
      text =
          Binary({rng_.Pick(kStrings)}, "+", StrExpr(rng_.Range(0, 2), true, none), kAddLevel).text;
    } else if (form < 80 && !Pure()) {
      text = Binary({rng_.Pick(kStrings)}, rng_.Pick(kCompareOps), {rng_.Pick(kStrings)},
                    kCompareLevel)
                 .text;
    } else if (form < 90) {
      text = std::to_string(rng_.Below(10)) + " " + rng_.Pick(kCompareOps) + " " +
             std::to_string(rng_.Below(10));
    } else if (form < 95 && !Pure()) {
      text = rng_.Pick(kStrings);  // reported, the run goes on
    } else if (Hazard()) {
      // Statements that fail when they run.
      const auto vars = Visible(Type::Num, false, false);
      const auto arrays = Visible(Type::Num, true, false);
      switch (rng_.Below(5)) {
        case 0:
          if (!vars.empty()) {
            text = rng_.Pick(vars)->name;
            break;
          }
          [[fallthrough]];
        case 1:
          if (!arrays.empty()) {
            text = Element(*rng_.Pick(arrays), 1);
            break;
          }
          [[fallthrough]];
        case 2:
          if (!arrays.empty()) {
            text = rng_.Pick(arrays)->name + " = 1";  // an array's scalar part
            break;
          }
          [[fallthrough]];
        case 3:
          text = "_mscall { 1 }";
          break;
        default:
          text = std::to_string(rng_.Below(10));
          break;
      }
    } else {
      return false;
    }
    Line(text);
    return true;
  }

  bool CallStatement() {
    const Type type = rng_.Chance(60) || Pure() ? Type::Num : Type::Str;
    const Expr call = Call(type, 2);
    if (call.text.empty()) return false;
    Line(call.text);
    return true;
  }

  bool If(int depth) {
    Open("if (" + Condition(rng_.Range(0, 2)).text + ") {");
    Body(depth + 1, 3);
    if (rng_.Chance(40)) {
      Close("} else {");
      ++indent_;
      Body(depth + 1, 3);
    }
    Close();
    return true;
  }

  // One to `most` statements in a block of their own. A declaration without
  // an initializer makes no code, and a body without code does not compile.
  void Body(int depth, int most) {
    const std::size_t mark = scope_.size();
    const std::size_t start = text_.size();
    const int count = rng_.Range(1, most);
    for (int i = 0; i < count; ++i) {
      if (i > 0 && budget_ <= 0) break;
      Statement(depth);
    }
    if (OnlyPlainDeclarations(text_.substr(start))) ShowOrAssign();
    scope_.resize(mark);
  }

  static bool OnlyPlainDeclarations(const std::string& lines) {
    std::size_t at = 0;
    while (at < lines.size()) {
      std::size_t end = lines.find('\n', at);
      if (end == std::string::npos) end = lines.size();
      std::string line = lines.substr(at, end - at);
      line.erase(0, line.find_first_not_of(' '));
      const bool declaration = line.rfind("num ", 0) == 0 || line.rfind("string ", 0) == 0;
      if (!declaration || line.find('=') != std::string::npos) return false;
      at = end + 1;
    }
    return true;
  }

  std::string LoopBound() {
    if (Hazard()) return AtLeast(NumExpr(2), kAddLevel).text;
    const int form = rng_.Below(10);
    if (form < 7) return std::to_string(rng_.Range(0, 5));
    const auto vars = Visible(Type::Num, false, false);
    if (!vars.empty()) return rng_.Pick(vars)->name + " % 5";
    return std::to_string(rng_.Range(1, 4));
  }

  bool While(int depth) {
    const std::string i = NewName("i");
    const std::string bound = LoopBound();
    const int form = rng_.Below(5);
    std::string extra;
    if (rng_.Chance(15)) extra = " && " + AtLeast(Condition(1), kCompareLevel).text;
    switch (form) {
      case 0:
      case 1:
        Line("num " + i + " = 0");
        Open("while (" + i + " < " + bound + extra + ") {");
        Line(i + " += 1");
        break;
      case 2:
        Line("num " + i + " = 0");
        Open("while ((" + i + " += 1) <= " + bound + extra + ") {");
        break;
      case 3:
        Line("num " + i + " = 0");
        Open("while (1) {");
        Line(i + " += 1");
        Open("if (" + i + " > " + bound + ") {");
        Line("break");
        Close();
        break;
      default:
        Line("num " + i + " = " + bound);
        Open("while (" + i + " > 0" + extra + ") {");
        Line(i + " -= 1");
        break;
    }
    const std::size_t mark = scope_.size();
    scope_.push_back({i, Type::Num, {}, true});
    counters_.push_back(i);
    ++loopDepth_;
    Body(depth + 1, 4);
    --loopDepth_;
    counters_.pop_back();
    Close();
    scope_.resize(mark + 1);  // the counter stays declared
    return true;
  }

  bool Switch(int depth) {
    const bool text = !Pure() && rng_.Chance(30);
    std::string selector;
    if (text) {
      int leaves = 2;
      selector = StrExpr(rng_.Range(0, 2), false, leaves).text;
    } else if (!counters_.empty() && rng_.Chance(50)) {
      selector = rng_.Pick(counters_) + " % " + std::to_string(rng_.Range(2, 5));
    } else {
      selector = NumExpr(rng_.Range(0, 2)).text;
    }
    std::vector<std::string> pool = text ? kStrings : kNumLabels;
    const int sections = rng_.Range(0, 4);
    const int defaultAt = rng_.Chance(60) ? rng_.Below(sections + 1) : -1;
    Open("switch (" + selector + ") {");
    ++sectionDepth_;
    for (int s = 0; s <= sections; ++s) {
      if (s == defaultAt) {
        Open("default: {");
        Body(depth + 1, 3);
        Close();
      }
      if (s == sections || pool.empty()) continue;
      const std::size_t at = static_cast<std::size_t>(rng_.Below(static_cast<int>(pool.size())));
      const std::string label = pool[at];
      pool.erase(pool.begin() + static_cast<std::ptrdiff_t>(at));
      const bool braces = rng_.Chance(30);
      Line("case " + label + ":" + (braces ? " {" : ""));
      ++indent_;
      if (braces || rng_.Chance(80)) Body(depth + 1, 3);
      if (rng_.Chance(35)) Line("break");
      --indent_;
      if (braces) Line("}");
    }
    --sectionDepth_;
    Close();
    return true;
  }

  bool Jump() {
    const bool canContinue = loopDepth_ > 0 && sectionDepth_ == 0;
    const std::string word = canContinue && rng_.Chance(45) ? "continue" : "break";
    if (rng_.Chance(65)) {
      Open("if (" + Condition(1).text + ") {");
      Line(word);
      Close();
    } else {
      Line(word);
    }
    return true;
  }

  // A self-call under `n > 0`.
  bool Recurse(int depth) {
    Function& f = *fn_;
    if (!f.recursive) return false;
    ++f.recursions;
    const std::string call = f.name + Arguments(f, 1, true);
    Open("if (n > 0) {");
    const int form = rng_.Below(4);
    const std::string target = Target(f.result, 0);
    if (form == 0 && !target.empty()) {
      Line(target + " = " + call);
    } else if (form == 1) {
      if (f.result == Type::Num) {
        const bool add = rng_.Chance(50);
        Line("return " +
             Binary({call}, add ? "+" : "*", NumAtom(0, false), add ? kAddLevel : kMulLevel).text);
      } else {
        Line("return " + call + " + " + rng_.Pick(kStrings));
      }
    } else if (form == 2 && !f.pure) {
      if (f.result == Type::Num) {
        Line("msgbox(numtostring(" + call + "), \"r" + std::to_string(++shows_) + "\", 0)");
      } else {
        Line("msgbox(" + call + ", \"r" + std::to_string(++shows_) + "\", 0)");
      }
    } else {
      Line(call);
    }
    if (depth < 2 && rng_.Chance(30)) Body(depth + 1, 2);
    Close();
    return true;
  }

  // ---- Globals -----------------------------------------------------------------

  void Globals(int count) {
    EnterFunction(nullptr);
    for (int i = 0; i < count; ++i) {
      const int form = rng_.Below(10);
      if (form < 2) {
        Var array{NewName("g"), rng_.Chance(60) ? Type::Num : Type::Str, {}, false};
        const int dims = rng_.Chance(60) ? 1 : 2;
        int elements = 1;
        for (int d = 0; d < dims; ++d) {
          array.dims.push_back(rng_.Range(1, 4));
          elements *= array.dims.back();
        }
        std::string text = std::string(TypeName(array.type)) + " " + array.name;
        for (int d : array.dims) text += "[" + std::to_string(d) + "]";
        if (rng_.Chance(70)) text += Initializer(array.type, elements);
        Line(text);
        globals_.push_back(array);
      } else if (form == 2 && !globals_.empty()) {
        // An assignment outside a function: it runs among the initializers.
        const Var& g = rng_.Pick(globals_);
        if (!g.dims.empty()) continue;
        Line(g.name + " = " + Value(g.type));
      } else if (form == 3 && rng_.Chance(30)) {
        Line("msgbox(\"never\", \"outside\", 0)");  // compiles, never runs
      } else {
        const Type type = rng_.Chance(65) ? Type::Num : Type::Str;
        const std::string name = NewName("g");
        std::string text = std::string(TypeName(type)) + " " + name;
        if (rng_.Chance(75)) text += " = " + Value(type);
        Line(text);
        globals_.push_back({name, type, {}, false});
      }
    }
  }

  Rng rng_;
  std::uint64_t seed_;
  int hazard_ = 0;       // percent of hazard sites that take a failing form
  int literalRate_ = 5;  // percent of subexpressions made of literals only
  std::string text_;
  int indent_ = 0;
  int names_ = 0;
  int shows_ = 0;

  std::vector<Function> functions_;
  std::vector<Var> globals_;
  int definedSoFar_ = 0;  // functions defined above the current line
  int current_ = -1;      // the function being written
  Function* fn_ = nullptr;
  std::vector<Var> scope_;             // parameters and visible locals, in order
  std::vector<std::string> declared_;  // globals the current function hides
  std::vector<std::string> counters_;  // counters of the enclosing loops
  int loopDepth_ = 0;
  int sectionDepth_ = 0;  // inside a case or default section: no continue
  int budget_ = 0;        // statements the current function may still get
};

}  // namespace

std::string GenerateScript(std::uint64_t seed) {
  return Generator(seed).Script();
}

}  // namespace equiv
