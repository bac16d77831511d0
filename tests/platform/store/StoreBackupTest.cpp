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

class StoreBackup : public StoreTest {
 protected:
  /// So many that the copy takes several steps.
  static constexpr int manyBooks = 3000;

  void insertBooks(int count) {
    const std::string title(1000, 'x');
    for (int i = 0; i < count; ++i) insert("Book", {{"title", title}, {"pages", i}});
  }

  std::string copyPath() const { return directory.file("copy.sqlite"); }
  Ref<NSURL> copyURL() const { return NSURL::fileURLWithPath(copyPath()); }

  bool backup(NSPersistentStoreBackupOptions options = NSPersistentStoreBackupPlain,
              const NSPersistentStoreBackupProgress& progress = nullptr) {
    error = nullptr;
    return coordinator->backupPersistentStoreToURLOptionsProgressError(store, copyURL(), options,
                                                                       progress, &error);
  }

  /// How many books the copy has; it is opened as a store, alone in a directory.
  static NSUInteger booksIn(const std::string& path) {
    const TemporaryDirectory elsewhere;
    const std::string alone = elsewhere.file("alone.sqlite");
    std::filesystem::copy_file(path, alone);
    OpenedStore opened(alone, libraryModel());
    EXPECT_TRUE(opened) << text(opened.error);
    if (!opened) return 0;
    return opened.context->countForFetchRequestError(request("Book"));
  }

  /// The names in the directory that are neither the store's nor the copy's own.
  std::vector<std::string> strangers() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path)) {
      const std::string name = entry.path().filename().string();
      if (name.rfind("library.sqlite", 0) != 0 && name != "copy.sqlite") found.push_back(name);
    }
    return found;
  }

  void expectRefusal(NSInteger code, std::string_view part) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), code) << text(error);
    EXPECT_NE(error->localizedDescription()->utf8().find(part), std::string_view::npos)
        << text(error);
    EXPECT_TRUE(strangers().empty()) << strangers().front();
  }

  Ref<NSError> error;
};

TEST_F(StoreBackup, TheCopyIsAWholeStoreWithoutALog) {
  insertBooks(10);
  save();
  ASSERT_GT(std::filesystem::file_size(directory.file("library.sqlite-wal")), 0u)
      << "what was saved stands in the log";
  ASSERT_TRUE(backup()) << text(error);
  EXPECT_EQ(booksIn(copyPath()), 10u);
  EXPECT_EQ(damageOf(copyPath()), "");
  EXPECT_TRUE(strangers().empty()) << strangers().front();
  insertBooks(1);
  save();
  EXPECT_EQ(booksIn(copyPath()), 10u);
  EXPECT_EQ(fetch(request("Book"))->count(), 11u);
}

TEST_F(StoreBackup, TheCopyIsReadWhereNothingCanBeWritten) {
  insertBooks(10);
  save();
  const std::string folder = directory.file("locked");
  std::filesystem::create_directory(folder);
  const std::string path = folder + "/copy.sqlite";
  ASSERT_TRUE(
      coordinator->backupPersistentStoreToURLError(store, NSURL::fileURLWithPath(path), &error))
      << text(error);
  chmod(path.c_str(), 0400);
  chmod(folder.c_str(), 0500);
  {
    OpenedStore opened(
        path, libraryModel(),
        NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}}));
    EXPECT_TRUE(opened) << text(opened.error);
    if (opened) {
      EXPECT_EQ(opened.context->countForFetchRequestError(request("Book")), 10u);
    }
  }
  chmod(folder.c_str(), 0700);
}

TEST_F(StoreBackup, SavesBetweenItsStepsGoOnAndAreNotInTheCopy) {
  insertBooks(manyBooks);
  save();
  int steps = 0;
  std::uint64_t former = 0;
  ASSERT_TRUE(backup(NSPersistentStoreBackupPlain, [&](std::uint64_t copied, std::uint64_t total) {
    ++steps;
    EXPECT_GT(copied, former);
    EXPECT_LE(copied, total);
    former = copied;
    insertBooks(1);
    save();
    return true;
  })) << text(error);
  EXPECT_GE(steps, 3);
  EXPECT_EQ(booksIn(copyPath()), static_cast<NSUInteger>(manyBooks));
  EXPECT_EQ(fetch(request("Book"))->count(), static_cast<NSUInteger>(manyBooks + steps));
  EXPECT_EQ(damageOf(copyPath()), "");
}

TEST_F(StoreBackup, AnotherThreadSavesMeanwhile) {
  insertBooks(manyBooks);
  save();
  bool isDone = false;
  Ref<NSError> reason;
  std::thread thread(
      [&] { isDone = coordinator->backupPersistentStoreToURLError(store, copyURL(), &reason); });
  for (int i = 0; i < 20; ++i) {
    insertBooks(1);
    save();
  }
  thread.join();
  ASSERT_TRUE(isDone) << text(reason);
  const NSUInteger found = booksIn(copyPath());
  EXPECT_GE(found, static_cast<NSUInteger>(manyBooks));
  EXPECT_LE(found, static_cast<NSUInteger>(manyBooks + 20));
  EXPECT_EQ(fetch(request("Book"))->count(), static_cast<NSUInteger>(manyBooks + 20));
}

