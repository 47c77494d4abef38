#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace tq::internal {

/// A pool of copies of an object that one thread at a time may use.
///
///     const ObjectPool<icu::Calendar> calendars(std::move(prototype));
///     auto calendar = calendars.acquire();       // this thread's until it goes out of scope
///     calendar->setTime(date, status);
///
/// A thread usually gets the copy that it had before, for two atomic operations; where its slot is empty it
/// gets a new copy, made by `T::clone()`. State that a user sets stays set: each use sets all that it relies
/// on.
///
/// Thread-safe. Handles must be gone before the pool is.
template <class T>
class ObjectPool {
 public:
  explicit ObjectPool(std::unique_ptr<const T> prototype) : prototype_(std::move(prototype)) {}
  ~ObjectPool() {
    for (Slot& slot : slots_) delete slot.object.load();
  }
  ObjectPool(const ObjectPool&) = delete;
  ObjectPool& operator=(const ObjectPool&) = delete;

  /// Owns an object of the pool. Returns it to its slot, or deletes it where the slot has been filled since.
  class Handle {
   public:
    Handle(std::atomic<T*>& slot, T* object) : slot_(slot), object_(object) {}
    ~Handle() {
      T* none = nullptr;
      if (!slot_.compare_exchange_strong(none, object_, std::memory_order_release, std::memory_order_relaxed))
        delete object_;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    T& operator*() const { return *object_; }
    T* operator->() const { return object_; }

   private:
    std::atomic<T*>& slot_;
    T* const object_;
  };

  [[nodiscard]] Handle acquire() const {
    std::atomic<T*>& slot = slots_[threadNumber() % slots_.size()].object;
    T* const object = slot.exchange(nullptr, std::memory_order_acquire);
    return Handle(slot, object != nullptr ? object : prototype_->clone());
  }

  /// What the objects are copied from; never changed.
  [[nodiscard]] const T& prototype() const { return *prototype_; }

 private:
  // Invariant: an object is owned either by its slot or by one handle. `exchange` takes it out (acquire), the
  // compare-exchange of a handle puts it back (release), so what one thread wrote to it is seen by the next.
  // Threads share a slot only where there are more of them than slots; they never wait, they copy.
  static constexpr std::size_t kCacheLine = 64;
  struct alignas(kCacheLine) Slot {
    std::atomic<T*> object = nullptr;
  };

  static std::size_t threadNumber() {
    static std::atomic<std::size_t> threads = 0;
    thread_local const std::size_t number = threads++;
    return number;
  }

  const std::unique_ptr<const T> prototype_;
  mutable std::array<Slot, 8> slots_;
};

}  // namespace tq::internal
