#include "module_signature.h"

#include <cstring>

#include "package/signed_module.h"

namespace setup::pack {

namespace {

// A ByteSource as the library's reader sees a module file.
class SourceBytes final : public ModuleBytes {
 public:
  explicit SourceBytes(const ByteSource& source) : m_source(source) {}
  std::uint64_t Size() const override { return m_source.Size(); }
  bool Read(std::uint64_t offset, void* out, std::size_t length) override {
    return m_source.Read(offset, static_cast<char*>(out), length);
  }

 private:
  const ByteSource& m_source;
};

// WIN_CERTIFICATE: length (including this header), revision, type.
constexpr std::uint16_t kRevision1 = 0x0100;
constexpr std::uint16_t kRevision2 = 0x0200;
constexpr std::uint16_t kLastCertificateType = 4;  // X509, PKCS signed data, reserved, TS stack

std::uint32_t Word(const char* bytes) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

std::uint16_t Half(const char* bytes) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) |
                                    static_cast<unsigned char>(bytes[1]) << 8);
}

// Walks the certificate entries of a table that lies inside `module`. An
// empty answer means the table is well formed.
std::string CheckCertificates(const ByteSource& module, std::uint64_t offset, std::uint64_t size,
                              std::uint32_t* count) {
  const std::uint64_t end = offset + size;
  std::uint64_t at = offset;
  *count = 0;
  while (at < end) {
    const std::string entry = "certificate " + std::to_string(*count + 1);
    if (end - at < kCertificateHeaderSize) return entry + " is cut off by the table's end";
    char header[kCertificateHeaderSize];
    if (!module.Read(at, header, sizeof header)) return entry + " cannot be read";
    const std::uint32_t length = Word(header);
    const std::uint16_t revision = Half(header + 4);
    const std::uint16_t type = Half(header + 6);
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

std::uint64_t PackageEndOf(const ByteSource& module) {
  SourceBytes bytes(module);
  const std::optional<PackageEnd> found = FindPackageEnd(bytes);
  return found ? found->end : module.Size();
}

std::uint64_t PackageEndOf(const std::vector<char>& module) {
  return PackageEndOf(MemorySource(module));
}

SignatureFacts InspectSignature(const std::vector<char>& module) {
  return InspectSignature(MemorySource(module));
}

SignatureFacts InspectSignature(const ByteSource& module) {
  SourceBytes bytes(module);
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
  facts.bytesAfter = module.Size() - tableEnd;
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

bool PlanSignatureRemoval(const ByteSource& module, std::optional<std::uint64_t> packageStart,
                          SignatureCut* cut, std::string* error) {
  *cut = SignatureCut{};
  SourceBytes bytes(module);
  const SecurityDirectory directory = ReadSecurityDirectory(bytes);
  if (directory.kind == SecurityDirectory::Kind::Damaged) {
    if (error != nullptr) *error = std::string("its security directory ") + directory.problem;
    return false;
  }
  if (directory.kind != SecurityDirectory::Kind::Signed) return true;

  const std::uint64_t size = module.Size();
  const std::uint64_t tableEnd =
      static_cast<std::uint64_t>(directory.tableOffset) + directory.tableSize;
  std::uint64_t keep = directory.tableOffset;
  if (tableEnd == size) {
    // Signed after packing: the package (and the padding) go with the table.
    if (packageStart && *packageStart < directory.tableOffset) keep = *packageStart;
  } else if (!packageStart || *packageStart != tableEnd) {
    if (error != nullptr) {
      *error = std::to_string(size - tableEnd) +
               " bytes that are no package follow its certificate table";
    }
    return false;
  }
  // Otherwise packed after signing: the package behind the table goes too.
  if (keep < directory.entryOffset + 8) {
    if (error != nullptr) *error = "its package begins inside the PE headers";
    return false;
  }
  cut->signedBase = true;
  cut->keep = keep;
  cut->entryOffset = directory.entryOffset;
  return true;
}

bool RemoveSignature(std::vector<char>& module, std::optional<std::size_t> packageStart,
                     bool* removed, std::string* error) {
  *removed = false;
  SignatureCut cut;
  std::optional<std::uint64_t> start;
  if (packageStart) start = *packageStart;
  if (!PlanSignatureRemoval(MemorySource(module), start, &cut, error)) return false;
  if (!cut.signedBase) return true;
  module.resize(static_cast<std::size_t>(cut.keep));
  std::memset(module.data() + cut.entryOffset, 0, 8);
  *removed = true;
  return true;
}

}  // namespace setup::pack
