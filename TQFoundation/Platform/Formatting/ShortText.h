#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tq {

/// A character or a few, in UTF-8, within the object itself.
class ShortText {
 public:
  static constexpr std::size_t kLongest = 7;

  constexpr ShortText() = default;
  /// At most `kLongest` bytes.
  constexpr explicit ShortText(std::string_view text) : size_(static_cast<std::uint8_t>(text.size())) {
    std::copy(text.begin(), text.end(), bytes_.begin());
  }
  [[nodiscard]] constexpr std::string_view view() const { return {bytes_.data(), size_}; }

  /// Writes the text to `at`, where there has to be room for `sizeof(ShortText)`, and answers where it ends.
  char* writeTo(char* at) const {
    std::memcpy(at, this, sizeof *this);  // as a whole: that takes an instruction or two
    return at + size_;
  }

 private:
  std::array<char, kLongest> bytes_{};
  std::uint8_t size_ = 0;
};

}  // namespace tq
