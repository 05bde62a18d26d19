// Library start-up, environment and shutdown on the simulated machine.
#include "entry/startup.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/global.h"
#include "base/windir.h"
#include "common/package_writer.h"
#include "library_fixture.h"
#include "platform/sim/machine.h"
#include "script/front/keywords.h"

namespace setup {
namespace {

const plat::HMODULE kModule =
    reinterpret_cast<plat::HMODULE>(static_cast<std::uintptr_t>(0x10000000));
constexpr char kModulePath[] = "C:\\Program Files\\Setup\\Setup.dll";

std::vector<char> Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

// The value text of a WINDIR constant, or "<none>".
std::string DirValue(const char* name) {
  for (int i = 0; i < theGlobal.m_nKeywordCount; ++i) {
    const KeywordEntry& entry = theGlobal.m_Keywords[i];
    if (std::strcmp(entry.szName, name) == 0) return entry.szValue.value_or("<none>");
  }
  return "<no row>";
}

constexpr const char* kDirNames[] = {
    "WINDIR",     "WINDIR_SYSTEM", "WINDIR_SYSTEM32", "WINDIR_SYSTEM32_DRIVERS",
    "WINDIR_INF", "WINDIR_TEMP",   "WINDIR_ROOT"};

class StartupTest : public LibraryTest {
 protected:
  void TearDown() override {
    LibraryDetach();
    LibraryTest::TearDown();
  }

  // Makes the module a package holding `entries`.
  void Install(const std::vector<pack::Entry>& entries) {
    std::vector<char> module = Bytes("MZ image");
    std::string error;
    ASSERT_TRUE(pack::AppendPackage(module, entries, &error)) << error;
    ASSERT_TRUE(sim::SetModule(kModule, kModulePath, module));
  }
  void InstallScript(const std::string& name = "setup.cxx") {
    Install({{name, Bytes("num main()\r\n{\r\n    return 0\r\n}\r\n")}});
  }

  // A system whose directories live under `windowsDir`.
  void UseWindowsDirectory(const std::string& windowsDir) {
    sim::GetProfile().systemDirectory = windowsDir + "\\system32";
    ASSERT_TRUE(sim::PutFile(windowsDir + "\\system32\\SetupApi.dll", "library"));
    ASSERT_TRUE(sim::PutFile(windowsDir + "\\system32\\newdev.dll", "library"));
  }

