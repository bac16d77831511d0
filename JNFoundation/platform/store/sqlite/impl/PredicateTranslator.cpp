#include "JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h"

#include <algorithm>

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// SQLite takes 32,766 parameters, expressions of 1,000 levels, and statements whose parser has no
/// more than 100 tokens open. What comes close to that is left to memory, as are very long texts.
constexpr std::size_t parameterLimit = 30'000;
constexpr unsigned levelLimit = 800;
constexpr unsigned tokenLimit = 80;
constexpr std::size_t lengthLimit = 500'000;

/// What a comparison may take, beside what its sides take.
constexpr unsigned levelsOfComparison = 8, tokensOfComparison = 12;
/// What a SELECT within a condition adds to what is in it.
constexpr unsigned levelsOfSelect = 10, tokensOfSelect = 14;

bool isWithinLimits(const SQLDepth& depth, const std::string& sql) {
  return depth.levels < levelLimit && depth.tokens < tokenLimit && sql.size() < lengthLimit;
}

bool isConstant(const NSExpression& expression) {
  return expression.expressionType() == NSConstantValueExpressionType ||
         expression.expressionType() == NSAggregateExpressionType;
}

bool isNull(const NSExpression& expression) {
  if (expression.expressionType() != NSConstantValueExpressionType) return false;
  const Value value = expression.constantValue();
  return value.isNull() || value.isNSNull();
}

}  // namespace

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
  // The conditions are joined to one expression, a level for each.
  const auto levels = static_cast<unsigned>(std::min<std::size_t>(parts.size(), levelLimit));
  for (const Value& part : parts) {
    const std::size_t parameters = _parameters.size();
    const SelectSource::Mark mark = _paths.source().mark();
    Condition condition;
    if (translate(*as<NSPredicate>(part), nullptr, condition) &&
        condition.depth.levels + levels < levelLimit && _parameters.size() <= parameterLimit &&
        conditions.size() + condition.sql.size() < lengthLimit) {
      if (!conditions.empty()) conditions += " AND ";
      conditions += condition.sql;
    } else {
      _parameters.resize(parameters);
      _paths.source().takeBack(mark);
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
bool PredicateTranslator::translate(const NSPredicate& predicate, const Variable* scope,
                                    Condition& condition) {
  if (const std::optional<bool> answer = predicate.constantAnswer()) {
    condition.sql += *answer ? "1" : "0";
    return true;
  }
  if (isKindOf<NSCompoundPredicate>(predicate)) {
    return translateCompound(predicate, scope, condition);
  }
  if (!isKindOf<NSComparisonPredicate>(predicate)) return false;
  const auto& comparison = static_cast<const NSComparisonPredicate&>(predicate);
  return comparison.comparisonPredicateModifier() == NSDirectPredicateModifier
             ? translateComparison(comparison, scope, condition)
             : translateMembers(comparison, scope, condition);
}

bool PredicateTranslator::translateCompound(const NSPredicate& predicate, const Variable* scope,
                                            Condition& condition) {
  const auto& compound = static_cast<const NSCompoundPredicate&>(predicate);
  const NSCompoundPredicateType type = compound.compoundPredicateType();
  if (compound.subpredicates()->count() > levelLimit) return false;
  std::string sql = type == NSNotPredicateType ? "(NOT " : "(";
  bool first = true;
  SQLDepth deepest;
  for (const Value& part : *compound.subpredicates()) {
    if (!first) sql += type == NSAndPredicateType ? " AND " : " OR ";
    first = false;
    Condition inner;
    if (!translate(*as<NSPredicate>(part), scope, inner)) return false;
    sql += inner.sql;
    deepest.include(inner.depth);
  }
  if (first) sql += type == NSAndPredicateType ? "1" : "0";
  condition.sql += sql + ")";
  // SQLite reads a AND b AND c as (a AND b) AND c.
  constexpr unsigned tokens = 3;
  condition.depth =
      deepest.within(static_cast<unsigned>(compound.subpredicates()->count()) + 1, tokens);
  return isWithinLimits(condition.depth, condition.sql);
}

bool PredicateTranslator::translateComparison(const NSComparisonPredicate& predicate,
                                              const Variable* scope, Condition& condition) {
  Side left;
  if (!sideOf(*predicate.leftExpression(), scope, left)) return false;
  if (!left.isCollection) return compareWithRight(predicate, left.operand, scope, condition);
  Side element;
  if (isEquality(predicate.predicateOperatorType())) {
    // A collection is null only where there is nothing that could have it.
    const RecordCollection& collection = *left.path.collection;
    const bool negated = predicate.predicateOperatorType() == NSNotEqualToPredicateOperatorType;
    if (!isNull(*predicate.rightExpression())) return false;
    if (collection.ownerCanBeNull) {
      condition.sql = collection.owner + (negated ? " IS NOT NULL" : " IS NULL");
    } else {
      condition.sql = negated ? "1" : "0";
    }
    return true;
  }
  return predicate.predicateOperatorType() == NSContainsPredicateOperatorType &&
         sideOf(*predicate.rightExpression(), scope, element) && !element.isCollection &&
         contains(left.path, element.operand, predicate.options(), condition);
}

bool PredicateTranslator::translateMembers(const NSComparisonPredicate& predicate,
                                           const Variable* scope, Condition& condition) {
  Side left;
  SQLOperand member;
  Condition inner;
  if (!sideOf(*predicate.leftExpression(), scope, left) || !left.isCollection ||
      !_paths.operandOf(left.path, member) || !compareWithRight(predicate, member, scope, inner)) {
    return false;
  }
  const bool all = predicate.comparisonPredicateModifier() == NSAllPredicateModifier;
  if (!all) {
    const NSPredicateOperatorType type = predicate.predicateOperatorType();
    const bool asksForFew =
        type == NSEqualToPredicateOperatorType || type == NSInPredicateOperatorType;
    const bool areFew = member.isIndexed && asksForFew && predicate.options() == 0 &&
                        isConstant(*predicate.rightExpression());
    return someMember(left.path, inner, areFew, condition);
  }
  condition.sql = "NOT EXISTS (" + left.path.collection->select("1", "NOT " + inner.sql) + ")";
  condition.depth = inner.depth.within(levelsOfSelect, tokensOfSelect);
  return isWithinLimits(condition.depth, condition.sql);
}

bool PredicateTranslator::someMember(const TranslatedPath& collection, const Condition& inner,
                                     bool areFew, Condition& condition) const {
  const RecordCollection& records = *collection.collection;
  if (areFew && !collection.isOfSubquery) {
    // Rather than looking at the members of every record, SQLite begins with those few.
    const std::string owners = records.owner + " IN (SELECT " + records.near + " FROM " +
                               records.source->sql() + " WHERE " + inner.sql + " AND " +
                               records.near + " IS NOT NULL)";
    condition.sql =
        records.ownerCanBeNull ? "(" + owners + " AND " + records.owner + " IS NOT NULL)" : owners;
  } else {
    condition.sql = "EXISTS (" + records.select("1", inner.sql) + ")";
  }
  condition.depth = inner.depth.within(levelsOfSelect, tokensOfSelect);
  return isWithinLimits(condition.depth, condition.sql);
}

bool PredicateTranslator::compareWithRight(const NSComparisonPredicate& predicate,
                                           const SQLOperand& left, const Variable* scope,
                                           Condition& condition) {
  const NSPredicateOperatorType type = predicate.predicateOperatorType();
  Side right;
  if (type == NSCustomSelectorPredicateOperatorType ||
      !sideOf(*predicate.rightExpression(), scope, right)) {
    return false;
  }
  if (!right.isCollection) {
    return compare(type, predicate.options(), left, right.operand, condition);
  }
  return type == NSInPredicateOperatorType &&
         contains(right.path, left, predicate.options(), condition);
}

bool PredicateTranslator::contains(TranslatedPath& collection, const SQLOperand& element,
                                   NSComparisonPredicateOptions options, Condition& condition) {
  SQLOperand member;
  Condition inner;
  // Keys read of a given collection keep the collections that they lead to as they are.
  if ((collection.isOfSubquery && collection.readsMembers) ||
      !_paths.operandOf(collection, member) ||
      !compare(NSEqualToPredicateOperatorType, options, member, element, inner)) {
    return false;
  }
  const bool areFew =
      member.isIndexed && element.form == SQLOperand::Form::Constant && options == 0;
  return someMember(collection, inner, areFew, condition);
}

bool PredicateTranslator::compare(NSPredicateOperatorType type,
                                  NSComparisonPredicateOptions options, const SQLOperand& left,
                                  const SQLOperand& right, Condition& condition) {
  SQLDepth depth = left.depth;
  depth.include(right.depth);
  condition.depth = depth.within(levelsOfComparison, tokensOfComparison);
  return _comparison.compare(type, options, left, right, condition.sql) &&
         isWithinLimits(condition.depth, condition.sql);
}

// ---- Expressions --------------------------------------------------------------------------------

bool PredicateTranslator::sideOf(const NSExpression& expression, const Variable* scope,
                                 Side& side) {
  switch (expression.expressionType()) {
    case NSConstantValueExpressionType:
      side.operand.constant = expression.constantValue();
      if (side.operand.constant.isNSNull()) side.operand.constant = nullptr;
      return true;
    case NSAggregateExpressionType: {
      // A list of constants is a constant.
      const Value collection = expression.collection();
      const auto* members = as<NSArray>(collection);
      std::vector<Value> values;
      if (!members || members->count() > parameterLimit) return false;
      for (const Value& member : *members) {
        const auto* inner = as<NSExpression>(member);
        if (inner && inner->expressionType() != NSConstantValueExpressionType) return false;
        const Value value = inner ? inner->constantValue() : member;
        values.push_back(value.isNull() ? Value(NSNull::null()) : value);
      }
      side.operand.constant = NSArray::arrayWithValues(std::move(values));
      return true;
    }
    default:
      if (!pathOf(expression, scope, side.path)) return false;
      if (!side.path.rest.empty()) return _paths.operatorOf(side.path, side.operand);
      side.isCollection = side.path.collection != nullptr;
      return side.isCollection || _paths.operandOf(side.path, side.operand);
  }
}

bool PredicateTranslator::pathOf(const NSExpression& expression, const Variable* scope,
                                 TranslatedPath& path) {
  switch (expression.expressionType()) {
    case NSEvaluatedObjectExpressionType:
      path.place = _paths.root();
      return true;
    case NSVariableExpressionType: {
      const Ref<NSString> name = expression.variable();
      while (scope && !scope->name->hasContentOf(*name)) scope = scope->outer;
      if (!scope) return false;
      path.place = *scope->place;
      return true;
    }
    case NSSubqueryExpressionType:
      return subquery(expression, scope, path);
    case NSKeyPathExpressionType: {
      const Ref<NSExpression> start = expression.operand();
      // A path of a path is read of the collection that the first one gives.
      if (start && start->expressionType() == NSKeyPathExpressionType) return false;
      const bool isGiven = start && start->expressionType() == NSSubqueryExpressionType;
      if (!start) {
        path.place = _paths.root();
      } else if (!pathOf(*start, scope, path)) {
        return false;
      }
      // What an operator gets of a given collection it reads member by member.
      return _paths.follow(expression.parsedKeyPath().steps(), path) &&
             (!isGiven || path.rest.empty() ||
              path.rest.size() == expression.parsedKeyPath().steps().size());
    }
    default:
      return false;
  }
}

bool PredicateTranslator::subquery(const NSExpression& expression, const Variable* scope,
                                   TranslatedPath& path) {
  constexpr unsigned depthLimit = 6;
  const unsigned depth = scope ? scope->depth + 1 : 1;
  const Value collection = expression.collection();
  const auto* source = as<NSExpression>(collection);
  // A set of what the members lead to would have each of them once.
  if (depth > depthLimit || !source || !pathOf(*source, scope, path) || !path.collection ||
      path.readsMembers || !path.rest.empty()) {
    return false;
  }
  const Ref<NSString> name = expression.variable();
  const RecordPlace member = path.place;
  const Variable variable{name.get(), &member, scope, depth};
  Condition inner;
  if (!translate(*expression.predicate(), &variable, inner)) return false;
  path.collection->condition += " AND " + inner.sql;
  // Without a collection a subquery gives an empty one.
  path.collection->ownerCanBeNull = false;
  path.isOfSubquery = true;
  path.depth.include(inner.depth);
  path.depth = path.depth.within(1, 2);
  return isWithinLimits(path.depth, path.collection->condition);
}

// ---- Order --------------------------------------------------------------------------------------

std::optional<std::string> PredicateTranslator::order(const Ref<NSArray>& descriptors) {
  static const SEL compare("compare:");
  static const std::pair<SEL, const char*> collations[] = {
      {compare, ""},
      {SEL("caseInsensitiveCompare:"), " COLLATE jn_caseInsensitive"},
      {SEL("localizedCompare:"), " COLLATE jn_localized"},
      {SEL("localizedCaseInsensitiveCompare:"), " COLLATE jn_localizedCaseInsensitive"},
      {SEL("localizedStandardCompare:"), " COLLATE jn_localizedStandard"},
  };
  const SelectSource::Mark mark = _paths.source().mark();
  const auto leaveIt = [&] {
    _paths.source().takeBack(mark);
    return std::nullopt;
  };
  std::string sql;
  const Ref<NSArray> list = descriptors ? descriptors : NSArray::array();
  for (const Value& value : *list) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    if (!descriptor || descriptor->comparator()) return leaveIt();
    TranslatedPath path;
    path.place = _paths.root();
    SQLOperand operand;
    if (!_paths.follow(descriptor->parsedKey().steps(), path)) return leaveIt();
    const bool isKnown = path.rest.empty() ? !path.collection && _paths.operandOf(path, operand)
                                           : _paths.operatorOf(path, operand);
    const ValueKind kind = operand.kind;
    const char* collation = nullptr;
    for (const auto& [selector, name] : collations) {
      if (selector == descriptor->selector()) collation = name;
    }
    if (!isKnown || !collation || kind == ValueKind::Other || kind == ValueKind::Data ||
        (kind != ValueKind::Text && descriptor->selector() != compare) ||
        sql.size() > lengthLimit) {
      return leaveIt();
    }
    sql += operand.sql + collation + (descriptor->ascending() ? " ASC, " : " DESC, ");
  }
  return sql + _paths.root().number;
}

// ---- Columns ------------------------------------------------------------------------------------

std::optional<PredicateTranslator::Column> PredicateTranslator::column(const StoreColumn& wanted) {
  using Kind = StoreColumn::Kind;
  TranslatedPath path;
  path.place = _paths.root();
  SQLOperand operand;
  if (!_paths.follow(wanted.path.steps(), path) || path.collection ||
      !_paths.operandOf(path, operand)) {
    return std::nullopt;
  }
  Column column;
  column.sql = operand.sql;
  if (!path.column) {
    column.type = NSObjectIDAttributeType;
    column.entity = path.place.entity;
    if (wanted.kind == Kind::Value) column.entitySQL = _paths.entityOf(path);
    if (wanted.kind == Kind::Value && column.entitySQL.empty()) return std::nullopt;
  } else {
    column.type = path.column->type;
  }
  const bool isOrdered = operand.kind == ValueKind::Number || operand.kind == ValueKind::Text ||
                         operand.kind == ValueKind::Date;
  switch (wanted.kind) {
    case Kind::Value:
      // Equal decimal numbers may be written in several ways, and data may stand for values.
      if (column.type == NSTransformableAttributeType || column.type == NSDecimalAttributeType) {
        return std::nullopt;
      }
      break;
    case Kind::Count:
      column.sql = "count(" + operand.sql + ")";
      column.type = NSInteger64AttributeType;
      break;
    case Kind::Sum:
      if (!path.column || !isSummable(column.type)) return std::nullopt;
      column.sql = "ifnull(sum(" + operand.sql + "), 0)";
      column.type = NSInteger64AttributeType;
      break;
    case Kind::Average:
      if (!path.column || !isSummable(column.type)) return std::nullopt;
      column.sql = "ifnull(CAST(sum(" + operand.sql + ") AS REAL) / nullif(count(" + operand.sql +
                   "), 0), 0.0)";
      column.type = NSDoubleAttributeType;
      break;
    case Kind::Minimum:
    case Kind::Maximum:
      if (!path.column || !isOrdered) return std::nullopt;
      column.sql = (wanted.kind == Kind::Minimum ? "min(" : "max(") + operand.sql + ")";
      break;
  }
  return column;
}

}  // namespace JNFoundation::impl
