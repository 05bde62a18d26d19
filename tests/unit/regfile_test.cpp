// Registry export files: round trips through the writer and the reader, the
// three input encodings, the writer's layout, and errors for damaged input.
#include "common/regfile.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using regfile::File;
using regfile::Key;
using regfile::Root;
using regfile::Value;

std::vector<std::uint8_t> Bytes(std::string_view text) {
  return {text.begin(), text.end()};
}

// UTF-8 text (ASCII and Latin-1 characters only) as UTF-16LE with a BOM.
std::string Utf16(std::string_view utf8) {
  std::string out = "\xFF\xFE";
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    auto c = static_cast<std::uint8_t>(utf8[i]);
    unsigned unit = c;
    if ((c & 0xE0) == 0xC0)
      unit = (c & 0x1Fu) << 6 | (static_cast<std::uint8_t>(utf8[++i]) & 0x3Fu);
    out += static_cast<char>(unit & 0xFF);
    out += static_cast<char>(unit >> 8);
  }
  return out;
}

File MustRead(std::string_view bytes) {
  regfile::ReadError error;
  std::optional<File> file = regfile::Read(bytes, &error);
  EXPECT_TRUE(file) << "line " << error.line << ": " << error.message;
  return file.value_or(File{});
}

Value Make(std::string name, std::uint32_t type, std::vector<std::uint8_t> data) {
  Value v;
  v.name = std::move(name);
  v.type = type;
  v.data = std::move(data);
  return v;
}

// ---- Round trips ---------------------------------------------------------------------

TEST(RegFile, EveryValueTypeSurvivesARoundTrip) {
  std::vector<std::uint8_t> binary;
  for (int i = 0; i < 300; ++i) binary.push_back(static_cast<std::uint8_t>(i * 7));
  Key key;
  key.root = Root::LocalMachine;
  key.path = {"SOFTWARE", "Acme \xE9t\xE9 \x80 [1]", "x]y"};
  key.values = {
      Make("", regfile::kRegSz, Bytes(std::string("default\0", 8))),
      Make("plain", regfile::kRegSz, Bytes(std::string("C:\\Program Files\\\"q\"\0", 22))),
      Make("high \xE9\x80\x81\x9F\xFF", regfile::kRegSz,
           Bytes(std::string("\xE9\x80\x81\xFF\0", 5))),
      Make("quote\" back\\slash @", regfile::kRegSz, Bytes(std::string("\0", 1))),
      Make("no terminator", regfile::kRegSz, Bytes("abc")),
      Make("inner nul", regfile::kRegSz, Bytes(std::string("a\0b\0", 4))),
      Make("lines", regfile::kRegSz, Bytes(std::string("one\r\ntwo\0", 9))),
      Make("empty sz", regfile::kRegSz, {}),
      Make("expand", regfile::kRegExpandSz, Bytes(std::string("%SystemRoot%\\x\xE9\0", 16))),
      Make("multi", regfile::kRegMultiSz, Bytes(std::string("a\0b\xFC\0\0", 6))),
      Make("binary", regfile::kRegBinary, binary),
      Make("empty binary", regfile::kRegBinary, {}),
      Make("dword", regfile::kRegDword, {0x78, 0x56, 0x34, 0x12}),
      Make("short dword", regfile::kRegDword, {1, 2, 3}),
      Make("none", regfile::kRegNone, {0xAB}),
      Make("qword", 0xB, {1, 2, 3, 4, 5, 6, 7, 8}),
      Make("big type", 0x12345678, {9}),
      Make("line\nbreak", regfile::kRegSz, Bytes(std::string("x\0", 2))),
  };
  Key removed;
  removed.root = Root::CurrentUser;
  removed.path = {"Software", "Old"};
  removed.remove = true;
  Key root;
  root.root = Root::ClassesRoot;
  File file;
  file.keys = {root, key, removed};

  const std::string written = regfile::Write(file);
  ASSERT_GE(written.size(), 4u);
  EXPECT_EQ(written.substr(0, 4), std::string("\xFF\xFEW\0", 4));

  File back = MustRead(written);
  ASSERT_EQ(back.keys.size(), 3u);
  EXPECT_EQ(back.keys[0].root, Root::ClassesRoot);
  EXPECT_TRUE(back.keys[0].path.empty());
  EXPECT_EQ(back.keys[1].path, key.path);
  EXPECT_TRUE(back.keys[2].remove);
  EXPECT_EQ(back.keys[2].path, removed.path);
  ASSERT_EQ(back.keys[1].values.size(), key.values.size());
  for (std::size_t i = 0; i < key.values.size(); ++i) {
    const Value& want = key.values[i];
    const Value& got = back.keys[1].values[i];
    EXPECT_EQ(got.name, want.name) << i;
    EXPECT_EQ(got.type, want.type) << want.name;
    EXPECT_EQ(got.data, want.data) << want.name;
    EXPECT_FALSE(got.remove);
  }
}

