#pragma once

#include <map>

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/memory/impl/RecordLinks.h>
#include <JNFoundation/platform/store/memory/impl/UniqueValues.h>

namespace JNFoundation::inline v0_1::impl {

/// What a store in memory has to watch over beyond its records.
struct RecordRules {
  /// What the save under way has of a constraint's values.
  UniqueValues& pendingValues(std::size_t constraint) {
    while (pending.size() < constraints.size()) {
      pending.push_back(constraints[pending.size()].withoutRecords());
    }
    return pending[constraint];
  }
  void forgetPending() noexcept {
    pending.clear();
    checkedCount = 0;
  }

  RecordLinks links;
  std::vector<UniqueValues> constraints;
  /// The relationships to one that lead to a hierarchy and must lead to what is there.
  std::map<const NSEntityDescription*, std::vector<Ref<NSRelationshipDescription>>> references;
  std::vector<UniqueValues> pending;
  /// How many rows of the save were looked at.
  std::size_t checkedCount = 0;
};

}  // namespace JNFoundation::impl
