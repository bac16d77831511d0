#include <map>

#include "tests/adapters/ModelFixture.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>

namespace JNFoundation {
namespace {

class FetchedResultsModelTest : public ModelTest {
 protected:
  /// Named by their places, a, b, c…, in the order of their ranks 0, 10, 20…
  std::vector<Ref<NSManagedObject>> some(int count, const char* group = nullptr) {
    std::vector<Ref<NSManagedObject>> objects;
    objects.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      objects.push_back(item(std::string(1, static_cast<char>('a' + i)).c_str(), 10 * i, group));
    }
    process();
    return objects;
  }

  /// a and b in group x, c in group y.
  std::vector<Ref<NSManagedObject>> grouped() {
    std::vector<Ref<NSManagedObject>> objects = {item("a", 0, "x"), item("b", 10, "x"),
                                                 item("c", 20, "y")};
    process();
    return objects;
  }

  Ref<NSFetchedResultsController> groups() {
    return fetchedOf(items({by("group"), by("rank")}), "group");
  }
};

// ---- What rows say ------------------------------------------------------------------------------

TEST_F(FetchedResultsModelTest, AttributesAreRolesByName) {
  const auto object = item("a", 7, "x");
  process();
  FetchedResultsListModel model(groups());
  const QModelIndex row = model.index(0);
  std::map<std::string, QVariant> values;
  const QHash<int, QByteArray> names = model.roleNames();
  for (auto each = names.begin(); each != names.end(); ++each) {
    values[each.value().toStdString()] = row.data(each.key());
  }
  EXPECT_EQ(values.size(), 9u) << "display, object, section, sectionName, and five attributes";
  EXPECT_EQ(values["name"], QVariant("a"));
  EXPECT_EQ(values["rank"], QVariant(7LL));
  EXPECT_FALSE(values["score"].isValid());
  EXPECT_EQ(values["section"], QVariant(0));
  EXPECT_EQ(values["sectionName"], QVariant("x"));
  EXPECT_EQ(values["object"].value<Ref<NSManagedObject>>(), object);
  EXPECT_EQ(model.roleOf("group"), Qt::UserRole) << "in the order of their names";
  EXPECT_EQ(model.roleOf("color"), -1);
}

TEST_F(FetchedResultsModelTest, ChosenKeyPathsAreTheRolesInTheirOrder) {
  item("a", 7);
  process();
  FetchedResultsListModel model(fetchedOf(items()));
  model.setAttributes({"rank", "name.length", "name"});
  EXPECT_EQ(model.roleNames().value(Qt::UserRole + 1), "name_length");
  EXPECT_EQ(model.index(0).data(Qt::UserRole), QVariant(7LL));
  EXPECT_EQ(model.index(0).data(Qt::UserRole + 1), QVariant(1LL));
  EXPECT_EQ(model.index(0).data(Qt::UserRole + 2), QVariant("a"));
  EXPECT_FALSE(model.index(0).data(Qt::UserRole + 3).isValid());
  model.setAttributes({});
  EXPECT_EQ(model.roleOf("hidden"), Qt::UserRole + 1);
}

TEST_F(FetchedResultsModelTest, AnAttributeWithTheNameOfARoleIsTheOneThatIsMeant) {
  FetchedResultsListModel model(fetchedOf(items()));
  model.setAttributes({"object"});
  EXPECT_EQ(model.roleNames().keys("object"), QList<int>{Qt::UserRole});
}

TEST_F(FetchedResultsModelTest, TheFirstSortKeyIsDisplayedUnlessAnotherIsChosen) {
  item("a", 7);
  process();
  FetchedResultsListModel model(fetchedOf(items()));
  EXPECT_EQ(model.index(0).data(), QVariant(7LL));
  model.setDisplay("name");
  EXPECT_EQ(model.index(0).data(), QVariant("a"));
  EXPECT_EQ(model.index(0).data(Qt::EditRole), QVariant("a"));
  model.setDisplay(nullptr);
  EXPECT_EQ(model.index(0).data(), QVariant(7LL));
}

TEST_F(FetchedResultsModelTest, AKeyThatDoesNotExistShowsNothingAndIsLoggedOnce) {
  some(3);
  FetchedResultsListModel model(fetchedOf(items()));
  model.setDisplay("color");
  const std::vector<std::string> lines = logged([&] {
    for (int row = 0; row < 3; ++row) EXPECT_FALSE(model.index(row).data().isValid());
  });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("color"), std::string::npos) << lines[0];
}

