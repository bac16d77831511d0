#include <cstdio>
#include <string>

#include "Examples.h"

#include <JNFoundation/deferred/Deferred.h>

using namespace JNFoundation;

namespace {

// begin
Deferred<int> countWords(Deferred<std::string> page) {
  return std::move(page)
      .thenResolved([](const std::string& text) -> Outcome<int> {
        if (text.empty()) return PLVRejected::withValue("an empty page");
        int words = 1;
        for (const char character : text) words += character == ' ';
        return words;
      })
      .thenRejected([](const Ref<PLVRejected>&) { return 0; });
}

Deferred<void> printWords(Deferred<std::string> page) {
  std::printf("%d words\n", co_await countWords(std::move(page)));
}
// end

}  // namespace

void typedExample() {
  printWords(Deferred<std::string>::withResolved("one two three"));
  printWords(Deferred<std::string>::withResolved(""));
}
