// The simulated device manager's INF reader on real-world INF shapes and on
// damaged files.
#include "platform/sim/inf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using sim::detail::Inf;
using sim::detail::InfPlatform;

Inf Parse(const std::string& text) {
  plat::DWORD error = 0;
  std::optional<Inf> inf = Inf::Parse(text, &error);
  EXPECT_TRUE(inf.has_value()) << std::hex << error;
  return inf.value_or(*Inf::Parse("[Version]\nSignature=$Windows NT$\n", &error));
}

plat::DWORD ParseError(const std::string& text) {
  plat::DWORD error = 0;
  EXPECT_FALSE(Inf::Parse(text, &error).has_value());
  return error;
}

// A driver package INF as vendors write them: decorated models for two
// architectures and a version, strings with quotes and "" inside, comments,
// line continuations, a duplicated section and install sections per platform.
constexpr char kVendorInf[] =
    "; vendor.inf\r\n"
    "[Version]\r\n"
    "Signature=\"$WINDOWS NT$\"\r\n"
    "Class=%ClassName%\r\n"
    "ClassGuid={4d36e978-e325-11ce-bfc1-08002be10318}\r\n"
    "Provider=%Mfg%\r\n"
    "DriverVer=03/14/2008,2.4.1.0\r\n"
    "CatalogFile=vendor.cat\r\n"
    "CatalogFile.NTamd64=vendor64.cat\r\n"
    "\r\n"
    "[Manufacturer]\r\n"
    "%Mfg%=Vendor,NTx86,NTamd64,NTamd64.6.1\r\n"
    "\r\n"
    "[Vendor.NTx86]\r\n"
    "%Dev%=Dev_Install, USB\\VID_0AC3&PID_1207 ; the logger\r\n"
    "[Vendor.NTamd64]\r\n"
    "%Dev%=Dev_Install64, USB\\VID_0AC3&PID_1207\r\n"
    "[Vendor.NTamd64.6.1]\r\n"
    "%Dev%=Dev_Install7, USB\\VID_0AC3&PID_1207, \\\r\n"
    "      USB\\Class_FF\r\n"
    "\r\n"
    "[Dev_Install.NT]\r\n"
    "CopyFiles=Dev_Files, @extra.dll\r\n"
    "[Dev_Install.NT.Services]\r\n"
    "AddService = vlog, 0x00000002, Dev_Service, Dev_EventLog\r\n"
    "[Dev_Install64.NTamd64]\r\n"
    "CopyFiles=Dev_Files\r\n"
    "[Dev_Install7.NTamd64]\r\n"
    "CopyFiles=Dev_Files\r\n"
    "\r\n"
    "[Dev_Files]\r\n"
    "vlog.sys\r\n"
    "vlog_new.sys, vlog_src.sys,,0x4\r\n"
    "..\\evil.sys\r\n"
    "\r\n"
    "[Dev_Service]\r\n"
    "DisplayName    = %SvcDesc%\r\n"
    "ServiceType    = 1\r\n"
    "StartType      = 3\r\n"
    "ErrorControl   = 1\r\n"
    "ServiceBinary  = %12%\\vlog.sys\r\n"
    "LoadOrderGroup = Extended Base\r\n"
    "\r\n"
    "[DestinationDirs]\r\n"
    "DefaultDestDir = 11\r\n"
    "Dev_Files      = 12, vendor\r\n"
    "\r\n"
    "[SourceDisksNames]\r\n"
    "1 = %Disk%,,,\\x86\r\n"
    "[SourceDisksFiles]\r\n"
    "vlog.sys = 1\r\n"
    "vlog_src.sys = 1,sub\r\n"
    "\r\n"
    "[Strings]\r\n"
    "Mfg=\"ACME \"\"Instruments\"\"\"\r\n"
    "Dev = \"Data logger; USB\"\r\n"
    "ClassName=Ports\r\n"
    "SvcDesc=\"Logger driver\"\r\n"
    "Disk=\"Disk 1\"\r\n"
    "[strings]\r\n"
    "Extra=\"merged\"\r\n";

