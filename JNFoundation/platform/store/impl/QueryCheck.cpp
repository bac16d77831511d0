#include "JNFoundation/platform/store/impl/QueryCheck.h"

#include <algorithm>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ExpressionRewriting.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
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
      case NSConstantValueExpressionType:
        foundConstant(expression.constantValue());
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
        foundSubquery();
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
  virtual void foundSubquery() {}
  /// The object itself, not one of its keys.
  virtual void foundObject() {}
  /// Something that only code can answer.
  virtual void foundMessage() {}
  virtual void foundFunction(const NSExpression&) {}
  virtual void foundConstant(const Value&) {}

 private:
  void walkAll(const Ref<NSArray>& expressions) {
    if (!expressions) return;
    for (const Value& value : *expressions) {
      if (const auto* expression = as<NSExpression>(value)) walk(*expression);
    }
  }
};

/// Follows the path through relationships, as far as the model knows where it leads.
void checkPath(const NSEntityDescription& entity, const KeyPath& path) {
  const NSEntityDescription* here = &entity;
  bool isCollection = false;
  for (const KeyPath::Step& step : path.steps()) {
    const NSString& key = *step.key;
    if (step.collectionOperator != CollectionOperator::None) {
      // One record is no collection, and some operators are none.
      if (isCollection && step.collectionOperator != CollectionOperator::Unknown) return;
      raise(NSInvalidArgumentException, "keypath %@ not found in entity %@", path.text(),
            here->name());
    }
    const EntityLayout& layout = here->layout();
    const std::size_t index = layout.indexOf(key);
    if (index == EntityLayout::none) {
      if (key.utf8() == "self") continue;
      if (key.utf8() == "objectID" || key.utf8() == "entity") return;
      raise(NSInvalidArgumentException, "keypath %@ not found in entity %@", path.text(),
            here->name());
    }
    const EntityLayout::Slot& slot = layout[index];
    const bool isKept = slot.relationship ? !slot.relationship->isTransient() : slot.stored;
    if (!isKept) {
      raise(NSInvalidArgumentException,
            "The property '%s' of entity '%@' is transient: no store can look for it", key.utf8(),
            here->name());
    }
    if (!slot.relationship) return;
    isCollection = isCollection || slot.isToMany();
    here = slot.relationship->destinationEntity().get();
  }
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
  void foundMessage() override { found = true; }
  void foundFunction(const NSExpression&) override { found = true; }
};

class IdentitySearch final : public Walker {
 public:
  bool found = false;

 private:
  void foundKeyPath(const KeyPath& path) override {
    found = found || path.steps().empty() || path.steps().back().key->utf8() == "objectID" ||
            path.steps().back().key->utf8() == "self";
  }
  void foundObject() override { found = true; }
  void foundConstant(const Value& value) override { found = found || namesRecord(value); }

  static bool namesRecord(const Value& value) {
    if (isKindOf<NSManagedObject>(value) || isKindOf<NSManagedObjectID>(value)) return true;
    if (const auto* array = as<NSArray>(value)) return anyNamesRecord(*array);
    if (const auto* set = as<NSSet>(value)) return anyNamesRecord(*set);
    if (const auto* ordered = as<NSOrderedSet>(value)) return anyNamesRecord(*ordered);
    return false;
  }
  template <class Collection>
  static bool anyNamesRecord(const Collection& collection) {
    for (const Value& member : collection) {
      if (isKindOf<NSManagedObject>(member) || isKindOf<NSManagedObjectID>(member)) return true;
    }
    return false;
  }
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

class RelatedEntities::PathWalker final : public Walker {
 public:
  explicit PathWalker(RelatedEntities& entities) : _entities(entities) {}

 private:
  void foundKeyPath(const KeyPath& path) override { _entities.follow(path); }
  // Of its members it may ask for anything.
  void foundSubquery() override { _entities._mayBeAny = true; }
  void foundMessage() override { _entities._mayBeAny = true; }
  void foundFunction(const NSExpression&) override { _entities._mayBeAny = true; }

  RelatedEntities& _entities;
};

void RelatedEntities::add(const NSPredicate& predicate) { PathWalker(*this).walk(predicate); }

void RelatedEntities::add(const NSArray& sortDescriptors) {
  for (const Value& value : sortDescriptors) follow(as<NSSortDescriptor>(value)->parsedKey());
}

void RelatedEntities::follow(const KeyPath& path) {
  const NSEntityDescription* here = &_entity;
  const NSEntityDescription* next = nullptr;
  for (const KeyPath::Step& step : path.steps()) {
    if (step.collectionOperator == CollectionOperator::Count) return;
    if (next) {
      _entities.push_back(next);
      here = next;
      next = nullptr;
    }
    if (step.collectionOperator != CollectionOperator::None) continue;
    const EntityLayout& layout = here->layout();
    const std::size_t index = layout.indexOf(*step.key);
    if (index == EntityLayout::none || !layout[index].relationship) continue;
    next = layout[index].relationship->destinationEntity().get();
  }
}

bool RelatedEntities::has(const NSEntityDescription& entity) const {
  return _mayBeAny || std::any_of(_entities.begin(), _entities.end(), [&](const auto* related) {
           return entity.isKindOfEntity(
               Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(related)));
         });
}

bool wantsObjects(const NSPredicate& predicate) {
  ObjectSearch search;
  search.walk(predicate);
  return search.found;
}

bool namesRecords(const NSPredicate& predicate) {
  IdentitySearch search;
  search.walk(predicate);
  return search.found;
}

namespace {

/// Whether the expression, or a part of it, is one that the function answers true for.
template <class Function>
bool anyPart(const Ref<NSExpression>& expression, Function&& function) {
  bool found = false;
  rewritten(expression, [&](const NSExpression& part) -> Ref<NSExpression> {
    found = found || function(part);
    return nullptr;
  });
  return found;
}

bool readsRecord(const NSExpression& expression) {
  switch (expression.expressionType()) {
    case NSConstantValueExpressionType:
    case NSAggregateExpressionType:
      return false;
    case NSFunctionExpressionType:
      return static_cast<bool>(expression.operand());
    default:
      return true;
  }
}

}  // namespace

bool isAggregateCall(const NSExpression& expression) {
  if (expression.expressionType() != NSFunctionExpressionType || expression.operand()) return false;
  static constexpr std::string_view aggregates[] = {
      "average:", "sum:", "count:", "min:", "max:", "median:", "mode:", "stddev:"};
  const Ref<NSString> name = expression.function();
  const Ref<NSArray> arguments = expression.arguments();
  if (arguments->count() != 1 || std::find(std::begin(aggregates), std::end(aggregates),
                                           name->utf8()) == std::end(aggregates)) {
    return false;
  }
  const Value argument = arguments->objectAtIndex(0);
  const Ref<NSExpression> inner(as<NSExpression>(argument));
  return inner && anyPart(inner, readsRecord);
}

bool hasAggregate(const Ref<NSExpression>& expression) {
  return anyPart(expression, isAggregateCall);
}

}  // namespace JNFoundation::impl
