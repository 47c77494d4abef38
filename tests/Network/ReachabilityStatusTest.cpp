#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundationTesting/FakeReachability.h"

namespace tq::tests {
namespace {

using Connection = TQReachability::Connection;

// The nine bits by the letters of the picture, lowest bit first.
struct Bit {
  char letter;
  SCNetworkReachabilityFlags mask;
};
constexpr Bit kBits[] = {{'t', 0x1},  {'R', 0x2},     {'c', 0x4},     {'C', 0x8},    {'i', 0x10},
                         {'D', 0x20}, {'l', 0x10000}, {'d', 0x20000}, {'W', 0x40000}};

// What a person reads from the letters: the rules said once more, as sentences about texts.
struct Oracle {
  std::string set;
  bool device;
  bool cellularAllowed;

  [[nodiscard]] bool any(std::string_view letters) const {
    return set.find_first_of(letters) != std::string::npos;
  }

  [[nodiscard]] std::string connection() const {
    if (!any("R")) return "No Connection";
    if (!device) return "WiFi";
    if (any("W")) return cellularAllowed ? "Cellular" : "No Connection";
    const bool usableAtOnce = !any("c");
    const bool madeByItself = any("CD") && !any("i");
    return usableAtOnce || madeByItself ? "WiFi" : "No Connection";
  }

  [[nodiscard]] std::string picture() const {
    std::string text = "WR ctiCDld";
    for (char& character : text)
      if (character != ' ' && !any({&character, 1})) character = '-';
    if (!device) text[0] = 'X';
    return text;
  }
};

void expectAsRead(const TQReachability& reachability, const Oracle& oracle) {
  SCOPED_TRACE("set: \"" + oracle.set + "\" device " + std::to_string(oracle.device) + " cellular " +
               std::to_string(oracle.cellularAllowed));
  EXPECT_EQ(reachability.currentReachabilityString(), oracle.connection());
  EXPECT_EQ(description(reachability.currentReachabilityStatus()), oracle.connection());
  EXPECT_EQ(reachability.isReachable(), oracle.any("R") && !(oracle.any("c") && oracle.any("t")));
  EXPECT_EQ(reachability.isReachableViaWWAN(), oracle.device && oracle.any("R") && oracle.any("W"));
  EXPECT_EQ(reachability.isReachableViaWiFi(), oracle.any("R") && !(oracle.device && oracle.any("W")));
  EXPECT_EQ(reachability.description(), oracle.picture());
}

TEST(ReachabilityStatus, FollowsTheRulesForEverySetOfFlags) {
  constexpr SCNetworkReachabilityFlags kOtherBits = 0xFFF8FFC0;  // must make no difference
  for (const bool device : {true, false}) {
    const auto network = std::make_shared<FakeReachability>();
    const auto reachability = TQReachability::make({.network = network, .isRunningOnDevice = device});
    for (unsigned choice = 0; choice < 512; ++choice) {
      Oracle oracle{.set = {}, .device = device, .cellularAllowed = true};
      SCNetworkReachabilityFlags flags = choice % 2 == 0 ? 0 : kOtherBits;
      for (unsigned bit = 0; bit < 9; ++bit) {
        if ((choice >> bit & 1U) == 0) continue;
        oracle.set += kBits[bit].letter;
        flags |= kBits[bit].mask;
      }
      network->set(flags);
      for (const bool allowed : {true, false}) {
        oracle.cellularAllowed = allowed;
        reachability->setAllowsCellularConnection(allowed);
        expectAsRead(*reachability, oracle);
      }
    }
  }
}

TEST(ReachabilityStatus, AFailedReadIsNoFlagAndEachConditionReadsAnew) {
  const auto network = std::make_shared<FakeReachability>(std::nullopt);
  const auto reachability = TQReachability::make({.network = network});
  expectAsRead(*reachability, {.set = "", .device = true, .cellularAllowed = true});

  network->set(0x2);
  const int before = network->reads();
  EXPECT_EQ(reachability->description(), "-R -------");
  EXPECT_EQ(network->reads() - before, 9);
}

}  // namespace
}  // namespace tq::tests
