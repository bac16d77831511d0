#pragma once

#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace jnmap {

using namespace JNFoundation;

/// Has the objects of entities whose classes are not part of the program be of a class that takes
/// every message that the entities' rules name, or, of those, the ones given, and does nothing.
/// Once in the life of the program. Takes: null for all messages.
void standInForClassesOf(NSManagedObjectModel& model, const Ref<NSSet>& messages);

/// Actions under the names that an application's filter has, which pass on what they get.
class JnmapFilter : public Subclass<JnmapFilter, PLVDataMapFilter> {
 public:
  static Ref<JnmapFilter> filterFor(const Ref<NSSet>& names);

  Value pass(const Value& value) { return value; }

 protected:
  using Subclass::Subclass;
};

}  // namespace jnmap
