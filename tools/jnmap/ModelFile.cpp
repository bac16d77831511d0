#include "ModelFile.h"

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSError.h>

namespace jnmap {

Ref<NSManagedObjectModel> readModel(const std::string& path) {
  Ref<NSError> error;
  Ref<NSManagedObjectModel> model = NSManagedObjectModel::initWithContentsOfFileError(path, &error);
  if (!model) throw Failure(error->localizedDescription()->toStdString());
  return model;
}

Ref<NSEntityDescription> entityNamed(const Ref<NSManagedObjectModel>& model,
                                     const std::string& name) {
  if (Ref<NSEntityDescription> entity = model->entityWithName(name)) return entity;
  std::string sentence = "the model has no entity '" + name + "'";
  std::size_t listed = 0;
  for (const auto& entity : model->entityList()) {
    if (++listed > 20) {
      sentence += " and " + std::to_string(model->entityList().size() - 20) + " more";
      break;
    }
    sentence += (listed == 1 ? "; it has " : ", ") + entity->name()->toStdString();
  }
  throw Failure(sentence);
}

bool hasClassOf(const NSEntityDescription& entity) {
  const Class* cls = NSClassFromString(entity.managedObjectClassName()->utf8());
  return cls && cls->isSubclassOf(NSManagedObject::classObject);
}

Ref<NSSet> setOf(const std::vector<std::string>& names) {
  return NSSet::setWithValues(std::vector<Value>(names.begin(), names.end()));
}

std::vector<Option> KnownNames::options() {
  return {{"filters", "NAME,…",
           "The filter actions that the application has; a rule that names another is a problem.",
           [this](const std::string& list) { filters = setOf(listFrom(list)); }},
          {"messages", "NAME:,…",
           "The messages that its classes take; a rule that sends another is a problem.",
           [this](const std::string& list) { messages = setOf(listFrom(list)); }}};
}

MapInspection::Options KnownNames::inspectionOptions() const {
  MapInspection::Options options;
  options.filters = filters;
  options.messages = messages;
  options.classesElsewhere = MapInspection::Options::ClassesElsewhere::Trusted;
  return options;
}

}  // namespace jnmap
