#pragma once

#include <JNFoundation/platform/store/NSPropertyDescription.h>

namespace JNFoundation::inline v0_1 {

class NSFetchRequest;

/// A property whose value is what a fetch request finds, a relationship in one direction that the
/// store keeps nothing of.
///
/// The description is read from a model, kept whole and written back. Objects do not have the value
/// yet: to them the key is one that they do not know.
/// Threads: see NSPropertyDescription.
class NSFetchedPropertyDescription : public NSPropertyDescription {
 public:
  using Superclass = NSPropertyDescription;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A property without a name and a request.
  static Ref<NSFetchedPropertyDescription> init();

  /// A request of the caller's own. Its predicate may speak of `$FETCH_SOURCE`, the object that has
  /// the property, and `$FETCHED_PROPERTY`, this description. Returns: null until one is set.
  Ref<NSFetchRequest> fetchRequest() const;
  /// Takes: a copy of the request; its entity is not kept alive.
  void setFetchRequest(const Ref<NSFetchRequest>& request);

  bool isEqual(const Value& other) const override;

 protected:
  NSFetchedPropertyDescription();
  ~NSFetchedPropertyDescription() override;

  std::string versionHashInput() const override;

 private:
  /// Without its entity, which has, or leads to, what has this property.
  Ref<NSFetchRequest> _request;
  Weak<NSEntityDescription> _requestEntity;
};

}  // namespace JNFoundation
