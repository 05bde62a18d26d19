// Files of the simulated machine: path mapping, error codes, share modes,
// attributes, mappings, searches and fault injection.
#include <cstring>
#include <filesystem>

#include "sim_fixture.h"

namespace {

using namespace plat;

// Every case runs on a temporary machine (files in memory) and on a machine
// kept in a directory (host files): both must answer alike.
class SimFiles : public SimTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    if (!Kept()) return;
    m_Kept = sim::StateDir() + "-kept";
    std::string error;
    ASSERT_TRUE(sim::Boot(m_Kept, &error)) << error;
    Capture();
  }
  void TearDown() override {
    SimTest::TearDown();
    if (!m_Kept.empty()) std::filesystem::remove_all(m_Kept);
  }
  static bool Kept() { return GetParam(); }
  // The host directory of the files of a kept machine.
  std::string FsRoot() const { return sim::StateDir() + "/fs/"; }

  std::string m_Kept;  // the kept machine's directory, removed after the case
};

INSTANTIATE_TEST_SUITE_P(Machines, SimFiles, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Kept" : "Temporary"; });

// ---- Path mapping -------------------------------------------------------------

TEST_P(SimFiles, ComponentsMatchWithoutRegardToCaseAndKeepTheirCase) {
  ASSERT_TRUE(sim::PutFile("C:\\Dir\\File.TXT", "abc"));
  EXPECT_EQ(sim::GetFile("c:/dir/FILE.txt").value_or("<none>"), "abc");
  ASSERT_TRUE(CreateDirectoryA("C:\\DIR\\Sub", nullptr));
  EXPECT_EQ(sim::HostPath("c:\\dir\\sub\\new.txt"), Kept() ? FsRoot() + "C/Dir/Sub/new.txt" : "");
  EXPECT_EQ(GetFileAttributesA("C:\\dir\\SUB"), FILE_ATTRIBUTE_DIRECTORY);
}

TEST_P(SimFiles, MaliciousPathsStayInsideTheDrive) {
  for (const char* path : {"C:\\..\\..\\etc\\passwd", "C:/../../../x", "..\\..\\..\\..\\..\\y",
                           "C:\\WINDOWS\\..\\..\\..\\z", "\\..\\..\\w"}) {
    std::string host = sim::HostPath(path);
    if (Kept()) {
      EXPECT_EQ(host.rfind(FsRoot() + "C/", 0), 0u) << path << " -> " << host;
    }
  }
  HANDLE h = Open("C:\\..\\..\\escape.txt", GENERIC_WRITE, 0);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  EXPECT_TRUE(sim::GetFile("C:\\escape.txt").has_value());
  if (Kept()) {
    EXPECT_TRUE(std::filesystem::exists(FsRoot() + "C/escape.txt"));
  }
}

TEST_P(SimFiles, RelativePathsUseTheCurrentDirectory) {
  ASSERT_TRUE(CreateDirectoryA("C:\\Work", nullptr));
  sim::GetProfile().currentDirectory = "C:\\Work";
  HANDLE h = Open("a.txt", GENERIC_WRITE, 0);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  EXPECT_TRUE(sim::GetFile("C:\\Work\\a.txt").has_value());
  EXPECT_TRUE(PathFileExistsA("\\Work\\a.txt"));  // root of the current drive
  EXPECT_TRUE(PathFileExistsA("C:a.txt"));        // drive-relative
}

TEST_P(SimFiles, TrailingDotsAndInvalidCharacters) {
  ASSERT_TRUE(sim::PutFile("C:\\file.txt", "x"));
  EXPECT_TRUE(PathFileExistsA("C:\\file.txt. "));
  EXPECT_EQ(GetFileAttributesA("C:\\a<b"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), 123u);
  EXPECT_EQ(GetFileAttributesA("Q:\\x"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(GetFileAttributesA(std::string(300, 'a').c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), 206u);
}

TEST_P(SimFiles, TheSystemDriveAlwaysExists) {
  EXPECT_FALSE(CreateDirectoryA("D:\\Win", nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  sim::GetProfile().systemDirectory = "D:\\Win\\system32";
  EXPECT_TRUE(CreateDirectoryA("D:\\Win", nullptr));
  EXPECT_EQ(sim::HostPath("d:\\win"), Kept() ? FsRoot() + "D/Win" : "");
  EXPECT_EQ(GetFileAttributesA("d:\\WIN"), FILE_ATTRIBUTE_DIRECTORY);
}

// ---- Error codes ----------------------------------------------------------------

TEST_P(SimFiles, OpenAndCreateAnswerWindowsErrorCodes) {
  EXPECT_EQ(Open("C:\\missing.txt", GENERIC_READ, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Open("C:\\nodir\\x.txt", GENERIC_READ, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(Open("C:\\WINDOWS", GENERIC_READ, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);

  ASSERT_TRUE(sim::PutFile("C:\\x.txt", "x"));
  EXPECT_EQ(Open("C:\\x.txt", GENERIC_WRITE, 0, CREATE_NEW), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
  HANDLE h = Open("C:\\x.txt", GENERIC_READ, 0, OPEN_ALWAYS);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  CloseHandle(h);
  EXPECT_FALSE(CloseHandle(h));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_P(SimFiles, DirectoryAndCopyErrors) {
  EXPECT_FALSE(CreateDirectoryA("C:\\WINDOWS", nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(CreateDirectoryA("C:\\a\\b", nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(RemoveDirectoryA("C:\\WINDOWS\\system32"));
  EXPECT_EQ(GetLastError(), ERROR_DIR_NOT_EMPTY);
  ASSERT_TRUE(sim::PutFile("C:\\f.txt", "f"));
  EXPECT_FALSE(RemoveDirectoryA("C:\\f.txt"));
  EXPECT_EQ(GetLastError(), 267u);
  EXPECT_FALSE(DeleteFileA("C:\\nothing.txt"));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(DeleteFileA("C:\\WINDOWS"));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);

  ASSERT_TRUE(sim::PutFile("C:\\g.txt", "g"));
  EXPECT_FALSE(CopyFileA("C:\\f.txt", "C:\\g.txt", TRUE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
  EXPECT_TRUE(CopyFileA("C:\\f.txt", "C:\\g.txt", FALSE));
  EXPECT_EQ(sim::GetFile("C:\\g.txt").value_or(""), "f");
  EXPECT_FALSE(CopyFileA("C:\\none.txt", "C:\\h.txt", FALSE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(CopyFileA("C:\\f.txt", "C:\\nodir\\h.txt", FALSE));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  // The current directory cannot be removed.
  ASSERT_TRUE(CreateDirectoryA("C:\\cwd", nullptr));
  sim::GetProfile().currentDirectory = "C:\\cwd";
  EXPECT_FALSE(RemoveDirectoryA("C:\\cwd"));
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
}

TEST_P(SimFiles, ReadOnlyFilesRefuseWritingAndDeletion) {
  ASSERT_TRUE(sim::PutFile("C:\\ro.txt", "data"));
  EXPECT_EQ(GetFileAttributesA("C:\\ro.txt"), FILE_ATTRIBUTE_ARCHIVE);
  ASSERT_TRUE(SetFileAttributesA("C:\\ro.txt", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(GetFileAttributesA("C:\\ro.txt"), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  EXPECT_EQ(Open("C:\\ro.txt", GENERIC_WRITE, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  HANDLE h = Open("C:\\ro.txt", GENERIC_READ, FILE_SHARE_READ);
  EXPECT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  EXPECT_FALSE(DeleteFileA("C:\\ro.txt"));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  ASSERT_TRUE(sim::PutFile("C:\\src.txt", "new"));
  EXPECT_FALSE(CopyFileA("C:\\src.txt", "C:\\ro.txt", FALSE));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  ASSERT_TRUE(SetFileAttributesA("C:\\ro.txt", FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(GetFileAttributesA("C:\\ro.txt"), FILE_ATTRIBUTE_NORMAL);
  EXPECT_TRUE(CopyFileA("C:\\src.txt", "C:\\ro.txt", FALSE));
  EXPECT_TRUE(DeleteFileA("C:\\ro.txt"));
}

TEST_P(SimFiles, ReplacingAHiddenFileNeedsItsAttributes) {
  ASSERT_TRUE(sim::PutFile("C:\\h.txt", "x"));
  ASSERT_TRUE(SetFileAttributesA("C:\\h.txt", FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(Open("C:\\h.txt", GENERIC_WRITE, 0, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  HANDLE h = CreateFileA("C:\\h.txt", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_HIDDEN, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  EXPECT_EQ(GetFileAttributesA("C:\\h.txt"), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE);
}

// ---- Share modes ---------------------------------------------------------------------

TEST_P(SimFiles, ShareModesAreEnforcedBetweenHandles) {
  ASSERT_TRUE(sim::PutFile("C:\\s.txt", "shared"));
  // The run sequence: a read handle sharing read only, then a text stream.
  HANDLE guard = Open("C:\\s.txt", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  ASSERT_NE(guard, INVALID_HANDLE_VALUE);
  HANDLE reader =
      Open("C:\\s.txt", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
  EXPECT_NE(reader, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Open("C:\\S.TXT", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
  EXPECT_FALSE(DeleteFileA("C:\\s.txt"));
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
  CloseHandle(reader);
  CloseHandle(guard);

  HANDLE writer = Open("C:\\s.txt", GENERIC_WRITE, FILE_SHARE_WRITE);
  ASSERT_NE(writer, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Open("C:\\s.txt", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE),
            INVALID_HANDLE_VALUE);  // the writer does not share reading
  EXPECT_EQ(Open("C:\\s.txt", GENERIC_WRITE, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
  EXPECT_FALSE(CopyFileA("C:\\s.txt", "C:\\copy.txt", FALSE));
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
  CloseHandle(writer);

  HANDLE deletable = Open("C:\\s.txt", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE);
  ASSERT_NE(deletable, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(DeleteFileA("C:\\s.txt"));
  CloseHandle(deletable);
  EXPECT_FALSE(PathFileExistsA("C:\\s.txt"));
}

// ---- Reading, writing, positions ------------------------------------------------------

TEST_P(SimFiles, ReadWriteSeekAndTruncate) {
  HANDLE h = Open("C:\\rw.bin", GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  DWORD n = 0;
  ASSERT_TRUE(WriteFile(h, "hello world", 11, &n, nullptr));
  EXPECT_EQ(n, 11u);
  EXPECT_EQ(GetFileSize(h, nullptr), 11u);
  EXPECT_EQ(SetFilePointer(h, 6, nullptr, FILE_BEGIN), 6u);
  char buffer[16] = {};
  ASSERT_TRUE(ReadFile(h, buffer, sizeof buffer, &n, nullptr));
  EXPECT_EQ(std::string(buffer, n), "world");
  ASSERT_TRUE(ReadFile(h, buffer, sizeof buffer, &n, nullptr));
  EXPECT_EQ(n, 0u);  // end of file: success, nothing read
  EXPECT_EQ(SetFilePointer(h, -6, nullptr, FILE_END), 5u);
  ASSERT_TRUE(SetEndOfFile(h));
  EXPECT_EQ(GetFileSize(h, nullptr), 5u);
  EXPECT_EQ(SetFilePointer(h, -10, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 131u);
  CloseHandle(h);
  EXPECT_EQ(sim::GetFile("C:\\rw.bin").value_or(""), "hello");

  HANDLE w = Open("C:\\rw.bin", GENERIC_WRITE, 0);
  EXPECT_FALSE(ReadFile(w, buffer, 4, &n, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  CloseHandle(w);
  EXPECT_FALSE(WriteFile(w, "x", 1, &n, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_P(SimFiles, MappedViewsHoldTheBytes) {
  std::string content(70000, 'a');
  content[65536] = 'Z';
  ASSERT_TRUE(sim::PutFile("C:\\big.bin", content));
  HANDLE file = Open("C:\\big.bin", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  ASSERT_NE(mapping, nullptr);
  CloseHandle(file);
  const char* whole = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  const char* tail = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 10));
  EXPECT_EQ(MapViewOfFile(mapping, FILE_MAP_READ, 0, 100, 10), nullptr);
  EXPECT_EQ(GetLastError(), 1132u);
  EXPECT_EQ(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 10000), nullptr);
  CloseHandle(mapping);  // views outlive the mapping handle
  ASSERT_NE(whole, nullptr);
  ASSERT_NE(tail, nullptr);
  EXPECT_EQ(std::string(whole, 70000), content);
  EXPECT_EQ(tail[0], 'Z');
  EXPECT_TRUE(UnmapViewOfFile(whole));
  EXPECT_TRUE(UnmapViewOfFile(tail));
  EXPECT_FALSE(UnmapViewOfFile(tail));
  EXPECT_EQ(GetLastError(), 487u);

  ASSERT_TRUE(sim::PutFile("C:\\empty.bin", ""));
  HANDLE empty = Open("C:\\empty.bin", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  EXPECT_EQ(CreateFileMappingA(empty, nullptr, PAGE_READONLY, 0, 0, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), 1006u);
  CloseHandle(empty);
}

// ---- Searches ------------------------------------------------------------------------

std::vector<std::string> Search(const char* pattern, DWORD* error = nullptr) {
  std::vector<std::string> names;
  WIN32_FIND_DATAA data;
  HANDLE find = FindFirstFileA(pattern, &data);
  if (find == INVALID_HANDLE_VALUE) {
    if (error) *error = GetLastError();
    return names;
  }
  do {
    names.push_back(data.cFileName);
  } while (FindNextFileA(find, &data));
  if (error) *error = GetLastError();
  FindClose(find);
  return names;
}

TEST_P(SimFiles, FindFilesWithWildcards) {
  for (const char* name : {"C:\\d\\b.INF", "C:\\d\\a.inf", "C:\\d\\c.sys", "C:\\d\\noext"}) {
    ASSERT_TRUE(sim::PutFile(name, "x"));
  }
  ASSERT_TRUE(CreateDirectoryA("C:\\d\\sub", nullptr));
  DWORD error = 0;
  EXPECT_EQ(Search("C:\\d\\*.inf", &error), (std::vector<std::string>{"a.inf", "b.INF"}));
  EXPECT_EQ(error, ERROR_NO_MORE_FILES);
  EXPECT_EQ(Search("C:\\d\\*.*"),
            (std::vector<std::string>{".", "..", "a.inf", "b.INF", "c.sys", "noext", "sub"}));
  EXPECT_EQ(Search("C:\\d\\?.sys"), (std::vector<std::string>{"c.sys"}));
  EXPECT_EQ(Search("C:\\d\\*."), (std::vector<std::string>{".", "..", "noext", "sub"}));
  EXPECT_EQ(Search("C:\\d\\NOEXT"), (std::vector<std::string>{"noext"}));
  EXPECT_TRUE(Search("C:\\d\\*.txt", &error).empty());
  EXPECT_EQ(error, ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(Search("C:\\nodir\\*.*", &error).empty());
  EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
  WIN32_FIND_DATAA data;
  HANDLE find = FindFirstFileA("C:\\d\\sub", &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  FindClose(find);
}

// ---- Module and fault injection ----------------------------------------------------------

TEST_P(SimFiles, ModuleFileNameIsTheRegisteredPath) {
  auto module = reinterpret_cast<HMODULE>(static_cast<std::uintptr_t>(0x400000));
  ASSERT_TRUE(sim::SetModule(module, "C:\\Program Files\\Setup\\Setup.dll", {'M', 'Z'}));
  EXPECT_EQ(sim::GetFile("c:\\program files\\setup\\setup.dll").value_or(""), "MZ");
  char buffer[64];
  EXPECT_EQ(GetModuleFileNameA(module, buffer, sizeof buffer), 32u);
  EXPECT_STREQ(buffer, "C:\\Program Files\\Setup\\Setup.dll");
  EXPECT_EQ(GetModuleFileNameA(module, buffer, 8), 8u);
  EXPECT_STREQ(buffer, "C:\\Prog");
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(GetModuleFileNameA(reinterpret_cast<HMODULE>(0x1234), buffer, 64), 0u);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST_P(SimFiles, InjectedFailuresHitTheChosenCall) {
  EXPECT_EQ(sim::OpFromName("WriteFile"), sim::Op::WriteFile);
  EXPECT_STREQ(sim::OpName(sim::Op::UpdateDriverForPlugAndPlayDevices),
               "UpdateDriverForPlugAndPlayDevices");
  EXPECT_FALSE(sim::OpFromName("NoSuchCall").has_value());

  HANDLE h = Open("C:\\f.bin", GENERIC_READ | GENERIC_WRITE, 0);
  DWORD n = 0;
  sim::FailNext(sim::Op::WriteFile, 112, 1);  // the second write fails
  EXPECT_TRUE(WriteFile(h, "a", 1, &n, nullptr));
  EXPECT_FALSE(WriteFile(h, "b", 1, &n, nullptr));
  EXPECT_EQ(GetLastError(), 112u);
  EXPECT_EQ(n, 0u);
  EXPECT_TRUE(WriteFile(h, "c", 1, &n, nullptr));
  CloseHandle(h);
  EXPECT_EQ(sim::GetFile("C:\\f.bin").value_or(""), "ac");

  sim::FailNext(sim::Op::CreateFile, ERROR_ACCESS_DENIED);
  sim::FailNext(sim::Op::CreateFile, ERROR_SHARING_VIOLATION);
  EXPECT_EQ(Open("C:\\f.bin", GENERIC_READ, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Open("C:\\f.bin", GENERIC_READ, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
  sim::FailNext(sim::Op::DeleteFile, ERROR_ACCESS_DENIED);
  sim::ClearFailures();
  EXPECT_TRUE(DeleteFileA("C:\\f.bin"));
}

}  // namespace
