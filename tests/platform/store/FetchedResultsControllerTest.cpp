#include "tests/platform/store/FetchedResultsFixture.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation {
namespace {

using FetchedResultsControllerTest = FetchedResultsTest;

std::string reasonOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Raised& raised) {
    EXPECT_EQ(raised.exception()->name()->utf8(), NSInvalidArgumentException);
    return raised.exception()->reason()->toStdString();
  }
  return "nothing was raised";
}

TEST_F(FetchedResultsControllerTest, ARequestWithoutSortDescriptorsIsRefused) {
  const std::string reason =
      "An instance of NSFetchedResultsController requires a fetch request with sort descriptors";
  EXPECT_EQ(reasonOf([&] { controllerOf(items({})); }), reason);
  EXPECT_EQ(reasonOf([&] { controllerOf(NSFetchRequest::fetchRequestWithEntityName("Item")); }),
            reason);
  EXPECT_NE(reasonOf([&] { controllerOf(nullptr); }).find("non-nil fetchRequest"),
            std::string::npos);
  auto identifiers = items();
  identifiers->setResultType(NSManagedObjectIDResultType);
  EXPECT_NE(reasonOf([&] { controllerOf(identifiers); }).find("managed objects"),
            std::string::npos);
}

TEST_F(FetchedResultsControllerTest, BeforeTheFetchThereIsNothing) {
  auto wanted = items();
  auto controller = controllerOf(wanted, "group", "cache");
  EXPECT_EQ(controller->fetchRequest(), wanted);
  EXPECT_EQ(controller->managedObjectContext(), context);
  EXPECT_EQ(controller->sectionNameKeyPath()->utf8(), "group");
  EXPECT_EQ(controller->cacheName()->utf8(), "cache");
  EXPECT_FALSE(controller->delegate());
  EXPECT_FALSE(controller->fetchedObjects());
  EXPECT_FALSE(controller->sections());
  EXPECT_EQ(controller->sectionIndexTitles()->count(), 0u);
  auto one = item("a");
  EXPECT_FALSE(controller->indexPathForObject(one));
  EXPECT_EQ(reasonOf([&] { controller->objectAtIndexPath(path(0, 0)); }), "no section at index 0");
}

TEST_F(FetchedResultsControllerTest, WithoutAKeyPathThereIsOneSectionWhichMayBeEmpty) {
  auto controller = fetchedOf(items());
  ASSERT_EQ(controller->sections()->count(), 1u);
  const Value value = controller->sections()->objectAtIndex(0);
  const auto* info = as<NSFetchedResultsSectionInfo>(value);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->numberOfObjects(), 0u);
  EXPECT_EQ(info->objects()->count(), 0u);
  EXPECT_FALSE(info->name());
  EXPECT_FALSE(info->indexTitle());
  EXPECT_EQ(controller->fetchedObjects()->count(), 0u);
  EXPECT_EQ(controller->sectionIndexTitles()->count(), 0u);
}

TEST_F(FetchedResultsControllerTest, WithAKeyPathAndNoObjectsThereIsNoSection) {
  auto controller = fetchedOf(items({by("group")}), "group");
  ASSERT_TRUE(controller->sections());
  EXPECT_EQ(controller->sections()->count(), 0u);
}

TEST_F(FetchedResultsControllerTest, ResultsAreSortedAndReflectWhatIsUnsaved) {
  item("saved", 2);
  auto gone = item("gone", 0);
  save();
  item("unsaved", 1);
  context->deleteObject(gone);
  auto controller = fetchedOf(items());
  EXPECT_EQ(names(controller), "unsaved saved");
  EXPECT_EQ(names(controller->fetchedObjects()), "unsaved saved");
}

TEST_F(FetchedResultsControllerTest, PathsLeadToObjectsAndBack) {
  auto b = item("b", 2, "x"), a = item("a", 1, "x"), c = item("c", 0, "y");
  auto controller = fetchedOf(items({by("group"), by("rank")}), "group");
  EXPECT_EQ(names(controller), "x: a b y: c");
  EXPECT_TRUE(controller->objectAtIndexPath(path(0, 1)).isIdentical(Value(b)));
  EXPECT_TRUE(controller->objectAtIndexPath(path(1, 0)).isIdentical(Value(c)));
  EXPECT_TRUE(controller->indexPathForObject(a)->isEqual(Value(path(0, 0))));
  EXPECT_TRUE(controller->indexPathForObject(c)->isEqual(Value(path(1, 0))));
  EXPECT_FALSE(controller->indexPathForObject(insert("Other")));
  EXPECT_FALSE(controller->indexPathForObject(nullptr));
  EXPECT_FALSE(controller->indexPathForObject("text"));
  EXPECT_EQ(reasonOf([&] { controller->objectAtIndexPath(path(1, 1)); }),
            "no object at index 1 in section at index 1");
  EXPECT_EQ(reasonOf([&] { controller->objectAtIndexPath(path(2, 0)); }), "no section at index 2");
  EXPECT_NE(reasonOf([&] { controller->objectAtIndexPath(nullptr); }), "nothing was raised");
  EXPECT_NE(reasonOf([&] { controller->objectAtIndexPath(NSIndexPath::indexPathWithIndex(0)); }),
            "nothing was raised");
}

