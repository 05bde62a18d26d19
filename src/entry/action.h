// The exported entry point and the run sequence.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/textfile.h"

#if defined(_WIN32)
#define SETUP_EXPORT extern "C" __declspec(dllexport)
#define SETUP_STDCALL __stdcall
#else
#define SETUP_EXPORT extern "C"
#define SETUP_STDCALL
#endif

// Runs the packaged script for one command string such as "/install /silent"
// and answers main's number (0 or -1 on the failures of the run sequence).
SETUP_EXPORT std::int32_t SETUP_STDCALL Action(const char* command);

namespace setup {

// Writes the generated prelude; answers its number of lines (2 or 3).
int WriteParamPrelude(plat::TextFile& stream, int count, const std::optional<std::string>* params);
// Copies the rest of the current source stream behind the prelude.
[[nodiscard]] int PasteScriptCode(plat::TextFile& stream);
// Appends the script path and ".e" to the slot.
int MakeExpandFileName(std::optional<std::string>* slot);
using ParamTable = std::vector<std::optional<std::string>>;
enum class SplitResult { Ok, TooMany, TooLong };

// Splits a command string into its parameters: each is the text after a "/"
// up to the next blank, "/" or end. Reports and refuses a parameter longer
// than 252 characters (what fits a prelude line) and a 100th parameter.
SplitResult SplitParameters(const char* command, ParamTable& params);

}  // namespace setup
