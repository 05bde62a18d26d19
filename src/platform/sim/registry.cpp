// The registry of the simulated machine: four root trees of keys with
// case-insensitive names (case preserved), typed values, open handles with
// access rights, keys whose security descriptor restricts access, and the
// security descriptor calls that open a key to everyone.
//
// Access model: the program runs as an administrator. A key without a
// restriction grants everything; a restricted key grants its `rights` plus
// READ_CONTROL and WRITE_DAC (the owner's rights), so its DACL can always be
// replaced. Like Windows, the registry functions answer their status and never
// touch the thread's last error.
#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "platform/sim/simcore.h"
#include "platform/sim/stateread.h"
#include "platform/sim/view.h"
#include "platform/winapi.h"

namespace sim::detail {
namespace {

using plat::BYTE;
using plat::DWORD;
using plat::HKEY;
using plat::LONG;
using plat::REGSAM;

constexpr LONG kErrorBadPathname = 161;
constexpr LONG kErrorKeyDeleted = 1018;
constexpr DWORD kErrorUnknownRevision = 1305;
constexpr DWORD kErrorInvalidSecurityDescr = 1338;
constexpr REGSAM kGenericRead = 0x80000000u;
constexpr REGSAM kGenericWrite = 0x40000000u;
constexpr REGSAM kGenericAll = 0x10000000u;
constexpr REGSAM kMaximumAllowed = 0x02000000u;
constexpr plat::WORD kDaclPresent = 0x4;
constexpr plat::WORD kDaclDefaulted = 0x8;
constexpr REGSAM kReadControl = 0x00020000u;
constexpr REGSAM kOwnerRights = kReadControl | plat::WRITE_DAC;
constexpr REGSAM kDeleteRights =
    plat::DELETE | plat::KEY_ENUMERATE_SUB_KEYS | plat::KEY_QUERY_VALUE;
constexpr int kMaxDepth = 512;  // the registry's nesting limit

struct RegValue {
  std::string name;
  DWORD type = plat::REG_NONE;
  std::vector<BYTE> data;
};

struct RegKey {
  std::string name;
  std::vector<std::shared_ptr<RegKey>> children;  // ordered as NameBefore orders them
  std::vector<RegValue> values;                   // in creation order
  int depth = 0;                                  // levels below the root
  bool openToEveryone = false;                    // a present, null DACL was applied
  std::optional<REGSAM> rights;                   // granted access of a restricted key
  bool deleted = false;                           // handles to it answer ERROR_KEY_DELETED
};
using KeyPtr = std::shared_ptr<RegKey>;

// The layout of an absolute SECURITY_DESCRIPTOR.
struct SecurityDescriptor {
  BYTE revision;
  BYTE sbz1;
  plat::WORD control;
  void* owner;
  void* group;
  void* sacl;
  void* dacl;
};
static_assert(sizeof(SecurityDescriptor) <= plat::SECURITY_DESCRIPTOR_MIN_LENGTH);

struct KeyHandle : Object {
  KeyPtr key;
  REGSAM access = 0;
  // In the 32-bit view: the root and the path the program named (before
  // redirection), so that paths below the handle are redirected as a whole.
  int root = -1;
  std::vector<std::string> logical;
};

constexpr const char* kRootNames[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER",
                                      "HKEY_LOCAL_MACHINE", "HKEY_USERS"};
KeyPtr theRoots[4];
// The image the keys were last copied from, while no key has changed since:
// a fresh start from the same image then has nothing to copy. Every change
// of a key (a key added or deleted, a value set or removed, its security)
// calls Changed().
const void* theUnchangedCopyOf = nullptr;

void Changed() {
  theUnchangedCopyOf = nullptr;
}

KeyPtr& Root(std::size_t index) {
  if (!theRoots[index]) {
    theRoots[index] = std::make_shared<RegKey>();
    theRoots[index]->name = kRootNames[index];
  }
  return theRoots[index];
}

// The predefined roots, also in their sign-extended 64-bit form (a script's
// negative number 0x80000002 widened to a pointer).
int RootIndex(HKEY key) {
  auto value = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
  auto high = static_cast<std::uint32_t>(value >> 32);
  auto low = static_cast<std::uint32_t>(value);
  if (high != 0 && high != 0xFFFFFFFFu) return -1;
  if (low >= 0x80000000u && low <= 0x80000003u) return static_cast<int>(low - 0x80000000u);
  return -1;
}

REGSAM Normalize(REGSAM access) {
  if (access & kGenericRead) access |= plat::KEY_READ;
  if (access & kGenericWrite) access |= plat::KEY_WRITE;
  if (access & kGenericAll) access |= plat::KEY_ALL_ACCESS;
  return access & ~(kGenericRead | kGenericWrite | kGenericAll);
}

// What a key grants the program.
REGSAM Granted(const KeyPtr& key) {
  return key->rights ? (*key->rights | kOwnerRights) : plat::KEY_ALL_ACCESS;
}

// The access a new handle gets, or none when the key refuses it.
std::optional<REGSAM> AccessCheck(const KeyPtr& key, REGSAM wanted) {
  if (wanted & kMaximumAllowed) return Granted(key);
  REGSAM normalized = Normalize(wanted);
  if (normalized & ~Granted(key)) return std::nullopt;
  return normalized;
}

// The key a handle refers to, with its access rights; *status tells why not.
KeyPtr Base(HKEY handle, REGSAM* access, LONG* status) {
  int root = RootIndex(handle);
  if (root >= 0) {
    *access = plat::KEY_ALL_ACCESS;
    return Root(static_cast<std::size_t>(root));
  }
  auto* h = Find<KeyHandle>(handle);
  if (!h) {
    *status = static_cast<LONG>(plat::ERROR_INVALID_HANDLE);
    return nullptr;
  }
  if (h->key->deleted) {
    *status = kErrorKeyDeleted;
    return nullptr;
  }
  *access = h->access;
  return h->key;
}

bool SplitPath(const char* path, std::vector<std::string>* parts, LONG* status) {
  parts->clear();
  if (path == nullptr) return true;
  if (path[0] == '\\') {
    *status = kErrorBadPathname;
    return false;
  }
  std::string current;
  for (const char* p = path;; ++p) {
    if (*p == '\\' || *p == '\0') {
      if (current.size() > 255) {
        *status = static_cast<LONG>(plat::ERROR_INVALID_PARAMETER);
        return false;
      }
      if (!current.empty()) parts->push_back(current);
      current.clear();
      if (*p == '\0') break;
    } else {
      current += *p;
    }
  }
  return true;
}

KeyPtr Child(const KeyPtr& key, const std::string& name) {
  for (const KeyPtr& child : key->children) {
    if (EqualNoCase(child->name, name)) return child;
  }
  return nullptr;
}

KeyPtr Walk(KeyPtr key, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    key = Child(key, part);
    if (!key) return nullptr;
  }
  return key;
}

// Windows keeps subkeys ordered by their names in upper case (so "SubB"
// comes before "Sub_x"), and RegEnumKey answers them in that order.
char KeyOrderChar(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool NameBefore(const std::string& a, const std::string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return static_cast<unsigned char>(KeyOrderChar(x)) <
           static_cast<unsigned char>(KeyOrderChar(y));
  });
}

