#include "pe_image.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace setup::pack {

namespace {

constexpr std::uint16_t kMachineI386 = 0x014C;
constexpr std::uint16_t kMachineAmd64 = 0x8664;
constexpr std::uint16_t kFileDll = 0x2000;
constexpr std::uint16_t kMagicPe32 = 0x10B;
constexpr std::uint16_t kMagicPe32Plus = 0x20B;
constexpr std::uint32_t kMaxExportNames = 65536;

// Bounds-checked little-endian reads; every read answers false past the end.
class Reader {
 public:
  explicit Reader(const std::vector<char>& bytes) : m_Bytes(bytes) {}
  bool U16(std::uint64_t at, std::uint16_t* out) const { return Read(at, 2, out); }
  bool U32(std::uint64_t at, std::uint32_t* out) const { return Read(at, 4, out); }
  // A NUL-terminated name of at most 512 bytes.
  bool Name(std::uint64_t at, std::string* out) const {
    out->clear();
    for (std::uint64_t i = at; i < m_Bytes.size() && i < at + 512; ++i) {
      if (m_Bytes[i] == '\0') return true;
      out->push_back(m_Bytes[i]);
    }
    return false;
  }

 private:
  template <typename T>
  bool Read(std::uint64_t at, int size, T* out) const {
    if (at + size > m_Bytes.size()) return false;
    std::uint64_t value = 0;
    for (int i = size - 1; i >= 0; --i)
      value = value << 8 | static_cast<unsigned char>(m_Bytes[at + i]);
    *out = static_cast<T>(value);
    return true;
  }
  const std::vector<char>& m_Bytes;
};

struct Section {
  std::uint32_t virtualAddress, virtualSize, rawOffset, rawSize;
};

// The file offset of a relative virtual address, or false when no section holds it.
bool RvaToOffset(const std::vector<Section>& sections, std::uint32_t rva, std::uint64_t* offset) {
  for (const Section& s : sections) {
    const std::uint32_t span = std::max(s.virtualSize, s.rawSize);
    if (rva >= s.virtualAddress && rva - s.virtualAddress < span &&
        rva - s.virtualAddress < s.rawSize) {
      *offset = static_cast<std::uint64_t>(s.rawOffset) + (rva - s.virtualAddress);
      return true;
    }
  }
  return false;
}

bool Fail(std::string* error, const std::string& message) {
  if (error != nullptr) *error = message;
  return false;
}

}  // namespace

bool ReadPeImage(const std::vector<char>& bytes, PeInfo* info, std::string* error) {
  *info = PeInfo{};
  const Reader r(bytes);
  std::uint16_t mz = 0;
  if (!r.U16(0, &mz) || mz != 0x5A4D) return Fail(error, "not a PE file (no MZ header)");
  std::uint32_t peAt = 0;
  std::uint32_t signature = 0;
  if (!r.U32(0x3C, &peAt) || !r.U32(peAt, &signature) || signature != 0x00004550) {
    return Fail(error, "not a PE file (no PE signature)");
  }
  const std::uint64_t coff = static_cast<std::uint64_t>(peAt) + 4;
  std::uint16_t machine = 0, sectionCount = 0, optionalSize = 0, characteristics = 0;
  if (!r.U16(coff, &machine) || !r.U16(coff + 2, &sectionCount) ||
      !r.U16(coff + 16, &optionalSize) || !r.U16(coff + 18, &characteristics)) {
    return Fail(error, "truncated PE header");
  }
  const std::uint64_t optional = coff + 20;
  std::uint16_t magic = 0;
  if (!r.U16(optional, &magic) || (magic != kMagicPe32 && magic != kMagicPe32Plus)) {
    return Fail(error, "PE file without a valid optional header");
  }
  info->is64 = magic == kMagicPe32Plus;
  info->isDll = (characteristics & kFileDll) != 0;
  char name[32];
  std::snprintf(name, sizeof name, "machine 0x%04X", machine);
  info->machine = machine == kMachineI386 ? "x86" : machine == kMachineAmd64 ? "x64" : name;

  // The data directories follow the fixed part: 96 bytes (PE32) or 112 (PE32+).
  const std::uint64_t directories = optional + (info->is64 ? 112 : 96);
  std::uint32_t directoryCount = 0;
  if (!r.U32(directories - 4, &directoryCount)) return Fail(error, "truncated PE header");
  std::uint32_t exportRva = 0, exportSize = 0;
  if (directoryCount >= 1 && directories + 8 <= optional + optionalSize) {
    if (!r.U32(directories, &exportRva) || !r.U32(directories + 4, &exportSize)) {
      return Fail(error, "truncated PE header");
    }
  }

  std::vector<Section> sections;
  const std::uint64_t sectionTable = optional + optionalSize;
  for (std::uint16_t i = 0; i < sectionCount; ++i) {
    const std::uint64_t at = sectionTable + 40ull * i;
    Section s{};
    if (!r.U32(at + 8, &s.virtualSize) || !r.U32(at + 12, &s.virtualAddress) ||
        !r.U32(at + 16, &s.rawSize) || !r.U32(at + 20, &s.rawOffset)) {
      return Fail(error, "truncated PE section table");
    }
    sections.push_back(s);
  }
  if (exportRva == 0 || exportSize == 0) return true;

  std::uint64_t exportAt = 0;
  std::uint32_t nameCount = 0, namesRva = 0;
  if (!RvaToOffset(sections, exportRva, &exportAt) || !r.U32(exportAt + 24, &nameCount) ||
      !r.U32(exportAt + 32, &namesRva)) {
    return Fail(error, "PE export table lies outside the file");
  }
  if (nameCount > kMaxExportNames) return Fail(error, "PE export table is implausibly large");
  std::uint64_t namesAt = 0;
  if (nameCount > 0 && !RvaToOffset(sections, namesRva, &namesAt)) {
    return Fail(error, "PE export names lie outside the file");
  }
  for (std::uint32_t i = 0; i < nameCount; ++i) {
    std::uint32_t nameRva = 0;
    std::uint64_t nameAt = 0;
    std::string exported;
    if (!r.U32(namesAt + 4ull * i, &nameRva) || !RvaToOffset(sections, nameRva, &nameAt) ||
        !r.Name(nameAt, &exported)) {
      return Fail(error, "PE export name " + std::to_string(i) + " lies outside the file");
    }
    info->exports.push_back(exported);
  }
  return true;
}

bool CheckSetupBase(const std::vector<char>& bytes, std::string* summary, std::string* error) {
  PeInfo info;
  if (!ReadPeImage(bytes, &info, error)) return false;
  const std::string kind = std::string(info.is64 ? "64-bit" : "32-bit") + " (" + info.machine + ")";
  if (!info.isDll) return Fail(error, "a " + kind + " PE executable, not a DLL");
  if (std::find(info.exports.begin(), info.exports.end(), "Action") == info.exports.end()) {
    return Fail(error, "a " + kind + " DLL that does not export Action");
  }
  if (summary != nullptr) *summary = kind + " DLL exporting Action";
  return true;
}

}  // namespace setup::pack
