// Registry of the simulated machine: keys, values, enumeration, deletion,
// access rights and security descriptors.
#include <cstring>
#include <filesystem>

#include "platform/sim/view.h"
#include "sim_fixture.h"

namespace {

using namespace plat;

class SimRegistry : public SimTest {
 protected:
  HKEY Create(const char* path, DWORD* disposition = nullptr, HKEY root = HKEY_LOCAL_MACHINE) {
    HKEY key = nullptr;
    EXPECT_EQ(
        RegCreateKeyExA(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, disposition), 0);
    return key;
  }
  static LONG SetString(HKEY key, const char* name, const char* text) {
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                          static_cast<DWORD>(std::strlen(text) + 1));
  }
};

TEST_F(SimRegistry, KeysAreFoundWithoutRegardToCase) {
  DWORD disposition = 0;
  HKEY key = Create("SOFTWARE\\Vendor\\Product", &disposition);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  RegCloseKey(key);
  key = Create("software\\VENDOR\\product", &disposition);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  RegCloseKey(key);
  HKEY opened = nullptr;
  EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "Software\\vendor", &opened), 0);
  char name[32];
  EXPECT_EQ(RegEnumKeyA(opened, 0, name, sizeof name), 0);
  EXPECT_STREQ(name, "Product");  // the case of creation
  RegCloseKey(opened);
  EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "Software\\Missing", &opened), 2);
  EXPECT_EQ(opened, nullptr);
  EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "\\Software", &opened), 161);
  EXPECT_EQ(RegOpenKeyA(reinterpret_cast<HKEY>(0x1234), "x", &opened),
            static_cast<LONG>(ERROR_INVALID_HANDLE));
}

TEST_F(SimRegistry, SignExtendedRootsAreTheRoots) {
  RegCloseKey(Create("SOFTWARE\\Signed"));
  // A script's number 0x80000002 is negative; widened to a pointer it is
  // sign-extended on a 64-bit host.
  auto widened = reinterpret_cast<HKEY>(static_cast<std::intptr_t>(
      static_cast<std::int32_t>(static_cast<std::uint32_t>(0x80000002u))));
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyA(widened, "SOFTWARE\\Signed", &key), 0);
  RegCloseKey(key);
}

TEST_F(SimRegistry, QueryFollowsTheSizeProtocol) {
  HKEY key = Create("SOFTWARE\\Values");
  ASSERT_EQ(SetString(key, "Name", "hello"), 0);
  DWORD number = 0x12345678;
  ASSERT_EQ(RegSetValueExA(key, "Count", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4),
            0);
  ASSERT_EQ(SetString(key, nullptr, "default"), 0);

  DWORD type = 0, size = 0;
  EXPECT_EQ(RegQueryValueExA(key, "NAME", nullptr, &type, nullptr, &size), 0);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(size, 6u);
  BYTE small[3] = {'#', '#', '#'};
  size = sizeof small;
  EXPECT_EQ(RegQueryValueExA(key, "Name", nullptr, &type, small, &size), 234);
  EXPECT_EQ(size, 6u);
  BYTE data[16];
  size = sizeof data;
  EXPECT_EQ(RegQueryValueExA(key, "Name", nullptr, &type, data, &size), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(data), "hello");
  size = sizeof data;
  EXPECT_EQ(RegQueryValueExA(key, "Count", nullptr, &type, data, &size), 0);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(size, 4u);
  DWORD read = 0;
  std::memcpy(&read, data, 4);
  EXPECT_EQ(read, 0x12345678u);
  size = sizeof data;
  EXPECT_EQ(RegQueryValueExA(key, "", nullptr, &type, data, &size), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(data), "default");
  EXPECT_EQ(RegQueryValueExA(key, "Missing", nullptr, &type, data, &size), 2);
  EXPECT_EQ(RegQueryValueExA(key, "Name", nullptr, &type, data, nullptr), 87);
  EXPECT_EQ(RegDeleteValueA(key, "count"), 0);
  EXPECT_EQ(RegDeleteValueA(key, "count"), 2);
  RegCloseKey(key);
}

