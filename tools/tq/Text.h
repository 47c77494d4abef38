#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tq::tool {

/// `text` in a form that is safe on a terminal and stays on one line: what is no printable UTF-8 (control
/// characters, broken bytes, marks that turn the reading direction) becomes `\xHH` for each byte, and a
/// backslash is doubled. Everything that comes from outside goes through here before a person sees it.
///
/// Needs an LC_CTYPE of UTF-8; without one all but ASCII is escaped.
[[nodiscard]] std::string printable(std::string_view text);

/// The columns that a terminal needs for `text`, which `printable` has made.
[[nodiscard]] std::size_t columnsOf(std::string_view text);

/// `text`, which `printable` has made, in at most `columns` columns; what is cut off is marked with "~".
[[nodiscard]] std::string fitted(std::string_view text, std::size_t columns);

}  // namespace tq::tool
