#pragma once

#include <cstddef>
#include <limits>

/// The scalar types and constants that every floor shares.
namespace JNFoundation::inline v0_1 {

// As wide as the machine's word, so every index of a collection is one.
using NSInteger = std::ptrdiff_t;
using NSUInteger = std::size_t;

/// Seconds, fractions included.
using NSTimeInterval = double;

/// "No such index": greater than every valid index.
inline constexpr NSInteger NSNotFound = std::numeric_limits<NSInteger>::max();

/// How the first of two values stands to the second.
enum NSComparisonResult : NSInteger {
  NSOrderedAscending = -1,  ///< the first one is before the second
  NSOrderedSame = 0,        ///< neither is before the other
  NSOrderedDescending = 1,  ///< the first one is after the second
};

/// A run of positions: `length` of them, the first at `location`.
struct NSRange {
  NSUInteger location = 0;  ///< the first one
  NSUInteger length = 0;    ///< how many there are

  /// The first position behind the run.
  constexpr NSUInteger end() const { return location + length; }
  friend constexpr bool operator==(const NSRange&, const NSRange&) = default;
};

/// The run of `length` positions from `location` on.
constexpr NSRange NSMakeRange(NSUInteger location, NSUInteger length) { return {location, length}; }

}  // namespace JNFoundation
