#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The records of `import` and `objects`, the same on every machine and in every run.
namespace bench {

inline constexpr size_t kRecords = 100000;

// One record of ten keys, as the application would keep it.
struct Record {
  int64_t identifier = 0;
  int64_t quantity = 0;
  double price = 0;
  double weight = 0;
  std::string name;
  std::string category;
  std::string barcode;
  std::string note;
  bool available = false;
  // Seconds since 1970; in the feed an RFC 3339 text such as "2016-03-01T12:30:00.250Z".
  double updated = 0;
};

// The record of that number: strings of 10 to 40 characters, some of them beyond ASCII, some with
// characters that JSON escapes.
Record recordAt(size_t index);

// The feed: a JSON array of the first `count` records, an object each, keys in the order of
// Record's members. The string's capacity leaves the room behind its end that simdjson wants.
std::string recordFeed(size_t count = kRecords);

// What reading every attribute of some records adds up to: the proof that they were all read.
struct Tally {
  int64_t integers = 0;
  double doubles = 0;
  uint64_t bytes = 0;
  int64_t available = 0;

  void add(int64_t identifier, int64_t quantity, double price, double weight, size_t textBytes,
           bool isAvailable, double updated) {
    integers += identifier + quantity;
    doubles += price + weight + updated;
    bytes += textBytes;
    available += isAvailable ? 1 : 0;
  }

  void add(const Record& record) {
    add(record.identifier, record.quantity, record.price, record.weight,
        record.name.size() + record.category.size() + record.barcode.size() + record.note.size(),
        record.available, record.updated);
  }

  bool operator==(const Tally&) const = default;
};

// The tally of the first `count` records, added in their order.
Tally expectedTally(size_t count = kRecords);

}  // namespace bench
