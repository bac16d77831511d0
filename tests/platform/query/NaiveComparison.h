#pragma once

#include <cmath>
#include <limits>
#include <optional>
#include <platform/query/NaiveText.h>
#include <vector>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

/// What two values are to each other, for the naive evaluator.
namespace JNFoundation::testing::naive {

/// What the library refuses by raising an exception.
struct Refusal {};

using Values = std::vector<Value>;

enum class Sort { Null, Number, Text, Date, Array, Set, OrderedSet, Dictionary, Other };

struct Folding {
  bool anyCase = false;
  bool anyMarks = false;
  Text operator()(const Text& text) const { return folded(text, anyCase, anyMarks); }
};

bool areEqual(const Value& left, const Value& right, Folding folding);

inline Sort sortOf(const Value& value) {
  if (value.isNull() || value.isNSNull()) return Sort::Null;
  if (value.isNumber()) return Sort::Number;
  if (value.isString()) return Sort::Text;
  if (value.isDate()) return Sort::Date;
  if (isKindOf<NSArray>(value)) return Sort::Array;
  if (isKindOf<NSSet>(value)) return Sort::Set;
  if (isKindOf<NSOrderedSet>(value)) return Sort::OrderedSet;
  return isKindOf<NSDictionary>(value) ? Sort::Dictionary : Sort::Other;
}
inline bool isNothing(const Value& value) { return sortOf(value) == Sort::Null; }
inline bool isCollection(const Value& value) {
  const Sort sort = sortOf(value);
  return sort == Sort::Array || sort == Sort::Set || sort == Sort::OrderedSet;
}

inline Values membersOf(const Value& collection) {
  Values members;
  const auto add = [&](const auto& all) {
    for (const Value& member : all) members.push_back(member);
  };
  if (const auto* array = as<NSArray>(collection)) add(*array);
  if (const auto* set = as<NSSet>(collection)) add(*set);
  if (const auto* ordered = as<NSOrderedSet>(collection)) add(*ordered);
  if (const auto* dictionary = as<NSDictionary>(collection)) add(dictionary->allValues());
  return members;
}

inline bool contains(const Values& values, const Value& wanted) {
  return std::any_of(values.begin(), values.end(),
                     [&](const Value& value) { return areEqual(value, wanted, {}); });
}
inline Values distinct(const Values& values) {
  Values once;
  for (const Value& value : values) {
    if (!contains(once, value)) once.push_back(value);
  }
  return once;
}
inline Value arrayOf(Values values) {
  for (Value& value : values) value = orNSNull(value);
  return NSArray::arrayWithValues(std::move(values));
}
/// A set leaves out null, and what is in it already.
inline Value collectionOf(Sort sort, Values values) {
  if (sort == Sort::Array) return arrayOf(std::move(values));
  std::erase_if(values, [](const Value& value) { return value.isNull(); });
  if (sort == Sort::Set) return NSSet::setWithValues(distinct(values));
  return NSOrderedSet::orderedSetWithValues(distinct(values));
}

inline bool isInteger(const Value& value) {
  return value.kind() == Value::Kind::Integer || value.kind() == Value::Kind::Boolean;
}

/// Holds every 64-bit integer and every double exactly.
inline long double numberOf(const Value& value) {
  static_assert(std::numeric_limits<long double>::digits >= 64);
  if (isKindOf<NSDecimalNumber>(value) || std::isnan(value.doubleValue())) throw Unknown();
  if (value.kind() == Value::Kind::Unsigned) return value.unsignedLongLongValue();
  return isInteger(value) ? static_cast<long double>(value.longLongValue()) : value.doubleValue();
}
inline Text textOf(const Value& value) { return codePoints(as<NSString>(value)->utf8()); }

inline Folding foldingOf(NSComparisonPredicateOptions options) {
  if (options & NSNormalizedPredicateOption) return {};
  return {(options & NSCaseInsensitivePredicateOption) != 0,
          (options & NSDiacriticInsensitivePredicateOption) != 0};
}

inline bool areEqual(const Value& left, const Value& right, Folding folding) {
  const Sort sort = sortOf(left);
  if (sort != sortOf(right)) return false;
  switch (sort) {
    case Sort::Null:
      return true;
    case Sort::Number:
      return numberOf(left) == numberOf(right);
    case Sort::Text:
      return folding(textOf(left)) == folding(textOf(right));
    case Sort::Date:
      return left.timeIntervalSince1970() == right.timeIntervalSince1970();
    case Sort::Array:
    case Sort::OrderedSet: {
      const Values one = membersOf(left), other = membersOf(right);
      return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                        [](const Value& l, const Value& r) { return areEqual(l, r, {}); });
    }
    case Sort::Set: {
      const Values one = membersOf(left), other = membersOf(right);
      return one.size() == other.size() &&
             std::all_of(one.begin(), one.end(),
                         [&](const Value& member) { return contains(other, member); });
    }
    case Sort::Dictionary: {
      const auto* one = as<NSDictionary>(left);
      const auto* other = as<NSDictionary>(right);
      if (one->count() != other->count()) return false;
      for (const auto& [key, value] : *one) {
        const Value* found = other->find(key);
        if (!found || !areEqual(value, *found, {})) return false;
      }
      return true;
    }
    case Sort::Other:
      return left.object() == right.object();
  }
  return false;
}

