// libFuzzer target: arbitrary bytes as the packaged script, run through the
// library's whole life cycle on a fresh in-memory simulated machine: attach,
// Action with a command, Action without, detach. Endless loops are cut by the
// step budget; sleeps, programs, message boxes and restarts are only simulated.
//
// The last four bytes of an input steer the run (a script's closing comment
// in the seeds): the machine profile (Windows version and locale; 64-bit
// Windows and a 32-bit process on it; the budget mode), the machine's flags
// and two words of the command string. The script is every byte before them.
//
// Runs under a step budget take the tree walk only. With the profile byte's
// 0x20 bit the run has no step budget (so the num programs and the loop
// machine run) and a pass budget ends it instead; with its 0x18 bits as well
// the same input then runs again on a fresh machine with a step budget too
// large to reach, and the two runs must print the same and give the same
// results.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/global.h"
#include "common/package_writer.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"
#include "platform/winapi.h"

namespace {

plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);
constexpr std::uint32_t kStepBudget = 50000;
constexpr std::uint32_t kPassBudget = 5000;
constexpr std::uint32_t kUnreachableSteps = 0xFFFFFFFFu;
constexpr std::size_t kControlBytes = 4;

struct OsProfile {
  plat::DWORD major, minor, build, platform;
  plat::LCID locale;
};
constexpr OsProfile kProfiles[] = {
    {5, 1, 2600, plat::VER_PLATFORM_WIN32_NT, 0x0409},  // the default machine
    {5, 0, 2195, plat::VER_PLATFORM_WIN32_NT, 0x0407},
    {6, 0, 6002, plat::VER_PLATFORM_WIN32_NT, 0x0804},
    {6, 1, 7601, plat::VER_PLATFORM_WIN32_NT, 0x0411},
    {10, 0, 19045, plat::VER_PLATFORM_WIN32_NT, 0x040C},
    {4, 10, 2222, 1, 0x0409},  // a Windows 9x machine
    {4, 0, 1381, plat::VER_PLATFORM_WIN32_NT, 0x0419},
    {5, 2, 3790, plat::VER_PLATFORM_WIN32_NT, 0x0C04},
};

// Words of the command string: parameters the scripts look for, odd
// separators and one parameter longer than the library accepts.
const std::string kWords[] = {
    "",    "/install", "/uninstall", "/silent",
    "/s",  "/reboot",  "/x=1",       "/",
    "//",  "/ ",       "/a/b/c",     "/0",
    "/-1", "/\"q\"",   "install",    std::string("/") + std::string(300, 'p'),
};

// Applies the profile and flag bytes to the fresh machine.
void ShapeMachine(std::uint8_t profileByte, std::uint8_t flags) {
  const OsProfile& os = kProfiles[profileByte % std::size(kProfiles)];
  sim::Profile& profile = sim::GetProfile();
  profile.majorVersion = os.major;
  profile.minorVersion = os.minor;
  profile.buildNumber = os.build;
  profile.platformId = os.platform;
  profile.locale = os.locale;
  profile.amd64 = (profileByte & 0x80) != 0;
  sim::SetWow64Process(profile.amd64 && (profileByte & 0x40) != 0);
  profile.driverUpdateNeedsReboot = (flags & 0x01) != 0;
  profile.deviceChangeNeedsReboot = (flags & 0x02) != 0;
  if (flags & 0x04) plat::DeleteFileA((profile.systemDirectory + "\\SetupApi.dll").c_str());
  if (flags & 0x08) plat::DeleteFileA((profile.systemDirectory + "\\newdev.dll").c_str());
  if (flags & 0x10) profile.currentDirectory = "C:\\";
  if (flags & 0x20) sim::QueueAnswer(plat::IDNO);
  if (flags & 0x40) sim::FailNext(sim::Op::CreateFile, plat::ERROR_ACCESS_DENIED, flags >> 7);
}

// What one run shows: the standard output, the events and Action's results.
struct RunTrace {
  std::string out;
  std::vector<int> results;
};

// Runs the packaged script once on a fresh machine.
RunTrace RunOnce(const std::vector<char>& module, const std::uint8_t* control,
                 std::uint32_t stepLimit, std::uint32_t passLimit) {
  RunTrace trace;
  std::string error;
  if (!sim::Reset({}, &error)) __builtin_trap();  // the machine itself must always start
  sim::SetStdoutSink(
      [&trace](const char* text, std::size_t size) { trace.out.append(text, size); });
  sim::SetEventSink([&trace](const std::string& event) { trace.out += event + "\n"; });
  sim::SetFastSleep(true);
  sim::SetFixedTime(plat::SYSTEMTIME{2024, 1, 1, 1, 0, 0, 0, 0});
  ShapeMachine(control[0], control[1]);
  setup::theGlobal.m_nStepLimit = stepLimit;
  setup::theGlobal.m_nPassLimit = passLimit;
  const std::string command =
      kWords[control[2] % std::size(kWords)] + " " + kWords[control[3] % std::size(kWords)];

  if (sim::SetModule(kModule, "C:\\Program Files\\Setup\\Setup.dll", module) &&
      setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
    trace.results.push_back(Action(command.c_str()));
    trace.results.push_back(Action(""));
    setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
  }
  sim::SetStdoutSink([](const char*, std::size_t) {});
  sim::SetEventSink([](const std::string&) {});
  return trace;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::uint8_t control[kControlBytes] = {};
  if (size >= kControlBytes) {
    size -= kControlBytes;
    for (std::size_t i = 0; i < kControlBytes; ++i) control[i] = data[size + i];
  }
  std::vector<char> script(data, data + size);
  std::vector<char> module;
  std::string error;
  if (!setup::pack::AppendPackage(module, {{"fuzz.cxx", script}}, &error)) return 0;

  if ((control[0] & 0x20) == 0) {
    RunOnce(module, control, kStepBudget, 0);
    return 0;
  }
  if ((control[0] & 0x18) != 0x18) {
    RunOnce(module, control, 0, kPassBudget);
    return 0;
  }
  const RunTrace fast = RunOnce(module, control, 0, kPassBudget);
  const RunTrace walk = RunOnce(module, control, kUnreachableSteps, kPassBudget);
  // The host stack runs short at a depth that depends on the evaluation
  // path's frames, so runs that reach it may differ.
  if (fast.out.find("call stack overflow") != std::string::npos ||
      walk.out.find("call stack overflow") != std::string::npos) {
    return 0;
  }
  if (fast.out != walk.out || fast.results != walk.results) __builtin_trap();
  return 0;
}
