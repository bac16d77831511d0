#include "JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h"

#include <algorithm>
#include <cmath>

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::impl {
namespace {

/// More members than this are compared in memory.
constexpr NSUInteger memberLimit = 10'000;

/// SQLite takes 32,766 parameters, and expressions of 1,000 levels. What comes close to that is
/// left to memory.
constexpr std::size_t parameterLimit = 30'000;
constexpr unsigned depthLimit = 800;

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

/// The operator that says the same with its sides exchanged; the operator itself where it has none.
NSPredicateOperatorType mirrored(NSPredicateOperatorType type) {
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return NSGreaterThanPredicateOperatorType;
    case NSLessThanOrEqualToPredicateOperatorType:
      return NSGreaterThanOrEqualToPredicateOperatorType;
    case NSGreaterThanPredicateOperatorType:
      return NSLessThanPredicateOperatorType;
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return NSLessThanOrEqualToPredicateOperatorType;
    default:
      return type;
  }
}

/// The members of an array or a set. Returns: nothing for anything else.
std::optional<std::vector<Value>> membersOf(const Value& collection) {
  std::vector<Value> members;
  if (const auto* array = as<NSArray>(collection)) {
    if (array->count() > memberLimit) return std::nullopt;
    for (const Value& member : *array) members.push_back(withoutMarker(member));
    return members;
  }
  if (const auto* set = as<NSSet>(collection)) {
    if (set->count() > memberLimit) return std::nullopt;
    for (const Value& member : *set) members.push_back(withoutMarker(member));
    return members;
  }
  return std::nullopt;
}

}  // namespace

PredicateTranslator::Kind PredicateTranslator::kindOf(NSAttributeType type) noexcept {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
      return Kind::Number;
    case NSStringAttributeType:
      return Kind::Text;
    case NSDateAttributeType:
      return Kind::Date;
    case NSUUIDAttributeType:
      return Kind::UUID;
    case NSBinaryDataAttributeType:
      return Kind::Data;
    default:
      return Kind::Other;
  }
}

PredicateTranslator::Kind PredicateTranslator::kindOf(const Value& value) noexcept {
  if (value.isString()) return Kind::Text;
  if (value.isDate()) return Kind::Date;
  if (value.isNumber() && !value.isObject()) return Kind::Number;
  if (isKindOf<NSUUID>(value)) return Kind::UUID;
  if (isKindOf<NSData>(value)) return Kind::Data;
  return Kind::Other;
}

bool PredicateTranslator::isBindable(const Value& value) noexcept {
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
      return kindOf(value) != Kind::Other;
    default:
      return false;
  }
}

std::string PredicateTranslator::parameter(const Value& value) {
  // A UUID stands in the file as text, which has to live as long as the statement runs.
  _parameters.push_back(isKindOf<NSUUID>(value) ? Value(as<NSUUID>(value)->UUIDString()) : value);
  return "?";
}

std::string PredicateTranslator::condition(const Ref<NSPredicate>& predicate,
                                           Ref<NSPredicate>& remaining) {
  remaining = nullptr;
  if (!predicate) return {};
  std::vector<Value> parts{Value(predicate)};
  if (isKindOf<NSCompoundPredicate>(*predicate)) {
    const auto& compound = static_cast<const NSCompoundPredicate&>(*predicate);
    if (compound.compoundPredicateType() == NSAndPredicateType) {
      parts.clear();
      for (const Value& part : compound.subpredicates()) parts.push_back(part);
    }
  }
  std::string conditions;
  std::vector<Value> rest;
  for (const Value& part : parts) {
    const std::size_t before = _parameters.size();
    std::string sql;
    unsigned depth = 0;
    // The conditions are joined to one expression, a level for each.
    const auto levels = static_cast<unsigned>(std::min<std::size_t>(parts.size(), depthLimit));
    if (translate(*as<NSPredicate>(part), sql, depth) && depth + levels < depthLimit &&
        _parameters.size() <= parameterLimit) {
      if (!conditions.empty()) conditions += " AND ";
      conditions += sql;
    } else {
      _parameters.resize(before);
      rest.push_back(part);
    }
  }
  if (rest.size() == 1) {
    remaining = Ref<NSPredicate>(as<NSPredicate>(rest.front()));
  } else if (!rest.empty()) {
    remaining = NSCompoundPredicate::andPredicateWithSubpredicates(
        NSArray::arrayWithValues(std::move(rest)));
  }
  return conditions;
}

