#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include <JNFoundation/adapters/QtValue.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

QVariant decimal(const char* text) {
  return variantOf(NSDecimalNumber::decimalNumberWithString(text));
}

TEST(QtValue, NothingIsInvalid) {
  EXPECT_FALSE(variantOf(nullptr).isValid());
  EXPECT_FALSE(variantOf(NSNull::null()).isValid());
}

TEST(QtValue, TextIsUnicode) {
  EXPECT_EQ(variantOf("Åland 🏝"), QVariant(QString::fromUtf8("Åland 🏝")));
  EXPECT_EQ(variantOf(std::string("a\0b", 3)).toString().size(), 3);
  EXPECT_EQ(variantOf("").metaType().id(), QMetaType::QString);
}

TEST(QtValue, NumbersKeepTheirKind) {
  EXPECT_EQ(variantOf(true).metaType().id(), QMetaType::Bool);
  EXPECT_EQ(variantOf(false), QVariant(false));
  EXPECT_EQ(variantOf(-5).metaType().id(), QMetaType::LongLong);
  EXPECT_EQ(variantOf(std::numeric_limits<std::int64_t>::min()).toLongLong(),
            std::numeric_limits<qlonglong>::min());
  EXPECT_EQ(variantOf(std::numeric_limits<std::uint64_t>::max()).toULongLong(),
            std::numeric_limits<qulonglong>::max());
  EXPECT_EQ(variantOf(0.1), QVariant(0.1));
  EXPECT_EQ(variantOf(0.5f), QVariant(0.5));
  EXPECT_TRUE(std::isnan(variantOf(std::nan("")).toDouble()));
}

TEST(QtValue, DecimalsLoseNoDigit) {
  EXPECT_EQ(decimal("12.50"), QVariant(12.5));
  EXPECT_EQ(decimal("0.1"), QVariant(0.1));
  EXPECT_EQ(decimal("-3").metaType().id(), QMetaType::Double);
  EXPECT_EQ(decimal("12345678901234567890.12"), QVariant(QString("12345678901234567890.12")));
  EXPECT_EQ(decimal("0.1000000000000000000001"), QVariant(QString("0.1000000000000000000001")));
}

TEST(QtValue, DatesAreMoments) {
  const QVariant date = variantOf(Value::dateWithTimeIntervalSince1970(1'000'000'000.25));
  EXPECT_EQ(date.metaType().id(), QMetaType::QDateTime);
  EXPECT_EQ(date.toDateTime().toMSecsSinceEpoch(), 1'000'000'000'250);
  EXPECT_EQ(variantOf(Value::dateWithTimeIntervalSince1970(-0.001)).toDateTime().toUTC(),
            QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), Qt::UTC));
  for (const double never : {1e300, -1e300, std::nan("")}) {
    EXPECT_FALSE(variantOf(Value::dateWithTimeIntervalSince1970(never)).isValid());
  }
}

TEST(QtValue, DataAndIdentifiersAreThoseOfQt) {
  EXPECT_EQ(variantOf(NSData::dataWithText(std::string("a\0b", 3))).toByteArray(),
            QByteArray("a\0b", 3));
  EXPECT_EQ(variantOf(NSData::data()).metaType().id(), QMetaType::QByteArray);
  const char* const uuid = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  EXPECT_EQ(variantOf(NSUUID::initWithUUIDString(uuid)).toUuid(), QUuid(uuid));
  EXPECT_EQ(variantOf(NSURL::URLWithString("https://example.org/a%20b?c=d#e")).toUrl(),
            QUrl("https://example.org/a%20b?c=d#e"));
}

TEST(QtValue, AnythingElseGoesAlongAsItIs) {
  const Value array = NSArray::arrayWithObjects("a", 1);
  const QVariant variant = variantOf(array);
  ASSERT_TRUE(variant.canConvert<Value>());
  EXPECT_TRUE(variant.value<Value>().isIdentical(array));
}

}  // namespace
}  // namespace JNFoundation
