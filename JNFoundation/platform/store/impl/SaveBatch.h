#pragma once

#include <vector>

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// What a save writes to one store.
struct SaveBatch {
  NSPersistentStore* store;
  std::vector<NSManagedObject*> inserted;
  std::vector<StoreRowChange> rows;
  /// The objects of the rows.
  std::vector<NSManagedObject*> objects;
  /// Those of which a relationship to many was changed.
  std::vector<NSManagedObject*> related;
  /// Objects without changes whose records must not have changed either.
  std::vector<NSManagedObject*> watched;

  bool isEmpty() const noexcept {
    return rows.empty() && inserted.empty() && related.empty() && watched.empty();
  }
};

/// Why the store refused what a save has written.
enum class SaveObstacle {
  /// None that a merge policy could do anything about.
  None,
  /// A record has changed meanwhile.
  Version,
  /// A value that must be unique is there already.
  Constraint,
  /// A record would lead to one that is gone.
  Reference,
};

}  // namespace JNFoundation::impl
