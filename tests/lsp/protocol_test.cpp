// setup-lsp as an editor drives it: a process on pipes, JSON-RPC messages.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "lsp_client.h"

namespace {

using lsptest::json;
using lsptest::LspProcess;
namespace fs = std::filesystem;

class LspTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_Dir = fs::temp_directory_path() /
            ("setup-lsp-test-" + std::to_string(getpid()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(m_Dir);
    m_Server = std::make_unique<LspProcess>(SETUP_LSP_PATH);
    m_Server->Request(
        1, "initialize",
        {{"processId", nullptr},
         {"rootUri", nullptr},
         {"capabilities",
          {{"textDocument", {{"completion", {{"completionItem", {{"snippetSupport", true}}}}}}}}}});
    m_Initialize = m_Server->Response(1);
    m_Server->Notify("initialized", json::object());
  }
  void TearDown() override {
    m_Server.reset();
    std::error_code ec;
    fs::remove_all(m_Dir, ec);
  }

  std::string Uri(const std::string& name) const { return "file://" + (m_Dir / name).string(); }
  void WriteFile(const std::string& name, const std::string& text) const {
    std::ofstream(m_Dir / name, std::ios::binary) << text;
  }
  // Opens a document (also written to disk, for includes); its diagnostics.
  json Open(const std::string& name, const std::string& text) {
    WriteFile(name, text);
    m_Server->Notify(
        "textDocument/didOpen",
        {{"textDocument",
          {{"uri", Uri(name)}, {"languageId", "setup-script"}, {"version", 1}, {"text", text}}}});
    return m_Server->Diagnostics(Uri(name));
  }
  json Change(const std::string& name, const std::string& text, int version = 2) {
    m_Server->Notify("textDocument/didChange",
                     {{"textDocument", {{"uri", Uri(name)}, {"version", version}}},
                      {"contentChanges", json::array({{{"text", text}}})}});
    return m_Server->Diagnostics(Uri(name));
  }
  json At(const std::string& method, const std::string& name, int line, int character) {
    const int id = ++m_nId;
    m_Server->Request(id, method,
                      {{"textDocument", {{"uri", Uri(name)}}},
                       {"position", {{"line", line}, {"character", character}}}});
    return m_Server->Response(id);
  }
  int ShutdownAndExit() {
    m_Server->Request(++m_nId, "shutdown", nullptr);
    EXPECT_TRUE(m_Server->Response(m_nId)["result"].is_null());
    m_Server->Notify("exit", nullptr);
    return m_Server->Wait();
  }

  fs::path m_Dir;
  std::unique_ptr<LspProcess> m_Server;
  json m_Initialize;
  int m_nId = 100;
};

const char* const kScript =
    "define LIMIT 10\n"                                       // 0
    "include \"lib.cxx\"\n"                                   // 1
    "num total = 0\n"                                         // 2
    "num add(num a, num b);\n"                                // 3
    "num main() {\n"                                          // 4
    "  num y = 2\n"                                           // 5
    "  msgbox(\"hi\", WINDIR, MSG_YESNO)\n"                   // 6
    "  total = add(y, LIMIT) + helper(HKEY_LOCAL_MACHINE)\n"  // 7
    "  return total\n"                                        // 8
    "}\n"                                                     // 9
    "num add(num a, num b) {\n"                               // 10
    "  return a + b\n"                                        // 11
    "}\n";                                                    // 12
const char* const kLibrary = "num helper(num x) {\n  return x + 1\n}\n";

std::string HoverText(const json& response) {
  return response["result"]["contents"]["value"].get<std::string>();
}

TEST_F(LspTest, InitializeAnnouncesTheFeatures) {
  const json& caps = m_Initialize["result"]["capabilities"];
  EXPECT_EQ(caps["textDocumentSync"]["change"], 1);
  EXPECT_TRUE(caps["hoverProvider"].get<bool>());
  EXPECT_TRUE(caps["definitionProvider"].get<bool>());
  EXPECT_TRUE(caps["documentSymbolProvider"].get<bool>());
  EXPECT_TRUE(caps.contains("completionProvider"));
  EXPECT_TRUE(caps.contains("signatureHelpProvider"));
  EXPECT_EQ(m_Initialize["result"]["serverInfo"]["name"], "setup-lsp");
  EXPECT_EQ(ShutdownAndExit(), 0);
}

TEST_F(LspTest, BrokenScriptGetsTheCompilersErrorAtItsLineAndAFixClearsIt) {
  const std::string broken = "num main() {\n  num a = 1\n  a = a +\n}\n";
  json diagnostics = Open("broken.cxx", broken);
  ASSERT_EQ(diagnostics.size(), 1u) << diagnostics.dump();
  // The line of the author's file, not of the expanded file with its prelude.
  EXPECT_EQ(diagnostics[0]["range"]["start"]["line"], 3);
  EXPECT_EQ(diagnostics[0]["message"], "expression '}' is invalid.");
  EXPECT_EQ(diagnostics[0]["severity"], 1);

  diagnostics = Change("broken.cxx", "num main() {\n  num a = 1\n  a = a + 1\n  return a\n}\n");
  EXPECT_TRUE(diagnostics.empty()) << diagnostics.dump();
  EXPECT_EQ(ShutdownAndExit(), 0);
}

TEST_F(LspTest, ErrorsOfIncludesAndMissingIncludesPointAtTheDirective) {
  WriteFile("bad.cxx", "num helper(num x) {\n  return x +\n}\n");
  json diagnostics =
      Open("uses.cxx", "num g = 1\ninclude \"bad.cxx\"\nnum main() {\n  return helper(1)\n}\n");
  ASSERT_EQ(diagnostics.size(), 1u) << diagnostics.dump();
  EXPECT_EQ(diagnostics[0]["range"]["start"]["line"], 1);
  EXPECT_EQ(diagnostics[0]["relatedInformation"][0]["location"]["uri"], Uri("bad.cxx"));
  EXPECT_EQ(diagnostics[0]["relatedInformation"][0]["location"]["range"]["start"]["line"], 2);

  diagnostics =
      Open("missing.cxx", "num g = 1\ninclude \"nowhere.cxx\"\nnum main() {\n  return 0\n}\n");
  ASSERT_FALSE(diagnostics.empty());
  EXPECT_EQ(diagnostics[0]["range"]["start"]["line"], 1);
  EXPECT_EQ(diagnostics[0]["message"], "file nowhere.cxx not found.");
}

TEST_F(LspTest, LinesLongerThanTheReaderTakesKeepTheirPlaces) {
  // The reader splits a line of more than 4,094 bytes into pieces and counts
  // each as a line; the server gives the places of the author's lines.
  const std::string longLine = "num s = 1" + std::string(5000, ' ') + "\r\n";
  json diagnostics = Open("long.cxx", longLine + "num main() {\r\n  s = s +\r\n}\r\n");
  ASSERT_EQ(diagnostics.size(), 1u) << diagnostics.dump();
  EXPECT_EQ(diagnostics[0]["range"]["start"]["line"], 3);
  Change("long.cxx", std::string(5000, ' ') + "num s = 1\nnum main() {\n  return s\n}\n");
  const json result = At("textDocument/definition", "long.cxx", 2, 10)["result"];
  ASSERT_EQ(result.size(), 1u) << result.dump();
  EXPECT_EQ(result[0]["range"]["start"], (json{{"line", 0}, {"character", 5004}}));
}

TEST_F(LspTest, ParametersCompileAsWithOneCommandParameterAndTheServerSaysSo) {
  json diagnostics =
      Open("params.cxx", "num main() {\n  msgbox(_Parameters[0], \"t\", 0)\n  return 0\n}\n");
  ASSERT_EQ(diagnostics.size(), 1u) << diagnostics.dump();
  EXPECT_EQ(diagnostics[0]["severity"], 3);
  EXPECT_EQ(diagnostics[0]["range"]["start"]["line"], 1);
  EXPECT_NE(diagnostics[0]["message"].get<std::string>().find("one command parameter"),
            std::string::npos);
  const std::string hover = HoverText(At("textDocument/hover", "params.cxx", 1, 12));
  EXPECT_NE(hover.find("string _Parameters[1]"), std::string::npos) << hover;
  EXPECT_NE(hover.find("one command parameter"), std::string::npos) << hover;
}

TEST_F(LspTest, HoverShowsBuiltinsConstantsFunctionsMacrosAndVariables) {
  WriteFile("lib.cxx", kLibrary);
  ASSERT_TRUE(Open("main.cxx", kScript).empty());
  std::string text = HoverText(At("textDocument/hover", "main.cxx", 6, 4));
  EXPECT_NE(text.find("num msgbox(string text, string caption, num flags)"), std::string::npos)
      << text;
  EXPECT_NE(text.find("message box"), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 6, 17));
  EXPECT_NE(text.find("string WINDIR = \"C:\\WINDOWS\""), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 7, 40));
  EXPECT_NE(text.find("HKEY_LOCAL_MACHINE = 0x80000002"), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 7, 11));
  EXPECT_NE(text.find("num add(num a, num b)"), std::string::npos) << text;
  EXPECT_NE(text.find("defined at line 11"), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 7, 19));
  EXPECT_NE(text.find("define LIMIT 10"), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 7, 14));
  EXPECT_NE(text.find("num y"), std::string::npos) << text;
  EXPECT_NE(text.find("Local variable of `main`, declared at line 6"), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 8, 10));
  EXPECT_NE(text.find("Global variable, declared at line 3"), std::string::npos) << text;
  text = HoverText(At("textDocument/hover", "main.cxx", 11, 9));
  EXPECT_NE(text.find("Parameter of `add`"), std::string::npos) << text;
  EXPECT_TRUE(At("textDocument/hover", "main.cxx", 6, 11)["result"].is_null());  // inside "hi"
}

