// File helpers and scratch directories of the golden runner.
#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <system_error>

#include "golden.h"

namespace golden {

bool ReadWhole(const fs::path& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *text = buffer.str();
  return true;
}

bool WriteWhole(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  return static_cast<bool>(out);
}

std::vector<std::string> SplitLines(const std::string& text, bool* unterminated) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      lines.push_back(text.substr(start));
      *unterminated = true;
      return lines;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  *unterminated = false;
  return lines;
}

ScratchDir::ScratchDir() {
  char name[] = "/tmp/golden-runner-XXXXXX";
  if (mkdtemp(name) != nullptr) m_path = name;
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  if (!m_path.empty()) fs::remove_all(m_path, ec);
}

}  // namespace golden
