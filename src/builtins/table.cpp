// The built-in function table and the handlers' argument convention.
#include "builtins/table.h"

#include <cstring>
#include <string_view>

#include "base/global.h"
#include "base/hash.h"
#include "builtins/handlers.h"
#include "diag/report.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

constexpr ValueType N = ValueType::Num;
constexpr ValueType S = ValueType::String;

struct BuiltinRow {
  const char* name;
  std::int32_t token;
  ValueType result;
  std::int32_t paramCount;
  ValueType params[5];
  BuiltinHandler handler;
};

// The table in its stored order; token codes are not in table order.
constexpr BuiltinRow kRows[kBuiltinCount] = {
    {"checkregstatus", 7, N, 2, {N, S}, HandleCheckRegStatus},
    {"checkisneedreboot", 8, N, 0, {}, HandleCheckIsNeedReboot},
    {"installdriverbyhardwareid", 9, N, 2, {S, S}, HandleInstallDriverByHardwareId},
    {"installusbdriver", 10, N, 2, {S, S}, HandleInstallUsbDriver},
    {"copyfile", 11, N, 2, {S, S}, HandleCopyFile},
    {"deletefile", 12, N, 1, {S}, HandleDeleteFile},
    {"addsubreg", 14, N, 3, {N, S, S}, HandleAddSubReg},
    {"addregvalues", 15, N, 5, {N, S, S, N, S}, HandleAddRegValues},
    {"createservice", 19, N, 3, {S, N, S}, HandleCreateService},
    {"deleteservice", 20, N, 1, {S}, HandleDeleteService},
    {"execute", 21, N, 1, {S}, HandleExecute},
    {"reboot", 22, N, 0, {}, HandleReboot},
    {"extractresfile", 23, N, 2, {S, S}, HandleExtractResFile},
    {"sleep", 24, N, 1, {N}, HandleSleep},
    {"deletereg", 17, N, 2, {N, S}, HandleDeleteReg},
    {"msgbox", 25, N, 3, {S, S, N}, HandleMsgBox},
    {"addregvalued", 16, N, 5, {N, S, S, N, N}, HandleAddRegValued},
    {"deletefilex", 13, N, 2, {S, S}, HandleDeleteFileX},
    {"getwinversion", 26, N, 0, {}, HandleGetWinVersion},
    {"createdirectory", 27, N, 1, {S}, HandleCreateDirectory},
    {"deletedirectory", 28, N, 1, {S}, HandleDeleteDirectory},
    {"updatedevicebyhardwareid", 29, N, 2, {S, S}, HandleUpdateDeviceByHardwareId},
    {"deletedriverbyhardwareid", 30, N, 1, {S}, HandleDeleteDriverByHardwareId},
    {"deleteregbyfindstr", 31, N, 3, {N, S, S}, HandleDeleteRegByFindStr},
    {"getat", 32, S, 2, {S, N}, HandleGetAt},
    {"getlen", 33, N, 1, {S}, HandleGetLen},
    {"stringtonum", 34, N, 1, {S}, HandleStringToNum},
    {"numtostring", 35, S, 1, {N}, HandleNumToString},
    {"checkdevicestatus", 36, N, 1, {S}, HandleCheckDeviceStatus},
    {"getregvalued", 37, N, 3, {N, S, S}, HandleGetRegValued},
    {"getregvalues", 38, S, 3, {N, S, S}, HandleGetRegValues},
    {"enumsubreg", 39, S, 3, {N, S, N}, HandleEnumSubReg},
    {"getlanguage", 40, N, 0, {}, HandleGetLanguage},
    {"updatedevicelist", 41, N, 0, {}, HandleUpdateDeviceList},
    {"disabledriverbyhardwareid", 42, N, 1, {S}, HandleDisableDriverByHardwareId},
    {"enabledriverbyhardwareid", 43, N, 1, {S}, HandleEnableDriverByHardwareId},
    {"getstr", 44, S, 3, {S, N, N}, HandleGetStr},
    {"startservice", 45, N, 1, {S}, HandleStartService},
    {"stopservice", 46, N, 1, {S}, HandleStopService},
    {"deleteregx", 18, N, 3, {N, S, N}, HandleDeleteRegX},
};

