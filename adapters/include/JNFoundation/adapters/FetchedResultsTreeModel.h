#pragma once

#include <JNFoundation/adapters/FetchedResultsModel.h>

namespace JNFoundation::inline v0_1 {

/// Fetched results as a tree of two levels: the sections, which display their names, and below each
/// its objects. Results without sections are one nameless section.
/// See FetchedResultsModel.
class FetchedResultsTreeModel : public QAbstractItemModel, public FetchedResultsModel {
 public:
  /// Takes: null for no controller yet. Fails: as `setController`.
  explicit FetchedResultsTreeModel(const Ref<NSFetchedResultsController>& controller = nullptr,
                                   QObject* parent = nullptr);
  ~FetchedResultsTreeModel() override;

  using QObject::parent;
  // What a view asks, see QAbstractItemModel.
  QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QHash<int, QByteArray> roleNames() const override;

 private:
  QAbstractItemModel& itemModel() noexcept override { return *this; }
  QModelIndex indexOfSection(int row, quintptr identifier) const override;
};

}  // namespace JNFoundation