TEST_F(FetchedResultsControllerTest, SectionNamesAreTextWhateverTheValueIs) {
  item("none", 1, nullptr);
  item("seven", 7);
  auto byRank = fetchedOf(items({by("rank")}), "rank");
  EXPECT_EQ(names(byRank), "1: none 7: seven");
  auto half = item("half");
  half->setValueForKey(2.5, "score");
  auto byScore = fetchedOf(items({by("score"), by("name")}), "score");
  EXPECT_EQ(names(byScore), ": none seven 2.5: half") << "null has the empty name";
  auto byGroup = fetchedOf(items({by("group"), by("name")}), "group");
  EXPECT_EQ(names(byGroup), ": half none seven");
}

TEST_F(FetchedResultsControllerTest, NullAndTheEmptyTextAreOneSection) {
  item("null", 0, nullptr);
  item("empty", 0, "");
  item("full", 0, "a");
  auto controller = fetchedOf(items({by("group")}), "group");
  EXPECT_EQ(names(controller), ": null empty a: full");
}

TEST_F(FetchedResultsControllerTest, ASectionNameMayBeComputed) {
  item("a", 5);
  item("b", 500);
  item("c", 99);
  save();
  auto controller = fetchedOf(items(), "level");
  EXPECT_EQ(names(controller), "low: a c high: b");
}

TEST_F(FetchedResultsControllerTest, ASectionThatComesBackFailsTheFetchAndIsLogged) {
  item("a", 0, "A");
  item("b", 1, "X");
  item("c", 2, "A");
  auto controller = controllerOf(items(), "group");
  Ref<NSError> error;
  bool fetched = true;
  const auto lines = logged([&] { fetched = controller->performFetch(&error); });
  EXPECT_FALSE(fetched);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain()->utf8(), NSCocoaErrorDomain);
  EXPECT_EQ(error->code(), 134060);
  const std::string reason =
      "The fetched object at index 2 has an out of order section name 'A. Objects must be sorted "
      "by section name'";
  EXPECT_EQ(error->userInfo()->objectForKey("reason").description()->toStdString(), reason);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "CoreData: error: (NSFetchedResultsController) " + reason);
  EXPECT_FALSE(controller->fetchedObjects());
  EXPECT_FALSE(logged([&] { controller->performFetch(); }).empty()) << "without an error, too";
}

TEST_F(FetchedResultsControllerTest, AFailedFetchLeavesWhatWasThere) {
  auto a = item("a", 0, "A");
  item("b", 1, "B");
  save();
  auto controller = fetchedOf(items(), "group");
  item("c", 2, "A");
  logged([&] { EXPECT_FALSE(controller->performFetch()); });
  EXPECT_EQ(names(controller), "A: a B: b");
  EXPECT_TRUE(controller->indexPathForObject(a)->isEqual(Value(path(0, 0))));
}

TEST_F(FetchedResultsControllerTest, WhatTheRequestGetsWrongIsRaisedByTheFetch) {
  auto unknown = request("Nothing", nullptr, {by("rank")});
  EXPECT_THROW(controllerOf(unknown)->performFetch(), Raised);
  EXPECT_THROW(controllerOf(items({by("nothing")}))->performFetch(), Raised);
}

TEST_F(FetchedResultsControllerTest, ObjectsThatRaiseForTheirSectionHaveNoName) {
  item("a");
  auto controller = controllerOf(items(), "wrong");
  const auto lines = logged([&] { EXPECT_TRUE(controller->performFetch()); });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("no name today"), std::string::npos);
  EXPECT_EQ(names(controller), ": a");
}

