#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// The class of dates: instants, in seconds with fractions. They live inside Value, so there are no
/// objects of this class.
/// Threads: any.
class NSDate : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Seconds from 1970-01-01 to 2001-01-01, both 00:00:00 UTC.
  static constexpr NSTimeInterval timeIntervalBetween1970AndReferenceDate = 978307200;

  /// The date that many seconds after 1970-01-01 00:00:00 UTC.
  static Value dateWithTimeIntervalSince1970(NSTimeInterval seconds) noexcept {
    return Value::dateWithTimeIntervalSince1970(seconds);
  }
  /// The date that many seconds after 2001-01-01 00:00:00 UTC.
  static Value dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds) noexcept {
    return Value::dateWithTimeIntervalSince1970(seconds + timeIntervalBetween1970AndReferenceDate);
  }
  /// Now, by the system's clock.
  static Value date() noexcept;
  /// The date that many seconds after now; before it for a negative number.
  static Value dateWithTimeIntervalSinceNow(NSTimeInterval seconds) noexcept;
  /// The first instant of the year 1.
  static Value distantPast() noexcept;
  /// The first instant of the year 4001.
  static Value distantFuture() noexcept;

  /// Where `date` reads the time, in seconds since 1970; null means the system's clock. A replaced
  /// clock sets this, so that dates and timers agree. Returns: the source that was set before.
  using TimeSource = NSTimeInterval (*)() noexcept;
  static TimeSource setTimeSource(TimeSource source) noexcept;

 protected:
  NSDate() = default;
};

}  // namespace JNFoundation
