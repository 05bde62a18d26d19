// Registry files against the simulated machine (import, export) and machine
// snapshots (show, change sets).
#include "common/snapshot.h"

#include <cstring>
#include <filesystem>

#include "common/regfile.h"
#include "common/regsim.h"
#include "sim_fixture.h"

namespace {

using namespace plat;

class MachineState : public SimTest {
 protected:
  static void Import(const std::string& utf8) {
    regfile::ReadError error;
    std::optional<regfile::File> file =
        regfile::Read("Windows Registry Editor Version 5.00\n" + utf8, &error);
    ASSERT_TRUE(file) << error.line << ": " << error.message;
    std::string problem;
    ASSERT_TRUE(regsim::Import(*file, &problem)) << problem;
  }
  // The value as a program reads it through the "A" functions.
  static std::string Query(const char* path, const char* name, DWORD* type = nullptr) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != 0) return "<no key>";
    BYTE data[256];
    DWORD size = sizeof data;
    LONG status = RegQueryValueExA(key, name, nullptr, type, data, &size);
    RegCloseKey(key);
    if (status != 0) return "<no value>";
    return std::string(reinterpret_cast<char*>(data), size);
  }
  static void Set(const char* path, const char* name, DWORD type, std::string_view data) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &key, nullptr),
              0);
    ASSERT_EQ(RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                             static_cast<DWORD>(data.size())),
              0);
    RegCloseKey(key);
  }
  // The .reg text of one exported key and what lies below it.
  static std::string ExportText(const char* path) {
    std::optional<regfile::File> file = regsim::Export(regfile::Root::LocalMachine, path);
    if (!file) return "<none>";
    std::string out;
    for (const regfile::Key& key : file->keys) {
      out += regfile::FormatKey(key) + "\n";
      for (const regfile::Value& value : key.values) {
        out += regfile::FormatValue(value, {"\n", "\n  "}) + "\n";
      }
    }
    return out;
  }
};

TEST_F(MachineState, ImportedValuesReadBackThroughTheAnsiFunctions) {
  Import(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Caf\xC3\xA9]\n"
      "@=\"\xE2\x82\xAC 5\"\n"
      "\"Path\"=hex(2):25,00,53,00,79,00,73,00,00,00\n"
      "\"List\"=hex(7):61,00,00,00,e9,00,00,00,00,00\n"
      "\"Count\"=dword:0000002a\n");
  DWORD type = 0;
  EXPECT_EQ(Query("SOFTWARE\\Caf\xE9", nullptr, &type), std::string("\x80 5\0", 4));
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(Query("software\\CAF\xE9", "path", &type), std::string("%Sys\0", 5));
  EXPECT_EQ(type, REG_EXPAND_SZ);
  EXPECT_EQ(Query("SOFTWARE\\Caf\xE9", "List", &type), std::string("a\0\xE9\0\0", 5));
  EXPECT_EQ(type, REG_MULTI_SZ);
  EXPECT_EQ(Query("SOFTWARE\\Caf\xE9", "Count", &type), std::string("\x2a\0\0\0", 4));
  EXPECT_EQ(type, REG_DWORD);
}

TEST_F(MachineState, ImportDeletesKeysAndValuesAndMergesTheRest) {
  Set("SOFTWARE\\Acme\\Sub\\Deeper", "x", REG_SZ, std::string("1\0", 2));
  Set("SOFTWARE\\Acme", "Keep", REG_SZ, std::string("k\0", 2));
  Set("SOFTWARE\\Acme", "Drop", REG_SZ, std::string("d\0", 2));
  Import(
      "[-HKLM\\SOFTWARE\\Acme\\Sub]\n"
      "[-HKLM\\SOFTWARE\\Never\\There]\n"
      "[HKLM\\SOFTWARE\\Acme]\n"
      "\"drop\"=-\n"
      "\"Missing\"=-\n"
      "\"New\"=dword:1\n");
  EXPECT_EQ(ExportText("software\\acme"),
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Acme]\n"
            "\"Keep\"=\"k\"\n"
            "\"New\"=dword:00000001\n");
}

