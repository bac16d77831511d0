#include "MappingFixture.h"

namespace JNFoundation {
namespace {

const ClassDeclaration<Person> personDeclaration =
    ClassDeclaration<Person>()
        .factory()
        .operation("applyPayload:", &Person::applyPayload)
        .operation("applyAndAnswer:", &Person::applyAndAnswer)
        .operation("setA:b:", &Person::setAB)
        .operation("applyCount:", &Person::applyCount)
        .operation("applyAndJudge:", &Person::applyAndJudge)
        .property("motto", &Person::motto, &Person::setMotto);

const ClassDeclaration<PersonFilter> filterDeclaration =
    ClassDeclaration<PersonFilter>()
        .factory()
        .operation("trim:", &PersonFilter::trim)
        .operation("shout:", &PersonFilter::shout)
        .operation("nothing:", &PersonFilter::nothing)
        .operation("something:", &PersonFilter::something)
        .operation("answer:", &PersonFilter::answer);

}  // namespace

MappingTest::MappingTest()
    : _sink([this](const Ref<NSString>& line) { log.push_back(line->toStdString()); }),
      _model(NSManagedObjectModel::init()),
      _entity(NSEntityDescription::init()),
      _attributes(NSMutableArray::array()) {
  _entity->setName("Person");
  _entity->setManagedObjectClassName("Person");
  addAttribute("integer16", NSInteger16AttributeType);
  addAttribute("integer32", NSInteger32AttributeType);
  addAttribute("integer64", NSInteger64AttributeType);
  addAttribute("double", NSDoubleAttributeType);
  addAttribute("float", NSFloatAttributeType);
  addAttribute("string", NSStringAttributeType);
  addAttribute("boolean", NSBooleanAttributeType);
  addAttribute("date", NSDateAttributeType);
}

void MappingTest::addAttribute(const char* name, NSAttributeType type) {
  _attributes->addObject(NSAttributeDescription::attributeWithNameType(name, type));
  _entity->setProperties(_attributes);
}

void MappingTest::setUserInfo(std::vector<NSDictionary::Pair> entries) {
  _entity->setUserInfo(NSDictionary::dictionaryWithEntries(std::move(entries)));
}

Ref<NSManagedObjectContext> MappingTest::context() {
  if (_context) return _context;
  _model->setEntities(NSArray::arrayWithObject(_entity));
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(_model);
  Ref<NSError> error;
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr, &error);
  EXPECT_FALSE(error) << error->description()->utf8();
  _context = NSManagedObjectContext::init();
  _context->setPersistentStoreCoordinator(coordinator);
  return _context;
}

Ref<Person> MappingTest::insertPerson() {
  return as<Person>(
      Value(NSManagedObject::initWithEntityInsertIntoManagedObjectContext(_entity, context())));
}

Ref<PersonFilter> MappingTest::attachFilter() {
  Ref<PersonFilter> filter = PersonFilter::init();
  for (const char* name : {"trim", "shout", "nothing", "something", "answer"}) {
    filter->setActionForFilter(NSSelectorFromString(std::string(name) + ":"), name);
  }
  plv_setDataMapFilter(context(), filter);
  return filter;
}

}  // namespace JNFoundation
