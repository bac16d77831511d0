#include "JNFoundation/platform/store/impl/ContextFamily.h"

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/impl/ContextMerge.h>
#include <JNFoundation/platform/store/impl/ContextQueue.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Takes the living out of the list, and those that are gone off it.
std::vector<Ref<NSManagedObjectContext>> living(std::vector<Weak<NSManagedObjectContext>>& list) {
  std::vector<Ref<NSManagedObjectContext>> contexts;
  std::erase_if(list, [&](const Weak<NSManagedObjectContext>& weak) {
    Ref<NSManagedObjectContext> context = weak.load();
    const bool isGone = !context;
    if (!isGone) contexts.push_back(std::move(context));
    return isGone;
  });
  return contexts;
}

}  // namespace

void ContextFamily::addChild(NSManagedObjectContext& child) {
  std::lock_guard guard(_mutex);
  _children.emplace_back(&child);
}

std::vector<Ref<NSManagedObjectContext>> ContextFamily::children() {
  // The last reference to a child may be the one taken here, so it goes behind the lock.
  std::vector<Ref<NSManagedObjectContext>> found;
  std::lock_guard guard(_mutex);
  found = living(_children);
  return found;
}

void ContextFamily::tellPermanentIDs(const PermanentIDs& permanentIDs) {
  if (permanentIDs.empty()) return;
  for (const Ref<NSManagedObjectContext>& child : children()) {
    ContextMerge::adoptPermanentIDsLater(*child, permanentIDs);
  }
}

void MergingContexts::add(NSManagedObjectContext& context) {
  std::lock_guard guard(_mutex);
  _contexts.emplace_back(&context);
  _count.store(_contexts.size(), std::memory_order_relaxed);
}

void MergingContexts::remove(const NSManagedObjectContext& context) {
  std::vector<Ref<NSManagedObjectContext>> others;
  std::lock_guard guard(_mutex);
  std::erase_if(_contexts, [&](const Weak<NSManagedObjectContext>& weak) {
    Ref<NSManagedObjectContext> one = weak.load();
    const bool isToGo = !one || one.get() == &context;
    others.push_back(std::move(one));
    return isToGo;
  });
  _count.store(_contexts.size(), std::memory_order_relaxed);
}

std::vector<Ref<NSManagedObjectContext>> MergingContexts::othersThan(
    const NSManagedObjectContext& context) {
  std::vector<Ref<NSManagedObjectContext>> found;
  if (isEmpty()) return found;
  {
    std::lock_guard guard(_mutex);
    found = living(_contexts);
    _count.store(_contexts.size(), std::memory_order_relaxed);
  }
  std::erase_if(found,
                [&](const Ref<NSManagedObjectContext>& other) { return other.get() == &context; });
  return found;
}

}  // namespace JNFoundation::impl
