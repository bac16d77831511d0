#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/testing/RunLoopTesting.h>

namespace examples {
namespace {

struct View {
  void show(const Value& picture) {
    std::printf("shown: %s\n", picture.description()->UTF8String());
    isShown = true;
  }
  bool isShown = false;
};

struct Worker {
  void run(std::function<void()> work) { thread = std::jthread(std::move(work)); }
  std::jthread thread;
};

Value decodePicture(const std::string& path) { return "the picture of " + path; }

void showPicture(Worker& worker, View* view, const std::string& path) {
  // begin
  Ref<PLVDeferred> picture = PLVDeferred::init();
  worker.run([picture, path] { picture->resolve(decodePicture(path)); });  // on the worker
  picture->thenResolved([view](const Value& value) {                       // on the main thread
    view->show(value);
    return value;
  });
  // end
}

}  // namespace

void firstDeferred() {
  Worker worker;
  View view;
  showPicture(worker, &view, "a lamp");
  pollUntil([&view] { return view.isShown; }, 10);
}

}  // namespace examples
