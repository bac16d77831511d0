#include "JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h"

#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {
namespace {

const char filterKey = 0;

}  // namespace

void plv_setDataMapFilter(const Ref<NSManagedObjectContext>& context,
                          const Ref<PLVDataMapFilter>& filter) {
  objc_setAssociatedObject(context.get(), &filterKey, Value(filter), OBJC_ASSOCIATION_RETAIN);
}

Ref<PLVDataMapFilter> plv_dataMapFilter(const Ref<NSManagedObjectContext>& context) {
  return as<PLVDataMapFilter>(objc_getAssociatedObject(context.get(), &filterKey));
}

}  // namespace JNFoundation
