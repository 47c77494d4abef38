#include "TQFoundation/Extensions/TQStringExtensions.h"

namespace tq {

std::string localized(std::string_view key, const platform::Bundle& bundle) {
  return bundle.localizedString(key);
}

}  // namespace tq
