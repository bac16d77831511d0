#include "JNFoundation/platform/store/impl/DictionaryPlan.h"

#include <algorithm>
#include <charconv>

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSExpressionDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ExpressionRewriting.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/QueryCheck.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Values = DictionaryPlan::Values;

/// The values of one group as expressions see them: "g0" is the first that its records have in
/// common, "a0" what the first aggregate gave, "c0" the value of the first column.
class GroupRow final : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit GroupRow(Values values, std::size_t groupCount)
      : _values(std::move(values)), _groupCount(groupCount) {}

  Value valueForKey(const Ref<NSString>& key) const override {
    const std::string_view text = key->utf8();
    std::size_t number = 0;
    std::from_chars(text.data() + 1, text.data() + text.size(), number);
    switch (text[0]) {
      case 'g':
        return _values[number];
      case 'a':
        return _values[_groupCount + number];
      default:
        return _columns[number];
    }
  }

  void addColumn(Value value) { _columns.push_back(std::move(value)); }
  const Values& columns() const noexcept { return _columns; }

 private:
  Values _values;
  Values _columns;
  std::size_t _groupCount;
};

constinit const Class GroupRow::classObject = Class::of<GroupRow>("JNGroupRow");

Ref<NSExpression> keyOf(char kind, std::size_t number) {
  return NSExpression::expressionForKeyPath(
      NSString::fromText(std::string(1, kind) + std::to_string(number)));
}

bool startsFromRecord(const NSExpression& keyPath) {
  const Ref<NSExpression> operand = keyPath.operand();
  return !operand || operand->expressionType() == NSEvaluatedObjectExpressionType;
}

/// A value in the form of the type that it is declared to have.
Value converted(const Value& value, NSAttributeType type) {
  if (value.isNSNull()) return nullptr;
  if (const auto* row = as<StoredRow>(value)) return row->objectID();
  if (!value.isNumber()) return value;
  if (type == NSStringAttributeType) return value.stringValue();
  if (type == NSDecimalAttributeType) return NSDecimalNumber::decimalNumberWithValue(value);
  return canonicalValue(value, type);
}

[[noreturn]] void raiseInvalidProperty(const Value& property) {
  raise(NSInvalidArgumentException,
        "Invalid property %@ passed to setPropertiesToFetch:", property);
}

}  // namespace

DictionaryPlan::~DictionaryPlan() = default;

DictionaryPlan::DictionaryPlan(const NSEntityDescription& entity, const NSFetchRequest& request)
    : _entity(entity) {
  const Ref<NSArray>& groups = request.propertiesToGroupBy();
  _isGrouped = groups && groups->count() > 0;
  if (!_isGrouped && request.propertiesToFetch()) {
    for (const Value& property : *request.propertiesToFetch()) {
      const auto* computed = as<NSExpressionDescription>(property);
      if (computed && computed->expression() && hasAggregate(computed->expression())) {
        _isGrouped = true;
      }
    }
  }
  if (_isGrouped) {
    planGroups(request);
  } else {
    planRecords(request);
  }
}

bool DictionaryPlan::hasIdentifiers() const noexcept {
  return !_isGrouped && std::any_of(_fields.begin(), _fields.end(), [](const RecordField& field) {
    return !field.expression && field.path.steps().empty();
  });
}

// ---- Fields -------------------------------------------------------------------------------------

/// Follows the path through relationships to one. Returns: false if it leads elsewhere.
bool DictionaryPlan::readsPath(const KeyPath& path, RecordField& field) const {
  const NSEntityDescription* here = &_entity;
  field.path = path;
  field.type = NSObjectIDAttributeType;
  const auto steps = path.steps();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (!here || steps[i].collectionOperator != CollectionOperator::None) return false;
    const EntityLayout& layout = here->layout();
    const std::size_t number = layout.indexOf(*steps[i].key);
    if (number == EntityLayout::none) {
      const bool isItself = steps[i].key->utf8() == "objectID" || steps[i].key->utf8() == "self";
      if (!isItself || i + 1 != steps.size()) return false;
      if (steps.size() == 1) field.path = KeyPath();
      return true;
    }
    const EntityLayout::Slot& slot = layout[number];
    if (!slot.stored || slot.isToMany()) return false;
    here = slot.relationship ? slot.relationship->destinationEntity().get() : nullptr;
    if (!here) field.type = slot.type;
  }
  return true;
}

