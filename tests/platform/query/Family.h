#pragma once

#include <ostream>
#include <platform/value/Raising.h>
#include <string>
#include <vector>

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation::testing {

using Entries = std::vector<NSDictionary::Pair>;

/// A record; null values become the null marker.
inline Ref<NSDictionary> record(Entries entries) {
  for (auto& entry : entries) entry.value = orNSNull(entry.value);
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

/// An array that may be written with nulls, which become the null marker.
inline Ref<NSArray> list(std::vector<Value> values) {
  for (Value& value : values) value = orNSNull(value);
  return NSArray::arrayWithValues(std::move(values));
}
inline Ref<NSSet> setOf(std::vector<Value> values) {
  return NSSet::setWithValues(std::move(values));
}
inline Ref<NSOrderedSet> orderedSetOf(std::vector<Value> values) {
  return NSOrderedSet::orderedSetWithValues(std::move(values));
}

/// An object that answers by declared operations, as an application's classes do.
class Person : public Subclass<Person, NSObject> {
 public:
  static Ref<Person> named(const char* name, Value age = nullptr) {
    Ref<Person> person = makeObject<Person>();
    if (name) person->_name = name;
    person->_age = age;
    return person;
  }

  Ref<NSString> name() const { return _name; }
  void setName(const Ref<NSString>& name) { _name = name; }
  Value age() const { return _age; }
  void setAge(const Value& age) { _age = age; }
  Ref<Person> mother() const { return _mother; }
  void setMother(const Ref<Person>& mother) { _mother = mother; }
  /// Any collection.
  Value children() const { return _children; }
  void setChildren(const Value& children) { _children = children; }
  NSInteger rank() const { return _rank; }
  void setRank(NSInteger rank) { _rank = rank; }
  bool isTall() const { return _rank > 100; }
  NSInteger getSecret() const { return 42; }
  NSInteger _hidden() const { return 43; }
  bool isOlderThan(const Ref<Person>& other) const {
    return _age.integerValue() > other->_age.integerValue();
  }
  NSComparisonResult compare(const Ref<Person>& other) const { return _age.compare(other->_age); }

 protected:
  using Subclass::Subclass;

 private:
  Ref<NSString> _name;
  Value _age;
  Ref<Person> _mother;
  Value _children;
  NSInteger _rank = 0;
};

inline const ClassDeclaration<Person> personDeclaration =
    ClassDeclaration<Person>()
        .property("name", &Person::name, &Person::setName)
        .property("age", &Person::age, &Person::setAge)
        .property("mother", &Person::mother, &Person::setMother)
        .property("children", &Person::children, &Person::setChildren)
        .property("rank", &Person::rank, &Person::setRank)
        .operation("isTall", &Person::isTall)
        .operation("getSecret", &Person::getSecret)
        .operation("_hidden", &Person::_hidden)
        .operation("isOlderThan:", &Person::isOlderThan)
        .operation("compare:", &Person::compare);

/// Whether the predicate of that format holds for the object.
template <class... Arguments>
bool holds(const Value& object, const char* format, const Arguments&... arguments) {
  return NSPredicate::predicateWithFormat(format, arguments...)->evaluateWithObject(object);
}

/// The value of the expression of that format for the object.
template <class... Arguments>
Value valueOf(const Value& object, const char* format, const Arguments&... arguments) {
  return NSExpression::expressionWithFormat(format, arguments...)
      ->expressionValueWithObjectContext(object, nullptr);
}

/// How the format is understood, written as a format again.
template <class... Arguments>
std::string understood(const char* format, const Arguments&... arguments) {
  return NSPredicate::predicateWithFormat(format, arguments...)->predicateFormat()->toStdString();
}

}  // namespace JNFoundation::testing

namespace JNFoundation {

inline std::ostream& operator<<(std::ostream& stream, const Value& value) {
  return stream << value.description()->utf8();
}

}  // namespace JNFoundation
