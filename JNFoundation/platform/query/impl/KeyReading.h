#pragma once

#include <vector>

#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1::impl {

/// The value of one key of something that is no collection, or of a collection itself where the key
/// starts with "@". Null for null.
Value valueForKeyOfOne(const Value& object, const Ref<NSString>& key);

/// What becomes of the collections that members lead to.
enum class Nested { Kept, Flattened };

/// One collection on the way: what is still to be read of it, and what was read.
class MappedCollection {
 public:
  MappedCollection(const Value& collection, Nested nested)
      : _kind(collectionKind(collection)), _nested(nested) {
    appendMembers(collection, _members);
    _results.reserve(_members.size());
  }

  bool isDone() const noexcept { return _next == _members.size(); }
  /// Valid until the next call.
  const Value& nextMember() noexcept { return _members[_next++]; }

  void add(Value result) {
    if (_nested == Nested::Flattened && appendMembers(result, _results)) {
      _kind = CollectionKind::Array;
    } else {
      _results.push_back(std::move(result));
    }
  }

  /// An array holds the null marker where there is null; a set leaves it out.
  Value finish() {
    if (_kind == CollectionKind::Array) {
      for (Value& result : _results) result = orNSNull(result);
      return NSArray::arrayWithValues(std::move(_results));
    }
    std::erase_if(_results, [](const Value& result) { return result.isNull(); });
    if (_kind == CollectionKind::Set) return NSSet::setWithValues(std::move(_results));
    return NSOrderedSet::orderedSetWithValues(std::move(_results));
  }

 private:
  CollectionKind _kind;
  Nested _nested;
  std::vector<Value> _members;
  std::vector<Value> _results;
  std::size_t _next = 0;
};

/// A collection of the same kind with what `read` finds in each member. Members that are
/// collections are mapped in turn, however deep, without nesting calls.
template <class Read>
Value mapMembers(const Value& collection, Nested nested, Read&& read) {
  std::vector<MappedCollection> open;
  open.emplace_back(collection, nested);
  for (;;) {
    if (open.back().isDone()) {
      Value result = open.back().finish();
      open.pop_back();
      if (open.empty()) return result;
      open.back().add(std::move(result));
      continue;
    }
    const Value& member = open.back().nextMember();
    if (isCollection(member)) {
      open.emplace_back(Value(member), nested);
    } else {
      open.back().add(read(member));
    }
  }
}

}  // namespace JNFoundation::impl
