#include <platform/store/StoreFixture.h>
#include <sqlite3.h>

#include <JNFoundation/platform/query/KeyValueCoding.h>

namespace JNFoundation {
namespace {

/// Files that are databases of ours but say what no save of ours writes.
class DamagedStore : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    insert("Book", {{"title", "First"}, {"pages", 10}});
    insert("Film", {{"title", "Second"}});
    insert("Note", {{"text", "Third"}});
    save();
    bookID = as<NSManagedObject>(fetch(request("Book"))->firstObject())->objectID();
    uri = bookID->URIRepresentation();
    close();
  }

  void close() {
    context = nullptr;
    store = nullptr;
    coordinator = nullptr;
  }

  /// Runs SQL on the closed file, past the library.
  void execute(const char* sql) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(directory.file("library.sqlite").c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    sqlite3_close(handle);
  }

  /// Opens the file. Returns: null, and the text of the error, where it is refused.
  Ref<NSPersistentStore> reopen(std::string* refusal = nullptr) {
    model = libraryModel();
    coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    Ref<NSError> error;
    store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(directory.file("library.sqlite")),
        nullptr, &error);
    EXPECT_EQ(store == nullptr, error != nullptr);
    if (refusal) *refusal = error ? error->localizedDescription()->toStdString() : "";
    context = newContext();
    return store;
  }

  void expectRefusalAsDamaged(const char* sql) {
    SCOPED_TRACE(sql);
    execute(sql);
    std::string refusal;
    EXPECT_FALSE(reopen(&refusal));
    EXPECT_NE(refusal.find("damaged"), std::string::npos) << refusal;
    close();
  }

  /// The fetch has no objects, and an error that says why.
  void expectDamageFound(const Ref<NSFetchRequest>& wanted) const {
    Ref<NSError> error;
    EXPECT_FALSE(context->executeFetchRequestError(wanted, &error));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->localizedDescription()->containsString("damaged")) << text(error);
  }

  Ref<NSManagedObjectID> bookID;
  Ref<NSURL> uri;
};

TEST_F(DamagedStore, ARecordThatClaimsAnEntityOfAnotherTableIsAnError) {
  execute(
      "UPDATE object_Work SET _entity = (SELECT number FROM jn_entity WHERE name = 'Note') "
      "WHERE title = 'First'");
  ASSERT_TRUE(reopen());
  expectDamageFound(request("Work"));
  // Evaluated in memory, the condition would ask a note for its title.
  expectDamageFound(request(
      "Work", NSPredicate::predicateWithBlock([](const Value& object, const Ref<NSDictionary>&) {
        return !valueForKey(object, "title").isNull();
      })));
  EXPECT_EQ(fetched(request("Film")), "Second") << "the others are still there";
  Ref<NSError> error;
  auto identifier = coordinator->managedObjectIDForURIRepresentation(uri);
  ASSERT_TRUE(identifier);
  EXPECT_FALSE(context->existingObjectWithIDError(identifier, &error));
  ASSERT_TRUE(error);
}

TEST_F(DamagedStore, ARecordThatClaimsAnAbstractEntityIsAnError) {
  execute(
      "UPDATE object_Work SET _entity = (SELECT number FROM jn_entity WHERE name = 'Work') "
      "WHERE title = 'First'");
  ASSERT_TRUE(reopen());
  expectDamageFound(request("Work"));
}

TEST_F(DamagedStore, ATriggerInTheFileIsNotRun) {
  execute("CREATE TRIGGER planted AFTER INSERT ON object_Note BEGIN DELETE FROM object_Work; END;");
  ASSERT_TRUE(reopen());
  insert("Note", {{"text", "Fourth"}});
  save();
  EXPECT_EQ(fetched(request("Note"), "text"), "Third Fourth");
  EXPECT_EQ(fetched(request("Work")), "First Second");
}

TEST_F(DamagedStore, AViewInPlaceOfATableIsAnError) {
  execute(
      "ALTER TABLE object_Note RENAME TO hidden; CREATE VIEW object_Note AS SELECT * FROM hidden;");
  ASSERT_TRUE(reopen());
  Ref<NSError> error;
  EXPECT_FALSE(context->executeFetchRequestError(request("Note"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(fetched(request("Work")), "First Second");
}

TEST_F(DamagedStore, TwoHierarchiesInOneTableAreRefused) {
  expectRefusalAsDamaged("UPDATE jn_entity SET table_name = 'object_Work' WHERE name = 'Note'");
}

TEST_F(DamagedStore, AHierarchyInTwoTablesIsRefused) {
  expectRefusalAsDamaged("UPDATE jn_entity SET table_name = 'object_Note' WHERE name = 'Film'");
}

TEST_F(DamagedStore, TwoEntitiesWithOneNumberAreRefused) {
  expectRefusalAsDamaged(
      "CREATE TABLE copy AS SELECT * FROM jn_entity; DROP TABLE jn_entity;"
      "ALTER TABLE copy RENAME TO jn_entity;"
      "UPDATE jn_entity SET number = (SELECT number FROM jn_entity WHERE name = 'Book') "
      "WHERE name = 'Note'");
}

TEST_F(DamagedStore, AnAttributeInTwoColumnsIsRefused) {
  expectRefusalAsDamaged(
      "CREATE TABLE copy AS SELECT * FROM jn_column; DROP TABLE jn_column;"
      "ALTER TABLE copy RENAME TO jn_column;"
      "UPDATE jn_column SET property = 'text' WHERE property = 'stars'");
}

}  // namespace
}  // namespace JNFoundation
