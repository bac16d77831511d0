// download URL FILE: loads a file over HTTP, shows how far it has come, and lets go of it at
// Ctrl-C.
#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <thread>
#include <utility>

#include "Download.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

namespace {

/// The library starts no threads; the application says where work runs.
class OneThread {
 public:
  void execute(Block<void()> task) { _thread = std::jthread(std::move(task)); }

 private:
  std::jthread _thread;
};

/// Runs on the main thread, once for each step of the transfer at most.
void show(std::int64_t written, std::int64_t total) {
  if (total > 0) {
    std::fprintf(stderr, "\r%3d %%", static_cast<int>(written * 100 / total));
  } else {
    std::fprintf(stderr, "\r%lld bytes", static_cast<long long>(written));
  }
}

/// Waits for Ctrl-C on a thread of its own, because a signal handler may do next to nothing.
void cancelAtInterrupt(const Ref<PLVPromise>& promise) {
  std::thread([promise = Weak<PLVPromise>(promise)] {
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    int signal = 0;
    sigwait(&interrupts, &signal);
    MainQueue::current().async([promise] {
      if (const Ref<PLVPromise> waiting = promise.load()) waiting->cancel();
    });
  }).detach();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: download URL FILE\n", stderr);
    return 2;
  }
  sigset_t interrupts;
  sigemptyset(&interrupts);
  sigaddset(&interrupts, SIGINT);
  pthread_sigmask(SIG_BLOCK, &interrupts, nullptr);  // on every thread: one of them waits for it

  OneThread network;
  const std::string url = arguments[1], file = arguments[2];
  const Ref<PLVDeferred> loaded =
      runOn(network, [url, file](const CancellationToken& token) -> Value {
        std::int64_t shown = 0;
        return example::download(
            url, file,
            [&shown](std::int64_t written, std::int64_t total) {
              // A line for each percent, or for each 64 KiB of nobody knows how many.
              const std::int64_t step = total > 0 ? 1 + written * 100 / total : -(written >> 16);
              if (std::exchange(shown, step) == step) return;
              MainQueue::current().async([written, total] { show(written, total); });
            },
            token);
      });

  // A promise may have many listeners; cancelling it, or all of them, ends the transfer.
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->resolve(loaded);
  cancelAtInterrupt(promise);
  int status = 1;
  promise->deferredResolution()->thenResolvedRejected(
      [&](const Value& bytes) -> Value {
        std::fprintf(stderr, "\r%lld bytes\n", static_cast<long long>(bytes.longLongValue()));
        status = 0;
        return bytes;
      },
      [&](const Ref<PLVRejected>& rejected) -> Value {
        const Value reason = rejected->value();
        const auto* error = as<NSError>(reason);
        std::fprintf(stderr, "\r%s\n",
                     rejected->isCancellation() ? "cancelled"
                     : error                    ? error->localizedDescription()->UTF8String()
                                                : reason.description()->UTF8String());
        if (rejected->isCancellation()) status = 130;
        return rejected;
      });
  promise->deferredResolution()->thenEither([](const Value& outcome) {
    NSRunLoop::mainRunLoop()->stop();
    return outcome;
  });
  NSRunLoop::mainRunLoop()->run();
  return status;
}
