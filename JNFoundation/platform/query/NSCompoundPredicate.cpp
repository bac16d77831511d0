#include "JNFoundation/platform/query/NSCompoundPredicate.h"

#include <algorithm>

#include <JNFoundation/platform/query/impl/Bindings.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSCompoundPredicate::classObject =
    Class::of<NSCompoundPredicate>("NSCompoundPredicate");
const Class& NSCompoundPredicate::class_() const noexcept { return classObject; }

namespace {

const ClassDeclaration<NSCompoundPredicate> declarationOfNSCompoundPredicate =
    ClassDeclaration<NSCompoundPredicate>();

const NSPredicate& predicateIn(const Value& element) {
  return *static_cast<const NSPredicate*>(element.object());
}

/// AND and OR inside another compound are set in parentheses; NOT binds tighter than both.
void appendSubpredicate(const NSPredicate& predicate, bool underNot, std::string& text) {
  bool parentheses = false;
  if (isKindOf<NSCompoundPredicate>(predicate)) {
    const auto& compound = static_cast<const NSCompoundPredicate&>(predicate);
    parentheses = underNot || compound.compoundPredicateType() != NSNotPredicateType;
  }
  if (parentheses) text += '(';
  impl::TreeAccess::appendFormat(predicate, text);
  if (parentheses) text += ')';
}

}  // namespace

NSCompoundPredicate::NSCompoundPredicate(NSCompoundPredicateType type, Ref<NSArray> subpredicates,
                                         unsigned nesting)
    : NSPredicate(nesting), _type(type), _subpredicates(std::move(subpredicates)) {}

Ref<NSCompoundPredicate> NSCompoundPredicate::initWithTypeSubpredicates(
    NSCompoundPredicateType type, const Ref<NSArray>& subpredicates) {
  if (!subpredicates) raise(NSInvalidArgumentException, "the subpredicates must not be nil");
  if (type > NSOrPredicateType) {
    raise(NSInvalidArgumentException, "there is no compound predicate of type %llu", type);
  }
  unsigned nesting = 0;
  std::vector<Value> predicates;
  for (const Value& element : *subpredicates) {
    const NSPredicate* predicate = as<NSPredicate>(element);
    if (!predicate) {
      raise(NSInvalidArgumentException, "a subpredicate must be a predicate, not a %s: %@",
            element.class_()->name(), element);
    }
    nesting = std::max(nesting, predicate->nesting());
    predicates.push_back(element);
  }
  if (type == NSNotPredicateType && predicates.size() != 1) {
    raise(NSInvalidArgumentException, "NOT takes one subpredicate, not %zu", predicates.size());
  }
  return makeObject<NSCompoundPredicate>(type, NSArray::arrayWithValues(std::move(predicates)),
                                         nesting + 1);
}

Ref<NSCompoundPredicate> NSCompoundPredicate::andPredicateWithSubpredicates(
    const Ref<NSArray>& subpredicates) {
  return initWithTypeSubpredicates(NSAndPredicateType, subpredicates);
}

Ref<NSCompoundPredicate> NSCompoundPredicate::orPredicateWithSubpredicates(
    const Ref<NSArray>& subpredicates) {
  return initWithTypeSubpredicates(NSOrPredicateType, subpredicates);
}

Ref<NSCompoundPredicate> NSCompoundPredicate::notPredicateWithSubpredicate(
    const Ref<NSPredicate>& predicate) {
  if (!predicate) raise(NSInvalidArgumentException, "the subpredicate must not be nil");
  return initWithTypeSubpredicates(NSNotPredicateType, NSArray::arrayWithObject(predicate));
}

bool NSCompoundPredicate::evaluate(const Value& object, const impl::Bindings& bindings) const {
  const auto holds = [&](const Value& element) {
    return impl::TreeAccess::evaluate(predicateIn(element), object, bindings);
  };
  const std::vector<Value>& predicates = *_subpredicates->contiguousElements();
  switch (_type) {
    case NSNotPredicateType:
      return !holds(predicates[0]);
    case NSAndPredicateType:
      return std::all_of(predicates.begin(), predicates.end(), holds);
    case NSOrPredicateType:
      return std::any_of(predicates.begin(), predicates.end(), holds);
  }
  return false;
}

bool NSCompoundPredicate::hasEqualContent(const NSPredicate& other) const {
  const auto& compound = static_cast<const NSCompoundPredicate&>(other);
  return _type == compound._type && _subpredicates->isEqualToArray(compound._subpredicates);
}

std::size_t NSCompoundPredicate::contentHash() const {
  std::size_t hash = _type;
  for (const Value& element : _subpredicates) hash = impl::combinedHash(hash, element.hash());
  return hash;
}

void NSCompoundPredicate::appendFormat(std::string& text) const {
  if (_type == NSNotPredicateType) {
    text += "NOT ";
    return appendSubpredicate(predicateIn(_subpredicates->firstObject()), true, text);
  }
  if (_subpredicates->count() == 0) {
    text += _type == NSAndPredicateType ? "TRUEPREDICATE" : "FALSEPREDICATE";
  }
  std::string_view separator;
  for (const Value& element : *_subpredicates) {
    text += separator;
    separator = _type == NSAndPredicateType ? " AND " : " OR ";
    appendSubpredicate(predicateIn(element), false, text);
  }
}

Ref<NSPredicate> NSCompoundPredicate::substituted(const impl::Bindings& bindings) const {
  bool changed = false;
  std::vector<Value> predicates;
  for (const Value& element : *_subpredicates) {
    Ref<NSPredicate> predicate = as<NSPredicate>(element);
    changed |= impl::TreeAccess::substitute(predicate, bindings);
    predicates.emplace_back(std::move(predicate));
  }
  if (!changed) return nullptr;
  return initWithTypeSubpredicates(_type, NSArray::arrayWithValues(std::move(predicates)));
}

}  // namespace JNFoundation
