// libFuzzer target: arbitrary bytes on setup-lsp's standard input, after an
// initialize. Framing, JSON and every request must be answered or skipped,
// never crash, hang or leak; the reply bodies must be JSON.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "analysis.h"
#include "framing.h"
#include "platform/sim/machine.h"
#include "server.h"

namespace {
lsp::Analyzer* theAnalyzer = nullptr;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // One library load for the whole run, as in the server's process.
  theAnalyzer = new lsp::Analyzer();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lsp::Server server(
      [](const std::string& body) {
        if (nlohmann::json::parse(body, nullptr, false).is_discarded()) std::abort();
      },
      theAnalyzer);
  server.HandleBody(R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{}})");
  lsp::MessageReader reader;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  // Two pieces, split where the first byte says, as a pipe may deliver them.
  const std::size_t split = size > 0 ? data[0] % (size + 1) : 0;
  for (std::string_view piece : {input.substr(0, split), input.substr(split)}) {
    reader.Feed(piece);
    while (auto item = reader.Next()) {
      if (item->ok) {
        server.HandleBody(item->body);
      } else {
        server.HandleBadHeader(item->problem);
      }
      if (server.Exited()) return 0;
    }
  }
  return 0;
}
