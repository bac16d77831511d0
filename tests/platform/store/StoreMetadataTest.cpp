#include <fstream>
#include <sqlite3.h>

#include "FaultVfs.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

using testing::FaultVfs;
using testing::OpenedStore;

class StoreMetadata : public EveryStoreTest {
 protected:
  Value metadata(const char* key) const {
    return coordinator->metadataForPersistentStore(store)->objectForKey(key);
  }
  bool set(std::vector<NSDictionary::Pair> entries) {
    error = nullptr;
    return coordinator->setMetadataForPersistentStore(
        NSDictionary::dictionaryWithEntries(std::move(entries)), store, &error);
  }

  Ref<NSError> error;
};
FOR_EVERY_STORE(StoreMetadata);

TEST_P(StoreMetadata, SaysWhatTheStoreIs) {
  EXPECT_EQ(metadata(NSStoreTypeKey), Value(GetParam()));
  EXPECT_EQ(metadata(NSStoreUUIDKey), Value(store->identifier()));
  const Value hashes = metadata(NSStoreModelVersionHashesKey);
  EXPECT_EQ(as<NSDictionary>(hashes)->count(), 5u);
  EXPECT_EQ(as<NSDictionary>(hashes)->objectForKey("Film"),
            Value(model->entityWithName("Film")->versionHash()));
  EXPECT_EQ(coordinator->metadataForPersistentStore(store)->count(), 3u);
}

TEST_P(StoreMetadata, PlainValuesOfTheApplicationComeBackAsTheyWere) {
  const Value date = Value::dateWithTimeIntervalSince1970(-12345.678);
  const Value data = NSData::dataWithText(std::string("\0\xff x", 4));
  const Value decimal =
      NSDecimalNumber::decimalNumberWithString("12345678901234567890.12345678901234567");
  const Value nested = NSDictionary::dictionaryWithEntries(
      {{"$date", 5}, {"$$x", NSArray::arrayWithObjects(date, NSNull::null(), data)}});
  const std::vector<NSDictionary::Pair> entries{{"text", "a 'quoted\" text;\n"},
                                                {"whole", std::int64_t{1} << 62},
                                                {"half", 0.5},
                                                {"yes", true},
                                                {"date", date},
                                                {"data", data},
                                                {"decimal", decimal},
                                                {"nested", nested},
                                                {"", "no name"}};
  ASSERT_TRUE(set(entries)) << text(error);
  for (const NSDictionary::Pair& entry : entries) {
    const Value found = coordinator->metadataForPersistentStore(store)->objectForKey(entry.key);
    EXPECT_EQ(found, entry.value) << entry.key.description()->utf8();
    EXPECT_EQ(found.class_(), entry.value.class_()) << entry.key.description()->utf8();
  }
  ASSERT_TRUE(set({{"only", 1}}));
  EXPECT_EQ(coordinator->metadataForPersistentStore(store)->count(), 4u) << "they are replaced";
}

TEST_P(StoreMetadata, WhatTheStoreMakesItselfCannotBeSet) {
  auto changed =
      as<NSMutableDictionary>(coordinator->metadataForPersistentStore(store)->mutableCopy());
  changed->setObjectForKey("another", NSStoreUUIDKey);
  changed->setObjectForKey("mine", "own");
  ASSERT_TRUE(coordinator->setMetadataForPersistentStore(changed, store, &error)) << text(error);
  EXPECT_EQ(metadata(NSStoreUUIDKey), Value(store->identifier()));
  EXPECT_EQ(metadata("own"), Value("mine"));
  EXPECT_EQ(coordinator->metadataForPersistentStore(store)->count(), 4u);
}

