// Qt: a sorted QSortFilterProxyModel over a list model. The model tells that one row's data has
// changed, and the proxy moves its row and tells so.

#include <QAbstractListModel>
#include <QCoreApplication>
#include <QSortFilterProxyModel>
#include <benchmark/benchmark.h>
#include <string>
#include <vector>

#include "Figures.h"
#include "ListWork.h"

namespace bench {
namespace {

class Numbers final : public QAbstractListModel {
 public:
  explicit Numbers(int64_t count) {
    for (int64_t i = 0; i < count; ++i) _keys.push_back(i * kGap);
  }
  int rowCount(const QModelIndex& parent) const override {
    return parent.isValid() ? 0 : static_cast<int>(_keys.size());
  }
  QVariant data(const QModelIndex& index, int role) const override {
    if (role != Qt::DisplayRole) return {};
    return QVariant::fromValue<qlonglong>(_keys[static_cast<std::size_t>(index.row())]);
  }
  void set(int64_t row, int64_t key) {
    _keys[static_cast<std::size_t>(row)] = key;
    const QModelIndex changed = index(static_cast<int>(row));
    emit dataChanged(changed, changed, {Qt::DisplayRole});
  }

 private:
  std::vector<int64_t> _keys;
};

void follow(benchmark::State& state, int64_t count) {
  Numbers numbers(count);
  QSortFilterProxyModel sorted;
  sorted.setDynamicSortFilter(true);
  sorted.setSourceModel(&numbers);
  sorted.sort(0);
  int64_t told = 0;
  const auto tell = [&told] { ++told; };
  QObject::connect(&sorted, &QAbstractItemModel::dataChanged, tell);
  Moves moves(count);
  for (auto _ : state) {
    const int64_t row = moves.element();
    numbers.set(row, moves.key());
  }
  reportItems(state, 1);
  require(state, told >= static_cast<int64_t>(state.iterations()), "a change was not told");
  bool isSorted = sorted.rowCount() == count;
  qlonglong last = 0;
  for (int row = 0; isSorted && row < sorted.rowCount(); ++row) {
    const qlonglong key = sorted.data(sorted.index(row, 0)).toLongLong();
    isSorted = last <= key;
    last = key;
  }
  require(state, isSorted, "the list is not in order");
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  for (const int64_t count : {1'000, 1'000'000}) {
    for (const char* row : {"batch-", "sample-batch-"}) {
      benchmark::RegisterBenchmark((std::string(row) + bench::sizeName(count) + "/Qt").c_str(),
                                   bench::follow, count)
          ->UseRealTime();
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
