#include "JNFoundation/platform/store/impl/MappingInference.h"

#include <JNFoundation/platform/store/impl/ModelText.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

constexpr std::size_t none = EntityLayout::none;

struct Named {
  std::string name;
  /// Empty unless it was given.
  std::string identifier;
};

template <class Description>
Named named(const Description& description) {
  Named result{description.name()->toStdString(), {}};
  if (!description.renamingIdentifier()->hasContentOf(*description.name())) {
    result.identifier = description.renamingIdentifier()->toStdString();
  }
  return result;
}

/// Finds the partner of each new name among the old ones, each of which has one at most.
class NameMatcher {
 public:
  NameMatcher(std::vector<Named> from, std::vector<Named> to)
      : _from(std::move(from)), _to(std::move(to)), _isTaken(_from.size()) {
    for (std::size_t i = 0; i < _from.size(); ++i) {
      _byName.emplace(_from[i].name, i);
      if (!_from[i].identifier.empty()) _byIdentifier.emplace(_from[i].identifier, i);
    }
    partners.assign(_to.size(), none);
  }

  /// Takes: what is told about a new name that could be either of two old ones.
  template <class Problem>
  void match(Problem&& problem) {
    // What has not changed at all comes before every renaming.
    for (std::size_t i = 0; i < _to.size(); ++i) {
      const std::size_t same = find(_byName, _to[i].name);
      if (same != none && !_to[i].identifier.empty() &&
          _from[same].identifier == _to[i].identifier) {
        take(i, same);
      }
    }
    for (std::size_t i = 0; i < _to.size(); ++i) {
      if (partners[i] != none || _to[i].identifier.empty()) continue;
      const std::size_t renamed = find(_byName, _to[i].identifier);
      const std::size_t renamedBefore = find(_byIdentifier, _to[i].identifier);
      if (renamed != none && renamedBefore != none) {
        problem(i, "both '" + _from[renamed].name + "' and '" + _from[renamedBefore].name +
                       "' could be what it was");
      }
      take(i, renamed != none ? renamed : renamedBefore);
    }
    for (std::size_t i = 0; i < _to.size(); ++i) {
      if (partners[i] == none) take(i, find(_byName, _to[i].name));
    }
    for (std::size_t i = 0; i < _to.size(); ++i) {
      if (partners[i] == none && _to[i].identifier.empty()) {
        take(i, find(_byIdentifier, _to[i].name));
      }
    }
  }

  std::vector<std::size_t> partners;

 private:
  using Names = std::unordered_map<std::string, std::size_t>;

  /// Returns: `none` for what there is none of, and for what has its partner already.
  std::size_t find(const Names& names, const std::string& name) const {
    const auto found = names.find(name);
    return found == names.end() || _isTaken[found->second] ? none : found->second;
  }
  void take(std::size_t to, std::size_t from) {
    if (from == none) return;
    _isTaken[from] = true;
    partners[to] = from;
  }

  std::vector<Named> _from;
  std::vector<Named> _to;
  std::vector<bool> _isTaken;
  Names _byName;
  Names _byIdentifier;
};

const NSPropertyDescription& propertyOf(const EntityLayout::Slot& slot) {
  if (slot.attribute) return *slot.attribute;
  return *slot.relationship;
}

/// Whether a file has anything of it: a column, or the other end's, or a table of pairs.
bool isKept(const EntityLayout::Slot& slot) { return slot.stored || slot.isToMany(); }
bool isKeptBySource(const EntityLayout::Slot& slot) {
  return isKept(slot) && !propertyOf(slot).isTransient();
}

std::string nameOf(NSAttributeType type) {
  const std::string_view name = writtenNameOfType(type);
  return std::string(name.empty() ? "undefined" : name);
}

}  // namespace

bool MappingInference::isAlike(const EntityLayout::Slot& source,
                               const EntityLayout::Slot& destination) {
  if (source.attribute && destination.attribute) return source.type == destination.type;
  return source.relationship && destination.relationship &&
         (!source.isToMany() || destination.isToMany());
}

