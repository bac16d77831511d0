#include <array>
#include <cstdint>
#include <string>

#include "MappingFixture.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/PLVScalarDataMap.h>
#include <JNFoundation/platform/value/NSNull.h>

/// Messages as destinations: which ones a map takes, in which order it looks, and what it sends.
namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

enum class Grade : std::int16_t { Good = 1 };

/// A message for every type that an argument or a result may have.
class Shapes : public Subclass<Shapes, NSManagedObject> {
 public:
  template <class Argument>
  void take(Argument) {
    ++count;
  }
  template <class Result>
  Result give(const Value&) {
    ++count;
    return Result();
  }
  template <class Argument>
  bool takeAndJudge(Argument) {
    return true;
  }
  void takeNone() {}
  bool takeNoneAndJudge() { return true; }
  bool takeTwoAndJudge(NSInteger, NSInteger) { return true; }
  void takeThree(const Value&, const Value&, const Value&) {}
  const Class* giveClass(const Value&) { return &classObject; }
  void setNickname(const Value& value) { nickname = value; }
  Value getNickname() const { return nickname; }
  void takeDictionary(const Ref<NSDictionary>& value) {
    dictionary = value;
    ++count;
  }
  static void ofTheClass(const Value&) {}

  int count = 0;
  Value nickname;
  Ref<NSDictionary> dictionary;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Shapes> shapesDeclaration =
    ClassDeclaration<Shapes>()
        .factory()
        .operation("takeValue:", &Shapes::take<Value>)
        .operation("takeReference:", &Shapes::take<Ref<NSObject>>)
        .operation("takeDictionary:", &Shapes::takeDictionary)
        .operation("takeBoolean:", &Shapes::take<bool>)
        .operation("takeInt8:", &Shapes::take<std::int8_t>)
        .operation("takeInt16:", &Shapes::take<std::int16_t>)
        .operation("takeInt32:", &Shapes::take<std::int32_t>)
        .operation("takeInt64:", &Shapes::take<std::int64_t>)
        .operation("takeUnsigned8:", &Shapes::take<std::uint8_t>)
        .operation("takeUnsigned16:", &Shapes::take<std::uint16_t>)
        .operation("takeUnsigned32:", &Shapes::take<std::uint32_t>)
        .operation("takeUnsigned64:", &Shapes::take<std::uint64_t>)
        .operation("takeFloat:", &Shapes::take<float>)
        .operation("takeDouble:", &Shapes::take<double>)
        .operation("takeEnumeration:", &Shapes::take<Grade>)
        .operation("takeClass:", &Shapes::take<const Class*>)
        .operation("takeText:", &Shapes::take<std::string>)
        .operation("giveValue:", &Shapes::give<Value>)
        .operation("giveReference:", &Shapes::give<Ref<NSString>>)
        .operation("giveBoolean:", &Shapes::give<bool>)
        .operation("giveInt8:", &Shapes::give<std::int8_t>)
        .operation("giveInt64:", &Shapes::give<std::int64_t>)
        .operation("giveUnsigned32:", &Shapes::give<std::uint32_t>)
        .operation("giveFloat:", &Shapes::give<float>)
        .operation("giveDouble:", &Shapes::give<double>)
        .operation("giveEnumeration:", &Shapes::give<Grade>)
        .operation("giveClass:", &Shapes::giveClass)
        .operation("giveText:", &Shapes::give<std::string>)
        .operation("takeNone:", &Shapes::takeNone)
        .operation("takeNoneAndJudge:", &Shapes::takeNoneAndJudge)
        .operation("take:two:", &Shapes::takeTwoAndJudge)
        .operation("takeTwo:", &Shapes::takeTwoAndJudge)
        .operation("take:three:times:", &Shapes::takeThree)
        .operation("takeNumberAndJudge:", &Shapes::takeAndJudge<NSInteger>)
        .property("nickname", &Shapes::getNickname, &Shapes::setNickname)
        .classOperation("ofTheClass:", &Shapes::ofTheClass);

class InheritedShapes : public Subclass<InheritedShapes, Shapes> {
 protected:
  using Subclass::Subclass;
};
const ClassDeclaration<InheritedShapes> inheritedDeclaration =
    ClassDeclaration<InheritedShapes>().factory();

class Selectors : public MappingTest {
 protected:
  Selectors() { entity()->setManagedObjectClassName("Shapes"); }

