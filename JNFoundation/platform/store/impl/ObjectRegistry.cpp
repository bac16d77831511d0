#include "JNFoundation/platform/store/impl/ObjectRegistry.h"

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/TryRetain.h>

namespace JNFoundation::impl {

ObjectRegistry::ObjectRegistry(NSManagedObjectContext& context) : _context(&context) {}
ObjectRegistry::~ObjectRegistry() = default;

void ObjectRegistry::setCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator) {
  _coordinator = coordinator;
}

std::size_t ObjectRegistry::hashOf(const ObjectKey& key) noexcept {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key.hierarchy));
  return static_cast<std::size_t>(
      mixHash(static_cast<std::uint64_t>(key.number) ^ (address << 16)));
}

std::size_t ObjectRegistry::placeOf(const ObjectKey& key) const noexcept {
  const std::size_t mask = _entries.size() - 1;
  std::size_t place = hashOf(key) & mask;
  while (_entries[place].object && !(_entries[place].key == key)) place = (place + 1) & mask;
  return place;
}

void ObjectRegistry::grow(std::size_t count) {
  std::size_t size = 64;
  while (size < count * 2) size *= 2;
  if (size <= _entries.size()) return;
  std::vector<Entry> former(size);
  former.swap(_entries);
  for (const Entry& entry : former) {
    if (entry.object) _entries[placeOf(entry.key)] = entry;
  }
}

void ObjectRegistry::insert(const ObjectKey& key, NSManagedObject& object) {
  grow(_count + 1);
  Entry& entry = _entries[placeOf(key)];
  if (!entry.object) ++_count;
  entry = {key, &object};
}

void ObjectRegistry::erase(const ObjectKey& key, const NSManagedObject& object) noexcept {
  if (_entries.empty()) return;
  const std::size_t mask = _entries.size() - 1;
  std::size_t hole = placeOf(key);
  if (_entries[hole].object != &object) return;
  // What stood behind the hole because of it moves up, so that no look-up ends early.
  for (std::size_t next = (hole + 1) & mask; _entries[next].object; next = (next + 1) & mask) {
    const std::size_t home = hashOf(_entries[next].key) & mask;
    if (((next - home) & mask) >= ((next - hole) & mask)) {
      _entries[hole] = _entries[next];
      hole = next;
    }
  }
  _entries[hole] = {};
  --_count;
}

Ref<NSManagedObject> ObjectRegistry::find(const ObjectKey& key) const {
  std::lock_guard guard(_mutex);
  if (_entries.empty()) return nullptr;
  NSManagedObject* object = _entries[placeOf(key)].object;
  // An object whose last reference has just gone stands here until its destructor takes it out.
  if (!object || !tryRetain(*object)) return nullptr;
  return Ref<NSManagedObject>::adopt(object);
}

void ObjectRegistry::add(const ObjectKey& key, NSManagedObject& object) {
  std::lock_guard guard(_mutex);
  insert(key, object);
}

void ObjectRegistry::rekey(const ObjectKey& from, const ObjectKey& to, NSManagedObject& object) {
  std::lock_guard guard(_mutex);
  erase(from, object);
  insert(to, object);
}

void ObjectRegistry::remove(const ObjectKey& key, const NSManagedObject& object) noexcept {
  std::lock_guard guard(_mutex);
  erase(key, object);
}

void ObjectRegistry::reserve(std::size_t additional) {
  std::lock_guard guard(_mutex);
  grow(_count + additional);
}

std::vector<Ref<NSManagedObject>> ObjectRegistry::all() const {
  std::vector<Ref<NSManagedObject>> objects;
  std::lock_guard guard(_mutex);
  objects.reserve(_count);
  for (const Entry& entry : _entries) {
    if (entry.object && tryRetain(*entry.object)) {
      objects.push_back(Ref<NSManagedObject>::adopt(entry.object));
    }
  }
  return objects;
}

void ObjectRegistry::invalidate() noexcept {
  _context.reset();
  _invalid = true;
}

}  // namespace JNFoundation::impl
