#include "JNFoundation/platform/query/impl/Comparison.h"

#include <array>

#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// The kinds of values that never equal each other and have no order between them.
enum class Sort { Number, Text, Date, Other };

Sort sortOf(const Value& value) noexcept {
  if (value.isNumber()) return Sort::Number;
  if (value.isDate()) return Sort::Date;
  return value.isString() ? Sort::Text : Sort::Other;
}

std::string_view textOf(const Value& value) noexcept {
  return static_cast<const NSString*>(value.object())->utf8();
}

bool comparesTexts(NSPredicateOperatorType type) noexcept {
  return type != NSCustomSelectorPredicateOperatorType && type != NSBetweenPredicateOperatorType;
}

/// Patterns that come with the objects are compiled once for as long as they keep coming.
const TextComparison& rememberedPattern(NSPredicateOperatorType type,
                                        NSComparisonPredicateOptions options,
                                        const Value& pattern) {
  struct Entry {
    Value pattern;
    NSPredicateOperatorType type;
    NSComparisonPredicateOptions options;
    std::optional<TextComparison> comparison;
  };
  thread_local std::array<Entry, 16> entries;
  Entry& entry = entries[(pattern.hash() ^ type ^ (options << 3)) % entries.size()];
  if (!entry.comparison || entry.type != type || entry.options != options ||
      entry.pattern != pattern) {
    entry = {pattern, type, options, TextComparison(type, options, textOf(pattern))};
  }
  return *entry.comparison;
}

}  // namespace

Comparison::Comparison(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                       SEL selector, const Value* constantRight)
    : _type(type), _options(options), _fold(foldOf(options)), _selector(selector) {
  if (!constantRight) return;
  _right = *constantRight;
  if (constantRight->isString() && comparesTexts(type)) {
    _text.emplace(type, options, textOf(*constantRight));
  }
  std::vector<Value> members;
  if (type == NSInPredicateOperatorType && appendMembers(*constantRight, members)) {
    for (Value& member : members) {
      if (_fold != Fold::None && member.isString()) member = folded(textOf(member), _fold);
    }
    _members = NSSet::setWithValues(std::move(members));
  }
}

bool Comparison::holds(const Value& left, const Value& right) const {
  switch (_type) {
    case NSEqualToPredicateOperatorType:
      return isEqual(left, right);
    case NSNotEqualToPredicateOperatorType:
      return !isEqual(left, right);
    case NSLessThanPredicateOperatorType:
      return order(left, right) == NSOrderedAscending;
    case NSGreaterThanPredicateOperatorType:
      return order(left, right) == NSOrderedDescending;
    case NSLessThanOrEqualToPredicateOperatorType:
      return order(left, right).value_or(NSOrderedDescending) != NSOrderedDescending;
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return order(left, right).value_or(NSOrderedAscending) != NSOrderedAscending;
    case NSBetweenPredicateOperatorType:
      return isBetween(left, right);
    case NSBeginsWithPredicateOperatorType:
    case NSEndsWithPredicateOperatorType:
    case NSLikePredicateOperatorType:
    case NSMatchesPredicateOperatorType:
      return compareTexts(left, right);
    case NSInPredicateOperatorType:
      return _members ? isMemberOfPrepared(left) : isMember(left, right);
    case NSContainsPredicateOperatorType:
      return isMember(right, left);
    case NSCustomSelectorPredicateOperatorType:
      return !isNullLike(left) && performSelector(left, _selector, right).boolValue();
  }
  return false;
}

bool Comparison::isEqual(const Value& left, const Value& right) const {
  if (isNullLike(left) || isNullLike(right)) return isNullLike(left) && isNullLike(right);
  if (_fold != Fold::None && left.isString() && right.isString()) {
    return compareFolded(textOf(left), textOf(right), _fold) == 0;
  }
  return left.isEqual(right);
}

std::optional<NSComparisonResult> Comparison::order(const Value& left, const Value& right) const {
  if (isNullLike(left) || isNullLike(right)) return std::nullopt;
  const Sort sort = sortOf(left);
  if (sort == Sort::Other) {
    static const SEL compare("compare:");
    if (!left.respondsToSelector(compare)) doesNotRecognizeSelector(left, compare);
  }
  if (sort != sortOf(right)) return std::nullopt;
  if (sort == Sort::Text && _fold != Fold::None) {
    return static_cast<NSComparisonResult>(compareFolded(textOf(left), textOf(right), _fold));
  }
  return left.compare(right);
}

bool Comparison::isBetween(const Value& left, const Value& right) const {
  if (isNullLike(right)) return false;
  std::vector<Value> bounds;
  if (collectionKind(right) == CollectionKind::Array) appendMembers(right, bounds);
  if (bounds.size() != 2) {
    raise(NSInvalidArgumentException, "Can't use between operator with %@ (not an array of two)",
          right);
  }
  return order(left, bounds[0]).value_or(NSOrderedAscending) != NSOrderedAscending &&
         order(left, bounds[1]).value_or(NSOrderedDescending) != NSOrderedDescending;
}

bool Comparison::compareTexts(const Value& left, const Value& right) const {
  if (isNullLike(left) || isNullLike(right)) return false;
  if (!left.isString() || !right.isString()) {
    raise(NSInvalidArgumentException,
          "Can't do a text operation with something that isn't a string (lhs = %@ rhs = %@).", left,
          right);
  }
  if (_text) return _text->matches(textOf(left));
  switch (_type) {
    case NSBeginsWithPredicateOperatorType:
      return hasPrefixFolded(textOf(left), textOf(right), _fold);
    case NSEndsWithPredicateOperatorType:
      return hasSuffixFolded(textOf(left), textOf(right), _fold);
    default:
      return rememberedPattern(_type, _options, right).matches(textOf(left));
  }
}

bool Comparison::isMember(const Value& element, const Value& container) const {
  if (isNullLike(container)) return false;
  if (container.isString()) return isPart(element, container);
  bool found = false;
  const auto compare = [&](const Value& member) {
    found = isEqual(member, element);
    return !found;
  };
  if (const NSSet* set = as<NSSet>(container); set && _fold == Fold::None) {
    return set->containsObject(orNSNull(element));
  }
  if (forEachMember(container, compare)) return found;
  if (const NSDictionary* dictionary = as<NSDictionary>(container)) {
    forEachMember(Value(dictionary->allValues()), compare);
    return found;
  }
  raise(NSInvalidArgumentException,
        "Can't use in/contains operator with collection %@ (not a collection)", container);
}

bool Comparison::isMemberOfPrepared(const Value& element) const {
  if (_fold != Fold::None && element.isString()) {
    return _members->containsObject(folded(textOf(element), _fold));
  }
  return _members->containsObject(orNSNull(element));
}

bool Comparison::isPart(const Value& element, const Value& text) const {
  if (isNullLike(element)) return false;
  if (!element.isString()) {
    raise(NSInvalidArgumentException,
          "Can't look for value (%@) in string (%@); value is not a string", element, text);
  }
  if (_text) {
    return _text->matches(textOf(_type == NSInPredicateOperatorType ? element : text));
  }
  return containsFolded(textOf(text), textOf(element), _fold);
}

}  // namespace JNFoundation::impl
