#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unicode/numberformatter.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <set>

#include "TQFoundation/Extensions/TQDeviceExtensions.h"
#include "TQFoundation/Platform/Core/NSByteCountFormatter.h"
#include "TQFoundation/Platform/Linux/LinuxDeviceInfo.h"
#include "TQFoundationTesting/FakeDeviceInfo.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "tests/contract/DeviceInfoContract.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using namespace platform;
using doubles::FakeDeviceInfo;
using doubles::FixedVolumeInfo;
namespace number = icu::number;

constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();
constexpr const char* kSimulated = "SIMULATOR_MODEL_IDENTIFIER";

struct ThisMachine {
  std::shared_ptr<const DeviceInfo> device = DeviceInfo::shared();
};
struct Fake {
  std::shared_ptr<const DeviceInfo> device = std::make_shared<FakeDeviceInfo>("iPhone11,6");
};
using Worlds = testing::Types<ThisMachine, Fake>;
INSTANTIATE_TYPED_TEST_SUITE_P(Devices, DeviceInfoContract, Worlds);

Model typeOf(const std::string& hardware) {
  return UIDevice::type(FakeDeviceInfo(hardware));
}

TEST(DeviceModel, TellsHardwareApartThatIsEasilyConfused) {
  const EnvironmentVariable simulated(kSimulated, "iPhone10,3");  // nothing but a simulator asks for it
  // clang-format off
  const std::pair<std::string, Model> table[] = {
      {"iPhone11,6", Model::iPhoneXSMax}, {"iPhone11,8", Model::iPhoneXR},
      {"iPhone7,1", Model::iPhone6plus}, {"iPhone7,2", Model::iPhone6}, {"iPhone8,4", Model::iPhoneSE},
      {"iPhone9,3", Model::iPhone7}, {"iPad3,4", Model::iPad4}, {"iPad2,5", Model::iPadMini},
      {"iPad6,11", Model::iPad5}, {"iPad7,1", Model::iPadPro2_12_9}, {"AppleTV6,2", Model::AppleTV_4K},
      {"iPhone99,1", Model::unrecognized}, {"iphone11,6", Model::unrecognized},
      {"iPhone11,60", Model::unrecognized}, {"iPhone11,", Model::unrecognized},
      {"arm64", Model::unrecognized}, {"", Model::unrecognized}, {"iPhone11,6\xff", Model::unrecognized},
      {std::string("iPad3,4\0", 8), Model::unrecognized},
  };
  // clang-format on
  for (const auto& [hardware, model] : table) EXPECT_EQ(typeOf(hardware), model) << hardware;
}

TEST(DeviceModel, OfASimulatorIsTheOneItsEnvironmentNames) {
  for (const char* const hardware : {"x86_64", "i386"}) {
    const EnvironmentVariable simulated(kSimulated, "iPhone10,3");
    EXPECT_EQ(typeOf(hardware), Model::iPhoneX);
    for (const char* const name : {"x86_64", "", "iPhone 8", "arm64", "\xc3\x28", "iPhone10,3 "}) {
      const EnvironmentVariable other(kSimulated, name);
      EXPECT_EQ(typeOf(hardware), Model::simulator) << name;
    }
    ::unsetenv(kSimulated);
    EXPECT_EQ(typeOf(hardware), Model::simulator);
  }
}

TEST(DeviceModel, NamesComeBackAsTheirModelsToTheLastCharacter) {
  EXPECT_EQ(rawValue(Model::iPhoneXSMax), "iPhone XS Max");
  EXPECT_EQ(rawValue(Model::unrecognized), "?unrecognized?");
  EXPECT_EQ(makeModel("simulator/sandbox"), Model::simulator);
  EXPECT_EQ(makeModel("iPad Air "), Model::iPadAir);
  EXPECT_EQ(makeModel("iPad Pro 2 12.9\""), Model::iPadPro2_12_9);
  for (const char* const name : {"iPad Air", "iPad Pro 9.7", "iphone x", "", "iPhone11,6"})
    EXPECT_EQ(makeModel(name), std::nullopt) << name;
  for (std::size_t i = 0; i < kModelRawValues.size(); ++i)  // of two alike the second would not come back
    EXPECT_EQ(makeModel(rawValue(static_cast<Model>(i))), static_cast<Model>(i));
}

