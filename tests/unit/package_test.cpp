// The package reader on the simulated machine, fed by the host-side writer.
#include "package/package.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/global.h"
#include "common/package_writer.h"
#include "library_fixture.h"
#include "platform/sim/machine.h"

namespace setup {
namespace {

const plat::HMODULE kModule =
    reinterpret_cast<plat::HMODULE>(static_cast<std::uintptr_t>(0x10000000));
constexpr char kModulePath[] = "C:\\Program Files\\Setup\\Setup.dll";
constexpr char kImage[] = "MZ\x90 not a real image, only bytes in front of the package";

std::vector<char> Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

// A module file: the image bytes followed by a package of `entries`.
std::vector<char> Module(const std::vector<pack::Entry>& entries) {
  std::vector<char> module(kImage, kImage + sizeof kImage - 1);
  std::string error;
  EXPECT_TRUE(pack::AppendPackage(module, entries, &error)) << error;
  return module;
}

void PutWord(std::vector<char>& bytes, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
}

// Offset of table record `index` in a module that holds `count` records.
std::size_t RecordAt(const std::vector<char>& module, std::size_t count, std::size_t index) {
  return module.size() - pack::kTrailerSize - pack::kRecordSize * (count - index);
}

class PackageTest : public LibraryTest {
 protected:
  void Install(const std::vector<char>& module) {
    ASSERT_TRUE(sim::SetModule(kModule, kModulePath, module));
    theGlobal.m_hModule = kModule;
  }

  // Runs GetScriptFromPackage; answers its result and leaves the path in m_Path.
  int GetScript() {
    m_Path.reset();
    return GetScriptFromPackage(m_Path);
  }

