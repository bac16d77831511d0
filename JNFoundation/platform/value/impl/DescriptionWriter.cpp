#include "JNFoundation/platform/value/impl/DescriptionWriter.h"

#include <algorithm>
#include <vector>

#include <JNFoundation/platform/text/OldStyleText.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

bool isContainer(const Value& value) {
  return isKindOf<NSArray>(value) || isKindOf<NSDictionary>(value) || isKindOf<NSSet>(value) ||
         isKindOf<NSOrderedSet>(value);
}

std::vector<Value> valuesOf(const Value& container) {
  std::vector<Value> values;
  if (const auto* array = as<NSArray>(container)) {
    for (const Value& value : *array) values.push_back(value);
  } else if (const auto* set = as<NSSet>(container)) {
    for (const Value& value : *set) values.push_back(value);
  } else if (const auto* orderedSet = as<NSOrderedSet>(container)) {
    for (const Value& value : *orderedSet) values.push_back(value);
  }
  return values;
}

/// In the order of the keys where all of them are strings.
std::vector<NSDictionary::Pair> pairsOf(const NSDictionary& dictionary) {
  std::vector<NSDictionary::Pair> pairs;
  bool areStrings = true;
  for (const auto& pair : dictionary) {
    areStrings = areStrings && pair.key.isString();
    pairs.push_back(pair);
  }
  if (areStrings) {
    std::stable_sort(pairs.begin(), pairs.end(), [](const auto& left, const auto& right) {
      return as<NSString>(left.key)->utf8() < as<NSString>(right.key)->utf8();
    });
  }
  return pairs;
}

}  // namespace

Ref<NSString> DescriptionWriter::describe(const NSObject& container) {
  DescriptionWriter writer;
  writer.writeContainer(Value(const_cast<NSObject*>(&container)), 0);
  return NSString::fromText(writer._text);
}

void DescriptionWriter::indent(int level) {
  _text.append(static_cast<std::size_t>(level) * 4, ' ');
}

void DescriptionWriter::write(const Value& value, int level) {
  if (isContainer(value)) {
    if (level >= nestingLimit) {
      _text += "...";
    } else {
      writeContainer(value, level);
    }
  } else if (const auto* string = as<NSString>(value)) {
    _text += quotedForPropertyList(string->utf8());
  } else {
    _text += value.description()->utf8();
  }
}

void DescriptionWriter::writeContainer(const Value& value, int level) {
  if (const auto* dictionary = as<NSDictionary>(value)) {
    _text += "{\n";
    for (const auto& [key, object] : pairsOf(*dictionary)) {
      indent(level + 1);
      write(key, level + 1);
      _text += " = ";
      write(object, level + 1);
      _text += ";\n";
    }
    indent(level);
    _text += '}';
    return;
  }
  const bool isArray = isKindOf<NSArray>(value);
  _text += isArray ? "(\n" : "{(\n";
  bool isFirst = true;
  for (const Value& object : valuesOf(value)) {
    if (!isFirst) _text += ",\n";
    isFirst = false;
    indent(level + 1);
    write(object, level + 1);
  }
  if (!isFirst) _text += '\n';
  indent(level);
  _text += isArray ? ")" : ")}";
}

}  // namespace JNFoundation
