// begin
#include <cstdio>
#include <thread>

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

using namespace JNFoundation;

constexpr const char* modelText = R"(
<model>
  <entity name="Book">
    <attribute name="identifier" attributeType="Integer 64"/>
    <attribute name="title" attributeType="String"/>
    <attribute name="published" optional="YES" attributeType="Date"/>
    <uniquenessConstraints>
      <uniquenessConstraint><constraint value="identifier"/></uniquenessConstraint>
    </uniquenessConstraints>
    <userInfo>
      <entry key="$id" value="identifier"/>
      <entry key="%edition.$date" value="published"/>
    </userInfo>
  </entity>
</model>)";

Ref<NSManagedObjectContext> openShelf(const char* path) {
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(
      NSManagedObjectModel::modelWithXMLError(modelText));
  Ref<NSError> error;
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, &error)) {
    std::fprintf(stderr, "%s\n", error->localizedDescription()->UTF8String());
    return nullptr;
  }
  auto shelf = NSManagedObjectContext::init();  // for the main thread
  shelf->setPersistentStoreCoordinator(coordinator);
  return shelf;
}

void printBooks(const Ref<NSManagedObjectContext>& shelf) {
  const auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
  request->setPredicate(NSPredicate::predicateWithFormat("title CONTAINS[c] %@", "sea"));
  request->setSortDescriptors(NSArray::arrayWithObject(
      NSSortDescriptor::sortDescriptorWithKeyAscending("published", false)));
  const Ref<NSArray> books = shelf->executeFetchRequestError(request);
  for (const Value& book : books) {
    std::printf("- %s\n", valueForKey(book, "title").description()->UTF8String());
  }
}

int main() {
  const Ref<NSManagedObjectContext> shelf = openShelf("books.sqlite");
  if (!shelf) return 1;

  int status = 1;
  const auto feed = PLVDeferred::init();
  feed->thenResolved([](const Value& text) -> Value {
        Ref<NSError> error;
        const Value records = NSJSONSerialization::JSONObjectWithTextOptionsError(
            as<NSString>(text)->utf8(), NSJSONReadingPlain, &error);
        return error ? Value(PLVRejected::withValue(error)) : records;
      })
      ->thenResolved([shelf](const Value& records) -> Value {
        return importRecords(as<NSArray>(records), "Book", shelf).untyped();
      })
      ->thenResolved([shelf, &status](const Value& report) {
        std::puts(report.description()->UTF8String());
        printBooks(shelf);
        status = 0;
        return report;
      })
      ->thenRejected([](const Ref<PLVRejected>& failure) {
        std::fprintf(stderr, "%s\n", failure->value().description()->UTF8String());
        return failure;
      })
      ->thenEither([](const Value& outcome) {
        NSRunLoop::mainRunLoop()->stop();
        return outcome;
      });

  std::thread network([feed] {
    feed->resolve(R"([
        {"id": 1, "title": "Seasons", "edition": {"date": "1991-03-01T00:00:00.000Z"}},
        {"id": 2, "title": "The Sea", "edition": {"date": "2005-06-02T00:00:00.000Z"}},
        {"id": 3, "title": "Winter", "edition": null}])");
  });
  NSRunLoop::mainRunLoop()->run();
  network.join();
  return status;
}
// end
