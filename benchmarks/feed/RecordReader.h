#pragma once

#include <cstdint>
#include <simdjson.h>
#include <string>
#include <string_view>

// The fastest way that we know from the feed's text to its values, for the limit of `import` and
// for the peers that bring no JSON parser of their own.
namespace bench {

// One decoded record; the texts live until the next one is read.
struct RecordView {
  int64_t identifier;
  int64_t quantity;
  double price;
  double weight;
  std::string_view name;
  std::string_view category;
  std::string_view barcode;
  std::string_view note;
  bool available;
  double updated;
};

// Seconds since 1970 of "2016-03-01T12:30:00.250Z"; throws for any other form.
double secondsOfDateText(std::string_view text);

// Calls `visit(const RecordView&)` for each record of the feed. `json` must have simdjson's padding
// in its capacity, as recordFeed() leaves it. Throws simdjson_error for what is no such feed.
template <typename Visit>
void forEachRecord(const std::string& json, Visit visit) {
  simdjson::ondemand::parser parser;
  simdjson::ondemand::document document =
      parser.iterate(simdjson::padded_string_view(json.data(), json.size(), json.capacity()));
  for (simdjson::ondemand::object object : document.get_array()) {
    RecordView record;
    record.identifier = object["identifier"];
    record.quantity = object["quantity"];
    record.price = object["price"];
    record.weight = object["weight"];
    record.name = object["name"];
    record.category = object["category"];
    record.barcode = object["barcode"];
    record.note = object["note"];
    record.available = object["available"];
    record.updated = secondsOfDateText(object["updated"]);
    visit(record);
  }
}

}  // namespace bench
