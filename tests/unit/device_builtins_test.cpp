// The device procedures where a script cannot reach them well: hostile driver
// keys (INF paths that leave the INF directory, values longer than the
// record's fields) and the registry left behind by a removal.
#include <cstring>
#include <string>

#include "builtins/devices.h"
#include "builtins/operations.h"
#include "entry/startup.h"
#include "library_fixture.h"
#include "platform/sim/simcore.h"

namespace {

using namespace plat;

class DeviceBuiltins : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    ASSERT_TRUE(setup::BindDeviceApi());
    ASSERT_TRUE(sim::PutFile("C:\\pkg\\vdev.inf", kInf));
    ASSERT_TRUE(sim::PutFile("C:\\pkg\\vdev.sys", "driver"));
  }
  void TearDown() override {
    setup::ReleaseEnvironment();
    LibraryTest::TearDown();
  }

  // Installs root\vdev with its driver; answers the driver key's path.
  std::string InstallDevice() {
    EXPECT_EQ(setup::InstallDriverByHardwareId("C:\\pkg\\vdev.inf", "root\\vdev"), 1);
    EXPECT_EQ(setup::UpdateDeviceByHardwareId("C:\\pkg\\vdev.inf", "root\\vdev"), 1);
    return "SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E97D-E325-11CE-BFC1-08002BE10318}"
           "\\0000";
  }

  static void SetText(const std::string& path, const char* name, const std::string& text) {
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
    ASSERT_EQ(RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>(text.size() + 1)),
              0);
    RegCloseKey(key);
  }

  static bool KeyExists(const std::string& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != 0) return false;
    RegCloseKey(key);
    return true;
  }

  static constexpr char kInf[] =
      "[Version]\nSignature=\"$Windows NT$\"\nClass=System\n"
      "ClassGUID={4D36E97D-E325-11CE-BFC1-08002BE10318}\nProvider=Maker\n"
      "[Manufacturer]\nMaker=Models,NTx86\n[Models.NTx86]\nDevice=Inst,root\\vdev\n"
      "[Inst.NT]\nCopyFiles=Files\n[Inst.NT.Services]\nAddService=vdev,2,Svc\n"
      "[Svc]\nServiceType=1\nStartType=3\nErrorControl=1\nServiceBinary=%12%\\vdev.sys\n"
      "[Files]\nvdev.sys\n[DestinationDirs]\nFiles=12\n";
};

TEST_F(DeviceBuiltins, RemovalLeavesNoTrace) {
  const std::string driverKey = InstallDevice();
  EXPECT_TRUE(KeyExists(driverKey));
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\inf\\oem0.pnf").has_value());
  EXPECT_EQ(setup::DeleteDriverByHardwareId("ROOT\\VDEV"), 1);
  EXPECT_FALSE(KeyExists("SYSTEM\\CurrentControlSet\\Enum\\ROOT"));
  EXPECT_FALSE(KeyExists(driverKey));
  EXPECT_FALSE(KeyExists("SYSTEM\\CurrentControlSet\\Services\\vdev"));
  for (const auto& service : sim::Services()) EXPECT_NE(service.name, "vdev");
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\inf\\oem0.inf").has_value());
  EXPECT_FALSE(sim::GetFile("C:\\WINDOWS\\inf\\oem0.pnf").has_value());
  EXPECT_EQ(m_Out.find("cannot open"), std::string::npos) << m_Out;
}

TEST_F(DeviceBuiltins, AnInfPathOutsideTheInfDirectoryDeletesNothing) {
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\keep.inf", "keep"));
  ASSERT_TRUE(sim::PutFile("C:\\keep.inf", "keep"));
  EXPECT_EQ(setup::DeleteOemInf("..\\system32\\keep.inf"), 1);
  EXPECT_EQ(setup::DeleteOemInf("C:\\keep.inf"), 1);
  EXPECT_EQ(setup::DeleteOemInf("C:keep.inf"), 1);
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\system32\\keep.inf").has_value());
  EXPECT_TRUE(sim::GetFile("C:\\keep.inf").has_value());

  // Through a removal whose driver key names such a path.
  const std::string driverKey = InstallDevice();
  SetText(driverKey, "InfPath", "..\\system32\\keep.inf");
  EXPECT_EQ(setup::DeleteDriverByHardwareId("root\\vdev"), 1);
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\system32\\keep.inf").has_value());
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\inf\\oem0.inf").has_value());
}

TEST_F(DeviceBuiltins, DriverKeyValuesLongerThanTheRecordAreNeverCut) {
  const std::string driverKey = InstallDevice();
  // An InfPath of 300 characters: read into the record's 255 bytes, ended
  // there, and no file of a cut name is deleted.
  const std::string longName = std::string(296, 'a') + ".inf";
  SetText(driverKey, "InfPath", longName);
  HDEVINFO set =
      setup::theDeviceApi.SetupDiGetClassDevsA(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof device;
  ASSERT_TRUE(setup::theDeviceApi.SetupDiEnumDeviceInfo(set, 0, &device));
  setup::DeviceOemInfo record;
  std::memset(record.szInfPath, 'x', sizeof record.szInfPath);  // garbage to be replaced
  const int read = setup::GetDeviceOemInfo(set, &device, &record);
  setup::theDeviceApi.SetupDiDestroyDeviceInfoList(set);
  if (read) {
    EXPECT_LT(std::strlen(record.szInfPath), sizeof record.szInfPath);
    EXPECT_STREQ(record.szService, "vdev");
  } else {
    EXPECT_EQ(record.szInfPath[0], '\0');
  }
  EXPECT_EQ(std::string(record.szClassKey),
            "SYSTEM\\CurrentControlSet\\Control\\Class\\" + driverKey.substr(driverKey.rfind("{")));
}

TEST_F(DeviceBuiltins, EveryDeviceSetIsDestroyed) {
  InstallDevice();
  // Each operation opens its own set; none may stay open afterwards.
  EXPECT_EQ(setup::CheckDeviceStatus("root\\vdev"), 10);
  EXPECT_EQ(setup::CheckDeviceStatus("root\\none"), 12);
  EXPECT_EQ(setup::DisableDriverByHardwareId("root\\vdev"), 1);
  EXPECT_EQ(setup::EnableDriverByHardwareId("root\\vdev"), 1);
  EXPECT_EQ(setup::DeleteServiceDevices("vdev"), 1);
  EXPECT_EQ(sim::detail::OpenHandleCount(), 0u);
}

}  // namespace
