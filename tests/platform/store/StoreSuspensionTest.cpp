#include <fstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "FaultVfs.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/impl/LongWork.h>

namespace JNFoundation {
namespace {

using testing::damageOf;
using testing::FaultVfs;
using testing::OpenedStore;

/// What the process has open of a directory, as the system tells it.
std::vector<std::string> openFilesIn(const std::string& directory) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
    if (!gone && target.rfind(directory + "/", 0) == 0) found.push_back(target);
  }
  return found;
}

/// How many locks anybody holds on the file.
int locksOn(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return 0;
  const std::string inode = ":" + std::to_string(status.st_ino) + " ";
  std::ifstream locks("/proc/locks");
  int count = 0;
  for (std::string line; std::getline(locks, line);) {
    if (line.find(inode) != std::string::npos) ++count;
  }
  return count;
}

class StoreSuspension : public StoreTest {
 protected:
  std::string file() const { return directory.file("library.sqlite"); }

  void suspend() {
    Ref<NSError> error;
    ASSERT_TRUE(coordinator->suspend(&error)) << text(error);
    ASSERT_TRUE(coordinator->isSuspended());
  }

  NSUInteger books() const {
    Ref<NSError> error;
    const NSUInteger count = context->countForFetchRequestError(request("Book"), &error);
    EXPECT_FALSE(error) << text(error);
    return count;
  }

  /// The next fetch fails, for a reason that has this in it.
  void expectFailure(std::string_view part) {
    Ref<NSError> error;
    EXPECT_FALSE(context->executeFetchRequestError(request("Book"), &error));
    ASSERT_TRUE(error);
    EXPECT_NE(text(error).find(part), std::string::npos) << text(error);
    error = nullptr;
    EXPECT_FALSE(coordinator->resume(&error));
    ASSERT_TRUE(error);
    EXPECT_NE(text(error).find(part), std::string::npos) << text(error);
    EXPECT_TRUE(coordinator->isSuspended());
    EXPECT_TRUE(openFilesIn(directory.path).empty()) << openFilesIn(directory.path).front();
  }
};

TEST_F(StoreSuspension, NoFileStaysOpenNoLockIsHeldAndTheLogIsEmpty) {
  insert("Book", {{"title", "one"}});
  save();
  ASSERT_FALSE(openFilesIn(directory.path).empty()) << "so that the check can fail";
  ASSERT_GT(locksOn(file()), 0) << "so that the check can fail";
  ASSERT_GT(std::filesystem::file_size(file() + "-wal"), 0u);
  suspend();
  EXPECT_TRUE(openFilesIn(directory.path).empty()) << openFilesIn(directory.path).front();
  EXPECT_EQ(locksOn(file()), 0);
  EXPECT_FALSE(std::filesystem::exists(file() + "-wal"));
  EXPECT_FALSE(std::filesystem::exists(file() + "-shm"));
  EXPECT_EQ(damageOf(file()), "");
}

TEST_F(StoreSuspension, TheNextUseOpensTheFileAgain) {
  auto book = insert("Book", {{"title", "one"}});
  save();
  suspend();
  EXPECT_EQ(books(), 1u);
  EXPECT_FALSE(coordinator->isSuspended());
  suspend();
  book->setValueForKey("two", "title");
  insert("Book", {{"title", "three"}});
  save();
  suspend();
  context = newContext();
  EXPECT_EQ(fetched(request("Book", nullptr, {by("title")})), "three two");
  suspend();
  EXPECT_EQ(fetched(request("Book", nullptr, {by("title")})), "three two")
      << "objects stay what they are";
}

TEST_F(StoreSuspension, ResumeOpensItAtOnceAndBothMayBeRepeated) {
  insert("Book");
  save();
  suspend();
  suspend();
  Ref<NSError> error;
  EXPECT_TRUE(coordinator->resume(&error)) << text(error);
  EXPECT_FALSE(coordinator->isSuspended());
  EXPECT_FALSE(openFilesIn(directory.path).empty());
  EXPECT_TRUE(coordinator->resume());
  EXPECT_EQ(books(), 1u);
}

TEST_F(StoreSuspension, SettingsHoldAfterwardsToo) {
  const auto options = NSDictionary::dictionaryWithEntries(
      {{NSPersistentStoreTimeoutOption, 0},
       {NSSQLitePragmasOption, NSDictionary::dictionaryWithEntries({{"synchronous", "FULL"}})}});
  store = nullptr;
  context = nullptr;
  coordinator = nullptr;
  const FaultVfs disk;
  OpenedStore opened(file(), libraryModel(), options);
  ASSERT_TRUE(opened);
  ASSERT_TRUE(opened.coordinator->suspend());
  ASSERT_TRUE(opened.coordinator->resume());
  const std::uint64_t before = disk.logSyncs();
  NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book",
                                                                             opened.context);
  ASSERT_TRUE(opened.context->save());
  EXPECT_GT(disk.logSyncs(), before) << "each save waits for the disk";
}

TEST_F(StoreSuspension, AFileThatIsGoneFailsEachUseUntilItIsBack) {
  insert("Book");
  save();
  suspend();
  std::filesystem::rename(file(), file() + "2");
  expectFailure("the file is gone");
  EXPECT_FALSE(std::filesystem::exists(file())) << "none is made in its place";
  insert("Book");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_TRUE(context->hasChanges());
  std::filesystem::rename(file() + "2", file());
  save();
  EXPECT_EQ(books(), 2u);
}

