#pragma once

#include <JNFoundation/platform/store/NSEntityMapping.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

class NSError;
class NSManagedObjectModel;

/// What a migration from one model to another does, entity by entity.
///
///     auto mapping = NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
///         oldModel, newModel, &error);
///     std::puts(mapping->description()->toStdString().c_str());
///
/// A store opened with NSInferMappingModelAutomaticallyOption does the same to its file.
/// Threads: any.
class NSMappingModel : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Finds out by names and renaming identifiers what becomes of each entity and property. Both
  /// models become unchangeable.
  ///
  /// These changes can be inferred: entities, attributes and relationships that are added, removed
  /// or renamed; a new parent or child; properties that move up or down a hierarchy; an entity that
  /// leaves its hierarchy; an attribute that becomes optional, or required with a default;
  /// a relationship that leads to many where it led to one, that gains, loses or changes order,
  /// optionality, counts or delete rule; indexes and constraints.
  ///
  /// These cannot: another type of an attribute; a required attribute without a default; to one
  /// where it was to many; one hierarchy made of several; another destination or way back of
  /// a relationship; an entity with records that becomes abstract.
  ///
  /// Fails: returns null and sets an error of code NSInferredMappingModelError (134190) that says
  /// each fault; "entity", "property" and "reason" of its user info are the first one's, and of
  /// several faults all stand under NSDetailedErrorsKey. Raises NSInvalidArgumentException for null
  /// and for a model that is not whole.
  static Ref<NSMappingModel> inferredMappingModelForSourceModelDestinationModelError(
      const Ref<NSManagedObjectModel>& source, const Ref<NSManagedObjectModel>& destination,
      Ref<NSError>* error = nullptr);

  /// One for each entity of the new model, and one for each that is gone. Never null.
  const Ref<NSArray>& entityMappings() const noexcept { return _entityMappings; }
  /// The same by their names. Never null.
  Ref<NSDictionary> entityMappingsByName() const;

  /// The descriptions of the entities' mappings, one below the other.
  Ref<NSString> description() const override;

 protected:
  explicit NSMappingModel(Ref<NSArray> entityMappings);
  ~NSMappingModel() override;

 private:
  Ref<NSArray> _entityMappings;
};

}  // namespace JNFoundation
