// The reader of the resource package appended to the module file.
//
// Layout, from the end of the module file backwards: a 12-byte trailer
// (length 12, record count N, magic "KVX\0"), then N records of 272 bytes
// (length, absolute data offset, 256-byte name, data size, index), then the
// entries' data. Records are read one at a time by seeking from the end; an
// entry is written straight out of a read-only view of the module file.
//
// A damaged package must never make the reader touch bytes outside the file or
// the record, so the trailer and every record used are checked against the
// file's size before anything is read through them.
//
// A module signed after packing ends with its certificate table instead: when
// the last 12 bytes are no trailer, the reader looks for one in front of the
// table that the PE security directory names (signed_module.h).
#include "package/package.h"

#include <cstring>

#include "base/global.h"
#include "base/windir.h"
#include "diag/report.h"
#include "package/signed_module.h"
#include "platform/winapi.h"

namespace setup {

namespace {

// Largest module file the reader accepts: every position in it must be
// reachable by a signed 32-bit seek from the end.
constexpr std::uint32_t kMaxModuleSize = 0x7FFFFFFFu;

// The messages differ between the two operations; each row of this table
// names the texts one of them uses.
struct Messages {
  const char* notFound;       // no record qualifies, or the trailer is not a package's
  const char* mappingFailed;  // CreateFileMappingA failed
  const char* viewFailed;     // MapViewOfFile failed
  const char* createFailed;   // the destination cannot be created
};

constexpr Messages kScriptMessages = {
    "can not find any *.cxx in resource file list.",
    "mapping file list failed , err:win error code:0x%8x.",
    "mapping file list failed:win error code:0x%8x.",
    "can not generate '%s':win error code:0x%8x.",
};

constexpr Messages kExtractMessages = {
    "Can not find '%s' in resource file list.",
    "create mapping file failed:win error code:0x%8x",
    "mapping file list failed:win error code:0x%8x",
    "can not generate '%s':win error code:0x%8x",
};

constexpr char kWriteFailed[] = "can not generate '%s':win error code:0x%8x";

std::uint32_t ReadWord(const unsigned char* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// Closes a kernel handle when it goes out of scope.
class HandleGuard {
 public:
  explicit HandleGuard(plat::HANDLE handle = nullptr) : m_hHandle(handle) {}
  ~HandleGuard() { Reset(nullptr); }
  HandleGuard(const HandleGuard&) = delete;
  HandleGuard& operator=(const HandleGuard&) = delete;

  bool Valid() const { return m_hHandle != nullptr && m_hHandle != plat::INVALID_HANDLE_VALUE; }
  plat::HANDLE Get() const { return m_hHandle; }
  void Reset(plat::HANDLE handle) {
    if (Valid()) plat::CloseHandle(m_hHandle);
    m_hHandle = handle;
  }

 private:
  plat::HANDLE m_hHandle;
};

// Unmaps a view when it goes out of scope.
class ViewGuard {
 public:
  explicit ViewGuard(const void* view) : m_pView(view) {}
  ~ViewGuard() {
    if (m_pView != nullptr) plat::UnmapViewOfFile(m_pView);
  }
  ViewGuard(const ViewGuard&) = delete;
  ViewGuard& operator=(const ViewGuard&) = delete;

 private:
  const void* m_pView;
};

// The open module file as ModuleBytes: absolute seeks and reads. Offsets stay
// below the file's size, which fits a signed 32-bit seek.
class FileBytes final : public ModuleBytes {
 public:
  FileBytes(plat::HANDLE file, std::uint32_t size) : m_hFile(file), m_nSize(size) {}
  std::uint64_t Size() const override { return m_nSize; }
  bool Read(std::uint64_t offset, void* out, std::size_t length) override {
    if (plat::SetFilePointer(m_hFile, static_cast<plat::LONG>(offset), nullptr, plat::FILE_BEGIN) ==
        plat::INVALID_SET_FILE_POINTER) {
      return false;
    }
    plat::DWORD read = 0;
    return plat::ReadFile(m_hFile, out, static_cast<plat::DWORD>(length), &read, nullptr) &&
           read == length;
  }

 private:
  plat::HANDLE m_hFile;
  std::uint32_t m_nSize;
};

// One table record as read from the file.
struct Record {
  std::uint32_t nOffset = 0;
  std::uint32_t nSize = 0;
  char szName[kPackageNameSize + 1] = {};  // always NUL-terminated here
  bool bNameTerminated = false;            // the stored name held a NUL
};

// The open module file and what locating its table found out.
struct ModuleFile {
  HandleGuard file;
  std::uint32_t nFileSize = 0;
  std::uint32_t nRecords = 0;
  std::uint32_t nTableStart = 0;  // file offset of record 0
  std::uint32_t nTail = 0;        // bytes behind the trailer: a signature's padding and table
};

enum class Locate {
  Ok,
  Silent,      // failed without a report; ErrorFlag left as it was
  Failed,      // failed (reported or not); ErrorFlag already set
  NotPackage,  // the trailer is not a package's: the caller reports "not found"
};

// Opens the module file and reads and checks the trailer.
Locate LocateTable(ModuleFile& module) {
  char path[256] = {};
  const plat::DWORD length = plat::GetModuleFileNameA(theGlobal.m_hModule, path, sizeof path);
  if (length == 0 || length >= sizeof path) return Locate::Silent;

  module.file.Reset(plat::CreateFileA(path, plat::GENERIC_READ, plat::FILE_SHARE_READ, nullptr,
                                      plat::OPEN_EXISTING, plat::FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!module.file.Valid()) return Locate::Silent;
  plat::HANDLE handle = module.file.Get();

  // A size that cannot be obtained, or one too large for the package's
  // 32-bit offsets, ends the search.
  plat::DWORD sizeHigh = 0;
  const plat::DWORD size = plat::GetFileSize(handle, &sizeHigh);
  if (size == plat::INVALID_FILE_SIZE || sizeHigh != 0 || size > kMaxModuleSize) {
    theGlobal.ErrorFlag = 1;
    return Locate::Failed;
  }
  module.nFileSize = size;

  // A file shorter than a trailer cannot be sought to it.
  if (size < kPackageTrailerSize ||
      plat::SetFilePointer(handle, -static_cast<plat::LONG>(kPackageTrailerSize), nullptr,
                           plat::FILE_END) == plat::INVALID_SET_FILE_POINTER) {
    theGlobal.ErrorFlag = 1;
    return Locate::Failed;
  }

  unsigned char trailer[kPackageTrailerSize] = {};
  plat::DWORD read = 0;
  if (!plat::ReadFile(handle, trailer, kPackageTrailerSize, &read, nullptr) ||
      read < kPackageTrailerSize) {
    ReportError("Read File list header error , read %d bytes", static_cast<int>(read));
    theGlobal.ErrorFlag = 1;
    return Locate::Failed;
  }

  // The trailer must carry its length and magic, and the table it announces
  // must fit in the file behind the header word. Failing that, the package
  // may lie in front of a certificate table that ends the file.
  std::uint32_t records = 0;
  std::uint32_t end = size;
  if (!IsPackageTrailer(trailer, size, &records)) {
    FileBytes bytes(handle, size);
    const std::optional<PackageEnd> signedEnd =
        FindSignedPackageEnd(bytes, ReadSecurityDirectory(bytes));
    if (!signedEnd) return Locate::NotPackage;
    records = signedEnd->records;
    end = static_cast<std::uint32_t>(signedEnd->end);
  }
  module.nRecords = records;
  module.nTail = size - end;
  module.nTableStart = end - kPackageTrailerSize - records * kPackageEntrySize;
  return Locate::Ok;
}

// Reads record `i` in scan order: i = 0 is the last record of the table.
bool ReadRecord(const ModuleFile& module, std::uint32_t i, Record& record) {
  const std::uint32_t distance = module.nTail + kPackageTrailerSize + kPackageEntrySize * (i + 1);
  if (plat::SetFilePointer(module.file.Get(), -static_cast<plat::LONG>(distance), nullptr,
                           plat::FILE_END) == plat::INVALID_SET_FILE_POINTER) {
    return false;
  }
  unsigned char bytes[kPackageEntrySize] = {};
  plat::DWORD read = 0;
  if (!plat::ReadFile(module.file.Get(), bytes, kPackageEntrySize, &read, nullptr) ||
      read < kPackageEntrySize) {
    return false;
  }
  record.nOffset = ReadWord(bytes + 4);
  record.nSize = ReadWord(bytes + 264);
  std::memcpy(record.szName, bytes + 8, kPackageNameSize);
  record.szName[kPackageNameSize] = '\0';
  record.bNameTerminated = std::memchr(bytes + 8, '\0', kPackageNameSize) != nullptr;
  return true;
}

// An entry's data must lie in front of the table.
bool RangeIsValid(const ModuleFile& module, const Record& record) {
  return static_cast<std::uint64_t>(record.nOffset) + record.nSize <= module.nTableStart;
}

// Writes the record's data to `destination`. `writeName` is the text that a
// failed or short write reports.
int ExtractRecord(ModuleFile& module, const Record& record, const char* destination,
                  const char* writeName, const Messages& messages) {
  if (!RangeIsValid(module, record)) {
    // A record that points outside the package is reported like a failed write.
    plat::SetLastError(plat::ERROR_FILE_CORRUPT);
    ReportError(kWriteFailed, writeName, plat::ERROR_FILE_CORRUPT);
    theGlobal.ErrorFlag = 1;
    return 0;
  }

  HandleGuard mapping(
      plat::CreateFileMappingA(module.file.Get(), nullptr, plat::PAGE_READONLY, 0, 0, nullptr));
  if (!mapping.Valid()) {
    ReportError(messages.mappingFailed, plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  const void* view = plat::MapViewOfFile(mapping.Get(), plat::FILE_MAP_READ, 0, 0, 0);
  if (view == nullptr) {
    ReportError(messages.viewFailed, plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  ViewGuard viewGuard(view);

  HandleGuard output(plat::CreateFileA(destination, plat::GENERIC_READ | plat::GENERIC_WRITE,
                                       plat::FILE_SHARE_READ | plat::FILE_SHARE_WRITE, nullptr,
                                       plat::CREATE_ALWAYS, plat::FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!output.Valid()) {
    ReportError(messages.createFailed, destination, plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    return 0;
  }

  const char* data = static_cast<const char*>(view) + record.nOffset;
  plat::DWORD written = 0;
  if (!plat::WriteFile(output.Get(), data, record.nSize, &written, nullptr) ||
      written != record.nSize) {
    ReportError(kWriteFailed, writeName, plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  return 1;
}

// Finds the first record in scan order that `matches` accepts. Answers 1 with
// the record, 0 when the scan ended without one (ErrorFlag set, "not found"
// reported by the caller), -1 when the scan itself failed (ErrorFlag set).
template <typename Match>
int FindRecord(const ModuleFile& module, Record& record, Match matches) {
  for (std::uint32_t i = 0; i < module.nRecords; ++i) {
    if (!ReadRecord(module, i, record)) {
      theGlobal.ErrorFlag = 1;
      return -1;
    }
    // A name without its NUL names no file and never qualifies.
    if (record.bNameTerminated && matches(record)) return 1;
  }
  return 0;
}

}  // namespace

int GetUpperExtension(const char* name, std::optional<std::string>& out) {
  if (name == nullptr) return 0;
  const char* dot = std::strrchr(name, '.');
  if (dot == nullptr) return 1;
  std::string extension(dot + 1);
  for (char& c : extension) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  out = std::move(extension);
  return 1;
}

int GetScriptFromPackage(std::optional<std::string>& path) {
  ModuleFile module;
  switch (LocateTable(module)) {
    case Locate::Ok:
      break;
    case Locate::NotPackage:
      ReportError(kScriptMessages.notFound);
      theGlobal.ErrorFlag = 1;
      return 0;
    case Locate::Silent:
    case Locate::Failed:
      return 0;
  }

  Record record;
  const int found = FindRecord(module, record, [](const Record& r) {
    std::optional<std::string> extension;
    GetUpperExtension(r.szName, extension);
    return extension.has_value() && *extension == "CXX";
  });
  if (found < 0) return 0;
  if (found == 0) {
    ReportError(kScriptMessages.notFound);
    theGlobal.ErrorFlag = 1;
    return 0;
  }

  std::optional<std::string> windowsDir;
  if (!GetWinDir(windowsDir)) {
    // No Windows directory to write into: the script cannot be generated.
    ReportError(kWriteFailed, record.szName, plat::ERROR_PATH_NOT_FOUND);
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  path = *windowsDir + "\\" + record.szName;
  return ExtractRecord(module, record, path->c_str(), record.szName, kScriptMessages);
}

int ExtractPackageFile(const char* name, const char* destination) {
  if (name == nullptr || destination == nullptr) return 0;

  ModuleFile module;
  switch (LocateTable(module)) {
    case Locate::Ok:
      break;
    case Locate::NotPackage:
      ReportError(kExtractMessages.notFound, name);
      theGlobal.ErrorFlag = 1;
      return 0;
    case Locate::Silent:
    case Locate::Failed:
      return 0;
  }

  Record record;
  const int found = FindRecord(
      module, record, [name](const Record& r) { return std::strcmp(r.szName, name) == 0; });
  if (found < 0) return 0;
  if (found == 0) {
    ReportError(kExtractMessages.notFound, name);
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  return ExtractRecord(module, record, destination, destination, kExtractMessages);
}

}  // namespace setup
