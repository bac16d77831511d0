#include "JNFoundation/platform/value/impl/ContainerEquality.h"

#include <unordered_set>
#include <utility>
#include <vector>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>

namespace JNFoundation::inline v0_1 {
namespace {

thread_local int nesting = 0;

template <class Public, class Plain, class Mutable, class PlainMutable>
bool isOneOf(const Class& cls) {
  return cls == Plain::classObject || cls == PlainMutable::classObject ||
         cls == Public::classObject || cls == Mutable::classObject;
}

struct PairHash {
  std::size_t operator()(const std::pair<Value, Value>& pair) const noexcept {
    const auto left = reinterpret_cast<std::uintptr_t>(pair.first.object());
    const auto right = reinterpret_cast<std::uintptr_t>(pair.second.object());
    return static_cast<std::size_t>(mixHash(31 * left + right));
  }
};

struct PairIdentity {
  bool operator()(const std::pair<Value, Value>& one, const std::pair<Value, Value>& other) const {
    return one.first.isIdentical(other.first) && one.second.isIdentical(other.second);
  }
};

}  // namespace

/// One comparison of all: they may run inside one another, but not without end.
class ContainerEquality::Nesting {
 public:
  Nesting() {
    if (nesting == nestingLimit) {
      raise(
          NSGenericException,
          "*** Collections cannot be compared: sets or keys are nested more than %d deep in them.",
          nestingLimit);
    }
    ++nesting;
  }
  ~Nesting() { --nesting; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
};

/// The pairs that are being compared, innermost on top.
class ContainerEquality::Comparison {
 public:
  /// Returns: false if the containers differ by their count.
  bool open(Value left, Value right, Kind kind) {
    if (countOf(*left.object(), kind) != countOf(*right.object(), kind)) return false;
    if (isMetAgain(left, right)) return true;
    _stack.push_back({std::move(left), std::move(right), kind});
    return true;
  }

  bool run() {
    Value left, right;
    while (!_stack.empty()) {
      switch (advance(_stack.back(), left, right)) {
        case Outcome::Equal:
          _stack.pop_back();
          break;
        case Outcome::Different:
          return false;
        case Outcome::Nested: {
          const Kind kind = kindOf(left.object()->class_());
          if (!open(std::move(left), std::move(right), kind)) return false;
        }
      }
    }
    return true;
  }

 private:
  /// One difference anywhere decides everything, so a pair that was opened before needs no second
  /// look: that ends cycles, and keeps what is shared many times from being compared many times.
  /// Only what has a second owner, beside the one it was read from and the argument here, can be
  /// met again.
  bool isMetAgain(const Value& left, const Value& right) {
    if (left.object()->retainCount() <= 2 && right.object()->retainCount() <= 2) return false;
    return !_met.emplace(left, right).second;
  }

