// The unified diff the golden runner prints when an output differs.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <utility>

#include "golden.h"

namespace golden {

namespace {

// A line as shown in a diff: control bytes escaped, trailing blanks made visible.
std::string Visible(const std::string& line) {
  std::size_t keep = line.find_last_not_of(' ');
  keep = keep == std::string::npos ? 0 : keep + 1;
  std::string shown;
  for (std::size_t i = 0; i < line.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(line[i]);
    if (i >= keep) {
      shown += "\xC2\xB7";  // middle dot for a trailing blank
    } else if (c == '\r') {
      shown += "\\r";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (c < 0x20 || c == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      shown += hex;
    } else {
      shown += static_cast<char>(c);
    }
  }
  return shown;
}

}  // namespace

std::string UnifiedDiff(const std::string& expected, const std::string& actual,
                        const std::string& label) {
  bool expectedOpen = false;
  bool actualOpen = false;
  std::vector<std::string> a = SplitLines(expected, &expectedOpen);
  std::vector<std::string> b = SplitLines(actual, &actualOpen);
  if (expectedOpen) a.back() += " (no newline at end)";
  if (actualOpen) b.back() += " (no newline at end)";

  // Trim the common head and tail, then run a plain LCS on the middle.
  std::size_t head = 0;
  while (head < a.size() && head < b.size() && a[head] == b[head]) ++head;
  std::size_t tail = 0;
  while (tail < a.size() - head && tail < b.size() - head &&
         a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) {
    ++tail;
  }
  const std::size_t n = a.size() - head - tail;
  const std::size_t m = b.size() - head - tail;

  // Edit script over the whole texts: ' ' same, '-' expected only, '+' actual only.
  std::vector<std::pair<char, std::string>> edits;
  for (std::size_t i = 0; i < head; ++i) edits.emplace_back(' ', a[i]);
  if (n * m <= 4'000'000) {
    std::vector<std::vector<std::uint32_t>> lcs(n + 1, std::vector<std::uint32_t>(m + 1, 0));
    for (std::size_t i = n; i-- > 0;) {
      for (std::size_t j = m; j-- > 0;) {
        lcs[i][j] = a[head + i] == b[head + j] ? lcs[i + 1][j + 1] + 1
                                               : std::max(lcs[i + 1][j], lcs[i][j + 1]);
      }
    }
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < n || j < m) {
      if (i < n && j < m && a[head + i] == b[head + j]) {
        edits.emplace_back(' ', a[head + i]);
        ++i;
        ++j;
      } else if (j < m && (i == n || lcs[i][j + 1] >= lcs[i + 1][j])) {
        edits.emplace_back('+', b[head + j++]);
      } else {
        edits.emplace_back('-', a[head + i++]);
      }
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) edits.emplace_back('-', a[head + i]);
    for (std::size_t j = 0; j < m; ++j) edits.emplace_back('+', b[head + j]);
  }
  for (std::size_t i = a.size() - tail; i < a.size(); ++i) edits.emplace_back(' ', a[i]);

  // Print hunks: runs of changes closer than 2 * context lines share a hunk.
  std::ostringstream out;
  out << "--- expected " << label << "\n+++ actual " << label << "\n";
  const std::size_t kContext = 3;
  std::vector<std::size_t> changed;
  for (std::size_t x = 0; x < edits.size(); ++x) {
    if (edits[x].first != ' ') changed.push_back(x);
  }
  std::size_t c = 0;
  while (c < changed.size()) {
    std::size_t last = c;
    while (last + 1 < changed.size() && changed[last + 1] - changed[last] <= 2 * kContext + 1) {
      ++last;
    }
    std::size_t start = changed[c] >= kContext ? changed[c] - kContext : 0;
    std::size_t end = std::min(edits.size(), changed[last] + kContext + 1);
    std::size_t lineA = 1;
    std::size_t lineB = 1;
    for (std::size_t x = 0; x < start; ++x) {
      if (edits[x].first != '+') ++lineA;
      if (edits[x].first != '-') ++lineB;
    }
    std::size_t countA = 0;
    std::size_t countB = 0;
    for (std::size_t x = start; x < end; ++x) {
      if (edits[x].first != '+') ++countA;
      if (edits[x].first != '-') ++countB;
    }
    out << "@@ -" << lineA << "," << countA << " +" << lineB << "," << countB << " @@\n";
    for (std::size_t x = start; x < end; ++x) {
      out << edits[x].first << Visible(edits[x].second) << "\n";
    }
    c = last + 1;
  }
  return out.str();
}

}  // namespace golden
