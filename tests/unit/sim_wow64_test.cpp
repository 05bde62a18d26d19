// WOW64 on the simulated machine: the file system and registry redirectors a
// 32-bit process meets on 64-bit Windows, and the machine's own (64-bit) view
// of services, libraries and tool access.
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/simcore.h"
#include "sim_fixture.h"

namespace {

using namespace plat;

class SimWow64 : public SimTest {
 protected:
  // 64-bit Windows of the given version, the library in a 32-bit process.
  void Windows64(DWORD major, DWORD minor, bool wow64 = true) {
    sim::Profile& profile = sim::GetProfile();
    profile.majorVersion = major;
    profile.minorVersion = minor;
    profile.amd64 = true;
    sim::AddWow64Layout();
    sim::SetWow64Process(wow64);
  }
  // The path a 32-bit process reaches for `path` ("" when it is unusable).
  static std::string Redirected(const char* path) {
    sim::detail::Resolved r = sim::detail::ResolveInProcess(path);
    return r.error != 0 ? std::string() : r.windows;
  }
  static bool Put(const char* path) {
    HANDLE file = Open(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (file == INVALID_HANDLE_VALUE) return false;
    CloseHandle(file);
    return true;
  }
  static HKEY Create(HKEY root, const char* path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0)
        << path;
    return key;
  }
  static bool Present(HKEY root, const char* path) {
    return sim::ReadRegistryKey(root, path).has_value();
  }
  static std::vector<std::string> Subkeys(HKEY key) {
    std::vector<std::string> names;
    char name[256];
    for (DWORD i = 0; RegEnumKeyA(key, i, name, sizeof name) == 0; ++i) names.emplace_back(name);
    return names;
  }
};

TEST_F(SimWow64, TheFileRedirectorFollowsTheDocumentedRules) {
  Windows64(10, 0);
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"C:\\WINDOWS\\system32", "C:\\WINDOWS\\SysWOW64"},
      {"c:/windows/SYSTEM32/x.dll", "C:\\windows\\SysWOW64\\x.dll"},
      {"C:\\WINDOWS\\system32\\drivers\\a.sys", "C:\\WINDOWS\\SysWOW64\\drivers\\a.sys"},
      {"C:\\WINDOWS\\system32\\drivers\\etc\\hosts", "C:\\WINDOWS\\system32\\drivers\\etc\\hosts"},
      {"C:\\WINDOWS\\system32\\drivers\\etcetera", "C:\\WINDOWS\\SysWOW64\\drivers\\etcetera"},
      {"C:\\WINDOWS\\system32\\CatRoot\\x", "C:\\WINDOWS\\system32\\CatRoot\\x"},
      {"C:\\WINDOWS\\system32\\catroot2", "C:\\WINDOWS\\system32\\catroot2"},
      {"C:\\WINDOWS\\system32\\LogFiles\\x", "C:\\WINDOWS\\system32\\LogFiles\\x"},
      {"C:\\WINDOWS\\system32\\spool\\drivers", "C:\\WINDOWS\\system32\\spool\\drivers"},
      {"C:\\WINDOWS\\system32\\DriverStore\\x", "C:\\WINDOWS\\system32\\DriverStore\\x"},
      {"C:\\WINDOWS\\system32x\\a", "C:\\WINDOWS\\system32x\\a"},
      {"C:\\WINDOWS\\Sysnative\\drivers\\a.sys", "C:\\WINDOWS\\system32\\drivers\\a.sys"},
      {"C:\\WINDOWS\\SysWOW64\\a", "C:\\WINDOWS\\SysWOW64\\a"},
      {"C:\\WINDOWS\\lastgood\\system32\\a", "C:\\WINDOWS\\lastgood\\SysWOW64\\a"},
      {"C:\\WINDOWS\\lastgood\\inf", "C:\\WINDOWS\\lastgood\\inf"},
      {"C:\\WINDOWS\\regedit.exe", "C:\\WINDOWS\\SysWOW64\\regedit.exe"},
      {"C:\\WINDOWS\\inf\\regedit.exe", "C:\\WINDOWS\\inf\\regedit.exe"},
      {"C:\\WINDOWS\\Temp\\..\\system32\\.\\a", "C:\\WINDOWS\\SysWOW64\\a"},
      {"D:\\WINDOWS\\system32\\a", "D:\\WINDOWS\\system32\\a"},
      {"C:\\system32\\a", "C:\\system32\\a"},
      // Relative paths start in the current directory, the system directory.
      {"a.dll", "C:\\WINDOWS\\SysWOW64\\a.dll"},
  };
  sim::PutFile("D:\\x", "");  // the drive exists
  for (const auto& [given, expected] : cases) EXPECT_EQ(Redirected(given), expected) << given;
}

