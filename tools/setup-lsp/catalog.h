// What an editor shows about the language's fixed names: the built-ins'
// parameter names and one-line descriptions (their types come from the
// library's own table) and the keywords and constants of the keyword table.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lsp {

struct BuiltinInfo {
  std::string name;
  std::string result;                                       // "num" or "string"
  std::vector<std::pair<std::string, std::string>> params;  // type, name
  std::string description;                                  // one line
  std::string Signature() const;  // "num copyfile(string from, string to)"
};

struct ConstantInfo {
  std::string name;
  std::string type;   // "num" or "string"
  std::string value;  // as the library holds it ("C:\WINDOWS", "0x80000002 (-2147483646)")
};

// The 40 built-ins in the library's table order, with the types of the table.
// Reads the tables of the loaded library; before it, the lists are empty.
void LoadCatalog();
const std::vector<BuiltinInfo>& Builtins();
const BuiltinInfo* FindBuiltinInfo(const std::string& name);
// The keywords of the keyword table (rows without a type), first rows first.
const std::vector<std::string>& Keywords();
// The predefined constants with the values the loaded library holds (the
// WINDIR ones as start-up set them on the default machine profile).
const std::vector<ConstantInfo>& Constants();
const ConstantInfo* FindConstant(const std::string& name);

}  // namespace lsp