TEST_P(StoreMetadata, WhatIsNotPlainIsRefusedByNameAndChangesNothing) {
  ASSERT_TRUE(set({{"kept", 1}}));
  Value deep = NSArray::array();
  for (int i = 0; i < 10'000; ++i) deep = NSArray::arrayWithObject(deep);
  const Value refused[] = {NSUUID::UUID(), std::numeric_limits<double>::infinity(),
                           NSDictionary::dictionaryWithObjectForKey(1, 2),
                           NSArray::arrayWithObject(NSUUID::UUID()), deep};
  for (const Value& value : refused) {
    EXPECT_FALSE(set({{"other", 2}, {"culprit", value}}));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSPersistentStoreOperationError);
    EXPECT_NE(text(error).find("culprit"), std::string::npos);
  }
  EXPECT_FALSE(set({{7, "a name that is no text"}}));
  EXPECT_EQ(metadata("kept"), Value(1));
  EXPECT_EQ(coordinator->metadataForPersistentStore(store)->count(), 4u);
  const Value one = NSArray::array();
  deep = nullptr;
}

TEST_P(StoreMetadata, AStoreOfAnotherCoordinatorIsRefused) {
  auto other = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  EXPECT_FALSE(other->metadataForPersistentStore(store, &error));
  EXPECT_TRUE(error);
  EXPECT_FALSE(other->setMetadataForPersistentStore(nullptr, store));
  EXPECT_FALSE(other->metadataForPersistentStore(nullptr));
  EXPECT_FALSE(other->integrityErrorsOfPersistentStoreError(store));
  EXPECT_FALSE(other->compactPersistentStoreError(store));
  EXPECT_FALSE(other->sizeOfPersistentStoreError(store));
  EXPECT_FALSE(other->backupPersistentStoreToURLError(store, NSURL::fileURLWithPath("x")));
}

class StoreFileMetadata : public StoreTest {
 protected:
  std::string file() const { return directory.file("library.sqlite"); }

  Ref<NSDictionary> read(const std::string& path, const Ref<NSDictionary>& options = nullptr) {
    error = nullptr;
    return NSPersistentStoreCoordinator::metadataForPersistentStoreOfTypeURLOptionsError(
        NSSQLiteStoreType, NSURL::fileURLWithPath(path), options, &error);
  }
  static std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  Ref<NSError> error;
};

TEST_F(StoreFileMetadata, IsReadWithoutTheModelWhetherTheStoreIsOpenOrNot) {
  ASSERT_TRUE(coordinator->setMetadataForPersistentStore(
      NSDictionary::dictionaryWithObjectForKey("seven", "7"), store));
  const Ref<NSDictionary> expected = coordinator->metadataForPersistentStore(store);
  Ref<NSDictionary> found = read(file());
  ASSERT_TRUE(found) << text(error);
  EXPECT_EQ(Value(found), Value(expected));
  EXPECT_EQ(coordinator->metadataForPersistentStore(store)->count(), 4u);
  context = nullptr;
  store = nullptr;
  coordinator = nullptr;
  const std::string before = bytesOf(file());
  found = read(file());
  ASSERT_TRUE(found) << text(error);
  EXPECT_EQ(Value(found), Value(expected));
  EXPECT_EQ(bytesOf(file()), before);
  EXPECT_FALSE(std::filesystem::exists(file() + "-wal"));
}

TEST_F(StoreFileMetadata, SurvivesWithTheStore) {
  ASSERT_TRUE(coordinator->setMetadataForPersistentStore(
      NSDictionary::dictionaryWithObjectForKey("seven", "7"), store));
  context = nullptr;
  store = nullptr;
  coordinator = nullptr;
  open(NSSQLiteStoreType, libraryModel());
  EXPECT_EQ(coordinator->metadataForPersistentStore(store)->objectForKey("7"), Value("seven"));
}

