// The machine state file: damaged and hostile states are refused with the
// field's name and leave the file untouched; good ones round-trip; the
// in-memory machine resets in place.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/sim/machine.h"
#include "platform/winapi.h"

namespace {

namespace fs = std::filesystem;

std::string Repeat(const std::string& text, int count) {
  std::string out;
  out.reserve(text.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

// Registry keys named "k" nested `levels` deep below HKEY_USERS.
std::string NestedKeys(int levels) {
  return "{\"registry\": {\"HKEY_USERS\": {\"keys\": [" +
         Repeat("{\"name\": \"k\", \"keys\": [", levels) + Repeat("]}", levels) + "]}}}";
}

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class SimState : public ::testing::Test {
 protected:
  void TearDown() override {
    sim::Shutdown();
    std::error_code ec;
    if (!m_Dir.empty()) fs::remove_all(m_Dir, ec);
  }

  // Boots a kept machine whose machine.json holds `text`; on refusal checks
  // that the file is unchanged and answers the message.
  std::string BootRefused(const std::string& text) {
    m_Dir = (fs::temp_directory_path() / ("sim-state-" + std::to_string(::getpid()))).string();
    fs::create_directories(m_Dir);
    { std::ofstream(m_Dir + "/machine.json", std::ios::binary) << text; }
    std::string error;
    EXPECT_FALSE(sim::Boot(m_Dir, &error));
    EXPECT_FALSE(sim::IsBooted());
    EXPECT_EQ(ReadAll(m_Dir + "/machine.json"), text);
    EXPECT_FALSE(fs::exists(m_Dir + "/machine.json.tmp"));
    return error;
  }

  std::string m_Dir;
};

TEST_F(SimState, DeepNestingIsRefusedWhileParsing) {
  struct Case {
    const char* what;
    std::string text;
  };
  const Case cases[] = {
      {"array under profile", "{\"profile\": " + Repeat("[", 60000) + Repeat("]", 60000) + "}"},
      {"objects", Repeat("{\"a\": ", 60000) + "1" + Repeat("}", 60000)},
      {"registry keys", NestedKeys(40000)},
      {"unclosed", "{\"x\": " + Repeat("[", 100000)},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_FALSE(sim::Reset(c.text, &error)) << c.what;
    EXPECT_NE(error.find("nested deeper than"), std::string::npos) << c.what << ": " << error;
  }
  EXPECT_NE(BootRefused(cases[0].text).find("machine.json"), std::string::npos);
}

TEST_F(SimState, RegistryNestingUpToItsLimitLoads) {
  std::string error;
  ASSERT_TRUE(sim::Reset(NestedKeys(512), &error)) << error;
  plat::HKEY key = nullptr;
  std::string path = "k";
  for (int i = 1; i < 512; ++i) path += "\\k";
  ASSERT_EQ(plat::RegOpenKeyA(plat::HKEY_USERS, path.c_str(), &key), 0);
  plat::RegCloseKey(key);
  // One level more than the registry holds: the deepest key is dropped.
  ASSERT_TRUE(sim::Reset(NestedKeys(513), &error)) << error;
  EXPECT_NE(plat::RegOpenKeyA(plat::HKEY_USERS, (path + "\\k").c_str(), &key), 0);
}

TEST_F(SimState, BadValuesAreRefusedWithTheFieldsName) {
  struct Case {
    std::string text;
    std::string field;
  };
  const Case cases[] = {
      {R"({"profile": {"majorVersion": 1e300}})",
       "profile.majorVersion: must be an integer from 0 to 4294967295, not 1e+300"},
      {R"({"profile": {"minorVersion": -1}})", "profile.minorVersion: must be an integer"},
      {R"({"profile": {"buildNumber": 4294967296}})", "profile.buildNumber: must be an integer"},
      {R"({"profile": {"locale": -5.5}})",
       "profile.locale: must be an integer from 0 to 4294967295, not -5.5"},
      {R"({"profile": {"platformId": "2"}})", "profile.platformId: must be an integer"},
      {R"({"profile": {"servicePack": 3}})", "profile.servicePack: must be a string, not number"},
      {R"({"profile": {"driverUpdateNeedsReboot": 1}})",
       "profile.driverUpdateNeedsReboot: must be true or false, not 1"},
      {R"({"profile": []})", "profile: must be an object, not array"},
      {R"({"restartRequests": 1e300})", "restartRequests: must be an integer from 0 to 2147483647"},
      {R"({"restartRequests": -1})", "restartRequests: must be an integer"},
      {R"({"restartPending": null})", "restartPending: must be true or false, not null"},
      {R"({"attributes": {"c/a.txt": 1e10}})", "attributes.c/a.txt: must be an integer"},
      {R"({"attributes": []})", "attributes: must be an object"},
      {R"({"services": [{"name": "a"}, {"name": "b", "errorControl": 1e300}]})",
       "services[1].errorControl: must be an integer"},
      {R"({"services": [{"name": "a", "running": "yes"}]})",
       "services[0].running: must be true or false"},
      {R"({"services": {}})", "services: must be an array, not object"},
      {R"({"scm": [{"name": "a", "markedForDelete": true, "config": {"startType": 1e300}}]})",
       "scm[0].config.startType: must be an integer"},
      {R"({"scm": [{"name": "a", "markedForDelete": true, "config": []}]})",
       "scm[0].config: must be an object"},
      {R"({"scm": [{"name": 5}]})", "scm[0].name: must be a string, not number"},
      {R"({"absentDevices": ["x", 5]})", "absentDevices[1]: must be a string, not number"},
      {R"({"absentDevices": "x"})", "absentDevices: must be an array, not string"},
      {R"({"registry": {"HKEY_USERS": {"rights": 1e300}}})",
       "registry.HKEY_USERS.rights: must be an integer from 0 to 4294967295"},
      {R"({"registry": {"HKEY_LOCAL_MACHINE": {"values": [{"name": "v", "type": -3}]}}})",
       "registry.HKEY_LOCAL_MACHINE.values[0].type: must be an integer"},
      {R"({"registry": {"HKEY_LOCAL_MACHINE": {"values": [{"name": "v", "data": "abc"}]}}})",
       "registry.HKEY_LOCAL_MACHINE.values[0].data: must be pairs of hexadecimal digits"},
      {R"({"registry": {"HKEY_CURRENT_USER": {"keys": [{"name": "a", "keys": [{"name": 1}]}]}}})",
       "registry.HKEY_CURRENT_USER.keys[0].keys[0].name: must be a string"},
      {R"({"registry": {"HKEY_USERS": {"everyone": "no"}}})",
       "registry.HKEY_USERS.everyone: must be true or false"},
      {R"({"registry": []})", "registry: must be an object"},
      {R"({"profile": {"servicePack": "\u0100"}})",
       "profile.servicePack: holds a character above U+00FF"},
      {R"({"attributes": {"c/\u0100": 1}})", "its name holds a character above U+00FF"},
      {R"([1, 2])", "not an object"},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_FALSE(sim::Reset(c.text, &error)) << c.text;
    EXPECT_NE(error.find(c.field), std::string::npos) << c.text << "\n" << error;
  }
  // Through a kept machine: the boot fails with the file's name and the field.
  std::string error = BootRefused(cases[0].text);
  EXPECT_NE(error.find("bad machine state in "), std::string::npos) << error;
  EXPECT_NE(error.find(cases[0].field), std::string::npos) << error;
}

TEST_F(SimState, IntegersAtTheEdgesOfTheirRangeLoad) {
  std::string error;
  ASSERT_TRUE(sim::Reset(R"({"profile": {"majorVersion": 4294967295, "minorVersion": 0,
                              "buildNumber": 3.0, "locale": 2052.0},
                              "restartRequests": 2147483647})",
                         &error))
      << error;
  EXPECT_EQ(sim::GetProfile().majorVersion, 4294967295u);
  EXPECT_EQ(sim::GetProfile().buildNumber, 3u);
  EXPECT_EQ(sim::GetProfile().locale, 2052u);
  EXPECT_EQ(sim::RestartRequests(), 2147483647);
}

