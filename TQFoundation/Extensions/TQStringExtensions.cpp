#include "TQFoundation/Extensions/TQStringExtensions.h"

namespace tq {

std::string localized(std::string_view key, const Bundle& bundle) {
  return bundle.localizedString(key);
}

}  // namespace tq