TEST_F(LspTest, DefinitionFindsPrototypeAndBodyMacrosVariablesAndIncludes) {
  WriteFile("lib.cxx", kLibrary);
  ASSERT_TRUE(Open("main.cxx", kScript).empty());
  json result = At("textDocument/definition", "main.cxx", 7, 11)["result"];
  ASSERT_EQ(result.size(), 2u) << result.dump();
  EXPECT_EQ(result[0]["range"]["start"], (json{{"line", 3}, {"character", 4}}));
  EXPECT_EQ(result[1]["range"]["start"], (json{{"line", 10}, {"character", 4}}));
  result = At("textDocument/definition", "main.cxx", 7, 20)["result"];
  ASSERT_EQ(result.size(), 1u);
  EXPECT_EQ(result[0]["range"]["start"], (json{{"line", 0}, {"character", 7}}));
  result = At("textDocument/definition", "main.cxx", 7, 28)["result"];  // helper, in lib.cxx
  ASSERT_EQ(result.size(), 1u);
  EXPECT_EQ(result[0]["uri"], Uri("lib.cxx"));
  EXPECT_EQ(result[0]["range"]["start"]["line"], 0);
  result = At("textDocument/definition", "main.cxx", 1, 12)["result"];  // the include's path
  EXPECT_EQ(result["uri"], Uri("lib.cxx"));
  result = At("textDocument/definition", "main.cxx", 8, 10)["result"];  // global
  EXPECT_EQ(result[0]["range"]["start"], (json{{"line", 2}, {"character", 4}}));
  result = At("textDocument/definition", "main.cxx", 7, 15)["result"];  // local
  EXPECT_EQ(result[0]["range"]["start"], (json{{"line", 5}, {"character", 6}}));
  result = At("textDocument/definition", "main.cxx", 11, 9)["result"];  // parameter
  EXPECT_EQ(result[0]["range"]["start"], (json{{"line", 10}, {"character", 12}}));
}

