#include "JNFoundation/platform/store/impl/Prefetching.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ObjectReceiver.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Objects = std::vector<Ref<NSManagedObject>>;

/// Numbers of records, by where they are.
class Wanted {
 public:
  void add(const StoreHierarchy& hierarchy, std::int64_t number) {
    for (auto& [known, numbers] : _lists) {
      if (known == &hierarchy) {
        numbers.push_back(number);
        return;
      }
    }
    _lists.push_back({&hierarchy, {number}});
  }

  template <class Function>
  bool forEach(Function&& function) {
    for (auto& [hierarchy, numbers] : _lists) {
      std::sort(numbers.begin(), numbers.end());
      numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
      if (!function(*hierarchy, numbers)) return false;
    }
    return true;
  }

 private:
  std::vector<std::pair<const StoreHierarchy*, std::vector<std::int64_t>>> _lists;
};

/// Calls a store, which must be open, under the lock of its coordinator.
template <class Function>
bool withStore(NSPersistentStore& store, const Ref<ObjectRegistry>& registry, Ref<NSError>* error,
               Function&& function) {
  const Ref<NSManagedObjectContext> context = registry->context();
  if (!context || !context->persistentStoreCoordinator()) return true;
  std::lock_guard guard(context->persistentStoreCoordinator()->storeLock());
  if (!store.isOpen()) {
    return fail(error, cocoaError(NSPersistentStoreOperationError, "The store was closed"));
  }
  return function();
}

bool readRecords(Wanted& wanted, const Ref<ObjectRegistry>& registry, Objects& objects,
                 Ref<NSError>* error) {
  const ObjectReading reading;
  return wanted.forEach(
      [&](const StoreHierarchy& hierarchy, const std::vector<std::int64_t>& numbers) {
        NSPersistentStore& store = *hierarchy.store;
        ObjectReceiver receiver(store, registry, reading, objects);
        const bool isRead = withStore(store, registry, error, [&] {
          return store.fetchRecords(*hierarchy.root, numbers, true, receiver, error);
        });
        receiver.noteRefreshed();
        return isRead;
      });
}

/// Makes objects of the members of many relationships, and notes whose members they are.
class MemberReceiver final : public StoreRelatedReceiver {
 public:
  MemberReceiver(ObjectReceiver& receiver, Objects& objects,
                 std::unordered_map<std::int64_t, std::vector<Value>>& members)
      : _receiver(receiver), _objects(objects), _members(members) {}

  void beginOwner(std::int64_t primaryKey) override { _current = &_members[primaryKey]; }
  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override {
    Value* places = _receiver.beginRow(entity, primaryKey, version);
    _current->emplace_back(_objects.back()->objectID());
    return places;
  }
  void endRow() override { _receiver.endRow(); }

 private:
  ObjectReceiver& _receiver;
  Objects& _objects;
  std::unordered_map<std::int64_t, std::vector<Value>>& _members;
  std::vector<Value>* _current = nullptr;
};

/// One relationship of many objects of one store.
struct Owners {
  const NSRelationshipDescription* relationship;
  const StoreHierarchy* hierarchy;
  std::vector<NSManagedObject*> objects;
};

bool readMembers(const Owners& owners, const Ref<ObjectRegistry>& registry, Objects& found,
                 Ref<NSError>* error) {
  const ObjectReading reading;
  NSPersistentStore& store = *owners.hierarchy->store;
  std::vector<std::int64_t> numbers;
  numbers.reserve(owners.objects.size());
  for (const NSManagedObject* owner : owners.objects) {
    numbers.push_back(ObjectAccess::key(*owner).number);
  }
  std::unordered_map<std::int64_t, std::vector<Value>> members;
  ObjectReceiver objects(store, registry, reading, found);
  MemberReceiver receiver(objects, found, members);
  const bool isRead = withStore(store, registry, error, [&] {
    return store.fetchRelatedOfAll(*owners.relationship, numbers, true, receiver, error);
  });
  objects.noteRefreshed();
  if (!isRead) return false;
  for (NSManagedObject* owner : owners.objects) {
    const std::size_t number = owner->entity()->layout().indexOf(*owners.relationship->name());
    if (!Relations::needsMembers(*owner, number)) continue;
    Relations::setStoredMembers(*owner, number,
                                std::move(members[ObjectAccess::key(*owner).number]));
  }
  return true;
}

/// One step of a key path.
class PrefetchingStep {
 public:
  PrefetchingStep(const NSString& name, const Ref<ObjectRegistry>& registry)
      : _name(name), _registry(registry) {}

  /// Appends the objects that the step leads to to `next`.
  bool read(const Objects& objects, Objects& next, Ref<NSError>* error) {
    for (const Ref<NSManagedObject>& object : objects) {
      const EntityLayout& layout = object->entity()->layout();
      const std::size_t number = layout.indexOf(_name);
      // A descendant of what the path speaks of may be without it.
      if (number == EntityLayout::none || !layout[number].relationship) continue;
      if (layout[number].isToMany()) {
        noteMany(*object, number, next);
      } else {
        noteOne(*object, number, next);
      }
    }
    if (!readRecords(_wanted, _registry, next, error)) return false;
    for (const Owners& owners : _owners) {
      if (!readMembers(owners, _registry, next, error)) return false;
    }
    return true;
  }

