// Registry built-ins: handlers and their operations, with the shared
// procedures that delete a key tree and open a key tree to everyone.
#include <cstring>
#include <string>

#include "base/global.h"
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"

namespace setup {

namespace {

constexpr std::int32_t kKeyPresent = 2;
constexpr std::int32_t kKeyMissing = 4;
constexpr std::int32_t kSecurityFull = 1;  // SECU_FULL
// Fixed sizes of the buffers the operations work with.
constexpr std::size_t kPathLimit = 255;         // joined key paths (addsubreg, deleteregbyfindstr)
constexpr plat::DWORD kValueBuffer = 255;       // values read by getregvalued / getregvalues
constexpr plat::DWORD kNameBuffer = 255;        // subkey names read by RegEnumKeyA
constexpr plat::DWORD kRightsNameBuffer = 260;  // subkey names in the walk of SetKeyRights

// A script's root number as a registry handle: the predefined roots are
// negative numbers and widen to Windows' own sign-extended handles.
plat::HKEY RootKey(std::int32_t root) {
  return reinterpret_cast<plat::HKEY>(static_cast<std::intptr_t>(root));
}

// The registry functions answer their status and leave the thread's last error
// alone. The reports that print "the last error" after one of them therefore
// clear it first, so that the code printed is the same on every system (0)
// instead of whatever an earlier, unrelated call left behind.
void ClearLastError() {
  plat::SetLastError(plat::ERROR_SUCCESS);
}

bool IsEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

}  // namespace

// ---- Shared procedures -------------------------------------------------------------------

std::int32_t DeleteRegTree(plat::HKEY root, const char* key) {
  if (IsEmpty(key)) return 0;
  plat::HKEY opened = nullptr;
  ClearLastError();
  if (plat::RegOpenKeyExA(root, key, 0, plat::KEY_READ, &opened) != 0) {
    ReportError("cannot open %s: win error code:0x%8x", key, plat::GetLastError());
    return 1;
  }
  plat::SHDeleteKeyA(root, key);
  plat::RegCloseKey(opened);
  return 1;
}

void OpenKeyToEveryone(plat::HKEY root, const char* key) {
  plat::HKEY opened = nullptr;
  ClearLastError();
  if (plat::RegOpenKeyExA(root, key, 0, plat::WRITE_DAC, &opened) != 0) {
    ReportError(" 'open key' failed : win error code:0x%8x", plat::GetLastError());
    return;
  }
  // SECURITY_DESCRIPTOR is pointer-aligned; 64 bytes hold it on every system.
  alignas(8) unsigned char descriptor[64] = {};
  static_assert(sizeof descriptor >= plat::SECURITY_DESCRIPTOR_MIN_LENGTH);
  if (!plat::InitializeSecurityDescriptor(descriptor, plat::SECURITY_DESCRIPTOR_REVISION)) {
    ReportError("'init secu desc' failed : win error code:0x%8x", plat::GetLastError());
  }
  // A present but null DACL grants every user full access.
  if (!plat::SetSecurityDescriptorDacl(descriptor, plat::TRUE, nullptr, plat::FALSE)) {
    ReportError("'set secu desc' failed : win error code:0x%8x", plat::GetLastError());
  }
  ClearLastError();
  if (plat::RegSetKeySecurity(opened, plat::DACL_SECURITY_INFORMATION, descriptor) != 0) {
    ReportError(" 'set reg secu desc' failed : win error code:0x%8x", plat::GetLastError());
  }
  plat::RegCloseKey(opened);
}

// Children before their parent, so that a parent's new rights never depend on
// a child's. The depth is bounded by the registry's own nesting limit.
std::int32_t SetKeyRights(plat::HKEY root, const char* key) {
  plat::HKEY opened = nullptr;
  plat::LONG status = plat::RegOpenKeyExA(root, key, 0, plat::KEY_ENUMERATE_SUB_KEYS, &opened);
  if (status != 0) {
    ReportError("set key right:open '%s' failed : win error code:0x%8x", key,
                static_cast<plat::DWORD>(status));
    return 0;
  }
  char name[kRightsNameBuffer];
  for (plat::DWORD index = 0;; ++index) {
    plat::DWORD size = kRightsNameBuffer;
    if (plat::RegEnumKeyExA(opened, index, name, &size, nullptr, nullptr, nullptr, nullptr) != 0) {
      break;
    }
    SetKeyRights(opened, name);
  }
  plat::RegCloseKey(opened);
  OpenKeyToEveryone(root, key);
  return 1;
}

// ---- Operations ----------------------------------------------------------------------

std::int32_t CheckRegStatus(std::int32_t root, const char* key) {
  plat::HKEY opened = nullptr;
  if (plat::RegOpenKeyA(RootKey(root), key, &opened) != 0) return kKeyMissing;
  plat::RegCloseKey(opened);
  return kKeyPresent;
}

std::int32_t AddSubReg(std::int32_t root, const char* parent, const char* name) {
  if (std::strlen(parent) + std::strlen(name) + 1 > kPathLimit) return 0;
  const std::string path = std::string(parent) + "\\" + name;
  plat::HKEY rootKey = RootKey(root);
  plat::HKEY created = nullptr;
  auto create = [&] {
    return plat::RegCreateKeyExA(rootKey, path.c_str(), 0, nullptr, plat::REG_OPTION_NON_VOLATILE,
                                 plat::KEY_ALL_ACCESS, nullptr, &created, nullptr);
  };
  plat::LONG status = create();
  if (status == static_cast<plat::LONG>(plat::ERROR_ACCESS_DENIED)) {
    SetKeyRights(rootKey, parent);
    status = create();
  }
  if (status != 0) {
    ReportError("addsubreg '%s' failed :win error code: 0x%8x", path.c_str(),
                static_cast<plat::DWORD>(status));
    return 0;
  }
  plat::RegCloseKey(created);
  return 1;
}

namespace {

// Writes one value, creating the key when needed. A text goes with type 1, a
// number with type 4; any other type, or a type that does not match the kind
// of data the built-in carries, is refused after the key has been created.
std::int32_t SetRegValue(std::int32_t root, const char* key, const char* valueName,
                         std::int32_t type, const char* text, const std::int32_t* number) {
  plat::HKEY opened = nullptr;
  plat::LONG status =
      plat::RegCreateKeyExA(RootKey(root), key, 0, nullptr, plat::REG_OPTION_NON_VOLATILE,
                            plat::KEY_ALL_ACCESS, nullptr, &opened, nullptr);
  if (status != 0) {
    ReportError("cannot create '%s':win error code:0x%8x", key, static_cast<plat::DWORD>(status));
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  bool written = false;
  if (type == static_cast<std::int32_t>(plat::REG_SZ) && text != nullptr) {
    status = plat::RegSetValueExA(opened, valueName, 0, plat::REG_SZ,
                                  reinterpret_cast<const plat::BYTE*>(text),
                                  static_cast<plat::DWORD>(std::strlen(text) + 1));
    written = status == 0;
    if (!written) {
      ReportError("cannot set value_sz '%s':win error code:0x%8x", valueName,
                  static_cast<plat::DWORD>(status));
    }
  } else if (type == static_cast<std::int32_t>(plat::REG_DWORD) && number != nullptr) {
    // The registry keeps a 32-bit number in little-endian byte order.
    const auto bits = static_cast<std::uint32_t>(*number);
    const plat::BYTE data[4] = {static_cast<plat::BYTE>(bits), static_cast<plat::BYTE>(bits >> 8),
                                static_cast<plat::BYTE>(bits >> 16),
                                static_cast<plat::BYTE>(bits >> 24)};
    status = plat::RegSetValueExA(opened, valueName, 0, plat::REG_DWORD, data, sizeof data);
    written = status == 0;
    if (!written) {
      ReportError("cannot set value_dword '%s':win error code:0x%8x", valueName,
                  static_cast<plat::DWORD>(status));
    }
  } else {
    ReportError("function code invalid:%d", type);
  }
  plat::RegCloseKey(opened);
  if (!written) {
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  return 1;
}

}  // namespace

std::int32_t AddRegValues(std::int32_t root, const char* key, const char* valueName,
                          std::int32_t type, const char* text) {
  return SetRegValue(root, key, valueName, type, text, nullptr);
}

std::int32_t AddRegValued(std::int32_t root, const char* key, const char* valueName,
                          std::int32_t type, std::int32_t number) {
  return SetRegValue(root, key, valueName, type, nullptr, &number);
}

std::int32_t GetRegValued(std::int32_t root, const char* key, const char* valueName) {
  plat::HKEY opened = nullptr;
  if (plat::RegOpenKeyA(RootKey(root), key, &opened) != 0) {
    TraceLine("can not open key");
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  // Zero-filled: binary data shorter than four bytes reads as a number whose
  // missing high bytes are 0.
  plat::BYTE data[kValueBuffer] = {};
  plat::DWORD size = kValueBuffer;
  plat::DWORD type = 0;
  plat::LONG status = plat::RegQueryValueExA(opened, valueName, nullptr, &type, data, &size);
  plat::RegCloseKey(opened);
  if (status != 0) {
    TraceLine("can not get value");
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  if (type != plat::REG_DWORD && type != plat::REG_BINARY) {
    TraceLine("Data type can not match.");
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  return static_cast<std::int32_t>(
      static_cast<std::uint32_t>(data[0]) | static_cast<std::uint32_t>(data[1]) << 8 |
      static_cast<std::uint32_t>(data[2]) << 16 | static_cast<std::uint32_t>(data[3]) << 24);
}

std::int32_t GetRegValues(std::int32_t root, const char* key, const char* valueName, TextOut& out) {
  plat::HKEY opened = nullptr;
  ClearLastError();
  if (plat::RegOpenKeyA(RootKey(root), key, &opened) != 0) {
    ReportError("getregvals openkey '%s' failed :win error code: 0x%8x", key, plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  char data[kValueBuffer + 1] = {};  // one spare byte keeps the text terminated
  plat::DWORD size = kValueBuffer;
  plat::DWORD type = 0;
  bool ok = false;
  ClearLastError();
  if (plat::RegQueryValueExA(opened, valueName, nullptr, &type, reinterpret_cast<plat::BYTE*>(data),
                             &size) != 0) {
    ReportError("getregvals querykey '%s' failed :win error code: 0x%8x", key,
                plat::GetLastError());
  } else if (type != plat::REG_SZ && type != plat::REG_EXPAND_SZ && type != plat::REG_MULTI_SZ) {
    ReportError("getregvals key type error");
  } else {
    // The text up to its first NUL (of a list of texts, the first one).
    const std::size_t length = strnlen(data, size);
    ok = length > 0 && length + 1 <= kValueBuffer;
    if (ok) out = std::string(data, length);
  }
  plat::RegCloseKey(opened);
  if (!ok) {
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  return 1;
}

std::int32_t EnumSubReg(std::int32_t root, const char* key, std::int32_t index, TextOut& out) {
  if (index < 0) return 0;
  plat::HKEY opened = nullptr;
  if (plat::RegOpenKeyA(RootKey(root), key, &opened) != 0) {
    ReportError("open registry key failed : key path : %s", key);
    return 0;
  }
  char name[kNameBuffer];
  plat::LONG status = plat::RegEnumKeyA(opened, static_cast<plat::DWORD>(index), name, kNameBuffer);
  plat::RegCloseKey(opened);
  if (status != 0) {
    TraceLine(status == static_cast<plat::LONG>(plat::ERROR_NO_MORE_ITEMS)
                  ? "there are no more subkeys available"
                  : "enumsubreg() failed");
    return 0;
  }
  out = std::string(name);
  return 1;
}

std::int32_t DeleteReg(std::int32_t root, const char* key) {
  return DeleteRegTree(RootKey(root), key);
}

std::int32_t DeleteRegX(std::int32_t root, const char* key, std::int32_t security) {
  if (IsEmpty(key)) return 0;
  plat::HKEY rootKey = RootKey(root);
  plat::HKEY opened = nullptr;
  if (plat::RegOpenKeyExA(rootKey, key, 0, plat::KEY_READ, &opened) != 0) return 1;
  if (security == kSecurityFull && SetKeyRights(rootKey, key) == 0) {
    ReportError(" 'set key right' failed");
  }
  plat::SHDeleteKeyA(rootKey, key);
  plat::RegCloseKey(opened);
  return 1;
}

// Every subkey whose name contains the text is deleted. After a deletion the
// walk starts again at index 0 (the indexes have moved); a subkey that cannot
// be deleted, or whose joined path would not fit the path limit, is passed
// over, so the walk always ends.
std::int32_t DeleteRegByFindStr(std::int32_t root, const char* key, const char* text) {
  if (IsEmpty(key) || IsEmpty(text)) return 0;
  plat::HKEY rootKey = RootKey(root);
  plat::HKEY opened = nullptr;
  if (plat::RegOpenKeyA(rootKey, key, &opened) != 0) return 0;
  const std::size_t keyLength = std::strlen(key);
  char name[kNameBuffer];
  plat::DWORD index = 0;
  while (plat::RegEnumKeyA(opened, index, name, kNameBuffer) == 0) {
    if (std::strstr(name, text) == nullptr || keyLength + 1 + std::strlen(name) > kPathLimit) {
      ++index;
      continue;
    }
    const std::string path = std::string(key) + "\\" + name;
    index = plat::SHDeleteKeyA(rootKey, path.c_str()) == 0 ? 0 : index + 1;
  }
  plat::RegCloseKey(opened);
  return 1;
}

// ---- Handlers --------------------------------------------------------------------------

std::int32_t HandleCheckRegStatus(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 2);
  if (!ArgNum(0, 2, &root) || key == nullptr) return MissingArgument();
  return CheckRegStatus(root, key);
}

std::int32_t HandleAddSubReg(SyntaxNode*) {
  std::int32_t root = 0;
  const char* parent = ArgText(1, 3);
  const char* name = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || parent == nullptr || name == nullptr) return MissingArgument();
  return AddSubReg(root, parent, name);
}

std::int32_t HandleAddRegValues(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t type = 0;
  const char* key = ArgText(1, 5);
  const char* valueName = ArgText(2, 5);
  const char* text = ArgText(4, 5);
  if (!ArgNum(0, 5, &root) || key == nullptr || valueName == nullptr || !ArgNum(3, 5, &type) ||
      text == nullptr) {
    return MissingArgument();
  }
  return AddRegValues(root, key, valueName, type, text);
}

std::int32_t HandleAddRegValued(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t type = 0;
  std::int32_t number = 0;
  const char* key = ArgText(1, 5);
  const char* valueName = ArgText(2, 5);
  if (!ArgNum(0, 5, &root) || key == nullptr || valueName == nullptr || !ArgNum(3, 5, &type) ||
      !ArgNum(4, 5, &number)) {
    return MissingArgument();
  }
  return AddRegValued(root, key, valueName, type, number);
}

std::int32_t HandleGetRegValued(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 3);
  const char* valueName = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || valueName == nullptr) {
    ReportError("getregvalued() failed. Parameters is NULL");
    return 0;
  }
  return GetRegValued(root, key, valueName);
}

std::int32_t HandleGetRegValues(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 3);
  const char* valueName = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || valueName == nullptr) return MissingArgument();
  return GetRegValues(root, key, valueName, *ResetStringResult());
}

std::int32_t HandleEnumSubReg(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t index = 0;
  const char* key = ArgText(1, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || !ArgNum(2, 3, &index)) return MissingArgument();
  return EnumSubReg(root, key, index, *ResetStringResult());
}

std::int32_t HandleDeleteReg(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 2);
  if (!ArgNum(0, 2, &root) || key == nullptr) return MissingArgument();
  return DeleteReg(root, key);
}

std::int32_t HandleDeleteRegX(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t security = 0;
  const char* key = ArgText(1, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || !ArgNum(2, 3, &security)) {
    return MissingArgument();
  }
  return DeleteRegX(root, key, security);
}

std::int32_t HandleDeleteRegByFindStr(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 3);
  const char* text = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || text == nullptr) return MissingArgument();
  return DeleteRegByFindStr(root, key, text);
}

}  // namespace setup
