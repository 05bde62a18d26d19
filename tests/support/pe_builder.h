// Builds small PE images in memory for the tests of base-module checks.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace testsupport {

inline void Put16(std::vector<char>& image, std::size_t at, std::uint16_t value) {
  for (int i = 0; i < 2; ++i) image[at + i] = static_cast<char>(value >> (8 * i));
}
inline void Put32(std::vector<char>& image, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) image[at + i] = static_cast<char>(value >> (8 * i));
}

// A minimal PE image: DOS header, PE header, one section at RVA 0x1000 (file
// offset 0x200) holding the export directory and the exported names.
inline std::vector<char> MakePe(bool is64, bool dll, const std::vector<std::string>& exports) {
  std::vector<char> image(0x400, '\0');
  image[0] = 'M';
  image[1] = 'Z';
  Put32(image, 0x3C, 0x80);
  std::memcpy(image.data() + 0x80, "PE\0\0", 4);
  const std::size_t coff = 0x84;
  Put16(image, coff, is64 ? 0x8664 : 0x014C);
  Put16(image, coff + 2, 1);
  const std::uint16_t optionalSize = is64 ? 240 : 224;
  Put16(image, coff + 16, optionalSize);
  Put16(image, coff + 18, static_cast<std::uint16_t>(0x0002 | (dll ? 0x2000 : 0)));
  const std::size_t optional = coff + 20;
  Put16(image, optional, is64 ? 0x20B : 0x10B);
  const std::size_t directories = optional + (is64 ? 112 : 96);
  Put32(image, directories - 4, 16);
  Put32(image, directories, 0x1000);  // export table RVA
  Put32(image, directories + 4, 0x100);
  const std::size_t section = optional + optionalSize;
  std::memcpy(image.data() + section, ".edata\0\0", 8);
  Put32(image, section + 8, 0x200);    // virtual size
  Put32(image, section + 12, 0x1000);  // virtual address
  Put32(image, section + 16, 0x200);   // raw size
  Put32(image, section + 20, 0x200);   // raw offset
  // Export directory at 0x200: names count at +24, names RVA at +32.
  Put32(image, 0x200 + 24, static_cast<std::uint32_t>(exports.size()));
  Put32(image, 0x200 + 32, 0x1040);
  std::uint32_t nameRva = 0x1080;
  for (std::size_t i = 0; i < exports.size(); ++i) {
    Put32(image, 0x240 + 4 * i, nameRva);
    std::memcpy(image.data() + 0x200 + (nameRva - 0x1000), exports[i].c_str(),
                exports[i].size() + 1);
    nameRva += static_cast<std::uint32_t>(exports[i].size() + 1);
  }
  return image;
}

// File offset of the security directory entry (data directory 4) of a MakePe image.
inline std::size_t SecurityEntryAt(bool is64) {
  return 0x84 + 20 + (is64 ? 112 : 96) + 4 * 8;
}

// Signs `module` (a MakePe image, maybe followed by a package) the way
// signing tools lay it out: zero bytes up to an 8-byte boundary, then a
// certificate table of one WIN_CERTIFICATE entry of `certificateSize` bytes
// (padded to 8), named by the security directory. The certificate's content
// is filler: only the layout matters to the package's reader.
inline void AppendCertificateTable(std::vector<char>& module, bool is64,
                                   std::uint32_t certificateSize = 0x1F3) {
  module.resize((module.size() + 7) & ~static_cast<std::size_t>(7), '\0');
  const std::size_t table = module.size();
  const std::uint32_t tableSize = (certificateSize + 7) & ~7u;
  module.resize(table + tableSize, '\x30');
  Put32(module, table, certificateSize);
  Put16(module, table + 4, 0x0200);  // revision 2
  Put16(module, table + 6, 0x0002);  // PKCS#7 signed data
  Put32(module, SecurityEntryAt(is64), static_cast<std::uint32_t>(table));
  Put32(module, SecurityEntryAt(is64) + 4, tableSize);
}

}  // namespace testsupport
