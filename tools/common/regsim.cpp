// Registry export files against the simulated machine's registry.
#include "regsim.h"

#include <algorithm>

#include "platform/sim/machine.h"
#include "platform/winapi.h"

namespace regsim {

namespace {

plat::HKEY Handle(regfile::Root root) {
  switch (root) {
    case regfile::Root::ClassesRoot:
      return plat::HKEY_CLASSES_ROOT;
    case regfile::Root::CurrentUser:
      return plat::HKEY_CURRENT_USER;
    case regfile::Root::LocalMachine:
      return plat::HKEY_LOCAL_MACHINE;
    case regfile::Root::Users:
      return plat::HKEY_USERS;
  }
  return plat::HKEY_LOCAL_MACHINE;
}

std::string Join(const std::vector<std::string>& path) {
  std::string out;
  for (const std::string& part : path) out += (out.empty() ? "" : "\\") + part;
  return out;
}

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

std::string KeyOrderName(std::string name) {
  for (char& c : name) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return name;
}

namespace {

// Depth first: the key, its values by name (the default value sorts first as
// the empty name), then its subkeys in the registry's order.
void Flatten(const sim::RegistryKey& key, regfile::Root root, std::vector<std::string>& path,
             regfile::File* file) {
  regfile::Key out;
  out.root = root;
  out.path = path;
  for (const sim::RegistryValue& value : key.values) {
    regfile::Value v;
    v.name = value.name;
    v.type = value.type;
    v.data.assign(value.data.begin(), value.data.end());
    out.values.push_back(std::move(v));
  }
  std::stable_sort(out.values.begin(), out.values.end(),
                   [](const regfile::Value& a, const regfile::Value& b) {
                     return Lower(a.name) < Lower(b.name);
                   });
  file->keys.push_back(std::move(out));
  std::vector<const sim::RegistryKey*> children;
  for (const sim::RegistryKey& child : key.keys) children.push_back(&child);
  std::stable_sort(children.begin(), children.end(),
                   [](const sim::RegistryKey* a, const sim::RegistryKey* b) {
                     return KeyOrderName(a->name) < KeyOrderName(b->name);
                   });
  for (const sim::RegistryKey* child : children) {
    path.push_back(child->name);
    Flatten(*child, root, path, file);
    path.pop_back();
  }
}

}  // namespace

bool Import(const regfile::File& file, std::string* error) {
  for (const regfile::Key& key : file.keys) {
    const plat::HKEY root = Handle(key.root);
    const std::string path = Join(key.path);
    auto refuse = [&](const std::string& what) {
      *error = "line " + std::to_string(key.line) + ": the machine refuses " + what + " '" +
               regfile::Ansi8ToUtf8(regfile::KeyPath(key.root, key.path)) + "'";
      return false;
    };
    if (key.remove) {
      if (!sim::DeleteRegistryKey(root, path)) return refuse("to delete the key");
      continue;
    }
    if (!sim::CreateRegistryKey(root, path)) return refuse("the key");
    for (const regfile::Value& value : key.values) {
      bool done = value.remove
                      ? sim::DeleteRegistryValue(root, path, value.name)
                      : sim::SetRegistryValue(root, path, {value.name, value.type, value.data});
      if (!done) return refuse("a value of the key");
    }
  }
  return true;
}

std::optional<regfile::File> Export(regfile::Root root, const std::string& path) {
  std::optional<sim::RegistryKey> top = sim::ReadRegistryKey(Handle(root), "");
  if (!top) return std::nullopt;
  // Walk down to the key, spelling the path as the machine does.
  const sim::RegistryKey* key = &*top;
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start < path.size()) {
    std::size_t cut = path.find('\\', start);
    if (cut == std::string::npos) cut = path.size();
    if (cut > start) {
      const std::string wanted = Lower(path.substr(start, cut - start));
      auto it = std::find_if(key->keys.begin(), key->keys.end(),
                             [&](const sim::RegistryKey& k) { return Lower(k.name) == wanted; });
      if (it == key->keys.end()) return std::nullopt;
      key = &*it;
      parts.push_back(key->name);
    }
    start = cut + 1;
  }
  regfile::File file;
  Flatten(*key, root, parts, &file);
  return file;
}

std::optional<regfile::File> Export() {
  regfile::File file;
  for (regfile::Root root : {regfile::Root::ClassesRoot, regfile::Root::CurrentUser,
                             regfile::Root::LocalMachine, regfile::Root::Users}) {
    std::optional<regfile::File> part = Export(root, "");
    if (!part) continue;
    for (regfile::Key& key : part->keys) file.keys.push_back(std::move(key));
  }
  return file;
}

std::optional<std::pair<regfile::Root, std::string>> ParseKeyName(const std::string& text) {
  regfile::ReadError error;
  std::optional<regfile::File> file =
      regfile::Read("Windows Registry Editor Version 5.00\n[" + text + "]\n", &error);
  if (!file || file->keys.size() != 1) return std::nullopt;
  return std::make_pair(file->keys[0].root, Join(file->keys[0].path));
}

}  // namespace regsim
