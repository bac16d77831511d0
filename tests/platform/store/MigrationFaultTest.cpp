#include <fstream>
#include <iterator>
#include <map>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../text/Randomness.h"
#include "FaultVfs.h"
#include "MigrationFixture.h"

#include <JNFoundation/platform/store/NSCoreDataErrors.h>

namespace JNFoundation {
namespace {

using testing::Durability;
using testing::FaultVfs;
using testing::OpenedStore;
using testing::Randomness;
using Lasting = FaultVfs::Lasting;
using Operation = FaultVfs::Operation;

/// A migration that makes tables anew, relates records and asks a block is cut off at any instant:
/// afterwards the file holds the old store or the new one, whole.
class CutMigration : public MigrationTest {
 protected:
  using Files = std::map<std::string, std::string>;
  static constexpr int people = 60;

  static std::string before() {
    return entity("Group", attribute("name") + many("people", "Person", "group", "ordered='YES'")) +
           entity("Person", attribute("name") + attribute("age") + attribute("gone") +
                                one("group", "Group", "people") +
                                many("friends", "Person", "friends"));
  }
  static std::string after() {
    return entity("Group", attribute("name") + many("people", "Person", "groups", "ordered='YES'") +
                               "<fetchIndex name='n'><fetchIndexElement property='name' "
                               "type='Binary' order='ascending'/></fetchIndex>") +
           entity("Being", attribute("name")) +
           entity("Person",
                  attribute("age", "Integer 16", "") +
                      attribute("level", "Integer 16", "defaultValueString='1'") +
                      many("groups", "Group", "people", renamed("group")) +
                      many("friends", "Person", "friends"),
                  "parentEntity='Being'");
  }
  static Ref<NSDictionary> options(Durability durability,
                                   const NSMigrationProgress& progress = nullptr) {
    auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
    step->setRecordMigrationForEntityNamed(
        [](const Ref<NSMigrationRecord>& source, const Ref<NSMigrationRecord>& destination,
           Ref<NSError>*) {
          destination->setValueForKey(source->valueForKey("age").integerValue(), "age");
          return true;
        },
        "Person");
    auto plan = NSMigrationPlan::init();
    plan->addStep(step);
    plan->setProgress(progress);
    auto pragmas = testing::optionsFor(durability);
    return NSDictionary::dictionaryWithEntries(
        {{NSMigratePersistentStoresAutomaticallyOption, true},
         {NSInferMappingModelAutomaticallyOption, true},
         {NSPersistentStoreMigrationPlanOption, plan},
         {NSSQLitePragmasOption, pragmas->objectForKey(NSSQLitePragmasOption)}});
  }

  void SetUp() override {
    make(before(), [](const Context& context) {
      auto group = insert(context, "Group", {{"name", "G"}});
      std::vector<Value> members;
      for (int i = 0; i < people; ++i) {
        members.emplace_back(insert(context, "Person",
                                    {{"name", "P" + std::to_string(100 + i)},
                                     {"age", std::to_string(i)},
                                     {"gone", std::string(200, 'x')}}));
        if (i > 0) put(Object(as<NSManagedObject>(members.back())), "friends", {members[0]});
      }
      std::reverse(members.begin(), members.end());
      put(group, "people", members);
    });
    start = files();
    {
      OpenedStore store(file, modelOf(before()));
      old = seen(store, false);
    }
    OpenedStore store(file, modelOf(after()), options(Durability::Full));
    ASSERT_TRUE(store) << text(store.error);
    made = seen(store, true);
    EXPECT_NE(made.find("P101 1 1"), std::string::npos) << made;
  }

  static std::string seen(const OpenedStore& store, bool isNew) {
    if (isNew) {
      return dump(store, "Person", {"name", "age", "level", "groups", "friends"}) +
             dump(store, "Group", {"name", "people"});
    }
    return dump(store, "Person", {"name", "age", "gone", "group", "friends"}) +
           dump(store, "Group", {"name", "people"});
  }

  Files files() const {
    Files found;
    for (const char* ending : {"", "-wal"}) {
      std::ifstream stream(file + ending, std::ios::binary);
      if (stream) found[ending] = std::string(std::istreambuf_iterator<char>(stream), {});
    }
    return found;
  }
  void write(const Files& wanted) const {
    for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(file + ending);
    }
    for (const auto& [ending, bytes] : wanted) {
      std::ofstream(file + ending, std::ios::binary) << bytes;
    }
  }

