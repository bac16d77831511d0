#pragma once

#include <utility>
#include <vector>

#include <JNFoundation/deferred/CreationPlace.h>
#include <JNFoundation/deferred/PLVResolvable.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

/// A picture of the deferreds, promises and enumerations that are alive at one instant, and of who
/// waits for whom: for the question why something does not come to an end.
///
///     DeferredTrace::setEnabled(true);           // before they are made
///     …
///     DeferredTrace::setLabel(feed, "feed");
///     …
///     NSLog("%@", DeferredTrace::now().unsettled().text());
///
/// What handlers have captured is theirs: a deferred that a handler will resolve waits for
/// nothing as far as anybody can see.
class DeferredTrace {
 public:
  /// What a deferred, promise or enumeration is doing.
  enum class State {
    Pending,    ///< has no outcome and waits for nothing that is known
    Waiting,    ///< for what `waitsFor` names
    Running,    ///< its steps, its listeners or its walk are under way
    Resolved,   ///< has a value
    Rejected,   ///< has a failure that is no cancellation
    Cancelled,  ///< was cancelled
    Idle,       ///< an enumeration between walks
  };

  /// One deferred, promise or enumeration of the picture.
  struct Entry {
    /// In the order in which they were made, from 1. What was made before tracing was turned on
    /// comes in where others wait for it, and is numbered behind all others.
    NSUInteger number;
    /// The name of its class.
    Ref<NSString> className;
    /// Null where it has none.
    Ref<NSString> label;
    /// What it is doing.
    State state;
    /// Seconds.
    NSTimeInterval age;
    /// Null for what was made before, or by the library for itself.
    CreationPlace place;
    /// The numbers of what this entry waits for.
    std::vector<NSUInteger> waitsFor;
    /// Whether it waits, over others or not, for itself, and so for ever.
    bool isInCycle;

    /// Whether it has an outcome, or is an enumeration between walks.
    bool isSettled() const noexcept {
      return state == State::Resolved || state == State::Rejected || state == State::Cancelled ||
             state == State::Idle;
    }
  };

  // Off at first. Turned off, it costs a look at a variable for each deferred that is made or ends.
  // Threads: any.
  static void setEnabled(bool enabled);
  static bool isEnabled() noexcept;

  /// Gives a deferred, promise or enumeration a name for this and for UnhandledRejections.h. Does
  /// nothing while neither is on, and for null. Threads: any.
  static void setLabel(const Ref<PLVResolvable>& resolvable, const Ref<NSString>& label);

  /// What is alive now. Threads: the main one. Returns: nothing while tracing is off.
  static DeferredTrace now();

  /// One for each of them.
  const std::vector<Entry>& entries() const& noexcept { return _entries; }
  std::vector<Entry> entries() && noexcept { return std::move(_entries); }
  /// Those that have no outcome yet.
  DeferredTrace unsettled() const;

  /// A line for each: "#3 PLVDeferred “feed” waiting for #1, 2.500 s, Feed.cpp:42, in a cycle".
  Ref<NSString> text() const;
  /// A graph in the language of Graphviz, with arrows to what is waited for, cycles in red.
  Ref<NSString> dot() const;
  /// An array of objects with the keys number, class, label, state, age, file, line, waitsFor and
  /// inCycle.
  Ref<NSString> json() const;

 private:
  struct Builder;

  std::vector<Entry> _entries;
};

}  // namespace JNFoundation
