#include "TQFoundation/Platform/Base/URL.h"

#include <algorithm>
#include <boost/url/encode.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/pchars.hpp>
#include <boost/url/url_view.hpp>
#include <utility>

namespace tq {
namespace {

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return result;
}

int hexDigit(char c) {
  return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

// Every escape was found whole when the URL was parsed.
std::string decoded(std::string_view text) {
  std::size_t escape = text.find('%');
  if (escape == std::string_view::npos) return std::string(text);
  std::string result;
  result.reserve(text.size());
  for (; escape != std::string_view::npos; escape = text.find('%')) {
    result += text.substr(0, escape);
    result += static_cast<char>(hexDigit(text[escape + 1]) * 16 + hexDigit(text[escape + 2]));
    text.remove_prefix(escape + 3);
  }
  return result += text;
}

URLQueryItem queryItem(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return {.name = decoded(text)};
  return {.name = decoded(text.substr(0, equals)), .value = decoded(text.substr(equals + 1))};
}

}  // namespace

URL::URL(std::string text, std::string scheme, bool hasHost)
    : text_(std::move(text)), scheme_(std::move(scheme)), hasHost_(hasHost) {}

std::optional<URL> URL::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  const auto parsed = boost::urls::parse_uri_reference(boost::core::string_view(text.data(), text.size()));
  if (!parsed) return std::nullopt;
  // The parser reads "http://host:port" as an empty port and a path that does not begin with a slash.
  if (parsed->has_authority() && !parsed->encoded_path().empty() && parsed->encoded_path()[0] != '/')
    return std::nullopt;
  const auto scheme = parsed->scheme();
  return URL(std::string(text), lowered({scheme.data(), scheme.size()}), !parsed->encoded_host().empty());
}

URL URL::fileURLWithPath(const std::filesystem::path& path) {
  std::error_code ignored;
  const auto absolute = std::filesystem::absolute(path, ignored);
  const std::string plain = (ignored ? path : absolute).string();
  static constexpr auto kPathCharacters = boost::urls::pchars + '/';
  return URL("file://" + boost::urls::encode(plain, kPathCharacters), "file", false);
}

// The text has passed the grammar, so its separators are where they seem to be.
std::optional<std::vector<URLQueryItem>> URL::queryItems() const {
  std::string_view query = std::string_view(text_).substr(0, text_.find('#'));
  const std::size_t mark = query.find('?');
  if (mark == std::string_view::npos) return std::nullopt;
  query.remove_prefix(mark + 1);
  std::vector<URLQueryItem> items;
  items.reserve(static_cast<std::size_t>(std::count(query.begin(), query.end(), '&')) + 1);
  for (std::size_t end = query.find('&'); end != std::string_view::npos; end = query.find('&')) {
    items.push_back(queryItem(query.substr(0, end)));
    query.remove_prefix(end + 1);
  }
  items.push_back(queryItem(query));
  return items;
}

std::string URL::host() const {
  const auto parsed = boost::urls::parse_uri_reference(text_);
  return parsed ? lowered(parsed->host_address()) : std::string();
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

std::string withoutSecrets(std::string_view url) {
  const std::size_t slashes = url.find("//");
  const std::size_t begin = slashes < url.find('@') ? slashes + 2 : 0;
  // Without the grammar a "/", "?" or "#" may as well be part of a password.
  const std::size_t end = URL::parse(url) ? url.find_first_of("/?#", begin) : std::string_view::npos;
  std::string shown(url);
  const std::size_t at = url.substr(begin, end - begin).rfind('@');
  if (at != std::string_view::npos) shown.erase(begin, at + 1);
  shown.resize(std::min(shown.find_first_of("?#"), shown.size()));
  return shown;
}

}  // namespace tq
