// The release side of setup-pack: entry names, script count, base modules
// (PE DLLs exporting Action) and re-packing.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "../support/pe_builder.h"
#include "common/package_writer.h"
#include "common/pe_image.h"

namespace setup {
namespace {

namespace fs = std::filesystem;

std::vector<char> Bytes(const std::string& text) {
  return std::vector<char>(text.begin(), text.end());
}

TEST(PeImage, TellsTheKindOfBase) {
  std::string summary, error;
  EXPECT_TRUE(pack::CheckSetupBase(testsupport::MakePe(false, true, {"Action"}), &summary, &error))
      << error;
  EXPECT_EQ(summary, "32-bit (x86) DLL exporting Action");
  EXPECT_TRUE(
      pack::CheckSetupBase(testsupport::MakePe(true, true, {"Other", "Action"}), &summary, &error));
  EXPECT_EQ(summary, "64-bit (x64) DLL exporting Action");

  EXPECT_FALSE(
      pack::CheckSetupBase(testsupport::MakePe(false, false, {"Action"}), &summary, &error));
  EXPECT_EQ(error, "a 32-bit (x86) PE executable, not a DLL");
  EXPECT_FALSE(pack::CheckSetupBase(testsupport::MakePe(true, true, {"action", "Action2"}),
                                    &summary, &error));
  EXPECT_EQ(error, "a 64-bit (x64) DLL that does not export Action");
  EXPECT_FALSE(pack::CheckSetupBase(testsupport::MakePe(false, true, {}), &summary, &error));
  EXPECT_FALSE(pack::CheckSetupBase(Bytes("#!/bin/sh\necho hi\n"), &summary, &error));
  EXPECT_EQ(error, "not a PE file (no MZ header)");
}

TEST(PeImage, TruncatedOrCorruptImagesFailCleanly) {
  const std::vector<char> image = testsupport::MakePe(false, true, {"Action"});
  pack::PeInfo info;
  std::string error;
  // Every prefix is refused or read without Action; none reads out of bounds.
  for (std::size_t size = 0; size < 0x287; size += 7) {
    const std::vector<char> cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size));
    std::string summary;
    EXPECT_FALSE(pack::CheckSetupBase(cut, &summary, &error)) << size;
  }
  std::vector<char> wild = image;
  testsupport::Put32(wild, 0x3C, 0xFFFFFFF0);  // PE header offset past the end
  EXPECT_FALSE(pack::ReadPeImage(wild, &info, &error));
  wild = image;
  testsupport::Put32(wild, 0x200 + 24, 0x7FFFFFFF);  // absurd name count
  EXPECT_FALSE(pack::ReadPeImage(wild, &info, &error));
  wild = image;
  testsupport::Put32(wild, 0x240, 0x90000000);  // name outside every section
  EXPECT_FALSE(pack::ReadPeImage(wild, &info, &error));
}

TEST(PackageNames, RefusesNamesWindowsCannotWrite) {
  std::string error;
  for (const std::string& name :
       {std::string("a/b.inf"), std::string("a\\b.inf"), std::string(".."), std::string("."),
        std::string("C:drv.sys"), std::string("c:"), std::string("what?.inf"), std::string("a*b"),
        std::string("pipe|name"), std::string("quote\"d"), std::string("less<more>"),
        std::string("tab\tname"), std::string("trailing."), std::string("trailing "),
        std::string("CON"), std::string("nul.txt"), std::string("Com1.inf"), std::string("LPT9")}) {
    EXPECT_FALSE(pack::IsValidEntryName(name, &error)) << name;
    EXPECT_NE(error.find("entry name"), std::string::npos) << error;
  }
  for (const std::string& name :
       {std::string("a..b.inf"), std::string(".hidden"), std::string("CONSOLE.sys"),
        std::string("com10.inf"), std::string("oem 1.inf")}) {
    EXPECT_TRUE(pack::IsValidEntryName(name, &error)) << name << ": " << error;
  }
}

TEST(PackageNames, ExactlyOneScript) {
  std::string error;
  EXPECT_TRUE(pack::CheckScriptCount({"drv.inf", "Setup.CXX"}, &error));
  EXPECT_FALSE(pack::CheckScriptCount({"drv.inf", "drv.sys"}, &error));
  EXPECT_NE(error.find("no script"), std::string::npos);
  EXPECT_FALSE(pack::CheckScriptCount({"a.cxx", "drv.inf", "b.Cxx"}, &error));
  EXPECT_NE(error.find("2 scripts ('a.cxx', 'b.Cxx')"), std::string::npos) << error;
}

class PackFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    m_Dir = fs::path(::testing::TempDir()) / "pack_files";
    fs::remove_all(m_Dir);
    fs::create_directories(m_Dir);
    Write("setup.cxx", "num main() { return 0 }");
    Write("other.cxx", "num main() { return 1 }");
    Write("drv.inf", "[Version]");
  }
  void TearDown() override { fs::remove_all(m_Dir); }
  std::string Write(const std::string& name, const std::string& text) {
    std::string error;
    EXPECT_TRUE(pack::WriteFileBytes(Path(name), Bytes(text), &error)) << error;
    return Path(name);
  }
  std::string WriteBytes(const std::string& name, const std::vector<char>& bytes) {
    std::string error;
    EXPECT_TRUE(pack::WriteFileBytes(Path(name), bytes, &error)) << error;
    return Path(name);
  }
  std::string Path(const std::string& name) const { return (m_Dir / name).string(); }
  fs::path m_Dir;
};

TEST_F(PackFiles, RefusesScriptCountsAndBasesTheLibraryCannotUse) {
  std::string error;
  const std::string out = Path("out.dll");
  EXPECT_FALSE(pack::CreatePackageFile(out, "", {Path("drv.inf")}, &error));
  EXPECT_NE(error.find("no script"), std::string::npos);
  EXPECT_FALSE(pack::CreatePackageFile(out, "", {Path("setup.cxx"), Path("other.cxx")}, &error));
  EXPECT_NE(error.find("'setup.cxx', 'other.cxx'"), std::string::npos) << error;
  const std::string text = Write("notes.txt", "not a module");
  EXPECT_FALSE(pack::CreatePackageFile(out, text, {Path("setup.cxx")}, &error));
  EXPECT_NE(error.find("not a PE file"), std::string::npos) << error;
  const std::string exe = WriteBytes("tool.exe", testsupport::MakePe(false, false, {"Action"}));
  EXPECT_FALSE(pack::CreatePackageFile(out, exe, {Path("setup.cxx")}, &error));
  EXPECT_NE(error.find("not a DLL"), std::string::npos) << error;
  EXPECT_FALSE(fs::exists(out));
}

TEST_F(PackFiles, RepackingReplacesThePackage) {
  for (bool is64 : {false, true}) {
    const std::vector<char> image = testsupport::MakePe(is64, true, {"Action"});
    const std::string base = WriteBytes("base.dll", image);
    std::string error;
    std::vector<std::string> notes;
    ASSERT_TRUE(pack::CreatePackageFile(Path("first.dll"), base,
                                        {Path("setup.cxx"), Path("drv.inf")}, &error, &notes))
        << error;
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_NE(notes[0].find(is64 ? "64-bit" : "32-bit"), std::string::npos);

    notes.clear();
    ASSERT_TRUE(pack::CreatePackageFile(Path("second.dll"), Path("first.dll"), {Path("other.cxx")},
                                        &error, &notes))
        << error;
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_NE(notes[1].find("replacing the package it already carries (2 entries)"),
              std::string::npos);

    std::vector<char> module;
    ASSERT_TRUE(pack::ReadFileBytes(Path("second.dll"), module, &error));
    // The image, then exactly one package: it starts where the image ends.
    ASSERT_EQ(pack::PackageStart(module), image.size());
    EXPECT_TRUE(std::equal(image.begin(), image.end(), module.begin()));
    std::vector<pack::EntryInfo> entries;
    ASSERT_TRUE(pack::ReadPackageTable(module, entries, &error));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "other.cxx");
  }
}

TEST_F(PackFiles, CrossBuiltLibrariesAreUsableBases) {
  // The mingw builds, when they exist beside the host build.
  const fs::path root = fs::path(SETUP_TEST_DATA_DIR).parent_path().parent_path();
  int found = 0;
  for (const char* build : {"win32", "win64"}) {
    const fs::path dll = root / "build" / build / "Setup.dll";
    if (!fs::exists(dll)) continue;
    ++found;
    std::string error;
    std::vector<std::string> notes;
    ASSERT_TRUE(pack::CreatePackageFile(Path("real.dll"), dll.string(), {Path("setup.cxx")}, &error,
                                        &notes))
        << error;
    EXPECT_NE(notes[0].find(std::string(build) == "win32" ? "32-bit (x86)" : "64-bit (x64)"),
              std::string::npos)
        << notes[0];
  }
  if (found == 0) GTEST_SKIP() << "no cross-built Setup.dll";
}

}  // namespace
}  // namespace setup