void MappingInference::refuse(const NSEntityDescription& entity, const NSString* property,
                              const std::string& reason) {
  const std::string place =
      property ? "'" + entity.name()->toStdString() + "." + property->toStdString() + "'"
               : "The entity '" + entity.name()->toStdString() + "'";
  if (!_said.insert(place + reason).second) return;
  std::vector<NSDictionary::Pair> details{{"entity", entity.name()}, {"reason", Value(reason)}};
  if (property) details.push_back({"property", Value(property->utf8())});
  _problems.push_back(
      cocoaError(NSInferredMappingModelError,
                 NSString::stringWithFormat("No mapping can be inferred. %s: %s.", place, reason),
                 std::move(details)));
}

bool MappingInference::infer(Ref<NSError>* error) {
  matchEntities();
  for (const Ref<NSEntityDescription>& entity : _destination.entityList()) {
    matchProperties(_matches.at(entity.get()));
  }
  for (const Ref<NSEntityDescription>& entity : _destination.entityList()) {
    if (&entity->layout().root() == entity.get()) checkHierarchy(*entity);
    const Match& match = _matches.at(entity.get());
    if (!match.source) continue;
    if (entity->isAbstract() && !match.source->isAbstract()) {
      refuse(*entity, nullptr, "it became abstract, and its records would have nowhere to go");
    }
    for (std::size_t i = 0; i < match.sourceOf.size(); ++i) checkProperty(match, i);
  }
  if (_problems.empty()) return true;
  if (_problems.size() == 1) return fail(error, _problems.front());
  std::string sentences;
  for (const Ref<NSError>& problem : _problems) {
    sentences += (sentences.empty() ? "" : " ") + problem->localizedDescription()->toStdString();
  }
  const Ref<NSDictionary> first = _problems.front()->userInfo();
  return fail(error,
              cocoaError(NSInferredMappingModelError, NSString::fromText(sentences),
                         {{"entity", first->objectForKey("entity")},
                          {"property", first->objectForKey("property")},
                          {"reason", first->objectForKey("reason")},
                          {NSDetailedErrorsKey,
                           NSArray::arrayWithValues({_problems.begin(), _problems.end()})}}));
}

void MappingInference::matchEntities() {
  std::vector<Named> from, to;
  for (const Ref<NSEntityDescription>& entity : _source.entityList())
    from.push_back(named(*entity));
  for (const Ref<NSEntityDescription>& entity : _destination.entityList()) {
    to.push_back(named(*entity));
  }
  NameMatcher matcher(std::move(from), std::move(to));
  matcher.match([&](std::size_t number, const std::string& problem) {
    refuse(*_destination.entityList()[number], nullptr, problem);
  });
  for (std::size_t i = 0; i < matcher.partners.size(); ++i) {
    const NSEntityDescription* entity = _destination.entityList()[i].get();
    Match& match = _matches[entity];
    match.destination = entity;
    if (matcher.partners[i] == none) continue;
    match.source = _source.entityList()[matcher.partners[i]].get();
    _destinationOf[match.source] = entity;
  }
}

void MappingInference::matchProperties(Match& match) {
  const EntityLayout& layout = match.destination->layout();
  match.sourceOf.assign(layout.count(), none);
  if (!match.source) return;
  const EntityLayout& former = match.source->layout();
  std::vector<Named> from, to;
  for (const EntityLayout::Slot& slot : former.slots()) from.push_back(named(propertyOf(slot)));
  for (const EntityLayout::Slot& slot : layout.slots()) to.push_back(named(propertyOf(slot)));
  NameMatcher matcher(std::move(from), std::move(to));
  matcher.match([&](std::size_t number, const std::string& problem) {
    refuse(*match.destination, layout[number].name.get(), problem);
  });
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const std::size_t partner = matcher.partners[i];
    if (partner != none && isKeptBySource(former[partner]) && isKeptBySource(layout[i])) {
      match.sourceOf[i] = partner;
    }
  }
}

