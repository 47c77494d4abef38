#include "TQFoundationTesting/FakeImageManager.h"

#include "tests/contract/ImageManagerContract.h"

namespace tq::tests {
namespace {

struct FakeWorld : ImageManagerWorld {
  FakeWorld() {
    const auto photos = doubles::FakeImageManager::make();
    photos->add("good", {.progress = {0.5, 1}});
    photos->add("endless", {.progress = {0.5}, .stalls = true});
    manager = photos;
    playable = "good";
    failing = "unknown";
    neverEnding = "endless";
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ImageManagerContract, FakeWorld);

}  // namespace
}  // namespace tq::tests
