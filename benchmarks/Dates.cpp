// Boundaries, neighbours and differences of dates, beside ICU's calendar and Qt. The texts of dates are in
// DatesText.cpp.

#include "benchmarks/Dates.h"

#include <benchmark/benchmark.h>
#include <unicode/calendar.h>
#include <unicode/timezone.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "benchmarks/Bench.h"

#if TQ_PEER_QT
#include <QDateTime>
#include <QTimeZone>
#endif

namespace tq::bench {
namespace {

constexpr const char* kZone = "Europe/Kyiv";
constexpr double kFirst = 1'600'000'000'000;
constexpr double kThirtyYears = 30 * 31'556'952'000.0 + 12'345;
constexpr std::size_t kDates = 1000;

// A contender: its result, as a number, for a moment in milliseconds.
using Work = std::function<double(double)>;

void enter(const std::string& name, const Work& work) {
  benchmark::RegisterBenchmark(
      name.c_str(),
      [work](benchmark::State& state) {
        std::size_t n = 0;
        for ([[maybe_unused]] const auto iteration : state)
          benchmark::DoNotOptimize(work(kFirst + kDatesStep * static_cast<double>(n++ % kDates)));
      })
      ->UseRealTime()
      ->MinTime(0.03);
}

const Calendar& calendar() {
  static const NeverDestroyed<Calendar> gregorian(
      *Calendar::make("gregorian", TimeZone::make(kZone).value(), Locale("en_US")));
  return *gregorian;
}

Date at(double time) {
  return Date(Date::duration(time));
}
double number(Date date) {
  return date.time_since_epoch().count();
}

// ICU as it is fastest: one calendar, kept by the only thread that there is.
icu::Calendar& kept() {
  static UErrorCode status = U_ZERO_ERROR;
  static icu::Calendar& gregorian =
      *icu::Calendar::createInstance(icu::TimeZone::createTimeZone(kZone), icu::Locale("en_US"), status);
  return gregorian;
}

void setTime(double time, int hour) {
  UErrorCode status = U_ZERO_ERROR;
  kept().setTime(time, status);
  kept().set(UCAL_HOUR_OF_DAY, hour);
  for (const auto field : {UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND}) kept().set(field, 0);
}

double startByICU(double time) {
  UErrorCode status = U_ZERO_ERROR;
  setTime(time, 0);
  return kept().getTime(status);
}

double tomorrowByICU(double time) {
  UErrorCode status = U_ZERO_ERROR;
  setTime(time, 12);
  kept().add(UCAL_DATE, 1, status);
  return kept().getTime(status);
}

double differenceByICU(double time, UCalendarDateFields field) {
  UErrorCode status = U_ZERO_ERROR;
  kept().setTime(time - kThirtyYears, status);
  return kept().fieldDifference(time, field, status);
}

void enterOurs() {
  enter("start/ours", [](double time) { return number(startOfTheDay(at(time), calendar())); });
  enter("tomorrow/ours", [](double time) { return number(tomorrow(at(time), calendar())); });
  enter("months/ours", [](double time) {
    return static_cast<double>(months(at(time), at(time - kThirtyYears), calendar()));
  });
  enter("days/ours",
        [](double time) { return static_cast<double>(days(at(time), at(time - kThirtyYears), calendar())); });
  enter("seconds/ours", [](double time) {
    return static_cast<double>(seconds(at(time), at(time - kThirtyYears), calendar()));
  });
}

void enterICU() {
  enter("start/limit", startByICU);
  enter("tomorrow/limit", tomorrowByICU);
  enter("months/limit", [](double time) { return differenceByICU(time, UCAL_MONTH); });
  enter("days/limit", [](double time) { return differenceByICU(time, UCAL_DATE); });
  enter("seconds/limit", [](double time) { return differenceByICU(time, UCAL_SECOND); });
}

#if TQ_PEER_QT
void enterQt() {
  static const QTimeZone zone(kZone);
  const auto of = [](double time) { return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(time), zone); };
  const auto millis = [](const QDateTime& date) { return static_cast<double>(date.toMSecsSinceEpoch()); };
  enter("start/Qt", [=](double time) { return millis(of(time).date().startOfDay(zone)); });
  enter("tomorrow/Qt",
        [=](double time) { return millis(QDateTime(of(time).date().addDays(1), QTime(12, 0), zone)); });
  enter("days/Qt",
        [=](double time) { return static_cast<double>(of(time - kThirtyYears).daysTo(of(time))); });
  enter("seconds/Qt",
        [=](double time) { return static_cast<double>(of(time - kThirtyYears).secsTo(of(time))); });
}
#endif

void measureCalendar() {
  enterOurs();
  enterICU();
#if TQ_PEER_QT
  enterQt();
#else
  printLeftOut(kDatesArea, "Qt");
#endif
  auto figures = runGoogleBenchmarks(kDatesRounds);
  benchmark::ClearRegisteredBenchmarks();
  const auto row = [&](const char* key, const char* work, double target) {
    print(kDatesArea, {.work = work,
                       .unit = "ns",
                       .samples = figures[key],
                       .target = target,
                       .against = Figure::Against::limit});
  };
  row("start", "the start of a day (limit: ICU, calendar kept)", 1.2);
  row("tomorrow", "tomorrow's noon (limit: ICU, calendar kept)", 1.2);
  row("months", "months between, 30 years (limit: ICU's difference)", 1.0);
  row("days", "days between, 30 years (limit: ICU's difference)", 0.1);
  row("seconds", "seconds between, 30 years (limit: ICU's difference)", 0.01);
}

}  // namespace
}  // namespace tq::bench

int main() {
  tq::bench::measureCalendar();
  tq::bench::measureDatesText();
}
