#include "JNFoundation/platform/value/impl/ContainerEquality.h"

#include <vector>

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {
namespace {

/// Two containers of one kind and how far they were compared. Both are held: the equality of an
/// application's class may let go of anything.
struct Pair {
  Value left;
  Value right;
  std::size_t next = 0;
};

thread_local int nesting = 0;

struct Nesting {
  Nesting() {
    if (nesting >= ContainerEquality::nestingLimit) {
      raise(NSGenericException, "*** Sets are nested too deeply to be compared.");
    }
    ++nesting;
  }
  ~Nesting() { --nesting; }
};

enum class Outcome { Equal, Different, Nested };

/// Compares two values, unless both are containers of one kind, which the caller goes into.
template <class Container>
bool areBoth(const Value& left, const Value& right) {
  return isKindOf<Container>(left) && isKindOf<Container>(right);
}

Outcome compare(const Value& left, const Value& right) {
  if (left.isIdentical(right)) return Outcome::Equal;
  if (left.isObject() && right.isObject()) {
    const bool areAlike = areBoth<NSArray>(left, right) || areBoth<NSDictionary>(left, right) ||
                          areBoth<NSOrderedSet>(left, right) || areBoth<NSSet>(left, right);
    if (areAlike) return Outcome::Nested;
  }
  return left.isEqual(right) ? Outcome::Equal : Outcome::Different;
}

template <class Sequence>
bool nextOfSequence(Pair& pair, Value& left, Value& right, bool& isDone) {
  const auto* l = static_cast<const Sequence*>(pair.left.object());
  const auto* r = static_cast<const Sequence*>(pair.right.object());
  if (l->count() != r->count()) return false;
  isDone = pair.next == l->count();
  if (isDone) return true;
  left = l->objectAtIndex(pair.next);
  right = r->objectAtIndex(pair.next);
  ++pair.next;
  return true;
}

bool nextOfDictionary(Pair& pair, Value& left, Value& right, bool& isDone) {
  const auto* l = static_cast<const NSDictionary*>(pair.left.object());
  const auto* r = static_cast<const NSDictionary*>(pair.right.object());
  if (l->count() != r->count()) return false;
  Value key;
  if (!l->entryAfter(pair.next, key, left)) {
    isDone = true;
    return true;
  }
  Nesting nested;
  const Value* found = r->find(key);
  if (!found) return false;
  right = *found;
  return true;
}

bool equalSets(const NSSet& left, const NSSet& right) {
  if (left.count() != right.count()) return false;
  Nesting nested;
  for (const Value& member : left) {
    if (!right.containsObject(member)) return false;
  }
  return true;
}

/// The next two values to compare. Returns: false when the containers differ.
bool advance(Pair& pair, Value& left, Value& right, bool& isDone) {
  if (isKindOf<NSArray>(pair.left)) return nextOfSequence<NSArray>(pair, left, right, isDone);
  if (isKindOf<NSOrderedSet>(pair.left)) {
    return nextOfSequence<NSOrderedSet>(pair, left, right, isDone);
  }
  if (isKindOf<NSDictionary>(pair.left)) return nextOfDictionary(pair, left, right, isDone);
  isDone = true;
  return equalSets(*static_cast<const NSSet*>(pair.left.object()),
                   *static_cast<const NSSet*>(pair.right.object()));
}

}  // namespace

bool ContainerEquality::equal(const NSObject& left, const Value& right) {
  Value l(const_cast<NSObject*>(&left));
  Value r = right;
  if (l.isIdentical(r)) return true;
  const bool areAlike = areBoth<NSArray>(l, r) || areBoth<NSDictionary>(l, r) ||
                        areBoth<NSOrderedSet>(l, r) || areBoth<NSSet>(l, r);
  if (!areAlike) return false;
  std::vector<Pair> stack;
  stack.push_back({std::move(l), std::move(r)});
  while (!stack.empty()) {
    bool isDone = false;
    if (!advance(stack.back(), l, r, isDone)) return false;
    if (isDone) {
      stack.pop_back();
      continue;
    }
    switch (compare(l, r)) {
      case Outcome::Equal:
        break;
      case Outcome::Different:
        return false;
      case Outcome::Nested:
        stack.push_back({l, r});
        break;
    }
  }
  return true;
}

}  // namespace JNFoundation
