#include "JNFoundation/platform/store/sqlite/impl/ConnectionSettings.h"

#include <cmath>
#include <limits>

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

std::string uppered(std::string_view text) {
  std::string result(text);
  for (char& letter : result) {
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 32);
  }
  return result;
}

/// A setting that takes a whole number.
struct NumberSetting {
  std::string_view name;
  std::int64_t least;
  std::int64_t most;
};

constexpr NumberSetting numberSettings[] = {
    // Pages, or with a minus sign KiB.
    {"cache_size", -16'777'216, 16'777'216},
    // Bytes; 0 reads through the system's calls.
    {"mmap_size", 0, std::int64_t{1} << 40},
    // Pages of the log after which a save writes them back into the file.
    {"wal_autocheckpoint", 1, 1'000'000},
    // 0 or 1: whether a sync asks a disk of Apple's systems to empty its own cache.
    {"fullfsync", 0, 1},
};

constexpr const char* known =
    "synchronous, journal_mode, cache_size, mmap_size, wal_autocheckpoint and fullfsync";

/// Whether the value is a whole number, or text that is one; the number then is in `result`.
bool isWhole(const Value& value, std::int64_t& result) {
  if (value.isString()) {
    result = value.longLongValue();
    return as<NSString>(value)->utf8() == std::to_string(result);
  }
  if (!value.isNumber()) return false;
  result = value.longLongValue();
  return Value(result).isEqual(value) || value.isBoolean();
}

}  // namespace

bool ConnectionSettings::read(const Ref<NSDictionary>& options, std::string& problem) {
  if (!options) return true;
  const auto refuse = [&](std::string why) {
    problem = std::move(why);
    return false;
  };
  const Value wait = options->objectForKey(NSPersistentStoreTimeoutOption);
  if (!wait.isNull()) {
    const double seconds = wait.isNumber() ? wait.doubleValue() : -1;
    if (!wait.isNumber() || std::isnan(seconds) || seconds < 0) {
      return refuse("the option " + std::string(NSPersistentStoreTimeoutOption) +
                    " is a number of seconds, not " + wait.description()->toStdString());
    }
    timeout = seconds;
  }
  const Value settings = options->objectForKey(NSSQLitePragmasOption);
  if (settings.isNull()) return true;
  const auto* wanted = as<NSDictionary>(settings);
  if (!wanted) {
    return refuse("the option " + std::string(NSSQLitePragmasOption) +
                  " is a dictionary of settings, not " + settings.description()->toStdString());
  }
  for (const auto& entry : *wanted) {
    if (!readPragma(entry.key.description()->toStdString(), entry.value, problem)) return false;
  }
  return true;
}

bool ConnectionSettings::readPragma(const std::string& name, const Value& value,
                                    std::string& problem) {
  const auto refuse = [&](const std::string& expected) {
    problem = "the setting '" + name + "' " + expected + ", not '" +
              value.description()->toStdString() + "'";
    return false;
  };
  if (name == "synchronous") {
    const std::string level = value.isString() ? uppered(as<NSString>(value)->utf8()) : "";
    if (level != "NORMAL" && level != "FULL") return refuse("can be NORMAL or FULL");
    pragmas += "PRAGMA synchronous = " + level + ";";
    return true;
  }
  if (name == "journal_mode") {
    // Saves, crashes and two processes are counted upon to meet a write-ahead log.
    if (value.isString() && uppered(as<NSString>(value)->utf8()) == "WAL") return true;
    return refuse("can only be WAL");
  }
  for (const NumberSetting& setting : numberSettings) {
    if (name != setting.name) continue;
    std::int64_t number = 0;
    if (!isWhole(value, number) || number < setting.least || number > setting.most) {
      return refuse("is a whole number from " + std::to_string(setting.least) + " to " +
                    std::to_string(setting.most));
    }
    pragmas += "PRAGMA " + name + " = " + std::to_string(number) + ";";
    return true;
  }
  problem = "there is no setting '" + name + "'; those that can be chosen are " + known;
  return false;
}

}  // namespace JNFoundation::impl
