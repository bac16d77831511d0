#include "JNFoundation/platform/store/impl/ObjectRegistry.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/TryRetain.h>

namespace JNFoundation::impl {

ObjectRegistry::ObjectRegistry(NSManagedObjectContext& context) : _context(&context) {}
ObjectRegistry::~ObjectRegistry() = default;

void ObjectRegistry::setCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator) {
  _coordinator = coordinator;
}

// ---- One hierarchy's table ----------------------------------------------------------------------

std::size_t ObjectRegistry::Table::homeOf(std::int64_t number) const noexcept {
  const auto bits = static_cast<std::uint64_t>(number);
  return static_cast<std::size_t>(_mixed ? mixHash(bits) : bits) & (_entries.size() - 1);
}

/// The place of the number, or none. A run of neighbours may be long, so the search ends where the
/// number could no longer stand.
std::size_t ObjectRegistry::Table::placeOf(std::int64_t number) const noexcept {
  if (_count == 0) return none;
  const std::size_t mask = _entries.size() - 1;
  std::size_t place = homeOf(number);
  for (std::size_t step = 0; step <= _reach && _entries[place].object; ++step) {
    if (_entries[place].number == number) return place;
    place = (place + 1) & mask;
  }
  return none;
}

/// Puts an entry of a new number at the first free place. Returns: false where that is too far
/// away.
bool ObjectRegistry::Table::place(const Entry& entry) noexcept {
  constexpr std::size_t crowd = 64;
  const std::size_t mask = _entries.size() - 1;
  std::size_t place = homeOf(entry.number);
  std::size_t step = 0;
  for (; _entries[place].object; ++step) {
    if (step == crowd && !_mixed) return false;
    place = (place + 1) & mask;
  }
  _entries[place] = entry;
  _reach = std::max(_reach, step);
  return true;
}

void ObjectRegistry::Table::rebuild(std::size_t size) {
  const std::vector<Entry> former = std::move(_entries);
  bool done = false;
  while (!done) {
    _entries.assign(size, Entry());
    _reach = 0;
    done = true;
    for (const Entry& entry : former) {
      if (!entry.object || place(entry)) continue;
      _mixed = true;
      done = false;
      break;
    }
  }
}

NSManagedObject* ObjectRegistry::Table::find(std::int64_t number) const noexcept {
  const std::size_t place = placeOf(number);
  return place == none ? nullptr : _entries[place].object;
}

void ObjectRegistry::Table::insert(std::int64_t number, NSManagedObject& object) {
  constexpr std::size_t smallestSize = 64;
  if (const std::size_t known = placeOf(number); known != none) {
    _entries[known].object = &object;
    return;
  }
  if (_entries.size() < (_count + 1) * 2) rebuild(std::max(smallestSize, _entries.size() * 2));
  if (!place({number, &object})) {
    _mixed = true;
    rebuild(_entries.size());
    place({number, &object});
  }
  ++_count;
}

void ObjectRegistry::Table::erase(std::int64_t number, const NSManagedObject& object) noexcept {
  std::size_t hole = placeOf(number);
  if (hole == none || _entries[hole].object != &object) return;
  const std::size_t mask = _entries.size() - 1;
  // What stood behind the hole because of it moves up, so that no look-up ends early.
  for (std::size_t next = (hole + 1) & mask;
       _entries[next].object && ((next - hole) & mask) <= _reach; next = (next + 1) & mask) {
    const std::size_t home = homeOf(_entries[next].number);
    if (((next - home) & mask) >= ((next - hole) & mask)) {
      _entries[hole] = _entries[next];
      hole = next;
    }
  }
  _entries[hole] = {};
  if (--_count == 0) _reach = 0;
}

// ---- The registry -------------------------------------------------------------------------------

ObjectRegistry::Table& ObjectRegistry::tableOf(const StoreHierarchy* hierarchy) const {
  for (Table& table : _tables) {
    if (table.hierarchy == hierarchy) return table;
  }
  Table& table = _tables.emplace_back();
  table.hierarchy = hierarchy;
  return table;
}

Ref<NSManagedObject> ObjectRegistry::find(const ObjectKey& key) const {
  std::lock_guard guard(_mutex);
  NSManagedObject* object = tableOf(key.hierarchy).find(key.number);
  // An object whose last reference has just gone stands here until its destructor takes it out.
  if (!object || !tryRetain(*object)) return nullptr;
  return Ref<NSManagedObject>::adopt(object);
}

void ObjectRegistry::add(const ObjectKey& key, NSManagedObject& object) {
  std::lock_guard guard(_mutex);
  tableOf(key.hierarchy).insert(key.number, object);
}

void ObjectRegistry::rekey(const ObjectKey& from, const ObjectKey& to, NSManagedObject& object) {
  std::lock_guard guard(_mutex);
  tableOf(from.hierarchy).erase(from.number, object);
  tableOf(to.hierarchy).insert(to.number, object);
}

void ObjectRegistry::remove(const ObjectKey& key, const NSManagedObject& object) noexcept {
  std::lock_guard guard(_mutex);
  tableOf(key.hierarchy).erase(key.number, object);
}

std::vector<Ref<NSManagedObject>> ObjectRegistry::all() const {
  std::vector<Ref<NSManagedObject>> objects;
  std::lock_guard guard(_mutex);
  for (const Table& table : _tables) {
    objects.reserve(objects.size() + table.count());
    for (const Entry& entry : table.entries()) {
      if (entry.object && tryRetain(*entry.object)) {
        objects.push_back(Ref<NSManagedObject>::adopt(entry.object));
      }
    }
  }
  return objects;
}

void ObjectRegistry::invalidate() noexcept {
  _context.reset();
  _invalid = true;
}

}  // namespace JNFoundation::impl
