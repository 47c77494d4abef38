#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Localization/Locale.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

namespace internal {
class NumberFormats;
}

/// The units in which a byte count may be written; combined by "|".
enum NSByteCountFormatterUnits : std::uint32_t {
  NSByteCountFormatterUseBytes = 1,
  NSByteCountFormatterUseKB = 2,
  NSByteCountFormatterUseMB = 4,
  NSByteCountFormatterUseGB = 8,
  NSByteCountFormatterUseTB = 16,
  NSByteCountFormatterUsePB = 32,
  NSByteCountFormatterUseEB = 64,
  NSByteCountFormatterUseAll = 127,
};

/// The number of bytes in a kilobyte. This library counts in powers of 1000, as on the labels of disks.
enum NSByteCountFormatterCountStyle {
  NSByteCountFormatterCountStyleDecimal = 2,  ///< 1000; 1 MB is 1,000,000 bytes and so on.
};

/// Writes byte counts for people, as short as the unit allows.
///
///     NSByteCountFormatter::stringFromByteCount(1'536'000'000,                // "1.54 GB", "1,54 GB"
///                                               NSByteCountFormatterCountStyleDecimal);
///     NSByteCountFormatter megabytes;
///     megabytes.setAllowedUnits(NSByteCountFormatterUseMB);
///     megabytes.setIncludesUnit(false);
///     megabytes.stringFromByteCount(1'500'000);                               // "1.5"
///
/// The unit is the largest allowed one of which the number, rounded, has one at least; where there is none,
/// the smallest allowed. So 999,499 bytes are "999 KB" and 999,500 are "1 MB". Bytes and kilobytes have no
/// fraction digits, megabytes up to one, larger units up to two, and none of them ends with a zero. Rounding
/// is exact, and half way goes to the even digit, as Unicode's number formatting does it: 2500 bytes are
/// "2 KB" and 3500 are "4 KB".
///
/// 0 is "Zero KB" (where kilobytes are not allowed, of the smallest allowed unit), and "0" without its unit.
/// Negative counts keep their sign, unless they are rounded to 0. Digits, their groups, the decimal mark and
/// the sign are the locale's; the units are KB, MB, GB, TB, PB and EB in every language, "byte" and "bytes".
///
/// Not thread-safe: one thread at a time. Calls of const functions alone are thread-safe.
class TQ_API NSByteCountFormatter {
 public:
  /// In the locale for numbers that the user has now; later changes do not reach this object.
  explicit NSByteCountFormatter(const UserSettingsSource& settings = *UserSettingsSource::shared());

  /// In `locale`. Takes some 100 microseconds; those of the user's settings are made once.
  explicit NSByteCountFormatter(const Locale& locale);

  /// All by default; an empty set means all.
  [[nodiscard]] std::uint32_t allowedUnits() const { return allowedUnits_; }
  void setAllowedUnits(std::uint32_t units) { allowedUnits_ = units; }

  [[nodiscard]] NSByteCountFormatterCountStyle countStyle() const { return countStyle_; }
  void setCountStyle(NSByteCountFormatterCountStyle style) { countStyle_ = style; }

  /// Whether the unit follows the number, after a space. True by default.
  [[nodiscard]] bool includesUnit() const { return includesUnit_; }
  void setIncludesUnit(bool includes) { includesUnit_ = includes; }

  [[nodiscard]] std::string stringFromByteCount(std::int64_t byteCount) const;

  /// Returns the text of a formatter with that style and default settings otherwise. Thread-safe.
  [[nodiscard]] static std::string stringFromByteCount(
      std::int64_t byteCount, NSByteCountFormatterCountStyle countStyle,
      const UserSettingsSource& settings = *UserSettingsSource::shared());

 private:
  std::shared_ptr<const internal::NumberFormats> numbers_;  // never null
  std::uint32_t allowedUnits_ = NSByteCountFormatterUseAll;
  NSByteCountFormatterCountStyle countStyle_ = NSByteCountFormatterCountStyleDecimal;
  bool includesUnit_ = true;
};

}  // namespace tq
