#include "JNFoundation/platform/store/NSManagedObjectModel.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ModelReader.h>
#include <JNFoundation/platform/store/impl/ModelWriter.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {

constinit const Class NSManagedObjectModel::classObject =
    Class::of<NSManagedObjectModel>("NSManagedObjectModel");

NSManagedObjectModel::NSManagedObjectModel() = default;
NSManagedObjectModel::~NSManagedObjectModel() = default;

Ref<NSManagedObjectModel> NSManagedObjectModel::init() {
  return makeObject<NSManagedObjectModel>();
}

Ref<NSManagedObjectModel> NSManagedObjectModel::initWithContentsOfFileError(
    const Ref<NSString>& path, Ref<NSError>* error) {
  return impl::readModelFile(path ? path->toStdString() : std::string(), error);
}

Ref<NSManagedObjectModel> NSManagedObjectModel::initWithContentsOfURL(const Ref<NSURL>& url) {
  return url ? initWithContentsOfFileError(url->path()) : nullptr;
}

Ref<NSManagedObjectModel> NSManagedObjectModel::modelWithXMLError(std::string_view xml,
                                                                  Ref<NSError>* error) {
  return impl::readModelText(xml, error);
}

Ref<NSString> NSManagedObjectModel::XMLTextError(Ref<NSError>* error) const {
  return impl::modelText(*this, error);
}

bool NSManagedObjectModel::writeToFileError(const Ref<NSString>& path, Ref<NSError>* error) const {
  return impl::writeModelFile(*this, path ? path->toStdString() : std::string(), error);
}

void NSManagedObjectModel::willChange() const {
  if (_immutable) raise(NSInternalInconsistencyException, "Can't modify an immutable model.");
}

Ref<NSArray> NSManagedObjectModel::entities() const {
  return NSArray::arrayWithValues({_entities.begin(), _entities.end()});
}

void NSManagedObjectModel::setEntities(const Ref<NSArray>& entities) {
  willChange();
  std::vector<Ref<NSEntityDescription>> all;
  std::unordered_set<const NSEntityDescription*> known;
  std::unordered_set<const NSString*> names;
  const Ref<NSArray> given = entities ? entities : NSArray::array();
  for (const Value& value : *given) {
    auto* entity = as<NSEntityDescription>(value);
    if (!entity) {
      raise(NSInvalidArgumentException, "A model is made of entities, not of %@", value);
    }
    if (known.insert(entity).second) all.emplace_back(entity);
  }
  // Descendants that were not listed stand behind those that were.
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (const Ref<NSEntityDescription>& below : all[i]->_subentities) {
      if (known.insert(below.get()).second) all.push_back(below);
    }
  }
  for (const Ref<NSEntityDescription>& entity : all) {
    entity->willChange();
    if (!entity->_name) raise(NSInvalidArgumentException, "An entity of the model has no name");
    if (!names.insert(entity->_name.get()).second) {
      raise(NSInvalidArgumentException, "The model has two entities named '%@'", entity->_name);
    }
    if (Ref<NSManagedObjectModel> other = entity->managedObjectModel();
        other && other.get() != this) {
      raise(NSInvalidArgumentException, "The entity '%@' belongs to another model", entity->_name);
    }
  }
  for (const Ref<NSEntityDescription>& former : _entities) former->_model = nullptr;
  _entities = std::move(all);
  for (const Ref<NSEntityDescription>& entity : _entities) {
    entity->_model = Weak<NSManagedObjectModel>(this);
  }
}

Ref<NSDictionary> NSManagedObjectModel::entitiesByName() const {
  NSDictionary::Builder names(_entities.size());
  for (const Ref<NSEntityDescription>& entity : _entities) names.set(entity->_name, entity);
  return names.finish();
}

Ref<NSEntityDescription> NSManagedObjectModel::entityWithName(
    std::string_view name) const noexcept {
  for (const Ref<NSEntityDescription>& entity : _entities) {
    if (entity->_name->utf8() == name) return entity;
  }
  return nullptr;
}

