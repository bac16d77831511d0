#include "JNFoundation/platform/store/NSFetchedPropertyDescription.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSFetchedPropertyDescription::classObject =
    Class::of<NSFetchedPropertyDescription>("NSFetchedPropertyDescription");

NSFetchedPropertyDescription::NSFetchedPropertyDescription() = default;
NSFetchedPropertyDescription::~NSFetchedPropertyDescription() = default;

Ref<NSFetchedPropertyDescription> NSFetchedPropertyDescription::init() {
  return makeObject<NSFetchedPropertyDescription>();
}

Ref<NSFetchRequest> NSFetchedPropertyDescription::fetchRequest() const {
  if (!_request) return nullptr;
  Ref<NSFetchRequest> request = as<NSFetchRequest>(_request->copy());
  if (Ref<NSEntityDescription> named = _requestEntity.load()) {
    request->setEntity(named);
  } else if (request->entityName()) {
    const Ref<NSEntityDescription> owner = entity();
    const Ref<NSManagedObjectModel> model = owner ? owner->managedObjectModel() : nullptr;
    if (model) request->setEntity(model->entityWithName(request->entityName()->utf8()));
  }
  return request;
}

void NSFetchedPropertyDescription::setFetchRequest(const Ref<NSFetchRequest>& request) {
  willChange();
  _request = request ? as<NSFetchRequest>(request->copy()) : nullptr;
  _requestEntity =
      request ? Weak<NSEntityDescription>(request->entity()) : Weak<NSEntityDescription>();
  if (_request) _request->setEntity(nullptr);
}

bool NSFetchedPropertyDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  if (!NSPropertyDescription::isEqual(other)) return false;
  const auto* property = as<NSFetchedPropertyDescription>(other);
  if (!property) return false;
  const Ref<NSFetchRequest> request = fetchRequest(), otherRequest = property->fetchRequest();
  if (!request || !otherRequest) return request == otherRequest;
  return Value(request->entityName()) == Value(otherRequest->entityName()) &&
         Value(request->predicate()) == Value(otherRequest->predicate());
}

std::string NSFetchedPropertyDescription::versionHashInput() const {
  return 'F' + NSPropertyDescription::versionHashInput();
}

}  // namespace JNFoundation