TEST_F(FetchedResultsModelTest, ASubclassAddsRolesWhichAreKeptUntilTheObjectChanges) {
  class WithTips : public FetchedResultsListModel {
   public:
    using FetchedResultsListModel::FetchedResultsListModel;
    mutable int asked = 0;

   protected:
    QVariant valueOf(const Ref<NSManagedObject>& object, int role) const override {
      if (role != Qt::ToolTipRole) return FetchedResultsListModel::valueOf(object, role);
      ++asked;
      return "rank " + QString::number(object->valueForKey("rank").longLongValue());
    }
  };
  const auto objects = some(2);
  WithTips model(fetchedOf(items()));
  EXPECT_EQ(model.index(1).data(Qt::ToolTipRole), QVariant("rank 10"));
  EXPECT_EQ(model.index(1).data(Qt::ToolTipRole), QVariant("rank 10"));
  EXPECT_EQ(model.asked, 1);
  objects[1]->setValueForKey(11, "rank");
  EXPECT_EQ(model.index(1).data(Qt::ToolTipRole), QVariant("rank 10")) << "views do not know yet";
  process();
  EXPECT_EQ(model.index(1).data(Qt::ToolTipRole), QVariant("rank 11"));
  EXPECT_EQ(model.asked, 2);
}

// ---- Shapes -------------------------------------------------------------------------------------

TEST_F(FetchedResultsModelTest, ATreeHasItsSectionsAsParents) {
  const auto objects = grouped();
  Watched<FetchedResultsTreeModel> tree(groups());
  EXPECT_EQ(shown(tree.model), "x(a b) y(c)");
  const QModelIndex section = tree.model.index(1, 0);
  const QModelIndex row = tree.model.index(0, 0, section);
  EXPECT_EQ(row.parent(), section);
  EXPECT_FALSE(section.parent().isValid());
  EXPECT_EQ(tree.model.rowCount(row), 0);
  EXPECT_FALSE(tree.model.hasChildren(row));
  EXPECT_EQ(row.data(FetchedResultsModel::SectionNameRole), QVariant("y"));
  EXPECT_FALSE(row.data(FetchedResultsModel::SectionRole).isValid());
  EXPECT_EQ(tree.model.roleNames().key("section", -1), -1);
  EXPECT_EQ(tree.model.objectAt(row), objects[2]);
  EXPECT_FALSE(tree.model.objectAt(section));
  EXPECT_EQ(tree.model.indexOf(objects[2]), row);
  EXPECT_FALSE(tree.model.index(0, 1, section).isValid());
  EXPECT_FALSE(tree.model.index(0, 0, row).isValid());
}

TEST_F(FetchedResultsModelTest, WithoutSectionsATreeIsOneNamelessSection) {
  some(2);
  Watched<FetchedResultsTreeModel> tree(fetchedOf(items()));
  EXPECT_EQ(tree.model.rowCount(), 1);
  EXPECT_FALSE(tree.model.index(0, 0).data().isValid());
  EXPECT_EQ(shown(tree.model), "(a b)");
}

TEST_F(FetchedResultsModelTest, IndexesOfOthersHaveNoObjectHere) {
  const auto objects = some(2);
  FetchedResultsListModel model(fetchedOf(items())), other(fetchedOf(items()));
  EXPECT_EQ(model.objectAt(model.index(1)), objects[1]);
  EXPECT_FALSE(model.objectAt(other.index(1)));
  EXPECT_FALSE(model.objectAt(QModelIndex()));
  EXPECT_FALSE(model.objectAt(model.index(2)));
  EXPECT_FALSE(model.indexOf(nullptr).isValid());
  context->deleteObject(objects[1]);
  process();
  EXPECT_FALSE(model.indexOf(objects[1]).isValid());
}

TEST_F(FetchedResultsModelTest, BeforeTheFirstFetchThereIsNothing) {
  some(2);
  Watched<FetchedResultsListModel> list(controllerOf(items()));
  Watched<FetchedResultsTreeModel> tree(list.model.controller());
  EXPECT_EQ(list.model.rowCount(), 0);
  EXPECT_EQ(tree.model.rowCount(), 0);
  EXPECT_TRUE(list.model.fetch());
  EXPECT_EQ(shown(list.model), "a b");
  EXPECT_EQ(tree.model.rowCount(), 0) << "fetches are told to nobody else";
  tree.model.reload();
  EXPECT_EQ(shown(tree.model), "(a b)");
}

