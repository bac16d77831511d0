#include "JNFoundation/platform/store/impl/Metadata.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

constexpr int deepest = 100;

Value tagged(const char* tag, const Value& value) {
  return NSDictionary::dictionaryWithObjectForKey(value, tag);
}

/// The value as JSON takes it; null if there is no such form.
Value jsonForm(const Value& value, int depth) {
  if (depth > deepest) return nullptr;
  if (value.isString() || value.isNSNull()) return value;
  if (value.isDate()) return tagged("$date", value.timeIntervalSince1970());
  if (value.isNumber()) {
    if (!isKindOf<NSDecimalNumber>(value)) return value;
    return tagged("$decimal", value.stringValue());
  }
  if (const auto* data = as<NSData>(value)) return tagged("$data", data->base64EncodedString());
  if (const auto* array = as<NSArray>(value)) {
    std::vector<Value> members;
    for (const Value& member : *array) {
      if (members.emplace_back(jsonForm(member, depth + 1)).isNull()) return nullptr;
    }
    return NSArray::arrayWithValues(std::move(members));
  }
  if (const auto* dictionary = as<NSDictionary>(value)) {
    std::vector<NSDictionary::Pair> entries;
    for (const auto& entry : *dictionary) {
      if (!entry.key.isString()) return nullptr;
      // A key that begins like a tag gets a sign more, so that it is not taken for one.
      const std::string_view key = as<NSString>(entry.key)->utf8();
      NSDictionary::Pair pair{key.substr(0, 1) == "$" ? Value("$" + std::string(key)) : entry.key,
                              jsonForm(entry.value, depth + 1)};
      if (pair.value.isNull()) return nullptr;
      entries.push_back(std::move(pair));
    }
    return NSDictionary::dictionaryWithEntries(std::move(entries));
  }
  return nullptr;
}

Value untagged(std::string_view tag, const Value& value) {
  if (tag == "$date" && value.isNumber()) {
    return Value::dateWithTimeIntervalSince1970(value.doubleValue());
  }
  if (!value.isString()) return nullptr;
  const Ref<NSString> text = value.stringValue();
  if (tag == "$decimal") return NSDecimalNumber::decimalNumberWithString(text);
  if (tag == "$data") return NSData::initWithBase64EncodedStringOptions(text);
  return nullptr;
}

/// The value that was given that form; null if it is none of ours.
Value plainForm(const Value& value, int depth) {
  if (depth > deepest) return nullptr;
  if (const auto* array = as<NSArray>(value)) {
    std::vector<Value> members;
    for (const Value& member : *array) {
      if (members.emplace_back(plainForm(member, depth + 1)).isNull()) return nullptr;
    }
    return NSArray::arrayWithValues(std::move(members));
  }
  const auto* dictionary = as<NSDictionary>(value);
  if (!dictionary) return value;
  std::vector<NSDictionary::Pair> entries;
  for (const auto& entry : *dictionary) {
    const std::string_view key = as<NSString>(entry.key)->utf8();
    const bool isEscaped = key.substr(0, 2) == "$$";
    if (key.substr(0, 1) == "$" && !isEscaped) return untagged(key, entry.value);
    NSDictionary::Pair pair{isEscaped ? Value(key.substr(1)) : entry.key,
                            plainForm(entry.value, depth + 1)};
    if (pair.value.isNull()) return nullptr;
    entries.push_back(std::move(pair));
  }
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

}  // namespace

bool metadataText(const Value& value, std::string& text) {
  const Value form = jsonForm(value, 0);
  if (form.isNull()) return false;
  const Ref<NSString> written =
      NSJSONSerialization::stringWithJSONObjectOptionsError(form, NSJSONWritingCompact, nullptr);
  if (!written) return false;
  text = written->toStdString();
  return true;
}

Value metadataValue(std::string_view text) {
  return plainForm(
      NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, nullptr), 0);
}

Ref<NSDictionary> ownMetadata(const Ref<NSDictionary>& metadata, std::string& problem) {
  std::vector<NSDictionary::Pair> entries;
  if (!metadata) return NSDictionary::dictionary();
  for (const auto& entry : *metadata) {
    std::string text;
    if (!entry.key.isString()) {
      problem = "the name of an entry is a text, not " + entry.key.description()->toStdString();
      return nullptr;
    }
    const std::string_view key = as<NSString>(entry.key)->utf8();
    if (key == NSStoreTypeKey || key == NSStoreUUIDKey || key == NSStoreModelVersionHashesKey) {
      continue;
    }
    if (!metadataText(entry.value, text)) {
      problem = "the value of '" + std::string(key) +
                "' is no plain value: " + entry.value.description()->toStdString();
      return nullptr;
    }
    // As it comes back, so that nobody changes it from outside.
    entries.push_back({entry.key, metadataValue(text)});
  }
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

}  // namespace JNFoundation::impl
