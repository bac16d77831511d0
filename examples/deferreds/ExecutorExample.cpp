#include <cstdio>
#include <thread>

#include "Examples.h"

#include <JNFoundation/deferred/Executor.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>

using namespace JNFoundation;

namespace {

int countPrimesBelow(int limit, const CancellationToken& token) {
  int count = 0;
  for (int number = 2; number < limit && !token.isCancelled(); ++number) {
    bool isPrime = true;
    for (int divisor = 2; divisor * divisor <= number; ++divisor) {
      isPrime = isPrime && number % divisor != 0;
    }
    count += isPrime;
  }
  return count;
}

// begin
/// Anything that runs a task: a thread pool, the workers of a toolkit, here a thread.
class OneThread {
 public:
  void execute(Block<void()> task) { _thread = std::jthread(std::move(task)); }

 private:
  std::jthread _thread;
};

Deferred<void> printPrimes(OneThread& executor) {
  const int count = co_await runOn(executor, [](const CancellationToken& token) {
    return countPrimesBelow(100, token);  // on the executor's thread
  });
  std::printf("found %d primes\n", count);  // on the main thread
}
// end

}  // namespace

void executorExample() {
  OneThread executor;
  const Ref<PLVDeferred> printed = printPrimes(executor);
  printed->thenEither([](const Value& outcome) {
    NSRunLoop::mainRunLoop()->stop();
    return outcome;
  });
  NSRunLoop::mainRunLoop()->run();
}
