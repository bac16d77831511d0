#include "JNFoundation/mapping/impl/MapDescriptor.h"

#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {

std::optional<RuleStep> RuleStep::firstOf(std::string_view key) noexcept {
  if (key.size() < 2 || (key.front() != '$' && key.front() != '%')) return std::nullopt;
  const std::string_view name = key.substr(1);
  if (key.front() == '$') return RuleStep{false, name, std::nullopt};
  const std::size_t dot = name.find('.');
  if (dot == std::string_view::npos) return RuleStep{true, name, std::nullopt};
  return RuleStep{true, name.substr(0, dot), name.substr(dot + 1)};
}

std::vector<DescriptorEntry> automaticDescriptorEntries(const Ref<NSEntityDescription>& entity) {
  // The entity and its ancestors, to be walked from the root down.
  std::vector<Ref<NSEntityDescription>> line;
  for (Ref<NSEntityDescription> e = entity; e; e = e->superentity()) line.push_back(e);
  std::vector<DescriptorEntry> entries;
  Ref<NSSet> inherited = NSSet::set();
  for (auto e = line.rbegin(); e != line.rend(); ++e) {
    const Ref<NSArray> attributes = (*e)->attributesByName()->allValues();
    for (const Value& attribute : *attributes) {
      if (inherited->containsObject(attribute)) continue;
      const Ref<NSString>& name = as<NSAttributeDescription>(attribute)->name();
      entries.push_back({NSString::stringWithFormat("$%@", name), Value(name), *e, true});
    }
    for (const auto& [key, value] : *(*e)->userInfo()) entries.push_back({key, value, *e, false});
    inherited = NSSet::setWithArray(attributes);
  }
  return entries;
}

}  // namespace JNFoundation::impl
