#include "FetchedResultsFeed.h"

#include <algorithm>

#include "QtModelAccess.h"

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/dispatch/NSNotification.h>
#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

FetchedResultsModel::Feed::~Feed() { detach(); }

void FetchedResultsModel::Feed::part() {
  _model = nullptr;
  detach();
}

// ---- The controller -----------------------------------------------------------------------------

void FetchedResultsModel::Feed::setController(const Ref<NSFetchedResultsController>& controller) {
  if (controller) {
    const Ref<NSManagedObjectContext> context = controller->managedObjectContext();
    if (context && context->concurrencyType() != NSMainQueueConcurrencyType) {
      raise(NSInvalidArgumentException,
            "A model for views shows results of a context of the main queue; that of %@ has a "
            "queue of its own",
            controller);
    }
  }
  detach();
  _controller = controller;
  _knowsAttributes = false;
  attach();
  reload();
}

void FetchedResultsModel::Feed::attach() {
  if (!_controller) return;
  _delegate = makeObject<ResultsFollower>(
      [weak = weak_from_this()](ToldBatch batch) {
        if (const std::shared_ptr<Feed> feed = weak.lock()) feed->apply(std::move(batch));
      },
      _controller->delegate());
  _controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(_delegate));
  const Ref<NSManagedObjectContext> context = _controller->managedObjectContext();
  if (!context) return;
  _resets = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
      NSManagedObjectContextObjectsDidChangeNotification, context,
      [weak = weak_from_this()](const Ref<NSNotification>& notification) {
        const Ref<NSDictionary> told = notification->userInfo();
        if (!told || told->objectForKey(NSInvalidatedAllObjectsKey).isNull()) return;
        if (const std::shared_ptr<Feed> feed = weak.lock()) feed->want(Wanted::clear);
      });
}

/// Puts the delegate that was there before back into the place, which is the controller's, or in
/// the chain of the models that came later.
void FetchedResultsModel::Feed::detach() {
  if (!_controller) return;
  NSNotificationCenter::defaultCenter()->removeObserver(_resets);
  _resets = nullptr;
  const Ref<ResultsFollower> leaving = std::exchange(_delegate, nullptr);
  const Ref<NSFetchedResultsController> controller = std::exchange(_controller, nullptr);
  const Ref<NSFetchedResultsControllerDelegate> own(leaving);
  Ref<NSFetchedResultsControllerDelegate> standing = controller->delegate();
  if (standing == own) return controller->setDelegate(leaving->next());
  while (auto* later = dynamic_cast<ResultsFollower*>(standing.get())) {
    Ref<NSFetchedResultsControllerDelegate> next = later->next();
    if (next == own) return later->setNext(leaving->next());
    standing = std::move(next);
  }
}

void FetchedResultsModel::Feed::want(Wanted wanted) {
  _wanted = wanted;
  if (!_isTelling) settle();
}

void FetchedResultsModel::Feed::settle() {
  const std::shared_ptr<Feed> self = shared_from_this();
  while (_model && _wanted != Wanted::nothing) {
    const Telling telling(*this);
    QtModelAccess::beginReset(items());
    // What is wanted by now is what is done.
    if (std::exchange(_wanted, Wanted::nothing) == Wanted::reload && _controller) {
      _rows.load(*_controller);
    } else {
      _rows.clear();
    }
    QtModelAccess::endReset(items());
  }
}

bool FetchedResultsModel::Feed::mistrust() {
  _wanted = Wanted::reload;
  return false;
}

// ---- Values -------------------------------------------------------------------------------------

void FetchedResultsModel::Feed::setAttributes(std::vector<Ref<NSString>> keyPaths) {
  _showsAllAttributes = keyPaths.empty();
  _attributes = std::move(keyPaths);
  _knowsAttributes = !_showsAllAttributes;
  reload();
}

void FetchedResultsModel::Feed::setDisplay(const Ref<NSString>& keyPath) {
  _display = keyPath;
  reload();
}

const std::vector<Ref<NSString>>& FetchedResultsModel::Feed::attributes() const {
  if (_knowsAttributes || !_showsAllAttributes) return _attributes;
  _attributes.clear();
  const Ref<NSFetchRequest> request = _controller ? _controller->fetchRequest() : nullptr;
  const Ref<NSManagedObjectContext> context =
      _controller ? _controller->managedObjectContext() : nullptr;
  if (!request || !context || !context->persistentStoreCoordinator()) return _attributes;
  const Ref<NSEntityDescription> entity =
      request->entity() ? request->entity()
                        : NSEntityDescription::entityForNameInManagedObjectContext(
                              request->entityName(), context);
  if (!entity) return _attributes;
  const Ref<NSArray> names = entity->attributesByName()->allKeys();
  for (const Value& name : names) _attributes.push_back(name.stringValue());
  std::sort(_attributes.begin(), _attributes.end(),
            [](const auto& left, const auto& right) { return left->utf8() < right->utf8(); });
  _knowsAttributes = true;
  return _attributes;
}

