#include "package_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <system_error>

#include "module_signature.h"
#include "pe_image.h"
#include "platform/sim/hostio.h"

namespace setup::pack {

namespace {

constexpr char kMagic[4] = {'K', 'V', 'X', '\0'};

void PutWord(std::vector<char>& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8)
    out.push_back(static_cast<char>((value >> shift) & 0xFF));
}

// The process's file creation mask (read by setting it and back).
mode_t CurrentUmask() {
  const mode_t mask = ::umask(0022);
  ::umask(mask);
  return mask;
}

std::uint32_t Word(const char* bytes) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

void StoreWord(char* out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

void SetError(std::string* error, const std::string& message) {
  if (error != nullptr) *error = message;
}

std::string HostReason() {
  return std::error_code(errno, std::generic_category()).message();
}

// Pieces in which files are copied: memory use stays at this, whatever the size.
constexpr std::size_t kCopyPiece = 1024 * 1024;
// Table records read at once.
constexpr std::uint64_t kRecordsPerRead = 256;

// Copies `size` bytes at `offset` of `source` to `at` in the empty-so-far file
// `fd`; holes of a file source are skipped.
bool CopySource(const ByteSource& source, std::uint64_t offset, std::uint64_t size, int fd,
                std::uint64_t at) {
  if (const auto* file = dynamic_cast<const FileSource*>(&source)) {
    return hostio::CopyRange(file->Descriptor(), offset, fd, at, size, at);
  }
  std::vector<char> piece(static_cast<std::size_t>(std::min<std::uint64_t>(size, kCopyPiece)));
  for (std::uint64_t done = 0; done < size;) {
    const std::size_t want =
        static_cast<std::size_t>(std::min<std::uint64_t>(kCopyPiece, size - done));
    if (!source.Read(offset + done, piece.data(), want)) {
      errno = EIO;
      return false;
    }
    if (!hostio::WriteSparse(fd, at + done, piece.data(), want, at + done)) return false;
    done += want;
  }
  return true;
}

}  // namespace

std::string BaseName(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool IsValidEntryName(const std::string& name, std::string* error) {
  if (name.empty()) {
    SetError(error, "an entry name must not be empty");
    return false;
  }
  if (name.size() >= kNameSize) {
    SetError(error, "entry name '" + name.substr(0, 40) + "...' is longer than " +
                        std::to_string(kNameSize - 1) + " bytes");
    return false;
  }
  // The library writes entries to "<directory>\<name>": the name must be one
  // plain Windows file name, or it would land elsewhere or not at all.
  if (name.find_first_of("/\\") != std::string::npos) {
    SetError(error,
             "entry name '" + name + "' must be a plain file name, without a path separator");
    return false;
  }
  if (name == "." || name == "..") {
    SetError(error, "entry name '" + name + "' names a directory, not a file");
    return false;
  }
  if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]))) {
    SetError(error, "entry name '" + name + "' must not start with a drive letter");
    return false;
  }
  for (char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || std::strchr("<>:\"|?*", c) != nullptr) {
      char shown[8];
      std::snprintf(shown, sizeof shown, byte < 0x20 ? "0x%02X" : "'%c'", byte);
      SetError(error, "entry name '" + name + "' holds " + shown +
                          ", which Windows does not allow in file names");
      return false;
    }
  }
  if (name.back() == '.' || name.back() == ' ') {
    SetError(error, "entry name '" + name + "' must not end with a dot or a blank");
    return false;
  }
  // Device names are reserved with any extension ("nul.txt" is the device too).
  std::string stem = name.substr(0, name.find('.'));
  while (!stem.empty() && stem.back() == ' ') stem.pop_back();
  for (char& c : stem) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  static const std::set<std::string> kDevices = {
      "CON",  "PRN",  "AUX",  "NUL",  "COM1", "COM2", "COM3", "COM4", "COM5", "COM6", "COM7",
      "COM8", "COM9", "LPT1", "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7", "LPT8", "LPT9"};
  if (kDevices.count(stem) != 0) {
    SetError(error, "entry name '" + name + "' is a reserved Windows device name");
    return false;
  }
  return true;
}

bool IsScriptName(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos) return false;
  std::string extension = name.substr(dot + 1);
  for (char& c : extension) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return extension == "CXX";
}

std::optional<std::size_t> PackageStart(const std::vector<char>& module) {
  std::optional<std::uint64_t> start = PackageStart(MemorySource(module));
  if (!start) return std::nullopt;
  return static_cast<std::size_t>(*start);
}

