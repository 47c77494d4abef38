#include "tools/tq/Text.h"

#include <wchar.h>
#include <wctype.h>

#include <algorithm>
#include <cstdio>

namespace tq::tool {
namespace {

struct Character {
  std::string_view bytes;
  std::size_t columns = 0;
  bool printable = false;
};

// U+200E and U+200F, U+202A to U+202E, U+2066 to U+2069: with them a name can show as another one.
bool turnsDirection(wchar_t c) {
  return (c >= 0x200E && c <= 0x200F) || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

Character firstCharacter(std::string_view text) {
  mbstate_t state{};
  wchar_t character = 0;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is this call's own
  const std::size_t length = ::mbrtowc(&character, text.data(), text.size(), &state);
  if (length == 0 || length > text.size()) return {.bytes = text.substr(0, 1)};
  const int columns = ::wcwidth(character);
  return {.bytes = text.substr(0, length),
          .columns = static_cast<std::size_t>(std::max(columns, 0)),
          .printable =
              columns >= 0 && ::iswprint(static_cast<wint_t>(character)) != 0 && !turnsDirection(character)};
}

void appendEscaped(std::string& result, std::string_view bytes) {
  for (const char byte : bytes) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02X",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    result += escaped;
  }
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character next = firstCharacter(text);
    text.remove_prefix(next.bytes.size());
    if (next.bytes == "\\") {
      result += "\\\\";
    } else if (next.printable) {
      result += next.bytes;
    } else {
      appendEscaped(result, next.bytes);
    }
  }
  return result;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character next = firstCharacter(text);
    text.remove_prefix(next.bytes.size());
    columns += next.columns;
  }
  return columns;
}

std::string fitted(std::string_view text, std::size_t columns) {
  if (columns == 0) return {};
  if (columnsOf(text) <= columns) return std::string(text);
  std::string result;
  std::size_t used = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const Character next = firstCharacter(rest);
    if (used + next.columns + 1 > columns) break;
    rest.remove_prefix(next.bytes.size());
    result += next.bytes;
    used += next.columns;
  }
  return result + '~';
}

}  // namespace tq::tool
