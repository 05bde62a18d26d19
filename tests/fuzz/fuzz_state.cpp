// libFuzzer target: arbitrary bytes as the machine state (machine.json) of an
// in-memory simulated machine. Every input must load or fail with a message,
// never crash, hang or overflow the stack; a state that loads must save and
// load again to the same state.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/sim/machine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return 0;  // the defaults
  if (!sim::Reset(text, &error)) {
    if (error.empty()) __builtin_trap();  // a refusal always says why
    return 0;
  }
  // What loaded is usable, and it round-trips through its saved form.
  (void)sim::Services();
  (void)sim::Devices();
  const std::string saved = sim::StateText();
  if (!sim::Reset(saved, &error)) __builtin_trap();
  if (sim::StateText() != saved) __builtin_trap();
  return 0;
}