  Ref<PLVScalarDataMap> mapTo(const std::string& destination) {
    return PLVScalarDataMap::newMapWithDestinationForEntity(destination, entity());
  }
  Value insertShapes() {
    return NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), context());
  }

  void expectAccepted(const std::string& selector) {
    log.clear();
    EXPECT_TRUE(mapTo(selector)) << selector;
    EXPECT_TRUE(log.empty()) << selector;
  }
  void expectRefused(const std::string& selector, const std::string& message) {
    log.clear();
    EXPECT_FALSE(mapTo(selector)) << selector;
    const std::vector<std::string> expected{
        NSString::stringWithFormat("+[PLVScalarDataMap newMapWithDestination:forEntity:](%p) %s",
                                   &PLVScalarDataMap::classObject, message)
            ->toStdString()};
    EXPECT_EQ(log, expected) << selector;
  }

  static std::string unknown(const std::string& selector) {
    return "Class for entity Person does not implement selector " + selector;
  }
  static std::string notOne(const std::string& selector) {
    return "Method for entity Person with selector " + selector +
           " does not take a single argument";
  }
  static std::string noObject(const std::string& selector) {
    return notOne(selector) + " of type 'id'";
  }
  static std::string noResult(const std::string& selector) {
    return "Method for entity Person with selector " + selector +
           " does not return either void or id";
  }
};

TEST_F(Selectors, AMessageTakesOneObjectAndGivesAnObjectOrNothing) {
  for (const char* selector : {"takeValue:", "takeReference:", "takeDictionary:", "giveValue:",
                               "giveReference:", "setNickname:"}) {
    expectAccepted(selector);
  }
}

TEST_F(Selectors, AnArgumentThatIsNoObjectIsRefused) {
  for (const char* type :
       {"Boolean", "Int8", "Int16", "Int32", "Int64", "Unsigned8", "Unsigned16", "Unsigned32",
        "Unsigned64", "Float", "Double", "Enumeration", "Class", "Text"}) {
    const std::string selector = std::string("take") + type + ":";
    expectRefused(selector, noObject(selector));
  }
}

TEST_F(Selectors, AResultThatIsNoObjectIsRefused) {
  for (const char* type : {"Boolean", "Int8", "Int64", "Unsigned32", "Float", "Double",
                           "Enumeration", "Class", "Text"}) {
    const std::string selector = std::string("give") + type + ":";
    expectRefused(selector, noResult(selector));
  }
}

TEST_F(Selectors, AnyOtherNumberOfArgumentsIsRefused) {
  for (const char* selector : {"takeNone:", "take:two:", "takeTwo:", "take:three:times:"}) {
    expectRefused(selector, notOne(selector));
  }
}

TEST_F(Selectors, TheNumberOfArgumentsIsJudgedBeforeTheirTypesAndTheResult) {
  expectRefused("takeNoneAndJudge:", notOne("takeNoneAndJudge:"));
  expectRefused("take:two:", notOne("take:two:"));
}

TEST_F(Selectors, TheTypeOfTheArgumentIsJudgedBeforeTheResult) {
  expectRefused("takeNumberAndJudge:", noObject("takeNumberAndJudge:"));
}

TEST_F(Selectors, AMessageThatTheClassLacksIsRefused) {
  for (const char* selector : {"nobodyEverNamedThis:", "takevalue:", "takeValue::", " takeValue:",
                               "::", "a:", "é:", "trim:", "initWithEntity:"}) {
    expectRefused(selector, unknown(selector));
  }
}

TEST_F(Selectors, AnOperationOfTheClassItselfIsRefused) {
  expectRefused("ofTheClass:", unknown("ofTheClass:"));
}

TEST_F(Selectors, ABadRuleDoesNotMakeASelector) {
  expectRefused("neverToBeASelector:", unknown("neverToBeASelector:"));
  EXPECT_FALSE(SEL::ifKnown("neverToBeASelector:"));
}

TEST_F(Selectors, AnInheritedMessageIsTaken) {
  entity()->setManagedObjectClassName("InheritedShapes");
  expectAccepted("takeValue:");
  const Value shapes = insertShapes();
  mapTo("takeValue:")->mapValueToObject(1, Ref<NSManagedObject>(as<NSManagedObject>(shapes)));
  EXPECT_EQ(as<Shapes>(shapes)->count, 1);
}

