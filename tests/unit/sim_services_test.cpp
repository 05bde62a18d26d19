// Service control manager of the simulated machine.
#include <cstring>
#include <filesystem>
#include <fstream>

#include "sim_fixture.h"

namespace {

using namespace plat;

class SimServices : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    m_hManager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    ASSERT_NE(m_hManager, nullptr);
  }
  void TearDown() override {
    CloseServiceHandle(m_hManager);
    SimTest::TearDown();
  }
  SC_HANDLE Create(const char* name, DWORD start, const char* image) {
    return CreateServiceA(m_hManager, name, name, SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER, start,
                          SERVICE_ERROR_NORMAL, image, nullptr, nullptr, nullptr, nullptr, nullptr);
  }
  static std::string RegString(const std::string& key, const char* name) {
    HKEY k = nullptr;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, key.c_str(), &k) != 0) return "<no key>";
    char data[256] = {};
    DWORD size = sizeof data - 1;
    LONG status = RegQueryValueExA(k, name, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size);
    RegCloseKey(k);
    return status == 0 ? data : "<no value>";
  }
  static sim::Service Find(const std::string& name) {
    for (const sim::Service& s : sim::Services()) {
      if (s.name == name) return s;
    }
    return {};
  }
  SC_HANDLE m_hManager = nullptr;
};

TEST_F(SimServices, CreateAndStartADriverWhoseImageExists) {
  ASSERT_TRUE(sim::PutFile("C:\\Drivers\\drvx.sys", "driver"));
  SC_HANDLE service = Create("drvx", SERVICE_DEMAND_START, "C:\\Drivers\\drvx.sys");
  ASSERT_NE(service, nullptr);
  EXPECT_EQ(RegString("SYSTEM\\CurrentControlSet\\Services\\drvx", "ImagePath"),
            "C:\\Drivers\\drvx.sys");
  ASSERT_TRUE(StartServiceA(service, 0, nullptr));
  EXPECT_EQ(m_Events, "[service] start: drvx\n");
  SERVICE_STATUS status{};
  ASSERT_TRUE(QueryServiceStatus(service, &status));
  EXPECT_EQ(status.dwCurrentState, SERVICE_RUNNING);
  EXPECT_EQ(status.dwServiceType, SERVICE_KERNEL_DRIVER);
  EXPECT_FALSE(StartServiceA(service, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_ALREADY_RUNNING);
  ASSERT_TRUE(ControlService(service, SERVICE_CONTROL_STOP, &status));
  EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
  EXPECT_FALSE(ControlService(service, SERVICE_CONTROL_STOP, &status));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_NOT_ACTIVE);
  CloseServiceHandle(service);
}

