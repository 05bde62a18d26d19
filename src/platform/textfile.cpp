// Text-mode file streams over the platform's file handles, translating line
// ends like the Windows C runtime: CR LF on disk, LF in memory. As there, a
// Ctrl-Z (0x1A) read in text mode ends the file; a lone CR stays a CR.
#include "platform/textfile.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace plat {

namespace {
constexpr std::size_t kBufferSize = 4096;
constexpr char kCtrlZ = 0x1A;
}  // namespace

struct TextFile::Impl {
  HANDLE handle = INVALID_HANDLE_VALUE;
  bool canRead = false;
  bool canWrite = false;
  bool binary = false;   // "b" in the mode: no translation
  bool eof = false;      // a read reached the end (feof)
  bool error = false;    // a read or write failed (ferror)
  char in[kBufferSize];  // raw bytes read ahead
  std::size_t inPos = 0;
  std::size_t inLen = 0;
  std::string out;  // translated bytes not yet written

  // Refills the read-ahead buffer; false at the end or on an error.
  bool Fill() {
    if (!Flush()) return false;
    DWORD got = 0;
    if (!ReadFile(handle, in, kBufferSize, &got, nullptr)) {
      error = true;
      return false;
    }
    inPos = 0;
    inLen = got;
    return got > 0;
  }

  // The next character in memory form, or -1 at the end or on an error.
  int Get() {
    if (eof || error) return -1;
    if (inPos == inLen && !Fill()) {
      if (!error) eof = true;
      return -1;
    }
    char c = in[inPos++];
    if (binary) return static_cast<unsigned char>(c);
    if (c == kCtrlZ) {
      eof = true;
      return -1;
    }
    if (c == '\r') {
      if (inPos == inLen && !Fill()) {
        if (error) return -1;
        return '\r';  // a CR at the very end stays
      }
      if (in[inPos] == '\n') {
        ++inPos;
        return '\n';
      }
    }
    return static_cast<unsigned char>(c);
  }

  bool Flush() {
    if (out.empty()) return true;
    std::size_t done = 0;
    while (done < out.size()) {
      DWORD written = 0;
      DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(out.size() - done, 1u << 20));
      if (!WriteFile(handle, out.data() + done, chunk, &written, nullptr) || written == 0) {
        error = true;
        out.clear();
        return false;
      }
      done += written;
    }
    out.clear();
    return true;
  }
};

std::unique_ptr<TextFile> TextFile::Open(const char* path, const char* mode) {
  if (path == nullptr || mode == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  std::string m(mode);
  bool binary = false;
  // "t" and "b" may follow the mode letter or its "+".
  while (!m.empty() && (m.back() == 't' || m.back() == 'b')) {
    binary = binary || m.back() == 'b';
    m.pop_back();
  }
  if (m.size() == 2 && (m[1] == 't' || m[1] == 'b')) {
    binary = binary || m[1] == 'b';
    m.erase(1, 1);
  }
  DWORD access = 0;
  DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  DWORD disposition = 0;
  if (m == "r") {
    access = GENERIC_READ;
    disposition = OPEN_EXISTING;
  } else if (m == "w") {
    access = GENERIC_WRITE;
    disposition = CREATE_ALWAYS;
  } else if (m == "w+") {
    access = GENERIC_READ | GENERIC_WRITE;
    disposition = CREATE_ALWAYS;
  } else {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  HANDLE handle =
      CreateFileA(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return nullptr;
  std::unique_ptr<TextFile> file(new TextFile());
  file->m_pImpl = std::make_unique<Impl>();
  file->m_pImpl->handle = handle;
  file->m_pImpl->canRead = (access & GENERIC_READ) != 0;
  file->m_pImpl->canWrite = (access & GENERIC_WRITE) != 0;
  file->m_pImpl->binary = binary;
  return file;
}

TextFile::~TextFile() {
  Close();
}

bool TextFile::GetLine(char* buffer, int size) {
  Impl& f = *m_pImpl;
  if (buffer == nullptr || size < 2 || f.handle == INVALID_HANDLE_VALUE) return false;
  if (!f.canRead) {
    f.error = true;
    return false;
  }
  int count = 0;
  while (count < size - 1) {
    int c = f.Get();
    if (c < 0) break;
    buffer[count++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (count == 0) return false;
  buffer[count] = '\0';
  return true;
}

std::size_t TextFile::Read(void* buffer, std::size_t size) {
  Impl& f = *m_pImpl;
  if (buffer == nullptr || f.handle == INVALID_HANDLE_VALUE) return 0;
  if (!f.canRead) {
    f.error = true;
    return 0;
  }
  auto* out = static_cast<char*>(buffer);
  std::size_t count = 0;
  while (count < size) {
    int c = f.Get();
    if (c < 0) break;
    out[count++] = static_cast<char>(c);
  }
  return count;
}

bool TextFile::Write(const void* data, std::size_t size) {
  Impl& f = *m_pImpl;
  if (f.handle == INVALID_HANDLE_VALUE || !f.canWrite || (data == nullptr && size > 0)) {
    f.error = true;
    return false;
  }
  // Text written after reading goes where the reading stopped.
  if (f.inPos != f.inLen) {
    LONG back = -static_cast<LONG>(f.inLen - f.inPos);
    SetFilePointer(f.handle, back, nullptr, FILE_CURRENT);
    f.inPos = f.inLen = 0;
  }
  const char* p = static_cast<const char*>(data);
  for (std::size_t i = 0; i < size; ++i) {
    if (p[i] == '\n' && !f.binary) f.out += '\r';
    f.out += p[i];
    if (f.out.size() >= kBufferSize && !f.Flush()) return false;
  }
  return true;
}

bool TextFile::AtEnd() const {
  return m_pImpl->eof;
}

bool TextFile::HasError() const {
  return m_pImpl->error;
}

bool TextFile::Close() {
  if (!m_pImpl || m_pImpl->handle == INVALID_HANDLE_VALUE) return false;
  bool flushed = m_pImpl->Flush();
  bool closed = CloseHandle(m_pImpl->handle) != FALSE;
  m_pImpl->handle = INVALID_HANDLE_VALUE;
  return flushed && closed;
}

}  // namespace plat