TEST_F(MachineState, EightBitNamesAndDataSurviveASavedMachine) {
  char dir[] = "/tmp/snapshot-test-XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::string error;
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  Import("[HKLM\\SOFTWARE\\Caf\xC3\xA9]\n\"\xC3\xBC\"=\"\xE2\x82\xAC \xC2\x81\"\n");
  sim::Shutdown();
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  EXPECT_EQ(
      ExportText("SOFTWARE\\Caf\xE9"),
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Caf\xC3\xA9]\n\"\xC3\xBC\"=\"\xE2\x82\xAC \xC2\x81\"\n");
  sim::Shutdown();
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(sim::Boot("", &error)) << error;
}

TEST_F(MachineState, ExportIsOrderedByNameWithTheDefaultValueFirst) {
  Set("SOFTWARE\\Order\\b", "z", REG_BINARY, "\x01");
  Set("SOFTWARE\\Order\\A", "", REG_SZ, std::string("d\0", 2));
  Set("SOFTWARE\\Order\\A", "M", REG_SZ, std::string("m\0", 2));
  Set("SOFTWARE\\Order\\A", "a", REG_SZ, std::string("a\0", 2));
  Set("SOFTWARE\\Order\\c", "q", REG_DWORD, std::string("\1\0\0", 3));
  EXPECT_EQ(ExportText("SOFTWARE\\Order"),
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Order]\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Order\\A]\n"
            "@=\"d\"\n"
            "\"a\"=\"a\"\n"
            "\"M\"=\"m\"\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Order\\b]\n"
            "\"z\"=hex:01\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Order\\c]\n"
            "\"q\"=hex(4):01,00,00\n");
  EXPECT_EQ(ExportText("SOFTWARE\\Absent"), "<none>");
}

// Subkeys come in Windows' order (upper case: "SubB" before "Sub_x", "[x]"
// after both), in the export and in the change set's walk over both states.
TEST_F(MachineState, SubkeysAreOrderedAsWindowsOrdersThem) {
  Set("SOFTWARE\\Keys\\Sub_x", "v", REG_DWORD, std::string("\1\0\0\0", 4));
  const snapshot::Snapshot before = snapshot::Take();
  Set("SOFTWARE\\Keys\\SubB\\Deep", "v", REG_DWORD, std::string("\2\0\0\0", 4));
  Set("SOFTWARE\\Keys\\[x]", "v", REG_DWORD, std::string("\3\0\0\0", 4));
  Set("SOFTWARE\\Keys\\Sub", "v", REG_DWORD, std::string("\4\0\0\0", 4));
  EXPECT_EQ(ExportText("SOFTWARE\\Keys"),
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys]\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys\\Sub]\n"
            "\"v\"=dword:00000004\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys\\SubB]\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys\\SubB\\Deep]\n"
            "\"v\"=dword:00000002\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys\\Sub_x]\n"
            "\"v\"=dword:00000001\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys\\[x]]\n"
            "\"v\"=dword:00000003\n");
  const std::string diff = snapshot::Diff(before, snapshot::Take());
  EXPECT_EQ(diff.find("[-"), std::string::npos) << diff;
  EXPECT_NE(diff.find("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keys\\[x]]"), std::string::npos) << diff;
}

