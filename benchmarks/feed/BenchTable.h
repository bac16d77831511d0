#pragma once

#include <string>

#include "feed/RecordFeed.h"

// The SQLite file of `import` and `objects`: the same settings and the same columns for every side.
namespace bench {

// Every side runs exactly these on opening its file, and changes no other setting.
inline constexpr const char* kJournalMode = "PRAGMA journal_mode = WAL";
inline constexpr const char* kSynchronous = "PRAGMA synchronous = NORMAL";

inline constexpr const char* kCreateTable =
    "CREATE TABLE record (identifier INTEGER PRIMARY KEY, quantity INTEGER, price REAL, "
    "weight REAL, name TEXT, category TEXT, barcode TEXT, note TEXT, available INTEGER, "
    "updated REAL)";
inline constexpr const char* kInsert = "INSERT INTO record VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
inline constexpr const char* kSelect =
    "SELECT identifier, quantity, price, weight, name, category, barcode, note, available, updated "
    "FROM record";

// The name of a file in the current directory that belongs to this process; whatever was left
// there of an earlier database, its log and its index included, is removed.
std::string freshFile(const char* side);

// Removes a database with its log and its index.
void removeFile(const std::string& path);

// Makes a file that holds the feed's records, its log written back: where `objects` starts from.
void writeTable(const std::string& path);

// Reads the table back; the empty string if it holds exactly the feed's records, otherwise what is
// wrong with it.
std::string problemOfTable(const std::string& path);

}  // namespace bench
