// Runs the real program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TQFoundation/Extensions/TQDeviceExtensions.h"
#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

TEST(TqDevice, PrintsAFactPerLineInTheUsersLocale) {
  const Sandbox sandbox;
  const EnvironmentVariable simulated("SIMULATOR_MODEL_IDENTIFIER", "iPad6,3");
  const std::string facts = "model           " + std::string(rawValue(UIDevice::type())) +
                            "\nidentifier      " + platform::DeviceInfo::shared()->hardwareIdentifier() +
                            "\nsystem version  " + UIDevice::osVersion() + "\nlanguage        ";
  const std::pair<const char*, const char*> table[] = {
      {"de_AT.UTF-8", "de_AT\nfree space      [0-9]+(,[0-9]{1,2})? [KMGTPE]B\n"},
      {"ar_EG.UTF-8", "ar_EG\nfree space      (٠|١|٢|٣|٤|٥|٦|٧|٨|٩)+(٫(٠|١|٢|٣|٤|٥|٦|٧|٨|٩)+)? [KMGTPE]B\n"},
  };
  for (const auto& [language, ending] : table) {
    const auto tq =
        runTq(sandbox, {"device"}, {"LC_ALL=" + std::string(language), "SIMULATOR_MODEL_IDENTIFIER=iPad6,3"});
    EXPECT_EQ(tq.exitCode, 0) << tq.error;
    ASSERT_EQ(tq.out.substr(0, facts.size()), facts);
    EXPECT_THAT(tq.out.substr(facts.size()), testing::MatchesRegex(ending));
  }
}

}  // namespace
}  // namespace tq::tests
