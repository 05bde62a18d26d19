// Device manager of the simulated machine, reached like the core reaches it:
// through the entry points of SetupApi.dll and newdev.dll.
#include <cstring>

#include "sim_fixture.h"

namespace {

using namespace plat;

constexpr char kInf[] =
    "[Version]\r\n"
    "Signature=\"$Windows NT$\"\r\n"
    "Class=%ClassName% ; comment\r\n"
    "ClassGUID={4D36E972-E325-11CE-BFC1-08002BE10318}\r\n"
    "\r\n"
    "[Manufacturer]\r\n"
    "%Mfg%=Models,NTx86\r\n"
    "\r\n"
    "[Models.NTx86]\r\n"
    "%Desc%=Install, root\\vdev, usb\\vid_1234\r\n"
    "\r\n"
    "[Install.NT]\r\n"
    "[Install.NT.Services]\r\n"
    "AddService = vdev, 0x00000002, VdevService\r\n"
    "\r\n"
    "[VdevService]\r\n"
    "ServiceType = 1\r\n"
    "StartType = 3\r\n"
    "ErrorControl = 1\r\n"
    "ServiceBinary = %12%\\vdev.sys\r\n"
    "\r\n"
    "[Strings]\r\n"
    "ClassName=\"Net\"\r\n"
    "Mfg=\"Maker\"\r\n"
    "Desc=\"Virtual device\"\r\n";

class SimDevices : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    m_hSetupApi = LoadLibraryA("SetupApi.dll");
    m_hNewDev = LoadLibraryA("newdev.dll");
    ASSERT_NE(m_hSetupApi, nullptr);
    ASSERT_NE(m_hNewDev, nullptr);
    Bind(GetClassDevs, "SetupDiGetClassDevsA");
    Bind(Enum, "SetupDiEnumDeviceInfo");
    Bind(GetProperty, "SetupDiGetDeviceRegistryPropertyA");
    Bind(CallInstaller, "SetupDiCallClassInstaller");
    Bind(Destroy, "SetupDiDestroyDeviceInfoList");
    Bind(GetInfClass, "SetupDiGetINFClassA");
    Bind(CreateInfo, "SetupDiCreateDeviceInfoA");
    Bind(SetProperty, "SetupDiSetDeviceRegistryPropertyA");
    Bind(DeleteInfo, "SetupDiDeleteDeviceInfo");
    Bind(GetInstallParams, "SetupDiGetDeviceInstallParamsA");
    Update = reinterpret_cast<PFN_UpdateDriverForPlugAndPlayDevicesA>(
        GetProcAddress(m_hNewDev, "UpdateDriverForPlugAndPlayDevicesA"));
    ASSERT_NE(Update, nullptr);
    ASSERT_TRUE(sim::PutFile("C:\\pkg\\vdev.inf", kInf));
  }
  void TearDown() override {
    FreeLibrary(m_hSetupApi);
    FreeLibrary(m_hNewDev);
    SimTest::TearDown();
  }
  template <class F>
  void Bind(F& f, const char* name) {
    f = reinterpret_cast<F>(GetProcAddress(m_hSetupApi, name));
    ASSERT_NE(f, nullptr) << name;
  }

  // installdriverbyhardwareid's sequence: a root-enumerated node with one id.
  bool Register(const char* hardwareId, const char* inf = "C:\\pkg\\vdev.inf") {
    GUID guid{};
    char className[32];
    if (!GetInfClass(inf, &guid, className, sizeof className, nullptr)) return false;
    HDEVINFO set = SetupDiCreateDeviceInfoList(&guid, nullptr);
    if (set == INVALID_HANDLE_VALUE) return false;
    SP_DEVINFO_DATA data{};
    data.cbSize = sizeof data;
    char ids[256] = {};
    std::strcpy(ids, hardwareId);
    bool ok = CreateInfo(set, className, &guid, nullptr, nullptr, DICD_GENERATE_ID, &data) &&
              SetProperty(set, &data, SPDRP_HARDWAREID, reinterpret_cast<BYTE*>(ids),
                          static_cast<DWORD>(std::strlen(ids) + 2)) &&
              CallInstaller(DIF_REGISTERDEVICE, set, &data);
    DeleteInfo(set, &data);
    Destroy(set);
    return ok;
  }

  // Applies a state change to every device with the hardware id.
  int Change(const char* hardwareId, DWORD state) {
    HDEVINFO set = GetClassDevs(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
    SP_DEVINFO_DATA data{};
    data.cbSize = sizeof data;
    int changed = 0;
    for (DWORD i = 0; Enum(set, i, &data); ++i) {
      char ids[512];
      if (!GetProperty(set, &data, SPDRP_HARDWAREID, nullptr, reinterpret_cast<BYTE*>(ids),
                       sizeof ids, nullptr) ||
          std::strcmp(ids, hardwareId) != 0) {
        continue;
      }
      SP_PROPCHANGE_PARAMS params{};
      params.ClassInstallHeader.cbSize = sizeof(SP_CLASSINSTALL_HEADER);
      params.ClassInstallHeader.InstallFunction = DIF_PROPERTYCHANGE;
      params.StateChange = state;
      params.Scope = DICS_FLAG_GLOBAL;
      if (SetupDiSetClassInstallParamsA(set, &data, &params.ClassInstallHeader, sizeof params) &&
          SetupDiChangeState(set, &data)) {
        ++changed;
      }
    }
    Destroy(set);
    return changed;
  }

  HMODULE m_hSetupApi = nullptr;
  HMODULE m_hNewDev = nullptr;
  PFN_SetupDiGetClassDevsA GetClassDevs = nullptr;
  PFN_SetupDiEnumDeviceInfo Enum = nullptr;
  PFN_SetupDiGetDeviceRegistryPropertyA GetProperty = nullptr;
  PFN_SetupDiCallClassInstaller CallInstaller = nullptr;
  PFN_SetupDiDestroyDeviceInfoList Destroy = nullptr;
  PFN_SetupDiGetINFClassA GetInfClass = nullptr;
  PFN_SetupDiCreateDeviceInfoA CreateInfo = nullptr;
  PFN_SetupDiSetDeviceRegistryPropertyA SetProperty = nullptr;
  PFN_SetupDiDeleteDeviceInfo DeleteInfo = nullptr;
  PFN_SetupDiGetDeviceInstallParamsA GetInstallParams = nullptr;
  PFN_UpdateDriverForPlugAndPlayDevicesA Update = nullptr;
};

