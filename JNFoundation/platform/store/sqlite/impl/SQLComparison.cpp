#include "JNFoundation/platform/store/sqlite/impl/SQLComparison.h"

#include <cmath>
#include <optional>

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// More members than this are compared in memory.
constexpr NSUInteger memberLimit = 10'000;

using OperandForm = SQLOperand::Form;

Value withoutMarker(const Value& value) { return value.isNSNull() ? Value() : value; }

const char* orderOperator(NSPredicateOperatorType type) {
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return " < ";
    case NSLessThanOrEqualToPredicateOperatorType:
      return " <= ";
    case NSGreaterThanPredicateOperatorType:
      return " > ";
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return " >= ";
    default:
      return nullptr;
  }
}

/// The operator that says the same with its sides exchanged. Returns: nothing where there is none.
std::optional<NSPredicateOperatorType> mirrored(NSPredicateOperatorType type) {
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return NSGreaterThanPredicateOperatorType;
    case NSLessThanOrEqualToPredicateOperatorType:
      return NSGreaterThanOrEqualToPredicateOperatorType;
    case NSGreaterThanPredicateOperatorType:
      return NSLessThanPredicateOperatorType;
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return NSLessThanOrEqualToPredicateOperatorType;
    case NSEqualToPredicateOperatorType:
    case NSNotEqualToPredicateOperatorType:
      return type;
    default:
      return std::nullopt;
  }
}

/// Whether the value can be a parameter without losing anything.
bool isBindable(const Value& value) noexcept {
  switch (value.kind()) {
    case Value::Kind::Boolean:
    case Value::Kind::Integer:
      return true;
    case Value::Kind::Float:
    case Value::Kind::Double:
      // SQLite takes not-a-number for NULL.
      return !std::isnan(value.doubleValue());
    case Value::Kind::Date:
      return !std::isnan(value.timeIntervalSince1970());
    case Value::Kind::Object:
      return kindOf(value) != ValueKind::Other;
    default:
      return false;
  }
}

/// A comparison that is NULL where the operand is, made 0 there.
std::string falseForNull(const SQLOperand& operand, const std::string& comparison) {
  if (!operand.canBeNull) return comparison;
  if (!operand.isColumn) return "ifnull(" + comparison + ", 0)";
  return "(" + comparison + " AND " + operand.sql + " IS NOT NULL)";
}

std::string isNull(const SQLOperand& operand) {
  return operand.canBeNull ? operand.sql + " IS NULL" : "0";
}

std::string equals(const SQLOperand& operand, const std::string& parameter) {
  if (!operand.canBeNull) return operand.sql + " = " + parameter;
  if (!operand.isJoined) return operand.sql + " IS " + parameter;
  return falseForNull(operand, operand.sql + " = " + parameter);
}

std::string isAmong(const SQLOperand& operand, const std::string& list, bool orNull) {
  if (list.empty()) return orNull ? isNull(operand) : "0";
  const std::string found = operand.sql + " IN (" + list + ")";
  if (!orNull || !operand.canBeNull) return falseForNull(operand, found);
  if (!operand.isColumn) return "ifnull(" + found + ", 1)";
  return "(" + falseForNull(operand, found) + " OR " + operand.sql + " IS NULL)";
}

}  // namespace

ValueKind kindOf(NSAttributeType type) noexcept {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
      return ValueKind::Number;
    case NSStringAttributeType:
      return ValueKind::Text;
    case NSDateAttributeType:
      return ValueKind::Date;
    case NSUUIDAttributeType:
      return ValueKind::UUID;
    case NSBinaryDataAttributeType:
      return ValueKind::Data;
    default:
      return ValueKind::Other;
  }
}

ValueKind kindOf(const Value& value) noexcept {
  if (value.isString()) return ValueKind::Text;
  if (value.isDate()) return ValueKind::Date;
  if (value.isNumber() && !value.isObject()) return ValueKind::Number;
  if (isKindOf<NSUUID>(value)) return ValueKind::UUID;
  if (isKindOf<NSData>(value)) return ValueKind::Data;
  return ValueKind::Other;
}

