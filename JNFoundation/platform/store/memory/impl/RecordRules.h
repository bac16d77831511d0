#pragma once

#include <map>

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/memory/impl/RecordLinks.h>
#include <JNFoundation/platform/store/memory/impl/UniqueValues.h>

namespace JNFoundation::impl {

/// What a store in memory has to watch over beyond its records.
struct RecordRules {
  RecordLinks links;
  std::vector<UniqueValues> constraints;
  /// The relationships to one that lead to a hierarchy and must lead to what is there.
  std::map<const NSEntityDescription*, std::vector<Ref<NSRelationshipDescription>>> references;
};

}  // namespace JNFoundation::impl
