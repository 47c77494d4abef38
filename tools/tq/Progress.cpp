#include "tools/tq/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tools/tq/Outcome.h"
#include "tools/tq/Text.h"

namespace tq::tool {
namespace {

constexpr std::size_t kWidestBar = 40;
constexpr std::size_t kWidestTerminal = 1000;

bool standardErrorIsTerminal() {
  const char* const kind = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe): never set by this program
  return ::isatty(STDERR_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

// The last column stays free: some terminals begin a new line once it is written.
std::size_t usableColumns() {
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 79;
  return std::min<std::size_t>(size.ws_col, kWidestTerminal) - 1;
}

std::size_t barColumns() {
  return std::min(usableColumns() / 3, kWidestBar);
}

std::string filledBar(double fraction) {
  const std::size_t columns = barColumns();
  const auto filled = static_cast<std::size_t>(fraction * static_cast<double>(columns));
  return '[' + std::string(filled, '#') + std::string(columns - filled, '.') + ']';
}

std::string wanderingBar(std::size_t tick) {
  const std::size_t columns = barColumns();
  const std::size_t mark = std::min<std::size_t>(columns, 4);
  const std::size_t way = columns - mark;
  const std::size_t step = way == 0 ? 0 : tick % (2 * way);
  const std::size_t before = step <= way ? step : 2 * way - step;
  return '[' + std::string(before, '.') + std::string(mark, '#') + std::string(way - before, '.') + ']';
}

std::string percentage(double fraction) {
  char figure[16];
  std::snprintf(figure, sizeof figure, "%3d %%", static_cast<int>(fraction * 100));
  return figure;
}

}  // namespace

Progress::Progress(std::string done) : done_(std::move(done)), onTerminal_(standardErrorIsTerminal()) {}

Progress::~Progress() {
  if (!shown_.empty()) std::fputs("\r\x1b[K", stderr);
}

void Progress::show(double fraction, std::string_view label) {
  if (fraction > fraction_) fraction_ = std::min(fraction, 1.0);
  const auto percent = static_cast<int>(fraction_ * 100);
  if (onTerminal_) {
    redraw(filledBar(fraction_), percentage(fraction_), label);
  } else if (percent / 10 > std::exchange(tenthsTold_, percent / 10)) {
    say(done_ + ' ' + std::to_string(tenthsTold_ * 10) + " %");
  }
}

void Progress::showNews(std::string_view text) {
  if (onTerminal_) return redraw(filledBar(fraction_), percentage(fraction_), text);
  say(text);
}

void Progress::showUnknown(std::string_view label) {
  if (onTerminal_) redraw(wanderingBar(ticks_++), "  ? %", label);
}

void Progress::redraw(const std::string& bar, const std::string& figure, std::string_view label) {
  const std::string line = fitted(bar + ' ' + figure + "  " + printable(label), usableColumns());
  if (line == shown_) return;
  shown_ = line;
  std::fputs(("\r" + line + "\x1b[K").c_str(), stderr);
}

}  // namespace tq::tool