TEST_F(SimServices, StartFailuresAnswerWindowsCodes) {
  SC_HANDLE missing = Create("noimage", SERVICE_DEMAND_START, "C:\\Drivers\\none.sys");
  EXPECT_FALSE(StartServiceA(missing, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  CloseServiceHandle(missing);
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\off.sys", "d"));
  // Image paths relative to the Windows directory, as drivers often have them.
  SC_HANDLE disabled = Create("off", SERVICE_DISABLED, "system32\\drivers\\off.sys");
  EXPECT_FALSE(StartServiceA(disabled, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_DISABLED);
  CloseServiceHandle(disabled);
  SC_HANDLE rooted =
      Create("rooted", SERVICE_DEMAND_START, "\\SystemRoot\\system32\\drivers\\off.sys");
  EXPECT_TRUE(StartServiceA(rooted, 0, nullptr));
  CloseServiceHandle(rooted);
}

TEST_F(SimServices, CreateAndOpenErrors) {
  SC_HANDLE first = Create("Dup", SERVICE_AUTO_START, "C:\\x.sys");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Create("dup", SERVICE_AUTO_START, "C:\\x.sys"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_EXISTS);
  EXPECT_EQ(Create("bad", 9, "C:\\x.sys"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Create("", 3, "C:\\x.sys"), nullptr);
  EXPECT_EQ(GetLastError(), 123u);
  EXPECT_EQ(OpenServiceA(m_hManager, "nothere", SERVICE_ALL_ACCESS), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
  SC_HANDLE opened = OpenServiceA(m_hManager, "DUP", SERVICE_ALL_ACCESS);
  EXPECT_NE(opened, nullptr);
  CloseServiceHandle(opened);
  CloseServiceHandle(first);
  EXPECT_FALSE(CloseServiceHandle(first));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(SimServices, DeletionWaitsForTheLastHandleAndTheStop) {
  ASSERT_TRUE(sim::PutFile("C:\\d.sys", "d"));
  SC_HANDLE service = Create("gone", SERVICE_DEMAND_START, "C:\\d.sys");
  ASSERT_TRUE(StartServiceA(service, 0, nullptr));
  ASSERT_TRUE(DeleteService(service));
  EXPECT_FALSE(DeleteService(service));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_MARKED_FOR_DELETE);
  CloseServiceHandle(service);
  // Still running: the entry stays, marked, until it stops or the machine restarts.
  EXPECT_TRUE(Find("gone").markedForDelete);
  EXPECT_EQ(Create("gone", SERVICE_DEMAND_START, "C:\\d.sys"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_MARKED_FOR_DELETE);
  service = OpenServiceA(m_hManager, "gone", SERVICE_ALL_ACCESS);
  SERVICE_STATUS status{};
  ASSERT_TRUE(ControlService(service, SERVICE_CONTROL_STOP, &status));
  EXPECT_EQ(Find("gone").name, "gone");  // a handle is still open
  CloseServiceHandle(service);
  EXPECT_EQ(Find("gone").name, "");
  EXPECT_EQ(RegString("SYSTEM\\CurrentControlSet\\Services\\gone", "ImagePath"), "<no key>");
}

TEST_F(SimServices, StateSurvivesARestartOfTheMachine) {
  std::string dir = sim::StateDir() + "-persist";
  std::string error;
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  m_hManager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  ASSERT_TRUE(sim::PutFile("C:\\auto.sys", "d"));
  SC_HANDLE automatic = Create("auto", SERVICE_AUTO_START, "C:\\auto.sys");
  SC_HANDLE manual = Create("manual", SERVICE_DEMAND_START, "C:\\auto.sys");
  SC_HANDLE doomed = Create("doomed", SERVICE_DEMAND_START, "C:\\auto.sys");
  ASSERT_TRUE(StartServiceA(manual, 0, nullptr));
  ASSERT_TRUE(StartServiceA(doomed, 0, nullptr));
  ASSERT_TRUE(DeleteService(doomed));
  for (SC_HANDLE h : {automatic, manual, doomed}) CloseServiceHandle(h);
  sim::Shutdown();

  ASSERT_TRUE(sim::Boot(dir, &error)) << error;  // no restart yet: states kept
  EXPECT_TRUE(Find("manual").running);
  EXPECT_TRUE(Find("doomed").markedForDelete);
  EXPECT_FALSE(Find("auto").running);
  HANDLE token = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token));
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  ASSERT_TRUE(
      LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &privileges.Privileges[0].Luid));
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  ASSERT_TRUE(AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr));
  CloseHandle(token);
  ASSERT_TRUE(ExitWindowsEx(EWX_REBOOT, 0));
  sim::Shutdown();

  ASSERT_TRUE(sim::Boot(dir, &error)) << error;  // restarted
  EXPECT_TRUE(Find("auto").running);
  EXPECT_FALSE(Find("manual").running);
  EXPECT_EQ(Find("doomed").name, "");
  EXPECT_EQ(sim::RestartRequests(), 1);
  sim::Shutdown();
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(sim::Boot("", &error));
  m_hManager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
}

TEST_F(SimServices, TheRegistryKeyIsTheConfiguration) {
  // A service written straight into the registry is known to the manager.
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\raw.sys", "d"));
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\Raw", 0,
                            nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            0);
  DWORD one = 1;
  DWORD demand = SERVICE_DEMAND_START;
  RegSetValueExA(key, "Type", 0, REG_DWORD, reinterpret_cast<BYTE*>(&one), 4);
  RegSetValueExA(key, "Start", 0, REG_DWORD, reinterpret_cast<BYTE*>(&demand), 4);
  RegCloseKey(key);
  SC_HANDLE raw = OpenServiceA(m_hManager, "raw", SERVICE_ALL_ACCESS);
  ASSERT_NE(raw, nullptr);
  EXPECT_TRUE(StartServiceA(raw, 0, nullptr));  // default image: drivers\raw.sys
  // A changed start type counts at once.
  DWORD disabled = SERVICE_DISABLED;
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\Raw", &key), 0);
  RegSetValueExA(key, "Start", 0, REG_DWORD, reinterpret_cast<BYTE*>(&disabled), 4);
  RegCloseKey(key);
  EXPECT_EQ(Find("Raw").startType, SERVICE_DISABLED);
  EXPECT_TRUE(Find("Raw").running);
  // Without its key (and not marked for deletion) the service is gone.
  ASSERT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\Raw"), 0u);
  EXPECT_FALSE(StartServiceA(raw, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
  CloseServiceHandle(raw);
  EXPECT_EQ(OpenServiceA(m_hManager, "raw", SERVICE_ALL_ACCESS), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
}

TEST_F(SimServices, AFreshMachineRunsTheStandardServices) {
  EXPECT_TRUE(Find("Beep").running);
  EXPECT_EQ(Find("Tcpip").group, "PNP_TDI");
  EXPECT_EQ(Find("Eventlog").type, 0x20u);
  EXPECT_EQ(RegString("SYSTEM\\CurrentControlSet\\Services\\Spooler", "ImagePath"),
            "%SystemRoot%\\system32\\spoolsv.exe");
  SC_HANDLE beep = OpenServiceA(m_hManager, "beep", SERVICE_ALL_ACCESS);
  EXPECT_FALSE(StartServiceA(beep, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_ALREADY_RUNNING);
  CloseServiceHandle(beep);
}

TEST_F(SimServices, AnOldStateWithItsOwnServiceListLoads) {
  std::string dir = sim::StateDir() + "-old";
  std::filesystem::create_directories(dir);
  {
    std::ofstream out(dir + "/machine.json");
    out << R"({"registry": {"HKEY_LOCAL_MACHINE": {"name": "HKEY_LOCAL_MACHINE", "keys": []}},
               "services": [{"name": "olddrv", "displayName": "Old", "type": 1, "startType": 3,
                             "errorControl": 1, "imagePath": "C:\\old.sys", "group": "",
                             "running": true, "markedForDelete": false}]})";
  }
  std::string error;
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  m_hManager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  EXPECT_TRUE(Find("olddrv").running);
  EXPECT_EQ(Find("olddrv").displayName, "Old");
  EXPECT_EQ(RegString("SYSTEM\\CurrentControlSet\\Services\\olddrv", "ImagePath"), "C:\\old.sys");
  CloseServiceHandle(m_hManager);
  sim::Shutdown();
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;  // saved in the new form
  EXPECT_TRUE(Find("olddrv").running);
  sim::Shutdown();
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(sim::Boot("", &error));
  m_hManager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
}

}  // namespace
