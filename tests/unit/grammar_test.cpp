// The editor grammar (editors/setup-script.tmLanguage.json) names exactly the
// keywords, constants and built-ins of the library's own tables.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include "base/global.h"
#include "builtins/table.h"
#include "script/front/keywords.h"

namespace setup {
namespace {

namespace fs = std::filesystem;

nlohmann::json LoadGrammar() {
  const fs::path root = fs::path(SETUP_TEST_DATA_DIR).parent_path().parent_path();
  std::ifstream in(root / "editors" / "setup-script.tmLanguage.json");
  return nlohmann::json::parse(in, nullptr, false);
}

// The names of a rule written as "\b(a|b|c)\b".
std::set<std::string> Names(const nlohmann::json& grammar, const char* rule) {
  const std::string match = grammar["repository"][rule]["match"].get<std::string>();
  std::smatch parts;
  std::set<std::string> names;
  if (!std::regex_match(match, parts, std::regex("\\\\b\\((.*)\\)\\\\b"))) return names;
  const std::string list = parts[1];
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t bar = list.find('|', start);
    if (bar == std::string::npos) bar = list.size();
    names.insert(list.substr(start, bar - start));
    start = bar + 1;
  }
  return names;
}

TEST(EditorGrammar, ListsMatchTheLibraryTables) {
  const nlohmann::json grammar = LoadGrammar();
  ASSERT_FALSE(grammar.is_discarded()) << "the grammar is not valid JSON";
  EXPECT_EQ(grammar["scopeName"], "source.setup-script");

  std::set<std::string> keywords, types, constants, builtins;
  for (std::int32_t i = 0; i < theGlobal.m_nKeywordCount; ++i) {
    const KeywordEntry& row = theGlobal.m_Keywords[i];
    const std::string name = row.szName;
    if (row.nToken == 4) {
      constants.insert(name);
    } else if (name == "num" || name == "string") {
      types.insert(name);
    } else if (name != "define" && name != "include") {
      keywords.insert(name);
    }
  }
  keywords.insert("_mscall");
  for (std::int32_t i = 0; i < theGlobal.m_nBuiltinCount; ++i) {
    builtins.insert(theGlobal.m_Builtins[i].szName);
  }

  EXPECT_EQ(Names(grammar, "keywords"), keywords);
  EXPECT_EQ(Names(grammar, "types"), types);
  EXPECT_EQ(Names(grammar, "directives"), (std::set<std::string>{"define", "include"}));
  EXPECT_EQ(Names(grammar, "constants"), constants);
  EXPECT_EQ(Names(grammar, "builtins"), builtins);
  EXPECT_EQ(builtins.size(), 40u);
}

TEST(EditorGrammar, EveryIncludeResolvesAndSimpleRulesMatchTheirTokens) {
  const nlohmann::json grammar = LoadGrammar();
  ASSERT_FALSE(grammar.is_discarded());
  const nlohmann::json& repository = grammar["repository"];
  for (const nlohmann::json& pattern : grammar["patterns"]) {
    const std::string include = pattern["include"].get<std::string>();
    ASSERT_EQ(include[0], '#');
    EXPECT_TRUE(repository.contains(include.substr(1))) << include;
  }
  // Rules written in the common subset of Oniguruma and ECMAScript, with a
  // token each must recognise and one it must not.
  const struct {
    const char* rule;
    const char* yes;
    const char* no;
  } kCases[] = {
      {"keywords", "while", "While"},
      {"types", "string", "strings"},
      {"builtins", "getregvalues", "getregvalue"},
      {"constants", "OS_VISTA", "OS_VISTAX"},
      {"directives", "define", "defined"},
  };
  for (const auto& c : kCases) {
    const std::regex rule(repository[c.rule]["match"].get<std::string>());
    EXPECT_TRUE(std::regex_match(c.yes, rule)) << c.rule << " " << c.yes;
    EXPECT_FALSE(std::regex_search(c.no, rule)) << c.rule << " " << c.no;
  }
  const std::regex hex(repository["numbers"]["patterns"][0]["match"].get<std::string>());
  EXPECT_TRUE(std::regex_match("0x1F", hex));
  const std::regex comment(repository["comments"]["patterns"][0]["match"].get<std::string>());
  EXPECT_TRUE(std::regex_search("x = 1 // note", comment));
}

}  // namespace
}  // namespace setup
