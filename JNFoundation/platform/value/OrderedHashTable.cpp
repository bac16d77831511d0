#include "JNFoundation/platform/value/OrderedHashTable.h"

#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>

namespace JNFoundation::inline v0_1::impl {

bool memberEquals(const Value& member, const Value& other, const std::uint64_t& generation) {
  const bool decidedHere =
      member.isString() || (!member.isObject() && (!other.isObject() || other.isString()));
  if (decidedHere) return member.isEqual(other);
  const Value heldMember = held(member);
  const Value heldOther = held(other);
  const std::uint64_t before = generation;
  const bool equal = heldMember.isEqual(heldOther);
  if (generation != before) {
    raise(NSGenericException,
          "*** A collection was mutated by the isEqual: of one of its members.");
  }
  return equal;
}

void raiseTooManyEntries() {
  raise(NSInvalidArgumentException, "*** A collection cannot hold more than 1073741824 entries.");
}

}  // namespace JNFoundation::impl
