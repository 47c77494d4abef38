// The user's settings: what every source promises, what the default reads where, and what is posted of
// changes.

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "TQFoundation/Extensions/SettingsNotifications.h"
#include "TQFoundation/Platform/Adapters/Posix/EnvironmentSettings.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "TQFoundationTesting/ManualUserSettings.h"
#include "tests/contract/UserSettingsContract.h"
#include "tests/support/Dates.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

const char* otherZone(const TimeZone& zone) {
  return zone.identifier() == "Asia/Tokyo" ? "Asia/Seoul" : "Asia/Tokyo";
}

struct OfTheEnvironment {
  EnvironmentVariable zone{"TZ", "Europe/Kyiv"};
  std::shared_ptr<UserSettingsSource> source = std::make_shared<EnvironmentSettings>();
  void change() {
    ::setenv("TZ", otherZone(source->current()->timeZone), 1);
    source->refresh();
  }
};
struct OfTheTest {
  std::shared_ptr<ManualUserSettings> source = std::make_shared<ManualUserSettings>();
  void change() { source->set({.timeZone = *TimeZone::make(otherZone(source->current()->timeZone))}); }
};
using Worlds = testing::Types<OfTheEnvironment, OfTheTest>;
INSTANTIATE_TYPED_TEST_SUITE_P(Sources, UserSettingsContract, Worlds);

TEST(EnvironmentSettings, TakeEachPartFromTheFirstVariableThatSaysSomething) {
  using Variables = std::map<std::string, std::string>;
  struct Case {
    Variables variables;
    const char* dates;
    const char* numbers;
    const char* messages;
    Strings languages;
    const char* zone = "Asia/Tokyo";  // the zone file's
  };
  const char* const neutral = "en_US_POSIX";
  const std::string endless = "de_" + std::string(100'000, 'x');
  const Case cases[] = {
      {{}, neutral, neutral, neutral, {}},
      {{{"LANG", "de_DE.UTF-8"}}, "de_DE", "de_DE", "de_DE", {"de_DE"}},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_TIME", "en_GB.UTF-8"}}, "en_GB", "de_DE", "de_DE", {"de_DE"}},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_NUMERIC", "fr_FR"}}, "de_DE", "fr_FR", "de_DE", {"de_DE"}},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "uk_UA"}}, "de_DE", "de_DE", "uk_UA", {"uk_UA"}},
      {{{"LC_TIME", "da_DK"}, {"LC_NUMERIC", ""}}, "da_DK", neutral, neutral, {}},
      {{{"LC_ALL", "fa_IR"}, {"LC_TIME", "da_DK"}, {"LC_NUMERIC", "fr_FR"}, {"LC_MESSAGES", "uk_UA"}},
       "fa_IR",
       "fa_IR",
       "fa_IR",
       {"fa_IR"}},
      {{{"LC_ALL", ""}, {"LC_TIME", "da_DK"}, {"LANG", "C"}}, "da_DK", neutral, neutral, {}},
      {{{"LANGUAGE", "de_AT:fr::C"}, {"LC_MESSAGES", "nb_NO.UTF-8@euro"}, {"LANG", "sv_SE"}},
       "sv_SE",
       "sv_SE",
       "nb_NO",
       {"de_AT", "fr", "nb_NO"}},
      {{{"LANGUAGE", ""}, {"LC_ALL", "C.UTF-8"}}, neutral, neutral, neutral, {}},
      {{{"LANG", "sr_RS.UTF-8@latin"}}, "sr_Latn_RS", "sr_Latn_RS", "sr_Latn_RS", {"sr_RS"}},
      {{{"LC_TIME", "ca_ES@valencia"}, {"LC_NUMERIC", "th_TH@numbers=thai;x=y;calendar=nonsense"}},
       "ca_ES_VALENCIA",
       "th_TH@numbers=thai",
       neutral,
       {}},
      {{{"LC_TIME", "C.UTF-8@calendar=hebrew"}}, "en_US_POSIX@calendar=hebrew", neutral, neutral, {}},
      {{{"LC_TIME", "../../etc/passwd"}, {"LC_NUMERIC", endless}, {"LC_MESSAGES", "de\xFF"}},
       neutral,
       neutral,
       neutral,
       {"de\xFF"}},
      {{{"LC_TIME", "xx_YY"}, {"LC_NUMERIC", "_"}}, neutral, neutral, neutral, {}},
      {{{"TZ", "Europe/Kyiv"}}, neutral, neutral, neutral, {}, "Europe/Kyiv"},
      {{{"TZ", ""}}, neutral, neutral, neutral, {}, "UTC"},
      {{{"TZ", "Mars/Olympus"}}, neutral, neutral, neutral, {}, "UTC"}};
  for (const auto& each : cases) {
    std::deque<EnvironmentVariable> environment;
    for (const char* const name :
         {"LC_ALL", "LC_TIME", "LC_NUMERIC", "LC_MESSAGES", "LANG", "LANGUAGE", "TZ"}) {
      environment.emplace_back(name, "");
      ::unsetenv(name);
    }
    std::string shown;
    for (const auto& [name, value] : each.variables) {
      ::setenv(name.c_str(), value.c_str(), 1);
      shown += name + "=" + value.substr(0, 40) + " ";
    }
    const auto settings = EnvironmentSettings("/usr/share/zoneinfo/Asia/Tokyo").current();
    EXPECT_EQ(settings->dates.identifier(), each.dates) << shown;
    EXPECT_EQ(settings->numbers.identifier(), each.numbers) << shown;
    EXPECT_EQ(settings->messages.identifier(), each.messages) << shown;
    EXPECT_EQ(settings->languages, each.languages) << shown;
    EXPECT_EQ(settings->timeZone.identifier(), each.zone) << shown;
  }
}

