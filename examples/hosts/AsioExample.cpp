// The main queue inside an io_context of asio: docs/hosts.md shows it.

// begin
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <cstdio>
#include <memory>

#include <JNFoundation/adapters/AsioHost.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>

using namespace JNFoundation;

int main() {
  asio::io_context context;
  MainQueue::current().setHost(std::make_unique<AsioHost>(context));

  // In place of a request over the network.
  asio::steady_timer request(context, std::chrono::milliseconds(20));
  const auto answer = PLVDeferred::init();
  request.async_wait([answer](const asio::error_code&) { answer->resolve("an answer"); });

  MainQueue::current().after(0.005, [] { std::puts("tick"); });
  answer->timeout(5)->thenEither([&context](const Value& outcome) -> Value {
    std::puts(outcome.description()->UTF8String());
    context.stop();  // it would go on until the five seconds have passed
    return outcome;
  });
  context.run();
}
// end
