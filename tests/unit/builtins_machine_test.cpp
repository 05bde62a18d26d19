// The registry, file and service operations of the built-ins on the simulated
// machine, for what scripts cannot set up: binary and multi-text values, read-
// only files, the service deletion shared with the device family.
#include <cstring>
#include <string>

#include "base/global.h"
#include "builtins/operations.h"
#include "platform/sim/view.h"
#include "sim_fixture.h"

namespace {

using namespace plat;

constexpr std::int32_t kMachine = static_cast<std::int32_t>(0x80000002u);

class BuiltinsOnMachine : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    setup::theGlobal.ErrorFlag = 0;
    setup::theGlobal.m_bNeedReboot = 0;
  }
  void TearDown() override {
    setup::theGlobal.ErrorFlag = 0;
    setup::theGlobal.m_bNeedReboot = 0;
    SimTest::TearDown();
  }
  static void Put(const char* path, const char* name, DWORD type, std::vector<BYTE> data) {
    ASSERT_TRUE(sim::SetRegistryValue(HKEY_LOCAL_MACHINE, path, {name, type, data}));
  }
  static std::vector<BYTE> Bytes(const std::string& text) {
    return std::vector<BYTE>(text.begin(), text.end());
  }
};

TEST_F(BuiltinsOnMachine, ShortBinaryDataReadsWithZeroHighBytes) {
  Put("SOFTWARE\\T", "Two", REG_BINARY, {0x34, 0x12});
  Put("SOFTWARE\\T", "Five", REG_BINARY, {1, 0, 0, 0x80, 9});
  Put("SOFTWARE\\T", "Empty", REG_BINARY, {});
  EXPECT_EQ(setup::GetRegValued(kMachine, "SOFTWARE\\T", "Two"), 0x1234);
  EXPECT_EQ(setup::GetRegValued(kMachine, "SOFTWARE\\T", "Five"),
            static_cast<std::int32_t>(0x80000001u));
  EXPECT_EQ(setup::GetRegValued(kMachine, "SOFTWARE\\T", "Empty"), 0);
  EXPECT_EQ(setup::theGlobal.ErrorFlag, 0);
  // 256 bytes do not fit the read buffer.
  Put("SOFTWARE\\T", "Big", REG_BINARY, std::vector<BYTE>(256, 1));
  EXPECT_EQ(setup::GetRegValued(kMachine, "SOFTWARE\\T", "Big"), 0);
  EXPECT_EQ(setup::theGlobal.ErrorFlag, 1);
  EXPECT_EQ(m_Out, "");  // failures of getregvalued only reach the trace hook
}

TEST_F(BuiltinsOnMachine, TextValuesOfEveryTextTypeUpToTheirFirstNul) {
  Put("SOFTWARE\\T", "Multi", REG_MULTI_SZ, Bytes(std::string("first\0second\0\0", 14)));
  Put("SOFTWARE\\T", "Expand", REG_EXPAND_SZ, Bytes(std::string("%SystemRoot%\\x\0", 16)));
  Put("SOFTWARE\\T", "NoNul", REG_SZ, Bytes("abc"));
  Put("SOFTWARE\\T", "Full", REG_SZ, Bytes(std::string(255, 'z')));
  Put("SOFTWARE\\T", "Nul", REG_SZ, Bytes(std::string("\0", 1)));
  setup::TextOut out;
  EXPECT_EQ(setup::GetRegValues(kMachine, "SOFTWARE\\T", "Multi", out), 1);
  EXPECT_EQ(out, "first");
  out.reset();
  EXPECT_EQ(setup::GetRegValues(kMachine, "SOFTWARE\\T", "Expand", out), 1);
  EXPECT_EQ(out, "%SystemRoot%\\x");  // not expanded
  out.reset();
  EXPECT_EQ(setup::GetRegValues(kMachine, "SOFTWARE\\T", "NoNul", out), 1);
  EXPECT_EQ(out, "abc");
  EXPECT_EQ(setup::theGlobal.ErrorFlag, 0);
  // 255 bytes without a NUL, and an empty text, fail without a message.
  out.reset();
  EXPECT_EQ(setup::GetRegValues(kMachine, "SOFTWARE\\T", "Full", out), 0);
  EXPECT_EQ(setup::GetRegValues(kMachine, "SOFTWARE\\T", "Nul", out), 0);
  EXPECT_FALSE(out.has_value());
  EXPECT_EQ(setup::theGlobal.ErrorFlag, 1);
  EXPECT_EQ(m_Out, "");
}

