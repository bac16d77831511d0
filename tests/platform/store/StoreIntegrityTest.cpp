#include <sqlite3.h>

#include "OpenedStore.h"
#include "RelationshipFixture.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>

namespace JNFoundation {
namespace {

using testing::OpenedStore;

/// Person (below it Manager) and Office: boss ⇄ Manager.office, visitors ⇄ Manager.visited (many to
/// many), owner (a Person, no way back).
Ref<NSManagedObjectModel> officeModel() {
  auto person = entityNamed("Person", {attributeNamed("name", NSStringAttributeType)});
  auto manager = entityNamed("Manager", {});
  auto office = entityNamed("Office", {attributeNamed("name", NSStringAttributeType)});
  person->setSubentities(NSArray::arrayWithObjects(manager));
  const RelationshipOptions many{.toMany = true};
  auto boss = relationshipNamed("boss", manager);
  auto ownOffice = relationshipNamed("office", office);
  pairUp(boss, ownOffice);
  auto visitors = relationshipNamed("visitors", manager, many);
  auto visited = relationshipNamed("visited", office, many);
  pairUp(visitors, visited);
  auto owner = relationshipNamed("owner", person);
  const auto add = [](const Ref<NSEntityDescription>& entity, std::vector<Value> more) {
    std::vector<Value> all;
    for (const auto& property : entity->ownProperties()) all.emplace_back(property);
    all.insert(all.end(), more.begin(), more.end());
    entity->setProperties(NSArray::arrayWithValues(std::move(all)));
  };
  add(manager, {ownOffice, visited});
  add(office, {boss, visitors, owner});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(person, office));
  return model;
}

class StoreIntegrity : public StoreTest {
 protected:
  /// One office with everything, and a person who is no manager.
  void SetUp() override {
    open(NSSQLiteStoreType, officeModel());
    auto manager = insert("Manager", {{"name", "Mia"}});
    auto person = insert("Person", {{"name", "Pia"}});
    auto office = insert("Office", {{"name", "North"}, {"boss", manager}, {"owner", person}});
    office->setValueForKey(NSSet::setWithObject(manager), "visitors");
    save();
    ASSERT_EQ(findings(), "");
  }

  void execute(const char* sql) {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(directory.file("library.sqlite").c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    sqlite3_close(handle);
  }

  std::string findings() const {
    Ref<NSError> error;
    const Ref<NSArray> found = coordinator->integrityErrorsOfPersistentStoreError(store, &error);
    EXPECT_TRUE(found) << text(error);
    std::string lines;
    if (!found) return "none";
    for (const Value& sentence : *found) lines += as<NSString>(sentence)->toStdString() + "\n";
    return lines;
  }
  void expectOnlyFinding(std::string_view part) const {
    const std::string found = findings();
    EXPECT_NE(found.find(part), std::string::npos) << part << " is not in: " << found;
    EXPECT_EQ(found.find('\n') + 1, found.size()) << found;
  }
};

TEST_F(StoreIntegrity, ARecordThatNamesOneOfAnotherEntityIsFound) {
  execute("UPDATE object_Office SET boss = (SELECT _pk FROM object_Person WHERE name = 'Pia')");
  expectOnlyFinding("of 'Office': its 'boss' leads to the record");
}

TEST_F(StoreIntegrity, ARecordThatNamesOneThatIsNotThereIsFound) {
  execute("UPDATE object_Office SET boss = 77");
  expectOnlyFinding("The table object_Office, row 1: refers to a row that the table object_Person");
}

TEST_F(StoreIntegrity, ARecordWhoseNoteOfTheEntityIsWrongIsFound) {
  execute("UPDATE object_Office SET owner_entity = owner_entity + 1");
  expectOnlyFinding("of 'Office': its 'owner' leads to the record");
  execute("UPDATE object_Office SET owner_entity = NULL");
  expectOnlyFinding("of 'Office': its 'owner' leads to the record");
  execute("UPDATE object_Office SET owner = NULL");
  EXPECT_EQ(findings(), "");
  execute("UPDATE object_Office SET owner = 'nobody'");
  EXPECT_NE(findings().find("the value of 'owner' is stored as text, not as integer"),
            std::string::npos);
}

TEST_F(StoreIntegrity, APairWithOneOfAnotherEntityIsFound) {
  const std::string sql =
      "INSERT INTO link_Manager_visited SELECT (SELECT _pk FROM object_Person "
      "WHERE name = 'Pia'), _pk FROM object_Office";
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(directory.file("library.sqlite").c_str(), &handle), SQLITE_OK);
  const bool isManagersFirst = sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr) == 0;
  sqlite3_close(handle);
  if (!isManagersFirst) {
    execute(
        "INSERT INTO link_Office_visitors SELECT _pk, (SELECT _pk FROM object_Person WHERE name = "
        "'Pia') FROM object_Office");
  }
  // Both ends of the relationship say so.
  const std::string found = findings();
  EXPECT_NE(found.find("of 'Office': its 'visitors' leads to the record 2"), std::string::npos)
      << found;
  EXPECT_NE(found.find("The record 2 of 'Manager': its 'visited' leads to the record 1"),
            std::string::npos)
      << found;
}