std::optional<std::uint64_t> PackageStart(const ByteSource& module) {
  std::vector<EntryInfo> entries;
  if (!ReadPackageTable(module, entries, nullptr)) return std::nullopt;
  std::uint64_t start = PackageEndOf(module) - kTrailerSize - entries.size() * kRecordSize;
  for (const EntryInfo& entry : entries) start = std::min<std::uint64_t>(start, entry.offset);
  if (start < sizeof kHeaderWord) return std::nullopt;
  start -= sizeof kHeaderWord;
  char header[4];
  if (!module.Read(start, header, sizeof header) || Word(header) != kHeaderWord) {
    return std::nullopt;
  }
  return start;
}

bool CheckModuleSize(std::uint64_t imageSize, const std::vector<std::uint64_t>& sizes,
                     std::uint64_t* total, std::string* error) {
  std::uint64_t bytes = imageSize + sizeof kHeaderWord + kTrailerSize;
  for (std::uint64_t size : sizes) bytes += size + kRecordSize;
  if (total != nullptr) *total = bytes;
  if (bytes <= kMaxModuleSize) return true;
  SetError(error, "the package would exceed 2 GiB: the module would be " + std::to_string(bytes) +
                      " bytes, and a package's 32-bit offsets allow at most " +
                      std::to_string(kMaxModuleSize) + " bytes");
  return false;
}

bool AppendPackage(std::vector<char>& module, const std::vector<Entry>& entries,
                   std::string* error) {
  std::vector<std::uint64_t> sizes;
  for (const Entry& entry : entries) {
    if (!IsValidEntryName(entry.name, error)) return false;
    sizes.push_back(entry.data.size());
  }
  std::uint64_t total = 0;
  if (!CheckModuleSize(module.size(), sizes, &total, error)) return false;

  std::vector<char> out;
  out.reserve(static_cast<std::size_t>(total));
  out.insert(out.end(), module.begin(), module.end());
  PutWord(out, kHeaderWord);
  std::vector<std::uint32_t> offsets;
  for (const Entry& entry : entries) {
    offsets.push_back(static_cast<std::uint32_t>(out.size()));
    out.insert(out.end(), entry.data.begin(), entry.data.end());
  }
  for (std::size_t i = 0; i < entries.size(); ++i) {
    PutWord(out, kRecordSize);
    PutWord(out, offsets[i]);
    char name[kNameSize] = {};
    std::memcpy(name, entries[i].name.data(), entries[i].name.size());
    out.insert(out.end(), name, name + kNameSize);
    PutWord(out, static_cast<std::uint32_t>(entries[i].data.size()));
    PutWord(out, static_cast<std::uint32_t>(i));
  }
  PutWord(out, kTrailerSize);
  PutWord(out, static_cast<std::uint32_t>(entries.size()));
  out.insert(out.end(), kMagic, kMagic + sizeof kMagic);
  module = std::move(out);
  return true;
}

bool ReadPackageTable(const std::vector<char>& module, std::vector<EntryInfo>& entries,
                      std::string* error) {
  return ReadPackageTable(MemorySource(module), entries, error);
}

bool ReadPackageTable(const ByteSource& module, std::vector<EntryInfo>& entries,
                      std::string* error) {
  entries.clear();
  // The package ends the file, or lies in front of the certificate table of a
  // module signed after packing.
  const std::uint64_t size = PackageEndOf(module);
  if (size < kTrailerSize) {
    SetError(error, "file too short to hold a package");
    return false;
  }
  char trailer[kTrailerSize];
  if (!module.Read(size - kTrailerSize, trailer, kTrailerSize)) {
    SetError(error, "cannot read the end of the file");
    return false;
  }
  if (Word(trailer) != kTrailerSize || std::memcmp(trailer + 8, kMagic, sizeof kMagic) != 0) {
    SetError(error, "no package at the end of the file");
    return false;
  }
  const std::uint64_t count = Word(trailer + 4);
  if (count * kRecordSize + kTrailerSize + sizeof kHeaderWord > size) {
    SetError(error, "the package table is larger than the file");
    return false;
  }
  const std::uint64_t tableStart = size - kTrailerSize - count * kRecordSize;
  std::vector<char> block;
  for (std::uint64_t first = 0; first < count; first += kRecordsPerRead) {
    const std::uint64_t records = std::min(kRecordsPerRead, count - first);
    block.resize(static_cast<std::size_t>(records * kRecordSize));
    if (!module.Read(tableStart + first * kRecordSize, block.data(), block.size())) {
      SetError(error, "cannot read the package table");
      return false;
    }
    for (std::uint64_t r = 0; r < records; ++r) {
      const std::uint64_t i = first + r;
      const char* record = block.data() + r * kRecordSize;
      EntryInfo info;
      info.index = static_cast<std::uint32_t>(i);
      info.offset = Word(record + 4);
      info.size = Word(record + 264);
      const char* name = record + 8;
      const void* nul = std::memchr(name, '\0', kNameSize);
      if (nul == nullptr) {
        SetError(error, "record " + std::to_string(i) + " has a name without its terminator");
        return false;
      }
      info.name.assign(name, static_cast<const char*>(nul));
      if (static_cast<std::uint64_t>(info.offset) + info.size > tableStart) {
        SetError(error, "record " + std::to_string(i) + " ('" + info.name +
                            "') points outside the package data");
        return false;
      }
      entries.push_back(std::move(info));
    }
  }
  return true;
}

