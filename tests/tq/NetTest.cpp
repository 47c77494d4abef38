// Runs the real program in a network of its own, which changes under its eyes.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

// As root of a new network namespace: two ends of a cable, and what happens to them. Each step waits for the
// line that it leads to.
constexpr const char* kScript = R"sh(
set -e
out=$1
ip link set lo up
ip link add here type veth peer name there
ip address add 10.9.0.1/24 dev here
ip link set here up
ip link set there up
"$2" net >"$out" &
tq=$!
lines() { for i in $(seq 500); do [ "$(wc -l <"$out")" -ge "$1" ] && return; sleep 0.02; done; kill $tq; exit 9; }
lines 1; ip route add default via 10.9.0.2
lines 2; ip link set there down
lines 3; ip link set there up
lines 4; ip route replace default dev here
lines 5; ip link set here down
lines 6; kill -INT $tq
wait $tq
"$2" net --once 127.0.0.1 >>"$out"
"$2" net --once no-such-host.invalid >>"$out"
)sh";

TEST(TqNet, ShowsTheNetworkAndEachChangeUntilCtrlC) {
  if (std::system("unshare -rn ip link >/dev/null 2>&1") != 0)  // NOLINT(concurrency-mt-unsafe): one thread
    GTEST_SKIP() << "this user may not make a network namespace";
  const Sandbox sandbox;
  const auto script = sandbox.root / "script";
  const auto out = sandbox.root / "out";
  writeFile(script, kScript);
  const std::string command = "unshare -rn sh " + script.string() + " " + out.string() + " " TQ_PROGRAM;
  EXPECT_EQ(std::system(command.c_str()), 0);  // NOLINT(concurrency-mt-unsafe): one thread
  EXPECT_EQ(readFile(out),
            "No Connection  -- -------\n"
            "WiFi           -R -------\n"
            "No Connection  -- -------\n"
            "WiFi           -R -------\n"
            "WiFi           -R ------d\n"
            "No Connection  -- -------\n"
            "WiFi           -R -----ld\n"
            "No Connection  -- -------\n");
}

}  // namespace
}  // namespace tq::tests
