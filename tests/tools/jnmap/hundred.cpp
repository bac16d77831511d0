// An application on a hundred generated classes.

#include <string>

#include "E0.h"
#include "E99.h"
#include "Opened.h"

int main() {
  MainQueueScope scope;
  const auto context = openedContext();
  for (int number = 0; number < 100; ++number) {
    const std::string digits = std::to_string(number);
    const Value made = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        "E" + digits, context);
    auto* object = as<PLVManagedObject>(made);
    EXPECT(object && object->class_().name() == "E" + digits);
    // By the rules of its own, and by those of the first of its ancestors.
    const std::string first = std::to_string(number % 10);
    object->mergeDictionary(NSDictionary::dictionaryWithEntries(
        {{"name" + digits, "own"},
         {"meta", Value(NSDictionary::dictionaryWithObjectForKey("12", "c" + first))}}));
    EXPECT(object->valueForKey("name" + digits) == "own");
    EXPECT(object->valueForKey("count" + first) == Value(12));
  }
  const auto last = shop::E99::insertInManagedObjectContext(context);
  const auto zero = shop::E0::insertInManagedObjectContext(context);
  last->setNext99(zero);
  last->setCount9(9);
  EXPECT(last->next99().get() == zero.get() && last->count9() == 9);
}
