#pragma once

#include <memory>
#include <vector>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchIndexDescription.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

class NSManagedObject;
class NSManagedObjectContext;
class NSManagedObjectModel;
class NSRelationshipDescription;

namespace impl {
class EntityLayout;
}

/// A kind of object in a model: its name, its class, its properties and those it inherits.
///
///     auto country = NSEntityDescription::init();
///     country->setName("Country");
///     country->setProperties(NSArray::arrayWithObjects(code, name));
///     country->attributesByName()->objectForKey("code");   // inherited attributes included
///
/// A description may be changed until its model is used by a coordinator; from then on every setter
/// raises NSInternalInconsistencyException.
/// Threads: one thread while it is built; any once its model is in use.
class NSEntityDescription : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// An entity without a name, of NSManagedObjects.
  static Ref<NSEntityDescription> init();

  /// The entity of that name in the model that the context works with.
  /// Returns: null if the model has none, and for a context without a coordinator.
  static Ref<NSEntityDescription> entityForNameInManagedObjectContext(
      const Ref<NSString>& name, const Ref<NSManagedObjectContext>& context);

  /// A new object of the entity in the context, with the attributes' default values.
  /// Fails: raises NSInternalInconsistencyException for a name that the model lacks and for a class
  /// that is not linked into the program, NSInvalidArgumentException for an abstract entity.
  static Ref<NSManagedObject> insertNewObjectForEntityForNameInManagedObjectContext(
      const Ref<NSString>& name, const Ref<NSManagedObjectContext>& context);

  /// Interned. Null until it is set.
  const Ref<NSString>& name() const noexcept { return _name; }
  void setName(const Ref<NSString>& name);

  /// The name of the class of the entity's objects, without a module; "NSManagedObject" by default.
  const Ref<NSString>& managedObjectClassName() const noexcept { return _managedObjectClassName; }
  void setManagedObjectClassName(const Ref<NSString>& name);

  /// Whether the entity only has descendants, and no objects of its own. False unless it is set
  /// otherwise.
  bool isAbstract() const noexcept { return _abstract; }
  void setAbstract(bool abstract);

  /// Returns: null while the entity is in no model.
  Ref<NSManagedObjectModel> managedObjectModel() const noexcept;

  /// Returns: null for a root entity.
  Ref<NSEntityDescription> superentity() const noexcept;
  /// The direct descendants. Never null.
  Ref<NSArray> subentities() const;
  void setSubentities(const Ref<NSArray>& entities);
  /// The direct descendants by their names. Never null.
  Ref<NSDictionary> subentitiesByName() const;
  /// Whether this is the entity or a descendant of it.
  bool isKindOfEntity(const Ref<NSEntityDescription>& entity) const noexcept;

  /// What the entity itself declares, borrowed until it changes.
  const std::vector<Ref<NSPropertyDescription>>& ownProperties() const noexcept {
    return _ownProperties;
  }
  /// The direct descendants, borrowed until they change.
  const std::vector<Ref<NSEntityDescription>>& directSubentities() const noexcept {
    return _subentities;
  }

  /// All properties, the inherited ones first, each entity's in the order in which it declares
  /// them.
  Ref<NSArray> properties() const;
  /// Sets what the entity itself declares.
  /// Fails: raises NSInvalidArgumentException for a name that is used twice or not allowed.
  void setProperties(const Ref<NSArray>& properties);
  /// Name to description, inherited ones included.
  Ref<NSDictionary> propertiesByName() const;
  /// Name to description of those that are attributes, inherited ones included.
  Ref<NSDictionary> attributesByName() const;
  /// Name to description of those that are relationships, inherited ones included.
  Ref<NSDictionary> relationshipsByName() const;

  /// Strings that the model keeps beside the entity; a subentity does not inherit them. Never null.
  const Ref<NSDictionary>& userInfo() const noexcept { return _userInfo; }
  void setUserInfo(const Ref<NSDictionary>& userInfo);

  /// Arrays of attribute names whose values together are unique among the records of the entity and
  /// those below it, where none of them is null. What a save would repeat is error 133021, unless
  /// the context's merge policy decides. Never null.
  const Ref<NSArray>& uniquenessConstraints() const noexcept { return _uniquenessConstraints; }
  void setUniquenessConstraints(const Ref<NSArray>& constraints);

  /// The NSFetchIndexDescriptions that the entity declares itself. Never null.
  const Ref<NSArray>& indexes() const noexcept { return _indexes; }
  /// Takes: index descriptions; an array of property names stands for an ascending index over them,
  /// named like "byYearAndTitleIndex".
  /// Fails: raises NSInvalidArgumentException for anything else, and for an index of another
  /// entity.
  void setIndexes(const Ref<NSArray>& indexes);

  /// Null unless it is set; part of the version hash.
  const Ref<NSString>& versionHashModifier() const noexcept { return _versionHashModifier; }
  void setVersionHashModifier(const Ref<NSString>& modifier);
  /// The entity's name in the model version before this one; its own name unless it is set.
  const Ref<NSString>& renamingIdentifier() const noexcept {
    return _renamingIdentifier ? _renamingIdentifier : _name;
  }
  void setRenamingIdentifier(const Ref<NSString>& identifier);

  /// 16 hexadecimal digits that differ where the stored form differs: name, ancestors, whether it
  /// is abstract, the stored properties and the uniqueness constraints.
  Ref<NSString> versionHash() const;

  Ref<NSString> description() const override;

  /// The entity's attributes by number, for the store. An attribute has the same number in every
  /// descendant of the entity that declares it.
  const impl::EntityLayout& layout() const {
    if (_layout) return *_layout;
    return makeLayout();
  }

 protected:
  NSEntityDescription();
  ~NSEntityDescription() override;

 private:
  friend class NSManagedObjectModel;
  friend class NSPropertyDescription;

  void willChange();
  /// Forgets what was derived from the properties, here and in the descendants.
  void invalidateLayout();
  void makeImmutable();
  const impl::EntityLayout& makeLayout() const;
  std::string versionHashBelow(const std::string& hashAbove) const;
  Ref<NSDictionary> propertiesByNameOfClass(const Class& cls) const;

  Ref<NSString> _name;
  Ref<NSString> _managedObjectClassName;
  Ref<NSDictionary> _userInfo;
  Ref<NSString> _versionHashModifier;
  Ref<NSString> _renamingIdentifier;
  Ref<NSArray> _uniquenessConstraints;
  Ref<NSArray> _indexes;
  std::vector<Ref<NSPropertyDescription>> _ownProperties;
  std::vector<Ref<NSEntityDescription>> _subentities;
  Weak<NSEntityDescription> _superentity;
  Weak<NSManagedObjectModel> _model;
  mutable std::unique_ptr<impl::EntityLayout> _layout;
  bool _abstract = false;
  bool _immutable = false;
};

}  // namespace JNFoundation
