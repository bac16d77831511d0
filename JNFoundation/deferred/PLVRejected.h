#pragma once

#include <atomic>
#include <cstdint>

#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
/// The handler that was just given the value has passed it on without a look.
void passBy(const Value& value) noexcept;
}  // namespace impl

/// What makes a value a failure: an outcome failed exactly when it is a PLVRejected or of a class
/// derived from it, and was cancelled when `isCancellation` is true as well.
///
///     deferred->reject(error);                       // wraps: PLVRejected::withValue(error)
///     deferred->thenRejected([](const Ref<PLVRejected>& rejected) -> Value {
///       return rejected->isErrorForDomainWithCode("Feed", 404) ? Value("none") : Value(rejected);
///     });
///
/// Immutable, but for the note that somebody has seen it. Threads: any.
class PLVRejected : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A failure that carries the value; no cancellation.
  static Ref<PLVRejected> withValue(const Value& value);
  /// A cancellation that carries null.
  static Ref<PLVRejected> cancellation();
  /// A cancellation that carries the value.
  static Ref<PLVRejected> cancellationWithValue(const Value& value);
  /// The same as `withValue`.
  static Ref<PLVRejected> initWithValue(const Value& value);
  /// A failure that carries the value, and is a cancellation or not.
  static Ref<PLVRejected> initWithValueCancellation(const Value& value, bool cancellation);

  /// What the failure carries: an error, an exception, any other value; may be null.
  const Value& value() const noexcept { return _value; }
  /// Whether the failure says that nobody wants the outcome any more.
  bool isCancellation() const noexcept { return _cancellation; }

  /// The value itself if it is an error of that domain; null otherwise, also for a null domain.
  Ref<NSError> errorForDomain(const Ref<NSString>& domain) const;
  /// Whether the value is an error of that domain with that code.
  bool isErrorForDomainWithCode(const Ref<NSString>& domain, NSInteger code) const;

  /// Whether anybody could have looked at it: it was given to a handler or a callback, or read as a
  /// `resolution`. What nobody sees is reported; see UnhandledRejections.h.
  bool wasSeen() const noexcept { return _sights.load(std::memory_order_relaxed) > 0; }
  /// Has it never reported, for code that gets to it in another way.
  void markAsSeen() const noexcept { _sights.fetch_add(1, std::memory_order_relaxed); }

  /// "PLVRejected [value]", "PLVRejected (CANCELLED) [value]" for a cancellation.
  Ref<NSString> description() const override;

  /// The class operations that make instances, for a subclass.
  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> withValue(const Value& value) {
      return initWithValueCancellation(value, false);
    }
    static Ref<Self> cancellation() { return initWithValueCancellation(nullptr, true); }
    static Ref<Self> cancellationWithValue(const Value& value) {
      return initWithValueCancellation(value, true);
    }
    static Ref<Self> initWithValue(const Value& value) {
      return initWithValueCancellation(value, false);
    }
    static Ref<Self> initWithValueCancellation(const Value& value, bool cancellation) {
      return makeObject<Self>(value, cancellation);
    }

   protected:
    using Above::Above;
  };

 protected:
  PLVRejected(Value value, bool cancellation)
      : _value(std::move(value)), _cancellation(cancellation) {}

 private:
  Value _value;
  friend void impl::passBy(const Value& value) noexcept;

  bool _cancellation;
  /// By how many it was seen.
  mutable std::atomic<std::uint32_t> _sights{0};
};

namespace impl {

inline void markAsSeen(const Value& value) noexcept {
  if (const PLVRejected* rejected = as<PLVRejected>(value)) rejected->markAsSeen();
}

inline void passBy(const Value& value) noexcept {
  const PLVRejected* rejected = as<PLVRejected>(value);
  if (rejected && rejected->wasSeen()) rejected->_sights.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace impl

/// Whether the value is a failure that is a cancellation.
inline bool isCancellation(const Value& value) noexcept {
  const PLVRejected* rejected = as<PLVRejected>(value);
  return rejected && rejected->isCancellation();
}

}  // namespace JNFoundation
