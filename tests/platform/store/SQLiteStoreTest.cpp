#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

#include "StoreFixture.h"

#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>

namespace JNFoundation {
namespace {

class SQLiteStoreTest : public ::testing::Test {
 protected:
  struct Opened {
    Ref<NSPersistentStoreCoordinator> coordinator;
    Ref<NSPersistentStore> store;
    Ref<NSManagedObjectContext> context;
    Ref<NSError> error;
    explicit operator bool() const { return static_cast<bool>(store); }
  };

  static Opened open(const std::string& path,
                     const Ref<NSManagedObjectModel>& model = libraryModel(),
                     const Ref<NSDictionary>& options = nullptr) {
    Opened opened;
    opened.coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    opened.store = opened.coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), options, &opened.error);
    EXPECT_EQ(opened.store == nullptr, opened.error != nullptr);
    if (opened.store) {
      opened.context = NSManagedObjectContext::init();
      opened.context->setPersistentStoreCoordinator(opened.coordinator);
    }
    return opened;
  }
  Opened openHere(const Ref<NSDictionary>& options = nullptr) {
    return open(file, libraryModel(), options);
  }

  static void addBook(const Opened& opened, const Value& title) {
    NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book",
                                                                               opened.context)
        ->setValueForKey(title, "title");
  }
  /// A file with that many books in it.
  void makeStore(int count = 1) {
    Opened opened = openHere();
    ASSERT_TRUE(opened) << opened.error->description()->utf8();
    for (int i = 0; i < count; ++i) addBook(opened, NSString::stringWithFormat("book %d", i));
    Ref<NSError> error;
    ASSERT_TRUE(opened.context->save(&error)) << error->description()->utf8();
  }
  static NSUInteger bookCount(const Opened& opened) {
    return opened.context->countForFetchRequestError(
        NSFetchRequest::fetchRequestWithEntityName("Book"));
  }

  static std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  }
  static void write(const std::string& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  /// Opens the file and expects the refusal, and that not a byte of it has changed.
  Ref<NSError> refusal(const Ref<NSManagedObjectModel>& model = libraryModel(),
                       const Ref<NSDictionary>& options = nullptr) {
    const std::string before = bytesOf(file);
    Opened opened = open(file, model, options);
    EXPECT_FALSE(opened);
    const Ref<NSError> error = opened.error;
    opened = Opened();
    EXPECT_EQ(bytesOf(file), before) << "the file was changed";
    return error;
  }

  /// Runs SQL on the file, past the library.
  void execute(const char* sql) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    sqlite3_close(handle);
  }
  std::string query(const char* sql) const {
    sqlite3* handle = nullptr;
    EXPECT_EQ(sqlite3_open(file.c_str(), &handle), SQLITE_OK);
    std::string result;
    sqlite3_exec(
        handle, sql,
        [](void* text, int count, char** values, char**) {
          for (int i = 0; i < count; ++i) {
            *static_cast<std::string*>(text) += values[i] ? values[i] : "NULL";
            *static_cast<std::string*>(text) += i + 1 < count ? "|" : "\n";
          }
          return 0;
        },
        &result, nullptr);
    sqlite3_close(handle);
    return result;
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  std::string file = directory.file("store.sqlite");
};

TEST_F(SQLiteStoreTest, AFileKeepsItsRecordsAndItsIdentifier) {
  Opened first = openHere();
  ASSERT_TRUE(first);
  addBook(first, "kept");
  ASSERT_TRUE(first.context->save());
  const std::string identifier = first.store->identifier()->toStdString();
  EXPECT_EQ(first.store->type()->toStdString(), NSSQLiteStoreType);
  first = Opened();
  Opened second = openHere();
  ASSERT_TRUE(second);
  EXPECT_EQ(second.store->identifier()->toStdString(), identifier);
  EXPECT_EQ(bookCount(second), 1u);
  addBook(second, "second");
  ASSERT_TRUE(second.context->save());
  second = Opened();
  EXPECT_EQ(query("SELECT _pk, title FROM object_Work"), "1|kept\n2|second\n");
  EXPECT_FALSE(std::filesystem::exists(file + "-wal")) << "closing the store writes the log back";
}

