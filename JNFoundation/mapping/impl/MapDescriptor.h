#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>

namespace JNFoundation::inline v0_1::impl {

/// One step of a descriptor's key: "%meta.$born" is the step into the dictionary under "meta" and
/// then the step to the value under "born". Borrows the key.
struct RuleStep {
  /// The step of which the key begins, "$" or "%" and a character at least. Returns: nothing for a
  /// key of another form.
  static std::optional<RuleStep> firstOf(std::string_view key) noexcept;

  /// Whether it goes into a dictionary; if not, it is the last one.
  bool isNested;
  std::string_view inputKey;
  /// What follows the dot behind the input key of a dictionary; nothing without a dot.
  std::optional<std::string_view> rest;
};

/// An entry of an entity's automatic descriptor, and where it comes from.
struct DescriptorEntry {
  Value key;
  Value value;
  /// The entity itself or an ancestor.
  Ref<NSEntityDescription> entity;
  /// Whether it stands for an attribute, and not in the user info.
  bool isAutomatic;
};

/// Everything that an automatic descriptor is made of, in the order in which one entry replaces
/// those of the same key before it: ancestors first, of each its attributes, then its user info.
std::vector<DescriptorEntry> automaticDescriptorEntries(const Ref<NSEntityDescription>& entity);

}  // namespace JNFoundation::impl
