#include "JNFoundation/mapping/NSDictionary+Extensions.h"

#include <JNFoundation/mapping/NSString+Extensions.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/text/DateText.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSNumber.h>

namespace JNFoundation::inline v0_1 {
namespace {

constexpr const char* parseException = "Parse exception";

Value valueUnder(const Ref<NSDictionary>& dictionary, const Value& key) {
  return dictionary ? dictionary->objectForKey(key) : Value();
}

/// The value, the null marker (and whatever equals it) turned into null.
Value presentValue(const Ref<NSDictionary>& dictionary, const Value& key) {
  Value value = valueUnder(dictionary, key);
  return value.isEqual(Value(NSNull::null())) ? Value() : value;
}

template <class Kind>
Value strictValue(const Ref<NSDictionary>& dictionary, const Value& key, const char* reason) {
  Value value = presentValue(dictionary, key);
  if (!value.isNull() && !isKindOf<Kind>(value)) raise(parseException, reason, key);
  return value;
}

template <class Kind>
Value lenientValue(const Ref<NSDictionary>& dictionary, const Value& key) {
  Value value = valueUnder(dictionary, key);
  return isKindOf<Kind>(value) ? value : Value();
}

constexpr const char* numberNeeded = "number needed for key:%@";
constexpr const char* stringNeeded = "string needed for key:%@";
constexpr const char* arrayNeeded = "array needed for key:%@";
constexpr const char* dictionaryNeeded = "dictionary needed for key:%@";

}  // namespace

NSInteger jn_integerForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  return lenientValue<NSNumber>(dictionary, key).integerValue();
}

std::uint64_t jn_unsignedLongLongForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  return lenientValue<NSNumber>(dictionary, key).unsignedLongLongValue();
}

bool jn_boolForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  const Value value = presentValue(dictionary, key);
  NSLog("BoolForKey %@", value);
  if (const NSString* text = as<NSString>(value)) {
    return text->utf8() == "1" || compareFolded(text->utf8(), "true", Fold::Case) == 0;
  }
  return value.isNumber() && value.boolValue();
}

Value jn_numberForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  return strictValue<NSNumber>(dictionary, key, numberNeeded);
}

Ref<NSString> jn_stringForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  return as<NSString>(strictValue<NSString>(dictionary, key, stringNeeded));
}

Ref<NSArray> jn_arrayForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  return as<NSArray>(strictValue<NSArray>(dictionary, key, arrayNeeded));
}

Ref<NSDictionary> jn_dictionaryForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  return as<NSDictionary>(strictValue<NSDictionary>(dictionary, key, dictionaryNeeded));
}

Value jn_numberForKeyOptionalType(const Ref<NSDictionary>& dictionary, const Value& key) {
  return lenientValue<NSNumber>(dictionary, key);
}

Ref<NSString> jn_stringForKeyOptionalType(const Ref<NSDictionary>& dictionary, const Value& key) {
  return as<NSString>(lenientValue<NSString>(dictionary, key));
}

Ref<NSArray> jn_arrayForKeyOptionalType(const Ref<NSDictionary>& dictionary, const Value& key) {
  return as<NSArray>(lenientValue<NSArray>(dictionary, key));
}

Ref<NSDictionary> jn_dictionaryForKeyOptionalType(const Ref<NSDictionary>& dictionary,
                                                  const Value& key) {
  return as<NSDictionary>(lenientValue<NSDictionary>(dictionary, key));
}

Value jn_numberForKeyWithConversions(const Ref<NSDictionary>& dictionary, const Value& key) {
  Value value = presentValue(dictionary, key);
  if (value.isNull() || value.isNumber()) return value;
  const NSString* text = as<NSString>(value);
  if (!text) raise(parseException, numberNeeded, key);
  return text->length() == 0 ? Value() : Value(text->doubleValue());
}

Value jn_dateForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  const Ref<NSString> text = jn_stringForKey(dictionary, key);
  return text && text->length() > 0 ? parseRFC3339DateTimeString(text) : Value();
}

Value jn_valueForCaseInsensitiveKey(const Ref<NSDictionary>& dictionary, const Ref<NSString>& key) {
  if (!dictionary || !key) return nullptr;
  for (const auto& [candidate, value] : *dictionary) {
    const NSString* text = as<NSString>(candidate);
    if (text && compareFolded(key->utf8(), text->utf8(), Fold::Case) == 0) return value;
  }
  return nullptr;
}

Ref<NSMutableDictionary> dictionaryFromURLQueryString(const Ref<NSString>& query) {
  if (!query) return nullptr;
  Ref<NSMutableDictionary> result = NSMutableDictionary::dictionary();
  std::string_view rest = query->utf8();
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('&'), rest.size());
    const std::string_view piece = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (piece.empty()) continue;
    const std::size_t equals = piece.find('=');
    const Ref<NSString> key = jn_stringWithUrlDecoding(NSString::fromText(piece.substr(0, equals)));
    const Ref<NSString> value =
        equals == std::string_view::npos
            ? NSString::string()
            : jn_stringWithUrlDecoding(NSString::fromText(piece.substr(equals + 1)));
    if (key && value) result->setObjectForKey(value, key);
  }
  return result;
}

Value parseRFC3339DateTimeString(const Ref<NSString>& text) {
  if (!text) return nullptr;
  const auto seconds = secondsSince1970FromRFC3339(text->utf8());
  return seconds ? NSDate::dateWithTimeIntervalSince1970(*seconds) : Value();
}

}  // namespace JNFoundation
