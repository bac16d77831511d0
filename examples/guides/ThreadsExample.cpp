#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "Examples.h"

#include <JNFoundation/deferred/Executor.h>
#include <JNFoundation/testing/RunLoopTesting.h>

namespace examples {
namespace {

struct Label {
  void show(int words) {
    std::printf("%d words, shown on the %s thread\n", words,
                MainQueue::isMainThread() ? "main" : "wrong");
    isShown = true;
  }
  bool isShown = false;
};

/// A thread for each task, in the place of an application's pool.
class Pool {
 public:
  void execute(Block<void()> task) { _thread = std::jthread(std::move(task)); }

 private:
  std::jthread _thread;
};

int countWords(const std::string& text) {
  int words = 1;
  for (const char character : text) words += character == ' ';
  return words;
}

// begin
void showWordCount(Pool& pool, const std::shared_ptr<Label>& label, std::string text) {
  runOn(pool, [text = std::move(text)] {
    return countWords(text);  // on a thread of the pool
  }).thenResolved(std::weak_ptr<Label>(label), [](const std::shared_ptr<Label>& label, int words) {
    label->show(words);  // on the main thread, if the label is still there
    return words;
  });
}
// end

}  // namespace

void threads() {
  Pool pool;
  const auto label = std::make_shared<Label>();
  showWordCount(pool, label, "one two three");
  pollUntil([label] { return label->isShown; }, 10);
}

}  // namespace examples
