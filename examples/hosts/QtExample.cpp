// The main queue inside the event loop of Qt: docs/hosts.md shows it.

// begin
#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <cstdio>
#include <memory>

#include <JNFoundation/adapters/QtHost.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>

using namespace JNFoundation;

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  MainQueue::current().setHost(std::make_unique<QtHost>());

  // In place of a request over the network.
  const auto answer = PLVDeferred::init();
  QTimer::singleShot(20, &application, [answer] { answer->resolve("an answer"); });

  MainQueue::current().after(0.005, [] { std::puts("tick"); });
  answer->timeout(5)->thenEither([](const Value& outcome) -> Value {
    std::puts(outcome.description()->UTF8String());
    QCoreApplication::quit();
    return outcome;
  });
  return QCoreApplication::exec();
}
// end
