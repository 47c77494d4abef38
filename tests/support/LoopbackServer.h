#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tq::tests {

/// What the server replies to a request, and how it misbehaves meanwhile. More `headers` may contradict those
/// it sends by itself: a second Content-Length.
struct Reply {
  int status = 200;
  std::string headers{};  ///< More header lines: "Location: /other\r\n".
  std::string body{};

  /// Unless 0 the body is that many bytes of no meaning instead.
  std::uint64_t generatedBytes = 0;

  /// The status line, headers and body to the letter, instead of what the fields above come to.
  std::optional<std::string> raw{};

  /// Sent over and over after all that, until the client closes: a reply without an end.
  std::string repeated{};

  /// What follows after so many bytes of the body. A stall lasts until the client closes or the server goes.
  enum class Then { nextRequest, stall, close, reset } then = Then::nextRequest;
  std::uint64_t after = UINT64_MAX;

  /// The pace: a rest of `pause` after every `pauseEvery` bytes of the body, the last one excepted.
  std::chrono::milliseconds pause{0};
  std::size_t pauseEvery = 0;

  /// Makes the reply from the request's head instead. Called on the connection's thread.
  std::function<Reply(const std::string& request)> respond{};
};

/// `body` in one chunk, with nothing that tells its length ahead; for `Reply::raw`.
[[nodiscard]] std::string chunkedReply(const std::string& body);

/// An HTTP/1.1 server on 127.0.0.1, on a port that the system picks.
///
///     LoopbackServer server;
///     server.serve("/clip.mov", {.body = "film"});
///     download(server.url("/clip.mov"));
///     EXPECT_EQ(server.requests("/clip.mov"), 1);
///
/// It keeps connections open, serves each on a thread of its own, and answers 404 to a path it does not know.
/// A query is not part of the path. The destructor ends every connection, stalled ones as well.
///
/// Thread-safe.
class LoopbackServer {
 public:
  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// Answers requests for `path` with `reply` from now on.
  void serve(const std::string& path, Reply reply) {
    const std::scoped_lock lock(mutex_);
    replies_[path] = std::move(reply);
  }

  /// `path` may carry a query.
  [[nodiscard]] std::string url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
  }

  /// The requests for `path` whose headers have come in so far, known or not.
  [[nodiscard]] int requests(const std::string& path) {
    const std::scoped_lock lock(mutex_);
    return requests_[path];
  }

  /// The connections accepted so far, ended ones included.
  [[nodiscard]] std::size_t connections() {
    const std::scoped_lock lock(mutex_);
    return conversations_.size();
  }

 private:
  void converse(int socket);

  int listener_ = -1;
  int port_ = 0;
  std::mutex mutex_;
  std::set<int> sockets_;
  std::map<std::string, Reply> replies_;
  std::map<std::string, int> requests_;
  std::vector<std::jthread> conversations_;  // each ends before all that it uses
  std::thread acceptor_;
};

}  // namespace tq::tests
