#pragma once

#include <span>

#include <JNFoundation/platform/query/NSPredicate.h>

namespace JNFoundation::inline v0_1::impl {

// Fail: raise NSInvalidArgumentException, see NSPredicate::predicateWithFormat.

Ref<NSPredicate> parsePredicate(const Ref<NSString>& format,
                                std::span<const FormatArgument> arguments);
Ref<NSExpression> parseExpression(const Ref<NSString>& format,
                                  std::span<const FormatArgument> arguments);

}  // namespace JNFoundation::impl