TEST_F(SimWow64, VersionsDecideDriverStoreAndSysnative) {
  Windows64(6, 0);  // Vista: driverstore redirected, Sysnative known
  EXPECT_EQ(Redirected("C:\\WINDOWS\\system32\\driverstore\\x"),
            "C:\\WINDOWS\\SysWOW64\\driverstore\\x");
  EXPECT_EQ(Redirected("C:\\WINDOWS\\Sysnative\\x"), "C:\\WINDOWS\\system32\\x");
  Windows64(5, 2);  // XP x64: no Sysnative
  EXPECT_EQ(Redirected("C:\\WINDOWS\\Sysnative\\x"), "C:\\WINDOWS\\Sysnative\\x");
  // A moved system directory moves the redirection with it.
  sim::GetProfile().systemDirectory = "E:\\WINNT\\System32";
  EXPECT_EQ(Redirected("e:\\winnt\\system32\\a"), "E:\\winnt\\SysWOW64\\a");
  EXPECT_EQ(Redirected("C:\\WINDOWS\\system32\\a"), "C:\\WINDOWS\\system32\\a");
}

TEST_F(SimWow64, OnlyTheThirtyTwoBitProcessOnSixtyFourBitWindowsIsRedirected) {
  Windows64(10, 0, false);  // the 64-bit DLL
  EXPECT_EQ(Redirected("C:\\WINDOWS\\system32\\a"), "C:\\WINDOWS\\system32\\a");
  EXPECT_EQ(Redirected("C:\\WINDOWS\\Sysnative\\a"), "C:\\WINDOWS\\Sysnative\\a");
  sim::GetProfile().amd64 = false;  // 32-bit Windows: --wow64 cannot apply
  sim::SetWow64Process(true);
  EXPECT_EQ(Redirected("C:\\WINDOWS\\system32\\a"), "C:\\WINDOWS\\system32\\a");
}

