#include "StoreFixture.h"

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/store/StatementTrace.h>

namespace JNFoundation {
namespace {

/// What an observer was told, kept.
struct Told {
  std::string path, sql, plan;
  int parameterCount, code;
  std::uint64_t rowCount;
  std::chrono::nanoseconds duration;
};

class StatementTraceTest : public StoreTest {
 protected:
  StatementObserver keeper() {
    return [this](const StatementTrace& trace) {
      told.push_back({std::string(trace.path), std::string(trace.sql), std::string(trace.plan),
                      trace.parameterCount, trace.code, trace.rowCount, trace.duration});
    };
  }

  /// The statements told whose text begins like that.
  std::vector<Told> toldOf(std::string_view beginning) const {
    std::vector<Told> found;
    for (const Told& one : told) {
      if (one.sql.rfind(beginning, 0) == 0) found.push_back(one);
    }
    return found;
  }

  Ref<NSFetchRequest> longBooks() const {
    return request("Book", NSPredicate::predicateWithFormat("pages > %@", 3));
  }

  void insertBooks(int count) {
    for (int i = 0; i < count; ++i) insert("Book", {{"title", "SECRET"}, {"pages", i}});
  }

  std::vector<Told> told;
};

TEST_F(StatementTraceTest, AFetchIsToldOnceWithItsParametersAndRows) {
  insertBooks(10);
  save();
  {
    const StatementObserverScope scope(keeper());
    EXPECT_EQ(fetch(longBooks())->count(), 6u);
  }
  fetch(longBooks());
  const auto selects = toldOf("SELECT _pk");
  ASSERT_EQ(selects.size(), 1u) << "only while it is observed";
  EXPECT_GE(selects[0].parameterCount, 1);
  EXPECT_EQ(selects[0].rowCount, 6u);
  EXPECT_EQ(selects[0].code, 0);
  EXPECT_GT(selects[0].duration.count(), 0);
  EXPECT_EQ(selects[0].plan, "") << "nobody asked for it";
  EXPECT_NE(selects[0].path.find("library.sqlite"), std::string::npos);
}

TEST_F(StatementTraceTest, ASaveTellsItsTransactionAndEachInsertionWithoutTheValues) {
  insertBooks(3);
  {
    const StatementObserverScope scope(keeper());
    save();
  }
  EXPECT_EQ(toldOf("BEGIN IMMEDIATE").size(), 1u);
  EXPECT_EQ(toldOf("COMMIT").size(), 1u);
  const auto insertions = toldOf("INSERT INTO");
  ASSERT_EQ(insertions.size(), 3u);
  for (const Told& insertion : insertions) {
    EXPECT_EQ(insertion.rowCount, 0u);
    EXPECT_GT(insertion.parameterCount, 2);
    EXPECT_EQ(insertion.sql.find("SECRET"), std::string::npos);
  }
}

TEST_F(StatementTraceTest, PlansAreToldOnRequest) {
  insertBooks(3);
  save();
  const StatementObserverScope scope(keeper(), StatementPlans::Include);
  fetch(longBooks());
  const auto selects = toldOf("SELECT _pk");
  ASSERT_EQ(selects.size(), 1u);
  EXPECT_NE(selects[0].plan.find("object_Work"), std::string::npos) << selects[0].plan;
  EXPECT_EQ(told.size(), toldOf("SELECT _pk").size()) << "making the plan is not told";
}

TEST_F(StatementTraceTest, AStatementThatFailsIsToldWithItsCode) {
  insertBooks(1);
  save();
  context = nullptr;
  auto reader = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  const auto options = NSDictionary::dictionaryWithEntries({{NSPersistentStoreTimeoutOption, 0}});
  ASSERT_TRUE(reader->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(directory.file("library.sqlite")),
      options));
  ASSERT_TRUE(store->beginSave(nullptr));
  {
    const StatementObserverScope scope(keeper());
    Ref<NSError> error;
    EXPECT_FALSE(
        as<NSPersistentStore>(reader->persistentStores()->objectAtIndex(0))->beginSave(&error));
    EXPECT_EQ(error->code(), NSPersistentStoreTimeoutError) << "the message is still its own";
  }
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0].sql, "BEGIN IMMEDIATE");
  EXPECT_EQ(told[0].code, 5);
  const StatementObserverScope scope(keeper());
  store->abandonSave();
  EXPECT_EQ(toldOf("ROLLBACK").size(), 1u);
}

TEST_F(StatementTraceTest, WhatAnObserverRaisesAndFetchesItselfHarmsNothing) {
  insertBooks(2);
  save();
  int calls = 0;
  const StatementObserverScope scope([&](const StatementTrace&) {
    ++calls;
    EXPECT_EQ(newContext()->countForFetchRequestError(request("Book")), 2u);
    raise(NSGenericException, "an observer's own trouble");
  });
  EXPECT_EQ(fetch(request("Book"))->count(), 2u);
  EXPECT_EQ(calls, 1) << "its own statements are not told";
}

TEST_F(StatementTraceTest, ScopesRestoreWhoObservedBefore) {
  const StatementObserverScope outer(keeper());
  {
    const StatementObserverScope inner([](const StatementTrace&) {});
    fetch(request("Book"));
  }
  EXPECT_TRUE(told.empty());
  fetch(request("Book"));
  EXPECT_EQ(told.size(), 1u);
}

TEST_F(StatementTraceTest, TheReadyMadeObserverWritesOneEntryOfTheLogForEachStatement) {
  insertBooks(10);
  save();
  std::vector<std::string> lines;
  const LogSinkScope log([&](const Ref<NSString>& line) { lines.push_back(line->toStdString()); });
  {
    const StatementObserverScope scope(statementLogObserver(3600), StatementPlans::Include);
    fetch(longBooks());
  }
  EXPECT_TRUE(lines.empty()) << "none took an hour";
  {
    const StatementObserverScope scope(statementLogObserver(), StatementPlans::Include);
    fetch(longBooks());
  }
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("SQL ", 0), 0u) << lines[0];
  EXPECT_NE(lines[0].find(" ms, "), std::string::npos) << lines[0];
  EXPECT_NE(lines[0].find("6 rows (library.sqlite): SELECT _pk"), std::string::npos) << lines[0];
  EXPECT_NE(lines[0].find("\n    S"), std::string::npos) << "the plan stands below: " << lines[0];
}

}  // namespace
}  // namespace JNFoundation
