#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unicode/numberformatter.h>

#include <cstdlib>
#include <future>
#include <limits>
#include <random>

#include "TQFoundation/Extensions/TQDeviceExtensions.h"
#include "TQFoundation/Platform/Adapters/Linux/LinuxDeviceInfo.h"
#include "TQFoundation/Platform/Formatting/NSByteCountFormatter.h"
#include "TQFoundationTesting/FakeDeviceInfo.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "TQFoundationTesting/ManualUserSettings.h"
#include "tests/contract/DeviceInfoContract.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using namespace std::string_literals;

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
  const std::initializer_list<std::pair<std::string, Model>> table = {
      {"iPhone11,6", Model::iPhoneXSMax}, {"iPhone11,8", Model::iPhoneXR}, {"iPhone7,1", Model::iPhone6plus},
      {"iPhone7,2", Model::iPhone6},      {"iPhone8,4", Model::iPhoneSE},  {"iPad3,4", Model::iPad4},
      {"iPad2,5", Model::iPadMini},       {"iPad6,11", Model::iPad5},      {"AppleTV6,2", Model::AppleTV_4K}};
  for (const auto& [hardware, model] : table) EXPECT_EQ(typeOf(hardware), model) << hardware;
  for (const auto& hardware : {"iPhone99,1"s, "iphone11,6"s, "iPhone11,60"s, "iPhone11,"s, "arm64"s, ""s,
                               "iPhone11,6\xff"s, "iPad3,4\0"s})
    EXPECT_EQ(typeOf(hardware), Model::unrecognized) << hardware;
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
  EXPECT_EQ(rawValue(Model::unrecognized), "?unrecognized?");
  EXPECT_EQ(makeModel("iPad Air "), Model::iPadAir);
  EXPECT_EQ(makeModel("iPad Pro 2 12.9\""), Model::iPadPro2_12_9);
  for (const char* const name : {"iPad Air", "iPad Pro 9.7", "iphone x", "", "iPhone11,6"})
    EXPECT_EQ(makeModel(name), std::nullopt) << name;
  for (std::size_t i = 0; i < kModelRawValues.size(); ++i)  // of two alike the second would not come back
    EXPECT_EQ(makeModel(rawValue(static_cast<Model>(i))), static_cast<Model>(i));
}

