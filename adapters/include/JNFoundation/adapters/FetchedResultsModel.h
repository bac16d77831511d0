#pragma once

#include <QtCore/QAbstractItemModel>
#include <memory>
#include <vector>

#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation::inline v0_1 {

/// What the models of fetched results for Qt have in common: FetchedResultsListModel, with the
/// sections as values of its rows, and FetchedResultsTreeModel, with the sections as parents.
///
///     auto* model = new FetchedResultsListModel(controller, parent);
///     model->setAttributes({"name", "population"});  // Qt::UserRole, Qt::UserRole + 1
///     model->setDisplay("name");
///     if (!model->fetch(&error)) report(error);
///     view->setModel(model);
///
/// A model shows any fetched-results controller, a random one too. It follows every batch that the
/// controller tells, in steps that views and proxies understand: changed values, then rows that go,
/// move and come. Objects that move take selections and persistent indexes along.
///
/// **What a view was given stays true until the view is told otherwise.** Values that were asked
/// for are kept until their object is told of as changed, so that a proxy never compares a new
/// value of one row with an old order. What the controller does not notice, such as an attribute of
/// a related object, changes with the next `reload`.
///
/// A batch takes time in the order of n log n of what it changes, whatever the length of the list;
/// on top comes what Qt does for every persistent index in every step. More than 16 moves are told
/// as one change of layout, which persistent indexes follow as well.
///
/// A model is the delegate of its controller. A delegate that the controller has already goes on
/// hearing everything, after the model, and has its place back when the model leaves; held weakly,
/// as by the controller. Several models over one controller are such a chain. Whoever takes the
/// place later and passes nothing on leaves the model as it is.
///
/// The controller's fetches, and new samples, are told to nobody: have the model do the first
/// (`fetch`), and call `reload` after the others. A reset of the context empties the model. What
/// the controller tells that does not fit what the model has, after a fetch behind its back for
/// instance, resets the model to what the controller has then.
///
/// A slot of the model's signals may change objects, save, fetch, `reload`, take the controller
/// away, or delete the model: what follows then waits until the running step is over. The signals
/// named "about to be" are Qt's exception: a model must not be deleted in them.
/// Threads: main, to which the controller's context must belong as well.
class FetchedResultsModel {
 public:
  /// Roles of every row besides those of its attributes, with their names.
  enum Role {
    /// "object": a Ref<NSManagedObject>.
    ObjectRole = Qt::UserRole + 0x10000,
    /// "sectionName": text; none in a list without sections.
    SectionNameRole,
    /// "section": the number of the section. In a list only; in a tree the parent's row says it.
    SectionRole,
  };

  FetchedResultsModel(const FetchedResultsModel&) = delete;
  FetchedResultsModel& operator=(const FetchedResultsModel&) = delete;

  /// Null for none.
  const Ref<NSFetchedResultsController>& controller() const noexcept;
  /// Shows another controller, with what it has fetched; null for none. Fails: raises
  /// NSInvalidArgumentException for one whose context has a queue of its own.
  void setController(const Ref<NSFetchedResultsController>& controller);

  /// Has the controller fetch, and reloads. Returns: whether it has; the rows stay as they are
  /// otherwise, and without a controller nothing happens.
  bool fetch(Ref<NSError>* error = nullptr);
  /// Shows anew what the controller has, as a reset: selections go.
  void reload();

  /// The key paths that are roles from Qt::UserRole on, by their own names with "_" for each ".".
  /// Resets the model. Takes: none for all attributes of the controller's entity, by name, as it
  /// is at first.
  void setAttributes(std::vector<Ref<NSString>> keyPaths);
  /// Returns: -1 for a key path that is none of the roles.
  int roleOf(const Ref<NSString>& keyPath) const;
  /// The key path that Qt::DisplayRole and Qt::EditRole show; null, as it is at first, for the
  /// first one that the results are sorted by. Resets the model.
  void setDisplay(const Ref<NSString>& keyPath);

  /// Returns: null for the index of a section, and for one that is not of this model.
  Ref<NSManagedObject> objectAt(const QModelIndex& index) const;
  /// The first row of the object. Returns: an invalid index for one that is not shown, and, while
  /// a batch is being told, for one that is not where the batch will put it.
  QModelIndex indexOf(const Ref<NSManagedObject>& object) const;

 protected:
  /// Whether sections show as roles of their rows, or as parents of them.
  enum class Sections {
    asRoles,   ///< of each row
    asParents  ///< of the rows, in a tree
  };

  explicit FetchedResultsModel(Sections sections);
  virtual ~FetchedResultsModel();

  /// The value of an object for a role, which the model keeps until the object changes. A subclass
  /// may add roles, Qt::ToolTipRole for instance. Returns: invalid for none; what raises counts as
  /// none.
  virtual QVariant valueOf(const Ref<NSManagedObject>& object, int role) const;

  // What the operations of QAbstractItemModel of the same names return, for one of this shape.
  QModelIndex parentOf(const QModelIndex& child) const;
  int rowsOf(const QModelIndex& parent) const;
  QVariant dataOf(const QModelIndex& index, int role) const;
  QHash<int, QByteArray> namesOfRoles() const;
  /// What the index of a row carries, by which its parent is found; 0 for a section.
  quintptr identifierOf(const QModelIndex& parent) const;

 private:
  class Feed;
  friend class Feed;

  virtual QAbstractItemModel& itemModel() noexcept = 0;
  virtual QModelIndex indexOfSection(int row, quintptr identifier) const = 0;

  /// Outlives the model where a slot deletes it.
  std::shared_ptr<Feed> _feed;
};

}  // namespace JNFoundation
