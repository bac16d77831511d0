#include "JNFoundation/platform/store/impl/QueryCheck.h"

#include <algorithm>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::impl {
namespace {

/// Walks a predicate tree; its depth is bounded where predicates are made.
class Walker {
 public:
  virtual ~Walker() = default;

  void walk(const NSPredicate& predicate) {
    if (isKindOf<NSCompoundPredicate>(predicate)) {
      const auto& compound = static_cast<const NSCompoundPredicate&>(predicate);
      for (const Value& part : compound.subpredicates()) walk(*as<NSPredicate>(part));
    } else if (isKindOf<NSComparisonPredicate>(predicate)) {
      const auto& comparison = static_cast<const NSComparisonPredicate&>(predicate);
      if (comparison.predicateOperatorType() == NSCustomSelectorPredicateOperatorType)
        foundMessage();
      walk(*comparison.leftExpression());
      walk(*comparison.rightExpression());
    } else if (!predicate.constantAnswer()) {
      foundMessage();
    }
  }

  void walk(const NSExpression& expression) {
    switch (expression.expressionType()) {
      case NSEvaluatedObjectExpressionType:
        foundObject();
        break;
      case NSKeyPathExpressionType: {
        Ref<NSExpression> operand = expression.operand();
        if (operand && operand->expressionType() != NSEvaluatedObjectExpressionType) {
          walk(*operand);
        } else {
          foundKeyPath(expression.parsedKeyPath());
        }
        break;
      }
      case NSFunctionExpressionType: {
        Ref<NSExpression> operand = expression.operand();
        if (operand && operand->expressionType() != NSConstantValueExpressionType) {
          if (operand->expressionType() != NSEvaluatedObjectExpressionType) walk(*operand);
          foundFunction(expression);
        }
        walkAll(expression.arguments());
        break;
      }
      case NSUnionSetExpressionType:
      case NSIntersectSetExpressionType:
      case NSMinusSetExpressionType:
        walk(*expression.leftExpression());
        walk(*expression.rightExpression());
        break;
      case NSSubqueryExpressionType: {
        const Value collection = expression.collection();
        if (const auto* inner = as<NSExpression>(collection)) walk(*inner);
        walk(*expression.predicate());
        break;
      }
      case NSAggregateExpressionType: {
        const Value collection = expression.collection();
        if (const auto* members = as<NSArray>(collection))
          walkAll(Ref<NSArray>(const_cast<NSArray*>(members)));
        break;
      }
      case NSAnyKeyExpressionType:
      case NSBlockExpressionType:
        foundMessage();
        break;
      case NSConditionalExpressionType:
        walk(*expression.predicate());
        walk(*expression.trueExpression());
        walk(*expression.falseExpression());
        break;
      default:
        break;
    }
  }

 protected:
  virtual void foundKeyPath(const KeyPath&) {}
  /// The object itself, not one of its keys.
  virtual void foundObject() {}
  /// Something that only code can answer.
  virtual void foundMessage() {}
  virtual void foundFunction(const NSExpression&) {}

 private:
  void walkAll(const Ref<NSArray>& expressions) {
    if (!expressions) return;
    for (const Value& value : *expressions) {
      if (const auto* expression = as<NSExpression>(value)) walk(*expression);
    }
  }
};

void checkPath(const NSEntityDescription& entity, const KeyPath& path) {
  if (path.steps().empty() || path.steps().front().collectionOperator != CollectionOperator::None) {
    return;
  }
  const NSString& key = *path.steps().front().key;
  const EntityLayout& layout = entity.layout();
  const std::size_t index = layout.indexOf(key);
  if (index != EntityLayout::none) {
    if (layout[index].stored) return;
    raise(NSInvalidArgumentException,
          "The attribute '%s' of entity '%@' is transient: no store can look for it", key.utf8(),
          entity.name());
  }
  if (key.utf8() == "objectID" || key.utf8() == "self" || key.utf8() == "entity") return;
  if (layout.isRelationship(key)) {
    raise(NSInvalidArgumentException,
          "The property '%s' of entity '%@' is a relationship: objects do not hold related objects",
          key.utf8(), entity.name());
  }
  raise(NSInvalidArgumentException, "keypath %@ not found in entity %@", path.text(),
        entity.name());
}

class KeyCheck final : public Walker {
 public:
  explicit KeyCheck(const NSEntityDescription& entity) : _entity(entity) {}

 private:
  void foundKeyPath(const KeyPath& path) override { checkPath(_entity, path); }

  const NSEntityDescription& _entity;
};

class ObjectSearch final : public Walker {
 public:
  bool found = false;

 private:
  void foundKeyPath(const KeyPath& path) override {
    if (path.steps().empty() || path.steps().front().key->utf8() == "self") found = true;
  }
  void foundObject() override { found = true; }
  void foundMessage() override { found = true; }
};

}  // namespace

void checkPredicateKeys(const NSEntityDescription& entity, const NSPredicate& predicate) {
  KeyCheck(entity).walk(predicate);
}

void checkExpressionKeys(const NSEntityDescription& entity, const NSExpression& expression) {
  KeyCheck(entity).walk(expression);
}

void checkSortKeys(const NSEntityDescription& entity, const NSArray& descriptors) {
  for (const Value& value : descriptors) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    if (!descriptor) {
      raise(NSInvalidArgumentException, "A fetch is sorted by sort descriptors, not by %@", value);
    }
    if (!descriptor->key()) {
      raise(NSInvalidArgumentException,
            "A fetch is sorted by attributes: a sort descriptor of "
            "entity '%@' has no key",
            entity.name());
    }
    checkPath(entity, descriptor->parsedKey());
  }
}

bool wantsObjects(const NSPredicate& predicate) {
  ObjectSearch search;
  search.walk(predicate);
  return search.found;
}

bool isAggregate(const NSExpression& expression) {
  if (expression.expressionType() != NSFunctionExpressionType) return false;
  static constexpr std::string_view aggregates[] = {
      "average:", "sum:", "count:", "min:", "max:", "median:", "mode:", "stddev:"};
  Ref<NSString> name = expression.function();
  Ref<NSArray> arguments = expression.arguments();
  if (name && arguments && arguments->count() == 1 &&
      std::find(std::begin(aggregates), std::end(aggregates), name->utf8()) !=
          std::end(aggregates)) {
    return true;
  }
  if (!arguments) return false;
  for (const Value& value : *arguments) {
    const auto* argument = as<NSExpression>(value);
    if (argument && isAggregate(*argument)) return true;
  }
  return false;
}

}  // namespace JNFoundation::impl