// Knows of one folder only, as a volume does of what lies beneath a folder that is missing.
struct VolumeOfDev final : VolumeInfo {
  [[nodiscard]] std::optional<std::uint64_t> freeBytes(const std::filesystem::path& path) const override {
    return path == "/dev" ? std::optional<std::uint64_t>(1'536'000'000) : std::nullopt;
  }
};

TEST(DeviceFreeSpace, IsThatOfTheNearestFolderOfTheHomeOrNone) {
  const auto user = std::make_shared<ManualUserSettings>(UserSettings{.numbers = Locale("de_DE")});
  const EnvironmentVariable home("HOME", "/dev/not/there");
  const UIDevice device(std::make_shared<VolumeOfDev>(), user);
  EXPECT_EQ(device.freeDiskSpaceInBytes(), 1'536'000'000);
  EXPECT_EQ(device.freeDiskSpaceInGB(), "1,54 GB");
  const EnvironmentVariable moved("HOME", "/proc");
  EXPECT_EQ(device.freeDiskSpaceInBytes(), 0);
  EXPECT_EQ(UIDevice(std::make_shared<FixedVolumeInfo>(UINT64_MAX)).freeDiskSpaceInBytes(), kHighest);
}

TEST(ByteText, RoundsToTheUnitThatIsReached) {
  const std::initializer_list<std::pair<std::int64_t, const char*>> table = {
      {0, "Zero KB"},        {1, "1 byte"},         {-1, "-1 byte"},
      {999, "999 bytes"},    {2'500, "2 KB"},       {3'500, "4 KB"},
      {999'499, "999 KB"},   {999'500, "1 MB"},     {1'005'000'001, "1.01 GB"},
      {999'950'000, "1 GB"}, {kHighest, "9.22 EB"}, {kLowest, "-9.22 EB"}};
  const ManualUserSettings user;
  for (const auto& [count, text] : table)
    EXPECT_EQ(NSByteCountFormatter::stringFromByteCount(count, NSByteCountFormatterCountStyleDecimal, user),
              text);
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

TEST(ByteText, IsWhatUnicodesFormatterWritesDigitByDigit) {
  std::mt19937_64 random(7);
  for (const char* const language : {"en_IN", "de_CH", "pl", "pt_PT", "es", "fr", "he", "ar_EG", "fa", "sv",
                                     "mr", "ckb", "th@numbers=thai", "ff_Adlm", "en@numbers=roman"}) {
    const auto theirs = icu::number::NumberFormatter::withLocale(icu::Locale(language))
                            .scale(icu::number::Scale::powerOfTen(-6))
                            .precision(icu::number::Precision::maxFraction(1))
                            .sign(UNUM_SIGN_NEGATIVE);
    NSByteCountFormatter megabytes{Locale(language)};
    megabytes.setAllowedUnits(NSByteCountFormatterUseMB);
    megabytes.setIncludesUnit(false);
    for (int i = 0; i < 1'000; ++i) {
      auto count = static_cast<std::int64_t>(random()) >> random() % 63;
      if (i % 4 == 0) count -= count % 50'000;  // half way, often
      UErrorCode status = U_ZERO_ERROR;
      std::string expected;
      theirs.formatInt(count, status).toString(status).toUTF8String(expected);
      ASSERT_EQ(megabytes.stringFromByteCount(count), expected) << language << count;
    }
  }
}

TEST(OsRelease, GivesItsVersionOrNone) {
  const std::string longest(64, '9');
  const std::initializer_list<std::pair<std::string, std::string>> table = {
      {"NAME=\"Debian\"\nVERSION_ID=\"12\"\n", "12"}, {"VERSION_ID='39'", "39"},
      {"VERSION_ID=8.10-rc_1\r\n", "8.10-rc_1"},      {" \tVERSION_ID=\"3\" \n", "3"},
      {"VERSION_ID=1\nVERSION_ID=2\n", "2"},          {"VERSION_ID=" + longest, longest}};
  for (const auto& [text, version] : table) EXPECT_EQ(internal::versionInOsRelease(text), version) << text;
  for (const auto& text :
       {"MY_VERSION_ID=1\n#VERSION_ID=2\nVERSION=3\nVERSION_ID =4"s, "VERSION_ID=\"\"\n"s, "VERSION_ID=\""s,
        "VERSION_ID='12\""s, "VERSION_ID=12 # twelve"s, "VERSION_ID=$(reboot)"s, "VERSION_ID=\"1\x1b[2J\""s,
        "VERSION_ID=1\xff"s, "VERSION_ID=1\0"s, "VERSION_ID=9" + longest, ""s})
    EXPECT_EQ(internal::versionInOsRelease(text), "") << text;
}

TEST(OsRelease, OfTwoFilesTheFirstThatCanBeReadCountsElseTheKernel) {
  const TemporaryFolder folder;
  const auto version = [&](const char* first) {
    return internal::LinuxDeviceInfo(folder / first, folder / "usual").systemVersion();
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
  EXPECT_EQ(version("huge"), "11");  // no file of settings is that large
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(version("pipe"), "11");
}

TEST(DeviceFacts, AreReadOnceWhileByteTextFollowsTheLocale) {
  const auto user = std::make_shared<ManualUserSettings>(UserSettings{.numbers = Locale("de_AT")});
  const UIDevice device(VolumeInfo::shared(), user);
  const auto expectEverywhere = [&](const std::string& number) {
    std::vector<std::future<std::pair<const std::string*, const std::string*>>> threads;
    for (int i = 0; i < 8; ++i) {
      threads.push_back(std::async(std::launch::async, [&] {
        EXPECT_EQ(device.MBFormatter(1'500'000), number);
        return std::pair(&UIDevice::deviceLanguage(), &UIDevice::osVersion());
      }));
    }
    const std::pair expected(&UIDevice::deviceLanguage(), &UIDevice::osVersion());
    for (auto& thread : threads) EXPECT_EQ(thread.get(), expected);
  };
  // ThreadSanitizer does not see how ICU makes its own tables once; they are not what is tried here.
  const NSByteCountFormatter first{Locale("de_AT")};
  expectEverywhere("1,5");
  user->set({.numbers = Locale("en")});
  expectEverywhere("1.5");
  const std::string locale = UserSettingsSource::shared()->current()->messages.identifier();
  EXPECT_EQ(UIDevice::deviceLanguage(), locale.substr(0, locale.find('@')));
  EXPECT_EQ(UIDevice::osVersion(), DeviceInfo::shared()->systemVersion());
}

}  // namespace
}  // namespace tq::tests
