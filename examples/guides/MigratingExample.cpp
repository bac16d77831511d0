#include <cstdio>
#include <string>

#include "Migrating.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/store/NSMappingModel.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace examples {
namespace {

constexpr const char* earlierText = R"(
<model>
  <entity name="Book">
    <attribute name="name" attributeType="String"/>
    <attribute name="year" optional="YES" attributeType="String"/>
    <relationship name="authors" optional="YES" toMany="YES" ordered="YES"
        destinationEntity="Author" inverseName="books" inverseEntity="Author"/>
  </entity>
  <entity name="Author">
    <attribute name="name" attributeType="String"/>
    <relationship name="books" optional="YES" toMany="YES"
        destinationEntity="Book" inverseName="authors" inverseEntity="Book"/>
  </entity>
</model>)";

/// Of the same with notes.
constexpr const char* notedText = R"(
<model>
  <entity name="Book">
    <attribute name="name" attributeType="String"/>
    <attribute name="year" optional="YES" attributeType="String"/>
    <attribute name="note" attributeType="String" defaultValueString="none"/>
    <relationship name="authors" optional="YES" toMany="YES" ordered="YES"
        destinationEntity="Author" inverseName="books" inverseEntity="Author"/>
  </entity>
  <entity name="Author">
    <attribute name="name" attributeType="String"/>
    <relationship name="books" optional="YES" toMany="YES"
        destinationEntity="Book" inverseName="authors" inverseEntity="Book"/>
  </entity>
</model>)";

/// Years are numbers, and a book has one author.
constexpr const char* latestText = R"(
<model>
  <entity name="Book">
    <attribute name="name" attributeType="String"/>
    <attribute name="year" optional="YES" attributeType="Integer 16"/>
    <attribute name="note" attributeType="String" defaultValueString="none"/>
    <relationship name="author" optional="YES" maxCount="1" elementID="authors"
        destinationEntity="Author" inverseName="books" inverseEntity="Author"/>
  </entity>
  <entity name="Author">
    <attribute name="name" attributeType="String"/>
    <relationship name="books" optional="YES" toMany="YES"
        destinationEntity="Book" inverseName="author" inverseEntity="Book"/>
  </entity>
</model>)";

Ref<NSManagedObjectModel> modelOf(const char* text) {
  return NSManagedObjectModel::modelWithXMLError(text);
}

// begin
/// Says what would become of stores of the earlier model, or why that cannot be inferred.
void foretell(const Ref<NSManagedObjectModel>& earlier, const Ref<NSManagedObjectModel>& later) {
  Ref<NSError> error;
  const auto mapping = NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
      earlier, later, &error);
  const Ref<NSString> text = mapping ? mapping->description() : error->localizedDescription();
  std::puts(text->UTF8String());
}
// end

void printBook(const Ref<NSPersistentStoreCoordinator>& coordinator,
               std::initializer_list<const char*> paths) {
  const auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  const auto books =
      context->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Book"));
  for (const Value& book : books) {
    std::string line;
    for (const char* path : paths) {
      if (!line.empty()) line += ", ";
      line += valueForKeyPath(book, path).description()->toStdString();
    }
    std::puts(line.c_str());
  }
}

}  // namespace

void migrating() {
  const Ref<NSURL> file = NSURL::fileURLWithPath("books-of-the-guides.sqlite");
  Ref<NSError> error;
  {
    const auto coordinator =
        NSPersistentStoreCoordinator::initWithManagedObjectModel(modelOf(earlierText));
    coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSSQLiteStoreType, nullptr,
                                                                        file, nullptr);
    const auto context = NSManagedObjectContext::init();
    context->setPersistentStoreCoordinator(coordinator);
    const auto make = [&](const char* entity, const char* name) {
      auto object = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
          entity, context);
      object->setValueForKey(name, "name");
      return object;
    };
    const auto book = make("Book", "Sand");
    book->setValueForKey("1990", "year");
    const auto authors = book->mutableOrderedSetValueForKey("authors");
    authors->addObject(make("Author", "Ann"));
    authors->addObject(make("Author", "Ben"));
    context->save();
  }
  {
    const auto coordinator =
        NSPersistentStoreCoordinator::initWithManagedObjectModel(modelOf(notedText));
    if (openMigrating(coordinator, file, &error)) printBook(coordinator, {"name", "year", "note"});
  }
  foretell(modelOf(notedText), modelOf(latestText));
  const auto coordinator =
      NSPersistentStoreCoordinator::initWithManagedObjectModel(modelOf(latestText));
  if (!openMigrating(coordinator, file, &error)) {
    std::printf("refused with %d\n", static_cast<int>(error->code()));
  }
  const auto options =
      NSDictionary::dictionaryWithEntries({{NSMigratePersistentStoresAutomaticallyOption, true},
                                           {NSInferMappingModelAutomaticallyOption, true},
                                           {NSPersistentStoreMigrationPlanOption, makePlan()}});
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSSQLiteStoreType, nullptr,
                                                                      file, options, &error);
  printBook(coordinator, {"name", "year", "author.name"});
}

}  // namespace examples
