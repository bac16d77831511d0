#pragma once

#include <string>
#include <sys/types.h>

namespace JNFoundation {

/// A screen without a monitor (Xvfb) for this process, which windows that are made later show
/// themselves on. Ends with this object.
class VirtualScreen {
 public:
  VirtualScreen();
  ~VirtualScreen();
  VirtualScreen(const VirtualScreen&) = delete;
  VirtualScreen& operator=(const VirtualScreen&) = delete;

  /// What is wrong; empty if the screen is there.
  const std::string& problem() const { return _problem; }

 private:
  pid_t _process = -1;
  std::string _problem;
};

}  // namespace JNFoundation
