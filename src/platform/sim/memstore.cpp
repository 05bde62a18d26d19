// The file store of a temporary machine: a tree in memory, answering as the
// host store does (same error codes for the same operations). Files larger
// than kMemoryFileLimit keep their bytes in host scratch files instead.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <map>

#include "platform/sim/filestore.h"
#include "platform/sim/hostio.h"
#include "platform/sim/simcore.h"

namespace sim::detail {
namespace {

using plat::DWORD;

DWORD HostError(int error) {
  return error == ENOSPC || error == EFBIG ? 112 /* ERROR_DISK_FULL */ : plat::ERROR_ACCESS_DENIED;
}

// The contents of a file, shared by the tree and the handles open on it. A
// file lives in memory until it grows past kMemoryFileLimit; then it moves to
// an unlinked scratch file on the host, so that a temporary machine holds
// files of any size without the process's memory growing with them. The
// scratch file goes with the last reference to its contents.
class Contents {
 public:
  Contents() = default;
  ~Contents() {
    if (m_fd >= 0) ::close(m_fd);
  }
  Contents(const Contents&) = delete;
  Contents& operator=(const Contents&) = delete;

  // A copy with bytes of its own; null when the host cannot hold it.
  static std::shared_ptr<Contents> CopyOf(const Contents& other) {
    auto copy = std::make_shared<Contents>();
    DWORD error = 0;
    if (!copy->CopyFrom(other, &error)) return nullptr;
    copy->written = other.written;
    return copy;
  }

  std::uint64_t Size() const { return m_fd >= 0 ? m_size : m_bytes.size(); }

  bool Read(std::uint64_t offset, char* buffer, std::size_t size, std::size_t* done,
            DWORD* error) const {
    *done = 0;
    if (offset >= Size()) return true;
    size = static_cast<std::size_t>(std::min<std::uint64_t>(size, Size() - offset));
    if (m_fd < 0) {
      std::memcpy(buffer, m_bytes.data() + offset, size);
      *done = size;
      return true;
    }
    if (!hostio::ReadAt(m_fd, offset, buffer, size, done)) {
      *error = HostError(errno);
      return false;
    }
    // Bytes the host file lacks (it was cut behind our back) read as zeros.
    std::memset(buffer + *done, 0, size - *done);
    *done = size;
    return true;
  }

  bool Write(std::uint64_t offset, const char* data, std::size_t size, DWORD* error) {
    // A file larger than the bound answers as a full disk would.
    if (offset > kMaxFileSize || size > kMaxFileSize - offset) {
      *error = 112;  // ERROR_DISK_FULL
      return false;
    }
    const std::uint64_t end = offset + size;
    if (m_fd < 0 && end > kMemoryFileLimit && !Spill(error)) return false;
    if (m_fd < 0) {
      if (end > m_bytes.size()) m_bytes.resize(static_cast<std::size_t>(end), '\0');
      if (size > 0) std::memcpy(m_bytes.data() + offset, data, size);
    } else {
      if (!hostio::WriteSparse(m_fd, offset, data, size, m_size)) {
        *error = HostError(errno);
        return false;
      }
      m_size = std::max(m_size, end);
    }
    written = NowTicks();
    return true;
  }

  bool Resize(std::uint64_t size, DWORD* error) {
    if (size > kMaxFileSize) {
      *error = 112;
      return false;
    }
    if (m_fd < 0 && size > kMemoryFileLimit && !Spill(error)) return false;
    if (m_fd < 0) {
      m_bytes.resize(static_cast<std::size_t>(size), '\0');
    } else {
      if (::ftruncate(m_fd, static_cast<off_t>(size)) != 0) {
        *error = HostError(errno);
        return false;
      }
      m_size = size;
    }
    written = NowTicks();
    return true;
  }

  bool Assign(std::string_view bytes, DWORD* error) {
    return Resize(0, error) && Write(0, bytes.data(), bytes.size(), error);
  }

