#include "TQFoundation/Platform/Adapters/Linux/NameResolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unicode/uidna.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace tq {
namespace {

constexpr std::size_t kMostThreads = 8;
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

ResolvedName resolved(const std::string& name) {
  ResolvedName result;
  const int error = lookUp(name, 0, result.addresses);
  // A name that somebody has pointed there leads nowhere, and not to the network as a whole.
  std::erase_if(result.addresses, [](const NetworkAddress& address) { return address.isAllZero(); });
  result.mayComeLater = error == EAI_AGAIN || error == EAI_MEMORY || error == EAI_SYSTEM;
  return result;
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
  static auto* const resolver = new NameResolver;
  return *resolver;
}

void NameResolver::resolve(std::string name, Handler handler) {
  {
    const std::scoped_lock lock(mutex_);
    waiting_.push_back({std::move(name), std::move(handler)});
    if (waiting_.size() <= idle_ || threads_ == kMostThreads) return added_.notify_one();
    ++threads_;
  }
  try {
    std::thread([this] { work(); }).detach();
  } catch (const std::system_error&) {
    // The name waits for a thread there is, or for the next one that can be started.
    const std::scoped_lock lock(mutex_);
    --threads_;
  }
}

void NameResolver::work() {
  while (const auto question = next()) question->handler(resolved(question->name));
}

// Absent when this thread has waited its idle life for nothing and is no longer counted.
std::optional<NameResolver::Question> NameResolver::next() {
  std::unique_lock lock(mutex_);
  ++idle_;
  const bool found = added_.wait_for(lock, kIdleLife, [this] { return !waiting_.empty(); });
  --idle_;
  if (!found) {
    --threads_;
    return std::nullopt;
  }
  Question question = std::move(waiting_.front());
  waiting_.pop_front();
  return question;
}

}  // namespace tq
