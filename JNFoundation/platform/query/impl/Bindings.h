#pragma once

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1::impl {

/// What the variables of a tree stand for while it is evaluated or substituted: those of the
/// caller, and in front of them those that the subqueries around have bound, innermost first.
struct Bindings {
  /// The caller's; may be null.
  const NSDictionary* variables = nullptr;

  /// The variable bound here, if any. A null value says that it is bound, but not yet known.
  const NSString* name = nullptr;
  const Value* value = nullptr;
  const Bindings* outer = nullptr;

  /// What a substitution puts in the place of constants. Variables stay what they are then.
  const Block<Value(const Value&)>* constants = nullptr;

  Bindings binding(const NSString& variable, const Value* toValue) const {
    return {variables, &variable, toValue, this, constants};
  }

  /// The scope that binds the variable. Returns: null if none does.
  const Bindings* scopeOf(const NSString& variable) const noexcept {
    for (const Bindings* scope = this; scope; scope = scope->outer) {
      if (scope->name && scope->name->hasContentOf(variable)) return scope;
    }
    return nullptr;
  }

  /// Fails: raises NSInvalidArgumentException if nothing gives the variable a value.
  Value valueOf(const NSString& variable) const;
};

/// The way into the trees for the code that builds and walks them.
struct TreeAccess {
  static Value evaluate(const NSExpression& expression, const Value& object,
                        const Bindings& bindings) {
    return expression.evaluate(object, bindings);
  }
  static bool evaluate(const NSPredicate& predicate, const Value& object,
                       const Bindings& bindings) {
    return predicate.evaluate(object, bindings);
  }

  static void appendFormat(const NSExpression& expression, std::string& text) {
    expression.appendFormat(text);
  }
  static void appendFormat(const NSPredicate& predicate, std::string& text) {
    predicate.appendFormat(text);
  }

  // Return: null if nothing in the tree changes.
  static Ref<NSExpression> substituted(const NSExpression& expression, const Bindings& bindings) {
    return expression.substituted(bindings);
  }
  static Ref<NSPredicate> substituted(const NSPredicate& predicate, const Bindings& bindings) {
    return predicate.substituted(bindings);
  }
  /// Replaces the tree where something in it changes. Returns: whether it did.
  template <class Node>
  static bool substitute(Ref<Node>& node, const Bindings& bindings) {
    Ref<Node> fresh = substituted(*node, bindings);
    if (!fresh) return false;
    node = std::move(fresh);
    return true;
  }
};

/// Every single value that an expression leads to: of a key path all of them, nulls included; of
/// any other expression the members of the collection that it gives. Returns: whether it led to a
/// collection or null; otherwise nothing is appended.
bool appendValues(const NSExpression& expression, const Value& object, const Bindings& bindings,
                  std::vector<Value>& values);

/// The same as one value: an array with the null marker in place of null, or what else it gives.
Value valueWithNulls(const NSExpression& expression, const Value& object, const Bindings& bindings);

/// All of them in one dictionary. Returns: null if there are none.
Ref<NSDictionary> variablesIn(const Bindings& bindings);

/// Mixes hashes so that their order counts.
inline std::size_t combinedHash(std::size_t seed, std::size_t next) noexcept {
  return static_cast<std::size_t>((seed ^ next) * 0x9E3779B97F4A7C15u) + (seed >> 7);
}

}  // namespace JNFoundation::impl
