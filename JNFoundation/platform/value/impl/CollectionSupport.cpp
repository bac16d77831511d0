#include "JNFoundation/platform/value/impl/CollectionSupport.h"

#include <algorithm>

#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

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
    raise(NSRangeException,
          "*** -[%s %s]: range {%llu, %llu} extends beyond bounds for empty array",
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

void requireValues(const std::vector<Value>& values, const char* className) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!values[i].isNull()) continue;
    raise(NSInvalidArgumentException,
          "*** -[%s initWithObjects:count:]: attempt to insert nil object from objects[%zu]",
          className, i);
  }
}

void raiseMutated(const NSObject& collection) {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        collection.class_().name(), static_cast<const void*>(&collection));
}

void requireBlock(bool isThere, const char* operation) {
  if (isThere) return;
  fatalError(std::string("-[") + operation + "] needs a block, not null");
}

namespace {

constexpr int keyNestingLimit = 500;
thread_local int keyNesting = 0;

[[noreturn]] void raiseUndefinedKey(const Value& member, const char* operation,
                                    const Ref<NSString>& key) {
  raise(NSUndefinedKeyException,
        "[<%s> %s]: this class is not key value coding-compliant for the key %@.",
        member.class_()->name(), operation, key);
}

}  // namespace

KeyNesting::KeyNesting() {
  if (keyNesting == keyNestingLimit) {
    raise(NSGenericException,
          "*** A key cannot be read or set through collections nested more than %d deep.",
          keyNestingLimit);
  }
  ++keyNesting;
}

KeyNesting::~KeyNesting() { --keyNesting; }

Value memberValueForKey(const Value& member, const Ref<NSString>& key) {
  if (member.isObject()) {
    const Value receiver = held(member);
    return receiver.object()->valueForKey(key);
  }
  if (member.isNull()) return nullptr;
  const Method* getter = key ? member.class_()->getterForKey(key->utf8()) : nullptr;
  if (!getter) raiseUndefinedKey(member, "valueForUndefinedKey:", key);
  return getter->invoke(member, {});
}

void setMemberValueForKey(const Value& member, const Value& value, const Ref<NSString>& key) {
  if (member.isNull()) return;
  // Numbers and dates have nothing that could be set.
  if (!member.isObject()) raiseUndefinedKey(member, "setValue:forUndefinedKey:", key);
  const Value receiver = held(member);
  receiver.object()->setValueForKey(value, key);
}

std::vector<std::size_t> stableOrder(
    const std::vector<Value>& values,
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  if (!comparator) fatalError("a sort needs a comparator, not null");
  const std::size_t count = values.size();
  std::vector<std::size_t> sorted(count), merged(count);
  for (std::size_t i = 0; i < count; ++i) sorted[i] = i;
  const auto areReversed = [&](std::size_t left, std::size_t right) {
    return comparator(values[left], values[right]) == NSOrderedDescending;
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
          merged[to++] =
              areReversed(sorted[left], sorted[right]) ? sorted[right++] : sorted[left++];
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
  return sorted;
}

std::vector<Value> stablySorted(
    std::vector<Value> values,
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  std::vector<Value> sorted;
  sorted.reserve(values.size());
  for (std::size_t index : stableOrder(values, comparator)) {
    sorted.push_back(std::move(values[index]));
  }
  return sorted;
}

}  // namespace JNFoundation::impl