TEST(RegFile, WriterUsesTheEditorsNotation) {
  regfile::Layout lf{"\n", "\n  "};
  EXPECT_EQ(regfile::FormatValue(Make("", regfile::kRegSz, Bytes(std::string("a\\\"b\0", 5))), lf),
            "@=\"a\\\\\\\"b\"");
  EXPECT_EQ(regfile::FormatValue(Make("D", regfile::kRegDword, {0x0A, 0, 0, 0x80}), lf),
            "\"D\"=dword:8000000a");
  EXPECT_EQ(
      regfile::FormatValue(Make("E", regfile::kRegExpandSz, Bytes(std::string("%\xE9\0", 3))), lf),
      "\"E\"=hex(2):25,00,e9,00,00,00");
  EXPECT_EQ(regfile::FormatValue(Make("S", regfile::kRegSz, Bytes("ab")), lf),
            "\"S\"=hex(1):61,00,62,00");
  Value gone = Make("\xE9", regfile::kRegSz, {});
  gone.remove = true;
  EXPECT_EQ(regfile::FormatValue(gone, lf), "\"\xC3\xA9\"=-");

  // Hex lines wrap below 80 columns; continuation lines hold 25 bytes.
  std::vector<std::uint8_t> data(60, 0xAB);
  std::string text = regfile::FormatValue(Make("Data", regfile::kRegBinary, data), lf);
  std::string first = "\"Data\"=hex:";
  for (int i = 0; i < 22; ++i) first += "ab,";
  std::string second = "  ";
  for (int i = 0; i < 25; ++i) second += "ab,";
  std::string third = "  ";
  for (int i = 0; i < 13; ++i) third += i ? ",ab" : "ab";
  EXPECT_EQ(text, first + "\\\n" + second + "\\\n" + third);

  Key key;
  key.root = Root::Users;
  key.path = {".DEFAULT", "\xC4"};
  EXPECT_EQ(regfile::FormatKey(key), "[HKEY_USERS\\.DEFAULT\\\xC3\x84]");
  key.remove = true;
  EXPECT_EQ(regfile::FormatKey(key), "[-HKEY_USERS\\.DEFAULT\\\xC3\x84]");
}

// ---- Input forms -----------------------------------------------------------------------

