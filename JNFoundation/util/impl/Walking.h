#pragma once

#include <optional>
#include <vector>

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

/// What the operations of arrays and of sets have in common. A collection is given as a reference
/// of the caller's own, since a block may release the one that it was handed in.
namespace JNFoundation::inline v0_1::impl {

inline Ref<NSPredicate> predicateOf(const Ref<NSString>& format,
                                    std::initializer_list<FormatArgument> arguments) {
  return NSPredicate::predicateWithFormatArguments(
      format, std::span<const FormatArgument>(arguments.begin(), arguments.size()));
}

/// The first element of which the predicate's answer is this. Returns: null if there is none.
template <class Collection>
Value firstElement(const Ref<Collection> collection, const Ref<NSPredicate>& predicate,
                   bool answer) {
  for (const Value& element : collection) {
    if (predicate->evaluateWithObject(element) == answer) return element;
  }
  return nullptr;
}

inline void requireGivenBlock(bool isThere, const char* operation) {
  if (!isThere) fatalError(operation);
}

template <class Collection>
std::vector<Value> mapped(const Ref<Collection> collection,
                          const Block<Value(const Value&, bool&)>& block) {
  std::vector<Value> results;
  results.reserve(collection->count());
  bool stop = false;
  for (const Value& element : collection) {
    requireGivenBlock(static_cast<bool>(block),
                      "plv_mapObjectsUsingBlock: the block must not be null");
    if (Value result = block(element, stop); !result.isNull()) results.push_back(std::move(result));
    if (stop) break;
  }
  return results;
}

template <class Collection>
Value reduced(const Ref<Collection> collection, Value memo,
              const Block<Value(const Value&, const Value&, bool&)>& block) {
  bool stop = false;
  for (const Value& element : collection) {
    requireGivenBlock(static_cast<bool>(block),
                      "plv_reduceWithMemoUsingBlock: the block must not be null");
    memo = block(memo, element, stop);
    if (stop) break;
  }
  return memo;
}

template <class Collection>
Ref<NSMutableDictionary> indexed(const Ref<Collection> collection, const Ref<NSString>& keyPath) {
  Ref<NSMutableDictionary> index = NSMutableDictionary::dictionary();
  std::optional<KeyPath> path;
  for (const Value& element : collection) {
    if (element.isNSNull()) continue;
    if (!path) path.emplace(keyPath);
    const Value key = path->valueInObject(element);
    if (!key.isNull()) index->setObjectForKey(element, key);
  }
  return index;
}

}  // namespace JNFoundation::impl
