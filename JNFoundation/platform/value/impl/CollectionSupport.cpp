#include "JNFoundation/platform/value/impl/CollectionSupport.h"

#include <algorithm>

#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/SEL.h>

namespace JNFoundation::impl {

std::vector<Value> elementsOf(const Ref<NSArray>& array) {
  if (!array) return {};
  if (const std::vector<Value>* elements = array->contiguousElements()) return *elements;
  std::vector<Value> elements;
  for (NSUInteger i = 0; i < array->count(); ++i) elements.push_back(array->objectAtIndex(i));
  return elements;
}

void raiseRangeBeyondBounds(const NSObject& collection, const char* operation, NSRange range,
                            NSUInteger count) {
  if (count == 0) {
    raise(NSRangeException, "*** -[%s %s]: range {%llu, %llu} extends beyond bounds for empty array",
          collection.class_().name(), operation, range.location, range.length);
  }
  raise(NSRangeException, "*** -[%s %s]: range {%llu, %llu} extends beyond bounds [0 .. %llu]",
        collection.class_().name(), operation, range.location, range.length, count - 1);
}

void raiseIndexBeyondBounds(const NSObject& collection, const char* operation, NSUInteger index,
                            NSUInteger count, const char* kind) {
  if (count == 0) {
    raise(NSRangeException, "*** -[%s %s]: index %llu beyond bounds for empty %s",
          collection.class_().name(), operation, index, kind);
  }
  raise(NSRangeException, "*** -[%s %s]: index %llu beyond bounds [0 .. %llu]",
        collection.class_().name(), operation, index, count - 1);
}

void raiseNullObject(const NSObject& collection, const char* operation, const char* what) {
  raise(NSInvalidArgumentException, "*** -[%s %s]: %s cannot be nil", collection.class_().name(),
        operation, what);
}

void raiseMutated(const NSObject& collection) {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        collection.class_().name(), static_cast<const void*>(&collection));
}

namespace {

[[noreturn]] void raiseUndefinedKey(const Value& member, const char* operation,
                                    const Ref<NSString>& key) {
  raise(NSUndefinedKeyException,
        "[<%s> %s]: this class is not key value coding-compliant for the key %@.",
        member.class_()->name(), operation, key);
}

}  // namespace

Value memberValueForKey(const Value& member, const Ref<NSString>& key) {
  if (member.isObject()) {
    const Value held = member;
    return held.object()->valueForKey(key);
  }
  const Method* getter = key ? member.class_()->instanceMethodForSelector(SEL(key->utf8())) : nullptr;
  if (!getter || getter->numberOfArguments() != 2 || getter->returnType() == 'v') {
    raiseUndefinedKey(member, "valueForUndefinedKey:", key);
  }
  return getter->invoke(member, {});
}

void setMemberValueForKey(const Value& member, const Value& value, const Ref<NSString>& key) {
  // Numbers and dates have nothing that could be set.
  if (!member.isObject()) raiseUndefinedKey(member, "setValue:forUndefinedKey:", key);
  const Value held = member;
  held.object()->setValueForKey(value, key);
}

std::vector<Value> stablySorted(
    std::vector<Value> values,
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  if (!comparator) fatalError("a sort needs a comparator, not null");
  const std::size_t count = values.size();
  std::vector<Value*> sorted(count), merged(count);
  for (std::size_t i = 0; i < count; ++i) sorted[i] = &values[i];
  const auto areReversed = [&](const Value* left, const Value* right) {
    return comparator(*left, *right) == NSOrderedDescending;
  };
  // Merging never reads past a run whatever the comparator says; the sorts of the standard library
  // may, when it contradicts itself.
  for (std::size_t width = 1; width < count; width *= 2) {
    for (std::size_t start = 0; start < count; start += 2 * width) {
      const std::size_t middle = std::min(start + width, count);
      const std::size_t end = std::min(middle + width, count);
      std::size_t left = start, right = middle, to = start;
      if (middle < end && areReversed(sorted[middle - 1], sorted[middle])) {
        while (left < middle && right < end) {
          merged[to++] = areReversed(sorted[left], sorted[right]) ? sorted[right++] : sorted[left++];
        }
      }
      std::copy(sorted.begin() + static_cast<std::ptrdiff_t>(left),
                sorted.begin() + static_cast<std::ptrdiff_t>(middle),
                merged.begin() + static_cast<std::ptrdiff_t>(to));
      to += middle - left;
      std::copy(sorted.begin() + static_cast<std::ptrdiff_t>(right),
                sorted.begin() + static_cast<std::ptrdiff_t>(end),
                merged.begin() + static_cast<std::ptrdiff_t>(to));
    }
    sorted.swap(merged);
  }
  std::vector<Value> result;
  result.reserve(count);
  for (Value* value : sorted) result.push_back(std::move(*value));
  return result;
}

}  // namespace JNFoundation::impl
