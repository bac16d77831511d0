#include "JNFoundation/platform/store/NSBatchDeleteRequest.h"

#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSBatchDeleteRequest::classObject =
    Class::of<NSBatchDeleteRequest>("NSBatchDeleteRequest");

NSBatchDeleteRequest::NSBatchDeleteRequest() = default;
NSBatchDeleteRequest::~NSBatchDeleteRequest() = default;

Ref<NSBatchDeleteRequest> NSBatchDeleteRequest::initWithFetchRequest(
    const Ref<NSFetchRequest>& fetch) {
  if (!fetch) raise(NSInvalidArgumentException, "initWithFetchRequest: a nil fetch request");
  auto request = makeObject<NSBatchDeleteRequest>();
  request->_fetchRequest = fetch;
  return request;
}

Ref<NSBatchDeleteRequest> NSBatchDeleteRequest::initWithObjectIDs(const Ref<NSArray>& objectIDs) {
  if (!objectIDs) raise(NSInvalidArgumentException, "initWithObjectIDs: a nil array");
  auto request = makeObject<NSBatchDeleteRequest>();
  request->_objectIDs = NSArray::arrayWithArray(objectIDs);
  return request;
}

}  // namespace JNFoundation
