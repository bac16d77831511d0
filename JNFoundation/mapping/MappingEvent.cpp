#include "JNFoundation/mapping/MappingEvent.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include <JNFoundation/mapping/impl/DecimalText.h>
#include <JNFoundation/mapping/impl/MappingReport.h>
#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/NumberText.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// The sign and digits of a whole number without a plus sign and without zeros in front.
std::string wholeNumberText(std::string_view text) {
  const bool isNegative = text.front() == '-';
  text.remove_prefix(std::min(text.find_first_of("123456789"), text.size()));
  if (text.empty()) return "0";
  return (isNegative ? "-" : "") + std::string(text);
}

/// Whether the whole text is one of those that say yes or no.
bool isTruthText(std::string_view text) {
  for (const char* word : {"1", "0", "true", "false", "yes", "no", "t", "f", "y", "n"}) {
    if (compareFolded(text, word, Fold::Case) == 0) return true;
  }
  return false;
}

bool losesText(const NSString& text, const Value& number, NSUInteger attributeType) {
  const Ref<NSString> trimmed = text.stringByTrimmingWhitespace();
  const std::string_view digits = trimmed->utf8();
  if (attributeType == NSBooleanAttributeType) return !isTruthText(digits);
  if (!impl::isDecimalText(digits)) return true;
  if (impl::isWholeNumberText(digits)) {
    // A double does not hold all integers, and a clamped one reads back as something else.
    return wholeNumberText(digits) != number.stringValue()->utf8();
  }
  return doubleFromText(digits) != number.doubleValue();
}

bool fits(const Value& number, std::int64_t least, std::int64_t greatest) {
  return number.compare(Value(least)) != NSOrderedAscending &&
         number.compare(Value(greatest)) != NSOrderedDescending &&
         Value(number.longLongValue()).isEqual(number);
}

template <class Integer>
bool fitsInteger(const Value& number) {
  return fits(number, std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max());
}

bool losesNumber(const Value& number, NSUInteger attributeType) {
  switch (attributeType) {
    case NSInteger16AttributeType:
      return !fitsInteger<std::int16_t>(number);
    case NSInteger32AttributeType:
      return !fitsInteger<std::int32_t>(number);
    case NSInteger64AttributeType:
      return !fitsInteger<std::int64_t>(number);
    case NSBooleanAttributeType:
      return !fits(number, 0, 1);
    case NSFloatAttributeType:
      return std::isfinite(number.doubleValue()) && !std::isfinite(number.floatValue());
    default:
      return false;
  }
}

const char* nameOf(MappingEvent::Kind kind) {
  switch (kind) {
    case MappingEvent::Kind::Stored:
      return "stored";
    case MappingEvent::Kind::Cleared:
      return "cleared";
    case MappingEvent::Kind::Sent:
      return "sent";
    case MappingEvent::Kind::Refused:
      return "refused";
    case MappingEvent::Kind::Ignored:
      return "ignored";
  }
  return "";
}

}  // namespace

Ref<NSArray> MappingEvent::path() const { return _path ? _path->keys() : NSArray::array(); }

Ref<NSString> MappingEvent::pathText() const { return path()->componentsJoinedByString("."); }

bool MappingEvent::isLossy() const {
  if (_kind != Kind::Stored) return false;
  const NSString* text = as<NSString>(_filteredValue);
  if (_conversion == Conversion::NumberFromText && losesText(*text, _storedValue, _attributeType)) {
    return true;
  }
  return _storedValue.isNumber() && losesNumber(_storedValue, _attributeType);
}

Ref<NSString> MappingEvent::reasonText() const {
  switch (_reason) {
    case Reason::None:
      return nullptr;
    case Reason::NullValue:
      return "the value is null";
    case Reason::NoFilter:
      return NSString::stringWithFormat(
          "the rule names the filter action %@ and there is no filter", _filterName);
    case Reason::UnknownFilter:
      return NSString::stringWithFormat("the filter has no action %@", _filterName);
    case Reason::FilteredToNull:
      return NSString::stringWithFormat("the filter action %@ made it null", _filterName);
    case Reason::NotADate:
      return "the text is no date of the form 2016-03-01T12:30:00.250Z";
    case Reason::WrongKind:
    case Reason::UnsupportedType:
    case Reason::Raised:
      return _refusal;
    case Reason::NoRule:
      return "no rule has its key";
    case Reason::NotADictionary:
      return "the rules under its key are for a dictionary";
  }
  return nullptr;
}

Ref<NSString> MappingEvent::text() const {
  const Ref<NSString> place = pathText();
  Ref<NSString> line = nameOf(_kind);
  if (place->length() > 0) line = NSString::stringWithFormat("%@ %@", line, place);
  if (_destination) {
    line = NSString::stringWithFormat("%@ %s %@.%@", line, _kind == Kind::Sent ? "to" : "in",
                                      _entityName, _destination);
  }
  if (_kind == Kind::Stored || (_kind == Kind::Sent && !_storedValue.isNull())) {
    return NSString::stringWithFormat("%@: %@", line, _storedValue);
  }
  return NSString::stringWithFormat("%@: %@", line, reasonText());
}

}  // namespace JNFoundation
