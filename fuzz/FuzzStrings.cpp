// Strings tables: a fault names a line of the text, and a table written anew reads the same.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>

#include "TQFoundation/Platform/Resources/StringsTable.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result + '"';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tq;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto parsed = tq::internal::parseStringsTable(bytes);
  if (const auto* const fault = std::get_if<tq::internal::StringsFault>(&parsed)) {
    const auto lineEnds =
        std::count_if(bytes.begin(), bytes.end(), [](char c) { return c == '\n' || c == '\r'; });
    require(fault->line >= 1 && fault->line <= static_cast<std::size_t>(lineEnds) + 1 &&
            !fault->reason.empty());
    return 0;
  }
  const auto& table = std::get<tq::internal::StringsTable>(parsed);
  std::string written;
  for (const auto& [key, value] : table) written += quoted(key) + "=" + quoted(value) + ";";
  const auto again = tq::internal::parseStringsTable(written);
  require(std::holds_alternative<tq::internal::StringsTable>(again) &&
          std::get<tq::internal::StringsTable>(again) == table);
  return 0;
}
