#include "JNFoundation/mapping/PLVDictionaryDataMap.h"

#include <string_view>
#include <utility>
#include <vector>

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Runtime.h>

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

/// A descriptor taken apart: one node for each map that it asks for, the first for the map itself.
/// A key may name levels without end, so nothing here recurses or copies the rest of a key per
/// level.
class Rules {
 public:
  struct Node {
    /// Input key to what the rule gives as its destination.
    Ref<NSMutableDictionary> destinations = NSMutableDictionary::dictionary();
    /// Input key to the number of the nested map's node.
    Ref<NSMutableDictionary> nested = NSMutableDictionary::dictionary();
  };

  explicit Rules(const Ref<NSDictionary>& descriptor) : _nodes(1) {
    if (!descriptor) return;
    for (const auto& [key, value] : *descriptor) {
      if (const NSString* text = as<NSString>(key)) add(text->utf8(), value);
    }
  }

  const Node& operator[](std::size_t number) const { return _nodes[number]; }
  std::size_t count() const noexcept { return _nodes.size(); }

  /// The numbers of the nodes, each map before those nested in it.
  std::vector<std::size_t> outermostFirst() const {
    std::vector<std::size_t> order;
    std::vector<std::size_t> open{0};
    while (!open.empty()) {
      order.push_back(open.back());
      open.pop_back();
      const Ref<NSArray> nested = _nodes[order.back()].nested->allValues();
      for (NSUInteger i = nested->count(); i-- > 0;) {
        open.push_back(nested->objectAtIndex(i).unsignedLongLongValue());
      }
    }
    return order;
  }

 private:
  void add(std::string_view key, const Value& value) {
    std::size_t node = 0;
    while (isRuleKey(key)) {
      const std::string_view name = key.substr(1);
      if (key.front() == '$') {
        _nodes[node].destinations->setObjectForKey(value, Value(name));
        return;
      }
      const std::size_t dot = name.find('.');
      node = nestedNode(node, Value(name.substr(0, dot)));
      if (dot == std::string_view::npos) return;
      key = name.substr(dot + 1);
    }
  }

  std::size_t nestedNode(std::size_t node, const Value& inputKey) {
    if (const Value* known = _nodes[node].nested->find(inputKey)) {
      return known->unsignedLongLongValue();
    }
    const std::size_t number = _nodes.size();
    _nodes[node].nested->setObjectForKey(number, inputKey);
    _nodes.emplace_back();
    return number;
  }

  std::vector<Node> _nodes;
};

/// The scalar maps of one node; a rule that cannot work is left out and has been logged.
Ref<NSMutableDictionary> scalarMapsOf(const Rules::Node& node,
                                      const Ref<NSEntityDescription>& entity) {
  Ref<NSMutableDictionary> maps = NSMutableDictionary::dictionary();
  for (const auto& [inputKey, destination] : *node.destinations) {
    const auto text = as<NSString>(Value(destination));
    if (!text) continue;
    const auto map = PLVScalarDataMap::newMapWithDestinationForEntity(text, entity);
    if (map) maps->setObjectForKey(map, inputKey);
  }
  return maps;
}

/// The map in a table that somebody filled by hand, perhaps with something else.
template <class Map>
const Map& mapIn(const Value& entry, const char* selector) {
  const Map* map = as<Map>(entry);
  if (!map) doesNotRecognizeSelector(entry, SEL(selector));
  return *map;
}

/// One dictionary of a record on its way through its map.
struct Walk {
  Walk(const PLVDictionaryDataMap& map, const Ref<NSDictionary>& record)
      : map(&map), record(record), place(record->begin()) {}

  Ref<const PLVDictionaryDataMap> map;
  Ref<NSDictionary> record;
  NSDictionary::Iterator place;
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
  const Ref<NSString> name = entity ? entity->name() : nullptr;
  const std::vector<std::size_t> order = rules.outermostFirst();
  std::vector<Parts> parts(rules.count());
  for (const std::size_t number : order) {
    parts[number] = {name, scalarMapsOf(rules[number], entity), nullptr};
  }
  for (auto number = order.rbegin(); number != order.rend(); ++number) {
    Ref<NSMutableDictionary> dictionaryMaps = NSMutableDictionary::dictionary();
    for (const auto& [inputKey, nested] : *rules[*number].nested) {
      const Parts& inner = parts[nested.unsignedLongLongValue()];
      dictionaryMaps->setObjectForKey(
          initWithEntityNameScalarMapsDictionaryMaps(name, inner.scalarMaps, inner.dictionaryMaps),
          inputKey);
    }
    parts[*number].dictionaryMaps = dictionaryMaps;
  }
  return parts.front();
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
  // Filters and messages are an application's code, which may let go of whatever it gave us.
  const Ref<NSManagedObject> target(object.get());
  const Ref<PLVDataMapFilter> filterInUse(filter.get());
  Walk walk(*this, record);
  std::vector<Walk> outer;
  while (true) {
    // A record that was changed meanwhile raises here.
    if (!(walk.place != walk.record->end())) {
      if (outer.empty()) return;
      walk = std::move(outer.back());
      outer.pop_back();
      continue;
    }
    const NSDictionary::Pair pair = *walk.place;
    ++walk.place;
    const auto* dictionary = as<NSDictionary>(pair.value);
    if (const Value* entry = dictionary ? walk.map->_dictionaryMaps->find(pair.key) : nullptr) {
      const auto& nested = mapIn<PLVDictionaryDataMap>(*entry, "mapDictionary:toObject:filter:");
      Walk inner(nested, as<NSDictionary>(Value(pair.value)));
      outer.push_back(std::move(walk));
      walk = std::move(inner);
    } else if (const Value* scalar = walk.map->_scalarMaps->find(pair.key)) {
      mapIn<PLVScalarDataMap>(*scalar, "mapValue:toObject:filter:")
          .mapValueToObjectFilter(pair.value, target, filterInUse);
    }
  }
}

Ref<NSMutableSet> PLVDictionaryDataMap::filterNames() const {
  Ref<NSMutableSet> names = NSMutableSet::set();
  std::vector<const PLVDictionaryDataMap*> open{this};
  while (!open.empty()) {
    const PLVDictionaryDataMap& map = *open.back();
    open.pop_back();
    for (const auto& [key, scalar] : *map._scalarMaps) {
      const Ref<NSString>& name = mapIn<PLVScalarDataMap>(scalar, "filterName").filterName();
      if (name) names->addObject(name);
    }
    for (const auto& [key, nested] : *map._dictionaryMaps) {
      open.push_back(&mapIn<PLVDictionaryDataMap>(nested, "filterNames"));
    }
  }
  return names;
}

}  // namespace JNFoundation