bool appendListMembers(const Value& collection, std::vector<Value>& members) {
  const auto addAll = [&](const auto& all) {
    if (all.count() > memberLimit) return false;
    for (const Value& member : all) members.push_back(withoutMarker(member));
    return true;
  };
  if (const auto* array = as<NSArray>(collection)) return addAll(*array);
  if (const auto* set = as<NSSet>(collection)) return addAll(*set);
  if (const auto* ordered = as<NSOrderedSet>(collection)) return addAll(*ordered);
  return false;
}

std::string SQLComparison::parameter(const Value& value) {
  // A UUID stands in the file as text, which has to live as long as the statement runs.
  _parameters.push_back(isKindOf<NSUUID>(value) ? Value(as<NSUUID>(value)->UUIDString()) : value);
  return "?" + std::to_string(_parameters.size());
}

bool SQLComparison::compare(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                            const SQLOperand& left, const SQLOperand& right, std::string& sql) {
  if (left.form == OperandForm::Constant && right.form == OperandForm::Constant) return false;
  if (right.form == OperandForm::Constant) {
    return compareWithConstant(type, options, left, right.constant, sql);
  }
  if (left.form == OperandForm::Constant) {
    std::optional<NSPredicateOperatorType> other = mirrored(type);
    // A collection that contains the right side.
    if (type == NSContainsPredicateOperatorType && !left.constant.isString()) {
      other = NSInPredicateOperatorType;
    }
    return other && compareWithConstant(*other, options, right, left.constant, sql);
  }
  if (left.form == OperandForm::Record || right.form == OperandForm::Record) {
    return left.form == right.form && compareRecords(type, left, right, sql);
  }
  return options == 0 && compareValues(type, left, right, sql);
}

bool SQLComparison::compareWithConstant(NSPredicateOperatorType type,
                                        NSComparisonPredicateOptions options,
                                        const SQLOperand& operand, const Value& value,
                                        std::string& sql) {
  const bool negated = type == NSNotEqualToPredicateOperatorType;
  if (value.isNull()) {
    if (type == NSInPredicateOperatorType || type == NSBetweenPredicateOperatorType) return false;
    if (operand.form == OperandForm::Record && !isEquality(type)) return false;
    if (!isEquality(type)) {
      sql += "0";
    } else if (operand.canBeNull) {
      sql += operand.sql + (negated ? " IS NOT NULL" : " IS NULL");
    } else {
      sql += negated ? "1" : "0";
    }
    return true;
  }
  if (type == NSInPredicateOperatorType && !value.isString()) {
    return options == 0 && in(operand, value, sql);
  }
  if (operand.form == OperandForm::Record) return compareRecord(type, operand, value, sql);
  if (type == NSBetweenPredicateOperatorType) return options == 0 && between(operand, value, sql);
  if (operand.kind == ValueKind::Other || !isBindable(value)) return false;
  const bool isAlike = operand.kind == kindOf(value);
  if (isEquality(type) || orderOperator(type)) {
    if (!isAlike) {
      sql += negated ? "1" : "0";
    } else if (operand.kind == ValueKind::Text && options != 0) {
      if (negated) sql += "NOT ";
      textOperator(negated ? NSEqualToPredicateOperatorType : type, options, operand, value, sql);
    } else if (!operand.exists.empty() && compareCount(type, operand, value, sql)) {
      return true;
    } else if (isEquality(type)) {
      sql +=
          negated ? operand.sql + " IS NOT " + parameter(value) : equals(operand, parameter(value));
    } else if (operand.kind == ValueKind::Data) {
      return false;
    } else {
      sql += falseForNull(operand, operand.sql + orderOperator(type) + parameter(value));
    }
    return true;
  }
  // What remains works on texts only, and raises in memory for anything else.
  if (operand.kind != ValueKind::Text || !isAlike) return false;
  if (type == NSBeginsWithPredicateOperatorType && options == 0) {
    beginsWith(operand, as<NSString>(value)->utf8(), sql);
  } else {
    textOperator(type, options, operand, value, sql);
  }
  return true;
}

/// Whether there is one or none is found out without counting. Returns: false for other questions.
bool SQLComparison::compareCount(NSPredicateOperatorType type, const SQLOperand& count,
                                 const Value& value, std::string& sql) const {
  if (value.kind() != Value::Kind::Integer) return false;
  const std::int64_t number = value.longLongValue();
  const bool isSome =
      (number == 0 && (type == NSGreaterThanPredicateOperatorType ||
                       (type == NSNotEqualToPredicateOperatorType && !count.canBeNull))) ||
      (number == 1 && type == NSGreaterThanOrEqualToPredicateOperatorType);
  const bool isNone =
      !count.canBeNull && ((number == 0 && (type == NSEqualToPredicateOperatorType ||
                                            type == NSLessThanOrEqualToPredicateOperatorType)) ||
                           (number == 1 && type == NSLessThanPredicateOperatorType));
  if (isSome) sql += count.exists;
  if (isNone) sql += "NOT " + count.exists;
  return isSome || isNone;
}

