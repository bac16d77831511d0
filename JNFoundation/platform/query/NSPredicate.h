#pragma once

#include <optional>

#include <JNFoundation/platform/query/NSExpression.h>

namespace JNFoundation::inline v0_1 {

class NSDictionary;
class NSMutableArray;
class NSMutableSet;
class NSOrderedSet;
class NSSet;

/// A question about an object that is answered yes or no: for filtering collections and for
/// fetching from a store. An immutable tree of comparisons (NSComparisonPredicate) joined by AND,
/// OR and NOT (NSCompoundPredicate).
///
///     auto adults = NSPredicate::predicateWithFormat("age >= %d AND name BEGINSWITH[c] %@", 18,
///     "a"); Ref<NSArray> found = filteredArrayUsingPredicate(people, adults);
///
/// Threads: a predicate never changes; evaluating one reads its object on the caller's thread.
class NSPredicate : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// What a block predicate calls with the object and the values of variables, which may be null.
  using Block = JNFoundation::Block<bool(const Value& object, const Ref<NSDictionary>& variables)>;

  /// The predicate that the format describes.
  ///
  /// The language: comparisons `= == != <> < <= =< > >= =>`, `BETWEEN {low, high}`, `IN`,
  /// `CONTAINS`, `BEGINSWITH`, `ENDSWITH`, `LIKE` and `MATCHES`, with options in brackets behind
  /// the operator (`[c]` any case, `[d]` any diacritics, `[cd]`); `ANY`, `SOME`, `ALL` and `NONE`
  /// before a comparison; `NOT` or `!` before `AND` or `&&` before `OR` or `||`; `TRUEPREDICATE`,
  /// `FALSEPREDICATE`; literals ("text", 'text', numbers, `NULL`, `TRUE`, `{lists}`), `SELF`, key
  /// paths, `$variables`, functions, `SUBQUERY(collection, $x, predicate)`, and arithmetic with
  /// `**` before `* /` before `+ -`. Keywords may be written in any case; a key that is one is
  /// written with a `#` before it.
  ///
  /// Arguments: `%@` a value, `%K` a key path, `%d %i %u %x %f %g` and their sizes a number, `%s`
  /// text. Inside quotes all of these are plain text. Arguments that are left over are ignored.
  ///
  /// `FETCH`, `UTI-EQUALS`, `UTI-CONFORMS-TO` and assignments (`:=`) are no part of it.
  ///
  /// Fails: raises NSInvalidArgumentException, whose reason begins with
  /// `Unable to parse the format string "<format>"` and goes on with the position (in code points,
  /// from 0, also in the user info under "position") and what was wrong or expected there; below
  /// that stands the line of the format with a caret under the position. Likewise for a missing
  /// argument, for one of the wrong kind, and past `maximumNestingOfPredicates`.
  template <class... Arguments>
  static Ref<NSPredicate> predicateWithFormat(const Ref<NSString>& format,
                                              const Arguments&... arguments) {
    const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(nullptr)};
    return predicateWithFormatArguments(format, std::span(list, sizeof...(arguments)));
  }
  /// The same with the arguments in a list.
  static Ref<NSPredicate> predicateWithFormatArguments(const Ref<NSString>& format,
                                                       std::span<const FormatArgument> arguments);
  /// The same with the arguments in an array, which may be null; the null marker stands for null.
  static Ref<NSPredicate> predicateWithFormatArguments(const Ref<NSString>& format,
                                                       const Ref<NSArray>& arguments);
  /// The same as `predicateWithFormatArguments` of an array.
  static Ref<NSPredicate> predicateWithFormatArgumentArray(const Ref<NSString>& format,
                                                           const Ref<NSArray>& arguments) {
    return predicateWithFormatArguments(format, arguments);
  }

  /// The predicate that always gives that answer.
  static Ref<NSPredicate> predicateWithValue(bool value);
  /// A predicate that only C++ understands: stores evaluate it in memory.
  static Ref<NSPredicate> predicateWithBlock(Block block);

  /// Fails: raises NSInvalidArgumentException for operands that an operator cannot work with (see
  /// NSComparisonPredicate) and for a variable without a value; reading keys raises what the object
  /// raises.
  bool evaluateWithObject(const Value& object) const;
  /// The dictionary, which may be null, holds the values of variables by name.
  bool evaluateWithObjectSubstitutionVariables(const Value& object,
                                               const Ref<NSDictionary>& variables) const;

  /// The same predicate with constants in place of its variables.
  /// Fails: raises NSInvalidArgumentException for a variable without an entry.
  Ref<NSPredicate> predicateWithSubstitutionVariables(const Ref<NSDictionary>& variables) const;
  /// The same predicate with what the block gives in place of each of its constants: what a store
  /// does with the objects that a predicate names. Constants inside a constant collection are the
  /// block's business.
  Ref<NSPredicate> predicateByReplacingConstants(
      const JNFoundation::Block<Value(const Value& constant)>& replacement) const;

  /// The predicate as a format, keywords in upper case. What formats can express (no blocks, no
  /// values of other classes) is parsed back to a predicate that answers alike.
  Ref<NSString> predicateFormat() const;

  /// The answer of a predicate made by `predicateWithValue`; nothing for all other predicates.
  virtual std::optional<bool> constantAnswer() const noexcept { return std::nullopt; }

  /// How many levels the tree has from here down; at least 1.
  unsigned nesting() const noexcept { return _nesting; }

  Ref<NSString> description() const override { return predicateFormat(); }
  /// Structural equality.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;

 protected:
  /// Fails: raises NSInvalidArgumentException when `nesting` is past the limit.
  explicit NSPredicate(unsigned nesting);

 private:
  friend struct impl::TreeAccess;

  virtual bool evaluate(const Value& object, const impl::Bindings& bindings) const = 0;
  virtual bool hasEqualContent(const NSPredicate& other) const = 0;
  virtual std::size_t contentHash() const = 0;
  virtual void appendFormat(std::string& text) const = 0;
  /// Returns: null if nothing in the tree changes.
  virtual Ref<NSPredicate> substituted(const impl::Bindings& bindings) const = 0;

  unsigned _nesting;
};

// The elements for which the predicate holds, in their order. Fail: raise
// NSInvalidArgumentException for a null predicate; a null collection gives null.
Ref<NSArray> filteredArrayUsingPredicate(const Ref<NSArray>& array,
                                         const Ref<NSPredicate>& predicate);
Ref<NSSet> filteredSetUsingPredicate(const Ref<NSSet>& set, const Ref<NSPredicate>& predicate);
Ref<NSOrderedSet> filteredOrderedSetUsingPredicate(const Ref<NSOrderedSet>& set,
                                                   const Ref<NSPredicate>& predicate);
/// Removes the elements for which the predicate does not hold. If an evaluation raises, nothing has
/// been removed.
void filterUsingPredicate(const Ref<NSMutableArray>& array, const Ref<NSPredicate>& predicate);
void filterUsingPredicate(const Ref<NSMutableSet>& set, const Ref<NSPredicate>& predicate);

}  // namespace JNFoundation
