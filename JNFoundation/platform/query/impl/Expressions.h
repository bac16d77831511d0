#pragma once

#include <algorithm>
#include <vector>

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/impl/Bindings.h>
#include <JNFoundation/platform/query/impl/Functions.h>
#include <JNFoundation/platform/value/Runtime.h>

/// The expressions by their type. They are made by NSExpression's factories.
namespace JNFoundation::inline v0_1::impl {

using ExpressionList = std::vector<Ref<NSExpression>>;

/// What an expression of every type has to answer.
#define JN_EXPRESSION                                                           \
 public:                                                                        \
  using Superclass = NSExpression;                                              \
  static const Class classObject;                                               \
  const Class& class_() const noexcept override { return classObject; }         \
                                                                                \
 private:                                                                       \
  Value evaluate(const Value& object, const Bindings& bindings) const override; \
  bool hasEqualContent(const NSExpression& other) const override;               \
  std::size_t contentHash() const override;                                     \
  void appendFormat(std::string& text) const override;                          \
  Ref<NSExpression> substituted(const Bindings& bindings) const override

class ConstantExpression final : public NSExpression {
 public:
  explicit ConstantExpression(const Value& value);
  Value constantValue() const override { return _value; }
  const Value& value() const noexcept { return _value; }

  JN_EXPRESSION;
  Value _value;
};

class SelfExpression final : public NSExpression {
 public:
  SelfExpression() : NSExpression(NSEvaluatedObjectExpressionType, 1) {}

  JN_EXPRESSION;
};

class VariableExpression final : public NSExpression {
 public:
  explicit VariableExpression(Ref<NSString> name)
      : NSExpression(NSVariableExpressionType, 1), _name(std::move(name)) {}
  Ref<NSString> variable() const override { return _name; }

  JN_EXPRESSION;
  Ref<NSString> _name;
};

class KeyPathExpression final : public NSExpression {
 public:
  KeyPathExpression(KeyPath path, Ref<NSExpression> operand)
      : NSExpression(NSKeyPathExpressionType, operand->nesting() + 1),
        _path(std::move(path)),
        _operand(std::move(operand)) {}
  Ref<NSString> keyPath() const override { return _path.text(); }
  const KeyPath& parsedKeyPath() const override { return _path; }
  Ref<NSExpression> operand() const override { return _operand; }
  bool startsFromEvaluatedObject() const noexcept {
    return _operand->expressionType() == NSEvaluatedObjectExpressionType;
  }

  JN_EXPRESSION;
  KeyPath _path;
  Ref<NSExpression> _operand;
};

/// A list of expressions, kept in both forms.
class ExpressionArray {
 public:
  /// What is no expression stands for itself. Takes: null as an empty list.
  explicit ExpressionArray(const Ref<NSArray>& expressions);

  const ExpressionList& list() const noexcept { return _list; }
  const Ref<NSArray>& array() const noexcept { return _array; }
  unsigned nesting() const noexcept { return _nesting; }

  bool operator==(const ExpressionArray& other) const;
  std::size_t hash() const;
  /// "a, b"
  void appendFormat(std::string& text) const;
  /// Null for null.
  std::vector<Value> evaluate(const Value& object, const Bindings& bindings) const;
  /// Returns: null if nothing changes.
  Ref<NSArray> substituted(const Bindings& bindings) const;

 private:
  ExpressionList _list;
  Ref<NSArray> _array;
  unsigned _nesting = 0;
};

class AggregateExpression final : public NSExpression {
 public:
  explicit AggregateExpression(ExpressionArray members)
      : NSExpression(NSAggregateExpressionType, members.nesting() + 1),
        _members(std::move(members)) {}
  Value collection() const override { return _members.array(); }
  const ExpressionList& members() const noexcept { return _members.list(); }

  JN_EXPRESSION;
  ExpressionArray _members;
};

class FunctionExpression final : public NSExpression {
 public:
  FunctionExpression(const Function& function, ExpressionArray arguments)
      : NSExpression(NSFunctionExpressionType, arguments.nesting() + 1),
        _function(function),
        _arguments(std::move(arguments)) {}
  /// The language's own functions are sent to nobody.
  Ref<NSExpression> operand() const override { return nullptr; }
  Ref<NSString> function() const override { return NSString::interned(_function.selector); }
  Ref<NSArray> arguments() const override { return _arguments.array(); }
  const Function& implementation() const noexcept { return _function; }

