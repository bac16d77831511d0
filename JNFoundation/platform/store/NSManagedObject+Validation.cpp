#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/ValidationOperation.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation {

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

const Method* declaredValidator(const NSManagedObject& object, const EntityLayout& layout,
                                std::size_t index) {
  const EntityLayout::ClassBinding& usual = layout.objectClass();
  const EntityLayout::ClassBinding& binding =
      usual.cls == &object.class_() ? usual : layout.bindingOf(object.class_());
  return binding.validators[index];
}

std::optional<BrokenRule> ruleBrokenBy(const Value& value, const EntityLayout::Slot& slot) {
  return slot.attribute ? impl::ruleBrokenBy(value, *slot.attribute) : std::nullopt;
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
  const std::size_t index = key ? indexOfAttribute(*key) : EntityLayout::none;
  if (index == EntityLayout::none) return true;
  const EntityLayout& layout = _entity->layout();
  if (const std::optional<BrokenRule> rule = ruleBrokenBy(value, layout[index])) {
    return error ? impl::fail(error, validationError(*this, key, value, *rule)) : false;
  }
  const Method* validator = declaredValidator(*this, layout, index);
  return !validator || runValidator(*validator, *this, value, key, error);
}

bool NSManagedObject::validateValues(Ref<NSError>* error) {
  const EntityLayout& layout = _entity->layout();
  std::vector<Ref<NSError>> errors;
  // A fault was not written to. The class's own checks may turn the object into one.
  for (std::size_t i = 0; i < layout.count() && (_flags & HasValues) != 0; ++i) {
    const EntityLayout::Slot& slot = layout[i];
    if (!slot.attribute) continue;
    const Value given = _values[i];
    Value value = given;
    Ref<NSError> problem;
    if (validateValueForKeyError(value, slot.name, error ? &problem : nullptr)) {
      const bool isReplaced = !value.isIdentical(given);
      // Whatever was said of the value before, a store must be able to hold it.
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

bool NSManagedObject::validateForInsert(Ref<NSError>* error) { return validateValues(error); }
bool NSManagedObject::validateForUpdate(Ref<NSError>* error) { return validateValues(error); }
bool NSManagedObject::validateForDelete(Ref<NSError>*) { return true; }

}  // namespace JNFoundation
