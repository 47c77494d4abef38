#include "TQFoundation/Platform/TimeZones/IcuTimeZone.h"

#include <unicode/calendar.h>
#include <unicode/tzfmt.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace tq::internal {
namespace {

using std::chrono::seconds;

/// Returns how far clocks are ahead of what ICU takes for standard time: zero or more.
///
/// By law and in the zone database, Ireland's standard time is that of summer, and saving is negative: clocks
/// are set back in winter. ICU's names assume that saving is positive. So this goes by which offset is the
/// larger, not by which one the database calls daylight saving time.
seconds savingAt(const TimeZone& zone, Date date) {
  using std::chrono::days;
  constexpr seconds kUsual = std::chrono::hours(1);
  constexpr seconds kMost = std::chrono::hours(3);  // more is a move across the date line
  const bool isSaving = zone.isDaylightSavingTime(date);
  for (days distance(30); distance < days(365); distance += days(30)) {
    for (const Date other : {date - distance, date + distance}) {
      if (zone.isDaylightSavingTime(other) == isSaving) continue;
      const seconds ahead = zone.offset(date) - zone.offset(other);
      if (ahead != seconds(0) && ahead <= kMost) return std::max(ahead, seconds(0));
    }
  }
  return isSaving ? kUsual : seconds(0);
}

std::int32_t milliseconds(seconds duration) {
  return static_cast<std::int32_t>(std::chrono::milliseconds(duration).count());
}

class ZoneForICU final : public icu::TimeZone {
 public:
  explicit ZoneForICU(const tq::TimeZone& zone)
      : icu::TimeZone(icu::UnicodeString::fromUTF8(zone.identifier())), zone_(zone) {}

  void getOffset(UDate date, UBool local, int32_t& rawOffset, int32_t& dstOffset,
                 UErrorCode& status) const override {
    if (U_FAILURE(status)) return;
    const Date given{Date::duration(date)};
    const Date moment = local != 0 ? zone_.firstMoment(given) : given;
    dstOffset = milliseconds(savingAt(zone_, moment));
    rawOffset = milliseconds(zone_.offset(moment)) - dstOffset;
  }

  int32_t getOffset(uint8_t era, int32_t year, int32_t month, int32_t day, uint8_t /*dayOfWeek*/,
                    int32_t millis, UErrorCode& status) const override {
    if (U_FAILURE(status)) return 0;
    using namespace std::chrono;
    const auto y = std::chrono::year(era == 0 ? 1 - year : year);
    const Date midnight = sys_days(y / std::chrono::month(static_cast<unsigned>(month + 1)) /
                                   std::chrono::day(static_cast<unsigned>(day)));
    return milliseconds(zone_.offset(zone_.firstMoment(midnight + std::chrono::milliseconds(millis))));
  }
  int32_t getOffset(uint8_t era, int32_t year, int32_t month, int32_t day, uint8_t dayOfWeek, int32_t millis,
                    int32_t /*monthLength*/, UErrorCode& status) const override {
    return getOffset(era, year, month, day, dayOfWeek, millis, status);
  }

  [[nodiscard]] int32_t getRawOffset() const override {
    int32_t raw = 0;
    int32_t saving = 0;
    UErrorCode status = U_ZERO_ERROR;
    getOffset(icu::Calendar::getNow(), 0, raw, saving, status);
    return raw;
  }
  void setRawOffset(int32_t /*offset*/) override {}  // the rules are what they are
  [[nodiscard]] UBool useDaylightTime() const override { return false; }
  UBool inDaylightTime(UDate date, UErrorCode& /*status*/) const override {
    return savingAt(zone_, Date(Date::duration(date))) != seconds(0) ? 1 : 0;
  }
  [[nodiscard]] UBool hasSameRules(const icu::TimeZone& other) const override {
    const auto* const same = dynamic_cast<const ZoneForICU*>(&other);
    return same != nullptr && same->zone_ == zone_ ? 1 : 0;
  }
  bool operator==(const icu::TimeZone& other) const override { return hasSameRules(other) != 0; }
  [[nodiscard]] ZoneForICU* clone() const override { return new ZoneForICU(*this); }

  static UClassID getStaticClassID() {
    static char id = 0;
    return &id;
  }
  [[nodiscard]] UClassID getDynamicClassID() const override { return getStaticClassID(); }

 private:
  const tq::TimeZone zone_;
};

icu::UnicodeString identifierOf(const icu::TimeZone& zone) {
  icu::UnicodeString identifier;
  return zone.getID(identifier);
}

/// Reads names of zones as ICU does, but returns zones with our rules: ICU's are as old as its release.
class ZoneNames final : public icu::TimeZoneFormat {
 public:
  explicit ZoneNames(const icu::TimeZoneFormat& format) : icu::TimeZoneFormat(format) {}
  [[nodiscard]] ZoneNames* clone() const override { return new ZoneNames(*this); }

  using icu::TimeZoneFormat::parse;
  icu::TimeZone* parse(UTimeZoneFormatStyle style, const icu::UnicodeString& text,
                       icu::ParsePosition& position, std::int32_t options,
                       UTimeZoneFormatTimeType* timeType) const override {
    if (style == UTZFMT_STYLE_ZONE_ID) {
      if (auto zone = zoneOfIdentifier(text, position)) return zone.release();
    }
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZoneFormat::parse(style, text, position, options, timeType));
    if (zone == nullptr) return nullptr;
    auto ours = zoneNamed(identifierOf(*zone));
    return ours ? ours.release() : zone.release();  // "GMT+02:00" is none of the database
  }

 private:
  static std::unique_ptr<icu::TimeZone> zoneNamed(const icu::UnicodeString& identifier) {
    std::string name;
    const auto zone = TimeZone::make(identifier.toUTF8String(name));
    return zone ? icuTimeZone(*zone) : nullptr;
  }

  /// The zone that the text names at `position`, one that ICU does not know included.
  static std::unique_ptr<icu::TimeZone> zoneOfIdentifier(const icu::UnicodeString& text,
                                                         icu::ParsePosition& position) {
    const auto belongs = [](char16_t c) {
      return (c < 0x80 && std::isalnum(c) != 0) || c == '/' || c == '_' || c == '-' || c == '+';
    };
    std::int32_t end = position.getIndex();
    while (end < text.length() && belongs(text.charAt(end))) ++end;
    auto zone = zoneNamed(text.tempSubStringBetween(position.getIndex(), end));
    if (zone) position.setIndex(end);
    return zone;
  }
};

}  // namespace

std::unique_ptr<icu::TimeZone> icuTimeZone(const TimeZone& zone) {
  return std::make_unique<ZoneForICU>(zone);
}

void readZonesByOurRules(icu::SimpleDateFormat& format) {
  if (const icu::TimeZoneFormat* const names = format.getTimeZoneFormat())
    format.adoptTimeZoneFormat(new ZoneNames(*names));
}

}  // namespace tq::internal