  // Replaces these bytes with a copy of `other`'s.
  bool CopyFrom(const Contents& other, DWORD* error) {
    if (&other == this) return true;
    if (other.m_fd < 0) return Assign(other.m_bytes, error);
    if (!Resize(0, error) || (m_fd < 0 && !Spill(error))) return false;
    if (!hostio::CopyRange(other.m_fd, 0, m_fd, 0, other.m_size, 0)) {
      *error = HostError(errno);
      return false;
    }
    m_size = other.m_size;
    written = NowTicks();
    return true;
  }

  bool ReadAll(std::string* content) const {
    if (m_fd < 0) {
      *content = m_bytes;
      return true;
    }
    content->resize(static_cast<std::size_t>(m_size));
    std::size_t done = 0;
    DWORD error = 0;
    return Read(0, content->data(), content->size(), &done, &error);
  }

  std::int64_t written = 0;  // FILETIME ticks of the last write

 private:
  // Larger than any script can write, small enough that a stray seek cannot
  // make the host allocate without bound.
  static constexpr std::uint64_t kMaxFileSize = std::uint64_t{1} << 32;

  // Moves the bytes to a scratch file on the host.
  bool Spill(DWORD* error) {
    const int fd = hostio::OpenScratchFile();
    if (fd < 0 || !hostio::WriteSparse(fd, 0, m_bytes.data(), m_bytes.size(), 0)) {
      *error = HostError(errno);
      if (fd >= 0) ::close(fd);
      return false;
    }
    m_fd = fd;
    m_size = m_bytes.size();
    std::string().swap(m_bytes);
    return true;
  }

  std::string m_bytes;       // the bytes while in memory
  int m_fd = -1;             // the scratch file once spilled
  std::uint64_t m_size = 0;  // the scratch file's size
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
            DWORD* error) override {
    return m_contents->Read(offset, buffer, size, done, error);
  }
  bool Write(std::uint64_t offset, const char* data, std::size_t size, std::size_t* done,
             DWORD* error) override {
    *done = 0;
    if (!m_contents->Write(offset, data, size, error)) return false;
    *done = size;
    return true;
  }
  bool Size(std::uint64_t* size, DWORD*) override {
    *size = m_contents->Size();
    return true;
  }
  bool Truncate(std::uint64_t size, DWORD* error) override {
    return m_contents->Resize(size, error);
  }

 private:
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
    return it->second.contents->ReadAll(content);
  }

  bool WriteAll(const std::string& path, std::string_view content) override {
    Node* node = FileFor(path, true, nullptr);
    DWORD error = 0;
    return node != nullptr && node->contents->Assign(content, &error);
  }

  DWORD Copy(const std::string& from, const std::string& to) override {
    auto source = m_nodes.find(Lower(from));
    if (source == m_nodes.end()) return plat::ERROR_PATH_NOT_FOUND;
    if (source->second.isDirectory) return plat::ERROR_ACCESS_DENIED;
    // Hold the source: making the target may copy a borrowed source away.
    const std::shared_ptr<Contents> bytes = source->second.contents;
    DWORD error = 0;
    Node* target = FileFor(to, true, &error);
    if (target == nullptr) return error;
    if (!target->contents->CopyFrom(*bytes, &error)) return error;
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
    if (truncate && !node->contents->Resize(0, error)) return nullptr;
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
        twin.contents = Contents::CopyOf(*node.contents);
        if (!twin.contents) return nullptr;
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
      std::shared_ptr<Contents> own = Contents::CopyOf(*node->contents);
      if (!own) {
        if (error) *error = 112;  // ERROR_DISK_FULL: the host cannot hold the copy
        return nullptr;
      }
      node->contents = std::move(own);
      node->borrowed = false;
    }
    return node;
  }

  static StoreEntry Describe(const Node& node) {
    StoreEntry entry{node.name, node.isDirectory};
    if (node.isDirectory) {
      entry.written = node.created;
    } else {
      entry.size = node.contents->Size();
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