Ref<NSString> FetchedResultsModel::Feed::keyPathOf(int role) const {
  if (role == Qt::DisplayRole || role == Qt::EditRole) {
    if (_display || !_controller) return _display;
    const Ref<NSFetchRequest> request = _controller->fetchRequest();
    const Ref<NSArray> order = request ? request->sortDescriptors() : nullptr;
    if (!order || order->count() == 0) return nullptr;
    const Value first = order->firstObject();
    return as<NSSortDescriptor>(first)->key();
  }
  const std::vector<Ref<NSString>>& keyPaths = attributes();
  if (role < Qt::UserRole || role - Qt::UserRole >= static_cast<int>(keyPaths.size())) {
    return nullptr;
  }
  return keyPaths[static_cast<std::size_t>(role - Qt::UserRole)];
}

QVariant FetchedResultsModel::Feed::show(FetchedRow& row, int role) {
  switch (role) {
    case ObjectRole:
      return QVariant::fromValue(row.object);
    case SectionNameRole: {
      const Ref<NSString>& name = row.section->name;
      return name ? QVariant(QString::fromUtf8(name->UTF8String())) : QVariant();
    }
    case SectionRole:
      return isTree() ? QVariant() : QVariant(static_cast<int>(_rows.numberOf(*row.section)));
    default:
      break;
  }
  for (const auto& [shownRole, value] : row.shown) {
    if (shownRole == role) return value;
  }
  QVariant value;
  const Ref<NSManagedObject> object = row.object;
  try {
    value = _model->valueOf(object, role);
  } catch (const Raised& raised) {
    // An object that is gone has nothing to show. A key that does not exist is a mistake.
    const Ref<NSException>& exception = raised.exception();
    const bool isMistake = exception->name()->isEqual(Value(NSUndefinedKeyException));
    if (isMistake && _complained.insert(role).second) {
      NSLog("A model has nothing to show for role %d: %@", role, exception->reason());
    }
  }
  row.shown.emplace_back(role, value);
  return value;
}

// ---- Places -------------------------------------------------------------------------------------

FetchedRow* FetchedResultsModel::Feed::rowAt(const QModelIndex& index) const {
  if (!_model || !index.isValid() || index.model() != &items()) return nullptr;
  const auto number = static_cast<std::size_t>(index.row());
  if (!isTree()) return _rows.rowAt(number);
  const FetchedRowSection* const section = _rows.sectionOf(index.internalId());
  return section ? section->rows.at(number) : nullptr;
}

QModelIndex FetchedResultsModel::Feed::indexOf(const FetchedRow& row) const {
  const FetchedRowSection& section = *row.section;
  return items().index(numberOf(section, FetchedRows::Rows::rank(row)), 0, parentOf(section));
}

QModelIndex FetchedResultsModel::Feed::indexOf(const FetchedRowSection& section) const {
  return _model->indexOfSection(static_cast<int>(FetchedRows::numberOf(section)), 0);
}

QModelIndex FetchedResultsModel::Feed::parentOf(const FetchedRowSection& section) const {
  return isTree() ? indexOf(section) : QModelIndex();
}

int FetchedResultsModel::Feed::numberOf(const FetchedRowSection& section, std::size_t item) const {
  return static_cast<int>(isTree() ? item : FetchedRows::rowsBefore(section) + item);
}

FetchedResultsModel::Feed::Place FetchedResultsModel::Feed::placeOf(FetchedRow& row) const {
  const FetchedRowSection& section = *row.section;
  const std::size_t item = FetchedRows::Rows::rank(row);
  if (isTree()) return {FetchedRows::numberOf(section), item, &row};
  return {0, FetchedRows::rowsBefore(section) + item, &row};
}

std::vector<FetchedResultsModel::Feed::Place> FetchedResultsModel::Feed::placesOf(
    const std::vector<FetchedRow*>& rows) const {
  std::vector<Place> places;
  places.reserve(rows.size());
  for (FetchedRow* row : rows) places.push_back(placeOf(*row));
  std::sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
    return std::pair(left.parent, left.row) < std::pair(right.parent, right.row);
  });
  return places;
}

}  // namespace JNFoundation
