#include "tests/browser/VirtualScreen.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace JNFoundation {

VirtualScreen::VirtualScreen() {
  int ends[2];
  if (pipe(ends) != 0) {
    _problem = "no pipe";
    return;
  }
  // It looks for a free number by itself, writes it as soon as it can be connected to, and ends
  // with its last client, should this process end in another way than it should.
  const std::string written = std::to_string(ends[1]);
  const char* const arguments[] = {"Xvfb", "-displayfd",   written.c_str(), "-terminate", "-screen",
                                   "0",    "1280x1024x24", "-nolisten",     "tcp",        nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const int refused =
      posix_spawnp(&_process, "Xvfb", &actions, nullptr, const_cast<char**>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::string number;
  char byte = 0;
  while (refused == 0 && read(ends[0], &byte, 1) == 1 && byte != '\n') number += byte;
  close(ends[0]);
  if (refused != 0) _process = -1;
  if (number.empty()) {
    _problem = "Xvfb does not run; the window's tests ask for it (Debian: xvfb)";
    return;
  }
  setenv("DISPLAY", (":" + number).c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
}

VirtualScreen::~VirtualScreen() {
  if (_process < 0) return;
  kill(_process, SIGTERM);
  waitpid(_process, nullptr, 0);
}

}  // namespace JNFoundation
