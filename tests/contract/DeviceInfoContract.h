#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "TQFoundation/Platform/Ports/DeviceInfo.h"

namespace tq::tests {

/// What every `DeviceInfo` of a running system promises. Instantiated with types that have a `device` to ask.
template <class World>
class DeviceInfoContract : public testing::Test {
 protected:
  World world_;
};

TYPED_TEST_SUITE_P(DeviceInfoContract);

TYPED_TEST_P(DeviceInfoContract, TellsEveryThreadTheSameOneLine) {
  const DeviceInfo& device = *this->world_.device;
  const auto facts = [&] { return std::vector{device.hardwareIdentifier(), device.systemVersion()}; };
  const auto expected = facts();
  for (const std::string& text : expected) {
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' '; })) << text;
  }
  std::thread other([&] { EXPECT_EQ(facts(), expected); });
  EXPECT_EQ(facts(), expected);
  other.join();
}

REGISTER_TYPED_TEST_SUITE_P(DeviceInfoContract, TellsEveryThreadTheSameOneLine);

}  // namespace tq::tests