TEST(RegFile, ReadsTheUnicodeFormWithEveryNotation) {
  const std::string text =
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "; a comment\r\n"
      "[HKLM\\SOFTWARE\\Caf\xC3\xA9]\r\n"
      "@=\"default\"\r\n"
      "\"Q\\\"uote\"=\"back\\\\slash\"\r\n"
      "  \"Spaced\" = dword:1F\r\n"
      "\"Expand\"=hex(2):25,00,e9,00,\\\r\n"
      "  00,00\r\n"
      "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
      "\"Bin\"=hex:01,02,\\\r\n"
      "\r\n"  // an empty line right after a continuation is an error below; not here
      ;
  // The text above ends inside a continuation: check it fails there, then
  // read the complete file.
  regfile::ReadError error;
  EXPECT_FALSE(regfile::Read(Utf16(text), &error));
  EXPECT_EQ(error.line, 12);

  const std::string good =
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "; a comment\r\n"
      "[HKLM\\SOFTWARE\\Caf\xC3\xA9]\r\n"
      "@=\"default\"\r\n"
      "\"Q\\\"uote\"=\"back\\\\slash\"\r\n"
      "  \"Spaced\" = dword:1F\r\n"
      "\"Expand\"=hex(2):25,00,e9,00,\\\r\n"
      "  00,00\r\n"
      "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
      "\"Bin\"=HEX:1,02 , ff\r\n"
      "\"Gone\"=-\r\n"
      "@=-\r\n"
      "[-HKEY_CURRENT_USER\\Software\\Old]\r\n"
      "[HKEY_CURRENT_CONFIG\\System]\r\n";
  File file = MustRead(Utf16(good));
  ASSERT_EQ(file.keys.size(), 3u);
  const Key& k = file.keys[0];
  EXPECT_EQ(k.root, Root::LocalMachine);
  EXPECT_EQ(k.path, (std::vector<std::string>{"SOFTWARE", "Caf\xE9"}));
  EXPECT_EQ(k.line, 4);
  ASSERT_EQ(k.values.size(), 8u);
  EXPECT_EQ(k.values[0].name, "");
  EXPECT_EQ(k.values[0].data, Bytes(std::string("default\0", 8)));
  EXPECT_EQ(k.values[1].name, "Q\"uote");
  EXPECT_EQ(k.values[1].data, Bytes(std::string("back\\slash\0", 11)));
  EXPECT_EQ(k.values[2].type, regfile::kRegDword);
  EXPECT_EQ(k.values[2].data, (std::vector<std::uint8_t>{0x1F, 0, 0, 0}));
  EXPECT_EQ(k.values[3].type, regfile::kRegExpandSz);
  EXPECT_EQ(k.values[3].data, Bytes(std::string("%\xE9\0", 3)));
  EXPECT_EQ(k.values[3].line, 8);
  EXPECT_EQ(k.values[4].data, Bytes(std::string("a\0b\0\0", 5)));
  EXPECT_EQ(k.values[5].type, regfile::kRegBinary);
  EXPECT_EQ(k.values[5].data, (std::vector<std::uint8_t>{1, 2, 0xFF}));
  EXPECT_TRUE(k.values[6].remove);
  EXPECT_TRUE(k.values[7].remove);
  EXPECT_EQ(k.values[7].name, "");
  EXPECT_TRUE(file.keys[1].remove);
  EXPECT_EQ(file.keys[1].root, Root::CurrentUser);
  EXPECT_EQ(file.keys[2].path,
            (std::vector<std::string>{"SYSTEM", "CurrentControlSet", "Hardware Profiles", "Current",
                                      "System"}));
}

TEST(RegFile, ReadsTheEightBitFormAndUtf8) {
  // REGEDIT4: Windows-1252 text, string data as 8-bit bytes.
  const std::string old =
      "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Caf\xE9]\n\"N\xE9\"=\"\x80\"\n"
      "\"E\"=hex(2):25,e9,00\n";
  File file = MustRead(old);
  ASSERT_EQ(file.keys.size(), 1u);
  EXPECT_EQ(file.keys[0].path[1], "Caf\xE9");
  ASSERT_EQ(file.keys[0].values.size(), 2u);
  EXPECT_EQ(file.keys[0].values[0].name, "N\xE9");
  EXPECT_EQ(file.keys[0].values[0].data, Bytes(std::string("\x80\0", 2)));
  EXPECT_EQ(file.keys[0].values[1].data, Bytes(std::string("%\xE9\0", 3)));

  // UTF-8, with and without a byte-order mark, CR-only line ends.
  const std::string utf8 =
      "Windows Registry Editor Version 5.00\r[HKCU\\\xE2\x82\xAC]\r\"x\"=\"\xC3\xBF\"\r";
  for (const std::string& bytes : {utf8, "\xEF\xBB\xBF" + utf8}) {
    File f = MustRead(bytes);
    ASSERT_EQ(f.keys.size(), 1u);
    EXPECT_EQ(f.keys[0].path, std::vector<std::string>{"\x80"});
    ASSERT_EQ(f.keys[0].values.size(), 1u);
    EXPECT_EQ(f.keys[0].values[0].data, Bytes(std::string("\xFF\0", 2)));
  }
}

// ---- Damaged input ---------------------------------------------------------------------

struct Damaged {
  const char* what;
  std::string bytes;
  int line;
  const char* message;  // a piece of the message
};

