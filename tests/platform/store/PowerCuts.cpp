#include "PowerCuts.h"

#include <cmath>
#include <filesystem>

#include <JNFoundation/platform/dispatch/MainQueue.h>

namespace JNFoundation::testing {
namespace {

std::string textOf(const Ref<NSError>& error) {
  return error ? error->description()->toStdString() : "no error";
}

}  // namespace

PowerCuts::PowerCuts(const std::string& directory, Durability durability, std::uint64_t seed)
    : _file(directory + "/saves.sqlite"), _durability(durability), _random(seed) {}

void PowerCuts::begin() {
  for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
    std::filesystem::remove(_file + ending);
  }
  _disk.reset();
  _disk = std::make_unique<FaultVfs>();
  _seedOfSaves = _random();
  _acknowledged = _kept = _tried = 0;
}

std::string PowerCuts::round() {
  MainQueueScope queue;
  // What happens while a file is made happens to new ones only.
  if (_rounds++ % 8 == 0) begin();
  // As many cuts in the first few changes as in the hundreds and thousands after them.
  const double exponent = std::uniform_real_distribution<double>(0, 3.5)(_random);
  _disk->cutPowerAfter(static_cast<std::uint64_t>(std::pow(10, exponent)));
  std::string problem = saveUntilCut();
  if (!problem.empty()) return problem;
  _disk->restorePower(_random);
  return look();
}

std::string PowerCuts::saveUntilCut() {
  NumberedSaves saves(_seedOfSaves);
  saves.goTo(_acknowledged);
  // A store that is closed has everything on the disk; half of the rounds never close it.
  const std::uint64_t mostSaves = _random() % 2 == 0 ? 1 + _random() % 20 : 100'000;
  while (_disk->hasPower()) {
    OpenedStore store(_file, NumberedSaves::model(), optionsFor(_durability));
    if (!store && _disk->hasPower()) return "cannot be opened: " + textOf(store.error);
    if (!store && !store.error) return "is not open and says nothing";
    for (std::uint64_t i = 0; store && i < mostSaves; ++i) {
      const std::uint64_t logSyncs = _disk->logSyncs();
      Ref<NSError> error;
      _tried = _acknowledged + 1;
      if (!saves.change(store.context, &error) || !store.context->save(&error)) {
        if (!error || _disk->hasPower()) return "cannot be saved in: " + textOf(error);
        break;
      }
      // The log is synced before the save that finds it full begins, at the earliest.
      if (_disk->logSyncs() != logSyncs) _kept = _acknowledged;
      _acknowledged = _tried;
      if (_durability == Durability::Full) _kept = _acknowledged;
      ++_saves;
    }
    store = OpenedStore();
    if (_disk->hasPower()) _kept = _acknowledged;
  }
  return {};
}

std::string PowerCuts::look() {
  OpenedStore store(_file, NumberedSaves::model(), optionsFor(_durability));
  if (!store) return "cannot be opened after the cut: " + textOf(store.error);
  Ref<NSError> error;
  const std::int64_t found = NumberedSaves::numberIn(store.context, &error);
  if (found < 0) return "cannot be read after the cut: " + textOf(error);
  if (found < _kept || found > _tried) {
    return "has save " + std::to_string(found) + " where " + std::to_string(_kept) +
           " must be kept, " + std::to_string(_acknowledged) + " was acknowledged and " +
           std::to_string(_tried) + " tried";
  }
  NumberedSaves saves(_seedOfSaves);
  saves.goTo(found);
  if (std::string problem = saves.difference(store.newContext()); !problem.empty()) return problem;
  if (std::string damage = damageOf(_file); !damage.empty()) return damage;
  if (found < _acknowledged) _lostSaves += _acknowledged - found;
  _acknowledged = _kept = _tried = found;
  return {};
}

}  // namespace JNFoundation::testing
