// The release side of setup-pack below its command line: entry names and
// base modules (PE DLLs exporting Action), including the cross-built DLLs.
// The command line itself is tested in tests/tools/pack_cli_test.cpp.
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
  // Separators, parent and absolute paths, drive letters, characters and
  // device names that Windows refuses in a file name.
  for (const char* name : {"a/b.inf",    "a\\b.inf",  "..",        ".",         "..\\..\\x.cxx",
                           "\\abs.cxx",  "/abs.cxx",  "C:\\x.cxx", "",          "C:drv.sys",
                           "c:",         "what?.inf", "a*b",       "pipe|name", "quote\"d",
                           "less<more>", "tab\tname", "trailing.", "trailing ", "CON",
                           "nul.txt",    "Com1.inf",  "LPT9"}) {
    EXPECT_FALSE(pack::IsValidEntryName(name, &error)) << name;
    EXPECT_NE(error.find("entry name"), std::string::npos) << error;
  }
  for (const char* name : {"a..b.inf", ".hidden", "CONSOLE.sys", "com10.inf", "oem 1.inf"}) {
    EXPECT_TRUE(pack::IsValidEntryName(name, &error)) << name << ": " << error;
  }
}

class PackFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    m_Dir = fs::path(::testing::TempDir()) / "pack_files";
    fs::remove_all(m_Dir);
    fs::create_directories(m_Dir);
    std::string error;
    ASSERT_TRUE(pack::WriteFileBytes(Path("setup.cxx"), Bytes("num main() { return 0 }"), &error));
  }
  void TearDown() override { fs::remove_all(m_Dir); }
  std::string Path(const std::string& name) const { return (m_Dir / name).string(); }
  fs::path m_Dir;
};

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
