#pragma once

#include <algorithm>
#include <string_view>

namespace tq::internal {

/// Returns `text` without the blanks, tabs and line ends around it. Thread-safe.
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// Removes the first line from `text` and returns it without its end. Thread-safe.
///
///     while (!text.empty()) read(takeLine(text));
[[nodiscard]] constexpr std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

/// Returns the value of the digit `c` in `base`, at most 16; -1 if it is none. Thread-safe.
[[nodiscard]] constexpr int digitValue(char c, int base) {
  int value = -1;
  if (c >= '0' && c <= '9') value = c - '0';
  if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
  if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
  return value < base ? value : -1;
}

}  // namespace tq::internal
