#pragma once

#include <memory>
#include <utility>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/testing/TestClock.h>

namespace JNFoundation::inline v0_1 {

/// A main thread of a test's own: while it exists the calling thread is the main one, with a queue
/// and a loop that start empty and with virtual time. What is left at the end is released without
/// being run, so tests do not touch each other.
///
///     class UploadTest : public ::testing::Test {
///      protected:
///       TestMainThread main;
///     };
///     TEST_F(UploadTest, GivesUpAfterFiveSeconds) {
///       …
///       main.clock().advance(5);
///
/// Requires: threads that post have ended before it does.
class TestMainThread {
 public:
  /// With that host, null for the default one.
  explicit TestMainThread(std::unique_ptr<MainQueueHost> host = nullptr)
      : _scope(std::move(host)) {}

  /// The clock in use, to be driven by hand.
  TestClock& clock() noexcept { return _clock; }
  /// The main queue in use.
  MainQueue& queue() noexcept { return _scope.queue(); }

 private:
  TestClock _clock;
  MainQueueScope _scope;
};

}  // namespace JNFoundation
