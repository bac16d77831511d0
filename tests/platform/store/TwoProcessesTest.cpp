#include <algorithm>
#include <sys/wait.h>
#include <unistd.h>

#include "../text/Randomness.h"
#include "FaultVfs.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

namespace JNFoundation {
namespace {

using testing::damageOf;
using testing::FaultVfs;
using testing::OpenedStore;

/// One file that two processes write to.
class TwoProcesses : public ::testing::Test {
 protected:
  static constexpr int savesEach = 10;

  /// Opens the store and saves notes in it one by one. Returns: what went wrong.
  static std::string saveNotes(const std::string& file, int writer) {
    OpenedStore store(file, libraryModel());
    Ref<NSError> error = store.error;
    for (int i = 0; store && i < savesEach; ++i) {
      auto note = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
          "Note", store.context);
      note->setValueForKey(NSString::stringWithFormat("%d", writer), "text");
      note->setValueForKey(i, "stars");
      if (!store.context->save(&error)) break;
    }
    return error ? error->description()->toStdString() : std::string();
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
};

TEST_F(TwoProcesses, MakeAStoreTogetherAndLoseNoSaveOfEither) {
  for (int i = testing::rounds(5, 200); i > 0 && !HasFailure(); --i) {
    const std::string file = directory.file("shared" + std::to_string(i) + ".sqlite");
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    const pid_t other = fork();
    ASSERT_GE(other, 0);
    if (other == 0) {
      close(start[1]);
      char ignored;
      // Both begin when the pipe is closed.
      while (::read(start[0], &ignored, 1) > 0) continue;
      const std::string problem = saveNotes(file, 2);
      if (!problem.empty()) std::fprintf(stderr, "%s\n", problem.c_str());
      _exit(problem.empty() ? 0 : 1);
    }
    close(start[0]);
    close(start[1]);
    EXPECT_EQ(saveNotes(file, 1), "");
    int status = 0;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the other one failed";
    OpenedStore store(file, libraryModel());
    ASSERT_TRUE(store);
    for (const char* writer : {"1", "2"}) {
      auto request = NSFetchRequest::fetchRequestWithEntityName("Note");
      request->setPredicate(NSPredicate::predicateWithFormat("text == %@", writer));
      EXPECT_EQ(store.context->countForFetchRequestError(request),
                static_cast<NSUInteger>(savesEach));
    }
    EXPECT_EQ(damageOf(file), "");
  }
}

TEST_F(TwoProcesses, TheSecondWaitsUntilTheFirstHasMadeTheFile) {
  const std::string file = directory.file("locked.sqlite");
  FaultVfs disk;
  sqlite3* first = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &first), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(first, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  {
    OpenedStore store(file, libraryModel(),
                      NSDictionary::dictionaryWithEntries({{NSPersistentStoreTimeoutOption, 0}}));
    EXPECT_FALSE(store) << "it was not to wait";
    ASSERT_TRUE(store.error);
    EXPECT_EQ(store.error->code(), NSPersistentStoreTimeoutError);
  }
  int sleeps = 0;
  disk.setPause([&] {
    if (++sleeps == 3) sqlite3_exec(first, "ROLLBACK", nullptr, nullptr, nullptr);
  });
  {
    OpenedStore store(file, libraryModel());
    EXPECT_TRUE(store) << store.error->description()->utf8();
  }
  EXPECT_EQ(sleeps, 3);
  sqlite3_close(first);
}

}  // namespace
}  // namespace JNFoundation