TEST(InfReader, VendorPackageOnEachPlatform) {
  Inf inf = Parse(kVendorInf);
  std::string className;
  plat::GUID guid{};
  plat::DWORD error = 0;
  ASSERT_TRUE(sim::detail::InfClass(inf, &className, &guid, &error));
  EXPECT_EQ(className, "Ports");
  EXPECT_EQ(sim::detail::GuidText(guid), "{4D36E978-E325-11CE-BFC1-08002BE10318}");
  EXPECT_EQ(inf.Value("Strings", "Extra"), "merged");  // duplicate sections are merged

  InfPlatform xp;  // 32-bit Windows XP
  sim::detail::InfVersion version = sim::detail::ReadVersion(inf, xp);
  EXPECT_EQ(version.provider, "ACME \"Instruments\"");
  EXPECT_EQ(version.driverDate, "03/14/2008");
  EXPECT_EQ(version.driverVersion, "2.4.1.0");
  EXPECT_EQ(version.catalogFile, "vendor.cat");

  auto model = sim::detail::FindModel(inf, "usb\\vid_0ac3&pid_1207", xp);
  ASSERT_TRUE(model.has_value());
  EXPECT_EQ(model->description, "Data logger; USB");
  EXPECT_EQ(model->installSection, "Dev_Install");
  EXPECT_EQ(model->decorated, "Dev_Install.NT");
  EXPECT_EQ(model->matchingId, "usb\\vid_0ac3&pid_1207");
  EXPECT_FALSE(sim::detail::FindModel(inf, "USB\\Class_FF", xp).has_value());

  InfPlatform vista64{true, 6, 0};
  model = sim::detail::FindModel(inf, "USB\\VID_0AC3&PID_1207", vista64);
  ASSERT_TRUE(model.has_value());
  EXPECT_EQ(model->decorated, "Dev_Install64.NTamd64");
  EXPECT_EQ(sim::detail::ReadVersion(inf, vista64).catalogFile, "vendor64.cat");

  // The version-decorated section wins from 6.1 on; its continued line
  // carries a compatible id.
  InfPlatform win7x64{true, 6, 1};
  model = sim::detail::FindModel(inf, "usb\\class_ff", win7x64);
  ASSERT_TRUE(model.has_value());
  EXPECT_EQ(model->decorated, "Dev_Install7.NTamd64");
}

TEST(InfReader, CopyFilesAndServices) {
  Inf inf = Parse(kVendorInf);
  InfPlatform xp;
  auto copies = sim::detail::CopyFiles(inf, "Dev_Install.NT", "C:\\WINDOWS", xp);
  ASSERT_EQ(copies.size(), 3u);  // the path that climbs out is dropped
  EXPECT_EQ(copies[0].source, "vlog.sys");
  EXPECT_EQ(copies[0].sourceDir, "x86");
  EXPECT_EQ(copies[0].destination, "C:\\WINDOWS\\system32\\drivers\\vendor\\vlog.sys");
  EXPECT_EQ(copies[1].source, "vlog_src.sys");
  EXPECT_EQ(copies[1].sourceDir, "x86\\sub");
  EXPECT_EQ(copies[1].destination, "C:\\WINDOWS\\system32\\drivers\\vendor\\vlog_new.sys");
  EXPECT_EQ(copies[2].destination, "C:\\WINDOWS\\system32\\extra.dll");

  auto services = sim::detail::InstallServices(inf, "Dev_Install.NT", "C:\\WINDOWS");
  ASSERT_EQ(services.size(), 1u);
  EXPECT_EQ(services[0].name, "vlog");
  EXPECT_EQ(services[0].flags, 2u);
  EXPECT_EQ(services[0].start, 3u);
  EXPECT_EQ(services[0].binary, "C:\\WINDOWS\\system32\\drivers\\vlog.sys");
  EXPECT_EQ(services[0].group, "Extended Base");
  EXPECT_EQ(services[0].displayName, "Logger driver");
  EXPECT_TRUE(sim::detail::InstallServices(inf, "Dev_Install64.NTamd64", "C:\\W").empty());
}

