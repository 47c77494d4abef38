#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// An item that has a text to log. Texts are loggable as they stand.
template <class Item>
concept Loggable = std::convertible_to<const Item&, std::string_view> || requires(const Item& item) {
  { item.logDescription() } -> std::convertible_to<std::string>;
};

/// One line on its way to a log.
struct LogLine {
  std::string_view message;
  std::string_view file;
  std::string_view function;
  std::size_t line = 0;
};

/// The logging framework: hands lines to the host's sink.
///
///     Log::setSink([](const LogLine& line) { myLog.write(line.message); });
///
/// Until a host sets one, lines go to standard error as "FILE:LINE FUNCTION: MESSAGE".
///
/// Thread-safe. The sink runs on the caller's thread, with no lock held, so it may be called by
/// several threads at once and may log itself.
class TQ_API Log {
 public:
  using Sink = std::function<void(const LogLine&)>;

  /// Hands `item` to the sink, unchanged. `file`, `function` and `line` say where it comes from.
  template <Loggable Item>
  static void debug(const Item& item, std::string_view file, std::string_view function, std::size_t line) {
    if constexpr (std::convertible_to<const Item&, std::string_view>) {
      write({.message = item, .file = file, .function = function, .line = line});
    } else {
      const std::string text = item.logDescription();
      write({.message = text, .file = file, .function = function, .line = line});
    }
  }

  /// Sends every later line to `sink`; an empty one restores standard error. A line that another thread is
  /// writing at that moment goes to the former sink.
  static void setSink(Sink sink);

 private:
  static void write(const LogLine& line);
};

/// Writes one line, unchanged, to the system's log: until a host sets a sink, standard error and syslog
/// (facility "user", level "notice").
///
///     NSLog("  ••• machine ignoring reentry to Ready");
///
/// Thread-safe; the sink runs on the caller's thread, with no lock held.
TQ_API void NSLog(std::string_view line);

/// Receives the lines of `NSLog`.
using NSLogSink = std::function<void(std::string_view line)>;

/// Sends every later line of `NSLog` to `sink`, as `Log::setSink` does for `Log`.
TQ_API void setNSLogSink(NSLogSink sink);

}  // namespace tq
