#pragma once

#include <cstddef>

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

// Objects and their values lie apart in memory, so a walk over more of them than the caches hold
// waits for each anew. What is asked for some steps ahead comes meanwhile, several at a time.
// Always inline: a compiler takes a function that does nothing else for one without effect.

/// Asks for the memory at the address, which need not be any.
[[gnu::always_inline]] inline void bringNear(const void* address) noexcept {
  __builtin_prefetch(address);
}

/// Asks for the objects among the values, of which there may be none.
[[gnu::always_inline]] inline void bringNear(const Value* values, std::size_t count) noexcept {
  if (!values) return;
  for (const Value* value = values; value != values + count; ++value) {
    if (const NSObject* object = value->object()) bringNear(object);
  }
}

/// Calls the function with each element of a list of objects, none null, whose values it is going
/// to read. The list must not change; the objects may.
template <class Objects, class Function>
void forEachBroughtNear(Objects& objects, Function&& function) {
  // The object says where its values are, and they say where theirs is, so each is asked for in
  // time for the next.
  constexpr std::size_t steps = 3;
  const std::size_t count = objects.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (i + 3 * steps < count) bringNear(&*objects[i + 3 * steps]);
    if (i + 2 * steps < count) bringNear(ObjectAccess::values(*objects[i + 2 * steps]).get());
    if (i + steps < count) {
      NSManagedObject& next = *objects[i + steps];
      bringNear(ObjectAccess::values(next).get(), next.entity()->layout().count());
    }
    function(objects[i]);
  }
}

}  // namespace JNFoundation::impl