TEST_F(StoreBackup, TheBlockCancelsItAndNothingIsLeft) {
  insertBooks(manyBooks);
  save();
  int calls = 0;
  EXPECT_FALSE(backup(NSPersistentStoreBackupPlain, [&](auto, auto) { return ++calls < 2; }));
  EXPECT_EQ(calls, 2);
  expectRefusal(NSUserCancelledError, "cancelled");
  EXPECT_FALSE(std::filesystem::exists(copyPath()));
}

TEST_F(StoreBackup, WhatTheBlockRaisesComesOutAndNothingIsLeft) {
  insertBooks(1);
  save();
  const auto raising = [](auto, auto) -> bool { raise(NSGenericException, "enough"); };
  EXPECT_THROW(backup(NSPersistentStoreBackupPlain, raising), Raised);
  EXPECT_TRUE(strangers().empty()) << strangers().front();
  EXPECT_TRUE(backup()) << text(error);
}

TEST_F(StoreBackup, AnExistingFileIsReplacedOnlyOnRequest) {
  insertBooks(1);
  save();
  ASSERT_TRUE(backup()) << text(error);
  insertBooks(1);
  save();
  EXPECT_FALSE(backup());
  expectRefusal(516, "there is a file already");
  EXPECT_EQ(booksIn(copyPath()), 1u);
  EXPECT_TRUE(backup(NSPersistentStoreBackupReplacesExisting)) << text(error);
  EXPECT_EQ(booksIn(copyPath()), 2u);
}

TEST_F(StoreBackup, AFileThatComesMeanwhileIsNotReplaced) {
  insertBooks(1);
  save();
  EXPECT_FALSE(backup(NSPersistentStoreBackupPlain, [&](auto, auto) {
    std::ofstream(copyPath()) << "somebody else's";
    return true;
  }));
  expectRefusal(516, "copy.sqlite");
  EXPECT_EQ(std::filesystem::file_size(copyPath()), 15u);
}

TEST_F(StoreBackup, NeitherTheStoreItselfNorAFileInUseIsReplaced) {
  insertBooks(1);
  save();
  error = nullptr;
  const auto itself = NSURL::fileURLWithPath(directory.path + "/./library.sqlite");
  EXPECT_FALSE(coordinator->backupPersistentStoreToURLOptionsProgressError(
      store, itself, NSPersistentStoreBackupReplacesExisting, nullptr, &error));
  expectRefusal(NSPersistentStoreOperationError, "the store's own file");
  {
    OpenedStore other(copyPath(), libraryModel());
    ASSERT_TRUE(other);
    EXPECT_FALSE(backup(NSPersistentStoreBackupReplacesExisting));
    ASSERT_TRUE(error);
    EXPECT_NE(text(error).find("in use"), std::string::npos) << text(error);
  }
  EXPECT_TRUE(backup(NSPersistentStoreBackupReplacesExisting)) << text(error);
  EXPECT_EQ(booksIn(copyPath()), 1u);
}

TEST_F(StoreBackup, ADirectoryThatIsNotThereAndOneThatTakesNothingAreErrors) {
  insertBooks(1);
  save();
  EXPECT_FALSE(coordinator->backupPersistentStoreToURLError(
      store, NSURL::fileURLWithPath(directory.file("nowhere/copy.sqlite")), &error));
  expectRefusal(NSPersistentStoreOperationError, "cannot be written");
  EXPECT_FALSE(coordinator->backupPersistentStoreToURLError(store, nullptr, &error));
  expectRefusal(NSPersistentStoreOperationError, "no file URL");
  if (geteuid() == 0) return;  // who may do everything is refused nowhere
  const std::string folder = directory.file("locked");
  std::filesystem::create_directory(folder);
  chmod(folder.c_str(), 0500);
  EXPECT_FALSE(coordinator->backupPersistentStoreToURLError(
      store, NSURL::fileURLWithPath(folder + "/copy.sqlite"), &error));
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  chmod(folder.c_str(), 0700);
}

TEST_F(StoreBackup, AStoreWhoseFileIsGoneOrAnotherOneIsNotCopied) {
  insertBooks(1);
  save();
  OpenedStore other(directory.file("library.sqlite2"), libraryModel());
  ASSERT_TRUE(other);
  other = OpenedStore();
  const std::string file = directory.file("library.sqlite");
  std::filesystem::rename(file, file + "-aside");
  EXPECT_FALSE(backup());
  expectRefusal(NSPersistentStoreOpenError, "cannot be opened");
  EXPECT_FALSE(std::filesystem::exists(file)) << "no file is made in its place";
  EXPECT_FALSE(std::filesystem::exists(copyPath()));
  std::filesystem::rename(file + "-aside", file);
  EXPECT_TRUE(backup()) << text(error);
}

