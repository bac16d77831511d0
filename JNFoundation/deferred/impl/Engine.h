#pragma once

#include <deque>
#include <vector>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class PLVDeferredEnumeration;
class Raised;

namespace impl {

/// Something that has to run: the steps of a deferred, the listeners of a promise, or the rest of a
/// cancellation once its source was told.
struct Entry {
  enum class Kind : unsigned char {
    None,
    Steps,           ///< of the deferred
    Listeners,       ///< of the promise
    CancelDeferred,  ///< with the value
    CancelPromise,   ///< with the value
    SendCancel,      ///< to the deferred, whose class has a way of its own to cancel
    Walk,            ///< of the enumeration, from the value on, which is an index
    EndWalk,         ///< of the enumeration, with the value
  };

  Kind kind = Kind::None;
  Ref<NSObject> object;
  Value value;

  explicit operator bool() const noexcept { return kind != Kind::None; }
};

/// Runs the continuations of deferreds and promises.
///
/// What nested calls would do (a deferred resolves another, whose steps resume a third, …) runs
/// here on an explicit stack of frames, last in first out: the same order, exceptions and
/// re-entrancy, on a native stack of constant depth. A frame is left standing while what it called
/// runs on top of it. Only application code is called natively; where that calls into a chain
/// again, `run` nests.
class Engine {
 public:
  /// Runs the entry and all that it leads to, then returns. Nested past the limit of depth, it
  /// notes the entry for the outermost call and returns at once.
  static void run(Entry entry) {
    if (entry) current().runEntry(std::move(entry));
  }

  static constexpr int nestingLimit = 128;

 private:
  struct Frame {
    Entry::Kind kind;
    /// How far the frame has come; its meaning is the kind's own.
    unsigned char state = 0;
    Ref<NSObject> object;
    /// What is kept while other frames run on top: the value that went into a continuation, the
    /// outcome, the cancellation.
    Value value;
    /// The listeners that were in a promise's set, or the source that is being told.
    Value other;
    std::size_t next = 0;
  };

  /// The calling thread's engine, made where something runs: on a thread that is the main one.
  static Engine& current();
  void runEntry(Entry entry);
  void runFramesAbove(std::size_t base);
  void push(Entry entry);
  Frame pop() noexcept;
  void advance();
  void begin(Entry entry);
  void runSteps(PLVDeferred& deferred);
  void goOn(PLVDeferred& deferred, Value value);
  static void fail(PLVDeferred& deferred, const Raised& raised);
  void advanceListeners(PLVPromise& promise);
  void advanceCancelDeferred(PLVDeferred& deferred);
  void advanceCancelPromise(PLVPromise& promise);
  void advanceEndWalk(PLVDeferredEnumeration& enumeration);
  static inline Ref<NSObject> takeListener(PLVPromise& promise, Frame& frame);
  inline void tell(NSObject& listener, const Value& outcome);
  bool applyResult(PLVDeferred& deferred, Value result);
  Entry continueInto(const Step& step, const Value& value);
  bool recover(std::size_t base, const Raised& raised);
  void abandon(std::size_t base) noexcept;
  void finishPutOff();

  static Entry resolveEntry(NSObject& target, const Value& value);
  static Entry cancelEntry(PLVDeferred& deferred, const Value& value);
  static Entry tellSource(const Value& source, const Ref<PLVResolvable>& cancelled,
                          const Value& value);

  std::vector<Frame> _frames;
  std::deque<Entry> _putOff;
  int _depth = 0;
};

}  // namespace impl

// Inline, because they are part of every settling.

inline impl::Entry PLVDeferred::ready() {
  if (_consumingStep || _paused || _deferredSteps.isEmpty()) return {};
  return {impl::Entry::Kind::Steps, this, Value()};
}

/// Returns: the next of the promise's own listeners that was not told yet, or null after the last.
inline Ref<NSObject> PLVPromise::takeOwnListener() noexcept {
  if (_toldListeners < _ownListeners.size()) return std::move(_ownListeners[_toldListeners++]);
  std::vector<Ref<NSObject>>().swap(_ownListeners);
  _toldListeners = 0;
  return nullptr;
}

inline impl::Entry PLVDeferred::settle(Value value) {
  if (_resolved) return {};
  _resolved = true;
  PLVDeferred* inner = nullptr;
  if (value.isObject()) {
    if (isCancellation(value)) {
      _cancelled = true;
    } else if (auto* promise = as<PLVPromise>(value)) {
      value = promise->deferredResolution();
    }
    inner = as<PLVDeferred>(value);
  }
  const Value before = std::exchange(_resolution, std::move(value));
  return inner ? pause(*inner) : ready();
}

}  // namespace JNFoundation
