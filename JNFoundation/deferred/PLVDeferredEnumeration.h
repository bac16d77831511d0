#pragma once

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class WalkPause;
}

/// Is called with each element, its index, and a stop flag that is false at first. A deferred or a
/// promise as the result is waited for before the next element; any other result is ignored.
using PLVDeferredEnumerationBlock =
    Block<Value(const Value& element, NSUInteger index, bool& stop)>;

/// A walk over an array, one element at a time, that the block can make wait:
///
///     PLVDeferredEnumeration::enumerateObjectsUsingBlock(
///         files, [](const Value& file, NSUInteger index, bool& stop) -> Value {
///           return upload(file);  // a deferred: the next file waits for it
///         })
///         ->thenResolved(celebrate);  // gets the array
///
/// The deferred that stands for the walk, its completion, is resolved with the array when the walk
/// ends, whatever the block returned: at the end of the array, or behind an element whose block set
/// the stop flag, once what that block returned has settled. A failure of what the walk waits for
/// does not end it. Cancelling the completion does: it cancels what the walk waits for, with the
/// same value, and no further element is visited. A block that raises an NSException ends the walk
/// as well; the completion is rejected with it. Another exception goes to whoever made the walk
/// advance, and leaves the completion to be resolved or cancelled by hand.
///
/// An enumeration takes one walk at a time, and as many as wanted one after another.
/// Threads: the walk belongs to the main thread; `enumerate…`, `deferredEnumerate…`, `resolve` and
/// `reject` may be called on any, and elsewhere re-send themselves to the main queue. Calls: the
/// block always on the main thread; from the start up to the first wait before the operation
/// returns, then inside whatever settles what the walk waits for. Elements without end whose
/// deferreds are there at once need no more native stack than one.
/// Takes: while the walk waits, what it waits for keeps the enumeration alive; the completion does
/// not.
class PLVDeferredEnumeration : public NSObject, public PLVResolvable, public PLVResolutionSource {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Walks over the elements that the array has now. Returns: the completion.
  static Ref<PLVDeferred> enumerateObjectsUsingBlock(const Ref<NSArray>& array,
                                                     PLVDeferredEnumerationBlock block,
                                                     CreationPlace place = CreationPlace::here());
  /// Takes: a copy of the array.
  static Ref<PLVDeferredEnumeration> initWithArray(const Ref<NSArray>& array,
                                                   CreationPlace place = CreationPlace::here());

  /// Starts a walk. Returns: its completion, which may be settled already.
  Ref<PLVDeferred> deferredEnumerateObjectsUsingBlock(PLVDeferredEnumerationBlock block,
                                                      CreationPlace place = CreationPlace::here());
  /// Starts a walk that settles that deferred; cancelling it reaches the walk only if this
  /// enumeration is its resolution source. While another walk runs, that one goes on, and the
  /// deferred is rejected with null.
  void enumerateWithDeferredBlock(const Ref<PLVDeferred>& deferred,
                                  PLVDeferredEnumerationBlock block);

  /// Ends the walk: settles the completion, if there is one, and lets go of the block.
  void resolve(const Value& value) override;
  void reject(const Value& value) override;
  /// What the completion tells when it is cancelled.
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override;

  // The machinery, main thread only.
  void consumeObjectsStartingAtIndex(NSUInteger index);
  /// Null is not waited for: the walk then stands until it is resumed by `consume…`.
  void pauseWithDeferredAtIndex(const Ref<PLVDeferred>& deferred, NSUInteger index);

  /// The block while a walk runs; else null.
  const PLVDeferredEnumerationBlock& enumerationBlock() const noexcept { return _enumerationBlock; }
  void setEnumerationBlock(PLVDeferredEnumerationBlock block) {
    _enumerationBlock = std::move(block);
  }
  /// The deferred that stands for the walk; null while there is none, and once it was cancelled.
  const Ref<PLVDeferred>& completion() const noexcept { return _completion; }
  void setCompletion(const Ref<PLVDeferred>& completion) { _completion = completion; }
  /// What the walk waits for; null while it does not wait.
  const Ref<PLVDeferred>& current() const noexcept { return _current; }
  void setCurrent(const Ref<PLVDeferred>& current) { _current = current; }
  /// What is walked over.
  const Ref<NSArray>& inputArray() const noexcept { return _inputArray; }
  /// Takes: a copy.
  void setInputArray(const Ref<NSArray>& array);
  /// For the application; walks neither read nor write it.
  NSUInteger currentIndex() const noexcept { return _currentIndex; }
  void setCurrentIndex(NSUInteger index) noexcept { _currentIndex = index; }
  /// Whether the block has set its stop flag: the walk ends at its next turn.
  bool stopOnConsume() const noexcept { return _stopOnConsume; }
  void setStopOnConsume(bool stop) noexcept { _stopOnConsume = stop; }

  /// The class operations of a subclass make instances of it.
  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<PLVDeferred> enumerateObjectsUsingBlock(
        const Ref<NSArray>& array, PLVDeferredEnumerationBlock block,
        CreationPlace place = CreationPlace::here()) {
      return Self::initWithArray(array, place)
          ->deferredEnumerateObjectsUsingBlock(std::move(block), place);
    }
    static Ref<Self> initWithArray(const Ref<NSArray>& array,
                                   CreationPlace place = CreationPlace::here()) {
      Ref<Self> enumeration = makeObject<Self>(array);
      notePlace(*enumeration, place);
      return enumeration;
    }

   protected:
    using Above::Above;
  };

 protected:
  explicit PLVDeferredEnumeration(const Ref<NSArray>& array);
  ~PLVDeferredEnumeration() override;

  /// Notes where an object was made, for reports.
  static void notePlace(const PLVDeferredEnumeration& enumeration, CreationPlace place) noexcept;

 private:
  friend class impl::Engine;
  friend class impl::WalkPause;

  // Parts of the walk up to the point where something else has to run. Each returns that.
  impl::Entry walkFrom(NSUInteger index);
  impl::Entry pause(PLVDeferred& deferred, NSUInteger index);
  impl::Entry resume(NSUInteger walk, NSUInteger index);
  impl::Entry end(const Value& value);
  void becomeIdle();
  /// Returns: what has to be cancelled with it, or null.
  Ref<PLVDeferred> beginCancel();

  /// Whether the engine may settle the walk without calling virtual operations.
  bool isSettledByEngine() const noexcept;

  PLVDeferredEnumerationBlock _enumerationBlock;
  Ref<PLVDeferred> _completion;
  Ref<PLVDeferred> _current;
  Ref<NSArray> _inputArray;
  NSUInteger _currentIndex = 0;
  /// Tells the pause of a walk that was cancelled from those of the walk that came after it.
  NSUInteger _walk = 0;
  bool _stopOnConsume = false;
};

}  // namespace JNFoundation
