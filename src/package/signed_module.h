// Where the package lies in a module file that was signed after packing.
//
// Signing a PE file appends a certificate table to it and names that table in
// the security directory (data directory 4, whose address is a file offset,
// not an RVA). A module signed after packing therefore ends with the table,
// and its package trailer sits in front of it, followed by at most 7 zero
// bytes that align the table to 8 bytes. The signature's hash covers
// everything in front of the table, so it protects the package as well.
//
// Only the standard library is used: the library's reader reaches the module
// through the platform layer, the host tools through memory, and both hand the
// bytes over as a ModuleBytes. Every read asked for lies inside the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace setup {

// Random access to the bytes of a module file.
class ModuleBytes {
 public:
  virtual std::uint64_t Size() const = 0;
  // Reads exactly `length` bytes at `offset`; false when that fails. Callers
  // only ask for ranges that lie inside [0, Size()).
  virtual bool Read(std::uint64_t offset, void* out, std::size_t length) = 0;

 protected:
  ~ModuleBytes() = default;
};

// A module file held in memory.
class MemoryBytes final : public ModuleBytes {
 public:
  MemoryBytes(const void* data, std::size_t size) : m_pData(data), m_nSize(size) {}
  std::uint64_t Size() const override { return m_nSize; }
  bool Read(std::uint64_t offset, void* out, std::size_t length) override;

 private:
  const void* m_pData;
  std::size_t m_nSize;
};

// Zero bytes that may lie between the package trailer and the certificate
// table: signing tools align the table to 8 bytes.
constexpr std::uint32_t kMaxSignaturePadding = 7;
// The smallest certificate table: one WIN_CERTIFICATE header (length,
// revision, type).
constexpr std::uint32_t kCertificateHeaderSize = 8;

// What the security directory of a module says.
struct SecurityDirectory {
  enum class Kind {
    NotPe,     // no PE headers: nothing to say
    Unsigned,  // a PE image whose security directory is absent or empty
    Signed,    // names a certificate table that lies inside the file
    Damaged,   // names a table that cannot be one; `problem` says why
  };
  Kind kind = Kind::NotPe;
  std::uint64_t entryOffset =
      0;  // file offset of the 8-byte directory entry (Unsigned, Signed, Damaged)
  std::uint32_t tableOffset = 0;  // the entry's address: file offset of the table
  std::uint32_t tableSize = 0;    // the entry's size
  const char* problem = nullptr;  // Damaged: what is wrong, as a sentence's end
};

// Reads the PE headers (PE32 and PE32+) and their security directory.
SecurityDirectory ReadSecurityDirectory(ModuleBytes& file);

// True when `trailer` (12 bytes) is a package trailer for a package that ends
// at `end`: length word 12, magic "KVX\0", and a table of N records that fits
// behind a header word in front of `end`. *records receives N.
bool IsPackageTrailer(const unsigned char* trailer, std::uint64_t end, std::uint32_t* records);

// Where a package ends that lies directly in front of the certificate table of
// a signed module: `directory` is Signed, the table ends the file, and the 12
// bytes in front of it, or in front of 1 to kMaxSignaturePadding zero bytes
// before it, are a package trailer. None otherwise (also when a read fails).
struct PackageEnd {
  std::uint64_t end = 0;      // offset of the first byte behind the trailer
  std::uint32_t records = 0;  // N from the trailer
};
std::optional<PackageEnd> FindSignedPackageEnd(ModuleBytes& file,
                                               const SecurityDirectory& directory);

// Where the package of a module ends: the end of the file when its last 12
// bytes are a package trailer, else the end that FindSignedPackageEnd finds.
std::optional<PackageEnd> FindPackageEnd(ModuleBytes& file);

}  // namespace setup
