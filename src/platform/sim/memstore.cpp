// The file store of a temporary machine: a tree in memory, answering as the
// host store does (same error codes for the same operations).
#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>

#include "platform/sim/filestore.h"
#include "platform/sim/simcore.h"

namespace sim::detail {
namespace {

using plat::DWORD;

// The contents of a file, shared by the tree and the handles open on it.
struct Contents {
  std::string bytes;
  std::int64_t written = 0;  // FILETIME ticks of the last write
};

struct Node {
  std::string name;  // last component as stored
  bool isDirectory = false;
  std::int64_t created = 0;  // a directory's time
  // A file's contents; shared with a clone of the tree while `borrowed`,
  // copied before the first write through this tree.
  std::shared_ptr<Contents> contents;
  bool borrowed = false;
};

class MemoryFile final : public OpenFile {
 public:
  explicit MemoryFile(std::shared_ptr<Contents> contents) : m_contents(std::move(contents)) {}

  bool Read(std::uint64_t offset, char* buffer, std::size_t size, std::size_t* done,
            DWORD*) override {
    const std::string& bytes = m_contents->bytes;
    *done = 0;
    if (offset >= bytes.size()) return true;
    *done = std::min<std::size_t>(size, bytes.size() - static_cast<std::size_t>(offset));
    std::memcpy(buffer, bytes.data() + offset, *done);
    return true;
  }
  bool Write(std::uint64_t offset, const char* data, std::size_t size, std::size_t* done,
             DWORD* error) override {
    *done = 0;
    std::string& bytes = m_contents->bytes;
    // A file larger than the bound answers as a full disk would.
    if (offset > kMaxFileSize || size > kMaxFileSize - offset) {
      *error = 112;  // ERROR_DISK_FULL
      return false;
    }
    auto end = static_cast<std::size_t>(offset) + size;
    if (end > bytes.size()) bytes.resize(end, '\0');
    if (size > 0) std::memcpy(bytes.data() + offset, data, size);
    m_contents->written = NowTicks();
    *done = size;
    return true;
  }
  bool Size(std::uint64_t* size, DWORD*) override {
    *size = m_contents->bytes.size();
    return true;
  }
  bool Truncate(std::uint64_t size, DWORD* error) override {
    if (size > kMaxFileSize) {
      *error = 112;
      return false;
    }
    m_contents->bytes.resize(static_cast<std::size_t>(size), '\0');
    m_contents->written = NowTicks();
    return true;
  }

 private:
  // Larger than any script can write, small enough that a stray seek cannot
  // make the process allocate without bound.
  static constexpr std::uint64_t kMaxFileSize = std::uint64_t{1} << 32;
  std::shared_ptr<Contents> m_contents;
};

class MemoryStore final : public FileStore {
 public:
  std::optional<StoreEntry> Match(const std::string& dir, std::string_view name) override {
    // Only a directory has entries below it: no need to look at `dir` itself.
    std::string key;
    key.reserve(dir.size() + 1 + name.size());
    key += dir;
    key += '/';
    key += name;
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    auto it = m_nodes.find(key);
    if (it == m_nodes.end()) return std::nullopt;
    return StoreEntry{it->second.name, it->second.isDirectory};
  }

  std::optional<StoreEntry> Stat(const std::string& path) override {
    auto it = m_nodes.find(Lower(path));
    if (it == m_nodes.end()) return std::nullopt;
    return Describe(it->second);
  }

  std::vector<StoreEntry> List(const std::string& dir) override {
    std::vector<StoreEntry> entries;
    const std::string prefix = Lower(dir) + '/';
    for (auto it = m_nodes.lower_bound(prefix);
         it != m_nodes.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it) {
      if (it->first.find('/', prefix.size()) == std::string::npos) {
        entries.push_back(Describe(it->second));
      }
    }
    return entries;
  }

  bool MakeDirectories(const std::string& path) override {
    if (path.empty()) return false;
    std::size_t cut = 0;
    while (cut != std::string::npos) {
      cut = path.find('/', cut + 1);
      const std::string part = path.substr(0, cut);
      auto it = m_nodes.find(Lower(part));
      if (it == m_nodes.end()) {
        if (MakeDirectory(part) != 0) return false;
      } else if (!it->second.isDirectory) {
        return false;
      }
    }
    return true;
  }

  DWORD MakeDirectory(const std::string& path) override {
    std::string key = Lower(path);
    if (m_nodes.count(key)) return plat::ERROR_ALREADY_EXISTS;
    if (!ParentIsDirectory(key)) return plat::ERROR_PATH_NOT_FOUND;
    Node& node = m_nodes[std::move(key)];
    node.name = LastComponent(path);
    node.isDirectory = true;
    node.created = NowTicks();
    return 0;
  }

