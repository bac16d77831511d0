#include <QtCore/QSortFilterProxyModel>
#include <cstdio>

#include "Examples.h"

#include <JNFoundation/adapters/FetchedResultsListModel.h>
#include <JNFoundation/adapters/FetchedResultsTreeModel.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {

// begin
void showLists(const Ref<NSFetchedResultsController>& controller) {
  FetchedResultsListModel list(controller);
  list.setAttributes({"name", "city"});  // Qt::UserRole and the one after it
  list.setDisplay("name");
  Ref<NSError> error;
  if (!list.fetch(&error)) return;
  for (int row = 0; row < list.rowCount(); ++row) {
    const QModelIndex person = list.index(row);
    std::printf("%s (%s)\n", qPrintable(person.data().toString()),
                qPrintable(person.data(list.roleOf("city")).toString()));
  }

  // What changes in the context is told to every view, proxy and selection on top.
  FetchedResultsTreeModel tree(controller);
  QObject::connect(&list, &QAbstractItemModel::rowsMoved, [] { std::puts("1 moved"); });
  const Ref<NSManagedObject> ann = list.objectAt(list.index(0));
  ann->setValueForKey("Bergen", "city");
  controller->managedObjectContext()->processPendingChanges();  // or the end of the turn

  for (int row = 0; row < tree.rowCount(); ++row) {
    const QModelIndex city = tree.index(row, 0);
    std::printf("%s: %d\n", qPrintable(city.data().toString()), tree.rowCount(city));
  }

  QSortFilterProxyModel search;
  search.setSourceModel(&list);
  search.setFilterRegularExpression("^[A-C]");
  std::printf("%d match\n", search.rowCount());
}
// end

}  // namespace examples
