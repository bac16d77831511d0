#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/impl/BatchWork.h>
#include <JNFoundation/platform/store/impl/ObjectRegistry.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

Value NSManagedObjectContext::executeRequestError(const Ref<NSPersistentStoreRequest>& request,
                                                  Ref<NSError>* error) {
  _registry->requireThread();
  if (!request) raise(NSInvalidArgumentException, "executeRequest:error: a nil request");
  requireCoordinator();
  const auto execute = [&]() -> Value {
    switch (request->requestType()) {
      case NSFetchRequestType:
        return Value(executeFetchRequestError(
            Ref<NSFetchRequest>(static_cast<NSFetchRequest*>(request.get())), error));
      case NSBatchInsertRequestType:
        return impl::executeBatch(*this, static_cast<const NSBatchInsertRequest&>(*request), error);
      case NSBatchUpdateRequestType:
        return impl::executeBatch(*this, static_cast<const NSBatchUpdateRequest&>(*request), error);
      case NSBatchDeleteRequestType:
        return impl::executeBatch(*this, static_cast<const NSBatchDeleteRequest&>(*request), error);
    }
    raise(NSInvalidArgumentException, "A context cannot execute requests of type %lu",
          static_cast<unsigned long>(request->requestType()));
  };
  return impl::orError(execute, Value(), error);
}

}  // namespace JNFoundation
