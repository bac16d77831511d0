#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Limits.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {
namespace {

using testing::infinity;
using testing::largest;
using testing::largestUnsigned;
using testing::notANumber;
using testing::raisedBy;
using testing::smallest;

Value date(double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }

/// Equal to every date.
class Wild : public Subclass<Wild, NSObject> {
 public:
  bool isEqual(const Value& other) const override { return other.isDate(); }
};

/// Orders by the number it holds.
class Ranked : public Subclass<Ranked, NSObject> {
 public:
  explicit Ranked(NSInteger rank) : _rank(rank) {}
  NSInteger rank() const { return _rank; }
  NSInteger compareRanked(const Ref<Ranked>& other) const {
    return Value(_rank).compare(other->_rank);
  }

 private:
  NSInteger _rank;
};
const ClassDeclaration<Ranked> ranked =
    ClassDeclaration<Ranked>().operation("compare:", &Ranked::compareRanked);

/// Groups of values that are equal within the group and to nothing outside of it.
std::vector<std::vector<Value>> groups() {
  static const Ref<Ranked> object = makeObject<Ranked>(1);
  return {
      {nullptr, Value()},
      {false, 0, 0u, 0.0, -0.0, 0.0f, -0.0f},
      {true, 1, std::uint64_t{1}, 1.0, 1.0f},
      {2, 2.0, 2.0f},
      {-1, -1.0, -1.0f},
      {0.5, 0.5f},
      {-0.5},
      {0.1},
      {0.1f, static_cast<double>(0.1f)},
      {smallest, -0x1p63, -0x1p63f},
      {smallest + 1},
      {largest, static_cast<std::uint64_t>(largest)},
      {static_cast<std::uint64_t>(largest) + 1, 0x1p63, 0x1p63f},
      {largest - 1023, std::nextafter(0x1p63, 0)},
      {largestUnsigned},
      {0x1p64, 0x1p64f},
      {std::int64_t{1} << 53, 0x1p53},
      {(std::int64_t{1} << 53) + 1},
      {infinity, std::numeric_limits<float>::infinity()},
      {-infinity},
      {notANumber, std::numeric_limits<float>::quiet_NaN(), -notANumber},
      {date(0)},
      {date(1), date(1)},
      {date(notANumber), date(notANumber)},
      {"", std::string()},
      {"1", NSString::interned("1")},
      {"é"},
      {"e\u0301"},
      {NSNull::null()},
      {NSString::classObject},
      {NSObject::classObject},
      {object},
      {makeObject<Ranked>(1)},
  };
}

TEST(ValueEquality, HoldsWithinEachGroupAndNowhereElse) {
  const auto all = groups();
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t j = 0; j < all.size(); ++j) {
      for (const Value& left : all[i]) {
        for (const Value& right : all[j]) {
          const std::string pair = left.description()->toStdString() + " (group " +
                                   std::to_string(i) + "), " + right.description()->toStdString() +
                                   " (group " + std::to_string(j) + ")";
          EXPECT_EQ(left == right, i == j) << pair;
          if (i == j) {
            EXPECT_EQ(left.hash(), right.hash()) << pair;
          }
        }
      }
    }
  }
}

TEST(ValueEquality, OfDecimalsIsThatOfNumbers) {
  const auto decimal = [](const char* text) {
    return Value(NSDecimalNumber::decimalNumberWithString(text));
  };
  EXPECT_EQ(decimal("2.50"), Value(2.5));
  EXPECT_EQ(Value(2.5), decimal("2.5"));
  EXPECT_EQ(decimal("2.5").hash(), Value(2.5).hash());
  EXPECT_EQ(Value(3), decimal("3"));
  EXPECT_EQ(decimal("3").hash(), Value(3).hash());
  EXPECT_EQ(Value(largestUnsigned), decimal("18446744073709551615"));
  EXPECT_EQ(decimal("18446744073709551615").hash(), Value(largestUnsigned).hash());
  EXPECT_NE(decimal("3"), Value("3"));
  EXPECT_NE(Value("3"), decimal("3"));
  EXPECT_EQ(decimal("3").compare(4), NSOrderedAscending);
  EXPECT_EQ(Value(4).compare(decimal("3")), NSOrderedDescending);
}

TEST(ValueEquality, IsDecidedByTheClassOfEitherObject) {
  const Value wild = makeObject<Wild>();
  EXPECT_EQ(wild, date(1));
  EXPECT_EQ(date(1), wild) << "whichever side it stands on";
  EXPECT_NE(wild, Value(1));
  EXPECT_NE(Value(1), wild);
  EXPECT_NE(wild, Value());
  EXPECT_NE(Value(), wild);
}

TEST(ValueEquality, IdentityIsMore) {
  EXPECT_TRUE(Value(1).isIdentical(1));
  EXPECT_FALSE(Value(1).isIdentical(1.0));
  EXPECT_FALSE(Value(1).isIdentical(true));
  EXPECT_FALSE(Value("a").isIdentical("a"));
  const Value text = "a";
  EXPECT_TRUE(text.isIdentical(text));
  EXPECT_TRUE(Value().isIdentical(nullptr));
  EXPECT_FALSE(Value(0.0).isIdentical(date(0)));
}

/// Values of one kind of order, from low to high, each group equal.
void expectOrder(const std::vector<std::vector<Value>>& order) {
  for (std::size_t i = 0; i < order.size(); ++i) {
    for (std::size_t j = 0; j < order.size(); ++j) {
      for (const Value& left : order[i]) {
        for (const Value& right : order[j]) {
          const NSComparisonResult expected = i < j   ? NSOrderedAscending
                                              : i > j ? NSOrderedDescending
                                                      : NSOrderedSame;
          EXPECT_EQ(left.compare(right), expected)
              << left.description()->utf8() << " against " << right.description()->utf8();
        }
      }
    }
  }
}

