#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "FaultVfs.h"
#include "NumberedSaves.h"
#include "OpenedStore.h"

namespace JNFoundation::testing {

/// Saves on a disk whose power goes again and again, in the middle of whatever the store does.
///
///     PowerCuts cuts(directory, Durability::Full, seed);
///     while (...) if (auto problem = cuts.round(); !problem.empty()) ...
class PowerCuts {
 public:
  /// Takes: an empty directory.
  PowerCuts(const std::string& directory, Durability durability, std::uint64_t seed);

  /// Opens the store, saves until the power goes, and looks at what a disk may have kept.
  /// Returns: what is wrong with that; an empty text if nothing is.
  std::string round();

  std::int64_t rounds() const noexcept { return _rounds; }
  /// How many saves were acknowledged, and how many of those a cut took back.
  std::int64_t saves() const noexcept { return _saves; }
  std::int64_t lostSaves() const noexcept { return _lostSaves; }

 private:
  void begin();
  std::string saveUntilCut();
  std::string look();

  std::string _file;
  Durability _durability;
  std::mt19937_64 _random;
  std::unique_ptr<FaultVfs> _disk;
  std::uint64_t _seedOfSaves = 0;
  /// The last save that was acknowledged, the last that a cut must not take, and the last that
  /// was tried.
  std::int64_t _acknowledged = 0;
  std::int64_t _kept = 0;
  std::int64_t _tried = 0;
  std::int64_t _rounds = 0;
  std::int64_t _saves = 0;
  std::int64_t _lostSaves = 0;
};

}  // namespace JNFoundation::testing
