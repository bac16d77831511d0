#pragma once

#include <QtCore/QSortFilterProxyModel>
#include <QtTest/QAbstractItemModelTester>
#include <QtWidgets/QApplication>
#include <memory>
#include <vector>

#include "tests/platform/store/FetchedResultsFixture.h"

#include <JNFoundation/adapters/FetchedResultsListModel.h>
#include <JNFoundation/adapters/FetchedResultsTreeModel.h>

namespace JNFoundation {

/// What Qt's own watcher finds wrong ends the process; this is said before, the seed for instance.
void sayBeforeTheEnd(const std::string& text);

QString qt(const Ref<NSString>& text);

/// Rows rebuilt from nothing but what a model's signals said and was asked for in them. At every
/// signal the model has to have as many rows as are here.
class SignalWatcher : public QObject {
 public:
  struct Row {
    Ref<NSManagedObject> object;
    QVariant value;
  };
  struct Section {
    QVariant name;
    std::vector<Row> rows;
  };

  /// Takes: the role whose values are kept.
  SignalWatcher(FetchedResultsModel& rows, QAbstractItemModel& model, int role = Qt::DisplayRole);

  /// The rows are those of the controller, in its order, with the values that the objects have at
  /// the key path.
  void expectTrue(const char* keyPath) const;

  /// What was told since the last time, joined by ", ".
  std::string told();

  int resets = 0;
  int layouts = 0;
  int moves = 0;

 private:
  bool isTree() const { return _isTree; }
  Row rowOf(const QModelIndex& index) const;
  Section sectionOf(const QModelIndex& parent) const;
  std::vector<Section> allOf() const;
  std::vector<Row>& rowsBelow(const QModelIndex& parent);
  void expectCounts() const;
  void say(const char* what, const QModelIndex& parent, int first, int last);

  void rowsInserted(const QModelIndex& parent, int first, int last);
  void rowsRemoved(const QModelIndex& parent, int first, int last);
  void rowsMoved(const QModelIndex& parent, int first, int last, const QModelIndex& to, int row);
  void dataChanged(const QModelIndex& first, const QModelIndex& last);
  void layoutChanged();

  FetchedResultsModel& _rows;
  QAbstractItemModel& _model;
  const int _role;
  const bool _isTree;
  std::vector<Section> _sections;
  std::vector<std::string> _log;
};

/// A model with those who watch it: Qt's tester, and the rebuilt rows.
template <class Model>
struct Watched {
  explicit Watched(const Ref<NSFetchedResultsController>& controller, const char* display = "name")
      : model(controller) {
    model.setDisplay(display);
    watcher.resets = 0;
    watcher.told();
  }

  Model model;
  QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
  SignalWatcher watcher{model, model};
};

class ModelTest : public FetchedResultsTest {
 protected:
  /// What the rows below the parent display, joined by " "; a tree's with its sections.
  static std::string shown(const QAbstractItemModel& model, const QModelIndex& parent = {});
};

}  // namespace JNFoundation
