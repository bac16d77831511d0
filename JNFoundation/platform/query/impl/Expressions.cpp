#include "JNFoundation/platform/query/impl/Expressions.h"

#include <algorithm>

#include <JNFoundation/platform/query/impl/FormatText.h>
#include <JNFoundation/platform/query/impl/KeyReading.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1::impl {

constinit const Class ConstantExpression::classObject =
    Class::of<ConstantExpression>("NSConstantValueExpression");
constinit const Class SelfExpression::classObject = Class::of<SelfExpression>("NSSelfExpression");
constinit const Class VariableExpression::classObject =
    Class::of<VariableExpression>("NSVariableExpression");
constinit const Class KeyPathExpression::classObject =
    Class::of<KeyPathExpression>("NSKeyPathExpression");
constinit const Class AggregateExpression::classObject =
    Class::of<AggregateExpression>("NSAggregateExpression");
constinit const Class SetExpression::classObject = Class::of<SetExpression>("NSSetExpression");
constinit const Class SubqueryExpression::classObject =
    Class::of<SubqueryExpression>("NSSubqueryExpression");
constinit const Class ConditionalExpression::classObject =
    Class::of<ConditionalExpression>("NSTernaryExpression");
constinit const Class BlockExpression::classObject =
    Class::of<BlockExpression>("NSBlockExpression");
constinit const Class AnyKeyExpression::classObject =
    Class::of<AnyKeyExpression>("NSAnyKeyExpression");

// Bindings and lists

Value Bindings::valueOf(const NSString& variable) const {
  const Bindings* scope = scopeOf(variable);
  if (scope && scope->value) return *scope->value;
  if (const Value* found = variables ? variables->find(variable) : nullptr) return *found;
  raise(NSInvalidArgumentException, "Can't get value for '%s' in bindings %@.", variable.utf8(),
        variables ? Value(const_cast<NSDictionary*>(variables)) : Value());
}

bool appendValues(const NSExpression& expression, const Value& object, const Bindings& bindings,
                  std::vector<Value>& values) {
  if (expression.expressionType() != NSKeyPathExpressionType) {
    const Value value = TreeAccess::evaluate(expression, object, bindings);
    return appendMembers(value, values) || isNullLike(value);
  }
  const auto& keyPath = static_cast<const KeyPathExpression&>(expression);
  if (keyPath.startsFromEvaluatedObject()) {
    return keyPath.parsedKeyPath().appendValuesInObject(object, values);
  }
  const Value start = TreeAccess::evaluate(*keyPath.operand(), object, bindings);
  return keyPath.parsedKeyPath().appendValuesInObject(start, values);
}

Value valueWithNulls(const NSExpression& expression, const Value& object,
                     const Bindings& bindings) {
  std::vector<Value> values;
  if (!appendValues(expression, object, bindings, values)) {
    return TreeAccess::evaluate(expression, object, bindings);
  }
  for (Value& value : values) value = orNSNull(value);
  return NSArray::arrayWithValues(std::move(values));
}

ExpressionArray::ExpressionArray(const Ref<NSArray>& expressions) {
  std::vector<Value> values;
  if (expressions) {
    for (const Value& member : *expressions) {
      Ref<NSExpression> expression = as<NSExpression>(member);
      if (!expression) expression = NSExpression::expressionForConstantValue(member);
      _nesting = std::max(_nesting, expression->nesting());
      values.emplace_back(expression);
      _list.push_back(std::move(expression));
    }
  }
  _array = NSArray::arrayWithValues(std::move(values));
}

bool ExpressionArray::operator==(const ExpressionArray& other) const {
  return std::equal(
      _list.begin(), _list.end(), other._list.begin(), other._list.end(),
      [](const auto& left, const auto& right) { return left->isEqual(Value(right)); });
}

std::size_t ExpressionArray::hash() const {
  std::size_t hash = _list.size();
  for (const auto& expression : _list) hash = combinedHash(hash, expression->hash());
  return hash;
}

void ExpressionArray::appendFormat(std::string& text) const {
  std::string_view separator;
  for (const auto& expression : _list) {
    text += separator;
    separator = ", ";
    TreeAccess::appendFormat(*expression, text);
  }
}

std::vector<Value> ExpressionArray::evaluate(const Value& object, const Bindings& bindings) const {
  std::vector<Value> values;
  values.reserve(_list.size());
  for (const auto& expression : _list) {
    values.push_back(TreeAccess::evaluate(*expression, object, bindings));
  }
  return values;
}