// Gives every entry with parameters its typed parameter list, in order.
void BuildParamLists(Global& global) {
  for (int i = 0; i < kBuiltinCount; ++i) {
    BuiltinEntry& entry = global.m_Builtins[i];
    for (int p = 0; p < 5; ++p) {
      entry.pParams[p].m_nType = p < entry.nParamCount ? kRows[i].params[p] : ValueType::None;
      entry.pParams[p].m_szName.clear();
    }
  }
}

// The arguments of the running call (SetBuiltinArgs).
const BuiltinArg* s_pArgs = nullptr;
int s_nArgCount = 0;

// Argument `index` of `count`, or none when the call has fewer.
const BuiltinArg* Arg(int index, int count) {
  if (index < 0 || index >= count || count > s_nArgCount) return nullptr;
  return &s_pArgs[index];
}

// The rows behind theGlobal.m_Builtins; they live as long as the library.
BuiltinEntry* BuiltinRows() {
  static BuiltinEntry rows[kBuiltinCount];
  return rows;
}

}  // namespace

void InitBuiltinTable(Global& global) {
  global.m_Builtins = BuiltinRows();
  global.m_nBuiltinCount = kBuiltinCount;
  for (int i = 0; i < kBuiltinCount; ++i) {
    BuiltinEntry& entry = global.m_Builtins[i];
    entry.szName = kRows[i].name;
    entry.nToken = kRows[i].token;
    entry.nRetType = kRows[i].result;
    entry.nParamCount = kRows[i].paramCount;
    entry.pfnHandler = kRows[i].handler;
  }
  BuildParamLists(global);
}

namespace {

// Name -> first row of that name, built on first use: the lexer looks every
// identifier up here. Row names are fixed at construction.
const NameIndex& BuiltinIndex() {
  static NameIndex index;
  static int rows = -1;
  if (rows != theGlobal.m_nBuiltinCount) {
    index.Clear();
    for (int i = 0; i < theGlobal.m_nBuiltinCount && i < kBuiltinCount; ++i) {
      if (theGlobal.m_Builtins[i].szName != nullptr) index.Add(theGlobal.m_Builtins[i].szName, i);
    }
    rows = theGlobal.m_nBuiltinCount;
  }
  return index;
}

}  // namespace

BuiltinEntry* GetBuiltinEntry(const char* name) {
  if (name == nullptr) return nullptr;
  const int row = BuiltinIndex().Find(name);
  return row < 0 ? nullptr : &theGlobal.m_Builtins[row];
}

// ---- Argument convention ---------------------------------------------------------------

void SetBuiltinArgs(const BuiltinArg* args, int count) {
  s_pArgs = args;
  s_nArgCount = args != nullptr ? count : 0;
}

const char* ArgText(int index, int count) {
  const BuiltinArg* value = Arg(index, count);
  if (value == nullptr || value->m_nType != ValueType::String || value->m_pText == nullptr ||
      !*value->m_pText) {
    return nullptr;
  }
  return (*value->m_pText)->c_str();
}

bool ArgNum(int index, int count, std::int32_t* out) {
  const BuiltinArg* value = Arg(index, count);
  if (value == nullptr || value->m_nType != ValueType::Num || out == nullptr) return false;
  *out = value->m_nNum;
  return true;
}

std::optional<std::string>* ResetStringResult() {
  // The record stays from one call to the next; only its text starts afresh.
  if (!theStringResult) {
    theStringResult = NewStringValue(0);
  } else {
    theStringResult->m_szValue.reset();
    theStringResult->m_nSize = 0;
  }
  return &theStringResult->m_szValue;
}

std::int32_t MissingArgument() {
  ReportError("Parameters is NULL");
  return 0;
}

}  // namespace setup
