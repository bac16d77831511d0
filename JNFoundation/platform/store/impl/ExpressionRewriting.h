#pragma once

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1::impl {

/// Says what stands in the place of an expression; null leaves it and has its parts looked at.
using ExpressionReplacement = Block<Ref<NSExpression>(const NSExpression& expression)>;

/// The same expression or predicate with other ones in the place of some of its parts, the
/// outermost first. What only code can answer (blocks, messages) stays as it is. Recursion is
/// bounded by the depth that predicates may have.
Ref<NSExpression> rewritten(const Ref<NSExpression>& expression,
                            const ExpressionReplacement& replacement);
Ref<NSPredicate> rewritten(const Ref<NSPredicate>& predicate,
                           const ExpressionReplacement& replacement);

}  // namespace JNFoundation::impl