TEST_F(SimState, DuplicatesKeepTheFirstAndKeysComeOutSorted) {
  std::string error;
  ASSERT_TRUE(sim::Reset(R"({
      "registry": {"HKEY_CURRENT_USER": {"values": [
          {"name": "V", "type": 4, "data": "01000000"},
          {"name": "v", "type": 4, "data": "02000000"}],
        "keys": [{"name": "b"}, {"name": "A", "keys": [{"name": "x"}]}, {"name": "a"}, {"name": ""},
                 {"name": "b_"}, {"name": "bB"}]}},
      "services": [{"name": "svc", "type": 1}, {"name": "SVC", "type": 2}]})",
                         &error))
      << error;
  plat::DWORD value = 0;
  plat::DWORD size = 4;
  plat::HKEY key = nullptr;
  // A key created after loading joins the loaded ones in the same order.
  ASSERT_EQ(plat::RegCreateKeyExA(plat::HKEY_CURRENT_USER, "b[", 0, nullptr, 0,
                                  plat::KEY_ALL_ACCESS, nullptr, &key, nullptr),
            0);
  plat::RegCloseKey(key);
  ASSERT_EQ(plat::RegOpenKeyA(plat::HKEY_CURRENT_USER, nullptr, &key), 0);
  EXPECT_EQ(plat::RegQueryValueExA(key, "v", nullptr, nullptr,
                                   reinterpret_cast<plat::BYTE*>(&value), &size),
            0);
  EXPECT_EQ(value, 1u);
  char name[32];
  std::vector<std::string> names;
  for (plat::DWORD i = 0; plat::RegEnumKeyA(key, i, name, sizeof name) == 0; ++i)
    names.push_back(name);
  plat::RegCloseKey(key);
  // Windows orders subkeys by their upper-case names: 'B' < '[' < '_'.
  EXPECT_EQ(names, (std::vector<std::string>{"A", "b", "bB", "b[", "b_"}));
  EXPECT_EQ(plat::RegOpenKeyA(plat::HKEY_CURRENT_USER, "a\\x", &key), 0);  // the first "A"
  plat::RegCloseKey(key);
  ASSERT_EQ(sim::Services().size(), 1u);
  EXPECT_EQ(sim::Services()[0].type, 1u);
}

