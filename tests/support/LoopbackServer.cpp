#include "tests/support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>
#include <system_error>

namespace tq::tests {
namespace {

using Then = Reply::Then;

constexpr std::size_t kLongestRequest = 64 * 1024;
constexpr std::size_t kPiece = 256 * 1024;

bool sendAll(int socket, std::string_view bytes, int flags = 0) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// The path of the next request, or an empty text once there is none.
std::string nextRequest(int socket) {
  std::string received;
  while (!received.ends_with("\r\n\r\n")) {
    std::array<char, 8192> bytes;
    const ssize_t count = ::recv(socket, bytes.data(), bytes.size(), 0);
    if (count <= 0 || received.size() > kLongestRequest) return {};
    received.append(bytes.data(), static_cast<std::size_t>(count));
  }
  const std::size_t from = received.find(' ') + 1;
  return received.substr(from, received.find_first_of(" ?\r", from) - from);
}

std::string head(const Reply& reply, std::uint64_t size) {
  return "HTTP/1.1 " + std::to_string(reply.status) + " Reply\r\n" + reply.headers +
         "Content-Length: " + std::to_string(size) + "\r\n\r\n";
}

bool sendReply(int socket, const Reply& reply) {
  static const std::string generated(kPiece, 'g');
  if (reply.raw) return sendAll(socket, *reply.raw);
  const std::uint64_t size = std::max<std::uint64_t>(reply.generatedBytes, reply.body.size());
  const std::uint64_t end = std::min(size, reply.after);
  if (!sendAll(socket, head(reply, size), end > 0 ? MSG_MORE : 0)) return false;
  for (std::uint64_t sent = 0; sent < end;) {
    const auto count = std::min<std::uint64_t>(reply.pauseEvery != 0 ? reply.pauseEvery : kPiece, end - sent);
    const std::string_view all = reply.generatedBytes != 0 ? generated : reply.body;
    if (!sendAll(socket, all.substr(reply.generatedBytes != 0 ? 0 : sent, count))) return false;
    sent += count;
    if (sent < end) std::this_thread::sleep_for(reply.pause);
  }
  return true;
}

// Whether the connection can be used again.
bool goesOn(int socket, Then then) {
  if (then == Then::stall) {
    for (char ignored = 0; ::recv(socket, &ignored, 1, 0) > 0;) {
    }
  } else if (then == Then::reset) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // what is on its way would be lost with it
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  }
  return then == Then::nextRequest;
}

}  // namespace

std::string chunkedReply(const std::string& body) {
  std::ostringstream reply;
  reply << "HTTP/1.1 200 Reply\r\nTransfer-Encoding: chunked\r\n\r\n" << std::hex << body.size() << "\r\n";
  return reply.str() + body + "\r\n0\r\n\r\n";
}

LoopbackServer::LoopbackServer() {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (::bind(listener_, generic, size) != 0 || ::listen(listener_, SOMAXCONN) != 0 ||
      ::getsockname(listener_, generic, &size) != 0)
    throw std::system_error(errno, std::generic_category(), "cannot listen");
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  ::close(listener_);
  std::unique_lock lock(mutex_);
  for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
  ended_.wait(lock, [this] { return sockets_.empty(); });
}

void LoopbackServer::serve(const std::string& path, Reply reply) {
  const std::scoped_lock lock(mutex_);
  replies_[path] = std::move(reply);
}

std::string LoopbackServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

int LoopbackServer::requests(const std::string& path) {
  const std::scoped_lock lock(mutex_);
  return requests_[path];
}

int LoopbackServer::connections() {
  const std::scoped_lock lock(mutex_);
  return accepted_;
}

void LoopbackServer::accept() {
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0 && errno == EINVAL) return;  // shut down
    if (socket < 0) continue;
    const int noDelay = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
    const std::scoped_lock lock(mutex_);
    ++accepted_;
    sockets_.insert(socket);
    std::thread([this, socket] { converse(socket); }).detach();
  }
}

void LoopbackServer::converse(int socket) {
  for (bool goOn = true; goOn;) {
    const std::string path = nextRequest(socket);
    if (path.empty()) break;
    const Reply reply = replyTo(path);
    goOn = sendReply(socket, reply) && goesOn(socket, reply.then);
  }
  const std::scoped_lock lock(mutex_);
  ::close(socket);
  sockets_.erase(socket);
  ended_.notify_all();
}

Reply LoopbackServer::replyTo(const std::string& path) {
  const std::scoped_lock lock(mutex_);
  ++requests_[path];
  const auto found = replies_.find(path);
  return found == replies_.end() ? Reply{.status = 404, .body = "nothing here\n"} : found->second;
}

}  // namespace tq::tests
