// libFuzzer target: arbitrary bytes as the library's module file, whose end
// carries the resource package. The library's reader must find the script or
// refuse the load with a message; every entry the host-side table reader
// lists is then extracted through the library's reader, which must agree on
// the entry's bytes. The PE headers and the certificate table of a signed
// module are read by the shared locating code (through a reader that traps on
// any read outside the file) and by setup-pack's signature checks.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/global.h"
#include "common/module_signature.h"
#include "common/package_writer.h"
#include "entry/startup.h"
#include "package/package.h"
#include "package/signed_module.h"
#include "platform/sim/machine.h"

namespace {

plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);
constexpr const char* kModulePath = "C:\\Program Files\\Setup\\Setup.dll";
constexpr std::size_t kMaxExtracted = 8;

// The input as module bytes; a read outside them is a bug of the caller.
class CheckedBytes final : public setup::ModuleBytes {
 public:
  explicit CheckedBytes(const std::vector<char>& bytes) : m_Bytes(bytes) {}
  std::uint64_t Size() const override { return m_Bytes.size(); }
  bool Read(std::uint64_t offset, void* out, std::size_t length) override {
    if (offset > m_Bytes.size() || length > m_Bytes.size() - offset) __builtin_trap();
    std::copy_n(m_Bytes.data() + offset, length, static_cast<char*>(out));
    return true;
  }

 private:
  const std::vector<char>& m_Bytes;
};

// The signature's parsers: the shared locating code, verify's facts and
// create's removal must stay inside the input and agree with each other.
void CheckSignature(const std::vector<char>& bytes) {
  CheckedBytes checked(bytes);
  const setup::SecurityDirectory directory = setup::ReadSecurityDirectory(checked);
  const std::optional<setup::PackageEnd> end = setup::FindPackageEnd(checked);
  if (end && end->end > bytes.size()) __builtin_trap();
  if (directory.kind == setup::SecurityDirectory::Kind::Signed &&
      static_cast<std::uint64_t>(directory.tableOffset) + directory.tableSize > bytes.size()) {
    __builtin_trap();
  }
  const setup::pack::SignatureFacts facts = setup::pack::InspectSignature(bytes);
  if (facts.state == setup::pack::SignatureFacts::State::Signed &&
      directory.kind != setup::SecurityDirectory::Kind::Signed) {
    __builtin_trap();
  }
  std::vector<char> copy = bytes;
  bool removed = false;
  std::string error;
  if (setup::pack::RemoveSignature(copy, setup::pack::PackageStart(bytes), &removed, &error) &&
      removed) {
    // What is left carries no signature any more.
    if (copy.size() >= bytes.size() ||
        setup::pack::InspectSignature(copy).state == setup::pack::SignatureFacts::State::Signed) {
      __builtin_trap();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<char> bytes(data, data + size);
  CheckSignature(bytes);
  std::string error;
  if (!sim::Reset({}, &error)) __builtin_trap();
  sim::SetStdoutSink([](const char*, std::size_t) {});
  sim::SetEventSink([](const std::string&) {});
  if (!sim::SetModule(kModule, kModulePath, bytes)) return 0;

  // The library's whole load: find the script, write it out, set up.
  if (setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
    setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
  }

  // Entry by entry: both readers must agree on what the package holds.
  std::vector<setup::pack::EntryInfo> entries;
  if (!setup::pack::ReadPackageTable(bytes, entries, &error)) return 0;
  setup::theGlobal.m_hModule = kModule;
  for (std::size_t i = 0; i < entries.size() && i < kMaxExtracted; ++i) {
    // Of several entries of one name each reader takes its own; compare unique ones.
    std::size_t same = 0;
    for (const auto& other : entries) same += other.name == entries[i].name ? 1 : 0;
    if (same != 1) continue;
    const std::string target = "C:\\out" + std::to_string(i);
    std::vector<char> expected;
    if (!setup::pack::FindEntryData(bytes, entries[i].name, expected, &error)) __builtin_trap();
    if (!setup::ExtractPackageFile(entries[i].name.c_str(), target.c_str())) continue;
    std::optional<std::string> written = sim::GetFile(target);
    if (!written || std::string(expected.begin(), expected.end()) != *written) __builtin_trap();
  }
  setup::ResetGlobal(setup::theGlobal);
  return 0;
}