TEST_F(SimRegistry, EnumerationIsSortedAndBounded) {
  for (const char* name : {"SOFTWARE\\E\\beta", "SOFTWARE\\E\\Alpha", "SOFTWARE\\E\\gamma_long"}) {
    RegCloseKey(Create(name));
  }
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\E", &key), 0);
  char name[8];
  EXPECT_EQ(RegEnumKeyA(key, 0, name, sizeof name), 0);
  EXPECT_STREQ(name, "Alpha");
  EXPECT_EQ(RegEnumKeyA(key, 1, name, sizeof name), 0);
  EXPECT_STREQ(name, "beta");
  EXPECT_EQ(RegEnumKeyA(key, 2, name, sizeof name), 234);  // "gamma_long" needs 11
  EXPECT_EQ(RegEnumKeyA(key, 3, name, sizeof name), 259);
  char longName[260];
  DWORD size = sizeof longName;
  EXPECT_EQ(RegEnumKeyExA(key, 2, longName, &size, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(size, 10u);
  EXPECT_STREQ(longName, "gamma_long");
  RegCloseKey(key);
}

TEST_F(SimRegistry, DeletingKeys) {
  RegCloseKey(Create("SOFTWARE\\Tree\\Child\\Leaf"));
  HKEY leaf = nullptr;
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tree\\Child\\Leaf", &leaf), 0);
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tree"), 5);  // has subkeys
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tree\\Nothing"), 2);
  EXPECT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tree"), 0u);
  EXPECT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tree"), 2u);
  HKEY gone = nullptr;
  EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Tree", &gone), 2);
  // A handle to a deleted key answers "key deleted".
  EXPECT_EQ(SetString(leaf, "x", "y"), 1018);
  RegCloseKey(leaf);
  RegCloseKey(Create("SOFTWARE\\Single"));
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "software\\single"), 0);
}

TEST_F(SimRegistry, HandlesCarryTheirAccessRights) {
  RegCloseKey(Create("SOFTWARE\\Rights\\Sub"));
  HKEY readOnly = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Rights", 0, KEY_READ, &readOnly), 0);
  EXPECT_EQ(SetString(readOnly, "v", "x"), 5);
  EXPECT_EQ(RegDeleteValueA(readOnly, "v"), 5);
  RegCloseKey(readOnly);
  HKEY enumOnly = nullptr;
  ASSERT_EQ(
      RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Rights", 0, KEY_ENUMERATE_SUB_KEYS, &enumOnly),
      0);
  char name[16];
  EXPECT_EQ(RegEnumKeyA(enumOnly, 0, name, sizeof name), 0);
  DWORD size = sizeof name;
  EXPECT_EQ(RegQueryValueExA(enumOnly, "v", nullptr, nullptr, reinterpret_cast<BYTE*>(name), &size),
            5);
  RegCloseKey(enumOnly);
}

TEST_F(SimRegistry, NullDaclOpensAKeyToEveryone) {
  RegCloseKey(Create("SOFTWARE\\Secure"));
  EXPECT_EQ(sim::KeyOpenToEveryone(HKEY_LOCAL_MACHINE, "SOFTWARE\\Secure"), false);
  EXPECT_FALSE(sim::KeyOpenToEveryone(HKEY_LOCAL_MACHINE, "SOFTWARE\\None").has_value());

  alignas(8) unsigned char descriptor[SECURITY_DESCRIPTOR_MIN_LENGTH];
  EXPECT_FALSE(InitializeSecurityDescriptor(descriptor, 2));
  EXPECT_EQ(GetLastError(), 1305u);
  ASSERT_TRUE(InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION));
  ASSERT_TRUE(SetSecurityDescriptorDacl(descriptor, TRUE, nullptr, FALSE));

  HKEY noDac = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Secure", 0, KEY_READ, &noDac), 0);
  EXPECT_EQ(RegSetKeySecurity(noDac, DACL_SECURITY_INFORMATION, descriptor), 5);
  RegCloseKey(noDac);
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Secure", 0, WRITE_DAC, &key), 0);
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor), 0);
  RegCloseKey(key);
  EXPECT_EQ(sim::KeyOpenToEveryone(HKEY_LOCAL_MACHINE, "software\\secure"), true);

  unsigned char garbage[SECURITY_DESCRIPTOR_MIN_LENGTH] = {};
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Secure", 0, WRITE_DAC, &key), 0);
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, garbage), 1338);
  RegCloseKey(key);
}

TEST_F(SimRegistry, NestingIsLimitedTo512Levels) {
  std::string path = "k";
  for (int i = 1; i < 512; ++i) path += "\\k";
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, (path + "\\k").c_str(), 0, nullptr, 0,
                            KEY_ALL_ACCESS, nullptr, &key, nullptr),
            87);
  ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr),
            0);
  HKEY deeper = nullptr;
  EXPECT_EQ(RegCreateKeyExA(key, "more", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &deeper, nullptr),
            87);
  RegCloseKey(key);
  EXPECT_EQ(SHDeleteKeyA(HKEY_CURRENT_USER, "k"), 0u);
}

TEST_F(SimRegistry, InjectedRegistryFailures) {
  sim::FailNext(sim::Op::RegCreateKey, ERROR_ACCESS_DENIED);
  HKEY key = nullptr;
  EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\F", 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr),
            5);
  key = Create("SOFTWARE\\F");
  sim::FailNext(sim::Op::RegSetValue, 1);
  EXPECT_EQ(SetString(key, "v", "x"), 1);
  EXPECT_EQ(SetString(key, "v", "x"), 0);
  RegCloseKey(key);
}

