#include <numeric>

#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// The keys of all elements for one descriptor, read once.
struct Column {
  const NSSortDescriptor* descriptor;
  std::vector<Value> keys;
};

/// Two elements by their positions: the first descriptor that tells them apart decides.
class RowOrder {
 public:
  RowOrder(const std::vector<Value>& elements, const NSArray& descriptors) {
    for (const Value& element : descriptors) {
      const NSSortDescriptor* descriptor = as<NSSortDescriptor>(element);
      if (!descriptor) {
        raise(NSInvalidArgumentException, "a sort descriptor was expected, not a %s: %@",
              element.class_()->name(), element);
      }
      Column column{descriptor, {}};
      if (descriptor->key()) {
        column.keys.reserve(elements.size());
        for (const Value& object : elements) {
          column.keys.push_back(descriptor->parsedKey().valueInObject(object));
        }
      } else {
        column.keys = elements;
      }
      _columns.push_back(std::move(column));
    }
  }

  bool isAfter(std::size_t left, std::size_t right) const {
    for (const Column& column : _columns) {
      const NSComparisonResult order =
          column.descriptor->compareValues(column.keys[left], column.keys[right]);
      if (order != NSOrderedSame) return order == NSOrderedDescending;
    }
    return false;
  }

 private:
  std::vector<Column> _columns;
};

/// Merges ever longer runs. Stable, and safe with any comparator, also one that contradicts itself.
std::vector<std::size_t> sortedPositions(std::size_t count, const RowOrder& order) {
  std::vector<std::size_t> from(count), to(count);
  std::iota(from.begin(), from.end(), std::size_t{0});
  for (std::size_t run = 1; run < count; run *= 2) {
    for (std::size_t begin = 0; begin < count; begin += 2 * run) {
      const std::size_t middle = std::min(begin + run, count);
      const std::size_t end = std::min(begin + 2 * run, count);
      std::size_t left = begin, right = middle;
      const bool inOrder = middle == end || !order.isAfter(from[middle - 1], from[middle]);
      for (std::size_t i = begin; i < end; ++i) {
        const bool takesLeft =
            inOrder ? left < middle
                    : left < middle && (right == end || !order.isAfter(from[left], from[right]));
        to[i] = takesLeft ? from[left++] : from[right++];
      }
    }
    from.swap(to);
  }
  return from;
}

std::vector<Value> sorted(std::vector<Value> elements, const Ref<NSArray>& descriptors) {
  if (!descriptors || descriptors->count() == 0) return elements;
  const RowOrder order(elements, *descriptors);
  std::vector<Value> result;
  result.reserve(elements.size());
  for (const std::size_t position : sortedPositions(elements.size(), order)) {
    result.push_back(std::move(elements[position]));
  }
  return result;
}

template <class Collection>
Ref<NSArray> sortedMembers(const Ref<Collection>& collection, const Ref<NSArray>& descriptors) {
  if (!collection) return nullptr;
  std::vector<Value> elements;
  impl::appendMembers(Value(collection), elements);
  return NSArray::arrayWithValues(sorted(std::move(elements), descriptors));
}

}  // namespace

Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSArray>& array,
                                         const Ref<NSArray>& descriptors) {
  return sortedMembers(array, descriptors);
}

Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSSet>& set, const Ref<NSArray>& descriptors) {
  return sortedMembers(set, descriptors);
}

Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSOrderedSet>& set,
                                         const Ref<NSArray>& descriptors) {
  return sortedMembers(set, descriptors);
}

void sortUsingDescriptors(const Ref<NSMutableArray>& array, const Ref<NSArray>& descriptors) {
  if (array) array->setArray(sortedMembers(array, descriptors));
}

}  // namespace JNFoundation
