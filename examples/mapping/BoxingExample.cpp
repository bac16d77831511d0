#include <cstdio>

#include "Country.h"

#include <JNFoundation/mapping/PLVEntityBoxing.h>

namespace examples {

void cross(const Ref<NSManagedObjectContext>& context) {
  context->save();
  const auto other = NSManagedObjectContext::init();
  other->setPersistentStoreCoordinator(context->persistentStoreCoordinator());
  // begin
  const Ref<NSArray> french =
      Country::objectsInContextErrorMatching(context, nullptr, "code == 'FR'");
  const Ref<NSArray> boxed = plv_objectWithEntitiesAsObjectID(french);
  // In a block of the other context:
  const Ref<NSArray> there = plv_objectWithObjectIDsAsEntityInContext(boxed, other);
  // end
  std::printf("%zu of %zu crossed\n", static_cast<std::size_t>(there->count()),
              static_cast<std::size_t>(french->count()));
}

}  // namespace examples
