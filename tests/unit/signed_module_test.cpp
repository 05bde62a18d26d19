// Modules signed after packing: the library's reader finds the package in
// front of the certificate table, the tools agree with it, and damaged
// security directories fail cleanly. Real signatures are tested in
// tests/tools/signing_test.cpp.
#include "package/signed_module.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "../support/pe_builder.h"
#include "base/global.h"
#include "common/module_signature.h"
#include "common/package_writer.h"
#include "library_fixture.h"
#include "package/package.h"
#include "platform/sim/machine.h"

namespace setup {
namespace {

const plat::HMODULE kModule =
    reinterpret_cast<plat::HMODULE>(static_cast<std::uintptr_t>(0x10000000));
constexpr char kModulePath[] = "C:\\Program Files\\Setup\\Setup.dll";
constexpr char kNotFound[] =
    "\n$ can not find any *.cxx in resource file list. "
    "\n$ Can not find 'drv.inf' in resource file list. ";

std::vector<char> Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

// A DLL image with `extra` bytes behind it, then a package of a script and an INF.
std::vector<char> Packed(bool is64, std::size_t extra = 0) {
  std::vector<char> module = testsupport::MakePe(is64, true, {"Action"});
  module.resize(module.size() + extra, '\0');
  std::string error;
  EXPECT_TRUE(pack::AppendPackage(
      module, {{"setup.cxx", Bytes("num main()")}, {"drv.inf", Bytes("[Version]")}}, &error))
      << error;
  return module;
}

std::vector<char> Signed(bool is64, std::size_t extra = 0) {
  std::vector<char> module = Packed(is64, extra);
  testsupport::AppendCertificateTable(module, is64);
  return module;
}

std::uint32_t WordAt(const std::vector<char>& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

class SignedModuleTest : public LibraryTest {
 protected:
  void Install(const std::vector<char>& module) {
    ASSERT_TRUE(sim::SetModule(kModule, kModulePath, module));
    theGlobal.m_hModule = kModule;
    m_Out.clear();
    theGlobal.ErrorFlag = 0;
  }
  // Both reader operations; true when both found their entry with the right bytes.
  bool BothFind() {
    std::optional<std::string> path;
    const int script = GetScriptFromPackage(path);
    const int extract = ExtractPackageFile("drv.inf", "C:\\drv.inf");
    if (script != extract) ADD_FAILURE() << "the reader's operations disagree";
    if (script == 0) return false;
    EXPECT_EQ(sim::GetFile("C:\\WINDOWS\\setup.cxx"), "num main()");
    EXPECT_EQ(sim::GetFile("C:\\drv.inf"), "[Version]");
    EXPECT_EQ(m_Out, "");
    return true;
  }
  // The host-side table reader must agree with the library's reader.
  static bool ToolsFind(const std::vector<char>& module) {
    std::vector<pack::EntryInfo> entries;
    std::vector<char> data;
    if (!pack::ReadPackageTable(module, entries, nullptr)) return false;
    EXPECT_TRUE(pack::FindEntryData(module, "drv.inf", data, nullptr));
    EXPECT_EQ(data, Bytes("[Version]"));
    return true;
  }
};

// ---- Finding the package in front of the certificate table ----------------------

TEST_F(SignedModuleTest, PackageBeforeTheTableOfBothWidthsAndEveryPadding) {
  for (bool is64 : {false, true}) {
    for (std::size_t extra = 0; extra < 8; ++extra) {
      SCOPED_TRACE((is64 ? "PE32+ " : "PE32 ") + std::to_string(extra));
      const std::vector<char> module = Signed(is64, extra);
      const std::uint64_t end = Packed(is64, extra).size();
      ASSERT_EQ(WordAt(module, testsupport::SecurityEntryAt(is64)) - end, (8 - end % 8) % 8);
      Install(module);
      EXPECT_TRUE(BothFind());
      EXPECT_TRUE(ToolsFind(module));
      EXPECT_EQ(pack::PackageEndOf(module), end);
      EXPECT_EQ(pack::PackageStart(module), testsupport::MakePe(is64, true, {}).size() + extra);
    }
  }
}

TEST_F(SignedModuleTest, PackageBehindTheTableStillWins) {
  // Packed after signing: the last 12 bytes are a trailer, as on any unsigned
  // module, and the table in the middle does not matter to the reader.
  std::vector<char> module = testsupport::MakePe(false, true, {"Action"});
  testsupport::AppendCertificateTable(module, false);
  ASSERT_TRUE(pack::AppendPackage(
      module, {{"setup.cxx", Bytes("num main()")}, {"drv.inf", Bytes("[Version]")}}, nullptr));
  Install(module);
  EXPECT_TRUE(BothFind());
  EXPECT_TRUE(ToolsFind(module));
}

TEST_F(SignedModuleTest, DamagedDirectoriesAndTablesAreNotFoundCleanly) {
  const std::vector<char> good = Signed(true, 3);
  const std::size_t entry = testsupport::SecurityEntryAt(true);
  const std::uint32_t table = WordAt(good, entry);
  const std::uint32_t size = WordAt(good, entry + 4);
  struct Case {
    const char* what;
    std::vector<char> module;
  };
  std::vector<Case> cases;
  auto with = [&](const char* what, std::uint32_t offset, std::uint32_t length) {
    Case c{what, good};
    testsupport::Put32(c.module, entry, offset);
    testsupport::Put32(c.module, entry + 4, length);
    cases.push_back(std::move(c));
  };
  with("past the end", table, size + 8);
  with("wraps around", 0xFFFFFFF8u, size + 8);
  with("offset far outside", 0x7FFFFFF0u, 0x10);
  with("no size", table, 0);
  with("no address", 0, size);
  with("smaller than a certificate header", static_cast<std::uint32_t>(good.size() - 4), 4);
  with("inside the headers", 0x100, static_cast<std::uint32_t>(good.size() - 0x100));
  with("overlaps the package", table - 100, size + 100);
  with("does not end the file", table, size - 8);
  with("one byte of padding too many", table + 1, size - 1);
  cases.push_back({"bytes after the table", good});
  cases.back().module.push_back('\0');
  cases.push_back({"non-zero padding", good});
  cases.back().module[table - 1] = 1;
  cases.push_back({"no PE signature", good});
  cases.back().module[0x80] = 'X';
  cases.push_back({"PE header outside the file", good});
  testsupport::Put32(cases.back().module, 0x3C, 0xFFFFFFF0u);
  cases.push_back({"four data directories", good});
  testsupport::Put32(cases.back().module, entry - 4 * 8 - 4, 4);
  cases.push_back({"optional header too short", good});
  testsupport::Put16(cases.back().module, 0x84 + 16, 112 + 4 * 8);
  cases.push_back({"unknown optional header", good});
  testsupport::Put16(cases.back().module, 0x84 + 20, 0x107);
  // A table so long that the trailer would be found at the file's start.
  cases.push_back({"table covers the package", good});
  testsupport::Put32(cases.back().module, entry, 0x400);
  testsupport::Put32(cases.back().module, entry + 4,
                     static_cast<std::uint32_t>(good.size() - 0x400));

  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Install(c.module);
    std::optional<std::string> path;
    EXPECT_EQ(GetScriptFromPackage(path), 0);
    EXPECT_EQ(ExtractPackageFile("drv.inf", "C:\\drv.inf"), 0);
    EXPECT_EQ(m_Out, kNotFound);
    EXPECT_EQ(theGlobal.ErrorFlag, 1);
    EXPECT_FALSE(ToolsFind(c.module));
  }
  // Every cut of a signed module is refused, by both readers alike.
  for (std::size_t cut = 1; cut < good.size(); cut += 61) {
    const std::vector<char> module(good.begin(), good.end() - static_cast<std::ptrdiff_t>(cut));
    Install(module);
    std::optional<std::string> path;
    EXPECT_EQ(GetScriptFromPackage(path), 0) << cut;
    EXPECT_FALSE(ToolsFind(module)) << cut;
  }
}

TEST_F(SignedModuleTest, FailedReadsOfTheHeadersLookLikeNoPackage) {
  // The reads of the headers come after the trailer's seek and read; any of
  // them failing gives the report of a module without a package.
  Install(Signed(false, 5));
  for (sim::Op op : {sim::Op::SetFilePointer, sim::Op::ReadFile}) {
    for (int skip = 1; skip <= 6; ++skip) {
      SCOPED_TRACE(std::string(sim::OpName(op)) + " " + std::to_string(skip));
      m_Out.clear();
      theGlobal.ErrorFlag = 0;
      sim::FailNext(op, 87, skip);
      std::optional<std::string> path;
      EXPECT_EQ(GetScriptFromPackage(path), 0);
      EXPECT_TRUE(m_Out == "" || m_Out == "\n$ can not find any *.cxx in resource file list. ")
          << m_Out;
      EXPECT_EQ(theGlobal.ErrorFlag, 1);
      sim::ClearFailures();
    }
  }
}

// ---- What the tools say and do ------------------------------------------------------

TEST(ModuleSignature, InspectTellsSignedUnsignedAndDamaged) {
  EXPECT_EQ(pack::InspectSignature(Bytes("not a PE file")).state,
            pack::SignatureFacts::State::NotPe);
  EXPECT_EQ(pack::InspectSignature(Packed(false)).state, pack::SignatureFacts::State::Unsigned);

  std::vector<char> module = Signed(false, 1);
  pack::SignatureFacts facts = pack::InspectSignature(module);
  ASSERT_EQ(facts.state, pack::SignatureFacts::State::Signed) << facts.problem;
  EXPECT_EQ(facts.certificates, 1u);
  EXPECT_EQ(facts.tableSize, 0x1F8u);
  EXPECT_EQ(facts.bytesAfter, 0u);
  module.insert(module.end(), 5, 'x');
  EXPECT_EQ(pack::InspectSignature(module).bytesAfter, 5u);

  const std::size_t entry = testsupport::SecurityEntryAt(false);
  const std::uint32_t table = WordAt(module, entry);
  struct Damage {
    std::size_t at;
    std::uint32_t value;
    const char* problem;
  };
  for (const Damage& d : {
           Damage{entry + 4, 0x10000, "reaches past the end of the file"},
           Damage{entry, 0x40, "overlaps the PE headers"},
           Damage{entry + 4, 3, "too small for a certificate"},
           Damage{table, 7, "certificate 1 has a length of 7 bytes"},
           Damage{table, 0x1F9, "certificate 1 has a length of 505 bytes"},
           Damage{table + 4, 0x0300, "unknown revision or type"},
           Damage{table, 0x1F0, "certificate 2 has a length of 808464432 bytes"},  // filler
       }) {
    std::vector<char> damaged = module;
    testsupport::Put32(damaged, d.at, d.value);
    if (d.at == table + 4) testsupport::Put16(damaged, d.at + 2, 2);
    facts = pack::InspectSignature(damaged);
    EXPECT_EQ(facts.state, pack::SignatureFacts::State::Damaged) << d.problem;
    EXPECT_NE(facts.problem.find(d.problem), std::string::npos) << facts.problem;
  }
}

TEST(ModuleSignature, RemoveCutsTheTableAndWhatCameWithIt) {
  for (bool is64 : {false, true}) {
    const std::vector<char> image = testsupport::MakePe(is64, true, {"Action"});
    const std::size_t entry = testsupport::SecurityEntryAt(is64);
    bool removed = false;
    std::string error;

    // Signed after packing: package, padding and table go.
    std::vector<char> module = Signed(is64, 3);
    ASSERT_TRUE(pack::RemoveSignature(module, pack::PackageStart(module), &removed, &error));
    EXPECT_TRUE(removed);
    std::vector<char> expected = image;
    expected.resize(image.size() + 3, '\0');
    EXPECT_EQ(module, expected);

    // A signed DLL without a package: the table and its directory entry go.
    module = image;
    testsupport::AppendCertificateTable(module, is64);
    ASSERT_TRUE(pack::RemoveSignature(module, std::nullopt, &removed, &error));
    EXPECT_TRUE(removed);
    EXPECT_EQ(module, image);
    EXPECT_EQ(WordAt(module, entry), 0u);

    // Packed after signing: the package behind the table goes as well.
    module = image;
    testsupport::AppendCertificateTable(module, is64);
    ASSERT_TRUE(pack::AppendPackage(module, {{"a.cxx", Bytes("x")}}, nullptr));
    ASSERT_TRUE(pack::RemoveSignature(module, pack::PackageStart(module), &removed, &error));
    EXPECT_EQ(module, image);

    // Bytes behind the table that are no package, or a damaged directory: refused.
    module = image;
    testsupport::AppendCertificateTable(module, is64);
    module.push_back('x');
    EXPECT_FALSE(pack::RemoveSignature(module, std::nullopt, &removed, &error));
    EXPECT_EQ(error, "1 bytes that are no package follow its certificate table");
    testsupport::Put32(module, entry + 4, 0x7FFFFFF0u);
    EXPECT_FALSE(pack::RemoveSignature(module, std::nullopt, &removed, &error));
    EXPECT_NE(error.find("reaches past the end of the file"), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace setup
