#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

/// What one SELECT reads from: a table, and what key paths join to it. The table of what is looked
/// for keeps its name; every other one has a name of its own in the whole statement, t1, t2 and so
/// on.
class SelectSource {
 public:
  /// Takes: the table, quoted, and which names are taken.
  SelectSource(const std::string& table, unsigned& names) : SelectSource(names, table) {}
  /// The same under a name of its own.
  static std::unique_ptr<SelectSource> named(const std::string& table, unsigned& names);

  const std::string& name() const noexcept { return _name; }
  /// What stands behind FROM.
  const std::string& sql() const noexcept { return _sql; }
  bool hasJoins() const noexcept { return _tables > 1; }

  /// The name under which the record of that number is joined, the same for the same number. With
  /// `mayBeMissing` nulls stand where there is none; else the row goes.
  /// Returns: an empty name where SQLite takes no more tables.
  std::string joinRecord(const std::string& table, const std::string& number, bool mayBeMissing);
  /// Joins every row of the table whose column has that number. Returns: as `joinRecord`.
  std::string joinRows(const std::string& table, const std::string& column,
                       const std::string& number);

  /// How much was joined, so that it can be taken back.
  struct Mark {
    std::size_t length;
    std::size_t records;
    unsigned tables;
  };
  Mark mark() const noexcept { return {_sql.size(), _records.size(), _tables}; }
  void takeBack(const Mark& mark);

 private:
  SelectSource(unsigned& names, std::string name)
      : _names(names), _name(std::move(name)), _sql(_name) {}

  std::string join(const char* how, const std::string& table, const std::string& column,
                   const std::string& number);

  unsigned& _names;
  std::string _name;
  std::string _sql;
  /// Numbers, and the names under which their records are joined.
  std::vector<std::pair<std::string, std::string>> _records;
  unsigned _tables = 1;
};

/// A record somewhere in a statement: what is looked for, a member of a relationship, or what one
/// of them leads to.
struct RecordPlace {
  const NSEntityDescription* entity = nullptr;
  SelectSource* source = nullptr;
  /// Its number in SQL; NULL where there is no record.
  std::string number;
  /// The name of the table that has its columns; empty while none was asked for.
  std::string table;
  bool canBeNull = false;
  /// Whether the number stands in a table that may be missing as a whole.
  bool isJoined = false;
  /// Whether a record is found by that number without looking at all of them.
  bool isIndexed = false;
};

/// The records that a key path to many or a subquery leads to, each as often as it does.
struct RecordCollection {
  std::unique_ptr<SelectSource> source;
  RecordPlace member;
  /// Which rows of the source belong to it.
  std::string condition;
  /// What says in a row of the source of which record it is a member.
  std::string near;
  /// The number of the record that it is read of, and whether that may be missing: then there is
  /// no collection, whose count is null.
  std::string owner;
  bool ownerCanBeNull = false;

  std::string select(const std::string& what, const std::string& furtherCondition = {}) const {
    return "SELECT " + what + " FROM " + source->sql() + " WHERE " + condition +
           (furtherCondition.empty() ? std::string() : " AND " + furtherCondition);
  }
};

}  // namespace JNFoundation::impl
