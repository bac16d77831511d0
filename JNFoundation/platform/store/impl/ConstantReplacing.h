#pragma once

#include <optional>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {

/// A constant of a predicate with other values in the place of some: of itself, or of the members
/// of the collections in it. Takes: a function that gives what stands for a value, or nothing for
/// one that stays. Predicates are made of what was parsed or built, which bounds how deep it goes.
template <class Function>
Value withReplacedMembers(const Value& constant, const Function& replacement) {
  if (std::optional<Value> other = replacement(constant)) return *std::move(other);
  const auto members = [&](const auto& collection) {
    std::vector<Value> replaced;
    for (const Value& member : collection) {
      replaced.push_back(withReplacedMembers(member, replacement));
    }
    return replaced;
  };
  if (const auto* array = as<NSArray>(constant)) return NSArray::arrayWithValues(members(*array));
  if (const auto* ordered = as<NSOrderedSet>(constant)) {
    return NSOrderedSet::orderedSetWithValues(members(*ordered));
  }
  if (const auto* set = as<NSSet>(constant)) return NSSet::setWithValues(members(*set));
  return constant;
}

}  // namespace JNFoundation::impl