// ---- The WOW64 registry redirector -------------------------------------------------
// A 32-bit process on 64-bit Windows sees HKLM\SOFTWARE in
// HKLM\SOFTWARE\WOW6432Node, except the shared keys below, and some keys of
// the class registrations in a WOW6432Node subkey of the classes root. Paths are split
// into components; the answer is the physical path.

constexpr const char* kWow6432Node = "WOW6432Node";

// Windows versions as major * 10 + minor.
constexpr int kVista = 60;
constexpr int kWindows7 = 61;

int ProfileVersion() {
  const Profile& p = GetProfile();
  return static_cast<int>(p.majorVersion) * 10 + static_cast<int>(std::min(p.minorVersion, 9u));
}

// Keys below HKLM\SOFTWARE that both views share, and the version from which
// they are shared (before it they are redirected like the rest).
struct SharedKey {
  const char* path;
  int since;
};
constexpr SharedKey kSharedKeys[] = {
    {"Clients", kWindows7},
    {"Microsoft\\COM3", kWindows7},
    {"Microsoft\\Cryptography\\Calais\\Current", 0},
    {"Microsoft\\Cryptography\\Calais\\Readers", 0},
    {"Microsoft\\Cryptography\\Services", 0},
    {"Microsoft\\CTF\\SystemShared", 0},
    {"Microsoft\\CTF\\TIP", 0},
    {"Microsoft\\DFS", 0},
    {"Microsoft\\Driver Signing", 0},
    {"Microsoft\\EnterpriseCertificates", 0},
    {"Microsoft\\EventSystem", kWindows7},
    {"Microsoft\\MSMQ", 0},
    {"Microsoft\\Non-Driver Signing", 0},
    {"Microsoft\\Notepad\\DefaultFonts", kWindows7},
    {"Microsoft\\OLE", kWindows7},
    {"Microsoft\\RAS", 0},
    {"Microsoft\\RPC", kWindows7},
    {"Microsoft\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo", 0},
    {"Microsoft\\SystemCertificates", 0},
    {"Microsoft\\TermServLicensing", 0},
    {"Microsoft\\TransactionServer", 0},
    {"Microsoft\\Windows\\CurrentVersion\\App Paths", kWindows7},
    {"Microsoft\\Windows\\CurrentVersion\\Control Panel\\Cursors\\Schemes", 0},
    {"Microsoft\\Windows\\CurrentVersion\\Explorer\\AutoplayHandlers", kWindows7},
    {"Microsoft\\Windows\\CurrentVersion\\Explorer\\DriveIcons", kWindows7},
    {"Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap", kWindows7},
    {"Microsoft\\Windows\\CurrentVersion\\Group Policy", 0},
    {"Microsoft\\Windows\\CurrentVersion\\Policies", 0},
    {"Microsoft\\Windows\\CurrentVersion\\PreviewHandlers", kWindows7},
    {"Microsoft\\Windows\\CurrentVersion\\Setup", 0},
    {"Microsoft\\Windows\\CurrentVersion\\Telephony\\Locations", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Console", kWindows7},
    {"Microsoft\\Windows NT\\CurrentVersion\\FontDpi", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\FontLink", kWindows7},
    {"Microsoft\\Windows NT\\CurrentVersion\\FontMapper", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Fonts", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\FontSubstitutes", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Gre_Initialize", kWindows7},
    {"Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options", kWindows7},
    {"Microsoft\\Windows NT\\CurrentVersion\\Language Pack", kWindows7},
    {"Microsoft\\Windows NT\\CurrentVersion\\NetworkCards", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Perflib", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Ports", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Print", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\ProfileList", 0},
    {"Microsoft\\Windows NT\\CurrentVersion\\Time Zones", 0},
    {"Policies", 0},
    {"RegisteredApplications", kVista},
};

// The class registrations kept apart for 32-bit programs from Windows 7 on
// (before it, everything below a classes root but HCP is).
constexpr const char* kRedirectedClasses[] = {"CLSID", "DirectShow", "Interface", "Media Type",
                                              "MediaFoundation"};
// Below Classes\WOW6432Node, links to the shared keys (Windows 7 on).
constexpr const char* kLinkedClasses[] = {"AppId", "PROTOCOLS", "Typelib"};

bool Is(const std::vector<std::string>& p, std::size_t i, std::string_view name) {
  return i < p.size() && EqualNoCase(p[i], name);
}

template <std::size_t N>
bool IsAny(const std::vector<std::string>& p, std::size_t i, const char* const (&names)[N]) {
  for (const char* name : names) {
    if (Is(p, i, name)) return true;
  }
  return false;
}

// Redirects the keys below a classes root whose first component is p[at].
// `hcpShared`: HCP is shared (in the machine's classes).
void RedirectClasses(std::vector<std::string>* p, std::size_t at, bool hcpShared) {
  if (p->size() <= at) return;  // the root itself is shared
  const bool since7 = ProfileVersion() >= kWindows7;
  if (Is(*p, at, kWow6432Node)) {
    if (since7 && IsAny(*p, at + 1, kLinkedClasses)) p->erase(p->begin() + static_cast<long>(at));
    return;
  }
  const bool redirected =
      since7 ? IsAny(*p, at, kRedirectedClasses) : !(hcpShared && Is(*p, at, "HCP"));
  if (redirected) p->insert(p->begin() + static_cast<long>(at), kWow6432Node);
}

// The shared keys' paths split into components, in table order.
const std::vector<std::vector<std::string>>& SharedKeyParts() {
  static const std::vector<std::vector<std::string>> parts = [] {
    std::vector<std::vector<std::string>> all;
    for (const SharedKey& shared : kSharedKeys) {
      LONG status = 0;
      SplitPath(shared.path, &all.emplace_back(), &status);
    }
    return all;
  }();
  return parts;
}

// Whether SOFTWARE\<p[1]>\... is shared on this version.
bool SharedSoftwareKey(const std::vector<std::string>& p) {
  const int version = ProfileVersion();
  for (std::size_t k = 0; k < std::size(kSharedKeys); ++k) {
    if (version < kSharedKeys[k].since) continue;
    const std::vector<std::string>& parts = SharedKeyParts()[k];
    if (parts.size() + 1 > p.size()) continue;
    bool match = true;
    for (std::size_t i = 0; i < parts.size() && match; ++i) match = EqualNoCase(parts[i], p[i + 1]);
    if (match) return true;
  }
  return false;
}

// The physical path of the key a 32-bit process names by `logical` below
// the root with index `root` (0 HKCR, 1 HKCU, 2 HKLM, 3 HKU).
std::vector<std::string> Redirected(int root, std::vector<std::string> p) {
  switch (root) {
    case 0:
      RedirectClasses(&p, 0, true);
      break;
    case 1:
      if (Is(p, 0, "Software") && Is(p, 1, "Classes")) RedirectClasses(&p, 2, false);
      break;
    case 2:
      if (!Is(p, 0, "SOFTWARE")) break;
      if (Is(p, 1, kWow6432Node)) {
        // SOFTWARE\WOW6432Node\Classes is a link to SOFTWARE\Classes\WOW6432Node.
        if (Is(p, 2, "Classes")) {
          std::swap(p[1], p[2]);
          RedirectClasses(&p, 2, true);
        }
      } else if (Is(p, 1, "Classes")) {
        RedirectClasses(&p, 2, true);
      } else if (!SharedSoftwareKey(p)) {
        p.insert(p.begin() + 1, kWow6432Node);
      }
      break;
    case 3:
      if (Is(p, 1, "Software") && Is(p, 2, "Classes")) {
        RedirectClasses(&p, 3, false);
      } else if (!p.empty() && p[0].size() > 8 &&
                 EqualNoCase(p[0].substr(p[0].size() - 8), "_Classes")) {
        RedirectClasses(&p, 1, false);
      }
      break;
    default:
      break;
  }
  return p;
}

// The names a 32-bit process enumerates below `logical`: the subkeys of the
// key it maps to that are in the same place in its view, the keys of other
// places that show there (shared keys below a redirected key, redirected
// classes below a shared classes root), never WOW6432Node; in key order.
std::vector<std::string> ViewSubkeys(int root, const std::vector<std::string>& logical) {
  std::vector<std::string> names;
  auto listed = [&names](const std::string& name) {
    for (const std::string& n : names) {
      if (EqualNoCase(n, name)) return true;
    }
    return false;
  };
  // The key a child of the logical key is in this view; null when missing.
  auto viewChild = [&](const std::string& name) {
    std::vector<std::string> path = logical;
    path.push_back(name);
    return Walk(Root(static_cast<std::size_t>(root)), Redirected(root, path));
  };
  if (KeyPtr key = Walk(Root(static_cast<std::size_t>(root)), Redirected(root, logical))) {
    for (const KeyPtr& child : key->children) {
      if (EqualNoCase(child->name, kWow6432Node) || listed(child->name)) continue;
      if (viewChild(child->name)) names.push_back(child->name);
    }
  }
  std::vector<std::string> candidates;
  if (root == 2 && Is(logical, 0, "SOFTWARE")) {
    for (const std::vector<std::string>& parts : SharedKeyParts()) {
      if (parts.size() != logical.size()) continue;
      bool below = true;
      for (std::size_t i = 0; i + 1 < parts.size() && below; ++i) {
        below = EqualNoCase(parts[i], logical[i + 1]);
      }
      if (below) candidates.push_back(parts.back());
    }
    if (logical.size() == 1) candidates.emplace_back("Classes");
  }
  const bool classesRoot = (root == 0 && logical.empty()) ||
                           (root == 2 && logical.size() == 2 && Is(logical, 1, "Classes")) ||
                           (root == 1 && logical.size() == 2 && Is(logical, 1, "Classes")) ||
                           (root == 3 && logical.size() == 3 && Is(logical, 2, "Classes"));
  if (classesRoot)
    candidates.insert(candidates.end(), std::begin(kRedirectedClasses),
                      std::end(kRedirectedClasses));
  for (const std::string& candidate : candidates) {
    if (listed(candidate)) continue;
    if (KeyPtr key = viewChild(candidate)) names.push_back(key->name);
  }
  std::sort(names.begin(), names.end(),
            [](const std::string& a, const std::string& b) { return NameBefore(a, b); });
  return names;
}

// Where a path below a handle leads. Outside the 32-bit view: `base` is the
// handle's key and `parts` stay as given. In it: `base` is the root, `parts`
// the redirected path from it, and *root and *logical name the path as the
// program sees it (for the handle the call makes).
struct Target {
  KeyPtr base;
  std::vector<std::string> parts;
  int root = -1;
  std::vector<std::string> logical;
  std::size_t given = 0;  // components the call named
};

LONG Locate(plat::HKEY handle, const char* subKey, REGSAM* access, Target* t) {
  LONG status = 0;
  t->base = Base(handle, access, &status);
  if (!t->base) return status;
  if (!SplitPath(subKey, &t->parts, &status)) return status;
  t->given = t->parts.size();
  if (!Wow64View()) return 0;
  t->root = RootIndex(handle);
  if (t->root < 0) {
    auto* h = Find<KeyHandle>(handle);
    if (h->root < 0) return 0;  // opened outside the view: relative to its key
    t->root = h->root;
    t->logical = h->logical;
  }
  t->logical.insert(t->logical.end(), t->parts.begin(), t->parts.end());
  t->parts = Redirected(t->root, t->logical);
  t->base = Root(static_cast<std::size_t>(t->root));
  return 0;
}

KeyPtr AddChild(const KeyPtr& key, const std::string& name) {
  Changed();
  auto child = std::make_shared<RegKey>();
  child->name = name;
  child->depth = key->depth + 1;
  auto at = std::lower_bound(
      key->children.begin(), key->children.end(), name,
      [](const KeyPtr& k, const std::string& n) { return NameBefore(k->name, n); });
  key->children.insert(at, child);
  return child;
}

// Creates the missing keys of a path; answers the last one.
KeyPtr CreatePath(KeyPtr key, const std::vector<std::string>& parts, bool* created) {
  *created = false;
  for (const std::string& part : parts) {
    KeyPtr next = Child(key, part);
    if (!next) {
      next = AddChild(key, part);
      *created = true;
    }
    key = next;
  }
  return key;
}

void MarkDeleted(const KeyPtr& key) {
  Changed();
  key->deleted = true;
  for (const KeyPtr& child : key->children) MarkDeleted(child);
}

// Removes `key` from its parent (the key the path walks to before it).
void Unlink(const KeyPtr& parent, const KeyPtr& key) {
  Changed();
  auto& siblings = parent->children;
  siblings.erase(std::remove(siblings.begin(), siblings.end(), key), siblings.end());
  MarkDeleted(key);
}

RegValue* FindValue(const KeyPtr& key, const char* name) {
  std::string wanted = name ? name : "";
  for (RegValue& value : key->values) {
    if (EqualNoCase(value.name, wanted)) return &value;
  }
  return nullptr;
}

void SetValue(const KeyPtr& key, const std::string& name, DWORD type, const BYTE* data,
              std::size_t size) {
  Changed();
  RegValue* value = FindValue(key, name.c_str());
  if (!value) {
    key->values.push_back({name, type, {}});
    value = &key->values.back();
  }
  value->type = type;
  value->data.assign(data, data + size);
}

std::string Hex(const std::vector<BYTE>& data) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (BYTE b : data) {
    out += kDigits[b >> 4];
    out += kDigits[b & 0xF];
  }
  return out;
}

// Answers false when `text` is not pairs of hexadecimal digits.
bool Unhex(const std::string& text, std::vector<BYTE>* out) {
  auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (text.size() % 2 != 0) return false;
  out->clear();
  out->reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    int high = digit(text[i]);
    int low = digit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    out->push_back(static_cast<BYTE>(high * 16 + low));
  }
  return true;
}

Json Save(const KeyPtr& key) {
  Json node = Json::object();
  node["name"] = key->name;
  if (key->openToEveryone) node["everyone"] = true;
  if (key->rights) node["rights"] = *key->rights;
  Json values = Json::array();
  for (const RegValue& value : key->values) {
    values.push_back({{"name", value.name}, {"type", value.type}, {"data", Hex(value.data)}});
  }
  node["values"] = values;
  Json children = Json::array();
  for (const KeyPtr& child : key->children) children.push_back(Save(child));
  node["keys"] = children;
  return node;
}

// Fills a fresh key from its state-file node. Large keys load in linear
// time: duplicate names are found through a set, children are sorted once.
void Load(const KeyPtr& key, const Json& node, const Where& where, int depth) {
  ExpectObject(node, where);
  Get(node, where, "everyone", &key->openToEveryone);
  if (const Json* rights = Member(node, "rights")) {
    key->rights = ReadInt<REGSAM>(*rights, Where(where, "rights"));
  }
  if (const Json* values = Member(node, "values")) {
    const Where at(where, "values");
    std::unordered_set<std::string> seen;
    for (std::size_t i = 0; i < ExpectArray(*values, at).size(); ++i) {
      const Json& value = (*values)[i];
      const Where here(at, i);
      ExpectObject(value, here);
      RegValue v;
      Get(value, here, "name", &v.name);
      Get(value, here, "type", &v.type);
      std::string hex;
      Get(value, here, "data", &hex);
      if (!Unhex(hex, &v.data)) Where(here, "data").Fail("must be pairs of hexadecimal digits");
      if (!seen.insert(Lower(v.name)).second) continue;  // the first of a name wins
      key->values.push_back(std::move(v));
    }
  }
  const Json* keys = Member(node, "keys");
  if (!keys || depth >= kMaxDepth) return;  // a corrupt, absurdly deep state file
  const Where at(where, "keys");
  ExpectArray(*keys, at);
  // (upper-case name, index) of every named child, in the order NameBefore
  // keeps; the first of a name wins.
  std::vector<std::pair<std::string, std::size_t>> order;
  for (std::size_t i = 0; i < keys->size(); ++i) {
    const Json& child = (*keys)[i];
    const Where here(at, i);
    ExpectObject(child, here);
    std::string name;
    Get(child, here, "name", &name);
    if (name.empty()) continue;
    for (char& c : name) c = KeyOrderChar(c);
    order.emplace_back(std::move(name), i);
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i > 0 && order[i].first == order[i - 1].first) continue;
    const Json& child = (*keys)[order[i].second];
    auto made = std::make_shared<RegKey>();
    made->name = child.find("name")->get_ref<const std::string&>();
    made->depth = key->depth + 1;
    key->children.push_back(made);
    Load(made, child, Where(at, order[i].second), depth + 1);
  }
}