bool FindEntry(const std::vector<EntryInfo>& entries, const std::string& name, EntryInfo* entry,
               std::string* error) {
  for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
    if (it->name != name) continue;
    *entry = *it;
    return true;
  }
  SetError(error, "no entry named '" + name + "' in the package");
  return false;
}

bool FindEntryData(const std::vector<char>& module, const std::string& name,
                   std::vector<char>& data, std::string* error) {
  std::vector<EntryInfo> entries;
  EntryInfo entry;
  if (!ReadPackageTable(module, entries, error) || !FindEntry(entries, name, &entry, error)) {
    return false;
  }
  data.assign(module.begin() + entry.offset, module.begin() + entry.offset + entry.size);
  return true;
}

bool MemorySource::Read(std::uint64_t offset, char* buffer, std::size_t size) const {
  if (offset > m_bytes.size() || size > m_bytes.size() - offset) return false;
  if (size > 0) std::memcpy(buffer, m_bytes.data() + offset, size);
  return true;
}

FileSource::~FileSource() {
  if (m_fd >= 0) ::close(m_fd);
}

bool FileSource::Open(const std::string& path, std::string* error) {
  if (m_fd >= 0) ::close(m_fd);
  m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info {};
  if (m_fd < 0 || ::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    SetError(error, "'" + path + "' is not a readable file");
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
    return false;
  }
  m_size = static_cast<std::uint64_t>(info.st_size);
  return true;
}

bool FileSource::Adopt(int fd) {
  if (m_fd >= 0) ::close(m_fd);
  m_fd = fd;
  struct stat info {};
  if (m_fd < 0 || ::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
    return false;
  }
  m_size = static_cast<std::uint64_t>(info.st_size);
  return true;
}

bool FileSource::Read(std::uint64_t offset, char* buffer, std::size_t size) const {
  if (m_fd < 0 || offset > m_size || size > m_size - offset) return false;
  std::size_t done = 0;
  return hostio::ReadAt(m_fd, offset, buffer, size, &done) && done == size;
}

bool CopyToFile(const ByteSource& module, std::uint64_t offset, std::uint64_t size,
                const std::string& path, std::string* error) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    SetError(error, "cannot open '" + path + "' for writing: " + HostReason());
    return false;
  }
  bool ok = CopySource(module, offset, size, fd, 0);
  const std::string reason = ok ? std::string() : HostReason();
  if (::close(fd) != 0 && ok) {
    ok = false;
    SetError(error, "cannot write '" + path + "': " + HostReason());
  } else if (!ok) {
    SetError(error, "cannot write '" + path + "': " + reason);
  }
  return ok;
}