  std::vector<Frame> _stack;
  /// Held, so that no other container takes an address in here.
  std::unordered_set<std::pair<Value, Value>, PairHash, PairIdentity> _met;
};

bool ContainerEquality::equal(const NSObject& left, const Value& right) {
  const Kind kind = kindOf(left.class_());
  const NSObject* other = right.object();
  if (!other || kindOf(other->class_()) != kind) return false;
  if (other == &left) return true;
  const Nesting nested;
  Value heldLeft(const_cast<NSObject*>(&left));
  Value heldRight = impl::held(right);
  if (kind == Kind::Set) {
    return setsAreEqual(static_cast<const NSSet&>(left), *static_cast<const NSSet*>(other));
  }
  Comparison comparison;
  return comparison.open(std::move(heldLeft), std::move(heldRight), kind) && comparison.run();
}

ContainerEquality::Kind ContainerEquality::kindOf(const Class& cls) {
  if (cls.isSubclassOf(NSArray::classObject)) return Kind::Array;
  if (cls.isSubclassOf(NSDictionary::classObject)) return Kind::Dictionary;
  if (cls.isSubclassOf(NSSet::classObject)) return Kind::Set;
  if (cls.isSubclassOf(NSOrderedSet::classObject)) return Kind::OrderedSet;
  return Kind::None;
}

/// None for a class that may have an equality of its own.
ContainerEquality::Kind ContainerEquality::plainKindOf(const Class& cls) {
  const Kind kind = kindOf(cls);
  bool isPlain = true;
  switch (kind) {
    case Kind::None:
      break;
    case Kind::Array:
      isPlain = isOneOf<NSArray, ConcreteArray, NSMutableArray, ConcreteMutableArray>(cls);
      break;
    case Kind::Dictionary:
      isPlain =
          isOneOf<NSDictionary, ConcreteDictionary, NSMutableDictionary, ConcreteMutableDictionary>(
              cls);
      break;
    case Kind::Set:
      isPlain = isOneOf<NSSet, ConcreteSet, NSMutableSet, ConcreteMutableSet>(cls);
      break;
    case Kind::OrderedSet:
      isPlain =
          isOneOf<NSOrderedSet, ConcreteOrderedSet, NSMutableOrderedSet, ConcreteMutableOrderedSet>(
              cls);
      break;
  }
  return isPlain ? kind : Kind::None;
}

std::size_t ContainerEquality::countOf(const NSObject& container, Kind kind) {
  switch (kind) {
    case Kind::Array:
      return static_cast<const NSArray&>(container).count();
    case Kind::OrderedSet:
      return static_cast<const NSOrderedSet&>(container).count();
    case Kind::Dictionary:
      return static_cast<const NSDictionary&>(container).count();
    case Kind::Set:
      return static_cast<const NSSet&>(container).count();
    case Kind::None:
      break;
  }
  return 0;
}

/// Compares two values, unless both are containers to be gone into. The values may stand in
/// containers that an application's isEqual changes, so they are copied before it runs.
ContainerEquality::Outcome ContainerEquality::compareMembers(const Value& left,
                                                             const Value& right) {
  if (left.isIdentical(right)) return Outcome::Equal;
  const bool rightIsSimple = !right.isObject() || right.isString();
  if (left.isString() || (!left.isObject() && rightIsSimple)) {
    return left.isEqual(right) ? Outcome::Equal : Outcome::Different;
  }
  const Kind kind = left.isObject() ? plainKindOf(left.object()->class_()) : Kind::None;
  if (kind != Kind::None) {
    if (!right.isObject() || kindOf(right.object()->class_()) != kind) return Outcome::Different;
    if (kind != Kind::Set) return Outcome::Nested;
  }
  const Value heldLeft = impl::held(left);
  const Value heldRight = impl::held(right);
  return heldLeft.isEqual(heldRight) ? Outcome::Equal : Outcome::Different;
}

/// Goes on to the next two containers, which stand in `left` and `right` then.
/// Returns: Equal at the end of the frame.
ContainerEquality::Outcome ContainerEquality::advance(Frame& frame, Value& left, Value& right) {
  if (frame.kind == Kind::Dictionary) return advanceDictionary(frame, left, right);
  const std::vector<Value>* leftElements = nullptr;
  const std::vector<Value>* rightElements = nullptr;
  if (frame.kind == Kind::Array) {
    leftElements = static_cast<const NSArray*>(frame.left.object())->contiguousElements();
    rightElements = static_cast<const NSArray*>(frame.right.object())->contiguousElements();
  }
  const auto at = [&](const Value& container, std::size_t index) {
    return frame.kind == Kind::Array
               ? static_cast<const NSArray*>(container.object())->objectAtIndex(index)
               : static_cast<const NSOrderedSet*>(container.object())->objectAtIndex(index);
  };
  while (true) {
    const std::size_t count = countOf(*frame.left.object(), frame.kind);
    if (countOf(*frame.right.object(), frame.kind) != count) return Outcome::Different;
    if (frame.next >= count) return Outcome::Equal;
    const std::size_t index = frame.next++;
    Outcome outcome;
    if (leftElements && rightElements) {
      outcome = compareMembers((*leftElements)[index], (*rightElements)[index]);
      if (outcome == Outcome::Nested) {
        left = (*leftElements)[index];
        right = (*rightElements)[index];
      }
    } else {
      left = at(frame.left, index);
      right = at(frame.right, index);
      outcome = compareMembers(left, right);
    }
    if (outcome != Outcome::Equal) return outcome;
  }
}

ContainerEquality::Outcome ContainerEquality::advanceDictionary(Frame& frame, Value& left,
                                                                Value& right) {
  const auto& dictionary = *static_cast<const NSDictionary*>(frame.left.object());
  const auto& other = *static_cast<const NSDictionary*>(frame.right.object());
  while (frame.next < dictionary._table.end()) {
    const NSDictionary::Entry& entry = dictionary._table.at(frame.next++);
    if (entry.key.isNull()) continue;
    Outcome outcome;
    if (const NSString* key = as<NSString>(entry.key)) {
      const Value* found = other.find(*key);
      if (!found) return Outcome::Different;
      outcome = compareMembers(entry.value, *found);
      if (outcome == Outcome::Nested) {
        left = entry.value;
        right = *found;
      }
    } else {
      // Copies: the equality of this key may change either dictionary.
      const Value heldKey = entry.key;
      left = entry.value;
      const Value* found = other.find(heldKey);
      if (!found) return Outcome::Different;
      right = *found;
      outcome = compareMembers(left, right);
    }
    if (outcome != Outcome::Equal) return outcome;
  }
  return Outcome::Equal;
}

bool ContainerEquality::setsAreEqual(const NSSet& left, const NSSet& right) {
  if (left.count() != right.count()) return false;
  for (const Value& member : left) {
    if (!right.containsObject(member)) return false;
  }
  return true;
}

}  // namespace JNFoundation
