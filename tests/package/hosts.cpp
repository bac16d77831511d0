// The hosts that the package offers, each at work.

#include <memory>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>
#if HAS_Asio
#include <JNFoundation/adapters/AsioHost.h>
#elif HAS_BoostAsio
#include <JNFoundation/adapters/BoostAsioHost.h>
#endif
#if HAS_GLib
#include <JNFoundation/adapters/GLibHost.h>
#endif
#if HAS_Qt
#include <JNFoundation/adapters/QtHost.h>
#endif

using namespace JNFoundation;

namespace {

[[maybe_unused]] bool runs(std::unique_ptr<MainQueueHost> host) {
  MainQueueScope scope(std::move(host));
  bool hasRun = false;
  scope.queue().async([&] { hasRun = true; });
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  return hasRun;
}

}  // namespace

#if HAS_Qt
/// Without an application object only that it links can be seen.
std::unique_ptr<MainQueueHost> makeQtHost() { return std::make_unique<QtHost>(); }
#endif

bool doHostsWork() {
  bool work = true;
#if HAS_Asio
  asio::io_context context;
  work = work && runs(std::make_unique<AsioHost>(context));
#elif HAS_BoostAsio
  boost::asio::io_context context;
  work = work && runs(std::make_unique<BoostAsioHost>(context));
#endif
#if HAS_GLib
  work = work && runs(std::make_unique<GLibHost>());
#endif
  return work;
}
