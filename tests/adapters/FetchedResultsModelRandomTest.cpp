#include <QtWidgets/QListView>
#include <QtWidgets/QTreeView>
#include <algorithm>
#include <map>
#include <set>

#include "tests/adapters/ModelFixture.h"
#include "tests/platform/store/RandomLists.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/platform/dispatch/NSNotification.h>
#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>

namespace JNFoundation {
namespace {

/// Models of both shapes, with all who watch them, views and a proxy on top, over lists whose
/// objects are changed at random.
class ModelRandom : public RandomLists {
 protected:
  void SetUp() override {
    RandomLists::SetUp();
    sayBeforeTheEnd("JN_SEED=" + std::to_string(random.seed()));
  }

  /// The rank counts up in it, and who has none is left out.
  class ByRank : public QSortFilterProxyModel {
   public:
    explicit ByRank(FetchedResultsListModel& model) : _role(model.roleOf("rank")) {
      setSortRole(_role);
      setSourceModel(&model);
      sort(0);
    }

    bool filterAcceptsRow(int row, const QModelIndex& parent) const override {
      return sourceModel()->index(row, 0, parent).data(_role).isValid();
    }

    /// It has who has a rank, by rank.
    void expectTrue(const NSFetchedResultsController& controller) const {
      std::multiset<const NSObject*> expected, found;
      const Ref<NSArray> objects = controller.fetchedObjects();
      for (const Value& object : objects) {
        if (as<NSObject>(object)->valueForKey("rank")) expected.insert(object.object());
      }
      qlonglong last = std::numeric_limits<qlonglong>::min();
      for (int row = 0; row < rowCount(); ++row) {
        const QModelIndex each = index(row, 0);
        const auto object =
            each.data(FetchedResultsModel::ObjectRole).value<Ref<NSManagedObject>>();
        const qlonglong rank = object->valueForKey("rank").longLongValue();
        ASSERT_EQ(each.data(_role).toLongLong(), rank);
        ASSERT_LE(last, rank) << "row " << row << " of the proxy";
        last = rank;
        found.insert(object.get());
      }
      ASSERT_EQ(found, expected);
    }

   private:
    const int _role;
  };

  /// Indexes and a selection that have to follow their objects.
  class Followed {
   public:
    Followed(FetchedResultsModel& rows, QAbstractItemModel& model, QAbstractItemView& view)
        : _rows(rows), _model(model), _view(view) {}

    void begin(testing::Randomness& random) {
      _indexes.clear();
      _selected.clear();
      QItemSelectionModel& selection = *_view.selectionModel();
      selection.clear();
      follow({}, random);
    }

    /// Takes: how many batches there were; in several an object may have left and come again.
    void expectTrue(int batches) {
      std::set<const NSObject*> alive, selected;
      std::erase_if(_indexes, [&](const auto& each) {
        const bool isThere = _rows.controller()->indexPathForObject(each.second) != nullptr;
        if (isThere ? batches < 2 : each.first.isValid()) {
          EXPECT_EQ(each.first.isValid(), isThere);
        }
        return !each.first.isValid();
      });
      for (const auto& [index, object] : _indexes) {
        ASSERT_EQ(_rows.objectAt(index), object);
        ASSERT_EQ(_rows.indexOf(object), QModelIndex(index));
        if (_selected.count(object.get()) > 0) alive.insert(object.get());
      }
      for (const QModelIndex& index : _view.selectionModel()->selectedIndexes()) {
        selected.insert(_rows.objectAt(index).get());
      }
      ASSERT_EQ(selected, alive);
    }

   private:
    void follow(const QModelIndex& parent, testing::Randomness& random) {
      for (int row = 0; row < _model.rowCount(parent); ++row) {
        const QModelIndex index = _model.index(row, 0, parent);
        const Ref<NSManagedObject> object = _rows.objectAt(index);
        if (!object) {
          follow(index, random);
          continue;
        }
        _indexes.emplace_back(index, object);
        if (random.below(3) != 0) continue;
        _view.selectionModel()->select(index, QItemSelectionModel::Select);
        _selected.insert(object.get());
      }
    }

    FetchedResultsModel& _rows;
    QAbstractItemModel& _model;
    QAbstractItemView& _view;
    std::vector<std::pair<QPersistentModelIndex, Ref<NSManagedObject>>> _indexes;
    std::set<const NSObject*> _selected;
  };

  /// Those whose watching takes the most time: Qt's testers, views and a proxy.
  struct Audience {
    Audience(FetchedResultsListModel& list, FetchedResultsTreeModel& tree)
        : proxy(list),
          listTester(&list, QAbstractItemModelTester::FailureReportingMode::Fatal),
          treeTester(&tree, QAbstractItemModelTester::FailureReportingMode::Fatal),
          proxyTester(&proxy, QAbstractItemModelTester::FailureReportingMode::Fatal),
          listed(list, list, listView),
          treed(tree, tree, treeView) {
      listView.setModel(&list);
      treeView.setModel(&tree);
      proxyView.setModel(&proxy);
      for (QAbstractItemView* view :
           std::initializer_list<QAbstractItemView*>{&listView, &treeView, &proxyView}) {
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        view->resize(120, 200);
        view->show();
      }
      treeView.expandAll();
    }

