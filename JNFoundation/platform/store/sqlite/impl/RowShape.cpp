#include "JNFoundation/platform/store/sqlite/impl/RowShape.h"

#include <algorithm>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>
#include <JNFoundation/platform/value/RecurringTexts.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

constexpr int firstColumn = 3;

/// Results shorter than this do not look for texts that come again.
constexpr std::size_t fewRows = 16;

/// Reads a column that may hold a value of the type; the place is null so far. The column is looked
/// up once: nobody else uses the connection meanwhile, so that its value may be asked directly.
/// Takes: the column's texts so far, or null.
inline void readValue(sqlite3_stmt* row, int column, NSAttributeType type, RecurringTexts* texts,
                      Value& place) {
  sqlite3_value* value = sqlite3_column_value(row, column);
  if (sqlite3_value_type(value) == SQLITE_NULL) return;
  const auto text = [&] {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return std::string_view(bytes ? bytes : "",
                            static_cast<std::size_t>(sqlite3_value_bytes(value)));
  };
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      place = Value(static_cast<std::int64_t>(sqlite3_value_int64(value)));
      break;
    case NSBooleanAttributeType:
      place = Value(sqlite3_value_int64(value) != 0);
      break;
    case NSDoubleAttributeType:
      place = Value(sqlite3_value_double(value));
      break;
    case NSFloatAttributeType:
      place = Value(static_cast<float>(sqlite3_value_double(value)));
      break;
    case NSDateAttributeType:
      place = Value::dateWithTimeIntervalSince1970(sqlite3_value_double(value));
      break;
    case NSStringAttributeType:
      place = Value(texts ? texts->stringOf(text()) : NSString::fromText(text()));
      break;
    case NSBinaryDataAttributeType:
    case NSTransformableAttributeType: {
      const void* bytes = sqlite3_value_blob(value);
      const auto size = static_cast<NSUInteger>(sqlite3_value_bytes(value));
      place = Value(NSData::dataWithBytesLength(bytes, size));
      break;
    }
    case NSDecimalAttributeType:
      place = Value(NSDecimalNumber::decimalNumberWithString(NSString::fromText(text())));
      break;
    case NSUUIDAttributeType:
      place = Value(NSUUID::initWithUUIDString(NSString::fromText(text())));
      break;
    case NSURIAttributeType:
      place = Value(NSURL::URLWithString(NSString::fromText(text())));
      break;
    default:
      break;
  }
}

/// Reads a relationship to one record. Returns: false for an entity that cannot be there.
bool readReference(sqlite3_stmt* row, int column, const Schema::Column& reference,
                   const Schema& schema, const NSPersistentStore& store, Value& place) {
  sqlite3_value* value = sqlite3_column_value(row, column);
  if (sqlite3_value_type(value) == SQLITE_NULL) return true;
  const EntityLayout& layout = reference.destination->layout();
  const NSEntityDescription* entity = nullptr;
  const std::int64_t number = sqlite3_value_int64(value);
  if (reference.entityColumn.empty()) {
    entity = layout.family().front();
  } else {
    const Schema::EntityMap* map =
        schema.ofRecord(sqlite3_column_int64(row, column + 1), layout.root());
    if (!map) return false;
    entity = map->entity;
  }
  place = Value(ObjectAccess::makeID(
      Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(entity)), number, &store));
  return true;
}

}  // namespace

void readColumn(Statement& statement, int column, NSAttributeType type, Value& place) {
  readValue(statement.handle(), column, type, nullptr, place);
}

RowShape::RowShape(const Schema& schema, const NSEntityDescription& entity,
                   bool includesSubentities, std::string_view prefix,
                   std::span<const Ref<NSString>> properties)
    : _schema(schema), _root(entity.layout().root()), _prefix(prefix) {
  const auto isWanted = [&](const NSEntityDescription& member, const Schema::Column& column) {
    const NSString& name = *member.layout()[column.attribute].name;
    return properties.empty() ||
           std::any_of(properties.begin(), properties.end(),
                       [&](const Ref<NSString>& one) { return one->hasContentOf(name); });
  };
  std::vector<const NSEntityDescription*> members{&entity};
  if (includesSubentities) {
    const auto family = entity.layout().family();
    members.assign(family.begin(), family.end());
  }
  for (const char* own : {"_pk", "_version", "_entity"}) {
    _own += (_own.empty() ? "" : ", ") + _prefix + own;
  }
  for (const NSEntityDescription* member : members) {
    const Schema::EntityMap& map = _schema.of(*member);
    _numbers += (_numbers.empty() ? "" : ", ") + std::to_string(map.number);
    for (const Schema::Column& column : map.columns) {
      if (!isWanted(*member, column)) continue;
      if (std::find(_names.begin(), _names.end(), column.name) != _names.end()) continue;
      add(column.name);
      // Right behind it, where the reader looks for it.
      if (!column.entityColumn.empty()) add(column.entityColumn);
    }
  }
  _isWhole = members.size() == _root.layout().family().size();
}

void RowShape::add(const std::string& column) {
  _names.push_back(column);
  _columns += ", " + _prefix + column;
}

const std::vector<int>& RowShape::positionsOf(const Schema::EntityMap& map) {
  for (const auto& [known, positions] : _positions) {
    if (known == &map) return positions;
  }
  std::vector<int> positions;
  for (const Schema::Column& column : map.columns) {
    const auto place = std::find(_names.begin(), _names.end(), column.name);
    const bool isRead = place != _names.end();
    positions.push_back(isRead ? firstColumn + static_cast<int>(place - _names.begin()) : -1);
  }
  return _positions.emplace_back(&map, std::move(positions)).second;
}

bool RowShape::read(Statement& statement, NSPersistentStore& store, bool withValues,
                    StoreRowReceiver& receiver, bool& failed) {
  sqlite3_stmt* row = statement.handle();
  const Schema::EntityMap* map = nullptr;
  const std::vector<int>* positions = nullptr;
  std::vector<RecurringTexts> texts;
  std::size_t rowCount = 0;
  Statement::Step step;
  while ((step = statement.step()) == Statement::Step::Row) {
    const std::int64_t number = sqlite3_column_int64(row, 2);
    if (!map || map->number != number) {
      map = _schema.ofRecord(number, _root);
      if (!map) return false;
      positions = withValues ? &positionsOf(*map) : nullptr;
    }
    Value* places = receiver.beginRow(*map->entity, sqlite3_column_int64(row, 0),
                                      static_cast<std::uint32_t>(sqlite3_column_int64(row, 1)));
    if (!places || !positions) continue;
    if (++rowCount == fewRows) texts.resize(firstColumn + _names.size());
    const Schema::Column* column = map->columns.data();
    for (const int position : *positions) {
      Value& place = places[column->attribute];
      if (position < 0) {
        // Nobody wants it.
      } else if (!column->destination) {
        readValue(row, position, column->type,
                  texts.empty() ? nullptr : &texts[static_cast<std::size_t>(position)], place);
      } else if (!readReference(row, position, *column, _schema, store, place)) {
        return false;
      }
      ++column;
    }
    receiver.endRow();
  }
  failed = step == Statement::Step::Failed;
  return !failed;
}

}  // namespace JNFoundation::impl
