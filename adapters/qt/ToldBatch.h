#pragma once

#include <vector>

#include "FetchedRows.h"

namespace JNFoundation::inline v0_1 {

/// What a controller told of one batch: old positions are those before all of it, new ones those
/// after it.
struct ToldBatch {
  struct Position {
    std::size_t section = 0;
    std::size_t item = 0;

    friend bool operator==(const Position&, const Position&) = default;
    friend auto operator<=>(const Position&, const Position&) = default;
  };

  struct Section {
    std::size_t number;
    Ref<NSString> name;
  };

  struct Object {
    Ref<NSManagedObject> object;
    Position from, to;
    /// The row at the old position, where there is one.
    FetchedRow* row = nullptr;
  };

  /// By their old numbers.
  std::vector<std::size_t> deletedSections;
  /// By their new ones.
  std::vector<Section> insertedSections;
  std::vector<Object> deleted, inserted, moved, updated;

  void tellSection(NSFetchedResultsChangeType type, NSUInteger number, const Ref<NSString>& name);
  void tellObject(NSFetchedResultsChangeType type, const Ref<NSManagedObject>& object,
                  const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to);

  /// Puts everything in order and finds the rows at the old positions. Returns: false if these are
  /// not the rows that the batch speaks of.
  bool resolve(const FetchedRows& rows);

  /// Whether the controller has what came and moved where the batch says, and as many rows and
  /// sections as there are here.
  bool agrees(const NSFetchedResultsController& controller, const FetchedRows& rows) const;

  /// The number that a section of the new list has while the deleted sections are still among the
  /// others, and the inserted ones before it are there.
  std::size_t numberAmongAll(std::size_t section) const;
};

}  // namespace JNFoundation