RecordField DictionaryPlan::pathField(const Ref<NSString>& name) const {
  RecordField field;
  field.name = name;
  if (!name || name->length() == 0 || !readsPath(KeyPath(name), field)) {
    raise(NSInvalidArgumentException,
          "Invalid keypath %@ passed to setPropertiesToFetch: of entity '%@'", Value(name),
          _entity.name());
  }
  return field;
}

RecordField DictionaryPlan::expressionField(const Ref<NSString>& name,
                                            const Ref<NSExpression>& expression) const {
  checkExpressionKeys(_entity, *expression);
  RecordField field;
  field.name = name;
  if (expression->expressionType() == NSEvaluatedObjectExpressionType) {
    field.type = NSObjectIDAttributeType;
    return field;
  }
  if (expression->expressionType() == NSKeyPathExpressionType && startsFromRecord(*expression) &&
      readsPath(expression->parsedKeyPath(), field)) {
    return field;
  }
  field.path = KeyPath();
  field.type = NSUndefinedAttributeType;
  field.expression = expression;
  return field;
}

RecordField DictionaryPlan::fieldOf(const Value& property) const {
  if (auto* name = as<NSString>(property)) return pathField(Ref<NSString>(name));
  if (const auto* computed = as<NSExpressionDescription>(property)) {
    if (!computed->name() || !computed->expression()) {
      raise(NSInvalidArgumentException, "An expression to fetch needs a name and an expression");
    }
    return expressionField(computed->name(), computed->expression());
  }
  const auto* description = as<NSPropertyDescription>(property);
  if (!description) raiseInvalidProperty(property);
  return pathField(description->name());
}

void DictionaryPlan::read(StoredRow& row, Values& values) const {
  const Value record(&row);
  for (std::size_t i = 0; i < _fields.size(); ++i) {
    const RecordField& field = _fields[i];
    if (field.expression) {
      values[i] = converted(field.expression->expressionValueWithObjectContext(record, nullptr),
                            NSUndefinedAttributeType);
      continue;
    }
    Value value = record;
    for (const KeyPath::Step& step : field.path.steps()) {
      const auto* here = as<RecordIdentity>(value);
      value = here ? here->valueForKey(step.key) : Value();
    }
    values[i] = converted(value, NSUndefinedAttributeType);
  }
}

// ---- Records ------------------------------------------------------------------------------------

void DictionaryPlan::planRecords(const NSFetchRequest& request) {
  if (!request.propertiesToFetch()) {
    for (const EntityLayout::Slot& slot : _entity.layout().slots()) {
      if (slot.stored && slot.attribute) _fields.push_back(pathField(slot.name));
    }
  } else {
    for (const Value& property : *request.propertiesToFetch()) {
      _fields.push_back(fieldOf(property));
    }
  }
  for (std::size_t i = 0; i < _fields.size(); ++i) {
    Column column;
    column.name = _fields[i].name;
    const Value property =
        request.propertiesToFetch() ? request.propertiesToFetch()->objectAtIndex(i) : Value();
    if (const auto* computed = as<NSExpressionDescription>(property)) {
      column.type = computed->expressionResultType();
    }
    _columns.push_back(std::move(column));
  }
}

Ref<NSDictionary> DictionaryPlan::dictionaryOfRecord(std::span<const Value> fields) const {
  NSDictionary::Builder builder(_columns.size());
  for (std::size_t i = 0; i < _columns.size(); ++i) {
    builder.set(_columns[i].name, converted(fields[i], _columns[i].type));
  }
  return builder.finish();
}

