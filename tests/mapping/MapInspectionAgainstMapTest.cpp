#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "MappingFixture.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>

namespace JNFoundation {
namespace {

using Rule = MapInspection::Rule;

/// What an inspection says and what a map is, for random entities: neither may know more.
class MapInspectionAgainstMap : public MappingTest {
 protected:
  std::string randomPart() {
    static const std::vector<std::string> parts = {"a", "b", "c", "", " a", "a.b", "$", "%", "ä"};
    return parts[randomness.below(parts.size())];
  }

  std::string randomKey() {
    static const std::vector<std::string> signs = {"$", "%", "%", "$", "", " "};
    std::string key;
    for (std::uint64_t steps = 1 + randomness.below(4); steps > 0; --steps) {
      key += signs[randomness.below(signs.size())] + randomPart();
      if (steps > 1) key += '.';
    }
    return key;
  }

  Value randomDestination() {
    static const std::vector<std::string> names = {
        "a", "b", "c", "", ":", "x", "applyPayload:", "applyCount:", "setA:b:", "applyNothing:"};
    static const std::vector<std::string> filters = {"", "", "", "|", "trim|", "trim |", "a|b|"};
    if (randomness.below(20) == 0) return 3;
    return filters[randomness.below(filters.size())] + names[randomness.below(names.size())];
  }

  /// A line of entities, each below the one before it.
  std::vector<Ref<NSEntityDescription>> randomLine() {
    static const NSAttributeType types[] = {NSStringAttributeType, NSInteger32AttributeType,
                                            NSDateAttributeType, NSTransformableAttributeType,
                                            NSDecimalAttributeType};
    static const char* classes[] = {"Person", "Person", "NSManagedObject", "Elsewhere"};
    std::vector<std::string> free = {"a", "b", "c", "ä"};
    std::vector<Ref<NSEntityDescription>> line;
    const std::uint64_t count = 1 + randomness.below(4);
    while (line.size() < count) {
      auto entity = NSEntityDescription::init();
      entity->setName("E" + std::to_string(line.size()));
      entity->setManagedObjectClassName(classes[randomness.below(std::size(classes))]);
      auto attributes = NSMutableArray::array();
      while (!free.empty() && randomness.below(3) != 0) {
        attributes->addObject(NSAttributeDescription::attributeWithNameType(
            free.back(), types[randomness.below(std::size(types))]));
        free.pop_back();
      }
      entity->setProperties(attributes);
      auto userInfo = NSMutableDictionary::dictionary();
      for (std::uint64_t entries = randomness.below(10); entries > 0; --entries) {
        userInfo->setObjectForKey(randomDestination(), randomKey());
      }
      entity->setUserInfo(userInfo);
      if (!line.empty()) line.back()->setSubentities(NSArray::arrayWithObject(entity));
      line.push_back(entity);
    }
    return line;
  }

  /// Every scalar map by its path, and its filter; every nested map by its path.
  static std::set<std::string> contentsOf(const Ref<PLVDictionaryDataMap>& top) {
    std::set<std::string> contents;
    std::vector<std::pair<std::string, Ref<const PLVDictionaryDataMap>>> open{{"", top}};
    while (!open.empty()) {
      const auto [path, map] = open.back();
      open.pop_back();
      for (const auto& [key, scalar] : *map->scalarMaps()) {
        const Ref<NSString>& filter = as<PLVScalarDataMap>(scalar)->filterName();
        contents.insert(path + "/$" + key.description()->toStdString() + "=" +
                        (filter ? filter->toStdString() : ""));
      }
      for (const auto& [key, nested] : *map->dictionaryMaps()) {
        const std::string inner = path + "/%" + key.description()->toStdString();
        contents.insert(inner);
        open.push_back({inner, Ref<const PLVDictionaryDataMap>(as<PLVDictionaryDataMap>(nested))});
      }
    }
    return contents;
  }

  /// The same, of what the inspection says. The way to a rule that was dropped is there, too.
  static std::set<std::string> contentsOf(const MapInspection& inspection,
                                          const Ref<NSDictionary>& descriptor) {
    std::set<std::string> contents;
    for (const Rule& rule : inspection.rules) {
      std::string path;
      for (const auto& inputKey : rule.path) {
        const bool isLast = &inputKey == &rule.path.back();
        if (isLast && rule.kind != Rule::Kind::NestedDictionary) {
          contents.insert(path + "/$" + inputKey->toStdString() + "=" +
                          (rule.filter ? rule.filter->toStdString() : ""));
        } else {
          path += "/%" + inputKey->toStdString();
          contents.insert(path);
        }
      }
      EXPECT_TRUE(descriptor->objectForKey(rule.key)) << "a rule that no descriptor has";
    }
    for (const auto& problem : inspection.problems) {
      if (!problem.isDropped()) continue;
      std::string_view key = problem.key->utf8();
      std::string path;
      while (key.size() >= 2 && key.front() == '%') {
        const std::size_t dot = key.find('.');
        path += "/%" + std::string(key.substr(1, dot == key.npos ? dot : dot - 1));
        contents.insert(path);
        if (dot == key.npos) break;
        key = key.substr(dot + 1);
      }
    }
    return contents;
  }

  testing::Randomness randomness;
};

TEST_F(MapInspectionAgainstMap, RandomEntitiesHaveTheRulesAndTheLogThatIsForetold) {
  JN_TRACE_SEED(randomness);
  std::size_t rules = 0, lines = 0;
  const int rounds = JNFoundation::testing::rounds(1'500, 200'000);
  for (int round = 0; round < rounds; ++round) {
    const auto line = randomLine();
    const auto& entity = line.back();
    log.clear();
    const auto inspection = MapInspection::ofEntity(entity);
    ASSERT_TRUE(log.empty());
    const auto descriptor = PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity);
    const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity, descriptor);

    ASSERT_EQ(contentsOf(inspection, descriptor), contentsOf(map))
        << descriptor->description()->utf8();
    std::vector<std::string> said, foretold;
    for (const std::string& logged : log) said.push_back(logged.substr(logged.find(") ") + 2));
    for (const auto& problem : inspection.problems) {
      if (problem.isLogged()) foretold.push_back(problem.reason->toStdString());
    }
    std::sort(said.begin(), said.end());
    std::sort(foretold.begin(), foretold.end());
    ASSERT_EQ(foretold, said) << descriptor->description()->utf8();
    rules += inspection.rules.size();
    lines += said.size();
  }
  EXPECT_GT(rules, static_cast<std::size_t>(rounds)) << "there were rules";
  EXPECT_GT(lines, static_cast<std::size_t>(rounds) / 2) << "and bad ones";
}

TEST_F(MapInspectionAgainstMap, ADescriptorIsInspectedAsItIsRead) {
  JN_TRACE_SEED(randomness);
  addAttribute("a", NSStringAttributeType);
  for (int round = 0; round < JNFoundation::testing::rounds(1'000, 100'000); ++round) {
    auto descriptor = NSMutableDictionary::dictionary();
    for (std::uint64_t entries = randomness.below(30); entries > 0; --entries) {
      descriptor->setObjectForKey(randomDestination(), randomKey());
    }
    const auto inspection = MapInspection::ofDescriptor(entity(), descriptor, {});
    const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), descriptor);
    ASSERT_EQ(contentsOf(inspection, descriptor), contentsOf(map))
        << descriptor->description()->utf8();
  }
}

}  // namespace
}  // namespace JNFoundation