void NSManagedObjectModel::setVersionIdentifier(const Ref<NSString>& identifier) {
  willChange();
  _versionIdentifier = identifier;
}

Ref<NSDictionary> NSManagedObjectModel::entityVersionHashesByName() const {
  NSDictionary::Builder hashes(_entities.size());
  for (const Ref<NSEntityDescription>& entity : _entities) {
    hashes.set(entity->_name, entity->versionHash());
  }
  return hashes.finish();
}

Ref<NSString> NSManagedObjectModel::description() const {
  return NSString::stringWithFormat("<NSManagedObjectModel: %p> entities %@",
                                    static_cast<const void*>(this),
                                    Value(entitiesByName()->allKeys()));
}

namespace {

/// How many levels of superentities there may be.
constexpr std::size_t hierarchyDepthLimit = 100;

Ref<NSError> modelError(const NSEntityDescription& entity, const NSPropertyDescription* property,
                        const Ref<NSString>& sentence) {
  return impl::cocoaError(NSCoreDataError, sentence,
                          {{"entity", Value(entity.name())},
                           {"property", property ? Value(property->name()) : Value()}});
}

/// What keeps the attribute from being stored. Returns: null if nothing does.
Ref<NSError> problemOf(const NSEntityDescription& entity, const NSAttributeDescription& attribute) {
  if (attribute.attributeType() == NSUndefinedAttributeType && !attribute.isTransient()) {
    return modelError(
        entity, &attribute,
        NSString::stringWithFormat(
            "Attribute '%@' of entity '%@' has no type; only a transient one may have "
            "none",
            attribute.name(), entity.name()));
  }
  if (!attribute.acceptsValue(attribute.defaultValue())) {
    return modelError(
        entity, &attribute,
        NSString::stringWithFormat("The default value %@ of attribute '%@' of entity '%@' is no %@",
                                   attribute.defaultValue(), attribute.name(), entity.name(),
                                   attribute.attributeValueClassName()));
  }
  return nullptr;
}

}  // namespace

bool NSManagedObjectModel::validate(Ref<NSError>* error) const {
  std::unordered_set<const NSEntityDescription*> members;
  for (const Ref<NSEntityDescription>& entity : _entities) members.insert(entity.get());
  for (const Ref<NSEntityDescription>& entity : _entities) {
    std::size_t depth = 0;
    std::unordered_set<const NSString*> inherited;
    for (Ref<NSEntityDescription> above = entity->superentity(); above;
         above = above->superentity()) {
      if (!members.count(above.get())) {
        return impl::fail(error,
                          modelError(*entity, nullptr,
                                     NSString::stringWithFormat(
                                         "The superentity '%@' of entity '%@' is not part of "
                                         "the model",
                                         Value(above->_name), entity->_name)));
      }
      if (++depth > hierarchyDepthLimit) {
        return impl::fail(
            error, modelError(*entity, nullptr,
                              NSString::stringWithFormat("Entity '%@' has more than %zu levels of "
                                                         "superentities",
                                                         entity->_name, hierarchyDepthLimit)));
      }
      for (const auto& property : above->_ownProperties) inherited.insert(property->name().get());
    }
    for (const Ref<NSPropertyDescription>& property : entity->_ownProperties) {
      if (inherited.count(property->name().get())) {
        return impl::fail(error, modelError(*entity, property.get(),
                                            NSString::stringWithFormat(
                                                "Entity '%@' declares '%@', which it inherits "
                                                "already",
                                                entity->_name, property->name())));
      }
      if (isKindOf<NSAttributeDescription>(*property)) {
        const auto& attribute = static_cast<const NSAttributeDescription&>(*property);
        if (Ref<NSError> problem = problemOf(*entity, attribute)) {
          return impl::fail(error, std::move(problem));
        }
      }
    }
  }
  return true;
}

bool NSManagedObjectModel::makeImmutable(Ref<NSError>* error) {
  if (_immutable) return true;
  if (!validate(error)) return false;
  for (const Ref<NSEntityDescription>& entity : _entities) entity->makeImmutable();
  _immutable = true;
  return true;
}

}  // namespace JNFoundation
