// Host file helpers for large files (see hostio.h).
#include "platform/sim/hostio.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace hostio {

namespace {

// Zero runs shorter than this are written: a hole only pays off for whole
// file system blocks.
constexpr std::size_t kHoleBlock = 64 * 1024;
constexpr std::size_t kCopyBuffer = 1024 * 1024;

bool WriteAll(int fd, std::uint64_t offset, const char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t put = ::pwrite(fd, data + done, size - done, static_cast<off_t>(offset + done));
    if (put < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<std::size_t>(put);
  }
  return true;
}

bool AllZero(const char* data, std::size_t size) {
  return size == 0 || (data[0] == 0 && std::memcmp(data, data + 1, size - 1) == 0);
}

}  // namespace

bool WriteSparse(int fd, std::uint64_t offset, const char* data, std::size_t size,
                 std::uint64_t fileSize) {
  const std::uint64_t end = offset + size;
  std::size_t done = 0;
  // The part in front of the old end overwrites bytes: written as given.
  if (offset < fileSize) {
    done = static_cast<std::size_t>(std::min<std::uint64_t>(size, fileSize - offset));
    if (!WriteAll(fd, offset, data, done)) return false;
  }
  // Past the old end, zero blocks stay holes.
  while (done < size) {
    const std::size_t block = std::min(kHoleBlock, size - done);
    if (!AllZero(data + done, block) && !WriteAll(fd, offset + done, data + done, block)) {
      return false;
    }
    done += block;
  }
  // A trailing hole makes the file no longer by itself.
  if (end > fileSize) {
    while (::ftruncate(fd, static_cast<off_t>(end)) != 0) {
      if (errno != EINTR) return false;
    }
  }
  return true;
}

bool ReadAt(int fd, std::uint64_t offset, char* buffer, std::size_t size, std::size_t* done) {
  *done = 0;
  while (*done < size) {
    const ssize_t got =
        ::pread(fd, buffer + *done, size - *done, static_cast<off_t>(offset + *done));
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (got == 0) break;
    *done += static_cast<std::size_t>(got);
  }
  return true;
}

bool CopyRange(int from, std::uint64_t offset, int to, std::uint64_t at, std::uint64_t size,
               std::uint64_t toSize) {
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[kCopyBuffer]);
  if (!buffer) {
    errno = ENOMEM;
    return false;
  }
  std::uint64_t done = 0;
  while (done < size) {
    // Skip a hole of the source (only where the target has no bytes to
    // overwrite); SEEK_DATA answers ENXIO when only a hole is left.
    if (at + done >= toSize) {
      const off_t data = ::lseek(from, static_cast<off_t>(offset + done), SEEK_DATA);
      if (data < 0 && errno == ENXIO) break;
      if (data > static_cast<off_t>(offset + done)) {
        done = std::min<std::uint64_t>(size, static_cast<std::uint64_t>(data) - offset);
        continue;
      }
    }
    const std::size_t want =
        static_cast<std::size_t>(std::min<std::uint64_t>(kCopyBuffer, size - done));
    std::size_t got = 0;
    if (!ReadAt(from, offset + done, buffer.get(), want, &got)) return false;
    if (got == 0) {
      errno = ENODATA;
      return false;
    }
    if (!WriteSparse(to, at + done, buffer.get(), got, std::max(toSize, at + done))) return false;
    done += got;
  }
  const std::uint64_t end = at + size;
  if (end > toSize) {
    const off_t current = ::lseek(to, 0, SEEK_END);
    if (current < 0) return false;
    if (static_cast<std::uint64_t>(current) < end) {
      while (::ftruncate(to, static_cast<off_t>(end)) != 0) {
        if (errno != EINTR) return false;
      }
    }
  }
  return true;
}

int OpenScratchFile() {
  const char* dir = std::getenv("TMPDIR");
  std::string pattern =
      std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/setup-scratch-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  const int fd = ::mkostemp(name.data(), O_CLOEXEC);
  if (fd < 0) return -1;
  ::unlink(name.data());
  return fd;
}

}  // namespace hostio