Ref<NSArray> ExpressionArray::substituted(const Bindings& bindings) const {
  bool changed = false;
  std::vector<Value> values;
  values.reserve(_list.size());
  for (Ref<NSExpression> expression : _list) {
    changed |= TreeAccess::substitute(expression, bindings);
    values.emplace_back(std::move(expression));
  }
  return changed ? NSArray::arrayWithValues(std::move(values)) : nullptr;
}

// Constant

namespace {

/// A collection that the caller goes on changing is not what the predicate was made with.
Value snapshot(const Value& value) {
  return isCollection(value) || isKindOf<NSDictionary>(value) ? value.copy() : value;
}

}  // namespace

ConstantExpression::ConstantExpression(const Value& value)
    : NSExpression(NSConstantValueExpressionType, 1), _value(snapshot(value)) {}

Value ConstantExpression::evaluate(const Value&, const Bindings&) const { return _value; }
bool ConstantExpression::hasEqualContent(const NSExpression& other) const {
  return _value == static_cast<const ConstantExpression&>(other)._value;
}
std::size_t ConstantExpression::contentHash() const { return _value.hash(); }
void ConstantExpression::appendFormat(std::string& text) const { appendConstant(text, _value); }
Ref<NSExpression> ConstantExpression::substituted(const Bindings& bindings) const {
  if (!bindings.constants) return nullptr;
  Value fresh = (*bindings.constants)(_value);
  return fresh.isIdentical(_value) ? nullptr : makeObject<ConstantExpression>(std::move(fresh));
}

// The evaluated object

Value SelfExpression::evaluate(const Value& object, const Bindings&) const { return object; }
bool SelfExpression::hasEqualContent(const NSExpression&) const { return true; }
std::size_t SelfExpression::contentHash() const { return 0; }
void SelfExpression::appendFormat(std::string& text) const { text += "SELF"; }
Ref<NSExpression> SelfExpression::substituted(const Bindings&) const { return nullptr; }

// Variable

Value VariableExpression::evaluate(const Value&, const Bindings& bindings) const {
  return bindings.valueOf(*_name);
}
bool VariableExpression::hasEqualContent(const NSExpression& other) const {
  return _name->hasContentOf(*static_cast<const VariableExpression&>(other)._name);
}
std::size_t VariableExpression::contentHash() const { return _name->hash(); }
void VariableExpression::appendFormat(std::string& text) const {
  text += '$';
  text += _name->utf8();
}
Ref<NSExpression> VariableExpression::substituted(const Bindings& bindings) const {
  // What a subquery inside the tree binds is none of the caller's variables.
  if (bindings.constants || bindings.scopeOf(*_name)) return nullptr;
  return makeObject<ConstantExpression>(bindings.valueOf(*_name));
}

// Key path

Value KeyPathExpression::evaluate(const Value& object, const Bindings& bindings) const {
  if (!startsFromEvaluatedObject()) {
    return _path.valueInObject(TreeAccess::evaluate(*_operand, object, bindings));
  }
  if (_path.singleKey() && !isCollection(object)) {
    return valueForKeyOfOne(object, _path.steps()[0].key);
  }
  return _path.valueInObject(object);
}
bool KeyPathExpression::hasEqualContent(const NSExpression& other) const {
  const auto& keyPath = static_cast<const KeyPathExpression&>(other);
  return _path == keyPath._path && _operand->isEqual(Value(keyPath._operand));
}
std::size_t KeyPathExpression::contentHash() const {
  return combinedHash(_path.text()->hash(), _operand->hash());
}
void KeyPathExpression::appendFormat(std::string& text) const {
  if (!startsFromEvaluatedObject()) {
    const bool bare = _operand->expressionType() == NSVariableExpressionType ||
                      _operand->expressionType() == NSSubqueryExpressionType;
    if (!bare) text += '(';
    TreeAccess::appendFormat(*_operand, text);
    text += bare ? "." : ").";
  }
  appendKeyPath(text, _path);
}
Ref<NSExpression> KeyPathExpression::substituted(const Bindings& bindings) const {
  Ref<NSExpression> operand = _operand;
  if (!TreeAccess::substitute(operand, bindings)) return nullptr;
  return makeObject<KeyPathExpression>(_path, std::move(operand));
}

// Aggregate

