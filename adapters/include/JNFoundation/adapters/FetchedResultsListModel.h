#pragma once

#include <QtCore/QAbstractListModel>

#include <JNFoundation/adapters/FetchedResultsModel.h>

namespace JNFoundation::inline v0_1 {

/// Fetched results as a list of rows, in which a section is what "section" and "sectionName" of its
/// rows say. For list views, and for `section.property` of those of Qt Quick.
/// See FetchedResultsModel.
class FetchedResultsListModel : public QAbstractListModel, public FetchedResultsModel {
 public:
  /// Takes: null for no controller yet. Fails: as `setController`.
  explicit FetchedResultsListModel(const Ref<NSFetchedResultsController>& controller = nullptr,
                                   QObject* parent = nullptr);
  ~FetchedResultsListModel() override;

  // What a view asks, see QAbstractItemModel.
  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QHash<int, QByteArray> roleNames() const override;

 private:
  QAbstractItemModel& itemModel() noexcept override { return *this; }
  QModelIndex indexOfSection(int row, quintptr identifier) const override;
};

}  // namespace JNFoundation
