#pragma once

#include <JNFoundation/fetched/PLVRefreshProviderBlock.h>

/// Lets whoever knows where the data of a controller come from be asked, by whoever shows them, to
/// load them again:
///
///     plv_setRefreshProviderBlock(results, Ref<NSObject>(this), [](NSInteger options, auto&
///     loader,
///                                                                  auto& results) {
///       return as<Loader>(Value(loader))->load(results->fetchRequest());
///     });
///     ...
///     plv_refreshWithOptions(results, 0)->whenFulfilled(hideSpinner);
///
/// A null controller answers what a message to null answers: null. Nothing is called.
/// Threads: the controller's; blocks are called there, before the operation returns.
namespace JNFoundation::inline v0_1 {

/// Puts the provider and its block in the place of earlier ones; a null provider removes them.
/// Takes: the provider weakly; the block, until then or until the controller goes, so a block that
/// holds the provider or the controller keeps them alive.
void plv_setRefreshProviderBlock(const Ref<NSFetchedResultsController>& controller,
                                 const Ref<NSObject>& provider, PLVRefreshBlock block);

/// Calls: the block with the options as they are, its provider and the controller.
/// Returns: what the block returns, null included. Fails: the promise is rejected already, with an
/// error of PLVDataErrorDomain: 1066150 without a provider, or once it has gone; 1066151 without a
/// block.
Ref<PLVPromise> plv_refreshWithOptions(const Ref<NSFetchedResultsController>& controller,
                                       NSInteger options);

/// Refreshes and stores the promise. Does nothing at all where there is nowhere to store it.
void plv_getRefreshPromiseWithOptions(const Ref<NSFetchedResultsController>& controller,
                                      Ref<PLVPromise>* promise, NSInteger options);

}  // namespace JNFoundation