TEST_F(MachineState, DiffListsRegistryFileAndServiceChangesInOrder) {
  Set("SOFTWARE\\Acme", "Count", REG_DWORD, std::string("\1\0\0\0", 4));
  Set("SOFTWARE\\Acme", "Gone", REG_SZ, std::string("old\0", 4));
  Set("SOFTWARE\\Acme", "Same", REG_SZ, std::string("s\0", 2));
  Set("SOFTWARE\\Old\\Sub", "w", REG_SZ, std::string("2\0", 2));
  Set("SOFTWARE\\Old", "v", REG_SZ, std::string("1\0", 2));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\keep.txt", "same"));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\grow.txt", "ab"));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\edit.txt", "abc"));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\gone.txt", "x"));
  SC_HANDLE scm = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  ASSERT_NE(scm, nullptr);
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\old.sys", "MZ"));
  SC_HANDLE old =
      CreateServiceA(scm, "Old", "Old service", SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER,
                     SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, "system32\\drivers\\old.sys",
                     nullptr, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(old, nullptr);
  ASSERT_TRUE(StartServiceA(old, 0, nullptr));
  CloseServiceHandle(old);

  const snapshot::Snapshot before = snapshot::Take();
  EXPECT_EQ(snapshot::Diff(before, snapshot::Take()), "");

  Set("SOFTWARE\\Acme", "Count", REG_DWORD, std::string("\2\0\0\0", 4));
  Set("SOFTWARE\\Acme", "New", REG_SZ, std::string("n\0", 2));
  HKEY acme = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme", 0, KEY_ALL_ACCESS, &acme), 0);
  ASSERT_EQ(RegDeleteValueA(acme, "Gone"), 0);
  RegCloseKey(acme);
  Set("SOFTWARE\\Acme\\Fresh", "", REG_SZ, std::string("f\0", 2));
  ASSERT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Old"), 0u);
  ASSERT_TRUE(sim::PutFile("C:\\Data\\grow.txt", "abcd"));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\edit.txt", "xyz"));
  ASSERT_TRUE(SetFileAttributesA("C:\\Data\\keep.txt", FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(DeleteFileA("C:\\Data\\gone.txt"));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\New\\n.txt", "1"));
  old = OpenServiceA(scm, "old", SERVICE_ALL_ACCESS);
  SERVICE_STATUS status{};
  ASSERT_TRUE(ControlService(old, SERVICE_CONTROL_STOP, &status));
  ASSERT_TRUE(DeleteService(old));
  CloseServiceHandle(old);
  ASSERT_TRUE(sim::PutFile("C:\\WINDOWS\\system32\\drivers\\acme.sys", "MZ"));
  SC_HANDLE acmeService =
      CreateServiceA(scm, "acme", "Acme \xE9", SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER,
                     SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, "system32\\drivers\\acme.sys",
                     "Extended Base", nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(acmeService, nullptr);
  ASSERT_TRUE(StartServiceA(acmeService, 0, nullptr));
  CloseServiceHandle(acmeService);
  CloseServiceHandle(scm);

  const std::string diff = snapshot::Diff(before, snapshot::Take());
  // The services' own registry keys are part of the change set too; check
  // the parts this test made by hand, then the service lines.
  const std::string registry =
      "Registry:\n"
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Acme]\n"
      "; was: \"Count\"=dword:00000001\n"
      "\"Count\"=dword:00000002\n"
      "; was: \"Gone\"=\"old\"\n"
      "\"Gone\"=-\n"
      "\"New\"=\"n\"\n"
      "\n"
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Acme\\Fresh]\n"
      "; new key\n"
      "@=\"f\"\n"
      "\n"
      "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Old]\n"
      "; was: \"v\"=\"1\"\n"
      "; was: [HKEY_LOCAL_MACHINE\\SOFTWARE\\Old\\Sub]\n"
      "; was: \"w\"=\"2\"\n"
      "\n";
  EXPECT_EQ(diff.substr(0, registry.size()), registry);
  const std::string files =
      "Files:\n"
      "changed  C:\\Data\\edit.txt  3 bytes, new content\n"
      "removed  C:\\Data\\gone.txt  1 byte\n"
      "changed  C:\\Data\\grow.txt  2 -> 4 bytes\n"
      "changed  C:\\Data\\keep.txt  attributes 0x20 -> 0x1\n"
      "added    C:\\Data\\New\\\n"
      "added    C:\\Data\\New\\n.txt  1 byte\n"
      "added    C:\\WINDOWS\\system32\\drivers\\acme.sys  2 bytes\n"
      "\n"
      "Services:\n"
      "added    acme  type 1, start 3, error control 1, image "
      "\"system32\\drivers\\acme.sys\", group \"Extended Base\", display name \"Acme \xC3\xA9\"\n"
      "started  acme\n"
      "stopped  Old\n"
      "removed  Old  type 1, start 3, error control 1, image "
      "\"system32\\drivers\\old.sys\", display name \"Old service\"\n";
  ASSERT_NE(diff.find("\nFiles:\n"), std::string::npos) << diff;
  EXPECT_EQ(diff.substr(diff.find("\nFiles:\n") + 1), files);
}

TEST_F(MachineState, DiffCountsTheChangesItLists) {
  Set("SOFTWARE\\Acme", "Count", REG_DWORD, std::string("\1\0\0\0", 4));
  Set("SOFTWARE\\Acme", "Gone", REG_SZ, std::string("old\0", 4));
  Set("SOFTWARE\\Old\\Sub", "w", REG_SZ, std::string("2\0", 2));
  Set("SOFTWARE\\Old", "v", REG_SZ, std::string("1\0", 2));
  ASSERT_TRUE(sim::PutFile("C:\\Data\\gone.txt", "x"));
  const snapshot::Snapshot before = snapshot::Take();
  int changes = -1;
  EXPECT_EQ(snapshot::Diff(before, snapshot::Take(), &changes), "");
  EXPECT_EQ(changes, 0);

  Set("SOFTWARE\\Acme", "Count", REG_DWORD, std::string("\2\0\0\0", 4));  // 1: changed
  Set("SOFTWARE\\Acme", "New", REG_SZ, std::string("n\0", 2));            // 1: added
  HKEY acme = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Acme", 0, KEY_ALL_ACCESS, &acme), 0);
  ASSERT_EQ(RegDeleteValueA(acme, "Gone"), 0);  // 1: removed
  RegCloseKey(acme);
  Set("SOFTWARE\\Acme\\Fresh", "", REG_SZ, std::string("f\0", 2));   // 2: key and value
  ASSERT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Old"), 0u);  // 4: two keys, two values
  ASSERT_TRUE(DeleteFileA("C:\\Data\\gone.txt"));                    // 1
  ASSERT_TRUE(sim::PutFile("C:\\Data\\New\\n.txt", "1"));            // 2: directory and file
  snapshot::Diff(before, snapshot::Take(), &changes);
  EXPECT_EQ(changes, 12);
}

TEST_F(MachineState, TheRegistryPartOfADiffTurnsTheOldRegistryIntoTheNew) {
  Set("SOFTWARE\\P", "a", REG_SZ, std::string("1\0", 2));
  Set("SOFTWARE\\P\\Q\\R", "b", REG_BINARY, std::string(100, '\x5A'));
  Set("SOFTWARE\\P\\S", "c", REG_MULTI_SZ, std::string("x\0\xF6\0\0", 5));
  const snapshot::Snapshot before = snapshot::Take();
  Set("SOFTWARE\\P", "a", REG_EXPAND_SZ, std::string("%2%\0", 4));
  Set("SOFTWARE\\P\\T\\U", "\"q\\", REG_DWORD, std::string("\7\0\0\0", 4));
  ASSERT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\P\\Q"), 0u);
  const snapshot::Snapshot after = snapshot::Take();
  const std::string diff = snapshot::Diff(before, after);
  ASSERT_EQ(diff.rfind("Registry:\n", 0), 0u) << diff;

  // A fresh machine given the old registry and then the change set holds
  // the new registry.
  sim::Shutdown();
  std::string error;
  ASSERT_TRUE(sim::Boot("", &error)) << error;
  regfile::ReadError readError;
  std::optional<regfile::File> old = regfile::Read(regfile::Write(before.registry), &readError);
  ASSERT_TRUE(old) << readError.message;
  ASSERT_TRUE(regsim::Import(*old, &error)) << error;
  std::optional<regfile::File> patch =
      regfile::Read("Windows Registry Editor Version 5.00\n" + diff.substr(10), &readError);
  ASSERT_TRUE(patch) << readError.line << ": " << readError.message << "\n" << diff;
  ASSERT_TRUE(regsim::Import(*patch, &error)) << error;
  EXPECT_EQ(snapshot::Diff(after, snapshot::Take()), "");
}

TEST_F(MachineState, ShowListsEveryPartOfTheMachine) {
  Set("SOFTWARE\\Shown", "v", REG_SZ, std::string("1\0", 2));
  const std::string shown = snapshot::Show(snapshot::Take());
  EXPECT_EQ(shown.rfind("Registry:\n[HKEY_CLASSES_ROOT]\n", 0), 0u);
  EXPECT_NE(shown.find("\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Shown]\n\"v\"=\"1\"\n\n"),
            std::string::npos);
  EXPECT_NE(shown.find("\nFiles:\nC:\\WINDOWS\\\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("\nC:\\WINDOWS\\system32\\newdev.dll  "), std::string::npos);
  EXPECT_NE(shown.find("\nServices:\nBeep  running  type 1"), std::string::npos);
}

}  // namespace
