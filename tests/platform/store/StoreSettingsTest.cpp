#include <limits>
#include <sqlite3.h>

#include "FaultVfs.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/StatementTrace.h>

namespace JNFoundation {
namespace {

using testing::FaultVfs;
using testing::OpenedStore;

class StoreSettings : public ::testing::Test {
 protected:
  static Ref<NSDictionary> pragma(const Value& name, const Value& value) {
    return NSDictionary::dictionaryWithEntries(
        {{NSSQLitePragmasOption, NSDictionary::dictionaryWithEntries({{name, value}})}});
  }
  static Ref<NSDictionary> timeout(const Value& seconds) {
    return NSDictionary::dictionaryWithEntries({{NSPersistentStoreTimeoutOption, seconds}});
  }
  static Ref<NSManagedObject> insertNote(const OpenedStore& opened) {
    auto note = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        "Note", opened.context);
    note->setValueForKey("text", "text");
    return note;
  }

  std::string file() const { return directory.file("settings.sqlite"); }

  void expectRefused(const Ref<NSDictionary>& options, std::string_view part) const {
    const OpenedStore opened(file(), libraryModel(), options);
    EXPECT_FALSE(opened) << part;
    ASSERT_TRUE(opened.error);
    EXPECT_EQ(opened.error->code(), NSPersistentStoreOpenError);
    EXPECT_NE(opened.error->localizedDescription()->utf8().find(part), std::string_view::npos)
        << opened.error->localizedDescription()->utf8();
    EXPECT_FALSE(std::filesystem::exists(file())) << "nothing is made";
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
};

TEST_F(StoreSettings, WhatIsNotUnderstoodIsRefusedByName) {
  expectRefused(pragma("journal_size", 5), "there is no setting 'journal_size'");
  expectRefused(pragma("synchronous; DROP TABLE x", "FULL"), "there is no setting");
  expectRefused(pragma(7, "FULL"), "there is no setting '7'");
  expectRefused(pragma("synchronous", "OFF"), "'synchronous' can be NORMAL or FULL, not 'OFF'");
  expectRefused(pragma("synchronous", 2), "'synchronous' can be NORMAL or FULL");
  expectRefused(pragma("journal_mode", "DELETE"), "'journal_mode' can only be WAL, not 'DELETE'");
  expectRefused(pragma("cache_size", "many"), "'cache_size' is a whole number from");
  expectRefused(pragma("cache_size", "5; DROP TABLE x"), "'cache_size' is a whole number");
  expectRefused(pragma("cache_size", 1.5), "'cache_size' is a whole number");
  expectRefused(pragma("cache_size", NSNull::null()), "'cache_size' is a whole number");
  expectRefused(pragma("mmap_size", -1), "'mmap_size' is a whole number from 0");
  expectRefused(pragma("mmap_size", std::numeric_limits<double>::infinity()), "'mmap_size'");
  expectRefused(pragma("wal_autocheckpoint", 0), "'wal_autocheckpoint' is a whole number from 1");
  expectRefused(pragma("fullfsync", 2), "'fullfsync' is a whole number from 0 to 1");
  expectRefused(NSDictionary::dictionaryWithEntries({{NSSQLitePragmasOption, "synchronous"}}),
                "is a dictionary of settings, not synchronous");
  expectRefused(timeout("soon"), "is a number of seconds, not soon");
  expectRefused(timeout(-1), "is a number of seconds, not -1");
  expectRefused(timeout(std::numeric_limits<double>::quiet_NaN()), "is a number of seconds");
}

TEST_F(StoreSettings, WhatIsUnderstoodIsSaidToSQLite) {
  std::string said;
  const StatementObserverScope scope([&](const StatementTrace& trace) {
    said += trace.sql;
    said += '\n';
  });
  const auto settings = NSDictionary::dictionaryWithEntries({{"synchronous", "full"},
                                                             {"journal_mode", "wal"},
                                                             {"cache_size", -4000},
                                                             {"mmap_size", "1048576"},
                                                             {"wal_autocheckpoint", 500},
                                                             {"fullfsync", true}});
  const OpenedStore opened(
      file(), libraryModel(),
      NSDictionary::dictionaryWithEntries({{NSSQLitePragmasOption, settings}}));
  ASSERT_TRUE(opened) << opened.error->localizedDescription()->utf8();
  for (const char* statement :
       {"PRAGMA synchronous = FULL;", "PRAGMA cache_size = -4000;", "PRAGMA mmap_size = 1048576;",
        "PRAGMA wal_autocheckpoint = 500;", "PRAGMA fullfsync = 1;"}) {
    EXPECT_NE(said.find(statement), std::string::npos) << statement;
  }
}

TEST_F(StoreSettings, ASaveWaitsForTheDiskWhenAskedToAndNotOtherwise) {
  FaultVfs disk;
  for (const auto& [options, syncs] :
       {std::pair(Ref<NSDictionary>(), false), std::pair(pragma("synchronous", "NORMAL"), false),
        std::pair(pragma("synchronous", "FULL"), true)}) {
    const OpenedStore opened(file(), libraryModel(), options);
    ASSERT_TRUE(opened);
    insertNote(opened);
    ASSERT_TRUE(opened.context->save());
    insertNote(opened);
    const std::uint64_t before = disk.logSyncs();
    ASSERT_TRUE(opened.context->save());
    EXPECT_EQ(disk.logSyncs() > before, syncs);
  }
}

// ---- Two connections ----------------------------------------------------------------------------

/// Another program that has the file, and writes.
class Writer {
 public:
  explicit Writer(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &_handle), SQLITE_OK);
    EXPECT_TRUE(run("BEGIN IMMEDIATE"));
  }
  ~Writer() { sqlite3_close(_handle); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  bool run(const char* sql) {
    return sqlite3_exec(_handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  }

 private:
  sqlite3* _handle = nullptr;
};

TEST_F(StoreSettings, ASaveThatMayNotWaitFailsAndKeepsItsChanges) {
  const OpenedStore opened(file(), libraryModel(), timeout(0));
  ASSERT_TRUE(opened);
  insertNote(opened);
  {
    Writer writer(file());
    Ref<NSError> error;
    EXPECT_FALSE(opened.context->save(&error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSPersistentStoreTimeoutError);
    EXPECT_EQ(error->underlyingError()->domain()->toStdString(), NSSQLiteErrorDomain);
    EXPECT_TRUE(opened.context->hasChanges());
    EXPECT_EQ(opened.newContext()->countForFetchRequestError(
                  NSFetchRequest::fetchRequestWithEntityName("Note")),
              0u)
        << "reading goes on beside the writer";
  }
  EXPECT_TRUE(opened.context->save());
}

TEST_F(StoreSettings, ASaveWaitsUntilTheOtherOneIsDone) {
  FaultVfs disk;
  const OpenedStore opened(file(), libraryModel());
  ASSERT_TRUE(opened);
  insertNote(opened);
  {
    Writer writer(file());
    int sleeps = 0;
    disk.setPause([&] {
      if (++sleeps == 4) writer.run("COMMIT");
    });
    Ref<NSError> error;
    EXPECT_TRUE(opened.context->save(&error));
    EXPECT_EQ(sleeps, 4);
    disk.setPause(nullptr);
  }
}

TEST_F(StoreSettings, TheTimeToWaitIsTheOnesOfTheOption) {
  FaultVfs disk;
  const auto sleepsFor = [&](const Value& seconds) {
    const OpenedStore opened(file(), libraryModel(), timeout(seconds));
    EXPECT_TRUE(opened);
    insertNote(opened);
    Writer writer(file());
    int sleeps = 0;
    disk.setPause([&] {
      // No test waits that long.
      if (++sleeps == 200) writer.run("COMMIT");
    });
    opened.context->save();
    disk.setPause(nullptr);
    return sleeps;
  };
  const int few = sleepsFor(0.1);
  const int more = sleepsFor(1);
  EXPECT_GT(few, 0);
  EXPECT_GT(more, few);
  EXPECT_EQ(sleepsFor(1e300), 200) << "a number past all counting is as long as can be";
}

}  // namespace
}  // namespace JNFoundation
