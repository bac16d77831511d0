#include <csignal>
#include <filesystem>
#include <fstream>
#include <platform/store/StoreFixture.h>
#include <sys/resource.h>

namespace JNFoundation {
namespace {

/// No file of the process grows past that many bytes until the end of the scope: what a full disk
/// does to a save.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : _formerHandler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &_former);
    const rlimit limit{bytes, _former.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &_former);
    std::signal(SIGXFSZ, _formerHandler);
  }

 private:
  rlimit _former{};
  void (*_formerHandler)(int);
};

/// Saves that the file system stops half-way.
class StoreFailures : public StoreTest {
 protected:
  std::string file() const { return directory.file("library.sqlite"); }

  void insertMany(int count, const std::string& text) {
    for (int i = 0; i < count; ++i) insert("Book", {{"title", text}, {"pages", i}});
  }

  NSUInteger savedBooks() const { return newContext()->countForFetchRequestError(request("Book")); }

  /// The store as another start of the program finds it.
  void reopen() {
    context = nullptr;
    store = nullptr;
    coordinator = nullptr;
    open(NSSQLiteStoreType, libraryModel());
  }

  static std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
};

TEST_F(StoreFailures, ASaveThatFindsNoRoomLosesNothing) {
  insertMany(10, "before");
  save();
  // Each limit stops the save at another place, in the log's head as well as in its middle.
  int refused = 0;
  for (const rlim_t room : {0, 1, 100, 4096, 10'000, 50'000, 200'000, 1'000'000}) {
    SCOPED_TRACE(room);
    insertMany(300, std::string(1000, 'x'));
    {
      const auto size = std::filesystem::file_size(file() + "-wal");
      const FileSizeLimit limit(size < room ? room : room / 2);
      Ref<NSError> error;
      if (!context->save(&error)) {
        ++refused;
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain()->toStdString(), NSCocoaErrorDomain);
        EXPECT_EQ(error->code(), NSPersistentStoreSaveError);
        EXPECT_TRUE(context->hasChanges()) << "the changes stay pending";
        EXPECT_EQ(context->insertedObjects()->count(), 300u);
        EXPECT_EQ(savedBooks(), 10u) << "nothing is half written";
      }
    }
    save();
    EXPECT_EQ(savedBooks(), 310u) << "with room again, the same changes are saved";
    const auto added =
        fetch(request("Book", NSPredicate::predicateWithFormat("title BEGINSWITH 'x'")));
    for (const Value& book : *added) {
      context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(book)));
    }
    save();
    EXPECT_EQ(savedBooks(), 10u);
  }
  EXPECT_GT(refused, 3);
  reopen();
  EXPECT_EQ(savedBooks(), 10u);
}

TEST_F(StoreFailures, ASaveWithoutRoomLeavesAFileThatOpensAgain) {
  insertMany(10, "before");
  save();
  insertMany(2000, std::string(1000, 'x'));
  {
    const FileSizeLimit limit(100'000);
    EXPECT_FALSE(context->save());
  }
  reopen();
  EXPECT_EQ(savedBooks(), 10u);
  insertMany(2000, std::string(1000, 'x'));
  save();
  EXPECT_EQ(savedBooks(), 2010u);
}

TEST_F(StoreFailures, AFileCutInHalfIsAnErrorAndTheWholeOneOpensAgain) {
  insertMany(2000, std::string(100, 'x'));
  save();
  context = nullptr;
  store = nullptr;
  coordinator = nullptr;
  const std::string whole = bytesOf(file());
  ASSERT_GT(whole.size(), 100'000u);
  std::filesystem::resize_file(file(), whole.size() / 2);

  coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  Ref<NSError> error;
  store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(file()), nullptr, &error);
  if (store) {
    context = newContext();
    EXPECT_FALSE(context->executeFetchRequestError(request("Book"), &error));
  }
  EXPECT_TRUE(error);
  context = nullptr;
  store = nullptr;
  coordinator = nullptr;
  std::ofstream(file(), std::ios::binary) << whole;
  open(NSSQLiteStoreType, libraryModel());
  EXPECT_EQ(savedBooks(), 2000u);
}

TEST_F(StoreFailures, WhatIsNoStoreIsRefusedWithAReasonAndLeftAsItIs) {
  const auto refusal = [&](const std::string& path, NSInteger code) {
    auto fresh = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
    Ref<NSError> error;
    EXPECT_FALSE(fresh->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, &error));
    ASSERT_TRUE(error) << path;
    EXPECT_EQ(error->code(), code) << text(error);
    EXPECT_EQ(fresh->persistentStores()->count(), 0u);
    // The same coordinator takes a good one afterwards.
    EXPECT_TRUE(fresh->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSInMemoryStoreType, nullptr, nullptr, nullptr, &error));
  };
  const std::string noDatabase = directory.file("text.sqlite");
  std::ofstream(noDatabase) << std::string(5000, 'n');
  refusal(noDatabase, NSPersistentStoreOpenError);
  EXPECT_EQ(bytesOf(noDatabase), std::string(5000, 'n'));
  refusal(directory.path, NSPersistentStoreOpenError);
  refusal(directory.file("no/such/directory.sqlite"), NSPersistentStoreOpenError);
  EXPECT_FALSE(std::filesystem::exists(directory.file("no")));
}

TEST_F(StoreFailures, ASaveThatStopsLeavesRecordsOfOtherContextsAlone) {
  insertMany(3, "before");
  save();
  auto other = newContext();
  Ref<NSArray> theirs = other->executeFetchRequestError(request("Book"));
  ASSERT_EQ(theirs->count(), 3u);
  insertMany(2000, std::string(1000, 'x'));
  {
    const FileSizeLimit limit(100'000);
    EXPECT_FALSE(context->save());
  }
  as<NSManagedObject>(theirs->firstObject())->setValueForKey("theirs", "title");
  Ref<NSError> error;
  EXPECT_TRUE(other->save(&error)) << text(error);
  save();
  EXPECT_EQ(savedBooks(), 2003u);
  EXPECT_EQ(newContext()->countForFetchRequestError(
                request("Book", NSPredicate::predicateWithFormat("title == 'theirs'"))),
            1u);
}

}  // namespace
}  // namespace JNFoundation
