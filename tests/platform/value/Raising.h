#pragma once

#include <string>
#include <utility>

#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::testing {

/// What the action raises. Returns: null if it raises nothing.
template <class Action>
Ref<NSException> exceptionOf(Action&& action) {
  try {
    std::forward<Action>(action)();
  } catch (const Raised& raised) {
    return raised.exception();
  }
  return nullptr;
}

/// The name of what the action raises; empty if it raises nothing.
template <class Action>
std::string raisedName(Action&& action) {
  const Ref<NSException> exception = exceptionOf(std::forward<Action>(action));
  return exception ? exception->name()->toStdString() : std::string();
}

/// The name and the reason of what the action raises, "name: reason"; empty if it raises nothing.
template <class Action>
std::string raisedBy(Action&& action) {
  const Ref<NSException> exception = exceptionOf(std::forward<Action>(action));
  if (!exception) return {};
  return exception->name()->toStdString() + ": " + exception->description()->toStdString();
}

}  // namespace JNFoundation::testing
