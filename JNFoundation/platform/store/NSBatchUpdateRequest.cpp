#include "JNFoundation/platform/store/NSBatchUpdateRequest.h"

#include <JNFoundation/platform/query/NSPredicate.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSBatchUpdateRequest::classObject =
    Class::of<NSBatchUpdateRequest>("NSBatchUpdateRequest");

NSBatchUpdateRequest::NSBatchUpdateRequest() = default;
NSBatchUpdateRequest::~NSBatchUpdateRequest() = default;

Ref<NSBatchUpdateRequest> NSBatchUpdateRequest::batchUpdateRequestWithEntityName(
    const Ref<NSString>& name) {
  auto request = makeObject<NSBatchUpdateRequest>();
  request->_entityName = name;
  return request;
}

Ref<NSBatchUpdateRequest> NSBatchUpdateRequest::initWithEntity(
    const Ref<NSEntityDescription>& entity) {
  auto request = makeObject<NSBatchUpdateRequest>();
  request->_entity = entity;
  return request;
}

void NSBatchUpdateRequest::setPredicate(const Ref<NSPredicate>& predicate) {
  _predicate = predicate;
}

void NSBatchUpdateRequest::setPropertiesToUpdate(const Ref<NSDictionary>& properties) {
  _propertiesToUpdate = properties ? NSDictionary::dictionaryWithDictionary(properties) : nullptr;
}

}  // namespace JNFoundation
