#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tq::tool {

/// How far a work is, on standard error: on a terminal one line that is redrawn in place and in the end wiped
/// out; elsewhere plain lines, one for each 10 % at most.
class Progress {
 public:
  /// `done` is the word for what has been done, as in "loaded".
  explicit Progress(std::string done);

  /// Wipes the line out.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `fraction` of the whole is done, beside `label`. The line never goes back: what is less than
  /// before, or no number, counts as no news.
  void show(double fraction, std::string_view label);

  /// Shows `text` where the label is; off a terminal as a line of its own.
  void showNews(std::string_view text);

  /// Shows work of unknown length.
  void showUnknown(std::string_view label);

 private:
  void redraw(const std::string& bar, const std::string& figure, std::string_view label);

  const std::string done_;
  const bool onTerminal_;
  double fraction_ = 0;
  int tenthsTold_ = 0;
  std::size_t ticks_ = 0;
  std::string shown_;
};

}  // namespace tq::tool