    ByRank proxy;
    QAbstractItemModelTester listTester, treeTester, proxyTester;
    QListView listView, proxyView;
    QTreeView treeView;
    Followed listed, treed;
  };

  struct Tower {
    Tower(Shown shown, bool hasAudience) : shown(std::move(shown)) {
      list.setDisplay("name");
      tree.setDisplay("name");
      listWatcher.resets = treeWatcher.resets = 0;
      if (hasAudience) audience = std::make_unique<Audience>(list, tree);
    }

    Shown shown;
    FetchedResultsListModel list{shown.controller};
    FetchedResultsTreeModel tree{shown.controller};
    SignalWatcher listWatcher{list, list}, treeWatcher{tree, tree};
    std::unique_ptr<Audience> audience;
  };

  void lead(int steps, bool haveAudience);

  void expectTrue(Tower& tower, int step) {
    RandomLists::expectTrue(tower.shown, step);
    if (HasFatalFailure()) return;
    SCOPED_TRACE("step " + std::to_string(step));
    const int batches = std::exchange(tower.shown.view->batches, 0);
    // Nothing was told that did not fit.
    ASSERT_EQ(tower.listWatcher.resets, 0);
    ASSERT_EQ(tower.treeWatcher.resets, 0);
    // A list of what is saved shows the values of that as well, until more is.
    if (!tower.shown.controller->fetchRequest()->includesPendingChanges() &&
        context->hasChanges()) {
      return;
    }
    ASSERT_NO_FATAL_FAILURE(tower.listWatcher.expectTrue("name"));
    ASSERT_NO_FATAL_FAILURE(tower.treeWatcher.expectTrue("name"));
    if (!tower.audience) return;
    ASSERT_NO_FATAL_FAILURE(tower.audience->proxy.expectTrue(*tower.shown.controller));
    ASSERT_NO_FATAL_FAILURE(tower.audience->listed.expectTrue(batches));
    ASSERT_NO_FATAL_FAILURE(tower.audience->treed.expectTrue(batches));
  }
};

/// Leads lists through random changes of at most 64 objects; with an audience two at a time.
void ModelRandom::lead(int steps, bool haveAudience) {
  JN_TRACE_SEED(random);
  constexpr std::size_t most = 64;
  std::vector<Ref<NSManagedObject>> alive;
  std::vector<std::unique_ptr<Tower>> towers;
  int names = 0;
  const auto insertOne = [&] {
    alive.push_back(insert(
        random.below(4) == 0 ? "SpecialItem" : "Item",
        {{"name", std::to_string(names++)}, {"group", randomGroup()}, {"rank", randomRank()}}));
  };
  auto other = newContext();
  const auto refresh = [&] {
    alive.clear();
    const Ref<NSArray> all = fetch(request("Item"));
    for (const Value& object : all) alive.emplace_back(as<NSManagedObject>(object));
  };
  for (int i = 0; i < 30; ++i) insertOne();
  save();
  int moves = 0;
  for (int step = 0; step < steps; ++step) {
    if (towers.size() < (haveAudience ? 2 : 1))
      towers.push_back(std::make_unique<Tower>(show(), haveAudience));
    if (random.below(40) == 0) towers.erase(towers.begin());
    if (random.below(20) == 0) {
      for (const auto& tower : towers) {
        moves += std::exchange(tower->listWatcher.moves, 0);
        if (!tower->audience) continue;
        tower->audience->listed.begin(random);
        tower->audience->treed.begin(random);
      }
    }
    const auto edits = random.below(20) == 0 ? 60 : 1 + random.below(6);
    for (std::uint64_t i = 0; i < edits; ++i) {
      const auto what = random.below(10);
      if (alive.empty() || (what < 2 && alive.size() < most)) {
        insertOne();
      } else if (what == 2) {
        const auto at = random.below(alive.size());
        context->deleteObject(alive[at]);
        std::swap(alive[at], alive.back());
        alive.pop_back();
      } else {
        change(alive[random.below(alive.size())]);
      }
    }
    switch (random.below(16)) {
      case 0:
      case 1:
        save();
        break;
      case 2:
        context->rollback();
        refresh();
        break;
      case 3: {
        // Somebody else saves, and it is merged.
        save();
        const Ref<NSArray> theirs = other->executeFetchRequestError(request("Item"));
        for (const Value& object : theirs) {
          if (random.below(4) == 0) change(Ref<NSManagedObject>(as<NSManagedObject>(object)));
          if (random.below(16) == 0) {
            other->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(object)));
          }
        }
        const auto token =
            NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
                NSManagedObjectContextDidSaveNotification, other,
                [&](const Ref<NSNotification>& saved) {
                  context->mergeChangesFromContextDidSaveNotification(saved);
                });
        Ref<NSError> error;
        ASSERT_TRUE(other->save(&error)) << text(error);
        NSNotificationCenter::defaultCenter()->removeObserver(token);
        other->reset();
        refresh();
        break;
      }
      default:
        break;
    }
    process();
    if (random.below(8) == 0) QCoreApplication::processEvents();
    for (const auto& tower : towers) {
      expectTrue(*tower, step);
      if (HasFatalFailure()) return;
    }
  }
  if (steps >= 1'000) {
    EXPECT_GT(moves, 0) << "no row moved";
  }
}