  /// Looks at the store as it was left. Returns: whether it was migrated.
  bool expectOneOfTwo(bool mayBeOld = true) {
    bool isNew = false;
    {
      OpenedStore store(file, modelOf(before()));
      if (store) {
        EXPECT_TRUE(mayBeOld);
        EXPECT_EQ(seen(store, false), old);
      } else {
        EXPECT_EQ(store.error->code(), NSPersistentStoreIncompatibleVersionHashError)
            << text(store.error);
        isNew = true;
      }
    }
    EXPECT_EQ(testing::damageOf(file), "");
    // And it goes on from there.
    OpenedStore store(file, modelOf(after()), options(Durability::Full));
    EXPECT_TRUE(store) << text(store.error);
    if (store) {
      EXPECT_EQ(seen(store, true), made);
      EXPECT_EQ(leftovers(), "");
    }
    return isNew;
  }

  Files start;
  std::string old;
  std::string made;
};

class FailingMigration : public CutMigration, public ::testing::WithParamInterface<Operation> {};

std::string nameOfOperation(const ::testing::TestParamInfo<Operation>& info) {
  constexpr const char* names[] = {"Read", "Write", "Sync", "Truncate"};
  return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingMigration,
                         ::testing::Values(Operation::Read, Operation::Write, Operation::Sync,
                                           Operation::Truncate),
                         nameOfOperation);

TEST_P(FailingMigration, LeavesTheOldStoreOrTheNewOne) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  const auto step = static_cast<std::uint64_t>(testing::rounds(10, 1));
  for (const int code : {FaultVfs::usualCode(GetParam()), static_cast<int>(SQLITE_FULL)}) {
    if (code == SQLITE_FULL && GetParam() != Operation::Write) continue;
    for (const Lasting lasting : {Lasting::Once, Lasting::FromThenOn}) {
      bool wasReached = true;
      for (std::uint64_t number = 1; wasReached && !HasFailure();
           number += 1 + randomness.below(step)) {
        SCOPED_TRACE("operation " + std::to_string(number));
        write(start);
        FaultVfs disk;
        disk.fail(GetParam(), number, code, lasting);
        {
          OpenedStore store(file, modelOf(after()), options(Durability::Full));
          if (!store) {
            EXPECT_TRUE(disk.hasFailed());
            EXPECT_TRUE(store.error && store.error->underlyingError()) << text(store.error);
          }
        }
        wasReached = disk.hasFailed();
        disk.heal();
        expectOneOfTwo(wasReached);
      }
    }
  }
}

TEST_F(CutMigration, APowerCutLeavesTheOldStoreOrTheNewOne) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  std::mt19937_64 random(randomness.bits());
  const auto step = static_cast<std::uint64_t>(testing::rounds(8, 1));
  for (const Durability durability : {Durability::Full, Durability::Normal}) {
    bool wasCut = true;
    int news = 0;
    for (std::uint64_t number = 1; wasCut && !HasFailure(); number += 1 + randomness.below(step)) {
      SCOPED_TRACE("change " + std::to_string(number));
      FaultVfs disk;
      write(start);
      disk.cutPowerAfter(number);
      bool isOpen = false;
      {
        OpenedStore store(file, modelOf(after()), options(durability));
        isOpen = static_cast<bool>(store);
      }
      wasCut = !disk.hasPower();
      disk.restorePower(random);
      const bool isNew = expectOneOfTwo();
      news += isNew ? 1 : 0;
      EXPECT_TRUE(isNew || !isOpen || durability != Durability::Full) << "it said that it was done";
    }
    EXPECT_GT(news, 0);
  }
}

TEST_F(CutMigration, AProcessThatIsKilledLeavesTheOldStoreOrTheNewOne) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  int number = 1;
  for (bool wasKilled = true; wasKilled && !HasFailure(); number += testing::rounds(9, 1)) {
    SCOPED_TRACE("call " + std::to_string(number));
    write(start);
    const pid_t other = fork();
    ASSERT_GE(other, 0);
    if (other == 0) {
      int calls = 0;
      OpenedStore store(
          file, modelOf(after()),
          options(Durability::Full, [&](std::uint64_t, std::uint64_t, const Ref<NSString>&) {
            if (++calls == number) ::raise(SIGKILL);
            return true;
          }));
      _exit(store ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    wasKilled = WIFSIGNALED(status);
    EXPECT_TRUE(wasKilled || WEXITSTATUS(status) == 0);
    EXPECT_EQ(expectOneOfTwo(), !wasKilled);
  }
  EXPECT_GT(number, 20);
}

}  // namespace
}  // namespace JNFoundation
