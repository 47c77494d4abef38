#pragma once

#include <any>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// An event: its name, the object it is about, and further values.
///
///     const NSNotification added(kClipAdded, clip, {{"index", 3}});
///     added.object<Clip>()->name();
///     std::any_cast<int>(added.userInfo().at("index"));
///
/// A notification owns its object, so observers may use that. Copies share the object and copy the
/// dictionary; an empty one costs nothing.
///
/// Immutable after construction; share freely. On which threads the object may be used is its own rule.
class TQ_API NSNotification {
 public:
  /// The name of a kind of notification: a text, and nothing else.
  ///
  ///     static constexpr NSNotification::Name kClipAdded("ClipAdded");   // no work when the program starts
  ///     if (name == kClipAdded) reload();
  ///     const NSNotification::Name custom(prefix + "Added");             // keeps a copy of the text
  ///
  /// Names are equal when their texts are, case included, and ordered as these. A constant refers to its
  /// literal and is there before any code runs, also for the initialisers and destructors of other globals; a
  /// name made while the program runs owns its text, and copies of it share that.
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
    [[nodiscard]] constexpr std::string_view rawValue() const& noexcept { return rawValue_; }
    [[nodiscard]] std::string_view rawValue() const&& = delete;  // a temporary's text would be gone at once

    /// Equal for equal names. Computed when the name is made: of constants, by the compiler.
    [[nodiscard]] constexpr std::size_t hash() const noexcept { return hash_; }

    friend constexpr bool operator==(const Name& a, const Name& b) noexcept {
      return a.rawValue_ == b.rawValue_;
    }
    friend constexpr std::strong_ordering operator<=>(const Name& a, const Name& b) noexcept {
      return a.rawValue_ <=> b.rawValue_;
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

  /// Any values, each under a key that poster and observers agree on. Look-ups take any text.
  ///
  ///     NSNotification::UserInfo details{{String::videoURL, url}, {"index", 3}};
  ///     std::any_cast<int>(details.at("index"));
  struct UserInfo : std::map<std::string, std::any, std::less<>> {
    UserInfo() = default;
    UserInfo(std::initializer_list<std::pair<std::string_view, std::any>> entries) {
      for (const auto& [key, value] : entries) emplace(key, value);
    }

    /// The value under `key`. Throws std::out_of_range where there is none: `find` asks.
    [[nodiscard]] const std::any& at(std::string_view key) const {
      const auto found = find(key);
      return found != end() ? found->second : map::at(std::string(key));
    }
    std::any& operator[](std::string_view key) { return map::operator[](std::string(key)); }
  };

  /// The object that a notification is about, or null, and the type it was posted as.
  class Object {
   public:
    Object(std::nullptr_t = nullptr) {}  // NOLINT(*-explicit-*)
    template <class T>
    Object(std::shared_ptr<T> object)  // NOLINT(*-explicit-*)
        : object_(std::move(object)), type_(&typeid(T)) {}

   private:
    friend class NSNotification;
    std::shared_ptr<void> object_;
    const std::type_info* type_ = &typeid(void);
  };

  explicit NSNotification(Name name, Object object = nullptr, UserInfo userInfo = {})
      : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

  [[nodiscard]] const Name& name() const noexcept { return name_; }

  /// The object that it is about, usually the poster; null when none was named.
  [[nodiscard]] const std::shared_ptr<void>& object() const noexcept { return object_.object_; }

  /// The same as a `T`; null unless it was posted as a pointer to this very type, not to a base or derived
  /// one.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> object() const noexcept {
    return *object_.type_ == typeid(T) ? std::static_pointer_cast<T>(object_.object_) : nullptr;
  }

  [[nodiscard]] const UserInfo& userInfo() const noexcept { return userInfo_; }

 private:
  Name name_;
  Object object_;
  UserInfo userInfo_;
};

}  // namespace tq

template <>
struct std::hash<tq::NSNotification::Name> {
  std::size_t operator()(const tq::NSNotification::Name& name) const noexcept { return name.hash(); }
};
