#pragma once

#include <JNFoundation/platform/store/NSPropertyDescription.h>

namespace JNFoundation::inline v0_1 {

class NSFetchIndexDescription;

/// What kind of structure an index keeps. Stores keep every index as an ordered one, a binary tree;
/// an R-tree is kept in the model and in its file only.
enum NSFetchIndexElementType : NSUInteger {
  NSFetchIndexElementTypeBinary = 0,  ///< a binary tree
  NSFetchIndexElementTypeRTree = 1,   ///< an R-tree, for ranges
};

/// One property that an index is over, and its direction.
///
/// The property is the entity's own or an inherited one: a stored attribute, or a relationship to
/// one object. A model with any other element is not whole.
/// Threads: see NSPropertyDescription.
class NSFetchIndexElementDescription : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// An ascending element.
  /// Fails: raises NSInvalidArgumentException for null.
  static Ref<NSFetchIndexElementDescription> initWithPropertyCollationType(
      const Ref<NSPropertyDescription>& property, NSFetchIndexElementType type);
  /// The same of a property that is looked up in the entity of the index.
  /// Fails: raises NSInvalidArgumentException for null and for an empty name.
  static Ref<NSFetchIndexElementDescription> initWithPropertyNameCollationType(
      const Ref<NSString>& name, NSFetchIndexElementType type);

  /// Returns: null for a name that the entity of the index does not have, or while there is none.
  Ref<NSPropertyDescription> property() const;
  /// Returns: null for a property without a name.
  const Ref<NSString>& propertyName() const noexcept {
    return _property ? _property->name() : _propertyName;
  }

  /// What kind of structure the model asks for.
  NSFetchIndexElementType collationType() const noexcept { return _collationType; }
  void setCollationType(NSFetchIndexElementType type);

  /// Whether the index runs from small to large values. True unless it is set otherwise.
  bool isAscending() const noexcept { return _ascending; }
  void setAscending(bool ascending);

  /// The index that the element is part of. Returns: null while there is none.
  Ref<NSFetchIndexDescription> indexDescription() const noexcept;

  /// Equal property name, type and direction.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;

 protected:
  NSFetchIndexElementDescription(Ref<NSPropertyDescription> property, Ref<NSString> name,
                                 NSFetchIndexElementType type);
  ~NSFetchIndexElementDescription() override;

 private:
  friend class NSFetchIndexDescription;

  void willChange() const;

  Ref<NSPropertyDescription> _property;
  Ref<NSString> _propertyName;
  Weak<NSFetchIndexDescription> _index;
  NSFetchIndexElementType _collationType;
  bool _ascending = true;
  bool _immutable = false;
};

}  // namespace JNFoundation
