// A minimal reader of Windows PE images: enough to tell whether a module file
// is a DLL, for which machine, and whether it exports a given name.
#pragma once

#include <string>
#include <vector>

namespace setup::pack {

struct PeInfo {
  bool is64 = false;                 // PE32+ (x64) rather than PE32 (x86)
  bool isDll = false;                // IMAGE_FILE_DLL is set
  std::vector<std::string> exports;  // exported names, in table order
  std::string machine;               // "x86", "x64" or "machine 0xNNNN"
};

// Reads the headers and the export table of the image in `bytes` (bytes past
// the image, such as an appended package, are ignored). False with a message
// in *error when the bytes are not a well-formed PE image.
bool ReadPeImage(const std::vector<char>& bytes, PeInfo* info, std::string* error);

// Checks that `bytes` hold a PE DLL exporting `Action`. On success *summary
// says which kind ("32-bit (x86) DLL exporting Action"); on failure *error
// says what is wrong.
bool CheckSetupBase(const std::vector<char>& bytes, std::string* summary, std::string* error);

}  // namespace setup::pack
