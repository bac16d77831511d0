#include <limits>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/deferred/ValueConversion.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {
namespace {

/// A type of an application's own.
struct Point {
  int x;
  int y;
  bool operator==(const Point&) const = default;
};

}  // namespace

template <>
struct ValueConversion<Point> {
  static bool holds(const Value& value) {
    return value.isString() && value.description()->length() == 2;
  }
  static Point fromValue(const Value& value) {
    const std::string text = value.description()->toStdString();
    return {text[0] - '0', text[1] - '0'};
  }
  static Value toValue(const Point& point) {
    return Value(std::to_string(point.x) + std::to_string(point.y));
  }
  static std::string_view name() { return "Point"; }
};

namespace {

class ValueConversionTest : public DeferredFixture {
 protected:
  template <class T>
  static bool holds(const Value& value) {
    return ValueConversion<T>::holds(value);
  }
  template <class T>
  static void expectRoundTrip(const T& original) {
    const Value value = ValueConversion<T>::toValue(original);
    ASSERT_TRUE(holds<T>(value));
    EXPECT_EQ(ValueConversion<T>::fromValue(value), original);
  }
};

TEST_F(ValueConversionTest, ThereAndBackIsTheSame) {
  expectRoundTrip<bool>(true);
  expectRoundTrip<bool>(false);
  expectRoundTrip<std::int8_t>(-128);
  expectRoundTrip<std::uint8_t>(255);
  expectRoundTrip<int>(std::numeric_limits<int>::min());
  expectRoundTrip<std::int64_t>(std::numeric_limits<std::int64_t>::min());
  expectRoundTrip<std::uint64_t>(std::numeric_limits<std::uint64_t>::max());
  expectRoundTrip<float>(0.1f);
  expectRoundTrip<double>(0.1);
  expectRoundTrip<std::string>("text");
  expectRoundTrip<std::string>("");
  expectRoundTrip<Ref<NSString>>("text");
  expectRoundTrip<Ref<NSString>>(nullptr);
  expectRoundTrip<Value>(7);
}

TEST_F(ValueConversionTest, ANumberIsOfATypeThatHasIt) {
  EXPECT_TRUE(holds<int>(3.0));
  EXPECT_TRUE(holds<int>(true));
  EXPECT_FALSE(holds<int>(3.5));
  EXPECT_FALSE(holds<int>(std::int64_t{1} << 40));
  EXPECT_FALSE(holds<std::uint8_t>(256));
  EXPECT_FALSE(holds<std::uint8_t>(-1));
  EXPECT_FALSE(holds<std::int64_t>(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_FALSE(holds<std::uint64_t>(-1));
  EXPECT_FALSE(holds<int>(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_FALSE(holds<std::int64_t>(1e300));
  EXPECT_TRUE(holds<bool>(1));
  EXPECT_FALSE(holds<bool>(2));
  EXPECT_TRUE(holds<double>(std::numeric_limits<double>::infinity()));
  EXPECT_TRUE(holds<int>(NSDecimalNumber::decimalNumberWithString("12")));
  EXPECT_FALSE(holds<int>(NSDecimalNumber::decimalNumberWithString("12.5")));
}

TEST_F(ValueConversionTest, NothingElseIsANumber) {
  for (const Value& value : {Value(), Value("3"), NSDate::dateWithTimeIntervalSince1970(3),
                             Value(NSString::classObject)}) {
    EXPECT_FALSE(holds<int>(value)) << text(value);
    EXPECT_FALSE(holds<double>(value)) << text(value);
    EXPECT_FALSE(holds<bool>(value)) << text(value);
  }
}

TEST_F(ValueConversionTest, ADateIsATimePointThatReachesIt) {
  using Clock = std::chrono::system_clock;
  using Seconds = std::chrono::time_point<Clock, std::chrono::seconds>;
  const Clock::time_point moment =
      Clock::from_time_t(1'600'000'000) + std::chrono::milliseconds(250);
  const Value date = ValueConversion<Clock::time_point>::toValue(moment);
  EXPECT_TRUE(date.isDate());
  EXPECT_EQ(date.timeIntervalSince1970(), 1'600'000'000.25);
  expectRoundTrip(moment);

  EXPECT_FALSE(holds<Clock::time_point>(1'600'000'000));
  EXPECT_FALSE(holds<Clock::time_point>(nullptr));
  // The year 4001 is beyond what nanoseconds count, and within what seconds do.
  using Nanoseconds = std::chrono::time_point<Clock, std::chrono::nanoseconds>;
  EXPECT_FALSE(holds<Nanoseconds>(NSDate::distantFuture()));
  EXPECT_TRUE(holds<Seconds>(NSDate::distantFuture()));
}

TEST_F(ValueConversionTest, AnApplicationsOwnTypeIsAsGoodAsAny) {
  expectRoundTrip(Point{3, 4});
  const Ref<PLVDeferred> untyped = PLVDeferred::withResolved("34"),
                         other = PLVDeferred::withResolved("345");
  const auto swapping = [](const Point& point) { return Point{point.y, point.x}; };
  Deferred<Point>(untyped).thenResolved(swapping);
  Deferred<Point>(other).thenResolved(swapping);
  EXPECT_EQ(untyped->resolution(), Value("43"));
  EXPECT_EQ(
      text(as<NSError>(as<PLVRejected>(other->resolution())->value())->localizedDescription()),
      "Expected Point, found __NSCFString.");
}

}  // namespace
}  // namespace JNFoundation
