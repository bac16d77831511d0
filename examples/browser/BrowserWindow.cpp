#include "BrowserWindow.h"

#include <QtCore/QPointer>
#include <QtGui/QShortcut>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QVBoxLayout>

#include "../catalog/Language.h"

#include <JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h>
#include <JNFoundation/importing/ImportReport.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/util/NSError+JNFoundation.h>

namespace browser {
namespace {

constexpr NSUInteger stripLength = 10;

Ref<NSFetchRequest> languages(const std::vector<Value>& keys) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Language");
  std::vector<Value> order;
  order.reserve(keys.size());
  for (const Value& key : keys) {
    order.emplace_back(NSSortDescriptor::sortDescriptorWithKeyAscending(key.stringValue(), true));
  }
  request->setSortDescriptors(NSArray::arrayWithValues(std::move(order)));
  return request;
}

QString qt(const Ref<NSString>& text) {
  return text ? QString::fromUtf8(text->UTF8String()) : QString();
}

}  // namespace

// ---- What is shown ------------------------------------------------------------------------------

QVariant LanguageTree::valueOf(const Ref<NSManagedObject>& object, int role) const {
  if (role != Qt::DisplayRole) return FetchedResultsTreeModel::valueOf(object, role);
  const auto& language = static_cast<const catalog::Language&>(*object);
  return qt(language.name()) + "  ·  " + qt(language.code());
}

LanguageSearch::LanguageSearch(LanguageTree& languages) {
  setRecursiveFilteringEnabled(true);
  setFilterCaseSensitivity(Qt::CaseInsensitive);
  setFilterRole(languages.roleOf("name"));
  setSourceModel(&languages);
}

/// A section is there with those of its languages that are.
bool LanguageSearch::filterAcceptsRow(int row, const QModelIndex& parent) const {
  return parent.isValid() && QSortFilterProxyModel::filterAcceptsRow(row, parent);
}

// ---- The window ---------------------------------------------------------------------------------

BrowserWindow::BrowserWindow(Ref<LanguageStore> store)
    : _store(std::move(store)),
      _controller(NSFetchedResultsController::
                      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
                          languages({"kind", "name", "code"}), _store->context(), "kind", nullptr)),
      _sample(
          PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
              languages({"code"}), _store->context(), stripLength)),
      _languages(_controller),
      _search(_languages),
      _strip(_sample) {
  // The button below knows the controller alone.
  plv_setRefreshProviderBlock(
      _controller, _store,
      [](NSInteger, const Ref<NSObject>& provider, const Ref<NSFetchedResultsController>&) {
        return static_cast<LanguageStore&>(*provider).load();
      });
  layOut();
  follow();
  Ref<NSError> error;
  _strip.setDisplay("name");
  if (!_languages.fetch(&error) || !_strip.fetch(&error)) {
    showState(qt(error->localizedDescription()), true);
    return;
  }
  _languageView->expandAll();
  showState(tr("%1 languages").arg(_controller->fetchedObjects()->count()), false);
}

void BrowserWindow::layOut() {
  setWindowTitle(tr("Languages"));
  _searchField = new QLineEdit;
  _searchField->setObjectName("search");
  _searchField->setPlaceholderText(tr("Search languages"));
  _searchField->setClearButtonEnabled(true);
  _refreshButton = new QPushButton(tr("&Refresh"));
  _refreshButton->setObjectName("refresh");
  auto* top = new QHBoxLayout;
  top->addWidget(_searchField);
  top->addWidget(_refreshButton);

  auto* heading = new QLabel("<b>" + tr("Discover") + "</b>");
  _othersButton = new QPushButton(tr("&Others"));
  _othersButton->setObjectName("others");
  auto* headline = new QHBoxLayout;
  headline->addWidget(heading, 1);
  headline->addWidget(_othersButton);
  _stripView = new QListView;
  _stripView->setObjectName("strip");
  _stripView->setFlow(QListView::LeftToRight);
  _stripView->setWrapping(true);
  _stripView->setResizeMode(QListView::Adjust);
  _stripView->setSpacing(4);
  _stripView->setFixedHeight(76);
  _stripView->setModel(&_strip);

  _languageView = new QTreeView;
  _languageView->setObjectName("languages");
  _languageView->setHeaderHidden(true);
  _languageView->setUniformRowHeights(true);
  _languageView->setModel(&_search);
  _detail = new QLabel;
  _detail->setObjectName("detail");
  _state = new QLabel;
  _state->setObjectName("state");

  auto* all = new QVBoxLayout(this);
  all->addLayout(top);
  all->addLayout(headline);
  all->addWidget(_stripView);
  all->addWidget(_languageView, 1);
  all->addWidget(_detail);
  all->addWidget(_state);
  resize(640, 640);
}

