// --trace and --coverage (watch.h).
#include "watch.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>

namespace setuprun {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Whether two Windows paths name the same file: equal but for case, or one
// the other's tail after a backslash (an include by a relative name).
bool SamePath(const std::string& a, const std::string& b) {
  const std::string x = Lower(a);
  const std::string y = Lower(b);
  if (x == y) return true;
  const std::string& longer = x.size() > y.size() ? x : y;
  const std::string& shorter = x.size() > y.size() ? y : x;
  return longer.size() > shorter.size() &&
         longer.compare(longer.size() - shorter.size(), shorter.size(), shorter) == 0 &&
         longer[longer.size() - shorter.size() - 1] == '\\';
}

bool ParseLong(const std::string& text, long long* out) {
  if (text.empty()) return false;
  std::size_t used = 0;
  try {
    *out = std::stoll(text, &used);
  } catch (const std::exception&) {
    return false;
  }
  return used == text.size();
}

std::vector<std::string> SplitCommas(const std::string& text, std::size_t parts) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (out.size() + 1 < parts) {
    const std::size_t comma = text.find(',', start);
    if (comma == std::string::npos) break;
    out.push_back(text.substr(start, comma - start));
    start = comma + 1;
  }
  out.push_back(text.substr(start));
  return out;
}

}  // namespace