// ---- Groups -------------------------------------------------------------------------------------

void DictionaryPlan::planGroups(const NSFetchRequest& request) {
  const Ref<NSArray> none = NSArray::array();
  const Ref<NSArray>& groups = request.propertiesToGroupBy() ? request.propertiesToGroupBy() : none;
  for (const Value& property : *groups) {
    const auto* computed = as<NSExpressionDescription>(property);
    if (computed && computed->expression() && hasAggregate(computed->expression())) {
      raise(NSInvalidArgumentException, "Records cannot be grouped by the aggregate '%@'",
            Value(computed->name()));
    }
    _fields.push_back(fieldOf(property));
  }
  _groupCount = _fields.size();
  const Ref<NSArray>& properties =
      request.propertiesToFetch() ? request.propertiesToFetch() : groups;
  for (const Value& property : *properties) _columns.push_back(columnOf(property));
  if (request.havingPredicate()) {
    if (wantsObjects(*request.havingPredicate())) {
      raise(NSInvalidArgumentException, "A having predicate cannot ask objects themselves: %@",
            Value(request.havingPredicate()));
    }
    _having = rewritten(request.havingPredicate(), [this](const NSExpression& expression) {
      return replacementFor(expression, true);
    });
  }
  if (_groupCount > 0) planOrder(request.sortDescriptors());
}

DictionaryPlan::Column DictionaryPlan::columnOf(const Value& property) {
  Column column;
  Ref<NSExpression> expression;
  if (const auto* computed = as<NSExpressionDescription>(property)) {
    if (!computed->name() || !computed->expression()) {
      raise(NSInvalidArgumentException, "An expression to fetch needs a name and an expression");
    }
    column.name = computed->name();
    column.type = computed->expressionResultType();
    expression = computed->expression();
  } else if (auto* name = as<NSString>(property)) {
    column.name = Ref<NSString>(name);
  } else if (const auto* description = as<NSPropertyDescription>(property)) {
    column.name = description->name();
  } else {
    raiseInvalidProperty(property);
  }
  if (expression) {
    checkExpressionKeys(_entity, *expression);
    // What the records are grouped by may be given again under the same name.
    for (std::size_t i = 0; i < _groupCount; ++i) {
      if (_fields[i].expression && _fields[i].expression->isEqual(Value(expression))) {
        column.expression = keyOf('g', i);
        return column;
      }
    }
    column.expression = overGroup(expression);
    return column;
  }
  const std::size_t number = numberNamed(*column.name, false);
  if (number == EntityLayout::none) {
    pathField(column.name);
    raise(NSInvalidArgumentException,
          "SELECT clauses in queries with GROUP BY components can only contain properties named in "
          "the GROUP BY, literals and aggregate functions ('%@' of entity '%@' is none of them)",
          Value(column.name), _entity.name());
  }
  column.expression = keyOf('g', number);
  return column;
}

Ref<NSExpression> DictionaryPlan::overGroup(const Ref<NSExpression>& expression) {
  return rewritten(expression,
                   [this](const NSExpression& part) { return replacementFor(part, false); });
}

Ref<NSExpression> DictionaryPlan::replacementFor(const NSExpression& expression,
                                                 bool amongColumns) {
  if (isAggregateCall(expression)) return keyOf('a', numberOf(expression));
  const auto refuse = [&]() {
    raise(
        NSInvalidArgumentException,
        "'%@' is not the same for all records of a group of '%@': a group knows what it is grouped "
        "by, literals and aggregate functions",
        Value(expression.description()), _entity.name());
  };
  switch (expression.expressionType()) {
    case NSKeyPathExpressionType: {
      if (!startsFromRecord(expression)) return nullptr;
      const Ref<NSString> path = expression.keyPath();
      if (amongColumns) {
        const auto column = std::find_if(_columns.begin(), _columns.end(), [&](const Column& one) {
          return one.name->hasContentOf(*path);
        });
        if (column != _columns.end()) {
          return keyOf('c', static_cast<std::size_t>(column - _columns.begin()));
        }
      }
      const std::size_t number = numberNamed(*path, false);
      if (number == EntityLayout::none) refuse();
      return keyOf('g', number);
    }
    case NSEvaluatedObjectExpressionType:
    case NSSubqueryExpressionType:
      refuse();
      return nullptr;
    default:
      return nullptr;
  }
}

