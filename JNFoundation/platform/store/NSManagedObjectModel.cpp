#include "JNFoundation/platform/store/NSManagedObjectModel.h"

#include <algorithm>
#include <unordered_set>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/impl/ModelCheck.h>
#include <JNFoundation/platform/store/impl/ModelFileReader.h>
#include <JNFoundation/platform/store/impl/ModelFileWriter.h>
#include <JNFoundation/platform/store/impl/ModelReader.h>
#include <JNFoundation/platform/store/impl/ModelWriter.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

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
  return impl::readModelText(xml, {}, error);
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

const NSManagedObjectModel::Template* NSManagedObjectModel::templateNamed(
    const Ref<NSString>& name) const noexcept {
  for (const Template& entry : _templates) {
    if (name && entry.name->hasContentOf(*name)) return &entry;
  }
  return nullptr;
}

Ref<NSFetchRequest> NSManagedObjectModel::requestFrom(const Template& entry) const {
  Ref<NSFetchRequest> request = as<NSFetchRequest>(entry.request->copy());
  if (!request->entity() && request->entityName()) {
    request->setEntity(entityWithName(request->entityName()->utf8()));
  }
  return request;
}

Ref<NSDictionary> NSManagedObjectModel::fetchRequestTemplatesByName() const {
  NSDictionary::Builder requests(_templates.size());
  for (const Template& entry : _templates) {
    requests.set(entry.name, requestFrom(entry));
  }
  return requests.finish();
}

Ref<NSFetchRequest> NSManagedObjectModel::fetchRequestTemplateForName(
    const Ref<NSString>& name) const {
  const Template* found = templateNamed(name);
  return found ? requestFrom(*found) : nullptr;
}

void NSManagedObjectModel::setFetchRequestTemplateForName(const Ref<NSFetchRequest>& request,
                                                          const Ref<NSString>& name) {
  willChange();
  if (!name || name->utf8().empty()) {
    raise(NSInvalidArgumentException, "A fetch request of a model needs a name");
  }
  Ref<NSFetchRequest> copy = request ? as<NSFetchRequest>(request->copy()) : nullptr;
  const auto found = std::find_if(_templates.begin(), _templates.end(), [&](const Template& entry) {
    return entry.name->hasContentOf(*name);
  });
  if (found == _templates.end()) {
    if (copy) _templates.push_back({name, std::move(copy)});
  } else if (copy) {
    found->request = std::move(copy);
  } else {
    _templates.erase(found);
  }
}

Ref<NSFetchRequest> NSManagedObjectModel::fetchRequestFromTemplateWithNameSubstitutionVariables(
    const Ref<NSString>& name, const Ref<NSDictionary>& variables) const {
  Ref<NSFetchRequest> request = fetchRequestTemplateForName(name);
  if (!request || !request->predicate()) return request;
  try {
    request->setPredicate(request->predicate()->predicateWithSubstitutionVariables(
        variables ? variables : NSDictionary::dictionary()));
  } catch (const Raised& raised) {
    raise(NSInvalidArgumentException, "The fetch request '%@' cannot be made of its template: %@",
          name, Value(raised.exception()->reason()));
  }
  return request;
}

Ref<NSArray> NSManagedObjectModel::configurations() const {
  std::vector<Value> names;
  for (const Configuration& entry : _configurations) names.emplace_back(entry.name);
  return NSArray::arrayWithValues(std::move(names));
}

Ref<NSArray> NSManagedObjectModel::entitiesForConfiguration(
    const Ref<NSString>& configuration) const {
  if (!configuration) return entities();
  for (const Configuration& entry : _configurations) {
    if (entry.name->hasContentOf(*configuration)) {
      return NSArray::arrayWithValues({entry.entities.begin(), entry.entities.end()});
    }
  }
  return nullptr;
}

void NSManagedObjectModel::setEntitiesForConfiguration(const Ref<NSArray>& entities,
                                                       const Ref<NSString>& configuration) {
  willChange();
  if (!configuration || configuration->utf8().empty()) {
    raise(NSInvalidArgumentException, "A configuration of a model needs a name");
  }
  Configuration fresh{configuration, {}};
  std::unordered_set<const NSEntityDescription*> known;
  const Ref<NSArray> given = entities ? entities : NSArray::array();
  for (const Value& value : *given) {
    auto* entity = as<NSEntityDescription>(value);
    if (!entity || entity->managedObjectModel().get() != this) {
      raise(NSInvalidArgumentException,
            "The configuration '%@' is made of entities of the model, not of %@", configuration,
            value);
    }
    if (known.insert(entity).second) fresh.entities.emplace_back(entity);
  }
  const auto found = std::find_if(
      _configurations.begin(), _configurations.end(),
      [&](const Configuration& entry) { return entry.name->hasContentOf(*configuration); });
  if (found == _configurations.end()) {
    if (entities) _configurations.push_back(std::move(fresh));
  } else if (entities) {
    found->entities = std::move(fresh.entities);
  } else {
    _configurations.erase(found);
  }
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

bool NSManagedObjectModel::validate(Ref<NSError>* error) const {
  Ref<NSError> problem = impl::problemOfModel(*this);
  return !problem || impl::fail(error, std::move(problem));
}

bool NSManagedObjectModel::makeImmutable(Ref<NSError>* error) {
  if (_immutable) return true;
  if (!validate(error)) return false;
  for (const Ref<NSEntityDescription>& entity : _entities) entity->makeImmutable();
  _immutable = true;
  return true;
}

}  // namespace JNFoundation
