#include "tests/support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <system_error>

namespace tq::tests {
namespace {

using Then = Reply::Then;

bool sendAll(int socket, std::string_view bytes, int flags = 0) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// The head of the next request, or an empty text once there is none.
std::string nextRequest(int socket) {
  std::string received;
  while (!received.ends_with("\r\n\r\n")) {
    char bytes[8192];
    const ssize_t count = ::recv(socket, bytes, sizeof bytes, 0);
    if (count <= 0) return {};
    received.append(bytes, static_cast<std::size_t>(count));
  }
  return received;
}

std::string pathIn(const std::string& request) {
  const std::size_t from = request.find(' ') + 1;
  return request.substr(from, request.find_first_of(" ?\r", from) - from);
}

bool sendReply(int socket, const Reply& reply) {
  static const std::string generated(256 * 1024, 'g');
  if (reply.raw) return sendAll(socket, *reply.raw);
  const std::uint64_t size = std::max<std::uint64_t>(reply.generatedBytes, reply.body.size());
  const std::uint64_t end = std::min(size, reply.after);
  const std::uint64_t piece = reply.pauseEvery != 0 ? reply.pauseEvery : generated.size();
  const std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " Reply\r\n" + reply.headers +
                           "Content-Length: " + std::to_string(size) + "\r\n\r\n";
  if (!sendAll(socket, head, end > 0 ? MSG_MORE : 0)) return false;
  for (std::uint64_t sent = 0; sent < end; sent += piece) {
    if (sent > 0) std::this_thread::sleep_for(reply.pause);
    const std::string_view left =
        reply.generatedBytes != 0 ? generated : std::string_view(reply.body).substr(sent);
    if (!sendAll(socket, left.substr(0, std::min(piece, end - sent)))) return false;
  }
  return true;
}

// Returns false when the client has closed, the only end of what is repeated.
bool repeat(int socket, const std::string& bytes) {
  while (!bytes.empty())
    if (!sendAll(socket, bytes)) return false;
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
  acceptor_ = std::thread([this] {
    for (int socket; (socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
      const int noDelay = 1;
      ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
      const std::scoped_lock lock(mutex_);
      sockets_.insert(socket);
      conversations_.emplace_back([this, socket] { converse(socket); });
    }
  });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  ::close(listener_);
  const std::scoped_lock lock(mutex_);
  for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
}

void LoopbackServer::converse(int socket) {
  const Reply unknown{.status = 404, .body = "nothing here\n"};
  for (bool goOn = true; goOn;) {
    const std::string request = nextRequest(socket);
    if (request.empty()) break;
    const std::string path = pathIn(request);
    std::unique_lock lock(mutex_);
    ++requests_[path];
    Reply reply = replies_.contains(path) ? replies_[path] : unknown;
    lock.unlock();
    if (reply.respond) reply = reply.respond(request);
    goOn = sendReply(socket, reply) && repeat(socket, reply.repeated) && goesOn(socket, reply.then);
  }
  const std::scoped_lock lock(mutex_);
  ::close(socket);
  sockets_.erase(socket);
}

}  // namespace tq::tests