  JN_EXPRESSION;
  Value evaluateAggregate(const Value& object, const Bindings& bindings) const;

  const Function& _function;
  ExpressionArray _arguments;
};

/// Sends a selector to what the operand gives.
class SelectorExpression final : public NSExpression {
 public:
  SelectorExpression(Ref<NSExpression> operand, SEL selector, ExpressionArray arguments)
      : NSExpression(NSFunctionExpressionType,
                     std::max(operand->nesting(), arguments.nesting()) + 1),
        _operand(std::move(operand)),
        _selector(selector),
        _arguments(std::move(arguments)) {}
  Ref<NSExpression> operand() const override { return _operand; }
  Ref<NSString> function() const override { return NSString::fromText(_selector.name()); }
  Ref<NSArray> arguments() const override { return _arguments.array(); }

  JN_EXPRESSION;
  Ref<NSExpression> _operand;
  SEL _selector;
  ExpressionArray _arguments;
};

class SetExpression final : public NSExpression {
 public:
  SetExpression(NSExpressionType type, Ref<NSExpression> left, Ref<NSExpression> right)
      : NSExpression(type, std::max(left->nesting(), right->nesting()) + 1),
        _left(std::move(left)),
        _right(std::move(right)) {}
  Ref<NSExpression> leftExpression() const override { return _left; }
  Ref<NSExpression> rightExpression() const override { return _right; }

  JN_EXPRESSION;
  Ref<NSExpression> _left;
  Ref<NSExpression> _right;
};

class SubqueryExpression final : public NSExpression {
 public:
  SubqueryExpression(Ref<NSExpression> collection, Ref<NSString> variable,
                     Ref<NSPredicate> predicate)
      : NSExpression(NSSubqueryExpressionType,
                     std::max(collection->nesting(), predicate->nesting()) + 1),
        _collection(std::move(collection)),
        _variable(std::move(variable)),
        _predicate(std::move(predicate)) {}
  Value collection() const override { return _collection; }
  Ref<NSString> variable() const override { return _variable; }
  Ref<NSPredicate> predicate() const override { return _predicate; }

  JN_EXPRESSION;
  Ref<NSExpression> _collection;
  Ref<NSString> _variable;
  Ref<NSPredicate> _predicate;
};

class ConditionalExpression final : public NSExpression {
 public:
  ConditionalExpression(Ref<NSPredicate> predicate, Ref<NSExpression> trueExpression,
                        Ref<NSExpression> falseExpression)
      : NSExpression(NSConditionalExpressionType,
                     std::max({predicate->nesting(), trueExpression->nesting(),
                               falseExpression->nesting()}) +
                         1),
        _predicate(std::move(predicate)),
        _trueExpression(std::move(trueExpression)),
        _falseExpression(std::move(falseExpression)) {}
  Ref<NSPredicate> predicate() const override { return _predicate; }
  Ref<NSExpression> trueExpression() const override { return _trueExpression; }
  Ref<NSExpression> falseExpression() const override { return _falseExpression; }

  JN_EXPRESSION;
  Ref<NSPredicate> _predicate;
  Ref<NSExpression> _trueExpression;
  Ref<NSExpression> _falseExpression;
};

class BlockExpression final : public NSExpression {
 public:
  BlockExpression(Block block, ExpressionArray arguments)
      : NSExpression(NSBlockExpressionType, arguments.nesting() + 1),
        _block(std::move(block)),
        _arguments(std::move(arguments)) {}
  Block expressionBlock() const override { return _block; }
  Ref<NSArray> arguments() const override { return _arguments.array(); }

  JN_EXPRESSION;
  Block _block;
  ExpressionArray _arguments;
};

class AnyKeyExpression final : public NSExpression {
 public:
  AnyKeyExpression() : NSExpression(NSAnyKeyExpressionType, 1) {}

  JN_EXPRESSION;
};

#undef JN_EXPRESSION

}  // namespace JNFoundation::impl
