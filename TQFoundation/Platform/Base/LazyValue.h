#pragma once

#include <atomic>

namespace tq::internal {

/// A value that is made on first use, kept, and never destroyed.
///
///     static constinit LazyValue<std::string> version;
///     return version.get([] { return device().systemVersion(); });
///
/// Unlike a function's `static`, it holds no lock while it makes the value: code of the host that runs then
/// may come back here, or wait for another thread that does. Of several values made at once the first one
/// stays.
///
/// Thread-safe.
template <class T>
class LazyValue {
 public:
  constexpr LazyValue() = default;
  LazyValue(const LazyValue&) = delete;
  LazyValue& operator=(const LazyValue&) = delete;

  template <class Make>
  [[nodiscard]] const T& get(const Make& make) {
    if (const T* const known = value_.load(std::memory_order_acquire)) return *known;
    const T* const made = new T(make());
    const T* first = nullptr;
    if (value_.compare_exchange_strong(first, made, std::memory_order_acq_rel)) return *made;
    delete made;
    return *first;
  }

 private:
  std::atomic<const T*> value_ = nullptr;
};

}  // namespace tq::internal
