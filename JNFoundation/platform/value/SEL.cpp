#include "JNFoundation/platform/value/SEL.h"

#include <algorithm>
#include <string>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/impl/GrowingTable.h>

namespace JNFoundation::inline v0_1 {
namespace {

struct Name {
  std::string_view text() const noexcept { return characters; }
  std::uint64_t hash() const noexcept { return knownHash; }

  std::string characters;
  std::uint64_t knownHash;
  Name* next;
};

impl::GrowingTable<Name>& names() {
  static auto& names = *new impl::GrowingTable<Name>;  // outlives every static object
  return names;
}

}  // namespace

SEL::SEL(std::string_view name) {
  if (name.empty()) return;
  const std::uint64_t hash = hashBytes(name);
  _name = &names().findOrAdd(name, hash, [&] {
    return new Name{std::string(name), hash, nullptr};
  });
}

SEL SEL::ifKnown(std::string_view name) noexcept {
  SEL selector;
  if (!name.empty()) selector._name = names().find(name, hashBytes(name));
  return selector;
}

std::string_view SEL::name() const noexcept {
  return _name ? static_cast<const Name*>(_name)->text() : std::string_view();
}

std::size_t SEL::argumentCount() const noexcept {
  const std::string_view text = name();
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), ':'));
}

SEL NSSelectorFromString(std::string_view name) { return SEL(name); }

std::string_view NSStringFromSelector(SEL selector) noexcept { return selector.name(); }

}  // namespace JNFoundation