bool StreamModule(int fd, const ByteSource* image, std::uint64_t imageSize,
                  const std::vector<std::string>& files, const std::vector<std::string>& names,
                  std::string* error) {
  std::uint64_t at = 0;
  if (image != nullptr && imageSize > 0) {
    if (!CopySource(*image, 0, imageSize, fd, 0)) {
      SetError(error, "cannot copy the base: " + HostReason());
      return false;
    }
    at = imageSize;
  }
  char word[4];
  StoreWord(word, kHeaderWord);
  if (!hostio::WriteSparse(fd, at, word, sizeof word, at)) {
    SetError(error, "cannot write the module: " + HostReason());
    return false;
  }
  at += sizeof word;

  std::vector<EntryInfo> records;
  std::unique_ptr<char[]> piece;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const int in = ::open(files[i].c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (in < 0 || ::fstat(in, &info) != 0 || S_ISDIR(info.st_mode)) {
      if (in >= 0) ::close(in);
      SetError(error, "'" + files[i] + "' is not a readable file");
      return false;
    }
    EntryInfo record;
    record.index = static_cast<std::uint32_t>(i);
    record.offset = static_cast<std::uint32_t>(at);
    record.name = names[i];
    std::uint64_t size = 0;
    bool ok = true;
    const std::uint64_t room = kMaxModuleSize - at;  // what is left before the limit
    if (S_ISREG(info.st_mode)) {
      // A regular file is copied at the size it has now, its holes skipped.
      size = static_cast<std::uint64_t>(info.st_size);
      ok = size <= room && hostio::CopyRange(in, 0, fd, at, size, at);
    } else {
      // A pipe is read to its end.
      if (!piece) piece.reset(new char[kCopyPiece]);
      for (;;) {
        const ssize_t got = ::read(in, piece.get(), kCopyPiece);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
          ok = got == 0;
          break;
        }
        if (size + static_cast<std::uint64_t>(got) > room) {
          size += static_cast<std::uint64_t>(got);
          break;
        }
        ok = hostio::WriteSparse(fd, at + size, piece.get(), static_cast<std::size_t>(got),
                                 at + size);
        if (!ok) break;
        size += static_cast<std::uint64_t>(got);
      }
    }
    const std::string reason = ok ? std::string() : HostReason();
    ::close(in);
    if (size > room ||
        at + size + files.size() * std::uint64_t{kRecordSize} + kTrailerSize > kMaxModuleSize) {
      // Only a file that grew since it was measured, or a pipe, gets here.
      SetError(error, "the package would exceed 2 GiB once '" + files[i] +
                          "' is stored, and a package's 32-bit offsets allow at most " +
                          std::to_string(kMaxModuleSize) + " bytes");
      return false;
    }
    if (!ok) {
      SetError(error, "cannot store '" + files[i] + "': " + reason);
      return false;
    }
    record.size = static_cast<std::uint32_t>(size);
    at += size;
    records.push_back(std::move(record));
  }

  std::vector<char> table;
  table.reserve(records.size() * kRecordSize + kTrailerSize);
  for (const EntryInfo& record : records) {
    PutWord(table, kRecordSize);
    PutWord(table, record.offset);
    char name[kNameSize] = {};
    std::memcpy(name, record.name.data(), record.name.size());
    table.insert(table.end(), name, name + kNameSize);
    PutWord(table, record.size);
    PutWord(table, record.index);
  }
  PutWord(table, kTrailerSize);
  PutWord(table, static_cast<std::uint32_t>(records.size()));
  table.insert(table.end(), kMagic, kMagic + sizeof kMagic);
  if (!hostio::WriteSparse(fd, at, table.data(), table.size(), at)) {
    SetError(error, "cannot write the module: " + HostReason());
    return false;
  }
  return true;
}

bool ReadFileBytes(const std::string& path, std::vector<char>& bytes, std::string* error) {
  std::error_code code;
  if (!std::filesystem::is_regular_file(path, code)) {
    SetError(error, "'" + path + "' is not a readable file");
    return false;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    SetError(error, "cannot open '" + path + "' for reading");
    return false;
  }
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  if (in.bad()) {
    SetError(error, "cannot read '" + path + "'");
    return false;
  }
  return true;
}

bool WriteFileBytes(const std::string& path, const std::vector<char>& bytes, std::string* error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) {
    SetError(error, "cannot open '" + path + "' for writing");
    return false;
  }
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) {
    SetError(error, "cannot write '" + path + "'");
    return false;
  }
  return true;
}

bool CheckScriptCount(const std::vector<std::string>& names, std::string* error) {
  std::vector<std::string> scripts;
  for (const std::string& name : names) {
    if (IsScriptName(name)) scripts.push_back(name);
  }
  if (scripts.size() == 1) return true;
  if (scripts.empty()) {
    SetError(error, "the package holds no script (an entry ending in .cxx); the library needs one");
    return false;
  }
  std::string list;
  for (const std::string& script : scripts) list += (list.empty() ? "'" : ", '") + script + "'";
  SetError(error, "the package holds " + std::to_string(scripts.size()) + " scripts (" + list +
                      "); the library runs exactly one");
  return false;
}