  std::optional<std::string> m_Path;
};

// ---- Finding the script ---------------------------------------------------------

TEST_F(PackageTest, ScriptIsWrittenToTheWindowsDirectory) {
  Install(Module({{"drv.inf", Bytes("[Version]\r\n")}, {"setup.cxx", Bytes("num main()\r\n")}}));
  ASSERT_EQ(GetScript(), 1);
  ASSERT_TRUE(m_Path.has_value());
  EXPECT_EQ(*m_Path, "C:\\WINDOWS\\setup.cxx");
  EXPECT_EQ(sim::GetFile("C:\\WINDOWS\\setup.cxx"), "num main()\r\n");
  EXPECT_EQ(m_Out, "");
  EXPECT_EQ(theGlobal.ErrorFlag, 0);
}

TEST_F(PackageTest, ScriptExtensionIgnoresCaseAndTheNameKeepsIt) {
  Install(Module({{"setup.Cxx", Bytes("x")}}));
  ASSERT_EQ(GetScript(), 1);
  EXPECT_EQ(*m_Path, "C:\\WINDOWS\\setup.Cxx");
}

TEST_F(PackageTest, EntryNearestTheTableEndWins) {
  Install(Module({{"setup.Cxx", Bytes("first")},
                  {"a.sys", Bytes("old")},
                  {"extra.cxx", Bytes("second")},
                  {"a.sys", Bytes("new")}}));
  ASSERT_EQ(GetScript(), 1);
  EXPECT_EQ(*m_Path, "C:\\WINDOWS\\extra.cxx");
  EXPECT_EQ(sim::GetFile(*m_Path), "second");
  ASSERT_EQ(ExtractPackageFile("a.sys", "C:\\a.sys"), 1);
  EXPECT_EQ(sim::GetFile("C:\\a.sys"), "new");
}

TEST_F(PackageTest, NamesWithoutScriptExtensionDoNotQualify) {
  Install(Module({{"cxx", Bytes("1")}, {"setup.cxx.bak", Bytes("2")}, {"setupcxx", Bytes("3")}}));
  EXPECT_EQ(GetScript(), 0);
  EXPECT_EQ(m_Out, "\n$ can not find any *.cxx in resource file list. ");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
}

// ---- Extracting entries -----------------------------------------------------------

TEST_F(PackageTest, ExtractMatchesNamesByteForByte) {
  Install(Module({{"drv.inf", Bytes("inf")}}));
  EXPECT_EQ(ExtractPackageFile(nullptr, "C:\\x"), 0);
  EXPECT_EQ(ExtractPackageFile("drv.inf", nullptr), 0);
  EXPECT_EQ(theGlobal.ErrorFlag, 0);

  EXPECT_EQ(ExtractPackageFile("DRV.INF", "C:\\out.inf"), 0);
  EXPECT_EQ(m_Out, "\n$ Can not find 'DRV.INF' in resource file list. ");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
  EXPECT_FALSE(sim::GetFile("C:\\out.inf").has_value());

  m_Out.clear();
  EXPECT_EQ(ExtractPackageFile("drv.inf", "C:\\out.inf"), 1);
  EXPECT_EQ(sim::GetFile("C:\\out.inf"), "inf");
  EXPECT_EQ(m_Out, "");
}

TEST_F(PackageTest, ExtractEmptyEntryAndReplaceExistingFile) {
  Install(Module({{"empty.cat", {}}, {"data.bin", Bytes(std::string("\0\1\2", 3))}}));
  ASSERT_TRUE(sim::PutFile("C:\\target.bin", "a much longer previous content"));
  ASSERT_EQ(ExtractPackageFile("data.bin", "C:\\target.bin"), 1);
  EXPECT_EQ(sim::GetFile("C:\\target.bin"), std::string("\0\1\2", 3));
  ASSERT_EQ(ExtractPackageFile("empty.cat", "C:\\empty.cat"), 1);
  EXPECT_EQ(sim::GetFile("C:\\empty.cat"), "");
}

TEST_F(PackageTest, ExtractIntoMissingDirectoryReportsPathNotFound) {
  Install(Module({{"drv.sys", Bytes("d")}}));
  EXPECT_EQ(ExtractPackageFile("drv.sys", "C:\\no such dir\\drv.sys"), 0);
  EXPECT_EQ(m_Out, "\n$ can not generate 'C:\\no such dir\\drv.sys':win error code:0x00000003 ");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
}

// ---- Damaged packages -----------------------------------------------------------

TEST_F(PackageTest, TrailersThatAreNotAPackagesAreNotFound) {
  const std::vector<char> good = Module({{"setup.cxx", Bytes("s")}});
  std::vector<std::vector<char>> modules = {Bytes(std::string(100, 'M')), good, good};
  modules[1][good.size() - 2] = 'Y';          // magic "KVY"
  PutWord(modules[2], good.size() - 12, 13);  // trailer length
  for (std::uint32_t count : {2u, 1000u, 0x00F0F0F1u, 0xFFFFFFFFu}) {
    modules.push_back(good);
    PutWord(modules.back(), good.size() - 8, count);  // more records than the file holds
  }
  for (std::size_t i = 0; i < modules.size(); ++i) {
    Install(modules[i]);
    m_Out.clear();
    EXPECT_EQ(GetScript(), 0) << i;
    EXPECT_EQ(ExtractPackageFile("setup.cxx", "C:\\a"), 0) << i;
    EXPECT_EQ(m_Out,
              "\n$ can not find any *.cxx in resource file list. "
              "\n$ Can not find 'setup.cxx' in resource file list. ")
        << i;
  }
  Install(Module({}));
  m_Out.clear();
  EXPECT_EQ(ExtractPackageFile("x", "C:\\x"), 0);
  EXPECT_EQ(m_Out, "\n$ Can not find 'x' in resource file list. ");
}

TEST_F(PackageTest, TruncatedPackageNeverReadsOutsideTheFile) {
  Install(Bytes("KVX"));  // shorter than a trailer: the seek fails
  EXPECT_EQ(GetScript(), 0);
  EXPECT_EQ(m_Out, "");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);

