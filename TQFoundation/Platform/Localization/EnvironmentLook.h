#pragma once

#include <array>
#include <cstddef>

namespace tq {

/// Tells cheaply whether the environment still says of the user's locale what it said at the last look.
///
/// Who sets a variable puts another entry in its place or after the last one, and who removes one moves those
/// behind it: so it is enough to see that the locale's entries and the last one stand where they stood.
/// Looking up three variables by their names takes ten times as long. What escapes that (several variables
/// removed and set again to the very same values, the locale's among them; text overwritten in place) is
/// noticed after some calls.
///
/// Not thread-safe: one thread at a time; none may change the environment meanwhile.
class EnvironmentLook {
 public:
  /// Never before the first look.
  [[nodiscard]] bool isUnchanged() {
    return (++calls_ % kCallsBetweenThoroughLooks != 0 && standsAsItStood()) || saysWhatItSaid();
  }
  void take();

 private:
  static constexpr unsigned kCallsBetweenThoroughLooks = 64;

  [[nodiscard]] bool standsAsItStood() const;
  [[nodiscard]] bool saysWhatItSaid();

  unsigned calls_ = 0;
  bool taken_ = false;
  const char* const* entries_ = nullptr;
  std::size_t count_ = 0;
  // The locale's variables and the last one; where one is not set, the last one again.
  std::array<std::size_t, 4> places_{};
  std::array<const char*, 4> watched_{};
  std::array<char, 160> name_{};  // longer ones are no locale's
  std::size_t nameSize_ = 0;
};

}  // namespace tq
