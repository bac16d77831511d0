#include "MigrationFixture.h"

#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

using testing::OpenedStore;

/// Person (name, age) with three records.
class AttributeMigration : public MigrationTest {
 protected:
  void SetUp() override {
    make(entity("Person", attribute("name") + attribute("age", "Integer 16")),
         [](const Context& context) {
           insert(context, "Person", {{"name", "Ada"}, {"age", 36}});
           insert(context, "Person", {{"name", "Bob"}});
           insert(context, "Person", {{"name", "Cy"}, {"age", 7}});
         });
  }
};

TEST_F(AttributeMigration, DoesNotHappenUnlessItIsAskedFor) {
  const std::string other = entity("Person", attribute("name"));
  EXPECT_EQ(refusal(other, nullptr)->code(), NSPersistentStoreIncompatibleVersionHashError);
  EXPECT_EQ(refusal(other, NSDictionary::dictionaryWithObjectForKey(
                               true, NSMigratePersistentStoresAutomaticallyOption))
                ->code(),
            NSMigrationMissingMappingModelError);
  EXPECT_EQ(refusal(other, NSDictionary::dictionaryWithObjectForKey(
                               true, NSInferMappingModelAutomaticallyOption))
                ->code(),
            NSPersistentStoreIncompatibleVersionHashError);
}

TEST_F(AttributeMigration, AnAttributeIsAdded) {
  auto store = migrated(
      entity("Person", attribute("name") + attribute("age", "Integer 16") + attribute("mail")));
  EXPECT_EQ(dump(store, "Person", {"name", "age", "mail"}), "Ada 36 -; Bob - -; Cy 7 -");
}

TEST_F(AttributeMigration, AnAddedAttributeHasItsDefaultInEveryRecord) {
  auto store = migrated(entity(
      "Person", attribute("name") + attribute("age", "Integer 16") +
                    attribute("level", "Integer 32", "defaultValueString='3'") +
                    attribute("born", "Date", "optional='YES' defaultDateTimeInterval='60'") +
                    attribute("key", "UUID")));
  EXPECT_EQ(dump(store, "Person", {"name", "level", "born", "key"}),
            "Ada 3 2001-01-01 00:01:00 +0000 -; Bob 3 2001-01-01 00:01:00 +0000 -; "
            "Cy 3 2001-01-01 00:01:00 +0000 -");
}

TEST_F(AttributeMigration, AnAttributeIsRemoved) {
  auto store = migrated(entity("Person", attribute("name")));
  EXPECT_EQ(dump(store, "Person", {"name"}), "Ada; Bob; Cy");
  EXPECT_EQ(query("SELECT count(*) FROM pragma_table_info('object_Person') WHERE name = 'age'"),
            "0");
}

TEST_F(AttributeMigration, AnAttributeIsRenamed) {
  auto store =
      migrated(entity("Person", attribute("name") + attribute("years", "Integer 16",
                                                              "optional='YES' " + renamed("age"))));
  EXPECT_EQ(dump(store, "Person", {"name", "years"}), "Ada 36; Bob -; Cy 7");
}

TEST_F(AttributeMigration, RenamingsHoldOverSeveralVersions) {
  const std::string first = "optional='YES' " + renamed("age");
  migrated(entity("Person", attribute("name") + attribute("years", "Integer 16", first)));
  // The identifier stays the first name, or becomes the last one.
  auto store =
      migrated(entity("Person", attribute("name") + attribute("time", "Integer 16", first)));
  EXPECT_EQ(dump(store, "Person", {"name", "time"}), "Ada 36; Bob -; Cy 7");
  store = OpenedStore();
  store = migrated(entity(
      "Person",
      attribute("name") + attribute("span", "Integer 16", "optional='YES' " + renamed("time"))));
  EXPECT_EQ(dump(store, "Person", {"name", "span"}), "Ada 36; Bob -; Cy 7");
  store = OpenedStore();
  store = migrated(entity("Person", attribute("name") + attribute("span", "Integer 16")));
  EXPECT_EQ(dump(store, "Person", {"name", "span"}), "Ada 36; Bob -; Cy 7");
}

TEST_F(AttributeMigration, TwoAttributesChangeNames) {
  make(entity("Pair", attribute("left") + attribute("right")), [](const Context& context) {
    insert(context, "Pair", {{"left", "l"}, {"right", "r"}});
  });
  // Version hashes know nothing of former names.
  const std::string other = "optional='YES' versionHashModifier='2' ";
  auto store = migrated(entity("Pair", attribute("left", "String", other + renamed("right")) +
                                           attribute("right", "String", other + renamed("left"))));
  EXPECT_EQ(dump(store, "Pair", {"left", "right"}), "r l");
}

TEST_F(AttributeMigration, AnOldNameIsGivenToSomethingNew) {
  auto store = migrated(
      entity("Person", attribute("name") + attribute("age", "String") +
                           attribute("years", "Integer 16", "optional='YES' " + renamed("age"))));
  EXPECT_EQ(dump(store, "Person", {"name", "years", "age"}), "Ada 36 -; Bob - -; Cy 7 -");
}

