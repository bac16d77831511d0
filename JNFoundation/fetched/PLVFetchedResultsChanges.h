#pragma once

#include <JNFoundation/fetched/PLVFetchedResultsItemMove.h>
#include <JNFoundation/platform/store/NSFetchedResultsControllerDelegate.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation::inline v0_1 {

/// One batch of changes of a list, collected call by call and then applied as a whole.
///
///     void controllerWillChangeContent(Controller) override {
///       _changes = PLVFetchedResultsChanges::init();
///     }
///     void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(...) override {
///       _changes->changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
///     }
///     void controllerDidChangeContent(Controller) override { _list->apply(_changes); }
///
/// What a section brings along or takes with it is not said again for its items, provided that the
/// section is told of first, as controllers do. Nothing is merged: a path that is reported twice
/// stands there twice.
///
/// Each batch takes a new set: there is no way back to an empty one.
/// Threads: one at a time.
class PLVFetchedResultsChanges : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The option that moves stay moves. Without it a move is a delete and an insert.
  static constexpr NSUInteger keepsMoves = 1;

  /// A set that keeps moves.
  static Ref<PLVFetchedResultsChanges> init();
  /// Options other than `keepsMoves` mean nothing.
  static Ref<PLVFetchedResultsChanges> initWithOptions(NSUInteger options);

  /// What the set was made with.
  NSUInteger options() const noexcept { return _options; }

  /// Numbers before the batch.
  const Ref<NSMutableIndexSet>& deletedSections() const noexcept { return _deletedSections; }
  /// Numbers after the batch.
  const Ref<NSMutableIndexSet>& insertedSections() const noexcept { return _insertedSections; }
  /// NSIndexPaths before the batch, in the order of the calls.
  const Ref<NSMutableArray>& deletedItemPaths() const noexcept { return _deletedItemPaths; }
  /// NSIndexPaths after the batch.
  const Ref<NSMutableArray>& insertedItemPaths() const noexcept { return _insertedItemPaths; }
  /// NSIndexPaths before the batch.
  const Ref<NSMutableArray>& updatedItemPaths() const noexcept { return _updatedItemPaths; }
  /// PLVFetchedResultsItemMoves; empty without the option.
  const Ref<NSMutableArray>& movedItems() const noexcept { return _movedItems; }

  /// Inserts and deletes are noted. Sections do not move, and updates of them say nothing that
  /// their items do not: these are ignored, as are types that do not exist.
  void changeSectionAtIndexForChangeType(const Ref<NSFetchedResultsSectionInfo>& section,
                                         NSUInteger index, NSFetchedResultsChangeType type);

  /// An insert needs the new path, a delete and an update the old one, a move both. An item that
  /// moves out of a section that is gone is inserted, one that moves into a section that is new
  /// is deleted, and if both are so nothing is left to say. An update is noted even in a section
  /// that is gone.
  /// Fails: raises NSInvalidArgumentException where a path that would be noted is null.
  void changeObjectAtIndexPathForChangeTypeNewIndexPath(const Ref<NSIndexPath>& path,
                                                        NSFetchedResultsChangeType type,
                                                        const Ref<NSIndexPath>& newPath);

  // ---- Whatever goes with it --------------------------------------------------------------------

  /// Null until something is stored.
  const Ref<NSMutableDictionary>& userInfo() const noexcept { return _userInfo; }
  void setUserInfo(const Ref<NSMutableDictionary>& userInfo) { _userInfo = userInfo; }
  /// Returns: null where there is nothing under the key.
  Value objectForKeyedSubscript(const Value& key) const;
  /// Null removes what is under the key. The dictionary is made if need be, for null as well.
  void setObjectForKeyedSubscript(const Value& object, const Value& key);

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> init() { return initWithOptions(keepsMoves); }
    static Ref<Self> initWithOptions(NSUInteger options) { return makeObject<Self>(options); }

   protected:
    using Above::Above;
  };

 protected:
  explicit PLVFetchedResultsChanges(NSUInteger options = keepsMoves);

 private:
  void moveItem(const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to);

  NSUInteger _options;
  Ref<NSMutableIndexSet> _deletedSections;
  Ref<NSMutableIndexSet> _insertedSections;
  Ref<NSMutableArray> _deletedItemPaths;
  Ref<NSMutableArray> _insertedItemPaths;
  Ref<NSMutableArray> _updatedItemPaths;
  Ref<NSMutableArray> _movedItems;
  Ref<NSMutableDictionary> _userInfo;
};

}  // namespace JNFoundation
