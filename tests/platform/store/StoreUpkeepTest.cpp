#include <algorithm>
#include <fstream>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "FaultVfs.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

namespace JNFoundation {
namespace {

using testing::damageOf;
using testing::FaultVfs;
using testing::OpenedStore;

class StoreUpkeep : public StoreTest {
 protected:
  std::string file() const { return directory.file("library.sqlite"); }
  static std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  void insertBooks(int count) {
    const std::string title(1000, 'x');
    for (int i = 0; i < count; ++i) insert("Book", {{"title", title}, {"pages", i}});
    save();
  }
  void deleteBooks() {
    const Ref<NSArray> books = fetch(request("Book"));
    for (const Value& book : *books) {
      context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(book)));
    }
    save();
  }

  void closeAll() {
    context = nullptr;
    store = nullptr;
    coordinator = nullptr;
  }

  /// Changes the file behind the store's back.
  void execute(const char* sql) {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    sqlite3_close(handle);
  }

  /// What a check finds, a line each.
  std::string findings() {
    error = nullptr;
    const Ref<NSArray> found = coordinator->integrityErrorsOfPersistentStoreError(store, &error);
    EXPECT_TRUE(found) << text(error);
    std::string lines;
    if (!found) return "none";
    for (const Value& sentence : *found) {
      lines += as<NSString>(sentence)->toStdString() + "\n";
    }
    return lines;
  }
  void expectFinding(std::string_view part) {
    const std::string found = findings();
    EXPECT_NE(found.find(part), std::string::npos) << part << " is not in: " << found;
  }

  Ref<NSError> error;
};

// ---- Checks -------------------------------------------------------------------------------------

TEST_F(StoreUpkeep, ASoundStoreHasNoIntegrityErrors) {
  EXPECT_EQ(findings(), "");
  insertBooks(10);
  insert("AudioBook", {{"reader", "Ann"}, {"added", Value::dateWithTimeIntervalSince1970(5)}});
  insert("Film", {{"available", true}, {"rating", 3}});
  insert("Note", {{"text", ""}});
  save();
  EXPECT_EQ(findings(), "");
  deleteBooks();
  EXPECT_EQ(findings(), "");
}

TEST_F(StoreUpkeep, RecordsThatClaimWhatTheyCannotBeAreFound) {
  insertBooks(3);
  execute("UPDATE object_Work SET _entity = 99 WHERE _pk = 1");
  expectFinding("The record 1 of 'Work': its entity has the number 99");
  execute("UPDATE object_Work SET _entity = (SELECT number FROM jn_entity WHERE name = 'Work')");
  expectFinding("The record 3 of 'Work': its entity has the number 1");
  execute(
      "UPDATE object_Work SET _entity = (SELECT number FROM jn_entity WHERE name = 'Book'),"
      "_version = 0 WHERE _pk < 3");
  expectFinding("The record 2 of 'Work': its version is 0");
  execute("UPDATE object_Work SET _pk = 7000000 WHERE _pk = 3");
  expectFinding("The record 7000000 of 'Work': its number has not been given away");
  execute("UPDATE object_Work SET pages = 'many' WHERE _pk = 2");
  expectFinding("The record 2 of 'Book': the value of 'pages' is stored as text, not as integer");
  execute("UPDATE object_Work SET title = x'00' WHERE _pk = 2");
  expectFinding("The record 2 of 'Work': the value of 'title' is stored as blob, not as text");
}

TEST_F(StoreUpkeep, TablesThatDoNotAgreeAreFound) {
  execute("UPDATE jn_entity SET next_key = 0 WHERE name = 'Note'");
  expectFinding("The entity 'Note': the next number of a record is 0");
  execute("UPDATE jn_entity SET root = 77 WHERE name = 'Film'");
  expectFinding("The entity 'Film': it is below an entity that is not in its table");
  execute("INSERT INTO jn_column VALUES (55, 'lost', 0, 'lost')");
  expectFinding("The column of 'lost': its entity has the number 55");
  execute("ALTER TABLE object_Note RENAME COLUMN stars TO planets");
  expectFinding("The entity 'Note': the column stars of stars is missing");
  execute("ALTER TABLE object_Note RENAME TO object_Gone");
  expectFinding("The entity 'Note': the table object_Note is missing");
  // Without it nobody knows whose file it is.
  execute("DELETE FROM jn_metadata");
  EXPECT_FALSE(coordinator->integrityErrorsOfPersistentStoreError(store, &error));
  EXPECT_TRUE(error);
}

