// A program that fetches a URL and ends as its arguments say: URL HOW [MICROSECONDS].

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "tests/support/Eventually.h"

namespace tq::tests {
namespace {

struct Delegate final : NSURLSessionDownloadDelegate {
  void didWriteData(NSURLSessionDownloadTask&, std::int64_t, std::int64_t, std::int64_t) override {
    if (exitsInside) std::exit(0);
  }
  void didFinishDownloadingToURL(NSURLSessionDownloadTask&, const URL&) override { ++files; }
  void didCompleteWithError(NSURLSessionDownloadTask&, const std::optional<NSError>& error) override {
    if (error) std::printf("%s\n", error->localizedDescription().c_str());
    ++ends;
  }
  bool exitsInside = false;
  std::atomic<int> files = 0, ends = 0;
};

std::shared_ptr<NSURLSessionDownloadTask> start(const char* url, const std::shared_ptr<Delegate>& delegate) {
  auto task = NSURLSession::sessionWithConfiguration({}, delegate)
                  ->downloadTaskWithRequest({.url = *URL::parse(url)});
  task->resume();
  return task;
}

int fetch(const char* url, int count) {
  const auto delegate = std::make_shared<Delegate>();
  for (int i = 0; i < count; ++i) start(url, delegate);
  return eventually([&] { return delegate->ends == count; }) && delegate->files == count ? 0 : 1;
}

// Fetches with no descriptor left, with one, with two ...: each ends, and the last one well.
int fetchWithFewDescriptors(const char* url) {
  int last = -1;
  for (int next; (next = ::open("/dev/null", O_RDONLY)) >= 0;) last = next;
  for (int released = 0; released < 12; ++released) {
    const auto begin = std::chrono::steady_clock::now();
    if (fetch(url, 1) == 0) return 0;
    if (std::chrono::steady_clock::now() - begin > std::chrono::seconds(5)) break;
    ::close(last--);
  }
  return 1;
}

// What delivers has its thread, as the end of a cancelled task shows, and the system refuses the next one.
int fetchWithoutThreads(const char* url) {
  const auto delegate = std::make_shared<Delegate>();
  NSURLSession::sessionWithConfiguration({}, delegate)
      ->downloadTaskWithRequest({.url = *URL::parse(url)})
      ->cancel();
  if (!eventually([&] { return delegate->ends == 1; }) || ::setuid(65'534) != 0) return 77;
  const rlimit limit{.rlim_cur = 1, .rlim_max = 1};
  ::setrlimit(RLIMIT_NPROC, &limit);
  return fetch(url, 1);
}

int run(const char* url, std::string_view how, int microseconds) {
  if (how == "fetch") return fetch(url, 1);
  if (how == "many") return fetch(url, 300);
  if (how == "descriptors") return fetchWithFewDescriptors(url);
  if (how == "threads") return fetchWithoutThreads(url);
  const auto delegate = std::make_shared<Delegate>();
  delegate->exitsInside = how == "inside";
  const auto task = start(url, delegate);
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
  if (how == "cancel") {
    task->cancel();
    return eventually([&] { return delegate->ends == 1; }) ? 0 : 1;
  }
  if (how == "fork") {
    const pid_t child = ::fork();
    if (child == 0) std::exit(0);
    int status = 1;
    const bool ended = eventually([&] { return ::waitpid(child, &status, WNOHANG) != 0; });
    return ended && status == 0 ? 0 : 1;
  }
  if (how == "exit") std::exit(0);
  return 0;
}

}  // namespace
}  // namespace tq::tests

int main(int count, char** arguments) {
  return tq::tests::run(arguments[1], arguments[2], count > 3 ? std::atoi(arguments[3]) : 0);
}
