#include "module_signature.h"

#include <cstring>

#include "package/signed_module.h"

namespace setup::pack {

namespace {

// WIN_CERTIFICATE: length (including this header), revision, type.
constexpr std::uint16_t kRevision1 = 0x0100;
constexpr std::uint16_t kRevision2 = 0x0200;
constexpr std::uint16_t kLastCertificateType = 4;  // X509, PKCS signed data, reserved, TS stack

std::uint32_t Word(const std::vector<char>& bytes, std::uint64_t at) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i)
    value = value << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(at) + i]);
  return value;
}

std::uint16_t Half(const std::vector<char>& bytes, std::uint64_t at) {
  const std::size_t i = static_cast<std::size_t>(at);
  return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[i]) |
                                    static_cast<unsigned char>(bytes[i + 1]) << 8);
}

// Walks the certificate entries of a table that lies inside `module`. An
// empty answer means the table is well formed.
std::string CheckCertificates(const std::vector<char>& module, std::uint64_t offset,
                              std::uint64_t size, std::uint32_t* count) {
  const std::uint64_t end = offset + size;
  std::uint64_t at = offset;
  *count = 0;
  while (at < end) {
    const std::string entry = "certificate " + std::to_string(*count + 1);
    if (end - at < kCertificateHeaderSize) return entry + " is cut off by the table's end";
    const std::uint32_t length = Word(module, at);
    const std::uint16_t revision = Half(module, at + 4);
    const std::uint16_t type = Half(module, at + 6);
    if (length < kCertificateHeaderSize || length > end - at) {
      return entry + " has a length of " + std::to_string(length) +
             " bytes, which does not fit the table";
    }
    if ((revision != kRevision1 && revision != kRevision2) || type == 0 ||
        type > kLastCertificateType) {
      return entry + " has an unknown revision or type";
    }
    ++*count;
    // Entries start on 8-byte boundaries; the padding belongs to the table.
    const std::uint64_t next = at + ((static_cast<std::uint64_t>(length) + 7) & ~7ull);
    at = next < end ? next : end;
  }
  return {};
}

}  // namespace

std::uint64_t PackageEndOf(const std::vector<char>& module) {
  MemoryBytes bytes(module.data(), module.size());
  const std::optional<PackageEnd> found = FindPackageEnd(bytes);
  return found ? found->end : module.size();
}

SignatureFacts InspectSignature(const std::vector<char>& module) {
  MemoryBytes bytes(module.data(), module.size());
  const SecurityDirectory directory = ReadSecurityDirectory(bytes);
  SignatureFacts facts;
  facts.tableOffset = directory.tableOffset;
  facts.tableSize = directory.tableSize;
  switch (directory.kind) {
    case SecurityDirectory::Kind::NotPe:
      return facts;
    case SecurityDirectory::Kind::Unsigned:
      facts.state = SignatureFacts::State::Unsigned;
      return facts;
    case SecurityDirectory::Kind::Damaged:
      facts.state = SignatureFacts::State::Damaged;
      facts.problem = std::string("the security directory ") + directory.problem;
      return facts;
    case SecurityDirectory::Kind::Signed:
      break;
  }
  const std::uint64_t tableEnd =
      static_cast<std::uint64_t>(directory.tableOffset) + directory.tableSize;
  facts.bytesAfter = module.size() - tableEnd;
  const std::string damage =
      CheckCertificates(module, directory.tableOffset, directory.tableSize, &facts.certificates);
  if (!damage.empty()) {
    facts.state = SignatureFacts::State::Damaged;
    facts.problem = "the certificate table is damaged: " + damage;
    return facts;
  }
  facts.state = SignatureFacts::State::Signed;
  return facts;
}

bool RemoveSignature(std::vector<char>& module, std::optional<std::size_t> packageStart,
                     bool* removed, std::string* error) {
  *removed = false;
  MemoryBytes bytes(module.data(), module.size());
  const SecurityDirectory directory = ReadSecurityDirectory(bytes);
  if (directory.kind == SecurityDirectory::Kind::Damaged) {
    if (error != nullptr) *error = std::string("its security directory ") + directory.problem;
    return false;
  }
  if (directory.kind != SecurityDirectory::Kind::Signed) return true;

  const std::uint64_t tableEnd =
      static_cast<std::uint64_t>(directory.tableOffset) + directory.tableSize;
  std::size_t keep = directory.tableOffset;
  if (tableEnd == module.size()) {
    // Signed after packing: the package (and the padding) go with the table.
    if (packageStart && *packageStart < directory.tableOffset) keep = *packageStart;
  } else if (!packageStart || *packageStart != tableEnd) {
    if (error != nullptr) {
      *error = std::to_string(module.size() - tableEnd) +
               " bytes that are no package follow its certificate table";
    }
    return false;
  }
  // Otherwise packed after signing: the package behind the table goes too.
  if (keep < directory.entryOffset + 8) {
    if (error != nullptr) *error = "its package begins inside the PE headers";
    return false;
  }
  module.resize(keep);
  std::memset(module.data() + directory.entryOffset, 0, 8);
  *removed = true;
  return true;
}

}  // namespace setup::pack