TEST_F(StoreUpkeep, DamagedPagesAreFoundAndNoMoreThanAHundredErrorsAreTold) {
  insertBooks(500);
  ASSERT_TRUE(coordinator->suspend());
  std::fstream stream(file(), std::ios::binary | std::ios::in | std::ios::out);
  const auto size = static_cast<std::streamoff>(std::filesystem::file_size(file()));
  for (std::streamoff at = size / 2; at < size; at += 4096) {
    stream.seekp(at / 4096 * 4096);
    stream << std::string(64, '\x7f');
  }
  stream.close();
  const std::string found = findings();
  EXPECT_FALSE(found.empty());
  const auto lines = std::count(found.begin(), found.end(), '\n');
  EXPECT_GT(lines, 0);
  EXPECT_LE(lines, 100);
}

TEST_F(StoreUpkeep, ACheckGoesOnBesideSavesAndReadErrorsAreNoFindings) {
  closeAll();
  FaultVfs disk;
  open(NSSQLiteStoreType, libraryModel());
  insertBooks(200);
  EXPECT_EQ(findings(), "");
  int failures = 0;
  for (std::uint64_t number = 1;; ++number) {
    SCOPED_TRACE(number);
    disk.fail(FaultVfs::Operation::Read, number, FaultVfs::usualCode(FaultVfs::Operation::Read),
              FaultVfs::Lasting::Once);
    error = nullptr;
    const Ref<NSArray> found = coordinator->integrityErrorsOfPersistentStoreError(store, &error);
    const bool hasFailed = disk.hasFailed();
    disk.heal();
    // A read that failed while the log's index was made is one that was made up for.
    EXPECT_TRUE(found ? found->count() == 0 : static_cast<bool>(error));
    if (!hasFailed) break;
    if (!found) ++failures;
  }
  EXPECT_GT(failures, 20);
  EXPECT_EQ(findings(), "");
  closeAll();
}

TEST_F(StoreUpkeep, ACheckOnAnotherThreadAndSavesDoNotMeet) {
  insertBooks(500);
  std::string found = "not checked";
  std::thread thread([&] { found = findings(); });
  for (int i = 0; i < 20; ++i) insertBooks(1);
  thread.join();
  EXPECT_EQ(found, "");
}

// ---- Room ---------------------------------------------------------------------------------------