Value AggregateExpression::evaluate(const Value& object, const Bindings& bindings) const {
  std::vector<Value> values = _members.evaluate(object, bindings);
  for (Value& value : values) value = orNSNull(value);
  return NSArray::arrayWithValues(std::move(values));
}
bool AggregateExpression::hasEqualContent(const NSExpression& other) const {
  return _members == static_cast<const AggregateExpression&>(other)._members;
}
std::size_t AggregateExpression::contentHash() const { return _members.hash(); }
void AggregateExpression::appendFormat(std::string& text) const {
  text += '{';
  _members.appendFormat(text);
  text += '}';
}
Ref<NSExpression> AggregateExpression::substituted(const Bindings& bindings) const {
  const Ref<NSArray> members = _members.substituted(bindings);
  return members ? makeObject<AggregateExpression>(ExpressionArray(members)) : nullptr;
}

// Union, intersection and difference

namespace {

void appendSetMembers(const Value& value, std::vector<Value>& members) {
  if (isNullLike(value) || appendMembers(value, members)) return;
  const NSDictionary* dictionary = as<NSDictionary>(value);
  if (!dictionary) {
    raise(NSInvalidArgumentException, "a set expression takes collections, not a %s: %@",
          value.class_()->name(), value);
  }
  appendMembers(Value(dictionary->allValues()), members);
}

}  // namespace

Value SetExpression::evaluate(const Value& object, const Bindings& bindings) const {
  std::vector<Value> left, right;
  appendSetMembers(TreeAccess::evaluate(*_left, object, bindings), left);
  appendSetMembers(TreeAccess::evaluate(*_right, object, bindings), right);
  if (expressionType() == NSUnionSetExpressionType) {
    left.insert(left.end(), right.begin(), right.end());
  } else {
    const bool wanted = expressionType() == NSIntersectSetExpressionType;
    const Ref<NSSet> others = NSSet::setWithValues(std::move(right));
    std::erase_if(left,
                  [&](const Value& member) { return others->containsObject(member) != wanted; });
  }
  return NSSet::setWithValues(std::move(left));
}
bool SetExpression::hasEqualContent(const NSExpression& other) const {
  const auto& set = static_cast<const SetExpression&>(other);
  return _left->isEqual(Value(set._left)) && _right->isEqual(Value(set._right));
}
std::size_t SetExpression::contentHash() const {
  return combinedHash(_left->hash(), _right->hash());
}
void SetExpression::appendFormat(std::string& text) const {
  text += '(';
  TreeAccess::appendFormat(*_left, text);
  text += expressionType() == NSUnionSetExpressionType       ? " UNION "
          : expressionType() == NSIntersectSetExpressionType ? " INTERSECT "
                                                             : " MINUS ";
  TreeAccess::appendFormat(*_right, text);
  text += ')';
}
Ref<NSExpression> SetExpression::substituted(const Bindings& bindings) const {
  Ref<NSExpression> left = _left, right = _right;
  const bool changedLeft = TreeAccess::substitute(left, bindings);
  const bool changedRight = TreeAccess::substitute(right, bindings);
  if (!changedLeft && !changedRight) return nullptr;
  return makeObject<SetExpression>(expressionType(), std::move(left), std::move(right));
}

// Subquery

Value SubqueryExpression::evaluate(const Value& object, const Bindings& bindings) const {
  std::vector<Value> members, matching;
  const Value collection = TreeAccess::evaluate(*_collection, object, bindings);
  if (!appendMembers(collection, members) && !isNullLike(collection)) {
    raise(NSInvalidArgumentException, "a subquery takes a collection, not a %s: %@",
          collection.class_()->name(), collection);
  }
  for (Value& member : members) {
    const Bindings scope = bindings.binding(*_variable, &member);
    if (TreeAccess::evaluate(*_predicate, object, scope)) matching.push_back(std::move(member));
  }
  return NSArray::arrayWithValues(std::move(matching));
}
bool SubqueryExpression::hasEqualContent(const NSExpression& other) const {
  const auto& subquery = static_cast<const SubqueryExpression&>(other);
  return _variable->hasContentOf(*subquery._variable) &&
         _collection->isEqual(Value(subquery._collection)) &&
         _predicate->isEqual(Value(subquery._predicate));
}
std::size_t SubqueryExpression::contentHash() const {
  return combinedHash(_collection->hash(), _predicate->hash());
}
void SubqueryExpression::appendFormat(std::string& text) const {
  text += "SUBQUERY(";
  TreeAccess::appendFormat(*_collection, text);
  text += ", $";
  text += _variable->utf8();
  text += ", ";
  TreeAccess::appendFormat(*_predicate, text);
  text += ')';
}
Ref<NSExpression> SubqueryExpression::substituted(const Bindings& bindings) const {
  Ref<NSExpression> collection = _collection;
  Ref<NSPredicate> predicate = _predicate;
  const bool changedCollection = TreeAccess::substitute(collection, bindings);
  const bool changedPredicate =
      TreeAccess::substitute(predicate, bindings.binding(*_variable, nullptr));
  if (!changedCollection && !changedPredicate) return nullptr;
  return makeObject<SubqueryExpression>(std::move(collection), _variable, std::move(predicate));
}

