// Host-side writer (and table reader) of the resource package that the
// library reads from the end of its own module file.
//
// Layout: header word 4, the entries' data back to back, one 272-byte record
// per entry (length 272, absolute data offset, 256-byte NUL-padded name, data
// size, index), then the 12-byte trailer (length 12, record count, "KVX\0").
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace setup::pack {

constexpr std::uint32_t kHeaderWord = 4;
constexpr std::uint32_t kRecordSize = 272;
constexpr std::uint32_t kTrailerSize = 12;
constexpr std::uint32_t kNameSize = 256;

// One file to store: its name in the package and its bytes.
struct Entry {
  std::string name;
  std::vector<char> data;
};

// One record of a package's table.
struct EntryInfo {
  std::uint32_t index = 0;   // position in the table
  std::uint32_t offset = 0;  // absolute offset of the data in the module file
  std::uint32_t size = 0;
  std::string name;
};

// The file name without its directory part ("/" and "\" both separate).
std::string BaseName(const std::string& path);

// Checks that `name` can be stored and written out on Windows: 1 to 255
// bytes, one plain file name (no separator, no "..", no drive letter, none of
// the characters Windows refuses, no trailing dot or blank, no device name).
bool IsValidEntryName(const std::string& name, std::string* error);
// True for the name of a script: its extension is "cxx" in any case.
bool IsScriptName(const std::string& name);
// Checks that exactly one of `names` is a script; the message names them.
bool CheckScriptCount(const std::vector<std::string>& names, std::string* error);
// Where the package at the end of `module` begins (its header word), or none
// when the module carries no well-formed package.
std::optional<std::size_t> PackageStart(const std::vector<char>& module);

// Appends a package holding `entries` (in this order) to `module`, which may
// be empty for a package that stands alone. False, with `module` unchanged and
// a message in *error, when a name is invalid or the result would not fit the
// package's 32-bit offsets.
bool AppendPackage(std::vector<char>& module, const std::vector<Entry>& entries,
                   std::string* error);

// Reads the table of the package at the end of `module`, checking the trailer,
// the record count and every record's range and name.
bool ReadPackageTable(const std::vector<char>& module, std::vector<EntryInfo>& entries,
                      std::string* error);

// The data of the entry named `name` (exact match; of several, the one nearest
// the end of the table, as the library takes it).
bool FindEntryData(const std::vector<char>& module, const std::string& name,
                   std::vector<char>& data, std::string* error);

// Whole-file helpers.
bool ReadFileBytes(const std::string& path, std::vector<char>& bytes, std::string* error);
bool WriteFileBytes(const std::string& path, const std::vector<char>& bytes, std::string* error);

// Writes `outPath`: the bytes of `basePath` (none when empty) followed by a
// package of `files`, each stored under its base name. The files must hold
// exactly one script. A base must be a PE DLL exporting Action; a package it
// already carries is replaced, not stacked. `notes` receives what was found
// (the kind of base, a replaced package). A signed base loses its signature
// (it would not cover the new package): `warnings` says so, and OUT must be
// signed again.
bool CreatePackageFile(const std::string& outPath, const std::string& basePath,
                       const std::vector<std::string>& files, std::string* error,
                       std::vector<std::string>* notes = nullptr,
                       std::vector<std::string>* warnings = nullptr);

}  // namespace setup::pack
