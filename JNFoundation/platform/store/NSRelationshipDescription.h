#pragma once

#include <JNFoundation/platform/store/NSPropertyDescription.h>

namespace JNFoundation::inline v0_1 {

/// What happens to the objects at the other end when an object is deleted.
enum NSDeleteRule : NSUInteger {
  NSNoActionDeleteRule = 0,  ///< references are left dangling
  NSNullifyDeleteRule = 1,   ///< they do not lead to it any more
  NSCascadeDeleteRule = 2,   ///< they are deleted as well
  NSDenyDeleteRule = 3,      ///< it is not deleted while there are any
};

/// A property that leads to other objects.
///
/// NSManagedObject says how an object's relationships are read and changed, and what comes of both
/// ends.
/// Threads: see NSPropertyDescription.
class NSRelationshipDescription : public NSPropertyDescription {
 public:
  using Superclass = NSPropertyDescription;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// An optional relationship to many, without a name and a destination, that nullifies.
  static Ref<NSRelationshipDescription> init();

  /// Returns: null while none is set.
  Ref<NSEntityDescription> destinationEntity() const noexcept;
  void setDestinationEntity(const Ref<NSEntityDescription>& entity);

  /// The relationship that leads back. Returns: null where the model names none.
  Ref<NSRelationshipDescription> inverseRelationship() const noexcept;
  void setInverseRelationship(const Ref<NSRelationshipDescription>& inverse);

  /// What becomes of the objects at the other end when an object is deleted.
  NSDeleteRule deleteRule() const noexcept { return _deleteRule; }
  void setDeleteRule(NSDeleteRule rule);

  // How many objects there must and may be; a maximum of 0 sets no bound.
  NSUInteger minCount() const noexcept { return _minCount; }
  void setMinCount(NSUInteger count);
  NSUInteger maxCount() const noexcept { return _maxCount; }
  void setMaxCount(NSUInteger count);

  /// False exactly when at most one object may be at the other end.
  bool isToMany() const noexcept { return _maxCount != 1; }

  /// Whether the members have an order. False unless it is set otherwise.
  bool isOrdered() const noexcept { return _ordered; }
  void setOrdered(bool ordered);

  bool isEqual(const Value& other) const override;

 protected:
  NSRelationshipDescription();
  ~NSRelationshipDescription() override;

  std::string versionHashInput() const override;

 private:
  Weak<NSEntityDescription> _destinationEntity;
  Weak<NSRelationshipDescription> _inverseRelationship;
  NSDeleteRule _deleteRule = NSNullifyDeleteRule;
  NSUInteger _minCount = 0;
  NSUInteger _maxCount = 0;
  bool _ordered = false;
};

}  // namespace JNFoundation
