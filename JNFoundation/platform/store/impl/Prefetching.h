#pragma once

#include <vector>

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// Reads the objects that others are related to, in a few statements for all of them: for each step
/// of a key path one for those that are not read yet, and one for their values where the records
/// themselves are not there.
/// Threads: the context's, without the stores' lock.
class Prefetching {
 public:
  /// Fails: raises NSInvalidArgumentException for what is no key path of relationships.
  Prefetching(const NSEntityDescription& entity, const Ref<NSArray>& keyPaths);

  bool isEmpty() const noexcept { return _paths.empty(); }

  /// Appends what was read to `kept`, which has it live. Takes: objects of one context.
  bool read(const std::vector<Ref<NSManagedObject>>& objects, const Ref<ObjectRegistry>& registry,
            std::vector<Ref<NSManagedObject>>& kept, Ref<NSError>* error) const;

 private:
  std::vector<std::vector<Ref<NSString>>> _paths;
};

/// Has faults of one context get their values in one statement for each hierarchy, those that have
/// none. Appends the objects that were read.
bool readFaults(const std::vector<Ref<NSManagedObject>>& objects,
                const Ref<ObjectRegistry>& registry, std::vector<Ref<NSManagedObject>>& kept,
                Ref<NSError>* error);

}  // namespace JNFoundation::impl
