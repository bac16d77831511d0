#include "JNFoundation/adapters/FetchedResultsListModel.h"

namespace JNFoundation::inline v0_1 {

FetchedResultsListModel::FetchedResultsListModel(const Ref<NSFetchedResultsController>& controller,
                                                 QObject* parent)
    : QAbstractListModel(parent), FetchedResultsModel(Sections::asRoles) {
  setController(controller);
}

FetchedResultsListModel::~FetchedResultsListModel() = default;

int FetchedResultsListModel::rowCount(const QModelIndex& parent) const { return rowsOf(parent); }

QVariant FetchedResultsListModel::data(const QModelIndex& index, int role) const {
  return dataOf(index, role);
}

QHash<int, QByteArray> FetchedResultsListModel::roleNames() const { return namesOfRoles(); }

/// There are none: sections stand in no index of a list.
QModelIndex FetchedResultsListModel::indexOfSection(int, quintptr) const { return {}; }

}  // namespace JNFoundation
