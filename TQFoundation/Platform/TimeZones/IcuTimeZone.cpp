#include "TQFoundation/Platform/TimeZones/IcuTimeZone.h"

#include <unicode/calendar.h>

#include <chrono>
#include <string>

namespace tq {
namespace {

class ZoneForICU final : public icu::TimeZone {
 public:
  explicit ZoneForICU(const tq::TimeZone& zone)
      : icu::TimeZone(icu::UnicodeString::fromUTF8(zone.identifier())), zone_(zone) {}

  void getOffset(UDate date, UBool local, int32_t& rawOffset, int32_t& dstOffset,
                 UErrorCode& status) const override {
    if (U_FAILURE(status)) return;
    const Date given{Date::duration(date)};
    const Date moment = local != 0 ? zone_.firstMoment(given) : given;
    const auto total = static_cast<int32_t>(std::chrono::milliseconds(zone_.offset(moment)).count());
    dstOffset = zone_.isDaylightSavingTime(moment) ? kUsualSaving : 0;
    rawOffset = total - dstOffset;
  }

  int32_t getOffset(uint8_t era, int32_t year, int32_t month, int32_t day, uint8_t /*dayOfWeek*/,
                    int32_t millis, UErrorCode& status) const override {
    if (U_FAILURE(status)) return 0;
    using namespace std::chrono;
    const auto y = std::chrono::year(era == 0 ? 1 - year : year);
    const Date midnight = sys_days(y / std::chrono::month(static_cast<unsigned>(month + 1)) /
                                   std::chrono::day(static_cast<unsigned>(day)));
    return totalOffset(zone_.firstMoment(midnight + milliseconds(millis)));
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
    return zone_.isDaylightSavingTime(Date(Date::duration(date))) ? 1 : 0;
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
  static constexpr int32_t kUsualSaving = 3'600'000;

  [[nodiscard]] int32_t totalOffset(Date moment) const {
    return static_cast<int32_t>(std::chrono::milliseconds(zone_.offset(moment)).count());
  }

  const tq::TimeZone zone_;
};

}  // namespace

std::unique_ptr<icu::TimeZone> icuTimeZone(const TimeZone& zone) {
  return std::make_unique<ZoneForICU>(zone);
}

}  // namespace tq
