#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::impl {

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
  explicit ObjectRegistry(NSManagedObjectContext& context);
  ~ObjectRegistry() override;

  /// Returns: null once the context is gone or has forgotten its objects.
  Ref<NSManagedObjectContext> context() const noexcept { return _context.load(); }

  /// What objects point into lives as long as the registry.
  void setCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator);

  /// Returns: null if there is none, or if it is being destroyed.
  Ref<NSManagedObject> find(const ObjectKey& key) const;
  /// Takes the place of an object of the same identity that is being destroyed.
  void add(const ObjectKey& key, NSManagedObject& object);
  void rekey(const ObjectKey& from, const ObjectKey& to, NSManagedObject& object);
  /// Ignored if another object has the identity by now.
  void remove(const ObjectKey& key, const NSManagedObject& object) noexcept;
  std::vector<Ref<NSManagedObject>> all() const;

  /// Cuts the objects off from their context.
  void invalidate() noexcept;
  bool isInvalid() const noexcept { return _invalid; }

  /// Counts edits, so that a save notices those made meanwhile.
  std::uint64_t edits = 0;
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

    NSManagedObject* find(std::int64_t number) const noexcept;
    void insert(std::int64_t number, NSManagedObject& object);
    /// Ignored if the number is another object's.
    void erase(std::int64_t number, const NSManagedObject& object) noexcept;
    std::size_t count() const noexcept { return _count; }
    const std::vector<Entry>& entries() const noexcept { return _entries; }

   private:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::size_t homeOf(std::int64_t number) const noexcept;
    std::size_t placeOf(std::int64_t number) const noexcept;
    bool place(const Entry& entry) noexcept;
    void rebuild(std::size_t size);

    /// Open addressing; the size is a power of two.
    std::vector<Entry> _entries;
    std::size_t _count = 0;
    /// No entry stands further from its home than this.
    std::size_t _reach = 0;
    bool _mixed = false;
  };

  Table& tableOf(const StoreHierarchy* hierarchy) const;

  Weak<NSManagedObjectContext> _context;
  Ref<NSPersistentStoreCoordinator> _coordinator;
  mutable std::mutex _mutex;
  /// Guarded by the mutex. Few, so a list.
  mutable std::vector<Table> _tables;
  bool _invalid = false;
};

}  // namespace JNFoundation::impl
