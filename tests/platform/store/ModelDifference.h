#pragma once

#include <string>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSDerivedAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
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
    const Ref<NSArray> names = left.fetchRequestTemplatesByName()->allKeys();
    same(Value(names), Value(right.fetchRequestTemplatesByName()->allKeys()), "fetch requests");
    same(Value(left.configurations()), Value(right.configurations()), "configurations");
    if (!_found.empty()) return;
    for (const Value& value : *names) {
      const Ref<NSString> name = value.stringValue();
      _place = "fetch request " + name->toStdString();
      requests(left.fetchRequestTemplateForName(name), right.fetchRequestTemplateForName(name));
    }
    const Ref<NSArray> parts = left.configurations();
    for (const Value& value : *parts) {
      const Ref<NSString> name = value.stringValue();
      _place = "configuration " + name->toStdString();
      same(namesOf(left.entitiesForConfiguration(name)),
           namesOf(right.entitiesForConfiguration(name)), "entities");
    }
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
    } else if (isKindOf<NSFetchedPropertyDescription>(left)) {
      requests(static_cast<const NSFetchedPropertyDescription&>(left).fetchRequest(),
               static_cast<const NSFetchedPropertyDescription&>(right).fetchRequest());
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
    if (!isKindOf<NSDerivedAttributeDescription>(left)) return;
    same(Value(static_cast<const NSDerivedAttributeDescription&>(left).derivationExpression()),
         Value(static_cast<const NSDerivedAttributeDescription&>(right).derivationExpression()),
         "derivation");
  }

  void requests(const Ref<NSFetchRequest>& left, const Ref<NSFetchRequest>& right) {
    same(nameOf(left->entity()), nameOf(right->entity()), "entity of the request");
    same(left->predicate() != nullptr, right->predicate() != nullptr, "predicate");
    if (!_found.empty()) return;
    if (left->predicate()) {
      same(Value(left->predicate()->predicateFormat()),
           Value(right->predicate()->predicateFormat()), "predicate");
    }
    same(left->fetchLimit(), right->fetchLimit(), "limit");
    same(left->fetchBatchSize(), right->fetchBatchSize(), "batch size");
    same(left->resultType(), right->resultType(), "result type");
    same(left->includesSubentities(), right->includesSubentities(), "subentities");
    same(left->includesPropertyValues(), right->includesPropertyValues(), "property values");
    same(left->includesPendingChanges(), right->includesPendingChanges(), "pending changes");
    same(left->returnsObjectsAsFaults(), right->returnsObjectsAsFaults(), "faults");
    same(left->returnsDistinctResults(), right->returnsDistinctResults(), "distinct");
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

  static Value namesOf(const Ref<NSArray>& entities) {
    std::vector<Value> names;
    for (const Value& entity : *entities) names.push_back(as<NSEntityDescription>(entity)->name());
    return NSArray::arrayWithValues(std::move(names));
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