// Recursion is bounded by the depth that predicates may have.
bool PredicateTranslator::translate(const NSPredicate& predicate, std::string& sql,
                                    unsigned& depth) {
  constexpr unsigned depthOfComparison = 8;
  depth = depthOfComparison;
  if (const std::optional<bool> answer = predicate.constantAnswer()) {
    sql += *answer ? "1" : "0";
    return true;
  }
  if (isKindOf<NSCompoundPredicate>(predicate)) return translateCompound(predicate, sql, depth);
  return isKindOf<NSComparisonPredicate>(predicate) &&
         translateComparison(static_cast<const NSComparisonPredicate&>(predicate), sql);
}

bool PredicateTranslator::translateCompound(const NSPredicate& predicate, std::string& sql,
                                            unsigned& depth) {
  const auto& compound = static_cast<const NSCompoundPredicate&>(predicate);
  const NSCompoundPredicateType type = compound.compoundPredicateType();
  if (compound.subpredicates()->count() > depthLimit) return false;
  sql += type == NSNotPredicateType ? "(NOT " : "(";
  bool first = true;
  unsigned deepest = 0;
  for (const Value& part : *compound.subpredicates()) {
    if (!first) sql += type == NSAndPredicateType ? " AND " : " OR ";
    first = false;
    unsigned depthOfPart = 0;
    if (!translate(*as<NSPredicate>(part), sql, depthOfPart)) return false;
    deepest = std::max(deepest, depthOfPart);
  }
  if (first) sql += type == NSAndPredicateType ? "1" : "0";
  sql += ")";
  // SQLite reads a AND b AND c as (a AND b) AND c.
  depth = deepest + static_cast<unsigned>(compound.subpredicates()->count()) + 1;
  return depth < depthLimit;
}

bool PredicateTranslator::operandOf(const NSExpression& expression, Operand& operand) const {
  switch (expression.expressionType()) {
    case NSConstantValueExpressionType:
      operand.constant = withoutMarker(expression.constantValue());
      return true;
    case NSAggregateExpressionType: {
      // A list of constants is a constant.
      const Value collection = expression.collection();
      const auto* members = as<NSArray>(collection);
      if (!members || members->count() > memberLimit) return false;
      std::vector<Value> values;
      for (const Value& member : *members) {
        const auto* inner = as<NSExpression>(member);
        if (inner && inner->expressionType() != NSConstantValueExpressionType) return false;
        const Value value = inner ? inner->constantValue() : member;
        values.push_back(value.isNull() ? Value(NSNull::null()) : value);
      }
      operand.constant = NSArray::arrayWithValues(std::move(values));
      return true;
    }
    case NSKeyPathExpressionType: {
      Ref<NSExpression> start = expression.operand();
      if (start && start->expressionType() != NSEvaluatedObjectExpressionType) return false;
      const NSString* key = expression.parsedKeyPath().singleKey();
      if (!key) return false;
      const std::size_t index = _map.entity->layout().indexOf(*key);
      if (index == EntityLayout::none) {
        operand.isIdentifier = key->utf8() == "objectID";
        return operand.isIdentifier;
      }
      const int column = _map.columnOfAttribute[index];
      if (column < 0) return false;
      operand.column = &_map.columns[static_cast<std::size_t>(column)];
      return true;
    }
    default:
      return false;
  }
}

bool PredicateTranslator::translateComparison(const NSComparisonPredicate& predicate,
                                              std::string& sql) {
  if (predicate.comparisonPredicateModifier() != NSDirectPredicateModifier) return false;
  NSPredicateOperatorType type = predicate.predicateOperatorType();
  Operand left, right;
  if (type == NSCustomSelectorPredicateOperatorType ||
      !operandOf(*predicate.leftExpression(), left) ||
      !operandOf(*predicate.rightExpression(), right)) {
    return false;
  }
  const auto options = predicate.options();
  const bool symmetric = orderOperator(type) || type == NSEqualToPredicateOperatorType ||
                         type == NSNotEqualToPredicateOperatorType;
  if (left.isIdentifier || right.isIdentifier) {
    if (left.isIdentifier == right.isIdentifier || left.column || right.column) return false;
    if (right.isIdentifier && !symmetric) return false;
    return identifier(type, left.isIdentifier ? right.constant : left.constant, sql);
  }
  if (left.column && right.column) {
    return options == 0 && symmetric && compareColumns(type, *left.column, *right.column, sql);
  }
  if (left.column) {
    return compareColumnWithValue(type, options, *left.column, right.constant, sql);
  }
  if (right.column && symmetric) {
    return compareColumnWithValue(mirrored(type), options, *right.column, left.constant, sql);
  }
  return false;
}