  plat::BOOL Attach() { return DllMain(kModule, kDllProcessAttach, nullptr); }
  void Detach() { DllMain(kModule, kDllProcessDetach, nullptr); }
};

// ---- A successful attach ---------------------------------------------------------

TEST_F(StartupTest, AttachExtractsTheScriptAndComputesTheEnvironment) {
  InstallScript();
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_EQ(m_Out, "");
  EXPECT_EQ(m_Events, "");
  EXPECT_EQ(theGlobal.m_hModule, kModule);
  EXPECT_STREQ(theGlobal.m_szFileName, "C:\\WINDOWS\\setup.cxx");
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\setup.cxx").has_value());

  EXPECT_EQ(DirValue("WINDIR"), "C:\\WINDOWS");
  EXPECT_EQ(DirValue("WINDIR_SYSTEM"), "C:\\WINDOWS\\system");
  EXPECT_EQ(DirValue("WINDIR_SYSTEM32"), "C:\\WINDOWS\\system32");
  EXPECT_EQ(DirValue("WINDIR_SYSTEM32_DRIVERS"), "C:\\WINDOWS\\system32\\drivers");
  EXPECT_EQ(DirValue("WINDIR_INF"), "C:\\WINDOWS\\inf");
  EXPECT_EQ(DirValue("WINDIR_TEMP"), "C:\\WINDOWS\\Temp");
  EXPECT_EQ(DirValue("WINDIR_ROOT"), "C:");

  EXPECT_EQ(theGlobal.m_nOsVersion, 5);  // 5.1 NT: OS_WINXP
  EXPECT_EQ(theGlobal.m_nLanguage, 2);   // 0x0409
  EXPECT_NE(theGlobal.m_hSetupApi, nullptr);
  EXPECT_NE(theGlobal.m_hNewDev, nullptr);
  EXPECT_NE(theDeviceApi.SetupDiGetClassDevsA, nullptr);
  EXPECT_NE(theDeviceApi.SetupCopyOEMInfA, nullptr);
  EXPECT_NE(theDeviceApi.UpdateDriverForPlugAndPlayDevicesA, nullptr);
}

TEST_F(StartupTest, WindowsDirectoryFollowsTheSystemDirectory) {
  UseWindowsDirectory("C:\\WINNT");
  InstallScript("setup.Cxx");
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_STREQ(theGlobal.m_szFileName, "C:\\WINNT\\setup.Cxx");
  EXPECT_TRUE(sim::GetFile("C:\\WINNT\\setup.Cxx").has_value());
  EXPECT_EQ(DirValue("WINDIR"), "C:\\WINNT");
  EXPECT_EQ(DirValue("WINDIR_SYSTEM32_DRIVERS"), "C:\\WINNT\\system32\\drivers");
  EXPECT_EQ(DirValue("WINDIR_ROOT"), "C:");
  // Only the Temp directory is created.
  EXPECT_EQ(DirValue("WINDIR_TEMP"), "C:\\WINNT\\Temp");
  EXPECT_NE(plat::GetFileAttributesA("C:\\WINNT\\Temp"), plat::INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(plat::GetFileAttributesA("C:\\WINNT\\inf"), plat::INVALID_FILE_ATTRIBUTES);
}

TEST_F(StartupTest, ThreadNotificationsChangeNothing) {
  EXPECT_EQ(DllMain(kModule, kDllThreadAttach, nullptr), plat::TRUE);
  EXPECT_EQ(DllMain(kModule, kDllThreadDetach, nullptr), plat::TRUE);
  EXPECT_EQ(theGlobal.m_hModule, nullptr);
  EXPECT_EQ(m_Out, "");
}

// ---- Version and language ---------------------------------------------------------

struct VersionCase {
  plat::DWORD major;
  plat::DWORD minor;
  plat::DWORD platform;
  std::int32_t expected;
};

class VersionTest : public StartupTest, public ::testing::WithParamInterface<VersionCase> {};

TEST_P(VersionTest, MapsToOsCode) {
  const VersionCase& c = GetParam();
  sim::Profile& profile = sim::GetProfile();
  profile.majorVersion = c.major;
  profile.minorVersion = c.minor;
  profile.platformId = c.platform;
  InstallScript();
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_EQ(theGlobal.m_nOsVersion, c.expected);
}

constexpr plat::DWORD kNt = plat::VER_PLATFORM_WIN32_NT;
constexpr plat::DWORD k9x = plat::VER_PLATFORM_WIN32_WINDOWS;

INSTANTIATE_TEST_SUITE_P(AllRules, VersionTest,
                         ::testing::Values(VersionCase{4, 0, k9x, 0}, VersionCase{4, 10, k9x, 1},
                                           VersionCase{4, 90, k9x, 2},
                                           VersionCase{4, 0, kNt, 0},  // NT 4.0
                                           VersionCase{4, 3, k9x, 0}, VersionCase{5, 0, kNt, 4},
                                           VersionCase{5, 1, kNt, 5}, VersionCase{5, 2, kNt, 6},
                                           VersionCase{5, 7, kNt, 6}, VersionCase{5, 1, k9x, 0},
                                           VersionCase{6, 0, kNt, 7}, VersionCase{6, 1, kNt, 7},
                                           VersionCase{6, 3, kNt, 7}, VersionCase{10, 0, kNt, 0},
                                           VersionCase{3, 51, kNt, 0}));

TEST_F(StartupTest, OnlyChineseSimplifiedLocaleIsLanguageOne) {
  InstallScript();
  for (plat::LCID lcid : {0x0804u, 0x0404u, 0x0409u, 0x0C04u, 0x0407u}) {
    sim::GetProfile().locale = lcid;
    ASSERT_EQ(Attach(), plat::TRUE);
    EXPECT_EQ(theGlobal.m_nLanguage, lcid == 0x0804u ? 1 : 2) << std::hex << lcid;
    Detach();
    EXPECT_EQ(theGlobal.m_nLanguage, 1);  // back to the value of a fresh library
  }
}

TEST_F(StartupTest, VersionFallbackWhenTheExtendedQueryFails) {
  sim::GetProfile().locale = 0x0409;
  InstallScript();
  sim::FailNext(sim::Op::GetVersionEx, plat::ERROR_INVALID_PARAMETER);
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_EQ(theGlobal.m_nOsVersion, 3);  // OS_WINNT: GetVersion's high bit is clear
  EXPECT_EQ(theGlobal.m_nLanguage, 1);
  Detach();

  sim::GetProfile().platformId = k9x;
  sim::FailNext(sim::Op::GetVersionEx, plat::ERROR_INVALID_PARAMETER);
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_EQ(theGlobal.m_nOsVersion, 0);
}

// ---- Failures and their message boxes ------------------------------------------------

TEST_F(StartupTest, PackageWithoutScriptRefusesToLoad) {
  Install({{"drv.inf", Bytes("inf")}});
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Out, "\n$ can not find any *.cxx in resource file list. ");
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Not any script section -> 1\n");
  EXPECT_STREQ(theGlobal.m_szFileName, "");
}

TEST_F(StartupTest, MissingSetupApiRefusesToLoadAndRemovesTheScript) {
  InstallScript();
  ASSERT_TRUE(plat::DeleteFileA("C:\\WINDOWS\\system32\\SetupApi.dll"));
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Out, "");
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Init dll failed -> 1\n");
  // The detach that follows a failed attach deletes the extracted script.
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\setup.cxx").has_value());
  EXPECT_EQ(DirValue("WINDIR"), "<none>");
}

TEST_F(StartupTest, MissingRequiredEntryPointRefusesToLoad) {
  InstallScript();
  sim::RemoveEntryPoint("SetupApi.dll", "SetupCopyOEMInfA");  // optional
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_EQ(theDeviceApi.SetupCopyOEMInfA, nullptr);
  Detach();

  sim::RemoveEntryPoint("SetupApi.dll", "SetupDiGetDeviceInstallParamsA");
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Out, "\nsystem cannot support Setup Api.\n\n");
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Init dll failed -> 1\n");
  EXPECT_EQ(theGlobal.m_hSetupApi, nullptr);  // released by the detach
}

