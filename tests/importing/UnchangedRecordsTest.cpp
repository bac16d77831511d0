#include <limits>

#include "ImportFixture.h"

#include <JNFoundation/mapping/MappingObserver.h>
#include <JNFoundation/platform/store/StatementTrace.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation {
namespace {

using Texts = std::vector<std::string>;

/// What the store has is compared with records before objects are made.
class UnchangedRecords : public ImportTest {
 protected:
  explicit UnchangedRecords(const char* storeType = NSSQLiteStoreType) : ImportTest(storeType) {}

  /// Imports and notes the statements.
  Ref<ImportReport> importTraced(const std::string& feed, ImportOptions options = {}) {
    statements.clear();
    const StatementObserverScope observer(
        [this](const StatementTrace& trace) { statements.emplace_back(trace.sql); });
    return importText(feed, std::move(options));
  }

  int countOf(std::string_view word) const {
    int count = 0;
    for (const std::string& statement : statements) count += statement.rfind(word, 0) == 0;
    return count;
  }

  /// "inserted updated unchanged".
  static std::string counts(const Ref<ImportReport>& report) {
    if (!report) return "failed";
    return std::to_string(report->inserted()) + " " + std::to_string(report->updated()) + " " +
           std::to_string(report->unchanged());
  }

  Texts statements;
};

TEST_F(UnchangedRecords, NeverBecomeObjects) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1}, {'code': 'B', 'name': 'b'}]");
  context->reset();
  EXPECT_EQ(counts(importTraced("[{'code': 'B', 'name': 'b'}, {'code': 'A', 'name': 'a'}]")),
            "0 0 2");
  EXPECT_EQ(countOf("SELECT"), 1) << ::testing::PrintToString(statements);
  EXPECT_EQ(countOf("BEGIN"), 0) << ::testing::PrintToString(statements);
  EXPECT_EQ(context->registeredObjects()->count(), 0u);
}

TEST_F(UnchangedRecords, OnlyThoseThatChangeAreFetched) {
  importText(
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}, {'code': 'C', 'name': 'c'}]");
  context->reset();
  EXPECT_EQ(counts(importTraced("[{'code': 'A', 'name': 'a'}, {'code': 'D', 'name': 'd'},"
                                " {'code': 'B', 'name': 'changed'}, {'code': 'C', 'name': 'c'}]")),
            "1 1 2");
  EXPECT_EQ(countOf("SELECT"), 2) << ::testing::PrintToString(statements);
  EXPECT_EQ(countOf("UPDATE \"object_"), 1) << ::testing::PrintToString(statements);
  EXPECT_EQ(countOf("INSERT"), 1) << ::testing::PrintToString(statements);
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:changed:-", "C:c:-", "D:d:-"}));
}

TEST_F(UnchangedRecords, AreThoseWhoseConvertedValuesAreThere) {
  importText(
      "[{'code': '7', 'name': '12', 'population': 68, 'share': 0.1,"
      " 'founded': '2016-03-01T12:30:00.250Z'}]");
  context->reset();
  const std::string same[] = {
      "[{'code': 7, 'name': 12, 'population': '68.9', 'share': 0.1,"
      " 'founded': '2016-03-01T12:30:00.250Z'}]",
      "[{'code': '7', 'founded': 1456835400250}]",
      "[{'code': '7', 'nobody knows': {'this': 'key'}, 'population': 68.0}]",
  };
  for (const std::string& feed : same) {
    EXPECT_EQ(counts(importTraced(feed)), "0 0 1") << feed;
    EXPECT_EQ(context->registeredObjects()->count(), 0u) << feed;
  }
  const std::string other[] = {
      "[{'code': '7', 'population': '69'}]",     "[{'code': '7', 'share': 0.2}]",
      "[{'code': '7', 'founded': 'yesterday'}]", "[{'code': '7', 'population': null}]",
      "[{'code': '7', 'name': 'twelve'}]",
  };
  for (const std::string& feed : other) EXPECT_EQ(counts(importTraced(feed)), "0 1 0") << feed;
  // What was cleared stays so.
  EXPECT_EQ(counts(importTraced("[{'code': '7', 'founded': null, 'population': null}]")), "0 0 1");
}

TEST_F(UnchangedRecords, HaveEmptyTextsWhereTheStoreHasEmptyTexts) {
  // "name" of a Language is null where no record had it.
  importText("[{'code': 'A'}, {'code': 'B', 'name': ''}, {'code': 'C', 'name': 'c'}]", {},
             "Language");
  context->reset();
  EXPECT_EQ(counts(importText("[{'code': 'A', 'name': ''}, {'code': 'B', 'name': ''},"
                              " {'code': 'C', 'name': 'c'}]",
                              {}, "Language")),
            "0 1 2");
  EXPECT_EQ(counts(importText("[{'code': 'B', 'name': null}, {'code': 'A', 'name': ''}]", {},
                              "Language")),
            "0 1 1");
}

