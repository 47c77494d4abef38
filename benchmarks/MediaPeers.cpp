// What the file downloader is compared with: libcurl alone, and the socket calls alone.

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "benchmarks/MediaClients.h"

namespace tq::bench {
namespace {

constexpr long kCurlBuffer = 512L * 1024;
constexpr std::size_t kSocketBuffer = 1024UL * 1024;

int createFile(const std::filesystem::path& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) fail("cannot create " + path.string());
  return file;
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* file) {
  return writeAll(*static_cast<const int*>(file), {bytes, size * count}) ? size * count
                                                                         : CURL_WRITEFUNC_ERROR;
}

// A connection that is kept from file to file.
class BareCurl {
 public:
  BareCurl() {
    curl_easy_setopt(handle_, CURLOPT_BUFFERSIZE, kCurlBuffer);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &onBody);
  }
  ~BareCurl() { curl_easy_cleanup(handle_); }

  void fetch(const std::string& url, const std::filesystem::path& path) {
    const int file = createFile(path);
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &file);
    if (curl_easy_perform(handle_) != CURLE_OK) fail("libcurl cannot fetch " + url);
    ::close(file);
  }

 private:
  CURL* const handle_ = curl_easy_init();
};

// An HTTP client that asks and takes, and checks nothing but the end of the body.
class BareConnection {
 public:
  explicit BareConnection(std::string_view url) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    url.remove_prefix(url.find("//") + 2);
    const auto slash = url.find('/');
    const auto colon = url.find(':');
    std::uint16_t port = 0;
    std::from_chars(url.data() + colon + 1, url.data() + slash, port);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, std::string(url.substr(0, colon)).c_str(), &address.sin_addr);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      fail("cannot connect");
  }
  ~BareConnection() { ::close(socket_); }

  void fetch(std::string_view url, int file) {
    const auto path = url.substr(url.find('/', url.find("//") + 2));
    const std::string request = "GET " + std::string(path) + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    if (::send(socket_, request.data(), request.size(), MSG_NOSIGNAL) < 0) fail("cannot send");
    std::string_view bytes = receive();
    std::uint64_t left = bodySize(bytes);
    bytes.remove_prefix(bytes.find("\r\n\r\n") + 4);
    for (;; bytes = receive()) {
      if (!writeAll(file, bytes)) fail("cannot write");
      left -= bytes.size();
      if (left == 0) return;
    }
  }

 private:
  // The loopback server sends its headers in one piece.
  static std::uint64_t bodySize(std::string_view headers) {
    constexpr std::string_view kName = "Content-Length: ";
    std::uint64_t size = 0;
    const char* const digits = headers.data() + headers.find(kName) + kName.size();
    std::from_chars(digits, headers.data() + headers.size(), size);
    return size;
  }

  std::string_view receive() {
    const ssize_t got = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
    if (got <= 0) fail("the server has gone");
    return {buffer_.data(), static_cast<std::size_t>(got)};
  }

  const int socket_;
  std::vector<char> buffer_ = std::vector<char>(kSocketBuffer);
};

}  // namespace

void fetchWithBareCurl(const std::string& url, const std::filesystem::path& folder, int count) {
  static BareCurl curl;
  for (int i = 0; i < count; ++i) curl.fetch(url, folder / std::to_string(i));
}

void fetchWithCurlThread(const std::string& url, const std::filesystem::path& folder, int count) {
  std::binary_semaphore asked(0);
  std::binary_semaphore fetched(0);
  std::thread thread([&] {
    static BareCurl curl;
    for (int i = 0; i < count; ++i) {
      asked.acquire();
      curl.fetch(url, folder / std::to_string(i));
      fetched.release();
    }
  });
  for (int i = 0; i < count; ++i) {
    asked.release();
    fetched.acquire();
  }
  thread.join();
}

void fetchWithBareSocket(const std::string& url, const std::filesystem::path& folder, int count) {
  static BareConnection connection(url);
  for (int i = 0; i < count; ++i) {
    const int file = createFile(folder / std::to_string(i));
    connection.fetch(url, file);
    ::close(file);
  }
}

}  // namespace tq::bench
