#pragma once

#include <utility>

#include "ToldBatch.h"

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

/// Hears what the controller tells, and passes it on to the delegate that was there before.
class ResultsFollower final
    : public Subclass<ResultsFollower, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  /// Calls: `apply` with every batch, when all of it was told.
  ResultsFollower(Block<void(ToldBatch batch)> apply,
                  const Ref<NSFetchedResultsControllerDelegate>& next)
      : _apply(std::move(apply)), _next(next) {}

  /// Who was there before; null once that is gone.
  Ref<NSFetchedResultsControllerDelegate> next() const { return _next.load(); }
  void setNext(const Ref<NSFetchedResultsControllerDelegate>& next) { _next = next; }

  bool answers(Callback callback) const override {
    if (callback != Callback::SectionIndexTitle) return true;
    const Ref<NSFetchedResultsControllerDelegate> next = _next.load();
    return next && next->answers(callback);
  }

  void controllerWillChangeContent(Controller controller) override {
    _batch = ToldBatch();
    if (const auto next = nextFor(Callback::WillChangeContent)) {
      next->controllerWillChangeContent(controller);
    }
  }

  void controllerDidChangeSectionAtIndexForChangeType(
      Controller controller, const Ref<NSFetchedResultsSectionInfo>& section, NSUInteger index,
      NSFetchedResultsChangeType type) override {
    _batch.tellSection(type, index, section->name());
    if (const auto next = nextFor(Callback::DidChangeSection)) {
      next->controllerDidChangeSectionAtIndexForChangeType(controller, section, index, type);
    }
  }

  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    _batch.tellObject(type, object, from, to);
    if (const auto next = nextFor(Callback::DidChangeObject)) {
      next->controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(controller, object, from,
                                                                          type, to);
    }
  }

  void controllerDidChangeContent(Controller controller) override {
    _apply(std::exchange(_batch, ToldBatch()));
    if (const auto next = nextFor(Callback::DidChangeContent)) {
      next->controllerDidChangeContent(controller);
    }
  }

  Ref<NSString> controllerSectionIndexTitleForSectionName(Controller controller,
                                                          const Ref<NSString>& name) override {
    const Ref<NSFetchedResultsControllerDelegate> next = _next.load();
    return next ? next->controllerSectionIndexTitleForSectionName(controller, name) : name;
  }

 private:
  Ref<NSFetchedResultsControllerDelegate> nextFor(Callback callback) const {
    Ref<NSFetchedResultsControllerDelegate> next = _next.load();
    return next && next->answers(callback) ? next : nullptr;
  }

  const Block<void(ToldBatch batch)> _apply;
  Weak<NSFetchedResultsControllerDelegate> _next;
  ToldBatch _batch;
};

}  // namespace JNFoundation
