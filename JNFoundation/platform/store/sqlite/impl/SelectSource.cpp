#include "JNFoundation/platform/store/sqlite/impl/SelectSource.h"

namespace JNFoundation::inline v0_1::impl {
namespace {

/// SQLite joins 64 tables and no more.
constexpr unsigned tableLimit = 60;

}  // namespace

std::unique_ptr<SelectSource> SelectSource::named(const std::string& table, unsigned& names) {
  const std::string name = "t" + std::to_string(++names);
  std::unique_ptr<SelectSource> source(new SelectSource(names, name));
  source->_sql = table + " AS " + name;
  return source;
}

std::string SelectSource::join(const char* how, const std::string& table, const std::string& column,
                               const std::string& number) {
  if (_tables == tableLimit) return {};
  ++_tables;
  std::string name = "t" + std::to_string(++_names);
  _sql += how + table + " AS " + name + " ON " + name + "." + column + " = " + number;
  return name;
}

std::string SelectSource::joinRecord(const std::string& table, const std::string& number,
                                     bool mayBeMissing) {
  for (const auto& [known, name] : _records) {
    if (known == number) return name;
  }
  std::string name = join(mayBeMissing ? " LEFT JOIN " : " JOIN ", table, "_pk", number);
  if (!name.empty()) _records.emplace_back(number, name);
  return name;
}

std::string SelectSource::joinRows(const std::string& table, const std::string& column,
                                   const std::string& number) {
  return join(" JOIN ", table, column, number);
}

void SelectSource::takeBack(const Mark& mark) {
  _sql.resize(mark.length);
  _records.resize(mark.records);
  _tables = mark.tables;
}

}  // namespace JNFoundation::impl
