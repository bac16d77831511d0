#include <map>
#include <set>
#include <string>
#include <vector>

#include "MappingFixture.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/value/NSNull.h>

/// Random rules and random records, mapped by the library and by a model that follows the rules as
/// they are told, one level after the other. Messages write down what arrives, and in which order.
namespace JNFoundation {
namespace {

struct ModelMap {
  std::map<std::string, std::string> scalars;
  std::map<std::string, ModelMap> nested;

  static ModelMap of(const std::map<std::string, std::string>& descriptor) {
    ModelMap made;
    std::map<std::string, std::map<std::string, std::string>> nestedDescriptors;
    for (const auto& [key, value] : descriptor) {
      if (key.size() >= 2 && key[0] == '%') {
        const std::string text = key.substr(1);
        const std::size_t dot = text.find('.');
        auto& inner = nestedDescriptors[text.substr(0, dot)];
        if (dot == std::string::npos) continue;
        const std::string rest = text.substr(dot + 1);
        if (rest.size() >= 2 && (rest[0] == '%' || rest[0] == '$')) inner[rest] = value;
      } else if (key.size() >= 2 && key[0] == '$') {
        made.scalars[key.substr(1)] = value;
      }
    }
    std::erase_if(made.scalars, [](const auto& rule) { return rule.second == "missing"; });
    for (const auto& [key, inner] : nestedDescriptors) made.nested[key] = of(inner);
    return made;
  }

  void map(const NSDictionary& record, std::vector<std::string>& arrived) const {
    for (const auto& [key, value] : record) {
      const std::string name = key.description()->toStdString();
      const auto* dictionary = as<NSDictionary>(value);
      const auto inner = nested.find(name);
      const auto rule = scalars.find(name);
      if (dictionary && inner != nested.end()) {
        inner->second.map(*dictionary, arrived);
      } else if (rule != scalars.end()) {
        arrived.push_back(result(rule->second, value));
      }
    }
  }

  std::set<std::string> filterNames() const {
    std::set<std::string> names;
    for (const auto& [key, destination] : scalars) {
      const std::size_t bar = destination.find('|');
      if (bar != std::string::npos && bar > 0) names.insert(destination.substr(0, bar));
    }
    for (const auto& [key, inner] : nested) names.merge(inner.filterNames());
    return names;
  }

 private:
  static std::string result(const std::string& destination, const Value& value) {
    const Value present = value.isNSNull() ? Value() : value;
    if (destination.starts_with("unknown|")) return "(null)";
    if (destination.starts_with("something|")) return "something";
    return present.description()->toStdString();
  }
};

class MappingAgainstModel : public MappingTest {
 protected:
  std::string randomKey() {
    static const std::vector<std::string> steps = {"%a.", "%b.", "%a.", "%b.", "%.", "%", "a", "."};
    static const std::vector<std::string> ends = {"$a", "$b", "$a", "$b",   "%a", "%b",
                                                  "a",  "$",  "%",  "$a.b", "",   "$$a"};
    std::string key;
    for (std::uint64_t count = randomness.below(5); count > 0; --count) {
      key += steps[randomness.below(steps.size())];
    }
    key += ends[randomness.below(ends.size())];
    return key;
  }

  std::string randomDestination() {
    static const std::vector<std::string> destinations = {
        "applyPayload:",         "applyAndAnswer:",         "|applyPayload:",
        "unknown|applyPayload:", "something|applyPayload:", "missing"};
    return destinations[randomness.below(destinations.size())];
  }

  Value randomValue(int depth) {
    switch (randomness.below(depth > 0 ? 8 : 4)) {
      case 0:
        return static_cast<std::int64_t>(randomness.below(100));
      case 1:
        return "text";
      case 2:
        return NSNull::null();
      case 3:
        return NSArray::arrayWithObject(1);
      default:
        return randomRecord(depth - 1);
    }
  }

  Ref<NSDictionary> randomRecord(int depth) {
    static const std::vector<std::string> keys = {"a", "b", "a", "b", "", "a.b", "$a", "%a", "$"};
    std::vector<NSDictionary::Pair> entries;
    for (std::uint64_t count = randomness.below(12); count > 0; --count) {
      entries.push_back({keys[randomness.below(keys.size())], randomValue(depth)});
    }
    return NSDictionary::dictionaryWithEntries(std::move(entries));
  }

  testing::Randomness randomness;
};

TEST_F(MappingAgainstModel, RandomRulesMapRandomRecordsAsTheyAreTold) {
  JN_TRACE_SEED(randomness);
  attachFilter();
  const auto person = insertPerson();
  std::size_t total = 0;
  const int rounds = JNFoundation::testing::rounds(400, 100'000);
  for (int round = 0; round < rounds; ++round) {
    std::map<std::string, std::string> rules;
    for (std::uint64_t count = randomness.below(40); count > 0; --count) {
      rules[randomKey()] = randomDestination();
    }
    const auto descriptor = NSMutableDictionary::dictionary();
    for (const auto& [key, destination] : rules) descriptor->setObjectForKey(destination, key);
    const ModelMap model = ModelMap::of(rules);
    const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), descriptor);

    std::set<std::string> names;
    const auto filterNames = map->filterNames();
    for (const Value& name : *filterNames) names.insert(name.description()->toStdString());
    ASSERT_EQ(names, model.filterNames()) << descriptor->description()->utf8();

    for (int times = 0; times < 10; ++times) {
      const auto record = randomRecord(4);
      std::vector<std::string> expected;
      model.map(*record, expected);
      person->received.clear();
      map->mapDictionaryToObject(record, person);
      std::vector<std::string> arrived;
      for (const Value& value : person->received) {
        arrived.push_back(value.description()->toStdString());
      }
      ASSERT_EQ(arrived, expected) << descriptor->description()->utf8() << "\n"
                                   << record->description()->utf8();
      total += arrived.size();
    }
  }
  EXPECT_GT(total, static_cast<std::size_t>(rounds) * 2) << "rules and records hardly met";
}

}  // namespace
}  // namespace JNFoundation