/// Records of two hierarchies may have one number.
void MappingInference::checkHierarchy(const NSEntityDescription& root) {
  const NSEntityDescription* known = nullptr;
  std::vector<const NSEntityDescription*> members{&root};
  for (std::size_t i = 0; i < members.size(); ++i) {
    for (const Ref<NSEntityDescription>& below : members[i]->directSubentities()) {
      members.push_back(below.get());
    }
    const NSEntityDescription* source = _matches.at(members[i]).source;
    if (!source) continue;
    const NSEntityDescription* former = &source->layout().root();
    if (known && former != known) {
      refuse(*members[i], nullptr,
             "it came into one hierarchy with '" + known->name()->toStdString() +
                 "', with which it had no ancestor in common");
    }
    if (!known) known = former;
  }
}

void MappingInference::checkProperty(const Match& match, std::size_t number) {
  const NSEntityDescription& entity = *match.destination;
  const EntityLayout::Slot& slot = entity.layout()[number];
  if (!isKeptBySource(slot) || entity.isAbstract() || isCustom(entity)) return;
  const EntityLayout::Slot* source = sourceSlot(match, number);
  const bool isMissing = slot.attribute && !slot.optional && slot.defaultValue.isNull();
  if (!source) {
    if (isMissing) {
      refuse(entity, slot.name.get(),
             "it is new and required, and has no default for the records that there are");
    }
    return;
  }
  if (!slot.attribute != !source->attribute) {
    return refuse(entity, slot.name.get(),
                  slot.attribute ? "it was a relationship and became an attribute"
                                 : "it was an attribute and became a relationship");
  }
  if (slot.relationship) return checkRelationship(match, number, *source);
  if (source->type != slot.type) {
    refuse(entity, slot.name.get(),
           "its type changed from " + nameOf(source->type) + " to " + nameOf(slot.type));
  } else if (isMissing && source->optional) {
    refuse(entity, slot.name.get(),
           "it became required, and has no default for the records without a value");
  }
}

void MappingInference::checkRelationship(const Match& match, std::size_t number,
                                         const EntityLayout::Slot& source) {
  const NSEntityDescription& entity = *match.destination;
  const EntityLayout::Slot& slot = entity.layout()[number];
  const auto refuseIt = [&](const std::string& reason) { refuse(entity, slot.name.get(), reason); };
  if (source.isToMany() && !slot.isToMany()) {
    refuseIt("it led to many objects, and now leads to one");
  }
  const Ref<NSEntityDescription> led = source.relationship->destinationEntity();
  const Ref<NSEntityDescription> leads = slot.relationship->destinationEntity();
  const NSEntityDescription* became = destinationOf(*led);
  const Ref<NSEntityDescription> known(const_cast<NSEntityDescription*>(became));
  if (!known || !known->isKindOfEntity(leads)) {
    refuseIt("it led to '" + led->name()->toStdString() + "', and now leads to '" +
             leads->name()->toStdString() + "'");
  }
  const Ref<NSRelationshipDescription> back = slot.relationship->inverseRelationship();
  if (!back || back->isTransient()) return;
  const Ref<NSRelationshipDescription> formerBack = source.relationship->inverseRelationship();
  // Where the way back is declared, or in any descendant that has records.
  const NSEntityDescription& other = *back->entity();
  std::vector<const NSEntityDescription*> members{&other};
  const auto family = other.layout().family();
  members.insert(members.end(), family.begin(), family.end());
  for (const NSEntityDescription* member : members) {
    const Match& otherMatch = _matches.at(member);
    if (!otherMatch.source || (member == &other && other.isAbstract() && !family.empty())) continue;
    const EntityLayout::Slot* formerWay =
        sourceSlot(otherMatch, member->layout().indexOf(*back->name()));
    if (formerWay && formerWay->relationship && formerWay->relationship != formerBack) {
      refuseIt("its way back, '" + back->name()->toStdString() + "', was that of another one");
    } else if (!formerWay && !back->isToMany()) {
      refuseIt("its new way back, '" + back->name()->toStdString() +
               "', leads to one object, where several may lead from");
    }
  }
}

}  // namespace JNFoundation::impl
