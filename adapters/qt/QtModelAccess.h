#pragma once

#include <QtCore/QAbstractItemModel>

namespace JNFoundation::inline v0_1 {

/// What QAbstractItemModel lets its descendants do, for the part of a model that is none.
class QtModelAccess : public QAbstractItemModel {
 public:
  using Model = QAbstractItemModel;

  static void beginReset(Model& model) { (model.*&QtModelAccess::beginResetModel)(); }
  static void endReset(Model& model) { (model.*&QtModelAccess::endResetModel)(); }

  static void beginInsert(Model& model, const QModelIndex& parent, int first, int last) {
    (model.*&QtModelAccess::beginInsertRows)(parent, first, last);
  }
  static void endInsert(Model& model) { (model.*&QtModelAccess::endInsertRows)(); }

  static void beginRemove(Model& model, const QModelIndex& parent, int first, int last) {
    (model.*&QtModelAccess::beginRemoveRows)(parent, first, last);
  }
  static void endRemove(Model& model) { (model.*&QtModelAccess::endRemoveRows)(); }

  /// Returns: false where Qt sees no move.
  static bool beginMove(Model& model, const QModelIndex& parent, int row,
                        const QModelIndex& newParent, int newRow) {
    return (model.*&QtModelAccess::beginMoveRows)(parent, row, row, newParent, newRow);
  }
  static void endMove(Model& model) { (model.*&QtModelAccess::endMoveRows)(); }

  static QModelIndexList persistentIndexes(const Model& model) {
    return (model.*&QtModelAccess::persistentIndexList)();
  }
  static void changePersistentIndexes(Model& model, const QModelIndexList& from,
                                      const QModelIndexList& to) {
    (model.*&QtModelAccess::changePersistentIndexList)(from, to);
  }
};

}  // namespace JNFoundation
