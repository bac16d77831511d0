#include "JNFoundation/mapping/MapInspection.h"

#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <JNFoundation/mapping/impl/MapDescriptor.h>
#include <JNFoundation/mapping/impl/MapDestination.h>
#include <JNFoundation/mapping/impl/NearestName.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/text/ASCII.h>

namespace JNFoundation::inline v0_1 {
namespace {

using Problem = MapInspection::Problem;
using Rule = MapInspection::Rule;
using Origin = MapInspection::Origin;
using ProblemKind = Problem::Kind;
using Severity = Problem::Severity;
using impl::MapDestination;
using impl::RuleStep;

bool hasSpaceAround(std::string_view text) {
  return !text.empty() && (impl::isSpace(text.front()) || impl::isSpace(text.back()));
}

/// Whether an entry that is no rule was meant as one; most of a user info are an application's own.
const char* objectionToForm(std::string_view key) {
  if (key == "$" || key == "%") return "the key names no input key";
  const std::size_t start = key.find_first_not_of(" \t\r\n");
  if (start != 0 && start != std::string_view::npos && RuleStep::firstOf(key.substr(start))) {
    return "the key begins with white space, so that it is no rule";
  }
  return nullptr;
}

/// The same where it is a guess only.
const char* doubtAboutForm(std::string_view key, const Value& value) {
  const NSString* text = as<NSString>(value);
  const std::string_view destination = text ? text->utf8() : std::string_view();
  if (!key.empty() && destination.size() > 2 && destination.find(' ') == std::string_view::npos &&
      (destination.find('|') != std::string_view::npos || destination.back() == ':')) {
    return "the value looks like that of a rule, but the key begins with neither $ nor %";
  }
  return nullptr;
}

/// What becomes of a scalar rule's input key that holds more rules, or something like it.
const char* objectionToInputKey(std::string_view inputKey) {
  for (std::size_t dot = inputKey.find('.'); dot != std::string_view::npos;
       dot = inputKey.find('.', dot + 1)) {
    const char next = dot + 1 < inputKey.size() ? inputKey[dot + 1] : ' ';
    if (next == '$' || next == '%') {
      return "what follows the $ is one input key, dots and all; only % leads into a dictionary";
    }
  }
  return nullptr;
}

/// One entry of a descriptor that is a rule by its form, and where its path ends.
struct RuleEntry {
  Ref<NSString> key;
  Value value;
  Origin origin;
  std::vector<Ref<NSString>> path;
  /// The dictionary of the rule, or the one that holds its value.
  std::size_t node = 0;
  bool isScalar = false;
  /// Whether the rule ends before the key does, and how long the rest is.
  bool hasDroppedSubkey = false;
  std::size_t droppedLength = 0;
};

class Inspector {
 public:
  Inspector(const Ref<NSEntityDescription>& entity, const MapInspection::Options& options)
      : _entity(entity), _options(options), _nodes(1) {}

  /// Takes: the entries in the order in which one replaces those of its key before it.
  MapInspection inspect(const std::vector<impl::DescriptorEntry>& entries, bool isDescriptor) {
    // Of each key the entry that stays, at the place of the first, as in a dictionary.
    std::vector<RuleEntry> effective;
    std::unordered_map<std::string_view, std::size_t> places;
    for (const impl::DescriptorEntry& given : entries) {
      const NSString* text = as<NSString>(given.key);
      if (!text) continue;
      RuleEntry entry;
      entry.key = Ref<NSString>(const_cast<NSString*>(text));
      entry.value = given.value;
      entry.origin.kind = isDescriptor        ? Origin::Kind::Descriptor
                          : given.isAutomatic ? Origin::Kind::Automatic
                                              : Origin::Kind::UserInfo;
      if (!isDescriptor) entry.origin.entity = given.entity;
      const auto [place, isNew] = places.try_emplace(text->utf8(), effective.size());
      if (isNew) {
        effective.push_back(std::move(entry));
      } else {
        shadow(effective[place->second], entry);
        // The place's key is the text that the table of places borrows.
        entry.key = effective[place->second].key;
        effective[place->second] = std::move(entry);
      }
    }
    for (const RuleEntry& entry : effective) {
      if (entry.origin.kind == Origin::Kind::Automatic) continue;
      if (const auto step = RuleStep::firstOf(entry.key->utf8()))
        _writtenKeys.insert(step->inputKey);
    }
    std::vector<RuleEntry*> rules;
    for (RuleEntry& entry : effective) {
      if (takeApart(entry)) rules.push_back(&entry);
    }
    for (const RuleEntry* entry : rules) judge(*entry);
    return std::move(_result);
  }

