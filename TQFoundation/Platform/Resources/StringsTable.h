#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>

namespace tq::internal {

/// Texts by key.
using StringsTable = std::map<std::string, std::string, std::less<>>;

/// Why a text is no strings table, and in which of its lines, the first being 1.
struct StringsFault {
  std::size_t line = 0;
  std::string_view reason;
};

/// Reads a strings table as `Bundle` describes it. The result is UTF-8.
[[nodiscard]] std::variant<StringsTable, StringsFault> parseStringsTable(std::string_view bytes);

}  // namespace tq::internal
