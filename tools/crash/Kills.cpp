#include "Kills.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <platform/store/NumberedSaves.h>
#include <platform/store/OpenedStore.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JNFoundation/platform/dispatch/MainQueue.h>

namespace crash {

using namespace JNFoundation;
using testing::NumberedSaves;
using testing::OpenedStore;

namespace {

using Clock = std::chrono::steady_clock;

std::string textOf(const Ref<NSError>& error) {
  return error ? error->description()->toStdString() : "no error";
}

/// Takes the numbers that the writer reports, the last of which is kept, until it closes its end or
/// the moment has come.
void readNumbers(int descriptor, Clock::time_point end, std::string& rest, std::int64_t& last) {
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
    if (left.count() <= 0) return;
    const timespec wait{left.count() / 1'000'000, left.count() % 1'000'000 * 1000};
    pollfd watched{descriptor, POLLIN, 0};
    if (ppoll(&watched, 1, &wait, nullptr) <= 0) continue;
    char bytes[4096];
    const ssize_t size = read(descriptor, bytes, sizeof bytes);
    if (size <= 0) return;
    rest.append(bytes, static_cast<std::size_t>(size));
    // A number that was cut off is none: the writer was killed while it reported.
    for (; rest.size() >= sizeof last; rest.erase(0, sizeof last)) {
      std::memcpy(&last, rest.data(), sizeof last);
    }
  }
}

}  // namespace

Kills::Kills(const std::string& directory, const std::string& program, std::uint64_t seed)
    : _file(directory + "/saves.sqlite"), _program(program), _random(seed) {}

int Kills::writeUntilKilled(const std::string& file, std::uint64_t seed, int descriptor) {
  MainQueueScope queue;
  OpenedStore store(file, NumberedSaves::model());
  Ref<NSError> error = store.error;
  std::int64_t number = store ? NumberedSaves::numberIn(store.context, &error) : -1;
  NumberedSaves saves(seed);
  saves.goTo(number);
  while (number >= 0) {
    // The first report says that the store is open.
    if (write(descriptor, &number, sizeof number) != sizeof number) return 1;
    if (!saves.change(store.context, &error) || !store.context->save(&error)) break;
    number = saves.number();
  }
  std::fprintf(stderr, "crash: the writer cannot go on: %s\n", textOf(error).c_str());
  return 1;
}

std::string Kills::round() {
  // What happens while a file is made happens to new ones only.
  if (_rounds++ % 10 == 0) {
    for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(_file + ending);
    }
    _seedOfSaves = _random();
    _number = 0;
  }
  std::int64_t acknowledged = -1;
  std::string problem = writeAndKill(acknowledged);
  if (!problem.empty()) return problem;
  if (acknowledged < 0) ++_earlyKills;
  return look(std::max(acknowledged, _number));
}

std::string Kills::writeAndKill(std::int64_t& acknowledged) {
  int ends[2];
  if (pipe(ends) != 0) return std::string("no pipe: ") + std::strerror(errno);
  const std::string seed = std::to_string(_seedOfSaves);
  const std::string descriptor = std::to_string(ends[1]);
  const pid_t writer = fork();
  if (writer < 0) return std::string("no process: ") + std::strerror(errno);
  if (writer == 0) {
    close(ends[0]);
    execl(_program.c_str(), "crash", "--write", _file.c_str(), seed.c_str(), descriptor.c_str(),
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  // As many kills while the store is opened as during the first saves and among hundreds of them.
  const double exponent = std::uniform_real_distribution<double>(-3, -0.7)(_random);
  std::string rest;
  readNumbers(ends[0],
              Clock::now() + std::chrono::microseconds(std::lround(1e6 * std::pow(10, exponent))),
              rest, acknowledged);
  kill(writer, SIGKILL);
  int status = 0;
  waitpid(writer, &status, 0);
  // What it had reported is still in the pipe.
  readNumbers(ends[0], Clock::time_point::max(), rest, acknowledged);
  close(ends[0]);
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return {};
  return "the writer ended by itself with status " + std::to_string(status);
}

std::string Kills::look(std::int64_t acknowledged) {
  MainQueueScope queue;
  OpenedStore store(_file, NumberedSaves::model());
  if (!store) return "cannot be opened after the kill: " + textOf(store.error);
  Ref<NSError> error;
  const std::int64_t found = NumberedSaves::numberIn(store.context, &error);
  if (found < 0) return "cannot be read after the kill: " + textOf(error);
  // The save in flight may have been completed before it could be reported.
  if (found != acknowledged && found != acknowledged + 1) {
    return "has save " + std::to_string(found) + " where " + std::to_string(acknowledged) +
           " was acknowledged last";
  }
  NumberedSaves saves(_seedOfSaves);
  saves.goTo(found);
  if (std::string problem = saves.difference(store.newContext()); !problem.empty()) return problem;
  if (std::string damage = testing::damageOf(_file); !damage.empty()) return damage;
  _saves += acknowledged - _number;
  _unacknowledged += found - acknowledged;
  _number = found;
  return {};
}

}  // namespace crash
