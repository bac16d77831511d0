#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {

/// Finds for each entity and each property of a model where its records and values come from in an
/// earlier model, and what stands against that. See NSMappingModel for the rules.
///
/// Two names belong together where the later one's renaming identifier says so: it is the earlier
/// name, or the renaming identifier that the earlier one has itself, so that one identifier holds
/// over several renamings. Without one, equal names belong together.
class MappingInference {
 public:
  struct Match {
    const NSEntityDescription* destination = nullptr;
    /// Null for an entity that is new.
    const NSEntityDescription* source = nullptr;
    /// By the number of the destination's property: the source's number, or EntityLayout::none. A
    /// property that is not stored on both sides has none.
    std::vector<std::size_t> sourceOf;
  };
  /// Names of destination entities whose records an application makes itself: any attribute and
  /// any count may change there.
  using Custom = std::unordered_set<std::string>;

  /// Requires: immutable models, which outlive this.
  MappingInference(const NSManagedObjectModel& source, const NSManagedObjectModel& destination,
                   Custom custom = {})
      : _source(source), _destination(destination), _custom(std::move(custom)) {}

  /// Fails: returns false and sets the error.
  bool infer(Ref<NSError>* error);

  const Match& of(const NSEntityDescription& destination) const {
    return _matches.at(&destination);
  }
  /// What became of an entity. Returns: null for one that is gone.
  const NSEntityDescription* destinationOf(const NSEntityDescription& source) const {
    const auto found = _destinationOf.find(&source);
    return found == _destinationOf.end() ? nullptr : found->second;
  }
  /// The source's property, or null.
  const EntityLayout::Slot* sourceSlot(const Match& match, std::size_t slot) const {
    const std::size_t number = match.sourceOf[slot];
    return number == EntityLayout::none ? nullptr : &match.source->layout()[number];
  }
  bool isCustom(const NSEntityDescription& destination) const {
    return _custom.count(destination.name()->toStdString()) > 0;
  }
  /// Whether the values of a matched property go over as they are.
  static bool isAlike(const EntityLayout::Slot& source, const EntityLayout::Slot& destination);

 private:
  void matchEntities();
  void matchProperties(Match& match);
  void checkHierarchy(const NSEntityDescription& root);
  void checkProperty(const Match& match, std::size_t number);
  void checkRelationship(const Match& match, std::size_t number, const EntityLayout::Slot& source);
  void refuse(const NSEntityDescription& entity, const NSString* property,
              const std::string& reason);

  const NSManagedObjectModel& _source;
  const NSManagedObjectModel& _destination;
  Custom _custom;
  std::unordered_map<const NSEntityDescription*, Match> _matches;
  std::unordered_map<const NSEntityDescription*, const NSEntityDescription*> _destinationOf;
  std::vector<Ref<NSError>> _problems;
  /// What was said already: an inherited property is looked at once for each descendant.
  std::unordered_set<std::string> _said;
};

}  // namespace JNFoundation::impl
