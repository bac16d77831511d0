#include "JNFoundation/platform/value/SEL.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_set>

namespace JNFoundation {
namespace {

struct Names {
  std::shared_mutex mutex;
  // Node-based, so an address stays good however many names are added.
  std::unordered_set<std::string> set;
};

Names& names() {
  static Names* names = new Names;  // outlives every static object
  return *names;
}

}  // namespace

SEL::SEL(std::string_view name) {
  if (name.empty()) return;
  const std::string text(name);
  Names& known = names();
  {
    std::shared_lock lock(known.mutex);
    const auto found = known.set.find(text);
    if (found != known.set.end()) {
      _name = &*found;
      return;
    }
  }
  std::unique_lock lock(known.mutex);
  _name = &*known.set.insert(text).first;
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
