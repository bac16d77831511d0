#include <cstdio>
#include <vector>

#include "Examples.h"

#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/util/CollectionExtensions.h>

namespace examples {

// begin
void workWithAnyCollection() {
  const std::vector<int> numbers = {1, 2, 3, 4, 5};
  if (auto found = findFirst(numbers, [](int number) { return number > 3; })) {
    std::printf("%d is the first above 3\n", *found);
  }
  const auto values = NSArray::arrayWithObjects("a", "b", "c", "d", "e");
  std::printf("(2 in a piece) %d pieces\n", static_cast<int>(splitBy(values, 2)->count()));

  // In a test, chance can be repeated.
  const auto shuffled = [&] {
    RandomSourceScope scope(seededRandomSource(2006));
    return shuffle(numbers);
  };
  if (shuffled() == shuffled()) std::puts("the same twice");
}
// end

}  // namespace examples
