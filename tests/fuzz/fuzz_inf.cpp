// libFuzzer target: arbitrary bytes as an INF file for the simulated device
// manager's reader and everything device installation asks of it. Every input
// must parse or fail with an INF error code, never crash, hang or read past
// its input.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/sim/inf.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sim::detail;
  plat::DWORD error = 0;
  std::optional<Inf> inf =
      Inf::Parse(std::string_view(reinterpret_cast<const char*>(data), size), &error);
  if (!inf) return 0;
  std::string className;
  plat::GUID guid{};
  (void)InfClass(*inf, &className, &guid, &error);
  for (InfPlatform platform : {InfPlatform{}, InfPlatform{true, 6, 1}}) {
    (void)ReadVersion(*inf, platform);
    for (const char* id : {"root\\vdev", "USB\\VID_1234&PID_5678", ""}) {
      std::optional<InfModel> model = FindModel(*inf, id, platform);
      if (!model) continue;
      (void)CopyFiles(*inf, model->decorated, "C:\\WINDOWS", platform);
      (void)InstallServices(*inf, model->decorated, "C:\\WINDOWS");
    }
  }
  return 0;
}
