#include "TQFoundation/Platform/Log/Log.h"

#include <cstdio>
#include <memory>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"

namespace tq {
namespace {

Guarded<std::shared_ptr<const Log::Sink>>& sinkInUse() {
  static auto* const sink = new Guarded<std::shared_ptr<const Log::Sink>>;
  return *sink;
}

// One write for the whole line, so that lines of several threads do not mix.
void writeToStandardError(const LogLine& line) {
  std::string text;
  text.append(line.file).append(1, ':').append(std::to_string(line.line)).append(1, ' ');
  text.append(line.function).append(": ").append(line.message).append(1, '\n');
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

void Log::setSink(Sink sink) {
  sinkInUse().set(sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr);
}

void Log::write(const LogLine& line) {
  if (const auto sink = sinkInUse().get()) return (*sink)(line);
  writeToStandardError(line);
}

}  // namespace tq
