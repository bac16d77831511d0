#pragma once

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/FormatArgument.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

class NSMutableDictionary;
class NSDictionary;
class NSPredicate;

namespace impl {
struct Bindings;
struct TreeAccess;
}  // namespace impl

/// The kinds of expressions, by the platform's numbers.
enum NSExpressionType : NSUInteger {
  NSConstantValueExpressionType = 0,    ///< a value
  NSEvaluatedObjectExpressionType = 1,  ///< SELF
  NSVariableExpressionType = 2,         ///< $name
  NSKeyPathExpressionType = 3,          ///< a path of keys
  NSFunctionExpressionType = 4,         ///< a function or a selector
  NSUnionSetExpressionType = 5,         ///< the members of either side
  NSIntersectSetExpressionType = 6,     ///< the members of both sides
  NSMinusSetExpressionType = 7,         ///< the members of the left side only
  NSSubqueryExpressionType = 13,        ///< SUBQUERY
  NSAggregateExpressionType = 14,       ///< a list of expressions
  NSAnyKeyExpressionType = 15,          ///< any key of an object
  NSBlockExpressionType = 19,           ///< a block in C++
  NSConditionalExpressionType = 20,     ///< TERNARY
};

/// How many levels a predicate or an expression may have. Deeper ones are refused when they are
/// made, so that no evaluation, comparison or text of one exhausts the stack.
inline constexpr unsigned maximumNestingOfPredicates = 500;

