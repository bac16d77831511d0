#pragma once

#include <memory>

#include <JNFoundation/platform/query/NSPredicate.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class Comparison;
}

/// The operators, by the platform's numbers.
enum NSPredicateOperatorType : NSUInteger {
  NSLessThanPredicateOperatorType = 0,              ///< <
  NSLessThanOrEqualToPredicateOperatorType = 1,     ///< <=
  NSGreaterThanPredicateOperatorType = 2,           ///< >
  NSGreaterThanOrEqualToPredicateOperatorType = 3,  ///< >=
  NSEqualToPredicateOperatorType = 4,               ///< ==
  NSNotEqualToPredicateOperatorType = 5,            ///< !=
  NSMatchesPredicateOperatorType = 6,               ///< MATCHES
  NSLikePredicateOperatorType = 7,                  ///< LIKE
  NSBeginsWithPredicateOperatorType = 8,            ///< BEGINSWITH
  NSEndsWithPredicateOperatorType = 9,              ///< ENDSWITH
  NSInPredicateOperatorType = 10,                   ///< IN
  NSCustomSelectorPredicateOperatorType = 11,       ///< a selector sent to the left side
  NSContainsPredicateOperatorType = 99,             ///< CONTAINS
  NSBetweenPredicateOperatorType = 100,             ///< BETWEEN
};

/// Whether the left side is compared as a whole, or every member or any member of it.
enum NSComparisonPredicateModifier : NSUInteger {
  NSDirectPredicateModifier = 0,  ///< as a whole
  NSAllPredicateModifier = 1,     ///< ALL
  NSAnyPredicateModifier = 2,     ///< ANY
};

/// Flags, joined by |.
enum NSComparisonPredicateOptions : NSUInteger {
  /// Upper and lower case are the same, as `[c]` in formats.
  NSCaseInsensitivePredicateOption = 1,
  /// Letters with and without marks are the same, as `[d]`.
  NSDiacriticInsensitivePredicateOption = 2,
  /// The texts are known to be prepared for comparison: overrides the two above.
  NSNormalizedPredicateOption = 4,
  /// Accepted and without effect: text compares alike everywhere.
  NSLocaleSensitivePredicateOption = 8,
};

/// Both flags.
constexpr NSComparisonPredicateOptions operator|(NSComparisonPredicateOptions left,
                                                 NSComparisonPredicateOptions right) {
  return static_cast<NSComparisonPredicateOptions>(static_cast<NSUInteger>(left) |
                                                   static_cast<NSUInteger>(right));
}

/// Two expressions and an operator between them. The answers, the same wherever it is evaluated:
///
///  - Null and the null marker are the same. Null equals only null; `!=` is the opposite of `==` in
///    every case. Every other operator with null on a side is false, `<=` between two nulls too;
///    but null is IN a collection that holds null.
///  - Numbers compare by value, booleans as 0 and 1; texts by code point; dates by time. Values of
///    different kinds (a number and a text) are never equal, and `<`, `>` and BETWEEN are false.
///    Objects of other classes answer `compare:`, or raise NSInvalidArgumentException.
///  - BETWEEN includes both ends; its right side is an array of two, or it raises.
///  - BEGINSWITH, ENDSWITH, LIKE and MATCHES work on text and raise for anything else but null.
///    LIKE takes the whole text, `?` one code point and `*` any number; MATCHES holds the whole
///    text against a regular expression, and raises for one that is malformed or takes too much
///    work.
///  - IN, and CONTAINS the other way round: whether a collection (of a dictionary: its values)
///    holds an equal value, or a text the other one. For other containers they raise.
///  - Options fold both sides where both are texts, also among the members of a collection.
///  - ANY holds if the comparison holds for one member of the left side, ALL if for every one. Null
///    is no member at all: ANY is false, ALL true. They raise if the left side is no array and no
///    set. Of a key path they ask every single value it leads to, nulls included.
/// Threads: any.
class NSComparisonPredicate : public NSPredicate {
 public:
  using Superclass = NSPredicate;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// Fails: raises NSInvalidArgumentException for null, for the operator of custom selectors, and
  /// past `maximumNestingOfPredicates`.
  static Ref<NSComparisonPredicate> predicateWithLeftExpressionRightExpressionModifierTypeOptions(
      const Ref<NSExpression>& left, const Ref<NSExpression>& right,
      NSComparisonPredicateModifier modifier, NSPredicateOperatorType type,
      NSComparisonPredicateOptions options = {});
  /// Sends the selector to the left side with the right side; null on the left is false.
  static Ref<NSComparisonPredicate> predicateWithLeftExpressionRightExpressionCustomSelector(
      const Ref<NSExpression>& left, const Ref<NSExpression>& right, SEL selector);

  // The sides of the comparison. Never null.
  const Ref<NSExpression>& leftExpression() const noexcept { return _leftExpression; }
  const Ref<NSExpression>& rightExpression() const noexcept { return _rightExpression; }
  /// How the left side is compared.
  NSComparisonPredicateModifier comparisonPredicateModifier() const noexcept { return _modifier; }
  /// The operator.
  NSPredicateOperatorType predicateOperatorType() const noexcept { return _type; }
  /// How text is compared.
  NSComparisonPredicateOptions options() const noexcept { return _options; }
  /// Returns: the null selector unless the operator is a custom selector.
  SEL customSelector() const noexcept { return _customSelector; }

 protected:
  NSComparisonPredicate(Ref<NSExpression> left, Ref<NSExpression> right,
                        NSComparisonPredicateModifier modifier, NSPredicateOperatorType type,
                        NSComparisonPredicateOptions options, SEL selector);
  ~NSComparisonPredicate() override;

 private:
  bool evaluate(const Value& object, const impl::Bindings& bindings) const override;
  bool evaluateMembers(const Value& object, const impl::Bindings& bindings) const;
  Value leftValue(const Value& object, const impl::Bindings& bindings) const;
  Value rightValue(const Value& object, const impl::Bindings& bindings) const;
  bool hasEqualContent(const NSPredicate& other) const override;
  std::size_t contentHash() const override;
  void appendFormat(std::string& text) const override;
  Ref<NSPredicate> substituted(const impl::Bindings& bindings) const override;

  Ref<NSExpression> _leftExpression;
  Ref<NSExpression> _rightExpression;
  NSComparisonPredicateModifier _modifier;
  NSPredicateOperatorType _type;
  NSComparisonPredicateOptions _options;
  SEL _customSelector;
  /// The operator made ready: patterns compiled, constants folded.
  std::unique_ptr<const impl::Comparison> _comparison;
};

}  // namespace JNFoundation
