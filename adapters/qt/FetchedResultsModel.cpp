#include "JNFoundation/adapters/FetchedResultsModel.h"

#include "FetchedResultsFeed.h"

#include <JNFoundation/adapters/QtValue.h>
#include <JNFoundation/platform/query/KeyValueCoding.h>

namespace JNFoundation::inline v0_1 {

FetchedResultsModel::FetchedResultsModel(Sections sections)
    : _feed(std::make_shared<Feed>(*this, sections)) {}

FetchedResultsModel::~FetchedResultsModel() { _feed->part(); }

const Ref<NSFetchedResultsController>& FetchedResultsModel::controller() const noexcept {
  return _feed->controller();
}

void FetchedResultsModel::setController(const Ref<NSFetchedResultsController>& controller) {
  _feed->setController(controller);
}

bool FetchedResultsModel::fetch(Ref<NSError>* error) {
  const Ref<NSFetchedResultsController> controller = _feed->controller();
  const std::shared_ptr<Feed> feed = _feed;
  if (!controller || !controller->performFetch(error)) return false;
  feed->reload();
  return true;
}

void FetchedResultsModel::reload() { _feed->reload(); }

void FetchedResultsModel::setAttributes(std::vector<Ref<NSString>> keyPaths) {
  _feed->setAttributes(std::move(keyPaths));
}

int FetchedResultsModel::roleOf(const Ref<NSString>& keyPath) const {
  const std::vector<Ref<NSString>>& keyPaths = _feed->attributes();
  for (std::size_t i = 0; i < keyPaths.size(); ++i) {
    if (keyPaths[i]->isEqual(keyPath)) return Qt::UserRole + static_cast<int>(i);
  }
  return -1;
}

void FetchedResultsModel::setDisplay(const Ref<NSString>& keyPath) { _feed->setDisplay(keyPath); }

Ref<NSManagedObject> FetchedResultsModel::objectAt(const QModelIndex& index) const {
  const FetchedRow* const row = _feed->rowAt(index);
  return row ? row->object : nullptr;
}

QModelIndex FetchedResultsModel::indexOf(const Ref<NSManagedObject>& object) const {
  const Ref<NSFetchedResultsController>& controller = _feed->controller();
  if (!object || !controller) return {};
  const Ref<NSIndexPath> path = controller->indexPathForObject(object);
  if (!path) return {};
  const FetchedRow* const row =
      _feed->rows().rowAt(path->indexAtPosition(0), path->indexAtPosition(1));
  return row && row->object == object ? _feed->indexOf(*row) : QModelIndex();
}

QVariant FetchedResultsModel::valueOf(const Ref<NSManagedObject>& object, int role) const {
  const Ref<NSString> keyPath = _feed->keyPathOf(role);
  return keyPath ? variantOf(valueForKeyPath(object, keyPath)) : QVariant();
}

// ---- For QAbstractItemModel ---------------------------------------------------------------------

QModelIndex FetchedResultsModel::parentOf(const QModelIndex& child) const {
  if (!child.isValid()) return {};
  const FetchedRowSection* const section = _feed->rows().sectionOf(child.internalId());
  return section ? _feed->indexOf(*section) : QModelIndex();
}

int FetchedResultsModel::rowsOf(const QModelIndex& parent) const {
  const FetchedRows& rows = _feed->rows();
  if (!_feed->isTree()) return parent.isValid() ? 0 : static_cast<int>(rows.rowCount());
  if (!parent.isValid()) return static_cast<int>(rows.sectionCount());
  if (parent.internalId() != 0 || parent.column() > 0) return 0;
  const FetchedRowSection* const section = rows.sectionAt(static_cast<std::size_t>(parent.row()));
  return section ? static_cast<int>(section->rows.size()) : 0;
}

QVariant FetchedResultsModel::dataOf(const QModelIndex& index, int role) const {
  if (FetchedRow* const row = _feed->rowAt(index)) return _feed->show(*row, role);
  if (!_feed->isTree() || !index.isValid() || index.internalId() != 0) return {};
  const bool isName =
      role == Qt::DisplayRole || role == Qt::EditRole || role == Role::SectionNameRole;
  const FetchedRowSection* const section =
      isName ? _feed->rows().sectionAt(static_cast<std::size_t>(index.row())) : nullptr;
  if (!section || !section->name) return {};
  return QString::fromUtf8(section->name->UTF8String());
}

QHash<int, QByteArray> FetchedResultsModel::namesOfRoles() const {
  QHash<int, QByteArray> names = {
      {Qt::DisplayRole, "display"}, {ObjectRole, "object"}, {SectionNameRole, "sectionName"}};
  if (!_feed->isTree()) names.insert(SectionRole, "section");
  int role = Qt::UserRole;
  for (const Ref<NSString>& keyPath : _feed->attributes()) {
    QByteArray name(keyPath->UTF8String());
    name.replace('.', '_');
    // An attribute of the same name is the one that is meant.
    if (const int other = names.key(name, -1); other >= 0) names.remove(other);
    names.insert(role++, name);
  }
  return names;
}

quintptr FetchedResultsModel::identifierOf(const QModelIndex& parent) const {
  if (!parent.isValid()) return 0;
  const FetchedRowSection* const section =
      _feed->rows().sectionAt(static_cast<std::size_t>(parent.row()));
  return section ? section->identifier : 0;
}

}  // namespace JNFoundation