  const std::vector<char> whole = Module({{"a.inf", Bytes("aaaa")}, {"setup.cxx", Bytes("ss")}});
  for (std::size_t cut = 1; cut < whole.size(); cut += 7) {
    Install(std::vector<char>(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(cut)));
    EXPECT_EQ(GetScript(), 0) << cut;
    EXPECT_EQ(ExtractPackageFile("a.inf", "C:\\a.inf"), 0) << cut;
  }
  EXPECT_FALSE(sim::GetFile("C:\\a.inf").has_value());
}

TEST_F(PackageTest, RecordRangeOutsideTheDataIsReportedAsNotGenerated) {
  struct Damage {
    std::uint32_t offset;
    std::uint32_t size;
  };
  // Offsets are absolute; data may end exactly where the table begins.
  const std::vector<char> good = Module({{"drv.inf", Bytes("abcd")}});
  const std::uint32_t tableStart = static_cast<std::uint32_t>(RecordAt(good, 1, 0));
  Install(good);
  EXPECT_EQ(ExtractPackageFile("drv.inf", "C:\\edge.inf"), 1);
  EXPECT_EQ(sim::GetFile("C:\\edge.inf"), "abcd");

  for (const Damage damage : {Damage{tableStart - 3, 4}, Damage{0, tableStart + 1},
                              Damage{0xFFFFFFF0u, 0x20}, Damage{tableStart, 0xFFFFFFFFu}}) {
    std::vector<char> module = good;
    PutWord(module, RecordAt(module, 1, 0) + 4, damage.offset);
    PutWord(module, RecordAt(module, 1, 0) + 264, damage.size);
    Install(module);
    m_Out.clear();
    EXPECT_EQ(ExtractPackageFile("drv.inf", "C:\\drv.inf"), 0);
    EXPECT_EQ(m_Out, "\n$ can not generate 'C:\\drv.inf':win error code:0x00000570 ");
    EXPECT_FALSE(sim::GetFile("C:\\drv.inf").has_value()) << "nothing is written";
  }

  // The script's report names the entry.
  std::vector<char> module = Module({{"setup.cxx", Bytes("s")}});
  PutWord(module, RecordAt(module, 1, 0) + 264, 1u << 20);
  Install(module);
  m_Out.clear();
  EXPECT_EQ(GetScript(), 0);
  EXPECT_EQ(m_Out, "\n$ can not generate 'setup.cxx':win error code:0x00000570 ");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
}

TEST_F(PackageTest, NameWithoutTerminatorNeverMatches) {
  std::vector<char> module = Module({{"keep.cxx", Bytes("k")}, {"x.cxx", Bytes("x")}});
  const std::size_t name = RecordAt(module, 2, 1) + 8;
  std::memset(module.data() + name, 'A', pack::kNameSize - 4);
  std::memcpy(module.data() + name + pack::kNameSize - 4, ".cxx", 4);  // no NUL left
  Install(module);
  ASSERT_EQ(GetScript(), 1);
  EXPECT_EQ(*m_Path, "C:\\WINDOWS\\keep.cxx");
  const std::string longName(pack::kNameSize - 4, 'A');
  EXPECT_EQ(ExtractPackageFile((longName + ".cxx").c_str(), "C:\\long"), 0);
}

// ---- Windows of the module file ----------------------------------------------------

// The reader writes an entry through views of 8 MiB at offsets that are
// multiples of 64 KiB (what the simulated MapViewOfFile demands, as Windows
// does). These modules place entries across, at and just short of those
// boundaries.
constexpr std::size_t kGranularity = 65536;
constexpr std::size_t kWindow = 128 * kGranularity;

// `size` bytes of a pattern that repeats only every 251 bytes, so a piece
// written from the wrong place of the module shows.
std::vector<char> Pattern(std::size_t size, unsigned seed) {
  std::vector<char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i + seed) % 251);
  return bytes;
}

// A module whose image is `imageSize` bytes, so that the first entry's data
// begins at imageSize + 4.
std::vector<char> ModuleWithImage(std::size_t imageSize, const std::vector<pack::Entry>& entries) {
  std::vector<char> module(imageSize, 'I');
  std::string error;
  EXPECT_TRUE(pack::AppendPackage(module, entries, &error)) << error;
  return module;
}