/// Below 0, 0 or above it; nothing where there is no order.
inline std::optional<int> order(const Value& left, const Value& right, Folding folding) {
  if (isNothing(left) || isNothing(right)) return std::nullopt;
  const Sort sort = sortOf(left);
  if (sort == Sort::Other) throw Unknown();
  if (sort > Sort::Date) throw Refusal();
  if (sort != sortOf(right)) return std::nullopt;
  const auto compare = [](const auto& l, const auto& r) { return l < r ? -1 : l > r; };
  if (sort == Sort::Number) return compare(numberOf(left), numberOf(right));
  if (sort == Sort::Text) return compare(folding(textOf(left)), folding(textOf(right)));
  return compare(left.timeIntervalSince1970(), right.timeIntervalSince1970());
}
/// As a sort needs it: values without a common order are refused.
inline int orderOrRefusal(const Value& left, const Value& right) {
  const std::optional<int> known = order(left, right, {});
  if (!known) throw Refusal();
  return *known;
}

inline bool isMember(const Value& element, const Value& container, Folding folding) {
  if (isNothing(container)) return false;
  if (sortOf(container) == Sort::Text) {
    if (isNothing(element)) return false;
    if (sortOf(element) != Sort::Text) throw Refusal();
    return folding(textOf(container)).find(folding(textOf(element))) != Text::npos;
  }
  if (!isCollection(container) && sortOf(container) != Sort::Dictionary) throw Refusal();
  const Values members = membersOf(container);
  return std::any_of(members.begin(), members.end(),
                     [&](const Value& member) { return areEqual(member, element, folding); });
}

inline bool compareTexts(NSPredicateOperatorType type, const Value& left, const Value& right,
                         Folding folding) {
  if (isNothing(left) || isNothing(right)) return false;
  if (sortOf(left) != Sort::Text || sortOf(right) != Sort::Text) throw Refusal();
  const bool isPattern =
      type == NSLikePredicateOperatorType || type == NSMatchesPredicateOperatorType;
  for (const Text& text : {textOf(left), textOf(right)}) {
    // How wildcards and expressions take a letter of several parts is a chapter of its own.
    const bool hasParts = (folding.anyCase && text.find(sharpS) != Text::npos) ||
                          (type == NSMatchesPredicateOperatorType && folding.anyCase &&
                           std::any_of(text.begin(), text.end(), isMark));
    if (isPattern && hasParts) throw Unknown();
  }
  const Text text = folding(textOf(left)), part = folding(textOf(right));
  switch (type) {
    case NSBeginsWithPredicateOperatorType:
      return text.substr(0, part.size()) == part;
    case NSEndsWithPredicateOperatorType:
      return text.size() >= part.size() && text.substr(text.size() - part.size()) == part;
    case NSLikePredicateOperatorType:
      return isLike(text, part);
    default:
      return matches(text, part);
  }
}

inline bool compare(NSPredicateOperatorType type, const Value& left, const Value& right,
                    Folding folding) {
  switch (type) {
    case NSEqualToPredicateOperatorType:
      return areEqual(left, right, folding);
    case NSNotEqualToPredicateOperatorType:
      return !areEqual(left, right, folding);
    case NSLessThanPredicateOperatorType:
      return order(left, right, folding).value_or(1) < 0;
    case NSLessThanOrEqualToPredicateOperatorType:
      return order(left, right, folding).value_or(1) <= 0;
    case NSGreaterThanPredicateOperatorType:
      return order(left, right, folding).value_or(-1) > 0;
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return order(left, right, folding).value_or(-1) >= 0;
    case NSInPredicateOperatorType:
      return isMember(left, right, folding);
    case NSContainsPredicateOperatorType:
      return isMember(right, left, folding);
    case NSBetweenPredicateOperatorType: {
      if (isNothing(right)) return false;
      const Values bounds = membersOf(right);
      if (sortOf(right) != Sort::Array || bounds.size() != 2) throw Refusal();
      return order(left, bounds[0], folding).value_or(-1) >= 0 &&
             order(left, bounds[1], folding).value_or(1) <= 0;
    }
    case NSCustomSelectorPredicateOperatorType:
      throw Unknown();
    default:
      return compareTexts(type, left, right, folding);
  }
}

}  // namespace JNFoundation::testing::naive
