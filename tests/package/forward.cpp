// A header of an application that only names the library's classes, here the text above the
// includes, and the source that has their own headers.

#include <JNFoundation/Forward.h>

namespace application {

using namespace JNFoundation;

Ref<NSArray> sorted(const Ref<NSArray>& names, NSComparisonResult direction);
Weak<NSString> firstOf(const NSArray& names);
NSUInteger countOf(const NSArray& names, const Block<bool(const Value&)>& counts);
Deferred<Value> lastOf(PLVDeferred* names);
const char* wordFor(NSFetchedResultsChangeType type);

struct Shelf {
  Ref<NSManagedObjectContext>* context = nullptr;
  const ImportOptions* options = nullptr;
};

}  // namespace application

#include <string_view>

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSFetchedResultsControllerDelegate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>

namespace application {

Ref<NSArray> sorted(const Ref<NSArray>& names, NSComparisonResult direction) {
  return sortedArrayUsingDescriptors(
      names, NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending(
                 "self", direction == NSOrderedAscending)));
}

Weak<NSString> firstOf(const NSArray& names) { return as<NSString>(names.objectAtIndex(0)); }

NSUInteger countOf(const NSArray& names, const Block<bool(const Value&)>& counts) {
  NSUInteger count = 0;
  for (NSUInteger i = 0; i < names.count(); ++i) count += counts(names.objectAtIndex(i)) ? 1 : 0;
  return count;
}

Deferred<Value> lastOf(PLVDeferred* names) {
  names->thenResolved([](const Value& value) { return as<NSArray>(value)->lastObject(); });
  return Deferred<Value>(names);
}

const char* wordFor(NSFetchedResultsChangeType type) {
  return type == NSFetchedResultsChangeInsert ? "insert" : "other";
}

}  // namespace application

bool doDeclarationsWork() {
  using namespace application;
  const Ref<NSArray> names = sorted(NSArray::arrayWithObjects("b", "c", "a"), NSOrderedAscending);
  const auto context = NSManagedObjectContext::init();
  Ref<NSManagedObjectContext> held = context;
  const ImportOptions options;
  const Shelf shelf{&held, &options};
  const Deferred<Value> last = lastOf(PLVDeferred::withResolved(names).get());
  return firstOf(*names).load()->utf8() == "a" && last.untyped() &&
         countOf(*names, [](const Value& name) { return name != "b"; }) == 2 &&
         wordFor(NSFetchedResultsChangeInsert) == std::string_view("insert") &&
         *shelf.context == context && shelf.options == &options;
}
