#pragma once

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/store/NSExpressionDescription.h>
#include <JNFoundation/platform/store/StatementTrace.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {

/// Sale (region, kind, amount, big, price, paid, at, cost; below it Refund): shop ⇄ Shop.sales,
/// seller (no way back). Shop (name): sales, city ⇄ City.shops. City (name). Seller (name).
inline Ref<NSManagedObjectModel> salesModel() {
  auto sale = entityNamed("Sale", {attributeNamed("region", NSStringAttributeType),
                                   attributeNamed("kind", NSInteger16AttributeType),
                                   attributeNamed("amount", NSInteger32AttributeType),
                                   attributeNamed("big", NSInteger64AttributeType),
                                   attributeNamed("price", NSDoubleAttributeType),
                                   attributeNamed("paid", NSBooleanAttributeType),
                                   attributeNamed("at", NSDateAttributeType),
                                   attributeNamed("cost", NSDecimalAttributeType)});
  auto refund = entityNamed("Refund", {attributeNamed("reason", NSStringAttributeType)});
  sale->setSubentities(NSArray::arrayWithObjects(refund));
  const auto named = [](const char* name) {
    return entityNamed(name, {attributeNamed("name", NSStringAttributeType)});
  };
  auto shop = named("Shop"), city = named("City"), seller = named("Seller");
  auto saleShop = relationshipNamed("shop", shop);
  auto shopSales = relationshipNamed("sales", sale, {.toMany = true});
  pairUp(saleShop, shopSales);
  auto shopCity = relationshipNamed("city", city);
  auto cityShops = relationshipNamed("shops", shop, {.toMany = true});
  pairUp(shopCity, cityShops);
  const auto add = [](const Ref<NSEntityDescription>& entity, std::vector<Value> more) {
    std::vector<Value> all;
    for (const auto& property : entity->ownProperties()) all.emplace_back(property);
    all.insert(all.end(), more.begin(), more.end());
    entity->setProperties(NSArray::arrayWithValues(std::move(all)));
  };
  add(sale, {saleShop, relationshipNamed("seller", seller)});
  add(shop, {shopSales, shopCity});
  add(city, {cityShops});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(sale, shop, city, seller));
  return model;
}

inline Ref<NSExpressionDescription> computed(const char* name, const Ref<NSExpression>& expression,
                                             NSAttributeType type = NSUndefinedAttributeType) {
  auto description = NSExpressionDescription::init();
  description->setName(name);
  description->setExpression(expression);
  description->setExpressionResultType(type);
  return description;
}
inline Ref<NSExpressionDescription> computed(const char* name, const char* format,
                                             NSAttributeType type = NSUndefinedAttributeType) {
  return computed(name, NSExpression::expressionWithFormat(format), type);
}

/// The texts of the statements that the work runs.
template <class Work>
std::vector<std::string> statementsOf(Work&& work) {
  std::vector<std::string> statements;
  const StatementObserverScope scope(
      [&](const StatementTrace& trace) { statements.emplace_back(trace.sql); });
  work();
  return statements;
}

/// Enumerating the values of the request gives what the dictionaries hold.
inline void expectSameValues(const Ref<NSManagedObjectContext>& context,
                             const Ref<NSFetchRequest>& request, const Ref<NSArray>& dictionaries) {
  if (!request->propertiesToFetch()) return;
  std::vector<Value> names;
  for (const Value& property : request->propertiesToFetch()) {
    const auto* description = as<NSPropertyDescription>(property);
    names.push_back(description ? Value(description->name()) : property);
  }
  std::vector<Value> enumerated;
  Ref<NSError> error;
  EXPECT_TRUE(context->enumerateValuesOfFetchRequestErrorUsingBlock(
      request, &error, [&](std::span<Value> values, bool&) {
        NSDictionary::Builder builder;
        for (std::size_t i = 0; i < names.size(); ++i) {
          if (!values[i].isNull()) builder.set(names[i], values[i]);
        }
        enumerated.emplace_back(builder.finish());
      }));
  EXPECT_EQ(Value(NSArray::arrayWithValues(std::move(enumerated))), Value(dictionaries));
}

/// The sales in either kind of store.
class SalesTest : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), salesModel()); }

  static Ref<NSFetchRequest> rows(const char* entity, std::vector<Value> properties,
                                  std::vector<Value> groups = {}) {
    auto wanted = request(entity);
    wanted->setResultType(NSDictionaryResultType);
    wanted->setPropertiesToFetch(NSArray::arrayWithValues(std::move(properties)));
    if (!groups.empty()) {
      wanted->setPropertiesToGroupBy(NSArray::arrayWithValues(std::move(groups)));
    }
    return wanted;
  }

  /// Dictionaries as text: "{key = value; ...} ...", keys in order.
  std::string told(const Ref<NSFetchRequest>& wanted) const {
    std::string all;
    const Ref<NSArray> found = fetch(wanted);
    expectSameValues(context, wanted, found);
    for (const Value& row : found) {
      const auto* dictionary = as<NSDictionary>(row);
      std::vector<std::string> parts;
      for (const auto& pair : *dictionary) {
        parts.push_back(pair.key.description()->toStdString() + "=" + shown(pair.value));
      }
      std::sort(parts.begin(), parts.end());
      all += all.empty() ? "{" : " {";
      for (std::size_t i = 0; i < parts.size(); ++i) all += (i ? " " : "") + parts[i];
      all += "}";
    }
    return all;
  }

  static std::string shown(const Value& value) {
    if (const auto* list = as<NSArray>(value)) {
      std::string text = "(";
      for (const Value& member : *list) text += (text.size() > 1 ? "," : "") + shown(member);
      return text + ")";
    }
    if (const auto* identifier = as<NSManagedObjectID>(value)) {
      return identifier->entity()->name()->toStdString() + std::to_string(identifier->number());
    }
    return value.description()->toStdString();
  }
};

}  // namespace JNFoundation
