#pragma once

#include <optional>
#include <string>
#include <vector>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::impl {

/// Turns predicates and sort descriptors into SQL with parameters, where SQL gives exactly the
/// answers that evaluating them in memory gives; the rest is left to memory.
///
/// A condition is written so that it is 0 or 1 and never NULL, for NOT must turn it round, and so
/// that an index can serve it where a plain comparison would do.
class PredicateTranslator {
 public:
  /// The values of the parameters in their order are appended to `parameters`.
  PredicateTranslator(const Schema::EntityMap& map, std::string_view storeIdentifier,
                      std::vector<Value>& parameters)
      : _map(map), _storeIdentifier(storeIdentifier), _parameters(parameters) {}

  /// The condition, empty for none. `remaining` gets what has no SQL form, null if all of it has; a
  /// record fits the predicate if it fits both.
  std::string condition(const Ref<NSPredicate>& predicate, Ref<NSPredicate>& remaining);

  /// The columns to order by, ties by primary key. Returns: nothing if memory must sort.
  std::optional<std::string> order(const Ref<NSArray>& descriptors);

 private:
  /// Kinds of values that have a common order, in memory and in SQL alike.
  enum class Kind { Number, Text, Date, UUID, Data, Other };

  /// One side of a comparison: a column, or a value.
  struct Operand {
    const Schema::Column* column = nullptr;
    bool isIdentifier = false;
    Value constant;
  };

  static Kind kindOf(NSAttributeType type) noexcept;
  static Kind kindOf(const Value& value) noexcept;

  /// `depth` gets a bound of the expression's levels.
  bool translate(const NSPredicate& predicate, std::string& sql, unsigned& depth);
  bool translateCompound(const NSPredicate& predicate, std::string& sql, unsigned& depth);
  bool translateComparison(const NSComparisonPredicate& predicate, std::string& sql);
  bool operandOf(const NSExpression& expression, Operand& operand) const;
  bool compareColumnWithValue(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                              const Schema::Column& column, const Value& value, std::string& sql);
  bool compareColumns(NSPredicateOperatorType type, const Schema::Column& left,
                      const Schema::Column& right, std::string& sql) const;
  bool between(const Schema::Column& column, const Value& bounds, std::string& sql);
  bool in(const Schema::Column& column, const Value& collection, std::string& sql);
  bool identifier(NSPredicateOperatorType type, const Value& value, std::string& sql);
  void textOperator(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                    const Schema::Column& column, const Value& value, std::string& sql);
  void beginsWith(const Schema::Column& column, std::string_view prefix, std::string& sql);
  std::string parameter(const Value& value);
  /// Whether the value can be a parameter without losing anything.
  static bool isBindable(const Value& value) noexcept;

  const Schema::EntityMap& _map;
  std::string_view _storeIdentifier;
  std::vector<Value>& _parameters;
};

/// Binds a parameter of a translated predicate; the value must outlive the statement's run.
class Statement;
void bindParameter(Statement& statement, int number, const Value& value);

}  // namespace JNFoundation::impl
