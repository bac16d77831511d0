#include <algorithm>

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/ValidationOperation.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

using impl::BrokenRule;
using impl::EntityLayout;

namespace {

Ref<NSError> validationError(const NSManagedObject& object, const Ref<NSString>& key,
                             const Value& value, const BrokenRule& rule) {
  return impl::cocoaError(
      rule.code,
      NSString::stringWithFormat("The value of '%@' of an object of entity '%@' %s.", key,
                                 object.entity()->name(), rule.problem),
      {{NSValidationObjectErrorKey, Value(const_cast<NSManagedObject*>(&object))},
       {NSValidationKeyErrorKey, key},
       {NSValidationValueErrorKey, value},
       {NSValidationPredicateErrorKey, rule.predicate}});
}

/// How many objects there must be: of a required relationship one at least.
NSUInteger leastCount(const EntityLayout::Slot& slot) {
  return std::max<NSUInteger>(slot.relationship->minCount(), slot.optional ? 0 : 1);
}

std::optional<BrokenRule> ruleBrokenByCount(NSUInteger count, const EntityLayout::Slot& slot) {
  if (!slot.isToMany()) {
    if (slot.optional || count > 0) return std::nullopt;
    return BrokenRule{
        NSValidationMissingMandatoryPropertyError, "is required, but there is none", {}};
  }
  // An optional relationship may lead nowhere, whatever its bounds.
  if (slot.optional && count == 0) return std::nullopt;
  const NSUInteger least = leastCount(slot), most = slot.relationship->maxCount();
  if (count < least) {
    return BrokenRule{NSValidationRelationshipLacksMinimumCountError,
                      "has too few objects: " + std::to_string(count) + " where at least " +
                          std::to_string(least) + " must be",
                      {}};
  }
  if (most > 0 && count > most) {
    return BrokenRule{NSValidationRelationshipExceedsMaximumCountError,
                      "has too many objects: " + std::to_string(count) + " where at most " +
                          std::to_string(most) + " may be",
                      {}};
  }
  return std::nullopt;
}

std::optional<BrokenRule> ruleBrokenBy(const Value& value, const EntityLayout::Slot& slot) {
  if (slot.attribute) return impl::ruleBrokenBy(value, *slot.attribute);
  NSUInteger count = value.isNull() ? 0 : 1;
  if (const auto* set = as<NSSet>(value)) count = set->count();
  if (const auto* ordered = as<NSOrderedSet>(value)) count = ordered->count();
  return ruleBrokenByCount(count, slot);
}

/// Whether the count of a relationship may have become one that the model does not allow.
bool isCountInQuestion(const NSManagedObject& object, std::size_t number,
                       const EntityLayout::Slot& slot) {
  if (!slot.isToMany()) return !slot.optional;
  if (leastCount(slot) == 0 && slot.relationship->maxCount() == 0) return false;
  const impl::RelatedObjects* related = impl::Relations::known(object, number);
  return object.isInserted() || (related && related->hasChanges());
}

/// Asks the operation that the class declares. Refusing without an error is refusing all the same.
bool runValidator(const Method& validator, NSManagedObject& object, Value& value,
                  const Ref<NSString>& key, Ref<NSError>* error) {
  const auto replaced = makeObject<impl::ValueBox>(value);
  const auto problem = error ? makeObject<impl::ValueBox>(Value()) : nullptr;
  const Value arguments[] = {replaced, problem};
  if (validator.invoke(Value(&object), arguments).boolValue()) {
    value = replaced->value;
    return true;
  }
  if (!error) return false;
  if (auto* reason = as<NSError>(problem->value)) {
    return impl::fail(error, Ref<NSError>(reason));
  }
  return impl::fail(error, validationError(object, key, value,
                                           {NSManagedObjectValidationError, "was refused", {}}));
}

}  // namespace

bool NSManagedObject::validateValueForKeyError(Value& value, const Ref<NSString>& key,
                                               Ref<NSError>* error) {
  if (!key || !_entity) return true;
  const EntityLayout& layout = _entity->layout();
  const std::size_t index = layout.indexOf(*key);
  if (index == EntityLayout::none) return true;
  const EntityLayout::Slot& slot = layout[index];
  if (!slot.attribute || !impl::isPlainlyAllowed(value, slot)) {
    if (const std::optional<BrokenRule> rule = ruleBrokenBy(value, slot)) {
      return error ? impl::fail(error, validationError(*this, key, value, *rule)) : false;
    }
  }
  const Method* validator = layout.bindingOf(class_()).validators[index];
  return !validator || runValidator(*validator, *this, value, key, error);
}

