#include "JNFoundation/platform/value/Method.h"

#include <vector>

#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

Value Method::invoke(const Value& receiver, std::span<const Value> arguments) const {
  const std::size_t wanted = _argumentTypes.size();
  if (arguments.size() == wanted) return _invocation(receiver, arguments);
  if (arguments.size() > wanted) {
    raise(NSInvalidArgumentException, "%s takes %zu arguments, %zu were given", _selector.name(),
          wanted, arguments.size());
  }
  std::vector<Value> completed(arguments.begin(), arguments.end());
  completed.resize(wanted);
  return _invocation(receiver, completed);
}

namespace impl {

void raiseReceiverMismatch(const Value& receiver, SEL selector) {
  doesNotRecognizeSelector(receiver, selector);
}

void raiseArgumentMismatch(const Value& argument, std::string_view wanted) {
  raise(NSInvalidArgumentException, "an argument of class %s was given where a %s is needed",
        argument.class_() ? argument.class_()->name() : std::string_view("(null)"), wanted);
}

template <>
std::string RuntimeType<std::string>::fromValue(const Value& value) {
  if (value.isNull()) return {};
  if (const NSString* text = as<NSString>(value)) return text->toStdString();
  raiseArgumentMismatch(value, "NSString");
}

template <>
std::string_view RuntimeType<std::string_view>::fromValue(const Value& value) {
  if (value.isNull()) return {};
  if (const NSString* text = as<NSString>(value)) return text->utf8();
  raiseArgumentMismatch(value, "NSString");
}

template <>
const char* RuntimeType<const char*>::fromValue(const Value& value) {
  if (value.isNull()) return nullptr;
  if (const NSString* text = as<NSString>(value)) return text->UTF8String();
  raiseArgumentMismatch(value, "NSString");
}

}  // namespace impl
}  // namespace JNFoundation
