#pragma once

#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

class NSError;

/// What becomes of a record that somebody else has changed since the context read it.
enum NSMergePolicyType : NSUInteger {
  /// The save fails.
  NSErrorMergePolicyType = 0,
  /// Value by value: what was changed in the store wins, other changes of the context stay.
  NSMergeByPropertyStoreTrumpMergePolicyType = 1,
  /// Value by value: what was changed in the context wins, everything else is the store's.
  NSMergeByPropertyObjectTrumpMergePolicyType = 2,
  /// The whole record becomes what the object holds.
  NSOverwriteMergePolicyType = 3,
  /// The object's changes are dropped, and it reads as the store has it.
  NSRollbackMergePolicyType = 4,
};

/// Decides what a save does about conflicts: records that somebody else has changed or deleted
/// since the context read them (`NSMergeConflict`), and values that must be unique and are there
/// already (`NSConstraintConflict`). docs/store.md has the rules of the five types.
///
/// An application may decide by itself, conflict by conflict:
///
///     class KeepTheLongerText : public Subclass<KeepTheLongerText, NSMergePolicy> {
///      public:
///       using Subclass::Subclass;
///       bool resolveOptimisticLockingVersionConflictsError(const Ref<NSArray>& conflicts,
///                                                          Ref<NSError>* error) override;
///     };
///     context->setMergePolicy(
///         KeepTheLongerText::initWithMergeType(NSMergeByPropertyObjectTrumpMergePolicyType));
///
/// A policy is asked while a save is under way, when nothing has been written: with every conflict
/// of changed and deleted records at once, and, once there are none, with every conflict of unique
/// values. It may change objects of the context, delete and insert some, and hand as many of the
/// conflicts as it likes to the operations of the base class. Once it returns true, what the
/// objects of the conflicts hold is what the save writes over the records, after everything changed
/// was asked to get ready and was validated once more. The save itself then tries again, and asks
/// anew if it meets further conflicts. A policy cannot save the context that asks it.
/// Threads: the base class any, since it never changes; a subclass that of its contexts.
class NSMergePolicy : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A policy of its own of that type.
  static Ref<NSMergePolicy> initWithMergeType(NSMergePolicyType type);

  // One of each type for everybody.
  static const Ref<NSMergePolicy>& errorMergePolicy();
  static const Ref<NSMergePolicy>& mergeByPropertyStoreTrumpMergePolicy();
  static const Ref<NSMergePolicy>& mergeByPropertyObjectTrumpMergePolicy();
  static const Ref<NSMergePolicy>& overwriteMergePolicy();
  static const Ref<NSMergePolicy>& rollbackMergePolicy();

  /// Which rules the policy goes by.
  NSMergePolicyType mergeType() const noexcept { return _type; }

  /// What a save calls. Takes: conflicts of both kinds, in any mixture. The base hands each kind to
  /// the operation for it.
  /// Fails: returns false and sets the error, which is what the save then fails with; without an
  /// error it is the one that the error policy gives.
  virtual bool resolveConflictsError(const Ref<NSArray>& conflicts, Ref<NSError>* error);

  /// Takes: `NSMergeConflict`s. The base does to their objects what the type says. Fails: the error
  /// policy gives 133020, with the conflicts under "conflictList" and their objects under
  /// NSAffectedObjectsErrorKey.
  virtual bool resolveOptimisticLockingVersionConflictsError(const Ref<NSArray>& conflicts,
                                                             Ref<NSError>* error);

  /// Takes: `NSConstraintConflict`s. The base does to their objects what the type says. Fails: the
  /// error policy gives 133021, in the same form.
  virtual bool resolveConstraintConflictsError(const Ref<NSArray>& conflicts, Ref<NSError>* error);

  /// The class and the type.
  Ref<NSString> description() const override;

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithMergeType(NSMergePolicyType type) { return makeObject<Self>(type); }

   protected:
    using Above::Above;
  };

 protected:
  /// Fails: raises NSInvalidArgumentException for what is none of the five.
  explicit NSMergePolicy(NSMergePolicyType type);

 private:
  const NSMergePolicyType _type;
};

// The five by the names of constants.
inline const Ref<NSMergePolicy>& NSErrorMergePolicy() { return NSMergePolicy::errorMergePolicy(); }
inline const Ref<NSMergePolicy>& NSMergeByPropertyStoreTrumpMergePolicy() {
  return NSMergePolicy::mergeByPropertyStoreTrumpMergePolicy();
}
inline const Ref<NSMergePolicy>& NSMergeByPropertyObjectTrumpMergePolicy() {
  return NSMergePolicy::mergeByPropertyObjectTrumpMergePolicy();
}
inline const Ref<NSMergePolicy>& NSOverwriteMergePolicy() {
  return NSMergePolicy::overwriteMergePolicy();
}
inline const Ref<NSMergePolicy>& NSRollbackMergePolicy() {
  return NSMergePolicy::rollbackMergePolicy();
}

}  // namespace JNFoundation