TEST_F(LspTest, CompletionAtTheStartOfAStatementOffersEverythingVisible) {
  WriteFile("lib.cxx", kLibrary);
  ASSERT_TRUE(Open("main.cxx", kScript).empty());
  const json items = At("textDocument/completion", "main.cxx", 7, 2)["result"]["items"];
  std::map<std::string, json> byLabel;
  for (const json& item : items) byLabel[item["label"]] = item;
  for (const char* label :
       {"if", "while", "return", "num", "msgbox", "WINDIR", "HKEY_LOCAL_MACHINE", "LIMIT", "add",
        "main", "helper", "total", "y", "_Parameters_Num"}) {
    EXPECT_TRUE(byLabel.count(label)) << label;
  }
  EXPECT_EQ(byLabel["msgbox"]["insertText"],
            "msgbox(${1:string text}, ${2:string caption}, ${3:num flags})");
  EXPECT_EQ(byLabel["msgbox"]["insertTextFormat"], 2);
  // Locals of another function are not visible here.
  EXPECT_FALSE(byLabel.count("a"));
  const json inAdd = At("textDocument/completion", "main.cxx", 11, 2)["result"]["items"];
  bool hasA = false, hasY = false;
  for (const json& item : inAdd) {
    hasA = hasA || item["label"] == "a";
    hasY = hasY || item["label"] == "y";
  }
  EXPECT_TRUE(hasA);
  EXPECT_FALSE(hasY);
}

