// Walks over 100,000 records with blocks and key paths, beside the loops over the same values that
// somebody would write by hand. The limits work on the library's values, so they stand here.

#include <benchmark/benchmark.h>
#include <unordered_map>
#include <vector>

#include "Figures.h"

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

using namespace JNFoundation;

namespace bench {
namespace {

constexpr int64_t kRecords = 100000;

const Ref<NSArray>& records() {
  static const Ref<NSArray>& made = *new Ref<NSArray>([] {
    std::vector<Value> values;
    values.reserve(kRecords);
    for (int64_t i = 0; i < kRecords; ++i) {
      values.emplace_back(NSDictionary::dictionaryWithEntries(
          {{"name"_s, NSString::stringWithFormat("name %lld", i)},
           {"id"_s, i},
           {"age"_s, i % 90}}));
    }
    return NSArray::arrayWithValues(std::move(values));
  }());
  return made;
}

Value field(const Value& record, const Ref<NSString>& key) {
  const Value* value = as<NSDictionary>(record)->find(*key);
  return value ? *value : Value();
}

void indexed(benchmark::State& state) {
  NSUInteger count = 0;
  for (auto _ : state) {
    const auto index = plv_indexByKeyPath(records(), "id"_s);
    count = index->count();
    benchmark::ClobberMemory();
  }
  reportItems(state, kRecords);
  require(state, count == kRecords, "a record was lost");
}
BENCHMARK(indexed)->Name("index/ours")->UseRealTime();

void indexedByHand(benchmark::State& state) {
  std::size_t count = 0;
  for (auto _ : state) {
    std::unordered_map<Value, Value> index;
    for (const Value& record : *records()->contiguousElements()) {
      if (record.isNSNull()) continue;
      if (Value key = field(record, "id"_s); !key.isNull()) index[std::move(key)] = record;
    }
    count = index.size();
    benchmark::ClobberMemory();
  }
  reportItems(state, kRecords);
  require(state, count == kRecords, "a record was lost");
}
BENCHMARK(indexedByHand)->Name("index/limit")->UseRealTime();

void mapped(benchmark::State& state) {
  NSUInteger count = 0;
  for (auto _ : state) {
    const auto names = plv_mapObjectsUsingBlock(
        records(), [](const Value& record, bool&) { return field(record, "name"_s); });
    count = names->count();
    benchmark::ClobberMemory();
  }
  reportItems(state, kRecords);
  require(state, count == kRecords, "a record was lost");
}
BENCHMARK(mapped)->Name("map-block/ours")->UseRealTime();

void mappedByHand(benchmark::State& state) {
  std::size_t count = 0;
  for (auto _ : state) {
    std::vector<Value> names;
    names.reserve(kRecords);
    for (const Value& record : *records()->contiguousElements()) {
      if (Value name = field(record, "name"_s); !name.isNull()) names.push_back(std::move(name));
    }
    count = names.size();
    benchmark::ClobberMemory();
  }
  reportItems(state, kRecords);
  require(state, count == kRecords, "a record was lost");
}
BENCHMARK(mappedByHand)->Name("map-block/limit")->UseRealTime();

bool isGrown(const Value& record) { return field(record, "age"_s).longLongValue() >= 45; }
constexpr std::size_t kGrown = (kRecords / 90) * 45;

void filtered(benchmark::State& state) {
  NSUInteger count = 0;
  for (auto _ : state) {
    const auto grown = plv_filteredArrayUsingBlock(
        records(), [](const Value& record, bool&) { return isGrown(record); });
    count = grown->count();
    benchmark::ClobberMemory();
  }
  reportItems(state, kRecords);
  require(state, count >= kGrown && count < kRecords, "the wrong records were found");
}
BENCHMARK(filtered)->Name("filter-block/ours")->UseRealTime();

void filteredByHand(benchmark::State& state) {
  std::size_t count = 0;
  for (auto _ : state) {
    std::vector<Value> grown;
    for (const Value& record : *records()->contiguousElements()) {
      if (isGrown(record)) grown.push_back(record);
    }
    count = grown.size();
    benchmark::ClobberMemory();
  }
  reportItems(state, kRecords);
  require(state, count >= kGrown && count < kRecords, "the wrong records were found");
}
BENCHMARK(filteredByHand)->Name("filter-block/limit")->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