TEST_F(FetchedResultsControllerTest, TheFetchLimitIsThatOfTheFetchAlone) {
  for (int i = 0; i < 5; ++i) item(std::to_string(i).c_str(), i);
  auto wanted = items();
  wanted->setFetchLimit(2);
  wanted->setFetchOffset(1);
  auto controller = fetchedOf(wanted);
  EXPECT_EQ(names(controller), "1 2");
  auto view = ListView::of(controller);
  item("new", 1);
  process();
  EXPECT_EQ(names(controller), "1 new 2");
  view->expectTrue();
}

TEST_F(FetchedResultsControllerTest, ABatchSizeChangesNothing) {
  for (int i = 0; i < 50; ++i) item(std::to_string(i).c_str(), i);
  save();
  auto wanted = items();
  wanted->setFetchBatchSize(5);
  auto controller = fetchedOf(wanted);
  EXPECT_EQ(controller->fetchedObjects()->count(), 50u);
  EXPECT_EQ(controller->fetchRequest()->fetchBatchSize(), 5u);
}

TEST_F(FetchedResultsControllerTest, SubentitiesAreThereOnRequest) {
  insert("SpecialItem", {{"name", "special"}, {"rank", 1}});
  item("plain", 2);
  EXPECT_EQ(names(fetchedOf(items())), "special plain");
  auto wanted = items();
  wanted->setIncludesSubentities(false);
  auto controller = fetchedOf(wanted);
  EXPECT_EQ(names(controller), "plain");
  auto view = ListView::of(controller);
  insert("SpecialItem", {{"name", "another"}});
  process();
  EXPECT_EQ(view->told(), "");
}

// ---- Arrays that stay ---------------------------------------------------------------------------

TEST_F(FetchedResultsControllerTest, AnArrayThatIsKeptNeverChanges) {
  auto a = item("a", 1), b = item("b", 2);
  auto controller = fetchedOf(items());
  auto view = ListView::of(controller);
  const Ref<NSArray> before = controller->fetchedObjects();
  EXPECT_EQ(controller->fetchedObjects(), before) << "reading it again costs nothing";
  const Ref<NSArray> sectionsBefore = controller->sections();
  a->setValueForKey(3, "rank");
  item("c", 0);
  process();
  EXPECT_EQ(names(before), "a b");
  EXPECT_EQ(as<NSFetchedResultsSectionInfo>(sectionsBefore->objectAtIndex(0))->numberOfObjects(),
            2u);
  EXPECT_EQ(names(controller->fetchedObjects()), "c b a");
  EXPECT_TRUE(before->isEqualToArray(NSArray::arrayWithObjects(a, b)));
  EXPECT_EQ(before->indexOfObject(b), 1u);
  EXPECT_TRUE(isKindOf<NSArray>(Value(before)));
  EXPECT_THROW(before->objectAtIndex(2), Raised);
}

TEST_F(FetchedResultsControllerTest, ArraysOutliveTheController) {
  item("a", 1, "x");
  auto controller = fetchedOf(items(), "group");
  const Ref<NSArray> objects = controller->fetchedObjects();
  const Ref<NSArray> sections = controller->sections();
  controller = nullptr;
  EXPECT_EQ(names(objects), "a");
  const Value section = sections->objectAtIndex(0);
  EXPECT_EQ(as<NSFetchedResultsSectionInfo>(section)->name()->utf8(), "x");
  EXPECT_EQ(names(as<NSFetchedResultsSectionInfo>(section)->objects()), "a");
  EXPECT_FALSE(as<NSFetchedResultsSectionInfo>(section)->indexTitle()) << "nobody to ask";
}

TEST_F(FetchedResultsControllerTest, SectionInfosOfTheSameMomentAreEqual) {
  item("a", 1, "x");
  item("b", 2, "y");
  auto controller = fetchedOf(items(), "group");
  const Ref<NSArray> sections = controller->sections();
  EXPECT_TRUE(sections->objectAtIndex(0).isEqual(controller->sections()->objectAtIndex(0)));
  EXPECT_EQ(sections->objectAtIndex(0).hash(), controller->sections()->objectAtIndex(0).hash());
  EXPECT_FALSE(sections->objectAtIndex(0).isEqual(sections->objectAtIndex(1)));
  EXPECT_NE(sections->objectAtIndex(0).description()->toStdString().find("name: x; objects: 1"),
            std::string::npos);
}

