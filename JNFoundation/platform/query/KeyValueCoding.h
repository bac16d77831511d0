#pragma once

#include <JNFoundation/platform/query/KeyPath.h>

namespace JNFoundation::inline v0_1 {

class NSArray;
class NSDictionary;

/// Reading and writing properties by name, of any value.
///
/// Objects answer through their own `valueForKey`; numbers, booleans and dates, which are no
/// objects, through the operations that their class declares, searched as getKey, key, isKey, _key.
/// An object without these that declares countOfKey and objectInKeyAtIndex: or keyAtIndexes:
/// answers with an array that reads through them, and one that declares countOfKey, memberOfKey:
/// and enumeratorOfKey, which gives the members as an array or a set, with a set. Null answers
/// every key with null and takes every value without effect. Fail: an unknown key raises
/// NSUndefinedKeyException, "[<Class 0xaddress> valueForUndefinedKey:]: this class is not key value
/// coding-compliant for the key KEY."; a null key raises NSInvalidArgumentException. Threads: as
/// the object read.

/// Of a collection the key is read of every member, however deeply collections are nested.
Value valueForKey(const Value& object, const Ref<NSString>& key);

/// See KeyPath for what a path can do. Each thread remembers the paths it read last, so that
/// reading one again does not parse it again.
Value valueForKeyPath(const Value& object, const Ref<NSString>& path);

/// Of a collection the key is written of every member.
void setValueForKey(const Value& object, const Value& value, const Ref<NSString>& key);
/// See KeyPath for what a path can do.
void setValueForKeyPath(const Value& object, const Value& value, const Ref<NSString>& path);

/// The values for the keys, the null marker in place of null.
Ref<NSDictionary> dictionaryWithValuesForKeys(const Value& object, const Ref<NSArray>& keys);

/// Writes every entry, in the dictionary's order; the null marker is written as null.
void setValuesForKeysWithDictionary(const Value& object, const Ref<NSDictionary>& values);

}  // namespace JNFoundation
