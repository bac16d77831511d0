#include "MigrationFixture.h"

#include <JNFoundation/platform/store/NSCoreDataErrors.h>

namespace JNFoundation {
namespace {

using testing::OpenedStore;
using Record = Ref<NSMigrationRecord>;

/// What applications do themselves.
class MigrationSteps : public MigrationTest {
 protected:
  /// Book (name, year as a text, price) and Author (name), many to many.
  std::string books() {
    return entity("Book", attribute("name") + attribute("year") + attribute("price", "Double") +
                              many("authors", "Author", "books", "ordered='YES'")) +
           entity("Author", attribute("name") + many("books", "Book", "authors"));
  }
  std::string booksOfYears() {
    return entity("Book", attribute("name") + attribute("year", "Integer 32", "") +
                              attribute("price", "Double") +
                              many("authors", "Author", "books", "ordered='YES'")) +
           entity("Author", attribute("name") + many("books", "Book", "authors"));
  }
  void SetUp() override {
    make(books(), [](const Context& context) {
      auto ada = insert(context, "Author", {{"name", "Ada"}});
      auto bob = insert(context, "Author", {{"name", "Bob"}});
      auto one = insert(context, "Book", {{"name", "One"}, {"year", "1990"}, {"price", 1.5}});
      auto two = insert(context, "Book", {{"name", "Two"}, {"year", "old"}});
      ASSERT_TRUE(context->save());
      put(one, "authors", {bob, ada});
      put(two, "authors", {ada});
    });
  }

