// The two file stores of the simulated machine (host files, memory) answer
// the same operations alike; a reset of a temporary machine leaves nothing
// of the last run behind, in its files or its registry.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "platform/sim/hostio.h"
#include "platform/sim/machine.h"
#include "platform/sim/simcore.h"
#include "platform/sim/view.h"
#include "sim_fixture.h"

namespace {

using namespace plat;
using sim::detail::FileStore;
using sim::detail::OpenFile;

class Stores : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (OnHost()) {
      char pattern[] = "/tmp/filestore-XXXXXX";
      ASSERT_NE(mkdtemp(pattern), nullptr);
      m_Dir = pattern;
      m_Store = sim::detail::MakeHostStore(m_Dir);
    } else {
      m_Store = sim::detail::MakeMemoryStore();
    }
    ASSERT_TRUE(m_Store->MakeDirectories("C/Dir/Sub"));
    ASSERT_TRUE(m_Store->WriteAll("C/Dir/File.TXT", "abc"));
  }
  void TearDown() override {
    m_Store.reset();
    if (!m_Dir.empty()) std::filesystem::remove_all(m_Dir);
  }
  static bool OnHost() { return GetParam(); }

  std::vector<std::string> Names(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : m_Store->List(dir)) {
      names.push_back(entry.name + (entry.isDirectory ? "/" : ":" + std::to_string(entry.size)));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string m_Dir;  // the host store's root
  std::unique_ptr<FileStore> m_Store;
};

