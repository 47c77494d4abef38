#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace tq {

/// Lends copies of an object that one thread at a time may use, to as many threads as ask.
///
///     const WorkingCopies<icu::Calendar> calendars(std::move(prototype));
///     auto calendar = calendars.borrow();        // this thread's until it goes out of scope
///     calendar->setTime(date, status);
///
/// A thread as a rule gets the copy that it had the last time, for the price of two atomic operations; where
/// there is none it gets a fresh one. What a borrower sets stays set: each sets all that it relies on.
///
/// Thread-safe; loans must end before this does.
template <class T>
class WorkingCopies {
 public:
  explicit WorkingCopies(std::unique_ptr<const T> original) : original_(std::move(original)) {}
  ~WorkingCopies() {
    for (Slot& slot : slots_) delete slot.copy.load();
  }
  WorkingCopies(const WorkingCopies&) = delete;
  WorkingCopies& operator=(const WorkingCopies&) = delete;

  class Loan {
   public:
    Loan(std::atomic<T*>& home, T* copy) : home_(home), copy_(copy) {}
    ~Loan() {
      T* none = nullptr;
      if (!home_.compare_exchange_strong(none, copy_, std::memory_order_release, std::memory_order_relaxed))
        delete copy_;
    }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;

    T& operator*() const { return *copy_; }
    T* operator->() const { return copy_; }

   private:
    std::atomic<T*>& home_;
    T* const copy_;
  };

  [[nodiscard]] Loan borrow() const {
    std::atomic<T*>& home = slots_[threadNumber() % slots_.size()].copy;
    T* const kept = home.exchange(nullptr, std::memory_order_acquire);
    return Loan(home, kept != nullptr ? kept : original_->clone());
  }

  /// What the copies are made from; nobody may change it.
  [[nodiscard]] const T& original() const { return *original_; }

 private:
  static constexpr std::size_t kCacheLine = 64;
  struct alignas(kCacheLine) Slot {
    std::atomic<T*> copy = nullptr;
  };

  static std::size_t threadNumber() {
    static std::atomic<std::size_t> threads = 0;
    thread_local const std::size_t number = threads++;
    return number;
  }

  const std::unique_ptr<const T> original_;
  mutable std::array<Slot, 8> slots_;
};

}  // namespace tq
