// URLs: whatever parses keeps its text, names files that come back the same, and has the parameters that
// Boost.URL finds in it.

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Extensions/TQURLExtensions.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

std::optional<tq::QueryParameters> parametersByBoost(const std::string& text) {
  const auto parsed = *boost::urls::parse_uri_reference(text);
  if (!parsed.has_query()) return std::nullopt;
  tq::QueryParameters parameters;
  // Boost.URL 1.81 reads past the end of an empty query.
  if (parsed.encoded_query().empty()) return parameters;
  for (const auto& item : parsed.params(boost::urls::encoding_opts{})) {
    std::string name(item.key.begin(), item.key.end());
    if (item.has_value) {
      parameters.insert_or_assign(name, std::string(item.value.begin(), item.value.end()));
    } else {
      parameters.erase(name);
    }
  }
  return parameters;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tq::URL;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto url = URL::parse(text);
  if (!url) return 0;
  require(url->absoluteString() == text);
  require(tq::queryParameters(*url) == parametersByBoost(url->absoluteString()));
  if (const auto path = url->filePath()) {
    const URL again = URL::fileURLWithPath(*path);
    require(URL::parse(again.absoluteString()) == again);
    require(again.filePath() == std::filesystem::absolute(*path));
  }
  return 0;
}