  static Ref<NSMigrationPlan> planOf(std::vector<Ref<NSMigrationStep>> steps) {
    auto plan = NSMigrationPlan::init();
    for (const auto& step : steps) plan->addStep(step);
    return plan;
  }
  static bool yearFromText(const Record& source, const Record& destination, Ref<NSError>*) {
    destination->setValueForKey(source->valueForKey("year").integerValue(), "year");
    return true;
  }
  static Ref<NSMigrationStep> years() {
    auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
    step->setRecordMigrationForEntityNamed(yearFromText, "Book");
    return step;
  }
};

TEST_F(MigrationSteps, AnAttributeChangesItsType) {
  auto store = migrated(booksOfYears(), planOf({years()}));
  EXPECT_EQ(dump(store, "Book", {"name", "year", "price", "authors"}),
            "One 1990 1.5 [Bob Ada]; Two 0 - [Ada]");
  EXPECT_EQ(dump(store, "Author", {"name", "books"}), "Ada [One Two]; Bob [One]");
}

TEST_F(MigrationSteps, WithoutTheStepNothingIsInferred) {
  EXPECT_EQ(refusal(booksOfYears())->code(), NSInferredMappingModelError);
  auto step = NSMigrationStep::stepWithSourcePredicate(
      NSPredicate::predicateWithFormat("NSStoreModelVersionHashes.Book == 'another'"));
  step->setRecordMigrationForEntityNamed(yearFromText, "Book");
  EXPECT_EQ(refusal(booksOfYears(), automatically(planOf({step})))->code(),
            NSInferredMappingModelError);
  const auto onlySteps =
      NSDictionary::dictionaryWithEntries({{NSMigratePersistentStoresAutomaticallyOption, true},
                                           {NSPersistentStoreMigrationPlanOption, planOf({step})}});
  EXPECT_EQ(refusal(booksOfYears(), onlySteps)->code(), NSMigrationMissingMappingModelError);
}

TEST_F(MigrationSteps, StepsAreChosenByTheMetadata) {
  auto step =
      NSMigrationStep::stepWithSourceVersionHashes(modelOf(books())->entityVersionHashesByName());
  step->setRecordMigrationForEntityNamed(yearFromText, "Book");
  auto other = NSMigrationStep::stepWithSourcePredicate(
      NSPredicate::predicateWithFormat("owner == 'nobody'"));
  other->setRecordMigrationForEntityNamed(
      [](const Record&, const Record&, Ref<NSError>*) {
        ADD_FAILURE();
        return true;
      },
      "Book");
  EXPECT_EQ(dump(migrated(booksOfYears(), planOf({other, step})), "Book", {"year"}), "1990; 0");
}

TEST_F(MigrationSteps, StepsLeadFromModelToModel) {
  auto first =
      NSMigrationStep::stepWithSourceVersionHashes(modelOf(books())->entityVersionHashesByName());
  const auto between = modelOf(booksOfYears());
  first->setDestinationModel(between);
  first->setRecordMigrationForEntityNamed(yearFromText, "Book");
  auto second = NSMigrationStep::stepWithSourceVersionHashes(between->entityVersionHashesByName());
  second->setRecordMigrationForEntityNamed(
      [](const Record& source, const Record& destination, Ref<NSError>*) {
        destination->setValueForKey(source->valueForKey("year").integerValue() / 100, "century");
        return true;
      },
      "Book");
  const std::string last =
      entity("Book", attribute("name") + attribute("century", "Integer 16", "") +
                         many("authors", "Author", "books", "ordered='YES'")) +
      entity("Author", attribute("name") + many("books", "Book", "authors"));
  auto store = migrated(last, planOf({second, first}));
  EXPECT_EQ(dump(store, "Book", {"name", "century", "authors"}), "One 19 [Bob Ada]; Two 0 [Ada]");
}

TEST_F(MigrationSteps, RelationshipsAreLookedAtAndSet) {
  auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
  step->setRelationshipMigrationForEntityNamed(
      [](const Record& source, const Record& destination, Ref<NSError>*) {
        const Value authors = source->valueForKey("authors");
        const auto* list = as<NSArray>(authors);
        destination->setValueForKey(list->objectAtIndex(0), "author");
        const Value first = list->objectAtIndex(0).object()
                                ? as<NSObject>(list->objectAtIndex(0))->valueForKey("name")
                                : Value();
        destination->setValueForKey(first, "label");
        return true;
      },
      "Book");
  auto store = migrated(
      entity("Book", attribute("name") + attribute("year") + attribute("label") +
                         one("author", "Author", "books", renamed("authors"))) +
          entity("Author", attribute("name") + many("books", "Book", "author", "ordered='YES'")),
      planOf({step}));
  EXPECT_EQ(dump(store, "Book", {"name", "author", "label"}), "One Bob Bob; Two Ada Ada");
  EXPECT_EQ(dump(store, "Author", {"name", "books"}), "Ada [Two]; Bob [One]");
}

TEST_F(MigrationSteps, EveryKindOfRelationshipCanBeSet) {
  const std::string more = entity("Shelf", attribute("name") + one("first", "Book", "shelf") +
                                               many("books", "Book", "place", "ordered='YES'") +
                                               many("near", "Shelf", "near"));
  const std::string after =
      entity("Book", attribute("name") + attribute("year") + attribute("price", "Double") +
                         many("authors", "Author", "books", "ordered='YES'") +
                         one("shelf", "Shelf", "first") + one("place", "Shelf", "books")) +
      entity("Author", attribute("name") + many("books", "Book", "authors")) + more;
  migrated(after);
  {
    OpenedStore store(file, modelOf(after));
    insert(store.context, "Shelf", {{"name", "S"}});
    insert(store.context, "Shelf", {{"name", "T"}});
    ASSERT_TRUE(store.context->save());
  }
  auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
  std::vector<Value> known, shelves;
  step->setRecordMigrationForEntityNamed(
      [&](const Record& source, const Record&, Ref<NSError>*) {
        known.emplace_back(source);
        return true;
      },
      "Book");
  step->setRelationshipMigrationForEntityNamed(
      [&](const Record&, const Record& shelf, Ref<NSError>*) {
        // Each shelf takes everything; the last one keeps it, but for the first book.
        shelf->setValueForKey(NSArray::arrayWithObjects(known[1], known[0]), "books");
        shelf->setValueForKey(known[shelves.size()], "first");
        shelves.emplace_back(shelf);
        shelf->setValueForKey(NSArray::arrayWithValues(shelves), "near");
        const Value books = shelf->valueForKey("books");
        EXPECT_EQ(as<NSArray>(books)->count(), 2u);
        return true;
      },
      "Shelf");
  const std::string last =
      entity("Book", attribute("name") + attribute("year") +
                         many("authors", "Author", "books", "ordered='YES'") +
                         one("shelf", "Shelf", "first") + one("place", "Shelf", "books")) +
      entity("Author", attribute("name") + many("books", "Book", "authors")) + more;
  auto store = migrated(last, planOf({step}));
  EXPECT_EQ(dump(store, "Shelf", {"name", "first", "books", "near"}),
            "S One [] [S T]; T Two [Two One] [S T]");
  EXPECT_EQ(dump(store, "Book", {"name", "shelf", "place"}), "One S T; Two T T");
}

TEST_F(MigrationSteps, WhatABlockRefusesChangesNothing) {
  auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
  int calls = 0;
  step->setRecordMigrationForEntityNamed(
      [&](const Record&, const Record& destination, Ref<NSError>* error) {
        destination->setValueForKey(1, "year");
        if (++calls == 1) return true;
        *error = NSError::errorWithDomainCodeUserInfo("mine", 7, nullptr);
        return false;
      },
      "Book");
  const auto error = refusal(booksOfYears(), automatically(planOf({step})));
  EXPECT_EQ(error->code(), NSEntityMigrationPolicyError);
  ASSERT_TRUE(error->underlyingError());
  EXPECT_EQ(error->underlyingError()->code(), 7);
  OpenedStore store(file, modelOf(books()));
  EXPECT_EQ(dump(store, "Book", {"name", "year", "authors"}), "One 1990 [Bob Ada]; Two old [Ada]");
}

TEST_F(MigrationSteps, WhatABlockRaisesChangesNothing) {
  const auto sentenceOf = [&](const char* key, const Value& value) {
    auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
    step->setRecordMigrationForEntityNamed(
        [&](const Record&, const Record& destination, Ref<NSError>*) {
          destination->setValueForKey(value, key);
          return true;
        },
        "Book");
    const auto error = refusal(booksOfYears(), automatically(planOf({step})));
    EXPECT_EQ(error->code(), NSEntityMigrationPolicyError);
    return error->localizedDescription()->toStdString();
  };
  EXPECT_NE(sentenceOf("year", "text").find("cannot be text"), std::string::npos);
  EXPECT_NE(sentenceOf("year", 3'000'000'000).find("'year'"), std::string::npos);
  EXPECT_NE(sentenceOf("colour", 1).find("no stored property 'colour'"), std::string::npos);
  EXPECT_NE(sentenceOf("authors", NSArray::array()).find("not before"), std::string::npos);
}

TEST_F(MigrationSteps, RequiredValuesMustBeThereAtTheEnd) {
  auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
  step->setRecordMigrationForEntityNamed(
      [](const Record& source, const Record& destination, Ref<NSError>*) {
        if (source->number() == 1) destination->setValueForKey(5, "year");
        return true;
      },
      "Book");
  const auto error = refusal(booksOfYears(), automatically(planOf({step})));
  EXPECT_EQ(error->code(), NSMigrationError);
  EXPECT_NE(error->localizedDescription()->toStdString().find(
                "1 records of 'Book' would have no value for 'year'"),
            std::string::npos)
      << text(error);
}

TEST_F(MigrationSteps, RecordsAreOfNoUseAfterwards) {
  Record kept;
  auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
  step->setRelationshipMigrationForEntityNamed(
      [&](const Record& source, const Record& destination, Ref<NSError>*) {
        EXPECT_THROW(source->setValueForKey("x", "name"), Raised) << "it is what was";
        EXPECT_THROW(destination->setValueForKey(source, "authors"), Raised);
        EXPECT_THROW(destination->setValueForKey(NSArray::arrayWithObjects(1), "authors"), Raised);
        destination->setValueForKey(1, "year");
        kept = source;
        return true;
      },
      "Book");
  migrated(booksOfYears(), planOf({step}));
  ASSERT_TRUE(kept);
  EXPECT_EQ(shown(kept->valueForKey("name")), "Two");
  EXPECT_THROW(kept->valueForKey("authors"), Raised);
}

// ---- Progress and cancelling --------------------------------------------------------------------

TEST_F(MigrationSteps, ProgressGoesOnAndEndsAtTheTotal) {
  auto plan = planOf({years()});
  std::uint64_t last = 0, total = 0;
  std::string phases;
  plan->setProgress([&](std::uint64_t completed, std::uint64_t of, const Ref<NSString>& phase) {
    EXPECT_GE(completed, last);
    EXPECT_LE(completed, of);
    last = completed;
    total = of;
    const std::string name = phase->toStdString();
    if (phases.find(name) == std::string::npos) phases += name + ", ";
    return true;
  });
  migrated(booksOfYears(), plan);
  EXPECT_EQ(last, total);
  EXPECT_GT(total, 3u);
  EXPECT_EQ(phases, "Copying Book, Copying Author, Adjusting Book, Indexing, ");
}

TEST_F(MigrationSteps, CancellingAnywhereChangesNothing) {
  for (const bool byPlan : {false, true}) {
    for (int at = 1; at <= 5; ++at) {
      auto plan = planOf({years()});
      int calls = 0;
      NSMigrationPlan* borrowed = plan.get();
      plan->setProgress([&, borrowed](std::uint64_t, std::uint64_t, const Ref<NSString>&) {
        if (++calls != at) return true;
        if (byPlan) borrowed->cancel();
        return byPlan;
      });
      const auto error = refusal(booksOfYears(), automatically(plan));
      ASSERT_TRUE(error) << at;
      EXPECT_EQ(error->code(), NSMigrationCancelledError) << text(error);
      EXPECT_EQ(calls, at);
    }
  }
  auto plan = NSMigrationPlan::init();
  plan->cancel();
  EXPECT_EQ(refusal(booksOfYears(), automatically(plan))->code(), NSInferredMappingModelError);
  plan->addStep(years());
  EXPECT_EQ(refusal(booksOfYears(), automatically(plan))->code(), NSMigrationCancelledError);
  EXPECT_EQ(dump(migrated(booksOfYears(), planOf({years()})), "Book", {"year"}), "1990; 0");
}

}  // namespace
}  // namespace JNFoundation