// ---- What is told -------------------------------------------------------------------------------

TEST_F(FetchedResultsModelTest, ABatchIsToldInStepsThatFollowFromEachOther) {
  const auto objects = some(6);
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  objects[1]->setValueForKey(true, "hidden");  // b changes
  objects[2]->setValueForKey(true, "hidden");  // so does c, beside it
  context->deleteObject(objects[0]);
  objects[5]->setValueForKey(5, "rank");  // f goes to the front
  item("g", 60);
  item("h", 70);
  process();
  EXPECT_EQ(shown(list.model), "f b c d e g h");
  EXPECT_EQ(list.watcher.told(), "=1-2, -0, >4>0, =0, +5-6");
  list.watcher.expectTrue("name");
}

TEST_F(FetchedResultsModelTest, NeighboursGoAndComeTogether) {
  const auto objects = some(6);
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  for (const int gone : {1, 2, 4, 5})
    context->deleteObject(objects[static_cast<std::size_t>(gone)]);
  process();
  EXPECT_EQ(list.watcher.told(), "-4-5, -1-2");
}

TEST_F(FetchedResultsModelTest, RowsMoveBetweenSectionsThatComeAndGo) {
  const auto objects = grouped();
  Watched<FetchedResultsListModel> list(groups());
  Watched<FetchedResultsTreeModel> tree(list.model.controller());
  objects[2]->setValueForKey("w", "group");  // y goes, w comes
  process();
  EXPECT_EQ(shown(list.model), "c a b");
  EXPECT_EQ(shown(tree.model), "w(c) x(a b)");
  EXPECT_EQ(list.watcher.told(), ">2>0, =0, =0-2") << "at the end the sections' numbers";
  EXPECT_EQ(tree.watcher.told(), "+0, >2.0>0.0, =0.0, -2");
  EXPECT_EQ(list.model.index(1).data(FetchedResultsModel::SectionRole), QVariant(1));
}

TEST_F(FetchedResultsModelTest, ARowOfAListThatOnlyChangesItsSectionStaysWhereItIs) {
  const auto objects = grouped();
  Watched<FetchedResultsListModel> list(groups());
  Watched<FetchedResultsTreeModel> tree(list.model.controller());
  objects[1]->setValueForKey("y", "group");
  process();
  EXPECT_EQ(list.watcher.told(), "=1, =1");
  EXPECT_EQ(list.model.index(1).data(FetchedResultsModel::SectionNameRole), QVariant("y"));
  EXPECT_EQ(tree.watcher.told(), ">0.1>1.0, =1.0");
}

TEST_F(FetchedResultsModelTest, ManyMovesAreOneChangeOfLayout) {
  const auto objects = some(20);
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  const QPersistentModelIndex first(list.model.index(0));
  int rank = 1000;
  for (const auto& object : objects) object->setValueForKey(--rank, "rank");
  process();
  EXPECT_EQ(list.watcher.layouts, 1);
  EXPECT_EQ(list.watcher.moves, 0);
  EXPECT_EQ(list.model.objectAt(first), objects[0]);
  list.watcher.expectTrue("name");
}

TEST_F(FetchedResultsModelTest, WhatWasShownStaysUntilViewsAreTold) {
  const auto objects = some(2);
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  EXPECT_EQ(shown(list.model), "a b");
  objects[0]->setValueForKey("z", "name");
  EXPECT_EQ(shown(list.model), "a b");
  EXPECT_EQ(list.watcher.told(), "");
  process();
  EXPECT_EQ(shown(list.model), "z b");
  EXPECT_EQ(list.watcher.told(), "=0");
}

TEST_F(FetchedResultsModelTest, DeletedRowsShowWhatTheyHadUntilTheyGo) {
  const auto objects = some(2);
  save();
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  context->deleteObject(objects[0]);
  EXPECT_EQ(shown(list.model), "a b");
  QString last;
  QObject::connect(&list.model, &QAbstractItemModel::rowsAboutToBeRemoved, &list.model,
                   [&] { last = list.model.index(0).data().toString(); });
  save();
  EXPECT_EQ(last, "a");
  EXPECT_EQ(shown(list.model), "b");
}

