#pragma once

#include <cstdint>
#include <unordered_map>

#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1::impl {

/// The identities of a feed, each with the number of the first record that has it.
class SeenIdentities {
 public:
  /// Returns: the number of the first record with the identity, which is this one if none had it.
  NSUInteger firstIndex(const Value& identity, NSUInteger index) {
    // Numbers mostly come in order, which a table by their own value takes best.
    if (identity.kind() == Value::Kind::Integer) {
      return _numbers.try_emplace(identity.longLongValue(), index).first->second;
    }
    if (const Value* first = _others->find(identity)) {
      return static_cast<NSUInteger>(first->unsignedLongLongValue());
    }
    _others->setObjectForKey(index, identity);
    return index;
  }

  bool has(const Value& identity) const {
    return identity.kind() == Value::Kind::Integer ? _numbers.contains(identity.longLongValue())
                                                   : _others->find(identity) != nullptr;
  }

 private:
  std::unordered_map<std::int64_t, NSUInteger> _numbers;
  const Ref<NSMutableDictionary> _others = NSMutableDictionary::dictionary();
};

}  // namespace JNFoundation::impl