TEST_F(Selectors, AFilterPrefixIsNoPartOfTheMessage) {
  const auto map = mapTo("trim|takeValue:");
  ASSERT_TRUE(map);
  EXPECT_EQ(Value(map->filterName()), "trim");
  expectRefused("trim|missing:", unknown("missing:"));
  expectRefused("a|b|missing:", unknown("b|missing:"));
}

TEST_F(Selectors, ANameThatOnlyContainsAColonIsAnAttribute) {
  expectRefused("take:two", "Undefined attribute 'take:two' for entity 'Person'");
  expectRefused("takeValue: ", "Undefined attribute 'takeValue: ' for entity 'Person'");
  expectRefused("f|:", "Undefined attribute ':' for entity 'Person'");
}

TEST_F(Selectors, EveryKindOfValueIsSentAsItIs) {
  const Value shapes = insertShapes();
  const Ref<NSManagedObject> object(as<NSManagedObject>(shapes));
  const auto map = mapTo("setNickname:");
  for (const Value& value :
       {Value(1), Value(2.5), Value(true), Value("text"), Value(NSArray::array()),
        Value(NSDictionary::dictionary()), Value::dateWithTimeIntervalSince1970(3),
        Value(NSString::classObject), Value(object)}) {
    map->mapValueToObject(value, object);
    EXPECT_TRUE(as<Shapes>(shapes)->nickname.isIdentical(value)) << value.description()->utf8();
  }
  map->mapValueToObject(NSNull::null(), object);
  EXPECT_TRUE(as<Shapes>(shapes)->nickname.isNull());
  EXPECT_TRUE(log.empty());
}

TEST_F(Selectors, AResultIsIgnored) {
  const Value shapes = insertShapes();
  mapTo("giveReference:")->mapValueToObject("x", Ref<NSManagedObject>(as<NSManagedObject>(shapes)));
  EXPECT_EQ(as<Shapes>(shapes)->count, 1);
  EXPECT_TRUE(log.empty());
}

TEST_F(Selectors, AMessageOfATypedReferenceGetsItsKindAndNothing) {
  const Value shapes = insertShapes();
  const Ref<NSManagedObject> object(as<NSManagedObject>(shapes));
  const auto map = mapTo("takeDictionary:");
  const auto record = NSDictionary::dictionaryWithObjectForKey(1, "a");
  map->mapValueToObject(record, object);
  EXPECT_EQ(as<Shapes>(shapes)->dictionary.get(), record.get());
  map->mapValueToObject(NSNull::null(), object);
  EXPECT_FALSE(as<Shapes>(shapes)->dictionary);
  EXPECT_EQ(as<Shapes>(shapes)->count, 2);
}

TEST_F(Selectors, AnArgumentOfAnotherKindThanAMessageTakesRaisesAndIsNotSent) {
  const Value shapes = insertShapes();
  const Ref<NSManagedObject> object(as<NSManagedObject>(shapes));
  const auto map = mapTo("takeDictionary:");
  EXPECT_EQ(raisedBy([&] { map->mapValueToObject("text", object); }),
            "NSInvalidArgumentException: an argument of class __NSCFString was given where a "
            "NSDictionary is needed");
  EXPECT_EQ(as<Shapes>(shapes)->count, 0);
}

TEST_F(Selectors, AnObjectOfAnotherClassThanTheMapWasMadeForRaises) {
  const auto map = mapTo("takeValue:");
  entity()->setManagedObjectClassName("Person");
  const auto person = insertPerson();
  EXPECT_NE(raisedBy([&] {
              map->mapValueToObject(1, person);
            }).find("-[Person takeValue:]: unrecognized selector"),
            std::string::npos);
}

TEST_F(Selectors, AMapMadeByHandSendsItsSelectorWithoutAsking) {
  const Value shapes = insertShapes();
  const Ref<NSManagedObject> object(as<NSManagedObject>(shapes));
  PLVScalarDataMap::initWithEntityNameFilterSelectorSelectorReturnsVoid("Person", nullptr,
                                                                        "takeInt64:", true)
      ->mapValueToObject(5, object);
  EXPECT_EQ(as<Shapes>(shapes)->count, 1);
  const auto none = PLVScalarDataMap::initWithEntityNameFilterSelectorSelectorReturnsVoid(
      nullptr, "", nullptr, false);
  EXPECT_FALSE(none->filterName());
  EXPECT_EQ(raisedName([&] { none->mapValueToObject(5, object); }), "NSInvalidArgumentException");
}

}  // namespace
}  // namespace JNFoundation
