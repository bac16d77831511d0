#pragma once

#include <string>
#include <vector>

#include "Command.h"

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace jnmap {

using namespace JNFoundation;

/// Reads a data model. Fails: throws Failure, which names the file and what is wrong with it.
Ref<NSManagedObjectModel> readModel(const std::string& path);

/// Fails: throws Failure, which lists what there is.
Ref<NSEntityDescription> entityNamed(const Ref<NSManagedObjectModel>& model,
                                     const std::string& name);

/// Whether the program has the class of the entity's objects. This one has none of an application.
bool hasClassOf(const NSEntityDescription& entity);

/// A set of names as the inspection takes it.
Ref<NSSet> setOf(const std::vector<std::string>& names);

/// What a command is told of the application that the model is for.
struct KnownNames {
  /// The options --filters and --messages, which fill this in.
  std::vector<Option> options();

  /// Null until they are given.
  Ref<NSSet> filters;
  Ref<NSSet> messages;

  /// For an inspection without the application's classes.
  MapInspection::Options inspectionOptions() const;
};

}  // namespace jnmap
