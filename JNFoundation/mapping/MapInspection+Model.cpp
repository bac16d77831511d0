#include <string>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1 {
namespace {

using Problem = MapInspection::Problem;
using Origin = MapInspection::Origin;
using ProblemKind = Problem::Kind;

/// Whose rule it is, in the model.
const NSEntityDescription* giverOf(const Problem& problem) {
  const Origin& origin =
      problem.kind == ProblemKind::Shadowed ? problem.shadowedBy : problem.origin;
  return origin.entity.get();
}

/// Equal for the problem that one rule has with several entities.
std::string identityOf(const Problem& problem) {
  return std::to_string(static_cast<int>(problem.kind)) + ' ' +
         std::to_string(static_cast<int>(problem.origin.kind)) + ' ' +
         (problem.origin.entity ? problem.origin.entity->name()->toStdString() : "") + '\n' +
         problem.key->toStdString();
}

/// The problems of every entity of a model, to be told once each.
class ModelProblems {
 public:
  ModelProblems(const Ref<NSManagedObjectModel>& model, const MapInspection::Options& options)
      : _model(model) {
    for (const auto& entity : model->entityList()) {
      OfEntity& found = _byEntity[entity.get()];
      found.problems = MapInspection::ofEntity(entity, options).problems;
      for (const Problem& problem : found.problems) found.identities.insert(identityOf(problem));
    }
  }

  std::vector<Problem> toBeTold() const {
    std::vector<Problem> told;
    for (const auto& entity : _model->entityList()) {
      for (const Problem& problem : _byEntity.at(entity.get()).problems) {
        if (isToldOf(*entity, problem)) told.push_back(problem);
      }
    }
    return told;
  }

 private:
  struct OfEntity {
    std::vector<Problem> problems;
    std::unordered_set<std::string> identities;
  };

  bool isToldOf(const NSEntityDescription& entity, const Problem& problem) const {
    const NSEntityDescription& giver = *giverOf(problem);
    const std::string identity = identityOf(problem);
    // Nobody builds the map of an abstract entity; what counts are those that can have objects.
    if (giver.isAbstract() && problem.kind != ProblemKind::Shadowed &&
        isAbsentBelow(giver, identity)) {
      return !entity.isAbstract();
    }
    return &giver == &entity || !has(giver, identity);
  }

  bool has(const NSEntityDescription& entity, const std::string& identity) const {
    // An ancestor may stand outside of a model that is not whole.
    const auto found = _byEntity.find(&entity);
    return found != _byEntity.end() && found->second.identities.count(identity) > 0;
  }

  /// Whether a descendant that can have objects is without the problem.
  bool isAbsentBelow(const NSEntityDescription& top, const std::string& identity) const {
    std::vector<const NSEntityDescription*> open{&top};
    while (!open.empty()) {
      const NSEntityDescription& entity = *open.back();
      open.pop_back();
      if (!entity.isAbstract() && !has(entity, identity)) return true;
      for (const auto& descendant : entity.directSubentities()) open.push_back(descendant.get());
    }
    return false;
  }

  const Ref<NSManagedObjectModel>& _model;
  std::unordered_map<const NSEntityDescription*, OfEntity> _byEntity;
};

}  // namespace

std::vector<Problem> MapInspection::problemsOfModel(const Ref<NSManagedObjectModel>& model,
                                                    const Options& options) {
  if (!model) return {};
  return ModelProblems(model, options).toBeTold();
}

}  // namespace JNFoundation
