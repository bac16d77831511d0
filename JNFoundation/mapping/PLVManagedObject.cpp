#include "JNFoundation/mapping/PLVManagedObject.h"

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/store/NSExpressionDescription.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVManagedObject::classObject =
    Class::of<PLVManagedObject>("PLVManagedObject");

namespace {

const ClassDeclaration<PLVManagedObject> declarationOfPLVManagedObject =
    ClassDeclaration<PLVManagedObject>()
        .factory()
        .operation("entityDataMap", &PLVManagedObject::entityDataMap)
        .operation("mergeDictionary:", &PLVManagedObject::mergeDictionary);

constexpr const char* aggregateName = "__value_for_attribute__";

}  // namespace

Ref<PLVDictionaryDataMap> PLVManagedObject::entityDataMap() const { return nullptr; }

void PLVManagedObject::mergeDictionary(const Ref<NSDictionary>& record) {
  if (const Ref<PLVDictionaryDataMap> map = entityDataMap()) {
    map->mapDictionaryToObject(record, Ref<NSManagedObject>(this));
  }
}

Ref<NSFetchRequest> PLVManagedObject::requestForEntity(const Ref<NSEntityDescription>& entity,
                                                       const Ref<NSPredicate>& predicate) {
  Ref<NSFetchRequest> request = NSFetchRequest::init();
  request->setEntity(entity);
  if (predicate) request->setPredicate(predicate);
  return request;
}

Ref<NSArray> PLVManagedObject::executeRequest(const Ref<NSFetchRequest>& request, NSUInteger limit,
                                              const Ref<NSManagedObjectContext>& context,
                                              Ref<NSError>* error) {
  if (!context) return nullptr;
  request->setFetchLimit(limit);
  Ref<NSError> failure;
  Ref<NSArray> found = context->executeFetchRequestError(request, &failure);
  if (!found && error) *error = failure;
  return found;
}

void PLVManagedObject::raiseForeignClass(const Value& object, const Class& wanted) {
  raise(NSInternalInconsistencyException,
        "the entity %@ has objects of the class %s, which is no %s; its class name in the model "
        "says which class they get",
        as<NSManagedObject>(object)->entity()->name(), object.class_()->name(), wanted.name());
}

Value PLVManagedObject::aggregate(
    const Class& receiver, const Ref<NSString>& attributeName, const Ref<NSString>& function,
    Ref<NSEntityDescription> (*entityInContext)(const Ref<NSManagedObjectContext>&),
    const Ref<NSManagedObjectContext>& context, Ref<NSError>* error) {
  const auto fail = [&](const Ref<NSString>& message) -> Value {
    NSLog("%s(%p) %@", "+[PLVManagedObject valueForAttributeName:withFunction:context:error:]",
          &receiver, message);
    return nullptr;
  };
  if (!attributeName || attributeName->length() == 0) {
    return fail("unable to fetch value for an empty/nil attribute name");
  }
  if (!function || function->length() == 0) {
    return fail("unable to fetch value for an empty/nil expression function");
  }
  const Ref<NSEntityDescription> entity = entityInContext(context);
  const auto attribute = as<NSAttributeDescription>(
      entity ? entity->attributesByName()->objectForKey(attributeName) : Value());
  if (!attribute) {
    return fail(NSString::stringWithFormat("unable to locate attribute with name %@ in entity %@",
                                           attributeName, entity ? entity->name() : nullptr));
  }
  Ref<NSExpressionDescription> property = NSExpressionDescription::init();
  property->setName(aggregateName);
  property->setExpression(NSExpression::expressionForFunctionArguments(
      function, NSArray::arrayWithObject(NSExpression::expressionForKeyPath(attributeName))));
  property->setExpressionResultType(attribute->attributeType());
  Ref<NSFetchRequest> request = requestForEntity(entity, nullptr);
  request->setResultType(NSDictionaryResultType);
  request->setPropertiesToFetch(NSArray::arrayWithObject(property));
  const auto row = as<NSDictionary>(plv_firstObject(executeRequest(request, 0, context, error)));
  return row ? row->objectForKey(aggregateName) : Value();
}

}  // namespace JNFoundation
