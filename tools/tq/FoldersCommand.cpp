#include "tools/tq/FoldersCommand.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TQFoundation/Extensions/TQFileManagerExtensions.h"
#include "TQFoundation/Platform/Files/Leftovers.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Formatting/NSByteCountFormatter.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "tools/tq/Outcome.h"
#include "tools/tq/Text.h"

namespace tq::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kNameColumns = 13;
constexpr std::string_view kLogMarks = "*= ";
constexpr std::string_view kWentWell = " removed successfully";

// What lies at a path: the file itself, or all in a folder.
struct Holdings {
  bool exists = false;
  std::size_t files = 0;
  std::int64_t bytes = 0;

  void add(const fs::directory_entry& entry) {
    std::error_code error;
    if (entry.is_directory(error) && !entry.is_symlink(error)) return;
    ++files;
    if (entry.is_symlink(error) || !entry.is_regular_file(error)) return;
    const auto size = entry.file_size(error);
    if (!error) bytes += static_cast<std::int64_t>(size);
  }
};

Holdings holdingsOf(const fs::path& path) {
  std::error_code error;
  Holdings holdings{.exists = fs::exists(fs::symlink_status(path, error))};
  const fs::directory_entry item(path, error);
  if (!item.is_directory(error)) {
    if (holdings.exists) holdings.add(item);
    return holdings;
  }
  fs::recursive_directory_iterator entry(path, fs::directory_options::skip_permission_denied, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) holdings.add(*entry);
  return holdings;
}

std::string textOf(const Holdings& holdings) {
  if (!holdings.exists) return "none";
  if (holdings.files == 0) return "empty";
  return std::to_string(holdings.files) + (holdings.files == 1 ? " file, " : " files, ") +
         NSByteCountFormatter::stringFromByteCount(holdings.bytes, NSByteCountFormatterCountStyleDecimal);
}

// One of the program's places. Where a getter has fallen back there is none.
struct Place {
  std::string_view name;
  std::optional<fs::path> path;
  Holdings holdings{};
};

Place place(std::string_view name, std::optional<fs::path> path) {
  Place result{.name = name, .path = std::move(path)};
  if (result.path) result.holdings = holdingsOf(*result.path);
  return result;
}

Place folderPlace(std::string_view name, fs::path path) {
  return place(name, path == temporaryDirectoryPath() ? std::nullopt : std::optional(path));
}

Place imagePlace() {
  const auto image = inAppMessageBackgroundImagePath();
  return place("message image", image ? image->filePath() : std::nullopt);
}

std::vector<Place> mediaPlaces() {
  return {folderPlace("cloud media", cloudMediaDirectoryPath()),
          folderPlace("editing media", editingMediaContainerDirectoryPath()),
          place("partial files", partialFilesFolder())};
}

std::string padded(std::string text, std::size_t columns) {
  text.resize(text.size() + columns - std::min(columns, columnsOf(text)), ' ');
  return text + "  ";
}

std::string rowsOf(const std::vector<Place>& places) {
  std::size_t columns = 0;
  for (const Place& each : places) columns = std::max(columns, columnsOf(textOf(each.holdings)));
  std::string rows;
  for (const Place& each : places) {
    rows += padded(std::string(each.name), kNameColumns) + padded(textOf(each.holdings), columns) +
            (each.path ? printable(each.path->string()) : "cannot be had") + '\n';
  }
  return rows;
}

// Shows failures, without the marks that readers of logs search for; successes are shown as rows.
void sayWhatIsLogged() {
  Log::setSink([](const LogLine& line) {
    const std::size_t begin = line.message.find_first_not_of(kLogMarks);
    if (begin != std::string_view::npos && !line.message.ends_with(kWentWell))
      say(line.message.substr(begin));
  });
}

// The answer to a question, or absent when a signal or the end of the input comes first.
std::optional<bool> ask(const std::string& question, const Interrupts& interrupts) {
  static_cast<void>(!::write(STDERR_FILENO, question.data(), question.size()));
  std::array<pollfd, 2> watched{{{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                 {.fd = interrupts.descriptor(), .events = POLLIN, .revents = 0}}};
  while (::poll(watched.data(), watched.size(), -1) < 0) {
  }
  std::array<char, 256> answer{};  // a terminal hands over a line at a time
  if (watched[1].revents != 0 || ::read(STDIN_FILENO, answer.data(), answer.size()) <= 0) return std::nullopt;
  return answer[0] == 'y' || answer[0] == 'Y';
}

// What is in the way of removing `places`; absent when nothing is.
std::optional<int> refusal(const std::vector<Place>& places, const Interrupts& interrupts) {
  if (::isatty(STDIN_FILENO) == 0)
    return fail("nobody is here to be asked: say --yes to remove all the same");
  const auto answer = ask(rowsOf(places) + "Remove all of this? [y/N] ", interrupts);
  if (answer == true) return std::nullopt;
  say(answer ? "nothing was removed" : "cancelled");
  return answer ? kExitFailure : kExitInterrupted;
}

// Those of transfers that are under way stay.
void removePartialFiles() {
  std::error_code ignored;
  removeLeftovers(partialFilesFolder(), {.temporaryFiles = {}, .partialFiles = {}});
  fs::remove(partialFilesFolder(), ignored);
}

int reportRemoved(const std::vector<Place>& places) {
  std::vector<Place> removed;
  std::copy_if(places.begin(), places.end(), std::back_inserter(removed),
               [](const Place& each) { return !holdingsOf(*each.path).exists; });
  const int written = write(removed.empty() ? "" : "Removed:\n" + rowsOf(removed));
  return removed.size() < places.size() ? kExitFailure : written;
}

}  // namespace

int folders() {
  sayWhatIsLogged();
  std::vector<Place> places = mediaPlaces();
  places.insert(places.begin(), place("temporary", temporaryDirectoryPath()));
  places.push_back(folderPlace("videos", recommendedVideoDirectoryPath()));
  places.push_back(imagePlace());
  return write(rowsOf(places));
}

int clean(const CleanRequest& request, const Interrupts& interrupts) {
  sayWhatIsLogged();
  std::vector<Place> places = mediaPlaces();
  if (request.image) places.push_back(imagePlace());
  std::erase_if(places, [](const Place& each) { return each.holdings.files == 0; });
  if (places.empty()) return write("There is nothing to remove.\n");
  if (!request.isConfirmed)
    if (const auto refused = refusal(places, interrupts)) return *refused;
  cleanTemporaryFiles();
  removePartialFiles();
  if (request.image) removeInAppMessageBackgroundImage();
  return reportRemoved(places);
}

}  // namespace tq::tool