TEST(ValueOrder, OfNumbersIsExactAcrossRepresentations) {
  expectOrder({{nullptr},
               {notANumber},
               {-infinity},
               {-1e20},
               {smallest, -0x1p63},
               {smallest + 1},
               {-1.5, -1.5f},
               {-1},
               {-0.5},
               {false, 0, 0.0, -0.0},
               {std::numeric_limits<double>::denorm_min()},
               {0.5f},
               {true, 1, 1.0},
               {1.0000000001},
               {std::int64_t{1} << 53, 0x1p53},
               {(std::int64_t{1} << 53) + 1},
               {(std::int64_t{1} << 53) + 2, 0x1p53 + 2},
               {largest - 1023, std::nextafter(0x1p63, 0)},
               {largest},
               {static_cast<std::uint64_t>(largest) + 1, 0x1p63},
               {static_cast<std::uint64_t>(largest) + 2},
               {largestUnsigned},
               {0x1p64},
               {infinity}});
}

TEST(ValueOrder, OfTextIsThatOfCodePoints) {
  // In UTF-16 the emoji would come before the ideograph of the compatibility area.
  expectOrder({{nullptr}, {""}, {"1"}, {"B"}, {"a"}, {"ab"}, {"b"}, {"é"}, {"\uF900"}, {"😀"}});
  expectOrder({{Value(std::string_view("a\0a", 3))}, {Value(std::string_view("a\0b", 3))}});
}

TEST(ValueOrder, OfDatesIsThatOfTime) {
  expectOrder({{nullptr},
               {date(notANumber)},
               {date(-infinity)},
               {date(-1)},
               {date(0), date(-0.0)},
               {date(0.001)}});
}

TEST(ValueOrder, IsAskedOfOtherClasses) {
  EXPECT_EQ(Value(makeObject<Ranked>(1)).compare(makeObject<Ranked>(2)), NSOrderedAscending);
  EXPECT_EQ(Value(makeObject<Ranked>(2)).compare(makeObject<Ranked>(2)), NSOrderedSame);
  EXPECT_EQ(Value(makeObject<Ranked>(1)).compare(nullptr), NSOrderedDescending);
}

TEST(ValueOrder, IsRefusedWhereThereIsNone) {
  EXPECT_EQ(raisedBy([] { Value(1).compare("1"); }),
            "NSInvalidArgumentException: -[__NSCFNumber compare:]: a __NSCFString has no order "
            "against it");
  EXPECT_NE(raisedBy([] { Value("1").compare(1); }), "");
  EXPECT_NE(raisedBy([] { date(0).compare(0); }), "");
  EXPECT_NE(raisedBy([] { Value(0).compare(date(0)); }), "");
  EXPECT_NE(raisedBy([] { Value(NSNull::null()).compare(1); }), "");
  EXPECT_NE(raisedBy([] { Value(1).compare(NSNull::null()); }), "");
  EXPECT_NE(raisedBy([] { Value(NSNull::null()).compare(NSNull::null()); }), "");
  EXPECT_NE(raisedBy([] { Value(NSString::classObject).compare(NSObject::classObject); }), "");
  EXPECT_NE(raisedBy([] { Value(makeObject<Ranked>(1)).compare(1); }), "");
  // A decimal is an object that answers compare: by coming back to Value.
  EXPECT_NE(raisedBy([] { Value(NSDecimalNumber::one()).compare("1"); }), "");
}

/// A number of a random representation close to where representations begin to differ.
Value randomNumber(testing::Randomness& random) {
  const double centers[] = {0, 0x1p31, 0x1p53, -0x1p53, 0x1p63, -0x1p63, 0x1p64};
  const double center = centers[random.below(std::size(centers))];
  const std::int64_t distance = random.between(-3, 3);
  switch (random.below(6)) {
    case 0:
      return static_cast<float>(center + static_cast<double>(distance));
    case 1:
      return center + static_cast<double>(distance) / 4;
    case 2:
      return std::nextafter(center, distance < 0 ? -infinity : infinity);
    case 3:
      return static_cast<std::int64_t>(std::clamp(center, -0x1p62, 0x1p62)) + distance;
    case 4:
      return center >= 0x1p64   ? largestUnsigned - random.below(4)
             : center >= 0x1p63 ? (std::uint64_t{1} << 63) + random.below(4)
                                : largest - static_cast<std::int64_t>(random.below(4));
    default:
      return center < 0 ? smallest + static_cast<std::int64_t>(random.below(4))
                        : random.below(2) == 0;
  }
}

TEST(ValueOrder, IsATotalOrderThatAgreesWithEqualityAndHash) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 200'000; ++i) {
    const Value a = randomNumber(random), b = randomNumber(random), c = randomNumber(random);
    const NSComparisonResult ab = a.compare(b), bc = b.compare(c), ac = a.compare(c);
    ASSERT_EQ(b.compare(a), -ab) << a.description()->utf8() << ", " << b.description()->utf8();
    ASSERT_EQ(ab == NSOrderedSame, a == b)
        << a.description()->utf8() << ", " << b.description()->utf8();
    if (a == b) {
      ASSERT_EQ(a.hash(), b.hash()) << a.description()->utf8();
    }
    if (ab <= 0 && bc <= 0) {
      ASSERT_LE(ac, 0) << a.description()->utf8() << ", " << b.description()->utf8() << ", "
                       << c.description()->utf8();
      if (ab == 0 && bc == 0) {
        ASSERT_EQ(ac, 0);
      } else {
        ASSERT_EQ(ac, -1);
      }
    }
  }
}

}  // namespace
}  // namespace JNFoundation
