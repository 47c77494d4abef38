#include "TQFoundation/Platform/Log/Log.h"

#include <syslog.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq {
namespace {

// The sink that receives each `Line`, or null for the default. It runs on a reference of its own, so it may
// replace itself.
template <class Line>
Guarded<std::shared_ptr<const std::function<void(Line)>>>& sinkOf() {
  static NeverDestroyed<Guarded<std::shared_ptr<const std::function<void(Line)>>>> sink;
  return *sink;
}

template <class Line>
void setSinkOf(std::function<void(Line)> sink) {
  sinkOf<Line>().set(sink ? std::make_shared<const std::function<void(Line)>>(std::move(sink)) : nullptr);
}

// One write for the whole line, so that lines of several threads do not mix.
void writeToStandardError(std::string text) {
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

void Log::setSink(Sink sink) {
  setSinkOf<const LogLine&>(std::move(sink));
}

void Log::write(const LogLine& line) {
  if (const auto sink = sinkOf<const LogLine&>().get()) return (*sink)(line);
  std::string text(line.file);
  text.append(1, ':').append(std::to_string(line.line)).append(1, ' ').append(line.function);
  writeToStandardError(text.append(": ").append(line.message));
}

void setNSLogSink(NSLogSink sink) {
  setSinkOf<std::string_view>(std::move(sink));
}

void NSLog(std::string_view line) {
  if (const auto sink = sinkOf<std::string_view>().get()) return (*sink)(line);
  std::string text(line);
  ::syslog(LOG_USER | LOG_NOTICE, "%s", text.c_str());
  writeToStandardError(std::move(text));
}

}  // namespace tq