TEST_F(SimDevices, InfClassComesFromTheVersionSection) {
  GUID guid{};
  char name[32];
  DWORD required = 0;
  ASSERT_TRUE(GetInfClass("C:\\pkg\\vdev.inf", &guid, name, sizeof name, &required));
  EXPECT_STREQ(name, "Net");
  EXPECT_EQ(required, 4u);
  EXPECT_EQ(guid.Data1, 0x4D36E972u);
  EXPECT_EQ(guid.Data4[7], 0x18);
  EXPECT_FALSE(GetInfClass("C:\\pkg\\vdev.inf", &guid, name, 3, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_FALSE(GetInfClass("C:\\pkg\\none.inf", &guid, name, sizeof name, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  ASSERT_TRUE(sim::PutFile("C:\\pkg\\bad.inf", "[Strings]\r\n"));
  EXPECT_FALSE(GetInfClass("C:\\pkg\\bad.inf", &guid, name, sizeof name, nullptr));
  EXPECT_EQ(GetLastError(), 0xE0000100u);  // ERROR_WRONG_INF_STYLE: no signature
  ASSERT_TRUE(sim::PutFile("C:\\pkg\\bad.inf", "[Version]\r\nSignature=$Windows NT$\r\n"));
  EXPECT_FALSE(GetInfClass("C:\\pkg\\bad.inf", &guid, name, sizeof name, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_CLASS);
}

TEST_F(SimDevices, RegisteringCreatesNumberedRootDevices) {
  ASSERT_TRUE(Register("root\\vdev"));
  ASSERT_TRUE(Register("root\\vdev"));
  std::vector<sim::Device> devices = sim::Devices();
  ASSERT_EQ(devices.size(), 2u);
  EXPECT_EQ(devices[0].instanceId, "ROOT\\NET\\0000");
  EXPECT_EQ(devices[1].instanceId, "ROOT\\NET\\0001");
  EXPECT_EQ(devices[0].hardwareIds, (std::vector<std::string>{"root\\vdev"}));
  EXPECT_EQ(devices[0].className, "Net");
  EXPECT_EQ(m_Events, "[device] register: ROOT\\NET\\0000\n[device] register: ROOT\\NET\\0001\n");

  HDEVINFO set = GetClassDevs(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT);
  SP_DEVINFO_DATA data{};
  data.cbSize = sizeof data;
  ASSERT_TRUE(Enum(set, 1, &data));
  EXPECT_FALSE(Enum(set, 2, &data));
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
  BYTE buffer[64];
  DWORD type = 0, required = 0;
  ASSERT_TRUE(GetProperty(set, &data, SPDRP_HARDWAREID, &type, buffer, sizeof buffer, &required));
  EXPECT_EQ(type, REG_MULTI_SZ);
  EXPECT_EQ(required, 11u);  // "root\vdev" NUL NUL
  EXPECT_FALSE(GetProperty(set, &data, SPDRP_HARDWAREID, &type, buffer, 4, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_FALSE(GetProperty(set, &data, SPDRP_SERVICE, &type, buffer, sizeof buffer, &required));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);  // no driver yet
  data.cbSize = 12;
  EXPECT_FALSE(Enum(set, 0, &data));
  EXPECT_EQ(GetLastError(), 1784u);
  EXPECT_TRUE(Destroy(set));
  EXPECT_FALSE(Destroy(set));
}

TEST_F(SimDevices, UpdatingInstallsTheDriverOnMatchingDevices) {
  EXPECT_FALSE(Update(nullptr, "ROOT\\VDEV", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVINST);
  ASSERT_TRUE(Register("root\\vdev"));
  ASSERT_TRUE(Register("other"));
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\vdev.sys", "driver"));
  m_Events.clear();
  BOOL reboot = TRUE;
  ASSERT_TRUE(Update(nullptr, "ROOT\\VDEV", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, &reboot));
  EXPECT_FALSE(reboot);
  EXPECT_EQ(m_Events,
            "[inf] copy: C:\\pkg\\vdev.inf -> C:\\WINDOWS\\inf\\oem0.inf\n"
            "[device] driver: ROOT\\NET\\0000 <- oem0.inf (service vdev)\n"
            "[service] start: vdev\n");
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\inf\\oem0.pnf").has_value());
  std::vector<sim::Device> devices = sim::Devices();
  EXPECT_EQ(devices[0].service, "vdev");
  EXPECT_EQ(devices[0].driverKey, "{4D36E972-E325-11CE-BFC1-08002BE10318}\\0000");
  EXPECT_EQ(devices[1].service, "");

  // The driver key names the OEM copy of the INF.
  HKEY key = nullptr;
  std::string path = "SYSTEM\\CurrentControlSet\\Control\\Class\\" + devices[0].driverKey;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
  char inf[64] = {};
  DWORD size = sizeof inf;
  ASSERT_EQ(RegQueryValueExA(key, "InfPath", nullptr, nullptr, reinterpret_cast<BYTE*>(inf), &size),
            0);
  EXPECT_STREQ(inf, "oem0.inf");
  RegCloseKey(key);

  // An identical INF is not copied twice; a restart can be asked for.
  sim::GetProfile().driverUpdateNeedsReboot = true;
  ASSERT_TRUE(Update(nullptr, "root\\vdev", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, &reboot));
  EXPECT_TRUE(reboot);
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\inf\\oem1.inf").has_value());
}

TEST_F(SimDevices, CopyOemInfAnswersTheDestination) {
  char destination[260];
  DWORD required = 0;
  char* component = nullptr;
  ASSERT_TRUE(SetupCopyOEMInfA("C:\\pkg\\vdev.inf", "C:\\pkg\\", SPOST_PATH, 0, destination,
                               sizeof destination, &required, &component));
  EXPECT_STREQ(destination, "C:\\WINDOWS\\inf\\oem0.inf");
  EXPECT_EQ(required, 24u);
  EXPECT_STREQ(component, "oem0.inf");
  EXPECT_FALSE(SetupCopyOEMInfA("C:\\pkg\\vdev.inf", nullptr, SPOST_PATH, 0, destination, 10,
                                &required, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_FALSE(SetupCopyOEMInfA("C:\\pkg\\vdev.inf", nullptr, SPOST_PATH, SP_COPY_NOOVERWRITE,
                                destination, sizeof destination, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
  EXPECT_STREQ(destination, "C:\\WINDOWS\\inf\\oem0.inf");
  ASSERT_TRUE(SetupUninstallOEMInfA("oem0.inf", 0, nullptr));
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\inf\\oem0.pnf").has_value());
}

TEST_F(SimDevices, EnableDisableAndRemove) {
  ASSERT_TRUE(Register("root\\vdev"));
  EXPECT_EQ(Change("root\\vdev", DICS_DISABLE), 1);
  EXPECT_FALSE(sim::Devices()[0].enabled);
  EXPECT_EQ(Change("root\\vdev", DICS_ENABLE), 1);
  EXPECT_TRUE(sim::Devices()[0].enabled);

  HDEVINFO set = GetClassDevs(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
  SP_DEVINFO_DATA data{};
  data.cbSize = sizeof data;
  ASSERT_TRUE(Enum(set, 0, &data));
  EXPECT_FALSE(CallInstaller(DIF_PROPERTYCHANGE, set, &data));  // no parameters set
  EXPECT_EQ(GetLastError(), 0xE0000215u);
  sim::GetProfile().deviceChangeNeedsReboot = true;
  ASSERT_TRUE(CallInstaller(DIF_REMOVE, set, &data));
  SP_DEVINSTALL_PARAMS_A params{};
  params.cbSize = sizeof params;
  ASSERT_TRUE(GetInstallParams(set, &data, &params));
  EXPECT_EQ(params.Flags & DI_NEEDREBOOT, DI_NEEDREBOOT);
  EXPECT_FALSE(CallInstaller(DIF_REMOVE, set, &data));
  EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVINST);
  Destroy(set);
  EXPECT_TRUE(sim::Devices().empty());
}

TEST_F(SimDevices, PluggedInDevicesGetTheirDriver) {
  sim::Device usb;
  usb.instanceId = "USB\\VID_1234&PID_0001\\5&1";
  usb.hardwareIds = {"USB\\VID_1234&PID_0001", "usb\\vid_1234"};
  ASSERT_TRUE(sim::AddDevice(usb));
  EXPECT_FALSE(sim::AddDevice(usb));
  ASSERT_TRUE(Update(nullptr, "USB\\VID_1234", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, nullptr));
  EXPECT_EQ(sim::Devices()[0].className, "Net");
  EXPECT_EQ(sim::Devices()[0].infName, "oem0.inf");
}

// Reads a registry value of HKEY_LOCAL_MACHINE as text ("" when missing).
std::string RegText(const std::string& path, const char* name) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != 0) return {};
  char data[512] = {};
  DWORD size = sizeof data - 2;
  DWORD type = 0;
  LONG status = RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
  RegCloseKey(key);
  if (status != 0) return {};
  if (type == REG_DWORD) return std::to_string(*reinterpret_cast<DWORD*>(data));
  std::string text(data, size);
  for (char& c : text) c = c == '\0' ? '|' : c;
  return text;
}

bool KeyExists(const std::string& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != 0) return false;
  RegCloseKey(key);
  return true;
}

TEST_F(SimDevices, RecordsLiveInTheRegistryWhereWindowsKeepsThem) {
  const std::string enumKey = "SYSTEM\\CurrentControlSet\\Enum\\ROOT\\NET\\0000";
  const std::string classKey =
      "SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002BE10318}";
  ASSERT_TRUE(Register("root\\vdev"));
  EXPECT_EQ(RegText(enumKey, "HardwareID"), "root\\vdev||");
  EXPECT_EQ(RegText(enumKey, "ClassGUID"), "{4D36E972-E325-11CE-BFC1-08002BE10318}|");
  EXPECT_EQ(RegText(enumKey, "Class"), "Net|");
  EXPECT_EQ(RegText(enumKey, "ConfigFlags"), "0");
  EXPECT_EQ(RegText(enumKey, "Driver"), "");

  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\vdev.sys", "driver"));
  ASSERT_TRUE(Update(nullptr, "root\\vdev", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, nullptr));
  EXPECT_EQ(RegText(enumKey, "Driver"), "{4D36E972-E325-11CE-BFC1-08002BE10318}\\0000|");
  EXPECT_EQ(RegText(enumKey, "Service"), "vdev|");
  EXPECT_EQ(RegText(enumKey, "DeviceDesc"), "Virtual device|");
  EXPECT_EQ(RegText(classKey + "\\0000", "InfPath"), "oem0.inf|");
  EXPECT_EQ(RegText(classKey + "\\0000", "InfSection"), "Install.NT|");
  EXPECT_EQ(RegText(classKey + "\\0000", "ProviderName"), "");
  EXPECT_EQ(RegText(classKey + "\\0000", "MatchingDeviceId"), "root\\vdev|");
  // The service came through the service control manager, with its key.
  EXPECT_EQ(RegText("SYSTEM\\CurrentControlSet\\Services\\vdev", "Start"), "3");

  // A script's own registry edit is what the device manager sees.
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, enumKey.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
  DWORD disabled = 1;
  ASSERT_EQ(RegSetValueExA(key, "ConfigFlags", 0, REG_DWORD, reinterpret_cast<BYTE*>(&disabled),
                           sizeof disabled),
            0);
  RegCloseKey(key);
  EXPECT_FALSE(sim::Devices()[0].enabled);
  EXPECT_EQ(Change("root\\vdev", DICS_ENABLE), 1);
  EXPECT_EQ(RegText(enumKey, "ConfigFlags"), "0");

  // Removal takes the Enum key (and the emptied device and enumerator keys)
  // and the driver key; the class key stays.
  HDEVINFO set = GetClassDevs(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
  SP_DEVINFO_DATA data{};
  data.cbSize = sizeof data;
  ASSERT_TRUE(Enum(set, 0, &data));
  ASSERT_TRUE(CallInstaller(DIF_REMOVE, set, &data));
  Destroy(set);
  EXPECT_FALSE(KeyExists(enumKey));
  EXPECT_FALSE(KeyExists("SYSTEM\\CurrentControlSet\\Enum\\ROOT"));
  EXPECT_TRUE(KeyExists("SYSTEM\\CurrentControlSet\\Enum"));
  EXPECT_FALSE(KeyExists(classKey + "\\0000"));
  EXPECT_TRUE(KeyExists(classKey));
}

TEST_F(SimDevices, OemNamesTakeTheLowestFreeNumberAndAreReused) {
  ASSERT_TRUE(sim::PutFile("C:\\pkg\\a.inf", "[Version]\nSignature=$Windows NT$\nClass=Net\n"));
  ASSERT_TRUE(sim::PutFile("C:\\pkg\\b.inf", "[Version]\nSignature=$Windows NT$\nClass=Ports\n"));
  char name[260];
  auto copy = [&](const char* inf) {
    return SetupCopyOEMInfA(inf, nullptr, SPOST_PATH, 0, name, sizeof name, nullptr, nullptr)
               ? std::string(name)
               : std::string("failed");
  };
  EXPECT_EQ(copy("C:\\pkg\\a.inf"), "C:\\WINDOWS\\inf\\oem0.inf");
  EXPECT_EQ(copy("C:\\pkg\\b.inf"), "C:\\WINDOWS\\inf\\oem1.inf");
  ASSERT_TRUE(SetupUninstallOEMInfA("oem0.inf", 0, nullptr));
  EXPECT_EQ(copy("C:\\pkg\\b.inf"), "C:\\WINDOWS\\inf\\oem1.inf");     // same INF, same name
  EXPECT_EQ(copy("C:\\pkg\\vdev.inf"), "C:\\WINDOWS\\inf\\oem0.inf");  // lowest free
}

TEST_F(SimDevices, InstallationIsRefusedToA32BitProcessOn64BitWindows) {
  ASSERT_TRUE(Register("root\\vdev"));
  sim::SetWow64Process(true);
  HDEVINFO set = GetClassDevs(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
  SP_DEVINFO_DATA data{};
  data.cbSize = sizeof data;
  ASSERT_TRUE(Enum(set, 0, &data));
  EXPECT_FALSE(CallInstaller(DIF_REMOVE, set, &data));
  EXPECT_EQ(GetLastError(), ERROR_IN_WOW64);
  Destroy(set);
  EXPECT_FALSE(Register("root\\vdev"));
  EXPECT_FALSE(Update(nullptr, "root\\vdev", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_IN_WOW64);
  EXPECT_EQ(Change("root\\vdev", DICS_DISABLE), 0);
  // Reading devices still works.
  EXPECT_EQ(sim::Devices().size(), 1u);
  sim::SetWow64Process(false);
}

TEST_F(SimDevices, AnInfWithoutTheIdOffersNoDriver) {
  ASSERT_TRUE(Register("root\\other"));
  EXPECT_FALSE(Update(nullptr, "root\\other", "C:\\pkg\\vdev.inf", INSTALLFLAG_FORCE, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(sim::Devices()[0].driverKey, "");
}

TEST_F(SimDevices, MissingLibrariesAndEntryPoints) {
  sim::RemoveEntryPoint("SetupApi.dll", "SetupDiChangeState");
  EXPECT_EQ(GetProcAddress(m_hSetupApi, "SetupDiChangeState"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
  EXPECT_FALSE(SetupDiChangeState(nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
  EXPECT_EQ(GetProcAddress(m_hSetupApi, "NoSuchEntry"), nullptr);
  EXPECT_EQ(GetProcAddress(m_hNewDev, "SetupDiGetClassDevsA"), nullptr);

  ASSERT_TRUE(DeleteFileA("C:\\WINDOWS\\system32\\newdev.dll"));
  EXPECT_EQ(LoadLibraryA("newdev.dll"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  ASSERT_TRUE(DeleteFileA("C:\\WINDOWS\\system32\\SetupApi.dll"));
  EXPECT_EQ(SetupDiCreateDeviceInfoList(nullptr, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(LoadLibraryA("unknown.dll"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

}  // namespace
