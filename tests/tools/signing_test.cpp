// Signing with the real tools: a throwaway certificate from openssl, modules
// packed by setup-pack and signed by osslsigncode, for a 32-bit and a 64-bit
// base (the small test images, and the cross-built Setup.dll files when they
// exist). The signed module verifies, runs its script on the simulated
// machine, and setup-pack says the signature covers its package; packing a
// signed module again takes the signature off, loudly.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "../support/pe_builder.h"
#include "common/package_writer.h"
#include "shell.h"

namespace {

namespace fs = std::filesystem;
using toolstest::Shell;
using toolstest::ShellRun;

const fs::path kRoot = SETUP_SOURCE_DIR;

bool HaveCommand(const std::string& name) {
  return Shell("command -v " + name, "/").status == 0;
}

std::string Quote(const fs::path& path) {
  return "'" + path.string() + "'";
}

class Signing : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    m_Base = Base();
    if (!m_Base.empty() && !fs::exists(m_Base)) GTEST_SKIP() << m_Base << " has not been built";
    if (!HaveCommand("openssl") || !HaveCommand("osslsigncode")) {
      GTEST_SKIP() << "openssl or osslsigncode is not installed (scripts/install-tools.sh)";
    }
    char pattern[] = "/tmp/signing-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_Dir = pattern;
    // A self-signed code-signing certificate that lives as long as the test.
    const ShellRun cert =
        Run("openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 "
            "-subj '/CN=Setup signing test' -addext extendedKeyUsage=codeSigning");
    ASSERT_EQ(cert.status, 0) << cert.err;
    Write("setup.cxx",
          "num main() {\n"
          "  return extractresfile(\"payload.txt\", \"C:\\\\payload.txt\") + 6\n"
          "}\n");
    Write("payload.txt", "the package's own bytes\n");
    if (m_Base.empty()) m_Base = Base();
  }
  void TearDown() override {
    if (!m_Dir.empty()) fs::remove_all(m_Dir);
  }

  // The base DLL of the parameter: a small image (written once the scratch
  // directory exists; empty before), or a cross build's Setup.dll.
  fs::path Base() {
    const std::string& kind = GetParam();
    if (kind == "image32" || kind == "image64") {
      if (m_Dir.empty()) return {};
      const std::vector<char> image = testsupport::MakePe(kind == "image64", true, {"Action"});
      std::ofstream(m_Dir / "base.dll", std::ios::binary)
          .write(image.data(), static_cast<std::streamsize>(image.size()));
      return m_Dir / "base.dll";
    }
    return kRoot / "build" / kind / "Setup.dll";
  }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(m_Dir / name, std::ios::binary) << text;
  }
  ShellRun Run(const std::string& command) { return Shell(command, m_Dir); }
  ShellRun Pack(const std::string& arguments) {
    return Run("'" + std::string(SETUP_PACK_PATH) + "' " + arguments);
  }
  ShellRun Sign(const std::string& in, const std::string& out) {
    return Run("osslsigncode sign -certs cert.pem -key key.pem -h sha256 -n 'Setup test' -in " +
               in + " -out " + out);
  }
  ShellRun VerifySignature(const std::string& module) {
    return Run("osslsigncode verify -CAfile cert.pem -in " + module);
  }

  fs::path m_Dir;
  fs::path m_Base;
};

TEST_P(Signing, PackSignVerifyRun) {
  ShellRun run = Pack("create packed.dll --base " + Quote(m_Base) + " setup.cxx payload.txt");
  ASSERT_EQ(run.status, 0) << run.err;
  run = Sign("packed.dll", "signed.dll");
  ASSERT_EQ(run.status, 0) << run.out << run.err;
  run = VerifySignature("signed.dll");
  EXPECT_EQ(run.status, 0) << run.out << run.err;

  // The table ends the file; the package lies in front of it.
  run = Pack("verify signed.dll");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("setup-pack: signed.dll: signed: a certificate table of "),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("setup-pack: signed.dll: the package lies inside the signed range\n"),
            std::string::npos)
      << run.out;
  EXPECT_EQ(run.err, "");
  run = Pack("list signed.dll");
  EXPECT_EQ(run.out, "0 " + std::to_string(fs::file_size(m_Dir / "setup.cxx")) +
                         " setup.cxx\n1 24 payload.txt\n");
  ASSERT_EQ(Pack("extract signed.dll payload.txt out.txt").status, 0);
  EXPECT_EQ(toolstest::ReadWhole(m_Dir / "out.txt"), "the package's own bytes\n");

  // The library on the simulated machine finds the script and the payload.
  run = Run("'" + std::string(SETUP_RUN_PATH) + "' --module signed.dll /install");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("Action returned 7\n"), std::string::npos) << run.out << run.err;
}

TEST_P(Signing, PackingASignedModuleAgainRemovesTheSignature) {
  ASSERT_EQ(Pack("create packed.dll --base " + Quote(m_Base) + " setup.cxx").status, 0);
  ASSERT_EQ(Sign("packed.dll", "signed.dll").status, 0);

  ShellRun run = Pack("create repacked.dll --base signed.dll setup.cxx payload.txt");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("replacing the package it already carries (1 entries)"), std::string::npos)
      << run.out;
  EXPECT_EQ(run.err,
            "setup-pack: warning: base 'signed.dll' is signed: its signature is removed, since "
            "it would not cover the new package; sign 'repacked.dll' again\n");
  // No broken signature is left behind: the result is plainly unsigned...
  EXPECT_NE(VerifySignature("repacked.dll").status, 0);
  run = Pack("verify repacked.dll");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("setup-pack: repacked.dll: not signed\n"), std::string::npos) << run.out;
  // ...and signs again like any packed module.
  ASSERT_EQ(Sign("repacked.dll", "resigned.dll").status, 0);
  EXPECT_EQ(VerifySignature("resigned.dll").status, 0);
  run = Pack("verify resigned.dll");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("the package lies inside the signed range"), std::string::npos);
  run = Run("'" + std::string(SETUP_RUN_PATH) + "' --module resigned.dll /install");
  EXPECT_NE(run.err.find("Action returned 7\n"), std::string::npos) << run.out << run.err;
}

TEST_P(Signing, PackageAppendedAfterSigningIsReportedUncovered) {
  // What packing into a signed DLL did before: the package behind the table.
  ASSERT_EQ(Sign(Quote(m_Base), "signed-base.dll").status, 0);
  std::vector<char> module;
  std::string error;
  ASSERT_TRUE(setup::pack::ReadFileBytes((m_Dir / "signed-base.dll").string(), module, &error));
  const std::size_t signedSize = module.size();
  ASSERT_TRUE(setup::pack::AppendPackage(module, {{"setup.cxx", {'x'}}}, &error));
  ASSERT_TRUE(setup::pack::WriteFileBytes((m_Dir / "late.dll").string(), module, &error));

  EXPECT_NE(VerifySignature("late.dll").status, 0);
  const ShellRun run = Pack("verify late.dll");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("setup-pack: late.dll: signed: a certificate table of "),
            std::string::npos)
      << run.out;
  EXPECT_NE(
      run.err.find("setup-pack: late.dll: warning: " + std::to_string(module.size() - signedSize) +
                   " bytes follow the certificate table; the signature does not cover "
                   "them\n"),
      std::string::npos)
      << run.err;
  EXPECT_NE(run.err.find("setup-pack: late.dll: the package lies outside the signed range"),
            std::string::npos)
      << run.err;
}

INSTANTIATE_TEST_SUITE_P(Bases, Signing, ::testing::Values("image32", "image64", "win32", "win64"));

}  // namespace
