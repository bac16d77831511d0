#pragma once

#include <string>
#include <vector>

#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

class Database;
class LongWork;

/// Reads a whole file and collects what is wrong with it: what SQLite finds (pages, records,
/// indexes, references), and what only a store knows: its tables and columns are those that it says
/// it has, and each record has a number that was given away, a version, an entity of the model that
/// can have records, values of the kinds that its attributes have, and relationships that lead to
/// records of their destination.
class IntegrityCheck {
 public:
  /// Requires: a database that nobody else uses meanwhile, with a transaction that reads.
  IntegrityCheck(Database& database, const Schema& schema, const NSManagedObjectModel& model,
                 const LongWork& work);
  ~IntegrityCheck();
  IntegrityCheck(const IntegrityCheck&) = delete;
  IntegrityCheck& operator=(const IntegrityCheck&) = delete;

  /// Returns: false if the check came to no end; the database knows why, or the work was to end.
  bool run();
  /// Sentences, at most 100.
  const std::vector<Value>& findings() const noexcept { return _findings; }

 private:
  bool checkFile();
  bool checkReferences();
  bool checkTables();
  bool checkRecords(const NSEntityDescription& root);
  bool checkValues(const Schema::EntityMap& rootMap);
  bool checkReferences(const Schema::EntityMap& rootMap);
  bool checkColumn(const NSEntityDescription& entity, const Schema::Column& column);
  bool checkPairs(const NSEntityDescription& entity, const NSRelationshipDescription& relationship,
                  const Schema::Link& link);
  /// The numbers of the entity and those below it that can have records, for SQL.
  std::string numbersOf(const NSEntityDescription& entity) const;
  /// Runs a query, and says the sentence of each of its rows. Damage that SQLite meets on the way
  /// is a finding, too. Fails: returns false for any other failure.
  template <class Sentence>
  bool collect(const std::string& sql, Sentence&& sentence);
  void add(const std::string& sentence);
  bool isFull() const noexcept;

  Database& _database;
  const Schema& _schema;
  const NSManagedObjectModel& _model;
  std::vector<Value> _findings;
};

}  // namespace JNFoundation::impl
