#include "JNFoundation/platform/query/TextComparison.h"

#include <optional>

#include <JNFoundation/platform/query/impl/Comparison.h>
#include <JNFoundation/platform/text/TextMatch.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

Fold impl::foldOf(NSComparisonPredicateOptions options) noexcept {
  if (options & NSNormalizedPredicateOption) return Fold::None;
  Fold fold = Fold::None;
  if (options & NSCaseInsensitivePredicateOption) fold = fold | Fold::Case;
  if (options & NSDiacriticInsensitivePredicateOption) fold = fold | Fold::Diacritics;
  return fold;
}

struct TextComparison::Prepared {
  NSPredicateOperatorType type;
  Fold fold;
  /// Folded already. The pattern as written where it is one.
  std::string right;
  /// Texts that are ASCII on both sides are compared without being folded first.
  bool isRightASCII = false;
  std::optional<LikePattern> wildcards;
  std::optional<RegularExpression> expression;
  std::string trouble;

  Prepared(NSPredicateOperatorType operatorType, NSComparisonPredicateOptions options,
           std::string_view text)
      : type(operatorType), fold(impl::foldOf(options)) {
    switch (type) {
      case NSLikePredicateOperatorType:
        wildcards.emplace(text, fold);
        break;
      case NSMatchesPredicateOperatorType:
        right = text;
        expression = RegularExpression::compile(text, fold, &trouble);
        break;
      case NSCustomSelectorPredicateOperatorType:
      case NSBetweenPredicateOperatorType:
        fatalError("a TextComparison needs an operator between two texts");
      default:
        right = folded(text, fold);
        isRightASCII = isASCII(right);
        break;
    }
  }

  bool fitsExpression(std::string_view left) const {
    if (!expression) {
      raise(NSInvalidArgumentException, "Can't do regex matching, reason: %s (pattern \"%s\")",
            trouble, right);
    }
    const std::optional<bool> fits = expression->match(left);
    if (!fits) {
      raise(NSInvalidArgumentException,
            "Can't do regex matching, reason: too much work (pattern \"%s\")", right);
    }
    return *fits;
  }

  /// Requires: `left` is folded, or ASCII like the right side.
  bool compares(std::string_view left, Fold leftFold) const {
    switch (type) {
      case NSLessThanPredicateOperatorType:
        return compareFolded(left, right, leftFold) < 0;
      case NSLessThanOrEqualToPredicateOperatorType:
        return compareFolded(left, right, leftFold) <= 0;
      case NSGreaterThanPredicateOperatorType:
        return compareFolded(left, right, leftFold) > 0;
      case NSGreaterThanOrEqualToPredicateOperatorType:
        return compareFolded(left, right, leftFold) >= 0;
      case NSEqualToPredicateOperatorType:
        return compareFolded(left, right, leftFold) == 0;
      case NSNotEqualToPredicateOperatorType:
        return compareFolded(left, right, leftFold) != 0;
      case NSBeginsWithPredicateOperatorType:
        return hasPrefixFolded(left, right, leftFold);
      case NSEndsWithPredicateOperatorType:
        return hasSuffixFolded(left, right, leftFold);
      case NSContainsPredicateOperatorType:
        return containsFolded(left, right, leftFold);
      case NSInPredicateOperatorType:
        return containsFolded(right, left, leftFold);
      default:
        return false;
    }
  }
};

TextComparison::TextComparison(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                               std::string_view right)
    : _prepared(std::make_shared<const Prepared>(type, options, right)) {}

bool TextComparison::matches(std::string_view left) const {
  const Prepared& prepared = *_prepared;
  if (prepared.wildcards) return prepared.wildcards->matches(left);
  if (prepared.type == NSMatchesPredicateOperatorType) return prepared.fitsExpression(left);
  if (prepared.fold == Fold::None || (prepared.isRightASCII && isASCII(left))) {
    return prepared.compares(left, prepared.fold);
  }
  return prepared.compares(folded(left, prepared.fold), Fold::None);
}

}  // namespace JNFoundation
