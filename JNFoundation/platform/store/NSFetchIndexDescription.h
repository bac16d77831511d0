#pragma once

#include <JNFoundation/platform/store/NSFetchIndexElementDescription.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

/// An index that stores keep over properties of an entity's objects, so that fetches by these
/// properties need not read every record.
///
///     auto byName = NSFetchIndexDescription::initWithNameElements(
///         "byName", NSArray::arrayWithObjects(
///                       NSFetchIndexElementDescription::initWithPropertyCollationType(
///                           name, NSFetchIndexElementTypeBinary)));
///     entity->setIndexes(NSArray::arrayWithObjects(byName));
///
/// Objects of subentities are in it as well. Indexes are no part of the version hash.
/// Threads: see NSEntityDescription.
class NSFetchIndexDescription : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Fails: as `setName` and `setElements`.
  static Ref<NSFetchIndexDescription> initWithNameElements(const Ref<NSString>& name,
                                                           const Ref<NSArray>& elements);

  /// Never null.
  const Ref<NSString>& name() const noexcept { return _name; }
  /// Fails: raises NSInvalidArgumentException for null and for an empty name.
  void setName(const Ref<NSString>& name);

  /// NSFetchIndexElementDescriptions, the first one decides first. Never null.
  const Ref<NSArray>& elements() const noexcept { return _elements; }
  /// Fails: raises NSInvalidArgumentException for what is no element, or part of another index.
  void setElements(const Ref<NSArray>& elements);

  /// The entity that has the index. Returns: null while none has it.
  Ref<NSEntityDescription> entity() const noexcept;

  /// Equal name and elements.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;

 protected:
  NSFetchIndexDescription();
  ~NSFetchIndexDescription() override;

 private:
  friend class NSEntityDescription;

  void willChange() const;
  void makeImmutable();

  Ref<NSString> _name;
  Ref<NSArray> _elements;
  Weak<NSEntityDescription> _entity;
  bool _immutable = false;
};

}  // namespace JNFoundation
