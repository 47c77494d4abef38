#pragma once

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {

/// The user for whom the program runs.
struct Sandbox {
  TemporaryFolder root;
  TemporaryFolder home;
  TemporaryFolder temporary;
  TemporaryFolder library;
};

/// What a run of the program has come to.
struct Finished {
  int exitCode = -1;  ///< -1: it was ended by a signal, or did not end.
  std::string out;
  std::string error;
};

/// Whether this system has terminals to run a program on.
[[nodiscard]] inline bool hasTerminals() {
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
  return terminal >= 0 && ::close(terminal) == 0;
}

/// The program, running.
class RunningTq {
 public:
  /// With `terminalColumns` standard error is a terminal of that width.
  RunningTq(const Sandbox& sandbox, std::vector<std::string> arguments,
            std::vector<std::string> environment = {}, unsigned short terminalColumns = 0) {
    arguments.insert(arguments.begin(), TQ_PROGRAM);
    environment.insert(environment.end(), {"HOME=" + sandbox.home.path().string(), "TERM=xterm",
                                           "TMPDIR=" + sandbox.temporary.path().string()});
    const auto argv = pointersTo(arguments);
    const auto envp = pointersTo(environment);
    const winsize size{.ws_row = 24, .ws_col = terminalColumns, .ws_xpixel = 0, .ws_ypixel = 0};
    process_ = terminalColumns > 0 ? ::forkpty(&terminal_, nullptr, nullptr, &size) : ::fork();
    if (process_ == 0) become(argv, envp, terminalColumns > 0);
  }
  ~RunningTq() {
    if (process_ > 0 && ::kill(process_, SIGKILL) == 0) ::waitpid(process_, nullptr, 0);
    if (terminal_ >= 0) ::close(terminal_);
  }
  RunningTq(const RunningTq&) = delete;
  RunningTq& operator=(const RunningTq&) = delete;

  void signal(int number) const { ::kill(process_, number); }

  /// Types `text` once `prompt` stands on the terminal.
  void typeAfter(const std::string& prompt, const std::string& text) {
    while (!shown_.ends_with(prompt) && readTerminal()) {
    }
    static_cast<void>(!::write(terminal_, text.data(), text.size()));
  }

  /// Waits for the end.
  [[nodiscard]] Finished finish() {
    while (readTerminal()) {
    }
    int status = 0;
    const bool ended = eventually([&] { return ::waitpid(process_, &status, WNOHANG) != 0; });
    if (ended) process_ = -1;
    return {.exitCode = ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            .out = readFile(out_),
            .error = terminal_ < 0 ? readFile(error_) : shown_};
  }

 private:
  static std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  }

  bool readTerminal() {
    char byte = 0;
    if (terminal_ < 0 || ::read(terminal_, &byte, 1) != 1) return false;
    shown_ += byte;
    return true;
  }

  // After the fork: system calls only. A test in the background of a shell ignores Ctrl-C; this child may
  // not.
  void become(const std::vector<char*>& argv, const std::vector<char*>& envp, bool onTerminal) const {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::signal(number, SIG_DFL);
    ::dup2(::open(out_.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    if (!onTerminal) ::dup2(::open(error_.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    if (!onTerminal) ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::execve(TQ_PROGRAM, argv.data(), envp.data());
    ::_exit(127);
  }

  const TemporaryFolder output_;
  const std::filesystem::path out_ = output_ / "out";
  const std::filesystem::path error_ = output_ / "error";
  pid_t process_ = -1;
  int terminal_ = -1;
  std::string shown_;
};

/// Runs the program to its end.
[[nodiscard]] inline Finished runTq(const Sandbox& sandbox, std::vector<std::string> arguments,
                                    std::vector<std::string> environment = {}) {
  return RunningTq(sandbox, std::move(arguments), std::move(environment)).finish();
}

}  // namespace tq::tests
