#include "JNFoundation/adapters/QtValue.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <cmath>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1 {
namespace {

QString stringOf(const NSString& text) {
  const std::string_view utf8 = text.utf8();
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QVariant variantOfDate(NSTimeInterval seconds) {
  const double milliseconds = std::round(seconds * 1000);
  // Years beyond these are none of QDateTime's, and not-a-number is no date at all.
  constexpr double limit = 9'000'000'000'000'000;
  if (!(std::abs(milliseconds) < limit)) return {};
  return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(milliseconds));
}

QVariant variantOfDecimal(const Value& value) {
  const double nearest = value.doubleValue();
  if (NSDecimalNumber::decimalNumberWithDouble(nearest)->isEqual(value)) return nearest;
  return stringOf(*value.stringValue());
}

QVariant variantOfObject(const Value& value) {
  if (const auto* text = as<NSString>(value)) return stringOf(*text);
  if (isKindOf<NSDecimalNumber>(value)) return variantOfDecimal(value);
  if (const auto* data = as<NSData>(value)) {
    const std::string_view bytes = data->view();
    return QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size()));
  }
  if (const auto* uuid = as<NSUUID>(value)) {
    return QUuid::fromRfc4122(QByteArrayView(uuid->bytes().data(), 16));
  }
  if (const auto* url = as<NSURL>(value)) return QUrl(stringOf(*url->absoluteString()));
  if (auto* object = as<NSManagedObject>(value)) {
    return QVariant::fromValue(Ref<NSManagedObject>(object));
  }
  if (value.isNSNull()) return {};
  return QVariant::fromValue(value);
}

}  // namespace

QVariant variantOf(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Null:
      return {};
    case Value::Kind::Boolean:
      return value.boolValue();
    case Value::Kind::Integer:
      return QVariant::fromValue<qlonglong>(value.longLongValue());
    case Value::Kind::Unsigned:
      return QVariant::fromValue<qulonglong>(value.unsignedLongLongValue());
    case Value::Kind::Float:
    case Value::Kind::Double:
      return value.doubleValue();
    case Value::Kind::Date:
      return variantOfDate(value.timeIntervalSince1970());
    case Value::Kind::Class:
      return QVariant::fromValue(value);
    case Value::Kind::Object:
      break;
  }
  return variantOfObject(value);
}

}  // namespace JNFoundation
