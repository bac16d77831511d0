#include "JNFoundation/platform/store/NSEntityDescription.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/store/NSExpressionDescription.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSEntityDescription::classObject =
    Class::of<NSEntityDescription>("NSEntityDescription");

NSEntityDescription::NSEntityDescription()
    : _managedObjectClassName("NSManagedObject"_s),
      _userInfo(NSDictionary::dictionary()),
      _uniquenessConstraints(NSArray::array()),
      _indexes(NSArray::array()) {}
NSEntityDescription::~NSEntityDescription() = default;

Ref<NSEntityDescription> NSEntityDescription::init() { return makeObject<NSEntityDescription>(); }

Ref<NSEntityDescription> NSEntityDescription::entityForNameInManagedObjectContext(
    const Ref<NSString>& name, const Ref<NSManagedObjectContext>& context) {
  if (!name || !context || !context->persistentStoreCoordinator()) return nullptr;
  return context->persistentStoreCoordinator()->managedObjectModel()->entityWithName(name->utf8());
}

Ref<NSManagedObject> NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
    const Ref<NSString>& name, const Ref<NSManagedObjectContext>& context) {
  Ref<NSEntityDescription> entity = entityForNameInManagedObjectContext(name, context);
  if (!entity) {
    raise(NSInternalInconsistencyException,
          "+entityForName: could not locate an entity named '%@' in this model.", Value(name));
  }
  return NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity, context);
}

void NSEntityDescription::willChange() {
  if (_immutable) raise(NSInternalInconsistencyException, "Can't modify an immutable model.");
}

void NSEntityDescription::invalidateLayout() {
  std::vector<NSEntityDescription*> pending{this};
  while (!pending.empty()) {
    NSEntityDescription* next = pending.back();
    pending.pop_back();
    next->_layout.reset();
    for (const Ref<NSEntityDescription>& below : next->_subentities) pending.push_back(below.get());
  }
}

void NSEntityDescription::makeImmutable() {
  layout();
  for (const Ref<NSPropertyDescription>& property : _ownProperties) property->_immutable = true;
  for (const Value& index : *_indexes) as<NSFetchIndexDescription>(index)->makeImmutable();
  _immutable = true;
}

void NSEntityDescription::setName(const Ref<NSString>& name) {
  willChange();
  if (!name || name->utf8().empty() || name->utf8().find('\0') != std::string_view::npos) {
    raise(NSInvalidArgumentException, "An entity needs a name, which %@ is not", Value(name));
  }
  _name = NSString::interned(name->utf8());
}

void NSEntityDescription::setManagedObjectClassName(const Ref<NSString>& name) {
  willChange();
  _managedObjectClassName =
      name && !name->utf8().empty() ? NSString::interned(name->utf8()) : "NSManagedObject"_s;
  invalidateLayout();
}

void NSEntityDescription::setAbstract(bool abstract) {
  willChange();
  _abstract = abstract;
  Ref<NSEntityDescription> top(this);
  while (Ref<NSEntityDescription> above = top->superentity()) top = above;
  top->invalidateLayout();
}

Ref<NSManagedObjectModel> NSEntityDescription::managedObjectModel() const noexcept {
  return _model.load();
}

Ref<NSEntityDescription> NSEntityDescription::superentity() const noexcept {
  return _superentity.load();
}

Ref<NSArray> NSEntityDescription::subentities() const {
  return NSArray::arrayWithValues({_subentities.begin(), _subentities.end()});
}

void NSEntityDescription::setSubentities(const Ref<NSArray>& entities) {
  willChange();
  std::vector<Ref<NSEntityDescription>> below;
  const Ref<NSArray> given = entities ? entities : NSArray::array();
  for (const Value& value : *given) {
    auto* entity = as<NSEntityDescription>(value);
    if (!entity) {
      raise(NSInvalidArgumentException, "The subentities of '%@' must be entities, not %@",
            Value(_name), value);
    }
    entity->willChange();
    if (isKindOfEntity(Ref<NSEntityDescription>(entity))) {
      raise(NSInvalidArgumentException,
            "The entity '%@' cannot be below '%@', which descends from it", Value(entity->_name),
            Value(_name));
    }
    if (Ref<NSEntityDescription> above = entity->superentity(); above && above.get() != this) {
      raise(NSInvalidArgumentException, "The entity '%@' has the superentity '%@' already",
            Value(entity->_name), Value(above->_name));
    }
    below.emplace_back(entity);
  }
  for (const Ref<NSEntityDescription>& former : _subentities) {
    former->_superentity = nullptr;
    former->invalidateLayout();
  }
  _subentities = std::move(below);
  for (const Ref<NSEntityDescription>& entity : _subentities) {
    entity->_superentity = Weak<NSEntityDescription>(this);
  }
  Ref<NSEntityDescription> top(this);
  while (Ref<NSEntityDescription> above = top->superentity()) top = above;
  top->invalidateLayout();
}