void SQLComparison::textOperator(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                                 const SQLOperand& operand, const Value& value, std::string& sql) {
  sql += "jn_text(" + std::to_string(static_cast<NSUInteger>(type)) + ", " +
         std::to_string(static_cast<NSUInteger>(options)) + ", " + operand.sql + ", " +
         parameter(value) + ")";
}

void SQLComparison::beginsWith(const SQLOperand& operand, std::string_view prefix,
                               std::string& sql) {
  if (prefix.empty()) {
    sql += operand.sql + " IS NOT NULL";
    return;
  }
  // From the prefix to just before what follows every text that begins with it. No byte of UTF-8 is
  // so great that it could not be counted up; bytes keep the result as it is.
  std::string end(prefix);
  end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
  std::string range = operand.sql + " >= " + parameter(prefix);
  range += " AND " + operand.sql + " < CAST(" + parameter(NSData::dataWithText(std::move(end))) +
           " AS TEXT)";
  sql += falseForNull(operand, range);
}

bool SQLComparison::compareValues(NSPredicateOperatorType type, const SQLOperand& left,
                                  const SQLOperand& right, std::string& sql) const {
  const ValueKind kind = left.kind;
  if (kind == ValueKind::Other || right.kind == ValueKind::Other) return false;
  const bool isAlike = right.kind == kind;
  if (const char* order = orderOperator(type)) {
    // Data and the like have no order, and asking for it raises in memory.
    if (kind == ValueKind::Data || kind == ValueKind::UUID) return false;
    if (!isAlike) {
      sql += "0";
      return true;
    }
    sql += "ifnull(" + left.sql + order + right.sql + ", 0)";
    return true;
  }
  if (!isEquality(type)) return false;
  if (!isAlike) {
    // Values of two kinds are equal only if neither is there.
    if (type == NSNotEqualToPredicateOperatorType) sql += "NOT ";
    sql += "(" + isNull(left) + " AND " + isNull(right) + ")";
    return true;
  }
  sql += left.sql + (type == NSEqualToPredicateOperatorType ? " IS " : " IS NOT ") + right.sql;
  return true;
}

bool SQLComparison::between(const SQLOperand& operand, const Value& bounds, std::string& sql) {
  const auto* list = as<NSArray>(bounds);
  const ValueKind kind = operand.kind;
  if (!list || list->count() != 2 || kind == ValueKind::Other || kind == ValueKind::Data) {
    return false;
  }
  const Value low = list->objectAtIndex(0), high = list->objectAtIndex(1);
  if (!isBindable(low) || !isBindable(high)) return false;
  if (kindOf(low) != kind || kindOf(high) != kind) {
    sql += "0";
    return true;
  }
  std::string range = operand.sql + " BETWEEN " + parameter(low);
  range += " AND " + parameter(high);
  sql += falseForNull(operand, range);
  return true;
}

/// Records of which there are many are one parameter together, however many there are.
/// Returns: false, and has done nothing, for few of them, and for what is no collection.
bool SQLComparison::inMany(const SQLOperand& operand, const Value& collection, std::string& sql) {
  constexpr NSUInteger many = 50;
  std::string numbers = "[";
  bool withNull = false;
  const auto addAll = [&](const auto& all) {
    if (all.count() < many) return false;
    for (const Value& marked : all) {
      const Value member = withoutMarker(marked);
      withNull = withNull || member.isNull();
      const std::int64_t number = member.isNull() ? 0 : numberOf(member, *operand.entity);
      if (number == 0) continue;
      if (numbers.size() > 1) numbers += ',';
      numbers += std::to_string(number);
    }
    return true;
  };
  const auto* array = as<NSArray>(collection);
  const auto* set = as<NSSet>(collection);
  const auto* ordered = as<NSOrderedSet>(collection);
  if (array ? !addAll(*array) : set ? !addAll(*set) : !ordered || !addAll(*ordered)) return false;
  const std::string list =
      "SELECT value FROM json_each(" + parameter(NSString::fromText(numbers + "]")) + ")";
  sql += isAmong(operand, list, withNull);
  return true;
}

