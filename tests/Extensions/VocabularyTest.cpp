#include <gtest/gtest.h>

#include <thread>
#include <unordered_set>

#include "TQFoundation/Extensions/TQAction.h"
#include "TQFoundation/Extensions/TQActionConstants.h"
#include "TQFoundation/Extensions/TQNotificationNames.h"

namespace tq::tests {
namespace {

using Name = NSNotification::Name;

char changing[] = "before";
const platform::NSNotification::Name kOfChangingText(std::string_view(changing, 6));

TEST(NotificationName, IsItsTextWhereverThatCameFrom) {
  EXPECT_EQ(Name::userDidRequestShare, Name("UserDidRequestToPresentShareSheet"));
  EXPECT_NE(Name::userDidRequestShare, Name("UserDidRequestShare"));
  EXPECT_NE(Name::cameraLoadComplete, Name("CameraLoadComplete"));

  std::optional<Name> made(std::string("Show") + "Studio");
  Name copy = *made;
  made.reset();
  EXPECT_EQ(copy, Name::showStudio);
  copy = Name::saveCompleted;
  EXPECT_EQ(copy.rawValue(), "saveCompleted");
  copy = *&copy;
  const platform::NSNotification::Name moved = std::move(copy);
  EXPECT_EQ(std::unordered_set<Name>({moved, Name("saveCompleted"), Name()}).size(), 2U);

  changing[0] = 'B';
  EXPECT_EQ(kOfChangingText.rawValue(), "before");
}

TEST(NotificationName, MayBeCopiedAndDroppedOnSeveralThreads) {
  std::vector<std::thread> threads;
  const auto made = std::make_unique<Name>(std::string(100, 'n'));
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([name = *made] {
      for (int round = 0; round < 1'000; ++round) EXPECT_EQ(Name(name).rawValue()[99], 'n');
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(ShareObserverKeys, ComeFromTheirExactTextOnly) {
  EXPECT_EQ(makeTQShareObserverKeys("fromVC"), TQShareObserverKeys::fromVC);
  for (const auto text : kShareObserverRawValues) EXPECT_EQ(rawValue(*makeTQShareObserverKeys(text)), text);
  for (const char* const text : {"FromVC", "fromVc", " fromVC", "fromVC ", "fromV", ""})
    EXPECT_EQ(makeTQShareObserverKeys(text), std::nullopt) << text;
}

struct Factory {
  static std::unique_ptr<TQAction> makeAction(const TQActionParameters&) { return nullptr; }
};
static_assert(TQActionFactory<Factory> && !TQActionFactory<TQAction>);
static_assert(!std::is_copy_constructible_v<TQEditInitiatorProtocol>);

}  // namespace
}  // namespace tq::tests