TEST_F(BuiltinsOnMachine, RegistryFailuresDoNotChangeTheLastError) {
  SetLastError(1234);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing", &key), 2);
  EXPECT_EQ(GetLastError(), 1234u);
  // The built-in clears it first, so the report carries 0 on every system.
  EXPECT_EQ(setup::DeleteRegTree(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing"), 1);
  EXPECT_EQ(m_Out, "\n$ cannot open SOFTWARE\\Missing: win error code:0x00000000 ");
  EXPECT_EQ(setup::DeleteRegTree(HKEY_LOCAL_MACHINE, ""), 0);
}

TEST_F(BuiltinsOnMachine, SetKeyRightsOpensEveryKeyChildrenFirst) {
  ASSERT_TRUE(sim::SetKeyAccess(HKEY_LOCAL_MACHINE, "SOFTWARE\\R\\A\\B", KEY_READ));
  ASSERT_TRUE(sim::SetKeyAccess(HKEY_LOCAL_MACHINE, "SOFTWARE\\R", KEY_READ));
  EXPECT_EQ(setup::SetKeyRights(HKEY_LOCAL_MACHINE, "SOFTWARE\\R"), 1);
  for (const char* path : {"SOFTWARE\\R", "SOFTWARE\\R\\A", "SOFTWARE\\R\\A\\B"}) {
    EXPECT_EQ(sim::KeyOpenToEveryone(HKEY_LOCAL_MACHINE, path), true) << path;
    EXPECT_FALSE(sim::KeyRights(HKEY_LOCAL_MACHINE, path).has_value()) << path;
  }
  EXPECT_EQ(setup::SetKeyRights(HKEY_LOCAL_MACHINE, "SOFTWARE\\None"), 0);
  EXPECT_EQ(m_Out, "\n$ set key right:open 'SOFTWARE\\None' failed : win error code:0x00000002 ");
}

TEST_F(BuiltinsOnMachine, CopyReplacesAReadOnlyDestination) {
  ASSERT_TRUE(sim::PutFile("C:\\src.txt", "new"));
  ASSERT_TRUE(sim::PutFile("C:\\dst.txt", "old"));
  ASSERT_TRUE(SetFileAttributesA("C:\\dst.txt", FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(CopyFileA("C:\\src.txt", "C:\\dst.txt", FALSE), FALSE);  // what the reset avoids
  EXPECT_EQ(setup::CopyFileTo("C:\\src.txt", "C:\\dst.txt"), 1);
  EXPECT_EQ(sim::GetFile("C:\\dst.txt"), "new");
  ASSERT_TRUE(SetFileAttributesA("C:\\dst.txt", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(setup::DeleteFileAt("C:\\dst.txt"), 1);
  EXPECT_FALSE(sim::GetFile("C:\\dst.txt").has_value());
}

TEST_F(BuiltinsOnMachine, DeleteDirectoryRefusesPathsAtTheLimit) {
  std::string path = "C:\\" + std::string(200, 'd');
  ASSERT_TRUE(CreateDirectoryA(path.c_str(), nullptr));
  std::string deep = path + "\\" + std::string(50, 'e');  // 254 characters
  ASSERT_EQ(deep.size(), 254u);
  ASSERT_TRUE(CreateDirectoryA(deep.c_str(), nullptr));
  ASSERT_TRUE(sim::PutFile(deep + "\\f", "x"));
  EXPECT_EQ(setup::DeleteDirectoryTree((deep + "\\").c_str()), 0);  // 255: refused
  EXPECT_TRUE(sim::GetFile(deep + "\\f").has_value());
  EXPECT_EQ(setup::DeleteDirectoryTree(path.c_str()), 1);
  EXPECT_EQ(GetFileAttributesA(path.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(BuiltinsOnMachine, DeleteServiceAndKeyRemovesARunningDriver) {
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\gone.sys", "d"));
  EXPECT_EQ(setup::CreateDriverService("gone", nullptr, 3, "system32\\drivers\\gone.sys"), 1);
  ASSERT_EQ(m_Events, "[service] start: gone\n");
  EXPECT_EQ(setup::DeleteServiceAndKey("gone"), 1);
  EXPECT_EQ(m_Events, "[service] start: gone\n[service] stop: gone\n[service] delete: gone\n");
  // The manager removed the stopped service with its key once the handle
  // closed, so the key already gone is not reported.
  EXPECT_EQ(m_Out, "");
  for (const sim::Service& s : sim::Services()) EXPECT_NE(s.name, "gone");
  EXPECT_EQ(setup::DeleteServiceAndKey(""), 0);
  EXPECT_EQ(setup::DeleteServiceAndKey(nullptr), 0);
}

TEST_F(BuiltinsOnMachine, AServiceThatDoesNotStopOutlivesItsKeyUntilTheRestart) {
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\stuck.sys", "d"));
  EXPECT_EQ(setup::CreateDriverService("stuck", nullptr, 3, "system32\\drivers\\stuck.sys"), 1);
  sim::FailNext(sim::Op::ControlService, ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
  EXPECT_EQ(setup::DeleteServiceAndKey("stuck"), 1);
  EXPECT_EQ(m_Out, "");  // the key was still there and is gone now
  EXPECT_FALSE(
      sim::ReadRegistryKey(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\stuck"));
  ASSERT_EQ(sim::Services().size(), 7u);  // six of a fresh machine and the marked one
  // The name stays taken until the system restarts.
  EXPECT_EQ(setup::CreateDriverService("stuck", nullptr, 3, "system32\\drivers\\stuck.sys"), 0);
  EXPECT_EQ(m_Out, "\n$ cannot add new service 'stuck':win error code:0x00000430 ");
  EXPECT_EQ(setup::theGlobal.ErrorFlag, 1);
}

TEST_F(BuiltinsOnMachine, RestartFlagIsSetByAFailedStartAndNeverCleared) {
  EXPECT_EQ(setup::CreateDriverService("nofile", nullptr, 3, "C:\\nofile.sys"), 1);
  EXPECT_EQ(setup::theGlobal.m_bNeedReboot, 1);
  ASSERT_TRUE(sim::PutFile("C:\\nofile.sys", "d"));
  EXPECT_EQ(setup::StartServiceByName("nofile"), 1);  // starts now, the flag stays
  EXPECT_EQ(setup::theGlobal.m_bNeedReboot, 1);
  setup::theGlobal.m_bNeedReboot = 0;
  EXPECT_EQ(setup::StartServiceByName("nofile"), 1);  // already running: nothing pending
  EXPECT_EQ(setup::theGlobal.m_bNeedReboot, 0);
}

}  // namespace