TEST_F(SQLiteStoreTest, TheFileSaysWhatItIs) {
  makeStore();
  EXPECT_EQ(query("PRAGMA application_id"), std::to_string(0x4a4e4f53) + "\n");
  EXPECT_EQ(query("PRAGMA user_version"), "1\n");
  EXPECT_EQ(query("PRAGMA journal_mode"), "wal\n");
  EXPECT_EQ(query("PRAGMA integrity_check"), "ok\n");
  EXPECT_EQ(query("SELECT name, table_name FROM jn_entity ORDER BY name"),
            "AudioBook|object_Work\nBook|object_Work\nFilm|object_Work\nNote|object_Note\n"
            "Work|object_Work\n");
}

TEST_F(SQLiteStoreTest, AFileThatIsNoDatabaseIsRefusedAndLeftAlone) {
  write(file, "These are my holiday notes, and nothing else.\n");
  EXPECT_EQ(refusal()->code(), 134080);
  write(file, std::string(100'000, 'x'));
  Ref<NSError> error = refusal();
  EXPECT_EQ(error->code(), 134080);
  EXPECT_EQ(error->underlyingError()->domain()->toStdString(), NSSQLiteErrorDomain);
  EXPECT_EQ(error->underlyingError()->code() & 0xff, SQLITE_NOTADB);
  EXPECT_TRUE(error->userInfo()->objectForKey(NSFilePathErrorKey).isString());
}

TEST_F(SQLiteStoreTest, ADatabaseOfSomethingElseIsRefusedAndLeftAlone) {
  execute("CREATE TABLE people (name TEXT); INSERT INTO people VALUES ('Ann')");
  Ref<NSError> error = refusal();
  EXPECT_EQ(error->code(), 134080);
  EXPECT_TRUE(error->localizedDescription()->containsString("something else"));
  EXPECT_EQ(query("SELECT name FROM people"), "Ann\n");
}

TEST_F(SQLiteStoreTest, AStoreOfAnotherModelIsRefusedAndLeftAlone) {
  makeStore();
  auto other = libraryModel();
  auto note = other->entityWithName("Note");
  note->setProperties(NSArray::arrayWithObjects(attributeNamed("text", NSStringAttributeType)));
  Ref<NSError> error = refusal(other);
  EXPECT_EQ(error->code(), 134100);
  EXPECT_TRUE(error->localizedDescription()->containsString("'Note'"))
      << error->localizedDescription()->utf8();
  auto larger = libraryModel();
  std::vector<Value> entities;
  auto known = larger->entities();
  for (const Value& entity : *known) entities.push_back(entity);
  entities.emplace_back(entityNamed("Extra", {}));
  larger->setEntities(NSArray::arrayWithValues(std::move(entities)));
  EXPECT_EQ(refusal(larger)->code(), 134100);
  EXPECT_TRUE(openHere());
}

TEST_F(SQLiteStoreTest, AStoreOfANewerReleaseIsRefusedAndLeftAlone) {
  makeStore();
  execute("PRAGMA user_version = 2");
  Ref<NSError> error = refusal();
  EXPECT_EQ(error->code(), 134020);
  EXPECT_TRUE(error->localizedDescription()->containsString("format 2"));
}

TEST_F(SQLiteStoreTest, DamagedTablesAreAnError) {
  makeStore();
  execute("DELETE FROM jn_column WHERE property = 'title'");
  EXPECT_EQ(refusal()->code(), 134080);
}

TEST_F(SQLiteStoreTest, ARecordOfAnUnknownEntityIsAnErrorOfTheFetch) {
  makeStore();
  execute("UPDATE object_Work SET _entity = 77");
  Opened opened = openHere();
  ASSERT_TRUE(opened);
  Ref<NSError> error;
  EXPECT_FALSE(opened.context->executeFetchRequestError(
      NSFetchRequest::fetchRequestWithEntityName("Work"), &error));
  EXPECT_TRUE(error);
}

TEST_F(SQLiteStoreTest, AnEmptyFileIsANewStore) {
  write(file, "");
  makeStore();
  EXPECT_EQ(bookCount(openHere()), 1u);
}

TEST_F(SQLiteStoreTest, APathThatCannotBeIsAnError) {
  for (const std::string& path : {directory.path, directory.file("no/such/directory/store.sqlite"),
                                  std::string("/dev/null/store")}) {
    Opened opened = open(path);
    EXPECT_FALSE(opened) << path;
    ASSERT_TRUE(opened.error);
    EXPECT_EQ(opened.error->code(), 134080);
  }
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  Ref<NSError> error;
  EXPECT_FALSE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, nullptr, nullptr, &error));
  EXPECT_TRUE(error);
  EXPECT_FALSE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      "Cloud", nullptr, nullptr, nullptr, &error));
  EXPECT_EQ(error->code(), 134000);
}