TEST_F(SimWow64, FileCallsUseTheViewAndToolsTheRealLayout) {
  Windows64(10, 0);
  ASSERT_TRUE(Put("C:\\WINDOWS\\system32\\drivers\\acme.sys"));
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\SysWOW64\\drivers\\acme.sys"));
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\system32\\drivers\\acme.sys"));
  EXPECT_EQ(GetFileAttributesA("C:\\WINDOWS\\Sysnative\\drivers\\acme.sys"),
            INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  // A listing of system32 is the listing of SysWOW64.
  WIN32_FIND_DATAA data;
  HANDLE find = FindFirstFileA("C:\\WINDOWS\\system32\\*.dll", &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  std::vector<std::string> names = {data.cFileName};
  while (FindNextFileA(find, &data)) names.emplace_back(data.cFileName);
  FindClose(find);
  EXPECT_EQ(names, (std::vector<std::string>{"newdev.dll", "SetupApi.dll"}));
  EXPECT_EQ(*sim::GetFile("C:\\WINDOWS\\SysWOW64\\SetupApi.dll"),
            "MZ simulated 32-bit SetupApi.dll");
  // Copies and deletions go through the view on both sides.
  EXPECT_TRUE(CopyFileA("C:\\WINDOWS\\system32\\drivers\\acme.sys",
                        "C:\\WINDOWS\\Sysnative\\drivers\\acme.sys", TRUE));
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\system32\\drivers\\acme.sys"));
  EXPECT_TRUE(DeleteFileA("C:\\WINDOWS\\system32\\drivers\\acme.sys"));
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\SysWOW64\\drivers\\acme.sys"));
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\system32\\drivers\\acme.sys"));
}

TEST_F(SimWow64, TheThirtyTwoBitProcessLoadsTheLibrariesOfSysWow64) {
  Windows64(10, 0);
  HMODULE module = LoadLibraryA("SetupApi.dll");
  ASSERT_NE(module, nullptr);
  FreeLibrary(module);
  // Without the 32-bit copy the load fails, though system32 holds the 64-bit one.
  sim::SetWow64Process(false);
  ASSERT_TRUE(DeleteFileA("C:\\WINDOWS\\SysWOW64\\SetupApi.dll"));
  sim::SetWow64Process(true);
  EXPECT_EQ(LoadLibraryA("SetupApi.dll"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  sim::SetWow64Process(false);
  module = LoadLibraryA("SetupApi.dll");
  EXPECT_NE(module, nullptr);
  FreeLibrary(module);
}

TEST_F(SimWow64, ServiceImagesAreFoundInTheRealLayout) {
  Windows64(10, 0);
  ASSERT_TRUE(Put("C:\\WINDOWS\\system32\\drivers\\acme.sys"));
  SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  ASSERT_NE(manager, nullptr);
  SC_HANDLE service = CreateServiceA(
      manager, "acme", "acme", SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER, SERVICE_DEMAND_START,
      SERVICE_ERROR_NORMAL, "C:\\WINDOWS\\system32\\drivers\\acme.sys", nullptr, nullptr, nullptr,
      nullptr, nullptr);
  ASSERT_NE(service, nullptr);
  EXPECT_FALSE(StartServiceA(service, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(sim::MissingServiceImages().size(), 1u);
  EXPECT_EQ(sim::MissingServiceImages()[0].service, "acme");
  EXPECT_EQ(sim::MissingServiceImages()[0].image, "C:\\WINDOWS\\system32\\drivers\\acme.sys");
  ASSERT_TRUE(Put("C:\\WINDOWS\\Sysnative\\drivers\\acme.sys"));
  EXPECT_TRUE(StartServiceA(service, 0, nullptr));
  EXPECT_EQ(sim::MissingServiceImages().size(), 1u);
  CloseServiceHandle(service);
  CloseServiceHandle(manager);
}

TEST_F(SimWow64, SoftwareIsRedirectedButForTheSharedKeys) {
  Windows64(10, 0);
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme\\Logger"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\Acme\\Logger"));
  EXPECT_FALSE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme"));
  // Paths below a handle are redirected as a whole: Setup is shared.
  HKEY software = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "Software", &software), 0);
  RegCloseKey(Create(software, "Microsoft\\Windows\\CurrentVersion\\Setup\\Acme"));
  RegCloseKey(Create(software, "Microsoft\\Windows\\CurrentVersion\\Run\\Acme"));
  RegCloseKey(Create(software, "Policies\\Acme"));
  RegCloseKey(Create(software, "Clients\\Acme"));
  EXPECT_TRUE(
      Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\Acme"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE,
                      "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Run\\Acme"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Acme"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Clients\\Acme"));
  // The 32-bit view lists its own subkeys and the shared ones, never WOW6432Node.
  EXPECT_EQ(Subkeys(software),
            (std::vector<std::string>{"Acme", "Clients", "Microsoft", "Policies"}));
  char name[64];
  EXPECT_EQ(RegEnumKeyA(software, 4, name, sizeof name), static_cast<LONG>(ERROR_NO_MORE_ITEMS));
  // An explicit WOW6432Node path is not redirected twice; SYSTEM is not redirected.
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\Acme\\Logger", &key), 0);
  RegCloseKey(key);
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SYSTEM\\Acme"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SYSTEM\\Acme"));
  RegCloseKey(software);
}

TEST_F(SimWow64, DeletionsStayInTheProcessView) {
  Windows64(10, 0);
  sim::CreateRegistryKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme\\Old");
  sim::CreateRegistryKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\Acme\\Old");
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme\\Old"), 0);
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme\\Old"));
  EXPECT_FALSE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\Acme\\Old"));
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme\\Old"), 2);
  HKEY acme = Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme");
  EXPECT_EQ(RegDeleteKeyA(acme, ""), static_cast<LONG>(ERROR_ACCESS_DENIED));
  RegCloseKey(acme);
  EXPECT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme"), 0u);
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme\\Old"));
  EXPECT_FALSE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\Acme"));
}

