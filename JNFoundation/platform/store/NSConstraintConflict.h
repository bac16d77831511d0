#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class ConflictResolution;
}

/// Objects that a save is about to write with the same values where those must be unique.
///
/// Threads: the context's.
class NSConstraintConflict : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The names of the properties that are unique together.
  const Ref<NSArray>& constraint() const noexcept { return _constraint; }
  /// The values that repeat, by name; an identifier for an object.
  const Ref<NSDictionary>& constraintValues() const noexcept { return _constraintValues; }

  /// The object of the record that the store has with these values, which the save does not take
  /// from it. Returns: null if only objects of the save have them.
  const Ref<NSManagedObject>& databaseObject() const noexcept { return _databaseObject; }
  /// What the store has of it. Returns: null where there is no such object.
  Ref<NSDictionary> databaseSnapshot() const;

  /// The objects of the save that have the values too: changed ones, then new ones in the order in
  /// which they were inserted. Without an object of the store, the first one stands for it.
  const Ref<NSArray>& conflictingObjects() const noexcept { return _conflictingObjects; }
  /// What each of them held when the conflict was found: see `NSMergeConflict` for the form.
  Ref<NSArray> conflictingSnapshots() const;

  /// Constraint, values and objects.
  Ref<NSString> description() const override;

 protected:
  NSConstraintConflict(std::vector<std::size_t> properties, Value key,
                       Ref<NSManagedObject> databaseObject, ValueArray databaseRecord,
                       std::uint32_t databaseVersion,
                       const std::vector<Ref<NSManagedObject>>& objects);
  ~NSConstraintConflict() override;

 private:
  friend class impl::ConflictResolution;

  /// By number, the same in every entity that has the constraint.
  std::vector<std::size_t> _properties;
  Value _key;
  Ref<NSArray> _constraint;
  Ref<NSDictionary> _constraintValues;
  Ref<NSManagedObject> _databaseObject;
  ValueArray _databaseRecord;
  std::uint32_t _databaseVersion;
  Ref<NSArray> _conflictingObjects;
  /// What they held.
  std::vector<ValueArray> _held;
};

}  // namespace JNFoundation
