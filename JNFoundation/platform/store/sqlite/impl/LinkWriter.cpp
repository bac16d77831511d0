#include "JNFoundation/platform/store/sqlite/impl/LinkWriter.h"

#include <algorithm>
#include <unordered_map>

namespace JNFoundation::inline v0_1::impl {

bool LinkWriter::write(std::span<const StoreLinkChange> changes) {
  // Both ends of a pair tell of it, so that all that goes has to go before anything comes.
  for (const auto step : {&LinkWriter::remove, &LinkWriter::add, &LinkWriter::putInOrder}) {
    for (const StoreLinkChange& change : changes) {
      if (!(this->*step)(_schema.of(*change.relationship), change)) return false;
    }
  }
  return true;
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
  // A pair that somebody else had made keeps its place.
  for (const std::int64_t far : change.added) {
    if (!setPosition(link, change.primaryKey, far, ++last, link.hasOwnTable)) return false;
  }
  return true;
}

/// Numbers the members anew, behind them those that somebody else added meanwhile; only those get
/// written that stood elsewhere.
bool LinkWriter::putInOrder(const Schema::Link& link, const StoreLinkChange& change) {
  if (change.order.empty() || link.position.empty()) return true;
  std::unordered_map<std::int64_t, std::int64_t> positions;
  std::vector<std::int64_t> others;
  {
    Statement statement =
        _database.prepare("SELECT " + link.far + ", ifnull(" + link.position + ", 0) FROM " +
                          link.table + " WHERE " + link.near + " = ? ORDER BY " + link.position +
                          " IS NULL, " + link.position + ", " + link.far);
    if (!statement) return false;
    statement.bind(1, change.primaryKey);
    Statement::Step step;
    while ((step = statement.step()) == Statement::Step::Row) {
      positions.emplace(statement.integer(0), statement.integer(1));
      others.push_back(statement.integer(0));
    }
    if (step == Statement::Step::Failed) return false;
  }
  std::int64_t position = 0;
  const auto place = [&](std::int64_t far) {
    const auto known = positions.find(far);
    // What somebody else took out meanwhile stays out.
    if (known == positions.end()) return true;
    const bool stays = known->second == ++position;
    positions.erase(known);
    return stays || setPosition(link, change.primaryKey, far, position);
  };
  return std::all_of(change.order.begin(), change.order.end(), place) &&
         std::all_of(others.begin(), others.end(), place);
}

bool LinkWriter::setPosition(const Schema::Link& link, std::int64_t near, std::int64_t far,
                             std::int64_t position, bool onlyIfNone) {
  const std::string condition = onlyIfNone ? " AND " + link.position + " IS NULL" : "";
  Statement statement =
      _database.prepare("UPDATE " + link.table + " SET " + link.position + " = ? WHERE " +
                        link.far + " = ? AND " + link.near + " = ?" + condition);
  if (!statement) return false;
  statement.bind(1, position);
  statement.bind(2, far);
  statement.bind(3, near);
  return statement.run();
}

}  // namespace JNFoundation::impl
