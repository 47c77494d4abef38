#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace httplib {
class Server;
}

namespace tq::tool {

/// The demo's cloud: an HTTP server on 127.0.0.1, on a port that the system picks, which hands out the
/// embedded clips, each slowly enough to watch.
class DemoServer {
 public:
  /// Each clip takes `perClip`.
  explicit DemoServer(std::chrono::milliseconds perClip);

  /// Breaks off what is under way.
  ~DemoServer();
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  /// False when no port could be had.
  [[nodiscard]] bool isListening() const { return port_ > 0; }

  /// Of the clip `name`.
  [[nodiscard]] std::string url(std::string_view name) const;

 private:
  const std::chrono::milliseconds perClip_;
  std::atomic<bool> ending_ = false;
  std::unique_ptr<httplib::Server> server_;
  int port_ = -1;
  std::thread thread_;
};

}  // namespace tq::tool
