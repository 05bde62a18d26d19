// Files, file mappings, directories, attributes and searches of the simulated
// machine, with Windows error codes and share modes.
#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "platform/sim/simcore.h"
#include "platform/sim/view.h"
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
  std::unique_ptr<OpenFile> file;
  DWORD access = 0;
  DWORD share = 0;
  std::uint64_t position = 0;

  FileObject(std::string k, std::unique_ptr<OpenFile> f, DWORD a, DWORD s)
      : key(std::move(k)), file(std::move(f)), access(a), share(s) {
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

plat::FILETIME ToFileTime(std::int64_t ticks) {
  auto value = static_cast<std::uint64_t>(ticks);
  return {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
}

plat::WIN32_FIND_DATAA MakeFindData(const std::string& name, const StoreEntry& entry,
                                    const std::string& key) {
  plat::WIN32_FIND_DATAA data{};
  data.dwFileAttributes = StoredAttributes(key, entry.isDirectory);
  data.ftCreationTime = data.ftLastAccessTime = data.ftLastWriteTime = ToFileTime(entry.written);
  data.nFileSizeHigh = static_cast<DWORD>(entry.size >> 32);
  data.nFileSizeLow = static_cast<DWORD>(entry.size);
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
  Resolved c = ResolveInProcess(cwd.c_str());
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
  Resolved r = ResolveInProcess(path);
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

  DWORD error = 0;
  std::unique_ptr<OpenFile> opened = Files().Open(r.path, !r.exists, truncate, &error);
  if (!opened) return Fail(error, INVALID_HANDLE_VALUE);
  if (!r.exists || disposition == CREATE_ALWAYS) {
    SetStoredAttributes(r.key, (flags & kAttributeBits) | FILE_ATTRIBUTE_ARCHIVE, false);
  }
  HANDLE handle = AddHandle(std::make_unique<FileObject>(r.key, std::move(opened), access, share));
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
  std::size_t total = 0;
  DWORD error = 0;
  if (!f->file->Read(f->position, static_cast<char*>(buffer), toRead, &total, &error)) {
    return Fail(error, FALSE);
  }
  f->position += total;
  if (read) *read = static_cast<DWORD>(total);
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
  std::size_t total = 0;
  DWORD error = 0;
  bool ok = f->file->Write(f->position, static_cast<const char*>(buffer), toWrite, &total, &error);
  f->position += total;
  if (written) *written = static_cast<DWORD>(total);
  if (!ok) return Fail(error, FALSE);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

DWORD GetFileSize(HANDLE file, DWORD* sizeHigh) {
  if (InjectFault(Op::GetFileSize)) return INVALID_FILE_SIZE;
  auto* f = Find<FileObject>(file);
  if (!f) return Fail(ERROR_INVALID_HANDLE, INVALID_FILE_SIZE);
  std::uint64_t size = 0;
  DWORD error = 0;
  if (!f->file->Size(&size, &error)) return Fail(error, INVALID_FILE_SIZE);
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
    std::uint64_t size = 0;
    DWORD error = 0;
    if (!f->file->Size(&size, &error)) return Fail(error, INVALID_SET_FILE_POINTER);
    base = static_cast<std::int64_t>(size);
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
  DWORD error = 0;
  if (!f->file->Truncate(f->position, &error)) return Fail(error, FALSE);
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
  std::uint64_t fileSize = 0;
  DWORD error = 0;
  if (!f->file->Size(&fileSize, &error)) return Fail<HANDLE>(error, nullptr);
  std::uint64_t wanted = (static_cast<std::uint64_t>(sizeHigh) << 32) | sizeLow;
  if (wanted == 0) {
    if (fileSize == 0) return Fail<HANDLE>(kErrorFileInvalid, nullptr);
    wanted = fileSize;
  }
  if (wanted > fileSize) return Fail<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  auto mapping = std::make_unique<MappingObject>();
  mapping->bytes.resize(static_cast<std::size_t>(wanted));
  std::size_t got = 0;
  if (!f->file->Read(0, mapping->bytes.data(), mapping->bytes.size(), &got, &error)) {
    return Fail<HANDLE>(error, nullptr);
  }
  if (got < mapping->bytes.size()) return Fail<HANDLE>(kErrorFileInvalid, nullptr);
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
  Resolved r = ResolveInProcess(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  if (r.isDirectory) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (StoredAttributes(r.key, false) & FILE_ATTRIBUTE_READONLY) {
    return Fail(ERROR_ACCESS_DENIED, FALSE);
  }
  if (FileInUseForDelete(r.key)) return Fail(ERROR_SHARING_VIOLATION, FALSE);
  if (DWORD error = Files().Remove(r.path)) return Fail(error, FALSE);
  ForgetAttributes(r.key);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL CopyFileA(LPCSTR source, LPCSTR destination, BOOL failIfExists) {
  if (InjectFault(Op::CopyFile)) return FALSE;
  Resolved from = ResolveInProcess(source);
  if (from.error != 0) return Fail(from.error, FALSE);
  if (!from.exists) return Fail(MissingError(from), FALSE);
  if (from.isDirectory) return Fail(ERROR_ACCESS_DENIED, FALSE);
  if (!ShareAllows(from.key, GENERIC_READ, FILE_SHARE_READ)) {
    return Fail(ERROR_SHARING_VIOLATION, FALSE);
  }
  Resolved to = ResolveInProcess(destination);
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
  if (DWORD error = Files().Copy(from.path, to.path)) return Fail(error, FALSE);
  DWORD attributes = StoredAttributes(from.key, false);
  if (attributes == FILE_ATTRIBUTE_NORMAL) attributes = 0;
  SetStoredAttributes(to.key, attributes | FILE_ATTRIBUTE_ARCHIVE, false);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES*) {
  if (InjectFault(Op::CreateDirectory)) return FALSE;
  Resolved r = ResolveInProcess(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (r.exists) return Fail(ERROR_ALREADY_EXISTS, FALSE);
  if (!r.parentExists) return Fail(ERROR_PATH_NOT_FOUND, FALSE);
  if (DWORD error = Files().MakeDirectory(r.path)) return Fail(error, FALSE);
  ForgetAttributes(r.key);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL RemoveDirectoryA(LPCSTR path) {
  if (InjectFault(Op::RemoveDirectory)) return FALSE;
  Resolved r = ResolveInProcess(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  if (!r.isDirectory) return Fail(kErrorDirectory, FALSE);
  if (r.name.empty()) return Fail(ERROR_ACCESS_DENIED, FALSE);  // a drive's root
  if (StoredAttributes(r.key, true) & FILE_ATTRIBUTE_READONLY) {
    return Fail(ERROR_ACCESS_DENIED, FALSE);
  }
  if (!Files().List(r.path).empty()) return Fail(ERROR_DIR_NOT_EMPTY, FALSE);
  if (IsCurrentDirectory(r)) return Fail(ERROR_SHARING_VIOLATION, FALSE);
  if (DWORD error = Files().Remove(r.path)) return Fail(error, FALSE);
  ForgetAttributes(r.key);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

DWORD GetFileAttributesA(LPCSTR path) {
  if (InjectFault(Op::GetFileAttributes)) return INVALID_FILE_ATTRIBUTES;
  Resolved r = ResolveInProcess(path);
  if (r.error != 0) return Fail(r.error, INVALID_FILE_ATTRIBUTES);
  if (!r.exists) return Fail(MissingError(r), INVALID_FILE_ATTRIBUTES);
  SetError(ERROR_SUCCESS);
  return StoredAttributes(r.key, r.isDirectory);
}

BOOL SetFileAttributesA(LPCSTR path, DWORD attributes) {
  if (InjectFault(Op::SetFileAttributes)) return FALSE;
  Resolved r = ResolveInProcess(path);
  if (r.error != 0) return Fail(r.error, FALSE);
  if (!r.exists) return Fail(MissingError(r), FALSE);
  SetStoredAttributes(r.key, attributes & kAttributeBits, r.isDirectory);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

HANDLE FindFirstFileA(LPCSTR pattern, WIN32_FIND_DATAA* data) {
  if (InjectFault(Op::FindFirstFile)) return INVALID_HANDLE_VALUE;
  Resolved r = ResolveInProcess(pattern, true);
  if (r.error != 0) return Fail(r.error, INVALID_HANDLE_VALUE);
  if (r.name.empty()) return Fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (!r.parentExists) return Fail(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (data == nullptr) return Fail(kErrorNoAccess, INVALID_HANDLE_VALUE);
  const std::string dir = r.path.substr(0, r.path.find_last_of('/'));
  const std::string dirKey = r.key.substr(0, r.key.find_last_of('/'));
  auto search = std::make_unique<FindObject>();
  bool root = dirKey.find('/') == std::string::npos;
  if (!root) {
    StoreEntry self = Files().Stat(dir).value_or(StoreEntry{});
    self.isDirectory = true;
    for (const char* dots : {".", ".."}) {
      if (WildMatch(r.name, dots)) search->entries.push_back(MakeFindData(dots, self, dirKey));
    }
  }
  std::vector<plat::WIN32_FIND_DATAA> found;
  for (const StoreEntry& entry : Files().List(dir)) {
    if (!WildMatch(r.name, entry.name)) continue;
    found.push_back(MakeFindData(entry.name, entry, dirKey + "/" + Lower(entry.name)));
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
  Resolved r = ResolveInProcess(path);
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

// ---- Read-only view ------------------------------------------------------------------------

namespace sim {

namespace {

void Collect(const std::string& dir, const std::string& windows,
             const std::vector<std::string>& lowerParts,
             std::vector<std::pair<std::vector<std::string>, FileEntry>>* out) {
  for (const detail::StoreEntry& found : detail::Files().List(dir)) {
    FileEntry entry;
    entry.path = windows + "\\" + found.name;
    entry.directory = found.isDirectory;
    const std::string path = dir + "/" + found.name;
    entry.attributes = detail::StoredAttributes(detail::Lower(path), entry.directory);
    entry.size = found.size;
    std::vector<std::string> parts = lowerParts;
    parts.push_back(detail::Lower(found.name));
    out->emplace_back(parts, entry);
    if (entry.directory) Collect(path, entry.path, parts, out);
  }
}

}  // namespace

std::vector<FileEntry> FileTree() {
  std::vector<std::pair<std::vector<std::string>, FileEntry>> found;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string drive(1, letter);
    std::optional<detail::StoreEntry> root = detail::Files().Stat(drive);
    if (!root || !root->isDirectory) continue;
    Collect(drive, drive + ":", {drive}, &found);
  }
  // Comparing the lower-case components keeps a directory before its contents.
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<FileEntry> entries;
  for (auto& [parts, entry] : found) entries.push_back(std::move(entry));
  return entries;
}

}  // namespace sim
