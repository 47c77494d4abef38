// Headings of dates, reading them back, and the text of durations, beside ICU and fmt.

#include <benchmark/benchmark.h>
#include <unicode/calendar.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <array>
#include <barrier>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"
#include "TQFoundation/Extensions/TQDurationExtensions.h"
#include "TQFoundation/Platform/TimeZones/TimeZone.h"
#include "benchmarks/Bench.h"
#include "benchmarks/Dates.h"

#if TQ_PEER_FMT
#include <fmt/compile.h>
#endif

namespace tq::bench {
namespace {

constexpr const char* kPattern = "dd MMM, yyyy";
constexpr double kFirst = 1'700'000'000'000;

// A contender: what it makes of the n-th of a row of dates.
using Work = std::function<std::string(std::size_t)>;

double moment(std::size_t n) {
  return kFirst + kDatesStep * static_cast<double>(n % 1000);
}

Date date(std::size_t n) {
  return Date(Date::duration(moment(n)));
}

// ICU as it is fastest: a formatter and a calendar of the thread's own, which nothing clones.
class KeptByICU {
 public:
  KeptByICU()
      : format_(kPattern, icu::Locale(deviceLocale().identifier().c_str()), status_),
        calendar_(icu::Calendar::createInstance(
            icu::TimeZone::createTimeZone(
                icu::UnicodeString::fromUTF8(UserSettingsSource::shared()->current()->timeZone.identifier())),
            icu::Locale(deviceLocale().identifier().c_str()), status_)) {}

  std::string text(double time) {
    calendar_->setTime(time, status_);
    icu::UnicodeString text;
    icu::FieldPosition ignored;
    format_.format(*calendar_, text, ignored);
    std::string result;
    return text.toUTF8String(result);
  }

  double read(const std::string& from) {
    calendar_->clear();
    icu::ParsePosition position(0);
    format_.parse(icu::UnicodeString::fromUTF8(from), *calendar_, position);
    return calendar_->getTime(status_);
  }

  std::string textByClone(double time) const {
    const std::unique_ptr<icu::SimpleDateFormat> format(format_.clone());
    icu::UnicodeString text;
    format->format(time, text);
    std::string result;
    return text.toUTF8String(result);
  }

