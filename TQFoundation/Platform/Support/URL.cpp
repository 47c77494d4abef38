#include "TQFoundation/Platform/Support/URL.h"

#include <algorithm>
#include <boost/url/encode.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/pchars.hpp>
#include <boost/url/url_view.hpp>
#include <utility>

namespace tq::platform {
namespace {

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return result;
}

}  // namespace

URL::URL(std::string text, std::string scheme) : text_(std::move(text)), scheme_(std::move(scheme)) {}

std::optional<URL> URL::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  const auto parsed = boost::urls::parse_uri_reference(boost::core::string_view(text.data(), text.size()));
  if (!parsed) return std::nullopt;
  // The parser reads "http://host:port" as an empty port and a path that does not begin with a slash.
  if (parsed->has_authority() && !parsed->encoded_path().empty() && parsed->encoded_path()[0] != '/')
    return std::nullopt;
  const auto scheme = parsed->scheme();
  return URL(std::string(text), lowered({scheme.data(), scheme.size()}));
}

URL URL::fileURLWithPath(const std::filesystem::path& path) {
  std::error_code ignored;
  const auto absolute = std::filesystem::absolute(path, ignored);
  const std::string plain = (ignored ? path : absolute).string();
  static constexpr auto kPathCharacters = boost::urls::pchars + '/';
  return URL("file://" + boost::urls::encode(plain, kPathCharacters), "file");
}

std::optional<std::filesystem::path> URL::filePath() const {
  if (scheme_ != "file") return std::nullopt;
  const auto parsed = boost::urls::parse_uri_reference(text_);
  if (!parsed) return std::nullopt;
  const std::string host = lowered(parsed->host());
  if (!host.empty() && host != "localhost") return std::nullopt;
  const std::string path = parsed->path();
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  return std::filesystem::path(path);
}

}  // namespace tq::platform
