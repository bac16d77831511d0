#include "JNFoundation/platform/store/sqlite/impl/ValueBinding.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1::impl {

void bindValue(Statement& statement, int parameter, NSAttributeType type, const Value& value,
               std::vector<Ref<NSString>>& made) {
  if (value.isNull()) {
    statement.bindNull(parameter);
    return;
  }
  const auto bindText = [&](Ref<NSString> text) {
    statement.bind(parameter, text->utf8());
    made.push_back(std::move(text));
  };
  const auto bindData = [&](const NSData& data) {
    const std::string_view bytes = data.view();
    sqlite3_bind_blob64(statement.handle(), parameter, bytes.empty() ? "" : bytes.data(),
                        bytes.size(), SQLITE_STATIC);
  };
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      statement.bind(parameter, value.longLongValue());
      break;
    case NSBooleanAttributeType:
      statement.bind(parameter, static_cast<std::int64_t>(value.boolValue()));
      break;
    case NSDoubleAttributeType:
      statement.bind(parameter, value.doubleValue());
      break;
    case NSFloatAttributeType:
      statement.bind(parameter, static_cast<double>(value.floatValue()));
      break;
    case NSDateAttributeType:
      statement.bind(parameter, value.timeIntervalSince1970());
      break;
    case NSStringAttributeType:
      statement.bind(parameter, static_cast<const NSString*>(value.object())->utf8());
      break;
    case NSBinaryDataAttributeType:
      bindData(*static_cast<const NSData*>(value.object()));
      break;
    case NSTransformableAttributeType: {
      // The data stay with the object's value.
      const Value data = storedFormOfPlace(value);
      bindData(*static_cast<const NSData*>(data.object()));
      break;
    }
    case NSDecimalAttributeType:
      bindText(value.stringValue());
      break;
    case NSUUIDAttributeType:
      bindText(static_cast<const NSUUID*>(value.object())->UUIDString());
      break;
    case NSURIAttributeType:
      bindText(static_cast<const NSURL*>(value.object())->absoluteString());
      break;
    default:
      // Validation has refused what has no form.
      statement.bindNull(parameter);
  }
}

}  // namespace JNFoundation::impl
