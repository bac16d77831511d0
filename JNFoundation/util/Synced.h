#pragma once

#include <type_traits>
#include <utility>

#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

/// Calls the closure with the object's own lock held, and gives back what it returns.
///
///     synced(cache, [&] { cache->setObjectForKey(image, name); });
///
/// Threads: any; closures for the same object wait for each other, and one may call `synced` for
/// it again. The object is kept for the length of the call, and the lock is given back however the
/// closure ends. A null object has no lock: the closure is just called.
template <class Closure>
decltype(auto) synced(const Ref<NSObject>& object, Closure&& closure) {
  static_assert(std::is_invocable_v<Closure>, "synced takes a closure without arguments");
  class Lock {
   public:
    explicit Lock(const Ref<NSObject>& object) : _object(object) { objc_sync_enter(_object.get()); }
    ~Lock() { objc_sync_exit(_object.get()); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    Ref<NSObject> _object;
  };
  const Lock lock(object);
  return std::forward<Closure>(closure)();
}

}  // namespace JNFoundation
