#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>

namespace JNFoundation::inline v0_1 {

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

  /// Reads the XML text of a `contents` file. What Xcode alone cares about is left out: positions
  /// in diagrams, how classes are generated, what is synchronized or searched by the system. Fails:
  /// as above.
  static Ref<NSManagedObjectModel> modelWithXMLError(std::string_view xml,
                                                     Ref<NSError>* error = nullptr);

  /// The model as the XML text of a `contents` file. Reading it gives an equal model: entities,
  /// properties and user info, defaults and bounds as the types keep them, indexes, uniqueness
  /// constraints, fetch requests and configurations.
  /// Fails: returns null and sets the error, which names the entity and the property; so for a
  /// model that is not whole, for what the file has no form for (defaults that are data or objects;
  /// order, offset and chosen properties of a fetch request) and for control characters, which XML
  /// does not have.
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
  /// Name to description. Never null.
  Ref<NSDictionary> entitiesByName() const;
  /// Returns: null if there is none of that name.
  Ref<NSEntityDescription> entityWithName(std::string_view name) const noexcept;

  /// The names of the fetch requests that the model keeps, and copies of them. Never null.
  Ref<NSDictionary> fetchRequestTemplatesByName() const;
  /// A copy of the request, the caller's own, with its entity looked up; variables stay in its
  /// predicate. Returns: null if there is none of that name.
  Ref<NSFetchRequest> fetchRequestTemplateForName(const Ref<NSString>& name) const;
  /// Takes: a copy of the request; null takes the one of that name away.
  /// Fails: raises NSInvalidArgumentException without a name.
  void setFetchRequestTemplateForName(const Ref<NSFetchRequest>& request,
                                      const Ref<NSString>& name);
  /// A copy of the request with values in place of the variables of its predicate, by their names;
  /// NSNull stands for null. Values of other names are ignored.
  /// Returns: null if there is no request of that name.
  /// Fails: raises NSInvalidArgumentException for a variable that has no value.
  Ref<NSFetchRequest> fetchRequestFromTemplateWithNameSubstitutionVariables(
      const Ref<NSString>& name, const Ref<NSDictionary>& variables) const;

  /// The names of the parts that the model is divided into, in the order of their making. Never
  /// null.
  Ref<NSArray> configurations() const;
  /// Returns: every entity for null; null if there is no configuration of that name.
  Ref<NSArray> entitiesForConfiguration(const Ref<NSString>& configuration) const;
  /// Takes: entities of the model; null takes the configuration away.
  /// Fails: raises NSInvalidArgumentException without a name and for what is no entity of the
  /// model.
  void setEntitiesForConfiguration(const Ref<NSArray>& entities,
                                   const Ref<NSString>& configuration);

  /// The version identifiers that the model file carries; may be empty.
  const Ref<NSString>& versionIdentifier() const noexcept { return _versionIdentifier; }
  void setVersionIdentifier(const Ref<NSString>& identifier);

  /// Entity name to version hash; equal dictionaries mean that stores are interchangeable.
  Ref<NSDictionary> entityVersionHashesByName() const;

  /// Whether a coordinator uses the model, so that it no longer changes.
  bool isImmutable() const noexcept { return _immutable; }

  Ref<NSString> description() const override;

  /// Whether the model is whole. Of entities: names that are allowed and used once, superentities
  /// in the model, no property that is inherited already, constraints and indexes over properties
  /// that are stored. Of attributes: a type, a default and bounds that fit it and each other, a
  /// regular expression that can be compiled. Of relationships: a destination, an inverse that
  /// leads back and has this one as its own, counts that can be, order only of many objects. Of
  /// fetch requests and configurations: entities of the model.
  /// Fails: returns false and sets the error. It says each fault with entity and property, whose
  /// names are in its user info under "entity" and "property"; of several faults these are the
  /// first one's, and all stand under NSDetailedErrorsKey.
  bool validate(Ref<NSError>* error = nullptr) const;

  /// Makes a whole model unchangeable; a coordinator calls it. Fails: as `validate`.
  bool makeImmutable(Ref<NSError>* error = nullptr);

 protected:
  NSManagedObjectModel();
  ~NSManagedObjectModel() override;

 private:
  void willChange() const;

  struct Template {
    Ref<NSString> name;
    Ref<NSFetchRequest> request;
  };
  struct Configuration {
    Ref<NSString> name;
    std::vector<Ref<NSEntityDescription>> entities;
  };

  const Template* templateNamed(const Ref<NSString>& name) const noexcept;
  Ref<NSFetchRequest> requestFrom(const Template& entry) const;

  std::vector<Ref<NSEntityDescription>> _entities;
  std::vector<Template> _templates;
  std::vector<Configuration> _configurations;
  Ref<NSString> _versionIdentifier;
  bool _immutable = false;
};

}  // namespace JNFoundation
