#pragma once

#include <vector>

#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/Method.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

/// Attaches what was declared to the class object; a second declaration adds to the first.
void addMembers(const Class& cls, std::vector<Method> instanceMethods,
                std::vector<Method> classMethods, Block<Ref<NSObject>()> factory);

}  // namespace impl

/// Declares, once and at start-up, what the runtime may find of a class by name: its factory, its
/// properties for key-value access, and its operations by selector.
///
///     // Country.cpp
///     static const ClassDeclaration<Country> declaration =
///         ClassDeclaration<Country>()
///             .factory()
///             .property("flag", &Country::flag, &Country::setFlag)
///             .operation("applyNames:", &Country::applyNames);
///
/// The types of arguments and results are deduced from the function. What is not declared still
/// works in C++; the runtime does not see it.
template <class T>
class ClassDeclaration {
 public:
  /// A class with nothing to declare can be found by its name all the same.
  ClassDeclaration() { T::classObject.registerName(); }

  /// The declaration takes effect where it comes to rest.
  ClassDeclaration(const ClassDeclaration& other) : ClassDeclaration(other, other) {}

  /// Lets the runtime make instances by the class's name, with the default constructor.
  ClassDeclaration& factory() {
    return factory([]() -> Ref<NSObject> { return makeObject<T>(); });
  }
  ClassDeclaration& factory(Block<Ref<NSObject>()> make) {
    _factory = std::move(make);
    return *this;
  }

  /// A property that can only be read: the operation `name`.
  template <class Getter>
  ClassDeclaration& property(std::string_view name, Getter getter) {
    return operation(SEL(name), getter);
  }
  /// A property that can be read and written: the operations `name` and `setName:`.
  template <class Getter, class Setter>
  ClassDeclaration& property(std::string_view name, Getter getter, Setter setter) {
    operation(SEL(name), getter);
    return operation(setterFor(name), setter);
  }

  /// An operation that is a member function.
  template <class Returned, class Owner, class... Arguments>
  ClassDeclaration& operation(SEL selector, Returned (Owner::*function)(Arguments...)) {
    return add<Returned, Arguments...>(selector, function);
  }
  template <class Returned, class Owner, class... Arguments>
  ClassDeclaration& operation(SEL selector, Returned (Owner::*function)(Arguments...) const) {
    return add<Returned, Arguments...>(selector, function);
  }
  template <class Returned, class Owner, class... Arguments>
  ClassDeclaration& operation(SEL selector, Returned (Owner::*function)(Arguments...) noexcept) {
    return add<Returned, Arguments...>(selector, function);
  }
  template <class Returned, class Owner, class... Arguments>
  ClassDeclaration& operation(SEL selector,
                              Returned (Owner::*function)(Arguments...) const noexcept) {
    return add<Returned, Arguments...>(selector, function);
  }
  /// An operation that is a free function or a lambda without captures; its first parameter is the
  /// receiver (`T&`, `const T&` or, for classes stored inline, `const Value&`).
  template <class Function>
  requires(!std::is_member_function_pointer_v<Function>)
      ClassDeclaration& operation(SEL selector, Function function) {
    return addFree(selector, +function);
  }

  /// An operation of the class itself.
  template <class Returned, class... Arguments>
  ClassDeclaration& classOperation(SEL selector, Returned (*function)(Arguments...)) {
    _classMethods.push_back(impl::makeMethod<T, Returned, Arguments...>(
        selector, [function](const Value&, auto&&... arguments) -> Returned {
          return function(std::forward<decltype(arguments)>(arguments)...);
        }));
    return *this;
  }
  /// The same with a lambda without captures.
  template <class Function>
  requires(std::is_class_v<Function>) ClassDeclaration& classOperation(SEL selector,
                                                                       Function function) {
    return classOperation(selector, +function);
  }

 private:
  ClassDeclaration(const ClassDeclaration& from, const ClassDeclaration&) {
    impl::addMembers(T::classObject, from._instanceMethods, from._classMethods, from._factory);
  }

  static SEL setterFor(std::string_view name) {
    std::string setter = "set";
    setter += name;
    if (setter[3] >= 'a' && setter[3] <= 'z') setter[3] = static_cast<char>(setter[3] - 'a' + 'A');
    return SEL(setter + ":");
  }

  template <class Returned, class... Arguments, class Function>
  ClassDeclaration& add(SEL selector, Function function) {
    _instanceMethods.push_back(impl::makeMethod<T, Returned, Arguments...>(
        selector, [function, selector](const Value& receiver, auto&&... arguments) -> Returned {
          return (impl::receiverAs<T>(receiver, selector).*
                  function)(std::forward<decltype(arguments)>(arguments)...);
        }));
    return *this;
  }

  template <class Returned, class Receiver, class... Arguments>
  ClassDeclaration& addFree(SEL selector, Returned (*function)(Receiver, Arguments...)) {
    using Type = std::remove_cvref_t<Receiver>;
    _instanceMethods.push_back(impl::makeMethod<T, Returned, Arguments...>(
        selector, [function, selector](const Value& receiver, auto&&... arguments) -> Returned {
          return function(impl::receiverAs<Type>(receiver, selector),
                          std::forward<decltype(arguments)>(arguments)...);
        }));
    return *this;
  }

  std::vector<Method> _instanceMethods;
  std::vector<Method> _classMethods;
  Block<Ref<NSObject>()> _factory;
};

}  // namespace JNFoundation