TEST_F(FetchedResultsControllerTest, ALongListIsReadInAnyOrder) {
  constexpr int count = 2'000;
  for (int i = 0; i < count; ++i) item("i", count - i);
  auto controller = fetchedOf(items());
  const Ref<NSArray> objects = controller->fetchedObjects();
  const Ref<NSArray> again = objects->subarrayWithRange({500, 1'000});
  for (int i = 0; i < count; ++i) {
    const int at = static_cast<int>((static_cast<std::int64_t>(i) * 7919) % count);
    const Value object = objects->objectAtIndex(static_cast<NSUInteger>(at));
    ASSERT_EQ(as<NSObject>(object)->valueForKey("rank").intValue(), at + 1);
    if (at >= 500 && at < 1'500) {
      ASSERT_TRUE(again->objectAtIndex(static_cast<NSUInteger>(at - 500)).isIdentical(object));
    }
  }
}

// ---- Titles -------------------------------------------------------------------------------------

TEST_F(FetchedResultsControllerTest, ATitleIsTheFirstLetterAsACapital) {
  auto controller = controllerOf(items());
  EXPECT_EQ(controller->sectionIndexTitleForSectionName("apple")->utf8(), "A");
  EXPECT_EQ(controller->sectionIndexTitleForSectionName("émile")->utf8(), "É");
  EXPECT_EQ(controller->sectionIndexTitleForSectionName("7up")->utf8(), "7");
  EXPECT_EQ(controller->sectionIndexTitleForSectionName("")->utf8(), "");
  EXPECT_FALSE(controller->sectionIndexTitleForSectionName(nullptr));
}

TEST_F(FetchedResultsControllerTest, EqualTitlesAreThereOnceInOrder) {
  for (const char* group : {"apple", "avocado", "banana", "Apricot", "cherry"}) {
    item(group, group[0] == 'A' ? 9 : group[0], group);
  }
  auto controller = fetchedOf(items({by("rank"), by("group")}), "group");
  EXPECT_EQ(controller->sectionIndexTitles()->componentsJoinedByString(" ")->utf8(), "A B C");
  EXPECT_EQ(names(controller),
            "Apricot: Apricot apple: apple avocado: avocado banana: banana "
            "cherry: cherry");
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("A", 0), 0u);
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("B", 1), 3u);
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("C", 2), 4u);
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("C", 0), 4u) << "the title decides";
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("D", 0),
            static_cast<NSUInteger>(NSNotFound));
  const Value info = controller->sections()->objectAtIndex(3);
  EXPECT_EQ(as<NSFetchedResultsSectionInfo>(info)->indexTitle()->utf8(), "B");
}

TEST_F(FetchedResultsControllerTest, ADelegateMayGiveTheTitles) {
  item("a", 0, "apple");
  auto controller = fetchedOf(items(), "group");
  EXPECT_EQ(controller->sectionIndexTitles()->componentsJoinedByString(" ")->utf8(), "A");
  auto view = ListView::of(controller);
  EXPECT_EQ(controller->sectionIndexTitles()->componentsJoinedByString(" ")->utf8(), "A")
      << "it does not answer";
  view->answered = [](ListView::Callback) { return true; };
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(view));
  EXPECT_EQ(controller->sectionIndexTitles()->componentsJoinedByString(" ")->utf8(), "<apple>");
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("<apple>", 0), 0u);
}

TEST_F(FetchedResultsControllerTest, TitlesFollowTheSections) {
  auto a = item("a", 0, "apple");
  auto controller = fetchedOf(items(), "group");
  auto view = ListView::of(controller);
  EXPECT_EQ(controller->sectionIndexTitles()->count(), 1u);
  a->setValueForKey("berry", "group");
  process();
  EXPECT_EQ(controller->sectionIndexTitles()->componentsJoinedByString(" ")->utf8(), "B");
}

// ---- Subclasses ---------------------------------------------------------------------------------

class Shouting : public Subclass<Shouting, NSFetchedResultsController> {
 public:
  Ref<NSString> sectionIndexTitleForSectionName(const Ref<NSString>& name) const override {
    return NSString::stringWithFormat("%@!", name);
  }

 protected:
  using Subclass::Subclass;
};

TEST_F(FetchedResultsControllerTest, ASubclassMayAnswerOtherwise) {
  item("a", 0, "apple");
  Ref<Shouting> controller =
      Shouting::initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
          items(), context, "group", nullptr);
  EXPECT_TRUE(controller->performFetch());
  EXPECT_EQ(controller->class_().name(), std::string("Shouting"));
  EXPECT_EQ(controller->sectionIndexTitles()->componentsJoinedByString(" ")->utf8(), "apple!");
  const Value info = controller->sections()->objectAtIndex(0);
  EXPECT_EQ(as<NSFetchedResultsSectionInfo>(info)->indexTitle()->utf8(), "apple!");
}