TEST_F(FetchedResultsModelTest, AFetchBehindItsBackIsNoticedWithTheNextBatch) {
  const auto objects = some(4);
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  const auto controller = list.model.controller();
  controller->fetchRequest()->setPredicate(NSPredicate::predicateWithFormat("rank > 5"));
  ASSERT_TRUE(controller->performFetch());
  EXPECT_EQ(shown(list.model), "a b c d");
  context->deleteObject(objects[3]);
  process();
  EXPECT_EQ(shown(list.model), "b c");
  EXPECT_EQ(list.watcher.told(), "reset");
}

TEST_F(FetchedResultsModelTest, AFailedFetchLeavesTheRowsAndSaysWhy) {
  item("a", 0, "x");
  item("b", 1, "y");
  const auto last = item("c", 2, "y");
  process();
  Watched<FetchedResultsListModel> list(fetchedOf(items(), "group"));
  const LogSinkScope silence([](const Ref<NSString>&) {});
  const auto hidden = list.model.controller();
  hidden->setDelegate(nullptr);
  last->setValueForKey("x", "group");  // which tears x apart
  Ref<NSError> error;
  EXPECT_FALSE(list.model.fetch(&error));
  EXPECT_TRUE(error);
  EXPECT_EQ(list.model.rowCount(), 3);
  EXPECT_EQ(list.watcher.told(), "");
}

// ---- Controllers and their delegates ------------------------------------------------------------

TEST_F(FetchedResultsModelTest, WhoeverWasTheDelegateGoesOnHearingAndIsPutBack) {
  some(2);
  const auto controller = fetchedOf(items());
  const auto view = ListView::of(controller);
  {
    Watched<FetchedResultsListModel> list(controller);
    item("z", 100);
    process();
    EXPECT_EQ(shown(list.model), "a b z");
    EXPECT_EQ(view->told(), "will, +z 0.2, did");
    view->expectTrue();
  }
  EXPECT_EQ(controller->delegate().get(), view.get());
  item("y", 90);
  process();
  EXPECT_EQ(view->told(), "will, +y 0.2, did");
}

TEST_F(FetchedResultsModelTest, TitlesOfSectionsAreThoseOfTheDelegateBefore) {
  grouped();
  const auto controller = groups();
  FetchedResultsListModel plain(controller);
  EXPECT_EQ(controller->sectionIndexTitleForSectionName("x")->toStdString(), "X");
  plain.setController(nullptr);
  const auto view = ListView::of(controller);
  view->answered = [](NSFetchedResultsControllerDelegate::Callback) { return true; };
  FetchedResultsListModel model(controller);
  EXPECT_EQ(controller->sectionIndexTitleForSectionName("x")->toStdString(), "<x>");
}

TEST_F(FetchedResultsModelTest, SeveralModelsOfOneControllerLeaveInAnyOrder) {
  some(2);
  const auto controller = fetchedOf(items());
  const auto view = ListView::of(controller);
  for (const std::vector<std::size_t>& order :
       {std::vector<std::size_t>{0, 1, 2}, {2, 1, 0}, {1, 0, 2}, {1, 2, 0}}) {
    std::vector<std::unique_ptr<Watched<FetchedResultsListModel>>> models;
    models.reserve(3);
    for (int i = 0; i < 3; ++i) {
      models.push_back(std::make_unique<Watched<FetchedResultsListModel>>(controller));
    }
    for (const std::size_t leaving : order) {
      const auto added = item("n", 50);
      process();
      for (const auto& each : models) {
        if (each) each->watcher.expectTrue("name");
      }
      view->expectTrue();
      context->deleteObject(added);
      models[leaving].reset();
    }
    process();
    EXPECT_EQ(controller->delegate().get(), view.get());
  }
}

TEST_F(FetchedResultsModelTest, WhoeverTakesItsPlaceAndPassesNothingOnLeavesItAsItIs) {
  some(2);
  const auto controller = fetchedOf(items());
  {
    Watched<FetchedResultsListModel> list(controller);
    const auto view = ListView::of(controller);
    item("z", 100);
    process();
    EXPECT_EQ(shown(list.model), "a b");
    list.model.reload();
    EXPECT_EQ(shown(list.model), "a b z");
    list.model.setController(nullptr);
    EXPECT_EQ(controller->delegate().get(), view.get());
  }
}