std::size_t DictionaryPlan::numberNamed(const NSString& name, bool amongColumns) const {
  if (amongColumns) {
    for (std::size_t i = 0; i < _columns.size(); ++i) {
      if (_columns[i].name->hasContentOf(name)) return i;
    }
    return EntityLayout::none;
  }
  for (std::size_t i = 0; i < _groupCount; ++i) {
    if (_fields[i].name->hasContentOf(name)) return i;
  }
  return EntityLayout::none;
}

std::size_t DictionaryPlan::numberOf(const NSExpression& aggregate) {
  const Value argument = aggregate.arguments()->objectAtIndex(0);
  Ref<NSExpression> expression(as<NSExpression>(argument));
  checkExpressionKeys(_entity, *expression);
  if (hasAggregate(expression)) {
    raise(NSInvalidArgumentException, "An aggregate function of another one has no meaning: %@",
          Value(aggregate.description()));
  }
  RecordField field = expressionField(nullptr, expression);
  std::size_t number = _fields.size();
  for (std::size_t i = _groupCount; i < _fields.size(); ++i) {
    const bool isSame = field.expression ? _fields[i].expression &&
                                               _fields[i].expression->isEqual(Value(expression))
                                         : !_fields[i].expression && _fields[i].path == field.path;
    if (isSame) number = i;
  }
  if (number == _fields.size()) _fields.push_back(std::move(field));
  for (std::size_t i = 0; i < _aggregates.size(); ++i) {
    if (_aggregates[i].field == number &&
        _aggregates[i].function->hasContentOf(*aggregate.function())) {
      return i;
    }
  }
  _aggregates.push_back({aggregate.function(), number});
  return _aggregates.size() - 1;
}

void DictionaryPlan::planOrder(const Ref<NSArray>& descriptors) {
  if (!descriptors || descriptors->count() == 0) return;
  std::vector<Value> order;
  for (const Value& value : *descriptors) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    if (!descriptor || !descriptor->key()) {
      raise(NSInvalidArgumentException,
            "Groups are sorted by sort descriptors that have keys, not by %@", value);
    }
    const Ref<NSString>& key = descriptor->key();
    std::size_t number = numberNamed(*key, true);
    char kind = 'c';
    if (number == EntityLayout::none) {
      number = numberNamed(*key, false);
      kind = 'g';
    }
    if (number == EntityLayout::none) {
      raise(NSInvalidArgumentException,
            "Groups can be sorted by what they are grouped by and by the names of their values; "
            "'%@' is neither",
            Value(key));
    }
    const Ref<NSString> name = keyOf(kind, number)->keyPath();
    order.emplace_back(descriptor->comparator()
                           ? NSSortDescriptor::sortDescriptorWithKeyAscendingComparator(
                                 name, descriptor->ascending(), descriptor->comparator())
                           : NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
                                 name, descriptor->ascending(), descriptor->selector()));
  }
  _order = NSArray::arrayWithValues(std::move(order));
}

std::vector<Value> DictionaryPlan::chosenGroups(std::vector<Values> groups) const {
  std::vector<Value> chosen;
  for (Values& group : groups) {
    Ref<GroupRow> row = makeObject<GroupRow>(std::move(group), _groupCount);
    const Value value(row);
    for (const Column& column : _columns) {
      row->addColumn(converted(column.expression->expressionValueWithObjectContext(value, nullptr),
                               column.type));
    }
    if (!_having || _having->evaluateWithObject(value)) chosen.push_back(value);
  }
  if (!_order) return chosen;
  return *sortedArrayUsingDescriptors(NSArray::arrayWithValues(std::move(chosen)), _order)
              ->contiguousElements();
}

