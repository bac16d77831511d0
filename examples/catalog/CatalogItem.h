#pragma once

#include <JNFoundation/mapping/PLVManagedObject.h>

namespace catalog {

using namespace JNFoundation;

/// What everything in the catalog has: a code that identifies it within its entity, and a name.
class CatalogItem : public Subclass<CatalogItem, PLVManagedObject> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context);

  Ref<NSString> code() const { return textForKey("code"); }
  void setCode(const Ref<NSString>& code) { setStoredValueForKey(code, "code"); }
  Ref<NSString> name() const { return textForKey("name"); }
  void setName(const Ref<NSString>& name) { setStoredValueForKey(name, "name"); }

  /// One line for people.
  virtual Ref<NSString> summary() const;

 protected:
  using Subclass::Subclass;

  Ref<NSString> textForKey(const Ref<NSString>& key) const {
    return as<NSString>(storedValueForKey(key));
  }

  /// The map of the object's entity: the rules of the data model, completed by its attributes.
  Ref<PLVDictionaryDataMap> automaticDataMap() const;
};

}  // namespace catalog
