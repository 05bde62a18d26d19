#include "package_writer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "module_signature.h"
#include "pe_image.h"

namespace setup::pack {

namespace {

constexpr char kMagic[4] = {'K', 'V', 'X', '\0'};

void PutWord(std::vector<char>& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8)
    out.push_back(static_cast<char>((value >> shift) & 0xFF));
}

std::uint32_t GetWord(const std::vector<char>& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

void SetError(std::string* error, const std::string& message) {
  if (error != nullptr) *error = message;
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
  std::vector<EntryInfo> entries;
  if (!ReadPackageTable(module, entries, nullptr)) return std::nullopt;
  std::uint64_t start = PackageEndOf(module) - kTrailerSize - entries.size() * kRecordSize;
  for (const EntryInfo& entry : entries) start = std::min<std::uint64_t>(start, entry.offset);
  if (start < sizeof kHeaderWord) return std::nullopt;
  start -= sizeof kHeaderWord;
  if (GetWord(module, static_cast<std::size_t>(start)) != kHeaderWord) return std::nullopt;
  return static_cast<std::size_t>(start);
}

bool AppendPackage(std::vector<char>& module, const std::vector<Entry>& entries,
                   std::string* error) {
  std::uint64_t total = module.size() + sizeof kHeaderWord;
  for (const Entry& entry : entries) {
    if (!IsValidEntryName(entry.name, error)) return false;
    total += entry.data.size();
  }
  total += static_cast<std::uint64_t>(entries.size()) * kRecordSize + kTrailerSize;
  // Every offset, and the seek from the end to the first record, must stay
  // within a signed 32-bit distance.
  if (total > 0x7FFFFFFFu) {
    SetError(error, "the package would exceed 2 GiB");
    return false;
  }

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
  entries.clear();
  // The package ends the file, or lies in front of the certificate table of a
  // module signed after packing.
  const std::uint64_t size = PackageEndOf(module);
  if (size < kTrailerSize) {
    SetError(error, "file too short to hold a package");
    return false;
  }
  const std::size_t trailer = static_cast<std::size_t>(size - kTrailerSize);
  if (GetWord(module, trailer) != kTrailerSize ||
      std::memcmp(module.data() + trailer + 8, kMagic, sizeof kMagic) != 0) {
    SetError(error, "no package at the end of the file");
    return false;
  }
  const std::uint64_t count = GetWord(module, trailer + 4);
  if (count * kRecordSize + kTrailerSize + sizeof kHeaderWord > size) {
    SetError(error, "the package table is larger than the file");
    return false;
  }
  const std::uint64_t tableStart = size - kTrailerSize - count * kRecordSize;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::size_t at = static_cast<std::size_t>(tableStart + i * kRecordSize);
    EntryInfo info;
    info.index = static_cast<std::uint32_t>(i);
    info.offset = GetWord(module, at + 4);
    info.size = GetWord(module, at + 264);
    const char* name = module.data() + at + 8;
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
  return true;
}

bool FindEntryData(const std::vector<char>& module, const std::string& name,
                   std::vector<char>& data, std::string* error) {
  std::vector<EntryInfo> entries;
  if (!ReadPackageTable(module, entries, error)) return false;
  for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
    if (it->name != name) continue;
    data.assign(module.begin() + it->offset, module.begin() + it->offset + it->size);
    return true;
  }
  SetError(error, "no entry named '" + name + "' in the package");
  return false;
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
  std::vector<char> module;
  if (!basePath.empty()) {
    if (!ReadFileBytes(basePath, module, error)) return false;
    std::string summary;
    std::string problem;
    if (!CheckSetupBase(module, &summary, &problem)) {
      SetError(error, "base '" + basePath + "' is " +
                          (problem.rfind("a ", 0) == 0 ? "" : "not usable: ") + problem);
      return false;
    }
    if (notes != nullptr) notes->push_back(basePath + ": " + summary);
    const std::optional<std::size_t> start = PackageStart(module);
    if (start) {
      std::vector<EntryInfo> old;
      ReadPackageTable(module, old, nullptr);
      if (notes != nullptr) {
        notes->push_back(basePath + ": replacing the package it already carries (" +
                         std::to_string(old.size()) + " entries)");
      }
    }
    // A signature would not cover the new package: take it off, and say so.
    bool signatureRemoved = false;
    if (!RemoveSignature(module, start, &signatureRemoved, &problem)) {
      SetError(error, "base '" + basePath + "' is signed, but " + problem);
      return false;
    }
    if (signatureRemoved && warnings != nullptr) {
      warnings->push_back("base '" + basePath +
                          "' is signed: its signature is removed, since it would not cover the "
                          "new package; sign '" +
                          outPath + "' again");
    }
    if (start && !signatureRemoved) module.resize(*start);
  }

  std::vector<Entry> entries;
  std::vector<std::string> names;
  std::set<std::string> seen;
  for (const std::string& file : files) {
    Entry entry;
    entry.name = BaseName(file);
    if (!IsValidEntryName(entry.name, error)) return false;
    // The library and Windows compare file names without regard to case.
    std::string folded = entry.name;
    for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!seen.insert(folded).second) {
      SetError(error, "two files are named '" + entry.name + "'; entry names must differ");
      return false;
    }
    names.push_back(entry.name);
    entries.push_back(std::move(entry));
  }
  if (!CheckScriptCount(names, error)) return false;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!ReadFileBytes(files[i], entries[i].data, error)) return false;
  }
  if (!AppendPackage(module, entries, error)) return false;
  return WriteFileBytes(outPath, module, error);
}

}  // namespace setup::pack
