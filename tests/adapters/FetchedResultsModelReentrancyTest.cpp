#include <QtCore/QPointer>

#include "tests/adapters/ModelFixture.h"

namespace JNFoundation {
namespace {

/// What a slot may do while a batch is told.
enum class Deed { deletes, reloads, letsGo, shows, fetches, edits, saves, resets, opensALoop };

std::string nameOfDeed(const ::testing::TestParamInfo<Deed>& info) {
  static const char* const names[] = {"Deletes", "Reloads", "LetsGo", "ShowsAnother", "Fetches",
                                      "Edits",   "Saves",   "Resets", "OpensALoop"};
  return names[static_cast<int>(info.param)];
}

/// A batch that has every kind of step, and a slot that does its deed in the n-th signal, for every
/// n. Whatever remains of the model is true afterwards.
class ModelSlot : public ModelTest, public ::testing::WithParamInterface<Deed> {
 protected:
  template <class Model>
  struct Stage {
    std::unique_ptr<Watched<Model>> watched;
    Ref<NSFetchedResultsController> controller;
    Ref<NSFetchedResultsController> other;
    int left = 0;
    bool isDone = false;
  };

  void fill() {
    context->reset();
    const Ref<NSArray> all = fetch(request("Item"));
    for (const Value& object : all) {
      context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(object)));
    }
    const char* const groups[] = {"b", "b", "b", "c", "c", "d", "d", "d", "e"};
    objects.clear();
    for (int i = 0; i < 9; ++i) objects.push_back(item("o", i, groups[i]));
    save();
  }

  /// Sections that go and come, rows that go, change, move and come.
  void edit(bool movesMany) {
    context->deleteObject(objects[1]);
    objects[0]->setValueForKey(true, "hidden");
    objects[5]->setValueForKey(false, "hidden");
    objects[8]->setValueForKey("a", "group");  // e goes, a comes
    objects[7]->setValueForKey("b", "group");
    objects[2]->setValueForKey(-5, "rank");
    item("n", 50, "c");
    item("n", 51, "c");
    item("n", 0, "f");
    if (movesMany) {
      for (std::size_t i = 2; i < objects.size(); ++i) {
        objects[i]->setValueForKey(100 - static_cast<int>(i), "rank");
        objects[i]->setValueForKey(i % 2 == 0 ? "a" : "z", "group");
      }
      for (int i = 0; i < 20; ++i) moving[static_cast<std::size_t>(i)]->setValueForKey(-i, "rank");
    }
  }

  template <class Model>
  void act(Stage<Model>& stage) {
    if (stage.isDone || stage.left-- > 0) return;
    stage.isDone = true;
    Model& model = stage.watched->model;
    switch (GetParam()) {
      case Deed::deletes:
        stage.watched.reset();
        break;
      case Deed::reloads:
        model.reload();
        break;
      case Deed::letsGo:
        model.setController(nullptr);
        stage.controller = nullptr;
        break;
      case Deed::shows:
        model.setController(stage.other);
        break;
      case Deed::fetches:
        EXPECT_TRUE(model.fetch());
        break;
      case Deed::edits:
        objects[3]->setValueForKey(70, "rank");
        context->deleteObject(objects[4]);
        process();
        break;
      case Deed::saves:
        save();
        break;
      case Deed::resets:
        context->reset();
        break;
      case Deed::opensALoop:
        objects[3]->setValueForKey(70, "rank");
        QCoreApplication::processEvents();
        break;
    }
  }

  /// Returns: whether the batch had as many signals as that.
  template <class Model>
  bool runWith(int signal, bool movesMany) {
    fill();
    moving.clear();
    for (int i = 0; movesMany && i < 20; ++i) moving.push_back(item("m", 1000 + i, "m"));
    save();
    auto stage = std::make_shared<Stage<Model>>();
    stage->controller = fetchedOf(items({by("group"), by("rank")}), "group");
    stage->other = fetchedOf(items({by("rank", false)}));
    stage->watched = std::make_unique<Watched<Model>>(stage->controller);
    stage->left = signal;
    Model& model = stage->watched->model;
    const auto slot = [this, stage] { act(*stage); };
    using Item = QAbstractItemModel;
    // Queued behind the watchers. Those "about to be" are no place to delete a model in.
    QObject::connect(&model, &Item::dataChanged, &_receiver, slot);
    QObject::connect(&model, &Item::rowsInserted, &_receiver, slot);
    QObject::connect(&model, &Item::rowsRemoved, &_receiver, slot);
    QObject::connect(&model, &Item::rowsMoved, &_receiver, slot);
    QObject::connect(&model, &Item::layoutChanged, &_receiver, slot);
    if (GetParam() != Deed::deletes) {
      QObject::connect(&model, &Item::rowsAboutToBeInserted, &_receiver, slot);
      QObject::connect(&model, &Item::rowsAboutToBeRemoved, &_receiver, slot);
      QObject::connect(&model, &Item::rowsAboutToBeMoved, &_receiver, slot);
      QObject::connect(&model, &Item::layoutAboutToBeChanged, &_receiver, slot);
    }
    edit(movesMany);
    process();
    process();
    const bool isDone = std::exchange(stage->isDone, true);
    if (stage->watched && stage->watched->model.controller()) {
      const bool isEmpty = GetParam() == Deed::resets && isDone;
      if (isEmpty) {
        EXPECT_EQ(stage->watched->model.rowCount(), 0);
        EXPECT_TRUE(stage->watched->model.fetch());
      }
      stage->watched->watcher.expectTrue("name");
      if (!isEmpty) {
        item("last", 77, "c");
        process();
        stage->watched->watcher.expectTrue("name");
      }
    } else if (stage->watched) {
      EXPECT_EQ(stage->watched->model.rowCount(), 0);
    }
    stage->watched.reset();
    return isDone;
  }

  template <class Model>
  void runEverywhere() {
    for (const bool movesMany : {false, true}) {
      int signal = 0;
      while (runWith<Model>(signal, movesMany)) {
        ++signal;
        if (HasFailure()) FAIL() << "in signal " << signal - 1 << (movesMany ? ", layout" : "");
      }
      EXPECT_GT(signal, 5) << "a batch has that many signals at least";
    }
  }

  std::vector<Ref<NSManagedObject>> objects, moving;
  QObject _receiver;
};

TEST_P(ModelSlot, OfAListMayDoItInAnySignal) { runEverywhere<FetchedResultsListModel>(); }

TEST_P(ModelSlot, OfATreeMayDoItInAnySignal) { runEverywhere<FetchedResultsTreeModel>(); }

INSTANTIATE_TEST_SUITE_P(Deeds, ModelSlot,
                         ::testing::Values(Deed::deletes, Deed::reloads, Deed::letsGo, Deed::shows,
                                           Deed::fetches, Deed::edits, Deed::saves, Deed::resets,
                                           Deed::opensALoop),
                         nameOfDeed);

}  // namespace
}  // namespace JNFoundation
