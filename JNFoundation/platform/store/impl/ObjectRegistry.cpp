#include "JNFoundation/platform/store/impl/ObjectRegistry.h"

#include <algorithm>
#include <string>

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1::impl {

ObjectRegistry::ObjectRegistry(NSManagedObjectContext& context, Ref<ContextQueue> queue)
    : _queue(std::move(queue)), _context(&context) {}
ObjectRegistry::~ObjectRegistry() = default;

void ObjectRegistry::stopAtWrongThread() const noexcept {
  const Ref<NSManagedObjectContext> context = _context.load();
  const Ref<NSString> name = context ? context->name() : nullptr;
  fatalError(
      std::string("A managed object context") + (name ? " named \"" : "") +
      (name ? std::string(name->utf8()) : std::string()) + (name ? "\"" : "") +
      ", or an object of it, was used on a thread that does not have its queue. " +
      (_queue->isMain() ? "It belongs to the main thread: " : "It has a queue of its own: ") +
      "use performBlock: or performBlockAndWait:, and hand identifiers, not objects, from "
      "one context to another.");
}

void ObjectRegistry::setCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator) {
  _coordinator = coordinator;
}

// ---- One hierarchy's table ----------------------------------------------------------------------

/// The place of the number, or none. A run of neighbours may be long, so the search ends where the
/// number could no longer stand.
std::size_t ObjectRegistry::Table::placeOf(std::int64_t number) const noexcept {
  if (_count == 0) return none;
  std::size_t place = homeOf(number);
  for (std::size_t step = 0; step <= _reach && _entries[place].object; ++step) {
    if (_entries[place].number == number) return place;
    place = (place + 1) & _mask;
  }
  return none;
}

/// Puts an entry of a new number at the first free place. Returns: false where that is too far
/// away.
bool ObjectRegistry::Table::place(const Entry& entry) noexcept {
  constexpr std::size_t crowd = 64;
  std::size_t place = homeOf(entry.number);
  std::size_t step = 0;
  for (; _entries[place].object; ++step) {
    if (step == crowd && !_mixed) return false;
    place = (place + 1) & _mask;
  }
  _entries[place] = entry;
  _reach = std::max(_reach, step);
  return true;
}

/// Whether so many entries want a larger table. Numbers that stand at home leave no gaps, so they
/// may fill it; a mixed one has many that stand elsewhere once it is more than half full.
bool ObjectRegistry::Table::isFull(std::size_t count) const noexcept {
  return _mixed ? count * 2 > _entries.size() : count * 8 > _entries.size() * 7;
}

void ObjectRegistry::Table::rebuild(std::size_t size) {
  const std::vector<Entry> former = std::move(_entries);
  bool done = false;
  while (!done) {
    if (_mixed && size < (_count + 1) * 2) size *= 2;
    _entries.assign(size, Entry());
    _mask = size - 1;
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

NSManagedObject* ObjectRegistry::Table::findAwayFromHome(std::int64_t number) const noexcept {
  const std::size_t place = placeOf(number);
  return place == none ? nullptr : _entries[place].object;
}

void ObjectRegistry::Table::insert(std::int64_t number, NSManagedObject& object) {
  constexpr std::size_t smallestSize = 64;
  if (const std::size_t known = placeOf(number); known != none) {
    _entries[known].object = &object;
    return;
  }
  if (isFull(_count + 1)) rebuild(std::max(smallestSize, _entries.size() * 2));
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
  // What stood behind the hole because of it moves up, so that no look-up ends early.
  for (std::size_t next = (hole + 1) & _mask;
       _entries[next].object && ((next - hole) & _mask) <= _reach; next = (next + 1) & _mask) {
    const std::size_t home = homeOf(_entries[next].number);
    if (((next - home) & _mask) >= ((next - hole) & _mask)) {
      _entries[hole] = _entries[next];
      hole = next;
    }
  }
  _entries[hole] = {};
  if (--_count == 0) _reach = 0;
}

// ---- The registry -------------------------------------------------------------------------------

/// Keeps other threads from the tables. While there are none, the lock would cost as much as a
/// look-up.
class ObjectRegistry::Guard {
 public:
  explicit Guard(std::mutex& mutex) : _mutex(hasOneThread() ? nullptr : &mutex) {
    if (_mutex) _mutex->lock();
  }
  ~Guard() {
    if (_mutex) _mutex->unlock();
  }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  std::mutex* const _mutex;
};

ObjectRegistry::Table& ObjectRegistry::tableOf(const StoreHierarchy* hierarchy) const {
  for (Table& table : _tables) {
    if (table.hierarchy == hierarchy) return table;
  }
  Table& table = _tables.emplace_back();
  table.hierarchy = hierarchy;
  return table;
}

Ref<NSManagedObject> ObjectRegistry::find(const ObjectKey& key) const {
  const Guard guard(_mutex);
  NSManagedObject* object = tableOf(key.hierarchy).find(key.number);
  if (!object && !key.hierarchy && !_formerKeys.empty()) {
    const auto current = _formerKeys.find(key.number);
    if (current != _formerKeys.end()) {
      object = tableOf(current->second.hierarchy).find(current->second.number);
    }
  }
  return alive(object);
}

Ref<NSManagedObject> ObjectRegistry::findQuickly(const NSManagedObjectID& objectID) const {
  if (objectID.isTemporaryID()) return find({nullptr, objectID.number()});
  const Ref<NSString>& root = objectID.entity()->layout().rootName();
  const Guard guard(_mutex);
  for (const Table& table : _tables) {
    if (!table.isOf(objectID) || table.hierarchy->root->name() != root) continue;
    if (hasOneThread()) {
      _lastTable = &table;
      _lastEntity = objectID.entity();
    }
    return alive(table.find(objectID.number()));
  }
  return nullptr;
}

void ObjectRegistry::add(const ObjectKey& key, NSManagedObject& object) {
  const Guard guard(_mutex);
  tableOf(key.hierarchy).insert(key.number, object);
}

void ObjectRegistry::rekey(const ObjectKey& from, const ObjectKey& to, NSManagedObject& object) {
  const Guard guard(_mutex);
  tableOf(from.hierarchy).erase(from.number, object);
  tableOf(to.hierarchy).insert(to.number, object);
  if (_keepsFormerKeys && !from.hierarchy) _formerKeys[from.number] = to;
}

void ObjectRegistry::setKeepsFormerKeys(bool keeps) {
  const Guard guard(_mutex);
  _keepsFormerKeys = keeps;
  if (!keeps) _formerKeys.clear();
}

void ObjectRegistry::noteFormerKey(std::int64_t number, const ObjectKey& key) {
  const Guard guard(_mutex);
  _formerKeys[number] = key;
}

ObjectKey ObjectRegistry::currentKey(const ObjectKey& key) const {
  if (key.hierarchy) return key;
  const Guard guard(_mutex);
  const auto current = _formerKeys.find(key.number);
  return current == _formerKeys.end() ? key : current->second;
}

void ObjectRegistry::remove(const ObjectKey& key, const NSManagedObject& object) noexcept {
  const Guard guard(_mutex);
  tableOf(key.hierarchy).erase(key.number, object);
}

std::vector<Ref<NSManagedObject>> ObjectRegistry::all() const {
  std::vector<Ref<NSManagedObject>> objects;
  const Guard guard(_mutex);
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