TEST_F(StoreSuspension, AnotherStoreInItsPlaceIsNoticedAndLeftAlone) {
  insert("Book");
  save();
  suspend();
  {
    OpenedStore other(directory.file("other.sqlite"), libraryModel());
    ASSERT_TRUE(other);
  }
  std::filesystem::rename(file(), file() + "2");
  std::filesystem::copy_file(directory.file("other.sqlite"), file());
  expectFailure("another store stands in its place");
  std::ofstream(file()) << "";
  expectFailure("the file is empty");
  std::ofstream(file()) << std::string(5000, 'n');
  expectFailure("not a");
  std::filesystem::rename(file() + "2", file());
  EXPECT_EQ(books(), 1u);
}

TEST_F(StoreSuspension, AMigratedFileIsAnotherModels) {
  insert("Book");
  save();
  suspend();
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(handle, "UPDATE jn_entity SET version_hash = 'other' WHERE name = 'Film'",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(handle);
  expectFailure("Film");
}

TEST_F(StoreSuspension, ABackupUnderWayEnds) {
  for (int i = 0; i < 3000; ++i) insert("Book", {{"title", std::string(1000, 'x')}});
  save();
  std::thread suspender;
  bool isSuspended = false;
  int calls = 0;
  Ref<NSError> error;
  EXPECT_FALSE(coordinator->backupPersistentStoreToURLOptionsProgressError(
      store, NSURL::fileURLWithPath(directory.file("copy.sqlite")), NSPersistentStoreBackupPlain,
      [&](auto, auto) {
        if (++calls == 1) {
          Ref<NSError> reason;
          EXPECT_FALSE(coordinator->suspend(&reason)) << "it would wait for itself";
          EXPECT_TRUE(reason);
          suspender = std::thread([&] { isSuspended = coordinator->suspend(); });
          while (!store->longWork().isToEnd()) std::this_thread::yield();
          EXPECT_EQ(books(), 3000u) << "nobody who is waited for is kept out";
        }
        return true;
      },
      &error));
  suspender.join();
  EXPECT_TRUE(isSuspended);
  EXPECT_EQ(calls, 1);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSUserCancelledError);
  EXPECT_TRUE(openFilesIn(directory.path).empty()) << openFilesIn(directory.path).front();
  EXPECT_TRUE(coordinator->backupPersistentStoreToURLError(
      store, NSURL::fileURLWithPath(directory.file("copy.sqlite")), &error))
      << text(error);
}

TEST_F(StoreSuspension, AReaderElsewhereKeepsTheLogAndNothingElse) {
  insert("Book");
  save();
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(file().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(
      sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM jn_entity", nullptr, nullptr, nullptr),
      SQLITE_OK);
  insert("Book");
  save();
  suspend();
  EXPECT_TRUE(std::filesystem::exists(file() + "-wal"));
  sqlite3_close(reader);
  EXPECT_TRUE(openFilesIn(directory.path).empty());
  EXPECT_EQ(books(), 2u);
}

TEST_F(StoreSuspension, ALogThatCannotBeWrittenBackIsToldAndKept) {
  store = nullptr;
  context = nullptr;
  coordinator = nullptr;
  FaultVfs disk;
  OpenedStore opened(file(), libraryModel());
  ASSERT_TRUE(opened);
  NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book",
                                                                             opened.context);
  ASSERT_TRUE(opened.context->save());
  disk.fail(FaultVfs::Operation::Sync, 1, FaultVfs::usualCode(FaultVfs::Operation::Sync),
            FaultVfs::Lasting::FromThenOn);
  Ref<NSError> error;
  EXPECT_FALSE(opened.coordinator->suspend(&error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSPersistentStoreSaveError) << text(error);
  EXPECT_TRUE(opened.coordinator->isSuspended());
  EXPECT_TRUE(openFilesIn(directory.path).empty()) << openFilesIn(directory.path).front();
  disk.heal();
  EXPECT_EQ(opened.context->countForFetchRequestError(request("Book")), 1u);
}

TEST_F(StoreSuspension, AReadOnlyStoreLetsGoToo) {
  insert("Book");
  save();
  store = nullptr;
  context = nullptr;
  coordinator = nullptr;
  OpenedStore opened(
      file(), libraryModel(),
      NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}}));
  ASSERT_TRUE(opened) << text(opened.error);
  ASSERT_EQ(opened.context->countForFetchRequestError(request("Book")), 1u);
  ASSERT_TRUE(opened.coordinator->suspend());
  EXPECT_TRUE(openFilesIn(directory.path).empty()) << openFilesIn(directory.path).front();
  EXPECT_EQ(opened.context->countForFetchRequestError(request("Book")), 1u);
}

TEST_F(StoreSuspension, RemovingASuspendedStoreClosesItForGood) {
  insert("Book");
  save();
  suspend();
  EXPECT_TRUE(coordinator->removePersistentStoreError(store));
  EXPECT_FALSE(coordinator->isSuspended());
  EXPECT_TRUE(openFilesIn(directory.path).empty());
}

TEST(StoreSuspensionInMemory, HasNothingToDo) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  EXPECT_TRUE(coordinator->suspend());
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr);
  EXPECT_TRUE(coordinator->suspend());
  EXPECT_FALSE(coordinator->isSuspended());
  EXPECT_TRUE(coordinator->resume());
}

}  // namespace
}  // namespace JNFoundation