TEST_F(AttributeMigration, ARequiredAttributeBecomesOptional) {
  make(entity("Note", attribute("text", "String", "")), [](const Context& context) {
    insert(context, "Note", {{"text", "kept"}});
  });
  auto store = migrated(entity("Note", attribute("text")));
  EXPECT_EQ(dump(store, "Note", {"text"}), "kept");
  insert(store.context, "Note", {});
  EXPECT_TRUE(store.context->save());
}

TEST_F(AttributeMigration, AnOptionalAttributeBecomesRequiredWithADefault) {
  auto store = migrated(entity(
      "Person", attribute("name") + attribute("age", "Integer 16", "defaultValueString='18'")));
  EXPECT_EQ(dump(store, "Person", {"name", "age"}), "Ada 36; Bob 18; Cy 7");
}

TEST_F(AttributeMigration, AnAttributeBecomesTransientAndIsStoredAgain) {
  migrated(entity("Person", attribute("name") +
                                attribute("age", "Integer 16", "optional='YES' transient='YES'")));
  auto store = migrated(entity("Person", attribute("name") + attribute("age", "Integer 16")));
  EXPECT_EQ(dump(store, "Person", {"name", "age"}), "Ada -; Bob -; Cy -");
}

TEST_F(AttributeMigration, EveryTypeGoesOverAsItIs) {
  const char* types[] = {"Integer 16", "Integer 32", "Integer 64", "Decimal", "Double", "Float",
                         "String",     "Boolean",    "Date",       "Binary",  "UUID",   "URI"};
  std::string columns;
  std::string before;
  std::vector<std::string> names;
  for (const char* type : types) {
    names.push_back("v" + std::to_string(names.size()));
    columns += attribute(names.back(), type);
  }
  std::vector<const char*> keys;
  for (const std::string& name : names) keys.push_back(name.c_str());
  make(entity("Value", columns + attribute("gone")), [&](const Context& context) {
    const Value values[] = {1,
                            -2,
                            3'000'000'000,
                            NSDecimalNumber::decimalNumberWithString("1.25"),
                            0.5,
                            0.25f,
                            "text \u00e4",
                            true,
                            Value::dateWithTimeIntervalSince1970(1.5),
                            NSData::dataWithBytesLength("a\0b", 3),
                            NSUUID::initWithUUIDString("6BA7B810-9DAD-11D1-80B4-00C04FD430C8"),
                            NSURL::URLWithString("http://example.com/a?b")};
    auto object = insert(context, "Value", {});
    for (std::size_t i = 0; i < names.size(); ++i) object->setValueForKey(values[i], names[i]);
    insert(context, "Value", {});
  });
  {
    OpenedStore store(file, modelOf(entity("Value", columns + attribute("gone"))));
    before = dump(store, "Value", keys);
  }
  auto store = migrated(entity("Value", columns));
  EXPECT_EQ(dump(store, "Value", keys), before);
  EXPECT_NE(before.find("1.25"), std::string::npos);
}

TEST_F(AttributeMigration, KeepsTheStoresIdentifierMetadataNumbersAndVersions) {
  std::string identifier, uri;
  const std::string old = entity("Person", attribute("name") + attribute("age", "Integer 16"));
  {
    OpenedStore store(file, modelOf(old));
    identifier = theStore(store)->identifier()->toStdString();
    const auto people = all(store.context, "Person");
    uri = people[2]->objectID()->URIRepresentation()->absoluteString()->toStdString();
    people[2]->setValueForKey(8, "age");
    store.context->deleteObject(people[0]);
    ASSERT_TRUE(store.context->save());
    ASSERT_TRUE(store.coordinator->setMetadataForPersistentStore(
        NSDictionary::dictionaryWithObjectForKey("mine", "owner"), theStore(store)));
  }
  const std::string versions = query("SELECT _pk || ':' || _version FROM object_Person");
  ASSERT_EQ(versions, "2:1 3:2");
  auto store = migrated(entity("Person", attribute("name")));
  EXPECT_EQ(theStore(store)->identifier()->toStdString(), identifier);
  EXPECT_EQ(
      shown(store.coordinator->metadataForPersistentStore(theStore(store))->objectForKey("owner")),
      "mine");
  EXPECT_EQ(query("SELECT _pk || ':' || _version FROM object_Person"), versions);
  const auto found =
      store.coordinator->managedObjectIDForURIRepresentation(NSURL::URLWithString(uri));
  ASSERT_TRUE(found);
  EXPECT_EQ(shown(store.context->objectWithID(found)->valueForKey("name")), "Cy");
  // No number is given twice.
  insert(store.context, "Person", {{"name", "Di"}});
  ASSERT_TRUE(store.context->save());
  EXPECT_EQ(query("SELECT _pk FROM object_Person"), "2 3 4");
}

// ---- Indexes and constraints --------------------------------------------------------------------

