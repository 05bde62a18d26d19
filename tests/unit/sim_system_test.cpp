// System information, message boxes, processes, restarts and persistence of
// the simulated machine.
#include <cstring>
#include <filesystem>
#include <fstream>

#include "sim_fixture.h"

namespace {

using namespace plat;

class SimSystem : public SimTest {};

TEST_F(SimSystem, VersionFollowsTheProfile) {
  OSVERSIONINFOA info{};
  info.dwOSVersionInfoSize = sizeof info;
  ASSERT_TRUE(GetVersionExA(&info));
  EXPECT_EQ(info.dwMajorVersion, 5u);
  EXPECT_EQ(info.dwMinorVersion, 1u);
  EXPECT_EQ(info.dwBuildNumber, 2600u);
  EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_NT);
  EXPECT_EQ(GetVersion(), 0x0A280105u);
  info.dwOSVersionInfoSize = 100;
  EXPECT_FALSE(GetVersionExA(&info));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  unsigned char extended[156] = {};
  const DWORD size = 156;
  std::memcpy(extended, &size, sizeof size);
  EXPECT_TRUE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(extended)));
  EXPECT_EQ(extended[148], 3);  // service pack major of "Service Pack 3"

  sim::Profile& profile = sim::GetProfile();
  profile.majorVersion = 4;
  profile.minorVersion = 10;
  profile.platformId = VER_PLATFORM_WIN32_WINDOWS;
  EXPECT_EQ(GetVersion() & 0x8000FFFFu, 0x80000A04u);
  profile.locale = 0x0804;
  EXPECT_EQ(GetSystemDefaultLCID(), 0x0804u);
  sim::FailNext(sim::Op::GetVersionEx, ERROR_INVALID_FUNCTION);
  info.dwOSVersionInfoSize = sizeof info;
  EXPECT_FALSE(GetVersionExA(&info));
}

TEST_F(SimSystem, SystemDirectorySizeProtocol) {
  char buffer[64];
  EXPECT_EQ(GetSystemDirectoryA(buffer, sizeof buffer), 19u);
  EXPECT_STREQ(buffer, "C:\\WINDOWS\\system32");
  std::strcpy(buffer, "untouched");
  EXPECT_EQ(GetSystemDirectoryA(buffer, 19), 20u);  // too small: the size needed
  EXPECT_STREQ(buffer, "untouched");
}

TEST_F(SimSystem, TimeAndSleep) {
  SYSTEMTIME fixed{2008, 5, 3, 7, 9, 4, 0, 0};
  sim::SetFixedTime(fixed);
  SYSTEMTIME now{};
  GetSystemTime(&now);
  EXPECT_EQ(now.wYear, 2008);
  EXPECT_EQ(now.wHour, 9);
  sim::SetFixedTime(std::nullopt);
  GetSystemTime(&now);
  EXPECT_GE(now.wYear, 2024);
  sim::SetFastSleep(true);
  Sleep(0xFFFFFFFFu);  // would never return without fast sleep
  EXPECT_EQ(m_Events, "[sleep] 4294967295 ms\n");
}

