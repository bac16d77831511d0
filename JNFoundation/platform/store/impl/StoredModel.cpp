#include "JNFoundation/platform/store/impl/StoredModel.h"

#include <cstdio>
#include <unordered_map>

#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Makes a model that has of another one what decides about its stores.
class ModelCopier {
 public:
  explicit ModelCopier(const NSManagedObjectModel& model) : _model(model) {}

  Ref<NSManagedObjectModel> copy() {
    std::vector<Value> entities;
    for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
      auto made = NSEntityDescription::init();
      made->setName(entity->name());
      made->setAbstract(entity->isAbstract());
      made->setVersionHashModifier(entity->versionHashModifier());
      if (!entity->renamingIdentifier()->hasContentOf(*entity->name())) {
        made->setRenamingIdentifier(entity->renamingIdentifier());
      }
      _entities[entity.get()] = made;
      entities.emplace_back(made);
    }
    for (const Ref<NSEntityDescription>& entity : _model.entityList()) copyProperties(*entity);
    for (const auto& [relationship, made] : _relationships) {
      const auto inverse = _relationships.find(relationship->inverseRelationship().get());
      if (inverse != _relationships.end()) made->setInverseRelationship(inverse->second);
    }
    for (const Ref<NSEntityDescription>& entity : _model.entityList()) copyRest(*entity);
    auto made = NSManagedObjectModel::init();
    made->setEntities(NSArray::arrayWithValues(std::move(entities)));
    return made;
  }

 private:
  void copyProperties(const NSEntityDescription& entity) {
    std::vector<Value> properties;
    for (const Ref<NSPropertyDescription>& property : entity.ownProperties()) {
      const Ref<NSPropertyDescription> made = copyOf(*property);
      made->setName(property->name());
      made->setOptional(property->isOptional());
      made->setTransient(property->isTransient());
      made->setVersionHashModifier(property->versionHashModifier());
      if (!property->renamingIdentifier()->hasContentOf(*property->name())) {
        made->setRenamingIdentifier(property->renamingIdentifier());
      }
      properties.emplace_back(made);
    }
    _entities.at(&entity)->setProperties(NSArray::arrayWithValues(std::move(properties)));
  }

  Ref<NSPropertyDescription> copyOf(NSPropertyDescription& property) {
    if (isKindOf<NSAttributeDescription>(property)) {
      auto made = NSAttributeDescription::init();
      made->setAttributeType(static_cast<NSAttributeDescription&>(property).attributeType());
      return made;
    }
    if (isKindOf<NSRelationshipDescription>(property)) {
      const auto& relationship = static_cast<const NSRelationshipDescription&>(property);
      auto made = NSRelationshipDescription::init();
      made->setDestinationEntity(_entities.at(relationship.destinationEntity().get()));
      made->setMinCount(relationship.minCount());
      made->setMaxCount(relationship.maxCount());
      made->setOrdered(relationship.isOrdered());
      made->setDeleteRule(relationship.deleteRule());
      _relationships[&relationship] = made;
      return made;
    }
    auto made = NSFetchedPropertyDescription::init();
    // What it asks for decides nothing about the file.
    const auto request = static_cast<NSFetchedPropertyDescription&>(property).fetchRequest();
    const Ref<NSString> name = request ? request->entityName() : nullptr;
    const auto asked = name ? _model.entityWithName(name->utf8()) : nullptr;
    if (asked) {
      auto bare = NSFetchRequest::fetchRequestWithEntityName(name);
      bare->setEntity(_entities.at(asked.get()));
      made->setFetchRequest(bare);
    }
    return made;
  }

  void copyRest(const NSEntityDescription& entity) {
    const Ref<NSEntityDescription>& made = _entities.at(&entity);
    std::vector<Value> below;
    for (const Ref<NSEntityDescription>& child : entity.directSubentities()) {
      below.emplace_back(_entities.at(child.get()));
    }
    made->setSubentities(NSArray::arrayWithValues(std::move(below)));
    made->setUniquenessConstraints(entity.uniquenessConstraints());
    std::vector<Value> indexes;
    for (const Value& value : *entity.indexes()) {
      const auto* index = as<NSFetchIndexDescription>(value);
      std::vector<Value> elements;
      for (const Value& member : *index->elements()) {
        const auto* element = as<NSFetchIndexElementDescription>(member);
        auto copied = NSFetchIndexElementDescription::initWithPropertyNameCollationType(
            element->propertyName()->utf8(), element->collationType());
        copied->setAscending(element->isAscending());
        elements.emplace_back(copied);
      }
      indexes.emplace_back(NSFetchIndexDescription::initWithNameElements(
          index->name(), NSArray::arrayWithValues(std::move(elements))));
    }
    made->setIndexes(NSArray::arrayWithValues(std::move(indexes)));
  }

  const NSManagedObjectModel& _model;
  std::unordered_map<const NSEntityDescription*, Ref<NSEntityDescription>> _entities;
  std::unordered_map<const NSRelationshipDescription*, Ref<NSRelationshipDescription>>
      _relationships;
};

}  // namespace

std::string storedModelText(const NSManagedObjectModel& model) {
  const Ref<NSString> text = ModelCopier(model).copy()->XMLTextError();
  return text ? text->toStdString() : std::string();
}

std::string storedModelHash(std::string_view text) {
  // FNV-1a, as of version hashes.
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
  return digits;
}

Ref<NSManagedObjectModel> modelOfStoredText(std::string_view text, std::string_view hash) {
  if (text.empty() || storedModelHash(text) != hash) return nullptr;
  Ref<NSManagedObjectModel> model = NSManagedObjectModel::modelWithXMLError(text);
  return model && model->makeImmutable() ? model : nullptr;
}

}  // namespace JNFoundation::impl
