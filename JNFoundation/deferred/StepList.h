#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <JNFoundation/deferred/PLVDeferredStep.h>

namespace JNFoundation::inline v0_1::impl {

/// What a deferred does next with its value: calls a handler, or goes on in another object, which
/// the engine does itself.
struct Step {
  enum class Kind : unsigned char {
    Pass,                  ///< nothing
    Resolved,              ///< the handler, for a success
    Rejected,              ///< the handler, for a failure
    Either,                ///< the handler, for both
    EitherUnlessCanceled,  ///< the handler, for all but a cancellation
    Object,                ///< the object's handlers; it is a PLVDeferredStep
    Resolve,               ///< the object gets the value; it is a PLVResolvable
    ResumeDeferred,        ///< the object, a PLVDeferred, waited for this value
    ResumePromise,         ///< the object, a PLVPromise, waited for this value
    Continue,              ///< the object, a Continuation, waited for this value
    ResumeWalk,            ///< the object, a WalkPause, waited for the end of this value's chain
  };

  Kind kind;
  PLVResolvedHandler handler;
  Ref<NSObject> object;

  /// Passes the value on where there is no handler.
  Step(Kind kind, PLVResolvedHandler&& handler) noexcept
      : kind(handler ? kind : Kind::Pass), handler(std::move(handler)) {}
  /// Passes the value on where there is no object.
  Step(Kind kind, Ref<NSObject>&& object) noexcept
      : kind(object ? kind : Kind::Pass), object(std::move(object)) {}

  /// Whether the value goes on in another object before this deferred sees it again, unchanged.
  bool isContinuation() const noexcept { return kind >= Kind::Resolve; }

  /// Returns: what the handler for the value returned, or the value. Requires: no continuation.
  Value process(const Value& value) const {
    const bool isRejected = value.isObject() && isKindOf<PLVRejected>(*value.object());
    if (kind == Kind::Resolved) return isRejected ? value : handler(value);
    return processOtherwise(value, isRejected);
  }

 private:
  Value processOtherwise(const Value& value, bool isRejected) const;
};

/// Steps in line, first in first out. The first one stands inside, because most deferreds never
/// have another; the rest in blocks.
class StepList {
 public:
  // A default would not be there, because the union has no step yet.
  StepList() noexcept {}  // NOLINT(modernize-use-equals-default)
  StepList(StepList&& other) noexcept : _last(std::exchange(other._last, nullptr)) {
    if (other._hasOnly) std::construct_at(placeOfOnly(), other.takeOnly());
  }
  StepList& operator=(StepList&&) = delete;
  ~StepList() {
    if (!isEmpty()) clear();
  }

  bool isEmpty() const noexcept { return !_hasOnly && !_last; }

  /// Takes: what a step is made of, or a step.
  template <class... Parts>
  void append(Parts&&... parts) {
    std::construct_at(isEmpty() ? placeOfOnly() : placeInBlocks(), std::forward<Parts>(parts)...);
  }

  /// Requires: not empty.
  Step takeFirst() noexcept { return _hasOnly ? takeOnly() : takeFromBlocks(); }

  /// All of them in order, until the next change; for diagnosis.
  std::vector<const Step*> steps() const;

 private:
  struct Block;

  Step* placeOfOnly() noexcept {
    _hasOnly = true;
    return &_only;
  }
  Step takeOnly() noexcept {
    _hasOnly = false;
    return takeFrom(_only);
  }
  static Step takeFrom(Step& place) noexcept {
    Step step = std::move(place);
    std::destroy_at(&place);
    return step;
  }
  Step* placeInBlocks();
  Step takeFromBlocks() noexcept;
  void clear() noexcept;

  /// Comes before all blocks. A union, because it is there only while `_hasOnly`.
  union {
    Step _only;
  };
  bool _hasOnly = false;
  /// The newest block, whose `next` is the oldest; null where there is none.
  Block* _last = nullptr;
};

}  // namespace JNFoundation::impl
