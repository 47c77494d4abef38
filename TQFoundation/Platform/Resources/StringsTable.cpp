#include "TQFoundation/Platform/Resources/StringsTable.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "TQFoundation/Platform/Base/Text.h"

namespace tq::internal {
namespace {

constexpr std::string_view kUTF8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUTF16LittleEndianMark = "\xFF\xFE";
constexpr std::string_view kUTF16BigEndianMark = "\xFE\xFF";

std::size_t lineOf(std::string_view text, std::size_t position) {
  std::size_t line = 1;
  for (std::size_t i = 0; i < position && i < text.size(); ++i) {
    const bool endsLine = text[i] == '\n' || (text[i] == '\r' && text.substr(i + 1, 1) != "\n");
    if (endsLine) ++line;
  }
  return line;
}

void append(std::string& text, UChar32 character) {
  char bytes[U8_MAX_LENGTH];
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, character);
  text.append(bytes, length);
}

// The macro narrows by itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
std::optional<StringsFault> faultOfUTF8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t begin = i;
    UChar32 character = 0;
    U8_NEXT(text.data(), i, text.size(), character);
    if (character < 0) return StringsFault{lineOf(text, begin), "the text is not UTF-8"};
  }
  return std::nullopt;
}
#pragma GCC diagnostic pop

// The text as UTF-8. Behind a fault stands what could be read before it, whose lines are counted.
std::optional<StringsFault> appendUTF16(std::string_view bytes, bool littleEndian, std::string& text) {
  const auto unitAt = [&](std::size_t unit) {
    const auto first = static_cast<unsigned char>(bytes[2 * unit]);
    const auto second = static_cast<unsigned char>(bytes[2 * unit + 1]);
    return static_cast<UChar32>(littleEndian ? first | second << 8 : first << 8 | second);
  };
  const std::size_t count = bytes.size() / 2;
  for (std::size_t i = 0; i < count; ++i) {
    UChar32 character = unitAt(i);
    if (U16_IS_LEAD(character) && i + 1 < count && U16_IS_TRAIL(unitAt(i + 1)))
      character = U16_GET_SUPPLEMENTARY(character, unitAt(++i));
    if (U16_IS_SURROGATE(character)) return StringsFault{lineOf(text, text.size()), "the text is not UTF-16"};
    append(text, character);
  }
  if (bytes.size() % 2 != 0) return StringsFault{lineOf(text, text.size()), "the text is not UTF-16"};
  return std::nullopt;
}

