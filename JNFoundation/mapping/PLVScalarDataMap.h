#pragma once

#include <cstdint>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation::inline v0_1 {

class PLVDataMapFilter;

namespace impl {
class MappingReport;
}

/// Which values a mapping sets.
enum class MappingWrites {
  /// Each value that a rule gives, equal or not.
  Every,
  /// Those that differ from what the attribute holds, so that a record that changes nothing leaves
  /// the object without changes. An observer is told of all of them alike.
  Changes,
};

/// Copies one value of a decoded record onto one managed object: into an attribute, converted to
/// the attribute's type, or as the argument of a message.
///
/// A map is built from a destination string and checked against the entity once:
///
///     "name"            the attribute name
///     "trim|name"       the attribute name, after the filter action "trim"
///     "applyPayload:"   the message applyPayload:, with the value as it is
///
/// Nothing here raises or returns an error of its own: a bad destination and a value that the
/// attribute cannot take are each one line in the log, "operation(address) message". What a filter,
/// a message or an accessor of the application raises comes through, as does the runtime's refusal
/// of an argument of another kind than the message's declaration takes.
/// Immutable, so it may be shared. Threads: mapping runs where the object may be used.
class PLVScalarDataMap : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Where a value goes: to an attribute, or as the argument of a message.
  enum class MapType : std::int32_t {
    Attribute = 0,  ///< it is stored
    Selector = 2    ///< it is sent
  };

  /// Returns: null for a destination that the entity does not have, after a line in the log.
  static Ref<PLVScalarDataMap> newMapWithDestinationForEntity(
      const Ref<NSString>& destination, const Ref<NSEntityDescription>& entity);
  /// A map without a destination. Takes: null for no filter.
  static Ref<PLVScalarDataMap> initWithEntityNameFilterMapType(const Ref<NSString>& entityName,
                                                               const Ref<NSString>& filter,
                                                               MapType mapType);
  /// A map to the attribute. Takes: null for no filter; the type as one of NSAttributeType.
  static Ref<PLVScalarDataMap> initWithEntityNameFilterAttributeNameAttributeType(
      const Ref<NSString>& entityName, const Ref<NSString>& filter,
      const Ref<NSString>& attributeName, NSUInteger attributeType);
  /// A map to the message. Takes: null for no filter.
  static Ref<PLVScalarDataMap> initWithEntityNameFilterSelectorSelectorReturnsVoid(
      const Ref<NSString>& entityName, const Ref<NSString>& filter, SEL selector, bool returnsVoid);

  /// Maps with the data map filter of the object's context.
  void mapValueToObject(const Value& value, const Ref<NSManagedObject>& object) const;

  /// Passes the value through the filter if the map names one (without that filter, or without that
  /// action, it becomes null), then sends the message, or converts the value and sets the
  /// attribute. Null and the null marker clear the attribute; so does text that is no date. A value
  /// of a kind that the attribute cannot take leaves it as it was. The observer of the object's
  /// context, if any, is told (see MappingObserver.h).
  void mapValueToObjectFilter(const Value& value, const Ref<NSManagedObject>& object,
                              const Ref<PLVDataMapFilter>& filter) const;

  /// The number that text stands for in an attribute of the map's type. Text in a double or float
  /// attribute loses its fraction ("3.75" is 3); numbers keep theirs.
  /// Returns: null for a type that is no number, after a line in the log.
  Value numberForInputString(const Ref<NSString>& text) const;

  /// See the operation of the same name in NSDictionary+Extensions.h.
  static Value parseRFC3339DateTimeString(const Ref<NSString>& text);

  /// Whether an attribute that holds `present` needs nothing to be done for the value: mapping
  /// would set what is there already. False also where only mapping can tell: with a filter or a
  /// message, and for what it refuses. Calls nobody.
  bool isSettled(const Value& value, const Value& present) const;

  /// Null where the map has no filter.
  const Ref<NSString>& filterName() const noexcept { return _filterName; }

  // What the map was made of; for tools that explain it and for exports.
  MapType mapType() const noexcept { return _mapType; }
  /// The attribute's name. Null for a message.
  const Ref<NSString>& destination() const noexcept { return _destination; }
  /// 0 for a message.
  NSUInteger attributeType() const noexcept { return _attributeType; }
  /// The null selector for an attribute.
  SEL destinationSelector() const noexcept { return _destinationSelector; }

 protected:
  PLVScalarDataMap(const Ref<NSString>& entityName, const Ref<NSString>& filter, MapType mapType);

 private:
  friend class PLVDictionaryDataMap;

  /// Maps without a look for an observer.
  void mapUnobserved(const Value& value, const Ref<NSManagedObject>& object,
                     const Ref<PLVDataMapFilter>& filter, MappingWrites writes) const;
  /// The same, and tells the report. What is raised is told as well, and comes through.
  void mapReporting(const Value& value, const Ref<NSManagedObject>& object,
                    const Ref<PLVDataMapFilter>& filter, MappingWrites writes,
                    impl::MappingReport& report) const;

  template <class Report>
  void apply(const Value& input, NSManagedObject& object, MappingWrites writes,
             Report& report) const;
  template <class Report>
  void setConverted(const Value& value, NSManagedObject& object, MappingWrites writes,
                    Report& report) const;
  /// What the attribute takes for a value of another kind, one that can be converted.
  Value converted(const Value& value) const;
  void set(const Value& value, NSManagedObject& object, MappingWrites writes) const {
    if (writes == MappingWrites::Changes && isPresent(value, object)) return;
    object.setValueForKey(value, _destination);
  }
  /// Whether the object has the value already.
  bool isPresent(const Value& value, const NSManagedObject& object) const {
    return isSame(value, object.storedValueForKey(_destination));
  }
  bool isSame(const Value& value, const Value& present) const;
  Ref<NSString> refuse(const Value& value, const char* wanted) const;

  MapType _mapType;
  NSUInteger _attributeType = 0;
  Ref<NSString> _destination;
  SEL _destinationSelector;
  bool _destinationSelectorReturnsVoid = false;
  Ref<NSString> _entityName;
  Ref<NSString> _filterName;
};

}  // namespace JNFoundation
