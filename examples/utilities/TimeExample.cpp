#include <cstdio>

#include "Examples.h"

#include <JNFoundation/util/TimeUnits.h>

namespace examples {

// begin
void tellTime() {
  std::printf("hours: %d, seconds: %.0f, clock: %s\n", static_cast<int>(Integer::hours(7199)),
              Double::weeks(1),
              Integer::formattedDigitalHoursMinutesSecondsString(3725)->UTF8String());
}
// end

}  // namespace examples
