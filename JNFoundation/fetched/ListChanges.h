#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSIndexPath.h>

namespace JNFoundation::inline v0_1 {

class NSData;
class NSDictionary;
class NSError;
class PLVFetchedResultsChanges;
enum NSFetchedResultsChangeType : NSUInteger;

/// Where an item is in a list of sections.
struct ListPlace {
  NSUInteger section = 0;  ///< its number, from 0
  NSUInteger item = 0;     ///< its number in the section, from 0

  /// Whether both are the same place.
  friend bool operator==(const ListPlace& left, const ListPlace& right) noexcept {
    return left.section == right.section && left.item == right.item;
  }
  /// Whether they are different places.
  friend bool operator!=(const ListPlace& left, const ListPlace& right) noexcept {
    return !(left == right);
  }
  /// Whether the first place stands before the second in the list.
  friend bool operator<(const ListPlace& left, const ListPlace& right) noexcept {
    return left.section != right.section ? left.section < right.section : left.item < right.item;
  }
};

/// An item that a batch takes from one place to another.
struct ListMove {
  /// Before the batch.
  ListPlace from;
  /// After it.
  ListPlace to;

  /// Whether both go from the same place to the same place.
  friend bool operator==(const ListMove& left, const ListMove& right) noexcept {
    return left.from == right.from && left.to == right.to;
  }
  /// By the place before the batch, then by the one after it.
  friend bool operator<(const ListMove& left, const ListMove& right) noexcept {
    return left.from != right.from ? left.from < right.from : left.to < right.to;
  }
};

/// Items that stand one after the other in a list after a batch, and come from one place.
struct ListRun {
  /// Where items come from.
  enum class Origin : std::uint8_t {
    /// Items that were there and are told nothing of; `place` is the first's before the batch.
    Kept,
    /// An item that was there and may have changed; `place` is the one before the batch.
    Updated,
    /// Items that were not there; `place` is the first's after the batch.
    New,
  };

  Origin origin;     ///< of all of the items
  ListPlace place;   ///< see `Origin`
  NSUInteger count;  ///< how many items there are
};

/// One batch of changes of a list of sections, as a value to calculate with.
///
///     ListChanges first = ..., second = ...;
///     ListChanges both = first.followedBy(second).reduced();
///     ListChanges undo = both.inverted();
///     for (const EditStep& step : editScript(undo)) ...      // see EditScript.h
///
/// Deletes, updates and the start of a move are places before the batch, inserts and the end of a
/// move those after it, as in a `PLVFetchedResultsChanges`. Whatever is not told of stays, and
/// keeps its order. What is not told of in a section that goes, goes along; a section that comes
/// brings what is not told of in it. So a list may tell of every item, as a fetched-results
/// controller does, or let the section speak for them, as a `PLVFetchedResultsChanges` does. An
/// item that moves may have changed as well.
///
/// Entries may stand in any order, and more than once. What they say has to fit together: one item
/// is not both deleted and moved, and nothing comes to a place twice. An update besides a delete or
/// a move says nothing more.
///
/// Every operation takes time n log n in the number of entries, and does not depend on how long the
/// list is.
/// Threads: a value; one at a time. Fails: raises NSInvalidArgumentException where entries do not
/// fit together, and changes nothing.
struct ListChanges {
  std::vector<NSUInteger> deletedSections;   ///< numbers before the batch
  std::vector<NSUInteger> insertedSections;  ///< numbers after the batch
  std::vector<ListPlace> deletedItems;       ///< before the batch
  std::vector<ListPlace> insertedItems;      ///< after the batch
  std::vector<ListPlace> updatedItems;       ///< before the batch
  std::vector<ListMove> movedItems;          ///< from before the batch to after it

  // ---- Collecting -------------------------------------------------------------------------------

  /// Notes what a delegate is told. Types other than insert and delete say nothing.
  void changeSectionAtIndexForChangeType(NSUInteger index, NSFetchedResultsChangeType type);
  /// Notes what a delegate is told, in sections that come and go as well.
  /// Fails: raises NSInvalidArgumentException for a path that would be noted and is null or too
  /// short.
  void changeObjectAtIndexPathForChangeTypeNewIndexPath(const Ref<NSIndexPath>& path,
                                                        NSFetchedResultsChangeType type,
                                                        const Ref<NSIndexPath>& newPath);

