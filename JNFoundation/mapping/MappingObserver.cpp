#include "JNFoundation/mapping/MappingObserver.h"

#include <atomic>

#include <JNFoundation/mapping/impl/MappingReport.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {
namespace {

const char observerKey = 0;

/// How many observers are attached anywhere, so that nobody looks for one where none is.
std::atomic<std::size_t> attachedObservers{0};

/// What a context holds.
class AttachedObserver final : public NSObject {
 public:
  explicit AttachedObserver(const MappingObserver& observer) : observer(observer) {
    attachedObservers.fetch_add(1, std::memory_order_relaxed);
  }
  ~AttachedObserver() override { attachedObservers.fetch_sub(1, std::memory_order_relaxed); }

  const MappingObserver observer;
};

}  // namespace

void setMappingObserver(const Ref<NSManagedObjectContext>& context,
                        const MappingObserver& observer) {
  objc_setAssociatedObject(context.get(), &observerKey,
                           observer ? Value(makeObject<AttachedObserver>(observer)) : Value(),
                           OBJC_ASSOCIATION_RETAIN);
}

MappingObserver mappingObserver(const Ref<NSManagedObjectContext>& context) {
  const Value attached = objc_getAssociatedObject(context.get(), &observerKey);
  return attached.isNull() ? MappingObserver()
                           : static_cast<const AttachedObserver*>(attached.object())->observer;
}

MappingObserver impl::mappingObserverOf(const NSManagedObject& object) {
  if (attachedObservers.load(std::memory_order_relaxed) == 0) return nullptr;
  return mappingObserver(object.managedObjectContext());
}

}  // namespace JNFoundation