// Conditional

Value ConditionalExpression::evaluate(const Value& object, const Bindings& bindings) const {
  const bool holds = TreeAccess::evaluate(*_predicate, object, bindings);
  return TreeAccess::evaluate(holds ? *_trueExpression : *_falseExpression, object, bindings);
}
bool ConditionalExpression::hasEqualContent(const NSExpression& other) const {
  const auto& conditional = static_cast<const ConditionalExpression&>(other);
  return _predicate->isEqual(Value(conditional._predicate)) &&
         _trueExpression->isEqual(Value(conditional._trueExpression)) &&
         _falseExpression->isEqual(Value(conditional._falseExpression));
}
std::size_t ConditionalExpression::contentHash() const {
  return combinedHash(_predicate->hash(),
                      combinedHash(_trueExpression->hash(), _falseExpression->hash()));
}
void ConditionalExpression::appendFormat(std::string& text) const {
  text += "TERNARY(";
  TreeAccess::appendFormat(*_predicate, text);
  text += ", ";
  TreeAccess::appendFormat(*_trueExpression, text);
  text += ", ";
  TreeAccess::appendFormat(*_falseExpression, text);
  text += ')';
}
Ref<NSExpression> ConditionalExpression::substituted(const Bindings& bindings) const {
  Ref<NSPredicate> predicate = _predicate;
  Ref<NSExpression> trueExpression = _trueExpression, falseExpression = _falseExpression;
  const bool changedPredicate = TreeAccess::substitute(predicate, bindings);
  const bool changedTrue = TreeAccess::substitute(trueExpression, bindings);
  const bool changedFalse = TreeAccess::substitute(falseExpression, bindings);
  if (!changedPredicate && !changedTrue && !changedFalse) return nullptr;
  return makeObject<ConditionalExpression>(std::move(predicate), std::move(trueExpression),
                                           std::move(falseExpression));
}

// Block

Value BlockExpression::evaluate(const Value& object, const Bindings& bindings) const {
  const Ref<NSDictionary> variables = variablesIn(bindings);
  Ref<NSMutableDictionary> context = as<NSMutableDictionary>(Value(variables));
  if (!context && variables) context = NSMutableDictionary::dictionaryWithDictionary(variables);
  return _block(object, _arguments.array(), context);
}
bool BlockExpression::hasEqualContent(const NSExpression& other) const { return this == &other; }
std::size_t BlockExpression::contentHash() const { return std::hash<const void*>()(this) >> 4; }
void BlockExpression::appendFormat(std::string& text) const {
  text += NSString::stringWithFormat("BLOCK(%p", static_cast<const void*>(this))->utf8();
  if (!_arguments.list().empty()) text += ", ";
  _arguments.appendFormat(text);
  text += ')';
}
Ref<NSExpression> BlockExpression::substituted(const Bindings& bindings) const {
  const Ref<NSArray> arguments = _arguments.substituted(bindings);
  return arguments ? makeObject<BlockExpression>(_block, ExpressionArray(arguments)) : nullptr;
}

// Any key

Value AnyKeyExpression::evaluate(const Value&, const Bindings&) const {
  raise(NSInvalidArgumentException, "ANYKEY has no value in memory");
}
bool AnyKeyExpression::hasEqualContent(const NSExpression&) const { return true; }
std::size_t AnyKeyExpression::contentHash() const { return 0; }
void AnyKeyExpression::appendFormat(std::string& text) const { text += "ANYKEY"; }
Ref<NSExpression> AnyKeyExpression::substituted(const Bindings&) const { return nullptr; }

}  // namespace JNFoundation::impl
