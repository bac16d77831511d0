#include "JNFoundation/mapping/ReadyMadeFilters.h"

#include <charconv>
#include <cmath>
#include <cstdint>

#include <JNFoundation/mapping/DatePattern.h>
#include <JNFoundation/mapping/impl/DecimalText.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/text/WhiteSpace.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/util/PLVTargetAction.h>

namespace JNFoundation::inline v0_1 {

/// What answers the message of a block's action.
class FilterBlockTarget : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  Value apply(const Value& value) const { return _block(value); }

 protected:
  explicit FilterBlockTarget(const FilterBlock& block) : _block(block) {}

 private:
  FilterBlock _block;
};

constinit const Class FilterBlockTarget::classObject =
    Class::of<FilterBlockTarget>("FilterBlockTarget");

namespace {

const ClassDeclaration<FilterBlockTarget> declarationOfFilterBlockTarget =
    ClassDeclaration<FilterBlockTarget>().operation("applyFilterBlock:", &FilterBlockTarget::apply);

/// An action that keeps its target: nobody else has it.
class KeptAction : public PLVTargetAction {
 protected:
  KeptAction(const Ref<FilterBlockTarget>& target, SEL action)
      : PLVTargetAction(Value(target), action), _kept(target) {}

 private:
  Ref<FilterBlockTarget> _kept;
};

/// The whole number, as an integer where 64 bits hold it. Requires: a decimal number.
Value wholeNumber(std::string_view digits) {
  if (digits.front() == '+') digits.remove_prefix(1);
  const char* end = digits.data() + digits.size();
  std::int64_t number;
  if (std::from_chars(digits.data(), end, number).ec == std::errc()) return number;
  std::uint64_t large;
  if (std::from_chars(digits.data(), end, large).ec == std::errc()) return large;
  return nullptr;
}

/// Null for text that is no number.
Value numberIn(const NSString& text) {
  const std::string_view digits = withoutWhiteSpaceAround(text.utf8());
  if (!impl::isDecimalText(digits)) return nullptr;
  if (impl::isWholeNumberText(digits)) {
    Value number = wholeNumber(digits);
    if (!number.isNull()) return number;
  }
  const double number = doubleFromText(digits);
  return std::isfinite(number) ? Value(number) : Value();
}

}  // namespace

void setBlockForFilter(const Ref<PLVDataMapFilter>& filter, const FilterBlock& block,
                       const Ref<NSString>& name) {
  if (!block) fatalError("setBlockForFilter: the block is null");
  if (!filter || !filter->filterActions()) return;
  const auto target = makeObject<FilterBlockTarget>(block);
  filter->filterActions()->setObjectForKey(makeObject<KeptAction>(target, "applyFilterBlock:"),
                                           name);
}

void registerReadyMadeFilters(const Ref<PLVDataMapFilter>& filter) {
  setBlockForFilter(filter, trimmedText, "trim");
  setBlockForFilter(filter, lowercaseText, "lowercase");
  setBlockForFilter(filter, uppercaseText, "uppercase");
  setBlockForFilter(filter, nullIfEmpty, "emptyToNull");
  setBlockForFilter(filter, numberOfText, "number");
  setBlockForFilter(filter, textOfURL, "url");
  setBlockForFilter(filter, dateOfSeconds, "seconds");
  setBlockForFilter(filter, dateFilter("yyyy-MM-dd"), "day");
}

Value trimmedText(const Value& value) {
  const NSString* text = as<NSString>(value);
  return text ? Value(text->stringByTrimmingWhitespace()) : value;
}

Value lowercaseText(const Value& value) {
  const NSString* text = as<NSString>(value);
  return text ? Value(text->lowercaseString()) : value;
}

Value uppercaseText(const Value& value) {
  const NSString* text = as<NSString>(value);
  return text ? Value(text->uppercaseString()) : value;
}

Value nullIfEmpty(const Value& value) {
  const NSString* text = as<NSString>(value);
  const NSArray* array = as<NSArray>(value);
  const NSDictionary* dictionary = as<NSDictionary>(value);
  const bool isEmpty = (text && text->length() == 0) || (array && array->count() == 0) ||
                       (dictionary && dictionary->count() == 0);
  return isEmpty ? Value() : value;
}

Value numberOfText(const Value& value) {
  const NSString* text = as<NSString>(value);
  return text ? numberIn(*text) : value;
}

Value textOfURL(const Value& value) {
  if (const NSURL* address = as<NSURL>(value)) return address->absoluteString();
  if (!value.isString()) return value;
  const Ref<NSString> text = as<NSString>(value)->stringByTrimmingWhitespace();
  const Ref<NSURL> address = NSURL::URLWithString(text);
  return address && address->scheme() ? Value(text) : Value();
}

Value dateOfSeconds(const Value& value) {
  const Value seconds = numberOfText(value);
  return seconds.isNumber() ? NSDate::dateWithTimeIntervalSince1970(seconds.doubleValue())
                            : seconds;
}

FilterBlock dateFilter(std::string_view pattern) {
  return [form = DatePattern(pattern)](const Value& value) -> Value {
    const NSString* text = as<NSString>(value);
    if (!text) return value;
    const auto seconds = form.secondsSince1970(withoutWhiteSpaceAround(text->utf8()));
    return seconds ? NSDate::dateWithTimeIntervalSince1970(*seconds) : Value();
  };
}

}  // namespace JNFoundation