bool NSManagedObject::validateValues(Ref<NSError>* error) {
  const EntityLayout& layout = _entity->layout();
  std::vector<Ref<NSError>> errors;
  // A fault was not written to. The class's own checks may turn the object into one.
  std::size_t next = 0;
  for (const EntityLayout::Slot& slot : layout.slots()) {
    if ((_flags & HasValues) == 0) break;
    const std::size_t i = next++;
    if (slot.relationship) {
      if (!validateRelationship(i, error, errors)) return false;
      continue;
    }
    // What nobody has looked at since it was read is as it was.
    if (impl::isUnread(_values[i], slot)) continue;
    const Value given = slot.isTransformed() ? attributeAtIndex(i) : _values[i];
    Value value = given;
    Ref<NSError> problem;
    if (validateValueForKeyError(value, slot.name, error ? &problem : nullptr)) {
      const bool isReplaced = !value.isIdentical(given);
      // Whatever was said of the value before, a store must be able to hold it.
      if (!isReplaced && (value.isNull() || impl::isPlainly(value, slot.type))) continue;
      const std::optional<BrokenRule> rule =
          isReplaced ? ruleBrokenBy(value, slot) : impl::typeRuleBrokenBy(value, *slot.attribute);
      if (!rule) {
        if (isReplaced) setValueAtIndex(i, value);
        continue;
      }
      if (error) problem = validationError(*this, slot.name, value, *rule);
    }
    if (!error) return false;
    if (!problem) {
      problem = validationError(*this, slot.name, value,
                                {NSManagedObjectValidationError, "was refused", {}});
    }
    impl::appendErrors(problem, errors);
  }
  if (errors.empty()) return true;
  return impl::fail(error, impl::joinedErrors(errors));
}

/// Returns: false where the first failure ends the check.
bool NSManagedObject::validateRelationship(std::size_t index, Ref<NSError>* error,
                                           std::vector<Ref<NSError>>& errors) {
  const EntityLayout& layout = _entity->layout();
  const EntityLayout::Slot& slot = layout[index];
  Ref<NSError> problem;
  bool isValid = true;
  if (layout.bindingOf(class_()).validators[index]) {
    const Value given = valueAtIndex(index);
    Value value = given;
    isValid = validateValueForKeyError(value, slot.name, error ? &problem : nullptr);
    if (isValid && !value.isIdentical(given)) setValueAtIndex(index, value);
  } else if (isCountInQuestion(*this, index, slot)) {
    const auto rule = ruleBrokenByCount(impl::Relations::count(*this, index), slot);
    isValid = !rule;
    if (rule && error) problem = validationError(*this, slot.name, valueAtIndex(index), *rule);
  }
  if (isValid) return true;
  if (!error) return false;
  if (!problem) {
    problem = validationError(*this, slot.name, valueAtIndex(index),
                              {NSManagedObjectValidationError, "was refused", {}});
  }
  impl::appendErrors(problem, errors);
  return true;
}

bool NSManagedObject::validateForInsert(Ref<NSError>* error) { return validateValues(error); }
bool NSManagedObject::validateForUpdate(Ref<NSError>* error) { return validateValues(error); }

bool NSManagedObject::validateForDelete(Ref<NSError>* error) {
  const EntityLayout& layout = _entity->layout();
  std::vector<Ref<NSError>> errors;
  for (std::size_t i = 0; i < layout.count() && layout.hasRelationships(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    if (!slot.relationship || slot.relationship->deleteRule() != NSDenyDeleteRule) continue;
    const std::vector<Ref<NSManagedObject>> others = impl::Relations::destinations(*this, i);
    const bool isFree = std::all_of(others.begin(), others.end(),
                                    [](const auto& other) { return other->isDeleted(); });
    if (isFree) continue;
    if (!error) return false;
    errors.push_back(validationError(
        *this, slot.name, valueAtIndex(i),
        {NSValidationRelationshipDeniedDeleteError, "keeps the object from being deleted", {}}));
  }
  if (errors.empty()) return true;
  return impl::fail(error, impl::joinedErrors(errors));
}

}  // namespace JNFoundation
