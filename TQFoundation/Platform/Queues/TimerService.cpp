#include "TQFoundation/Platform/Queues/TimerService.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <thread>
#include <utility>

namespace tq {
namespace {

class Engine {
 public:
  static Engine& shared() {
    static auto* const engine = new Engine;
    return *engine;
  }

  asio::io_context& context() { return context_; }

 private:
  Engine() {
    std::thread([this] { context_.run(); }).detach();
  }

  asio::io_context context_{1};
  asio::executor_work_guard<asio::io_context::executor_type> stayAwake_{context_.get_executor()};
};

}  // namespace

TimerService::Clock::time_point TimerService::fromNow(std::chrono::nanoseconds delay) {
  constexpr std::chrono::nanoseconds kFarthest = std::chrono::hours(24 * 36'525);
  return Clock::now() + std::clamp(delay, std::chrono::nanoseconds::zero(), kFarthest);
}

TimerService::Cancel TimerService::callAt(Clock::time_point moment, Task task) {
  auto& context = Engine::shared().context();
  auto timer = std::make_shared<asio::steady_timer>(context, moment);
  timer->async_wait([task = std::move(task), timer](const asio::error_code& error) {
    if (!error) task();
  });
  // A timer is not to be touched from two threads: the cancel goes to the engine's own.
  return [weak = std::weak_ptr(timer), &context] {
    if (auto running = weak.lock()) asio::post(context, [running] { running->cancel(); });
  };
}

}  // namespace tq