TEST(InfReader, UnicodeAndUndecoratedFiles) {
  // UTF-16LE with its byte order mark, undecorated models, no class GUID.
  std::string narrow =
      "[Version]\nSignature=\"$Chicago$\"\nClass=Image\n[Manufacturer]\nM=Models\n"
      "[Models]\nCam=Cam_Install,USB\\VID_04A9&PID_3052\n[Strings]\n";
  std::string wide = "\xFF\xFE";
  for (char c : narrow) {
    wide += c;
    wide += '\0';
  }
  wide += "\xE9";  // a character outside ASCII, and an odd last byte
  wide += '\x00';
  wide += 'x';
  Inf inf = Parse(wide);
  auto model = sim::detail::FindModel(inf, "usb\\vid_04a9&pid_3052", InfPlatform{});
  ASSERT_TRUE(model.has_value());
  EXPECT_EQ(model->decorated, "Cam_Install");
  std::string className;
  plat::GUID guid{};
  plat::DWORD error = 0;
  EXPECT_TRUE(sim::detail::InfClass(inf, &className, &guid, &error));
  EXPECT_EQ(className, "Image");
  EXPECT_TRUE(sim::detail::SameGuid(guid, plat::GUID{}));
  // A UTF-8 byte order mark is skipped.
  EXPECT_TRUE(Parse("\xEF\xBB\xBF[Version]\nSignature=$Windows NT$\n").HasSection("version"));
}

TEST(InfReader, DamagedFilesFailWithTheParsersCodes) {
  using namespace sim::detail;
  EXPECT_EQ(ParseError("Signature=$Windows NT$\n[Version]\n"), kErrorExpectedSectionName);
  EXPECT_EQ(ParseError("[Version\nSignature=$Windows NT$\n"), kErrorBadSectionNameLine);
  EXPECT_EQ(ParseError("[" + std::string(300, 'S') + "]\n"), kErrorSectionNameTooLong);
  EXPECT_EQ(ParseError("[Version]\nSignature=\"$Windows NT$\nClass=X\n"), kErrorGeneralSyntax);
  EXPECT_EQ(ParseError("[Version]\nClass=Net\n"), kErrorWrongInfStyle);
  EXPECT_EQ(ParseError("[Version]\nSignature=$Windows 3.1$\n"), kErrorWrongInfStyle);
  EXPECT_EQ(ParseError(""), kErrorWrongInfStyle);
  EXPECT_EQ(ParseError("[Version]\nSignature=$Windows NT$\nX=" + std::string(5000, 'a') + "\n"),
            kErrorGeneralSyntax);
  // A file of NULs and binary bytes: the NULs are blanks, the rest no INF.
  EXPECT_EQ(ParseError(std::string("[MZ\0\0\x90\x01", 7)), kErrorBadSectionNameLine);
  EXPECT_EQ(ParseError(std::string("MZ\0\0\x90", 5)), kErrorExpectedSectionName);

  // Broken pieces of an otherwise valid file are ignored, not fatal.
  Inf inf = Parse(
      "[Version]\nSignature=$Windows NT$\nClassGUID={not-a-guid}\n"
      "[Manufacturer]\n=\n,,,\nM=Missing,NTx86\nN=Models,NTarm,NT99.x\n"
      "[Models]\n%unknown%=,root\\x\n[Strings]\n");
  std::string className;
  plat::GUID guid{};
  plat::DWORD error = 0;
  EXPECT_FALSE(InfClass(inf, &className, &guid, &error));
  EXPECT_EQ(error, plat::ERROR_INVALID_CLASS);
  EXPECT_FALSE(FindModel(inf, "root\\x", InfPlatform{}).has_value());
  EXPECT_TRUE(CopyFiles(inf, "Nothing", "C:\\WINDOWS", InfPlatform{}).empty());
}

TEST(InfReader, SubstitutionIsBoundedAndNotRecursive) {
  std::string big(4000, 'x');
  Inf inf = Parse(
      "[Version]\nSignature=$Windows NT$\nA=%big%%big%%big%,%%,%self%,%nokey%\n"
      "[Strings]\nbig=\"" +
      big + "\"\nself=\"%self%\"\n");
  std::vector<std::string> values = inf.Values("Version", "A");
  ASSERT_EQ(values.size(), 4u);
  EXPECT_EQ(values[0].size(), sim::detail::kMaxFieldLength);
  EXPECT_EQ(values[1], "%");
  EXPECT_EQ(values[2], "%self%");
  EXPECT_EQ(values[3], "%nokey%");
}

}  // namespace
