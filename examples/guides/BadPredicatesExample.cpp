#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/NSException.h>

namespace examples {
namespace {

// begin
/// A format that somebody has typed. Returns: null, after saying why, for one that is wrong.
Ref<NSPredicate> typedPredicate(const Ref<NSString>& format) {
  try {
    return NSPredicate::predicateWithFormat(format);
  } catch (const Raised& raised) {
    std::printf("%s\n", raised.exception()->reason()->UTF8String());
    return nullptr;
  }
}
// end

}  // namespace

void badPredicates() {
  if (typedPredicate("age >= 18 AMD city == 'Oslo'")) std::puts("it was understood");
}

}  // namespace examples
