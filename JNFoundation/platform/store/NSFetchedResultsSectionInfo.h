#pragma once

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// A section of fetched results: objects that stand together under one name.
class NSFetchedResultsSectionInfo : public NSObjectProtocol {
 public:
  /// What its objects have in common, as text. Null where the results have no sections.
  virtual Ref<NSString> name() const = 0;
  /// What stands for the section in an index beside a list. May be null.
  virtual Ref<NSString> indexTitle() const = 0;
  /// How many objects stand in the section.
  virtual NSUInteger numberOfObjects() const = 0;
  /// The objects of the section in their order. Never null.
  virtual Ref<NSArray> objects() const = 0;

 protected:
  ~NSFetchedResultsSectionInfo() override = default;
};

}  // namespace JNFoundation
