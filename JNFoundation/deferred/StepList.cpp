#include "JNFoundation/deferred/StepList.h"

#include <cstdint>

namespace JNFoundation::inline v0_1::impl {

Value Step::processOtherwise(const Value& value, bool isRejected) const {
  switch (kind) {
    case Kind::Rejected:
      if (!isRejected) return value;
      break;
    case Kind::Either:
      break;
    case Kind::EitherUnlessCanceled:
      if (isRejected && isCancellation(value)) return value;
      break;
    case Kind::Object:
      return static_cast<const PLVDeferredStep&>(*object).processValue(value);
    default:
      return value;
  }
  if (isRejected) markAsSeen(value);
  return handler(value);
}

/// The printers for debuggers know the places of what is inside.
struct StepList::Block {
  static constexpr std::uint32_t capacity = 4;

  // Defaults would not be there, because the union has no steps of its own.
  Block() noexcept {}  // NOLINT(modernize-use-equals-default)
  ~Block() {}          // NOLINT(modernize-use-equals-default)

  /// Those from `begin` to before `end` are there.
  union {
    Step steps[capacity];
  };
  Block* next = nullptr;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

std::vector<const Step*> StepList::steps() const {
  std::vector<const Step*> found;
  if (_hasOnly) found.push_back(&_only);
  if (!_last) return found;
  const Block* block = _last;
  do {
    block = block->next;
    for (std::uint32_t i = block->begin; i < block->end; ++i) found.push_back(&block->steps[i]);
  } while (block != _last);
  return found;
}

void StepList::clear() noexcept {
  // One by one, because a long list of blocks that own each other would nest as deeply.
  while (!isEmpty()) takeFirst();
}

Step* StepList::placeInBlocks() {
  if (!_last || _last->end == Block::capacity) {
    Block* added = new Block;
    added->next = _last ? std::exchange(_last->next, added) : added;
    _last = added;
  }
  return &_last->steps[_last->end++];
}

Step StepList::takeFromBlocks() noexcept {
  Block* oldest = _last->next;
  Step step = takeFrom(oldest->steps[oldest->begin++]);
  if (oldest->begin == oldest->end) {
    if (oldest == _last) {
      _last = nullptr;
    } else {
      _last->next = oldest->next;
    }
    delete oldest;
  }
  return step;
}

}  // namespace JNFoundation::impl
