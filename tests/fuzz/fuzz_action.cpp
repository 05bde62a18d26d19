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
// Three quarters of the inputs (the profile byte's 0x30 bits not both clear)
// run twice, each time on a fresh machine under a pass budget: without a step
// budget (so the num programs, the loop machine and direct calls run), then
// with a step budget too large to reach (the tree walk only). The two runs must
// print the same and give the same results. The other quarter runs once under
// a small step budget, which the tree walk alone takes and which ends endless
// loops anywhere. At exit the target prints how many inputs it compared.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "common/package_writer.h"
#include "platform/sim/machine.h"
#include "platform/winapi.h"
#include "two_ways.h"

namespace {

constexpr std::uint32_t kStepBudget = 50000;
constexpr std::uint32_t kPassBudget = 5000;
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

// Inputs run both ways and compared, and those not compared because a run
// reached the end of the host stack; printed at exit for scripts/fuzz.sh.
struct Comparisons {
  unsigned long long compared = 0;
  unsigned long long stackOverflows = 0;
  ~Comparisons() {
    std::fprintf(stderr,
                 "fuzz_action: %llu comparisons with the tree walk (%llu more not compared: call "
                 "stack overflow)\n",
                 compared, stackOverflows);
  }
};
Comparisons theComparisons;

twoways::RunTrace RunOnce(const std::vector<char>& module, const std::uint8_t* control,
                          std::uint32_t stepLimit, std::uint32_t passLimit) {
  const std::string command =
      kWords[control[2] % std::size(kWords)] + " " + kWords[control[3] % std::size(kWords)];
  twoways::RunTrace trace =
      twoways::RunPackaged(module, {command, ""}, stepLimit, passLimit,
                           [control] { ShapeMachine(control[0], control[1]); });
  if (trace.machineFailed) __builtin_trap();  // the machine itself must always start
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

  if ((control[0] & 0x30) == 0) {
    RunOnce(module, control, kStepBudget, 0);
    return 0;
  }
  const twoways::RunTrace fast = RunOnce(module, control, 0, kPassBudget);
  const twoways::RunTrace walk = RunOnce(module, control, twoways::kUnreachableSteps, kPassBudget);
  if (!twoways::Comparable(fast, walk)) {
    ++theComparisons.stackOverflows;
    return 0;
  }
  ++theComparisons.compared;
  if (!twoways::Agree(fast, walk)) __builtin_trap();
  return 0;
}
