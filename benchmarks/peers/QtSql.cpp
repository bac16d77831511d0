// QtSql with Qt's own JSON, dates and strings, as a Qt application would do it.

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>
#include <benchmark/benchmark.h>
#include <stdexcept>
#include <vector>

#include "Figures.h"
#include "feed/BenchTable.h"

namespace bench {
namespace {

struct QtRecord {
  qint64 identifier;
  qint64 quantity;
  double price;
  double weight;
  QString name;
  QString category;
  QString barcode;
  QString note;
  bool available;
  double updated;
};

void require(const QSqlQuery& query, bool holds) {
  if (!holds) throw std::runtime_error(query.lastError().text().toStdString());
}

void execute(QSqlDatabase& database, const char* sql) {
  QSqlQuery query(database);
  require(query, query.exec(QString::fromLatin1(sql)));
}

QSqlDatabase open(const std::string& path) {
  QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "bench");
  database.setDatabaseName(QString::fromStdString(path));
  if (!database.open()) throw std::runtime_error(database.lastError().text().toStdString());
  execute(database, kJournalMode);
  execute(database, kSynchronous);
  return database;
}

void close(QSqlDatabase& database) {
  database.close();
  database = QSqlDatabase();
  QSqlDatabase::removeDatabase("bench");
}

void insertAll(QSqlDatabase& database, const QByteArray& json) {
  database.transaction();
  QSqlQuery insert(database);
  require(insert, insert.prepare(QString::fromLatin1(kInsert)));
  const QJsonArray records = QJsonDocument::fromJson(json).array();
  for (const QJsonValue& value : records) {
    const QJsonObject record = value.toObject();
    insert.bindValue(0, record["identifier"].toInteger());
    insert.bindValue(1, record["quantity"].toInteger());
    insert.bindValue(2, record["price"].toDouble());
    insert.bindValue(3, record["weight"].toDouble());
    insert.bindValue(4, record["name"].toString());
    insert.bindValue(5, record["category"].toString());
    insert.bindValue(6, record["barcode"].toString());
    insert.bindValue(7, record["note"].toString());
    insert.bindValue(8, record["available"].toBool());
    const QDateTime date = QDateTime::fromString(record["updated"].toString(), Qt::ISODateWithMs);
    insert.bindValue(9, static_cast<double>(date.toMSecsSinceEpoch()) / 1000);
    require(insert, insert.exec());
  }
  database.commit();
}

void import(benchmark::State& state) {
  const std::string text = recordFeed();
  const QByteArray json = QByteArray::fromStdString(text);
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = freshFile("qtsql-import");
    QSqlDatabase database = open(path);
    execute(database, kCreateTable);
    state.ResumeTiming();
    insertAll(database, json);
    state.PauseTiming();
    close(database);
    bench::require(state, problemOfTable(path));
    removeFile(path);
    state.ResumeTiming();
  }
  reportItems(state, kRecords);
}
BENCHMARK(import)->Name("import/QtSql")->UseRealTime()->Iterations(3);

std::vector<QtRecord> selectAll(QSqlDatabase& database) {
  QSqlQuery select(database);
  select.setForwardOnly(true);
  require(select, select.exec(QString::fromLatin1(kSelect)));
  std::vector<QtRecord> records;
  while (select.next()) {
    records.push_back({select.value(0).toLongLong(), select.value(1).toLongLong(),
                       select.value(2).toDouble(), select.value(3).toDouble(),
                       select.value(4).toString(), select.value(5).toString(),
                       select.value(6).toString(), select.value(7).toString(),
                       select.value(8).toBool(), select.value(9).toDouble()});
  }
  return records;
}

// A QString counts UTF-16 units, so its lengths are compared with each other.
Tally tallyOf(const std::vector<QtRecord>& records) {
  Tally tally;
  for (const QtRecord& record : records) {
    tally.add(record.identifier, record.quantity, record.price, record.weight,
              static_cast<size_t>(record.name.size() + record.category.size() +
                                  record.barcode.size() + record.note.size()),
              record.available, record.updated);
  }
  return tally;
}

Tally expectedInUtf16() {
  Tally tally;
  for (size_t i = 0; i < kRecords; ++i) {
    const Record record = recordAt(i);
    const QString text =
        QString::fromStdString(record.name + record.category + record.barcode + record.note);
    tally.add(record.identifier, record.quantity, record.price, record.weight,
              static_cast<size_t>(text.size()), record.available, record.updated);
  }
  return tally;
}

void objects(benchmark::State& state) {
  const std::string path = freshFile("qtsql-objects");
  writeTable(path);
  const Tally expected = expectedInUtf16();
  QSqlDatabase database = open(path);
  for (auto _ : state) {
    const std::vector<QtRecord> records = selectAll(database);
    bench::require(state, tallyOf(records) == expected, "the records differ from the feed's");
  }
  close(database);
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(objects)->Name("objects/QtSql")->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
