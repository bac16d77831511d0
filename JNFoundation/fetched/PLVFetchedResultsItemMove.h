#pragma once

#include <JNFoundation/platform/value/NSIndexPath.h>

namespace JNFoundation::inline v0_1 {

/// An item that went from one place of a list to another.
/// Threads: any; a move never changes.
class PLVFetchedResultsItemMove : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: the place before the batch and the one after it.
  static Ref<PLVFetchedResultsItemMove> initWithFromTo(const Ref<NSIndexPath>& from,
                                                       const Ref<NSIndexPath>& to);

  /// Where the item was before the batch.
  const Ref<NSIndexPath>& fromIndexPath() const noexcept { return _fromIndexPath; }
  /// Where it is after the batch.
  const Ref<NSIndexPath>& toIndexPath() const noexcept { return _toIndexPath; }

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithFromTo(const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to) {
      return makeObject<Self>(from, to);
    }

   protected:
    using Above::Above;
  };

 protected:
  PLVFetchedResultsItemMove(const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to)
      : _fromIndexPath(from), _toIndexPath(to) {}

 private:
  Ref<NSIndexPath> _fromIndexPath;
  Ref<NSIndexPath> _toIndexPath;
};

}  // namespace JNFoundation
