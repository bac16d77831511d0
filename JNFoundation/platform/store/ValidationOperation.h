#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSError;

namespace impl {

/// A value that whoever is handed it may replace.
class ValueBox final : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit ValueBox(Value value);
  ~ValueBox() override;

  Value value;
};

/// Hands an error to the box, which may be null.
void putError(const Ref<ValueBox>& box, const Ref<NSError>& error);

template <class Object, class Check>
bool runValidation(Object& object, Check check, const Ref<ValueBox>& value,
                   const Ref<ValueBox>& error) {
  Value nothing;
  Ref<NSError> problem;
  const bool accepted = (object.*check)(value ? value->value : nothing, error ? &problem : nullptr);
  putError(error, problem);
  return accepted;
}

template <auto check>
struct ValidationOperation;

template <class T, bool (T::*check)(Value&, Ref<NSError>*)>
struct ValidationOperation<check> {
  static bool run(T& object, const Ref<ValueBox>& value, const Ref<ValueBox>& error) {
    return runValidation(object, check, value, error);
  }
};

template <class T, bool (T::*check)(Value&, Ref<NSError>*) const>
struct ValidationOperation<check> {
  static bool run(const T& object, const Ref<ValueBox>& value, const Ref<ValueBox>& error) {
    return runValidation(object, check, value, error);
  }
};

}  // namespace impl

/// Declares a class's own check of one property, for `validate<Key>:error:`. What it puts in the
/// place of the value is what is saved; the error may be null.
///
///     bool Country::validateCode(Value& value, Ref<NSError>* error) {
///       if (value.isString()) value = as<NSString>(value)->uppercaseString();
///       return true;
///     }
///     static const ClassDeclaration<Country> declaration =
///         ClassDeclaration<Country>().factory().operation("validateCode:error:",
///                                                         validation<&Country::validateCode>);
template <auto check>
inline constexpr auto validation = &impl::ValidationOperation<check>::run;

}  // namespace JNFoundation
