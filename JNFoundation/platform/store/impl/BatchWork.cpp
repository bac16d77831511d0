#include "JNFoundation/platform/store/impl/BatchWork.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

Ref<NSEntityDescription> entityOfRequest(const NSPersistentStoreCoordinator& coordinator,
                                         const Ref<NSEntityDescription>& entity,
                                         const Ref<NSString>& name) {
  const Ref<NSManagedObjectModel>& model = coordinator.managedObjectModel();
  if (entity && entity->managedObjectModel() != model) {
    raise(NSInvalidArgumentException,
          "The entity '%@' is not one of the model that the context works with", entity->name());
  }
  if (entity) return entity;
  if (!name) raise(NSInvalidArgumentException, "A batch request must have an entity.");
  Ref<NSEntityDescription> found = model->entityWithName(name->utf8());
  if (!found) {
    raise(NSInvalidArgumentException,
          "A batch request could not locate an NSEntityDescription for entity name '%@'", name);
  }
  return found;
}

// ---- Transactions -------------------------------------------------------------------------------

BatchTransaction::~BatchTransaction() {
  for (const Ref<NSPersistentStore>& store : _stores) store->abandonSave();
}

bool BatchTransaction::begin(NSPersistentStore& store, Ref<NSError>* error) {
  const auto has = [&](const Ref<NSPersistentStore>& one) { return one.get() == &store; };
  if (std::any_of(_stores.begin(), _stores.end(), has)) return true;
  if (!store.beginSave(error)) return false;
  _stores.emplace_back(&store);
  return true;
}

bool BatchTransaction::commit(Ref<NSError>* error) {
  while (!_stores.empty()) {
    const Ref<NSPersistentStore> store = _stores.front();
    if (!store->isOpen()) {
      return fail(error, cocoaError(NSPersistentStoreOperationError,
                                    "The store was removed while it was written to."));
    }
    // It takes back what it cannot commit.
    _stores.erase(_stores.begin());
    if (!store->commitSave(error)) return false;
  }
  return true;
}

// ---- Values -------------------------------------------------------------------------------------

namespace {

bool failWith(const BrokenRule& rule, const NSEntityDescription& entity, std::size_t number,
              const Value& value, Ref<NSError>* error) {
  const Ref<NSString>& name = entity.layout()[number].name;
  std::vector<NSDictionary::Pair> details{{NSValidationKeyErrorKey, name}};
  if (!value.isNull()) details.push_back({NSValidationValueErrorKey, value});
  return fail(error, cocoaError(rule.code,
                                NSString::stringWithFormat(
                                    "The value of '%@' of a record of entity '%@' %s.", name,
                                    entity.name(), rule.problem.c_str()),
                                std::move(details)));
}

}  // namespace

std::size_t PlainValues::numberOf(const NSEntityDescription& entity, const Value& property) {
  const EntityLayout& layout = entity.layout();
  const auto* description = as<NSPropertyDescription>(property);
  const auto* text = as<NSString>(property);
  const NSString* name = description ? description->name().get() : text;
  const std::size_t number = name ? layout.indexOf(*name) : EntityLayout::none;
  if (number == EntityLayout::none) {
    raise(NSInvalidArgumentException, "The entity '%@' has no attribute '%@' for a batch request",
          entity.name(), property);
  }
  if (!layout[number].attribute) {
    raise(NSInvalidArgumentException,
          "A batch request cannot set the relationship '%@' of entity '%@'", layout[number].name,
          entity.name());
  }
  if (!layout[number].stored) {
    raise(NSInvalidArgumentException,
          "A batch request cannot set the attribute '%@' of entity '%@', which no store keeps",
          layout[number].name, entity.name());
  }
  return number;
}

bool PlainValues::put(const NSEntityDescription& entity, std::size_t number, Value value,
                      Value& place, Ref<NSError>* error) {
  const EntityLayout::Slot& slot = entity.layout()[number];
  if (value.isNSNull()) value = nullptr;
  if (!slot.attribute->acceptsValue(value)) {
    raise(NSInvalidArgumentException,
          "Unacceptable type of value for attribute: property = \"%@\"; desired type = %@; given "
          "type = %s; value = %@.",
          slot.name, slot.attribute->attributeValueClassName(), value.class_()->name(), value);
  }
  if (const auto rule = typeRuleBrokenBy(value, *slot.attribute)) {
    return failWith(*rule, entity, number, value, error);
  }
  if (!slot.isTransformed()) {
    place = slot.type == NSBinaryDataAttributeType ? value.copy() : std::move(value);
    return true;
  }
  place = placeOfValue(value, slot.attribute);
  return makeDataAtPlace(place, slot.attribute, nullptr, error);
}

bool PlainValues::checkMissing(const NSEntityDescription& entity, std::size_t number,
                               const Value& place, Ref<NSError>* error) {
  const EntityLayout::Slot& slot = entity.layout()[number];
  if (!place.isNull() || slot.optional || !slot.stored) return true;
  return failWith({NSValidationMissingMandatoryPropertyError, "must not be missing", {}}, entity,
                  number, nullptr, error);
}

}  // namespace JNFoundation::impl