TEST_F(StoreUpkeep, CompactingGivesBackWhatHoldsNothing) {
  insertBooks(1000);
  auto before = coordinator->sizeOfPersistentStoreError(store);
  ASSERT_TRUE(before);
  EXPECT_GT(before->file, 1'000'000u);
  EXPECT_GT(before->log, 1'000'000u) << "it has not been written back yet";
  EXPECT_LT(before->unused, 20'000u);
  deleteBooks();
  insertBooks(3);
  before = coordinator->sizeOfPersistentStoreError(store);
  EXPECT_GT(before->unused, 1'000'000u);
  ASSERT_TRUE(coordinator->compactPersistentStoreError(store, &error)) << text(error);
  const auto after = coordinator->sizeOfPersistentStoreError(store);
  ASSERT_TRUE(after);
  EXPECT_LT(after->file, 100'000u);
  EXPECT_EQ(after->unused, 0u);
  EXPECT_EQ(std::filesystem::file_size(file()), after->file);
  EXPECT_EQ(fetch(request("Book"))->count(), 3u);
  insertBooks(1);
  EXPECT_TRUE(std::filesystem::exists(file() + "-wal")) << "saves go to the log again";
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Book")), 4u);
  EXPECT_EQ(findings(), "");
}

TEST_F(StoreUpkeep, CompactingIsRefusedWhileAnotherProcessHasTheFile) {
  insertBooks(1);
  // What a process has open of SQLite's must not come into the other one.
  closeAll();
  int ready[2], done[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(done), 0);
  const pid_t other = fork();
  ASSERT_GE(other, 0);
  if (other == 0) {
    close(ready[0]);
    close(done[1]);
    sqlite3* handle = nullptr;
    const bool isOpen = sqlite3_open(file().c_str(), &handle) == SQLITE_OK &&
                        sqlite3_exec(handle, "SELECT count(*) FROM jn_entity", nullptr, nullptr,
                                     nullptr) == SQLITE_OK;
    char letter = isOpen ? 'y' : 'n';
    if (write(ready[1], &letter, 1) != 1) _exit(1);
    // Until the pipe is closed.
    while (::read(done[0], &letter, 1) > 0) continue;
    sqlite3_close(handle);
    _exit(isOpen ? 0 : 1);
  }
  close(ready[1]);
  close(done[0]);
  char letter = 'n';
  EXPECT_EQ(::read(ready[0], &letter, 1), 1);
  EXPECT_EQ(letter, 'y');
  open(NSSQLiteStoreType, libraryModel());
  EXPECT_FALSE(coordinator->compactPersistentStoreError(store, &error));
  if (error) {
    EXPECT_EQ(error->code(), NSPersistentStoreTimeoutError);
    EXPECT_NE(text(error).find("has its file open"), std::string::npos) << text(error);
  }
  insertBooks(1);
  close(done[1]);
  close(ready[0]);
  int status = 0;
  ASSERT_EQ(waitpid(other, &status, 0), other);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_TRUE(coordinator->compactPersistentStoreError(store, &error)) << text(error);
  EXPECT_EQ(fetch(request("Book"))->count(), 2u);
}

TEST_F(StoreUpkeep, CompactingIsRefusedDuringABackupAndInReadOnlyStores) {
  insertBooks(1);
  ASSERT_TRUE(coordinator->backupPersistentStoreToURLOptionsProgressError(
      store, NSURL::fileURLWithPath(directory.file("copy")), NSPersistentStoreBackupPlain,
      [&](auto, auto) {
        EXPECT_FALSE(coordinator->compactPersistentStoreError(store, &error));
        EXPECT_EQ(error->code(), NSPersistentStoreTimeoutError) << text(error);
        return true;
      }));
  closeAll();
  OpenedStore opened(
      file(), libraryModel(),
      NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}}));
  ASSERT_TRUE(opened);
  const auto store = Ref<NSPersistentStore>(
      as<NSPersistentStore>(opened.coordinator->persistentStores()->objectAtIndex(0)));
  EXPECT_FALSE(opened.coordinator->compactPersistentStoreError(store, &error));
  EXPECT_EQ(error->code(), NSPersistentStoreSaveError);
  EXPECT_TRUE(opened.coordinator->sizeOfPersistentStoreError(store));
}

TEST_F(StoreUpkeep, CompactingThatFailsAtAnyOperationLosesNothing) {
  closeAll();
  FaultVfs disk;
  open(NSSQLiteStoreType, libraryModel());
  insertBooks(300);
  deleteBooks();
  insertBooks(20);
  for (const auto operation : {FaultVfs::Operation::Write, FaultVfs::Operation::Sync,
                               FaultVfs::Operation::Truncate, FaultVfs::Operation::Read}) {
    bool isClean = false;
    for (std::uint64_t number = 1; !isClean && number < 200; number += 1 + number / 10) {
      SCOPED_TRACE(static_cast<int>(operation));
      SCOPED_TRACE(number);
      disk.fail(operation, number, FaultVfs::usualCode(operation), FaultVfs::Lasting::Once);
      error = nullptr;
      const bool isDone = coordinator->compactPersistentStoreError(store, &error);
      isClean = !disk.hasFailed();
      disk.heal();
      EXPECT_EQ(isDone, !error);
      ASSERT_EQ(newContext()->countForFetchRequestError(request("Book")), 20u);
    }
    EXPECT_TRUE(isClean);
  }
  insertBooks(1);
  EXPECT_EQ(findings(), "");
  closeAll();
  EXPECT_EQ(damageOf(file()), "");
}

TEST(StoreUpkeepInMemory, IsSoundSmallAndCompact) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  auto store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, nullptr);
  EXPECT_EQ(coordinator->integrityErrorsOfPersistentStoreError(store)->count(), 0u);
  EXPECT_TRUE(coordinator->compactPersistentStoreError(store));
  EXPECT_EQ(coordinator->sizeOfPersistentStoreError(store)->file, 0u);
}

