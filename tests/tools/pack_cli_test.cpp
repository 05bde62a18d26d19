// setup-pack as release engineers use it: exit statuses, the "setup-pack:"
// prefix, refused packages and bases, re-packing and verify.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "../support/pe_builder.h"
#include "shell.h"

namespace {

namespace fs = std::filesystem;
using toolstest::Shell;
using toolstest::ShellRun;

class PackCli : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/pack-cli-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_Dir = pattern;
    Write("setup.cxx", "num main() {\n  return _Parameters_Num\n}\n");
    Write("other.cxx", "num main() {\n  return 2\n}\n");
    Write("broken.cxx", "num main() {\n  return missing\n}\n");
    Write("drv.inf", "[Version]\n");
    WriteBytes("base32.dll", testsupport::MakePe(false, true, {"Action"}));
    WriteBytes("base64.dll", testsupport::MakePe(true, true, {"DllMain", "Action"}));
    WriteBytes("tool.exe", testsupport::MakePe(false, false, {"Action"}));
    // A signed DLL whose security directory claims more than the file holds.
    std::vector<char> damaged = testsupport::MakePe(true, true, {"Action"});
    testsupport::AppendCertificateTable(damaged, true);
    testsupport::Put32(damaged, testsupport::SecurityEntryAt(true) + 4, 0x10000);
    WriteBytes("damaged.dll", damaged);
  }
  void TearDown() override { fs::remove_all(m_Dir); }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(m_Dir / name, std::ios::binary) << text;
  }
  void WriteBytes(const std::string& name, const std::vector<char>& bytes) {
    std::ofstream(m_Dir / name, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  ShellRun Pack(const std::string& arguments) {
    return Shell("'" + std::string(SETUP_PACK_PATH) + "' " + arguments, m_Dir);
  }
  // Every line a failing command writes to standard error carries the prefix.
  static void ExpectPrefixed(const ShellRun& run) {
    std::istringstream lines(run.err);
    std::string line;
    while (std::getline(lines, line)) {
      EXPECT_EQ(line.rfind("setup-pack: ", 0), 0u) << line;
    }
  }

  fs::path m_Dir;
};

TEST_F(PackCli, VersionAndUsageErrors) {
  ShellRun run = Pack("--version");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "setup-pack 1.0.1\n");
  run = Pack("create");
  EXPECT_EQ(run.status, 2);
  ExpectPrefixed(run);
  run = Pack("frobnicate x");
  EXPECT_EQ(run.status, 2);
  ExpectPrefixed(run);
  run = Pack("");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("a subcommand is required"), std::string::npos) << run.err;
}

TEST_F(PackCli, RefusedPackagesWriteNothing) {
  const struct {
    const char* arguments;
    const char* message;
  } kCases[] = {
      {"create out.dll drv.inf", "setup-pack: the package holds no script"},
      {"create out.dll setup.cxx drv.inf other.cxx",
       "setup-pack: the package holds 2 scripts ('setup.cxx', 'other.cxx'); the library runs "
       "exactly one"},
      {"create out.dll --base drv.inf setup.cxx",
       "setup-pack: base 'drv.inf' is not usable: not a PE file (no MZ header)"},
      {"create out.dll --base tool.exe setup.cxx",
       "setup-pack: base 'tool.exe' is a 32-bit (x86) PE executable, not a DLL"},
      {"create out.dll --base damaged.dll setup.cxx",
       "setup-pack: base 'damaged.dll' is signed, but its security directory names a "
       "certificate table that reaches past the end of the file"},
      {"create out.dll setup.cxx 'what?.inf'", "which Windows does not allow in file names"},
      {"create out.dll setup.cxx nul.inf", "reserved Windows device name"},
      {"create out.dll setup.cxx DRV.INF drv.inf", "two files are named 'drv.inf'"},
  };
  Write("what?.inf", "x");
  Write("nul.inf", "x");
  Write("DRV.INF", "x");
  for (const auto& c : kCases) {
    const ShellRun run = Pack(c.arguments);
    EXPECT_EQ(run.status, 1) << c.arguments;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << c.arguments << "\n" << run.err;
    ExpectPrefixed(run);
    EXPECT_FALSE(fs::exists(m_Dir / "out.dll")) << c.arguments;
  }
}

TEST_F(PackCli, BasesOfBothWidthsAndRepacking) {
  ShellRun run = Pack("create first.dll --base base32.dll setup.cxx drv.inf");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "setup-pack: base32.dll: 32-bit (x86) DLL exporting Action\n"
            "setup-pack: wrote first.dll (2 entries)\n");
  run = Pack("create wide.dll --base base64.dll setup.cxx");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("base64.dll: 64-bit (x64) DLL exporting Action"), std::string::npos);

  // Re-packing replaces the package: one table, only the new entries.
  run = Pack("create second.dll --base first.dll other.cxx");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("replacing the package it already carries (2 entries)"), std::string::npos)
      << run.out;
  run = Pack("list second.dll");
  EXPECT_EQ(run.out, "0 " + std::to_string(fs::file_size(m_Dir / "other.cxx")) + " other.cxx\n");
  EXPECT_EQ(fs::file_size(m_Dir / "second.dll"), fs::file_size(m_Dir / "base32.dll") + 4 +
                                                     fs::file_size(m_Dir / "other.cxx") + 272 + 12);
}

TEST_F(PackCli, VerifyChecksStructureEntriesAndCompilation) {
  ASSERT_EQ(Pack("create good.dll --base base32.dll setup.cxx drv.inf").status, 0);
  ShellRun run = Pack("verify good.dll");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "setup-pack: good.dll: 32-bit (x86) DLL exporting Action\n"
            "setup-pack: good.dll: not signed\n"
            "setup-pack: good.dll: package of 2 entries, script 'setup.cxx'\n"
            "setup-pack: good.dll: the script compiles for the command \"/install\"\n");

  ASSERT_EQ(Pack("create bad.dll --base base64.dll broken.cxx").status, 0);
  run = Pack("verify bad.dll");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("setup-pack: bad.dll: the script does not compile (command \"/install\")"),
            std::string::npos)
      << run.err;
  EXPECT_NE(run.err.find("illegal indirection."), std::string::npos) << run.err;
  // The same compile-only check as setup-run --check: the same library output.
  const ShellRun check =
      Shell("'" + std::string(SETUP_RUN_PATH) + "' --check broken.cxx /install", m_Dir);
  EXPECT_EQ(check.status, 4);
  EXPECT_NE(run.err.find("the library printed:" + check.out), std::string::npos)
      << run.err << "\n--check printed:\n"
      << check.out;

  run = Pack("verify good.dll --command '/" + std::string(253, 'a') + "'");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("setup-pack: good.dll: the library refuses the command"),
            std::string::npos)
      << run.err;

  ASSERT_EQ(Pack("create bare.dll setup.cxx").status, 0);
  run = Pack("verify bare.dll");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("holds a package but no module before it"), std::string::npos);

  run = Pack("verify base32.dll");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("setup-pack: base32.dll: carries no package"), std::string::npos)
      << run.err;

  // A damaged security directory is a problem of its own, package or not.
  run = Pack("verify damaged.dll");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "setup-pack: damaged.dll: the security directory names a certificate table that "
            "reaches past the end of the file\n"
            "setup-pack: damaged.dll: carries no package\n");
}

}  // namespace
