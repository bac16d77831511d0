#pragma once

namespace JNFoundation::inline v0_1 {

/// The line of source that made a deferred or a promise, for reports. It comes in by itself, as the
/// last argument of the operations that make one; a function of yours that makes them for others
/// takes one in the same way and passes it on:
///
///     Ref<PLVDeferred> load(CreationPlace place = CreationPlace::here()) {
///       return PLVDeferred::init(place);
///     }
struct CreationPlace {
  /// As the compiler was given it; null where nothing is known.
  const char* file = nullptr;
  /// Counted from 1; 0 where nothing is known.
  int line = 0;

  /// Where this is called; as a default argument, where the function is called.
  static constexpr CreationPlace here(const char* file = __builtin_FILE(),
                                      int line = __builtin_LINE()) noexcept {
    return {file, line};
  }

  /// Whether anything is known.
  explicit operator bool() const noexcept { return file != nullptr; }
};

}  // namespace JNFoundation
