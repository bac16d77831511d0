#pragma once

#include <map>

#include "tests/platform/store/RelationshipFixture.h"
#include "tests/platform/text/Randomness.h"

namespace JNFoundation {

/// The company model with more to ask for: every entity has level, weight, born and active beside
/// its name, and a serial number that no other object has.
inline Ref<NSManagedObjectModel> askedCompanyModel() {
  auto model = companyModel();
  for (const auto& entity : model->entityList()) {
    if (entity->superentity()) continue;
    std::vector<Value> properties{attributeNamed("serial", NSInteger32AttributeType),
                                  attributeNamed("level", NSInteger32AttributeType),
                                  attributeNamed("weight", NSDoubleAttributeType),
                                  attributeNamed("born", NSDateAttributeType),
                                  attributeNamed("active", NSBooleanAttributeType)};
    for (const auto& property : entity->ownProperties()) properties.emplace_back(property);
    entity->setProperties(NSArray::arrayWithValues(std::move(properties)));
  }
  return model;
}

/// Makes up predicates over the company, with `$o0` to `$o9` in the place of objects,
/// `$i0` to `$i9` in that of their identifiers.
class CompanyPredicates {
 public:
  using Links = std::vector<std::pair<const char*, const char*>>;

  explicit CompanyPredicates(::JNFoundation::testing::Randomness& random) : _random(random) {}

  static constexpr unsigned objects = 10;

  static const Links& toOnes(const std::string& entity) {
    static const std::map<std::string, Links> links = {
        {"Person", {{"department", "Department"}, {"desk", "Desk"}, {"mentor", "Person"}}},
        {"Desk", {{"person", "Person"}}},
        {"Task", {{"department", "Department"}}},
        {"Badge", {{"department", "Department"}}}};
    static const Links none;
    const auto found = links.find(entity);
    return found == links.end() ? none : found->second;
  }
  static const Links& toManys(const std::string& entity) {
    static const std::map<std::string, Links> links = {
        {"Person",
         {{"skills", "Skill"},
          {"friends", "Person"},
          {"favourites", "Skill"},
          {"followed", "Task"}}},
        {"Department", {{"people", "Person"}, {"tasks", "Task"}, {"badges", "Badge"}}},
        {"Skill", {{"people", "Person"}}},
        {"Task", {{"followers", "Person"}}}};
    static const Links none;
    const auto found = links.find(entity);
    return found == links.end() ? none : found->second;
  }

  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(_random.below(bound)); }
  template <std::size_t count>
  std::string oneOf(const char* const (&texts)[count]) {
    return texts[below(count)];
  }

  std::string predicate(const std::string& entity, unsigned depth) {
    _scopes = {{"", entity}};
    return condition(depth);
  }

  /// A key path to an attribute, or to a number of records, to sort by.
  std::string sortKey(const std::string& entity) {
    _scopes = {{"", entity}};
    Place place = somewhere(3);
    if (below(5) == 0 && toMany(place)) return place.path + ".@count";
    return key(place, "name level weight born active serial");
  }

 private:
  /// Where a key path stands: how it is written so far, and the entity it leads to.
  struct Place {
    std::string path;
    std::string entity;
  };

  static std::string joined(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
  }
  static std::string identifier(const Place& place) { return joined(place.path, "objectID"); }
  static std::string record(const Place& place) { return place.path.empty() ? "SELF" : place.path; }

  std::string key(const Place& place, const std::string& names) {
    std::vector<std::string> all(1);
    for (const char c : names) {
      if (c == ' ') {
        all.emplace_back();
      } else {
        all.back() += c;
      }
    }
    return joined(place.path, all[below(all.size())]);
  }

  bool toOne(Place& place) {
    const Links& links = toOnes(place.entity);
    if (links.empty()) return false;
    const auto& [name, destination] = links[below(links.size())];
    place = {joined(place.path, name), destination};
    return true;
  }
  bool toMany(Place& place) {
    const Links& links = toManys(place.entity);
    if (links.empty()) return false;
    const auto& [name, destination] = links[below(links.size())];
    place = {joined(place.path, name), destination};
    return true;
  }

  /// A record that a path to one leads to, from what is asked or from a variable.
  Place somewhere(unsigned steps) {
    Place place = _scopes[below(3) == 0 ? below(_scopes.size()) : _scopes.size() - 1];
    for (std::size_t i = below(steps + 1); i > 0; --i) toOne(place);
    return place;
  }
  /// A path to many, mostly a single step. Returns: false where none starts from here.
  bool many(Place& place, bool readsFurther) {
    place = somewhere(2);
    if (!toMany(place)) return false;
    if (below(4) == 0) toMany(place);
    if (readsFurther && below(3) == 0) toOne(place);
    if (readsFurther && below(12) == 0) toMany(place);
    return true;
  }

  std::string text() {
    static constexpr const char* texts[] = {"'a'", "'A'", "'ab'", "'b'", "'é'", "''", "'?'", "nil"};
    return oneOf(texts);
  }
  std::string number() {
    static constexpr const char* numbers[] = {"0", "1", "2", "-1", "1.5", "2.0", "YES", "nil"};
    return oneOf(numbers);
  }
  std::string date() {
    static constexpr const char* dates[] = {"CAST(0, 'NSDate')", "CAST(1, 'NSDate')", "nil"};
    return oneOf(dates);
  }
  std::string object() { return "$o" + std::to_string(below(objects)); }
  std::string order() {
    static constexpr const char* orders[] = {"==", "!=", "<", "<=", ">", ">="};
    return oneOf(orders);
  }
  std::string equality() { return below(2) == 0 ? " == " : " != "; }

