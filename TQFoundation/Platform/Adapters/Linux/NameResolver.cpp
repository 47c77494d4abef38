#include "TQFoundation/Platform/Adapters/Linux/NameResolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>
#include <strings.h>
#include <sys/socket.h>
#include <unicode/uidna.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq::internal {
namespace {

constexpr const char* kHostsFile = "/etc/hosts";
constexpr std::size_t kMostAsking = 32;
constexpr std::size_t kMostThreads = kMostAsking + 1;

// What one silent server may cost: two attempts of two seconds. Names are asked for again anyway.
constexpr int kMostSecondsPerAttempt = 2;
constexpr int kMostAttempts = 2;

constexpr std::chrono::seconds kIdleLife{2};
constexpr std::size_t kMostAddresses = 64;
constexpr std::size_t kLongestName = 254;  // with the dot at its end (RFC 1035)

struct FreeAddresses {
  void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};

NetworkAddress addressOf(const sockaddr_in& socketAddress) {
  NetworkAddress address;
  std::memcpy(address.bytes.data(), &socketAddress.sin_addr, 4);
  return address;
}

NetworkAddress addressOf(const sockaddr_in6& socketAddress) {
  NetworkAddress address{.family = NetworkAddress::Family::ipv6, .scope = socketAddress.sin6_scope_id};
  std::memcpy(address.bytes.data(), &socketAddress.sin6_addr, 16);
  return address;
}

int lookUp(const std::string& name, int flags, NetworkAddresses& addresses) {
  addrinfo hints{};
  hints.ai_flags = flags;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int error = ::getaddrinfo(name.c_str(), nullptr, &hints, &list);
  if (error != 0) return error;
  const std::unique_ptr<addrinfo, FreeAddresses> owned(list);
  for (; list != nullptr && addresses.size() < kMostAddresses; list = list->ai_next) {
    if (list->ai_family == AF_INET)
      addresses.push_back(addressOf(*reinterpret_cast<const sockaddr_in*>(list->ai_addr)));
    if (list->ai_family == AF_INET6)
      addresses.push_back(addressOf(*reinterpret_cast<const sockaddr_in6*>(list->ai_addr)));
  }
  return 0;
}

// The first word of a line is the address, the others are names. Nullopt when the name is not in the file. A
// name that the file points to the all-zero address leads nowhere, and not to the network as a whole.
std::optional<NetworkAddresses> addressesInHostsFile(const std::string& name) {
  std::optional<NetworkAddresses> addresses;
  std::ifstream file(kHostsFile);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string address, word;
    for (words >> address; words >> word;) {
      if (::strcasecmp(word.c_str(), name.c_str()) != 0) continue;
      if (!addresses) addresses.emplace();
      const auto parsed = addressOfNumericName(address);
      if (parsed && !parsed->isAllZero() && addresses->size() < kMostAddresses) addresses->push_back(*parsed);
    }
  }
  return addresses;
}

// The state of the C library's resolver is the thread's own. It is read anew, so that it follows the system's
// settings, and then bounded. The library reads the settings under a lock that ThreadSanitizer does not see;
// hence one more.
NetworkAddresses addressesByServers(const std::string& name) {
  {
    static NeverDestroyed<Mutex> reading;
    const MutexLock lock(*reading);
    static_cast<void>(::res_init());
  }
  _res.retrans = std::min(_res.retrans, kMostSecondsPerAttempt);
  _res.retry = std::min(_res.retry, kMostAttempts);
  NetworkAddresses addresses;
  static_cast<void>(lookUp(name, 0, addresses));
  std::erase_if(addresses, [](const NetworkAddress& address) { return address.isAllZero(); });
  return addresses;
}

}  // namespace

std::optional<NetworkAddress> addressOfNumericName(const std::string& text) {
  NetworkAddresses addresses;
  if (lookUp(text, AI_NUMERICHOST, addresses) != 0 || addresses.empty()) return std::nullopt;
  return addresses.front();
}

std::optional<std::string> hostNameOf(std::string_view name) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; };
  if (name.empty() || name.size() > kLongestName || std::any_of(name.begin(), name.end(), isControl))
    return std::nullopt;
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (std::all_of(name.begin(), name.end(), isAscii)) return std::string(name);
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UIDNA, void (*)(UIDNA*)> idna(uidna_openUTS46(UIDNA_NONTRANSITIONAL_TO_ASCII, &error),
                                                      &uidna_close);
  if (U_FAILURE(error)) return std::nullopt;
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  std::array<char, kLongestName> encoded{};
  const auto length =
      uidna_nameToASCII_UTF8(idna.get(), name.data(), static_cast<int32_t>(name.size()), encoded.data(),
                             static_cast<int32_t>(encoded.size()), &info, &error);
  if (U_FAILURE(error) || info.errors != 0) return std::nullopt;
  return std::string(encoded.data(), static_cast<std::size_t>(length));
}

NameResolver& NameResolver::shared() {
  static NeverDestroyed<NameResolver> resolver;
  return *resolver;
}

void NameResolver::resolve(std::string name, std::weak_ptr<const void> owner, Handler handler) {
  {
    const MutexLock lock(mutex_);
    unread_.push_back({std::move(name), std::move(owner), std::move(handler)});
    if (unread_.size() <= idle_ || threads_ == kMostThreads) return added_.notifyOne();
    ++threads_;
  }
  try {
    std::thread([this] { work(); }).detach();
  } catch (const std::system_error&) {
    // The name waits for a thread there is, or for the next one that can be started.
    const MutexLock lock(mutex_);
    --threads_;
  }
}

void NameResolver::work() {
  while (auto request = next()) {
    if (!request->isNotInHostsFile) {
      if (auto addresses = addressesInHostsFile(request->name)) {
        request->handler(std::move(*addresses));
        continue;
      }
      if (!mayAskServers(*request)) continue;
    }
    request->handler(addressesByServers(request->name));
    endAsking();
  }
}

// Returns false when enough threads ask already, so that the request waits, or nobody waits for its result.
bool NameResolver::mayAskServers(Request& request) {
  if (request.owner.expired()) return false;
  request.isNotInHostsFile = true;
  const MutexLock lock(mutex_);
  if (asking_ == kMostAsking) {
    unasked_.push_back(std::move(request));
    return false;
  }
  ++asking_;
  return true;
}

void NameResolver::endAsking() {
  const MutexLock lock(mutex_);
  --asking_;
}

// Nullopt when this thread has waited its idle life for nothing and is no longer counted.
std::optional<NameResolver::Request> NameResolver::next() {
  const auto end = std::chrono::steady_clock::now() + kIdleLife;
  const MutexLock lock(mutex_);
  auto request = take();
  ++idle_;
  for (bool inTime = true; !request && inTime; request = take()) inTime = added_.waitUntil(mutex_, end);
  --idle_;
  if (!request) --threads_;
  return request;
}

std::optional<NameResolver::Request> NameResolver::take() {
  while (!unread_.empty() || (!unasked_.empty() && asking_ < kMostAsking)) {
    Requests& requests = unread_.empty() ? unasked_ : unread_;
    Request request = std::move(requests.front());
    requests.pop_front();
    if (request.owner.expired()) continue;
    if (request.isNotInHostsFile) ++asking_;
    return request;
  }
  return std::nullopt;
}

}  // namespace tq::internal
