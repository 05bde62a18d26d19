// PE headers, the security directory and the package in front of a
// certificate table. See signed_module.h.
#include "package/signed_module.h"

#include <cstring>

namespace setup {

namespace {

constexpr std::uint32_t kTrailerSize = 12;
constexpr std::uint32_t kRecordSize = 272;
constexpr std::uint32_t kHeaderWordSize = 4;
constexpr char kPackageMagic[4] = {'K', 'V', 'X', '\0'};

constexpr std::uint16_t kDosMagic = 0x5A4D;     // "MZ"
constexpr std::uint32_t kPeSignature = 0x4550;  // "PE\0\0"
constexpr std::uint16_t kMagicPe32 = 0x10B;
constexpr std::uint16_t kMagicPe32Plus = 0x20B;
constexpr std::uint32_t kSecurityIndex = 4;       // IMAGE_DIRECTORY_ENTRY_SECURITY
constexpr std::uint32_t kDirectoryEntrySize = 8;  // address, size
constexpr std::uint32_t kSectionHeaderSize = 40;

std::uint32_t Word(const unsigned char* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

std::uint16_t Half(const unsigned char* bytes) {
  return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

// Reads `length` bytes at `offset` when they lie inside the file.
bool ReadInside(ModuleBytes& file, std::uint64_t offset, void* out, std::size_t length) {
  const std::uint64_t size = file.Size();
  return offset <= size && length <= size - offset && file.Read(offset, out, length);
}

SecurityDirectory Damaged(SecurityDirectory directory, const char* problem) {
  directory.kind = SecurityDirectory::Kind::Damaged;
  directory.problem = problem;
  return directory;
}

}  // namespace

bool MemoryBytes::Read(std::uint64_t offset, void* out, std::size_t length) {
  if (offset > m_nSize || length > m_nSize - offset) return false;
  if (length != 0) std::memcpy(out, static_cast<const char*>(m_pData) + offset, length);
  return true;
}

SecurityDirectory ReadSecurityDirectory(ModuleBytes& file) {
  SecurityDirectory directory;
  unsigned char dos[64];
  if (!ReadInside(file, 0, dos, sizeof dos) || Half(dos) != kDosMagic) return directory;

  // PE signature and COFF header: machine, section count, ..., optional
  // header size at 16; then the optional header's magic.
  const std::uint64_t pe = Word(dos + 0x3C);
  unsigned char coff[4 + 20 + 2];
  if (!ReadInside(file, pe, coff, sizeof coff) || Word(coff) != kPeSignature) return directory;
  const std::uint16_t sections = Half(coff + 4 + 2);
  const std::uint16_t optionalSize = Half(coff + 4 + 16);
  const std::uint16_t magic = Half(coff + 24);
  if (magic != kMagicPe32 && magic != kMagicPe32Plus) return directory;
  const std::uint64_t optional = pe + 24;
  directory.kind = SecurityDirectory::Kind::Unsigned;

  // The data directories follow the fixed part of the optional header (96
  // bytes for PE32, 112 for PE32+), whose last word counts them.
  const std::uint32_t fixed = magic == kMagicPe32Plus ? 112 : 96;
  const std::uint64_t entry = optional + fixed + kSecurityIndex * kDirectoryEntrySize;
  unsigned char count[4];
  if (optionalSize < fixed + (kSecurityIndex + 1) * kDirectoryEntrySize ||
      !ReadInside(file, optional + fixed - 4, count, sizeof count) ||
      Word(count) <= kSecurityIndex) {
    return directory;  // the headers hold no security directory
  }
  unsigned char fields[kDirectoryEntrySize];
  if (!ReadInside(file, entry, fields, sizeof fields)) return directory;
  directory.entryOffset = entry;
  directory.tableOffset = Word(fields);
  directory.tableSize = Word(fields + 4);
  if (directory.tableOffset == 0 && directory.tableSize == 0) return directory;

  if (directory.tableOffset == 0 || directory.tableSize == 0) {
    return Damaged(directory, "names a certificate table without an address or a size");
  }
  if (directory.tableSize < kCertificateHeaderSize) {
    return Damaged(directory, "names a certificate table too small for a certificate");
  }
  const std::uint64_t tableEnd =
      static_cast<std::uint64_t>(directory.tableOffset) + directory.tableSize;
  if (tableEnd > file.Size()) {
    return Damaged(directory, "names a certificate table that reaches past the end of the file");
  }
  const std::uint64_t headersEnd =
      optional + optionalSize + static_cast<std::uint64_t>(sections) * kSectionHeaderSize;
  if (directory.tableOffset < headersEnd) {
    return Damaged(directory, "names a certificate table that overlaps the PE headers");
  }
  directory.kind = SecurityDirectory::Kind::Signed;
  return directory;
}

bool IsPackageTrailer(const unsigned char* trailer, std::uint64_t end, std::uint32_t* records) {
  const std::uint32_t count = Word(trailer + 4);
  const std::uint64_t tableBytes = static_cast<std::uint64_t>(count) * kRecordSize;
  if (Word(trailer) != kTrailerSize ||
      std::memcmp(trailer + 8, kPackageMagic, sizeof kPackageMagic) != 0 ||
      tableBytes + kTrailerSize + kHeaderWordSize > end) {
    return false;
  }
  *records = count;
  return true;
}

std::optional<PackageEnd> FindSignedPackageEnd(ModuleBytes& file,
                                               const SecurityDirectory& directory) {
  if (directory.kind != SecurityDirectory::Kind::Signed ||
      static_cast<std::uint64_t>(directory.tableOffset) + directory.tableSize != file.Size()) {
    return std::nullopt;
  }
  // The bytes in front of the table: a trailer and up to 7 bytes of padding.
  unsigned char tail[kTrailerSize + kMaxSignaturePadding] = {};
  const std::uint32_t available = directory.tableOffset < sizeof tail
                                      ? directory.tableOffset
                                      : static_cast<std::uint32_t>(sizeof tail);
  if (available < kTrailerSize || !ReadInside(file, directory.tableOffset - available,
                                              tail + sizeof tail - available, available)) {
    return std::nullopt;
  }
  // Padding p: the trailer ends p bytes before the table, and those p bytes
  // are zero. The magic's letters make at most one p fit.
  for (std::uint32_t padding = 0; padding <= kMaxSignaturePadding; ++padding) {
    if (padding > 0 && tail[sizeof tail - padding] != 0) break;
    if (kTrailerSize + padding > available) break;
    const unsigned char* trailer = tail + sizeof tail - padding - kTrailerSize;
    PackageEnd found;
    found.end = directory.tableOffset - padding;
    if (IsPackageTrailer(trailer, found.end, &found.records)) return found;
  }
  return std::nullopt;
}

std::optional<PackageEnd> FindPackageEnd(ModuleBytes& file) {
  unsigned char trailer[kTrailerSize];
  PackageEnd found;
  found.end = file.Size();
  if (found.end >= kTrailerSize &&
      ReadInside(file, found.end - kTrailerSize, trailer, sizeof trailer) &&
      IsPackageTrailer(trailer, found.end, &found.records)) {
    return found;
  }
  return FindSignedPackageEnd(file, ReadSecurityDirectory(file));
}

}  // namespace setup
