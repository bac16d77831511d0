#pragma once

#include <cstdint>

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSString.h>

/// Reading decoded records, whose values may be of any kind: one key at a time, as a required kind.
///
/// A key is absent when it is missing or holds the null marker. A null dictionary has no keys. A
/// key may be any value; it is looked up as it stands, without paths. Threads: any, for
/// dictionaries that nobody changes meanwhile.
namespace JNFoundation::inline v0_1 {

// ---- Scalars: never fail ----------------------------------------------------------------------

/// The number's integer value; 0 if absent or of any other kind (the text "42" is 0).
NSInteger jn_integerForKey(const Ref<NSDictionary>& dictionary, const Value& key);
/// As `jn_integerForKey`, unsigned.
std::uint64_t jn_unsignedLongLongForKey(const Ref<NSDictionary>& dictionary, const Value& key);
/// True for the text "1", for "true" in any case, and for a number other than 0; false for
/// everything else. Writes the log line "BoolForKey value" at every call.
bool jn_boolForKey(const Ref<NSDictionary>& dictionary, const Value& key);

// ---- Strict: the value itself, null if absent -------------------------------------------------
// Fail: raise an exception named "Parse exception", e.g. "number needed for key:count", for a value
// of another kind. Whoever reads data from outside must be ready for that.

// The value itself; null if absent. Fail: raise "Parse exception" for a value of another kind.
Value jn_numberForKey(const Ref<NSDictionary>& dictionary, const Value& key);
Ref<NSString> jn_stringForKey(const Ref<NSDictionary>& dictionary, const Value& key);
Ref<NSArray> jn_arrayForKey(const Ref<NSDictionary>& dictionary, const Value& key);
Ref<NSDictionary> jn_dictionaryForKey(const Ref<NSDictionary>& dictionary, const Value& key);

// ---- Lenient: the value itself, null if absent or of another kind -----------------------------

// The value itself; null if absent or of another kind.
Value jn_numberForKeyOptionalType(const Ref<NSDictionary>& dictionary, const Value& key);
Ref<NSString> jn_stringForKeyOptionalType(const Ref<NSDictionary>& dictionary, const Value& key);
Ref<NSArray> jn_arrayForKeyOptionalType(const Ref<NSDictionary>& dictionary, const Value& key);
Ref<NSDictionary> jn_dictionaryForKeyOptionalType(const Ref<NSDictionary>& dictionary,
                                                  const Value& key);

// ---- Converting -------------------------------------------------------------------------------

/// A number as it is; text as a double of its numeric prefix (0.0 without one), empty text as null.
/// Fails: raises as `jn_numberForKey` does for any other kind.
Value jn_numberForKeyWithConversions(const Ref<NSDictionary>& dictionary, const Value& key);
/// The date that the text stands for, see `parseRFC3339DateTimeString`. Returns: null if absent,
/// empty or of another form. Fails: raises as `jn_stringForKey` does.
Value jn_dateForKey(const Ref<NSDictionary>& dictionary, const Value& key);
/// The value of the first key, in the order of `allKeys`, that equals the text in any case; keys
/// that are no text are passed over. An exact match has no precedence. Returns: null if there is
/// none.
Value jn_valueForCaseInsensitiveKey(const Ref<NSDictionary>& dictionary, const Ref<NSString>& key);

// ---- Text forms -------------------------------------------------------------------------------

/// The parts of a URL query string: decoded keys to decoded values, of equal keys the last one. A
/// part without "=" has the empty text as its value; one that cannot be decoded (a broken escape,
/// or one that is not ASCII) is left out; "+" stays as it is. Returns: null for null.
Ref<NSMutableDictionary> dictionaryFromURLQueryString(const Ref<NSString>& query);

/// Reads exactly the form "2016-03-01T12:30:00.250Z". Returns: the date, or null for any other
/// text.
Value parseRFC3339DateTimeString(const Ref<NSString>& text);

}  // namespace JNFoundation
