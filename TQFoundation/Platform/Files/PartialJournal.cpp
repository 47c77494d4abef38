#include "TQFoundation/Platform/Files/PartialJournal.h"

#include <algorithm>
#include <charconv>

#include "TQFoundation/Platform/Base/Sha256.h"

namespace tq::internal {
namespace {

constexpr std::string_view kFormat = "partial file 1\n";
constexpr std::size_t kMaxText = 256;

bool fits(std::string_view text) {
  const auto isPlain = [](char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F; };
  return text.size() <= kMaxText && std::all_of(text.begin(), text.end(), isPlain);
}

// Takes the next line off the front of `bytes`. Absent when there is none.
std::optional<std::string_view> takeLine(std::string_view& bytes) {
  const std::size_t end = bytes.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = bytes.substr(0, end);
  bytes.remove_prefix(end + 1);
  return line;
}

bool takeText(std::string_view& bytes, std::string& text) {
  const auto line = takeLine(bytes);
  text = line.value_or("");
  return line.has_value();
}

bool takeNumber(std::string_view& bytes, std::int64_t& number) {
  const auto line = takeLine(bytes);
  if (!line) return false;
  const char* const end = line->data() + line->size();
  const auto [stop, error] = std::from_chars(line->data(), end, number);
  return error == std::errc() && stop == end;
}

bool isPossible(const PartialJournal& journal) {
  return journal.content.total > 0 && journal.checkpointed >= 0 &&
         journal.checkpointed <= journal.content.total;
}

}  // namespace

std::optional<std::string> encode(const PartialJournal& journal) {
  const auto& [key, content, boot, checkpointed] = journal;
  std::string text(kFormat);
  for (const std::string* const each :
       {&key, &content.source, &content.validator.entityTag, &content.validator.lastModified, &boot}) {
    if (!fits(*each)) return std::nullopt;
    text.append(*each).append(1, '\n');
  }
  text += std::to_string(content.total) + '\n' + std::to_string(checkpointed) + '\n';
  text += sha256(text) + '\n';
  if (text.size() > kJournalBytes || !isPossible(journal)) return std::nullopt;
  text.resize(kJournalBytes, '\n');
  return text;
}

std::optional<PartialJournal> decode(std::string_view bytes) {
  if (!bytes.starts_with(kFormat)) return std::nullopt;
  std::string_view left = bytes.substr(kFormat.size());
  PartialJournal journal;
  PartialContent& content = journal.content;
  if (!takeText(left, journal.key) || !takeText(left, content.source) ||
      !takeText(left, content.validator.entityTag) || !takeText(left, content.validator.lastModified) ||
      !takeText(left, journal.boot) || !takeNumber(left, content.total) ||
      !takeNumber(left, journal.checkpointed))
    return std::nullopt;
  // The checksum, the length, the padding and every other spelling at once.
  if (encode(journal) != bytes) return std::nullopt;
  return journal;
}

}  // namespace tq::internal
