#include "JNFoundation/deferred/ValueConversion.h"

#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

Ref<PLVRejected> impl::rejectedForKind(std::string_view expected, const Value& found) {
  Ref<NSString> kind = "null";
  if (const Class* cls = found.class_()) {
    // A number is of the right class as a rule, but not a number that the type has.
    kind = found.isNumber() ? NSString::stringWithFormat("%s %@", cls->name(), found)
                            : Ref<NSString>(cls->name());
  }
  const Ref<NSString> text =
      NSString::stringWithFormat("Expected %@, found %@.", Value(expected), kind);
  return PLVRejected::withValue(NSError::errorWithDomainCodeUserInfo(
      JNDeferredErrorDomain, JNDeferredErrorUnexpectedKind,
      NSDictionary::dictionaryWithEntries({{NSLocalizedDescriptionKey, text}})));
}

}  // namespace JNFoundation
