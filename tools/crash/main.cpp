// Cuts saves off at random instants, and reads the store again each time.
//
//   crash [ROUNDS] [SEED]     200 rounds of each kind unless told otherwise
//
// In the first part a process that saves is killed. That loses nothing which the system has
// already, so the second part runs on a disk of its own that loses power, once with each durability
// that a store may have. The seed decides everything but the instants of the kills.

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <platform/store/PowerCuts.h>
#include <random>
#include <string>

#include "Kills.h"

namespace {

using JNFoundation::testing::Durability;
using JNFoundation::testing::PowerCuts;

int usage() {
  std::fputs("usage: crash [ROUNDS] [SEED]\n", stderr);
  return 2;
}

/// What is worth knowing about a part beyond that it passed.
void tellMore(const crash::Kills& kills) {
  std::printf(
      "  %lld writers were killed before their store was open, %lld after a save and before "
      "its report\n",
      static_cast<long long>(kills.earlyKills()),
      static_cast<long long>(kills.unacknowledgedSaves()));
}

void tellMore(const PowerCuts& cuts) {
  std::printf("  %lld of the saves went with the power\n",
              static_cast<long long>(cuts.lostSaves()));
}

template <class Number>
bool read(const char* text, Number& number) {
  const char* end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, number);
  return result.ec == std::errc() && result.ptr == end;
}

/// A new directory under that for temporary files. Returns: an empty text if there is none.
std::string newDirectory(const char* part) {
  std::string name =
      (std::filesystem::temp_directory_path() / ("jn-crash-" + std::string(part) + "-XXXXXX"))
          .string();
  return mkdtemp(name.data()) ? name : std::string();
}

/// Runs the rounds of one part. Returns: whether the store held what it must after each.
template <class Part, class... Arguments>
bool run(const char* title, const char* name, std::int64_t rounds, Arguments... arguments) {
  const std::string directory = newDirectory(name);
  if (directory.empty()) {
    std::perror("crash: no directory for the store");
    return false;
  }
  const auto start = std::chrono::steady_clock::now();
  Part part(directory, arguments...);
  for (std::int64_t i = 1; i <= rounds; ++i) {
    const std::string problem = part.round();
    if (problem.empty()) continue;
    std::printf("%s: round %lld failed: the store %s\nIt is kept in %s\n", title,
                static_cast<long long>(i), problem.c_str(), directory.c_str());
    return false;
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::printf("%s: after each of %lld the store held what it must (%lld saves, %.1f s)\n", title,
              static_cast<long long>(rounds), static_cast<long long>(part.saves()),
              seconds.count());
  tellMore(part);
  std::fflush(stdout);
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  std::uint64_t seed = std::random_device()();
  if (count == 5 && std::strcmp(arguments[1], "--write") == 0) {
    int descriptor = 0;
    if (!read(arguments[3], seed) || !read(arguments[4], descriptor)) return usage();
    return crash::Kills::writeUntilKilled(arguments[2], seed, descriptor);
  }
  std::int64_t rounds = 200;
  if (count > 3 || (count > 1 && (!read(arguments[1], rounds) || rounds <= 0)) ||
      (count > 2 && !read(arguments[2], seed))) {
    return usage();
  }
  std::printf("crash %lld %llu\n", static_cast<long long>(rounds),
              static_cast<unsigned long long>(seed));
  std::fflush(stdout);
  std::error_code trouble;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", trouble).string();
  const bool good =
      run<crash::Kills>("Kills", "kills", rounds, trouble ? std::string(arguments[0]) : program,
                        seed) &&
      run<PowerCuts>("Power cuts, synchronous FULL", "full", rounds, Durability::Full, seed) &&
      run<PowerCuts>("Power cuts, synchronous NORMAL", "normal", rounds, Durability::Normal, seed);
  return good ? 0 : 1;
}
