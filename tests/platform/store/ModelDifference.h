#pragma once

#include <string>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace JNFoundation {

/// What the first difference of two models is, in words; nothing where they say the same.
class ModelDifference {
 public:
  static std::string between(const NSManagedObjectModel& left, const NSManagedObjectModel& right) {
    ModelDifference difference;
    difference.models(left, right);
    return difference._found;
  }

 private:
  void models(const NSManagedObjectModel& left, const NSManagedObjectModel& right) {
    same(Value(left.versionIdentifier()), Value(right.versionIdentifier()), "version identifier");
    same(Value(left.entitiesByName()->allKeys()), Value(right.entitiesByName()->allKeys()),
         "entities");
    if (!_found.empty()) return;
    for (std::size_t i = 0; i < left.entityList().size(); ++i) {
      entities(*left.entityList()[i], *right.entityList()[i]);
    }
    same(Value(left.entityVersionHashesByName()), Value(right.entityVersionHashesByName()),
         "version hashes");
  }

  void entities(const NSEntityDescription& left, const NSEntityDescription& right) {
    _place = left.name()->toStdString();
    same(Value(left.managedObjectClassName()), Value(right.managedObjectClassName()), "class");
    same(left.isAbstract(), right.isAbstract(), "abstract");
    same(nameOf(left.superentity()), nameOf(right.superentity()), "superentity");
    same(Value(left.userInfo()), Value(right.userInfo()), "user info");
    same(Value(left.uniquenessConstraints()), Value(right.uniquenessConstraints()), "constraints");
    same(Value(left.indexes()), Value(right.indexes()), "indexes");
    same(Value(left.versionHashModifier()), Value(right.versionHashModifier()), "hash modifier");
    same(Value(left.renamingIdentifier()), Value(right.renamingIdentifier()), "former name");
    same(left.ownProperties().size(), right.ownProperties().size(), "count of properties");
    if (!_found.empty()) return;
    for (std::size_t i = 0; i < left.ownProperties().size(); ++i) {
      properties(*left.ownProperties()[i], *right.ownProperties()[i]);
    }
    _place.clear();
  }

  void properties(const NSPropertyDescription& left, const NSPropertyDescription& right) {
    const std::string entity = _place;
    _place += "." + left.name()->toStdString();
    same(Value(left.name()), Value(right.name()), "name");
    same(&left.class_(), &right.class_(), "kind");
    same(left.isOptional(), right.isOptional(), "optional");
    same(left.isTransient(), right.isTransient(), "transient");
    same(Value(left.userInfo()), Value(right.userInfo()), "user info");
    same(Value(left.versionHashModifier()), Value(right.versionHashModifier()), "hash modifier");
    same(Value(left.renamingIdentifier()), Value(right.renamingIdentifier()), "former name");
    if (!_found.empty()) return;
    if (isKindOf<NSAttributeDescription>(left)) {
      attributes(static_cast<const NSAttributeDescription&>(left),
                 static_cast<const NSAttributeDescription&>(right));
    } else {
      relationships(static_cast<const NSRelationshipDescription&>(left),
                    static_cast<const NSRelationshipDescription&>(right));
    }
    _place = entity;
  }

  void attributes(const NSAttributeDescription& left, const NSAttributeDescription& right) {
    same(left.attributeType(), right.attributeType(), "type");
    same(Value(left.attributeValueClassName()), Value(right.attributeValueClassName()),
         "value class");
    same(left.defaultValue(), right.defaultValue(), "default value");
    same(left.minimumValue(), right.minimumValue(), "minimum");
    same(left.maximumValue(), right.maximumValue(), "maximum");
    same(Value(left.valueTransformerName()), Value(right.valueTransformerName()), "transformer");
    same(Value(left.regularExpression()), Value(right.regularExpression()), "pattern");
    same(left.allowsExternalBinaryDataStorage(), right.allowsExternalBinaryDataStorage(),
         "external storage");
  }

  void relationships(const NSRelationshipDescription& left,
                     const NSRelationshipDescription& right) {
    same(nameOf(left.destinationEntity()), nameOf(right.destinationEntity()), "destination");
    const auto inverse = left.inverseRelationship();
    const auto otherInverse = right.inverseRelationship();
    same(nameOf(inverse), nameOf(otherInverse), "inverse");
    if (inverse && otherInverse) {
      same(nameOf(inverse->entity()), nameOf(otherInverse->entity()), "entity of the inverse");
    }
    same(left.deleteRule(), right.deleteRule(), "delete rule");
    same(left.minCount(), right.minCount(), "minimum count");
    same(left.maxCount(), right.maxCount(), "maximum count");
    same(left.isOrdered(), right.isOrdered(), "ordered");
  }

  template <class Description>
  static Value nameOf(const Ref<Description>& description) {
    return description ? Value(description->name()) : Value();
  }

  template <class Detail>
  void same(const Detail& left, const Detail& right, const char* what) {
    if (_found.empty() && !(left == right)) _found = _place + ": " + what;
  }

  std::string _place;
  std::string _found;
};

}  // namespace JNFoundation
