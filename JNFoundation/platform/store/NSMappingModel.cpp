#include "JNFoundation/platform/store/NSMappingModel.h"

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/MappingInference.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMappingModel::classObject = Class::of<NSMappingModel>("NSMappingModel");

namespace {

using impl::EntityLayout;
using impl::MappingInference;

Ref<NSEntityMapping> mappingOf(const MappingInference& inference,
                               const NSEntityDescription& entity) {
  const MappingInference::Match& match = inference.of(entity);
  const EntityLayout& layout = entity.layout();
  std::vector<Value> attributes, relationships, removed;
  std::vector<bool> goesOn(match.source ? match.source->layout().count() : 0);
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    const bool isTransient = slot.attribute ? !slot.stored : slot.relationship->isTransient();
    if (isTransient) continue;
    const EntityLayout::Slot* source = inference.sourceSlot(match, i);
    if (source) goesOn[match.sourceOf[i]] = true;
    (slot.attribute ? attributes : relationships)
        .emplace_back(makeObject<NSPropertyMapping>(slot.name, source ? source->name : nullptr));
  }
  for (std::size_t i = 0; i < goesOn.size(); ++i) {
    const EntityLayout::Slot& slot = match.source->layout()[i];
    const bool isTransient = slot.attribute ? !slot.stored : slot.relationship->isTransient();
    if (!goesOn[i] && !isTransient) removed.emplace_back(slot.name);
  }
  NSEntityMappingType type = NSAddEntityMappingType;
  if (match.source) {
    type = match.source->versionHash()->hasContentOf(*entity.versionHash())
               ? NSCopyEntityMappingType
               : NSTransformEntityMappingType;
  }
  return makeObject<NSEntityMapping>(type, match.source ? match.source->name() : nullptr,
                                     entity.name(), NSArray::arrayWithValues(std::move(attributes)),
                                     NSArray::arrayWithValues(std::move(relationships)),
                                     NSArray::arrayWithValues(std::move(removed)));
}

}  // namespace

NSMappingModel::NSMappingModel(Ref<NSArray> entityMappings)
    : _entityMappings(std::move(entityMappings)) {}

NSMappingModel::~NSMappingModel() = default;

Ref<NSMappingModel> NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
    const Ref<NSManagedObjectModel>& source, const Ref<NSManagedObjectModel>& destination,
    Ref<NSError>* error) {
  for (const Ref<NSManagedObjectModel>& model : {source, destination}) {
    Ref<NSError> problem;
    if (!model) raise(NSInvalidArgumentException, "A mapping needs two models");
    if (!model->makeImmutable(&problem)) {
      raise(NSInvalidArgumentException, "%@", problem->localizedDescription());
    }
  }
  MappingInference inference(*source, *destination);
  if (!inference.infer(error)) return nullptr;
  std::vector<Value> mappings;
  for (const Ref<NSEntityDescription>& entity : destination->entityList()) {
    mappings.emplace_back(mappingOf(inference, *entity));
  }
  for (const Ref<NSEntityDescription>& entity : source->entityList()) {
    if (inference.destinationOf(*entity)) continue;
    mappings.emplace_back(makeObject<NSEntityMapping>(NSRemoveEntityMappingType, entity->name(),
                                                      nullptr, NSArray::array(), NSArray::array(),
                                                      NSArray::array()));
  }
  return makeObject<NSMappingModel>(NSArray::arrayWithValues(std::move(mappings)));
}

Ref<NSDictionary> NSMappingModel::entityMappingsByName() const {
  NSDictionary::Builder names(_entityMappings->count());
  for (const Value& value : *_entityMappings) {
    names.set(as<NSEntityMapping>(value)->name(), value);
  }
  return names.finish();
}

Ref<NSString> NSMappingModel::description() const {
  std::string text;
  for (const Value& mapping : *_entityMappings) {
    text += (text.empty() ? "" : "\n") + mapping.description()->toStdString();
  }
  return NSString::fromText(text);
}

}  // namespace JNFoundation
