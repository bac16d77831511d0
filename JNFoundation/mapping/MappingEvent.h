#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class MappingPath;
class MappingReport;
}  // namespace impl

/// What became of one value of a record: an observer of mappings (see MappingObserver.h) gets one
/// for each value that a rule takes and for each that no rule takes.
///
/// A dictionary that goes through the rules for its own keys has no event of its own, its values
/// have. Borrows what it shows, so it is good for the duration of the observer's call:
/// whoever wants to keep something copies that. Texts, paths and judgements are made when they are
/// asked for. Threads: the mapping's.
class MappingEvent {
 public:
  /// What became of a value.
  enum class Kind {
    Stored,   ///< an attribute got a value
    Cleared,  ///< an attribute got null, for the reason given
    Sent,     ///< the object got a message, whose argument is null for the reason given, if any
    Refused,  ///< nothing was stored, and the attribute has what it had
    Ignored,  ///< no rule takes it
  };

  /// Why a value is not there, or not as it came.
  enum class Reason {
    None,             ///< as the rule says
    NullValue,        ///< it came as null or as the null marker
    NoFilter,         ///< the rule names a filter action, and the mapping has no filter
    UnknownFilter,    ///< the filter has no action of the name that the rule gives
    FilteredToNull,   ///< the filter action made it null
    NotADate,         ///< text in a date attribute that is not of the one form that is read
    WrongKind,        ///< a value of a kind that the attribute cannot take
    UnsupportedType,  ///< an attribute of a type that is not mapped
    Raised,           ///< a filter action, a message or an accessor raised; the mapping ends here
    NoRule,           ///< no rule has its key
    NotADictionary,   ///< the rules under its key are for the keys of a dictionary
  };

  /// How what was stored was made of what came.
  enum class Conversion {
    None,            ///< as it came, or as the filter made it
    NumberFromText,  ///< the numeric prefix, without its fraction, or the truth, of a text
    TextFromNumber,  ///< the decimal text of a number
    DateFromText,    ///< the instant of a text of the one form that is read
    DateFromNumber,  ///< of milliseconds since 1970
  };

  MappingEvent(const MappingEvent&) = delete;
  MappingEvent& operator=(const MappingEvent&) = delete;

  /// What became of the value.
  Kind kind() const noexcept { return _kind; }
  /// Why it is not as it was in the record.
  Reason reason() const noexcept { return _reason; }
  /// How the value was made another one.
  Conversion conversion() const noexcept { return _conversion; }

  /// The keys from the outermost dictionary to the value, a new array; empty for a value that was
  /// mapped on its own. A key may be of any kind.
  Ref<NSArray> path() const;
  /// The same as text, e.g. "meta.born".
  Ref<NSString> pathText() const;

  /// What the record is mapped onto.
  const Ref<NSManagedObject>& object() const noexcept { return _object; }
  /// Of the map that holds the rule. May be null.
  const Ref<NSString>& entityName() const noexcept { return _entityName; }
  /// The attribute's name or the message's selector, e.g. "applyPayload:". Null where no rule is.
  const Ref<NSString>& destination() const noexcept { return _destination; }
  /// Of the destination; 0 for messages and where no rule is.
  NSUInteger attributeType() const noexcept { return _attributeType; }
  /// The filter action that the rule names. Null for none.
  const Ref<NSString>& filterName() const noexcept { return _filterName; }

  /// As it stood in the record.
  const Value& value() const noexcept { return _value; }
  /// As the filter made it; without one, as it came, the null marker as null.
  const Value& filteredValue() const noexcept { return _filteredValue; }
  /// What the attribute was given, or the message had as its argument. Null for all else. An
  /// accessor of the application may have made something else of it.
  const Value& storedValue() const noexcept { return _storedValue; }

  /// Whether what was stored says less than what the filter, if any, let through: "12abc" and 12.5
  /// in an integer, "3.75" in a double, which text fills without its fraction, "maybe" in a
  /// boolean, a number out of the attribute's range.
  bool isLossy() const;

  /// The reason as a sentence, a refusal in the words of its log line. Null for None.
  Ref<NSString> reasonText() const;
  /// The whole as a line, e.g. "stored meta.born in Person.birthDate: 1990-05-01 00:00:00 +0000".
  Ref<NSString> text() const;

 private:
  friend class impl::MappingReport;

  MappingEvent(const Value& value, const Ref<NSManagedObject>& object,
               const impl::MappingPath* path)
      : _value(value), _object(object), _path(path) {}

  Kind _kind = Kind::Ignored;
  Reason _reason = Reason::None;
  Conversion _conversion = Conversion::None;
  Value _value;
  const Ref<NSManagedObject>& _object;
  const impl::MappingPath* _path;
  Ref<NSString> _entityName;
  Ref<NSString> _destination;
  Ref<NSString> _filterName;
  /// In the words of whoever refused it.
  Ref<NSString> _refusal;
  NSUInteger _attributeType = 0;
  Value _filteredValue;
  Value _storedValue;
};

}  // namespace JNFoundation
