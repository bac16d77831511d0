#pragma once

#include <algorithm>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation::inline v0_1::impl {

/// The values that one uniqueness constraint watches over. Records of which one of the values is
/// null do not count.
class UniqueValues {
 public:
  /// Takes: the entity that has the constraint, and the names that it lists.
  UniqueValues(const NSEntityDescription& entity, std::vector<std::size_t> properties)
      : _entity(&entity), _properties(std::move(properties)) {}

  /// The same constraint over no records.
  UniqueValues withoutRecords() const { return UniqueValues(*_entity, _properties); }

  /// Whether it is the constraint of the entity over these properties.
  bool isOf(const NSEntityDescription& entity, std::span<const std::size_t> properties) const {
    return _entity == &entity &&
           std::equal(properties.begin(), properties.end(), _properties.begin(), _properties.end());
  }
  bool concerns(const NSEntityDescription& entity) const;
  /// The values of a record as one. Returns: null for one that does not count.
  Value keyOf(const Value* values) const;
  /// Returns: 0 if no record has them.
  std::int64_t holderOf(const Value& key) const;
  void put(const Value& key, std::int64_t record) { _holders[key] = record; }
  /// Ignored where another record has them by now.
  void remove(const Value& key, std::int64_t record);

 private:
  struct Hash {
    std::size_t operator()(const Value& key) const;
  };

  const NSEntityDescription* _entity;
  std::vector<std::size_t> _properties;
  std::unordered_map<Value, std::int64_t, Hash> _holders;
};

}  // namespace JNFoundation::impl
