#include "JNFoundation/util/TimeUnits.h"

namespace JNFoundation::inline v0_1::Integer {

Ref<NSString> formattedDigitalHoursMinutesSecondsString(NSInteger totalSeconds) {
  const char* sign = totalSeconds < 0 ? "-" : "";
  // The least integer has no opposite among the signed ones.
  const NSUInteger total = totalSeconds < 0 ? NSUInteger{0} - static_cast<NSUInteger>(totalSeconds)
                                            : static_cast<NSUInteger>(totalSeconds);
  const NSUInteger hours = total / 3600, minutes = total / 60 % 60, seconds = total % 60;
  if (hours > 0) {
    return NSString::stringWithFormat("%s%llu:%02llu:%02llu", sign, hours, minutes, seconds);
  }
  if (minutes > 0) return NSString::stringWithFormat("%s%llu:%02llu", sign, minutes, seconds);
  return NSString::stringWithFormat("%s%llu", sign, seconds);
}

}  // namespace JNFoundation::Integer
