// The VS Code extension in editors/vscode: a manifest VS Code accepts, the
// client it names, and the same grammar as editors/.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(VsCodeExtension, ManifestClientAndGrammarFitTogether) {
  const fs::path dir = fs::path(SETUP_SOURCE_DIR) / "editors" / "vscode";
  const nlohmann::json manifest = nlohmann::json::parse(ReadFile(dir / "package.json"));
  const std::string main = manifest["main"];
  const std::string client = ReadFile(dir / main);
  EXPECT_NE(client.find("require('vscode-languageclient/node')"), std::string::npos);
  EXPECT_TRUE(manifest["dependencies"].contains("vscode-languageclient"));
  EXPECT_EQ(
      manifest["contributes"]["configuration"]["properties"]["setupScript.server.path"]["default"],
      "setup-lsp");
  EXPECT_EQ(manifest["activationEvents"][0], "onLanguage:setup-script");
  // The grammar travels inside the folder, identical to the one in editors/.
  const nlohmann::json& grammar = manifest["contributes"]["grammars"][0];
  EXPECT_EQ(grammar["language"], "setup-script");
  const std::string copy = ReadFile(dir / grammar["path"].get<std::string>());
  EXPECT_EQ(copy, ReadFile(dir.parent_path() / "setup-script.tmLanguage.json"))
      << "editors/vscode/syntaxes/ must hold a copy of editors/setup-script.tmLanguage.json";
  EXPECT_EQ(nlohmann::json::parse(copy)["scopeName"], grammar["scopeName"]);
  EXPECT_FALSE(
      ReadFile(dir / manifest["contributes"]["languages"][0]["configuration"].get<std::string>())
          .empty());
}

}  // namespace
