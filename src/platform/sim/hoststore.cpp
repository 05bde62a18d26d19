// The file store of a machine kept on disk: host files below <state>/fs.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <system_error>

#include "platform/sim/filestore.h"
#include "platform/sim/hostio.h"
#include "platform/sim/simcore.h"

namespace sim::detail {
namespace {

using plat::DWORD;

DWORD HostError(int error) {
  switch (error) {
    case ENOENT:
      return plat::ERROR_PATH_NOT_FOUND;
    case ENOSPC:
      return 112;  // ERROR_DISK_FULL
    case ENOTEMPTY:
      return plat::ERROR_DIR_NOT_EMPTY;
    case EEXIST:
      return plat::ERROR_ALREADY_EXISTS;
    default:
      return plat::ERROR_ACCESS_DENIED;
  }
}

std::int64_t WrittenTicks(const fs::path& host) {
  std::error_code ec;
  auto written = fs::last_write_time(host, ec);
  if (ec) return 0;
  auto system = std::chrono::file_clock::to_sys(written);
  auto since = std::chrono::duration_cast<std::chrono::microseconds>(system.time_since_epoch());
  return since.count() * 10 + 116444736000000000LL;
}

class HostFile final : public OpenFile {
 public:
  explicit HostFile(int fd) : m_fd(fd) {}
  ~HostFile() override { ::close(m_fd); }
  HostFile(const HostFile&) = delete;
  HostFile& operator=(const HostFile&) = delete;

  bool Read(std::uint64_t offset, char* buffer, std::size_t size, std::size_t* done,
            DWORD* error) override {
    *done = 0;
    while (*done < size) {
      ssize_t got = ::pread(m_fd, buffer + *done, size - *done, static_cast<off_t>(offset + *done));
      if (got < 0) {
        if (errno == EINTR) continue;
        *error = HostError(errno);
        return false;
      }
      if (got == 0) break;
      *done += static_cast<std::size_t>(got);
    }
    return true;
  }
  bool Write(std::uint64_t offset, const char* data, std::size_t size, std::size_t* done,
             DWORD* error) override {
    *done = 0;
    // Zero blocks past the end stay holes: a large, mostly empty file
    // extracted onto a kept machine costs no disk for its empty parts.
    std::uint64_t fileSize = 0;
    if (!Size(&fileSize, error)) return false;
    if (!hostio::WriteSparse(m_fd, offset, data, size, fileSize)) {
      *error = HostError(errno);
      return false;
    }
    *done = size;
    return true;
  }
  bool Size(std::uint64_t* size, DWORD* error) override {
    struct stat info {};
    if (::fstat(m_fd, &info) != 0) {
      *error = HostError(errno);
      return false;
    }
    *size = static_cast<std::uint64_t>(info.st_size);
    return true;
  }
  bool Truncate(std::uint64_t size, DWORD* error) override {
    if (::ftruncate(m_fd, static_cast<off_t>(size)) != 0) {
      *error = HostError(errno);
      return false;
    }
    return true;
  }

 private:
  int m_fd;  // open read-write on the host file
};

class HostStore final : public FileStore {
 public:
  explicit HostStore(fs::path root) : m_root(std::move(root)) {}

  std::optional<StoreEntry> Match(const std::string& dir, std::string_view name) override {
    const fs::path host = Host(dir);
    std::error_code ec;
    // Most paths name their components in the stored case: one lstat answers
    // them without reading the whole directory.
    fs::file_status exact = fs::symlink_status(host / name, ec);
    if (!ec && fs::exists(exact) && !fs::is_symlink(exact)) {
      return StoreEntry{std::string(name), fs::is_directory(exact)};
    }
    for (fs::directory_iterator it(host, ec), end; !ec && it != end; it.increment(ec)) {
      std::string entry = it->path().filename().string();
      if (!EqualNoCase(entry, name) || it->is_symlink(ec)) continue;
      return StoreEntry{entry, it->is_directory(ec)};
    }
    return std::nullopt;
  }

  std::optional<StoreEntry> Stat(const std::string& path) override {
    const fs::path host = Host(path);
    std::error_code ec;
    fs::file_status status = fs::symlink_status(host, ec);
    if (ec || !fs::exists(status) || fs::is_symlink(status)) return std::nullopt;
    return Describe(host, fs::is_directory(status));
  }

  std::vector<StoreEntry> List(const std::string& dir) override {
    std::vector<StoreEntry> entries;
    std::error_code ec;
    for (fs::directory_iterator it(Host(dir), ec), end; !ec && it != end; it.increment(ec)) {
      if (it->is_symlink(ec)) continue;
      entries.push_back(Describe(it->path(), it->is_directory(ec)));
    }
    return entries;
  }

  bool MakeDirectories(const std::string& path) override {
    std::error_code ec;
    fs::create_directories(Host(path), ec);
    return fs::is_directory(Host(path), ec);
  }

  DWORD MakeDirectory(const std::string& path) override {
    std::error_code ec;
    if (!fs::create_directory(Host(path), ec)) {
      return ec ? HostError(ec.value()) : plat::ERROR_ALREADY_EXISTS;
    }
    return 0;
  }

  DWORD Remove(const std::string& path) override {
    std::error_code ec;
    if (!fs::remove(Host(path), ec)) return ec ? HostError(ec.value()) : plat::ERROR_FILE_NOT_FOUND;
    return 0;
  }

  bool ReadAll(const std::string& path, std::string* content) override {
    std::error_code ec;
    if (fs::is_directory(Host(path), ec)) return false;  // a stream would read it as empty
    std::ifstream in(Host(path), std::ios::binary);
    if (!in) return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    *content = buffer.str();
    return !in.bad();
  }

  bool WriteAll(const std::string& path, std::string_view content) override {
    std::ofstream out(Host(path), std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    return static_cast<bool>(out);
  }

  DWORD Copy(const std::string& from, const std::string& to) override {
    std::error_code ec;
    fs::copy_file(Host(from), Host(to), fs::copy_options::overwrite_existing, ec);
    return ec ? HostError(ec.value()) : 0;
  }

  std::unique_ptr<OpenFile> Open(const std::string& path, bool create, bool truncate,
                                 DWORD* error) override {
    int mode = O_RDWR | O_CLOEXEC | (create ? O_CREAT | O_EXCL : 0);
    int fd = ::open(Host(path).c_str(), mode, 0644);
    if (fd < 0) {
      *error = HostError(errno);
      return nullptr;
    }
    auto file = std::make_unique<HostFile>(fd);
    if (truncate && !file->Truncate(0, error)) return nullptr;
    return file;
  }

  std::string HostPath(const std::string& path) const override { return Host(path).string(); }

  std::unique_ptr<FileStore> Clone() override { return nullptr; }

 private:
  fs::path Host(const std::string& path) const { return m_root / path; }

  static StoreEntry Describe(const fs::path& host, bool isDirectory) {
    StoreEntry entry{host.filename().string(), isDirectory};
    std::error_code ec;
    if (!isDirectory) {
      entry.size = fs::file_size(host, ec);
      if (ec) entry.size = 0;
    }
    entry.written = WrittenTicks(host);
    return entry;
  }

  fs::path m_root;  // <state>/fs
};

}  // namespace

std::unique_ptr<FileStore> MakeHostStore(std::filesystem::path root) {
  return std::make_unique<HostStore>(std::move(root));
}

std::int64_t NowTicks() {
  auto since = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  return since.count() * 10 + 116444736000000000LL;
}

}  // namespace sim::detail
