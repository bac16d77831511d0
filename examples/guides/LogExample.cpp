#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/UnhandledRejections.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/store/StatementTrace.h>

namespace examples {
namespace {

// begin
/// Once, at the start of the application.
void turnOnDiagnostics() {
  setLogSink([](const Ref<NSString>& line) { std::printf("log: %s\n", line->UTF8String()); });
  logUnhandledRejections();                                                   // failures nobody saw
  setStatementObserver(statementLogObserver(0.01), StatementPlans::Include);  // slow statements
}
// end

}  // namespace

void logLines() {
  turnOnDiagnostics();
  NSLog("%@ of %d", "one", 2);
  setLogSink(nullptr);
  setUnhandledRejectionHook(nullptr);
  setStatementObserver(nullptr);
}

}  // namespace examples
