#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Support/Export.h"

namespace tq::platform {

/// A URL reference of RFC 3986, kept as it was written.
///
///     auto remote = URL::parse("https://example.com/clip.mov?sig=1");
///     if (!remote || !remote->isHTTP()) return refuse();
///     auto local = URL::fileURLWithPath("/data/my clip.mov");    // file:///data/my%20clip.mov
///
/// Immutable after construction; share freely.
class TQ_API URL {
 public:
  /// The URL that `text` spells, or absent when it breaks the grammar of RFC 3986 (a blank, a broken percent
  /// escape, a port that is no number ...). Relative references are URLs too.
  [[nodiscard]] static std::optional<URL> parse(std::string_view text);

  /// The file URL of `path`, made absolute against the working folder; reserved characters are escaped.
  [[nodiscard]] static URL fileURLWithPath(const std::filesystem::path& path);

  /// The text as it was written; percent escapes stay as they are.
  [[nodiscard]] const std::string& absoluteString() const { return text_; }

  /// The scheme in lower case, empty for a relative reference.
  [[nodiscard]] const std::string& scheme() const { return scheme_; }

  /// Whether the scheme is http or https.
  [[nodiscard]] bool isHTTP() const { return scheme_ == "http" || scheme_ == "https"; }

  /// The path of a file URL on this machine, percent escapes decoded. Absent when the scheme is another, the
  /// host is another machine, or the decoded path holds a zero byte.
  [[nodiscard]] std::optional<std::filesystem::path> filePath() const;

  /// Equal when written alike.
  friend bool operator==(const URL& a, const URL& b) { return a.text_ == b.text_; }

 private:
  URL(std::string text, std::string scheme);

  std::string text_;
  std::string scheme_;
};

}  // namespace tq::platform
