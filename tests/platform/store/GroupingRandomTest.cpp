#include <cmath>
#include <map>
#include <optional>

#include "SalesFixture.h"
#include "tests/platform/text/Randomness.h"

namespace JNFoundation {
namespace {

/// Random groups of random sales: the two kinds of store and a naive count agree.
class GroupingRandom : public ::testing::Test {
 protected:
  struct Sale {
    std::optional<int> region, kind, amount, shop;
    std::optional<std::int64_t> big;
    std::optional<double> price;
  };

  void SetUp() override {
    for (const char* type : {NSSQLiteStoreType, NSInMemoryStoreType}) {
      auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(salesModel());
      Ref<NSError> error;
      ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          type, nullptr, NSURL::fileURLWithPath(directory.file("sales.sqlite")), nullptr, &error));
      auto context = NSManagedObjectContext::init();
      context->setPersistentStoreCoordinator(coordinator);
      contexts.push_back(context);
    }
  }

  template <class Number>
  std::optional<Number> some(Number bound) {
    if (random.below(5) == 0) return std::nullopt;
    return static_cast<Number>(random.below(static_cast<unsigned>(bound)));
  }

  void fill() {
    for (auto& context : contexts) {
      for (const Value& object : context->registeredObjects()) {
        context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(object)));
      }
      auto every = NSFetchRequest::fetchRequestWithEntityName("Sale");
      for (const Value& object : context->executeFetchRequestError(every)) {
        context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(object)));
      }
    }
    sales.clear();
    const int count = static_cast<int>(random.below(40));
    for (int i = 0; i < count; ++i) {
      Sale sale{some(3), some(3), some(100), some(3), {}, {}};
      if (auto n = some(1000)) sale.big = (std::int64_t{1} << 40) + *n;
      if (auto n = some(64)) sale.price = *n / 8.0;
      sales.push_back(sale);
    }
    for (auto& context : contexts) {
      std::vector<Ref<NSManagedObject>> shops;
      for (int i = 0; i < 3; ++i) {
        auto shop = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
            "Shop", context);
        shop->setValueForKey("shop " + std::to_string(i), "name");
        shops.push_back(shop);
      }
      for (const Sale& sale : sales) {
        auto object = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
            "Sale", context);
        if (sale.region) object->setValueForKey("region " + std::to_string(*sale.region), "region");
        if (sale.kind) object->setValueForKey(*sale.kind, "kind");
        if (sale.amount) object->setValueForKey(*sale.amount, "amount");
        if (sale.big) object->setValueForKey(*sale.big, "big");
        if (sale.price) object->setValueForKey(*sale.price, "price");
        if (sale.shop) {
          object->setValueForKey(Value(shops[static_cast<std::size_t>(*sale.shop)]), "shop");
        }
      }
      Ref<NSError> error;
      ASSERT_TRUE(context->save(&error)) << error->description()->utf8();
    }
  }

  static Value valueOf(const Sale& sale, const std::string& key) {
    if (key == "region") {
      return sale.region ? Value("region " + std::to_string(*sale.region)) : Value();
    }
    if (key == "shop.name") {
      return sale.shop ? Value("shop " + std::to_string(*sale.shop)) : Value();
    }
    if (key == "kind") return sale.kind ? Value(*sale.kind) : Value();
    if (key == "amount") return sale.amount ? Value(*sale.amount) : Value();
    if (key == "big") return sale.big ? Value(*sale.big) : Value();
    return sale.price ? Value(*sale.price) : Value();
  }

  /// The aggregate of the rows, counted by hand. All numbers are small enough to be exact in a
  /// double.
  static Value naive(const std::string& function, const std::string& key,
                     const std::vector<const Sale*>& rows) {
    std::vector<double> numbers;
    bool isDouble = key == "price";
    for (const Sale* sale : rows) {
      const Value value = valueOf(*sale, key);
      if (!value.isNull()) numbers.push_back(value.doubleValue());
    }
    const auto number = [&](double value) {
      return isDouble ? Value(value) : Value(static_cast<std::int64_t>(value));
    };
    if (function == "count") return static_cast<std::int64_t>(numbers.size());
    double sum = 0;
    for (const double value : numbers) sum += value;
    if (function == "sum") return numbers.empty() ? Value(0) : number(sum);
    const auto count = static_cast<double>(numbers.size());
    if (function == "average") return numbers.empty() ? Value(0.0) : Value(sum / count);
    if (numbers.empty()) return nullptr;
    std::sort(numbers.begin(), numbers.end());
    if (function == "min") return number(numbers.front());
    if (function == "max") return number(numbers.back());
    const std::size_t middle = numbers.size() / 2;
    if (numbers.size() % 2 == 1) return number(numbers[middle]);
    return (numbers[middle - 1] + numbers[middle]) / 2;
  }

  Ref<NSArray> fetched(int store, const Ref<NSFetchRequest>& request) {
    Ref<NSError> error;
    auto found =
        contexts[static_cast<std::size_t>(store)]->executeFetchRequestError(request, &error);
    EXPECT_TRUE(found) << error->description()->utf8();
    if (found) expectSameValues(contexts[static_cast<std::size_t>(store)], request, found);
    return found ? found : NSArray::array();
  }

  /// The request, what the stores give for it and what was expected.
  std::string told(const Ref<NSFetchRequest>& request, const Value& expected) {
    return Value(request->propertiesToFetch()).description()->toStdString() +
           Value(request->propertiesToGroupBy()).description()->toStdString() + "\n" +
           Value(fetched(0, request)).description()->toStdString() +
           Value(fetched(1, request)).description()->toStdString() +
           expected.description()->toStdString();
  }

  void round() {
    auto request = NSFetchRequest::fetchRequestWithEntityName("Sale");
    request->setResultType(NSDictionaryResultType);
    std::vector<std::string> groups;
    for (const char* key : {"region", "kind", "shop.name", "price"}) {
      if (random.below(3) == 0) groups.emplace_back(key);
    }
    std::vector<Value> properties(groups.begin(), groups.end());
    if (!groups.empty()) request->setPropertiesToGroupBy(NSArray::arrayWithValues(properties));
    struct Aggregate {
      std::string name, function, key;
    };
    std::vector<Aggregate> aggregates;
    static const char* functions[] = {"sum", "count", "min", "max", "average", "median"};
    static const char* keys[] = {"amount", "big", "price", "kind"};
    for (unsigned i = 0, count = 1 + random.below(3); i < count; ++i) {
      Aggregate one{"v" + std::to_string(i), functions[random.below(6)], keys[random.below(4)]};
      properties.emplace_back(
          computed(one.name.c_str(), (one.function + "(" + one.key + ")").c_str()));
      aggregates.push_back(one);
    }
    request->setPropertiesToFetch(NSArray::arrayWithValues(properties));
    const bool filters = random.below(2) == 0;
    if (filters) request->setPredicate(NSPredicate::predicateWithFormat("amount >= 30"));
    std::map<std::string, std::size_t> known;
    std::vector<std::vector<const Sale*>> rows;
    for (const Sale& sale : sales) {
      if (filters && (!sale.amount || *sale.amount < 30)) continue;
      std::string key;
      for (const std::string& group : groups) {
        const Value value = valueOf(sale, group);
        key += value.isNull() ? "-|" : value.description()->toStdString() + "|";
      }
      const auto place = known.try_emplace(key, rows.size());
      if (place.second) rows.emplace_back();
      rows[place.first->second].push_back(&sale);
    }
    if (groups.empty() && rows.empty()) rows.emplace_back();
    std::vector<Value> expected;
    for (const auto& group : rows) {
      NSDictionary::Builder builder;
      for (const std::string& key : groups) builder.set(key, valueOf(*group.front(), key));
      for (const Aggregate& one : aggregates) {
        builder.set(one.name, naive(one.function, one.key, group));
      }
      expected.emplace_back(builder.finish());
    }
    const Value all(NSArray::arrayWithValues(expected));
    ASSERT_EQ(Value(fetched(0, request)), all) << told(request, all);
    ASSERT_EQ(Value(fetched(1, request)), all) << told(request, all);
    if (groups.empty()) return;
    // Order, choice and cuts: as doing them by hand with the whole list.
    const bool ascending = random.below(2) == 0;
    const Ref<NSArray> order = NSArray::arrayWithObjects(
        NSSortDescriptor::sortDescriptorWithKeyAscending("v0", ascending));
    request->setSortDescriptors(order);
    const auto having = NSPredicate::predicateWithFormat("v0 > 20 OR v0 == nil");
    request->setHavingPredicate(having);
    const NSUInteger offset = random.below(3), limit = random.below(4);
    request->setFetchOffset(offset);
    request->setFetchLimit(limit);
    Ref<NSArray> chosen = sortedArrayUsingDescriptors(
        filteredArrayUsingPredicate(NSArray::arrayWithValues(expected), having), order);
    const NSUInteger first = std::min(offset, chosen->count());
    const NSUInteger count =
        limit == 0 ? chosen->count() - first : std::min(limit, chosen->count() - first);
    const Value part(chosen->subarrayWithRange({first, count}));
    ASSERT_EQ(Value(fetched(0, request)), part) << told(request, part);
    ASSERT_EQ(Value(fetched(1, request)), part) << told(request, part);
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  testing::Randomness random;
  std::vector<Ref<NSManagedObjectContext>> contexts;
  std::vector<Sale> sales;
};

TEST_F(GroupingRandom, BothStoresAndANaiveCountAgree) {
  JN_TRACE_SEED(random);
  for (int i = testing::rounds(15, 2000); i > 0; --i) {
    ASSERT_NO_FATAL_FAILURE(fill());
    for (int k = 0; k < 20; ++k) ASSERT_NO_FATAL_FAILURE(round()) << i;
  }
}

}  // namespace
}  // namespace JNFoundation