  /// What a set has collected; null is an empty one.
  static ListChanges withChanges(const Ref<PLVFetchedResultsChanges>& changes);
  /// A set of the same entries that keeps moves.
  Ref<PLVFetchedResultsChanges> fetchedResultsChanges() const;

  /// Whether there are no entries.
  bool isEmpty() const noexcept { return size() == 0; }
  /// The number of entries.
  std::size_t size() const noexcept {
    return deletedSections.size() + insertedSections.size() + deletedItems.size() +
           insertedItems.size() + updatedItems.size() + movedItems.size();
  }
  /// Entry by entry, in their order.
  friend bool operator==(const ListChanges& left, const ListChanges& right) noexcept {
    return left.deletedSections == right.deletedSections &&
           left.insertedSections == right.insertedSections &&
           left.deletedItems == right.deletedItems && left.insertedItems == right.insertedItems &&
           left.updatedItems == right.updatedItems && left.movedItems == right.movedItems;
  }

  // ---- Calculating ------------------------------------------------------------------------------

  /// One batch that does what this one and then the next one do. Requires: the next one is of the
  /// list that this one leaves.
  ListChanges followedBy(const ListChanges& next) const;

  /// The batch that leads back. What a batch deletes, its inverse inserts.
  ListChanges inverted() const;

  /// The shortest batch that does the same, in ascending order: nothing twice, nothing that a
  /// section says already, and a move that changes no order is an update. Moves are as few as can
  /// be without telling of items that were not told of.
  ListChanges reduced() const;

  /// Where an item is afterwards. Returns: false for one that is gone.
  /// Takes: time n log n; ask for `layout` to learn it for many.
  bool placeAfter(const ListPlace& before, ListPlace* after) const;

  /// What the list consists of after the batch, section by section.
  /// Takes: how many items each section has before; for sections that come, how many they have
  /// after, asked with their number after.
  /// Fails: raises NSRangeException where the batch is not one of such a list.
  std::vector<std::vector<ListRun>> layout(
      const std::vector<NSUInteger>& counts,
      const Block<NSUInteger(NSUInteger section)>& countAfter) const;

  // ---- JSON -------------------------------------------------------------------------------------

  /// Members without entries are left out:
  ///
  ///     {"deletedSections": [0], "insertedSections": [2], "deleted": [[1, 4]],
  ///      "inserted": [[0, 0]], "updated": [[1, 0]], "moved": [[[1, 2], [1, 3]]]}
  Ref<NSDictionary> JSONObject() const;
  /// The same as JSON text.
  Ref<NSData> JSONData() const;

  /// Members of other names are ignored.
  /// Fails: returns false with an error of NSCocoaErrorDomain that says where the fault is, and
  /// leaves the changes as they are, for what is no JSON, has another shape, or has numbers that
  /// are no places.
  static bool readJSONObject(const Value& object, ListChanges* changes,
                             Ref<NSError>* error = nullptr);
  /// The same from JSON text.
  static bool readJSONData(const Ref<NSData>& data, ListChanges* changes,
                           Ref<NSError>* error = nullptr);
};

/// The list after the batch, made of the rows of the list before it.
///
///     rows = applyChanges(changes, std::move(rows), source);
///
/// Takes: a source with three operations, all asked with places after the batch: `count(section)`,
/// for sections that come; `make(place)`, for a row that comes; `update(row, place)`, for a row
/// that was updated or moved.
/// Fails: as `layout`, before anything is asked for.
template <class Row, class Source>
std::vector<std::vector<Row>> applyChanges(const ListChanges& changes,
                                           std::vector<std::vector<Row>> list, Source&& source) {
  std::vector<NSUInteger> counts;
  counts.reserve(list.size());
  for (const auto& rows : list) counts.push_back(rows.size());
  const auto layout =
      changes.layout(counts, [&source](NSUInteger section) { return source.count(section); });
  std::vector<std::vector<Row>> after(layout.size());
  for (NSUInteger section = 0; section < layout.size(); ++section) {
    std::vector<Row>& rows = after[section];
    for (const ListRun& run : layout[section]) {
      for (NSUInteger i = 0; i < run.count; ++i) {
        if (run.origin == ListRun::Origin::New) {
          rows.push_back(source.make(ListPlace{section, rows.size()}));
          continue;
        }
        rows.push_back(std::move(list[run.place.section][run.place.item + i]));
        if (run.origin == ListRun::Origin::Updated) {
          source.update(rows.back(), ListPlace{section, rows.size() - 1});
        }
      }
    }
  }
  return after;
}

}  // namespace JNFoundation