TEST_P(ModelRandom, RowsAreThoseOfTheControllerWhateverHappens) {
  lead(testing::rounds(10'000, 500'000), false);
}

TEST_P(ModelRandom, IndexesSelectionsViewsAndProxiesFollow) {
  lead(testing::rounds(400, 50'000), true);
}

// After a reset of the context there is nothing, and after a fetch everything is there again.
TEST_P(ModelRandom, ResetsOfTheContextAreSeen) {
  JN_TRACE_SEED(random);
  for (int i = 0; i < 20; ++i) {
    insert("Item", {{"name", std::to_string(i)}, {"group", randomGroup()}, {"rank", randomRank()}});
  }
  save();
  Watched<FetchedResultsListModel> list(fetchedOf(items({by("group"), by("rank")}), "group"));
  Watched<FetchedResultsTreeModel> tree(list.model.controller());
  for (int step = 0; step < 20; ++step) {
    ASSERT_EQ(list.model.rowCount(), 20);
    for (int i = 0; i < 5; ++i)
      change(list.model.objectAt(list.model.index(static_cast<int>(random.below(20)), 0)));
    if (random.below(2) == 0) process();
    save();
    context->reset();
    ASSERT_EQ(list.model.rowCount(), 0);
    ASSERT_EQ(tree.model.rowCount(), 0);
    ASSERT_TRUE(list.model.fetch());
    tree.model.reload();
    ASSERT_NO_FATAL_FAILURE(list.watcher.expectTrue("name"));
    ASSERT_NO_FATAL_FAILURE(tree.watcher.expectTrue("name"));
  }
}

TEST_P(ModelRandom, ARandomChoiceIsFollowedAsWell) {
  JN_TRACE_SEED(random);
  std::vector<Ref<NSManagedObject>> alive;
  int names = 0;
  const auto insertOne = [&] {
    alive.push_back(insert("Item", {{"name", std::to_string(names++)}, {"rank", randomRank()}}));
  };
  for (int i = 0; i < 30; ++i) insertOne();
  save();
  auto sample =
      PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
          items({by("name")}), context, 10);
  Watched<FetchedResultsListModel> list(sample);
  ASSERT_TRUE(list.model.fetch());
  Watched<FetchedResultsTreeModel> tree(sample);
  int resets = list.watcher.resets = tree.watcher.resets = 0;
  QListView view;
  view.setModel(&list.model);
  view.show();
  const int steps = testing::rounds(2'000, 200'000);
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    for (auto edits = 1 + random.below(6); edits > 0; --edits) {
      const auto what = random.below(10);
      if (alive.empty() || (what < 3 && alive.size() < 64)) {
        insertOne();
      } else if (what < 6) {
        const auto at = random.below(alive.size());
        context->deleteObject(alive[at]);
        std::swap(alive[at], alive.back());
        alive.pop_back();
      } else {
        alive[random.below(alive.size())]->setValueForKey(randomRank(), "rank");
      }
    }
    process();
    if (random.below(8) == 0) QCoreApplication::processEvents();
    if (!alive.empty() && random.below(50) == 0) {
      // An object that moves is lost sight of, until others are drawn.
      alive[random.below(alive.size())]->setValueForKey(std::to_string(names++), "name");
      process();
      sample->resampleFetchedObjects();
      list.model.reload();
      tree.model.reload();
      resets += 1;
    }
    const Ref<NSArray> objects = sample->fetchedObjects();
    ASSERT_EQ(list.model.rowCount(), static_cast<int>(objects->count()));
    ASSERT_EQ(tree.model.rowCount(tree.model.index(0, 0)), list.model.rowCount());
    for (int row = 0; row < list.model.rowCount(); ++row) {
      ASSERT_TRUE(objects->objectAtIndex(static_cast<NSUInteger>(row))
                      .isIdentical(list.model.objectAt(list.model.index(row, 0))));
    }
    ASSERT_NO_FATAL_FAILURE(list.watcher.expectTrue("name"));
    ASSERT_NO_FATAL_FAILURE(tree.watcher.expectTrue("name"));
  }
  EXPECT_EQ(list.watcher.resets, resets) << "something that was told did not fit";
  EXPECT_EQ(tree.watcher.resets, resets);
}

FOR_EVERY_STORE(ModelRandom);

}  // namespace
}  // namespace JNFoundation
