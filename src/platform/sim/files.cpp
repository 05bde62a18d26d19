// Files, file mappings, directories, attributes and searches of the simulated
// machine, with Windows error codes and share modes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <set>

#include "platform/sim/simcore.h"
#include "platform/winapi.h"

namespace sim::detail {
namespace {

using plat::DWORD;

constexpr DWORD kGenericAll = 0x10000000u;
constexpr DWORD kReadAccess = plat::GENERIC_READ | kGenericAll | 0x1;          // FILE_READ_DATA
constexpr DWORD kWriteAccess = plat::GENERIC_WRITE | kGenericAll | 0x2 | 0x4;  // WRITE/APPEND
constexpr DWORD kDeleteAccess = plat::DELETE | kGenericAll;
constexpr DWORD kAttributeBits = plat::FILE_ATTRIBUTE_READONLY | plat::FILE_ATTRIBUTE_HIDDEN |
                                 plat::FILE_ATTRIBUTE_SYSTEM | plat::FILE_ATTRIBUTE_ARCHIVE |
                                 0x100 /* TEMPORARY */ | 0x2000 /* NOT_CONTENT_INDEXED */;

struct FileObject;
std::multimap<std::string, FileObject*>& OpenFiles() {
  static std::multimap<std::string, FileObject*> files;
  return files;
}

struct FileObject : KernelObject {
  std::string key;
  int fd = -1;
  DWORD access = 0;
  DWORD share = 0;
  std::uint64_t position = 0;

