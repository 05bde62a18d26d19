// The fixed names of the language, read from the library's tables.
#include "catalog.h"

#include <cstdio>
#include <map>

#include "base/global.h"
#include "builtins/table.h"
#include "script/front/keywords.h"
#include "script/front/lexer.h"

namespace lsp {

namespace {

struct Described {
  const char* params[5];
  const char* description;
};

// Parameter names and what each built-in does; the library's table holds
// only the types.
const std::map<std::string, Described>& Descriptions() {
  static const std::map<std::string, Described> table = {
      {"checkregstatus", {{"root", "key"}, "2 when the registry key exists, 4 when it does not."}},
      {"checkisneedreboot",
       {{}, "1 when a driver or device operation of this call asked for a restart."}},
      {"installdriverbyhardwareid",
       {{"inf", "hwid"}, "Creates a root-enumerated device of the INF's class and installs it."}},
      {"installusbdriver",
       {{"inf", "hwid"}, "Updates the driver of plugged-in devices with the hardware id."}},
      {"copyfile",
       {{"from", "to"}, "Copies a file, overwriting (also read-only) targets; 1 or 0."}},
      {"deletefile", {{"path"}, "Deletes a file; 1 or 0."}},
      {"addsubreg", {{"root", "parent", "name"}, "Creates the registry key parent\\name; 1 or 0."}},
      {"addregvalues",
       {{"root", "key", "name", "type", "data"}, "Writes a text value (REG_TYPE_SZ); 1 or 0."}},
      {"createservice",
       {{"name", "start", "image"}, "Creates (and starts) a kernel driver service; 1 or 0."}},
      {"deleteservice", {{"name"}, "Removes the service's devices, then stops and deletes it."}},
      {"execute", {{"cmdline"}, "Runs a program and waits for it to end; 1 started, 0 not."}},
      {"reboot", {{}, "Asks Windows to restart."}},
      {"extractresfile", {{"entry", "to"}, "Writes a file of the package to a path; 1 or 0."}},
      {"sleep", {{"ms"}, "Waits the given milliseconds."}},
      {"deletereg", {{"root", "key"}, "Deletes a registry key and its subtree."}},
      {"msgbox", {{"text", "caption", "flags"}, "Shows a message box; answers the button chosen."}},
      {"addregvalued",
       {{"root", "key", "name", "type", "data"},
        "Writes a number value (REG_TYPE_DWORD); 1 or 0."}},
      {"deletefilex", {{"name", "dir"}, "Deletes dir\\name; 1 or 0."}},
      {"getwinversion", {{}, "The OS_ code of the Windows version determined at load."}},
      {"createdirectory", {{"path"}, "Creates one directory level; 1 when it exists afterwards."}},
      {"deletedirectory", {{"path"}, "Deletes a directory and its contents; 1 when it is gone."}},
      {"updatedevicebyhardwareid",
       {{"inf", "hwid"}, "Updates the driver of the devices with the hardware id."}},
      {"deletedriverbyhardwareid",
       {{"hwid"}, "Removes every device with the id, its service, driver key and OEM INF."}},
      {"deleteregbyfindstr",
       {{"root", "key", "text"}, "Deletes every subkey whose name contains the text."}},
      {"getat", {{"s", "i"}, "The one character at index i (from 0); empty for a bad index."}},
      {"getlen", {{"s"}, "The number of bytes of the text."}},
      {"stringtonum", {{"s"}, "The number a decimal or 0x hexadecimal text stands for."}},
      {"numtostring", {{"n"}, "The decimal text of a number."}},
      {"checkdevicestatus", {{"hwid"}, "10 when a device with the hardware id is known, 12 not."}},
      {"getregvalued", {{"root", "key", "name"}, "Reads a number value; 0 when it is missing."}},
      {"getregvalues", {{"root", "key", "name"}, "Reads a text value; empty when it is missing."}},
      {"enumsubreg",
       {{"root", "key", "index"}, "The name of the subkey at the index; empty past the last."}},
      {"getlanguage", {{}, "1 for the locale 0x0804, else 2."}},
      {"updatedevicelist", {{}, "Does nothing; answers 1."}},
      {"disabledriverbyhardwareid", {{"hwid"}, "Disables the devices with the hardware id."}},
      {"enabledriverbyhardwareid", {{"hwid"}, "Enables the devices with the hardware id."}},
      {"getstr",
       {{"s", "first", "last"}, "The characters first to last of the text, both included."}},
      {"startservice", {{"name"}, "Starts a service; 1 when the service exists."}},
      {"stopservice", {{"name"}, "Stops a service; 1, also for a missing service."}},
      {"deleteregx",
       {{"root", "key", "security"}, "As deletereg; SECU_FULL first opens the tree's rights."}},
  };
  return table;
}

const char* TypeName(setup::ValueType type) {
  return type == setup::ValueType::String ? "string" : "num";
}

std::vector<BuiltinInfo>& BuiltinList() {
  static std::vector<BuiltinInfo> list;
  return list;
}
std::vector<std::string>& KeywordList() {
  static std::vector<std::string> list;
  return list;
}
std::vector<ConstantInfo>& ConstantList() {
  static std::vector<ConstantInfo> list;
  return list;
}

}  // namespace

std::string BuiltinInfo::Signature() const {
  std::string text = result + " " + name + "(";
  for (std::size_t i = 0; i < params.size(); ++i) {
    text += (i ? ", " : "") + params[i].first + " " + params[i].second;
  }
  return text + ")";
}

void LoadCatalog() {
  const setup::Global& g = setup::theGlobal;
  std::vector<BuiltinInfo>& builtins = BuiltinList();
  builtins.clear();
  for (int i = 0; i < g.m_nBuiltinCount; ++i) {
    const setup::BuiltinEntry& entry = g.m_Builtins[i];
    BuiltinInfo info;
    info.name = entry.szName;
    info.result = TypeName(entry.nRetType);
    auto known = Descriptions().find(info.name);
    for (int p = 0; p < entry.nParamCount && p < 5; ++p) {
      const char* name = known != Descriptions().end() ? known->second.params[p] : nullptr;
      info.params.emplace_back(TypeName(entry.pParams[p].m_nType),
                               name != nullptr ? name : "arg" + std::to_string(p + 1));
    }
    if (known != Descriptions().end()) info.description = known->second.description;
    builtins.push_back(std::move(info));
  }
  std::vector<std::string>& keywords = KeywordList();
  std::vector<ConstantInfo>& constants = ConstantList();
  keywords.clear();
  constants.clear();
  for (int i = 0; i < g.m_nKeywordCount; ++i) {
    const setup::KeywordEntry& row = g.m_Keywords[i];
    if (row.nToken != setup::TK_CONST) {
      keywords.emplace_back(row.szName);
      continue;
    }
    ConstantInfo info;
    info.name = row.szName;
    std::optional<std::string> text;
    std::int32_t number = 0;
    setup::ValueType type = setup::ValueType::None;
    if (!setup::GetConstValue(row.szName, &text, &number, &type)) continue;
    info.type = TypeName(type);
    if (type == setup::ValueType::String) {
      info.value = text.value_or("");
    } else {
      char hex[32];
      std::snprintf(hex, sizeof hex, "0x%X", static_cast<unsigned>(number));
      info.value = number < 0 || number > 9 ? std::string(hex) + " (" + std::to_string(number) + ")"
                                            : std::to_string(number);
    }
    constants.push_back(std::move(info));
  }
}

const std::vector<BuiltinInfo>& Builtins() {
  return BuiltinList();
}

const BuiltinInfo* FindBuiltinInfo(const std::string& name) {
  for (const BuiltinInfo& info : BuiltinList()) {
    if (info.name == name) return &info;
  }
  return nullptr;
}

const std::vector<std::string>& Keywords() {
  return KeywordList();
}

const std::vector<ConstantInfo>& Constants() {
  return ConstantList();
}

const ConstantInfo* FindConstant(const std::string& name) {
  for (const ConstantInfo& info : ConstantList()) {
    if (info.name == name) return &info;
  }
  return nullptr;
}

}  // namespace lsp
