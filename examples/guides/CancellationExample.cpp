#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVPromise.h>

namespace examples {
namespace {

// begin
/// Work that can be stopped: the source of a promise is told when nobody wants the outcome.
class Transfer : public Subclass<Transfer, NSObject, PLVResolutionSource> {
 public:
  const Ref<PLVPromise>& start() {
    _file = PLVPromise::initWithResolutionSource(Value(this));
    return _file;
  }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value&) override {
    std::puts("the transfer stops");
  }

 private:
  Ref<PLVPromise> _file;  // to be resolved when it is here
};

void lookAway(const Ref<Transfer>& transfer) {
  const Ref<PLVPromise> file = transfer->start();
  const Ref<PLVDeferred> list = file->deferredResolution();
  const Ref<PLVDeferred> detail = file->deferredResolution();
  detail->thenRejected([](const Ref<PLVRejected>& failure) -> Value {
    if (failure->isCancellation()) std::puts("the detail is closed");
    return failure;
  });

  list->cancel();    // the detail still waits
  detail->cancel();  // now nobody does
}
// end

}  // namespace

void cancellation() { lookAway(makeObject<Transfer>()); }

}  // namespace examples
