#pragma once

#include <JNFoundation/platform/store/impl/ContextFamily.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// Brings a context's objects up to date with what others have saved.
/// Threads: the context's, unless something else is said.
class ContextMerge {
 public:
  explicit ContextMerge(NSManagedObjectContext& context) : _context(context) {}

  /// Returns: false if the object has changes and its record is gone; it is as it was then.
  bool refresh(NSManagedObject& object, bool mergesChanges);

  /// Takes over a save, and has observers told.
  void merge(const SavedIdentifiers& saved);

  /// Drops the values of a fault or of an object without changes; they are read again when somebody
  /// looks.
  static void makeFault(NSManagedObject& object) noexcept;

  // Threads: any.
  static void mergeLater(NSManagedObjectContext& context, const SavedIdentifiers& saved);
  static void adoptPermanentIDsLater(NSManagedObjectContext& context,
                                     const PermanentIDs& permanentIDs);

 private:
  /// A destination that the object has in the store, and another one here.
  struct Rival {
    Ref<NSManagedObject> object;
    std::size_t number;
    Value destination;
  };

  bool refresh(NSManagedObject& object, bool mergesChanges, std::vector<Rival>& rivals);
  bool rebase(NSManagedObject& object, bool keepsChanges, std::vector<Rival>& rivals);
  static void separate(const std::vector<Rival>& rivals);
  void rebaseMembers(NSManagedObject& object, std::size_t number);
  void forget(NSManagedObject& object);
  void letGoOf(const std::vector<Ref<NSManagedObjectID>>& deleted, std::vector<Rival>& rivals);
  void adoptPermanentIDs(const PermanentIDs& permanentIDs);

  NSManagedObjectContext& _context;
};

}  // namespace JNFoundation::impl
