// The base protocol's framing: "Content-Length: N" headers, a blank line,
// then N bytes of JSON.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace lsp {

// Largest body and header block accepted; anything larger is skipped.
constexpr std::size_t kMaxBody = 64u * 1024 * 1024;
constexpr std::size_t kMaxHeader = 8 * 1024;

// Splits a byte stream into message bodies, whatever arrives: bytes in any
// pieces, headers without a length, garbage between messages.
class MessageReader {
 public:
  struct Item {
    bool ok = false;      // a body; else a header that was skipped
    std::string body;     // the body when ok
    std::string problem;  // what was wrong with the header otherwise
  };

  void Feed(std::string_view bytes);
  // The next body or header problem, or none until more bytes arrive.
  std::optional<Item> Next();
  // Bytes held that do not yet make a message (at the end of the input they
  // are a cut-off message).
  std::size_t Buffered() const { return m_Buffer.size() - m_nStart; }

 private:
  // Drops bytes up to the next line that starts a header, or all of them.
  void Resynchronize();

  std::string m_Buffer;
  std::size_t m_nStart = 0;  // first byte not yet consumed
};

// A message framed for writing.
std::string Frame(std::string_view body);

}  // namespace lsp
