#pragma once

#include <JNFoundation/platform/query/NSPredicate.h>

namespace JNFoundation::inline v0_1 {

/// How predicates are joined.
enum NSCompoundPredicateType : NSUInteger {
  NSNotPredicateType = 0,  ///< the one subpredicate does not hold
  NSAndPredicateType = 1,  ///< all hold
  NSOrPredicateType = 2,   ///< at least one holds
};

/// Predicates joined by AND or OR, or one negated by NOT. Evaluation goes from left to right and
/// stops as soon as the answer is known; AND of nothing holds, OR of nothing does not. Threads:
/// any.
class NSCompoundPredicate : public NSPredicate {
 public:
  using Superclass = NSPredicate;
  static const Class classObject;
  const Class& class_() const noexcept override;

  // Takes: the subpredicates, copied; NOT takes exactly one. Fails: raises
  // NSInvalidArgumentException for null, for an element that is no predicate, and past
  // `maximumNestingOfPredicates`.
  static Ref<NSCompoundPredicate> initWithTypeSubpredicates(NSCompoundPredicateType type,
                                                            const Ref<NSArray>& subpredicates);
  static Ref<NSCompoundPredicate> andPredicateWithSubpredicates(const Ref<NSArray>& subpredicates);
  static Ref<NSCompoundPredicate> orPredicateWithSubpredicates(const Ref<NSArray>& subpredicates);
  static Ref<NSCompoundPredicate> notPredicateWithSubpredicate(const Ref<NSPredicate>& predicate);

  /// How the predicates are joined.
  NSCompoundPredicateType compoundPredicateType() const noexcept { return _type; }
  /// The NSPredicates that are joined. Never null.
  const Ref<NSArray>& subpredicates() const noexcept { return _subpredicates; }

 protected:
  NSCompoundPredicate(NSCompoundPredicateType type, Ref<NSArray> subpredicates, unsigned nesting);

 private:
  bool evaluate(const Value& object, const impl::Bindings& bindings) const override;
  bool hasEqualContent(const NSPredicate& other) const override;
  std::size_t contentHash() const override;
  void appendFormat(std::string& text) const override;
  Ref<NSPredicate> substituted(const impl::Bindings& bindings) const override;

  NSCompoundPredicateType _type;
  Ref<NSArray> _subpredicates;
};

}  // namespace JNFoundation