INSTANTIATE_TEST_SUITE_P(Backends, Stores, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Host" : "Memory"; });

TEST_P(Stores, NamesMatchWithoutRegardToCaseAndKeepTheirCase) {
  auto file = m_Store->Match("C/Dir", "file.txt");
  ASSERT_TRUE(file.has_value());
  EXPECT_EQ(file->name, "File.TXT");
  EXPECT_FALSE(file->isDirectory);
  auto sub = m_Store->Match("C/Dir", "SUB");
  ASSERT_TRUE(sub.has_value());
  EXPECT_TRUE(sub->isDirectory);
  EXPECT_FALSE(m_Store->Match("C/Dir", "none").has_value());
  EXPECT_FALSE(m_Store->Match("C/Dir/File.TXT", "x").has_value());  // not a directory
  EXPECT_EQ(Names("C/Dir"), (std::vector<std::string>{"File.TXT:3", "Sub/"}));
  EXPECT_EQ(m_Store->Stat("C/Dir/File.TXT")->size, 3u);
  EXPECT_GT(m_Store->Stat("C/Dir/File.TXT")->written, 116444736000000000LL);  // after 1970
  EXPECT_FALSE(m_Store->Stat("C/Dir/none").has_value());
}

TEST_P(Stores, FailuresAnswerTheSameErrorCodes) {
  EXPECT_EQ(m_Store->MakeDirectory("C/Dir/Sub"), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(m_Store->MakeDirectory("C/None/x"), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(m_Store->MakeDirectories("C/Dir/File.TXT/x"));
  EXPECT_EQ(m_Store->Remove("C/Dir"), ERROR_DIR_NOT_EMPTY);
  EXPECT_EQ(m_Store->Remove("C/Dir/none"), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(m_Store->WriteAll("C/None/x", "x"));
  EXPECT_FALSE(m_Store->WriteAll("C/Dir/Sub", "x"));
  EXPECT_EQ(m_Store->Copy("C/Dir/none", "C/Dir/y"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(m_Store->Copy("C/Dir/File.TXT", "C/None/y"), ERROR_PATH_NOT_FOUND);
  std::string content;
  EXPECT_FALSE(m_Store->ReadAll("C/Dir/Sub", &content));

  DWORD error = 0;
  EXPECT_EQ(m_Store->Open("C/Dir/File.TXT", true, false, &error), nullptr);
  EXPECT_EQ(error, ERROR_ALREADY_EXISTS);
  EXPECT_EQ(m_Store->Open("C/Dir/none", false, false, &error), nullptr);
  EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(m_Store->Open("C/Dir/Sub", false, false, &error), nullptr);
  EXPECT_EQ(error, ERROR_ACCESS_DENIED);

  // Emptied, the directory goes.
  EXPECT_EQ(m_Store->Remove("C/Dir/File.TXT"), 0u);
  EXPECT_EQ(m_Store->Remove("C/Dir/Sub"), 0u);
  EXPECT_EQ(m_Store->Remove("C/Dir"), 0u);
  EXPECT_TRUE(Names("C").empty());
}

TEST_P(Stores, OpenFilesWriteAnywhereAndOutliveTheirName) {
  DWORD error = 0;
  std::unique_ptr<OpenFile> file = m_Store->Open("C/Dir/new.bin", true, false, &error);
  ASSERT_NE(file, nullptr);
  std::size_t done = 0;
  ASSERT_TRUE(file->Write(3, "xyz", 3, &done, &error));  // past the end: zeros before
  std::uint64_t size = 0;
  ASSERT_TRUE(file->Size(&size, &error));
  EXPECT_EQ(size, 6u);
  std::string content;
  ASSERT_TRUE(m_Store->ReadAll("C/Dir/new.bin", &content));
  EXPECT_EQ(content, std::string("\0\0\0xyz", 6));
  ASSERT_TRUE(file->Truncate(4, &error));
  char buffer[8] = {};
  ASSERT_TRUE(file->Read(2, buffer, sizeof buffer, &done, &error));
  EXPECT_EQ(std::string(buffer, done), std::string("\0x", 2));
  ASSERT_TRUE(file->Read(9, buffer, sizeof buffer, &done, &error));
  EXPECT_EQ(done, 0u);

  EXPECT_EQ(m_Store->Copy("C/Dir/new.bin", "C/Dir/File.TXT"), 0u);
  ASSERT_TRUE(m_Store->ReadAll("C/Dir/File.TXT", &content));
  EXPECT_EQ(content.size(), 4u);

  // Deleted while open: the handle keeps the contents.
  EXPECT_EQ(m_Store->Remove("C/Dir/new.bin"), 0u);
  EXPECT_FALSE(m_Store->Stat("C/Dir/new.bin").has_value());
  ASSERT_TRUE(file->Write(0, "ab", 2, &done, &error));
  ASSERT_TRUE(file->Read(0, buffer, sizeof buffer, &done, &error));
  EXPECT_EQ(std::string(buffer, done), std::string("ab\0x", 4));

  // Opening with truncation empties the file.
  file = m_Store->Open("C/Dir/File.TXT", false, true, &error);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(m_Store->Stat("C/Dir/File.TXT")->size, 0u);
}

TEST(MemoryStore, ACloneAndItsSourceNeverSeeEachOthersWrites) {
  std::unique_ptr<FileStore> source = sim::detail::MakeMemoryStore();
  ASSERT_TRUE(source->MakeDirectories("C/D"));
  ASSERT_TRUE(source->WriteAll("C/D/a", "one"));
  ASSERT_TRUE(source->WriteAll("C/D/b", "two"));
  ASSERT_TRUE(source->WriteAll("C/D/e", "eee"));
  DWORD error = 0;
  std::size_t done = 0;
  std::unique_ptr<OpenFile> early = source->Open("C/D/e", false, false, &error);
  ASSERT_NE(early, nullptr);
  std::unique_ptr<FileStore> clone = source->Clone();
  ASSERT_NE(clone, nullptr);
  ASSERT_TRUE(early->Write(0, "EEE", 3, &done, &error));  // a handle open while cloning

  std::unique_ptr<OpenFile> handle = clone->Open("C/D/a", false, false, &error);
  ASSERT_NE(handle, nullptr);
  ASSERT_TRUE(handle->Write(0, "ONE", 3, &done, &error));
  ASSERT_TRUE(source->WriteAll("C/D/b", "TWO"));
  EXPECT_EQ(clone->Remove("C/D/b"), 0u);
  ASSERT_TRUE(clone->WriteAll("C/D/c", "new"));

  std::string content;
  ASSERT_TRUE(source->ReadAll("C/D/a", &content));
  EXPECT_EQ(content, "one");
  ASSERT_TRUE(source->ReadAll("C/D/b", &content));
  EXPECT_EQ(content, "TWO");
  EXPECT_FALSE(source->Stat("C/D/c").has_value());
  ASSERT_TRUE(clone->ReadAll("C/D/a", &content));
  EXPECT_EQ(content, "ONE");
  ASSERT_TRUE(clone->ReadAll("C/D/e", &content));
  EXPECT_EQ(content, "eee");
  ASSERT_TRUE(source->ReadAll("C/D/e", &content));
  EXPECT_EQ(content, "EEE");

  // A second clone of the source starts from the source as it is now.
  std::unique_ptr<FileStore> again = source->Clone();
  ASSERT_TRUE(again->ReadAll("C/D/b", &content));
  EXPECT_EQ(content, "TWO");
  EXPECT_TRUE(clone->HostPath("C/D/a").empty());
}

// How many scratch files of large memory-store files this process holds open.
int ScratchFilesOpen() {
  int count = 0;
  std::error_code ec;
  for (const auto& fd : std::filesystem::directory_iterator("/proc/self/fd", ec)) {
    std::error_code link;
    const std::string target = std::filesystem::read_symlink(fd.path(), link).string();
    if (!link && target.find("setup-scratch-") != std::string::npos) ++count;
  }
  return count;
}

TEST_P(Stores, FilesLargerThanMemoryHoldReadWriteAndCopy) {
  const std::uint64_t limit = sim::detail::kMemoryFileLimit;
  const int scratchBefore = ScratchFilesOpen();
  DWORD error = 0;
  std::size_t done = 0;
  std::unique_ptr<OpenFile> file = m_Store->Open("C/Dir/big.bin", true, false, &error);
  ASSERT_NE(file, nullptr);
  // Some bytes in memory, then a write far past the limit: the gap reads as zeros.
  ASSERT_TRUE(file->Write(0, "head", 4, &done, &error));
  std::string tail(100000, 'T');
  ASSERT_TRUE(file->Write(limit + 5, tail.data(), tail.size(), &done, &error));
  std::uint64_t size = 0;
  ASSERT_TRUE(file->Size(&size, &error));
  EXPECT_EQ(size, limit + 5 + tail.size());
  if (!OnHost()) {
    EXPECT_EQ(ScratchFilesOpen(), scratchBefore + 1);
  }
  char buffer[8] = {};
  ASSERT_TRUE(file->Read(limit + 1, buffer, sizeof buffer, &done, &error));
  EXPECT_EQ(std::string(buffer, done), std::string("\0\0\0\0TTTT", 8));
  ASSERT_TRUE(file->Write(1, "EA", 2, &done, &error));  // overwrite inside
  ASSERT_TRUE(file->Read(0, buffer, 4, &done, &error));
  EXPECT_EQ(std::string(buffer, done), "hEAd");
  EXPECT_EQ(m_Store->Stat("C/Dir/big.bin")->size, size);

  // A copy has the same bytes and goes its own way.
  EXPECT_EQ(m_Store->Copy("C/Dir/big.bin", "C/Dir/copy.bin"), 0u);
  ASSERT_TRUE(file->Truncate(2, &error));
  std::string content;
  ASSERT_TRUE(m_Store->ReadAll("C/Dir/copy.bin", &content));
  ASSERT_EQ(content.size(), size);
  EXPECT_EQ(content.substr(0, 4), "hEAd");
  EXPECT_EQ(content.substr(limit + 5), tail);
  EXPECT_EQ(content.find_first_not_of('\0', 4), limit + 5);
  ASSERT_TRUE(m_Store->ReadAll("C/Dir/big.bin", &content));
  EXPECT_EQ(content, "hE");

  // A small write replaces a large file's bytes.
  ASSERT_TRUE(m_Store->WriteAll("C/Dir/copy.bin", "small"));
  ASSERT_TRUE(m_Store->ReadAll("C/Dir/copy.bin", &content));
  EXPECT_EQ(content, "small");

  // The scratch files go with the store.
  file.reset();
  m_Store.reset();
  EXPECT_EQ(ScratchFilesOpen(), scratchBefore);
}

TEST(HostIo, ZeroRunsPastTheEndStayHolesAndCopiesKeepThem) {
  const int fd = hostio::OpenScratchFile();
  ASSERT_GE(fd, 0);
  const std::size_t size = 4 << 20;
  std::string bytes(size, '\0');
  bytes.replace(0, 4, "head");
  bytes.replace(size - 4, 4, "tail");
  ASSERT_TRUE(hostio::WriteSparse(fd, 0, bytes.data(), bytes.size(), 0));
  struct stat info {};
  ASSERT_EQ(fstat(fd, &info), 0);
  EXPECT_EQ(static_cast<std::size_t>(info.st_size), size);
  EXPECT_LT(static_cast<std::size_t>(info.st_blocks) * 512, size / 2);  // holes, not zeros

  // Zeros written over existing bytes are written.
  ASSERT_TRUE(hostio::WriteSparse(fd, 1, "\0\0", 2, size));
  std::string back(size, 'x');
  std::size_t done = 0;
  ASSERT_TRUE(hostio::ReadAt(fd, 0, back.data(), back.size(), &done));
  ASSERT_EQ(done, size);
  bytes[1] = bytes[2] = '\0';
  EXPECT_TRUE(back == bytes);

  // A copy into a file that has bytes where the copy lands overwrites them,
  // holes included; past its end the holes stay holes.
  const int to = hostio::OpenScratchFile();
  ASSERT_GE(to, 0);
  const std::string filled(1 << 20, 'F');
  ASSERT_TRUE(hostio::WriteSparse(to, 0, filled.data(), filled.size(), 0));
  ASSERT_TRUE(hostio::CopyRange(fd, 0, to, 10, size, filled.size()));
  ASSERT_EQ(fstat(to, &info), 0);
  EXPECT_EQ(static_cast<std::size_t>(info.st_size), size + 10);
  ASSERT_TRUE(hostio::ReadAt(to, 10, back.data(), back.size(), &done));
  EXPECT_TRUE(back == bytes);
  ASSERT_TRUE(hostio::ReadAt(to, 0, back.data(), 10, &done));
  EXPECT_EQ(back.substr(0, 10), "FFFFFFFFFF");
  // A source shorter than the range asked for is an error.
  EXPECT_FALSE(hostio::CopyRange(fd, size - 4, to, 0, 8, size + 10));
  close(to);
  close(fd);
}

TEST(MemoryStore, ACloneOfALargeFileCopiesItOnWrite) {
  std::unique_ptr<FileStore> source = sim::detail::MakeMemoryStore();
  ASSERT_TRUE(source->MakeDirectories("C/D"));
  std::string big(sim::detail::kMemoryFileLimit + 10, 'b');
  ASSERT_TRUE(source->WriteAll("C/D/big", big));
  std::unique_ptr<FileStore> clone = source->Clone();
  ASSERT_NE(clone, nullptr);
  DWORD error = 0;
  std::size_t done = 0;
  std::unique_ptr<OpenFile> handle = clone->Open("C/D/big", false, false, &error);
  ASSERT_NE(handle, nullptr);
  ASSERT_TRUE(handle->Write(big.size() - 1, "X", 1, &done, &error));
  std::string content;
  ASSERT_TRUE(source->ReadAll("C/D/big", &content));
  EXPECT_EQ(content, big);
  ASSERT_TRUE(clone->ReadAll("C/D/big", &content));
  EXPECT_EQ(content.back(), 'X');
  EXPECT_EQ(content.size(), big.size());
}

std::string Listing() {
  std::string text;
  for (const sim::FileEntry& entry : sim::FileTree()) {
    text += entry.path + " " + std::to_string(entry.size) + " " + std::to_string(entry.attributes) +
            "\n";
  }
  return text;
}

class MachineReset : public SimTest {};

TEST_F(MachineReset, LeavesNothingOfTheLastRunBehind) {
  std::string error;
  ASSERT_TRUE(sim::Reset({}, &error)) << error;
  const std::string fresh = Listing();
  const std::string freshState = sim::StateText();
  const std::string library = "C:\\WINDOWS\\system32\\SetupApi.dll";
  const std::string original = sim::GetFile(library).value_or("<none>");

  // A run that changes a default file through a handle it leaves open, and
  // adds files, directories and attributes.
  HANDLE h = CreateFileA(library.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  DWORD n = 0;
  ASSERT_TRUE(WriteFile(h, "changed", 7, &n, nullptr));
  ASSERT_TRUE(CreateDirectoryA("C:\\Run", nullptr));
  ASSERT_TRUE(sim::PutFile("C:\\Run\\x.txt", "x"));
  ASSERT_TRUE(SetFileAttributesA("C:\\WINDOWS\\Temp", FILE_ATTRIBUTE_HIDDEN));
  ASSERT_TRUE(DeleteFileA("C:\\WINDOWS\\system32\\newdev.dll"));
  ASSERT_TRUE(sim::detail::RegWriteString(HKEY_LOCAL_MACHINE, "SOFTWARE\\Run", "x", "y"));
  ASSERT_NE(Listing(), fresh);
  ASSERT_NE(sim::StateText(), freshState);

  ASSERT_TRUE(sim::Reset({}, &error)) << error;
  Capture();
  EXPECT_EQ(sim::detail::OpenHandleCount(), 0u);
  EXPECT_EQ(Listing(), fresh);
  EXPECT_EQ(sim::GetFile(library).value_or("<none>"), original);
  EXPECT_TRUE(std::filesystem::is_empty(sim::StateDir()));
  EXPECT_FALSE(WriteFile(h, "x", 1, &n, nullptr));  // the old handle is gone
  EXPECT_EQ(sim::StateText(), freshState);
  // A reset after a run that changed nothing starts from the same machine.
  ASSERT_TRUE(sim::Reset({}, &error)) << error;
  EXPECT_EQ(sim::StateText(), freshState);
  EXPECT_EQ(Listing(), fresh);
}

}  // namespace