bool isUnquoted(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_$/:.-").find(c) != std::string_view::npos;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  // Each step returns whether it succeeded; if not, `fault_` says why.
  bool readTable(StringsTable& table) {
    while (skipBlanks()) {
      if (atEnd()) return true;
      if (!readEntry(table)) return false;
    }
    return false;
  }

  [[nodiscard]] StringsFault fault() const { return {lineOf(text_, faultPosition_), reason_}; }

 private:
  [[nodiscard]] bool atEnd() const { return position_ == text_.size(); }
  [[nodiscard]] char peek() const { return atEnd() ? '\0' : text_[position_]; }
  [[nodiscard]] bool comes(std::string_view token) const {
    return text_.substr(position_, token.size()) == token;
  }

  bool fail(std::string_view reason, std::size_t position) {
    reason_ = reason;
    faultPosition_ = position;
    return false;
  }

  bool skipBlanks() {
    while (!atEnd()) {
      if (std::string_view(" \t\r\n\v\f").find(peek()) != std::string_view::npos) {
        ++position_;
      } else if (comes("//")) {
        position_ = std::min(text_.find_first_of("\r\n", position_), text_.size());
      } else if (comes("/*")) {
        const std::size_t end = text_.find("*/", position_ + 2);
        if (end == std::string_view::npos) return fail("a comment does not end", position_);
        position_ = end + 2;
      } else {
        break;
      }
    }
    return true;
  }

  bool readEntry(StringsTable& table) {
    std::string key;
    std::string value;
    if (!readText(key) || !skipBlanks()) return false;
    if (peek() == '=') {
      ++position_;
      if (!skipBlanks() || !readText(value) || !skipBlanks()) return false;
    } else {
      value = key;
    }
    if (peek() != ';') return fail("a semicolon or an equals sign is missing", position_);
    ++position_;
    table.insert_or_assign(std::move(key), std::move(value));
    return true;
  }

  bool readText(std::string& text) {
    if (peek() == '"' || peek() == '\'') return readQuoted(text);
    const std::size_t begin = position_;
    while (!atEnd() && isUnquoted(peek())) ++position_;
    text = text_.substr(begin, position_ - begin);
    return !text.empty() || fail("a key or a value is missing", begin);
  }

  bool readQuoted(std::string& text) {
    const std::size_t begin = position_;
    const char quote = text_[position_++];
    const char ends[] = {quote, '\\'};
    for (;;) {
      const std::size_t end = text_.find_first_of(std::string_view(ends, 2), position_);
      if (end == std::string_view::npos) return fail("a quoted text does not end", begin);
      text += text_.substr(position_, end - position_);
      position_ = end + 1;
      if (text_[end] == quote) return true;
      if (!readEscape(text)) return false;
    }
  }

  // What follows a backslash.
  bool readEscape(std::string& text) {
    static constexpr std::string_view kLetters = "abfnrtv";
    static constexpr std::string_view kControls = "\a\b\f\n\r\t\v";
    if (atEnd()) return fail("a quoted text does not end", position_);
    const char letter = peek();
    if (digitValue(letter, 8) >= 0) return readOctal(text);
    ++position_;
    if (letter == 'U' || letter == 'u') return readUnicode(text);
    const std::size_t control = kLetters.find(letter);
    text += control == std::string_view::npos ? letter : kControls[control];
    return true;
  }

  // Up to `most` digits, or -1 without a single one.
  std::int32_t readNumber(int base, std::size_t most) {
    const std::size_t begin = position_;
    std::int32_t number = 0;
    for (; position_ < begin + most && digitValue(peek(), base) >= 0; ++position_)
      number = number * base + digitValue(peek(), base);
    return position_ == begin ? -1 : number;
  }

  bool readOctal(std::string& text) {
    const std::size_t begin = position_;
    const std::int32_t number = readNumber(8, 3);
    if (number > 0177) return fail("an octal escape is beyond \\177", begin);
    append(text, number);
    return true;
  }

  bool readUnicode(std::string& text) {
    const std::size_t begin = position_;
    UChar32 character = readNumber(16, 4);
    if (character < 0) return fail("an escape has no hexadecimal digits", begin);
    if (U16_IS_LEAD(character) && (comes("\\U") || comes("\\u"))) {
      position_ += 2;
      const UChar32 trail = readNumber(16, 4);
      if (trail >= 0 && U16_IS_TRAIL(trail)) character = U16_GET_SUPPLEMENTARY(character, trail);
    }
    if (U_IS_SURROGATE(character)) return fail("an escape is half a pair of surrogates", begin);
    append(text, character);
    return true;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  std::string_view reason_;
  std::size_t faultPosition_ = 0;
};

}  // namespace

std::variant<StringsTable, StringsFault> parseStringsTable(std::string_view bytes) {
  std::string converted;
  std::optional<StringsFault> fault;
  if (bytes.starts_with(kUTF16LittleEndianMark) || bytes.starts_with(kUTF16BigEndianMark)) {
    fault = appendUTF16(bytes.substr(2), bytes.starts_with(kUTF16LittleEndianMark), converted);
    bytes = converted;
  } else {
    if (bytes.starts_with(kUTF8Mark)) bytes.remove_prefix(kUTF8Mark.size());
    fault = faultOfUTF8(bytes);
  }
  if (fault) return *fault;
  Parser parser(bytes);
  StringsTable table;
  if (!parser.readTable(table)) return parser.fault();
  return table;
}

}  // namespace tq::internal