// ---- Deleting -----------------------------------------------------------------------------------

class StoreDestruction : public StoreUpkeep {
 protected:
  bool destroy(const std::string& path, const char* type = NSSQLiteStoreType) {
    error = nullptr;
    auto anyone = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
    return anyone->destroyPersistentStoreAtURLWithTypeOptionsError(NSURL::fileURLWithPath(path),
                                                                   type, nullptr, &error);
  }
};

TEST_F(StoreDestruction, DeletesTheFileAndItsLog) {
  insertBooks(10);
  const std::string left = directory.file("left.sqlite");
  // As a process leaves them that was killed.
  std::filesystem::copy_file(file(), left);
  std::filesystem::copy_file(file() + "-wal", left + "-wal");
  ASSERT_TRUE(destroy(left)) << text(error);
  for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
    EXPECT_FALSE(std::filesystem::exists(left + ending)) << ending;
  }
  EXPECT_EQ(fetch(request("Book"))->count(), 10u);
  EXPECT_TRUE(destroy(left)) << "that there is none is no failure";
  EXPECT_TRUE(destroy(directory.file("nowhere/left.sqlite")));
}

TEST_F(StoreDestruction, AStoreInUseIsRefused) {
  insertBooks(10);
  EXPECT_FALSE(coordinator->destroyPersistentStoreAtURLWithTypeOptionsError(
      NSURL::fileURLWithPath(directory.path + "/./library.sqlite"), NSSQLiteStoreType, nullptr,
      &error));
  EXPECT_EQ(error->code(), NSPersistentStoreOperationError) << text(error);
  EXPECT_FALSE(destroy(file()));
  EXPECT_EQ(error->code(), NSPersistentStoreTimeoutError) << text(error);
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Book")), 10u);
  insertBooks(1);
  ASSERT_TRUE(coordinator->removePersistentStoreError(store));
  EXPECT_TRUE(coordinator->destroyPersistentStoreAtURLWithTypeOptionsError(
      NSURL::fileURLWithPath(file()), NSSQLiteStoreType, nullptr, &error))
      << text(error);
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(StoreDestruction, WhatIsNoStoreStays) {
  const std::string words = directory.file("words");
  std::ofstream(words) << "not a database at all";
  EXPECT_FALSE(destroy(words));
  EXPECT_EQ(error->code(), NSPersistentStoreOperationError);
  EXPECT_TRUE(std::filesystem::exists(words));
  const std::string foreign = directory.file("foreign.sqlite");
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(foreign.c_str(), &handle), SQLITE_OK);
  sqlite3_exec(handle, "PRAGMA journal_mode = WAL; CREATE TABLE x (y)", nullptr, nullptr, nullptr);
  sqlite3_close(handle);
  const std::string before = bytesOf(foreign);
  EXPECT_FALSE(destroy(foreign));
  EXPECT_NE(text(error).find("something else"), std::string::npos) << text(error);
  EXPECT_EQ(bytesOf(foreign), before);
  EXPECT_FALSE(destroy(directory.path)) << "a directory";
  EXPECT_FALSE(destroy(file(), NSInMemoryStoreType));
  EXPECT_EQ(error->code(), NSPersistentStoreInvalidTypeError);
  EXPECT_FALSE(destroy(file(), "XML"));
}

TEST_F(StoreDestruction, DamagedAndBrokenOffStoresGoToo) {
  insertBooks(100);
  closeAll();
  const std::string whole = bytesOf(file());
  std::ofstream(file(), std::ios::binary) << whole.substr(0, 700);
  EXPECT_TRUE(destroy(file())) << text(error);
  std::string broken = whole;
  broken.replace(100, 2000, std::string(2000, '\x7f'));
  std::ofstream(file(), std::ios::binary) << broken;
  EXPECT_TRUE(destroy(file())) << text(error);
  std::ofstream(file(), std::ios::binary) << "";
  EXPECT_TRUE(destroy(file())) << text(error);
  EXPECT_FALSE(std::filesystem::exists(file()));
}

}  // namespace
}  // namespace JNFoundation
