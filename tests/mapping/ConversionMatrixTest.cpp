#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "MappingFixture.h"
#include "platform/value/Limits.h"

#include <JNFoundation/mapping/PLVScalarDataMap.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSUUID.h>

/// What becomes of every kind of value in every kind of attribute, as one table: a row for a value,
/// a column for a family of attributes. Integers of 16, 32 and 64 bits are one family, because
/// mapping does not narrow.
namespace JNFoundation {
namespace {

using testing::infinity;
using testing::largest;
using testing::smallest;
/// What a cell says, besides a value: the attribute keeps what it had, or has nothing.
struct Cell {
  enum class Kind { Value, Same, Clear, Refused };

  Cell(Kind kind) : kind(kind) {}
  template <class T>
  requires std::constructible_from<Value, const T&> Cell(const T& value)
      : kind(Kind::Value), value(value) {}

  Kind kind;
  JNFoundation::Value value;
};

constexpr auto same = Cell::Kind::Same;        // stored as it came
constexpr auto clear = Cell::Kind::Clear;      // stored as null
constexpr auto refused = Cell::Kind::Refused;  // not stored, with a line in the log

struct ConversionRow {
  Value value;
  Cell integer;
  Cell doubles;
  Cell floats;
  Cell boolean;
  Cell string;
  Cell date;
};

Value seconds(double number) { return NSDate::dateWithTimeIntervalSince1970(number); }

std::vector<ConversionRow> matrix() {
  const Value nan = std::numeric_limits<double>::quiet_NaN();
  const auto decimal = NSDecimalNumber::decimalNumberWithString("12.25");
  return {
      // value                        integer   double    float     boolean  string    date
      // --- nothing
      {nullptr, clear, clear, clear, clear, clear, clear},
      {NSNull::null(), clear, clear, clear, clear, clear, clear},
      // --- numbers
      {0, same, same, same, same, "0", seconds(0)},
      {-0.0, same, same, same, same, "-0", seconds(0)},
      {1, same, same, same, same, "1", seconds(0.001)},
      {-1, same, same, same, same, "-1", seconds(-0.001)},
      {true, same, same, same, same, "1", seconds(0.001)},
      {false, same, same, same, same, "0", seconds(0)},
      {32767, same, same, same, same, "32767", seconds(32.767)},
      {32768, same, same, same, same, "32768", seconds(32.768)},
      {-32769, same, same, same, same, "-32769", seconds(-32.769)},
      {2147483648, same, same, same, same, "2147483648", seconds(2147483.648)},
      {largest, same, same, same, same, "9223372036854775807",
       seconds(9223372036854775807.0 / 1000)},
      {smallest, same, same, same, same, "-9223372036854775808",
       seconds(-9223372036854775808.0 / 1000)},
      {UINT64_MAX, same, same, same, same, "18446744073709551615",
       seconds(18446744073709551615.0 / 1000)},
      {1456835400250, same, same, same, same, "1456835400250", seconds(1456835400.25)},
      {2.9, same, same, same, same, "2.9", seconds(2.9 / 1000)},
      {-0.5f, same, same, same, same, "-0.5", seconds(-0.0005)},
      {0.1f, same, same, same, same, "0.1", seconds(static_cast<double>(0.1f) / 1000)},
      {1.0, same, same, same, same, "1", seconds(0.001)},
      {1.0 / 3, same, same, same, same, "0.3333333333333333", seconds(1.0 / 3 / 1000)},
      {0.1 + 0.2, same, same, same, same, "0.30000000000000004", seconds((0.1 + 0.2) / 1000)},
      {1e9, same, same, same, same, "1000000000", seconds(1e6)},
      {1e16, same, same, same, same, "1e+16", seconds(1e13)},
      {1e300, same, same, same, same, "1e+300", seconds(1e300 / 1000)},
      {5e-324, same, same, same, same, "5e-324", seconds(5e-324 / 1000)},
      {infinity, same, same, same, same, "+infinity", seconds(infinity)},
      {-infinity, same, same, same, same, "-infinity", seconds(-infinity)},
      {nan, same, same, same, same, "nan", seconds(nan.doubleValue())},
      {decimal, same, same, same, same, "12.25", seconds(0.01225)},
      // --- text
      {"", 0, 0, 0, 0, same, clear},
      {" ", 0, 0, 0, 0, same, clear},
      {"0", 0, 0, 0, 0, same, clear},
      {"1", 1, 1, 1, 1, same, clear},
      {"-1", -1, -1, -1, 1, same, clear},
      {"42", 42, 42, 42, 1, same, clear},
      {" 42", 42, 42, 42, 1, same, clear},
      {"42 ", 42, 42, 42, 1, same, clear},
      {"+7", 7, 7, 7, 1, same, clear},
      {"++7", 0, 0, 0, 0, same, clear},
      {"--7", 0, 0, 0, 0, same, clear},
      {"007", 7, 7, 7, 1, same, clear},
      {"12abc", 12, 12, 12, 1, same, clear},
      {"abc12", 0, 0, 0, 0, same, clear},
      {"2.9", 2, 2, 2, 1, same, clear},
      {"-2.5", -2, -2, -2, 1, same, clear},
      {"0.5", 0, 0, 0, 0, same, clear},
      {".9", 0, 0, 0, 0, same, clear},
      {"1e3", 1, 1000, 1000, 1, same, clear},
      {"12.e4", 12, 120000, 120000, 1, same, clear},
      {"1.2.3.4", 1, 1, 1, 1, same, clear},
      {"0x1F", 0, 0, 0, 0, same, clear},
      {"1,234", 1, 1, 1, 1, same, clear},
      {"16777217", 16777217, 16777217, 16777216, 1, same, clear},
      {"9007199254740993", 9007199254740993, 9007199254740992, 9007199254740992, 1, same, clear},
      {"9223372036854775807", largest, largest, largest, 1, same, clear},
      {"9223372036854775808", largest, largest, largest, 1, same, clear},
      {"-9223372036854775809", smallest, smallest, smallest, 1, same, clear},
      {"1e300", 1, largest, largest, 1, same, clear},
      {"-1e300", -1, smallest, smallest, 1, same, clear},
      {"1e999", 1, largest, largest, 1, same, clear},
      {"1e-999", 1, 0, 0, 1, same, clear},
      {"inf", 0, 0, 0, 0, same, clear},
      {"nan", 0, 0, 0, 0, same, clear},
      {"true", 0, 0, 0, 1, same, clear},
      {"TRUE", 0, 0, 0, 1, same, clear},
      {"yes", 0, 0, 0, 1, same, clear},
      {"Y", 0, 0, 0, 1, same, clear},
      {"false", 0, 0, 0, 0, same, clear},
      {"no", 0, 0, 0, 0, same, clear},
      {"on", 0, 0, 0, 0, same, clear},
      {"+000009", 9, 9, 9, 1, same, clear},
      {"-00000", 0, 0, 0, 0, same, clear},
      {"+t", 0, 0, 0, 0, same, clear},
      {"0t", 0, 0, 0, 0, same, clear},
      {"١٢", 0, 0, 0, 0, same, clear},
      {"é", 0, 0, 0, 0, same, clear},
      {"2016-03-01T12:30:00.250Z", 2016, 2016, 2016, 1, same, seconds(1456835400.25)},
      {"2016-03-01T12:30:00Z", 2016, 2016, 2016, 1, same, clear},
      {"2016-03-01T12:30:00.000+01:00", 2016, 2016, 2016, 1, same, clear},
      {"2016-02-30T12:30:00.000Z", 2016, 2016, 2016, 1, same, clear},
      {"0001-01-01T00:00:00.000Z", 1, 1, 1, 1, same, seconds(-62135596800)},
      {"1456835400000", 1456835400000, 1456835400000, 1456835395584, 1, same, clear},
      // --- dates
      {seconds(0), refused, refused, refused, refused, refused, same},
      {seconds(-62135596800), refused, refused, refused, refused, refused, same},
      {seconds(1456835400.25), refused, refused, refused, refused, refused, same},
      {seconds(infinity), refused, refused, refused, refused, refused, same},
      // --- anything else
      {NSArray::array(), refused, refused, refused, refused, refused, refused},
      {NSArray::arrayWithObjects(1), refused, refused, refused, refused, refused, refused},
      {NSDictionary::dictionary(), refused, refused, refused, refused, refused, refused},
      {NSMutableDictionary::dictionary(), refused, refused, refused, refused, refused, refused},
      {NSSet::setWithObject(1), refused, refused, refused, refused, refused, refused},
      {NSData::dataWithText("1"), refused, refused, refused, refused, refused, refused},
      {NSUUID::UUID(), refused, refused, refused, refused, refused, refused},
      {Value(NSString::classObject), refused, refused, refused, refused, refused, refused},
  };
}

struct Column {
  const char* attribute;
  Cell ConversionRow::*cell;
  /// What the attribute holds before.
  Value before;
  const char* kind;
};

std::vector<Column> columns() {
  return {{"integer16", &ConversionRow::integer, 77, "number"},
          {"integer32", &ConversionRow::integer, 77, "number"},
          {"integer64", &ConversionRow::integer, 77, "number"},
          {"double", &ConversionRow::doubles, 77.5, "number"},
          {"float", &ConversionRow::floats, 77.5f, "number"},
          {"boolean", &ConversionRow::boolean, true, "number"},
          {"string", &ConversionRow::string, "before", "string"},
          {"date", &ConversionRow::date, seconds(77), "date"}};
}

using ConversionMatrix = MappingTest;

TEST_F(ConversionMatrix, EveryKindOfValueInEveryKindOfAttribute) {
  const auto person = insertPerson();
  for (const Column& column : columns()) {
    const auto map = PLVScalarDataMap::newMapWithDestinationForEntity(column.attribute, entity());
    ASSERT_TRUE(map) << column.attribute;
    for (const ConversionRow& row : matrix()) {
      SCOPED_TRACE(std::string(column.attribute) + " of " + row.value.description()->toStdString());
      const Cell& cell = row.*column.cell;
      person->setValueForKey(column.before, column.attribute);
      log.clear();
      map->mapValueToObject(row.value, person);
      const Value after = person->valueForKey(column.attribute);
      std::vector<std::string> expectedLog;
      switch (cell.kind) {
        case Cell::Kind::Same:
          EXPECT_TRUE(after.isIdentical(row.value)) << after.description()->utf8();
          break;
        case Cell::Kind::Clear:
          EXPECT_TRUE(after.isNull()) << after.description()->utf8();
          break;
        case Cell::Kind::Value:
          EXPECT_EQ(after, cell.value);
          // A number from text is an integer, in every attribute.
          if (cell.value.isNumber()) {
            EXPECT_EQ(after.kind(), Value::Kind::Integer);
          }
          break;
        case Cell::Kind::Refused:
          EXPECT_EQ(after, column.before);
          expectedLog.push_back(
              NSString::stringWithFormat("-[PLVScalarDataMap mapValue:toObject:filter:](%p) "
                                         "unparsable value class %s when mapping %s to Person.%s",
                                         static_cast<const void*>(map.get()),
                                         row.value.class_()->name(), column.kind, column.attribute)
                  ->toStdString());
          break;
      }
      EXPECT_EQ(log, expectedLog);
    }
  }
}

}  // namespace
}  // namespace JNFoundation
