#pragma once

#include <cstdint>
#include <list>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/ContextQueue.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/OneThread.h>
#include <JNFoundation/platform/value/TryRetain.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1::impl {

/// Whether use of a context or an object on a thread that does not have its queue is noticed: in
/// builds for debugging.
#ifdef NDEBUG
inline constexpr bool checksThreads = false;
#else
inline constexpr bool checksThreads = true;
#endif

/// A record's identity as a context looks it up: a number within a hierarchy of a store; without a
/// hierarchy, the process-wide number of an object that was never saved.
struct ObjectKey {
  const StoreHierarchy* hierarchy = nullptr;
  std::int64_t number = 0;

  friend bool operator==(const ObjectKey&, const ObjectKey&) noexcept = default;
};

/// The objects that a context has at the moment, by identity, without keeping them alive. Every
/// object of the context holds the registry, so that it can take itself out however late, and on
/// whichever thread, its last reference goes.
/// Threads: the look-up any; what an edit touches belongs to the context's thread.
class ObjectRegistry final : public NSObject {
 public:
  ObjectRegistry(NSManagedObjectContext& context, Ref<ContextQueue> queue);
  ~ObjectRegistry() override;

  /// Returns: null once the context is gone or has forgotten its objects.
  Ref<NSManagedObjectContext> context() const noexcept { return _context.load(); }

  /// Where the objects may be used.
  const ContextQueue& queue() const noexcept { return *_queue; }
  /// Stops the process where use on the wrong thread is noticed.
  void requireThread() const noexcept {
    if (checksThreads && !_queue->isCurrent()) stopAtWrongThread();
  }

  /// What objects point into lives as long as the registry.
  void setCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator);

  /// Returns: null if there is none, or if it is being destroyed.
  Ref<NSManagedObject> find(const ObjectKey& key) const;
  /// The object of an identifier of one of the coordinator's own stores, without a look at the
  /// coordinator. Returns: null as well where the identifier's text is another one of that content.
  Ref<NSManagedObject> findQuickly(const NSManagedObjectID& objectID) const;
  /// The same for an identifier of the entity that was asked for last, while there is one thread.
  Ref<NSManagedObject> findAtOnce(const NSManagedObjectID& objectID) const noexcept {
    if (!hasOneThread() || objectID.entity() != _lastEntity) return nullptr;
    const Table& table = *_lastTable;
    return table.isOf(objectID) ? alive(table.find(objectID.number())) : nullptr;
  }
  /// Takes the place of an object of the same identity that is being destroyed.
  void add(const ObjectKey& key, NSManagedObject& object);
  void rekey(const ObjectKey& from, const ObjectKey& to, NSManagedObject& object);
  /// Whether a temporary identity that is given up goes on leading to the object: in a family of
  /// contexts some may still know it by that.
  void setKeepsFormerKeys(bool keeps);
  void noteFormerKey(std::int64_t number, const ObjectKey& key);
  /// The identity that a temporary one was given up for, else the same.
  ObjectKey currentKey(const ObjectKey& key) const;
  /// Ignored if another object has the identity by now.
  void remove(const ObjectKey& key, const NSManagedObject& object) noexcept;
  std::vector<Ref<NSManagedObject>> all() const;

  /// Cuts the objects off from their context.
  void invalidate() noexcept;
  bool isInvalid() const noexcept { return _invalid; }

  /// Counts edits, so that a save notices those made meanwhile.
  std::uint64_t edits = 0;
  /// Counts objects that got other values because they were read again.
  std::uint64_t rereads = 0;
  /// Counts objects that kept their values when a fetch met their records, and these had others.
  std::uint64_t staleObjects = 0;
  /// Whether a task that processes the changes of this turn was posted already.
  bool processingIsPosted = false;

 private:
  struct Entry {
    std::int64_t number = 0;
    NSManagedObject* object = nullptr;
  };

  /// The objects of one hierarchy. Numbers of records come in runs, so a number is its own hash:
  /// what is fetched together stands together. Numbers that crowd all the same have the table
  /// mixed.
  class Table {
   public:
    const StoreHierarchy* hierarchy = nullptr;

    NSManagedObject* find(std::int64_t number) const noexcept {
      if (_count == 0) return nullptr;
      const Entry& home = _entries[homeOf(number)];
      // Most stand there.
      return home.number == number && home.object ? home.object : findAwayFromHome(number);
    }
    void insert(std::int64_t number, NSManagedObject& object);
    /// Ignored if the number is another object's.
    void erase(std::int64_t number, const NSManagedObject& object) noexcept;
    /// Whether the identifier is of the table's store, which is open.
    bool isOf(const NSManagedObjectID& objectID) const noexcept {
      return hierarchy && hierarchy->store->isOpen() &&
             hierarchy->store->identifier() == objectID.storeIdentifier();
    }
    std::size_t count() const noexcept { return _count; }
    const std::vector<Entry>& entries() const noexcept { return _entries; }

   private:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::size_t homeOf(std::int64_t number) const noexcept {
      const auto bits = static_cast<std::uint64_t>(number);
      return static_cast<std::size_t>(_mixed ? mixHash(bits) : bits) & _mask;
    }
    NSManagedObject* findAwayFromHome(std::int64_t number) const noexcept;
    std::size_t placeOf(std::int64_t number) const noexcept;
    bool place(const Entry& entry) noexcept;
    bool isFull(std::size_t count) const noexcept;
    void rebuild(std::size_t size);

    /// Open addressing; the size is a power of two, one more than the mask.
    std::vector<Entry> _entries;
    std::size_t _mask = 0;
    std::size_t _count = 0;
    /// No entry stands further from its home than this.
    std::size_t _reach = 0;
    bool _mixed = false;
  };

  class Guard;

  /// An object whose last reference has just gone stands in its table until its destructor takes it
  /// out.
  static Ref<NSManagedObject> alive(NSManagedObject* object) noexcept {
    return object && tryRetain(*object) ? Ref<NSManagedObject>::adopt(object) : nullptr;
  }
  Table& tableOf(const StoreHierarchy* hierarchy) const;
  [[noreturn]] void stopAtWrongThread() const noexcept;

  const Ref<ContextQueue> _queue;
  Weak<NSManagedObjectContext> _context;
  Ref<NSPersistentStoreCoordinator> _coordinator;
  mutable std::mutex _mutex;
  /// Guarded by the mutex. Few, so a list.
  mutable std::list<Table> _tables;
  /// While there is one thread: where the last identifier that was looked up had its place, and
  /// its entity. Most come in runs.
  mutable const Table* _lastTable = nullptr;
  mutable Ref<NSEntityDescription> _lastEntity;
  /// Guarded by the mutex.
  std::unordered_map<std::int64_t, ObjectKey> _formerKeys;
  bool _keepsFormerKeys = false;
  bool _invalid = false;
};

}  // namespace JNFoundation::impl
