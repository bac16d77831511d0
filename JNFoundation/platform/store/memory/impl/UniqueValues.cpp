#include "JNFoundation/platform/store/memory/impl/UniqueValues.h"

#include <algorithm>

#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/text/Hash.h>

namespace JNFoundation::inline v0_1::impl {

bool UniqueValues::concerns(const NSEntityDescription& entity) const {
  const auto family = _entity->layout().family();
  return std::find(family.begin(), family.end(), &entity) != family.end();
}

Value UniqueValues::keyOf(const Value* values) const {
  std::vector<Value> key;
  for (const std::size_t property : _properties) {
    if (values[property].isNull()) return nullptr;
    key.push_back(values[property]);
  }
  return NSArray::arrayWithValues(std::move(key));
}

/// An array's own hash says no more than how long it is.
std::size_t UniqueValues::Hash::operator()(const Value& key) const {
  std::uint64_t hash = 0;
  const auto* values = as<NSArray>(key);
  if (!values) return 0;
  for (const Value& value : *values) {
    hash = mixHash(hash ^ static_cast<std::uint64_t>(value.hash()));
  }
  return static_cast<std::size_t>(hash);
}

std::int64_t UniqueValues::holderOf(const Value& key) const {
  const auto found = _holders.find(key);
  return found == _holders.end() ? 0 : found->second;
}

void UniqueValues::remove(const Value& key, std::int64_t record) {
  const auto found = _holders.find(key);
  if (found != _holders.end() && found->second == record) _holders.erase(found);
}

}  // namespace JNFoundation::impl