TEST_F(FetchedResultsModelTest, AModelKeepsItsControllerAndLetsGoOfIt) {
  some(2);
  auto controller = fetchedOf(items());
  const Weak<NSFetchedResultsController> weak(controller);
  auto list = std::make_unique<Watched<FetchedResultsListModel>>(controller);
  controller = nullptr;
  item("z", 100);
  process();
  EXPECT_EQ(shown(list->model), "a b z");
  list->model.setController(nullptr);
  EXPECT_FALSE(weak.load());
  EXPECT_EQ(list->model.rowCount(), 0);
  EXPECT_FALSE(list->model.fetch());
  list->model.reload();
  EXPECT_EQ(list->model.roleNames().size(), 4) << "without attributes";
  list->model.setController(fetchedOf(items()));
  EXPECT_EQ(shown(list->model), "a b z");
  const Weak<NSFetchedResultsController> other(list->model.controller());
  list.reset();
  EXPECT_FALSE(other.load());
}

TEST_F(FetchedResultsModelTest, AContextWithAQueueOfItsOwnIsRefused) {
  auto apart = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, [](const Block<void()>& task) { task(); });
  apart->setPersistentStoreCoordinator(coordinator);
  const auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(items(), apart, nullptr,
                                                                          nullptr);
  FetchedResultsListModel model(fetchedOf(items()));
  const auto before = model.controller();
  EXPECT_THROW(model.setController(controller), Raised);
  EXPECT_EQ(model.controller(), before);
}

// ---- Losses -------------------------------------------------------------------------------------

TEST_F(FetchedResultsModelTest, AResetOfTheContextEmptiesTheModel) {
  some(3);
  save();
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  Watched<FetchedResultsTreeModel> tree(list.model.controller());
  context->reset();
  EXPECT_EQ(list.model.rowCount(), 0);
  EXPECT_EQ(tree.model.rowCount(), 0);
  EXPECT_TRUE(list.model.fetch());
  EXPECT_EQ(shown(list.model), "a b c");
  item("d", 100);
  process();
  EXPECT_EQ(shown(list.model), "a b c d");
}

TEST_F(FetchedResultsModelTest, WithoutItsStoreAModelShowsWhatItHasShown) {
  some(3);
  save();
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  EXPECT_EQ(shown(list.model), "a b c");
  context->refreshAllObjects();
  process();
  Ref<NSError> error;
  ASSERT_TRUE(coordinator->removePersistentStoreError(store, &error)) << text(error);
  process();
  for (int row = 0; row < list.model.rowCount(); ++row) {
    for (const int role : list.model.roleNames().keys()) list.model.index(row).data(role);
  }
  list.model.fetch();
  EXPECT_EQ(shown(list.model), "");
}

TEST_F(FetchedResultsModelTest, AnObjectWhoseRecordIsGoneShowsNothing) {
  some(3);
  save();
  Watched<FetchedResultsListModel> list(fetchedOf(items()));
  auto other = newContext();
  const Ref<NSArray> theirs = other->executeFetchRequestError(items());
  context->refreshAllObjects();
  process();
  list.model.reload();
  context->refreshAllObjects();
  other->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(theirs->objectAtIndex(1))));
  ASSERT_TRUE(other->save());
  list.model.reload();
  EXPECT_EQ(list.model.rowCount(), 3);
  list.model.index(1).data(list.model.roleOf("rank"));
  process();
  EXPECT_EQ(shown(list.model), "a c") << "the context has noticed when its record was asked for";
}

TEST_F(FetchedResultsModelTest, ARandomChoiceIsAListLikeAnyOther) {
  some(8);
  const auto sample =
      PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
          items(), context, 3);
  Watched<FetchedResultsListModel> list(sample);
  ASSERT_TRUE(list.model.fetch());
  ASSERT_EQ(list.model.rowCount(), 3);
  const auto first = list.model.objectAt(list.model.index(0));
  EXPECT_EQ(list.model.indexOf(first).row(), 0);
  list.watcher.told();
  first->setValueForKey("new", "name");
  process();
  EXPECT_EQ(list.model.index(0).data(), QVariant("new"));
  context->deleteObject(first);
  process();
  EXPECT_EQ(list.watcher.told(), "=0, -0, +2");
  EXPECT_EQ(list.model.rowCount(), 3);
}

}  // namespace
}  // namespace JNFoundation