TEST_F(StartupTest, MissingNewdevIsOnlyAWarning) {
  InstallScript();
  ASSERT_TRUE(plat::DeleteFileA("C:\\WINDOWS\\system32\\newdev.dll"));
  ASSERT_EQ(Attach(), plat::TRUE);
  EXPECT_EQ(m_Out, "\nC:\\WINDOWS\\setup.cxx(0):cannot load 'newdev.dll'.\n\n");
  EXPECT_EQ(m_Events, "");
  EXPECT_EQ(theGlobal.m_hNewDev, nullptr);
  EXPECT_EQ(theDeviceApi.UpdateDriverForPlugAndPlayDevicesA, nullptr);
}

TEST_F(StartupTest, SystemDirectoryWithoutBackslash) {
  InstallScript();
  // The reader already needs the Windows directory, so the script is never written.
  sim::GetProfile().systemDirectory = "SYSTEM32";
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Out, "\n$ can not generate 'setup.cxx':win error code:0x00000003 ");
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Not any script section -> 1\n");

  std::optional<std::string> slot = "kept";
  EXPECT_EQ(GetWinDir(slot), 0);
  EXPECT_EQ(slot, "kept");
}

TEST_F(StartupTest, SystemDirectoryUnavailableAfterExtraction) {
  InstallScript();
  sim::FailNext(sim::Op::GetSystemDirectory, plat::ERROR_INVALID_FUNCTION, 1);
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Out, "");
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Init dll failed -> 1\n");
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\setup.cxx").has_value());
  for (const char* name : kDirNames) EXPECT_EQ(DirValue(name), "<none>") << name;
}

