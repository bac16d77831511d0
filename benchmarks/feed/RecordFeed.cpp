#include "feed/RecordFeed.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <simdjson.h>

namespace bench {
namespace {

// SplitMix64: the same numbers everywhere, which the standard's distributions do not promise.
class Numbers {
 public:
  explicit Numbers(uint64_t seed) : _state(seed) {}

  uint64_t next() {
    uint64_t z = (_state += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }

  uint64_t below(uint64_t bound) { return next() % bound; }

 private:
  uint64_t _state;
};

constexpr std::array<const char*, 24> kWords = {
    "copper", "lantern", "folding", "bicycle", "walnut", "kettle", "garden", "blue",
    "narrow", "steel",   "pocket",  "winter",  "round",  "glass",  "café",   "maple",
    "quiet",  "harbour", "linen",   "Größe",   "travel", "spring", "heavy",  "12\" wide"};
constexpr std::array<const char*, 8> kCategories = {
    "household goods",    "garden and terrace", "bicycles and parts", "office supplies",
    "travel and luggage", "kitchen appliances", "toys for all ages",  "winter clothing"};

// Words up to `length` characters (code points), filled up with a letter to exactly that many.
std::string textOfLength(Numbers& numbers, size_t length) {
  std::string text;
  size_t characters = 0;
  while (true) {
    const std::string word = kWords[numbers.below(kWords.size())];
    size_t wordCharacters = characters == 0 ? 0 : 1;
    for (char unit : word) wordCharacters += (unit & 0xC0) != 0x80;
    if (characters + wordCharacters > length) break;
    if (characters != 0) text += ' ';
    text += word;
    characters += wordCharacters;
  }
  text.append(length - characters, 'x');
  return text;
}

void appendText(std::string& json, const std::string& text) {
  json += '"';
  for (char unit : text) {
    if (unit == '"' || unit == '\\') json += '\\';
    json += unit;
  }
  json += '"';
}

void appendDate(std::string& json, double seconds) {
  const int64_t milliseconds = std::llround(seconds * 1000);
  const time_t whole = static_cast<time_t>(milliseconds / 1000);
  tm parts{};
  gmtime_r(&whole, &parts);
  char text[40];
  const size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  json += '"';
  json.append(text, length);
  snprintf(text, sizeof text, ".%03dZ\"", static_cast<int>(milliseconds % 1000));
  json += text;
}

}  // namespace

Record recordAt(size_t index) {
  Numbers numbers(index);
  Record record;
  record.identifier = static_cast<int64_t>(index) + 1;
  record.quantity = static_cast<int64_t>(numbers.below(100000)) - 1000;
  // Divisions of whole numbers: the nearest double to the decimal text that the feed prints.
  record.price = static_cast<double>(numbers.below(1000000)) / 100;
  record.weight = static_cast<double>(numbers.below(50000000)) / 1000;
  record.name = textOfLength(numbers, 10 + numbers.below(31));
  record.category = kCategories[numbers.below(kCategories.size())];
  record.barcode = std::to_string(1000000000000 + numbers.below(8999999999999));
  record.note = textOfLength(numbers, 10 + numbers.below(31));
  record.available = numbers.below(2) == 0;
  record.updated = static_cast<double>(1262304000000 + numbers.below(473385600000)) / 1000;
  return record;
}

std::string recordFeed(size_t count) {
  std::string json;
  json.reserve(count * 320 + simdjson::SIMDJSON_PADDING);
  json += '[';
  char number[48];
  for (size_t i = 0; i < count; ++i) {
    const Record record = recordAt(i);
    if (i != 0) json += ",\n";
    json += "{\"identifier\":" + std::to_string(record.identifier);
    json += ",\"quantity\":" + std::to_string(record.quantity);
    snprintf(number, sizeof number, ",\"price\":%.2f", record.price);
    json += number;
    snprintf(number, sizeof number, ",\"weight\":%.3f", record.weight);
    json += number;
    json += ",\"name\":";
    appendText(json, record.name);
    json += ",\"category\":";
    appendText(json, record.category);
    json += ",\"barcode\":";
    appendText(json, record.barcode);
    json += ",\"note\":";
    appendText(json, record.note);
    json += record.available ? ",\"available\":true" : ",\"available\":false";
    json += ",\"updated\":";
    appendDate(json, record.updated);
    json += '}';
  }
  json += "]\n";
  json.reserve(json.size() + simdjson::SIMDJSON_PADDING);
  return json;
}

Tally expectedTally(size_t count) {
  Tally tally;
  for (size_t i = 0; i < count; ++i) tally.add(recordAt(i));
  return tally;
}

}  // namespace bench