 private:
  struct Node {
    bool hasScalarRules = false;
    bool hasNested = false;
  };

  Problem& add(ProblemKind kind, const RuleEntry& entry, const Ref<NSString>& reason) {
    Problem& problem = _result.problems.emplace_back();
    problem.kind = kind;
    problem.entity = _entity;
    problem.key = entry.key;
    problem.path = entry.path;
    problem.value = entry.value;
    problem.origin = entry.origin;
    problem.reason = reason;
    return problem;
  }

  /// Of two entries that are equal rules by their key.
  void shadow(const RuleEntry& before, const RuleEntry& after) {
    std::string_view key = before.key->utf8();
    auto step = RuleStep::firstOf(key);
    while (step && step->isNested && step->rest) step = RuleStep::firstOf(*step->rest);
    if (!step || step->isNested) return;
    const bool wasWritten = before.origin.kind != Origin::Kind::Automatic;
    const bool isWritten = after.origin.kind != Origin::Kind::Automatic;
    const bool isSame = before.value == after.value;
    const Ref<NSString> giver = after.origin.text();
    Problem& problem =
        add(ProblemKind::Shadowed, before,
            isSame ? NSString::stringWithFormat("the %@ says the same", giver)
            : isWritten
                ? NSString::stringWithFormat("the %@ says \"%@\" in its place", giver, after.value)
                : NSString::stringWithFormat("the %@ of that name takes its place", giver));
    problem.shadowedBy = after.origin;
    if (wasWritten && !isWritten && !isSame) {
      problem.advice = NSString::stringWithFormat("write the rule into the user info of %@ as well",
                                                  after.origin.entity->name());
    } else {
      problem.severity = Severity::Note;
    }
  }

  /// Whether an entry that is no rule names an attribute, as if it were one. Names that are input
  /// keys of written rules as well may be meant as these.
  bool namesAttribute(const RuleEntry& entry) const {
    const NSString* text = as<NSString>(entry.value);
    return _entity && text && entry.key->length() > 0 && !entry.key->isEqual(entry.value) &&
           _entity->attributesByName()->objectForKey(entry.value) &&
           _writtenKeys.count(text->utf8()) == 0;
  }

  /// Follows the key's steps. Returns: whether it is a rule.
  bool takeApart(RuleEntry& entry) {
    std::string_view key = entry.key->utf8();
    auto step = RuleStep::firstOf(key);
    if (!step) {
      if (const char* objection = objectionToForm(key)) {
        add(ProblemKind::NoForm, entry, objection);
      } else if (const char* doubt = namesAttribute(entry)
                                         ? "the value is the name of an attribute, but the key "
                                           "begins with neither $ nor %"
                                         : doubtAboutForm(key, entry.value)) {
        Problem& problem = add(ProblemKind::NoForm, entry, doubt);
        problem.severity = Severity::Note;
        problem.advice = NSString::stringWithFormat("a rule would be '$%@'", entry.key);
      }
      return false;
    }
    while (true) {
      entry.path.push_back(NSString::fromText(step->inputKey));
      if (!step->isNested) {
        entry.isScalar = true;
        _nodes[entry.node].hasScalarRules = true;
        return true;
      }
      entry.node = nestedNode(entry.node, step->inputKey);
      if (!step->rest) return true;
      const std::string_view rest = *step->rest;
      step = RuleStep::firstOf(rest);
      if (!step) {
        entry.hasDroppedSubkey = true;
        entry.droppedLength = rest.size();
        return true;
      }
    }
  }

  std::size_t nestedNode(std::size_t node, std::string_view inputKey) {
    const auto [place, isNew] = _nested.try_emplace({node, inputKey}, _nodes.size());
    if (isNew) {
      _nodes[node].hasNested = true;
      _nodes.emplace_back();
    }
    return place->second;
  }

  void judge(const RuleEntry& entry) {
    judgePath(entry);
    if (entry.isScalar) {
      judgeDestination(entry);
      return;
    }
    if (entry.hasDroppedSubkey) {
      add(ProblemKind::DroppedSubkey, entry,
          NSString::stringWithFormat("what follows \"%@.\" begins with neither $ nor %% and an "
                                     "input key",
                                     entry.path.back()))
          .advice = adviceOnSubkey(entry);
    }
    const Node& node = _nodes[entry.node];
    if (!node.hasScalarRules && !node.hasNested && !entry.hasDroppedSubkey) {
      add(ProblemKind::EmptyNested, entry,
          "no rule is below it; a dictionary there is read, and nothing of it is kept")
          .severity = Severity::Note;
    }
    Rule& rule = _result.rules.emplace_back();
    rule.kind = Rule::Kind::NestedDictionary;
    rule.key = entry.key;
    rule.path = entry.path;
    rule.origin = entry.origin;
  }