TEST_F(UnchangedRecords, RefusedValuesAreLeftToTheMapping) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1}]");
  context->reset();
  log.clear();
  EXPECT_EQ(counts(importText("[{'code': 'A', 'name': 'a', 'population': [1]}]")), "0 0 1");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("when mapping number to Land.population"), std::string::npos) << log[0];
}

TEST_F(UnchangedRecords, MessagesAndNestedDictionariesAreLeftToTheMapping) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1, 'region': {'code': 'R'}}]");
  context->reset();
  EXPECT_EQ(counts(importText("[{'code': 'A', 'meta': {'people': 2}}]")), "0 1 0");
  EXPECT_EQ(counts(importText("[{'code': 'A', 'region': {'code': 'S'}}]")), "0 1 0");
  EXPECT_EQ(counts(importText("[{'code': 'A', 'meta': {'people': 2}}]")), "0 0 1");
}

TEST_F(UnchangedRecords, ThatAreRepeatedInAChunkAreOneObject) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1}]");
  context->reset();
  EXPECT_EQ(counts(importText("[{'code': 'A', 'population': 1}, {'code': 'A', 'population': 2}]")),
            "0 1 0");
  EXPECT_EQ(lands(), (Texts{"A:a:2"}));
  EXPECT_EQ(counts(importText("[{'code': 'A', 'population': 1}, {'code': 'A', 'population': 2}]")),
            "0 0 1");
  EXPECT_EQ(lands(), (Texts{"A:a:2"}));
  EXPECT_EQ(counts(importText("[{'code': 'A', 'name': 'a'}, {'code': 'A', 'name': 'a'}]")),
            "0 0 1");
}

TEST_F(UnchangedRecords, ThatAreRepeatedLaterAreOneObject) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1}]");
  context->reset();
  const auto report = importText(
      "[{'code': 'A', 'population': 1}, {'code': 'B', 'name': 'b'}, {'code': 'A'},"
      " {'code': 'A', 'population': 2}]",
      {.chunkSize = 2});
  EXPECT_EQ(counts(report), "1 1 1");
  EXPECT_EQ(lands(), (Texts{"A:a:2", "B:b:-"}));
}

TEST_F(UnchangedRecords, AreNotTakenForSuchBesideUnsavedChanges) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1}]");
  context->reset();
  // The second chunk meets an object that the first has changed and nobody has saved.
  const auto report = importText("[{'code': 'A', 'population': 2}, {'code': 'A', 'population': 1}]",
                                 {.commit = ImportCommit::AllOrNothing, .chunkSize = 1});
  ASSERT_TRUE(report);
  EXPECT_EQ(lands(), (Texts{"A:a:1"}));
}

TEST_F(UnchangedRecords, AreMappedBeforeAnObserver) {
  importText("[{'code': 'A', 'name': 'a'}]");
  context->reset();
  Texts events;
  setMappingObserver(context, [&events](const MappingEvent& event) {
    events.push_back(text(Value(event.destination())));
  });
  EXPECT_EQ(counts(importText("[{'code': 'A', 'name': 'a'}]")), "0 0 1");
  setMappingObserver(context, nullptr);
  EXPECT_EQ(events, (Texts{"code", "name"}));
}

TEST_F(UnchangedRecords, AreFoundByNumbersNearAndFar) {
  ImportOptions options;
  options.identity = NSArray::arrayWithObject("population");
  const std::int64_t least = std::numeric_limits<std::int64_t>::min();
  const std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
  for (const std::vector<std::int64_t>& numbers : {std::vector<std::int64_t>{least, 0, greatest},
                                                   std::vector<std::int64_t>{least, least + 1}, [] {
                                                     std::vector<std::int64_t> dense;
                                                     // Downwards, with gaps, on both sides of 0.
                                                     for (std::int64_t number = 40; number > -40;
                                                          number -= 2)
                                                       dense.push_back(number);
                                                     return dense;
                                                   }()}) {
    std::string feed = "[";
    for (const std::int64_t number : numbers) {
      feed += (feed.size() > 1 ? ", " : "") + std::string("{'name': 'n', 'population': ") +
              std::to_string(number) + "}";
    }
    feed += "]";
    importText(feed, options);
    context->reset();
    EXPECT_EQ(counts(importTraced(feed, options)), "0 0 " + std::to_string(numbers.size())) << feed;
    EXPECT_EQ(countOf("SELECT"), 1);
    EXPECT_EQ(context->registeredObjects()->count(), 0u);
  }
  // What stands between the numbers of a feed is nobody's.
  std::string odd = "[";
  for (int number = -39; number < 39; number += 2) {
    odd += (odd.size() > 1 ? ", " : "") + std::string("{'name': 'odd', 'population': ") +
           std::to_string(number) + "}";
  }
  EXPECT_EQ(counts(importTraced(odd + "]", options)), "39 0 0");
}

