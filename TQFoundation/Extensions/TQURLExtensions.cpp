#include "TQFoundation/Extensions/TQURLExtensions.h"

#include <utility>

namespace tq {

std::optional<QueryParameters> queryParameters(const URL& url) {
  auto items = url.queryItems();
  if (!items) return std::nullopt;
  QueryParameters parameters;
  for (auto& [name, value] : *items) {
    if (value) {
      parameters.insert_or_assign(std::move(name), *std::move(value));
    } else {
      parameters.erase(name);
    }
  }
  return parameters;
}

}  // namespace tq