TEST_F(LspTest, DocumentSymbolsAndSignatureHelp) {
  WriteFile("lib.cxx", kLibrary);
  ASSERT_TRUE(Open("main.cxx", kScript).empty());
  m_Server->Request(7, "textDocument/documentSymbol",
                    {{"textDocument", {{"uri", Uri("main.cxx")}}}});
  const json symbols = m_Server->Response(7)["result"];
  std::vector<std::string> names;
  for (const json& s : symbols) names.push_back(s["name"]);
  // Only the document's own symbols, in source order.
  EXPECT_EQ(names, (std::vector<std::string>{"LIMIT", "total", "main", "add"}));
  const json& main = symbols[2];
  EXPECT_EQ(main["kind"], 12);
  EXPECT_EQ(main["range"]["start"]["line"], 4);
  EXPECT_EQ(main["range"]["end"]["line"], 9);
  ASSERT_EQ(main["children"].size(), 1u);
  EXPECT_EQ(main["children"][0]["name"], "y");
  EXPECT_EQ(symbols[3]["children"].size(), 2u);  // add's parameters

  json help = At("textDocument/signatureHelp", "main.cxx", 7, 17)["result"];
  EXPECT_EQ(help["signatures"][0]["label"], "num add(num a, num b)");
  EXPECT_EQ(help["activeParameter"], 1);
  help = At("textDocument/signatureHelp", "main.cxx", 6, 16)["result"];
  EXPECT_EQ(help["signatures"][0]["label"], "num msgbox(string text, string caption, num flags)");
  EXPECT_EQ(help["activeParameter"], 1);
  EXPECT_TRUE(At("textDocument/signatureHelp", "main.cxx", 8, 4)["result"].is_null());
}

TEST_F(LspTest, AHalfWrittenDocumentKeepsTheSymbolsItHadPastTheError) {
  WriteFile("lib.cxx", kLibrary);
  ASSERT_TRUE(Open("main.cxx", kScript).empty());
  std::string text = kScript;
  text.replace(text.find("  num y = 2\n"), 12, "  num y = \n  num z\n");
  json diagnostics = Change("main.cxx", text);
  ASSERT_FALSE(diagnostics.empty());
  // add's body lies past the error: the last good analysis still knows it, a line further down.
  json result = At("textDocument/definition", "main.cxx", 8, 11)["result"];
  ASSERT_EQ(result.size(), 2u) << result.dump();
  EXPECT_EQ(result[1]["range"]["start"]["line"], 11);
  // What the compiler read before the error is fresh.
  EXPECT_FALSE(At("textDocument/hover", "main.cxx", 0, 9)["result"].is_null());
}