bool CreatePackageFile(const std::string& outPath, const std::string& basePath,
                       const std::vector<std::string>& files, std::string* error,
                       std::vector<std::string>* notes, std::vector<std::string>* warnings) {
  FileSource base;
  std::uint64_t imageSize = 0;
  std::vector<char> image;  // the base without its package (and signature)
  if (!basePath.empty()) {
    if (!base.Open(basePath, error)) return false;
    // The image is what precedes a package the base already carries, and a
    // signature would not cover the new package: it comes off (with the
    // package it was made over), and the warning says to sign OUT again.
    const std::optional<std::uint64_t> start = PackageStart(base);
    SignatureCut cut;
    std::string problem;
    if (!PlanSignatureRemoval(base, start, &cut, &problem)) {
      SetError(error, "base '" + basePath + "' is signed, but " + problem);
      return false;
    }
    imageSize = cut.signedBase ? cut.keep : start ? *start : base.Size();
    if (imageSize > kMaxModuleSize) {
      SetError(error, "base '" + basePath + "' is larger than a module with a package may be (" +
                          std::to_string(kMaxModuleSize) + " bytes)");
      return false;
    }
    image.resize(static_cast<std::size_t>(imageSize));
    if (!base.Read(0, image.data(), image.size())) {
      SetError(error, "cannot read '" + basePath + "'");
      return false;
    }
    if (cut.signedBase) std::memset(image.data() + cut.entryOffset, 0, 8);
    std::string summary;
    if (!CheckSetupBase(image, &summary, &problem)) {
      SetError(error, "base '" + basePath + "' is " +
                          (problem.rfind("a ", 0) == 0 ? "" : "not usable: ") + problem);
      return false;
    }
    if (notes != nullptr) notes->push_back(basePath + ": " + summary);
    if (start) {
      std::vector<EntryInfo> old;
      ReadPackageTable(base, old, nullptr);
      if (notes != nullptr) {
        notes->push_back(basePath + ": replacing the package it already carries (" +
                         std::to_string(old.size()) + " entries)");
      }
    }
    if (cut.signedBase && warnings != nullptr) {
      warnings->push_back("base '" + basePath +
                          "' is signed: its signature is removed, since it would not cover the "
                          "new package; sign '" +
                          outPath + "' again");
    }
  }

  std::vector<std::string> names;
  std::set<std::string> seen;
  for (const std::string& file : files) {
    const std::string name = BaseName(file);
    if (!IsValidEntryName(name, error)) return false;
    // The library and Windows compare file names without regard to case.
    std::string folded = name;
    for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!seen.insert(folded).second) {
      SetError(error, "two files are named '" + name + "'; entry names must differ");
      return false;
    }
    names.push_back(name);
  }
  if (!CheckScriptCount(names, error)) return false;

  // Every file must be readable and the whole module within the limit before
  // anything is written.
  std::vector<std::uint64_t> sizes;
  for (const std::string& file : files) {
    struct stat info {};
    if (::stat(file.c_str(), &info) != 0 || S_ISDIR(info.st_mode) ||
        ::access(file.c_str(), R_OK) != 0) {
      SetError(error, "'" + file + "' is not a readable file");
      return false;
    }
    sizes.push_back(S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0);
  }
  if (!CheckModuleSize(imageSize, sizes, nullptr, error)) return false;

  // A new file beside OUT, renamed over it once complete.
  const std::filesystem::path out(outPath);
  std::string pattern =
      (out.parent_path().empty() ? std::filesystem::path(".") : out.parent_path()).string() + "/." +
      out.filename().string() + ".XXXXXX";
  std::vector<char> temp(pattern.begin(), pattern.end());
  temp.push_back('\0');
  const int fd = ::mkostemp(temp.data(), O_CLOEXEC);
  if (fd < 0) {
    SetError(error, "cannot open '" + outPath + "' for writing: " + HostReason());
    return false;
  }
  ::fchmod(fd, 0666 & ~CurrentUmask());  // as a newly created OUT would be
  const MemorySource imageSource(image);
  bool ok =
      StreamModule(fd, basePath.empty() ? nullptr : &imageSource, imageSize, files, names, error);
  if (::close(fd) != 0 && ok) {
    SetError(error, "cannot write '" + outPath + "': " + HostReason());
    ok = false;
  }
  if (ok && std::rename(temp.data(), outPath.c_str()) != 0) {
    SetError(error, "cannot write '" + outPath + "': " + HostReason());
    ok = false;
  }
  if (!ok) ::unlink(temp.data());
  return ok;
}

}  // namespace setup::pack
