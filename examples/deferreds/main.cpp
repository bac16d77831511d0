#include "Examples.h"

int main() {
  awaitExample();
  typedExample();
  guardExample();
  executorExample();
  unhandledExample();
  pendingExample();
  combinatorsExample();
  enumerationExample();
  testingExample();
}
