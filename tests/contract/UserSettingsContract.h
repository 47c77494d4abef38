#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundationTesting/ManualQueue.h"

namespace tq::tests {

/// What every `UserSettingsSource` promises. Instantiated with types that have a `source`, and `change()`,
/// which moves the user to another zone at each call.
template <class World>
class UserSettingsContract : public testing::Test {
 protected:
  World world_;
};

TYPED_TEST_SUITE_P(UserSettingsContract);

TYPED_TEST_P(UserSettingsContract, ReplacesTheSnapshotWholeAndOnlyWhenSomethingChanged) {
  auto& source = *this->world_.source;
  const auto before = source.current();
  ASSERT_NE(before, nullptr);
  const TimeZone zone = before->timeZone;
  std::jthread([&] { EXPECT_EQ(source.current(), before); });
  source.refresh();
  EXPECT_EQ(source.current(), before);
  this->world_.change();
  EXPECT_NE(source.current(), before);
  EXPECT_NE(source.current()->timeZone, zone);
  EXPECT_EQ(before->timeZone, zone);
}

TYPED_TEST_P(UserSettingsContract, NotifiesOnTheQueueUntilTheSubscriptionIsReleased) {
  auto& source = *this->world_.source;
  const auto queue = std::make_shared<ManualQueue>();
  const auto before = source.current();
  int calls = 0;
  Subscription other;
  Subscription own = source.observe(queue, [&] {
    EXPECT_NE(source.current(), before);  // calls back in
    ++calls;
    own.reset();
    other.reset();  // takes back a call that waits already
  });
  other = source.observe(queue, [&] { ++calls; });
  this->world_.change();
  EXPECT_EQ(calls, 0);
  queue->run();
  EXPECT_EQ(calls, 1);
  this->world_.change();
  queue->run();
  EXPECT_EQ(calls, 1);
}

REGISTER_TYPED_TEST_SUITE_P(UserSettingsContract, ReplacesTheSnapshotWholeAndOnlyWhenSomethingChanged,
                            NotifiesOnTheQueueUntilTheSubscriptionIsReleased);

}  // namespace tq::tests
