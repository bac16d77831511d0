#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/impl/MappingInference.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/KeptParts.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1 {

class NSMigrationStep;
class NSPersistentStore;

namespace impl {

class MigrationRecords;
class MigrationWork;

/// Makes of a store of one model one of another, in place and in a transaction that somebody else
/// begins and ends. Tables whose records stay as they are, are kept, and get new columns at most;
/// others are set aside, made anew and filled from there by statements over whole sets.
///
/// Requires: foreign keys are off, and legacy_alter_table is on.
class StoreMigrator {
 public:
  /// Takes: a step that may be null. The models are immutable.
  StoreMigrator(Database& database, MigrationWork& work, NSPersistentStore& store,
                Ref<NSManagedObjectModel> source, Ref<NSManagedObjectModel> destination,
                const NSMigrationStep* step);
  ~StoreMigrator();

  /// Fails: returns false and sets the error; the transaction is to be rolled back then.
  bool migrate(Ref<NSError>* error);

 private:
  struct Expression {
    std::string text;
    /// What stands for each "?" in it: a default value and its type.
    std::vector<std::pair<NSAttributeType, Value>> parameters;
  };
  using Pairs = KeptParts::Pairs;

  bool failed(Ref<NSError>* error) const;
  bool readOld(Ref<NSError>* error);
  bool findKept();
  bool canKeep(const NSEntityDescription& root);
  bool keepColumns(const NSEntityDescription& entity,
                   std::unordered_map<const NSPropertyDescription*, KeptParts::Column>& columns);
  bool canKeepPairs(const NSRelationshipDescription& relationship);
  bool losesRecords(const NSEntityDescription& source, const NSEntityDescription& destination);
  bool setAside();
  bool setAside(const std::string& table, std::string& place);
  bool countWork();
  bool count(const std::string& table, std::uint64_t& records);

  bool copyRecords();
  bool copyTable(const NSEntityDescription& root);
  bool fillTable(const NSEntityDescription& root);
  Expression valueOf(const MappingInference::Match& match, std::size_t slot);
  Expression joined(const std::vector<const MappingInference::Match*>& matches,
                    const std::vector<Expression>& expressions) const;
  void referenceOf(const MappingInference::Match& match, std::size_t slot,
                   const Schema::Column& column, Expression& value, Expression& entity,
                   Expression& position);
  bool bindAll(Statement& statement, int first, const std::vector<Expression>& expressions);
  bool copyInPieces(const std::string& from, const std::string& sql,
                    const std::vector<Expression>& expressions);

  bool copyPairs();
  bool copyPairs(const NSRelationshipDescription& relationship, bool& hasCopied);
  /// A SELECT of a (near), b (far), p and q (their places at each end).
  std::string pairsOf(const NSRelationshipDescription& relationship) const;
  std::string isRecord(const std::string& column, const NSEntityDescription& entity) const;
  const std::string& oldTableOf(const NSEntityDescription& entity) const;

  bool migrateRecords(bool relationships, Ref<NSError>* error);
  bool checkRequired(Ref<NSError>* error);
  bool dropOld();
  bool makeIndexes(Ref<NSError>* error);
  bool repeatedValues(Ref<NSError>* error);

  Database& _database;
  MigrationWork& _work;
  NSPersistentStore& _store;
  Ref<NSManagedObjectModel> _source;
  Ref<NSManagedObjectModel> _destination;
  const NSMigrationStep* _step;
  MappingInference _inference;
  Schema _old;
  Schema _new;
  KeptParts _kept;
  /// By a hierarchy's root, and by the name that a table of pairs had: what to ask now, quoted.
  std::unordered_map<const NSEntityDescription*, std::string> _oldTables;
  std::unordered_map<std::string, std::string> _oldPairs;
  std::vector<std::string> _toDrop;
  /// Default values in the form of the file, and texts made for them, while a statement runs.
  std::vector<Value> _bound;
  std::vector<Ref<NSString>> _made;
  std::shared_ptr<MigrationRecords> _oldRecords;
  std::shared_ptr<MigrationRecords> _newRecords;
};

}  // namespace impl
}  // namespace JNFoundation