TEST(RegFile, DamagedInputNamesTheLineAndYieldsNothing) {
  const std::string h = "Windows Registry Editor Version 5.00\n";
  const std::string k = h + "[HKLM\\A]\n";
  const Damaged cases[] = {
      {"empty file", "", 1, "not a registry export"},
      {"other header", "Windows Registry Editor Version 4.00\n[HKLM\\A]\n", 1,
       "not a registry export"},
      {"unknown root", h + "\n[HKEY_LOCAL\\A]\n", 3, "unknown root key 'HKEY_LOCAL'"},
      {"no closing bracket", h + "[HKLM\\A\n", 2, "without a closing ']'"},
      {"text after bracket", h + "[HKLM\\A] x\n", 2, "text after the closing ']'"},
      {"empty name", h + "[HKLM\\A\\\\B]\n", 2, "empty key name"},
      {"delete a root", h + "[-HKEY_USERS]\n", 2, "root key cannot be deleted"},
      {"value first", h + "\"a\"=\"b\"\n", 2, "before the first key line"},
      {"value under deletion", h + "[-HKLM\\A]\n\"a\"=-\n", 3, "key that is being deleted"},
      {"stray text", k + "junk\n", 3, "expected a key line"},
      {"no equals", k + "\"a\" \"b\"\n", 3, "expected '='"},
      {"open quote", k + "\"abc\n", 3, "without its closing '\"'"},
      {"unknown escape", k + "\"a\"=\"\\q\"\n", 3, "unknown escape '\\q'"},
      {"after string", k + "\"a\"=\"b\" c\n", 3, "text after the closing"},
      {"unknown type", k + "\"a\"=qword:1\n", 3, "unknown value data"},
      {"long dword", k + "\"a\"=dword:123456789\n", 3, "1 to 8 hex digits"},
      {"empty dword", k + "\"a\"=dword:\n", 3, "1 to 8 hex digits"},
      {"bad hex", k + "\"a\"=hex:01,zz\n", 3, "bad hex byte at 'zz'"},
      {"three digits", k + "\"a\"=hex:123\n", 3, "bad hex byte at '123'"},
      {"letter after a digit", k + "\"a\"=hex:01,0g\n", 3, "bad hex byte at '0g'"},
      {"missing comma", k + "\"a\"=hex:01 02\n", 3, "expected ','"},
      {"bad type", k + "\"a\"=hex(g):01\n", 3, "hex(TYPE)"},
      {"continued to the end", k + "\"a\"=hex:01,\\\n", 3, "ends after a line continuation"},
      {"bad continuation line", k + "\"a\"=hex:01,\\\n  02,\\\n  x\n", 5, "bad hex byte"},
      {"odd string data", k + "\"a\"=hex(2):41,00,42\n", 3, "even number of bytes"},
      {"unmappable data", k + "\"a\"=hex(1):2d,4e,00,00\n", 3, "U+4E2D"},
      {"nul in a name", k + std::string("\"a\0\"=-\n", 7), 3, "U+0000"},
      {"key name too long", h + "[HKLM\\" + std::string(256, 'k') + "]\n", 2, "longer than 255"},
      {"too deep",
       h + "[HKLM" +
           [] {
             std::string s;
             for (int i = 0; i < 513; ++i) s += "\\k";
             return s;
           }() +
           "]\n",
       2, "deeper than 512"},
      {"invalid UTF-8", h + "[HKLM\\A]\n\"\xC3(\"=-\n", 3, "not valid UTF-8"},
      {"big-endian UTF-16", "\xFE\xFF", 0, "big-endian"},
  };
  for (const Damaged& c : cases) {
    regfile::ReadError error;
    EXPECT_FALSE(regfile::Read(c.bytes, &error)) << c.what;
    EXPECT_EQ(error.line, c.line) << c.what << ": " << error.message;
    EXPECT_NE(error.message.find(c.message), std::string::npos) << c.what << ": " << error.message;
  }

  // UTF-16 damage: an unpaired surrogate on line 2, a character outside
  // Windows-1252 in a key name.
  regfile::ReadError error;
  std::string surrogate = Utf16(h) + std::string("\x00\xD8", 2);
  EXPECT_FALSE(regfile::Read(surrogate, &error));
  EXPECT_EQ(error.line, 2);
  EXPECT_NE(error.message.find("surrogate"), std::string::npos);
  std::string cjk = Utf16(h + "[HKLM\\") + std::string("\x2D\x4E", 2) + Utf16("]").substr(2);
  EXPECT_FALSE(regfile::Read(cjk, &error));
  EXPECT_EQ(error.line, 2);
  EXPECT_NE(error.message.find("Windows-1252"), std::string::npos);
}

}  // namespace
