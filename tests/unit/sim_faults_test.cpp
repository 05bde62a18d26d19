// Fault injection of the simulated machine: every operation is named, and each
// entry point that opens with the fault prologue fails with the requested
// code and its own failure value, once, and then works again.
#include <functional>
#include <string>

#include "sim_fixture.h"

namespace {

using namespace plat;

constexpr DWORD kCode = 0x4D2;  // 1234: no entry point answers it by itself

TEST(SimFaultNames, EveryOperationRoundTripsThroughItsName) {
  int count = 0;
#define SIM_FAULT_NAME_CHECK(name)                                 \
  EXPECT_STREQ(sim::OpName(sim::Op::name), #name);                 \
  EXPECT_EQ(sim::OpFromName(#name), std::optional(sim::Op::name)); \
  ++count;
  SIM_FAULT_OPS(SIM_FAULT_NAME_CHECK)
#undef SIM_FAULT_NAME_CHECK
  EXPECT_EQ(count, static_cast<int>(sim::Op::UpdateDriverForPlugAndPlayDevices) + 1);
  EXPECT_FALSE(sim::OpFromName("writefile").has_value());  // names are exact
  EXPECT_FALSE(sim::OpFromName("").has_value());
}

class SimFaults : public SimTest {
 protected:
  // Arms one failure of `op`; `call` must then answer false (its failure
  // value) with kCode as the last error, and true when called again.
  void ExpectOneFailure(sim::Op op, const std::function<bool()>& call) {
    SCOPED_TRACE(sim::OpName(op));
    sim::FailNext(op, kCode);
    SetLastError(0);
    EXPECT_FALSE(call());
    EXPECT_EQ(GetLastError(), kCode);
    EXPECT_TRUE(call());
  }
};

TEST_F(SimFaults, FileEntryPointsFailOnceWithTheRequestedCode) {
  ASSERT_TRUE(sim::PutFile("C:\\data.txt", "0123456789"));
  HANDLE file = CreateFileA("C:\\data.txt", GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  char buffer[4];
  DWORD done = 0;
  ExpectOneFailure(sim::Op::ReadFile, [&] { return ReadFile(file, buffer, 2, &done, nullptr); });
  ExpectOneFailure(sim::Op::WriteFile, [&] { return WriteFile(file, "ab", 2, &done, nullptr); });
  ExpectOneFailure(sim::Op::GetFileSize,
                   [&] { return GetFileSize(file, nullptr) != INVALID_FILE_SIZE; });
  ExpectOneFailure(sim::Op::SetFilePointer, [&] {
    return SetFilePointer(file, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER;
  });
  ExpectOneFailure(sim::Op::SetEndOfFile, [&] { return SetEndOfFile(file) != FALSE; });
  ExpectOneFailure(sim::Op::CloseHandle, [&] { return CloseHandle(file) != FALSE; });

  ExpectOneFailure(sim::Op::CreateFile, [&] {
    HANDLE h = CreateFileA("C:\\data.txt", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    CloseHandle(h);
    return true;
  });
  ExpectOneFailure(sim::Op::GetFileAttributes,
                   [] { return GetFileAttributesA("C:\\data.txt") != INVALID_FILE_ATTRIBUTES; });
  ExpectOneFailure(sim::Op::SetFileAttributes, [] {
    return SetFileAttributesA("C:\\data.txt", FILE_ATTRIBUTE_NORMAL) != FALSE;
  });
  ExpectOneFailure(sim::Op::CopyFile,
                   [] { return CopyFileA("C:\\data.txt", "C:\\copy.txt", FALSE) != FALSE; });
  ExpectOneFailure(sim::Op::DeleteFile, [] { return DeleteFileA("C:\\copy.txt") != FALSE; });
  ExpectOneFailure(sim::Op::CreateDirectory,
                   [] { return CreateDirectoryA("C:\\made", nullptr) != FALSE; });
  ExpectOneFailure(sim::Op::RemoveDirectory, [] { return RemoveDirectoryA("C:\\made") != FALSE; });
  ExpectOneFailure(sim::Op::FindFirstFile, [] {
    WIN32_FIND_DATAA data{};
    HANDLE find = FindFirstFileA("C:\\*", &data);
    if (find == INVALID_HANDLE_VALUE) return false;
    FindClose(find);
    return true;
  });
}

TEST_F(SimFaults, SystemEntryPointsFailOnceWithTheRequestedCode) {
  char buffer[MAX_PATH];
  ExpectOneFailure(sim::Op::GetSystemDirectory,
                   [&] { return GetSystemDirectoryA(buffer, sizeof buffer) != 0; });
  ExpectOneFailure(sim::Op::GetVersionEx, [] {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExA(&info) != FALSE;
  });
  HMODULE library = nullptr;
  ExpectOneFailure(sim::Op::LoadLibrary, [&] {
    library = LoadLibraryA("SetupApi.dll");
    return library != nullptr;
  });
  ExpectOneFailure(sim::Op::GetProcAddress,
                   [&] { return GetProcAddress(library, "SetupDiGetClassDevsA") != nullptr; });
  FreeLibrary(library);
  HANDLE token = nullptr;
  ExpectOneFailure(sim::Op::OpenProcessToken,
                   [&] { return OpenProcessToken(GetCurrentProcess(), 0x28, &token) != FALSE; });
  CloseHandle(token);
  LUID luid{};
  ExpectOneFailure(sim::Op::LookupPrivilegeValue, [&] {
    return LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &luid) != FALSE;
  });
  ExpectOneFailure(sim::Op::MessageBox,
                   [] { return MessageBoxA(nullptr, "text", "caption", MB_OK) != 0; });
}

}  // namespace
