// Registry export files (".reg"), as the Windows registry editor reads and
// writes them.
//
// The reader takes "Windows Registry Editor Version 5.00" files in UTF-16LE
// (with a byte-order mark) or UTF-8, and the older "REGEDIT4" form in 8-bit
// text. The writer produces the 5.00 form in UTF-16LE with a byte-order mark
// and CR LF line ends.
//
// Names and data are held the way the simulated machine holds them: 8-bit
// text in Windows-1252 (the "A" view of the registry). String-typed data
// (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ) is converted between that form and the
// UTF-16LE bytes that 5.00 files carry; other types are raw bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace regfile {

// Registry value types (winnt.h numbering).
constexpr std::uint32_t kRegNone = 0;
constexpr std::uint32_t kRegSz = 1;
constexpr std::uint32_t kRegExpandSz = 2;
constexpr std::uint32_t kRegBinary = 3;
constexpr std::uint32_t kRegDword = 4;
constexpr std::uint32_t kRegMultiSz = 7;

// Windows' limits on names: 255 characters per key name, 512 levels of keys
// below a root, 16383 characters per value name.
constexpr std::size_t kMaxKeyNameLength = 255;
constexpr std::size_t kMaxKeyDepth = 512;
constexpr std::size_t kMaxValueNameLength = 16383;

// The predefined roots the files name.
enum class Root { ClassesRoot, CurrentUser, LocalMachine, Users };
// "HKEY_LOCAL_MACHINE" for Root::LocalMachine.
const char* RootName(Root root);

struct Value {
  std::string name;  // empty for the default value ("@")
  std::uint32_t type = kRegNone;
  std::vector<std::uint8_t> data;
  bool remove = false;  // "name"=- : delete the value
  int line = 0;         // line of the value in the file it was read from
};

struct Key {
  Root root = Root::LocalMachine;
  std::vector<std::string> path;  // components below the root
  bool remove = false;            // [-KEY] : delete the key and everything below it
  std::vector<Value> values;      // in file order
  int line = 0;
};

// The contents of one file, in file order.
struct File {
  std::vector<Key> keys;
};

// "HKEY_LOCAL_MACHINE\SOFTWARE\Acme" for a key.
std::string KeyPath(Root root, const std::vector<std::string>& path);

// ---- Reading ------------------------------------------------------------------

struct ReadError {
  int line = 0;  // 0 when the problem concerns the whole file
  std::string message;
};

// Parses a whole file. Answers the contents, or the first problem found; a
// file with a problem yields nothing, so a caller can apply all or nothing.
// Roots are also accepted as HKLM, HKCU, HKCR and HKU; HKEY_CURRENT_CONFIG
// names HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Hardware Profiles\Current,
// as on Windows.
[[nodiscard]] std::optional<File> Read(std::string_view bytes, ReadError* error);

// ---- Writing ------------------------------------------------------------------

// Line end and continuation used when formatting one value.
struct Layout {
  std::string lineEnd = "\r\n";         // after every line
  std::string continuation = "\r\n  ";  // after the "\" that ends a wrapped hex line
};

// One value as a .reg line in UTF-8: "name"="text", @=dword:00000001,
// "bin"=hex:01,02,... (wrapped below 80 columns), "gone"=- for a removal.
// Strings that would not survive a round trip as quoted text (no terminating
// NUL, embedded NULs or line breaks) are written as hex(1):.
std::string FormatValue(const Value& value, const Layout& layout = Layout{});
// "[HKEY_...\path]" or "[-HKEY_...\path]" in UTF-8.
std::string FormatKey(const Key& key);

// A whole file in UTF-16LE with a byte-order mark: the header, then every key
// in the order given with its values, each key followed by an empty line.
std::string Write(const File& file);

// ---- Text conversions -------------------------------------------------------------

// 8-bit Windows-1252 text to UTF-8 (every byte has a character).
std::string Ansi8ToUtf8(std::string_view text);

}  // namespace regfile
