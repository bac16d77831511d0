#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

Value exactDecimal(const std::string& text) {
  return NSDecimalNumber::decimalNumberWithString(text);
}

/// Numbers in ascending order; those of one row are one number in different representations.
std::vector<std::vector<Value>> rows() {
  using Limits = std::numeric_limits<std::int64_t>;
  const std::int64_t exactLimit = std::int64_t{1} << 53;
  return {
      {NAN, static_cast<double>(NAN), Value(NSDecimalNumber::notANumber())},
      {-INFINITY, -static_cast<double>(INFINITY)},
      {-1e300},
      {-1e160, exactDecimal("-1e160")},
      {exactDecimal("-9223372036854775809")},
      {Limits::min(), -0x1p63, -0x1p63f, exactDecimal("-9223372036854775808")},
      {exactDecimal("-9223372036854775807.5")},
      {Limits::min() + 1, exactDecimal("-9223372036854775807")},
      {-1, -1.0, -1.0f, std::int8_t{-1}, exactDecimal("-1"), exactDecimal("-10e-1")},
      {-0.5, -0.5f, exactDecimal("-0.5")},
      {-1e-100, exactDecimal("-1e-100")},
      {false, 0, 0u, 0.0, -0.0, 0.0f, -0.0f, exactDecimal("0"), exactDecimal("-0.000")},
      {std::numeric_limits<double>::denorm_min()},
      {1e-100, exactDecimal("1e-100")},
      {0.1, exactDecimal("0.1"), exactDecimal("0.10")},
      {exactDecimal("0.1000000000000000055511151231257827")},
      {0.1f, static_cast<double>(0.1f)},
      {0.3, exactDecimal("0.3")},
      {0.1 + 0.2, exactDecimal("0.30000000000000004")},
      {0.5, 0.5f, exactDecimal("0.5")},
      {exactDecimal("0.99999999999999999999999999999999999999")},
      {true, 1, 1u, std::uint64_t{1}, 1.0, 1.0f, exactDecimal("1"), exactDecimal("1.000")},
      {exactDecimal("1.0000000000000000000000000000000000001")},
      {1.5, 1.5f, exactDecimal("1.5")},
      {2, 2.0, exactDecimal("2")},
      {exactLimit, 0x1p53, 0x1p53f, exactDecimal("9007199254740992")},
      {exactLimit + 1, std::uint64_t{9007199254740993u}, exactDecimal("9007199254740993")},
      {exactDecimal("9007199254740993.5")},
      {exactLimit + 2, 0x1p53 + 2, exactDecimal("9007199254740994")},
      {Limits::max(), static_cast<std::uint64_t>(Limits::max()),
       exactDecimal("9223372036854775807")},
      {exactDecimal("9223372036854775807.5")},
      {std::uint64_t{1} << 63, 0x1p63, 0x1p63f, exactDecimal("9223372036854775808")},
      {exactDecimal("9223372036854775808.0000001")},
      {~std::uint64_t{0}, exactDecimal("18446744073709551615")},
      {exactDecimal("18446744073709551616")},
      // Beyond 64 bits a double counts as its shortest text.
      {0x1p64, 0x1p64f, exactDecimal("18446744073709552000")},
      {1e23, exactDecimal("1e23"), exactDecimal("100000000000000000000000")},
      {1e160, exactDecimal("1e160")},
      {1e300},
      {INFINITY, static_cast<double>(INFINITY)},
  };
}

TEST(NumberEquality, EveryPairComparesByNumericValue) {
  const auto numbers = rows();
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    for (std::size_t j = 0; j < numbers.size(); ++j) {
      for (const Value& left : numbers[i]) {
        for (const Value& right : numbers[j]) {
          const NSComparisonResult order = i < j   ? NSOrderedAscending
                                           : i > j ? NSOrderedDescending
                                                   : NSOrderedSame;
          const std::string pair = left.description()->toStdString() + " (" +
                                   std::string(left.class_()->name()) + ") and " +
                                   right.description()->toStdString() + " (" +
                                   std::string(right.class_()->name()) + ")";
          EXPECT_EQ(left.compare(right), order) << pair;
          EXPECT_EQ(left.isEqual(right), i == j) << pair;
          if (i == j) {
            EXPECT_EQ(left.hash(), right.hash()) << pair;
          }
        }
      }
    }
  }
}

TEST(NumberEquality, OrdinaryNumbersHaveHashesOfTheirOwn) {
  constexpr int count = 100'000;
  std::unordered_set<std::size_t> doubles, decimals;
  for (int i = 0; i < count; ++i) {
    doubles.insert(Value(i / 100.0).hash());
    decimals.insert(
        NSDecimalNumber::decimalNumberWithMantissaExponentIsNegative(i, -2, false)->hash());
  }
  // That many draws from 32 bits meet about once.
  const std::size_t meetings = sizeof(std::size_t) < 8 ? 4 : 0;
  EXPECT_GE(doubles.size() + meetings, static_cast<std::size_t>(count));
  EXPECT_EQ(decimals, doubles);
}

TEST(NumberEquality, NoNumberEqualsAnythingElse) {
  for (const auto& row : rows()) {
    for (const Value& number : row) {
      EXPECT_NE(number, Value());
      EXPECT_NE(number, Value(number.stringValue()));
      EXPECT_NE(Value(number.stringValue()), number);
      EXPECT_NE(number, Value::dateWithTimeIntervalSince1970(number.doubleValue()));
      EXPECT_NE(Value::dateWithTimeIntervalSince1970(number.doubleValue()), number);
    }
  }
}

}  // namespace
}  // namespace JNFoundation