 private:
  UErrorCode status_ = U_ZERO_ERROR;
  icu::SimpleDateFormat format_;
  std::unique_ptr<icu::Calendar> calendar_;
};

void enter(const char* figure, const char* contender, const Work& work, const Work& expected) {
  const std::string name = std::string(figure) + '/' + contender;
  benchmark::RegisterBenchmark(name.c_str(),
                               [work, expected](benchmark::State& state) {
                                 std::size_t n = 0;
                                 for ([[maybe_unused]] const auto iteration : state)
                                   benchmark::DoNotOptimize(work(n++));
                                 for (n = 0; n < 50; ++n) {
                                   if (work(n) != expected(n)) state.SkipWithError("not the same text");
                                 }
                               })
      ->UseRealTime()
      ->MinTime(0.02);
}

void enterHeadings() {
  const auto icu = std::make_shared<KeptByICU>();
  const Work ours = [](std::size_t n) { return libraryDayGroupFormatted(date(n)); };
  const Work kept = [icu](std::size_t n) { return icu->text(moment(n)); };
  enter("heading", "ours", ours, kept);
  enter("heading", "ICU kept", kept, ours);
  enter("heading-cloned", "ours", ours, kept);
  enter(
      "heading-cloned", "ICU cloned", [icu](std::size_t n) { return icu->textByClone(moment(n)); }, kept);
}

// The texts are there already; what is read is written out as a number, which costs all alike.
void enterReading() {
  const auto icu = std::make_shared<KeptByICU>();
  const auto texts = std::make_shared<std::vector<std::string>>();
  for (std::size_t n = 0; n < 1000; ++n) texts->push_back(icu->text(moment(n)));
  const auto asText = [](double time) {
    return std::string(reinterpret_cast<const char*>(&time), sizeof time);
  };
  const Work ours = [=](std::size_t n) {
    return asText(dayFormatter().date((*texts)[n % 1000])->time_since_epoch().count());
  };
  const Work kept = [=](std::size_t n) { return asText(icu->read((*texts)[n % 1000])); };
  enter("reading", "ours", ours, kept);
  enter("reading", "ICU kept", kept, ours);
  const Work day = [=](std::size_t n) {
    return asText(dayFormatter().date(dayFormatter().string(date(n)))->time_since_epoch().count());
  };
  const Work dayOfICU = [=](std::size_t n) { return asText(icu->read(icu->text(moment(n)))); };
  enter("day", "ours", day, dayOfICU);
  enter("day", "ICU kept", dayOfICU, day);
}

double seconds(std::size_t n) {
  return 3601.5 + static_cast<double>(n * 7919 % 300'000);
}

std::int64_t whole(double duration) {
  return static_cast<std::int64_t>(duration);
}

std::string durationByHand(double duration) {
  const auto time = static_cast<int>(duration);
  std::array<char, 8> text{'0', '0', ':', '0', '0', ':', '0', '0'};
  const auto put = [&](std::size_t at, int value) {
    text[at] = static_cast<char>('0' + value / 10);
    text[at + 1] = static_cast<char>('0' + value % 10);
  };
  put(0, time / 3600);
  put(3, time / 60 % 60);
  put(6, time % 60);
  return {text.data(), text.size()};
}

void enterDurations() {
  const Work byHand = [](std::size_t n) { return durationByHand(seconds(n)); };
  enter(
      "duration", "ours", [](std::size_t n) { return timeFormattedString(seconds(n)); }, byHand);
  enter("duration", "limit", byHand, byHand);
  enter(
      "duration", "snprintf",
      [](std::size_t n) {
        std::array<char, 32> text;
        const auto time = whole(seconds(n));
        const int size = std::snprintf(text.data(), text.size(), "%02" PRId64 ":%02" PRId64 ":%02" PRId64,
                                       time / 3600, time / 60 % 60, time % 60);
        return std::string(text.data(), static_cast<std::size_t>(size));
      },
      byHand);
#if TQ_PEER_FMT
  enter(
      "duration", "fmt",
      [](std::size_t n) {
        const auto time = whole(seconds(n));
        return fmt::format(FMT_COMPILE("{:02}:{:02}:{:02}"), time / 3600, time / 60 % 60, time % 60);
      },
      byHand);
#else
  printLeftOut(kDatesArea, "fmt");
#endif
}

// Returns nanoseconds per heading, with `threads` at work.
double headingsBy(int threads) {
  constexpr std::size_t kCount = 200'000;
  std::barrier start(threads + 1);
  std::vector<std::thread> workers;
  for (int worker = 0; worker < threads; ++worker) {
    workers.emplace_back([&start] {
      benchmark::DoNotOptimize(libraryDayGroupFormatted(date(0)));
      start.arrive_and_wait();
      for (std::size_t n = 0; n < kCount; ++n) benchmark::DoNotOptimize(libraryDayGroupFormatted(date(n)));
    });
  }
  start.arrive_and_wait();
  const auto begin = std::chrono::steady_clock::now();
  for (auto& worker : workers) worker.join();
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - begin;
  return taken.count() / static_cast<double>(kCount) / threads;
}

}  // namespace

void measureDatesText() {
  benchmark::ClearRegisteredBenchmarks();
  enterHeadings();
  enterReading();
  enterDurations();
  auto figures = runGoogleBenchmarks(kDatesRounds);
  benchmark::ClearRegisteredBenchmarks();
  const auto row = [&](const char* key, const char* work, double target) {
    print(kDatesArea, {.work = work, .unit = "ns", .samples = figures[key], .target = target});
  };
  row("heading", "heading of a date, ICU's formatter and calendar kept", 1.2);
  row("heading-cloned", "heading of a date, ICU's formatter cloned each time", 0.1);
  print(kDatesArea,
        {.work = "heading of a date by two threads, each (limit: by one)",
         .unit = "ns",
         .samples = interleaved(kDatesRounds, {{std::string(kOurs), [] { return headingsBy(2); }},
                                               {std::string(kLimit), [] { return headingsBy(1); }}}),
         .target = 0.65,
         .against = Figure::Against::limit});
  row("reading", "reading such a heading, ICU's formatter and calendar kept", 1.2);
  row("day", "heading written and read back, ICU's kept", 1.2);
  row("duration", "duration text (limit: digits by hand)", 1.5);
}

}  // namespace tq::bench
