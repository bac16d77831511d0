#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>

namespace JNFoundation {

class NSError;
class NSFetchRequest;
class NSURL;

/// The kinds of objects that a store keeps: entities with their properties, built in code or read
/// from the platform's data-model files.
///
///     Ref<NSError> error;
///     auto model = NSManagedObjectModel::initWithContentsOfFileError("Catalog.xcdatamodeld",
///     &error);
///
/// A model may be changed until a coordinator uses it; from then on every setter, here and in the
/// descriptions below, raises NSInternalInconsistencyException.
/// Threads: one thread while it is built; any once it is in use.
class NSManagedObjectModel : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A model without entities.
  static Ref<NSManagedObjectModel> init();

  /// Reads a `contents` file, a `.xcdatamodel` directory, or the current version of a
  /// `.xcdatamodeld` directory. Fails: returns null and sets the error, which names the file, the
  /// entity and the property.
  static Ref<NSManagedObjectModel> initWithContentsOfFileError(const Ref<NSString>& path,
                                                               Ref<NSError>* error = nullptr);
  /// The same of a file URL. Fails: returns null.
  static Ref<NSManagedObjectModel> initWithContentsOfURL(const Ref<NSURL>& url);

  /// Reads the XML text of a `contents` file.
  static Ref<NSManagedObjectModel> modelWithXMLError(std::string_view xml,
                                                     Ref<NSError>* error = nullptr);

  /// The model as the XML text of a `contents` file. Reading it gives an equal model: entities,
  /// properties and user info, defaults and bounds as the types keep them.
  /// Fails: returns null and sets the error, which names the entity and the property; so for a
  /// model that is not whole, for a value that the file has no form for (data, objects) and for
  /// control characters, which XML does not have.
  Ref<NSString> XMLTextError(Ref<NSError>* error = nullptr) const;
  /// Writes the text into a file, or, where the path ends in `.xcdatamodel`, into the `contents` of
  /// that directory, which is made where there is none. What was there is replaced whole or not at
  /// all. Fails: returns false and sets the error, as `XMLTextError` or with what the file system
  /// says.
  bool writeToFileError(const Ref<NSString>& path, Ref<NSError>* error = nullptr) const;

  /// In the order of their declaration. Never null.
  Ref<NSArray> entities() const;
  /// The same, borrowed until they change.
  const std::vector<Ref<NSEntityDescription>>& entityList() const noexcept { return _entities; }
  /// Takes: every entity of the model; the descendants of those given belong to it as well.
  /// Fails: raises NSInvalidArgumentException for a name that is used twice or missing.
  void setEntities(const Ref<NSArray>& entities);
  Ref<NSDictionary> entitiesByName() const;
  /// Returns: null if there is none of that name.
  Ref<NSEntityDescription> entityWithName(std::string_view name) const noexcept;

  /// The version identifiers that the model file carries; may be empty.
  const Ref<NSString>& versionIdentifier() const noexcept { return _versionIdentifier; }
  void setVersionIdentifier(const Ref<NSString>& identifier);

  /// Entity name to version hash; equal dictionaries mean that stores are interchangeable.
  Ref<NSDictionary> entityVersionHashesByName() const;

  /// Whether a coordinator uses the model, so that it no longer changes.
  bool isImmutable() const noexcept { return _immutable; }

  Ref<NSString> description() const override;

  /// Whether the model is whole: every superentity in it, no property twice, every stored attribute
  /// with a type and a fitting default.
  /// Fails: returns false and sets the error, which names entity and property.
  bool validate(Ref<NSError>* error = nullptr) const;

  /// Makes a whole model unchangeable; a coordinator calls it. Fails: as `validate`.
  bool makeImmutable(Ref<NSError>* error = nullptr);

 protected:
  NSManagedObjectModel();
  ~NSManagedObjectModel() override;

 private:
  void willChange() const;

  std::vector<Ref<NSEntityDescription>> _entities;
  Ref<NSString> _versionIdentifier;
  bool _immutable = false;
};

}  // namespace JNFoundation