TEST_F(StoreIntegrity, TablesOfPairsThatAreNotThereAreFound) {
  execute("UPDATE jn_link SET far_column = 'away' WHERE property = 'visitors'");
  expectOnlyFinding("The entity 'Office': a column of the table link_");
  execute("UPDATE jn_link SET far_column = 'far', table_name = 'gone' WHERE property = 'visitors'");
  EXPECT_NE(findings().find("The entity 'Office': the table gone of visitors is missing"),
            std::string::npos);
  execute("INSERT INTO jn_link VALUES (99, 'lost', 'gone', 'near', 'far', NULL)");
  EXPECT_NE(findings().find("The table of 'lost': its entity has the number 99"),
            std::string::npos);
}

TEST_F(StoreIntegrity, RelationshipsOutlastABackupASuspensionAndACompaction) {
  Ref<NSError> error;
  const std::string copy = directory.file("copy.sqlite");
  ASSERT_TRUE(
      coordinator->backupPersistentStoreToURLError(store, NSURL::fileURLWithPath(copy), &error))
      << text(error);
  ASSERT_TRUE(coordinator->compactPersistentStoreError(store, &error)) << text(error);
  ASSERT_TRUE(coordinator->suspend(&error)) << text(error);
  EXPECT_EQ(findings(), "");
  OpenedStore opened(copy, officeModel());
  ASSERT_TRUE(opened);
  for (const auto& reader : {newContext(), opened.context}) {
    const Ref<NSArray> offices = reader->executeFetchRequestError(request("Office"));
    ASSERT_TRUE(offices && offices->count() == 1);
    const Value office = offices->objectAtIndex(0);
    EXPECT_EQ(valueForKeyPath(office, "boss.name"), Value("Mia"));
    EXPECT_EQ(valueForKeyPath(office, "owner.name"), Value("Pia"));
    EXPECT_EQ(valueForKeyPath(office, "visitors.@count"), Value(1));
  }
}

TEST_F(StoreIntegrity, ASuspendedFileWhoseTablesWereMadeAnewIsRefused) {
  ASSERT_TRUE(coordinator->suspend());
  execute(
      "ALTER TABLE object_Office RENAME COLUMN name TO title;"
      "UPDATE jn_column SET column_name = 'title' WHERE column_name = 'name' AND entity = (SELECT "
      "number FROM jn_entity WHERE name = 'Office')");
  Ref<NSError> error;
  EXPECT_FALSE(coordinator->resume(&error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSPersistentStoreIncompatibleSchemaError) << text(error);
  execute(
      "ALTER TABLE object_Office RENAME COLUMN title TO name;"
      "UPDATE jn_column SET column_name = 'name' WHERE column_name = 'title'");
  EXPECT_TRUE(coordinator->resume(&error)) << text(error);
}

}  // namespace
}  // namespace JNFoundation
