#pragma once

#include <any>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Something that happened: its name, whom it happened to, and what else there is to know.
///
///     const NSNotification added(kClipAdded, clip, {{"index", 3}});
///     added.object<Clip>()->name();
///     std::any_cast<int>(added.userInfo().at("index"));
///
/// A notification owns its object, so whoever hears of it may use that. Copies share the object and copy the
/// dictionary; an empty one costs nothing.
///
/// Immutable after construction; share freely. What the object may be asked on which thread is its own rule.
class TQ_API NSNotification {
 public:
  /// The name of a kind of notification: a text, and nothing else.
  ///
  ///     static constexpr NSNotification::Name kClipAdded("ClipAdded");   // no work when the program starts
  ///     if (name == kClipAdded) reload();
  ///     const NSNotification::Name custom(prefix + "Added");             // keeps a copy of the text
  ///
  /// Names are equal when their texts are, case included. A constant refers to its literal and is there
  /// before any code runs, also for the initialisers and destructors of other globals; a name made while the
  /// program runs owns its text, and copies of it share that.
  ///
  /// Immutable after construction; share freely.
  class TQ_API Name {
   public:
    /// The empty name.
    constexpr Name() noexcept = default;

    /// The name that reads `rawValue`.
    ///
    /// Computing the hash reads the text, which a constant may not do to characters that could change: those
    /// are copied instead.
    constexpr explicit Name(std::string_view rawValue) : rawValue_(rawValue), hash_(hashOf(rawValue)) {
      if (!std::is_constant_evaluated()) own();
    }

    constexpr Name(const Name& other) noexcept
        : rawValue_(other.rawValue_), hash_(other.hash_), owned_(other.owned_) {
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

    /// The same for equal names, and known already: for constants since the program was compiled.
    [[nodiscard]] constexpr std::size_t hash() const noexcept { return hash_; }

    friend constexpr bool operator==(const Name& a, const Name& b) noexcept {
      return a.rawValue_ == b.rawValue_;
    }

   private:
    struct Owned;

    // FNV-1a, see draft-eastlake-fnv.
    [[nodiscard]] static constexpr std::size_t hashOf(std::string_view text) noexcept {
      std::uint64_t hash = 0xcbf29ce484222325;
      for (const char character : text)
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x00000100000001b3;
      return static_cast<std::size_t>(hash);
    }

    constexpr void swap(Name& other) noexcept {
      std::swap(rawValue_, other.rawValue_);
      std::swap(hash_, other.hash_);
      std::swap(owned_, other.owned_);
    }
    void own();
    void retain() const noexcept;
    void release() const noexcept;

    std::string_view rawValue_;
    std::size_t hash_ = hashOf({});
    Owned* owned_ = nullptr;
  };

  /// Any values, each under a key that whoever posts and whoever observes agree on.
  using UserInfo = std::map<std::string, std::any>;

  explicit NSNotification(Name name, std::shared_ptr<void> object = nullptr, UserInfo userInfo = {})
      : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

  [[nodiscard]] const Name& name() const noexcept { return name_; }

  /// Whom it happened to, usually whoever posted; null when nobody was named.
  [[nodiscard]] const std::shared_ptr<void>& object() const noexcept { return object_; }

  /// The same as a `T`, which must be the very type it was posted as: nothing checks that, and a base or a
  /// derived class may lie at another address.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> object() const noexcept {
    return std::static_pointer_cast<T>(object_);
  }

  [[nodiscard]] const UserInfo& userInfo() const noexcept { return userInfo_; }

 private:
  Name name_;
  std::shared_ptr<void> object_;
  UserInfo userInfo_;
};

}  // namespace tq

template <>
struct std::hash<tq::NSNotification::Name> {
  std::size_t operator()(const tq::NSNotification::Name& name) const noexcept { return name.hash(); }
};
