#include "JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h"

#include <JNFoundation/mapping/PLVDataError.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {
namespace {

const ClassDeclaration<NSFetchedResultsController>
    declarationOfNSFetchedResultsControllerPLVRefresh =
        ClassDeclaration<NSFetchedResultsController>().operation(
            "plv_refreshWithOptions:",
            [](NSFetchedResultsController& controller, NSInteger options) {
              return plv_refreshWithOptions(Ref<NSFetchedResultsController>(&controller), options);
            });

const char providerKey = 0;

constexpr NSInteger noProviderError = 1066150;
constexpr NSInteger noBlockError = 1066151;

Ref<PLVPromise> rejected(NSInteger code, const char* description) {
  return PLVPromise::withRejected(PLVDataError::errorWithDomainCodeUserInfo(
      PLVDataErrorDomain, code,
      NSDictionary::dictionaryWithObjectForKey(description, NSLocalizedDescriptionKey)));
}

}  // namespace

void plv_setRefreshProviderBlock(const Ref<NSFetchedResultsController>& controller,
                                 const Ref<NSObject>& provider, PLVRefreshBlock block) {
  Ref<PLVRefreshProviderBlock> holder;
  if (provider) {
    holder = PLVRefreshProviderBlock::init();
    holder->setProvider(provider);
    holder->setRefreshBlock(std::move(block));
  }
  objc_setAssociatedObject(controller.get(), &providerKey, Value(holder),
                           OBJC_ASSOCIATION_RETAIN_NONATOMIC);
}

Ref<PLVPromise> plv_refreshWithOptions(const Ref<NSFetchedResultsController>& controller,
                                       NSInteger options) {
  if (!controller) return nullptr;
  const Value value = objc_getAssociatedObject(controller.get(), &providerKey);
  const auto* holder = as<PLVRefreshProviderBlock>(value);
  const Ref<NSObject> provider = holder ? holder->provider() : nullptr;
  if (!provider) return rejected(noProviderError, "Unable to refresh with nil provider");
  // Copied, since the block may put another one in its place.
  const PLVRefreshBlock block = holder->refreshBlock();
  if (!block) return rejected(noBlockError, "Unable to refresh with nil block");
  // Held for the call, since the block may let go of the reference that it came by.
  return block(options, provider, Ref<NSFetchedResultsController>(controller.get()));
}

void plv_getRefreshPromiseWithOptions(const Ref<NSFetchedResultsController>& controller,
                                      Ref<PLVPromise>* promise, NSInteger options) {
  if (promise) *promise = plv_refreshWithOptions(controller, options);
}

}  // namespace JNFoundation