  void judgePath(const RuleEntry& entry) {
    for (const Ref<NSString>& inputKey : entry.path) {
      if (!hasSpaceAround(inputKey->utf8()) && !inputKey->utf8().empty()) continue;
      add(ProblemKind::UnlikelyKey, entry,
          inputKey->utf8().empty() ? Ref<NSString>("an input key is empty")
                                   : NSString::stringWithFormat(
                                         "white space belongs to the input key \"%@\"", inputKey));
      break;
    }
    if (entry.isScalar) {
      if (const char* objection = objectionToInputKey(entry.path.back()->utf8())) {
        add(ProblemKind::Unreachable, entry, objection);
      }
    }
    const std::size_t depth = entry.path.size() + (entry.isScalar ? 0 : 1);
    if (depth > NSJSONMaximumDepth) {
      add(ProblemKind::Unreachable, entry,
          NSString::stringWithFormat("JSON text is read %lu levels deep at most",
                                     NSJSONMaximumDepth));
    }
  }

  void judgeDestination(const RuleEntry& entry) {
    const auto text = as<NSString>(Value(entry.value));
    if (!text) {
      add(ProblemKind::NotText, entry,
          NSString::stringWithFormat("the destination is no text, but of the class %s",
                                     entry.value.class_() ? entry.value.class_()->name() : "null"));
      return;
    }
    const MapDestination destination = MapDestination::of(text, _entity);
    if (!destination.makesMap() && !judgeObjection(entry, destination)) return;
    Rule& rule = _result.rules.emplace_back();
    rule.kind = destination.namesMessage() ? Rule::Kind::Message : Rule::Kind::Attribute;
    rule.key = entry.key;
    rule.path = entry.path;
    rule.destination = destination.name;
    if (destination.filter && destination.filter->length() > 0) rule.filter = destination.filter;
    if (destination.attribute) rule.attributeType = destination.attribute->attributeType();
    rule.origin = entry.origin;
    judgeFilter(entry, destination);
    judgeCompany(entry, rule);
  }

  /// Returns: whether the rule works all the same.
  bool judgeObjection(const RuleEntry& entry, const MapDestination& destination) {
    switch (destination.verdict) {
      case MapDestination::Verdict::UnknownAttribute:
        add(ProblemKind::UnknownAttribute, entry, destination.objection).advice =
            adviceOnAttribute(destination);
        return false;
      case MapDestination::Verdict::UnmappableType: {
        Problem& problem = add(ProblemKind::UnmappableType, entry, destination.objection);
        problem.advice = NSString::stringWithFormat(
            "no value of a record can be stored as %s; a message to the object can take it",
            MapInspection::nameOf(destination.attribute->attributeType()));
        // Nobody wrote it, and nobody can take it out of the model.
        if (entry.origin.kind == Origin::Kind::Automatic) problem.severity = Severity::Note;
        return false;
      }
      case MapDestination::Verdict::UnknownClass:
        return judgeMessageElsewhere(entry, destination);
      case MapDestination::Verdict::UnknownMessage:
        add(ProblemKind::UnknownMessage, entry, destination.objection);
        return false;
      default:
        add(ProblemKind::UnsuitableMessage, entry, destination.objection);
        return false;
    }
  }

  /// A message to a class that is not part of this program. Returns: as above.
  bool judgeMessageElsewhere(const RuleEntry& entry, const MapDestination& destination) {
    const Ref<NSString> className = _entity ? _entity->managedObjectClassName() : nullptr;
    const bool isMissing =
        _options.classesElsewhere == MapInspection::Options::ClassesElsewhere::Missing;
    const std::string_view name = destination.name->utf8();
    if ((_options.messages || !isMissing) && name.find(':') != name.size() - 1) {
      // Wherever the class is, its operation of that name takes several.
      add(ProblemKind::UnsuitableMessage, entry,
          NSString::stringWithFormat(
              "Method for entity %@ with selector %@ does not take a single argument",
              _entity ? _entity->name() : nullptr, destination.name));
      return false;
    }
    if (_options.messages) {
      if (_options.messages->containsObject(destination.name)) return true;
      add(ProblemKind::UnknownMessage, entry, destination.objection).advice =
          adviceOn(destination.name, _options.messages->allObjects());
      return false;
    }
    if (isMissing) {
      add(ProblemKind::UnknownClass, entry, destination.objection).advice =
          NSString::stringWithFormat("the class %@ is not part of this program", className);
      return false;
    }
    add(ProblemKind::UnknownClass, entry,
        NSString::stringWithFormat("whether %@ takes %@ is not known here", className,
                                   destination.name))
        .severity = Severity::Note;
    return true;
  }

