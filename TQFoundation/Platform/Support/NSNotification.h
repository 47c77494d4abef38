#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "TQFoundation/Platform/Support/Export.h"

namespace tq::platform {

/// The scope of what belongs to notifications: something that happened, told by name to whoever asked.
class NSNotification {
 public:
  class Name;
};

/// The name of a kind of notification: a text, and nothing else.
///
///     static constexpr NSNotification::Name kClipAdded("ClipAdded");     // no work when the program starts
///     if (name == kClipAdded) reload();
///     const NSNotification::Name custom(prefix + "Added");               // keeps a copy of the text
///
/// Names are equal when their texts are, case included. A constant refers to its literal and is there before
/// any code runs, also for the initialisers and destructors of other globals; a name made while the program
/// runs owns its text, and copies of it share that.
///
/// Immutable after construction; share freely.
class TQ_API NSNotification::Name {
 public:
  /// The empty name.
  constexpr Name() noexcept = default;

  /// The name that reads `rawValue`.
  constexpr explicit Name(std::string_view rawValue) : rawValue_(rawValue) {
    if (std::is_constant_evaluated()) {
      // Reading is what a constant may not do to characters that could change: those are copied instead.
      for (const char character : rawValue) static_cast<void>(character);
    } else {
      own();
    }
  }

  constexpr Name(const Name& other) noexcept : rawValue_(other.rawValue_), owned_(other.owned_) {
    if (owned_ != nullptr) retain();
  }
  constexpr Name(Name&& other) noexcept { swap(other); }
  constexpr Name& operator=(Name other) noexcept {
    swap(other);
    return *this;
  }
  constexpr ~Name() {
    if (owned_ != nullptr) release();
  }

  /// The text, for as long as this name or a copy of it lives.
  [[nodiscard]] constexpr std::string_view rawValue() const noexcept { return rawValue_; }

  friend constexpr bool operator==(const Name& a, const Name& b) noexcept {
    return a.rawValue_ == b.rawValue_;
  }

 private:
  struct Owned;

  constexpr void swap(Name& other) noexcept {
    std::swap(rawValue_, other.rawValue_);
    std::swap(owned_, other.owned_);
  }
  void own();
  void retain() const noexcept;
  void release() const noexcept;

  std::string_view rawValue_;
  Owned* owned_ = nullptr;
};

}  // namespace tq::platform

template <>
struct std::hash<tq::platform::NSNotification::Name> {
  std::size_t operator()(const tq::platform::NSNotification::Name& name) const noexcept {
    return std::hash<std::string_view>{}(name.rawValue());
  }
};
