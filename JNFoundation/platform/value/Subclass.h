#pragma once

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

/// A base class that has class operations declares them in a member template
/// `ClassOperations<Self, Above>`, which derives from Above and makes instances of Self.
template <class Self, class Base>
struct WithClassOperations {
  using type = Base;
};
template <class Self, class Base>
requires requires { typename Base::template ClassOperations<Self, Base>; }
struct WithClassOperations<Self, Base> {
  using type = typename Base::template ClassOperations<Self, Base>;
};

struct ClassRegistration {
  explicit ClassRegistration(const Class& (*cls)()) { cls().registerName(); }
};

/// Naming an object as a template's argument makes the compiler provide it.
template <const ClassRegistration&>
struct Provided {};

}  // namespace impl

/// What an application's class derives from, so that it has a class object of its own and its class
/// operations make instances of it:
///
///     class Upload : public Subclass<Upload, PLVDeferred> {
///      protected:
///       using Subclass::Subclass;
///     };
///     Ref<Upload> upload = Upload::withResolved(value);
///
/// Protocols that the class adopts follow the base: `Subclass<Upload, NSObject, PLVResolvable>`.
/// The class is known to the runtime by its C++ name without namespaces.
template <class Self, class Base, class... Protocols>
class Subclass : public impl::WithClassOperations<Self, Base>::type {
  using Above = typename impl::WithClassOperations<Self, Base>::type;

 public:
  using Superclass = Base;
  static const Class classObject;

  const Class& class_() const noexcept override { return classObject; }

 protected:
  using Above::Above;
  Subclass() = default;

 private:
  // A function is not looked into before the class is complete.
  static const Class& ownClass() { return classObject; }
  static const impl::ClassRegistration registration;
  // Runs the registration before main, also where no instance is ever made.
  using Registered = impl::Provided<registration>;
};

/// With protocols, the way from each of them to the object is the same.
template <class Self, class Base, class Protocol, class... Protocols>
class Subclass<Self, Base, Protocol, Protocols...>
    : public Subclass<Self, Base>, public Protocol, public Protocols... {
 public:
  /// The object itself.
  NSObject* protocolObject() noexcept override { return this; }

 protected:
  using Subclass<Self, Base>::Subclass;
  Subclass() = default;
};

template <class Self, class Base, class... Protocols>
constinit const Class Subclass<Self, Base, Protocols...>::classObject =
    Class::of<Self>(impl::typeName<Self>());

template <class Self, class Base, class... Protocols>
const impl::ClassRegistration Subclass<Self, Base, Protocols...>::registration{&ownClass};

}  // namespace JNFoundation
