#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>

namespace JNFoundation::inline v0_1::impl {

/// Tells from what a store has whether a record would change any of it, so that no object need be
/// made of what stays as it is. Looks at the rules that lead from a key of the record to an
/// attribute, and leaves every record that has to do with others to the mapping.
class RecordComparison {
 public:
  RecordComparison(Ref<PLVDictionaryDataMap> map, const NSEntityDescription& entity);

  /// The names of the attributes whose values it asks for.
  const Ref<NSMutableArray>& attributes() const noexcept { return _attributes; }

  /// Whether a comparison can tell; false where only mapping can.
  bool isPlain(const Ref<NSDictionary>& record);
  /// The same, and whether the record changes none of the values of the attributes.
  bool isSettled(const Ref<NSDictionary>& record, std::span<const Value> values);
  /// Puts the record's texts where its values are expected to come, so that those which are there
  /// need not be made.
  void expect(const Ref<NSDictionary>& record, std::span<Value> values);

 private:
  /// What the map has for a key.
  struct Rule {
    Value key;
    const PLVScalarDataMap* map = nullptr;  ///< null where nothing is mapped
    std::size_t attribute = 0;
    bool leadsIntoDictionary = false;
    bool isPlain = true;
  };

  const Rule& ruleFor(const Value& key, std::size_t place) {
    const bool isKnown = place < _rules.size() && key.kind() == Value::Kind::Object &&
                         _rules[place].key.object() == key.object();
    return isKnown ? _rules[place] : learnRule(key, place);
  }
  const Rule& learnRule(const Value& key, std::size_t place);
  Rule makeRule(const Value& key) const;

  const Ref<PLVDictionaryDataMap> _map;
  const Ref<NSMutableArray> _attributes = NSMutableArray::array();
  /// In the order of the last records' keys, which most of those that follow have as well.
  std::vector<Rule> _rules;
};

}  // namespace JNFoundation::impl
