// Host file helpers for large files: writes that leave all-zero blocks past a
// file's end as holes, copies that keep holes, and unlinked scratch files.
// The simulated machine's stores use them for the files of a temporary
// machine that outgrow memory; the host tools use them to stream packages.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hostio {

// Writes `size` bytes at `offset` of the open file `fd`, whose size is
// `fileSize` before the write. Where the bytes lie at or past that end, runs
// of zero bytes are not written but left to the file's extension, so that a
// sparse input stays sparse; the file ends at least at offset + size
// afterwards. False with errno set on failure.
bool WriteSparse(int fd, std::uint64_t offset, const char* data, std::size_t size,
                 std::uint64_t fileSize);
// Reads up to `size` bytes at `offset`; *done receives how many (fewer only at
// the end of the file). False with errno set on failure.
bool ReadAt(int fd, std::uint64_t offset, char* buffer, std::size_t size, std::size_t* done);
// Copies `size` bytes from `offset` of `from` to `at` of `to`, which ends at
// `toSize` before the copy, skipping the holes of `from` where the target has
// no bytes yet. False with errno set on failure (ENODATA: `from` is shorter).
bool CopyRange(int from, std::uint64_t offset, int to, std::uint64_t at, std::uint64_t size,
               std::uint64_t toSize);
// A new, empty, already unlinked file in the host's temporary directory
// ($TMPDIR, else /tmp), open for reading and writing: it is gone once closed,
// even when the process dies. -1 with errno set on failure.
int OpenScratchFile();

}  // namespace hostio
