#include "JNFoundation/util/NSArray+PLVExtensions.h"

namespace JNFoundation {

Value plv_firstObject(const Ref<NSArray>& array) { return array ? array->firstObject() : Value(); }

Value jn_safelyGetObjectAtIndex(const Ref<NSArray>& array, NSUInteger index) {
  return array && index < array->count() ? array->objectAtIndex(index) : Value();
}

}  // namespace JNFoundation