bool PredicateTranslator::compareColumnWithValue(NSPredicateOperatorType type,
                                                 NSComparisonPredicateOptions options,
                                                 const Schema::Column& column, const Value& value,
                                                 std::string& sql) {
  const bool equality =
      type == NSEqualToPredicateOperatorType || type == NSNotEqualToPredicateOperatorType;
  const bool negated = type == NSNotEqualToPredicateOperatorType;
  if (value.isNull()) {
    if (type == NSInPredicateOperatorType || type == NSBetweenPredicateOperatorType) return false;
    sql += !equality ? "0" : column.name + (negated ? " IS NOT NULL" : " IS NULL");
    return true;
  }
  if (type == NSBetweenPredicateOperatorType) return options == 0 && between(column, value, sql);
  if (type == NSInPredicateOperatorType && !value.isString()) {
    return options == 0 && in(column, value, sql);
  }
  const Kind kind = kindOf(column.type);
  if (kind == Kind::Other || !isBindable(value)) return false;
  const bool alike = kind == kindOf(value);
  if (equality || orderOperator(type)) {
    if (!alike) {
      sql += negated ? "1" : "0";
      return true;
    }
    if (kind == Kind::Text && options != 0) {
      if (negated) sql += "NOT ";
      textOperator(negated ? NSEqualToPredicateOperatorType : type, options, column, value, sql);
    } else if (equality) {
      sql += column.name + (negated ? " IS NOT " : " IS ") + parameter(value);
    } else {
      if (kind == Kind::Data) return false;
      sql += "(" + column.name + orderOperator(type) + parameter(value) + " AND " + column.name +
             " IS NOT NULL)";
    }
    return true;
  }
  // What remains works on texts only, and raises in memory for anything else.
  if (kind != Kind::Text || !alike) return false;
  if (type == NSBeginsWithPredicateOperatorType && options == 0) {
    beginsWith(column, as<NSString>(value)->utf8(), sql);
  } else {
    textOperator(type, options, column, value, sql);
  }
  return true;
}

void PredicateTranslator::textOperator(NSPredicateOperatorType type,
                                       NSComparisonPredicateOptions options,
                                       const Schema::Column& column, const Value& value,
                                       std::string& sql) {
  sql += "jn_text(" + std::to_string(static_cast<NSUInteger>(type)) + ", " +
         std::to_string(static_cast<NSUInteger>(options)) + ", " + column.name + ", " +
         parameter(value) + ")";
}

void PredicateTranslator::beginsWith(const Schema::Column& column, std::string_view prefix,
                                     std::string& sql) {
  if (prefix.empty()) {
    sql += column.name + " IS NOT NULL";
    return;
  }
  // From the prefix to just before what follows every text that begins with it. No byte of UTF-8 is
  // so great that it could not be counted up; bytes keep the result as it is.
  std::string end(prefix);
  end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
  sql += "(" + column.name + " >= " + parameter(prefix);
  sql += " AND " + column.name + " < CAST(" + parameter(NSData::dataWithText(std::move(end)));
  sql += " AS TEXT) AND " + column.name + " IS NOT NULL)";
}

bool PredicateTranslator::compareColumns(NSPredicateOperatorType type, const Schema::Column& left,
                                         const Schema::Column& right, std::string& sql) const {
  const Kind kind = kindOf(left.type);
  if (kind == Kind::Other || kind == Kind::Data || kindOf(right.type) != kind) return false;
  if (const char* order = orderOperator(type)) {
    sql += "(" + left.name + order + right.name + " AND " + left.name + " IS NOT NULL AND " +
           right.name + " IS NOT NULL)";
  } else {
    sql += left.name + (type == NSEqualToPredicateOperatorType ? " IS " : " IS NOT ") + right.name;
  }
  return true;
}

bool PredicateTranslator::between(const Schema::Column& column, const Value& bounds,
                                  std::string& sql) {
  const auto* list = as<NSArray>(bounds);
  const Kind kind = kindOf(column.type);
  if (!list || list->count() != 2 || kind == Kind::Other || kind == Kind::Data) return false;
  const Value low = list->objectAtIndex(0), high = list->objectAtIndex(1);
  if (!isBindable(low) || !isBindable(high)) return false;
  if (kindOf(low) != kind || kindOf(high) != kind) {
    sql += "0";
    return true;
  }
  sql += "(" + column.name + " >= " + parameter(low);
  sql += " AND " + column.name + " <= " + parameter(high);
  sql += " AND " + column.name + " IS NOT NULL)";
  return true;
}

