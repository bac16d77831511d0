#include "JNFoundation/deferred/StepList.h"

#include <cstdint>

namespace JNFoundation::impl {

Value Step::process(const Value& value) const {
  const bool isRejected = value.isObject() && isKindOf<PLVRejected>(*value.object());
  switch (kind) {
    case Kind::Resolved:
      return isRejected ? value : handler(value);
    case Kind::Rejected:
      return isRejected ? handler(value) : value;
    case Kind::Either:
      return handler(value);
    case Kind::EitherUnlessCanceled:
      return isRejected && isCancellation(value) ? value : handler(value);
    case Kind::Object:
      return static_cast<const PLVDeferredStep&>(*object).processValue(value);
    case Kind::Pass:
    case Kind::Resolve:
    case Kind::ResumeDeferred:
    case Kind::ResumePromise:
      break;
  }
  return value;
}

struct StepList::Block {
  static constexpr std::uint32_t capacity = 4;

  Block() noexcept {}
  ~Block() {}

  /// Those from `begin` to before `end` are there.
  union {
    Step steps[capacity];
  };
  Block* next = nullptr;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

void StepList::clear() noexcept {
  // One by one, because a long list of blocks that own each other would nest as deeply.
  while (!isEmpty()) takeFirst();
}

void StepList::appendToBlocks(Step&& step) {
  if (!_last || _last->end == Block::capacity) {
    Block* added = new Block;
    added->next = _last ? std::exchange(_last->next, added) : added;
    _last = added;
  }
  std::construct_at(&_last->steps[_last->end++], std::move(step));
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
