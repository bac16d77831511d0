#include "JNFoundation/importing/impl/RecordComparison.h"

#include <utility>

#include <JNFoundation/platform/store/NSDerivedAttributeDescription.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1::impl {

namespace {

/// Whether a store has the attribute's value as it was set.
bool isKept(const Value& attribute) {
  const auto* description = as<NSAttributeDescription>(attribute);
  return description && !description->isTransient() &&
         !isKindOf<NSDerivedAttributeDescription>(attribute) &&
         description->attributeType() != NSTransformableAttributeType;
}

}  // namespace

RecordComparison::RecordComparison(Ref<PLVDictionaryDataMap> map, const NSEntityDescription& entity)
    : _map(std::move(map)) {
  const Ref<NSDictionary> known = entity.attributesByName();
  for (const auto& [key, rule] : *_map->scalarMaps()) {
    const auto* scalar = as<PLVScalarDataMap>(rule);
    if (!scalar || !scalar->destination()) continue;
    const Value name(scalar->destination());
    if (isKept(known->objectForKey(name)) && !_attributes->containsObject(name)) {
      _attributes->addObject(name);
    }
  }
}

bool RecordComparison::isPlain(const Ref<NSDictionary>& record) {
  std::size_t place = 0;
  for (auto entries = record->begin(); entries != record->end(); ++entries) {
    const Rule& rule = ruleFor(entries.entry().key, place++);
    if (!rule.isPlain || rule.leadsIntoDictionary) return false;
  }
  return true;
}

bool RecordComparison::isSettled(const Ref<NSDictionary>& record, std::span<const Value> values) {
  std::size_t place = 0;
  for (auto entries = record->begin(); entries != record->end(); ++entries) {
    const auto& [key, value, hash] = entries.entry();
    const Rule& rule = ruleFor(key, place++);
    if (!rule.isPlain || rule.leadsIntoDictionary) return false;
    if (rule.map && !rule.map->isSettled(value, values[rule.attribute])) return false;
  }
  return true;
}

void RecordComparison::expect(const Ref<NSDictionary>& record, std::span<Value> values) {
  std::size_t place = 0;
  for (auto entries = record->begin(); entries != record->end(); ++entries) {
    const Rule& rule = ruleFor(entries.entry().key, place++);
    const Value& value = entries.entry().value;
    if (rule.isPlain && rule.map && value.isString()) values[rule.attribute] = value;
  }
}

const RecordComparison::Rule& RecordComparison::learnRule(const Value& key, std::size_t place) {
  if (place >= _rules.size()) _rules.resize(place + 1);
  return _rules[place] = makeRule(key);
}

RecordComparison::Rule RecordComparison::makeRule(const Value& key) const {
  Rule rule{.key = key};
  rule.leadsIntoDictionary = _map->dictionaryMaps()->find(key) != nullptr;
  const Value* found = _map->scalarMaps()->find(key);
  if (!found) return rule;
  rule.map = as<PLVScalarDataMap>(*found);
  // Whoever filled the map by hand may have put something else in.
  const NSUInteger attribute = rule.map && rule.map->destination()
                                   ? _attributes->indexOfObject(Value(rule.map->destination()))
                                   : static_cast<NSUInteger>(NSNotFound);
  rule.isPlain = attribute != static_cast<NSUInteger>(NSNotFound);
  if (rule.isPlain) rule.attribute = static_cast<std::size_t>(attribute);
  return rule;
}

}  // namespace JNFoundation::impl
