#pragma once

#include <optional>
#include <string>
#include <vector>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/sqlite/impl/PathTranslator.h>

namespace JNFoundation::inline v0_1::impl {

/// Turns predicates and sort descriptors into SQL with parameters, where SQL gives exactly the
/// answers that evaluating them in memory gives; the rest is left to memory.
///
/// A condition is written so that it is 0 or 1 and never NULL, for NOT must turn it round, and so
/// that an index can serve it where a plain comparison would do. Key paths to one record are joins,
/// what is asked of many records is asked of a SELECT of its own inside the condition. Names are
/// quoted, values are parameters.
class PredicateTranslator {
 public:
  /// The values of the parameters in their order are appended to `parameters`.
  PredicateTranslator(const Schema& schema, const NSEntityDescription& entity,
                      std::string_view storeIdentifier, std::vector<Value>& parameters)
      : _paths(schema, entity), _comparison(storeIdentifier, parameters), _parameters(parameters) {}

  /// The condition, empty for none. `remaining` gets what has no SQL form, null if all of it has; a
  /// record fits the predicate if it fits both.
  std::string condition(const Ref<NSPredicate>& predicate, Ref<NSPredicate>& remaining);

  /// What to order by, ties by primary key. Returns: nothing if memory must sort.
  std::optional<std::string> order(const Ref<NSArray>& descriptors);

  /// A value to read or to summarise of each record.
  struct Column {
    std::string sql;
    /// NSObjectIDAttributeType for a record, of which `entitySQL` is the entity's number.
    NSAttributeType type = NSUndefinedAttributeType;
    std::string entitySQL;
    /// An ancestor of that entity, or itself.
    const NSEntityDescription* entity = nullptr;
  };
  /// Returns: nothing for what SQL reads or summarises in another way than memory does.
  std::optional<Column> column(const StoreColumn& wanted);

  /// The tables that all of it reads: what stands behind FROM, and under which name the entity's
  /// own table stands there.
  const SelectSource& source() noexcept { return _paths.source(); }

 private:
  struct Condition {
    std::string sql;
    SQLDepth depth;
  };
  /// What the variables of the subqueries around stand for.
  struct Variable {
    const NSString* name;
    const RecordPlace* place;
    const Variable* outer;
    unsigned depth;
  };
  /// What an expression gives: an operand, or the records of a collection.
  struct Side {
    SQLOperand operand;
    TranslatedPath path;
    bool isCollection = false;
  };

  bool translate(const NSPredicate& predicate, const Variable* scope, Condition& condition);
  bool translateCompound(const NSPredicate& predicate, const Variable* scope, Condition& condition);
  bool translateComparison(const NSComparisonPredicate& predicate, const Variable* scope,
                           Condition& condition);
  bool translateMembers(const NSComparisonPredicate& predicate, const Variable* scope,
                        Condition& condition);
  /// The comparison of an operand with what stands on the right.
  bool compareWithRight(const NSComparisonPredicate& predicate, const SQLOperand& left,
                        const Variable* scope, Condition& condition);
  /// Whether the collection holds what the operand gives.
  bool contains(TranslatedPath& collection, const SQLOperand& element,
                NSComparisonPredicateOptions options, Condition& condition);
  /// The condition that one member of the collection satisfies another one. Takes: whether an index
  /// finds the few records that do.
  bool someMember(const TranslatedPath& collection, const Condition& inner, bool areFew,
                  Condition& condition) const;
  bool compare(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
               const SQLOperand& left, const SQLOperand& right, Condition& condition);

  bool sideOf(const NSExpression& expression, const Variable* scope, Side& side);
  /// Fails: returns false for what is no path to records.
  bool pathOf(const NSExpression& expression, const Variable* scope, TranslatedPath& path);
  bool subquery(const NSExpression& expression, const Variable* scope, TranslatedPath& path);

  PathTranslator _paths;
  SQLComparison _comparison;
  std::vector<Value>& _parameters;
};

}  // namespace JNFoundation::impl