TEST_F(PackageTest, EntriesAcrossWindowBoundariesComeOutWhole) {
  // First entry: unaligned start, crosses two window boundaries, ends inside
  // the third window. Then an empty entry, one that ends exactly on a window
  // boundary, and a small one in the last, partial window.
  const std::size_t first = 2 * kWindow + 12345;
  const std::size_t start = 3 * kGranularity + 100;  // data of entry 0
  const std::size_t toBoundary = 3 * kWindow - (start + first);
  std::vector<pack::Entry> entries = {{"big.bin", Pattern(first, 1)},
                                      {"empty.cat", {}},
                                      {"edge.bin", Pattern(toBoundary, 7)},
                                      {"setup.cxx", Bytes("num main()\r\n")}};
  Install(ModuleWithImage(start - 4, entries));
  for (const pack::Entry& entry : entries) {
    SCOPED_TRACE(entry.name);
    const std::string target = "C:\\out\\" + entry.name;
    ASSERT_TRUE(sim::PutFile(target, "old content"));
    ASSERT_EQ(ExtractPackageFile(entry.name.c_str(), target.c_str()), 1);
    std::optional<std::string> written = sim::GetFile(target);
    ASSERT_TRUE(written.has_value());
    EXPECT_TRUE(*written == std::string(entry.data.begin(), entry.data.end()));
  }
  EXPECT_EQ(m_Out, "");
  ASSERT_EQ(GetScript(), 1);
  EXPECT_EQ(sim::GetFile(*m_Path), "num main()\r\n");
}

TEST_F(PackageTest, EmptyEntryOnAWindowBoundary) {
  // The empty entry's offset is a multiple of the window, and nothing but the
  // table follows it.
  Install(ModuleWithImage(kWindow - 4, {{"empty.cxx", {}}}));
  ASSERT_EQ(GetScript(), 1);
  EXPECT_EQ(sim::GetFile(*m_Path), "");
  EXPECT_EQ(theGlobal.ErrorFlag, 0);
}

TEST_F(PackageTest, FailureInALaterWindowLeavesThePartlyWrittenFile) {
  const std::size_t start = kGranularity + 10;
  Install(ModuleWithImage(start - 4, {{"big.cxx", Pattern(kWindow + 5000, 3)}}));
  // The first view runs from the boundary below the data to one window on.
  const std::size_t firstPiece = kGranularity + kWindow - start;

  sim::FailNext(sim::Op::MapViewOfFile, plat::ERROR_NOT_ENOUGH_MEMORY, 1);
  EXPECT_EQ(ExtractPackageFile("big.cxx", "C:\\part.bin"), 0);
  EXPECT_EQ(m_Out, "\n$ mapping file list failed:win error code:0x00000008 ");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
  std::optional<std::string> part = sim::GetFile("C:\\part.bin");
  ASSERT_TRUE(part.has_value());
  const std::vector<char> expected = Pattern(firstPiece, 3);
  EXPECT_TRUE(*part == std::string(expected.begin(), expected.end()));

  m_Out.clear();
  theGlobal.ErrorFlag = 0;
  sim::FailNext(sim::Op::WriteFile, 112, 1);
  EXPECT_EQ(GetScript(), 0);
  EXPECT_EQ(m_Out, "\n$ can not generate 'big.cxx':win error code:0x00000070 ");
  EXPECT_EQ(theGlobal.ErrorFlag, 1);
  part = sim::GetFile("C:\\WINDOWS\\big.cxx");
  ASSERT_TRUE(part.has_value());
  EXPECT_EQ(part->size(), firstPiece);
  sim::ClearFailures();
}

TEST_F(PackageTest, RecordReachingIntoTheTableOfALargeModuleIsRefused) {
  std::vector<char> module = ModuleWithImage(
      kGranularity, {{"a.bin", Pattern(kWindow + 1, 0)}, {"setup.cxx", Bytes("s")}});
  // a.bin's size now runs one byte past setup.cxx into the table.
  const std::size_t record = RecordAt(module, 2, 0);
  PutWord(module, record + 264, static_cast<std::uint32_t>(kWindow + 3));
  Install(module);
  EXPECT_EQ(ExtractPackageFile("a.bin", "C:\\a.bin"), 0);
  EXPECT_EQ(m_Out, "\n$ can not generate 'C:\\a.bin':win error code:0x00000570 ");
  EXPECT_FALSE(sim::GetFile("C:\\a.bin").has_value());
  // An offset past the table is refused alike, whatever the size.
  PutWord(module, record + 264, 0);
  PutWord(module, record + 4, static_cast<std::uint32_t>(module.size() - 5));
  Install(module);
  m_Out.clear();
  EXPECT_EQ(ExtractPackageFile("a.bin", "C:\\a.bin"), 0);
  EXPECT_EQ(m_Out, "\n$ can not generate 'C:\\a.bin':win error code:0x00000570 ");
}

