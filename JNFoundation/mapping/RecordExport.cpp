#include "JNFoundation/mapping/RecordExport.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_set>
#include <utility>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/text/DateText.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1 {
namespace {

using Obstacle = RecordExport::Obstacle;

enum class WrittenForm { Number, Boolean, Text, Date, None };

WrittenForm formOf(NSUInteger attributeType) {
  switch (attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
      return WrittenForm::Number;
    case NSBooleanAttributeType:
      return WrittenForm::Boolean;
    case NSStringAttributeType:
      return WrittenForm::Text;
    case NSDateAttributeType:
      return WrittenForm::Date;
    default:
      return WrittenForm::None;
  }
}

/// Why the rule leads one way only.
std::optional<Obstacle> obstacleOf(const PLVScalarDataMap& map) {
  if (map.mapType() == PLVScalarDataMap::MapType::Selector) return Obstacle::Message;
  if (formOf(map.attributeType()) == WrittenForm::None) return Obstacle::UnsupportedType;
  if (map.filterName()) return Obstacle::Filter;
  return std::nullopt;
}

/// What a record says for the value of an attribute. Null where nothing does.
Value exported(const Value& value, WrittenForm form, std::optional<Obstacle>& obstacle) {
  if (value.isNull()) return NSNull::null();
  switch (form) {
    case WrittenForm::Boolean:
      if (value == Value(0) || value == Value(1)) return value.boolValue();
      [[fallthrough]];
    case WrittenForm::Number:
      if (value.isNumber() && std::isfinite(value.doubleValue())) return value;
      break;
    case WrittenForm::Text:
      if (value.isString()) return value;
      break;
    case WrittenForm::Date: {
      if (!value.isDate()) break;
      const double seconds = value.timeIntervalSince1970();
      if (!std::isfinite(seconds)) break;
      const std::string text = rfc3339FromSecondsSince1970(seconds);
      const auto readBack = secondsSince1970FromRFC3339(text);
      if (!readBack) break;
      if (*readBack != seconds) obstacle = Obstacle::Inexact;
      return text;
    }
    case WrittenForm::None:
      break;
  }
  obstacle = Obstacle::NotExpressible;
  return nullptr;
}

}  // namespace

RecordExport::RecordExport(const Ref<PLVDictionaryDataMap>& map) {
  if (!map) return;
  addLevels(map);
  // What these leave out leaves no level without rules: a shared key is that of a used one.
  markUsedLevels();
  dropSharedKeys();
  dropOwnNames();
  std::stable_sort(_lost.begin(), _lost.end(), [](const LostRule& one, const LostRule& other) {
    return one.level < other.level;
  });
}

void RecordExport::addLevels(const Ref<PLVDictionaryDataMap>& map) {
  std::vector<Ref<const PLVDictionaryDataMap>> maps{Ref<const PLVDictionaryDataMap>(map.get())};
  _levels.push_back({0, nullptr, {}});
  for (std::size_t number = 0; number < maps.size(); ++number) {
    const Ref<const PLVDictionaryDataMap> level = maps[number];
    for (const auto& [key, entry] : *level->scalarMaps()) {
      const auto* scalar = as<PLVScalarDataMap>(entry);
      if (!scalar) continue;
      Rule rule{key, Ref<const PLVScalarDataMap>(scalar)};
      if (const auto obstacle = obstacleOf(*scalar)) {
        _lost.push_back({number, std::move(rule), *obstacle});
      } else {
        _levels[number].rules.push_back(std::move(rule));
      }
    }
    for (const auto& [key, entry] : *level->dictionaryMaps()) {
      const auto* nested = as<PLVDictionaryDataMap>(entry);
      if (!nested) continue;
      maps.push_back(Ref<const PLVDictionaryDataMap>(nested));
      _levels.push_back({number, key, {}});
    }
  }
}

void RecordExport::markUsedLevels() {
  for (std::size_t number = _levels.size(); number-- > 0;) {
    Level& level = _levels[number];
    level.isUsed = level.isUsed || !level.rules.empty();
    if (level.isUsed) _levels[level.outer].isUsed = true;
  }
}

void RecordExport::dropSharedKeys() {
  std::vector<std::unordered_set<Value>> dictionaryKeys(_levels.size());
  for (std::size_t number = 1; number < _levels.size(); ++number) {
    if (_levels[number].isUsed) dictionaryKeys[_levels[number].outer].insert(_levels[number].key);
  }
  for (std::size_t number = 0; number < _levels.size(); ++number) {
    std::erase_if(_levels[number].rules, [&](const Rule& rule) {
      if (!dictionaryKeys[number].contains(rule.key)) return false;
      _lost.push_back({number, rule, Obstacle::SharedKey});
      return true;
    });
  }
}

void RecordExport::dropOwnNames() {
  const auto isOwnName = [](const Rule& rule) {
    return rule.key == Value(rule.map->destination());
  };
  std::unordered_set<Value> named;
  for (std::size_t number = 0; number < _levels.size(); ++number) {
    for (const Rule& rule : _levels[number].rules) {
      if (number > 0 || !isOwnName(rule)) named.insert(rule.map->destination());
    }
  }
  if (_levels.empty()) return;
  std::erase_if(_levels[0].rules, [&](const Rule& rule) {
    return isOwnName(rule) && named.contains(rule.map->destination());
  });
}

Ref<NSArray> RecordExport::pathOf(std::size_t level, const Value& key) const {
  std::vector<Value> path{key};
  for (; level != 0; level = _levels[level].outer) path.push_back(_levels[level].key);
  std::reverse(path.begin(), path.end());
  return NSArray::arrayWithValues(std::move(path));
}

std::vector<RecordExport::Loss> RecordExport::losses() const {
  std::vector<Loss> losses;
  for (const LostRule& lost : _lost) {
    const PLVScalarDataMap& map = *lost.rule.map;
    losses.push_back({pathOf(lost.level, lost.rule.key),
                      map.mapType() == PLVScalarDataMap::MapType::Selector
                          ? NSString::fromText(map.destinationSelector().name())
                          : map.destination(),
                      lost.obstacle});
  }
  return losses;
}

Ref<NSMutableDictionary> RecordExport::recordOfObject(const Ref<NSManagedObject>& object,
                                                      std::vector<Loss>* losses) const {
  Ref<NSMutableDictionary> record = NSMutableDictionary::dictionary();
  if (!object) return record;
  std::vector<Ref<NSMutableDictionary>> dictionaries(_levels.size());
  for (std::size_t number = 0; number < _levels.size(); ++number) {
    const Level& level = _levels[number];
    if (!level.isUsed) continue;
    dictionaries[number] = number == 0 ? record : NSMutableDictionary::dictionary();
    if (number > 0) {
      dictionaries[level.outer]->setObjectForKey(dictionaries[number], level.key);
    }
    for (const Rule& rule : level.rules) {
      std::optional<Obstacle> obstacle;
      const Value value = exported(object->valueForKey(rule.map->destination()),
                                   formOf(rule.map->attributeType()), obstacle);
      if (!value.isNull()) dictionaries[number]->setObjectForKey(value, rule.key);
      if (obstacle && losses) {
        losses->push_back({pathOf(number, rule.key), rule.map->destination(), *obstacle});
      }
    }
  }
  return record;
}

}  // namespace JNFoundation
