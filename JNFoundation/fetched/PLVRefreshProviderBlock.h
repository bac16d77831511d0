#pragma once

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

/// Refreshes what a controller shows. The options are the caller's and the provider's affair.
using PLVRefreshBlock = Block<Ref<PLVPromise>(NSInteger options, const Ref<NSObject>& provider,
                                              const Ref<NSFetchedResultsController>& controller)>;

/// Who refreshes the results of a controller, and how; see NSFetchedResultsController+PLVRefresh.h.
/// Threads: one at a time.
class PLVRefreshProviderBlock : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Without a provider and a block.
  static Ref<PLVRefreshProviderBlock> init();

  /// Held weakly. Null when there is none, or none any more.
  Ref<NSObject> provider() const noexcept { return _provider.load(); }
  void setProvider(const Ref<NSObject>& provider) { _provider = provider; }
  /// What refreshes the results. Null until it is set.
  const PLVRefreshBlock& refreshBlock() const noexcept { return _refreshBlock; }
  void setRefreshBlock(PLVRefreshBlock block) { _refreshBlock = std::move(block); }

 protected:
  PLVRefreshProviderBlock() = default;

 private:
  Weak<NSObject> _provider;
  PLVRefreshBlock _refreshBlock;
};

}  // namespace JNFoundation
