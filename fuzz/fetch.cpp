#include <algorithm>
#include <cctype>
#include <filesystem>
#include <unistd.h>

#include "Fuzzing.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

namespace {

namespace fs = std::filesystem;
using fuzzing::require;

/// A store of the kind with the same seven books in it, more than one of them without a value each.
Ref<NSPersistentStoreCoordinator> coordinatorOf(const char* type, const fs::path& path) {
  auto model = NSManagedObjectModel::modelWithXMLError(R"xml(
<model>
  <entity name="Book">
    <attribute name="title" optional="YES" attributeType="String"/>
    <attribute name="year" optional="YES" attributeType="Integer 32"/>
    <attribute name="added" optional="YES" attributeType="Date"/>
    <attribute name="price" optional="YES" attributeType="Decimal"/>
    <attribute name="weight" optional="YES" attributeType="Double"/>
    <attribute name="sold" optional="YES" attributeType="Boolean"/>
    <attribute name="number" attributeType="Integer 16"/>
  </entity>
</model>)xml");
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      type, nullptr, NSURL::fileURLWithPath(path.string()), nullptr);
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  static const char* titles[] = {"Ann's", "ann%", "", "Été_1", "7", nullptr, "b\\\"*?"};
  for (int i = 0; i < 7; ++i) {
    auto book =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book", context);
    book->setValueForKey(titles[i] ? Value(titles[i]) : Value(), "title");
    book->setValueForKey(i == 2 ? Value() : Value(i * i - 5), "year");
    book->setValueForKey(
        i == 3 ? Value() : Value(NSDate::dateWithTimeIntervalSinceReferenceDate(i * 1000.5)),
        "added");
    book->setValueForKey(
        i == 4 ? Value() : Value(NSDecimalNumber::decimalNumberWithString(i % 2 ? "12.5" : "7")),
        "price");
    book->setValueForKey(i == 5 ? Value() : Value(i / 2.0), "weight");
    book->setValueForKey(i == 6 ? Value() : Value(i % 3 == 0), "sold");
    book->setValueForKey(i, "number");
  }
  require(context->save(), "the books cannot be saved");
  return coordinator;
}

Ref<NSPersistentStoreCoordinator> inFile, inMemory;

/// The numbers of the books that are found, "an error", or the name of what is raised.
std::string found(const Ref<NSPersistentStoreCoordinator>& coordinator,
                  const Ref<NSPredicate>& predicate, bool inContext) {
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
  if (!inContext) request->setPredicate(predicate);
  std::string numbers;
  const std::string raised = fuzzing::raisedName([&] {
    Ref<NSArray> books = context->executeFetchRequestError(request);
    if (books && inContext) books = filteredArrayUsingPredicate(books, predicate);
    if (!books) numbers = "an error";
    for (NSUInteger i = 0; books && i < books->count(); ++i) {
      numbers += as<NSManagedObject>(books->objectAtIndex(i))
                     ->valueForKey("number")
                     .description()
                     ->toStdString();
    }
  });
  return raised.empty() ? numbers : raised;
}

bool mentions(std::string text, std::initializer_list<std::string_view> words) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view word) { return text.find(word) != std::string::npos; });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  const fs::path path = fs::path(*count > 0 ? (*arguments)[0] : "").parent_path() /
                        ("fetch-" + std::to_string(getpid()) + ".sqlite");
  inFile = coordinatorOf(NSSQLiteStoreType, path);
  inMemory = coordinatorOf(NSInMemoryStoreType, path);
  // The open file goes on without its names.
  for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(path.string() + suffix);
  return 0;
}

// A predicate finds the same books in a file, in memory, and when it is asked about each of them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Ref<NSPredicate> predicate;
  const std::string raised = fuzzing::raisedName([&] {
    predicate = NSPredicate::predicateWithFormat(NSString::fromText(fuzzing::textOf(data, size)),
                                                 "title", 1, "a");
  });
  if (!raised.empty()) return 0;
  // These answer differently each time, or tell the objects of one context from those of another;
  // nested subqueries multiply the work.
  const std::string printed = predicate->predicateFormat()->toStdString();
  if (mentions(printed, {"random", "now", "function", "subquery", "objectid", "description", "hash",
                         "context", "self", "entity"})) {
    return 0;
  }
  const std::string one = found(inFile, predicate, false);
  const std::string other = found(inMemory, predicate, false);
  // Which part of a predicate is asked first is not promised, so that one that raises may never be.
  const auto isRaised = [](const std::string& result) { return result.starts_with("NS"); };
  if (isRaised(one) || isRaised(other)) return 0;
  require(one == other, "the file and the memory differ", printed);
  // A key that the entity lacks is noticed by a fetch before any book is asked.
  if (!one.empty() && !std::isdigit(static_cast<unsigned char>(one[0]))) return 0;
  require(one == found(inMemory, predicate, true), "the books themselves differ", printed);
  return 0;
}