TEST_F(SQLiteStoreTest, NamesThatMeanSomethingToSQLiteAreJustNames) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(directory.path);
  for (const char* name : {":memory:", "file:x?mode=memory"}) {
    Opened opened = open(name);
    EXPECT_TRUE(opened) << name;
    EXPECT_TRUE(std::filesystem::exists(name)) << name;
  }
  std::filesystem::current_path(before);
}

TEST_F(SQLiteStoreTest, AReadOnlyStoreReadsAndRefusesToSave) {
  auto readOnly = NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}});
  EXPECT_EQ(openHere(readOnly).error->code(), 260) << "there is nothing to read yet";
  EXPECT_FALSE(std::filesystem::exists(file));
  makeStore();
  const std::string before = bytesOf(file);
  {
    Opened opened = openHere(readOnly);
    ASSERT_TRUE(opened) << opened.error->description()->utf8();
    EXPECT_TRUE(opened.store->isReadOnly());
    EXPECT_EQ(bookCount(opened), 1u);
    addBook(opened, "new");
    Ref<NSError> error;
    EXPECT_FALSE(opened.context->save(&error));
    EXPECT_EQ(error->code(), 134030);
    EXPECT_TRUE(opened.context->hasChanges());
  }
  EXPECT_EQ(bytesOf(file), before);
}

TEST_F(SQLiteStoreTest, AFileThatMayNotBeWrittenIsRefusedUnlessItIsOpenedToBeRead) {
  makeStore();
  std::filesystem::permissions(file, std::filesystem::perms(0444));
  std::filesystem::permissions(directory.path, std::filesystem::perms(0555));
  // The superuser may write anywhere, so the test gives that up for a while.
  const bool isSuperuser = geteuid() == 0;
  if (isSuperuser) {
    ASSERT_EQ(seteuid(65534), 0);
  }
  Ref<NSError> error = refusal();
  EXPECT_EQ(error->code(), 134080);
  EXPECT_TRUE(error->localizedDescription()->containsString("NSReadOnlyPersistentStoreOption"))
      << error->localizedDescription()->utf8();
  {
    Opened opened =
        openHere(NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}}));
    EXPECT_TRUE(opened) << opened.error->description()->utf8();
    if (opened) {
      EXPECT_EQ(bookCount(opened), 1u);
    }
  }
  EXPECT_FALSE(open(directory.file("new.sqlite"))) << "in a directory that takes no new file";
  if (isSuperuser) {
    ASSERT_EQ(seteuid(0), 0);
  }
  std::filesystem::permissions(directory.path, std::filesystem::perms(0755));
}