void BrowserWindow::follow() {
  connect(_searchField, &QLineEdit::textChanged, this, [this](const QString& text) {
    _search.setFilterFixedString(text);
    _languageView->expandAll();
  });
  connect(_searchField, &QLineEdit::returnPressed, _languageView,
          [this] { _languageView->setFocus(); });
  connect(_refreshButton, &QPushButton::clicked, this, [this] { refresh(); });
  connect(_othersButton, &QPushButton::clicked, this, [this] { drawOthers(); });
  connect(new QShortcut(QKeySequence::Refresh, this), &QShortcut::activated, this,
          [this] { refresh(); });
  connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, _searchField,
          [this] { _searchField->setFocus(); });

  // Sections that come are open, once they have something.
  connect(&_languages, &QAbstractItemModel::rowsInserted, this,
          [this](const QModelIndex& parent, int first, int last) {
            if (parent.isValid()) return;
            for (int row = first; row <= last; ++row) {
              const QPersistentModelIndex section(_languages.index(row, 0));
              QMetaObject::invokeMethod(
                  this, [this, section] { _languageView->expand(_search.mapFromSource(section)); },
                  Qt::QueuedConnection);
            }
          });
  connect(_languageView->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this] { showCurrent(); });
  connect(&_search, &QAbstractItemModel::dataChanged, this, [this] { showCurrent(); });
}

void BrowserWindow::drawOthers() {
  _sample->resampleFetchedObjects();
  _strip.reload();
}

void BrowserWindow::showCurrent() {
  const QModelIndex current = _search.mapToSource(_languageView->currentIndex());
  const Ref<NSManagedObject> object = _languages.objectAt(current);
  _detail->setText(object ? qt(static_cast<const catalog::Language&>(*object).summary())
                          : QString());
}

// ---- Loading ------------------------------------------------------------------------------------

void BrowserWindow::refresh() {
  if (!_refreshButton->isEnabled()) return;
  _refreshButton->setEnabled(false);
  _wasEmpty = _languages.rowCount() == 0;
  showState(tr("Loading…"), false);
  plv_refreshWithOptions(_controller, 0)
      ->whenFulfilled([window = QPointer<BrowserWindow>(this)](const Value& report,
                                                               const Ref<PLVRejected>& rejected) {
        if (window) window->ended(report, rejected);
      });
}

void BrowserWindow::ended(const Value& report, const Ref<PLVRejected>& rejected) {
  _refreshButton->setEnabled(true);
  if (!rejected) {
    // The first ten that came were drawn from few.
    if (_wasEmpty) drawOthers();
    return showState(qt(report.description()), false);
  }
  const Value value = rejected->value();
  const auto* error = as<NSError>(value);
  if (error && jn_isNetworkConnectivityError(Ref<NSError>(as<NSError>(value)))) {
    return showState(tr("Offline. These are the languages that were loaded before."), true);
  }
  showState(error ? qt(error->localizedDescription()) : qt(value.description()), true);
}

void BrowserWindow::showState(const QString& text, bool isTrouble) {
  _state->setText(text);
  _state->setStyleSheet(isTrouble ? "color: #b00020" : "");
}

}  // namespace browser
