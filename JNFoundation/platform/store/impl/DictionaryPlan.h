#pragma once

#include <span>
#include <vector>

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

class NSExpression;
class NSExpressionDescription;
class NSPredicate;

namespace impl {

class StoredRow;

/// A value that is read of each record.
struct RecordField {
  /// By which a request speaks of it.
  Ref<NSString> name;
  /// Null where the path says it all.
  Ref<NSExpression> expression;
  /// Through relationships to one to an attribute or a record; without keys the record itself.
  KeyPath path;
  /// The attribute's; NSObjectIDAttributeType for a record, undefined for an expression.
  NSAttributeType type = NSUndefinedAttributeType;
};

/// What a request for dictionaries is after, found out before a store is asked: what is read of
/// each record, what the records are grouped by, what is made of a group, and what a dictionary
/// gets of all that.
class DictionaryPlan {
 public:
  /// What is made of the values that a field has in a group.
  struct Aggregate {
    Ref<NSString> function;
    std::size_t field;
  };
  using Values = std::vector<Value>;

  /// Fails: raises NSInvalidArgumentException for a request that makes no sense.
  DictionaryPlan(const NSEntityDescription& entity, const NSFetchRequest& request);
  ~DictionaryPlan();

  /// Whether a dictionary stands for several records, not for one.
  bool isGrouped() const noexcept { return _isGrouped; }
  /// Of a grouped fetch, first what it groups by and then what aggregates read; else what the
  /// dictionaries hold.
  const std::vector<RecordField>& fields() const noexcept { return _fields; }
  /// How many fields records are grouped by; 0 where all are one group.
  std::size_t groupCount() const noexcept { return _groupCount; }
  const std::vector<Aggregate>& aggregates() const noexcept { return _aggregates; }
  /// Whether the dictionaries of records have their identifiers.
  bool hasIdentifiers() const noexcept;

  /// Reads the fields of a record. Takes: places for them.
  void read(StoredRow& row, Values& values) const;
  /// What the dictionary of one record holds. Takes: its fields, and places for what is converted.
  std::span<Value> valuesOfRecord(std::span<Value> fields, Values& places) const;
  /// The dictionary of one record. Takes: its fields.
  Ref<NSDictionary> dictionaryOfRecord(std::span<const Value> fields) const;

  /// The groups that the request asks for, in its order, each as what `dictionaryOfGroup` takes.
  /// Takes: for each group what it is grouped by, and behind it the aggregates.
  std::vector<Value> chosenGroups(std::vector<Values> groups) const;
  Ref<NSDictionary> dictionaryOfGroup(const Value& group) const;
  /// What that dictionary holds. Borrowed from the group.
  std::span<const Value> valuesOfGroup(const Value& group) const;

 private:
  struct Column {
    Ref<NSString> name;
    NSAttributeType type = NSUndefinedAttributeType;
    /// Of a group; reads its values by number.
    Ref<NSExpression> expression;
  };

  RecordField fieldOf(const Value& property) const;
  RecordField pathField(const Ref<NSString>& name) const;
  RecordField expressionField(const Ref<NSString>& name, const Ref<NSExpression>& expression) const;
  bool readsPath(const KeyPath& path, RecordField& field) const;
  void planRecords(const NSFetchRequest& request);
  void planGroups(const NSFetchRequest& request);
  Column columnOf(const Value& property);
  /// The number of what the aggregate gives among the values of a group.
  std::size_t numberOf(const NSExpression& aggregate);
  std::size_t numberNamed(const NSString& name, bool amongColumns) const;
  /// The expression over the values of a group.
  Ref<NSExpression> overGroup(const Ref<NSExpression>& expression);
  Ref<NSExpression> replacementFor(const NSExpression& expression, bool amongColumns);
  void planOrder(const Ref<NSArray>& descriptors);

  const NSEntityDescription& _entity;
  bool _isGrouped = false;
  std::vector<RecordField> _fields;
  std::size_t _groupCount = 0;
  /// Whether the dictionary of a record does not hold the fields as they are.
  bool _converts = false;
  std::vector<Aggregate> _aggregates;
  std::vector<Column> _columns;
  Ref<NSPredicate> _having;
  Ref<NSArray> _order;
};

/// Lists of values, each different one once, found by what they hold.
class ValueLists {
 public:
  /// The number of the list, counted in the order in which they came first.
  std::size_t numberOf(std::span<const Value> values);
  std::size_t count() const noexcept { return _lists.size(); }
  std::vector<DictionaryPlan::Values>& lists() noexcept { return _lists; }

 private:
  void grow();

  std::vector<DictionaryPlan::Values> _lists;
  std::vector<std::size_t> _hashes;
  /// Open addressing: numbers of lists from 1 on; the size is a power of two.
  std::vector<std::size_t> _table;
};

/// Makes groups of records that are read one after the other.
class RecordGroups {
 public:
  /// Borrows the plan.
  explicit RecordGroups(const DictionaryPlan& plan) : _plan(plan) {}

  /// Takes: a record's fields.
  void add(std::span<const Value> fields);
  /// What the records of each group have in common and behind it the aggregates, in the order of
  /// the groups' first records.
  std::vector<DictionaryPlan::Values> finish();

 private:
  const DictionaryPlan& _plan;
  ValueLists _common;
  /// By group and aggregate, without nulls.
  std::vector<std::vector<DictionaryPlan::Values>> _members;
};

}  // namespace impl
}  // namespace JNFoundation
