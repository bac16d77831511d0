#pragma once

#include <cstdint>

#include <JNFoundation/platform/store/NSFetchedResultsSectionInfo.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSIndexPath.h>

namespace JNFoundation::inline v0_1 {

class NSFetchedResultsController;

/// What became of an object, or of a section, in a list of results.
enum NSFetchedResultsChangeType : NSUInteger {
  NSFetchedResultsChangeInsert = 1,  ///< it was not there
  NSFetchedResultsChangeDelete = 2,  ///< it is not there any more
  NSFetchedResultsChangeMove = 3,    ///< it stands somewhere else among the others
  NSFetchedResultsChangeUpdate = 4,  ///< it stands where it stood, with other values
};

/// What is told how a list of results changes, in this order: that it will, every section that came
/// or went, every object, that it did. All of them are optional: what a delegate does not answer is
/// not called.
///
/// Old positions are those before the whole batch, new ones those after it. So a view takes out
/// what was deleted and moved away by the old positions, puts in what was inserted and moved there
/// by the new ones, and has the list that the controller has.
/// Calls: on the context's thread, while the context processes its changes. A delegate may do what
/// it likes meanwhile: change objects, save, fetch again, leave, or let go of the controller.
class NSFetchedResultsControllerDelegate : public NSObjectProtocol {
 public:
  /// The controller that tells.
  using Controller = const Ref<NSFetchedResultsController>&;

  /// What a delegate may be asked or told.
  enum class Callback : std::uint8_t {
    WillChangeContent,  ///< a batch begins
    DidChangeSection,   ///< a section came or went
    DidChangeObject,    ///< an object came, went, moved or changed
    DidChangeContent,   ///< a batch has ended
    SectionIndexTitle,  ///< the title of a section in an index
  };

  /// Whether the delegate answers the callback; asked anew before each. A delegate that answers
  /// none of the changes has nothing tracked. By default every change is answered, and titles are
  /// not.
  virtual bool answers(Callback callback) const { return callback != Callback::SectionIndexTitle; }

  /// The controller still has what it had.
  virtual void controllerWillChangeContent(Controller) {}
  /// Types are insert, with the section's new number, and delete, with its old one; a deleted
  /// section has no objects any more. A section that is somewhere else among the others is deleted
  /// and inserted.
  virtual void controllerDidChangeSectionAtIndexForChangeType(
      Controller, const Ref<NSFetchedResultsSectionInfo>&, NSUInteger, NSFetchedResultsChangeType) {
  }
  /// Deletes come first, in old order, then inserts in new order, moves in new order, and updates
  /// in old order. An insert has a new path only, a delete an old one, the others have both. An
  /// object is told of once at most; one that moved may have changed as well, and one that is only
  /// pushed along by others is not told of. The two paths of an update differ where others push
  /// it; those of a move may be equal, where it changed places with one that left.
  virtual void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>&, NSFetchedResultsChangeType,
      const Ref<NSIndexPath>&) {}
  /// The controller has what it has told.
  virtual void controllerDidChangeContent(Controller) {}

  /// The title that an index shows for the section. Null stands for none.
  virtual Ref<NSString> controllerSectionIndexTitleForSectionName(Controller,
                                                                  const Ref<NSString>& name) {
    return name;
  }

 protected:
  ~NSFetchedResultsControllerDelegate() override = default;
};

}  // namespace JNFoundation
