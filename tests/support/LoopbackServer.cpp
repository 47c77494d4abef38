#include "tests/support/LoopbackServer.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <tuple>
#include <utility>

namespace tq::tests {
namespace {

using Fault = Reply::Fault;
using Length = Reply::Length;

constexpr std::size_t kLongestRequest = 64 * 1024;
constexpr std::size_t kPiece = 256 * 1024;
constexpr std::uint64_t kPeriod = 251;  // a prime: a block that is lost or doubled moves what follows

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::pair<int, std::uint16_t> listenOnLoopback() {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (listener < 0 || ::bind(listener, generic, size) != 0) fail("bind");
  if (::listen(listener, SOMAXCONN) != 0 || ::getsockname(listener, generic, &size) != 0) fail("listen");
  return {listener, ntohs(address.sin_port)};
}

bool sendAll(int socket, std::string_view bytes, int flags = 0) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// A stall: a shutdown by either side ends it.
void waitForTheEnd(int socket) {
  std::array<char, 1024> ignored;
  while (::recv(socket, ignored.data(), ignored.size(), 0) > 0) {
  }
}

// A pause that the end of the connection cuts short.
void rest(int socket, std::chrono::milliseconds pause) {
  pollfd end{.fd = socket, .events = POLLRDHUP, .revents = 0};
  ::poll(&end, 1, static_cast<int>(pause.count()));
}

// What is still on its way would be lost with the reset.
void reset(int socket) {
  for (int unsent = 0, tries = 0; tries < 1000; ++tries) {
    if (::ioctl(socket, SIOCOUTQ, &unsent) != 0 || unsent == 0) break;
    rest(socket, std::chrono::milliseconds(1));
  }
  const linger atOnce{.l_onoff = 1, .l_linger = 0};
  ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

// The path of the next request, once its headers are there; what follows them stays in `received`.
std::optional<std::string> nextRequest(int socket, std::string& received) {
  constexpr std::string_view kEnd = "\r\n\r\n";
  std::size_t end = 0;
  while ((end = received.find(kEnd)) == std::string::npos) {
    std::array<char, 8192> bytes;
    const ssize_t count = ::recv(socket, bytes.data(), bytes.size(), 0);
    if (count <= 0 || received.size() > kLongestRequest) return std::nullopt;
    received.append(bytes.data(), static_cast<std::size_t>(count));
  }
  const std::size_t from = received.find(' ') + 1;
  std::string path = received.substr(from, received.find_first_of(" ?\r", from) - from);
  received.erase(0, end + kEnd.size());
  return path;
}

// Sends one reply.
class Answer {
 public:
  Answer(int socket, const Reply& reply)
      : socket_(socket),
        reply_(reply),
        size_(reply.generatedBytes != 0 ? reply.generatedBytes : reply.body.size()),
        end_(faultInBody() ? std::min<std::uint64_t>(reply.faultAfter, size_) : size_) {}

  // Whether the connection can be used again.
  bool send() {
    if (reply_.fault == Fault::stallBeforeHeaders) return stall();
    const std::string headers = headerLines();
    if (reply_.fault == Fault::stallInHeaders)
      return sendAll(socket_, std::string_view(headers).substr(0, headers.size() / 2)) && stall();
    if (!sendAll(socket_, headers, end_ > 0 ? MSG_MORE : 0) || !sendBody()) return false;
    if (reply_.fault == Fault::stallInBody) return stall();
    if (reply_.fault == Fault::resetInBody) reset(socket_);
    return !endsConnection();
  }

 private:
  [[nodiscard]] bool faultInBody() const { return reply_.fault >= Fault::stallInBody; }

  [[nodiscard]] bool endsConnection() const {
    return reply_.length == Length::none || reply_.announce || faultInBody();
  }

  [[nodiscard]] bool stall() const {
    waitForTheEnd(socket_);
    return false;
  }

  [[nodiscard]] std::string headerLines() const {
    std::string lines = "HTTP/1.1 " + std::to_string(reply_.status) + " Reply\r\n";
    for (const std::string& header : reply_.headers) lines += header + "\r\n";
    if (reply_.length == Length::none) lines += "Connection: close\r\n";
    if (reply_.length == Length::chunked) lines += "Transfer-Encoding: chunked\r\n";
    const std::string size = reply_.announce ? std::to_string(*reply_.announce) : std::to_string(size_);
    if (reply_.length == Length::announced) lines += "Content-Length: " + size + "\r\n";
    return lines + "\r\n";
  }

  [[nodiscard]] bool sendBody() const {
    for (std::uint64_t sent = 0; sent < end_;) {
      const std::string_view bytes = piece(sent);
      if (!sendPiece(bytes)) return false;
      sent += bytes.size();
      if (reply_.pauseEvery != 0 && sent % reply_.pauseEvery == 0 && sent < end_) rest(socket_, reply_.pause);
    }
    return reply_.length != Length::chunked || faultInBody() || sendAll(socket_, "0\r\n\r\n");
  }

  // From `offset` to the next pause, or the end.
  [[nodiscard]] std::string_view piece(std::uint64_t offset) const {
    std::uint64_t count = std::min<std::uint64_t>(kPiece, end_ - offset);
    if (reply_.pauseEvery != 0) count = std::min(count, reply_.pauseEvery - offset % reply_.pauseEvery);
    if (reply_.generatedBytes == 0) return std::string_view(reply_.body).substr(offset, count);
    static const std::string generated = [] {
      std::string bytes(kPiece + kPeriod, '\0');
      for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = LoopbackServer::generatedByte(i);
      return bytes;
    }();
    return std::string_view(generated).substr(offset % kPeriod, count);
  }

  [[nodiscard]] bool sendPiece(std::string_view bytes) const {
    if (reply_.length != Length::chunked) return sendAll(socket_, bytes);
    std::array<char, 24> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", bytes.size());
    return sendAll(socket_, size.data(), MSG_MORE) && sendAll(socket_, bytes, MSG_MORE) &&
           sendAll(socket_, "\r\n");
  }

  const int socket_;
  const Reply& reply_;
  const std::uint64_t size_;
  const std::uint64_t end_;  // the body bytes that are sent
};

}  // namespace

LoopbackServer::LoopbackServer() {
  std::tie(listener_, port_) = listenOnLoopback();
  acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  {
    const std::scoped_lock lock(mutex_);
    for (const Connection& connection : connections_) ::shutdown(connection.socket, SHUT_RDWR);
  }
  for (Connection& connection : connections_) connection.thread.join();
  ::close(listener_);
}

void LoopbackServer::serve(std::string path, Reply reply) {
  auto shared = std::make_shared<const Reply>(std::move(reply));
  const std::scoped_lock lock(mutex_);
  replies_[std::move(path)] = std::move(shared);
}

std::string LoopbackServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

int LoopbackServer::requests(std::string_view path) const {
  const std::scoped_lock lock(mutex_);
  const auto found = requests_.find(path);
  return found == requests_.end() ? 0 : found->second;
}

char LoopbackServer::generatedByte(std::uint64_t offset) {
  return static_cast<char>(offset % kPeriod);
}

void LoopbackServer::accept() {
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0 && (errno == EINTR || errno == ECONNABORTED)) continue;
    if (socket < 0) return;
    const int noDelay = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
    ++accepted_;
    const std::scoped_lock lock(mutex_);
    joinEnded();
    Connection& connection = connections_.emplace_back();
    connection.socket = socket;
    connection.thread = std::thread([this, &connection, socket] {
      std::string received;
      while (const auto path = nextRequest(socket, received)) {
        if (!Answer(socket, *replyTo(*path)).send()) break;
      }
      end(connection);
    });
  }
}

// With the lock held: a thread that has said it ends needs it no more.
void LoopbackServer::joinEnded() {
  std::erase_if(connections_, [](Connection& connection) {
    if (connection.ended) connection.thread.join();
    return connection.ended;
  });
}

void LoopbackServer::end(Connection& connection) {
  const std::scoped_lock lock(mutex_);
  ::close(connection.socket);
  connection.socket = -1;
  connection.ended = true;
}

std::shared_ptr<const Reply> LoopbackServer::replyTo(std::string_view path) {
  static const auto kUnknown = std::make_shared<const Reply>(Reply{.status = 404, .body = "nothing here\n"});
  const std::scoped_lock lock(mutex_);
  ++requests_[std::string(path)];
  const auto found = replies_.find(path);
  return found == replies_.end() ? kUnknown : found->second;
}

}  // namespace tq::tests