/// What stands on either side of a comparison: a constant, a key path, a function of other
/// expressions; an immutable tree that a store may walk and translate.
///
///     auto oldest = NSExpression::expressionForFunctionArguments(
///         "max:", NSArray::arrayWithObjects(NSExpression::expressionForKeyPath("children.age")));
///     Value age = oldest->expressionValueWithObjectContext(person, nullptr);
///
/// Null and the null marker count the same. Arithmetic keeps integers integers (7 / 2 is 3); what
/// overflows 64 bits becomes a double, and what has no result (a division by zero, the root or the
/// logarithm of a negative number, arithmetic with null) is null.
///
/// An accessor that does not fit the expression's type raises NSInvalidArgumentException. The
/// factories raise it for null arguments and past `maximumNestingOfPredicates`.
/// Threads: an expression never changes; evaluating one reads its object on the caller's thread.
class NSExpression : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// What a block expression calls with the evaluated object, the values of its arguments and the
  /// context.
  using Block = JNFoundation::Block<Value(const Value& object, const Ref<NSArray>& expressions,
                                          const Ref<NSMutableDictionary>& context)>;

  /// The expression that the format describes, in the language of predicate formats.
  /// Fails: see NSPredicate::predicateWithFormat.
  template <class... Arguments>
  static Ref<NSExpression> expressionWithFormat(const Ref<NSString>& format,
                                                const Arguments&... arguments) {
    const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(nullptr)};
    return expressionWithFormatArguments(format, {list, sizeof...(arguments)});
  }
  /// The same with the arguments in a list.
  static Ref<NSExpression> expressionWithFormatArguments(const Ref<NSString>& format,
                                                         std::span<const FormatArgument> arguments);

  /// The value itself; null gives the expression of null.
  static Ref<NSExpression> expressionForConstantValue(const Value& value);
  /// The object that is evaluated, in formats `SELF`.
  static Ref<NSExpression> expressionForEvaluatedObject();
  /// The variable of that name, without the "$" of formats.
  static Ref<NSExpression> expressionForVariable(const Ref<NSString>& name);
  /// The path read of the evaluated object.
  static Ref<NSExpression> expressionForKeyPath(const Ref<NSString>& path);
  /// The path read of what the operand gives, in formats `$x.name`.
  static Ref<NSExpression> expressionForKeyPathOfOperand(const Ref<NSString>& path,
                                                         const Ref<NSExpression>& operand);
  /// A list of expressions, in formats `{a, b}`. Members that are no expressions stand for
  /// themselves.
  static Ref<NSExpression> expressionForAggregate(const Ref<NSArray>& expressions);

  /// A function of the language by its selector, e.g. "average:", "from:subtract:", "now".
  ///
  /// The aggregates (average: sum: count: min: max: median: mode: stddev:) take one collection, or
  /// any number of arguments that are the members themselves; of a key path they take every single
  /// value it leads to. They ignore null. Of nothing, average:, sum: and count: are 0, mode: is an
  /// empty list and the others are null. Arguments that are no expressions stand for themselves.
  /// Fails: raises NSInvalidArgumentException for an unknown name and for too few or too many
  /// arguments.
  static Ref<NSExpression> expressionForFunctionArguments(const Ref<NSString>& name,
                                                          const Ref<NSArray>& arguments);
  /// Sends the selector to what the target gives, in formats `FUNCTION(target, "selector:", x)`.
  static Ref<NSExpression> expressionForFunctionSelectorNameArguments(
      const Ref<NSExpression>& target, const Ref<NSString>& name, const Ref<NSArray>& arguments);

  // Sets of the members of both sides, which must give collections (of a dictionary: its values);
  // null counts as an empty one.
  static Ref<NSExpression> expressionForUnionSetWith(const Ref<NSExpression>& left,
                                                     const Ref<NSExpression>& right);
  static Ref<NSExpression> expressionForIntersectSetWith(const Ref<NSExpression>& left,
                                                         const Ref<NSExpression>& right);
  static Ref<NSExpression> expressionForMinusSetWith(const Ref<NSExpression>& left,
                                                     const Ref<NSExpression>& right);

  /// The members of the collection for which the predicate holds while the variable stands for
  /// them, as an array; an empty one for null.
  static Ref<NSExpression> expressionForSubqueryUsingIteratorVariablePredicate(
      const Ref<NSExpression>& collection, const Ref<NSString>& variable,
      const Ref<NSPredicate>& predicate);
  /// The first expression where the predicate holds, the second where not; in formats
  /// `TERNARY(predicate, a, b)`.
  static Ref<NSExpression> expressionForConditionalTrueExpressionFalseExpression(
      const Ref<NSPredicate>& predicate, const Ref<NSExpression>& trueExpression,
      const Ref<NSExpression>& falseExpression);
  /// What the block gives for the values of the arguments. Fails: a null block is a fatal error.
  static Ref<NSExpression> expressionForBlockArguments(Block block, const Ref<NSArray>& arguments);
  /// Any key of an object: for stores that search all attributes. Fails: evaluating it raises.
  static Ref<NSExpression> expressionForAnyKey();

  /// Which kind of expression it is.
  NSExpressionType expressionType() const noexcept { return _expressionType; }
  /// How many levels the tree has from here down; at least 1.
  unsigned nesting() const noexcept { return _nesting; }

  /// The value of a constant.
  virtual Value constantValue() const;
  /// The name of a variable, without the "$".
  virtual Ref<NSString> variable() const;
  /// The path of a key path, as it was written.
  virtual Ref<NSString> keyPath() const;
  /// The keys of the path, parsed.
  virtual const KeyPath& parsedKeyPath() const;
  /// What a key path starts from (the evaluated object where nothing else was given), or a selector
  /// is sent to. Returns: null for the language's own functions.
  virtual Ref<NSExpression> operand() const;
  /// The selector of a function.
  virtual Ref<NSString> function() const;
  /// The expressions a function or a block is applied to.
  virtual Ref<NSArray> arguments() const;
  /// Of an aggregate the NSArray of its expressions, of a subquery the expression of the
  /// collection.
  virtual Value collection() const;
  /// The predicate of a subquery or of a condition.
  virtual Ref<NSPredicate> predicate() const;
  // The sides of a set of two collections.
  virtual Ref<NSExpression> leftExpression() const;
  virtual Ref<NSExpression> rightExpression() const;
  // What a condition chooses from.
  virtual Ref<NSExpression> trueExpression() const;
  virtual Ref<NSExpression> falseExpression() const;
  /// The block of a block expression.
  virtual Block expressionBlock() const;

  /// What the expression gives for the object. The context, which may be null, holds the values of
  /// variables by name.
  /// Fails: raises NSInvalidArgumentException for a variable without a value and for operands that
  /// a function cannot work with; reading keys raises what the object raises.
  Value expressionValueWithObjectContext(const Value& object,
                                         const Ref<NSMutableDictionary>& context) const;

  /// The same expression with constants in place of its variables.
  /// Fails: raises NSInvalidArgumentException for a variable without an entry.
  Ref<NSExpression> expressionWithSubstitutionVariables(const Ref<NSDictionary>& variables) const;

  /// The expression as formats write it.
  Ref<NSString> description() const override;
  /// Structural equality.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;

 protected:
  /// Fails: raises NSInvalidArgumentException when `nesting` is past the limit.
  NSExpression(NSExpressionType type, unsigned nesting);

 private:
  friend struct impl::TreeAccess;

  virtual Value evaluate(const Value& object, const impl::Bindings& bindings) const = 0;
  virtual bool hasEqualContent(const NSExpression& other) const = 0;
  virtual std::size_t contentHash() const = 0;
  virtual void appendFormat(std::string& text) const = 0;
  /// Returns: null if nothing in the tree changes.
  virtual Ref<NSExpression> substituted(const impl::Bindings& bindings) const = 0;

  NSExpressionType _expressionType;
  unsigned _nesting;
};

}  // namespace JNFoundation
