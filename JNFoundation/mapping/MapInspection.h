#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

/// What the mapping rules of an entity come to, read without building a map and without a line in
/// the log: the rules that will work, where each comes from, and what is wrong with the others.
///
///     MapInspection::Options options;
///     options.filters = NSSet::setWithArray(filter->filterActions()->allKeys());
///     for (const auto& problem : MapInspection::ofEntity(entity, options).problems) {
///       NSLog("%@", problem.text());
///     }
///
/// A test of an application that asks `problemsOfModel` for an empty list holds its model against
/// its own classes and filters. Threads: any, as soon as the model no longer changes.
struct MapInspection {
  /// Who gave a rule.
  struct Origin {
    /// Where rules come from.
    enum class Kind : std::uint8_t {
      Automatic,   ///< nobody: it stands for an attribute of the entity
      UserInfo,    ///< the user info of the entity
      Descriptor,  ///< a descriptor that an application made
    };
    /// Where the rule comes from.
    Kind kind = Kind::Descriptor;
    /// The entity, which may be an ancestor. Null for a descriptor.
    Ref<NSEntityDescription> entity;

    /// For people, e.g. "user info of Country".
    Ref<NSString> text() const;
  };

  /// A rule that a map has.
  struct Rule {
    /// What a rule does with a value.
    enum class Kind : std::uint8_t {
      Attribute,         ///< the value goes to an attribute
      Message,           ///< the value is the argument of a message to the object
      NestedDictionary,  ///< the dictionary goes through the rules below it
    };
    /// What the rule does with the value.
    Kind kind;
    /// As it stands in the descriptor, e.g. "%meta.$born".
    Ref<NSString> key;
    /// The input keys from the record to the value, e.g. "meta", "born".
    std::vector<Ref<NSString>> path;
    /// The attribute's name or the message. Null for nested dictionaries.
    Ref<NSString> destination;
    /// The filter action that the value passes first. Null for none.
    Ref<NSString> filter;
    /// NSUndefinedAttributeType for all but attributes.
    NSAttributeType attributeType = NSUndefinedAttributeType;
    /// Who gave the rule.
    Origin origin;

    /// The path as text, e.g. "meta.born".
    Ref<NSString> pathText() const;
    /// What becomes of values on their way, e.g. "text as it is, numbers as decimal text". Empty
    /// for a nested dictionary.
    Ref<NSString> conversionText() const;
  };

  /// A rule, or a part of one, that does not do what it says, and why.
  struct Problem {
    /// What may be wrong with a rule.
    enum class Kind : std::uint8_t {
      // The rule is left out of the map, and the log says so in the words of `reason`.
      UnknownAttribute,   ///< the entity has no attribute of that name
      UnmappableType,     ///< no value of a record can be stored in an attribute of that type
      UnknownClass,       ///< the entity's class is not part of the program, so nor is its message
      UnknownMessage,     ///< the entity's class has no such message
      UnsuitableMessage,  ///< it does not take one object, or returns something else than one
      // The rule, or a part of it, is left out of the map, and nobody says so.
      NotText,        ///< its destination is no text
      DroppedSubkey,  ///< what follows the input key of a dictionary is no rule: "%meta.title"
      NoForm,         ///< it looks like a rule, but for its form: "$", " $name"
      // The rule is in the map, and does not do what it says.
      UnknownFilter,  ///< its attribute is cleared by every value
      Shadowed,       ///< another rule for the same key takes its place
      Bypassed,       ///< rules for a nested dictionary under the same key get its dictionaries
      Unreachable,    ///< no record has such a key: "$meta.$born", or nesting beyond what JSON has
      UnlikelyKey,    ///< white space around an input key or a filter's name, or nothing at all
      EmptyNested,    ///< a dictionary under the key is read, and nothing of it is kept
    };
    /// How serious a problem is.
    enum class Severity : std::uint8_t {
      /// What the author did not mean.
      Problem,
      /// What may well be meant: an entity overrides what it inherits, an attribute that cannot be
      /// mapped has no rule of its own.
      Note,
    };
    /// What is wrong.
    Kind kind;
    /// How serious it is.
    Severity severity = Severity::Problem;
    /// Whose rules were inspected.
    Ref<NSEntityDescription> entity;
    /// The key of the rule, as it stands in the descriptor.
    Ref<NSString> key;
    /// The input keys that the key names; none for NoForm and for shadowed rules.
    std::vector<Ref<NSString>> path;
    /// What the descriptor has under the key.
    Value value;
    /// Who gave the rule.
    Origin origin;
    /// Of the rule that took the place of a shadowed one.
    Origin shadowedBy;
    /// What is wrong, as a text for people. Never null.
    Ref<NSString> reason;
    /// What to do about it. Null where there is nothing to say.
    Ref<NSString> advice;

    /// Whether building the map leaves a line in the log, which ends in `reason`.
    bool isLogged() const noexcept { return kind <= Kind::UnsuitableMessage; }
    /// Whether the map has no such rule.
    bool isDropped() const noexcept { return kind <= Kind::NoForm; }
    /// A line for people: the entity, the key, where it comes from, the reason and the advice.
    Ref<NSString> text() const;
  };

  /// What is known about the program that the rules are for.
  struct Options {
    /// The names of its filter actions. Null: filters are not looked at.
    Ref<NSSet> filters;
    /// The messages, e.g. "applyTags:", that classes take that are not part of this program. Null:
    /// nothing is known of them.
    Ref<NSSet> messages;
    /// What is made of messages to classes that are not part of this program.
    enum class ClassesElsewhere : std::uint8_t {
      /// A message to a class that is not part of this program is a problem, as it is to a map.
      Missing,
      /// It is a note, and the rule is taken to work: for tools that do without the application's
      /// classes. A message that `messages` lacks is a problem.
      Trusted,
    };
    /// What is made of messages to classes that are not part of this program.
    ClassesElsewhere classesElsewhere = ClassesElsewhere::Missing;
  };

  /// Inspects what the entity's automatic descriptor makes. Takes: null as an entity without
  /// anything.
  static MapInspection ofEntity(const Ref<NSEntityDescription>& entity, const Options& options);
  static MapInspection ofEntity(const Ref<NSEntityDescription>& entity);
  /// Inspects a descriptor as `PLVDictionaryDataMap::newMapForEntityDescriptor` takes it.
  static MapInspection ofDescriptor(const Ref<NSEntityDescription>& entity,
                                    const Ref<NSDictionary>& descriptor, const Options& options);

  /// The problems of all entities, each once: what is wrong with an inherited rule is told of the
  /// entity that gives it, unless it is abstract and some descendant can use the rule; then of the
  /// others. In the order of the model. Null has none.
  static std::vector<Problem> problemsOfModel(const Ref<NSManagedObjectModel>& model,
                                              const Options& options);

  /// A word for programs, e.g. "unknown-attribute".
  static std::string_view nameOf(Problem::Kind kind) noexcept;
  /// As data models name it, e.g. "Integer 16".
  static std::string_view nameOf(NSAttributeType type) noexcept;

  /// In the order of the descriptor.
  std::vector<Rule> rules;
  /// In the order of the descriptor as well; shadowed rules first.
  std::vector<Problem> problems;
};

}  // namespace JNFoundation