  void judgeFilter(const RuleEntry& entry, const MapDestination& destination) {
    if (!destination.filter) return;
    if (destination.filter->length() == 0 || hasSpaceAround(destination.filter->utf8())) {
      add(ProblemKind::UnlikelyKey, entry,
          destination.filter->length() == 0
              ? Ref<NSString>("the name of the filter is empty, so there is none")
              : NSString::stringWithFormat("white space belongs to the filter's name \"%@\"",
                                           destination.filter));
      if (destination.filter->length() == 0) return;
    }
    if (_options.filters && !_options.filters->containsObject(destination.filter)) {
      add(ProblemKind::UnknownFilter, entry,
          NSString::stringWithFormat(
              destination.namesMessage()
                  ? "there is no filter '%@', so that the message always gets null"
                  : "there is no filter '%@', so that every value clears the attribute",
              destination.filter))
          .advice = adviceOn(destination.filter, _options.filters->allObjects());
    }
  }

  /// A rule that wants dictionaries, beside rules that get them.
  void judgeCompany(const RuleEntry& entry, const Rule& rule) {
    if (rule.kind != Rule::Kind::Message && !rule.filter) return;
    if (_nested.count({entry.node, entry.path.back()->utf8()}) == 0) return;
    add(ProblemKind::Bypassed, entry,
        NSString::stringWithFormat(
            "dictionaries under \"%@\" go through the rules below %%%@, and never here",
            rule.pathText(), entry.path.back()));
  }

  Ref<NSString> adviceOnAttribute(const MapDestination& destination) const {
    if (!_entity || !destination.name) return nullptr;
    const Value property = _entity->propertiesByName()->objectForKey(destination.name);
    if (isKindOf<NSRelationshipDescription>(property)) {
      return "it is a relationship; a message to the object can take the value";
    }
    return adviceOn(destination.name, _entity->attributesByName()->allKeys());
  }
  /// The key with the sign that is missing.
  static Ref<NSString> adviceOnSubkey(const RuleEntry& entry) {
    const std::string_view key = entry.key->utf8();
    const std::string_view rest = key.substr(key.size() - entry.droppedLength);
    if (rest.empty() || rest.front() == '$' || rest.front() == '%') return nullptr;
    const bool isNested = rest.find('.') != std::string_view::npos;
    return NSString::stringWithFormat("did you mean '%s%s%s'?",
                                      key.substr(0, key.size() - rest.size()), isNested ? "%" : "$",
                                      rest);
  }
  static Ref<NSString> adviceOn(const Ref<NSString>& name, const Ref<NSArray>& names) {
    const Ref<NSString> nearest = impl::nearestName(name, names);
    return nearest ? NSString::stringWithFormat("did you mean '%@'?", nearest) : nullptr;
  }

  using Place = std::pair<std::size_t, std::string_view>;

  const Ref<NSEntityDescription>& _entity;
  const MapInspection::Options& _options;
  MapInspection _result;
  /// The record itself, and each dictionary in it that a rule names.
  std::vector<Node> _nodes;
  /// By the dictionary and the input key in it.
  std::map<Place, std::size_t> _nested;
  /// The input keys with which rules begin that somebody wrote.
  std::unordered_set<std::string_view> _writtenKeys;
};

}  // namespace

MapInspection MapInspection::ofEntity(const Ref<NSEntityDescription>& entity,
                                      const Options& options) {
  return Inspector(entity, options).inspect(impl::automaticDescriptorEntries(entity), false);
}

MapInspection MapInspection::ofEntity(const Ref<NSEntityDescription>& entity) {
  return ofEntity(entity, Options());
}

MapInspection MapInspection::ofDescriptor(const Ref<NSEntityDescription>& entity,
                                          const Ref<NSDictionary>& descriptor,
                                          const Options& options) {
  std::vector<impl::DescriptorEntry> entries;
  if (descriptor) {
    for (const auto& [key, value] : *descriptor) entries.push_back({key, value, nullptr, false});
  }
  return Inspector(entity, options).inspect(entries, true);
}

}  // namespace JNFoundation
