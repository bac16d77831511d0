#pragma once

#include <QtCore/QSortFilterProxyModel>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListView>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeView>
#include <QtWidgets/QWidget>

#include "LanguageStore.h"

#include <JNFoundation/adapters/FetchedResultsListModel.h>
#include <JNFoundation/adapters/FetchedResultsTreeModel.h>
#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>

namespace browser {

/// Languages by name and code.
class LanguageTree : public FetchedResultsTreeModel {
 public:
  using FetchedResultsTreeModel::FetchedResultsTreeModel;

 protected:
  QVariant valueOf(const Ref<NSManagedObject>& object, int role) const override;
};

/// Languages whose name has the text that is looked for, in those of their sections that have any.
class LanguageSearch : public QSortFilterProxyModel {
 public:
  explicit LanguageSearch(LanguageTree& languages);

 protected:
  bool filterAcceptsRow(int row, const QModelIndex& parent) const override;
};

/// The window: all languages in sections, to be searched; ten at random, to be discovered; and a
/// button that loads them anew. Everything follows what imports in the background change. F5 loads,
/// Ctrl+F searches.
class BrowserWindow : public QWidget {
 public:
  explicit BrowserWindow(Ref<LanguageStore> store);

  void refresh();

 private:
  void layOut();
  void follow();
  void showState(const QString& text, bool isTrouble);
  void drawOthers();
  void showCurrent();
  void ended(const Value& report, const Ref<PLVRejected>& rejected);

  const Ref<LanguageStore> _store;
  const Ref<NSFetchedResultsController> _controller;
  const Ref<PLVRandomFetchedResultsController> _sample;
  LanguageTree _languages;
  LanguageSearch _search;
  FetchedResultsListModel _strip;
  bool _wasEmpty = true;

  QLineEdit* _searchField;
  QPushButton* _refreshButton;
  QPushButton* _othersButton;
  QListView* _stripView;
  QTreeView* _languageView;
  QLabel* _detail;
  QLabel* _state;
};

}  // namespace browser