TEST_F(SimSystem, MessageBoxesAnswerQueuedOrDefaultButtons) {
  EXPECT_EQ(MessageBoxA(nullptr, "Line one\nLine two", "Note", MB_YESNO), IDYES);
  EXPECT_EQ(MessageBoxA(nullptr, "Done", "Prompt", MB_ICONINFORMATION), IDOK);
  EXPECT_EQ(MessageBoxA(nullptr, "Sure?", "Q", MB_YESNO | 0x100 /* MB_DEFBUTTON2 */), IDNO);
  sim::QueueAnswer(IDNO);
  EXPECT_EQ(MessageBoxA(nullptr, "Again?", "Q", MB_YESNO), IDNO);
  EXPECT_EQ(MessageBoxA(nullptr, nullptr, nullptr, MB_OK), IDOK);
  EXPECT_EQ(m_Events,
            "[msgbox] Note: Line one\\nLine two -> 6\n"
            "[msgbox] Prompt: Done -> 1\n"
            "[msgbox] Q: Sure? -> 7\n"
            "[msgbox] Q: Again? -> 7\n"
            "[msgbox] Error:  -> 1\n");
  sim::FailNext(sim::Op::MessageBox, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(MessageBoxA(nullptr, "x", "y", MB_OK), 0);
}

TEST_F(SimSystem, StandardOutputGoesToTheSink) {
  WriteStdout("hello\n", 6);
  WriteStdout(nullptr, 3);
  EXPECT_EQ(m_Out, "hello\n");
}

TEST_F(SimSystem, ProcessesStartOnlyWhenTheProgramExists) {
  STARTUPINFOA startup{};
  startup.cb = 68;
  PROCESS_INFORMATION process{};
  char missing[] = "patch.exe /Q /C:patch.inf";
  EXPECT_FALSE(CreateProcessA(nullptr, missing, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &process));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);

  // Found in the system directory, ".exe" added.
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\patch.exe", "MZ"));
  char bare[] = "patch /Q";
  ASSERT_TRUE(CreateProcessA(nullptr, bare, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                             &process));
  EXPECT_EQ(WaitForSingleObject(process.hProcess, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(CloseHandle(process.hProcess));
  EXPECT_TRUE(CloseHandle(process.hThread));
  EXPECT_EQ(WaitForSingleObject(process.hProcess, INFINITE), WAIT_FAILED);

  // A quoted path with blanks, found beside the module.
  ASSERT_TRUE(sim::SetModule(reinterpret_cast<HMODULE>(0x400000),
                             "C:\\Program Files\\Setup\\Setup.dll", {'M', 'Z'}));
  ASSERT_TRUE(sim::PutFile("C:\\Program Files\\Setup\\helper.exe", "MZ"));
  char quoted[] = "\"C:\\Program Files\\Setup\\helper.exe\" -x";
  ASSERT_TRUE(CreateProcessA(nullptr, quoted, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  char beside[] = "helper";
  ASSERT_TRUE(CreateProcessA(nullptr, beside, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  char inMissingDir[] = "C:\\nodir\\x.exe";
  EXPECT_FALSE(CreateProcessA(nullptr, inMissingDir, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &process));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(m_Events,
            "[process] not found: patch.exe /Q /C:patch.inf (error 2)\n"
            "[process] start: patch /Q\n"
            "[process] start: \"C:\\Program Files\\Setup\\helper.exe\" -x\n"
            "[process] start: helper\n"
            "[process] not found: C:\\nodir\\x.exe (error 3)\n");
}

void EnableShutdownPrivilege() {
  HANDLE token = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token));
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  ASSERT_TRUE(
      LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &privileges.Privileges[0].Luid));
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  ASSERT_TRUE(AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  CloseHandle(token);
}

TEST_F(SimSystem, RestartNeedsTheShutdownPrivilegeOnNt) {
  EXPECT_FALSE(ExitWindowsEx(EWX_REBOOT, 0));
  EXPECT_EQ(GetLastError(), 1314u);
  EXPECT_EQ(sim::RestartRequests(), 0);
  EnableShutdownPrivilege();
  EXPECT_TRUE(ExitWindowsEx(EWX_REBOOT, 0));
  EXPECT_EQ(sim::RestartRequests(), 1);
  EXPECT_EQ(m_Events,
            "[reboot] refused: shutdown privilege not held\n[reboot] restart requested\n");
  LUID luid{};
  EXPECT_FALSE(LookupPrivilegeValueA(nullptr, "SeNoSuchPrivilege", &luid));
  EXPECT_EQ(GetLastError(), 1313u);
}

TEST_F(SimSystem, RestartOnTheWindows9xPlatformNeedsNoPrivilege) {
  sim::GetProfile().platformId = VER_PLATFORM_WIN32_WINDOWS;
  EXPECT_TRUE(ExitWindowsEx(EWX_REBOOT, 0));
  EXPECT_EQ(sim::RestartRequests(), 1);
}

TEST_F(SimSystem, StatePersistsAcrossBoots) {
  std::string dir = sim::StateDir() + "-saved";
  std::string error;
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  sim::GetProfile().locale = 0x0804;
  ASSERT_TRUE(sim::PutFile("C:\\keep\\ro.txt", "kept"));
  ASSERT_TRUE(SetFileAttributesA("C:\\keep\\ro.txt", FILE_ATTRIBUTE_READONLY));
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Saved", 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr),
            0);
  DWORD value = 42;
  ASSERT_EQ(RegSetValueExA(key, "Answer", 0, REG_DWORD, reinterpret_cast<BYTE*>(&value), 4), 0);
  RegCloseKey(key);
  sim::Device device;
  device.instanceId = "PCI\\VEN_1\\0";
  device.hardwareIds = {"PCI\\VEN_1"};
  ASSERT_TRUE(sim::AddDevice(device));
  EnableShutdownPrivilege();
  ASSERT_TRUE(ExitWindowsEx(EWX_REBOOT, 0));
  sim::Shutdown();

  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  EXPECT_EQ(GetSystemDefaultLCID(), 0x0804u);
  EXPECT_EQ(sim::GetFile("C:\\keep\\ro.txt").value_or(""), "kept");
  EXPECT_EQ(GetFileAttributesA("C:\\keep\\ro.txt"), FILE_ATTRIBUTE_READONLY);
  ASSERT_EQ(RegOpenKeyA(HKEY_CURRENT_USER, "Software\\Saved", &key), 0);
  DWORD size = 4;
  value = 0;
  EXPECT_EQ(
      RegQueryValueExA(key, "Answer", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size), 0);
  EXPECT_EQ(value, 42u);
  RegCloseKey(key);
  ASSERT_EQ(sim::Devices().size(), 1u);
  EXPECT_EQ(sim::Devices()[0].hardwareIds, device.hardwareIds);
  EXPECT_EQ(sim::RestartRequests(), 1);
  EXPECT_EQ(ExitWindowsEx(EWX_REBOOT, 0), FALSE);  // privileges belong to one boot
  sim::Shutdown();

  // A damaged state file is refused with a message.
  std::ofstream(dir + "/machine.json") << "{ not json";
  EXPECT_FALSE(sim::Boot(dir, &error));
  EXPECT_NE(error.find("machine.json"), std::string::npos) << error;
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(sim::Boot("", &error));
}

TEST_F(SimSystem, TemporaryMachinesAreDeletedAtShutdown) {
  std::string dir = sim::StateDir();
  // The files live in memory: the scratch directory stays empty.
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\system32\\SetupApi.dll").has_value());
  EXPECT_EQ(GetFileAttributesA("C:\\WINDOWS\\Temp"), FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_TRUE(std::filesystem::is_empty(dir));
  sim::Shutdown();
  EXPECT_FALSE(std::filesystem::exists(dir));
  std::string error;
  ASSERT_TRUE(sim::Boot("", &error));
}

}  // namespace