Ref<NSDictionary> NSEntityDescription::subentitiesByName() const {
  NSDictionary::Builder names(_subentities.size());
  for (const Ref<NSEntityDescription>& entity : _subentities) names.set(entity->_name, entity);
  return names.finish();
}

bool NSEntityDescription::isKindOfEntity(const Ref<NSEntityDescription>& entity) const noexcept {
  if (entity.get() == this) return true;
  for (Ref<NSEntityDescription> above = superentity(); above; above = above->superentity()) {
    if (above == entity) return true;
  }
  return false;
}

Ref<NSArray> NSEntityDescription::properties() const {
  std::vector<Ref<NSEntityDescription>> line;
  for (Ref<NSEntityDescription> above = superentity(); above; above = above->superentity()) {
    line.push_back(above);
  }
  std::vector<Value> all;
  for (auto ancestor = line.rbegin(); ancestor != line.rend(); ++ancestor) {
    all.insert(all.end(), (*ancestor)->_ownProperties.begin(), (*ancestor)->_ownProperties.end());
  }
  all.insert(all.end(), _ownProperties.begin(), _ownProperties.end());
  return NSArray::arrayWithValues(std::move(all));
}

void NSEntityDescription::setProperties(const Ref<NSArray>& properties) {
  willChange();
  std::vector<Ref<NSPropertyDescription>> own;
  const Ref<NSArray> given = properties ? properties : NSArray::array();
  for (const Value& value : *given) {
    auto* property = as<NSPropertyDescription>(value);
    if (!property || isKindOf<NSExpressionDescription>(*property)) {
      raise(NSInvalidArgumentException,
            "The properties of entity '%@' must be attributes, relationships and fetched "
            "properties, not %@",
            Value(_name), value);
    }
    property->willChange();
    if (!property->name()) {
      raise(NSInvalidArgumentException, "A property of entity '%@' has no name", Value(_name));
    }
    if (impl::isReservedPropertyName(property->name()->utf8())) {
      raise(NSInvalidArgumentException,
            "Property '%@' of entity '%@' has the name of a method that every object has",
            property->name(), Value(_name));
    }
    if (Ref<NSEntityDescription> owner = property->entity(); owner && owner.get() != this) {
      raise(NSInvalidArgumentException,
            "Property '%@' of entity '%@' belongs to entity '%@' already", property->name(),
            Value(_name), Value(owner->_name));
    }
    if (std::any_of(own.begin(), own.end(),
                    [&](const auto& other) { return other->name() == property->name(); })) {
      raise(NSInvalidArgumentException, "Entity '%@' has two properties named '%@'", Value(_name),
            property->name());
    }
    own.emplace_back(property);
  }
  for (const Ref<NSPropertyDescription>& former : _ownProperties) former->_entity = nullptr;
  _ownProperties = std::move(own);
  for (const Ref<NSPropertyDescription>& property : _ownProperties) {
    property->_entity = Weak<NSEntityDescription>(this);
  }
  invalidateLayout();
}

Ref<NSDictionary> NSEntityDescription::propertiesByNameOfClass(const Class& cls) const {
  Ref<NSArray> all = properties();
  NSDictionary::Builder names(all->count());
  for (const Value& value : *all) {
    if (value.class_()->isSubclassOf(cls)) {
      names.set(as<NSPropertyDescription>(value)->name(), value);
    }
  }
  return names.finish();
}

Ref<NSDictionary> NSEntityDescription::propertiesByName() const {
  return propertiesByNameOfClass(NSPropertyDescription::classObject);
}
Ref<NSDictionary> NSEntityDescription::attributesByName() const {
  return propertiesByNameOfClass(NSAttributeDescription::classObject);
}
Ref<NSDictionary> NSEntityDescription::relationshipsByName() const {
  return propertiesByNameOfClass(NSRelationshipDescription::classObject);
}

void NSEntityDescription::setUserInfo(const Ref<NSDictionary>& userInfo) {
  willChange();
  _userInfo =
      NSDictionary::dictionaryWithDictionary(userInfo ? userInfo : NSDictionary::dictionary());
}

void NSEntityDescription::setUniquenessConstraints(const Ref<NSArray>& constraints) {
  willChange();
  _uniquenessConstraints = constraints ? NSArray::arrayWithArray(constraints) : NSArray::array();
}

