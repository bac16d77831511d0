#include "JNFoundation/platform/value/SEL.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_set>

#include <JNFoundation/platform/text/Hash.h>

namespace JNFoundation {
namespace {

struct Hash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const noexcept {
    return static_cast<std::size_t>(hashBytes(name));
  }
};

struct Names {
  std::shared_mutex mutex;
  // Node-based, so an address stays good however many names are added.
  std::unordered_set<std::string, Hash, std::equal_to<>> set;
};

Names& names() {
  static Names* names = new Names;  // outlives every static object
  return *names;
}

}  // namespace

SEL::SEL(std::string_view name) : SEL(ifKnown(name)) {
  if (_name || name.empty()) return;
  Names& known = names();
  std::unique_lock lock(known.mutex);
  _name = &*known.set.emplace(name).first;
}

SEL SEL::ifKnown(std::string_view name) noexcept {
  SEL selector;
  if (name.empty()) return selector;
  Names& known = names();
  std::shared_lock lock(known.mutex);
  const auto found = known.set.find(name);
  if (found != known.set.end()) selector._name = &*found;
  return selector;
}

std::string_view SEL::name() const noexcept {
  return _name ? std::string_view(*static_cast<const std::string*>(_name)) : std::string_view();
}

std::size_t SEL::argumentCount() const noexcept {
  const std::string_view text = name();
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), ':'));
}

SEL NSSelectorFromString(std::string_view name) { return SEL(name); }

std::string_view NSStringFromSelector(SEL selector) noexcept { return selector.name(); }

}  // namespace JNFoundation
