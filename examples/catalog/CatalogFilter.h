#pragma once

#include <JNFoundation/mapping/PLVDataMapFilter.h>

namespace catalog {

using namespace JNFoundation;

/// The filters that the model's rules name: "trim|officialName" passes its value through `trim`.
/// Each takes what the record holds, null included, and returns what is to be stored.
class CatalogFilter : public Subclass<CatalogFilter, PLVDataMapFilter> {
 public:
  /// With every filter registered.
  static Ref<CatalogFilter> filter();

  Value trim(const Value& value);
  Value lowercase(const Value& value);
  /// "I" is "individual", and so on; a letter that the standard does not have stays as it is.
  Value languageScope(const Value& letter);
  Value languageType(const Value& letter);

 protected:
  using Subclass::Subclass;
};

}  // namespace catalog
