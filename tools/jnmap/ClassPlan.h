#pragma once

#include <memory>
#include <string>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace jnmap {

using namespace JNFoundation;

/// A class to be written for an entity: what it derives from and what it has beyond that, with
/// names that C++ allows.
struct ClassPlan {
  struct Accessor {
    Ref<NSPropertyDescription> property;
    /// What is found under the property's name, and the word in names like "setName".
    std::string getter, setter;
    // Of relationships to many.
    std::string mutableGetter, adder, remover;
    /// The class at the other end of a relationship; empty for one that the model has no class for.
    std::string destinationClass;
  };
  struct Message {
    /// "applyTags:", and its name in C++.
    std::string selector, function;
    /// The input keys whose values it takes.
    std::vector<std::string> inputKeys;
  };

  Ref<NSEntityDescription> entity;
  std::string className;
  /// That of the nearest ancestor with a class of its own; null for none.
  const ClassPlan* above = nullptr;
  std::vector<Accessor> accessors;
  std::vector<Message> messages;

  std::string generatedName() const { return "Generated" + className; }
};

/// The plans of all entities with a class of their own, ancestors before descendants.
/// Fails: throws Failure for a class name that two entities have, that is the library's, or that
/// C++ does not allow, and for a model in which no entity has a class.
std::vector<std::unique_ptr<ClassPlan>> classPlansOf(const NSManagedObjectModel& model);

/// Whether C++ takes it for a name: no keyword, and made of letters, digits and underscores.
bool isIdentifier(const std::string& name);

}  // namespace jnmap
