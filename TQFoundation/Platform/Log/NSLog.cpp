#include "TQFoundation/Platform/Log/NSLog.h"

#include <syslog.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"

namespace tq {
namespace {

Guarded<std::shared_ptr<const NSLogSink>>& sinkInUse() {
  static auto* const sink = new Guarded<std::shared_ptr<const NSLogSink>>;
  return *sink;
}

// One write for the whole line, so that lines of several threads do not mix.
void writeToTheSystem(std::string_view line) {
  std::string text(line);
  ::syslog(LOG_USER | LOG_NOTICE, "%s", text.c_str());
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

void NSLog(std::string_view line) {
  if (const auto sink = sinkInUse().get()) return (*sink)(line);
  writeToTheSystem(line);
}

void setNSLogSink(NSLogSink sink) {
  sinkInUse().set(sink ? std::make_shared<const NSLogSink>(std::move(sink)) : nullptr);
}

}  // namespace tq