TEST_F(AttributeMigration, IndexesComeAndGo) {
  const std::string index =
      "<fetchIndex name='byName'><fetchIndexElement property='name' type='Binary' "
      "order='ascending'/></fetchIndex>";
  const auto indexes = [&] {
    return query("SELECT name FROM sqlite_schema WHERE type = 'index' AND name LIKE 'jn_%'");
  };
  migrated(entity("Person", attribute("name") + attribute("age", "Integer 16") + index));
  EXPECT_EQ(indexes(), "jn_index_1");
  migrated(entity("Person", attribute("name") + index));
  EXPECT_EQ(indexes(), "jn_index_1");
  migrated(entity("Person", attribute("name")));
  EXPECT_EQ(indexes(), "") << "although the version hashes are the same";
}

TEST_F(AttributeMigration, AConstraintComesWhereValuesAreUnique) {
  const std::string unique =
      "<uniquenessConstraints><uniquenessConstraint><constraint value='name'/>"
      "</uniquenessConstraint></uniquenessConstraints>";
  auto store =
      migrated(entity("Person", attribute("name") + attribute("age", "Integer 16") + unique));
  insert(store.context, "Person", {{"name", "Ada"}});
  Ref<NSError> error;
  EXPECT_FALSE(store.context->save(&error));
  EXPECT_EQ(error->code(), NSManagedObjectConstraintMergeError);
}

TEST_F(AttributeMigration, AConstraintOverRepeatedValuesIsRefusedAndNamesThem) {
  const std::string old = entity("Person", attribute("name") + attribute("age", "Integer 16"));
  {
    OpenedStore store(file, modelOf(old));
    insert(store.context, "Person", {{"name", "Ada"}});
    ASSERT_TRUE(store.context->save());
  }
  const auto error = refusal(
      entity("Person", attribute("name") + attribute("age", "Integer 16") +
                           "<uniquenessConstraints><uniquenessConstraint><constraint "
                           "value='name'/></uniquenessConstraint></uniquenessConstraints>"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSMigrationConstraintViolationError);
  const std::string sentence = error->localizedDescription()->toStdString();
  EXPECT_NE(
      sentence.find("'Person' repeat what must be unique by name: 'Ada' in the records 1 and 4"),
      std::string::npos)
      << sentence;
  OpenedStore store(file, modelOf(old));
  EXPECT_EQ(dump(store, "Person", {"name"}), "Ada; Bob; Cy; Ada");
}

// ---- What the file knows ------------------------------------------------------------------------

TEST_F(AttributeMigration, NeedsTheModelInTheFile) {
  const std::string other = entity("Person", attribute("name"));
  const auto run = [&](const char* sql) {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(handle);
  };
  run("UPDATE jn_metadata SET value = replace(value, 'age', 'eva') WHERE key = 'model'");
  EXPECT_EQ(refusal(other)->code(), NSMigrationMissingSourceModelError);
  run("DELETE FROM jn_metadata WHERE key LIKE 'model%'");
  EXPECT_EQ(refusal(other)->code(), NSMigrationMissingSourceModelError);
  // It is of use all the same, and learns it again.
  const std::string old = entity("Person", attribute("name") + attribute("age", "Integer 16"));
  EXPECT_TRUE(OpenedStore(file, modelOf(old)));
  EXPECT_TRUE(OpenedStore(file, modelOf(old), automatically()));
  auto store = migrated(other);
  EXPECT_EQ(dump(store, "Person", {"name"}), "Ada; Bob; Cy");
}

TEST_F(AttributeMigration, IsRefusedForAFileThatIsOnlyRead) {
  const auto options =
      NSDictionary::dictionaryWithEntries({{NSMigratePersistentStoresAutomaticallyOption, true},
                                           {NSInferMappingModelAutomaticallyOption, true},
                                           {NSReadOnlyPersistentStoreOption, true}});
  EXPECT_EQ(refusal(entity("Person", attribute("name")), options)->code(),
            NSPersistentStoreIncompatibleVersionHashError);
}

TEST_F(AttributeMigration, IsRefusedWhileSomebodyElseHasTheFileOpen) {
  const std::string old = entity("Person", attribute("name") + attribute("age", "Integer 16"));
  OpenedStore reader(file, modelOf(old));
  ASSERT_TRUE(reader);
  EXPECT_EQ(all(reader.context, "Person").size(), 3u);
  const auto options =
      NSDictionary::dictionaryWithEntries({{NSMigratePersistentStoresAutomaticallyOption, true},
                                           {NSInferMappingModelAutomaticallyOption, true},
                                           {NSPersistentStoreTimeoutOption, 0.0}});
  OpenedStore other(file, modelOf(entity("Person", attribute("name"))), options);
  EXPECT_FALSE(other);
  EXPECT_EQ(other.error->code(), NSPersistentStoreTimeoutError);
  insert(reader.context, "Person", {{"name", "Di"}});
  EXPECT_TRUE(reader.context->save());
  reader = OpenedStore();
  EXPECT_EQ(dump(migrated(entity("Person", attribute("name"))), "Person", {"name"}),
            "Ada; Bob; Cy; Di");
}

TEST_F(AttributeMigration, OfAStoreInMemoryIsNothing) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(
      modelOf(entity("Person", attribute("name"))));
  EXPECT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, automatically()));
}

}  // namespace
}  // namespace JNFoundation
