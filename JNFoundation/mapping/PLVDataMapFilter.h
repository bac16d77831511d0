#pragma once

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/SEL.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation::inline v0_1 {

/// Named transformations that record mapping applies to values before it stores them: the rule
/// "trim|name" passes its value through the action named "trim".
///
/// An application derives a class, declares one operation for each transformation, and registers
/// them; the filter then goes with a context (see NSManagedObjectContext+PLVAssociatedFilter.h):
///
///     class FeedFilter : public Subclass<FeedFilter, PLVDataMapFilter> {
///      public:
///       Value trim(const Value& value) { … }
///     };
///     static const ClassDeclaration<FeedFilter> declaration =
///         ClassDeclaration<FeedFilter>().operation("trim:", &FeedFilter::trim);
///     …
///     filter->setActionForFilter("trim:", "trim");
///
/// Threads: no lock; nobody registers or removes while a mapping may read.
class PLVDataMapFilter : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Without actions.
  static Ref<PLVDataMapFilter> init();

  /// Filter name to PLVTargetAction; the actions do not keep the filter alive. Null only when it
  /// was set so: there are no actions then, and none can be registered.
  const Ref<NSMutableDictionary>& filterActions() const noexcept { return _filterActions; }
  void setFilterActions(const Ref<NSMutableDictionary>& actions) { _filterActions = actions; }

  /// Registers the filter's own operation, which takes and returns one object, under the name;
  /// replaces what the name stood for. Fails: raises NSInvalidArgumentException for a null name.
  void setActionForFilter(SEL action, const Ref<NSString>& name);
  /// An unknown name is ignored, and so is null.
  void removeActionForFilter(const Ref<NSString>& name);

  /// Sends the registered operation to the filter with the value, which may be null.
  /// Returns: what the operation returns; null for a name that nobody registered, so a rule with an
  /// unknown filter clears its attribute instead of passing the value through.
  /// Fails: what the operation raises comes through; an entry of `filterActions` that is no action
  /// raises NSInvalidArgumentException.
  Value valueFilteredBy(const Value& value, const Ref<NSString>& name) const;

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> init() { return makeObject<Self>(); }

   protected:
    using Above::Above;
  };

 protected:
  PLVDataMapFilter();

 private:
  Ref<NSMutableDictionary> _filterActions;
};

}  // namespace JNFoundation
