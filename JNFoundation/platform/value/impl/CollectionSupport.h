#pragma once

#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Value.h>

/// What the collections share.
namespace JNFoundation::impl {

/// The elements, whatever the array's representation; none for null.
std::vector<Value> elementsOf(const Ref<NSArray>& array);

/// Whether the range reaches past `count` positions; sums that overflow do.
constexpr bool isBeyond(NSRange range, NSUInteger count) {
  return range.location > count || range.length > count - range.location;
}

/// Raises NSRangeException: "*** -[Class operation]: range {5, 3} extends beyond bounds [0 .. 2]".
[[noreturn]] void raiseRangeBeyondBounds(const NSObject& collection, const char* operation,
                                         NSRange range, NSUInteger count);

/// Raises NSRangeException: "*** -[Class operation]: index 7 beyond bounds [0 .. 2]", or "… for empty
/// array".
[[noreturn]] void raiseIndexBeyondBounds(const NSObject& collection, const char* operation,
                                         NSUInteger index, NSUInteger count, const char* kind);

/// Raises NSInvalidArgumentException: "*** -[Class operation]: object cannot be nil".
[[noreturn]] void raiseNullObject(const NSObject& collection, const char* operation,
                                  const char* what = "object");

/// Raises NSGenericException: "*** Collection <Class: 0x…> was mutated while being enumerated."
[[noreturn]] void raiseMutated(const NSObject& collection);

/// Key-value access to a member of a collection, which may be a number or a date.
Value memberValueForKey(const Value& member, const Ref<NSString>& key);
void setMemberValueForKey(const Value& member, const Value& value, const Ref<NSString>& key);

/// Whether the key names a property of the collection itself ("@count").
inline bool namesOwnProperty(const Ref<NSString>& key) { return key && key->hasPrefix("@"); }
/// The name behind the "@".
inline Ref<NSString> ownPropertyName(const Ref<NSString>& key) {
  return NSString::fromText(key->utf8().substr(1));
}

/// The values in the comparator's order; values that it calls the same keep theirs. The comparator
/// may contradict itself or throw: the result is then in some order, or there is none.
std::vector<Value> stablySorted(
    std::vector<Value> values,
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator);

/// Keeps a collection alive while blocks run that may drop the last other reference to it.
template <class Collection>
Ref<Collection> held(const Collection* collection) {
  return Ref<Collection>(const_cast<Collection*>(collection));
}

}  // namespace JNFoundation::impl
