#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace tq {

/// Holds a value that is never destroyed, so that threads and the destructors of other globals may still use
/// it while the process ends.
///
///     static const NeverDestroyed<Calendar> calendar(Calendar::current());
///     return *calendar;
///
/// As thread-safe as the value itself; a function's `static` is made once, whichever thread comes first.
template <class T>
class NeverDestroyed {
 public:
  template <class... Arguments>
  explicit NeverDestroyed(Arguments&&... arguments) {
    new (storage_) T(std::forward<Arguments>(arguments)...);
  }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  [[nodiscard]] T& operator*() { return *std::launder(reinterpret_cast<T*>(storage_)); }
  [[nodiscard]] const T& operator*() const { return *std::launder(reinterpret_cast<const T*>(storage_)); }
  [[nodiscard]] T* operator->() { return &**this; }
  [[nodiscard]] const T* operator->() const { return &**this; }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace tq