TEST_F(SimWow64, ClassRegistrationsFollowTheVersion) {
  Windows64(10, 0);
  RegCloseKey(Create(HKEY_CLASSES_ROOT, "CLSID\\{1}"));
  RegCloseKey(Create(HKEY_CLASSES_ROOT, ".acme"));
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\Interface\\{2}"));
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\AppID\\{3}"));
  RegCloseKey(Create(HKEY_CURRENT_USER, "Software\\Classes\\CLSID\\{4}"));
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\Classes\\Typelib\\{5}"));
  EXPECT_TRUE(Present(HKEY_CLASSES_ROOT, "WOW6432Node\\CLSID\\{1}"));
  EXPECT_TRUE(Present(HKEY_CLASSES_ROOT, ".acme"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\WOW6432Node\\Interface\\{2}"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\AppID\\{3}"));
  EXPECT_TRUE(Present(HKEY_CURRENT_USER, "Software\\Classes\\WOW6432Node\\CLSID\\{4}"));
  // The link: SOFTWARE\WOW6432Node\Classes is SOFTWARE\Classes\WOW6432Node,
  // whose Typelib links back to the shared key.
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\Typelib\\{5}"));
  HKEY root = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_CLASSES_ROOT, "", &root), 0);
  EXPECT_EQ(Subkeys(root), (std::vector<std::string>{".acme", "CLSID"}));

  RegCloseKey(root);
  // A key whose only subkey is WOW6432Node lists nothing.
  sim::CreateRegistryKey(HKEY_USERS, ".DEFAULT\\Software\\Classes\\WOW6432Node\\.x");
  HKEY classes = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_USERS, ".DEFAULT\\Software\\Classes", &classes), 0);
  EXPECT_EQ(Subkeys(classes), std::vector<std::string>{});
  char name[16];
  EXPECT_EQ(RegEnumKeyA(classes, 0, name, sizeof name), static_cast<LONG>(ERROR_NO_MORE_ITEMS));
  RegCloseKey(classes);

  // Before Windows 7 the classes are redirected as a whole (HCP excepted),
  // and keys shared from Windows 7 on are redirected too.
  Windows64(6, 0);
  RegCloseKey(Create(HKEY_CLASSES_ROOT, ".old"));
  RegCloseKey(Create(HKEY_CLASSES_ROOT, "HCP\\x"));
  RegCloseKey(
      Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\a.exe"));
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\RegisteredApplications\\Acme"));
  EXPECT_TRUE(Present(HKEY_CLASSES_ROOT, "WOW6432Node\\.old"));
  EXPECT_TRUE(Present(HKEY_CLASSES_ROOT, "HCP\\x"));
  EXPECT_TRUE(
      Present(HKEY_LOCAL_MACHINE,
              "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\App Paths\\a.exe"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\RegisteredApplications\\Acme"));
  Windows64(5, 2);  // XP x64: RegisteredApplications is not known yet
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\RegisteredApplications\\Old"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\WOW6432Node\\RegisteredApplications\\Old"));
}

TEST_F(SimWow64, TheSixtyFourBitDllSeesTheRealLayout) {
  Windows64(10, 0, false);
  RegCloseKey(Create(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme"));
  EXPECT_TRUE(Present(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme"));
  HKEY software = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE", &software), 0);
  EXPECT_EQ(Subkeys(software), (std::vector<std::string>{"Acme", "Microsoft", "WOW6432Node"}));
  RegCloseKey(software);
  // The 32-bit view's keys a 64-bit profile starts with.
  char text[64];
  DWORD size = sizeof text;
  HKEY version = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE,
                        "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion", &version),
            0);
  ASSERT_EQ(RegQueryValueExA(version, "ProgramFilesDir", nullptr, nullptr,
                             reinterpret_cast<BYTE*>(text), &size),
            0);
  EXPECT_STREQ(text, "C:\\Program Files (x86)");
  RegCloseKey(version);
}

}  // namespace
