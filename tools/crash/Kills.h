#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <sys/types.h>

namespace crash {

/// A process that saves and is killed again and again, in the middle of whatever the store does.
///
///     Kills kills(directory, program, seed);
///     while (...) if (auto problem = kills.round(); !problem.empty()) ...
class Kills {
 public:
  /// Takes: an empty directory, and the program that runs `writeUntilKilled`.
  Kills(const std::string& directory, const std::string& program, std::uint64_t seed);

  /// Lets a writer go on where the last one was stopped, kills it, and looks at what it left.
  /// Returns: what is wrong with that; an empty text if nothing is.
  std::string round();

  std::int64_t rounds() const noexcept { return _rounds; }
  /// How many saves were acknowledged.
  std::int64_t saves() const noexcept { return _saves; }
  /// How many saves had been written, but not acknowledged, when the writer was killed.
  std::int64_t unacknowledgedSaves() const noexcept { return _unacknowledged; }
  /// How many writers were killed before their store was open.
  std::int64_t earlyKills() const noexcept { return _earlyKills; }

  /// The writer: saves and reports the number of each completed save to the descriptor, for ever.
  /// Returns: the status to exit with if something failed; the reason is on the standard error.
  static int writeUntilKilled(const std::string& file, std::uint64_t seed, int descriptor);

 private:
  std::string writeAndKill(std::int64_t& acknowledged);
  std::string look(std::int64_t acknowledged);

  std::string _file;
  std::string _program;
  std::mt19937_64 _random;
  std::uint64_t _seedOfSaves = 0;
  /// The number that the store has.
  std::int64_t _number = 0;
  std::int64_t _rounds = 0;
  std::int64_t _saves = 0;
  std::int64_t _unacknowledged = 0;
  std::int64_t _earlyKills = 0;
};

}  // namespace crash
