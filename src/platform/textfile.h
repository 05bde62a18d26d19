// Text-mode file streams over the platform's file handles.
//
// The system reads and writes its scripts as text streams: on disk a line ends
// with CR LF, in memory with a single LF. The translation is done here, on top
// of plat::CreateFileA / ReadFile / WriteFile, so that it is the same on the
// real Windows API and on the simulated machine.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/winapi.h"

namespace plat {

class TextFile {
 public:
  // Opens `path` like the C library's fopen in text mode. Supported modes:
  // "r" (read an existing file), "w" and "w+" (create or truncate; "w+" may
  // also be read back). Answers none when the file cannot be opened; the
  // platform's last error tells why.
  static std::unique_ptr<TextFile> Open(const char* path, const char* mode);

  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Reads at most size - 1 characters, stopping after a line feed, and
  // NUL-terminates them (fgets). Answers false, with the buffer untouched, at
  // the end of the file or on a read error.
  bool GetLine(char* buffer, int size);
  // Reads up to `size` bytes (fread); answers the number read.
  std::size_t Read(void* buffer, std::size_t size);
  // Writes all bytes (fwrite); answers false on a write error.
  bool Write(const void* data, std::size_t size);
  bool AtEnd() const;     // feof
  bool HasError() const;  // ferror
  // Flushes and closes the handle; answers false when the flush failed.
  bool Close();

 private:
  TextFile() = default;
  struct Impl;
  std::unique_ptr<Impl> m_pImpl;
};

}  // namespace plat