TEST_F(SQLiteStoreTest, NamesInTheModelCannotBecomeSQL) {
  const char* evil = "x\"; DROP TABLE jn_entity; --";
  const char* quote = "it's \"quoted\" [here] `too` ?1 :a @b $c";
  auto model = [&] {
    auto made = NSManagedObjectModel::init();
    auto entity = entityNamed(evil, {attributeNamed(quote, NSStringAttributeType),
                                     attributeNamed("_pk", NSStringAttributeType),
                                     attributeNamed("_PK", NSStringAttributeType),
                                     attributeNamed("rowid", NSInteger64AttributeType),
                                     attributeNamed("Größe", NSDoubleAttributeType),
                                     attributeNamed("select", NSStringAttributeType),
                                     attributeNamed("Select", NSStringAttributeType)});
    entity->setIndexes(NSArray::arrayWithObjects(NSArray::arrayWithObjects(quote, "_pk")));
    made->setEntities(
        NSArray::arrayWithObjects(entity, entityNamed("a", {}), entityNamed("A", {})));
    return made;
  };
  {
    Opened opened = open(file, model());
    ASSERT_TRUE(opened) << opened.error->description()->utf8();
    auto object = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        evil, opened.context);
    object->setValueForKey("one", quote);
    object->setValueForKey("two", "_pk");
    object->setValueForKey("three", "_PK");
    object->setValueForKey(4, "rowid");
    object->setValueForKey(5.5, "Größe");
    object->setValueForKey("six", "select");
    object->setValueForKey("seven", "Select");
    Ref<NSError> error;
    ASSERT_TRUE(opened.context->save(&error)) << error->description()->utf8();
  }
  Opened opened = open(file, model());
  ASSERT_TRUE(opened) << opened.error->description()->utf8();
  auto request = NSFetchRequest::fetchRequestWithEntityName(evil);
  request->setPredicate(NSPredicate::predicateWithFormat(
      "%K == 'one' AND %K == 'three' AND %K == 4", quote, "_PK", "rowid"));
  request->setSortDescriptors(
      NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending(quote, true)));
  Ref<NSError> error;
  auto found = opened.context->executeFetchRequestError(request, &error);
  ASSERT_TRUE(found) << error->description()->utf8();
  ASSERT_EQ(found->count(), 1u);
  const Value value = found->firstObject();
  auto* object = as<NSManagedObject>(value);
  EXPECT_EQ(object->valueForKey("_pk"), Value("two"));
  EXPECT_EQ(object->valueForKey("Größe"), Value(5.5));
  EXPECT_EQ(object->valueForKey("select"), Value("six"));
  EXPECT_EQ(object->valueForKey("Select"), Value("seven"));
}

TEST_F(SQLiteStoreTest, ValuesCannotBecomeSQL) {
  Opened opened = openHere();
  ASSERT_TRUE(opened);
  for (const char* evil : {"'; DROP TABLE object_Work; --", "\" OR 1=1 --", "%' OR '1'='1", "?1"}) {
    addBook(opened, evil);
    ASSERT_TRUE(opened.context->save());
    for (const char* format : {"title == %@", "title BEGINSWITH %@", "title CONTAINS %@",
                               "title IN %@", "title LIKE[c] %@", "title BETWEEN %@"}) {
      const std::string_view text = format;
      Value argument = evil;
      if (text == "title IN %@") argument = NSArray::arrayWithObjects(evil);
      if (text == "title BETWEEN %@") argument = NSArray::arrayWithObjects(evil, evil);
      auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
      request->setPredicate(NSPredicate::predicateWithFormat(format, argument));
      EXPECT_EQ(opened.context->countForFetchRequestError(request), 1u) << format << " " << evil;
    }
  }
  EXPECT_EQ(bookCount(opened), 4u);
}

TEST_F(SQLiteStoreTest, TwoCoordinatorsShareAFile) {
  Opened first = openHere();
  Opened second = openHere();
  ASSERT_TRUE(first && second);
  for (int i = 0; i < 10; ++i) {
    addBook(first, "first");
    addBook(second, "second");
    ASSERT_TRUE(first.context->save());
    ASSERT_TRUE(second.context->save());
  }
  EXPECT_EQ(bookCount(first), 20u);
  EXPECT_EQ(bookCount(second), 20u);
  EXPECT_FALSE(first.coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(file), nullptr))
      << "one coordinator has a store once";
}