TEST_F(SimState, StateRoundTripsThroughItsText) {
  std::string error;
  ASSERT_TRUE(sim::Reset({}, &error)) << error;
  sim::GetProfile().servicePack = "SP \xC3\xA9";
  plat::HKEY key = nullptr;
  ASSERT_EQ(plat::RegCreateKeyExA(plat::HKEY_LOCAL_MACHINE, "SOFTWARE\\Round", 0, nullptr, 0,
                                  plat::KEY_ALL_ACCESS, nullptr, &key, nullptr),
            0);
  const char text[] = "trip";
  ASSERT_EQ(plat::RegSetValueExA(key, "Text", 0, plat::REG_SZ,
                                 reinterpret_cast<const plat::BYTE*>(text), sizeof text),
            0);
  plat::RegCloseKey(key);
  sim::Device device;
  device.instanceId = "USB\\VID_1\\1";
  device.hardwareIds = {"USB\\VID_1", "USB\\CLASS_FF"};
  ASSERT_TRUE(sim::AddDevice(device));
  const std::string saved = sim::StateText();
  ASSERT_TRUE(sim::Reset(saved, &error)) << error;
  EXPECT_EQ(sim::StateText(), saved);
  EXPECT_EQ(sim::GetProfile().servicePack, "SP \xC3\xA9");
}

TEST_F(SimState, ResetStartsTheTemporaryMachineOverInPlace) {
  std::string error;
  ASSERT_TRUE(sim::Reset({}, &error)) << error;
  const std::string dir = sim::StateDir();
  ASSERT_TRUE(sim::PutFile("C:\\junk\\a.txt", "x"));
  plat::HANDLE open = plat::CreateFileA("C:\\junk\\a.txt", plat::GENERIC_READ, 0, nullptr,
                                        plat::OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(open, plat::INVALID_HANDLE_VALUE);
  sim::GetProfile().locale = 0x0411;
  sim::FailNext(sim::Op::CreateFile, 5);
  // Changes to the registry and the services of the fresh machine, which a
  // reset copies from what the first fresh start built.
  plat::HKEY key = nullptr;
  ASSERT_EQ(plat::RegCreateKeyExA(plat::HKEY_LOCAL_MACHINE, "SOFTWARE\\Junk", 0, nullptr, 0,
                                  plat::KEY_ALL_ACCESS, nullptr, &key, nullptr),
            0);
  plat::RegCloseKey(key);
  ASSERT_EQ(plat::RegDeleteKeyA(plat::HKEY_LOCAL_MACHINE,
                                "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"),
            0);
  const std::size_t services = sim::Services().size();
  ASSERT_EQ(
      plat::RegDeleteKeyA(plat::HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\Beep"),
      0);
  ASSERT_EQ(sim::Services().size(), services - 1);

  ASSERT_TRUE(sim::Reset({}, &error)) << error;
  EXPECT_EQ(sim::StateDir(), dir);
  EXPECT_FALSE(sim::GetFile("C:\\junk\\a.txt"));
  EXPECT_TRUE(sim::GetFile("C:\\WINDOWS\\system32\\SetupApi.dll"));
  EXPECT_EQ(sim::GetProfile().locale, 0x0409u);
  EXPECT_NE(plat::RegOpenKeyA(plat::HKEY_LOCAL_MACHINE, "SOFTWARE\\Junk", &key), 0);
  ASSERT_EQ(plat::RegOpenKeyA(plat::HKEY_LOCAL_MACHINE,
                              "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run", &key),
            0);
  plat::RegCloseKey(key);
  EXPECT_EQ(sim::Services().size(), services);
  EXPECT_FALSE(plat::CloseHandle(open));  // handles of the old run are gone
  EXPECT_TRUE(sim::PutFile("C:\\after.txt", "y"));
  plat::HANDLE again = plat::CreateFileA("C:\\after.txt", plat::GENERIC_READ, 0, nullptr,
                                         plat::OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(again, plat::INVALID_HANDLE_VALUE);
  plat::CloseHandle(again);                         // the queued failure went with the reset
  EXPECT_FALSE(fs::exists(dir + "/machine.json"));  // nothing reaches a state file
}

TEST_F(SimState, AKeptMachineIsNotReset) {
  m_Dir = (fs::temp_directory_path() / "sim-state-kept").string();
  std::string error;
  ASSERT_TRUE(sim::Boot(m_Dir, &error)) << error;
  EXPECT_FALSE(sim::Reset({}, &error));
  EXPECT_NE(error.find("cannot be reset"), std::string::npos) << error;
  EXPECT_TRUE(sim::IsBooted());
}

}  // namespace
