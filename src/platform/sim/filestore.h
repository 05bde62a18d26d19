// The file store of the simulated machine: one interface over host files
// below a directory (a machine kept on disk) and a tree in memory (a
// temporary machine, rebuilt for every run without touching the host).
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/winapi.h"

namespace sim::detail {

// Paths given to a store are relative to its root, components separated by
// '/', the drive letter first: "C/WINDOWS/system32/SetupApi.dll". Existing
// components are spelt as stored (path resolution matches them first); a
// store compares names without regard to case only in Match.

// A file of a temporary machine larger than this keeps its bytes in an
// unlinked scratch file on the host instead of in memory.
constexpr std::uint64_t kMemoryFileLimit = 4 * 1024 * 1024;

// One file or directory.
struct StoreEntry {
  std::string name;          // last component as stored
  bool isDirectory = false;  //
  std::uint64_t size = 0;    // bytes of a file, 0 for a directory
  std::int64_t written = 0;  // last write, 100 ns ticks since 1601 (a FILETIME)
};

// The contents of an open file. It stays usable when the file is deleted
// while open, as a host descriptor does.
class OpenFile {
 public:
  virtual ~OpenFile() = default;
  // Reads up to `size` bytes at `offset`; *done receives the count (0 at the end).
  virtual bool Read(std::uint64_t offset, char* buffer, std::size_t size, std::size_t* done,
                    plat::DWORD* error) = 0;
  // Writes `size` bytes at `offset`, extending the file with zeros as needed.
  virtual bool Write(std::uint64_t offset, const char* data, std::size_t size, std::size_t* done,
                     plat::DWORD* error) = 0;
  virtual bool Size(std::uint64_t* size, plat::DWORD* error) = 0;
  virtual bool Truncate(std::uint64_t size, plat::DWORD* error) = 0;
};

class FileStore {
 public:
  virtual ~FileStore() = default;

  // The entry of directory `dir` named `name` without regard to case (an exact
  // match first); none when `dir` is no directory or holds no such entry.
  // The size and time of the entry are left out.
  virtual std::optional<StoreEntry> Match(const std::string& dir, std::string_view name) = 0;
  // The entry at `path`, size and time included; none when there is none.
  virtual std::optional<StoreEntry> Stat(const std::string& path) = 0;
  // The entries of a directory, in no particular order.
  virtual std::vector<StoreEntry> List(const std::string& dir) = 0;

  // Creates a directory and its missing parents; true when it exists afterwards.
  virtual bool MakeDirectories(const std::string& path) = 0;
  // Creates one directory in an existing one; 0 or an error code.
  virtual plat::DWORD MakeDirectory(const std::string& path) = 0;
  // Removes a file or an empty directory; 0 or an error code.
  virtual plat::DWORD Remove(const std::string& path) = 0;

  // The whole contents of a file.
  virtual bool ReadAll(const std::string& path, std::string* content) = 0;
  // Creates or replaces a file in an existing directory.
  virtual bool WriteAll(const std::string& path, std::string_view content) = 0;
  // Copies a file's contents over a new or existing file; 0 or an error code.
  virtual plat::DWORD Copy(const std::string& from, const std::string& to) = 0;
  // Opens an existing file, or creates a new one when `create` (failing when
  // one exists); `truncate` empties it. Null with *error on failure.
  virtual std::unique_ptr<OpenFile> Open(const std::string& path, bool create, bool truncate,
                                         plat::DWORD* error) = 0;

  // The host path of `path`; empty when the files are not on the host.
  virtual std::string HostPath(const std::string& path) const = 0;
  // A copy of the whole tree, for a store whose files are in memory; null
  // for host files. The copy shares contents until either side writes.
  virtual std::unique_ptr<FileStore> Clone() = 0;
};

// Host files below `root` (the machine's <state>/fs); symbolic links there are
// never part of the machine.
std::unique_ptr<FileStore> MakeHostStore(std::filesystem::path root);
// An empty tree in memory.
std::unique_ptr<FileStore> MakeMemoryStore();

// The current time as FILETIME ticks.
std::int64_t NowTicks();

}  // namespace sim::detail
