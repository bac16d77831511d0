#pragma once

#include <vector>

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation::inline v0_1 {

/// Objects back to records, by the rules that records were mapped with: what an export gives, maps
/// onto a new object as it was.
///
///     const RecordExport feed(country->entityDataMap());
///     const Ref<NSDictionary> record = feed.recordOfObject(country);
///
/// Texts and numbers stand as they are, booleans as true and false, dates as text, null as the null
/// marker, and what a nested rule took out of a dictionary is in one again. An attribute has the
/// keys of all rules that lead to it; the key of its own name only if there is no other. What has
/// no way back is left out and told. Threads: any for the export, which never changes; the
/// context's for an object.
class RecordExport {
 public:
  /// Why a rule has no way back, or a value is not the same on it.
  enum class Obstacle {
    Filter,           ///< the rule has a filter, which nobody can undo
    Message,          ///< the rule sends a message
    UnsupportedType,  ///< the attribute is of a type that is not mapped
    SharedKey,        ///< rules for a dictionary stand under the same key
    NotExpressible,   ///< a number that is not finite, a date outside of the years 1 to 9999, a
                      ///< value of another kind than its attribute's
    Inexact,          ///< a date between two milliseconds; the record has the one before
  };

  /// A rule that has no way back, or a value that is not the same on it.
  struct Loss {
    /// The keys from the outermost dictionary on.
    Ref<NSArray> path;
    /// The attribute's name or the message's selector.
    Ref<NSString> destination;
    /// Why it is lost.
    Obstacle obstacle;
  };

  /// A null map has no rules.
  explicit RecordExport(const Ref<PLVDictionaryDataMap>& map);

  /// The rules that no object is exported by, outer ones first.
  std::vector<Loss> losses() const;

  /// A new dictionary, empty for a null object. Takes: where to add what is lost of this object's
  /// values; may be null. Fails: what an accessor of the application raises comes through.
  Ref<NSMutableDictionary> recordOfObject(const Ref<NSManagedObject>& object,
                                          std::vector<Loss>* losses = nullptr) const;

 private:
  struct Rule {
    Value key;
    Ref<const PLVScalarDataMap> map;
  };
  struct LostRule {
    std::size_t level;
    Rule rule;
    Obstacle obstacle;
  };
  /// A dictionary of the record. Outer ones come before those inside of them.
  struct Level {
    std::size_t outer;
    Value key;
    std::vector<Rule> rules;
    /// Whether it has rules that work, itself or inside of it.
    bool isUsed = false;
  };

  void addLevels(const Ref<PLVDictionaryDataMap>& map);
  void markUsedLevels();
  void dropSharedKeys();
  void dropOwnNames();
  Ref<NSArray> pathOf(std::size_t level, const Value& key) const;

  std::vector<Level> _levels;
  std::vector<LostRule> _lost;
};

}  // namespace JNFoundation