TEST_F(SQLiteStoreTest, AnIdentifierMeansTheSameToEveryCoordinatorOfTheFile) {
  makeStore();
  Ref<NSManagedObjectID> objectID;
  {
    Opened first = openHere();
    auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
    const Value book = first.context->executeFetchRequestError(request)->firstObject();
    objectID = as<NSManagedObject>(book)->objectID();
  }
  EXPECT_EQ(objectID->persistentStore(), nullptr) << "its coordinator and its model are gone";
  Opened second = openHere();
  auto book = second.context->existingObjectWithIDError(objectID);
  ASSERT_TRUE(book);
  EXPECT_EQ(book->valueForKey("title"), Value("book 0"));
  EXPECT_EQ(Value(book->objectID()), Value(objectID));
  EXPECT_EQ(second.context->objectWithID(objectID), book);
  auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
  request->setPredicate(NSPredicate::predicateWithFormat("objectID == %@", objectID));
  EXPECT_EQ(second.context->countForFetchRequestError(request), 1u);
}

TEST_F(SQLiteStoreTest, AFileThatStaysLockedIsATimeout) {
  makeStore();
  Opened opened =
      openHere(NSDictionary::dictionaryWithEntries({{NSPersistentStoreTimeoutOption, 0.05}}));
  ASSERT_TRUE(opened);
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  addBook(opened, "waiting");
  Ref<NSError> error;
  EXPECT_FALSE(opened.context->save(&error));
  EXPECT_EQ(error->code(), 134090);
  EXPECT_TRUE(opened.context->hasChanges());
  EXPECT_EQ(bookCount(opened), 2u) << "reading goes on meanwhile";
  sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(other);
  EXPECT_TRUE(opened.context->save(&error));
}

TEST_F(SQLiteStoreTest, DurabilityIsAnOption) {
  auto full = NSDictionary::dictionaryWithEntries(
      {{NSSQLitePragmasOption, NSDictionary::dictionaryWithEntries({{"synchronous", "FULL"}})}});
  Opened opened = openHere(full);
  ASSERT_TRUE(opened);
  addBook(opened, "safe");
  EXPECT_TRUE(opened.context->save());
}

TEST_F(SQLiteStoreTest, IndexesOfTheModelHaveTheirOrderAndDirection) {
  auto model = libraryModel();
  const auto element = [](const char* name, NSFetchIndexElementType type, bool isAscending) {
    auto made = NSFetchIndexElementDescription::initWithPropertyNameCollationType(name, type);
    made->setAscending(isAscending);
    return made;
  };
  model->entityWithName("Book")->setIndexes(
      NSArray::arrayWithObject(NSFetchIndexDescription::initWithNameElements(
          "newest",
          NSArray::arrayWithObjects(element("year", NSFetchIndexElementTypeBinary, false),
                                    element("rating", NSFetchIndexElementTypeRTree, true)))));
  ASSERT_TRUE(open(file, model));
  EXPECT_EQ(query("SELECT name, desc FROM pragma_index_xinfo('jn_index_1') WHERE key"),
            "year|1\nrating|0\n");
}

TEST_F(SQLiteStoreTest, IndexesOfTheModelServeFetches) {
  auto model = libraryModel();
  model->entityWithName("Book")->setIndexes(NSArray::arrayWithObjects(
      NSArray::arrayWithObjects("isbn"), NSArray::arrayWithObjects("year", "title")));
  ASSERT_TRUE(open(file, model));
  EXPECT_EQ(query("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'jn_index_%'"), "2\n");
  for (const char* condition : {"\"isbn\" IS 'x'", "(\"isbn\" >= 'x' AND \"isbn\" IS NOT NULL)",
                                "(\"isbn\" IN ('x', 'y') AND \"isbn\" IS NOT NULL)"}) {
    const std::string plan = query(
        ("EXPLAIN QUERY PLAN SELECT * FROM object_Work WHERE " + std::string(condition)).c_str());
    EXPECT_NE(plan.find("USING INDEX"), std::string::npos) << condition << "\n" << plan;
  }
}

}  // namespace
}  // namespace JNFoundation
