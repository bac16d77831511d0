#include "JNFoundation/mapping/PLVDictionaryDataMap.h"

#include <bit>
#include <string_view>
#include <utility>
#include <vector>

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/mapping/impl/MapDescriptor.h>
#include <JNFoundation/mapping/impl/MappingReport.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVDictionaryDataMap::classObject =
    Class::of<PLVDictionaryDataMap>("PLVDictionaryDataMap");

namespace {

const ClassDeclaration<PLVDictionaryDataMap> declarationOfPLVDictionaryDataMap =
    ClassDeclaration<PLVDictionaryDataMap>()
        .property("scalarMaps", &PLVDictionaryDataMap::scalarMaps)
        .property("dictionaryMaps", &PLVDictionaryDataMap::dictionaryMaps)
        .property("entityName", &PLVDictionaryDataMap::entityName)
        .operation("filterNames", &PLVDictionaryDataMap::filterNames);

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
        open.push_back(static_cast<std::size_t>(nested->objectAtIndex(i).unsignedLongLongValue()));
      }
    }
    return order;
  }

 private:
  void add(std::string_view key, const Value& value) {
    std::size_t node = 0;
    while (const auto step = impl::RuleStep::firstOf(key)) {
      if (!step->isNested) {
        _nodes[node].destinations->setObjectForKey(value, inputKeyOf(step->inputKey));
        return;
      }
      node = nestedNode(node, inputKeyOf(step->inputKey));
      if (!step->rest) return;
      key = *step->rest;
    }
  }

  /// Keys of input are interned, since those of what is read are then the very same strings.
  static Value inputKeyOf(std::string_view name) { return NSString::interned(name); }

  std::size_t nestedNode(std::size_t node, const Value& inputKey) {
    if (const Value* known = _nodes[node].nested->find(inputKey)) {
      return static_cast<std::size_t>(known->unsignedLongLongValue());
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

/// A record on its way through its map and the nested ones.
class Walk final : public impl::MappingPath {
 public:
  Walk(const PLVDictionaryDataMap& map, const Ref<NSDictionary>& record,
       const MappingObserver& observer)
      : _observer(observer), _level(map, record) {}

  /// Goes to the next entry, of an outer dictionary after the last of an inner one. Returns:
  /// whether there is one. Fails: raises NSGenericException for a record changed meanwhile.
  bool next() {
    while (!(_level.place != _level.record->end())) {
      if (_outer.empty()) return false;
      _level = std::move(_outer.back());
      _outer.pop_back();
    }
    _level.takeEntry();
    return true;
  }

  const PLVDictionaryDataMap& map() const { return *_level.map; }
  /// Until the next step.
  const NSDictionary::Entry& entry() const { return _level.entry(); }
  const MappingObserver& observer() const { return _observer; }

  /// Goes on with the entries of the entry's value, a dictionary.
  void enter(const PLVDictionaryDataMap& map) {
    Level inner(map, as<NSDictionary>(Value(entry().value)));
    _outer.push_back(std::move(_level));
    _level = std::move(inner);
  }

  Ref<NSArray> keys() const override {
    Ref<NSMutableArray> keys = NSMutableArray::array();
    for (const Level& level : _outer) keys->addObject(level.entry().key);
    keys->addObject(_level.entry().key);
    return keys;
  }

 private:
  struct Level {
    Level(const PLVDictionaryDataMap& map, const Ref<NSDictionary>& record)
        : map(&map),
          record(record),
          isMutable(isKindOf<NSMutableDictionary>(*record)),
          place(record->begin()) {}

    /// What may be changed while its entry is mapped must not take it away.
    void takeEntry() {
      standing = &place.entry();
      if (isMutable) copied = *standing;
      ++place;
    }
    const NSDictionary::Entry& entry() const { return isMutable ? copied : *standing; }

    Ref<const PLVDictionaryDataMap> map;
    Ref<NSDictionary> record;
    bool isMutable;
    NSDictionary::Iterator place;
    const NSDictionary::Entry* standing = nullptr;
    NSDictionary::Entry copied{};
  };

  const MappingObserver _observer;
  Level _level;
  std::vector<Level> _outer;
};

}  // namespace

PLVDictionaryDataMap::PLVDictionaryDataMap(const Ref<NSString>& entityName,
                                           const Ref<NSDictionary>& scalarMaps,
                                           const Ref<NSDictionary>& dictionaryMaps)
    : _scalarMaps(NSDictionary::dictionaryWithDictionary(scalarMaps)),
      _dictionaryMaps(NSDictionary::dictionaryWithDictionary(dictionaryMaps)),
      _entityName(entityName) {
  buildIndex();
}

void PLVDictionaryDataMap::buildIndex() {
  // With room to spare, so that most keys stand where they belong.
  _index.resize(std::bit_ceil((_scalarMaps->count() + _dictionaryMaps->count()) * 2 + 1));
  _mask = _index.size() - 1;
  for (const NSDictionary* maps : {_scalarMaps.get(), _dictionaryMaps.get()}) {
    for (const auto& [key, map] : *maps) {
      const NSString* text = as<NSString>(key);
      if (!text) continue;
      // Whoever filled the dictionaries may have put something else in.
      const Value* scalar = _scalarMaps->find(*text);
      const Value* nested = _dictionaryMaps->find(*text);
      if (scalar && !isKindOf<PLVScalarDataMap>(*scalar)) continue;
      if (nested && !isKindOf<PLVDictionaryDataMap>(*nested)) continue;
      std::size_t place = static_cast<std::size_t>(text->contentHash()) & _mask;
      while (_index[place].key) place = (place + 1) & _mask;
      _index[place] = {text,
                       {scalar ? as<PLVScalarDataMap>(*scalar) : nullptr,
                        nested ? as<PLVDictionaryDataMap>(*nested) : nullptr}};
    }
  }
}

PLVDictionaryDataMap::KeyMaps PLVDictionaryDataMap::mapsFor(
    const NSDictionary::Entry& entry) const {
  for (std::size_t place = static_cast<std::size_t>(entry.hash) & _mask; _index[place].key;
       place = (place + 1) & _mask) {
    if (_index[place].key == entry.key.object()) return _index[place].maps;
  }
  return mapsInDictionariesFor(entry);
}

PLVDictionaryDataMap::KeyMaps PLVDictionaryDataMap::mapsInDictionariesFor(
    const NSDictionary::Entry& entry) const {
  if (isKindOf<NSDictionary>(entry.value)) {
    if (const Value* nested = _dictionaryMaps->find(entry.key)) {
      return {nullptr, &mapIn<PLVDictionaryDataMap>(*nested, "mapDictionary:toObject:filter:")};
    }
  }
  const Value* scalar = _scalarMaps->find(entry.key);
  if (!scalar) return {};
  return {&mapIn<PLVScalarDataMap>(*scalar, "mapValue:toObject:filter:"), nullptr};
}

Ref<PLVDictionaryDataMap> PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(
    const Ref<NSString>& entityName, const Ref<NSDictionary>& scalarMaps,
    const Ref<NSDictionary>& dictionaryMaps) {
  return makeObject<PLVDictionaryDataMap>(entityName, scalarMaps, dictionaryMaps);
}

Ref<NSMutableDictionary> PLVDictionaryDataMap::automaticMapDescriptorForEntity(
    const Ref<NSEntityDescription>& entity) {
  Ref<NSMutableDictionary> descriptor = NSMutableDictionary::dictionary();
  for (const impl::DescriptorEntry& entry : impl::automaticDescriptorEntries(entity)) {
    descriptor->setObjectForKey(entry.value, entry.key);
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
      const Parts& inner = parts[static_cast<std::size_t>(nested.unsignedLongLongValue())];
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
  mapDictionaryToObjectFilterObserver(record, object, filter,
                                      object ? impl::mappingObserverOf(*object) : nullptr);
}

void PLVDictionaryDataMap::mapDictionaryToObjectFilterObserver(const Ref<NSDictionary>& record,
                                                               const Ref<NSManagedObject>& object,
                                                               const Ref<PLVDataMapFilter>& filter,
                                                               const MappingObserver& observer,
                                                               MappingWrites writes) const {
  if (!record || !object) return;
  // Filters, messages and observers are an application's code, which may let go of whatever it
  // gave us.
  const Ref<NSManagedObject> target(object.get());
  const Ref<PLVDataMapFilter> filterInUse(filter.get());
  Walk walk(*this, record, observer);
  while (walk.next()) {
    const NSDictionary::Entry& entry = walk.entry();
    const auto [map, nested] = walk.map().mapsFor(entry);
    if (nested && isKindOf<NSDictionary>(entry.value)) {
      walk.enter(*nested);
      continue;
    }
    if (walk.observer()) {
      impl::MappingReport report(walk.observer(), entry.value, target, &walk);
      if (map) {
        map->mapReporting(entry.value, target, filterInUse, writes, report);
      } else {
        const bool isForDictionary = walk.map()._dictionaryMaps->find(entry.key) != nullptr;
        report.setIgnored(_entityName, isForDictionary ? MappingEvent::Reason::NotADictionary
                                                       : MappingEvent::Reason::NoRule);
        report.tell();
      }
    } else if (map) {
      map->mapUnobserved(entry.value, target, filterInUse, writes);
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
