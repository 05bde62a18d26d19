// setup-lsp on a 10,000-line script: from a didChange message (framed, as it
// arrives on standard input) to the published diagnostics. The server
// answers synchronously, so the time of handling the message is the delay
// the author sees.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "framing.h"
#include "server.h"

namespace {

using nlohmann::json;

// About `lines` lines of globals, macros and functions with locals, calls and
// control flow.
std::string MakeScript(int lines) {
  std::string text = "define STEP 2\ndefine ADD(a, b) a + b\n";
  const int globals = lines / 4;
  for (int i = 0; i < globals; ++i)
    text += "num g" + std::to_string(i) + " = " + std::to_string(i) + "\n";
  // Two macro lines, the globals, eleven lines a function, three of main.
  const int functions = (lines - 2 - globals - 3) / 11;
  for (int f = 0; f < functions; ++f) {
    text += "num f" + std::to_string(f) + "(num n, string s) {\n";
    text += "  num local[4] = {1, 2, 3, 4}\n";
    text += "  num i = 0\n";
    text += "  while (i < n) { i += STEP }\n";
    text += "  if (g" + std::to_string(f % globals) + " > ADD(i, 1)) { i = 1 } else { i -= 1 }\n";
    text += "  switch (s) { case \"a\": i = 1 default: { i = 2 } }\n";
    text +=
        f > 0 ? "  i = f" + std::to_string(f - 1) + "(n - 1, s + \"x\")\n" : "  i = getlen(s)\n";
    text += "  s = numtostring(i)\n";
    text += "  msgbox(s, WINDIR, MSG_YESNO)\n";
    text += "  return i + local[1]\n";
    text += "}\n";
  }
  return text + "num main() {\n  return f0(3, \"a\")\n}\n";
}

std::string Message(const std::string& method, json params) {
  return lsp::Frame(
      json{{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}}.dump());
}

// state.range(0): 0 for a script that compiles, 1 for one with an error in
// its middle, 2 for the two in turn (typing into a script that compiled: the
// broken text keeps the symbols of the good one past the error).
void BM_LspChangeToDiagnostics(benchmark::State& state) {
  const bool broken = state.range(0) == 1;
  const bool alternate = state.range(0) == 2;
  std::string script = MakeScript(10000);
  std::string brokenScript = script;
  brokenScript.insert(brokenScript.find('\n', brokenScript.size() / 2) + 1, "num = 1\n");
  if (broken) script = brokenScript;
  int published = 0;
  bool empty = false;
  lsp::Server server([&](const std::string& body) {
    const json message = json::parse(body);
    if (message.value("method", "") != "textDocument/publishDiagnostics") return;
    ++published;
    empty = message["params"]["diagnostics"].empty();
  });
  const std::string uri = "file:///bench/install.cxx";
  lsp::MessageReader reader;
  auto deliver = [&](const std::string& bytes) {
    reader.Feed(bytes);
    while (auto item = reader.Next()) server.HandleBody(item->body);
  };
  deliver(lsp::Frame(
      json{{"jsonrpc", "2.0"}, {"id", 1}, {"method", "initialize"}, {"params", json::object()}}
          .dump()));
  deliver(Message(
      "textDocument/didOpen",
      {{"textDocument",
        {{"uri", uri}, {"languageId", "setup-script"}, {"version", 1}, {"text", script}}}}));
  // Two texts in turn, so that every change is a real one.
  const std::string changes[2] = {
      Message("textDocument/didChange",
              {{"textDocument", {{"uri", uri}, {"version", 2}}},
               {"contentChanges",
                json::array({{{"text", alternate ? brokenScript : script + "\n"}}})}}),
      Message("textDocument/didChange", {{"textDocument", {{"uri", uri}, {"version", 3}}},
                                         {"contentChanges", json::array({{{"text", script}}})}})};
  int turn = 0;
  for (auto _ : state) {
    const int before = published;
    deliver(changes[turn ^= 1]);
    if (published != before + 1) state.SkipWithError("no diagnostics were published");
  }
  if (!alternate && empty == broken)
    state.SkipWithError(broken ? "the error was not reported" : "the script did not compile");
  state.counters["lines"] = static_cast<double>(std::count(script.begin(), script.end(), '\n'));
}
BENCHMARK(BM_LspChangeToDiagnostics)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace
