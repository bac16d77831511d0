#include "JNFoundation/deferred/Executor.h"

#include <exception>

#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1::impl {

OffloadedWork::OffloadedWork(CreationPlace place)
    : _deferred(PLVDeferred::initWithResolutionSource(Value(static_cast<NSObject*>(this)), place)) {
}

OffloadedWork::~OffloadedWork() {
  if (_isTaken.load() || _isCancelled.load()) return;
  settle(PLVRejected::withValue(NSError::errorWithDomainCodeUserInfo(
      JNDeferredErrorDomain, JNDeferredErrorNotRun,
      NSDictionary::dictionaryWithEntries(
          {{NSLocalizedDescriptionKey, "The executor dropped the work without running it."}}))));
}

void OffloadedWork::resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value&) {
  _isCancelled.store(true);
}

Block<void()> OffloadedWork::task() {
  return [work = Ref<OffloadedWork>(this)] { work->run(); };
}

void OffloadedWork::run() {
  if (_isCancelled.load() || _isTaken.exchange(true)) return;
  Value outcome;
  try {
    outcome = perform(CancellationToken(_isCancelled));
  } catch (...) {
    outcome = currentExceptionAsRejected();
  }
  settle(outcome);
}

void OffloadedWork::failWithCurrentException() {
  if (!_isTaken.exchange(true)) settle(currentExceptionAsRejected());
}

/// On the main thread it runs the handlers. What they throw does not belong into the executor.
void OffloadedWork::settle(const Value& outcome) noexcept {
  try {
    _deferred->resolve(outcome);
  } catch (...) {
    MainQueue::current().async(
        [exception = std::current_exception()] { std::rethrow_exception(exception); });
  }
}

}  // namespace JNFoundation::impl