bool SQLComparison::in(const SQLOperand& operand, const Value& collection, std::string& sql) {
  std::vector<Value> members;
  const bool isRecord = operand.form == OperandForm::Record;
  if (isRecord && inMany(operand, collection, sql)) return true;
  if ((!isRecord && operand.kind == ValueKind::Other) || !appendListMembers(collection, members)) {
    return false;
  }
  std::string list;
  bool withNull = false;
  for (const Value& member : members) {
    if (member.isNull()) {
      withNull = true;
      continue;
    }
    // What is of another kind or in another place equals nothing here.
    Value candidate = member;
    if (isRecord) {
      const std::int64_t number = numberOf(member, *operand.entity);
      if (number == 0) continue;
      candidate = number;
    } else if (!isBindable(member)) {
      return false;
    } else if (kindOf(member) != operand.kind) {
      continue;
    }
    if (!list.empty()) list += ", ";
    list += parameter(candidate);
  }
  sql += isAmong(operand, list, withNull);
  return true;
}

// ---- Records ------------------------------------------------------------------------------------

std::int64_t SQLComparison::numberOf(const Value& value, const NSEntityDescription& entity) const {
  const EntityLayout& layout = entity.layout();
  if (const auto* identity = as<RecordIdentity>(value)) {
    const StoreHierarchy* hierarchy = identity->key().hierarchy;
    const bool isHere = hierarchy && hierarchy->root == &layout.root() &&
                        hierarchy->store->identifier()->utf8() == _storeIdentifier;
    return isHere ? identity->key().number : 0;
  }
  Ref<NSManagedObjectID> objectID;
  if (const auto* object = as<NSManagedObject>(value)) objectID = object->objectID();
  if (const auto* identifier = as<NSManagedObjectID>(value)) {
    objectID = Ref<NSManagedObjectID>(const_cast<NSManagedObjectID*>(identifier));
  }
  if (!objectID || objectID->isTemporaryID() ||
      objectID->storeIdentifier()->utf8() != _storeIdentifier ||
      objectID->entity()->layout().rootName() != layout.rootName()) {
    return 0;
  }
  return objectID->number();
}

bool SQLComparison::compareRecord(NSPredicateOperatorType type, const SQLOperand& record,
                                  const Value& value, std::string& sql) {
  if (!isEquality(type)) return false;
  const bool negated = type == NSNotEqualToPredicateOperatorType;
  const std::int64_t number = numberOf(value, *record.entity);
  if (number == 0) {
    sql += negated ? "1" : "0";
  } else {
    sql +=
        negated ? record.sql + " IS NOT " + parameter(number) : equals(record, parameter(number));
  }
  return true;
}

bool SQLComparison::compareRecords(NSPredicateOperatorType type, const SQLOperand& left,
                                   const SQLOperand& right, std::string& sql) {
  if (!isEquality(type)) return false;
  const bool negated = type == NSNotEqualToPredicateOperatorType;
  if (&left.entity->layout().root() == &right.entity->layout().root()) {
    sql += left.sql + (negated ? " IS NOT " : " IS ") + right.sql;
    return true;
  }
  // Records of different hierarchies have nothing in common but not being there.
  if (negated) sql += "NOT ";
  sql += "(" + isNull(left) + " AND " + isNull(right) + ")";
  return true;
}

void bindParameter(Statement& statement, int number, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Null:
      statement.bindNull(number);
      break;
    case Value::Kind::Float:
    case Value::Kind::Double:
      statement.bind(number, value.doubleValue());
      break;
    case Value::Kind::Date:
      statement.bind(number, value.timeIntervalSince1970());
      break;
    case Value::Kind::Object:
      if (const auto* data = as<NSData>(value)) {
        const std::string_view bytes = data->view();
        sqlite3_bind_blob64(statement.handle(), number, bytes.empty() ? "" : bytes.data(),
                            bytes.size(), SQLITE_STATIC);
      } else {
        statement.bind(number, as<NSString>(value)->utf8());
      }
      break;
    default:
      statement.bind(number, value.longLongValue());
  }
}

}  // namespace JNFoundation::impl
