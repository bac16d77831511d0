#include "tests/adapters/ModelFixture.h"

#include <JNFoundation/adapters/QtValue.h>
#include <JNFoundation/platform/query/KeyValueCoding.h>

namespace JNFoundation {
namespace {

std::string lastWords;

void hear(QtMsgType type, const QMessageLogContext&, const QString& message) {
  std::fprintf(stderr, "%s\n", message.toUtf8().constData());
  if (type == QtFatalMsg) {
    std::fprintf(stderr, "%s\n", lastWords.c_str());
    std::abort();
  }
}

std::string text(const QModelIndex& parent) {
  return parent.isValid() ? std::to_string(parent.row()) + "." : "";
}

}  // namespace

void sayBeforeTheEnd(const std::string& text) { lastWords = text; }

QString qt(const Ref<NSString>& text) { return QString::fromUtf8(text->UTF8String()); }

SignalWatcher::SignalWatcher(FetchedResultsModel& rows, QAbstractItemModel& model, int role)
    : _rows(rows),
      _model(model),
      _role(role),
      _isTree(dynamic_cast<FetchedResultsTreeModel*>(&model) != nullptr),
      _sections(allOf()) {
  connect(&model, &QAbstractItemModel::rowsInserted, this, &SignalWatcher::rowsInserted);
  connect(&model, &QAbstractItemModel::rowsRemoved, this, &SignalWatcher::rowsRemoved);
  connect(&model, &QAbstractItemModel::rowsMoved, this, &SignalWatcher::rowsMoved);
  connect(&model, &QAbstractItemModel::dataChanged, this, &SignalWatcher::dataChanged);
  connect(&model, &QAbstractItemModel::layoutChanged, this, &SignalWatcher::layoutChanged);
  connect(&model, &QAbstractItemModel::modelReset, this, [this] {
    ++resets;
    _log.emplace_back("reset");
    _sections = allOf();
  });
}

void SignalWatcher::expectTrue(const char* keyPath) const {
  std::vector<Section> expected;
  for (const ListView::Section& each : ListView::sectionsOf(*_rows.controller())) {
    Section section{QString::fromStdString(each.name), {}};
    for (const Value& object : each.rows) {
      section.rows.push_back({Ref<NSManagedObject>(as<NSManagedObject>(object)),
                              variantOf(valueForKeyPath(object, keyPath))});
    }
    if (isTree() || expected.empty()) {
      expected.push_back(std::move(section));
    } else {
      for (Row& row : section.rows) expected.front().rows.push_back(std::move(row));
    }
  }
  if (!isTree() && expected.empty()) expected.emplace_back();
  ASSERT_EQ(_sections.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (isTree() && _rows.controller()->sectionNameKeyPath()) {
      ASSERT_EQ(_sections[i].name, expected[i].name);
    }
    ASSERT_EQ(_sections[i].rows.size(), expected[i].rows.size()) << "in section " << i;
    for (std::size_t k = 0; k < expected[i].rows.size(); ++k) {
      ASSERT_EQ(_sections[i].rows[k].object, expected[i].rows[k].object) << "row " << i << "." << k;
      ASSERT_EQ(_sections[i].rows[k].value, expected[i].rows[k].value) << "row " << i << "." << k;
    }
  }
}

std::string SignalWatcher::told() {
  std::string joined;
  for (const std::string& line : std::exchange(_log, {})) {
    joined += (joined.empty() ? "" : ", ") + line;
  }
  return joined;
}

SignalWatcher::Row SignalWatcher::rowOf(const QModelIndex& index) const {
  return {index.data(FetchedResultsModel::ObjectRole).value<Ref<NSManagedObject>>(),
          index.data(_role)};
}

SignalWatcher::Section SignalWatcher::sectionOf(const QModelIndex& parent) const {
  Section section{parent.data(), {}};
  for (int row = 0; row < _model.rowCount(parent); ++row) {
    section.rows.push_back(rowOf(_model.index(row, 0, parent)));
  }
  return section;
}

std::vector<SignalWatcher::Section> SignalWatcher::allOf() const {
  std::vector<Section> sections;
  if (!isTree()) return {sectionOf({})};
  for (int row = 0; row < _model.rowCount(); ++row) {
    sections.push_back(sectionOf(_model.index(row, 0)));
  }
  return sections;
}

std::vector<SignalWatcher::Row>& SignalWatcher::rowsBelow(const QModelIndex& parent) {
  return _sections[isTree() ? static_cast<std::size_t>(parent.row()) : 0].rows;
}

void SignalWatcher::expectCounts() const {
  if (isTree()) {
    ASSERT_EQ(static_cast<int>(_sections.size()), _model.rowCount());
  }
  for (std::size_t i = 0; i < _sections.size(); ++i) {
    const QModelIndex parent = isTree() ? _model.index(static_cast<int>(i), 0) : QModelIndex();
    ASSERT_EQ(static_cast<int>(_sections[i].rows.size()), _model.rowCount(parent));
  }
}

void SignalWatcher::say(const char* what, const QModelIndex& parent, int first, int last) {
  _log.push_back(what + text(parent) + std::to_string(first) +
                 (last == first ? "" : "-" + std::to_string(last)));
}

void SignalWatcher::rowsInserted(const QModelIndex& parent, int first, int last) {
  say("+", parent, first, last);
  for (int row = first; row <= last; ++row) {
    const QModelIndex index = _model.index(row, 0, parent);
    if (isTree() && !parent.isValid()) {
      _sections.insert(_sections.begin() + row, sectionOf(index));
    } else {
      std::vector<Row>& rows = rowsBelow(parent);
      rows.insert(rows.begin() + row, rowOf(index));
    }
  }
  expectCounts();
}

void SignalWatcher::rowsRemoved(const QModelIndex& parent, int first, int last) {
  say("-", parent, first, last);
  if (isTree() && !parent.isValid()) {
    _sections.erase(_sections.begin() + first, _sections.begin() + last + 1);
  } else {
    std::vector<Row>& rows = rowsBelow(parent);
    rows.erase(rows.begin() + first, rows.begin() + last + 1);
  }
  expectCounts();
}

void SignalWatcher::rowsMoved(const QModelIndex& parent, int first, int last, const QModelIndex& to,
                              int row) {
  ASSERT_EQ(first, last);
  ++moves;
  _log.push_back(">" + text(parent) + std::to_string(first) + ">" + text(to) + std::to_string(row));
  std::vector<Row>& from = rowsBelow(parent);
  Row moved = std::move(from[static_cast<std::size_t>(first)]);
  from.erase(from.begin() + first);
  std::vector<Row>& target = rowsBelow(to);
  target.insert(target.begin() + (&target == &from && first < row ? row - 1 : row),
                std::move(moved));
  expectCounts();
}

void SignalWatcher::dataChanged(const QModelIndex& first, const QModelIndex& last) {
  say("=", first.parent(), first.row(), last.row());
  ASSERT_EQ(first.parent(), last.parent());
  for (int row = first.row(); row <= last.row(); ++row) {
    rowsBelow(first.parent())[static_cast<std::size_t>(row)] =
        rowOf(_model.index(row, 0, first.parent()));
  }
}

/// Rows have changed places, and nothing else has changed.
void SignalWatcher::layoutChanged() {
  ++layouts;
  _log.emplace_back("layout");
  std::vector<Row> before;
  for (const Section& section : _sections) {
    before.insert(before.end(), section.rows.begin(), section.rows.end());
  }
  _sections = allOf();
  std::size_t count = 0;
  for (const Section& section : _sections) {
    for (const Row& row : section.rows) {
      ++count;
      const auto same = std::find_if(before.begin(), before.end(), [&](const Row& other) {
        return other.object == row.object && other.value == row.value;
      });
      ASSERT_NE(same, before.end()) << "a layout brings no new values";
    }
  }
  ASSERT_EQ(count, before.size());
}

std::string ModelTest::shown(const QAbstractItemModel& model, const QModelIndex& parent) {
  std::string joined;
  for (int row = 0; row < model.rowCount(parent); ++row) {
    const QModelIndex index = model.index(row, 0, parent);
    joined += (row == 0 ? "" : " ") + index.data().toString().toStdString();
    if (model.rowCount(index) > 0) joined += "(" + shown(model, index) + ")";
  }
  return joined;
}

}  // namespace JNFoundation

/// Qt's application object goes before what Qt keeps for as long as the program is loaded.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  qInstallMessageHandler(JNFoundation::hear);
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