 private:
  void noteOne(NSManagedObject& object, std::size_t number, Objects& next) {
    if ((ObjectAccess::flags(object) & ObjectAccess::hasValues) == 0 &&
        !ObjectAccess::hasReadPlace(object, number)) {
      return;
    }
    const auto* identifier = as<NSManagedObjectID>(ObjectAccess::values(object)[number]);
    if (identifier) noteDestination(object, *identifier, next);
  }

  /// Notes an object that is read already, or that it is to be read.
  void noteDestination(const NSManagedObject& object, const NSManagedObjectID& identifier,
                       Objects& next) {
    ObjectKey key{nullptr, identifier.number()};
    if (!identifier.isTemporaryID()) {
      const StoreHierarchy* own = ObjectAccess::key(object).hierarchy;
      key.hierarchy = own ? own->store->hierarchyOf(*identifier.entity()) : nullptr;
      if (!key.hierarchy ||
          !identifier.storeIdentifier()->isEqualToString(own->store->identifier())) {
        return;
      }
    }
    Ref<NSManagedObject> known = _registry->find(key);
    if (known && (ObjectAccess::flags(*known) & ObjectAccess::hasValues) != 0) {
      next.push_back(std::move(known));
    } else if (key.hierarchy) {
      _wanted.add(*key.hierarchy, key.number);
    }
  }

  void noteMany(NSManagedObject& object, std::size_t number, Objects& next) {
    if (!Relations::needsMembers(object, number)) {
      const RelatedObjects* related = Relations::known(object, number);
      if (!related || !related->isLoaded()) return;
      for (const Value& identifier : related->members()) {
        noteDestination(object, *as<NSManagedObjectID>(identifier), next);
      }
      return;
    }
    const NSRelationshipDescription* relationship =
        object.entity()->layout()[number].relationship.get();
    const StoreHierarchy* hierarchy = ObjectAccess::key(object).hierarchy;
    for (Owners& owners : _owners) {
      if (owners.relationship == relationship && owners.hierarchy == hierarchy) {
        owners.objects.push_back(&object);
        return;
      }
    }
    _owners.push_back({relationship, hierarchy, {&object}});
  }

  const NSString& _name;
  const Ref<ObjectRegistry>& _registry;
  Wanted _wanted;
  std::vector<Owners> _owners;
};

void keepEachOnce(Objects& objects) {
  std::unordered_set<const NSManagedObject*> seen;
  std::erase_if(objects, [&](const Ref<NSManagedObject>& object) {
    return !seen.insert(object.get()).second;
  });
}

}  // namespace

Prefetching::Prefetching(const NSEntityDescription& entity, const Ref<NSArray>& keyPaths) {
  if (!keyPaths) return;
  for (const Value& value : *keyPaths) {
    auto* text = as<NSString>(value);
    const NSEntityDescription* here = &entity;
    std::vector<Ref<NSString>>& names = _paths.emplace_back();
    const KeyPath path = text ? KeyPath(Ref<NSString>(text)) : KeyPath();
    for (const KeyPath::Step& step : path.steps()) {
      const std::size_t number = here ? here->layout().indexOf(*step.key) : EntityLayout::none;
      const Ref<NSRelationshipDescription> relationship =
          number == EntityLayout::none ? nullptr : here->layout()[number].relationship;
      here = relationship ? relationship->destinationEntity().get() : nullptr;
      if (!here) break;
      names.push_back(step.key);
    }
    if (!here || names.empty()) {
      raise(NSInvalidArgumentException,
            "'%@' is no key path of relationships of '%@' that could be prefetched", value,
            entity.name());
    }
  }
}

bool readFaults(const Objects& objects, const Ref<ObjectRegistry>& registry, Objects& kept,
                Ref<NSError>* error) {
  Wanted wanted;
  for (const Ref<NSManagedObject>& object : objects) {
    const ObjectKey key = ObjectAccess::key(*object);
    if ((ObjectAccess::flags(*object) & ObjectAccess::hasValues) == 0 && key.hierarchy) {
      wanted.add(*key.hierarchy, key.number);
    }
  }
  return readRecords(wanted, registry, kept, error);
}

bool Prefetching::read(const Objects& objects, const Ref<ObjectRegistry>& registry, Objects& kept,
                       Ref<NSError>* error) const {
  for (const std::vector<Ref<NSString>>& path : _paths) {
    Objects current = objects;
    for (const Ref<NSString>& name : path) {
      const auto needsValues = [&](const Ref<NSManagedObject>& object) {
        const EntityLayout& layout = object->entity()->layout();
        const std::size_t number = layout.indexOf(*name);
        return number != EntityLayout::none &&
               (layout[number].isToMany() || !ObjectAccess::hasReadPlace(*object, number));
      };
      Objects whole;
      std::copy_if(current.begin(), current.end(), std::back_inserter(whole), needsValues);
      if (!readFaults(whole, registry, kept, error)) return false;
      Objects next;
      if (!PrefetchingStep(*name, registry).read(current, next, error)) return false;
      keepEachOnce(next);
      kept.insert(kept.end(), next.begin(), next.end());
      current = std::move(next);
    }
  }
  keepEachOnce(kept);
  return true;
}

}  // namespace JNFoundation::impl
