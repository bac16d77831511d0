#pragma once

#include <string>
#include <vector>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

/// Kinds of values that have a common order, in memory and in SQL alike.
enum class ValueKind { Number, Text, Date, UUID, Data, Other };

ValueKind kindOf(NSAttributeType type) noexcept;
ValueKind kindOf(const Value& value) noexcept;

constexpr bool isEquality(NSPredicateOperatorType type) noexcept {
  return type == NSEqualToPredicateOperatorType || type == NSNotEqualToPredicateOperatorType;
}

/// How far a condition goes down: the levels of SQLite's expression tree, and the tokens that its
/// parser has open at once.
struct SQLDepth {
  unsigned levels = 0;
  unsigned tokens = 0;

  void include(const SQLDepth& other) noexcept {
    levels = std::max(levels, other.levels);
    tokens = std::max(tokens, other.tokens);
  }
  SQLDepth within(unsigned furtherLevels, unsigned furtherTokens) const noexcept {
    return {levels + furtherLevels, tokens + furtherTokens};
  }
};

/// One side of a comparison.
struct SQLOperand {
  enum class Form {
    Constant,
    Value,   ///< of an attribute, or computed
    Record,  ///< the number of a record
  };

  Form form = Form::Constant;
  JNFoundation::Value constant;
  std::string sql;
  ValueKind kind = ValueKind::Other;
  /// Of which entity a record is.
  const NSEntityDescription* entity = nullptr;
  bool canBeNull = true;
  /// Whether it is cheap enough to be named twice, and an index may have it.
  bool isColumn = false;
  /// Whether it is a column of a table that may be missing as a whole. Only what asks for more than
  /// null lets SQLite begin with that table then.
  bool isJoined = false;
  /// Whether an index finds the rows where it equals something.
  bool isIndexed = false;
  /// Of the number of records in a collection: the condition that there is one.
  std::string exists;
  SQLDepth depth;
};

/// Writes comparisons as SQL that is 0 or 1 and never NULL.
class SQLComparison {
 public:
  /// The values of the parameters in their order are appended to `parameters`.
  SQLComparison(std::string_view storeIdentifier, std::vector<Value>& parameters)
      : _storeIdentifier(storeIdentifier), _parameters(parameters) {}

  /// Fails: returns false where SQL has no answer, or another one than memory.
  bool compare(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
               const SQLOperand& left, const SQLOperand& right, std::string& sql);

 private:
  bool compareWithConstant(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                           const SQLOperand& operand, const Value& value, std::string& sql);
  bool compareValues(NSPredicateOperatorType type, const SQLOperand& left, const SQLOperand& right,
                     std::string& sql) const;
  bool compareCount(NSPredicateOperatorType type, const SQLOperand& count, const Value& value,
                    std::string& sql) const;
  bool compareRecords(NSPredicateOperatorType type, const SQLOperand& left, const SQLOperand& right,
                      std::string& sql);
  bool compareRecord(NSPredicateOperatorType type, const SQLOperand& record, const Value& value,
                     std::string& sql);
  bool between(const SQLOperand& operand, const Value& bounds, std::string& sql);
  bool in(const SQLOperand& operand, const Value& collection, std::string& sql);
  bool inMany(const SQLOperand& operand, const Value& collection, std::string& sql);
  void textOperator(NSPredicateOperatorType type, NSComparisonPredicateOptions options,
                    const SQLOperand& operand, const Value& value, std::string& sql);
  void beginsWith(const SQLOperand& operand, std::string_view prefix, std::string& sql);
  /// The number of a record of the entity's hierarchy. Returns: 0, which none has, for others.
  std::int64_t numberOf(const Value& value, const NSEntityDescription& entity) const;
  std::string parameter(const Value& value);

  std::string_view _storeIdentifier;
  std::vector<Value>& _parameters;
};

/// Takes: an array or a set. Returns: false for anything else, and for very many members.
bool appendListMembers(const Value& collection, std::vector<Value>& members);

/// Binds a parameter of a translated predicate; the value must outlive the statement's run.
class Statement;
void bindParameter(Statement& statement, int number, const Value& value);

}  // namespace JNFoundation::impl
