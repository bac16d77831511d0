#include "JNFoundation/platform/store/NSBatchInsertRequest.h"

#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSBatchInsertRequest::classObject =
    Class::of<NSBatchInsertRequest>("NSBatchInsertRequest");

NSBatchInsertRequest::NSBatchInsertRequest() = default;
NSBatchInsertRequest::~NSBatchInsertRequest() = default;

Ref<NSBatchInsertRequest> NSBatchInsertRequest::batchInsertRequestWithEntityNameObjects(
    const Ref<NSString>& entityName, const Ref<NSArray>& dictionaries) {
  auto request = makeObject<NSBatchInsertRequest>();
  request->_entityName = entityName;
  request->setObjectsToInsert(dictionaries);
  return request;
}

Ref<NSBatchInsertRequest> NSBatchInsertRequest::initWithEntityObjects(
    const Ref<NSEntityDescription>& entity, const Ref<NSArray>& dictionaries) {
  auto request = makeObject<NSBatchInsertRequest>();
  request->_entity = entity;
  request->setObjectsToInsert(dictionaries);
  return request;
}

Ref<NSBatchInsertRequest> NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
    const Ref<NSString>& entityName, NSBatchInsertDictionaryHandler handler) {
  auto request = makeObject<NSBatchInsertRequest>();
  request->_entityName = entityName;
  request->setDictionaryHandler(std::move(handler));
  return request;
}

Ref<NSBatchInsertRequest> NSBatchInsertRequest::initWithEntityDictionaryHandler(
    const Ref<NSEntityDescription>& entity, NSBatchInsertDictionaryHandler handler) {
  auto request = makeObject<NSBatchInsertRequest>();
  request->_entity = entity;
  request->setDictionaryHandler(std::move(handler));
  return request;
}

void NSBatchInsertRequest::setObjectsToInsert(const Ref<NSArray>& dictionaries) {
  _objectsToInsert = dictionaries ? NSArray::arrayWithArray(dictionaries) : nullptr;
  _handler = nullptr;
}

void NSBatchInsertRequest::setDictionaryHandler(NSBatchInsertDictionaryHandler handler) {
  if (!handler) fatalError("a batch insert's handler must not be null");
  _handler = std::move(handler);
  _objectsToInsert = nullptr;
}

}  // namespace JNFoundation