TEST_F(UnchangedRecords, OfSeveralObjectsMeetTheFirst) {
  ImportOptions options;
  options.identity = NSArray::arrayWithObject("population");
  importText(
      "[{'code': 'A', 'name': 'one', 'population': 5},"
      " {'code': 'B', 'name': 'two', 'population': 5}]");
  context->reset();
  EXPECT_EQ(counts(importText("[{'name': 'one', 'population': 5}]", options)), "0 0 1");
  EXPECT_EQ(counts(importText("[{'name': 'two', 'population': 5}]", options)), "0 1 0");
  EXPECT_EQ(lands(), (Texts{"A:two:5", "B:two:5"}));
}

TEST_F(UnchangedRecords, AreFoundBySeveralAttributes) {
  const std::string feed =
      "[{'place': 'P', 'day': '2016-03-01T00:00:00.000Z', 'nights': 1},"
      " {'place': 'Q', 'day': '2016-03-02T00:00:00.000Z', 'nights': 2}]";
  importText(feed, {}, "Stay");
  context->reset();
  EXPECT_EQ(counts(importText(feed, {}, "Stay")), "0 0 2");
  EXPECT_EQ(context->registeredObjects()->count(), 0u);
  EXPECT_EQ(counts(importText("[{'place': 'P', 'day': '2016-03-02T00:00:00.000Z', 'nights': 1}]",
                              {}, "Stay")),
            "1 0 0");
}

TEST_F(UnchangedRecords, KeepTheirObjectsWhereAbsentOnesAreDeleted) {
  importText("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}]");
  context->reset();
  const auto report = importText("[{'code': 'B', 'name': 'b'}]", {.absent = ImportAbsent::Delete});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->deleted(), 1u);
  EXPECT_EQ(lands(), (Texts{"B:b:-"}));
}

TEST_F(UnchangedRecords, OfADescendantAreFound) {
  const auto kingdom = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
      "Kingdom", context);
  kingdom->setValueForKey("K", "code");
  kingdom->setValueForKey("k", "name");
  ASSERT_TRUE(context->save());
  context->reset();
  EXPECT_EQ(counts(importText("[{'code': 'K', 'name': 'k'}]")), "0 0 1");
  EXPECT_EQ(counts(importText("[{'code': 'K', 'name': 'other'}]")), "0 1 0");
}

class UnchangedRecordsInMemory : public UnchangedRecords {
 protected:
  UnchangedRecordsInMemory() : UnchangedRecords(NSInMemoryStoreType) {}
};

TEST_F(UnchangedRecordsInMemory, NeverBecomeObjectsEither) {
  importText("[{'code': 'A', 'name': 'a', 'share': 0.1}, {'code': 'B', 'name': 'b'}]");
  context->reset();
  EXPECT_EQ(counts(importText("[{'code': 'B', 'name': 'b'}, {'code': 'A', 'share': 0.1},"
                              " {'code': 'C', 'name': 'c'}]")),
            "1 0 2");
}

/// Its codes are lower case, whatever is set.
class Quiet : public Subclass<Quiet, PLVManagedObject> {
 public:
  Ref<NSString> code() const { return as<NSString>(storedValueForKey("code")); }
  void setCode(const Ref<NSString>& code) {
    setStoredValueForKey(code ? Value(code->lowercaseString()) : Value(), "code");
  }

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Quiet> declarationOfQuiet =
    ClassDeclaration<Quiet>().factory().property("code", &Quiet::code, &Quiet::setCode);

TEST(UnchangedRecordsOfAClass, HaveTheIdentityThatItsAccessorsMake) {
  MainQueueScope scope;
  auto entity = entityNamed("Quiet", {attributeNamed("code", NSStringAttributeType),
                                      attributeNamed("name", NSStringAttributeType)});
  entity->setManagedObjectClassName("Quiet");
  entity->setUniquenessConstraints(NSArray::arrayWithObject(NSArray::arrayWithObject("code")));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObject(entity));
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, nullptr, nullptr));
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  const auto importOne = [&](const char* code, const char* name) {
    Ref<ImportReport> report;
    bool hasEnded = false;
    importRecords(NSArray::arrayWithObject(
                      NSDictionary::dictionaryWithEntries({{"code", code}, {"name", name}})),
                  "Quiet", context)
        .untyped()
        ->thenEither([&](const Value& value) -> Value {
          report = Ref<ImportReport>(as<ImportReport>(value));
          hasEnded = true;
          return nullptr;
        });
    testing::runUntil([&] { return hasEnded; });
    return report;
  };
  EXPECT_EQ(importOne("ABC", "one")->inserted(), 1u);
  EXPECT_EQ(importOne("Abc", "one")->unchanged(), 1u);
  EXPECT_EQ(importOne("abc", "two")->updated(), 1u);
}

}  // namespace
}  // namespace JNFoundation
