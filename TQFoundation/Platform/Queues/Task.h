#pragma once

#include <functional>

namespace tq {

/// A piece of work for a queue or a timer. It must not throw: nobody is there to catch, and the program ends.
using Task = std::function<void()>;

}  // namespace tq
