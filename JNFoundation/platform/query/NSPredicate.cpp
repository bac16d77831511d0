#include "JNFoundation/platform/query/NSPredicate.h"

#include <JNFoundation/platform/query/impl/Bindings.h>
#include <JNFoundation/platform/query/impl/Parser.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSPredicate::classObject = Class::of<NSPredicate>("NSPredicate");
const Class& NSPredicate::class_() const noexcept { return classObject; }

namespace {

const ClassDeclaration<NSPredicate> declarationOfNSPredicate =
    ClassDeclaration<NSPredicate>()
        .operation("evaluateWithObject:", &NSPredicate::evaluateWithObject)
        .operation("predicateFormat", &NSPredicate::predicateFormat);

class ValuePredicate final : public NSPredicate {
 public:
  using Superclass = NSPredicate;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit ValuePredicate(bool answer) : NSPredicate(1), _answer(answer) {}
  std::optional<bool> constantAnswer() const noexcept override { return _answer; }

 private:
  bool evaluate(const Value&, const impl::Bindings&) const override { return _answer; }
  bool hasEqualContent(const NSPredicate& other) const override {
    return _answer == static_cast<const ValuePredicate&>(other)._answer;
  }
  std::size_t contentHash() const override { return _answer; }
  void appendFormat(std::string& text) const override {
    text += _answer ? "TRUEPREDICATE" : "FALSEPREDICATE";
  }
  Ref<NSPredicate> substituted(const impl::Bindings&) const override { return nullptr; }

  bool _answer;
};

class BlockPredicate final : public NSPredicate {
 public:
  using Superclass = NSPredicate;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit BlockPredicate(Block block) : NSPredicate(1), _block(std::move(block)) {}

 private:
  bool evaluate(const Value& object, const impl::Bindings& bindings) const override {
    return _block(object, impl::variablesIn(bindings));
  }
  bool hasEqualContent(const NSPredicate& other) const override { return this == &other; }
  std::size_t contentHash() const override { return std::hash<const void*>()(this) >> 4; }
  void appendFormat(std::string& text) const override {
    text +=
        NSString::stringWithFormat("BLOCKPREDICATE(%p)", static_cast<const void*>(this))->utf8();
  }
  /// The variables reach the block when it is called; here they would be lost.
  Ref<NSPredicate> substituted(const impl::Bindings& bindings) const override {
    Ref<NSDictionary> variables = impl::variablesIn(bindings);
    if (!variables) return nullptr;
    return makeObject<BlockPredicate>(
        [block = _block, variables](const Value& object, const Ref<NSDictionary>& later) {
          if (!later) return block(object, variables);
          Ref<NSMutableDictionary> all = NSMutableDictionary::dictionaryWithDictionary(later);
          all->addEntriesFromDictionary(variables);
          return block(object, all);
        });
  }

  Block _block;
};

constinit const Class ValuePredicate::classObject = Class::of<ValuePredicate>("NSTruePredicate");
constinit const Class BlockPredicate::classObject = Class::of<BlockPredicate>("NSBlockPredicate");

void requirePredicate(const Ref<NSPredicate>& predicate) {
  if (!predicate) raise(NSInvalidArgumentException, "a collection is not filtered by nil");
}

template <class Collection>
std::vector<Value> matching(const Collection& collection, const NSPredicate& predicate) {
  std::vector<Value> values;
  for (const Value& element : collection) {
    if (predicate.evaluateWithObject(element)) values.push_back(element);
  }
  return values;
}

}  // namespace

Ref<NSDictionary> impl::variablesIn(const Bindings& bindings) {
  Ref<NSDictionary> given(const_cast<NSDictionary*>(bindings.variables));
  Ref<NSMutableDictionary> all;
  for (const Bindings* scope = &bindings; scope; scope = scope->outer) {
    if (!scope->name || !scope->value) continue;
    if (!all) all = NSMutableDictionary::dictionary();
    const Value name(const_cast<NSString*>(scope->name));
    if (!all->find(name)) all->setObjectForKey(*scope->value, name);
  }
  if (!all) return given;
  if (!given) return all;
  Ref<NSMutableDictionary> merged = NSMutableDictionary::dictionaryWithDictionary(given);
  merged->addEntriesFromDictionary(all);
  return merged;
}

