#pragma once

#include <filesystem>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <vector>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {

/// A directory of the test's own, removed with everything in it at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "jn-store-XXXXXX").string();
    path = mkdtemp(name.data());
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string file(const std::string& name) const { return path + "/" + name; }

  std::string path;
};

inline Ref<NSAttributeDescription> attributeNamed(const char* name, NSAttributeType type,
                                                  bool optional = true) {
  auto attribute = NSAttributeDescription::attributeWithNameType(name, type);
  attribute->setOptional(optional);
  return attribute;
}

inline Ref<NSEntityDescription> entityNamed(const char* name, std::vector<Value> properties) {
  auto entity = NSEntityDescription::init();
  entity->setName(name);
  entity->setProperties(NSArray::arrayWithValues(std::move(properties)));
  return entity;
}

/// Work (abstract: title, year, rating, available, added), below it Book (pages, isbn) and Film
/// (minutes), below Book AudioBook (reader); and Note (a required text).
inline Ref<NSManagedObjectModel> libraryModel() {
  auto work = entityNamed("Work", {attributeNamed("title", NSStringAttributeType),
                                   attributeNamed("year", NSInteger32AttributeType),
                                   attributeNamed("rating", NSDoubleAttributeType),
                                   attributeNamed("available", NSBooleanAttributeType),
                                   attributeNamed("added", NSDateAttributeType)});
  work->setAbstract(true);
  auto book = entityNamed("Book", {attributeNamed("pages", NSInteger16AttributeType),
                                   attributeNamed("isbn", NSStringAttributeType)});
  auto audioBook = entityNamed("AudioBook", {attributeNamed("reader", NSStringAttributeType)});
  auto film = entityNamed("Film", {attributeNamed("minutes", NSInteger16AttributeType)});
  book->setSubentities(NSArray::arrayWithObjects(audioBook));
  work->setSubentities(NSArray::arrayWithObjects(book, film));
  auto note = entityNamed("Note", {attributeNamed("text", NSStringAttributeType, false),
                                   attributeNamed("stars", NSInteger16AttributeType)});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(work, note));
  return model;
}

/// A context over a store of the library model, in a main queue and a directory of its own. The
/// parameter is the kind of store.
class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override { open(NSSQLiteStoreType, libraryModel()); }

  void open(const char* type, const Ref<NSManagedObjectModel>& model) {
    this->model = model;
    coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    Ref<NSError> error;
    store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        type, nullptr, NSURL::fileURLWithPath(directory.file("library.sqlite")), nullptr, &error);
    ASSERT_TRUE(store) << text(error);
    context = newContext();
  }

  Ref<NSManagedObjectContext> newContext() const {
    auto made = NSManagedObjectContext::init();
    made->setPersistentStoreCoordinator(coordinator);
    return made;
  }

  Ref<NSManagedObject> insert(const char* entity, std::vector<NSDictionary::Pair> values = {}) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, context);
    for (const NSDictionary::Pair& pair : values) {
      object->setValueForKey(pair.value, pair.key.stringValue());
    }
    return object;
  }

  void save() {
    Ref<NSError> error;
    ASSERT_TRUE(context->save(&error)) << text(error);
    ASSERT_FALSE(error);
  }

  static Ref<NSFetchRequest> request(const char* entity,
                                     const Ref<NSPredicate>& predicate = nullptr,
                                     std::vector<Value> sortDescriptors = {}) {
    auto made = NSFetchRequest::fetchRequestWithEntityName(entity);
    made->setPredicate(predicate);
    made->setSortDescriptors(NSArray::arrayWithValues(std::move(sortDescriptors)));
    return made;
  }

  static Ref<NSSortDescriptor> by(const char* key, bool ascending = true) {
    return NSSortDescriptor::sortDescriptorWithKeyAscending(key, ascending);
  }

  /// What the request finds; a failure fails the test.
  Ref<NSArray> fetch(const Ref<NSFetchRequest>& wanted) const {
    Ref<NSError> error;
    Ref<NSArray> found = context->executeFetchRequestError(wanted, &error);
    EXPECT_TRUE(found) << text(error);
    return found ? found : NSArray::array();
  }

  /// The values of one key of what the request finds, joined by spaces.
  std::string fetched(const Ref<NSFetchRequest>& wanted, const char* key = "title") const {
    std::string joined;
    const Ref<NSArray> found = fetch(wanted);
    for (const Value& object : *found) {
      if (!joined.empty()) joined += ' ';
      joined += as<NSObject>(object)->valueForKey(key).description()->toStdString();
    }
    return joined;
  }

  static std::string text(const Ref<NSError>& error) {
    return error ? error->description()->toStdString() : "no error";
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  Ref<NSManagedObjectModel> model;
  Ref<NSPersistentStoreCoordinator> coordinator;
  Ref<NSPersistentStore> store;
  Ref<NSManagedObjectContext> context;
};

/// The same over both kinds of store: what holds for one holds for the other.
class EveryStoreTest : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), libraryModel()); }
};

inline std::string nameOfStore(const ::testing::TestParamInfo<const char*>& info) {
  return info.param;
}

#define FOR_EVERY_STORE(Suite)            \
  INSTANTIATE_TEST_SUITE_P(Stores, Suite, \
                           ::testing::Values(NSSQLiteStoreType, NSInMemoryStoreType), nameOfStore)

}  // namespace JNFoundation