// ---- Failures of the platform ------------------------------------------------------

// One injected failure: the call of `op` after `skip` successful ones fails.
struct Fault {
  sim::Op op;
  plat::DWORD error;
  int skip;
  bool script;         // GetScriptFromPackage, else ExtractPackageFile to C:\\s.txt
  const char* output;  // the exact report
  int flag;            // ErrorFlag afterwards
};

TEST_F(PackageTest, EveryPlatformFailureHasItsReportAndFlag) {
  using sim::Op;
  const Fault faults[] = {
      {Op::GetModuleFileName, 6, 0, true, "", 0},
      {Op::CreateFile, 32, 0, false, "", 0},
      {Op::GetFileSize, 6, 0, true, "", 1},
      {Op::SetFilePointer, 87, 0, false, "", 1},
      {Op::ReadFile, 87, 0, false, "\n$ Read File list header error , read 0 bytes ", 1},
      {Op::ReadFile, 87, 1, true, "", 1},  // the first record
      {Op::CreateFileMapping, 8, 0, true,
       "\n$ mapping file list failed , err:win error code:0x00000008. ", 1},
      {Op::MapViewOfFile, 8, 0, true, "\n$ mapping file list failed:win error code:0x00000008. ",
       1},
      {Op::CreateFileMapping, 8, 0, false,
       "\n$ create mapping file failed:win error code:0x00000008 ", 1},
      {Op::MapViewOfFile, 8, 0, false, "\n$ mapping file list failed:win error code:0x00000008 ",
       1},
      {Op::CreateFile, 5, 1, true,  // the destination, after the module's open
       "\n$ can not generate 'C:\\WINDOWS\\setup.cxx':win error code:0x00000005. ", 1},
      {Op::WriteFile, 112, 0, true, "\n$ can not generate 'setup.cxx':win error code:0x00000070 ",
       1},
      {Op::CreateFile, 5, 1, false, "\n$ can not generate 'C:\\s.txt':win error code:0x00000005 ",
       1},
      {Op::WriteFile, 112, 0, false, "\n$ can not generate 'C:\\s.txt':win error code:0x00000070 ",
       1},
  };
  Install(Module({{"setup.cxx", Bytes("s")}}));
  for (const Fault& fault : faults) {
    SCOPED_TRACE(std::string(sim::OpName(fault.op)) + (fault.script ? " script" : " extract"));
    m_Out.clear();
    theGlobal.ErrorFlag = 0;
    sim::FailNext(fault.op, fault.error, fault.skip);
    EXPECT_EQ(fault.script ? GetScript() : ExtractPackageFile("setup.cxx", "C:\\s.txt"), 0);
    EXPECT_EQ(m_Out, fault.output);
    EXPECT_EQ(theGlobal.ErrorFlag, fault.flag);
    sim::ClearFailures();
  }
}

// ---- Extensions -------------------------------------------------------------------

TEST(UpperExtension, TakesTheTextBehindTheLastDot) {
  std::optional<std::string> out;
  EXPECT_EQ(GetUpperExtension("setup.Cxx", out), 1);
  EXPECT_EQ(out, "CXX");
  EXPECT_EQ(GetUpperExtension("a.b.inf", out), 1);
  EXPECT_EQ(out, "INF");
  EXPECT_EQ(GetUpperExtension("name.", out), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(GetUpperExtension("x.\xE9t1", out), 1);
  EXPECT_EQ(out, "\xE9T1");  // only ASCII letters change

  out = "KEEP";
  EXPECT_EQ(GetUpperExtension("noext", out), 1);
  EXPECT_EQ(out, "KEEP");
  EXPECT_EQ(GetUpperExtension(nullptr, out), 0);
  EXPECT_EQ(out, "KEEP");
}

// ---- The writer and its round trip ---------------------------------------------------

TEST(PackageWriter, LayoutOfAStandAlonePackage) {
  std::vector<char> module;
  ASSERT_TRUE(pack::AppendPackage(module, {{"a", Bytes("12")}, {"bc", Bytes("345")}}, nullptr));
  ASSERT_EQ(module.size(), 4u + 5u + 2 * 272u + 12u);
  auto word = [&module](std::size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, module.data() + at, 4);  // little-endian host
    return value;
  };
  EXPECT_EQ(word(0), 4u);
  EXPECT_EQ(std::string(module.data() + 4, 5), "12345");
  const std::size_t second = 9 + 272;
  EXPECT_EQ(word(second), 272u);
  EXPECT_EQ(word(second + 4), 6u);
  EXPECT_STREQ(module.data() + second + 8, "bc");
  EXPECT_EQ(word(second + 264), 3u);
  EXPECT_EQ(word(second + 268), 1u);
  EXPECT_EQ(word(module.size() - 12), 12u);
  EXPECT_EQ(word(module.size() - 8), 2u);
  EXPECT_EQ(std::memcmp(module.data() + module.size() - 4, "KVX\0", 4), 0);
}