  FileObject(std::string k, int descriptor, DWORD a, DWORD s)
      : key(std::move(k)), fd(descriptor), access(a), share(s) {
    OpenFiles().emplace(key, this);
  }
  ~FileObject() override {
    auto range = OpenFiles().equal_range(key);
    for (auto it = range.first; it != range.second; ++it) {
      if (it->second == this) {
        OpenFiles().erase(it);
        break;
      }
    }
    if (fd >= 0) ::close(fd);
  }
  bool CanRead() const { return (access & kReadAccess) != 0; }
  bool CanWrite() const { return (access & kWriteAccess) != 0; }
};

struct MappingObject : KernelObject {
  std::vector<char> bytes;  // snapshot of the file at mapping time
};

struct View {
  std::unique_ptr<char[]> data;
  std::size_t size = 0;
};
std::map<const char*, View>& Views() {
  static std::map<const char*, View> views;
  return views;
}

struct FindObject : Object {
  std::vector<plat::WIN32_FIND_DATAA> entries;
  std::size_t next = 0;
};

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

// Share-mode check of a new open against the handles already open on the file.
bool ShareAllows(const std::string& key, DWORD access, DWORD share) {
  auto range = OpenFiles().equal_range(key);
  for (auto it = range.first; it != range.second; ++it) {
    const FileObject& open = *it->second;
    if ((access & kReadAccess) && !(open.share & plat::FILE_SHARE_READ)) return false;
    if ((access & kWriteAccess) && !(open.share & plat::FILE_SHARE_WRITE)) return false;
    if ((access & kDeleteAccess) && !(open.share & plat::FILE_SHARE_DELETE)) return false;
    if ((open.access & kReadAccess) && !(share & plat::FILE_SHARE_READ)) return false;
    if ((open.access & kWriteAccess) && !(share & plat::FILE_SHARE_WRITE)) return false;
    if ((open.access & kDeleteAccess) && !(share & plat::FILE_SHARE_DELETE)) return false;
  }
  return true;
}

bool AnyOpen(const std::string& key) {
  return OpenFiles().count(key) != 0;
}

plat::FILETIME ToFileTime(const fs::path& host) {
  std::error_code ec;
  auto written = fs::last_write_time(host, ec);
  std::int64_t ticks = 0;
  if (!ec) {
    auto system = std::chrono::file_clock::to_sys(written);
    auto since = std::chrono::duration_cast<std::chrono::microseconds>(system.time_since_epoch());
    ticks = since.count() * 10 + 116444736000000000LL;
  }
  auto value = static_cast<std::uint64_t>(ticks);
  return {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
}

plat::WIN32_FIND_DATAA MakeFindData(const std::string& name, const fs::path& host,
                                    const std::string& key, bool isDirectory) {
  plat::WIN32_FIND_DATAA data{};
  data.dwFileAttributes = StoredAttributes(key, isDirectory);
  data.ftCreationTime = data.ftLastAccessTime = data.ftLastWriteTime = ToFileTime(host);
  if (!isDirectory) {
    std::error_code ec;
    std::uint64_t size = fs::file_size(host, ec);
    if (ec) size = 0;
    data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    data.nFileSizeLow = static_cast<DWORD>(size);
  }
  std::size_t length = std::min(name.size(), sizeof(data.cFileName) - 1);
  std::memcpy(data.cFileName, name.data(), length);
  return data;
}

// Windows wildcard match, without regard to case: '*' any run, '?' one
// character; "*.*" matches every name and a trailing '.' matches names
// without an extension.
bool WildMatch(std::string pattern, std::string name) {
  pattern = Lower(pattern);
  name = Lower(name);
  if (pattern == "*.*") pattern = "*";
  if (!pattern.empty() && pattern.back() == '.' && name.find('.') == std::string::npos) {
    pattern.pop_back();
  }
  std::size_t p = 0, n = 0, star = std::string::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      mark = n;
    } else if (star != std::string::npos) {
      p = star + 1;
      n = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

bool IsCurrentDirectory(const Resolved& r) {
  const Profile& profile = sim::GetProfile();
  std::string cwd =
      profile.currentDirectory.empty() ? profile.systemDirectory : profile.currentDirectory;
  Resolved c = Resolve(cwd.c_str());
  return c.error == 0 && c.key == r.key;
}

}  // namespace

bool FileInUseForDelete(const std::string& key) {
  auto range = OpenFiles().equal_range(key);
  for (auto it = range.first; it != range.second; ++it) {
    if (!(it->second->share & plat::FILE_SHARE_DELETE)) return true;
  }
  return false;
}

}  // namespace sim::detail

namespace plat {

using namespace sim::detail;
using sim::Op;

HANDLE CreateFileA(LPCSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flags, HANDLE) {
  if (InjectFault(Op::CreateFile)) return INVALID_HANDLE_VALUE;
  if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING) {
    return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  }
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, INVALID_HANDLE_VALUE);
  if (r.exists && r.isDirectory) return Fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
  if (!r.parentExists) return Fail(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  bool wantsWrite = (access & kWriteAccess) != 0;
  if (disposition == TRUNCATE_EXISTING && !wantsWrite) {
    return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  }
  bool truncate = false;
  if (r.exists) {
    DWORD attributes = StoredAttributes(r.key, false);
    if (disposition == CREATE_NEW) return Fail(ERROR_FILE_EXISTS, INVALID_HANDLE_VALUE);
    bool replaces = disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
    if ((attributes & FILE_ATTRIBUTE_READONLY) && (wantsWrite || replaces)) {
      return Fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    }
    // Replacing a hidden or system file requires asking for those attributes.
    DWORD special = attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    if (disposition == CREATE_ALWAYS && (flags & special) != special) {
      return Fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    }
    truncate = replaces;
  } else if (disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING) {
    return Fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  }
  if (!ShareAllows(r.key, access, share))
    return Fail(ERROR_SHARING_VIOLATION, INVALID_HANDLE_VALUE);

  int mode = O_RDWR | O_CLOEXEC | (r.exists ? 0 : O_CREAT | O_EXCL);
  int fd = ::open(r.host.c_str(), mode, 0644);
  if (fd < 0) return Fail(HostError(errno), INVALID_HANDLE_VALUE);
  if (truncate && ::ftruncate(fd, 0) != 0) {
    int error = errno;
    ::close(fd);
    return Fail(HostError(error), INVALID_HANDLE_VALUE);
  }
  if (!r.exists || disposition == CREATE_ALWAYS) {
    SetStoredAttributes(r.key, (flags & kAttributeBits) | FILE_ATTRIBUTE_ARCHIVE, false);
  }
  HANDLE handle = AddHandle(std::make_unique<FileObject>(r.key, fd, access, share));
  bool existedAlready = r.exists && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS);
  SetError(existedAlready ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return handle;
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD toRead, DWORD* read, void*) {
  if (read) *read = 0;
  if (InjectFault(Op::ReadFile)) return FALSE;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (!f->CanRead()) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (buffer == nullptr && toRead > 0) return Fail(kErrorNoAccess, FALSE);
  DWORD total = 0;
  while (total < toRead) {
    ssize_t got = ::pread(f->fd, static_cast<char*>(buffer) + total, toRead - total,
                          static_cast<off_t>(f->position));
    if (got < 0) {
      if (errno == EINTR) continue;
      return Fail(HostError(errno), FALSE);
    }
    if (got == 0) break;
    total += static_cast<DWORD>(got);
    f->position += static_cast<std::uint64_t>(got);
  }
  if (read) *read = total;
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD toWrite, DWORD* written, void*) {
  if (written) *written = 0;
  if (InjectFault(Op::WriteFile)) return FALSE;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (!f->CanWrite()) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (buffer == nullptr && toWrite > 0) return Fail(kErrorNoAccess, FALSE);
  DWORD total = 0;
  while (total < toWrite) {
    ssize_t put = ::pwrite(f->fd, static_cast<const char*>(buffer) + total, toWrite - total,
                           static_cast<off_t>(f->position));
    if (put < 0) {
      if (errno == EINTR) continue;
      if (written) *written = total;
      return Fail(HostError(errno), FALSE);
    }
    total += static_cast<DWORD>(put);
    f->position += static_cast<std::uint64_t>(put);
  }
  if (written) *written = total;
  SetError(ERROR_SUCCESS);
  return TRUE;
}

DWORD GetFileSize(HANDLE file, DWORD* sizeHigh) {
  if (InjectFault(Op::GetFileSize)) return INVALID_FILE_SIZE;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail(ERROR_INVALID_HANDLE, INVALID_FILE_SIZE);
  struct stat info {};
  if (::fstat(f->fd, &info) != 0) return Fail(HostError(errno), INVALID_FILE_SIZE);
  auto size = static_cast<std::uint64_t>(info.st_size);
  if (sizeHigh) *sizeHigh = static_cast<DWORD>(size >> 32);
  SetError(ERROR_SUCCESS);
  return static_cast<DWORD>(size);
}

DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method) {
  if (InjectFault(Op::SetFilePointer)) return INVALID_SET_FILE_POINTER;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail(ERROR_INVALID_HANDLE, INVALID_SET_FILE_POINTER);
  std::int64_t offset =
      distanceHigh ? static_cast<std::int64_t>(
                         (static_cast<std::uint64_t>(static_cast<DWORD>(*distanceHigh)) << 32) |
                         static_cast<DWORD>(distance))
                   : static_cast<std::int64_t>(distance);
  std::int64_t base = 0;
  if (method == FILE_CURRENT) {
    base = static_cast<std::int64_t>(f->position);
  } else if (method == FILE_END) {
    struct stat info {};
    if (::fstat(f->fd, &info) != 0) return Fail(HostError(errno), INVALID_SET_FILE_POINTER);
    base = info.st_size;
  } else if (method != FILE_BEGIN) {
    return Fail(ERROR_INVALID_PARAMETER, INVALID_SET_FILE_POINTER);
  }
  std::int64_t target = base + offset;
  if (target < 0) return Fail(kErrorNegativeSeek, INVALID_SET_FILE_POINTER);
  f->position = static_cast<std::uint64_t>(target);
  if (distanceHigh) *distanceHigh = static_cast<LONG>(f->position >> 32);
  SetError(ERROR_SUCCESS);
  return static_cast<DWORD>(f->position);
}

BOOL SetEndOfFile(HANDLE file) {
  if (InjectFault(Op::SetEndOfFile)) return FALSE;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (!f->CanWrite()) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (::ftruncate(f->fd, static_cast<off_t>(f->position)) != 0) {
    return Fail(HostError(errno), FALSE);
  }
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL CloseHandle(HANDLE object) {
  if (InjectFault(Op::CloseHandle)) return FALSE;
  if (object == INVALID_HANDLE_VALUE) return TRUE;  // the current-process pseudo handle
  if (!Find<KernelObject>(object)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  RemoveHandle(object);
  return TRUE;
}

HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES*, DWORD protect, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR) {
  if (InjectFault(Op::CreateFileMapping)) return nullptr;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail<HANDLE>(ERROR_INVALID_HANDLE, nullptr);
  if (protect != PAGE_READONLY) return Fail<HANDLE>(ERROR_INVALID_PARAMETER, nullptr);
  if (!f->CanRead()) return Fail<HANDLE>(ERROR_ACCESS_DENIED, nullptr);
  struct stat info {};
  if (::fstat(f->fd, &info) != 0) return Fail<HANDLE>(HostError(errno), nullptr);
  auto fileSize = static_cast<std::uint64_t>(info.st_size);
  std::uint64_t wanted = (static_cast<std::uint64_t>(sizeHigh) << 32) | sizeLow;
  if (wanted == 0) {
    if (fileSize == 0) return Fail<HANDLE>(kErrorFileInvalid, nullptr);
    wanted = fileSize;
  }
  if (wanted > fileSize) return Fail<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  auto mapping = std::make_unique<MappingObject>();
  mapping->bytes.resize(static_cast<std::size_t>(wanted));
  std::size_t total = 0;
  while (total < mapping->bytes.size()) {
    ssize_t got = ::pread(f->fd, mapping->bytes.data() + total, mapping->bytes.size() - total,
                          static_cast<off_t>(total));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return Fail<HANDLE>(got < 0 ? HostError(errno) : kErrorFileInvalid, nullptr);
    total += static_cast<std::size_t>(got);
  }
  SetError(ERROR_SUCCESS);
  return AddHandle(std::move(mapping));
}

void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                    std::size_t bytes) {
  if (InjectFault(Op::MapViewOfFile)) return nullptr;
  auto* m = Find<MappingObject>(mapping);
  if (!m) return Fail<void*>(ERROR_INVALID_HANDLE, nullptr);
  if (access != FILE_MAP_READ) return Fail<void*>(ERROR_ACCESS_DENIED, nullptr);
  std::uint64_t offset = (static_cast<std::uint64_t>(offsetHigh) << 32) | offsetLow;
  if (offset % 65536 != 0) return Fail<void*>(kErrorMappedAlignment, nullptr);
  std::uint64_t size = m->bytes.size();
  if (offset >= size) return Fail<void*>(ERROR_ACCESS_DENIED, nullptr);
  if (bytes == 0) bytes = static_cast<std::size_t>(size - offset);
  if (bytes > size - offset) return Fail<void*>(ERROR_ACCESS_DENIED, nullptr);
  View view;
  view.data = std::make_unique<char[]>(bytes);
  view.size = bytes;
  std::memcpy(view.data.get(), m->bytes.data() + offset, bytes);
  const char* base = view.data.get();
  Views().emplace(base, std::move(view));
  SetError(ERROR_SUCCESS);
  return const_cast<char*>(base);
}

BOOL UnmapViewOfFile(const void* address) {
  const char* p = static_cast<const char*>(address);
  auto& views = Views();
  auto it = views.upper_bound(p);
  if (it != views.begin()) {
    --it;
    if (p >= it->first && p < it->first + it->second.size) {
      views.erase(it);
      return TRUE;
    }
  }
  return Fail(kErrorInvalidAddress, FALSE);
}

BOOL DeleteFileA(LPCSTR path) {
  if (InjectFault(Op::DeleteFile)) return FALSE;
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  if (r.isDirectory) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (StoredAttributes(r.key, false) & FILE_ATTRIBUTE_READONLY) {
    return Fail(ERROR_ACCESS_DENIED, FALSE);
  }
  if (FileInUseForDelete(r.key)) return Fail(ERROR_SHARING_VIOLATION, FALSE);
  std::error_code ec;
  if (!fs::remove(r.host, ec)) return Fail(HostError(ec.value()), FALSE);
  ForgetAttributes(r.key);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL CopyFileA(LPCSTR source, LPCSTR destination, BOOL failIfExists) {
  if (InjectFault(Op::CopyFile)) return FALSE;
  Resolved from = Resolve(source);
  if (from.error != 0) return Fail(from.error, FALSE);
  if (!from.exists) return Fail(MissingError(from), FALSE);
  if (from.isDirectory) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (!ShareAllows(from.key, GENERIC_READ, FILE_SHARE_READ)) {
    return Fail(ERROR_SHARING_VIOLATION, FALSE);
  }
  Resolved to = Resolve(destination);
  if (to.error != 0) return Fail(to.error, FALSE);
  if (!to.parentExists) return Fail(ERROR_PATH_NOT_FOUND, FALSE);
  if (to.exists) {
    if (to.isDirectory) return Fail(ERROR_ACCESS_DENIED, FALSE);
    if (failIfExists) return Fail(ERROR_FILE_EXISTS, FALSE);
    if (to.key == from.key || AnyOpen(to.key)) return Fail(ERROR_SHARING_VIOLATION, FALSE);
    DWORD attributes = StoredAttributes(to.key, false);
    if (attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) {
      return Fail(ERROR_ACCESS_DENIED, FALSE);
    }
  }
  std::error_code ec;
  fs::copy_file(from.host, to.host, fs::copy_options::overwrite_existing, ec);
  if (ec) return Fail(HostError(ec.value()), FALSE);
  DWORD attributes = StoredAttributes(from.key, false);
  if (attributes == FILE_ATTRIBUTE_NORMAL) attributes = 0;
  SetStoredAttributes(to.key, attributes | FILE_ATTRIBUTE_ARCHIVE, false);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES*) {
  if (InjectFault(Op::CreateDirectory)) return FALSE;
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (r.exists) return Fail(ERROR_ALREADY_EXISTS, FALSE);
  if (!r.parentExists) return Fail(ERROR_PATH_NOT_FOUND, FALSE);
  std::error_code ec;
  if (!fs::create_directory(r.host, ec)) return Fail(HostError(ec.value()), FALSE);
  ForgetAttributes(r.key);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL RemoveDirectoryA(LPCSTR path) {
  if (InjectFault(Op::RemoveDirectory)) return FALSE;
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  if (!r.isDirectory) return Fail(kErrorDirectory, FALSE);
  if (r.name.empty()) return Fail(ERROR_ACCESS_DENIED, FALSE);  // a drive's root
  if (StoredAttributes(r.key, true) & FILE_ATTRIBUTE_READONLY) {
    return Fail(ERROR_ACCESS_DENIED, FALSE);
  }
  std::error_code ec;
  if (!fs::is_empty(r.host, ec)) return Fail(ERROR_DIR_NOT_EMPTY, FALSE);
  if (IsCurrentDirectory(r)) return Fail(ERROR_SHARING_VIOLATION, FALSE);
  if (!fs::remove(r.host, ec)) return Fail(HostError(ec.value()), FALSE);
  ForgetAttributes(r.key);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

DWORD GetFileAttributesA(LPCSTR path) {
  if (InjectFault(Op::GetFileAttributes)) return INVALID_FILE_ATTRIBUTES;
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, INVALID_FILE_ATTRIBUTES);
  if (!r.exists) return Fail(MissingError(r), INVALID_FILE_ATTRIBUTES);
  SetError(ERROR_SUCCESS);
  return StoredAttributes(r.key, r.isDirectory);
}

BOOL SetFileAttributesA(LPCSTR path, DWORD attributes) {
  if (InjectFault(Op::SetFileAttributes)) return FALSE;
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  SetStoredAttributes(r.key, attributes & kAttributeBits, r.isDirectory);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

HANDLE FindFirstFileA(LPCSTR pattern, WIN32_FIND_DATAA* data) {
  if (InjectFault(Op::FindFirstFile)) return INVALID_HANDLE_VALUE;
  Resolved r = Resolve(pattern, true);
  if (r.error != 0) return Fail(r.error, INVALID_HANDLE_VALUE);
  if (r.name.empty()) return Fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (!r.parentExists) return Fail(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (data == nullptr) return Fail(kErrorNoAccess, INVALID_HANDLE_VALUE);
  fs::path dir = r.host.parent_path();
  std::string dirKey = r.key.substr(0, r.key.find_last_of('/'));
  auto search = std::make_unique<FindObject>();
  bool root = dirKey.find('/') == std::string::npos;
  if (!root) {
    for (const char* dots : {".", ".."}) {
      if (WildMatch(r.name, dots)) {
        search->entries.push_back(MakeFindData(dots, dir, dirKey, true));
      }
    }
  }
  std::vector<plat::WIN32_FIND_DATAA> found;
  std::error_code ec;
  for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    std::string name = it->path().filename().string();
    if (it->is_symlink(ec) || !WildMatch(r.name, name)) continue;
    bool isDirectory = it->is_directory(ec);
    found.push_back(MakeFindData(name, it->path(), dirKey + "/" + Lower(name), isDirectory));
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return Lower(a.cFileName) < Lower(b.cFileName); });
  search->entries.insert(search->entries.end(), found.begin(), found.end());
  if (search->entries.empty()) return Fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  *data = search->entries[0];
  search->next = 1;
  SetError(ERROR_SUCCESS);
  return AddHandle(std::move(search));
}

BOOL FindNextFileA(HANDLE find, WIN32_FIND_DATAA* data) {
  if (InjectFault(Op::FindNextFile)) return FALSE;
  auto* search = Find<FindObject>(find);
  if (!search) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (search->next >= search->entries.size()) return Fail(ERROR_NO_MORE_FILES, FALSE);
  if (data == nullptr) return Fail(kErrorNoAccess, FALSE);
  *data = search->entries[search->next++];
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL FindClose(HANDLE find) {
  if (!Find<FindObject>(find)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  RemoveHandle(find);
  return TRUE;
}

BOOL PathFileExistsA(LPCSTR path) {
  Resolved r = Resolve(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  return TRUE;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
  if (InjectFault(Op::GetModuleFileName)) return 0;
  if (module == nullptr || module != ModuleHandle()) return Fail<DWORD>(ERROR_MOD_NOT_FOUND, 0);
  const std::string& path = ModulePath();
  if (size == 0 || buffer == nullptr) return Fail<DWORD>(ERROR_INSUFFICIENT_BUFFER, 0);
  if (path.size() < size) {
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    SetError(ERROR_SUCCESS);
    return static_cast<DWORD>(path.size());
  }
  std::memcpy(buffer, path.data(), size - 1);
  buffer[size - 1] = '\0';
  return Fail<DWORD>(ERROR_INSUFFICIENT_BUFFER, size);
}

}  // namespace plat