namespace {

/// "byYearAndTitleIndex" of "year" and "title". Returns: nothing for what are no names.
std::string nameOfIndexOver(const NSArray& properties) {
  std::string name;
  for (const Value& value : properties) {
    const auto* property = as<NSString>(value);
    if (!property || property->utf8().empty()) return {};
    name += name.empty() ? "by" : "And";
    const std::size_t start = name.size();
    name += property->utf8();
    if (name[start] >= 'a' && name[start] <= 'z') name[start] = static_cast<char>(name[start] - 32);
  }
  return name.empty() ? name : name + "Index";
}

Ref<NSFetchIndexDescription> indexOver(const NSArray& properties, std::string_view name) {
  std::vector<Value> elements;
  for (const Value& property : properties) {
    elements.emplace_back(NSFetchIndexElementDescription::initWithPropertyNameCollationType(
        as<NSString>(property)->utf8(), NSFetchIndexElementTypeBinary));
  }
  return NSFetchIndexDescription::initWithNameElements(
      name, NSArray::arrayWithValues(std::move(elements)));
}

}  // namespace

void NSEntityDescription::setIndexes(const Ref<NSArray>& indexes) {
  willChange();
  const Ref<NSArray> given = indexes ? indexes : NSArray::array();
  std::unordered_set<std::string> names;
  for (const Value& value : *given) {
    const auto* index = as<NSFetchIndexDescription>(value);
    if (!index) continue;
    names.insert(index->name()->toStdString());
    if (Ref<NSEntityDescription> owner = index->entity(); owner && owner.get() != this) {
      raise(NSInvalidArgumentException, "Index '%@' of entity '%@' belongs to entity '%@' already",
            index->name(), Value(_name), Value(owner->_name));
    }
  }
  std::vector<Value> own;
  std::unordered_map<std::string, int> numbers;
  for (const Value& value : *given) {
    if (isKindOf<NSFetchIndexDescription>(value)) {
      own.push_back(value);
      continue;
    }
    const auto* properties = as<NSArray>(value);
    const std::string wanted = properties ? nameOfIndexOver(*properties) : std::string();
    if (wanted.empty()) {
      raise(NSInvalidArgumentException,
            "The indexes of entity '%@' must be index descriptions or arrays of names, not %@",
            Value(_name), value);
    }
    std::string name = wanted;
    for (int& number = numbers[wanted]; !names.insert(name).second;) {
      name = wanted + std::to_string(++number + 1);
    }
    own.emplace_back(indexOver(*properties, name));
  }
  for (const Value& former : *_indexes) as<NSFetchIndexDescription>(former)->_entity = nullptr;
  _indexes = NSArray::arrayWithValues(std::move(own));
  for (const Value& index : *_indexes) {
    as<NSFetchIndexDescription>(index)->_entity = Weak<NSEntityDescription>(this);
  }
}

void NSEntityDescription::setVersionHashModifier(const Ref<NSString>& modifier) {
  willChange();
  _versionHashModifier = modifier;
}

void NSEntityDescription::setRenamingIdentifier(const Ref<NSString>& identifier) {
  willChange();
  _renamingIdentifier = identifier;
}

std::string NSEntityDescription::versionHashBelow(const std::string& hashAbove) const {
  std::string input;
  // Lengths go first, so that no two lists of texts are written alike.
  const auto append = [&](std::string_view text) {
    input += std::to_string(text.size()) + ':';
    input += text;
  };
  append(_name ? _name->utf8() : std::string_view());
  append(hashAbove);
  input += _abstract ? 'a' : 'c';
  if (_versionHashModifier) append(_versionHashModifier->utf8());
  // The order of declaration does not change what is stored.
  std::vector<std::string> properties;
  for (const Ref<NSPropertyDescription>& property : _ownProperties) {
    properties.push_back(property->versionHashInput());
  }
  std::sort(properties.begin(), properties.end());
  for (const std::string& property : properties) append(property);
  if (_uniquenessConstraints->count() > 0) append(_uniquenessConstraints->description()->utf8());
  // FNV-1a: the hashes stand in files, so they must be the same in every run and release.
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : input) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  }
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
  return digits;
}

Ref<NSString> NSEntityDescription::versionHash() const {
  std::vector<Ref<NSEntityDescription>> line;
  for (Ref<NSEntityDescription> above = superentity(); above; above = above->superentity()) {
    line.push_back(above);
  }
  std::string hash;
  for (auto ancestor = line.rbegin(); ancestor != line.rend(); ++ancestor) {
    hash = (*ancestor)->versionHashBelow(hash);
  }
  return NSString::fromText(versionHashBelow(hash));
}

Ref<NSString> NSEntityDescription::description() const {
  return NSString::stringWithFormat(
      "<NSEntityDescription: %p> name %@, managedObjectClassName %@, isAbstract %d, properties %@",
      static_cast<const void*>(this), Value(_name), Value(_managedObjectClassName), _abstract,
      Value(propertiesByName()->allKeys()));
}

const impl::EntityLayout& NSEntityDescription::makeLayout() const {
  _layout = std::make_unique<impl::EntityLayout>(*this);
  return *_layout;
}

}  // namespace JNFoundation
