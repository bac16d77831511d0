#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

namespace JNFoundation::testing {

/// Runs the action on a thread with a stack of that many bytes and waits for it.
template <class Action>
void onStackOf(std::size_t bytes, Action action) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<Action*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &action), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace JNFoundation::testing
