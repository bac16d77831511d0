#pragma once

#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ObjectRegistry.h>

namespace JNFoundation::inline v0_1::impl {

// Where the model has no way back, the delete rules of what goes find nobody that leads to it. What
// a save does instead. Threads: the context's.

/// Before it writes: has whoever has changes let go of what was never saved and is gone, and of
/// members added since the last save that go with this one. Fails: throws UnreadableRows.
void letGoOfWhatGoes(ContextChanges& changes);

/// After it has written: takes what was deleted out of the members that are known in the context,
/// as the store has done with its pairs. Requires: nothing has changes.
void forgetDeletedMembers(const ObjectRegistry& registry,
                          const std::vector<Ref<NSManagedObject>>& deleted);

}  // namespace JNFoundation::impl
