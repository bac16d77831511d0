#pragma once

#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/OrderedHashTable.h>
#include <JNFoundation/platform/value/Value.h>

/// What the collections share.
namespace JNFoundation::inline v0_1::impl {

/// The elements, whatever the array's representation; none for null.
std::vector<Value> elementsOf(const Ref<NSArray>& array);

/// Whether the range reaches past `count` positions; sums that overflow do.
constexpr bool isBeyond(NSRange range, NSUInteger count) {
  return range.location > count || range.length > count - range.location;
}

/// Raises NSRangeException: "*** -[Class operation]: range {5, 3} extends beyond bounds [0 .. 2]".
[[noreturn]] void raiseRangeBeyondBounds(const NSObject& collection, const char* operation,
                                         NSRange range, NSUInteger count);

/// Raises NSRangeException: "*** -[Class operation]: index 7 beyond bounds [0 .. 2]", or "… for
/// empty array".
[[noreturn]] void raiseIndexBeyondBounds(const NSObject& collection, const char* operation,
                                         NSUInteger index, NSUInteger count, const char* kind);

/// Raises NSInvalidArgumentException: "*** -[Class operation]: object cannot be nil".
[[noreturn]] void raiseNullObject(const NSObject& collection, const char* operation,
                                  const char* what = "object");

/// Fails: raises NSInvalidArgumentException for a null among the values:
/// "*** -[Class initWithObjects:count:]: attempt to insert nil object from objects[1]".
void requireValues(const std::vector<Value>& values, const char* className);

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

/// Stands in every operation of a collection that goes on to its members' keys.
/// Fails: raises NSGenericException where collections are nested too deeply for the native stack.
struct KeyNesting {
  KeyNesting();
  ~KeyNesting();
};

/// The positions of the values in the comparator's order; values that it calls the same keep
/// theirs. The comparator may contradict itself or throw: the result is then some order, or there
/// is none.
std::vector<std::size_t> stableOrder(
    const std::vector<Value>& values,
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator);
/// The values themselves in that order.
std::vector<Value> stablySorted(
    std::vector<Value> values,
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator);

/// Aborts with a message that names the operation ("NSArray enumerateObjectsUsingBlock:") where a
/// block that must be there is null.
void requireBlock(bool isThere, const char* operation);

/// Adds a value of which no equal one is in the table. Returns: whether it was added.
template <class Entry>
bool addToTable(OrderedHashTable<Entry>& table, Value object) {
  Entry entry{std::move(object), 0};
  entry.hash = entry.key.hash();
  if (table.find(entry.key, entry.hash) != OrderedHashTable<Entry>::npos) return false;
  table.append(std::move(entry));
  return true;
}

/// A copy, which keeps the value alive while code of an application runs that may change what the
/// value stands in.
inline Value held(const Value& value) { return value; }

/// Keeps a collection alive while blocks run that may drop the last other reference to it.
template <class Collection>
Ref<Collection> held(const Collection* collection) {
  return Ref<Collection>(const_cast<Collection*>(collection));
}

}  // namespace JNFoundation::impl
