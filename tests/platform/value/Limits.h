#pragma once

#include <cstdint>
#include <limits>

#include <JNFoundation/platform/value/Types.h>

/// The ends of the ranges of numbers, by the names that tests read best with.
namespace JNFoundation::testing {

inline constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
inline constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
inline constexpr std::uint64_t largestUnsigned = std::numeric_limits<std::uint64_t>::max();
inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

inline constexpr NSUInteger notFound = static_cast<NSUInteger>(NSNotFound);
inline constexpr NSUInteger greatest = std::numeric_limits<NSUInteger>::max();

}  // namespace JNFoundation::testing
