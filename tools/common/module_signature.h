// The signature of a module file as the release tools see it: where the
// package ends when the module was signed after packing, what `verify` says
// about the certificate table, and how `create --base` takes a signature off
// a base. The location rules are the library's own (package/signed_module.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace setup::pack {

// Where the package of `module` ends: in front of the certificate table of a
// module signed after packing (and its up to 7 bytes of padding), else at the
// end of the file. Unlike the library's reader it answers the file's end
// when neither holds a trailer, so that the table reader can say what is wrong.
std::uint64_t PackageEndOf(const std::vector<char>& module);

// What `verify` reports about a module's signature.
struct SignatureFacts {
  enum class State {
    NotPe,     // no PE headers to look at
    Unsigned,  // the security directory is absent or empty
    Signed,    // a certificate table lies inside the file
    Damaged,   // the security directory or the table is unusable; `problem` says why
  };
  State state = State::NotPe;
  std::uint32_t tableOffset = 0;
  std::uint32_t tableSize = 0;
  std::uint32_t certificates = 0;  // WIN_CERTIFICATE entries in the table (Signed)
  std::uint64_t bytesAfter = 0;    // bytes between the table's end and the file's end (Signed)
  std::string problem;             // Damaged
};

// Reads the security directory of `module` and walks the certificate table it
// names: entries of at least 8 bytes, each starting on an 8-byte boundary,
// filling the table.
SignatureFacts InspectSignature(const std::vector<char>& module);

// Takes the signature off a base before a new package goes behind it: cuts
// the certificate table (with the package and padding in front of it, or the
// package behind it, that the signature came with) and clears the security
// directory. `packageStart` is where the base's package starts, if it carries
// one. *removed tells whether there was a signature. False with a message in
// *error when the security directory is damaged or bytes that are no package
// follow the table.
bool RemoveSignature(std::vector<char>& module, std::optional<std::size_t> packageStart,
                     bool* removed, std::string* error);

}  // namespace setup::pack