TEST(PackageWriter, RejectsNamesThatCannotBeStored) {
  std::vector<char> module = Bytes("image");
  std::string error;
  for (const std::string& name : {std::string(), std::string(256, 'n'), std::string("a\\b.cxx"),
                                  std::string("dir/b.cxx"), std::string("a\0b", 3)}) {
    EXPECT_FALSE(pack::AppendPackage(module, {{name, {}}}, &error)) << name;
    EXPECT_FALSE(error.empty());
  }
  EXPECT_EQ(module, Bytes("image"));
  EXPECT_TRUE(pack::AppendPackage(module, {{std::string(255, 'n'), {}}}, &error)) << error;
}

TEST(PackageWriter, FilesRoundTripThroughCreateListAndExtract) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::path(::testing::TempDir()) / "package_round_trip";
  fs::remove_all(dir);
  fs::create_directories(dir / "sub");
  std::string error;
  ASSERT_TRUE(pack::WriteFileBytes((dir / "base.dll").string(), Bytes("MZbase"), &error));
  ASSERT_TRUE(pack::WriteFileBytes((dir / "sub" / "setup.cxx").string(), Bytes("script"), &error));
  ASSERT_TRUE(pack::WriteFileBytes((dir / "drv.inf").string(), Bytes("inf"), &error));

  const std::string out = (dir / "out.dll").string();
  // A base that is no PE DLL is refused (bases are tested in pack_tools_test).
  EXPECT_FALSE(pack::CreatePackageFile(out, (dir / "base.dll").string(),
                                       {(dir / "sub" / "setup.cxx").string()}, &error));
  ASSERT_TRUE(pack::CreatePackageFile(
      out, "", {(dir / "sub" / "setup.cxx").string(), (dir / "drv.inf").string()}, &error))
      << error;

  std::vector<char> module;
  ASSERT_TRUE(pack::ReadFileBytes(out, module, &error));
  EXPECT_EQ(pack::PackageStart(module), 0u);
  std::vector<pack::EntryInfo> entries;
  ASSERT_TRUE(pack::ReadPackageTable(module, entries, &error)) << error;
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].name, "setup.cxx");
  EXPECT_EQ(entries[0].size, 6u);
  EXPECT_EQ(entries[1].name, "drv.inf");
  EXPECT_EQ(entries[1].index, 1u);
  std::vector<char> data;
  ASSERT_TRUE(pack::FindEntryData(module, "drv.inf", data, &error));
  EXPECT_EQ(data, Bytes("inf"));
  EXPECT_FALSE(pack::FindEntryData(module, "DRV.INF", data, &error));

  // Same base name twice, a missing input and a module without a package.
  EXPECT_FALSE(pack::CreatePackageFile(
      out, "", {(dir / "drv.inf").string(), (dir / "drv.inf").string()}, &error));
  EXPECT_NE(error.find("drv.inf"), std::string::npos);
  EXPECT_FALSE(pack::CreatePackageFile(out, "", {(dir / "missing").string()}, &error));
  EXPECT_FALSE(pack::CreatePackageFile(out, "", {dir.string()}, &error));
  EXPECT_FALSE(pack::ReadPackageTable(Bytes("MZbase and nothing else"), entries, &error));
  fs::remove_all(dir);
}

}  // namespace
}  // namespace setup
