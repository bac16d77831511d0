#include <cmath>

#include <JNFoundation/deferred/JNTimeout.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVRejectedIgnored.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

namespace JNFoundation::inline v0_1 {
namespace {

const ClassDeclaration<PLVDeferred> declarationOfPLVDeferredJNExtension =
    ClassDeclaration<PLVDeferred>()
        .operation("timeout:", [](PLVDeferred& deferred,
                                  NSTimeInterval seconds) { return deferred.timeout(seconds); })
        .operation("ignoreRejected",
                   [](PLVDeferred& deferred) { return deferred.ignoreRejected(); })
        .classOperation("withResolved:delayInterval:",
                        [](const Value& value, NSTimeInterval delayInterval) {
                          return PLVDeferred::withResolvedDelayInterval(value, delayInterval);
                        })
        .classOperation("iterationDeferredWithDeferreds:resultsArray:",
                        [](const Ref<NSArray>& deferreds, const Ref<NSMutableArray>& results) {
                          return PLVDeferred::iterationDeferredWithDeferredsResultsArray(deferreds,
                                                                                         results);
                        })
        .classOperation(
            "withAnyResolved:",
            [](const Ref<NSArray>& deferreds) { return PLVDeferred::withAnyResolved(deferreds); })
        .classOperation("withAllResolved:", [](const Ref<NSArray>& deferreds) {
          return PLVDeferred::withAllResolved(deferreds);
        });

/// Parts of a nanosecond do not count; the queue takes what is too long for its clock as for ever,
/// and what is no number as nothing.
void afterDelay(NSTimeInterval seconds, Block<void()> task) {
  MainQueue::current().after(std::trunc(seconds * 1e9) / 1e9, std::move(task));
}

/// Waits for all of them, then settles with the outcomes: rejected unless the answer is found among
/// them, where one that is no failure answers "any", and no failure at all answers "all".
enum class WantedResults { AnySuccess, NoFailure };

bool hasWanted(const NSArray& results, WantedResults wanted) {
  const bool stopsAtFailure = wanted == WantedResults::NoFailure;
  for (const Value& result : results) {
    if (isKindOf<PLVRejected>(result) == stopsAtFailure) return !stopsAtFailure;
  }
  return stopsAtFailure;
}

Ref<PLVDeferred> combination(const impl::DeferredClass& maker, const Ref<NSArray>& deferreds,
                             WantedResults wanted, CreationPlace place) {
  if (!deferreds || deferreds->count() == 0) return nullptr;
  const Ref<NSMutableArray> results = NSMutableArray::arrayWithCapacity(deferreds->count());
  return impl::iteration(maker, deferreds, results, place)
      ->thenEither([&maker, results, wanted](const Value&) -> Value {
        return hasWanted(*results, wanted) ? maker.withResolved(results, {})
                                           : maker.withRejected(results, {});
      });
}

}  // namespace

void impl::resolveAfterDelay(const Ref<PLVDeferred>& deferred, const Value& value,
                             NSTimeInterval delay) {
  afterDelay(delay, [deferred, value] { deferred->resolve(value); });
}

Ref<PLVDeferred> impl::iteration(const DeferredClass& maker, const Ref<NSArray>& deferreds,
                                 const Ref<NSMutableArray>& results, CreationPlace place) {
  Ref<PLVDeferred> iteration = maker.withResolved(plv_firstObject(deferreds), place);
  if (!deferreds || deferreds->count() == 0) return iteration;
  // The count is asked each time: steps may run while they are added, and may change the array.
  NSUInteger index = 0;
  do {
    ++index;
    iteration->thenEither([results, next = jn_safelyGetObjectAtIndex(deferreds, index)](
                              const Value& outcome) -> Value {
      if (results) results->addObject(outcome.isNull() ? Value(NSNull::null()) : outcome);
      return next;
    });
  } while (index < deferreds->count());
  return iteration;
}

Ref<PLVDeferred> impl::anyResolved(const DeferredClass& maker, const Ref<NSArray>& deferreds,
                                   CreationPlace place) {
  return combination(maker, deferreds, WantedResults::AnySuccess, place);
}

Ref<PLVDeferred> impl::allResolved(const DeferredClass& maker, const Ref<NSArray>& deferreds,
                                   CreationPlace place) {
  return combination(maker, deferreds, WantedResults::NoFailure, place);
}

Ref<PLVDeferred> impl::allResolvedUpToNull(const DeferredClass& maker,
                                           std::initializer_list<Ref<PLVDeferred>> deferreds) {
  const Ref<NSMutableArray> list = NSMutableArray::array();
  for (const Ref<PLVDeferred>& deferred : deferreds) {
    if (!deferred) break;
    list->addObject(deferred);
  }
  // A list of arguments leaves no room for the place.
  return allResolved(maker, list, {});
}

Ref<PLVDeferred> PLVDeferred::withResolvedDelayInterval(const Value& value,
                                                        NSTimeInterval delayInterval,
                                                        CreationPlace place) {
  Ref<PLVDeferred> deferred = init(place);
  impl::resolveAfterDelay(deferred, value, delayInterval);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::iterationDeferredWithDeferredsResultsArray(
    const Ref<NSArray>& deferreds, const Ref<NSMutableArray>& resultsArray, CreationPlace place) {
  return impl::iteration(impl::deferredClass<PLVDeferred>, deferreds, resultsArray, place);
}

Ref<PLVDeferred> PLVDeferred::withAnyResolved(const Ref<NSArray>& deferreds, CreationPlace place) {
  return impl::anyResolved(impl::deferredClass<PLVDeferred>, deferreds, place);
}

Ref<PLVDeferred> PLVDeferred::withAllResolved(const Ref<NSArray>& deferreds, CreationPlace place) {
  return impl::allResolved(impl::deferredClass<PLVDeferred>, deferreds, place);
}

Ref<PLVDeferred> PLVDeferred::timeout(NSTimeInterval seconds, CreationPlace place) {
  Ref<PLVDeferred> limited = resolvedBy(this, place);
  afterDelay(seconds, [limited] { limited->reject(JNTimeout::instance()); });
  return limited;
}

Ref<PLVDeferred> PLVDeferred::ignoreRejected(CreationPlace place) {
  return resolvedBy(this, place)->thenRejected([](const Ref<PLVRejected>& rejected) -> Value {
    return PLVRejectedIgnored::withRejected(rejected);
  });
}

}  // namespace JNFoundation
