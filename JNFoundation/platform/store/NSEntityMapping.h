#pragma once

#include <JNFoundation/platform/store/NSPropertyMapping.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

/// What becomes of an entity's records. The numbers are the platform's.
enum NSEntityMappingType : NSUInteger {
  NSAddEntityMappingType = 2,        ///< the entity is new
  NSRemoveEntityMappingType = 3,     ///< the entity is gone, and its records with it
  NSCopyEntityMappingType = 4,       ///< nothing about the entity has changed
  NSTransformEntityMappingType = 5,  ///< records are kept, in another form
};

/// What becomes of one entity in a migration; part of an NSMappingModel.
/// Threads: any.
class NSEntityMapping : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// "Transform Person to Human", one name for each mapping of a model.
  const Ref<NSString>& name() const noexcept { return _name; }
  /// What becomes of the records.
  NSEntityMappingType mappingType() const noexcept { return _type; }
  /// Null for an entity that is new.
  const Ref<NSString>& sourceEntityName() const noexcept { return _source; }
  /// Null for an entity that is gone.
  const Ref<NSString>& destinationEntityName() const noexcept { return _destination; }

  /// NSPropertyMappings of the stored properties that the entity has in the new model, inherited
  /// ones first. Never null.
  const Ref<NSArray>& attributeMappings() const noexcept { return _attributes; }
  /// The same of the relationships.
  const Ref<NSArray>& relationshipMappings() const noexcept { return _relationships; }
  /// The names of the stored properties that it had and that are gone. Never null.
  const Ref<NSArray>& removedPropertyNames() const noexcept { return _removed; }

  /// The name and, below it, each property that changes.
  Ref<NSString> description() const override;

 protected:
  NSEntityMapping(NSEntityMappingType type, Ref<NSString> source, Ref<NSString> destination,
                  Ref<NSArray> attributes, Ref<NSArray> relationships, Ref<NSArray> removed);
  ~NSEntityMapping() override;

 private:
  NSEntityMappingType _type;
  Ref<NSString> _name;
  Ref<NSString> _source;
  Ref<NSString> _destination;
  Ref<NSArray> _attributes;
  Ref<NSArray> _relationships;
  Ref<NSArray> _removed;
};

}  // namespace JNFoundation