/// The clock of a queue that stood at `start` when the queue began. Each look takes two readings.
struct QueueClock final : Clock {
  std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
  Date start;
  mutable int readings = 0;
  [[nodiscard]] Date now() const override { return ++readings, start + queue->now(); }
};

/// A user and a clock, and what is posted meanwhile.
struct Posts {
  std::shared_ptr<ManualUserSettings> user = std::make_shared<ManualUserSettings>();
  std::shared_ptr<QueueClock> clock = std::make_shared<QueueClock>();
  std::shared_ptr<NSNotificationCenter> center = std::make_shared<NSNotificationCenter>();
  std::shared_ptr<SettingsNotifications> notifications;
  Strings posted;

  Posts(Date now, const char* zone) {
    clock->start = now;
    user->set({.timeZone = *TimeZone::make(zone)});
    notifications = SettingsNotifications::make({user, clock, clock->queue, center});
    center->addObserver(this, [this](const NSNotification& notification) {
      posted.emplace_back(notification.name().rawValue());
    });
  }
  Strings after(std::chrono::nanoseconds time) {
    posted.clear();
    clock->readings = 0;
    clock->queue->advance(time);
    return posted;
  }
  Strings after(UserSettings settings) {
    user->set(std::move(settings));
    return after(0ns);
  }
};

TEST(SettingsNotifications, PostTheLocaleTheZoneAndEachNewDay) {
  const auto in = [](const char* zone) { return *TimeZone::make(zone); };
  Posts posts(utc("2024-03-29 21:59"), "Europe/Kyiv");
  const Strings none, day = {"DayDidChange"};
  EXPECT_EQ(posts.after(59s), none);
  EXPECT_EQ(posts.after(1s), day);  // the 30th
  EXPECT_EQ(posts.after(24h), day);
  EXPECT_EQ(posts.after(23h - 1s), none);
  EXPECT_EQ(posts.after(1s), day);  // clocks went forward on the 31st
  EXPECT_EQ(posts.after({.timeZone = in("Asia/Tokyo")}),
            Strings{"TimeZoneDidChange"});  // 06:00 of the same day
  EXPECT_EQ(posts.after({.dates = Locale("de"), .timeZone = in("Asia/Tokyo")}), Strings{"LocaleDidChange"});
  EXPECT_EQ(posts.after({.dates = Locale("de"), .timeZone = in("Asia/Tokyo")}), none);
  EXPECT_EQ(posts.after(18h - 1s), none);  // the timer for Kyiv's midnight is none for Tokyo's
  EXPECT_EQ(posts.after(1s), day);
  EXPECT_EQ(posts.after({.timeZone = in("America/Havana")}),
            (Strings{"LocaleDidChange", "TimeZoneDidChange", "DayDidChange"}));  // a day before
  posts.clock->start += 30h;                                                     // asleep: no timer has run
  posts.notifications->check();
  EXPECT_EQ(posts.after(0s), day);
  EXPECT_EQ(posts.after(24h), day);
  EXPECT_EQ(posts.clock->readings, 2);  // the timers of former zones look no more
  posts.notifications.reset();
  EXPECT_EQ(posts.after({.languages = {"uk"}}), none);
  EXPECT_EQ(posts.after(48h), none);
}

TEST(SettingsNotifications, AwaitTheSecondOfTwoMidnights) {
  // 23:10 in St. John's: at 00:01 clocks went back to 23:01.
  Posts posts(utc("2010-11-07 02:40"), "America/St_Johns");
  EXPECT_EQ(posts.after(50min - 1s), Strings());
  EXPECT_EQ(posts.clock->readings, 2);  // although the first midnight has passed
  EXPECT_EQ(posts.after(1s), Strings{"DayDidChange"});
}

TEST(EnvironmentSettings, FollowTheZoneFileUnlessTheVariableIsSet) {
  const TemporaryFolder folder;
  const fs::path file = folder / "localtime";
  const auto moveTo = [&](const char* zone) {
    fs::create_symlink(fs::path("/usr/share/zoneinfo") / zone, folder / "new");
    fs::rename(folder / "new", file);
  };
  const EnvironmentVariable variable("TZ", "");
  ::unsetenv("TZ");
  const auto source = std::make_shared<EnvironmentSettings>(file);
  const auto zone = [&] { return source->current()->timeZone.identifier(); };
  moveTo("Europe/Kyiv");
  EXPECT_TRUE(eventually([&] { return zone() == "Europe/Kyiv"; }));  // it was missing
  moveTo("Asia/Tokyo");
  EXPECT_TRUE(eventually([&] { return zone() == "Asia/Tokyo"; }));

  const auto queue = std::make_shared<ManualQueue>();
  bool notified = false;
  const auto subscription = source->observe(queue, [&] { notified = true; });
  moveTo("Asia/Seoul");
  EXPECT_TRUE(eventually([&] { return queue->run(), notified; }));  // although nobody asked
  EXPECT_EQ(zone(), "Asia/Seoul");

  ::setenv("TZ", "America/Havana", 1);
  EXPECT_EQ(zone(), "Asia/Seoul");  // the environment is not read until it is asked for
  source->refresh();
  EXPECT_EQ(zone(), "America/Havana");
}

}  // namespace
}  // namespace tq::tests