std::span<const Value> DictionaryPlan::valuesOfGroup(const Value& group) const {
  return static_cast<const GroupRow*>(group.object())->columns();
}

Ref<NSDictionary> DictionaryPlan::dictionaryOfGroup(const Value& group) const {
  const std::span<const Value> values = valuesOfGroup(group);
  NSDictionary::Builder builder(_columns.size());
  for (std::size_t i = 0; i < _columns.size(); ++i) builder.set(_columns[i].name, values[i]);
  return builder.finish();
}

// ---- Collecting ---------------------------------------------------------------------------------

std::size_t ValueLists::numberOf(std::span<const Value> values) {
  std::uint64_t hash = values.size();
  for (const Value& value : values) {
    hash = mixHash(hash ^ (value.isNull() ? 0 : static_cast<std::uint64_t>(value.hash())));
  }
  if (_table.size() < 2 * (_lists.size() + 1)) grow();
  std::size_t place = static_cast<std::size_t>(hash) & (_table.size() - 1);
  for (; _table[place] != 0; place = (place + 1) & (_table.size() - 1)) {
    const std::size_t number = _table[place] - 1;
    if (_hashes[number] == static_cast<std::size_t>(hash) &&
        std::equal(values.begin(), values.end(), _lists[number].begin(), _lists[number].end())) {
      return number;
    }
  }
  _lists.emplace_back(values.begin(), values.end());
  _hashes.push_back(static_cast<std::size_t>(hash));
  _table[place] = _lists.size();
  return _lists.size() - 1;
}

void ValueLists::grow() {
  std::vector<std::size_t> table(std::max<std::size_t>(16, _table.size() * 2), 0);
  for (std::size_t i = 0; i < _hashes.size(); ++i) {
    std::size_t place = _hashes[i] & (table.size() - 1);
    while (table[place] != 0) place = (place + 1) & (table.size() - 1);
    table[place] = i + 1;
  }
  _table = std::move(table);
}

namespace {

/// The single values that a field gives for a record; of a collection its members.
void appendFieldMembers(const Value& value, Values& members) {
  const auto add = [&](const auto& collection) {
    for (const Value& member : collection) {
      Value plain = converted(member, NSUndefinedAttributeType);
      if (!plain.isNull()) members.push_back(std::move(plain));
    }
  };
  if (const auto* array = as<NSArray>(value)) {
    add(*array);
  } else if (const auto* ordered = as<NSOrderedSet>(value)) {
    add(*ordered);
  } else if (const auto* set = as<NSSet>(value)) {
    add(*set);
  } else if (!value.isNull()) {
    members.push_back(value);
  }
}

}  // namespace

void RecordGroups::add(std::span<const Value> fields) {
  const std::size_t number = _common.numberOf(fields.first(_plan.groupCount()));
  if (number == _members.size()) _members.emplace_back(_plan.aggregates().size());
  std::vector<Values>& members = _members[number];
  for (std::size_t i = 0; i < members.size(); ++i) {
    appendFieldMembers(fields[_plan.aggregates()[i].field], members[i]);
  }
}

std::vector<Values> RecordGroups::finish() {
  // Records that are not there are one group, too, where nothing tells groups apart.
  if (_plan.groupCount() == 0 && _members.empty()) {
    _common.numberOf({});
    _members.emplace_back(_plan.aggregates().size());
  }
  std::vector<Values> groups = std::move(_common.lists());
  for (std::size_t i = 0; i < groups.size(); ++i) {
    for (std::size_t k = 0; k < _members[i].size(); ++k) {
      const Value members = NSArray::arrayWithValues(std::move(_members[i][k]));
      groups[i].push_back(NSExpression::expressionForFunctionArguments(
                              _plan.aggregates()[k].function, NSArray::arrayWithObject(members))
                              ->expressionValueWithObjectContext(nullptr, nullptr));
    }
  }
  return groups;
}

}  // namespace JNFoundation::impl