std::string TraceValue(const setup::ObservedValue& value) {
  using Kind = setup::ObservedValue::Kind;
  if (value.m_nKind == Kind::Num) return std::to_string(value.m_nNum);
  if (value.m_nKind == Kind::Array) return "[array]";
  std::string out = "\"";
  const std::size_t shown = std::min(value.m_nLength, kTraceTextLimit);
  for (std::size_t i = 0; i < shown; ++i) {
    const auto c = static_cast<unsigned char>(value.m_pText[i]);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20 || c >= 0x7F) {
          char hex[8];
          std::snprintf(hex, sizeof hex, "\\x%02X", c);
          out += hex;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
  if (shown < value.m_nLength) out += "... (" + std::to_string(value.m_nLength) + " bytes)";
  return out;
}

// ---- Coverage ------------------------------------------------------------------------------

bool Coverage::Merge(const std::string& text, std::string* error) {
  std::istringstream in(text);
  std::string line;
  int number = 0;
  FileCoverage* file = nullptr;
  auto fail = [&](const std::string& why) {
    *error = "line " + std::to_string(number) + ": " + why;
    return false;
  };
  while (std::getline(in, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    if (line == "end_of_record") {
      file = nullptr;
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) return fail("not an lcov record: '" + line + "'");
    const std::string tag = line.substr(0, colon);
    const std::string rest = line.substr(colon + 1);
    if (tag == "SF") {
      if (rest.empty()) return fail("SF without a file");
      file = &m_Files[rest];
      continue;
    }
    if (tag == "TN" || tag == "VER") continue;
    if (file == nullptr) return fail(tag + " outside a file record (SF)");
    long long a = 0, b = 0, c = 0;
    if (tag == "DA") {
      const std::vector<std::string> parts = SplitCommas(rest, 3);
      if (parts.size() < 2 || !ParseLong(parts[0], &a) || !ParseLong(parts[1], &b) || a < 1) {
        return fail("bad DA record");
      }
      file->lines[static_cast<int>(a)] += std::max(b, 0LL);
    } else if (tag == "FN") {
      const std::vector<std::string> parts = SplitCommas(rest, 2);
      if (parts.size() != 2 || !ParseLong(parts[0], &a) || parts[1].empty()) {
        return fail("bad FN record");
      }
      file->functions[parts[1]].first = static_cast<int>(a);
    } else if (tag == "FNDA") {
      const std::vector<std::string> parts = SplitCommas(rest, 2);
      if (parts.size() != 2 || !ParseLong(parts[0], &a) || parts[1].empty()) {
        return fail("bad FNDA record");
      }
      file->functions[parts[1]].second += std::max(a, 0LL);
    } else if (tag == "BRDA") {
      const std::vector<std::string> parts = SplitCommas(rest, 4);
      if (parts.size() != 4 || !ParseLong(parts[0], &a) || !ParseLong(parts[1], &b) ||
          !ParseLong(parts[2], &c) || b < 0 || c < 0 || c > 100000) {
        return fail("bad BRDA record");
      }
      long long taken = -1;
      if (parts[3] != "-" && (!ParseLong(parts[3], &taken) || taken < 0)) {
        return fail("bad BRDA record");
      }
      std::vector<long long>& counts = file->branches[{static_cast<int>(a), static_cast<int>(b)}];
      if (counts.size() <= static_cast<std::size_t>(c)) counts.resize(c + 1, -1);
      long long& slot = counts[static_cast<std::size_t>(c)];
      if (taken >= 0) slot = std::max(slot, 0LL) + taken;
    } else if (tag == "FNF" || tag == "FNH" || tag == "LF" || tag == "LH" || tag == "BRF" ||
               tag == "BRH") {
      continue;  // recomputed on writing
    } else {
      return fail("unknown record " + tag);
    }
  }
  return true;
}

std::string Coverage::Write() const {
  std::string out;
  for (const auto& [path, file] : m_Files) {
    out += "TN:\nSF:" + path + "\n";
    std::vector<std::pair<int, std::string>> functions;
    for (const auto& [name, entry] : file.functions) functions.emplace_back(entry.first, name);
    std::sort(functions.begin(), functions.end());
    int hit = 0;
    for (const auto& [line, name] : functions)
      out += "FN:" + std::to_string(line) + "," + name + "\n";
    for (const auto& [line, name] : functions) {
      const long long count = file.functions.at(name).second;
      out += "FNDA:" + std::to_string(count) + "," + name + "\n";
      if (count > 0) ++hit;
    }
    out += "FNF:" + std::to_string(functions.size()) + "\nFNH:" + std::to_string(hit) + "\n";
    int found = 0;
    hit = 0;
    for (const auto& [at, counts] : file.branches) {
      for (std::size_t i = 0; i < counts.size(); ++i) {
        out += "BRDA:" + std::to_string(at.first) + "," + std::to_string(at.second) + "," +
               std::to_string(i) + "," + (counts[i] < 0 ? "-" : std::to_string(counts[i])) + "\n";
        ++found;
        if (counts[i] > 0) ++hit;
      }
    }
    out += "BRF:" + std::to_string(found) + "\nBRH:" + std::to_string(hit) + "\n";
    hit = 0;
    for (const auto& [line, count] : file.lines) {
      out += "DA:" + std::to_string(line) + "," + std::to_string(count) + "\n";
      if (count > 0) ++hit;
    }
    out += "LF:" + std::to_string(file.lines.size()) + "\nLH:" + std::to_string(hit) + "\n";
    out += "end_of_record\n";
  }
  return out;
}

// ---- Watcher -------------------------------------------------------------------------------

Watcher::Watcher(Trace trace, Coverage* coverage) : m_Trace(trace), m_pCoverage(coverage) {}

void Watcher::SetScript(const std::string& label, const std::string& path,
                        std::vector<std::pair<std::string, std::string>> includes) {
  m_szLabel = label;
  m_szPath = path;
  m_Includes = std::move(includes);
}

void Watcher::BeginAction() {
  m_FileNames.assign(1, m_szLabel);
  m_FileIndex.clear();
  m_Places.clear();
  m_Constructs.clear();
  m_Functions.clear();
  m_Calls.clear();
  m_nOrder = 0;
  m_nDepth = 0;
}

std::string Watcher::CoveragePath(int file) const {
  if (file == 0) return m_szPath;
  const std::string& name = m_FileNames[static_cast<std::size_t>(file)];
  for (const auto& [windows, host] : m_Includes) {
    if (SamePath(windows, name)) return host;
  }
  return name;
}

void Watcher::EndAction() {
  if (m_pCoverage == nullptr) return;
  // Constructs in the order they were described, so that the branch points
  // of one line get the same block numbers in every run.
  std::vector<std::pair<std::uint64_t, const void*>> order;
  order.reserve(m_Constructs.size());
  for (const auto& [node, construct] : m_Constructs) order.emplace_back(construct.order, node);
  std::sort(order.begin(), order.end());

  // A line counts as often as the statement on it that ran most often.
  std::map<std::pair<int, int>, long long> lines;
  std::map<std::pair<int, int>, int> blocks;
  for (const auto& [sequence, node] : order) {
    const Place place = PlaceOf(node);
    if (place.file < 0 || place.line <= 0) continue;  // the prelude
    const Counts& construct = m_Constructs.at(node);
    long long& count = lines[{place.file, place.line}];
    count = std::max(count, construct.runs);
    if (construct.branches == 0) continue;
    FileCoverage& file = m_pCoverage->Files()[CoveragePath(place.file)];
    const int block = blocks[{place.file, place.line}]++;
    std::vector<long long>& counts = file.branches[{place.line, block}];
    if (counts.size() < static_cast<std::size_t>(construct.branches)) {
      counts.resize(static_cast<std::size_t>(construct.branches), -1);
    }
    for (std::size_t i = 0; i < construct.taken.size(); ++i) {
      if (construct.runs > 0) counts[i] = std::max(counts[i], 0LL) + construct.taken[i];
    }
  }
  for (const auto& [at, count] : lines) {
    m_pCoverage->Files()[CoveragePath(at.first)].lines[at.second] += count;
  }
  for (const auto& [name, definition] : m_Functions) {
    const Place place = PlaceOf(definition);
    if (place.file < 0 || place.line <= 0) continue;
    auto& entry = m_pCoverage->Files()[CoveragePath(place.file)].functions[name];
    entry.first = place.line;
    const auto calls = m_Calls.find(name);
    if (calls != m_Calls.end()) entry.second += calls->second;
  }
}

void Watcher::NodeMade(const void* node, const char* file, std::int32_t line) {
  int index = 0;
  if (file != nullptr) {
    const auto [it, fresh] = m_FileIndex.try_emplace(file, static_cast<int>(m_FileNames.size()));
    if (fresh) m_FileNames.emplace_back(file);
    index = it->second;
  }
  m_Places[node] = Place{index, line};
}

void Watcher::SamePlace(const void* node, const void* place) {
  m_Places[node] = PlaceOf(place);
}

void Watcher::Construct(const void* node, setup::ObservedKind, const char* what,
                        std::int32_t branches) {
  Counts& construct = m_Constructs[node];
  construct.order = m_nOrder++;
  construct.what = what;
  construct.branches = branches;
  construct.taken.assign(static_cast<std::size_t>(branches), 0);
}

void Watcher::FunctionDefined(const char* name, const void* definition) {
  m_Functions.emplace_back(name, definition);
}

Watcher::Place Watcher::PlaceOf(const void* node) const {
  const auto it = m_Places.find(node);
  return it == m_Places.end() ? Place{} : it->second;
}

std::string Watcher::Where(const void* node) const {
  const Place place = PlaceOf(node);
  std::string text(static_cast<std::size_t>(m_nDepth) * 2, ' ');
  if (place.file < 0) return text + "?:";
  return text + m_FileNames[static_cast<std::size_t>(place.file)] + ":" +
         std::to_string(place.line) + ":";
}

void Watcher::Say(const std::string& text) const {
  const std::string line = text + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void Watcher::Statement(const void* node) {
  const auto it = m_Constructs.find(node);
  if (it == m_Constructs.end()) return;  // an operand run through the value stack
  ++it->second.runs;
  if (m_Trace != Trace::Statements) return;
  const Place place = PlaceOf(node);
  if (place.line <= 0) return;  // the prelude
  Say(Where(node) + " stmt " + it->second.what);
}

void Watcher::Branch(const void* node, std::int32_t branch) {
  const auto it = m_Constructs.find(node);
  if (it == m_Constructs.end() || branch < 0 ||
      static_cast<std::size_t>(branch) >= it->second.taken.size()) {
    return;
  }
  ++it->second.taken[static_cast<std::size_t>(branch)];
}

namespace {

std::string ArgumentList(const setup::ObservedValue* args, std::int32_t count) {
  std::string text = "(";
  for (std::int32_t i = 0; i < count; ++i) {
    if (i > 0) text += ", ";
    text += TraceValue(args[i]);
  }
  return text + ")";
}

}  // namespace

void Watcher::Call(const void* node, const char* name, const setup::ObservedValue* args,
                   std::int32_t count) {
  ++m_Calls[name];
  if (m_Trace != Trace::Off) Say(Where(node) + " call " + name + ArgumentList(args, count));
  ++m_nDepth;
}

void Watcher::Return(const void* node, const char* name, const setup::ObservedValue* result) {
  if (m_nDepth > 0) --m_nDepth;
  if (m_Trace == Trace::Off) return;
  if (result == nullptr) {
    Say(Where(node) + " " + name + " failed");
  } else {
    Say(Where(node) + " " + name + " returned " + TraceValue(*result));
  }
}

void Watcher::Builtin(const void* node, const char* name, const setup::ObservedValue* args,
                      std::int32_t count, const setup::ObservedValue& result, bool failed) {
  if (m_Trace == Trace::Off) return;
  Say(Where(node) + " " + name + ArgumentList(args, count) + " = " + TraceValue(result) +
      (failed ? " (failed)" : ""));
}

}  // namespace setuprun
