// Writes small random scripts from a grammar of the script language, for
// running each one both ways (fast paths and tree walk) and comparing.
//
// A script is a function of its seed alone, on every host and compiler, so a
// seed printed by a failing run replays the same script anywhere.
#pragma once

#include <cstdint>
#include <string>

namespace equiv {

// The script for `seed`: globals (scalars and arrays, with initializers),
// one to five functions with num and string parameters and results (some
// recursive, some on nums only), and main. Loops are bounded by their
// counters; failing operations (division by 0, bad index, wrong types,
// undefined functions) appear at a rate the seed picks, and a few scripts do
// not compile at all.
std::string GenerateScript(std::uint64_t seed);

}  // namespace equiv
