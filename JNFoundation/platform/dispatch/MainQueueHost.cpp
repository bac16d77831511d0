#include "JNFoundation/platform/dispatch/MainQueueHost.h"

#include <exception>
#include <string>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {

void MainQueueHost::serve() {
  if (_queue) _queue->serve();
}

void MainQueueHost::didRunOther() noexcept {
  if (_queue) ++_queue->_handledCount;
}

void MainQueueHost::serveOrStop() noexcept {
  try {
    serve();
  } catch (const std::exception& exception) {
    fatalError(std::string("exception in a handler of the main queue: ") + exception.what());
  } catch (...) {
    fatalError("exception in a handler of the main queue");
  }
}

}  // namespace JNFoundation
