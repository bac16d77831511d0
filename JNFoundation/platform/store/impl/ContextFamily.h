#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/impl/RelatedObjects.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

class NSManagedObjectContext;
class NSPersistentStoreCoordinator;

namespace impl {

/// What a save has changed, by identifier.
struct SavedIdentifiers {
  std::vector<Ref<NSManagedObjectID>> inserted;
  std::vector<Ref<NSManagedObjectID>> updated;
  std::vector<Ref<NSManagedObjectID>> deleted;
};

/// The contexts below one, and those beside it, as far as its saves concern them.
/// Threads: any.
class ContextFamily {
 public:
  void addChild(NSManagedObjectContext& child);
  /// Those that are alive.
  std::vector<Ref<NSManagedObjectContext>> children();
  bool hasChildren() { return !children().empty(); }

  bool mergesAutomatically() const noexcept {
    return _mergesAutomatically.load(std::memory_order_relaxed);
  }
  void setMergesAutomatically(bool merges) noexcept {
    _mergesAutomatically.store(merges, std::memory_order_relaxed);
  }

  /// Has the contexts below learn, each in its queue, what temporary identifiers have become.
  void tellPermanentIDs(const PermanentIDs& permanentIDs);

 private:
  std::mutex _mutex;
  // Guarded by the mutex.
  std::vector<Weak<NSManagedObjectContext>> _children;
  std::atomic<bool> _mergesAutomatically{false};
};

/// The contexts that merge what others save through one coordinator.
/// Threads: any.
class MergingContexts {
 public:
  void add(NSManagedObjectContext& context);
  void remove(const NSManagedObjectContext& context);
  /// All but the given one.
  std::vector<Ref<NSManagedObjectContext>> othersThan(const NSManagedObjectContext& context);
  bool isEmpty() const noexcept { return _count.load(std::memory_order_relaxed) == 0; }

 private:
  std::mutex _mutex;
  // Guarded by the mutex.
  std::vector<Weak<NSManagedObjectContext>> _contexts;
  /// How many entries there are: most savers find none.
  std::atomic<std::size_t> _count{0};
};

}  // namespace impl
}  // namespace JNFoundation