  /// An operator and its right side, for something that has the place's attributes.
  std::string attributeQuestion(const Place& place) {
    static constexpr const char* options[] = {"", "", "[c]", "[d]", "[cd]"};
    static constexpr const char* texts[] = {"BEGINSWITH", "ENDSWITH", "CONTAINS", "LIKE"};
    switch (below(12)) {
      case 0:
      case 1:
        return key(place, "name") + " " + order() + oneOf(options) + " " + text();
      case 2:
        return key(place, "name") + " " + oneOf(texts) + oneOf(options) + " 'a'";
      case 3:
        return key(place, "name") + " MATCHES 'a.?'";
      case 4:
        return key(place, "name") + " IN {" + text() + ", " + text() + ", 'ab'}";
      case 5:
        return key(place, "level weight active") + " IN {" + number() + ", " + number() + "}";
      case 6:
        return key(place, "level weight") + " BETWEEN {0, 1.5}";
      case 7:
        return key(place, "born") + " " + order() + " " + date();
      case 8:
        return key(place, "name level") + " " + order() + " " +
               key(somewhere(2), "name level weight");
      default:
        return key(place, "level weight active") + " " + order() + " " + number();
    }
  }

  std::string recordQuestion(const Place& place) {
    switch (below(7)) {
      case 5:
        return identifier(place) + equality() + "$i" + std::to_string(below(objects));
      case 6:
        return below(2) == 0 ? identifier(place) + equality() + identifier(somewhere(2))
                             : identifier(place) + " IN {$i2, $i3, $i4, nil}";
      case 0:
        return record(place) + equality() + "nil";
      case 1:
        return record(place) + " IN {" + object() + ", " + object() +
               (below(2) == 0 ? ", nil}" : "}");
      case 2:
        return record(place) + equality() + record(somewhere(2));
      default:
        return record(place) + equality() + object();
    }
  }

  std::string comparison(unsigned depth) {
    static constexpr const char* quantifiers[] = {"ANY ", "SOME ", "ALL ", "NONE "};
    static constexpr const char* operators[] = {"@min.level", "@max.level",  "@sum.level",
                                                "@avg.level", "@max.weight", "@sum.active"};
    Place place;
    switch (below(14)) {
      case 0:
      case 1:
      case 2:
        return attributeQuestion(somewhere(3));
      case 3:
        return recordQuestion(somewhere(2));
      case 4:
      case 5:
        if (!many(place, true)) break;
        return oneOf(quantifiers) + attributeQuestion(place);
      case 6:
        if (!many(place, true)) break;
        return oneOf(quantifiers) + recordQuestion(place);
      case 7:
        if (!many(place, below(8) == 0)) break;
        return place.path + ".@count " + order() + " " + number();
      case 8:
        if (!many(place, false)) break;
        return below(4) == 0 ? place.path + ".@min.name " + order() + " " + text()
                             : place.path + "." + oneOf(operators) + " " + order() + " " + number();
      case 9:
        if (!many(place, below(4) == 0)) break;
        return below(2) == 0 ? object() + " IN " + place.path
                             : place.path + " CONTAINS " + object();
      case 10:
        if (!many(place, true)) break;
        return below(2) == 0
                   ? text() + " IN" + (below(2) == 0 ? "[c] " : " ") + place.path + ".name"
                   : place.path + ".level CONTAINS " + key(somewhere(1), "level weight");
      case 11:
        if (!many(place, false)) break;
        return place.path + equality() + "nil";
      default:
        if (depth == 0 || !many(place, false)) break;
        return subquery(place, depth);
    }
    return attributeQuestion(somewhere(2));
  }

  std::string subquery(const Place& place, unsigned depth) {
    const std::string variable = "$v" + std::to_string(_scopes.size());
    _scopes.push_back({variable, place.entity});
    const std::string inner = condition(depth - 1);
    _scopes.pop_back();
    const std::string whole = "SUBQUERY(" + place.path + ", " + variable + ", " + inner + ")";
    switch (below(6)) {
      case 0:
        return "ANY " + whole + ".level " + order() + " " + number();
      case 1:
        return object() + " IN " + whole;
      case 2:
        return whole + ".@sum.level " + order() + " " + number();
      default:
        return whole + ".@count " + order() + " " + number();
    }
  }

  std::string condition(unsigned depth) {
    if (depth == 0 || below(3) == 0) return comparison(depth);
    switch (below(3)) {
      case 0:
        return "NOT (" + condition(depth - 1) + ")";
      case 1:
        return "(" + condition(depth - 1) + " AND " + condition(depth - 1) + ")";
      default:
        return "(" + condition(depth - 1) + " OR " + condition(depth - 1) + ")";
    }
  }

  ::JNFoundation::testing::Randomness& _random;
  std::vector<Place> _scopes;
};

}  // namespace JNFoundation