TEST_F(StoreBackup, RemovingTheStoreEndsIt) {
  insertBooks(manyBooks);
  save();
  std::thread remover;
  bool isRemoved = false;
  int calls = 0;
  EXPECT_FALSE(backup(NSPersistentStoreBackupPlain, [&](auto, auto) {
    if (++calls == 1) {
      EXPECT_FALSE(coordinator->removePersistentStoreError(store)) << "not from inside of it";
      remover = std::thread([&] { isRemoved = coordinator->removePersistentStoreError(store); });
      while (!store->longWork().isToEnd()) std::this_thread::yield();
    }
    return true;
  }));
  remover.join();
  EXPECT_TRUE(isRemoved);
  EXPECT_EQ(calls, 1);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSUserCancelledError);
  EXPECT_FALSE(std::filesystem::exists(copyPath()));
}

TEST(StoreBackupInMemory, IsRefused) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  auto store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, nullptr);
  Ref<NSError> error;
  EXPECT_FALSE(coordinator->backupPersistentStoreToURLError(
      store, NSURL::fileURLWithPath("anywhere.sqlite"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSPersistentStoreOperationError);
}

/// Disks that fail while a copy is made.
class StoreBackupFaults : public ::testing::Test {
 protected:
  static Ref<NSManagedObjectContext> fill(const OpenedStore& opened) {
    for (int i = 0; i < 3000; ++i) {
      auto note = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
          "Note", opened.context);
      note->setValueForKey(std::string(500, 'n'), "text");
    }
    EXPECT_TRUE(opened.context->save());
    return opened.context;
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  FaultVfs disk;
};

TEST_F(StoreBackupFaults, AFullDiskIsAnErrorThatLeavesNothing) {
  OpenedStore opened(directory.file("store.sqlite"), libraryModel());
  fill(opened);
  const auto store = Ref<NSPersistentStore>(
      as<NSPersistentStore>(opened.coordinator->persistentStores()->objectAtIndex(0)));
  const std::string path = directory.file("copy.sqlite");
  Ref<NSError> error;
  for (const std::uint64_t room : {0, 1000, 5000, 100'000, 1'000'000}) {
    SCOPED_TRACE(room);
    disk.setRoom(room);
    EXPECT_FALSE(opened.coordinator->backupPersistentStoreToURLError(
        store, NSURL::fileURLWithPath(path), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSPersistentStoreOperationError);
    for (const auto& entry : std::filesystem::directory_iterator(directory.path)) {
      EXPECT_EQ(entry.path().filename().string().rfind("store.sqlite", 0), 0u) << entry.path();
    }
  }
  disk.heal();
  disk.setRoom(1'000'000'000);
  EXPECT_TRUE(opened.coordinator->backupPersistentStoreToURLError(
      store, NSURL::fileURLWithPath(path), &error));
}

TEST_F(StoreBackupFaults, EachOperationThatFailsIsAnErrorOrTheCopyIsWhole) {
  const std::string path = directory.file("copy.sqlite");
  OpenedStore opened(directory.file("store.sqlite"), libraryModel());
  fill(opened);
  const auto store = Ref<NSPersistentStore>(
      as<NSPersistentStore>(opened.coordinator->persistentStores()->objectAtIndex(0)));
  for (const auto operation : {FaultVfs::Operation::Read, FaultVfs::Operation::Write,
                               FaultVfs::Operation::Sync, FaultVfs::Operation::Truncate}) {
    bool isClean = false;
    // Every one of the first operations, then ever fewer of them.
    for (std::uint64_t number = 1; !isClean; number += 1 + number / 10) {
      SCOPED_TRACE(static_cast<int>(operation));
      SCOPED_TRACE(number);
      ASSERT_LT(number, 1'000'000u);
      disk.fail(operation, number, FaultVfs::usualCode(operation), FaultVfs::Lasting::Once);
      Ref<NSError> error;
      const bool isDone = opened.coordinator->backupPersistentStoreToURLError(
          store, NSURL::fileURLWithPath(path), &error);
      isClean = !disk.hasFailed();
      disk.heal();
      EXPECT_EQ(isDone, !error);
      EXPECT_EQ(isDone, std::filesystem::exists(path));
      EXPECT_TRUE(isDone || !isClean) << error->description()->utf8();
      if (isDone) {
        EXPECT_EQ(damageOf(path), "");
        std::filesystem::remove(path);
      }
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_EQ(
      opened.context->countForFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Note")),
      3000u);
}

}  // namespace
}  // namespace JNFoundation