TEST_F(StoreFileMetadata, WhatIsNoStoreHasNoneAndStaysAsItIs) {
  EXPECT_FALSE(read(directory.file("missing.sqlite")));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), 260);
  EXPECT_FALSE(std::filesystem::exists(directory.file("missing.sqlite")));
  const std::string words = directory.file("words");
  std::ofstream(words) << std::string(5000, 'n');
  EXPECT_FALSE(read(words));
  EXPECT_TRUE(error);
  EXPECT_EQ(bytesOf(words), std::string(5000, 'n'));
  const std::string empty = directory.file("empty");
  std::ofstream(empty) << "";
  EXPECT_FALSE(read(empty));
  EXPECT_TRUE(error);
  const std::string foreign = directory.file("foreign.sqlite");
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(foreign.c_str(), &handle), SQLITE_OK);
  sqlite3_exec(handle, "CREATE TABLE x (y)", nullptr, nullptr, nullptr);
  sqlite3_close(handle);
  const std::string before = bytesOf(foreign);
  EXPECT_FALSE(read(foreign));
  EXPECT_NE(text(error).find("something else"), std::string::npos);
  EXPECT_EQ(bytesOf(foreign), before);
  EXPECT_FALSE(NSPersistentStoreCoordinator::metadataForPersistentStoreOfTypeURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, &error));
  EXPECT_EQ(error->code(), NSPersistentStoreInvalidTypeError);
  EXPECT_FALSE(NSPersistentStoreCoordinator::metadataForPersistentStoreOfTypeURLOptionsError(
      NSSQLiteStoreType, nullptr, nullptr, &error));
}

TEST_F(StoreFileMetadata, ASaveOfItThatFailsLeavesTheFormerOne) {
  ASSERT_TRUE(coordinator->setMetadataForPersistentStore(
      NSDictionary::dictionaryWithObjectForKey(1, "number"), store));
  context = nullptr;
  store = nullptr;
  coordinator = nullptr;
  FaultVfs disk;
  OpenedStore opened(file(), libraryModel(), testing::optionsFor(testing::Durability::Full));
  ASSERT_TRUE(opened);
  const auto store = Ref<NSPersistentStore>(
      as<NSPersistentStore>(opened.coordinator->persistentStores()->objectAtIndex(0)));
  for (const auto operation : {FaultVfs::Operation::Write, FaultVfs::Operation::Sync}) {
    disk.fail(operation, 1, FaultVfs::usualCode(operation), FaultVfs::Lasting::Once);
    EXPECT_FALSE(opened.coordinator->setMetadataForPersistentStore(
        NSDictionary::dictionaryWithObjectForKey(2, "number"), store, &error));
    EXPECT_TRUE(disk.hasFailed());
    disk.heal();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSPersistentStoreSaveError) << text(error);
    EXPECT_EQ(opened.coordinator->metadataForPersistentStore(store)->objectForKey("number"),
              Value(1));
  }
  EXPECT_TRUE(opened.coordinator->setMetadataForPersistentStore(
      NSDictionary::dictionaryWithObjectForKey(3, "number"), store));
  EXPECT_EQ(opened.coordinator->metadataForPersistentStore(store)->objectForKey("number"),
            Value(3));
}

TEST_F(StoreFileMetadata, AReadOnlyStoreKeepsIts) {
  context = nullptr;
  store = nullptr;
  coordinator = nullptr;
  OpenedStore opened(
      file(), libraryModel(),
      NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}}));
  ASSERT_TRUE(opened);
  const auto store = Ref<NSPersistentStore>(
      as<NSPersistentStore>(opened.coordinator->persistentStores()->objectAtIndex(0)));
  EXPECT_FALSE(opened.coordinator->setMetadataForPersistentStore(nullptr, store, &error));
  EXPECT_EQ(error->code(), NSPersistentStoreSaveError);
  EXPECT_TRUE(opened.coordinator->metadataForPersistentStore(store));
}

TEST_F(StoreFileMetadata, DamagedEntriesAreAnError) {
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
  for (const char* text : {"{", "{\"$data\": \"!\"}", "{\"$what\": 1}"}) {
    const std::string sql =
        std::string("REPLACE INTO jn_metadata VALUES ('application:x', '") + text + "')";
    ASSERT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_FALSE(coordinator->metadataForPersistentStore(store, &error)) << text;
    EXPECT_TRUE(error);
    EXPECT_FALSE(read(file())) << text;
  }
  sqlite3_close(handle);
}

}  // namespace
}  // namespace JNFoundation