  DWORD Remove(const std::string& path) override {
    const std::string key = Lower(path);
    auto it = m_nodes.find(key);
    if (it == m_nodes.end()) return plat::ERROR_FILE_NOT_FOUND;
    if (it->second.isDirectory) {
      const std::string prefix = key + '/';
      auto child = m_nodes.lower_bound(prefix);
      if (child != m_nodes.end() && child->first.compare(0, prefix.size(), prefix) == 0) {
        return plat::ERROR_DIR_NOT_EMPTY;
      }
    }
    m_nodes.erase(it);
    return 0;
  }

  bool ReadAll(const std::string& path, std::string* content) override {
    auto it = m_nodes.find(Lower(path));
    if (it == m_nodes.end() || it->second.isDirectory) return false;
    *content = it->second.contents->bytes;
    return true;
  }

  bool WriteAll(const std::string& path, std::string_view content) override {
    Node* node = FileFor(path, true, nullptr);
    if (node == nullptr) return false;
    node->contents->bytes.assign(content);
    node->contents->written = NowTicks();
    return true;
  }

  DWORD Copy(const std::string& from, const std::string& to) override {
    auto source = m_nodes.find(Lower(from));
    if (source == m_nodes.end()) return plat::ERROR_PATH_NOT_FOUND;
    if (source->second.isDirectory) return plat::ERROR_ACCESS_DENIED;
    std::string bytes = source->second.contents->bytes;
    DWORD error = 0;
    Node* target = FileFor(to, true, &error);
    if (target == nullptr) return error;
    target->contents->bytes = std::move(bytes);
    target->contents->written = NowTicks();
    return 0;
  }

  std::unique_ptr<OpenFile> Open(const std::string& path, bool create, bool truncate,
                                 DWORD* error) override {
    if (create && m_nodes.count(Lower(path))) {
      *error = plat::ERROR_ALREADY_EXISTS;
      return nullptr;
    }
    Node* node = FileFor(path, create, error);
    if (node == nullptr) return nullptr;
    if (truncate) {
      node->contents->bytes.clear();
      node->contents->written = NowTicks();
    }
    return std::make_unique<MemoryFile>(node->contents);
  }

  std::string HostPath(const std::string&) const override { return {}; }

  std::unique_ptr<FileStore> Clone() override {
    auto copy = std::make_unique<MemoryStore>();
    copy->m_nodes = m_nodes;
    auto twinAt = copy->m_nodes.begin();  // the same keys in the same order
    for (auto& entry : m_nodes) {
      Node& node = entry.second;
      Node& twin = (twinAt++)->second;
      if (!node.contents) continue;
      if (!node.borrowed && node.contents.use_count() > 2) {
        // Open handles write to these contents: the copy takes its own.
        twin.contents = std::make_shared<Contents>(*node.contents);
      } else {
        node.borrowed = twin.borrowed = true;
      }
    }
    return copy;
  }

 private:
  static std::string LastComponent(const std::string& path) {
    std::size_t cut = path.find_last_of('/');
    return cut == std::string::npos ? path : path.substr(cut + 1);
  }

  bool ParentIsDirectory(const std::string& key) const {
    std::size_t cut = key.find_last_of('/');
    if (cut == std::string::npos) return true;  // a drive: the root always exists
    auto it = m_nodes.find(key.substr(0, cut));
    return it != m_nodes.end() && it->second.isDirectory;
  }

  // The file at `path` ready to be written through this tree, made when it
  // is missing and `create`; null (with *error) when it cannot be.
  Node* FileFor(const std::string& path, bool create, DWORD* error) {
    std::string key = Lower(path);
    DWORD code = 0;
    Node* node = nullptr;
    auto it = m_nodes.find(key);
    if (it != m_nodes.end()) {
      node = &it->second;
      if (node->isDirectory) code = plat::ERROR_ACCESS_DENIED;
    } else if (!create || !ParentIsDirectory(key)) {
      code = plat::ERROR_PATH_NOT_FOUND;
    } else {
      node = &m_nodes[std::move(key)];
      node->name = LastComponent(path);
      node->contents = std::make_shared<Contents>();
      node->contents->written = NowTicks();
    }
    if (code != 0) {
      if (error) *error = code;
      return nullptr;
    }
    if (node->borrowed) {
      node->contents = std::make_shared<Contents>(*node->contents);
      node->borrowed = false;
    }
    return node;
  }

  static StoreEntry Describe(const Node& node) {
    StoreEntry entry{node.name, node.isDirectory};
    if (node.isDirectory) {
      entry.written = node.created;
    } else {
      entry.size = node.contents->bytes.size();
      entry.written = node.contents->written;
    }
    return entry;
  }

  // Every file and directory by its lower-case path: everything below a
  // directory "k" is the run of keys that start with "k/".
  std::map<std::string, Node> m_nodes;
};

}  // namespace

std::unique_ptr<FileStore> MakeMemoryStore() {
  return std::make_unique<MemoryStore>();
}

}  // namespace sim::detail