bool PredicateTranslator::in(const Schema::Column& column, const Value& collection,
                             std::string& sql) {
  const auto members = membersOf(collection);
  const Kind kind = kindOf(column.type);
  if (!members || kind == Kind::Other) return false;
  std::string list;
  bool withNull = false;
  for (const Value& member : *members) {
    if (member.isNull()) {
      withNull = true;
      continue;
    }
    if (!isBindable(member)) return false;
    // A member of another kind equals nothing here.
    if (kindOf(member) != kind) continue;
    if (!list.empty()) list += ", ";
    list += parameter(member);
  }
  const std::string found =
      "(" + column.name + " IN (" + list + ") AND " + column.name + " IS NOT NULL)";
  sql += withNull ? "(" + found + " OR " + column.name + " IS NULL)" : found;
  return true;
}

bool PredicateTranslator::identifier(NSPredicateOperatorType type, const Value& value,
                                     std::string& sql) {
  // The number of a record in this table. Returns: 0, which none has, for every other identifier.
  const auto numberOf = [&](const Value& candidate) -> std::int64_t {
    if (const auto* identity = as<RecordIdentity>(candidate)) {
      const StoreHierarchy* hierarchy = identity->key().hierarchy;
      const bool isHere = hierarchy && hierarchy->root == &_map.entity->layout().root() &&
                          hierarchy->store->identifier()->utf8() == _storeIdentifier;
      return isHere ? identity->key().number : 0;
    }
    const auto* objectID = as<NSManagedObjectID>(candidate);
    if (!objectID || objectID->isTemporaryID() ||
        objectID->storeIdentifier()->utf8() != _storeIdentifier ||
        objectID->entity()->layout().rootName() != _map.entity->layout().rootName()) {
      return 0;
    }
    return objectID->number();
  };
  switch (type) {
    case NSEqualToPredicateOperatorType:
      sql += "_pk = " + parameter(numberOf(value));
      return true;
    case NSNotEqualToPredicateOperatorType:
      sql += "_pk <> " + parameter(numberOf(value));
      return true;
    case NSInPredicateOperatorType: {
      const auto members = membersOf(value);
      if (!members) return false;
      std::string list;
      for (const Value& member : *members) {
        if (!list.empty()) list += ", ";
        list += parameter(numberOf(member));
      }
      sql += "_pk IN (" + list + ")";
      return true;
    }
    default:
      return false;
  }
}

std::optional<std::string> PredicateTranslator::order(const Ref<NSArray>& descriptors) {
  static const SEL compare("compare:");
  static const std::pair<SEL, const char*> collations[] = {
      {compare, ""},
      {SEL("caseInsensitiveCompare:"), " COLLATE jn_caseInsensitive"},
      {SEL("localizedCompare:"), " COLLATE jn_localized"},
      {SEL("localizedCaseInsensitiveCompare:"), " COLLATE jn_localizedCaseInsensitive"},
      {SEL("localizedStandardCompare:"), " COLLATE jn_localizedStandard"},
  };
  std::string sql;
  const Ref<NSArray> list = descriptors ? descriptors : NSArray::array();
  for (const Value& value : *list) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    const NSString* key = descriptor ? descriptor->parsedKey().singleKey() : nullptr;
    if (!key || descriptor->comparator()) return std::nullopt;
    const std::size_t index = _map.entity->layout().indexOf(*key);
    const int position = index == EntityLayout::none ? -1 : _map.columnOfAttribute[index];
    if (position < 0) return std::nullopt;
    const Schema::Column& column = _map.columns[static_cast<std::size_t>(position)];
    const Kind kind = kindOf(column.type);
    const char* collation = nullptr;
    for (const auto& [selector, name] : collations) {
      if (selector == descriptor->selector()) collation = name;
    }
    if (!collation || kind == Kind::Other || kind == Kind::Data) return std::nullopt;
    if (kind != Kind::Text && descriptor->selector() != compare) return std::nullopt;
    sql += column.name + collation + (descriptor->ascending() ? " ASC, " : " DESC, ");
  }
  return sql + "_pk";
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