// Knows of one folder only, as a volume does of what lies beneath a folder that is missing.
class OneFolder final : public VolumeInfo {
 public:
  explicit OneFolder(std::filesystem::path folder) : folder_(std::move(folder)) {}
  [[nodiscard]] std::optional<std::uint64_t> freeBytes(const std::filesystem::path& path) const override {
    return path == folder_ ? std::optional<std::uint64_t>(1'536'000'000) : std::nullopt;
  }

 private:
  const std::filesystem::path folder_;
};

TEST(DeviceFreeSpace, IsThatOfTheNearestFolderOfTheHomeOrNone) {
  const TemporaryFolder folder;
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  const EnvironmentVariable home("HOME", folder / "not/there");
  const UIDevice device(std::make_shared<OneFolder>(folder.path()));
  EXPECT_EQ(device.freeDiskSpaceInBytes(), 1'536'000'000);
  EXPECT_EQ(device.freeDiskSpaceInGB(), "1,54 GB");
  const EnvironmentVariable moved("HOME", "/dev");
  EXPECT_EQ(device.freeDiskSpaceInBytes(), 0);
  EXPECT_EQ(device.freeDiskSpaceInGB(), "Zero KB");
  EXPECT_EQ(UIDevice(std::make_shared<FixedVolumeInfo>(UINT64_MAX)).freeDiskSpaceInBytes(), kHighest);
  EXPECT_EQ(UIDevice(std::make_shared<FixedVolumeInfo>(std::nullopt)).freeDiskSpaceInBytes(), 0);
}

TEST(ByteText, RoundsToTheUnitThatIsReached) {
  // clang-format off
  const std::pair<std::int64_t, const char*> table[] = {
      {0, "Zero KB"}, {1, "1 byte"}, {-1, "-1 byte"}, {999, "999 bytes"}, {1'000, "1 KB"}, {2'500, "2 KB"},
      {3'500, "4 KB"}, {999'499, "999 KB"}, {999'500, "1 MB"}, {1'049'999, "1 MB"}, {1'500'000, "1.5 MB"},
      {999'949'999, "999.9 MB"}, {999'950'000, "1 GB"}, {1'005'000'001, "1.01 GB"}, {5'000'000'000, "5 GB"},
      {-1'073'741'824, "-1.07 GB"}, {999'995'000'000'000, "1 PB"}, {999'994'999'999'999'999, "999.99 PB"},
      {kHighest, "9.22 EB"}, {kLowest, "-9.22 EB"},
  };
  // clang-format on
  const EnvironmentVariable language("LC_ALL", "C");
  for (const auto& [count, text] : table)
    EXPECT_EQ(NSByteCountFormatter::stringFromByteCount(count, NSByteCountFormatterCountStyleDecimal), text);
}

TEST(ByteText, InMegabytesIsTheNumberAloneInTheUsersDigits) {
  struct Row {
    const char* language;
    std::int64_t count;
    const char* text;
  };
  // clang-format off
  const Row table[] = {
      {"en_US.UTF-8", 1'500'000, "1.5"}, {"en_US.UTF-8", 999, "0"}, {"en_US.UTF-8", 0, "0"},
      {"en_US.UTF-8", -49'999, "0"}, {"en_US.UTF-8", -50'001, "-0.1"},
      {"en_US.UTF-8", 5'000'000'000, "5,000"}, {"en_US.UTF-8", kLowest, "-9,223,372,036,854.8"},
      {"hi_IN", kHighest, "92,23,37,20,36,854.8"}, {"de_DE@euro", 12'345'600'000, "12.345,6"},
      {"fr_FR", 12'345'600'000, "12\u202f345,6"}, {"es_ES", 1'234'500'000, "1234,5"},
      {"fa_IR", -1'234'500'000, "\u200e\u2212۱٬۲۳۴٫۵"}, {"ar_EG", 1'500'000, "١٫٥"},
      {"no such language", 1'500'000, "1.5"},
  };
  // clang-format on
  for (const Row& row : table) {
    const EnvironmentVariable language("LC_ALL", row.language);
    EXPECT_EQ(UIDevice::currentDevice().MBFormatter(row.count), row.text) << row.language;
  }
}

TEST(ByteText, KeepsToTheUnitsThatAreAllowed) {
  NSByteCountFormatter formatter(Locale("en"));
  formatter.setAllowedUnits(NSByteCountFormatterUseMB);
  EXPECT_EQ(formatter.stringFromByteCount(0), "Zero MB");
  EXPECT_EQ(formatter.stringFromByteCount(1'500'000'000), "1,500 MB");
  formatter.setAllowedUnits(NSByteCountFormatterUseBytes | NSByteCountFormatterUseGB);
  EXPECT_EQ(formatter.stringFromByteCount(999'999'999), "999,999,999 bytes");
  EXPECT_EQ(formatter.stringFromByteCount(1'000'000'000), "1 GB");
  formatter.setAllowedUnits(0);
  EXPECT_EQ(formatter.stringFromByteCount(0), "Zero KB");
}

std::string byIcu(std::int64_t count, const char* language, int exponent, int fractionDigits, bool groups) {
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  number::NumberFormatter::withLocale(icu::Locale(language))
      .scale(number::Scale::powerOfTen(-exponent))
      .precision(number::Precision::maxFraction(fractionDigits))
      .sign(UNUM_SIGN_NEGATIVE)
      .grouping(groups ? UNUM_GROUPING_AUTO : UNUM_GROUPING_OFF)
      .formatInt(count, status)
      .toString(status)
      .toUTF8String(text);
  return text;
}

std::string textByIcu(std::int64_t count, const char* language) {
  const char* const units[] = {"bytes", "KB", "MB", "GB", "TB", "PB", "EB"};
  const int digits[] = {0, 0, 1, 2, 2, 2, 2};
  int unit = 0;
  while (std::abs(std::stod(byIcu(count, "en", 3 * unit, digits[unit], false))) >= 1000) ++unit;
  return byIcu(count, language, 3 * unit, digits[unit], true) + ' ' + units[unit];
}

TEST(ByteText, IsWhatUnicodesFormatterWritesDigitByDigit) {
  std::mt19937_64 random(7);
  for (const char* const language :
       {"en_IN", "de_CH", "pl", "pt_PT", "bg", "hu", "he", "ar_EG", "fa", "sv", "mr", "ckb",
        "th@numbers=thai", "zh@numbers=hanidec", "ff_Adlm", "en@numbers=roman"}) {
    const NSByteCountFormatter texts{Locale(language)};
    NSByteCountFormatter megabytes{Locale(language)};
    megabytes.setAllowedUnits(NSByteCountFormatterUseMB);
    megabytes.setIncludesUnit(false);
    for (int i = 0; i < 1'000; ++i) {
      auto count = static_cast<std::int64_t>(random()) >> random() % 63;
      if (i % 4 == 0) count -= count % 500'000;  // half way, often
      if (std::abs(count) <= 1) continue;
      ASSERT_EQ(texts.stringFromByteCount(count), textByIcu(count, language)) << language << ' ' << count;
      ASSERT_EQ(megabytes.stringFromByteCount(count), byIcu(count, language, 6, 1, true))
          << language << count;
    }
  }
}

TEST(OsRelease, GivesItsVersionOrNone) {
  // clang-format off
  const std::pair<std::string, std::string> table[] = {
      {"NAME=\"Debian\"\nVERSION_ID=\"12\"\n", "12"}, {"VERSION_ID='39'", "39"},
      {"VERSION_ID=8.10-rc_1\r\n", "8.10-rc_1"}, {" \tVERSION_ID=\"3\" \n", "3"},
      {"VERSION_ID=1\nVERSION_ID=2\n", "2"},
      {"MY_VERSION_ID=1\n#VERSION_ID=2\nVERSION=3\nVERSION_ID =4", ""}, {"VERSION_ID=\"\"\n", ""},
      {"VERSION_ID=\"", ""}, {"VERSION_ID='12\"", ""}, {"VERSION_ID=12 # twelve", ""},
      {"VERSION_ID=$(reboot)", ""}, {"VERSION_ID=\"1\x1b[2J\"", ""}, {"VERSION_ID=1\xff", ""},
      {std::string("VERSION_ID=1\0", 13), ""}, {"VERSION_ID=" + std::string(64, '9'), std::string(64, '9')},
      {"VERSION_ID=" + std::string(65, '9'), ""}, {"", ""},
  };
  // clang-format on
  for (const auto& [text, version] : table) EXPECT_EQ(versionInOsRelease(text), version) << text;
}

TEST(OsRelease, OfTwoFilesTheFirstThatCanBeReadCountsElseTheKernel) {
  const TemporaryFolder folder;
  const auto version = [&](const char* first) {
    return LinuxDeviceInfo(folder / first, folder / "usual").systemVersion();
  };
  utsname names{};
  ::uname(&names);
  EXPECT_EQ(version("missing"), names.release);
  writeFile(folder / "usual", "VERSION_ID=11");
  EXPECT_EQ(version("missing"), "11");
  EXPECT_EQ(version("."), "11");
  writeFile(folder / "own", "ID=debian\n");
  EXPECT_EQ(version("own"), names.release);
  writeFile(folder / "huge", "VERSION_ID=13\n");
  std::filesystem::resize_file(folder / "huge", std::uintmax_t{1} << 40);
  EXPECT_EQ(version("huge"), "13");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(version("pipe"), names.release);
}

TEST(DeviceFacts, AreReadOnceWhileByteTextFollowsTheLocale) {
  const auto expectEverywhere = [](const std::string& number) {
    std::set<const std::string*> answers[2];
    std::vector<std::thread> threads;
    std::mutex mutex;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        EXPECT_EQ(UIDevice::currentDevice().MBFormatter(1'500'000), number);
        const auto* const language = &UIDevice::deviceLanguage();
        const auto* const version = &UIDevice::osVersion();
        const std::scoped_lock lock(mutex);
        answers[0].insert(language);
        answers[1].insert(version);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(answers[0].size() + answers[1].size(), 2U);
  };
  // ThreadSanitizer does not see how ICU makes its own tables once; they are not what is tried here.
  const NSByteCountFormatter first{Locale("de_AT@calendar=hebrew")};
  const EnvironmentVariable german("LC_ALL", "de_AT.UTF-8@calendar=hebrew");
  expectEverywhere("1,5");
  EXPECT_EQ(UIDevice::deviceLanguage(), "de_AT");
  EXPECT_EQ(UIDevice::osVersion(), DeviceInfo::shared()->systemVersion());
  const EnvironmentVariable english("LC_ALL", "C");
  expectEverywhere("1.5");
  EXPECT_EQ(UIDevice::deviceLanguage(), "de_AT");
}

}  // namespace
}  // namespace tq::tests
