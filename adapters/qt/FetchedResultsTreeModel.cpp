#include "JNFoundation/adapters/FetchedResultsTreeModel.h"

namespace JNFoundation::inline v0_1 {

FetchedResultsTreeModel::FetchedResultsTreeModel(const Ref<NSFetchedResultsController>& controller,
                                                 QObject* parent)
    : QAbstractItemModel(parent), FetchedResultsModel(Sections::asParents) {
  setController(controller);
}

FetchedResultsTreeModel::~FetchedResultsTreeModel() = default;

QModelIndex FetchedResultsTreeModel::index(int row, int column, const QModelIndex& parent) const {
  if (!hasIndex(row, column, parent)) return {};
  return createIndex(row, column, identifierOf(parent));
}

QModelIndex FetchedResultsTreeModel::parent(const QModelIndex& child) const {
  return parentOf(child);
}

int FetchedResultsTreeModel::rowCount(const QModelIndex& parent) const { return rowsOf(parent); }

int FetchedResultsTreeModel::columnCount(const QModelIndex&) const { return 1; }

QVariant FetchedResultsTreeModel::data(const QModelIndex& index, int role) const {
  return dataOf(index, role);
}

Qt::ItemFlags FetchedResultsTreeModel::flags(const QModelIndex& index) const {
  const Qt::ItemFlags flags = QAbstractItemModel::flags(index);
  return objectAt(index) ? flags | Qt::ItemNeverHasChildren : flags;
}

QHash<int, QByteArray> FetchedResultsTreeModel::roleNames() const { return namesOfRoles(); }

QModelIndex FetchedResultsTreeModel::indexOfSection(int row, quintptr identifier) const {
  return createIndex(row, 0, identifier);
}

}  // namespace JNFoundation
