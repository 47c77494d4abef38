#pragma once

#include <functional>

namespace tq {

/// A piece of work for a queue or a timer. It must not throw: an exception ends the program.
using Task = std::function<void()>;

}  // namespace tq