/// Shows the first result of a controller of its own, and passes on that something happened.
class First
    : public Subclass<First, NSFetchedResultsController, NSFetchedResultsControllerDelegate> {
 public:
  explicit First(const Ref<NSFetchedResultsController>& inner) : _inner(inner) {}
  ~First() override { _inner->setDelegate(nullptr); }

  bool performFetch(Ref<NSError>* error = nullptr) override { return _inner->performFetch(error); }
  Ref<NSFetchRequest> fetchRequest() const override { return _inner->fetchRequest(); }
  Ref<NSManagedObjectContext> managedObjectContext() const override {
    return _inner->managedObjectContext();
  }
  Ref<NSString> sectionNameKeyPath() const override { return _inner->sectionNameKeyPath(); }
  Ref<NSString> cacheName() const override { return _inner->cacheName(); }
  Ref<NSFetchedResultsControllerDelegate> delegate() const override { return _outer.load(); }
  void setDelegate(const Ref<NSFetchedResultsControllerDelegate>& delegate) override {
    _outer = delegate;
    _inner->setDelegate(delegate ? Ref<NSFetchedResultsControllerDelegate>(this) : nullptr);
  }
  Ref<NSArray> fetchedObjects() const override {
    const Ref<NSArray> all = _inner->fetchedObjects();
    return all ? all->subarrayWithRange({0, std::min<NSUInteger>(1, all->count())}) : nullptr;
  }
  Ref<NSArray> sections() const override { return _inner->sections(); }
  Value objectAtIndexPath(const Ref<NSIndexPath>& path) const override {
    return _inner->objectAtIndexPath(path);
  }
  Ref<NSIndexPath> indexPathForObject(const Value& object) const override {
    return _inner->indexPathForObject(object);
  }
  Ref<NSString> sectionIndexTitleForSectionName(const Ref<NSString>& name) const override {
    return _inner->sectionIndexTitleForSectionName(name);
  }
  Ref<NSArray> sectionIndexTitles() const override { return _inner->sectionIndexTitles(); }
  NSUInteger sectionForSectionIndexTitleAtIndex(const Ref<NSString>& title,
                                                NSUInteger index) const override {
    return _inner->sectionForSectionIndexTitleAtIndex(title, index);
  }

  void controllerDidChangeContent(Controller) override {
    if (auto outer = _outer.load()) {
      outer->controllerDidChangeContent(Ref<NSFetchedResultsController>(this));
    }
  }

 private:
  Ref<NSFetchedResultsController> _inner;
  Weak<NSFetchedResultsControllerDelegate> _outer;
};

class Counter : public Subclass<Counter, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void controllerDidChangeContent(Controller controller) override {
    ++count;
    last = controller.get();
  }
  int count = 0;
  const NSFetchedResultsController* last = nullptr;
};

TEST_F(FetchedResultsControllerTest, ASubclassMayOwnAnotherControllerAndStartPlain) {
  item("b", 2);
  Ref<First> first = makeObject<First>(controllerOf(items()));
  Ref<NSFetchedResultsController> asBase = first;
  EXPECT_FALSE(asBase->fetchedObjects());
  EXPECT_TRUE(asBase->performFetch());
  EXPECT_EQ(names(asBase->fetchedObjects()), "b");
  Ref<Counter> counter = makeObject<Counter>();
  asBase->setDelegate(Ref<NSFetchedResultsControllerDelegate>(counter));
  item("a", 1);
  process();
  EXPECT_EQ(counter->count, 1);
  EXPECT_EQ(counter->last, asBase.get());
  EXPECT_EQ(names(asBase->fetchedObjects()), "a");
  asBase->setDelegate(nullptr);
  item("0", 0);
  process();
  EXPECT_EQ(counter->count, 1);
}

TEST_F(FetchedResultsControllerTest, ThePlainBaseHasNothingAndSaysSo) {
  class Plain : public Subclass<Plain, NSFetchedResultsController> {};
  Ref<Plain> plain = makeObject<Plain>();
  EXPECT_FALSE(plain->fetchRequest());
  EXPECT_FALSE(plain->managedObjectContext());
  EXPECT_FALSE(plain->fetchedObjects());
  EXPECT_FALSE(plain->sections());
  plain->setDelegate(nullptr);
  EXPECT_THROW(plain->performFetch(), Raised);
}

}  // namespace
}  // namespace JNFoundation
