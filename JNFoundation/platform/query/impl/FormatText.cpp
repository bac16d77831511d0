#include "JNFoundation/platform/query/impl/FormatText.h"

#include <cmath>

#include <JNFoundation/platform/query/impl/Keywords.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNumber.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Constants that hold constants may nest as deep as anyone likes; their text stops here.
constexpr int maximumListDepth = 100;

/// Infinity has no name in formats; a literal past all doubles is read as it. Without a point a
/// negative zero would be read as the integer, which has no sign.
std::string textFromNumber(double number) {
  if (number == 0 && std::signbit(number)) return "-0.0";
  if (!std::isinf(number)) return textFromDouble(number);
  return number > 0 ? "1e999" : "-1e999";
}

/// Whether the digits, read as a double, are the same number to every comparison.
bool isWrittenPlainly(const NSDecimalNumber& decimal) {
  return !decimal.isNotANumber() && decimal.isEqual(decimal.doubleValue());
}

void appendAtDepth(std::string& text, const Value& value, int depth) {
  if (value.isNull() || (value.isNSNull() && depth > 0)) {
    text += "nil";
  } else if (value.kind() == Value::Kind::Double || value.kind() == Value::Kind::Float) {
    text += textFromNumber(value.doubleValue());
  } else if (const auto* decimal = as<NSDecimalNumber>(value);
             decimal && !isWrittenPlainly(*decimal)) {
    appendDecimal(text, *decimal);
  } else if (value.isString()) {
    appendQuoted(text, as<NSString>(value)->utf8());
  } else if (value.isDate()) {
    text += "CAST(";
    text += textFromDouble(value.timeIntervalSince1970() -
                           NSDate::timeIntervalBetween1970AndReferenceDate);
    text += ", \"NSDate\")";
  } else if (isCollection(value) && depth < maximumListDepth) {
    text += '{';
    std::string_view separator;
    forEachMember(value, [&](const Value& member) {
      text += separator;
      separator = ", ";
      appendAtDepth(text, member, depth + 1);
      return true;
    });
    text += '}';
  } else {
    text += value.description()->utf8();
  }
}

}  // namespace

void appendDecimal(std::string& text, const NSDecimalNumber& decimal) {
  text += "CAST(\"";
  text += decimal.stringValue()->utf8();
  text += "\", \"NSDecimalNumber\")";
}

void appendQuoted(std::string& text, std::string_view content) {
  static constexpr char digits[] = "0123456789abcdef";
  text += '"';
  for (const char c : content) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      text += '\\';
      text += c;
    } else if (c == '\n') {
      text += "\\n";
    } else if (c == '\t') {
      text += "\\t";
    } else if (c == '\r') {
      text += "\\r";
    } else if (byte < 0x20 || byte == 0x7F) {
      text += "\\x";
      text += digits[byte >> 4];
      text += digits[byte & 15];
    } else {
      text += c;
    }
  }
  text += '"';
}

void appendKeyPath(std::string& text, const KeyPath& path) {
  std::string_view separator;
  for (const KeyPath::Step& step : path.steps()) {
    text += separator;
    separator = ".";
    const std::string_view key = step.key->utf8();
    if (isReservedWord(key)) text += '#';
    text += key;
  }
}

void appendConstant(std::string& text, const Value& value) { appendAtDepth(text, value, 0); }

}  // namespace JNFoundation::impl
