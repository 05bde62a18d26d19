// libFuzzer target: arbitrary bytes as a registry export file. Every input
// must parse or fail with a line and a message, never crash or hang; every
// file that parses must survive a round trip through the writer unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "common/regfile.h"

namespace {

bool Same(const regfile::File& a, const regfile::File& b) {
  if (a.keys.size() != b.keys.size()) return false;
  for (std::size_t i = 0; i < a.keys.size(); ++i) {
    const regfile::Key& x = a.keys[i];
    const regfile::Key& y = b.keys[i];
    if (x.root != y.root || x.path != y.path || x.remove != y.remove ||
        x.values.size() != y.values.size()) {
      return false;
    }
    for (std::size_t v = 0; v < x.values.size(); ++v) {
      const regfile::Value& p = x.values[v];
      const regfile::Value& q = y.values[v];
      if (p.name != q.name || p.remove != q.remove ||
          (!p.remove && (p.type != q.type || p.data != q.data))) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  regfile::ReadError error;
  std::optional<regfile::File> file = regfile::Read(bytes, &error);
  if (!file) {
    if (error.message.empty() || error.line < 0) std::abort();
    return 0;
  }
  std::optional<regfile::File> again = regfile::Read(regfile::Write(*file), &error);
  if (!again || !Same(*file, *again)) std::abort();
  return 0;
}
