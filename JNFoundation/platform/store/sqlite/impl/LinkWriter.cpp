#include "JNFoundation/platform/store/sqlite/impl/LinkWriter.h"

#include <algorithm>
#include <unordered_map>

namespace JNFoundation::impl {

bool LinkWriter::write(const StoreLinkChange& change) {
  const Schema::Link& link = _schema.of(*change.relationship);
  return remove(link, change) && add(link, change) && putInOrder(link, change);
}

/// A record that names its one owner has been given another one, or none, already.
bool LinkWriter::remove(const Schema::Link& link, const StoreLinkChange& change) {
  if (change.removed.empty() || !link.hasOwnTable) return true;
  Statement statement = _database.prepare("DELETE FROM " + link.table + " WHERE " + link.near +
                                          " = ? AND " + link.far + " = ?");
  if (!statement) return false;
  for (const std::int64_t far : change.removed) {
    statement.bind(1, change.primaryKey);
    statement.bind(2, far);
    if (!statement.run()) return false;
  }
  return true;
}

bool LinkWriter::add(const Schema::Link& link, const StoreLinkChange& change) {
  if (change.added.empty()) return true;
  if (link.hasOwnTable) {
    Statement statement = _database.prepare("INSERT OR IGNORE INTO " + link.table + " (" +
                                            link.near + ", " + link.far + ") VALUES (?, ?)");
    if (!statement) return false;
    for (const std::int64_t far : change.added) {
      statement.bind(1, change.primaryKey);
      statement.bind(2, far);
      if (!statement.run()) return false;
    }
  }
  // A new order says where they stand.
  if (link.position.empty() || !change.order.empty()) return true;
  std::int64_t last = 0;
  {
    Statement statement = _database.prepare("SELECT max(" + link.position + ") FROM " + link.table +
                                            " WHERE " + link.near + " = ?");
    if (!statement) return false;
    statement.bind(1, change.primaryKey);
    if (statement.step() != Statement::Step::Row) return false;
    constexpr std::int64_t greatest = std::int64_t{1} << 62;
    last = std::clamp<std::int64_t>(statement.integer(0), 0, greatest);
  }
  for (const std::int64_t far : change.added) {
    if (!setPosition(link, change.primaryKey, far, ++last)) return false;
  }
  return true;
}

/// Numbers the members anew; only those get written that stood elsewhere.
bool LinkWriter::putInOrder(const Schema::Link& link, const StoreLinkChange& change) {
  if (change.order.empty() || link.position.empty()) return true;
  std::unordered_map<std::int64_t, std::int64_t> positions;
  {
    Statement statement =
        _database.prepare("SELECT " + link.far + ", " + link.position + " FROM " + link.table +
                          " WHERE " + link.near + " = ? AND " + link.position + " IS NOT NULL");
    if (!statement) return false;
    statement.bind(1, change.primaryKey);
    Statement::Step step;
    while ((step = statement.step()) == Statement::Step::Row) {
      positions.emplace(statement.integer(0), statement.integer(1));
    }
    if (step == Statement::Step::Failed) return false;
  }
  std::int64_t position = 0;
  for (const std::int64_t far : change.order) {
    ++position;
    const auto known = positions.find(far);
    if (known != positions.end() && known->second == position) continue;
    if (!setPosition(link, change.primaryKey, far, position)) return false;
  }
  return true;
}

bool LinkWriter::setPosition(const Schema::Link& link, std::int64_t near, std::int64_t far,
                             std::int64_t position) {
  Statement statement =
      _database.prepare("UPDATE " + link.table + " SET " + link.position + " = ? WHERE " +
                        link.far + " = ? AND " + link.near + " = ?");
  if (!statement) return false;
  statement.bind(1, position);
  statement.bind(2, far);
  statement.bind(3, near);
  return statement.run();
}

}  // namespace JNFoundation::impl