KeyPtr PathKey(HKEY root, const std::string& path, bool create) {
  int index = RootIndex(root);
  if (index < 0) return nullptr;
  std::vector<std::string> parts;
  LONG status = 0;
  if (!SplitPath(path.c_str(), &parts, &status)) return nullptr;
  bool created = false;
  KeyPtr base = Root(static_cast<std::size_t>(index));
  return create ? CreatePath(base, parts, &created) : Walk(base, parts);
}

// The standard device setup classes: GUID, class name, description.
struct StandardClass {
  const char* guid;
  const char* name;
  const char* description;
};
constexpr StandardClass kStandardClasses[] = {
    {"{36FC9E60-C465-11CF-8056-444553540000}", "USB", "Universal Serial Bus controllers"},
    {"{4D36E965-E325-11CE-BFC1-08002BE10318}", "CDROM", "DVD/CD-ROM drives"},
    {"{4D36E967-E325-11CE-BFC1-08002BE10318}", "DiskDrive", "Disk drives"},
    {"{4D36E968-E325-11CE-BFC1-08002BE10318}", "Display", "Display adapters"},
    {"{4D36E969-E325-11CE-BFC1-08002BE10318}", "fdc", "Floppy disk controllers"},
    {"{4D36E96A-E325-11CE-BFC1-08002BE10318}", "hdc", "IDE ATA/ATAPI controllers"},
    {"{4D36E96B-E325-11CE-BFC1-08002BE10318}", "Keyboard", "Keyboards"},
    {"{4D36E96C-E325-11CE-BFC1-08002BE10318}", "MEDIA", "Sound, video and game controllers"},
    {"{4D36E96D-E325-11CE-BFC1-08002BE10318}", "Modem", "Modems"},
    {"{4D36E96E-E325-11CE-BFC1-08002BE10318}", "Monitor", "Monitors"},
    {"{4D36E96F-E325-11CE-BFC1-08002BE10318}", "Mouse", "Mice and other pointing devices"},
    {"{4D36E972-E325-11CE-BFC1-08002BE10318}", "Net", "Network adapters"},
    {"{4D36E978-E325-11CE-BFC1-08002BE10318}", "Ports", "Ports (COM & LPT)"},
    {"{4D36E979-E325-11CE-BFC1-08002BE10318}", "Printer", "Printers"},
    {"{4D36E97B-E325-11CE-BFC1-08002BE10318}", "SCSIAdapter", "SCSI and RAID controllers"},
    {"{4D36E97D-E325-11CE-BFC1-08002BE10318}", "System", "System devices"},
    {"{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}", "Image", "Imaging devices"},
    {"{745A17A0-74D3-11D0-B6FE-00A0C90F57DA}", "HIDClass", "Human Interface Devices"},
};

