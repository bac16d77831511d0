#pragma once

#include <JNFoundation/mapping/MappingObserver.h>

namespace JNFoundation::inline v0_1::impl {

/// Where a mapping is in its record.
class MappingPath {
 public:
  virtual Ref<NSArray> keys() const = 0;

 protected:
  MappingPath() = default;
  ~MappingPath() = default;
};

/// The observer of the object's context. Costs one look at a variable while no context has one.
MappingObserver mappingObserverOf(const NSManagedObject& object);

/// The event of one value while it comes about. What maps a value tells it what it does; a mapping
/// that nobody observes tells the same to Unreported.
class MappingReport {
 public:
  using Reason = MappingEvent::Reason;
  using Conversion = MappingEvent::Conversion;

  /// Borrows all but the value. A null path is that of a value mapped on its own.
  MappingReport(const MappingObserver& observer, const Value& value,
                const Ref<NSManagedObject>& object, const MappingPath* path)
      : _observer(observer), _event(value, object, path) {}

  void setRule(const Ref<NSString>& entityName, const Ref<NSString>& destination,
               NSUInteger attributeType, const Ref<NSString>& filterName) {
    _event._entityName = entityName;
    _event._destination = destination;
    _event._attributeType = attributeType;
    _event._filterName = filterName;
  }
  void filtered(const Value& value, Reason whyNull) {
    _event._filteredValue = value;
    _event._reason = value.isNull() ? whyNull : Reason::None;
  }
  void stored(const Value& value, Conversion conversion) {
    _event._kind = value.isNull() ? MappingEvent::Kind::Cleared : MappingEvent::Kind::Stored;
    _event._storedValue = value;
    _event._conversion = conversion;
    if (value.isNull() && conversion == Conversion::DateFromText) _event._reason = Reason::NotADate;
  }
  void sent(const Value& argument) {
    _event._kind = MappingEvent::Kind::Sent;
    _event._storedValue = argument;
  }
  void refused(Reason reason, const Ref<NSString>& text) {
    _event._kind = MappingEvent::Kind::Refused;
    _event._reason = reason;
    _event._refusal = text;
  }
  void setIgnored(const Ref<NSString>& entityName, Reason reason) {
    _event._entityName = entityName;
    _event._filteredValue = _event._value.isNSNull() ? Value() : _event._value;
    _event._reason = reason;
  }

  void tell() const { _observer(_event); }

 private:
  const MappingObserver& _observer;
  MappingEvent _event;
};

/// Takes the place of a MappingReport where there is no observer; compiles to nothing.
struct Unreported {
  using Reason = MappingEvent::Reason;
  using Conversion = MappingEvent::Conversion;

  void stored(const Value&, Conversion) const noexcept {}
  void sent(const Value&) const noexcept {}
  void refused(Reason, const Ref<NSString>&) const noexcept {}
};

}  // namespace JNFoundation::impl
