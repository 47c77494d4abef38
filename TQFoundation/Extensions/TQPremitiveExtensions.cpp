#include "TQFoundation/Extensions/TQPremitiveExtensions.h"

#include "TQFoundation/Platform/Log/Log.h"

namespace tq {
namespace {

// What readers of the logs know the logger's call by, wherever it stands in this file.
constexpr std::string_view kFunction = "debug(_:)";
constexpr std::size_t kLine = 80;

}  // namespace

void TQLogger::debug(std::string_view message) {
  Log::debug(message, __FILE__, kFunction, kLine);
}

}  // namespace tq