TEST_F(LspTest, EveryKeystrokeOfARealScriptGetsDiagnostics) {
  std::ifstream in(std::string(SETUP_SOURCE_DIR) + "/examples/acme_logger/install.cxx",
                   std::ios::binary);
  std::stringstream whole;
  whole << in.rdbuf();
  const std::string script = whole.str();
  ASSERT_FALSE(script.empty());
  ASSERT_TRUE(Open("install.cxx", "").size() <= 1);
  int version = 2;
  // Every prefix a typist passes through, in steps that keep the test short.
  for (std::size_t n = 1; n <= script.size(); n += 1 + script.size() / 300) {
    Change("install.cxx", script.substr(0, n), version++);
    for (const int line : {0, 5, 20}) At("textDocument/hover", "install.cxx", line, 3);
    At("textDocument/completion", "install.cxx", 10, 0);
  }
  for (const json& d : Change("install.cxx", script, version))
    EXPECT_NE(d["severity"], 1) << d.dump();
  EXPECT_EQ(ShutdownAndExit(), 0);
}

TEST_F(LspTest, WrongRequestsGetErrorsAndTheServerCarriesOn) {
  m_Server->Request(2, "textDocument/nothing", json::object());
  EXPECT_EQ(m_Server->Response(2)["error"]["code"], -32601);
  m_Server->SendRaw("Content-Length: 9\r\n\r\nnot json!");
  std::optional<json> reply = m_Server->Receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ((*reply)["error"]["code"], -32700);
  EXPECT_TRUE((*reply)["id"].is_null());
  // A header without a length is skipped; so is a cut-off JSON body.
  m_Server->SendRaw("X-Nothing: 1\r\n\r\n");
  reply = m_Server->Receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ((*reply)["error"]["code"], -32700);
  m_Server->SendRaw("Content-Length: 12\r\n\r\n{\"id\": 3, \"m");
  EXPECT_EQ(m_Server->Receive()->at("error")["code"], -32700);
  // Parameters of the wrong shape, a document that is not open.
  m_Server->Request(4, "textDocument/hover", {{"textDocument", 5}});
  EXPECT_EQ(m_Server->Response(4)["error"]["code"], -32602);
  m_Server->Request(5, "textDocument/hover",
                    {{"textDocument", {{"uri", Uri("closed.cxx")}}},
                     {"position", {{"line", 0}, {"character", 0}}}});
  EXPECT_EQ(m_Server->Response(5)["error"]["code"], -32602);
  m_Server->Send(json::array({1, 2}));
  EXPECT_EQ(m_Server->Receive()->at("error")["code"], -32600);
  // Positions that are not integers or lie far outside the document.
  Open("small.cxx", "num main() {\n  return 0\n}\n");
  m_Server->Request(6, "textDocument/hover",
                    {{"textDocument", {{"uri", Uri("small.cxx")}}},
                     {"position", {{"line", 1e300}, {"character", 0}}}});
  EXPECT_EQ(m_Server->Response(6)["error"]["code"], -32602);
  m_Server->Request(7, "textDocument/completion",
                    {{"textDocument", {{"uri", Uri("small.cxx")}}},
                     {"position", {{"line", -5}, {"character", 18446744073709551615u}}}});
  EXPECT_TRUE(m_Server->Response(7)["result"]["items"].is_array());
  // Deep nesting in a request's parameters.
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  m_Server->SendRaw("Content-Length: " + std::to_string(deep.size() + 64) + "\r\n\r\n" +
                    R"({"jsonrpc":"2.0","id":8,"method":"textDocument/hover","params":)" + deep +
                    "}");
  EXPECT_EQ(m_Server->Response(8)["error"]["code"], -32602);
  EXPECT_EQ(ShutdownAndExit(), 0);
}

TEST_F(LspTest, ExitWithoutShutdownAndEndOfInputEndWithStatusOne) {
  m_Server->Notify("exit", nullptr);
  EXPECT_EQ(m_Server->Wait(), 1);
  LspProcess other(SETUP_LSP_PATH);
  other.SendRaw("Content-Length: 100\r\n\r\n{\"jsonrpc\"");
  other.CloseInput();
  EXPECT_EQ(other.Wait(), 1);
}

TEST_F(LspTest, RequestsAfterShutdownAreRefused) {
  m_Server->Request(2, "shutdown", nullptr);
  m_Server->Response(2);
  m_Server->Request(3, "textDocument/hover", json::object());
  EXPECT_EQ(m_Server->Response(3)["error"]["code"], -32600);
  m_Server->Notify("exit", nullptr);
  EXPECT_EQ(m_Server->Wait(), 0);
}

}  // namespace