TEST_F(StartupTest, TempDirectoryThatCannotBeCreated) {
  InstallScript();
  ASSERT_TRUE(plat::RemoveDirectoryA("C:\\WINDOWS\\Temp"));
  sim::FailNext(sim::Op::CreateDirectory, plat::ERROR_ACCESS_DENIED);
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Init dll failed -> 1\n");

  m_Events.clear();
  ASSERT_EQ(Attach(), plat::TRUE);  // the next load creates it
  EXPECT_NE(plat::GetFileAttributesA("C:\\WINDOWS\\Temp"), plat::INVALID_FILE_ATTRIBUTES);
}

TEST_F(StartupTest, ShortWindowsDirectoryHasNoRoot) {
  UseWindowsDirectory("C:");
  InstallScript();
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Init dll failed -> 1\n");
}

TEST_F(StartupTest, ScriptPathLongerThan255CharactersRefusesToLoad) {
  // Long enough for a 259-character script path, short enough that the
  // system directory's files still fit the platform's path limit.
  const std::string windowsDir = "C:\\" + std::string(233, 'w');
  UseWindowsDirectory(windowsDir);
  const std::string longName = "a_rather_long_name.cxx";
  InstallScript(longName);
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Not any script section -> 1\n");
  EXPECT_STREQ(theGlobal.m_szFileName, "");
  EXPECT_FALSE(sim::GetFile(windowsDir + "\\" + longName).has_value()) << "removed again";

  // 255 characters still fit.
  m_Events.clear();
  const std::string name(255 - windowsDir.size() - 1 - 4, 's');
  InstallScript(name + ".cxx");
  ASSERT_EQ(Attach(), plat::TRUE) << m_Events;
  EXPECT_EQ(std::strlen(theGlobal.m_szFileName), 255u);
}

// ---- Detach -----------------------------------------------------------------------

TEST_F(StartupTest, DetachDeletesTheScriptAndTheExpandedFile) {
  InstallScript();
  // Without an Action call there is no expanded file to delete.
  ASSERT_EQ(Attach(), plat::TRUE);
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\setup.cxx.e", "left by someone else"));
  Detach();
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\setup.cxx").has_value());
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\setup.cxx.e").has_value());

  ASSERT_EQ(Attach(), plat::TRUE);
  theGlobal.m_szExpandFile = std::string(theGlobal.m_szFileName) + ".e";
  ASSERT_TRUE(sim::PutFile(*theGlobal.m_szExpandFile, "expanded"));
  Detach();
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\setup.cxx").has_value());
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\setup.cxx.e").has_value());
  EXPECT_FALSE(theGlobal.m_szExpandFile.has_value());
  for (const char* name : kDirNames) EXPECT_EQ(DirValue(name), "<none>") << name;
  EXPECT_EQ(theGlobal.m_hSetupApi, nullptr);
  EXPECT_EQ(theGlobal.m_hNewDev, nullptr);
  EXPECT_EQ(theDeviceApi.SetupDiGetClassDevsA, nullptr);
  // A second detach (the loader's, after a failed attach) finds nothing to do.
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\setup.cxx", "a new file"));
  Detach();
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\setup.cxx").has_value());
}

TEST_F(StartupTest, ReaderFailureLeavesItsOutputButDeletesNothing) {
  // A script entry whose write fails: the reader created the file, the attach
  // is refused, and nothing is deleted since the path was never recorded.
  InstallScript();
  sim::FailNext(sim::Op::WriteFile, 112);
  EXPECT_EQ(Attach(), plat::FALSE);
  EXPECT_EQ(m_Out, "\n$ can not generate 'setup.cxx':win error code:0x00000070 ");
  EXPECT_EQ(m_Events, "[msgbox] Prompt: Not any script section -> 1\n");
  EXPECT_EQ(sim::GetFile("C:\\WINDOWS\\setup.cxx"), "");
  // Loaded again, the library starts without the failure's error flag, which
  // would otherwise stop the next compilation without a message.
  EXPECT_EQ(theGlobal.ErrorFlag, 0);
}

}  // namespace
}  // namespace setup
