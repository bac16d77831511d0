#include "JNFoundation/util/CollectionExtensions.h"

#include <cstdint>
#include <limits>
#include <string>

#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

namespace {

const ClassDeclaration<NSArray> arrayDeclaration = ClassDeclaration<NSArray>().operation(
    "containsObjects:", [](NSArray& array, const Ref<NSArray>& strings) {
      return containsObjects(Ref<NSArray>(&array), strings);
    });
const ClassDeclaration<NSSet> setDeclaration = ClassDeclaration<NSSet>().operation(
    "containsObjects:", [](NSSet& set, const Ref<NSArray>& strings) {
      return containsObjects(Ref<NSSet>(&set), strings);
    });

constexpr std::size_t mostToChooseFrom = std::numeric_limits<std::uint32_t>::max();

}  // namespace

namespace impl {

std::size_t pieceOf(std::size_t count, NSInteger wanted, std::string_view operation) {
  if (wanted < 0) {
    fatalError(std::string(operation) + ": " + std::to_string(wanted) + " elements were asked for");
  }
  return std::min(count, static_cast<std::size_t>(wanted));
}

std::size_t shufflePartner(std::size_t index, std::size_t count) {
  return index + arc4random_uniform(static_cast<std::uint32_t>(count - index));
}

std::size_t randomIndex(std::size_t count) {
  if (count == 0) fatalError("randomElement: there are no elements");
  if (count > mostToChooseFrom) fatalError("randomElement: more than 4294967295 elements");
  return arc4random_uniform(static_cast<std::uint32_t>(count));
}

void requireShufflable(std::size_t count) {
  if (count > mostToChooseFrom) fatalError("shuffleInPlace: more than 4294967295 elements");
}

}  // namespace impl

}  // namespace JNFoundation
