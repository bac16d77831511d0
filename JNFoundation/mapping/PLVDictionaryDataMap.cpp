#include "JNFoundation/mapping/PLVDictionaryDataMap.h"

#include <string_view>
#include <vector>

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation {

constinit const Class PLVDictionaryDataMap::classObject =
    Class::of<PLVDictionaryDataMap>("PLVDictionaryDataMap");

namespace {

const ClassDeclaration<PLVDictionaryDataMap> declaration =
    ClassDeclaration<PLVDictionaryDataMap>()
        .property("scalarMaps", &PLVDictionaryDataMap::scalarMaps)
        .property("dictionaryMaps", &PLVDictionaryDataMap::dictionaryMaps)
        .property("entityName", &PLVDictionaryDataMap::entityName)
        .operation("filterNames", &PLVDictionaryDataMap::filterNames);

bool isRuleKey(std::string_view key) {
  return key.size() >= 2 && (key.front() == '$' || key.front() == '%');
}

/// The descriptor of a map, taken apart by input key.
struct Rules {
  Ref<NSMutableDictionary> destinations = NSMutableDictionary::dictionary();
  Ref<NSMutableDictionary> nested = NSMutableDictionary::dictionary();

  explicit Rules(const Ref<NSDictionary>& descriptor) {
    if (!descriptor) return;
    for (const auto& [key, value] : *descriptor) {
      const NSString* text = as<NSString>(key);
      if (!text || !isRuleKey(text->utf8())) continue;
      const std::string_view name = text->utf8().substr(1);
      if (text->utf8().front() == '$') {
        destinations->setObjectForKey(value, Value(name));
      } else {
        addNested(name, value);
      }
    }
  }

 private:
  void addNested(std::string_view name, const Value& value) {
    const std::size_t dot = name.find('.');
    const Value inputKey(name.substr(0, dot));
    Ref<NSMutableDictionary> descriptor = as<NSMutableDictionary>(nested->objectForKey(inputKey));
    if (!descriptor) {
      descriptor = NSMutableDictionary::dictionary();
      nested->setObjectForKey(descriptor, inputKey);
    }
    if (dot == std::string_view::npos) return;
    const std::string_view subKey = name.substr(dot + 1);
    if (isRuleKey(subKey)) descriptor->setObjectForKey(value, Value(subKey));
  }
};

}  // namespace

PLVDictionaryDataMap::PLVDictionaryDataMap(const Ref<NSString>& entityName,
                                           const Ref<NSDictionary>& scalarMaps,
                                           const Ref<NSDictionary>& dictionaryMaps)
    : _scalarMaps(NSDictionary::dictionaryWithDictionary(scalarMaps)),
      _dictionaryMaps(NSDictionary::dictionaryWithDictionary(dictionaryMaps)),
      _entityName(entityName) {}

Ref<PLVDictionaryDataMap> PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(
    const Ref<NSString>& entityName, const Ref<NSDictionary>& scalarMaps,
    const Ref<NSDictionary>& dictionaryMaps) {
  return makeObject<PLVDictionaryDataMap>(entityName, scalarMaps, dictionaryMaps);
}

Ref<NSMutableDictionary> PLVDictionaryDataMap::automaticMapDescriptorForEntity(
    const Ref<NSEntityDescription>& entity) {
  // The entity and its ancestors, to be walked from the root down.
  std::vector<Ref<NSEntityDescription>> line;
  for (Ref<NSEntityDescription> e = entity; e; e = e->superentity()) line.push_back(e);
  Ref<NSMutableDictionary> descriptor = NSMutableDictionary::dictionary();
  Ref<NSSet> inherited = NSSet::set();
  for (auto e = line.rbegin(); e != line.rend(); ++e) {
    const Ref<NSArray> attributes = (*e)->attributesByName()->allValues();
    for (const Value& attribute : *attributes) {
      if (inherited->containsObject(attribute)) continue;
      const Ref<NSString>& name = as<NSAttributeDescription>(attribute)->name();
      descriptor->setObjectForKey(name, NSString::stringWithFormat("$%@", name));
    }
    descriptor->addEntriesFromDictionary((*e)->userInfo());
    inherited = NSSet::setWithArray(attributes);
  }
  return descriptor;
}

PLVDictionaryDataMap::Parts PLVDictionaryDataMap::partsOf(const Ref<NSEntityDescription>& entity,
                                                          const Ref<NSDictionary>& descriptor) {
  const Rules rules(descriptor);
  Ref<NSMutableDictionary> scalarMaps = NSMutableDictionary::dictionary();
  for (const auto& [inputKey, destination] : *rules.destinations) {
    const NSString* text = as<NSString>(destination);
    if (!text) continue;
    const auto map = PLVScalarDataMap::newMapWithDestinationForEntity(
        Ref<NSString>(const_cast<NSString*>(text)), entity);
    if (map) scalarMaps->setObjectForKey(map, inputKey);
  }
  Ref<NSMutableDictionary> dictionaryMaps = NSMutableDictionary::dictionary();
  for (const auto& [inputKey, nested] : *rules.nested) {
    dictionaryMaps->setObjectForKey(
        PLVDictionaryDataMap::newMapForEntityDescriptor(entity, as<NSDictionary>(Value(nested))),
        inputKey);
  }
  return {entity->name(), scalarMaps, dictionaryMaps};
}

Ref<PLVDictionaryDataMap> PLVDictionaryDataMap::newMapForEntityDescriptor(
    const Ref<NSEntityDescription>& entity, const Ref<NSDictionary>& descriptor) {
  const Parts parts = partsOf(entity, descriptor);
  return makeObject<PLVDictionaryDataMap>(parts.entityName, parts.scalarMaps, parts.dictionaryMaps);
}

void PLVDictionaryDataMap::mapDictionaryToObject(const Ref<NSDictionary>& record,
                                                 const Ref<NSManagedObject>& object) const {
  mapDictionaryToObjectFilter(record, object,
                              object ? plv_dataMapFilter(object->managedObjectContext()) : nullptr);
}

void PLVDictionaryDataMap::mapDictionaryToObjectFilter(const Ref<NSDictionary>& record,
                                                       const Ref<NSManagedObject>& object,
                                                       const Ref<PLVDataMapFilter>& filter) const {
  if (!record || !object) return;
  for (auto place = record->begin(); place != record->end(); ++place) {
    const Value& key = place.entry().key;
    const Value& value = place.entry().value;
    if (const auto* nested = as<NSDictionary>(value)) {
      if (const Value* map = _dictionaryMaps->find(key)) {
        as<PLVDictionaryDataMap>(*map)->mapDictionaryToObjectFilter(
            Ref<NSDictionary>(const_cast<NSDictionary*>(nested)), object, filter);
        continue;
      }
    }
    if (const Value* map = _scalarMaps->find(key)) {
      // A copy: a filter or a selector may change a mutable record under way, which ends the walk.
      as<PLVScalarDataMap>(*map)->mapValueToObjectFilter(Value(value), object, filter);
    }
  }
}

Ref<NSMutableSet> PLVDictionaryDataMap::filterNames() const {
  Ref<NSMutableSet> names = NSMutableSet::set();
  for (const auto& [key, map] : *_scalarMaps) {
    const Ref<NSString>& name = as<PLVScalarDataMap>(map)->filterName();
    if (name) names->addObject(name);
  }
  for (const auto& [key, map] : *_dictionaryMaps) {
    names->unionSet(as<PLVDictionaryDataMap>(map)->filterNames());
  }
  return names;
}

}  // namespace JNFoundation
