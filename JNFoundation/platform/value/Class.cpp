#include "JNFoundation/platform/value/Class.h"

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Method.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

/// What was declared for a class. Never changes once published: a later declaration publishes a new
/// one that holds the old members too.
struct ClassMembers {
  std::unordered_map<SEL, std::shared_ptr<const Method>> instanceMethods;
  std::unordered_map<SEL, std::shared_ptr<const Method>> classMethods;
  Block<Ref<NSObject>()> factory;
};

}  // namespace impl

class ClassMembersAccess {
 public:
  static std::atomic<const impl::ClassMembers*>& of(const Class& cls) { return cls._members; }
};

namespace {

struct ClassNames {
  std::shared_mutex mutex;
  std::unordered_map<std::string_view, const Class*> byName;
};

ClassNames& classNames() {
  static ClassNames* names = new ClassNames;  // outlives every static object
  return *names;
}

std::mutex& declarationMutex() {
  static std::mutex* mutex = new std::mutex;
  return *mutex;
}

const Method* findMethod(
    const std::unordered_map<SEL, std::shared_ptr<const Method>> impl::ClassMembers::*methods,
    const Class* cls, SEL selector) noexcept {
  for (; cls; cls = cls->superclass()) {
    const auto* members = ClassMembersAccess::of(*cls).load(std::memory_order_acquire);
    if (!members) continue;
    const auto found = (members->*methods).find(selector);
    if (found != (members->*methods).end()) return found->second.get();
  }
  return nullptr;
}

/// The parts around a key that make the name of an accessor.
struct AccessorForm {
  std::string_view before;
  std::string_view after;
  bool capitalized;
};
constexpr AccessorForm getterForms[] = {
    {"get", "", true}, {"", "", false}, {"is", "", true}, {"_", "", false}};
constexpr AccessorForm setterForms[] = {{"set", ":", true}, {"_set", ":", true}};

/// Keys may come from data, so that none of the names becomes a selector here.
SEL accessorNamed(std::string& name, const AccessorForm& form, std::string_view key) {
  name.assign(form.before).append(key).append(form.after);
  char& first = name[form.before.size()];
  if (form.capitalized && first >= 'a' && first <= 'z')
    first = static_cast<char>(first - 'a' + 'A');
  return SEL::ifKnown(name);
}

}  // namespace

void impl::addMembers(const Class& cls, std::vector<Method> instanceMethods,
                      std::vector<Method> classMethods, Block<Ref<NSObject>()> factory) {
  std::lock_guard guard(declarationMutex());
  auto& slot = ClassMembersAccess::of(cls);
  const ClassMembers* known = slot.load(std::memory_order_acquire);
  auto members = known ? std::make_unique<ClassMembers>(*known) : std::make_unique<ClassMembers>();
  for (Method& method : instanceMethods) {
    const SEL selector = method.selector();
    members->instanceMethods[selector] = std::make_shared<const Method>(std::move(method));
  }
  for (Method& method : classMethods) {
    const SEL selector = method.selector();
    members->classMethods[selector] = std::make_shared<const Method>(std::move(method));
  }
  if (factory) members->factory = std::move(factory);
  // The members published before stay alive: a look-up on another thread may be reading them, and
  // their methods may have been kept.
  static auto* replaced = new std::vector<std::unique_ptr<const ClassMembers>>;
  if (known) replaced->emplace_back(known);
  slot.store(members.release(), std::memory_order_release);
}

bool Class::canMakeInstances() const noexcept {
  const auto* members = _members.load(std::memory_order_acquire);
  return members && members->factory;
}

Ref<NSObject> Class::newInstance() const {
  const auto* members = _members.load(std::memory_order_acquire);
  return members && members->factory ? members->factory() : nullptr;
}

const Method* Class::instanceMethodForSelector(SEL selector) const noexcept {
  return findMethod(&impl::ClassMembers::instanceMethods, this, selector);
}

const Method* Class::classMethodForSelector(SEL selector) const noexcept {
  const Method* method = findMethod(&impl::ClassMembers::classMethods, this, selector);
  if (method) return method;
  // A class is an object too: it answers what every object answers.
  return NSObject::classObject.instanceMethodForSelector(selector);
}

const Method* Class::getterForKey(std::string_view key) const noexcept {
  std::string name;
  for (const AccessorForm& form : getterForms) {
    const SEL selector = accessorNamed(name, form, key);
    const Method* method = selector ? instanceMethodForSelector(selector) : nullptr;
    if (method && method->numberOfArguments() == 2 && method->returnType() != 'v') return method;
  }
  return nullptr;
}

const Method* Class::setterForKey(std::string_view key) const noexcept {
  std::string name;
  for (const AccessorForm& form : setterForms) {
    const SEL selector = accessorNamed(name, form, key);
    const Method* method = selector ? instanceMethodForSelector(selector) : nullptr;
    if (method && method->numberOfArguments() == 3) return method;
  }
  return nullptr;
}

void Class::registerName() const {
  ClassNames& names = classNames();
  std::unique_lock lock(names.mutex);
  names.byName.emplace(_name, this);
}

const Class* NSClassFromString(std::string_view name) noexcept {
  ClassNames& names = classNames();
  std::shared_lock lock(names.mutex);
  const auto found = names.byName.find(name);
  return found == names.byName.end() ? nullptr : found->second;
}

std::string_view NSStringFromClass(const Class& cls) noexcept { return cls.name(); }

}  // namespace JNFoundation