NSPredicate::NSPredicate(unsigned nesting) : _nesting(nesting) {
  if (nesting > maximumNestingOfPredicates) {
    raise(NSInvalidArgumentException, "a predicate must not have more than %u levels",
          maximumNestingOfPredicates);
  }
}

Ref<NSPredicate> NSPredicate::predicateWithFormatArguments(
    const Ref<NSString>& format, std::span<const FormatArgument> arguments) {
  return impl::parsePredicate(format, arguments);
}

Ref<NSPredicate> NSPredicate::predicateWithFormatArguments(const Ref<NSString>& format,
                                                           const Ref<NSArray>& arguments) {
  std::vector<FormatArgument> list;
  if (arguments) {
    for (const Value& argument : *arguments) list.emplace_back(argument);
  }
  return impl::parsePredicate(format, list);
}

Ref<NSPredicate> NSPredicate::predicateWithValue(bool value) {
  static const Ref<NSPredicate> yes = makeObject<ValuePredicate>(true);
  static const Ref<NSPredicate> no = makeObject<ValuePredicate>(false);
  return value ? yes : no;
}

Ref<NSPredicate> NSPredicate::predicateWithBlock(Block block) {
  if (!block) fatalError("predicateWithBlock: needs a block");
  return makeObject<BlockPredicate>(std::move(block));
}

bool NSPredicate::evaluateWithObject(const Value& object) const { return evaluate(object, {}); }

bool NSPredicate::evaluateWithObjectSubstitutionVariables(
    const Value& object, const Ref<NSDictionary>& variables) const {
  return evaluate(object, impl::Bindings{variables.get()});
}

Ref<NSPredicate> NSPredicate::predicateWithSubstitutionVariables(
    const Ref<NSDictionary>& variables) const {
  Ref<NSPredicate> fresh = substituted(impl::Bindings{variables.get()});
  return fresh ? fresh : Ref<NSPredicate>(const_cast<NSPredicate*>(this));
}

Ref<NSPredicate> NSPredicate::predicateByReplacingConstants(
    const JNFoundation::Block<Value(const Value& constant)>& replacement) const {
  impl::Bindings bindings;
  bindings.constants = &replacement;
  Ref<NSPredicate> fresh = substituted(bindings);
  return fresh ? fresh : Ref<NSPredicate>(const_cast<NSPredicate*>(this));
}

Ref<NSString> NSPredicate::predicateFormat() const {
  std::string text;
  appendFormat(text);
  return NSString::fromText(text);
}

bool NSPredicate::isEqual(const Value& other) const {
  const NSPredicate* predicate = as<NSPredicate>(other);
  if (predicate == this) return true;
  return predicate && _nesting == predicate->_nesting && class_() == predicate->class_() &&
         hasEqualContent(*predicate);
}

std::size_t NSPredicate::hash() const { return contentHash(); }

Ref<NSArray> filteredArrayUsingPredicate(const Ref<NSArray>& array,
                                         const Ref<NSPredicate>& predicate) {
  requirePredicate(predicate);
  return array ? NSArray::arrayWithValues(matching(*array, *predicate)) : nullptr;
}

Ref<NSSet> filteredSetUsingPredicate(const Ref<NSSet>& set, const Ref<NSPredicate>& predicate) {
  requirePredicate(predicate);
  return set ? NSSet::setWithValues(matching(*set, *predicate)) : nullptr;
}

Ref<NSOrderedSet> filteredOrderedSetUsingPredicate(const Ref<NSOrderedSet>& set,
                                                   const Ref<NSPredicate>& predicate) {
  requirePredicate(predicate);
  return set ? NSOrderedSet::orderedSetWithValues(matching(*set, *predicate)) : nullptr;
}

void filterUsingPredicate(const Ref<NSMutableArray>& array, const Ref<NSPredicate>& predicate) {
  requirePredicate(predicate);
  if (array) array->setArray(NSArray::arrayWithValues(matching(*array, *predicate)));
}

void filterUsingPredicate(const Ref<NSMutableSet>& set, const Ref<NSPredicate>& predicate) {
  requirePredicate(predicate);
  if (!set) return;
  const Ref<NSSet> kept = NSSet::setWithValues(matching(*set, *predicate));
  const Ref<NSArray> members = set->allObjects();
  for (const Value& member : *members) {
    if (!kept->containsObject(member)) set->removeObject(member);
  }
}

}  // namespace JNFoundation
