#pragma once

#include <optional>
#include <vector>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/TextComparison.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {

Fold foldOf(NSComparisonPredicateOptions options) noexcept;

/// The operator of a comparison predicate, between two values that are known. What can be made
/// ready for a right side that never changes is: texts folded, patterns compiled, lists made sets.
class Comparison {
 public:
  /// Takes: the right side if it never changes, else null.
  Comparison(NSPredicateOperatorType type, NSComparisonPredicateOptions options, SEL selector,
             const Value* constantRight);

  /// Whether the right side never changes.
  bool isPrepared() const noexcept { return _right.has_value(); }
  /// Requires: isPrepared().
  const Value& right() const noexcept { return *_right; }

  /// Requires: `right` is the constant one where there is one.
  bool holds(const Value& left, const Value& right) const;

 private:
  bool isEqual(const Value& left, const Value& right) const;
  /// Returns: nothing for values that have no order, null among them.
  std::optional<NSComparisonResult> order(const Value& left, const Value& right) const;
  bool isBetween(const Value& left, const Value& right) const;
  bool compareTexts(const Value& left, const Value& right) const;
  bool isMember(const Value& element, const Value& container) const;
  bool isMemberOfPrepared(const Value& element) const;
  bool isPart(const Value& element, const Value& text) const;

  NSPredicateOperatorType _type;
  NSComparisonPredicateOptions _options;
  Fold _fold;
  SEL _selector;
  std::optional<Value> _right;
  /// The right side as a text.
  std::optional<TextComparison> _text;
  /// The right side as a collection: its members, texts folded.
  Ref<NSSet> _members;
};

}  // namespace JNFoundation::impl
