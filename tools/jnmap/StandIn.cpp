#include "StandIn.h"

#include <string>

#include "ModelFile.h"

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace jnmap {
namespace {

class JnmapObject : public Subclass<JnmapObject, NSManagedObject> {
 public:
  void takeValue(const Value&) {}

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<JnmapObject> objectDeclaration = ClassDeclaration<JnmapObject>().factory();
const ClassDeclaration<JnmapFilter> filterDeclaration =
    ClassDeclaration<JnmapFilter>().operation("pass:", &JnmapFilter::pass);

}  // namespace

void standInForClassesOf(NSManagedObjectModel& model, const Ref<NSSet>& messages) {
  MapInspection::Options options;
  options.messages = messages;
  options.classesElsewhere = MapInspection::Options::ClassesElsewhere::Trusted;
  ClassDeclaration<JnmapObject> declaration;
  for (const auto& entity : model.entityList()) {
    if (hasClassOf(*entity)) continue;
    for (const MapInspection::Rule& rule : MapInspection::ofEntity(entity, options).rules) {
      // What takes other than one argument is no message of a rule, whatever it ends in.
      if (rule.kind != MapInspection::Rule::Kind::Message) continue;
      const SEL selector(rule.destination->utf8());
      if (selector.argumentCount() == 1) {
        declaration.operation(selector, &JnmapObject::takeValue);
      }
    }
  }
  // A declaration takes effect where it comes to rest.
  const ClassDeclaration<JnmapObject> declared = declaration;
  for (const auto& entity : model.entityList()) {
    if (!hasClassOf(*entity)) entity->setManagedObjectClassName("JnmapObject");
  }
}

Ref<JnmapFilter> JnmapFilter::filterFor(const Ref<NSSet>& names) {
  Ref<JnmapFilter> filter = JnmapFilter::init();
  for (const Value& name : *names) filter->setActionForFilter("pass:", as<NSString>(Value(name)));
  return filter;
}

}  // namespace jnmap
