// Refused with: work takes nothing, or a CancellationToken
#include <JNFoundation/deferred/Executor.h>

void execute(JNFoundation::Block<void()> task);
void run() {
  JNFoundation::runOn(execute, [](int number) { return number; });
}
