#include "JNFoundation/platform/store/impl/SectionCache.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

namespace fs = std::filesystem;

constexpr const char* kEnding = ".sections";

struct Directory {
  std::mutex mutex;
  /// Guarded by the mutex.
  std::string path;
};

Directory& cacheDirectory() {
  static Directory& instance = *new Directory;
  return instance;
}

std::string directoryPath() {
  std::lock_guard guard(cacheDirectory().mutex);
  return cacheDirectory().path;
}

/// The name as part of a file's: whatever is no letter or digit is written as its number.
std::string fileNameOf(std::string_view name) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const char each : name) {
    const auto byte = static_cast<unsigned char>(each);
    const bool isPlain = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                         (byte >= 'A' && byte <= 'Z') || byte == '-';
    if (isPlain) {
      text += each;
    } else {
      text += {'_', digits[byte / 16], digits[byte % 16]};
    }
  }
  return text + kEnding;
}

/// Size and time of the file, or that there is nothing in it.
void appendState(std::ostringstream& text, const std::string& path) {
  std::error_code failure;
  const auto size = fs::file_size(path, failure);
  if (failure || size == 0) {
    text << " -";
    return;
  }
  const auto time = fs::last_write_time(path, failure);
  text << ' ' << size << '@' << static_cast<std::int64_t>(time.time_since_epoch().count());
}

std::string descriptionOf(const Value& value) { return value.description()->toStdString(); }

}  // namespace

SectionCache::SectionCache(const Ref<NSString>& name, const ResultOrder& order,
                           const NSManagedObjectContext& context, const NSFetchRequest& request,
                           const Ref<NSString>& sectionKeyPath) {
  if (!name || !order.hasSections()) return;
  const std::string directory = directoryPath();
  // What is not saved is in no store whose state could be compared.
  if (directory.empty() || context.hasChanges()) return;
  std::ostringstream stamp;
  stamp << order.entity()->name()->utf8() << ' ' << order.entity()->versionHash()->utf8() << ' '
        << request.includesSubentities() << ' ' << request.fetchOffset() << ' '
        << request.fetchLimit() << '\n'
        << descriptionOf(Value(request.predicate())) << '\n'
        << descriptionOf(Value(request.sortDescriptors())) << '\n'
        << sectionKeyPath->utf8() << '\n';
  const Ref<NSArray> stores = context.persistentStoreCoordinator()->persistentStores();
  for (const Value& value : stores) {
    const auto* store = as<NSPersistentStore>(value);
    // A store without a file does not outlive the process.
    if (store->type()->utf8() != NSSQLiteStoreType || !store->URL()) return;
    const std::string path = store->URL()->path()->toStdString();
    stamp << store->identifier()->utf8();
    appendState(stamp, path);
    appendState(stamp, path + "-wal");
    stamp << '\n';
  }
  _path = (fs::path(directory) / fileNameOf(name->utf8())).string();
  _stamp = stamp.str();
}

std::optional<FetchedResults::SectionLengths> SectionCache::read() const {
  if (_path.empty()) return std::nullopt;
  std::ifstream file(_path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  const Value content = NSJSONSerialization::JSONObjectWithTextOptionsError(
      text.str(), NSJSONReadingOptions(), nullptr);
  const auto* entries = as<NSDictionary>(content);
  if (!entries) return std::nullopt;
  const Value stamp = entries->objectForKey("stamp"), names = entries->objectForKey("names"),
              lengths = entries->objectForKey("lengths");
  const auto* nameList = as<NSArray>(names);
  const auto* lengthList = as<NSArray>(lengths);
  if (!stamp.isEqual(Value(_stamp)) || !nameList || !lengthList ||
      nameList->count() != lengthList->count()) {
    return std::nullopt;
  }
  FetchedResults::SectionLengths sections;
  for (NSUInteger i = 0; i < nameList->count(); ++i) {
    const Value name = nameList->objectAtIndex(i), length = lengthList->objectAtIndex(i);
    if (!name.isString() || !length.isNumber() || length.longLongValue() <= 0) return std::nullopt;
    sections.emplace_back(as<NSString>(name), static_cast<std::size_t>(length.longLongValue()));
  }
  return sections;
}

void SectionCache::write(const FetchedResults::SectionLengths& lengths) const {
  if (_path.empty()) return;
  std::vector<Value> names, counts;
  for (const auto& [name, length] : lengths) {
    names.emplace_back(name);
    counts.emplace_back(length);
  }
  NSDictionary::Builder builder(3);
  builder.set("stamp"_s, Value(_stamp));
  builder.set("names"_s, Value(NSArray::arrayWithValues(std::move(names))));
  builder.set("lengths"_s, Value(NSArray::arrayWithValues(std::move(counts))));
  const Ref<NSString> text = NSJSONSerialization::stringWithJSONObjectOptionsError(
      Value(builder.finish()), NSJSONWritingOptions(), nullptr);
  if (!text) return;
  // A cache that cannot be kept is done without. Readers see the old file or the new one.
  std::error_code ignored;
  fs::create_directories(fs::path(_path).parent_path(), ignored);
  const std::string draft = _path + "." + NSUUID::UUID()->UUIDString()->toStdString();
  {
    std::ofstream file(draft, std::ios::binary);
    file << text->utf8();
    if (!file.flush()) {
      file.close();
      fs::remove(draft, ignored);
      return;
    }
  }
  fs::rename(draft, _path, ignored);
  if (ignored) fs::remove(draft, ignored);
}

void SectionCache::setDirectory(const Ref<NSString>& path) {
  std::lock_guard guard(cacheDirectory().mutex);
  cacheDirectory().path = path ? path->toStdString() : std::string();
}

Ref<NSString> SectionCache::directory() {
  const std::string path = directoryPath();
  return path.empty() ? nullptr : Ref<NSString>(path);
}

void SectionCache::remove(const Ref<NSString>& name) {
  const std::string directory = directoryPath();
  if (directory.empty()) return;
  std::error_code ignored;
  if (name) {
    fs::remove(fs::path(directory) / fileNameOf(name->utf8()), ignored);
    return;
  }
  for (fs::directory_iterator file(directory, ignored), end; !ignored && file != end;
       file.increment(ignored)) {
    if (file->path().extension() == kEnding) {
      std::error_code failure;
      fs::remove(file->path(), failure);
    }
  }
}

}  // namespace JNFoundation::impl
