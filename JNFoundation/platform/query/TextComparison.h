#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>

namespace JNFoundation::inline v0_1 {

/// One text operator of predicates with its right side, made ready once for many left sides. What
/// predicates use in memory; a store's own functions call it for the same answers.
/// Threads: any; it never changes. Copies share what was compiled.
class TextComparison {
 public:
  /// Requires: an operator that compares two texts (orders, equality, BEGINSWITH, ENDSWITH,
  /// CONTAINS, LIKE, MATCHES, or IN, which asks whether `right` holds the left side).
  TextComparison(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                 std::string_view right);

  /// Fails: raises NSInvalidArgumentException if the operator is MATCHES and the expression is
  /// malformed, or takes too much work on this text.
  bool matches(std::string_view left) const;

 private:
  struct Prepared;

  std::shared_ptr<const Prepared> _prepared;
};

}  // namespace JNFoundation
