#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace tq {

/// Values that are computed from an immutable object and kept beside it, one of each type, until the object
/// is destroyed.
///
///     const DerivedValues derived;                   // a member of the object
///     const auto& title = derived.get<std::string>([] { return std::string("made once"); });
///
/// Invariant: the list only grows at its head, and a node never changes once it is published. So a reader
/// needs one acquiring load, and a reference stays valid as long as the object. Two threads that miss at the
/// same time may both compute the value; either is as good.
///
/// Thread-safe. A copy starts empty, as it may be changed before anything is derived from it.
class DerivedValues {
 public:
  DerivedValues() = default;
  DerivedValues(const DerivedValues& /*other*/) noexcept {}
  DerivedValues& operator=(const DerivedValues&) = delete;
  ~DerivedValues() {
    for (const Node* node = first_.load(std::memory_order_relaxed); node != nullptr;)
      delete std::exchange(node, node->next);
  }

  /// Returns the value of type `T`, which `make()` returns where there is none yet.
  template <class T, class Make>
  const T& get(Make make) const {
    for (const Node* node = first_.load(std::memory_order_acquire); node != nullptr; node = node->next) {
      if (node->type == &kType<T>) return static_cast<const Value<T>*>(node)->value;
    }
    auto* const added = new Value<T>(make());
    added->next = first_.load(std::memory_order_relaxed);
    while (!first_.compare_exchange_weak(added->next, added, std::memory_order_release)) {
    }
    return added->value;
  }

 private:
  template <class T>
  static constexpr char kType = 0;  // its address stands for the type

  struct Node {
    explicit Node(const char* ofType) : type(ofType) {}
    virtual ~Node() = default;
    const char* const type;
    const Node* next = nullptr;
  };
  template <class T>
  struct Value final : Node {
    explicit Value(T made) : Node(&kType<T>), value(std::move(made)) {}
    const T value;
  };

  mutable std::atomic<const Node*> first_ = nullptr;
};

}  // namespace tq
