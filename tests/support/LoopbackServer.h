#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tq::tests {

/// What the server answers to a request, and how it misbehaves meanwhile.
struct Reply {
  int status = 200;
  std::vector<std::string> headers{};  ///< More header lines: "Location: /other".
  std::string body{};

  /// Unless 0 the body is that many bytes of `LoopbackServer::generatedByte` instead.
  std::uint64_t generatedBytes = 0;

  /// Whether the length goes ahead of the body, is told by the end of the connection, or piece by piece.
  enum class Length { announced, none, chunked } length = Length::announced;

  /// An announced length that is not the body's. The connection ends after the body.
  std::optional<std::int64_t> announce{};

  /// A stall lasts until the client closes or the server goes. A reset comes as a TCP RST.
  enum class Fault {
    none,
    stallBeforeHeaders,
    stallInHeaders,
    stallInBody,
    closeInBody,
    resetInBody
  } fault = Fault::none;
  std::size_t faultAfter = 0;  ///< The body bytes that the client has received before the fault.

  /// The pace: a rest of `pause` after every `pauseEvery` bytes of the body, the last one excepted.
  std::chrono::milliseconds pause{0};
  std::size_t pauseEvery = 0;
};

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
/// Callable from any thread.
class LoopbackServer {
 public:
  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// Answers requests for `path` with `reply` from now on.
  void serve(std::string path, Reply reply);

  /// `path` may carry a query.
  [[nodiscard]] std::string url(std::string_view path) const;
  [[nodiscard]] std::uint16_t port() const { return port_; }

  /// The requests for `path` whose headers have come in so far, known or not.
  [[nodiscard]] int requests(std::string_view path) const;

  /// The connections accepted so far, ended ones included.
  [[nodiscard]] int connections() const { return accepted_; }

  /// The byte at `offset` of a generated body.
  [[nodiscard]] static char generatedByte(std::uint64_t offset);

 private:
  struct Connection {
    int socket = -1;
    bool ended = false;
    std::thread thread;
  };

  void accept();
  void end(Connection& connection);
  void joinEnded();
  [[nodiscard]] std::shared_ptr<const Reply> replyTo(std::string_view path);

  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<int> accepted_ = 0;

  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<const Reply>, std::less<>> replies_;
  std::map<std::string, int, std::less<>> requests_;
  std::list<Connection> connections_;
  std::thread acceptor_;
};

}  // namespace tq::tests