void WriteText(const KeyPtr& key, const char* name, const std::string& text,
               DWORD type = plat::REG_SZ) {
  SetValue(key, name, type, reinterpret_cast<const BYTE*>(text.c_str()), text.size() + 1);
}

KeyPtr MakeKey(std::size_t root, const char* path) {
  std::vector<std::string> parts;
  LONG status = 0;
  SplitPath(path, &parts, &status);
  bool created = false;
  return CreatePath(Root(root), parts, &created);
}

// The keys and values of a fresh machine that installers look at. The
// services below CurrentControlSet\Services are written by the service part.
void LoadBaseline() {
  constexpr std::size_t kMachine = 2;
  KeyPtr version = MakeKey(kMachine, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion");
  WriteText(version, "ProgramFilesDir", "C:\\Program Files");
  WriteText(version, "CommonFilesDir", "C:\\Program Files\\Common Files");
  WriteText(version, "DevicePath", "%SystemRoot%\\inf", plat::REG_EXPAND_SZ);
  WriteText(version, "MediaPath", "%SystemRoot%\\Media", plat::REG_EXPAND_SZ);
  for (const char* sub : {"App Paths", "Run", "RunOnce", "Uninstall"}) {
    bool created = false;
    CreatePath(version, {sub}, &created);
  }
  KeyPtr nt = MakeKey(kMachine, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
  WriteText(nt, "SystemRoot", WindowsDirectory());
  MakeKey(kMachine, "SYSTEM\\CurrentControlSet\\Services");
  MakeKey(kMachine, "SYSTEM\\CurrentControlSet\\Enum");
  KeyPtr classes = MakeKey(kMachine, "SYSTEM\\CurrentControlSet\\Control\\Class");
  for (const StandardClass& c : kStandardClasses) {
    bool created = false;
    KeyPtr key = CreatePath(classes, {c.guid}, &created);
    WriteText(key, "", c.description);
    WriteText(key, "Class", c.name);
  }
  MakeKey(1, "Software\\Microsoft\\Windows\\CurrentVersion\\Run");
  MakeKey(3, ".DEFAULT\\Software");
  MakeKey(0, "CLSID");
}

}  // namespace

void LoadRegistry(const Json& state) {
  Changed();
  for (std::size_t i = 0; i < 4; ++i) {
    theRoots[i].reset();
    Root(i);
  }
  if (const Json* registry = Member(state, "registry")) {
    const Where where("registry");
    ExpectObject(*registry, where);
    for (std::size_t i = 0; i < 4; ++i) {
      if (const Json* root = Member(*registry, kRootNames[i])) {
        Load(Root(i), *root, Where(where, kRootNames[i]), 0);
      }
    }
    return;
  }
  LoadBaseline();
}

struct RegistryImage {
  KeyPtr roots[4];
};

namespace {

KeyPtr CopyKey(const RegKey& key) {
  auto copy = std::make_shared<RegKey>(key);
  for (KeyPtr& child : copy->children) child = CopyKey(*child);
  return copy;
}

}  // namespace

std::shared_ptr<const RegistryImage> CaptureRegistry() {
  auto image = std::make_shared<RegistryImage>();
  for (std::size_t i = 0; i < 4; ++i) image->roots[i] = CopyKey(*Root(i));
  return image;
}

void RestoreRegistry(const RegistryImage& image) {
  if (theUnchangedCopyOf == &image) return;
  for (std::size_t i = 0; i < 4; ++i) theRoots[i] = CopyKey(*image.roots[i]);
  theUnchangedCopyOf = &image;
}

void SaveRegistry(Json& state) {
  Json registry = Json::object();
  for (std::size_t i = 0; i < 4; ++i) registry[kRootNames[i]] = Save(Root(i));
  state["registry"] = registry;
}

bool RegWriteString(HKEY root, const std::string& path, const std::string& name,
                    const std::string& value, DWORD type) {
  KeyPtr key = PathKey(root, path, true);
  if (!key) return false;
  SetValue(key, name, type, reinterpret_cast<const BYTE*>(value.c_str()), value.size() + 1);
  return true;
}

std::optional<DWORD> RegReadDword(HKEY root, const std::string& path, const std::string& name) {
  KeyPtr key = PathKey(root, path, false);
  const RegValue* value = key ? FindValue(key, name.c_str()) : nullptr;
  if (!value || value->type != plat::REG_DWORD || value->data.size() != 4) return std::nullopt;
  return static_cast<DWORD>(value->data[0] | value->data[1] << 8 | value->data[2] << 16 |
                            static_cast<DWORD>(value->data[3]) << 24);
}

std::optional<std::string> RegReadString(HKEY root, const std::string& path,
                                         const std::string& name) {
  KeyPtr key = PathKey(root, path, false);
  const RegValue* value = key ? FindValue(key, name.c_str()) : nullptr;
  if (!value || (value->type != plat::REG_SZ && value->type != plat::REG_EXPAND_SZ)) {
    return std::nullopt;
  }
  std::string text(value->data.begin(), value->data.end());
  std::size_t end = text.find('\0');
  if (end != std::string::npos) text.resize(end);
  return text;
}

std::optional<std::string> RegKeyName(HKEY root, const std::string& path) {
  KeyPtr key = PathKey(root, path, false);
  if (!key) return std::nullopt;
  return key->name;
}

std::vector<std::string> RegSubkeyNames(HKEY root, const std::string& path) {
  std::vector<std::string> names;
  if (KeyPtr key = PathKey(root, path, false)) {
    for (const KeyPtr& child : key->children) names.push_back(child->name);
  }
  return names;
}

bool RegWriteDword(HKEY root, const std::string& path, const std::string& name, DWORD value) {
  KeyPtr key = PathKey(root, path, true);
  if (!key) return false;
  SetValue(key, name, plat::REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
  return true;
}

bool RegDeleteTree(HKEY root, const std::string& path) {
  std::size_t cut = path.find_last_of('\\');
  KeyPtr parent = PathKey(root, cut == std::string::npos ? "" : path.substr(0, cut), false);
  if (!parent) return false;
  KeyPtr key = Child(parent, cut == std::string::npos ? path : path.substr(cut + 1));
  if (!key) return false;
  Unlink(parent, key);
  return true;
}

// ---- Direct access for the other parts of the machine (no handles, no faults) ----

bool RegWriteValue(HKEY root, const std::string& path, const std::string& name, DWORD type,
                   const void* data, std::size_t size) {
  KeyPtr key = PathKey(root, path, true);
  if (!key) return false;
  SetValue(key, name, type, static_cast<const BYTE*>(data), size);
  return true;
}

bool RegReadValue(HKEY root, const std::string& path, const std::string& name, DWORD* type,
                  std::vector<BYTE>* data) {
  KeyPtr key = PathKey(root, path, false);
  if (!key) return false;
  const RegValue* value = FindValue(key, name.c_str());
  if (!value) return false;
  if (type) *type = value->type;
  if (data) *data = value->data;
  return true;
}

bool RegRemoveValue(HKEY root, const std::string& path, const std::string& name) {
  KeyPtr key = PathKey(root, path, false);
  if (!key) return false;
  auto& values = key->values;
  auto it = std::find_if(values.begin(), values.end(),
                         [&](const RegValue& v) { return EqualNoCase(v.name, name); });
  if (it == values.end()) return false;
  Changed();
  values.erase(it);
  return true;
}

bool RegKeyPresent(HKEY root, const std::string& path) {
  return PathKey(root, path, false) != nullptr;
}

std::vector<std::string> RegSubkeys(HKEY root, const std::string& path) {
  std::vector<std::string> names;
  if (KeyPtr key = PathKey(root, path, false)) {
    for (const KeyPtr& child : key->children) names.push_back(child->name);
  }
  return names;
}

void RegPruneEmpty(HKEY root, std::string path, const std::string& stop) {
  while (path.size() > stop.size() && !EqualNoCase(path, stop)) {
    KeyPtr key = PathKey(root, path, false);
    if (!key || !key->children.empty() || !key->values.empty()) return;
    if (!RegDeleteTree(root, path)) return;
    std::size_t cut = path.find_last_of('\\');
    if (cut == std::string::npos) return;
    path.erase(cut);
  }
}

}  // namespace sim::detail

namespace sim {

std::optional<bool> KeyOpenToEveryone(plat::HKEY root, const std::string& path) {
  detail::KeyPtr key = detail::PathKey(root, path, false);
  if (!key) return std::nullopt;
  return key->openToEveryone;
}

// ---- Registry contents for host tools -----------------------------------------

namespace {

sim::RegistryKey Copy(const detail::KeyPtr& key) {
  sim::RegistryKey out;
  out.name = key->name;
  for (const detail::RegValue& value : key->values) {
    out.values.push_back({value.name, value.type, value.data});
  }
  for (const detail::KeyPtr& child : key->children) out.keys.push_back(Copy(child));
  return out;
}

// The key a host tool names, created when asked; none for a bad root or path.
detail::KeyPtr ToolKey(plat::HKEY root, const std::string& path, bool create) {
  int index = detail::RootIndex(root);
  if (index < 0) return nullptr;
  std::vector<std::string> parts;
  plat::LONG status = 0;
  if (!detail::SplitPath(path.c_str(), &parts, &status)) return nullptr;
  detail::KeyPtr base = detail::Root(static_cast<std::size_t>(index));
  if (!create) return detail::Walk(base, parts);
  if (parts.size() > static_cast<std::size_t>(detail::kMaxDepth)) return nullptr;
  bool created = false;
  return detail::CreatePath(base, parts, &created);
}

}  // namespace

std::optional<RegistryKey> ReadRegistryKey(plat::HKEY root, const std::string& path) {
  detail::KeyPtr key = ToolKey(root, path, false);
  if (!key) return std::nullopt;
  return Copy(key);
}

bool CreateRegistryKey(plat::HKEY root, const std::string& path) {
  return ToolKey(root, path, true) != nullptr;
}

bool SetRegistryValue(plat::HKEY root, const std::string& path, const RegistryValue& value) {
  detail::KeyPtr key = ToolKey(root, path, true);
  if (!key) return false;
  static const plat::BYTE kEmpty = 0;
  detail::SetValue(key, value.name, value.type, value.data.empty() ? &kEmpty : value.data.data(),
                   value.data.size());
  return true;
}

bool DeleteRegistryKey(plat::HKEY root, const std::string& path) {
  if (detail::RootIndex(root) < 0) return false;
  if (path.find_first_not_of('\\') == std::string::npos) return false;  // a root
  if (!ToolKey(root, path, false)) return true;
  return detail::RegDeleteTree(root, path);
}

bool DeleteRegistryValue(plat::HKEY root, const std::string& path, const std::string& name) {
  detail::KeyPtr key = ToolKey(root, path, false);
  if (!key) return true;
  detail::RegValue* value = detail::FindValue(key, name.c_str());
  if (value) {
    detail::Changed();
    key->values.erase(key->values.begin() + (value - key->values.data()));
  }
  return true;
}

// ---- Key security and key paths for host tools ----------------------------------

bool SetKeyAccess(plat::HKEY root, const std::string& path, std::optional<plat::REGSAM> rights) {
  detail::KeyPtr key = ToolKey(root, path, true);
  if (!key) return false;
  detail::Changed();
  key->rights = rights;
  if (rights) key->openToEveryone = false;
  return true;
}

std::optional<plat::REGSAM> KeyRights(plat::HKEY root, const std::string& path) {
  detail::KeyPtr key = ToolKey(root, path, false);
  return key ? key->rights : std::nullopt;
}

const std::vector<std::string>& RegistryRootNames() {
  static const std::vector<std::string> names(std::begin(detail::kRootNames),
                                              std::end(detail::kRootNames));
  return names;
}

std::optional<plat::HKEY> RegistryRoot(std::string_view name) {
  static const char* const kShort[] = {"HKCR", "HKCU", "HKLM", "HKU"};
  for (std::size_t i = 0; i < 4; ++i) {
    if (detail::EqualNoCase(name, detail::kRootNames[i]) || detail::EqualNoCase(name, kShort[i])) {
      return reinterpret_cast<plat::HKEY>(static_cast<std::uintptr_t>(0x80000000u + i));
    }
  }
  return std::nullopt;
}

bool SplitKeyPath(std::string_view fullPath, plat::HKEY* root, std::string* path) {
  std::size_t cut = fullPath.find('\\');
  std::optional<plat::HKEY> found = RegistryRoot(fullPath.substr(0, cut));
  if (!found) return false;
  *root = *found;
  *path = cut == std::string_view::npos ? std::string() : std::string(fullPath.substr(cut + 1));
  while (!path->empty() && path->back() == '\\') path->pop_back();
  return true;
}

}  // namespace sim

namespace plat {

using namespace sim::detail;
using sim::Op;

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD, REGSAM access, HKEY* result) {
  if (result) *result = nullptr;
  DWORD code = 0;
  if (Inject(Op::RegOpenKey, &code)) return static_cast<LONG>(code);
  if (result == nullptr) return static_cast<LONG>(ERROR_INVALID_PARAMETER);
  REGSAM baseAccess = 0;
  Target t;
  if (LONG status = Locate(key, subKey, &baseAccess, &t)) return status;
  KeyPtr target = Walk(t.base, t.parts);
  if (!target) return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  std::optional<REGSAM> granted = AccessCheck(target, access);
  if (!granted) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  auto handle = std::make_unique<KeyHandle>();
  handle->key = target;
  handle->access = *granted;
  handle->root = t.root;
  handle->logical = std::move(t.logical);
  *result = AddHandle(std::move(handle));
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegOpenKeyA(HKEY key, LPCSTR subKey, HKEY* result) {
  if (RootIndex(key) >= 0 && (subKey == nullptr || *subKey == '\0') && result) {
    DWORD code = 0;
    if (Inject(Op::RegOpenKey, &code)) return static_cast<LONG>(code);
    *result = key;
    return static_cast<LONG>(ERROR_SUCCESS);
  }
  return RegOpenKeyExA(key, subKey, 0, kMaximumAllowed, result);
}

LONG RegCreateKeyExA(HKEY key, LPCSTR subKey, DWORD, LPSTR, DWORD, REGSAM access,
                     SECURITY_ATTRIBUTES*, HKEY* result, DWORD* disposition) {
  if (result) *result = nullptr;
  DWORD code = 0;
  if (Inject(Op::RegCreateKey, &code)) return static_cast<LONG>(code);
  if (result == nullptr || subKey == nullptr) return static_cast<LONG>(ERROR_INVALID_PARAMETER);
  REGSAM baseAccess = 0;
  Target t;
  if (LONG status = Locate(key, subKey, &baseAccess, &t)) return status;
  const KeyPtr& base = t.base;
  const std::vector<std::string>& parts = t.parts;
  if (base->depth + static_cast<int>(parts.size()) > kMaxDepth) {
    return static_cast<LONG>(ERROR_INVALID_PARAMETER);
  }
  // Only the key itself and, for a new key, the parent it is created in are
  // checked: the keys on the way are not (no traverse checking).
  KeyPtr existing = base;
  std::size_t found = 0;
  for (; found < parts.size(); ++found) {
    KeyPtr next = Child(existing, parts[found]);
    if (!next) break;
    existing = next;
  }
  if (found == parts.size()) {
    if (!AccessCheck(existing, access)) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  } else if (!(Granted(existing) & KEY_CREATE_SUB_KEY)) {
    return static_cast<LONG>(ERROR_ACCESS_DENIED);
  }
  bool created = false;
  KeyPtr target = CreatePath(base, parts, &created);
  auto handle = std::make_unique<KeyHandle>();
  handle->key = target;
  handle->access = *AccessCheck(target, access);
  handle->root = t.root;
  handle->logical = std::move(t.logical);
  *result = AddHandle(std::move(handle));
  if (disposition) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegCloseKey(HKEY key) {
  if (RootIndex(key) >= 0) return static_cast<LONG>(ERROR_SUCCESS);
  if (!Find<KeyHandle>(key)) return static_cast<LONG>(ERROR_INVALID_HANDLE);
  RemoveHandle(key);
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegSetValueExA(HKEY key, LPCSTR valueName, DWORD, DWORD type, const BYTE* data, DWORD size) {
  DWORD code = 0;
  if (Inject(Op::RegSetValue, &code)) return static_cast<LONG>(code);
  REGSAM access = 0;
  LONG status = 0;
  KeyPtr target = Base(key, &access, &status);
  if (!target) return status;
  if (!(access & KEY_SET_VALUE)) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  if (data == nullptr && size > 0) return static_cast<LONG>(kErrorNoAccess);
  static const BYTE kEmpty = 0;
  SetValue(target, valueName ? valueName : "", type, data ? data : &kEmpty, size);
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegQueryValueExA(HKEY key, LPCSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) {
  DWORD code = 0;
  if (Inject(Op::RegQueryValue, &code)) return static_cast<LONG>(code);
  REGSAM access = 0;
  LONG status = 0;
  KeyPtr target = Base(key, &access, &status);
  if (!target) return status;
  if (!(access & KEY_QUERY_VALUE)) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  if (reserved != nullptr || (data != nullptr && size == nullptr)) {
    return static_cast<LONG>(ERROR_INVALID_PARAMETER);
  }
  const RegValue* value = FindValue(target, valueName);
  if (!value) return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  if (type) *type = value->type;
  auto needed = static_cast<DWORD>(value->data.size());
  if (data == nullptr) {
    if (size) *size = needed;
    return static_cast<LONG>(ERROR_SUCCESS);
  }
  if (*size < needed) {
    *size = needed;
    return static_cast<LONG>(ERROR_MORE_DATA);
  }
  if (needed > 0) std::memcpy(data, value->data.data(), needed);
  *size = needed;
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD*, LPSTR className,
                   DWORD* classSize, FILETIME* lastWrite) {
  DWORD code = 0;
  if (Inject(Op::RegEnumKey, &code)) return static_cast<LONG>(code);
  REGSAM access = 0;
  LONG status = 0;
  KeyPtr target = Base(key, &access, &status);
  if (!target) return status;
  if (!(access & KEY_ENUMERATE_SUB_KEYS)) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  if (name == nullptr || nameSize == nullptr) return static_cast<LONG>(ERROR_INVALID_PARAMETER);
  // The 32-bit view lists the subkeys as it shows them.
  std::vector<std::string> viewed;
  bool inView = false;
  if (Wow64View()) {
    int root = RootIndex(key);
    const std::vector<std::string>* logical = nullptr;
    static const std::vector<std::string> kNone;
    if (root >= 0) {
      logical = &kNone;
    } else if (auto* h = Find<KeyHandle>(key); h->root >= 0) {
      root = h->root;
      logical = &h->logical;
    }
    if (logical) {
      viewed = ViewSubkeys(root, *logical);
      inView = true;
    }
  }
  if (index >= (inView ? viewed.size() : target->children.size())) {
    return static_cast<LONG>(ERROR_NO_MORE_ITEMS);
  }
  const std::string& child = inView ? viewed[index] : target->children[index]->name;
  if (child.size() + 1 > *nameSize) return static_cast<LONG>(ERROR_MORE_DATA);
  std::memcpy(name, child.c_str(), child.size() + 1);
  *nameSize = static_cast<DWORD>(child.size());
  if (className && classSize && *classSize > 0) className[0] = '\0';
  if (classSize) *classSize = 0;
  if (lastWrite) *lastWrite = FILETIME{0, 0};
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegEnumKeyA(HKEY key, DWORD index, LPSTR name, DWORD nameSize) {
  DWORD size = nameSize;
  return RegEnumKeyExA(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
}

namespace {

// Finds the key a delete call names; an empty path names the handle's own key.
LONG DeleteTarget(HKEY key, LPCSTR subKey, KeyPtr* parent, KeyPtr* target) {
  REGSAM access = 0;
  Target t;
  if (subKey == nullptr) {
    LONG status = 0;
    return Base(key, &access, &status) ? static_cast<LONG>(ERROR_INVALID_PARAMETER) : status;
  }
  if (LONG status = Locate(key, subKey, &access, &t)) return status;
  const KeyPtr& base = t.base;
  std::vector<std::string>& parts = t.parts;
  if (t.given == 0) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  std::string last = parts.back();
  parts.pop_back();
  *parent = Walk(base, parts);
  *target = *parent ? Child(*parent, last) : nullptr;
  if (!*target) return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  return static_cast<LONG>(ERROR_SUCCESS);
}

// Deletes the children first, then the key, as far as the rights allow: a key
// that refuses enumeration or deletion stays, and so do the keys above it.
bool DeleteSubtree(const KeyPtr& parent, const KeyPtr& key) {
  if ((Granted(key) & kDeleteRights) != kDeleteRights) return false;
  bool all = true;
  std::vector<KeyPtr> children = key->children;
  for (const KeyPtr& child : children) all = DeleteSubtree(key, child) && all;
  if (!all) return false;
  Unlink(parent, key);
  return true;
}

}  // namespace

LONG RegDeleteKeyA(HKEY key, LPCSTR subKey) {
  DWORD code = 0;
  if (Inject(Op::RegDeleteKey, &code)) return static_cast<LONG>(code);
  KeyPtr parent, target;
  LONG status = DeleteTarget(key, subKey, &parent, &target);
  if (status != 0) return status;
  if (!(Granted(target) & DELETE) || !target->children.empty()) {
    return static_cast<LONG>(ERROR_ACCESS_DENIED);
  }
  Unlink(parent, target);
  return static_cast<LONG>(ERROR_SUCCESS);
}

LONG RegDeleteValueA(HKEY key, LPCSTR valueName) {
  DWORD code = 0;
  if (Inject(Op::RegDeleteValue, &code)) return static_cast<LONG>(code);
  REGSAM access = 0;
  LONG status = 0;
  KeyPtr target = Base(key, &access, &status);
  if (!target) return status;
  if (!(access & KEY_SET_VALUE)) return static_cast<LONG>(ERROR_ACCESS_DENIED);
  RegValue* value = FindValue(target, valueName);
  if (!value) return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  Changed();
  target->values.erase(target->values.begin() + (value - target->values.data()));
  return static_cast<LONG>(ERROR_SUCCESS);
}

DWORD SHDeleteKeyA(HKEY key, LPCSTR subKey) {
  DWORD code = 0;
  if (Inject(Op::SHDeleteKey, &code)) return code;
  KeyPtr parent, target;
  LONG status = DeleteTarget(key, subKey, &parent, &target);
  if (status != 0) return static_cast<DWORD>(status);
  if ((Granted(target) & kDeleteRights) != kDeleteRights) return ERROR_ACCESS_DENIED;
  return DeleteSubtree(parent, target) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

LONG RegSetKeySecurity(HKEY key, DWORD information, PSECURITY_DESCRIPTOR descriptor) {
  DWORD code = 0;
  if (Inject(Op::RegSetKeySecurity, &code)) return static_cast<LONG>(code);
  REGSAM access = 0;
  LONG status = 0;
  KeyPtr target = Base(key, &access, &status);
  if (!target) return status;
  if (descriptor == nullptr) return static_cast<LONG>(ERROR_INVALID_PARAMETER);
  SecurityDescriptor sd;
  std::memcpy(&sd, descriptor, sizeof sd);
  if (sd.revision != SECURITY_DESCRIPTOR_REVISION) {
    return static_cast<LONG>(kErrorInvalidSecurityDescr);
  }
  if (information & DACL_SECURITY_INFORMATION) {
    if (!(access & WRITE_DAC)) return static_cast<LONG>(ERROR_ACCESS_DENIED);
    Changed();
    target->openToEveryone = (sd.control & kDaclPresent) && sd.dacl == nullptr;
    if (target->openToEveryone) target->rights.reset();
  }
  return static_cast<LONG>(ERROR_SUCCESS);
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  if (InjectFault(Op::InitializeSecurityDescriptor)) return FALSE;
  if (descriptor == nullptr) return Fail(kErrorNoAccess, FALSE);
  if (revision != SECURITY_DESCRIPTOR_REVISION) return Fail(kErrorUnknownRevision, FALSE);
  SecurityDescriptor sd{};
  sd.revision = static_cast<BYTE>(revision);
  std::memcpy(descriptor, &sd, sizeof sd);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL daclPresent, void* dacl,
                               BOOL daclDefaulted) {
  if (InjectFault(Op::SetSecurityDescriptorDacl)) return FALSE;
  if (descriptor == nullptr) return Fail(kErrorNoAccess, FALSE);
  SecurityDescriptor sd;
  std::memcpy(&sd, descriptor, sizeof sd);
  if (sd.revision != SECURITY_DESCRIPTOR_REVISION) return Fail(kErrorInvalidSecurityDescr, FALSE);
  sd.control = static_cast<WORD>(sd.control & ~(kDaclPresent | kDaclDefaulted));
  if (daclPresent) {
    sd.control |= kDaclPresent;
    if (daclDefaulted) sd.control |= kDaclDefaulted;
    sd.dacl = dacl;
  } else {
    sd.dacl = nullptr;
  }
  std::memcpy(descriptor, &sd, sizeof sd);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

}  // namespace plat