TEST_F(SimRegistry, RestrictedKeysRefuseWhatTheyDoNotGrant) {
  ASSERT_TRUE(sim::SetKeyAccess(HKEY_LOCAL_MACHINE, "SOFTWARE\\Ro", KEY_READ));
  ASSERT_TRUE(sim::SetKeyAccess(HKEY_LOCAL_MACHINE, "SOFTWARE\\No", 0));
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Ro", 0, KEY_ALL_ACCESS, &key), 5);
  EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Ro", 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr),
            5);
  EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Ro\\New\\Deeper", 0, nullptr, 0,
                            KEY_READ, nullptr, &key, nullptr),
            5);
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Ro", 0, KEY_READ, &key), 0);
  EXPECT_EQ(SetString(key, "v", "x"), 5);
  RegCloseKey(key);
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\No", 0, KEY_ENUMERATE_SUB_KEYS, &key), 5);
  // The owner's rights stay: the DACL of a denied key can be replaced, and a
  // maximum-rights open gets exactly those.
  ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\No", &key), 0);
  char name[16];
  EXPECT_EQ(RegEnumKeyA(key, 0, name, sizeof name), 5);
  RegCloseKey(key);
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\No", 0, WRITE_DAC, &key), 0);
  alignas(8) unsigned char sd[64] = {};
  ASSERT_TRUE(InitializeSecurityDescriptor(sd, SECURITY_DESCRIPTOR_REVISION));
  ASSERT_TRUE(SetSecurityDescriptorDacl(sd, TRUE, nullptr, FALSE));
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, sd), 0);
  RegCloseKey(key);
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\No", 0, KEY_ALL_ACCESS, &key), 0);
  RegCloseKey(key);
}

TEST_F(SimRegistry, TreeDeletionKeepsWhatItMayNotDelete) {
  RegCloseKey(Create("SOFTWARE\\T\\Free\\Leaf"));
  RegCloseKey(Create("SOFTWARE\\T\\Held\\Leaf"));
  ASSERT_TRUE(sim::SetKeyAccess(HKEY_LOCAL_MACHINE, "SOFTWARE\\T\\Held\\Leaf", KEY_READ));
  EXPECT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\T"), 5u);
  std::optional<sim::RegistryKey> tree = sim::ReadRegistryKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\T");
  ASSERT_TRUE(tree.has_value());
  ASSERT_EQ(tree->keys.size(), 1u);
  EXPECT_EQ(tree->keys[0].name, "Held");
  EXPECT_EQ(sim::KeyRights(HKEY_LOCAL_MACHINE, "SOFTWARE\\T\\Held\\Leaf"), KEY_READ);
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\T\\Held\\Leaf"), 5);
}

TEST_F(SimRegistry, RegistryFunctionsLeaveTheLastErrorAlone) {
  SetLastError(77);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing", 0, KEY_READ, &key), 2);
  EXPECT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing"), 2u);
  key = Create("SOFTWARE\\L");
  DWORD size = 4;
  BYTE data[4];
  EXPECT_EQ(RegQueryValueExA(key, "none", nullptr, nullptr, data, &size), 2);
  RegCloseKey(key);
  EXPECT_EQ(GetLastError(), 77u);
}

TEST_F(SimRegistry, AFreshMachineHasTheStandardKeys) {
  std::optional<sim::RegistryKey> classes =
      sim::ReadRegistryKey(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Control\\Class");
  ASSERT_TRUE(classes.has_value());
  EXPECT_GE(classes->keys.size(), 15u);
  bool net = false;
  for (const sim::RegistryKey& c : classes->keys) {
    if (c.name != "{4D36E972-E325-11CE-BFC1-08002BE10318}") continue;
    net = true;
    ASSERT_EQ(c.values.size(), 2u);
    EXPECT_EQ(c.values[1].name, "Class");
    EXPECT_EQ(std::string(c.values[1].data.begin(), c.values[1].data.end()), std::string("Net", 4));
  }
  EXPECT_TRUE(net);
  EXPECT_TRUE(sim::ReadRegistryKey(HKEY_LOCAL_MACHINE,
                                   "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"));
  HKEY root = nullptr;
  std::string path;
  ASSERT_TRUE(sim::SplitKeyPath("hklm\\SOFTWARE\\", &root, &path));
  EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(path, "SOFTWARE");
  EXPECT_FALSE(sim::SplitKeyPath("HKEY_NOWHERE\\x", &root, &path));
}

TEST_F(SimRegistry, RestrictionsSurviveAShutdown) {
  std::string dir = sim::StateDir() + "-keys";
  std::string error;
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  ASSERT_TRUE(sim::SetKeyAccess(HKEY_CURRENT_USER, "Software\\Kept", KEY_READ));
  sim::Shutdown();
  ASSERT_TRUE(sim::Boot(dir, &error)) << error;
  EXPECT_EQ(sim::KeyRights(HKEY_CURRENT_USER, "Software\\Kept"), KEY_READ);
  sim::Shutdown();
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(sim::Boot("", &error));
}

}  // namespace
