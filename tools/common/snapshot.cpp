// Machine snapshots: reading the state, showing it, and the change set
// between two states.
#include "snapshot.h"

#include <algorithm>
#include <cstdio>

#include "platform/sim/view.h"
#include "regsim.h"

namespace snapshot {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// ---- Reading -------------------------------------------------------------------------

// FNV-1a; `hash` continues the hash of the bytes before these.
std::uint64_t Hash(std::string_view bytes, std::uint64_t hash = 1469598103934665603ull) {
  for (char c : bytes) hash = (hash ^ static_cast<std::uint8_t>(c)) * 1099511628211ull;
  return hash;
}

// ---- Formatting -----------------------------------------------------------------------

const regfile::Layout kLayout{"\n", "\n  "};
const regfile::Layout kWasLayout{"\n", "\n;   "};

std::string Was(const std::string& line) {
  return "; was: " + line + "\n";
}

std::string Quote(const std::string& ansi) {
  std::string out = "\"";
  out += regfile::Ansi8ToUtf8(ansi);
  out += '"';
  return out;
}

std::string Configuration(const sim::Service& s) {
  std::string out = "type " + std::to_string(s.type) + ", start " + std::to_string(s.startType) +
                    ", error control " + std::to_string(s.errorControl) + ", image " +
                    Quote(s.imagePath);
  if (!s.group.empty()) out += ", group " + Quote(s.group);
  return out + ", display name " + Quote(s.displayName);
}

std::string Bytes(std::uint64_t size) {
  return std::to_string(size) + (size == 1 ? " byte" : " bytes");
}

std::string FileLine(const FileEntry& file) {
  std::string out = regfile::Ansi8ToUtf8(file.path);
  return file.directory ? out : out + "  " + Bytes(file.size);
}

// Lines of a change list: the verb padded to one column.
std::string Change(const char* verb, const std::string& text) {
  std::string out = verb;
  out.resize(9, ' ');
  return out + text + "\n";
}

// Order of keys and files: component by component, without regard to case.
int Compare(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

std::vector<std::string> KeyOrder(const regfile::Key& key) {
  std::vector<std::string> order;
  for (const std::string& part : key.path) order.push_back(regsim::KeyOrderName(part));
  order.insert(order.begin(), std::string(1, static_cast<char>('0' + static_cast<int>(key.root))));
  return order;
}

bool IsBelow(const std::vector<std::string>& path, const std::vector<std::string>& top) {
  return path.size() > top.size() && std::equal(top.begin(), top.end(), path.begin());
}

bool SameValue(const regfile::Value& a, const regfile::Value& b) {
  return a.type == b.type && a.data == b.data;
}

// The changes of one key present in both states, or "" when none; `count`
// grows by one per value added, removed or changed.
std::string ValueChanges(const regfile::Key& before, const regfile::Key& after, int* count) {
  std::string out;
  std::size_t i = 0, j = 0;
  const auto& old = before.values;
  const auto& now = after.values;
  while (i < old.size() || j < now.size()) {
    int c = i == old.size()   ? 1
            : j == now.size() ? -1
                              : Compare({Lower(old[i].name)}, {Lower(now[j].name)});
    if (c < 0) {
      regfile::Value gone = old[i];
      gone.remove = true;
      out += Was(regfile::FormatValue(old[i], kWasLayout)) + regfile::FormatValue(gone) + "\n";
      ++*count;
      ++i;
    } else if (c > 0) {
      out += regfile::FormatValue(now[j], kLayout) + "\n";
      ++*count;
      ++j;
    } else {
      if (!SameValue(old[i], now[j])) {
        out += Was(regfile::FormatValue(old[i], kWasLayout)) +
               regfile::FormatValue(now[j], kLayout) + "\n";
        ++*count;
      }
      ++i;
      ++j;
    }
  }
  return out;
}

// Blocks of .reg lines, one per key, separated by an empty line.
std::string JoinBlocks(const std::vector<std::string>& blocks) {
  std::string out;
  for (const std::string& block : blocks) out += (out.empty() ? "" : "\n") + block;
  return out;
}

// `count` grows by one per key added or removed and per value added, removed
// (also with its key) or changed.
std::string RegistryDiff(const regfile::File& before, const regfile::File& after, int* count) {
  std::vector<std::string> blocks;
  std::vector<std::string> removedTop;  // the last key removed with its subtree
  std::size_t i = 0, j = 0;
  const auto& old = before.keys;
  const auto& now = after.keys;
  while (i < old.size() || j < now.size()) {
    int c = i == old.size()   ? 1
            : j == now.size() ? -1
                              : Compare(KeyOrder(old[i]), KeyOrder(now[j]));
    if (c < 0) {
      const regfile::Key& key = old[i++];
      std::vector<std::string> order = KeyOrder(key);
      if (!removedTop.empty() && IsBelow(order, removedTop)) {
        // Inside a subtree already removed: its previous contents as comments.
        blocks.back() += Was(regfile::FormatKey(key));
      } else {
        regfile::Key gone = key;
        gone.remove = true;
        blocks.push_back(regfile::FormatKey(gone) + "\n");
        removedTop = order;
      }
      for (const regfile::Value& value : key.values) {
        blocks.back() += Was(regfile::FormatValue(value, kWasLayout));
      }
      *count += 1 + static_cast<int>(key.values.size());
    } else if (c > 0) {
      const regfile::Key& key = now[j++];
      std::string block = regfile::FormatKey(key) + "\n; new key\n";
      for (const regfile::Value& value : key.values) {
        block += regfile::FormatValue(value, kLayout) + "\n";
      }
      blocks.push_back(block);
      *count += 1 + static_cast<int>(key.values.size());
    } else {
      std::string changes = ValueChanges(old[i], now[j], count);
      if (!changes.empty()) blocks.push_back(regfile::FormatKey(now[j]) + "\n" + changes);
      ++i;
      ++j;
    }
  }
  return JoinBlocks(blocks);
}

std::string FileDiff(const std::vector<FileEntry>& before, const std::vector<FileEntry>& after) {
  std::string out;
  std::size_t i = 0, j = 0;
  while (i < before.size() || j < after.size()) {
    int c = i == before.size()  ? 1
            : j == after.size() ? -1
                                : Compare(before[i].order, after[j].order);
    if (c == 0 && before[i].directory != after[j].directory) {
      // A file became a directory or the other way round.
      out += Change("removed", FileLine(before[i++]));
      out += Change("added", FileLine(after[j++]));
    } else if (c < 0) {
      out += Change("removed", FileLine(before[i++]));
    } else if (c > 0) {
      out += Change("added", FileLine(after[j++]));
    } else {
      const FileEntry& old = before[i++];
      const FileEntry& now = after[j++];
      std::string what;
      if (now.directory) {
        // A directory has no content of its own.
      } else if (old.size != now.size) {
        what = std::to_string(old.size) + " -> " + Bytes(now.size);
      } else if (old.hash != now.hash) {
        what = Bytes(now.size) + ", new content";
      }
      if (old.attributes != now.attributes) {
        char text[48];
        std::snprintf(text, sizeof text, "attributes 0x%x -> 0x%x",
                      static_cast<unsigned>(old.attributes), static_cast<unsigned>(now.attributes));
        what += (what.empty() ? "" : ", ") + std::string(text);
      }
      if (!what.empty()) out += Change("changed", regfile::Ansi8ToUtf8(now.path) + "  " + what);
    }
  }
  return out;
}

std::string ServiceChanges(const sim::Service& a, const sim::Service& b) {
  std::vector<std::string> changes;
  auto number = [&](const char* what, plat::DWORD x, plat::DWORD y) {
    if (x != y)
      changes.push_back(std::string(what) + " " + std::to_string(x) + " -> " + std::to_string(y));
  };
  auto text = [&](const char* what, const std::string& x, const std::string& y) {
    if (x != y) changes.push_back(std::string(what) + " " + Quote(x) + " -> " + Quote(y));
  };
  number("type", a.type, b.type);
  number("start", a.startType, b.startType);
  number("error control", a.errorControl, b.errorControl);
  text("image", a.imagePath, b.imagePath);
  text("group", a.group, b.group);
  text("display name", a.displayName, b.displayName);
  if (a.markedForDelete != b.markedForDelete) {
    changes.push_back(b.markedForDelete ? "marked for deletion" : "no longer marked for deletion");
  }
  std::string out;
  for (const std::string& change : changes) out += (out.empty() ? "" : ", ") + change;
  return out;
}

std::string ServiceDiff(const std::vector<sim::Service>& before,
                        const std::vector<sim::Service>& after) {
  std::string out;
  std::size_t i = 0, j = 0;
  while (i < before.size() || j < after.size()) {
    int c = i == before.size()  ? 1
            : j == after.size() ? -1
                                : Compare({Lower(before[i].name)}, {Lower(after[j].name)});
    if (c < 0) {
      const sim::Service& s = before[i++];
      if (s.running) out += Change("stopped", regfile::Ansi8ToUtf8(s.name));
      out += Change("removed", regfile::Ansi8ToUtf8(s.name) + "  " + Configuration(s));
    } else if (c > 0) {
      const sim::Service& s = after[j++];
      out += Change("added", regfile::Ansi8ToUtf8(s.name) + "  " + Configuration(s));
      if (s.running) out += Change("started", regfile::Ansi8ToUtf8(s.name));
    } else {
      const sim::Service& old = before[i++];
      const sim::Service& now = after[j++];
      const std::string name = regfile::Ansi8ToUtf8(now.name);
      std::string changes = ServiceChanges(old, now);
      if (!changes.empty()) out += Change("changed", name + "  " + changes);
      if (!old.running && now.running) out += Change("started", name);
      if (old.running && !now.running) out += Change("stopped", name);
    }
  }
  return out;
}

void AddSection(std::string* out, const char* title, const std::string& body) {
  if (body.empty()) return;
  if (!out->empty()) *out += "\n";
  *out += std::string(title) + "\n" + body;
}

}  // namespace

Snapshot Take() {
  Snapshot state;
  if (std::optional<regfile::File> registry = regsim::Export()) state.registry = *registry;

  for (const sim::FileEntry& found : sim::FileTree()) {
    FileEntry file;
    file.path = found.directory ? found.path + "\\" : found.path;
    file.directory = found.directory;
    file.attributes = found.attributes;
    std::size_t start = 0;
    while (start < found.path.size()) {
      std::size_t cut = found.path.find('\\', start);
      if (cut == std::string::npos) cut = found.path.size();
      file.order.push_back(Lower(found.path.substr(start, cut - start)));
      start = cut + 1;
    }
    if (!file.directory) {
      // Read in pieces: a file of the machine may be as large as a package.
      std::uint64_t size = 0;
      std::uint64_t hash = Hash({});
      const bool read = sim::ReadFilePieces(found.path, [&](const char* bytes, std::size_t length) {
        size += length;
        hash = Hash({bytes, length}, hash);
      });
      file.size = read ? size : found.size;
      file.hash = read ? hash : 0;
    }
    state.files.push_back(std::move(file));
  }
  std::stable_sort(state.files.begin(), state.files.end(),
                   [](const FileEntry& a, const FileEntry& b) { return a.order < b.order; });

  state.services = sim::Services();
  std::stable_sort(
      state.services.begin(), state.services.end(),
      [](const sim::Service& a, const sim::Service& b) { return Lower(a.name) < Lower(b.name); });
  return state;
}

std::string Show(const Snapshot& state) {
  std::vector<std::string> blocks;
  for (const regfile::Key& key : state.registry.keys) {
    std::string block = regfile::FormatKey(key) + "\n";
    for (const regfile::Value& value : key.values) {
      block += regfile::FormatValue(value, kLayout) + "\n";
    }
    blocks.push_back(block);
  }
  std::string files;
  for (const FileEntry& file : state.files) files += FileLine(file) + "\n";
  std::string services;
  for (const sim::Service& s : state.services) {
    std::string status = s.running ? "running" : "stopped";
    if (s.markedForDelete) status += ", marked for deletion";
    services += regfile::Ansi8ToUtf8(s.name) + "  " + status + "  " + Configuration(s) + "\n";
  }
  return "Registry:\n" + JoinBlocks(blocks) + "\nFiles:\n" + files + "\nServices:\n" + services;
}

std::string Diff(const Snapshot& before, const Snapshot& after, int* changes) {
  int registryChanges = 0;
  const std::string files = FileDiff(before.files, after.files);
  const std::string services = ServiceDiff(before.services, after.services);
  std::string out;
  AddSection(&out, "Registry:", RegistryDiff(before.registry, after.registry, &registryChanges));
  AddSection(&out, "Files:", files);
  AddSection(&out, "Services:", services);
  if (changes != nullptr) {
    // Every file and service line is one change.
    *changes =
        registryChanges + static_cast<int>(std::count(files.begin(), files.end(), '\n') +
                                           std::count(services.begin(), services.end(), '\n'));
  }
  return out;
}

}  // namespace snapshot
