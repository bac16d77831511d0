#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include "Fuzzing.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSUUID.h>

// These files outlive no run, so nothing waits for the disk.
extern "C" int fsync(int) { return 0; }
extern "C" int fdatasync(int) { return 0; }

using namespace JNFoundation;

namespace {

namespace fs = std::filesystem;
using fuzzing::require;

const Ref<NSManagedObjectModel>& model() {
  static const Ref<NSManagedObjectModel> made = NSManagedObjectModel::modelWithXMLError(R"xml(
<model>
  <entity name="Work" isAbstract="YES">
    <attribute name="title" optional="YES" attributeType="String"/>
    <attribute name="year" optional="YES" attributeType="Integer 32"/>
    <attribute name="added" optional="YES" attributeType="Date"/>
    <relationship name="notes" optional="YES" toMany="YES" ordered="YES" deletionRule="Cascade"
        destinationEntity="Note" inverseName="about" inverseEntity="Note"/>
    <fetchIndex name="byTitle"><fetchIndexElement property="title"/></fetchIndex>
  </entity>
  <entity name="Book" parentEntity="Work">
    <attribute name="price" optional="YES" attributeType="Decimal"/>
    <attribute name="weight" optional="YES" attributeType="Double"/>
    <attribute name="sold" optional="YES" attributeType="Boolean"/>
    <attribute name="cover" optional="YES" attributeType="Binary"/>
    <attribute name="number" optional="YES" attributeType="UUID"/>
    <attribute name="page" optional="YES" attributeType="URI"/>
    <relationship name="similar" optional="YES" toMany="YES" deletionRule="Nullify"
        destinationEntity="Book" inverseName="similar" inverseEntity="Book"/>
  </entity>
  <entity name="Film" parentEntity="Work"/>
  <entity name="Note">
    <attribute name="text" attributeType="String"/>
    <relationship name="about" optional="YES" maxCount="1" deletionRule="Nullify"
        destinationEntity="Work" inverseName="notes" inverseEntity="Work"/>
    <uniquenessConstraints>
      <uniquenessConstraint><constraint value="text"/></uniquenessConstraint>
    </uniquenessConstraints>
  </entity>
</model>)xml");
  return made;
}

fs::path directory;
/// A file that is closed, and one whose last save stands in its log only.
std::string goodFile;
std::string loggedFile;
std::string goodLog;

std::string bytesOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void removeStore(const fs::path& path) {
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
    std::error_code ignored;
    fs::remove(path.string() + suffix, ignored);
  }
}

/// A failure has an error; what has an error has failed.
void requireError(bool succeeded, const Ref<NSError>& error, const char* what) {
  require(succeeded == (error == nullptr), what,
          error ? error->description()->utf8() : std::string_view("no error"));
}

Ref<NSManagedObject> insertBook(const Ref<NSManagedObjectContext>& context, int number) {
  auto book =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book", context);
  book->setValueForKey(NSString::stringWithFormat("Title %d", number), "title");
  book->setValueForKey(1900 + number, "year");
  book->setValueForKey(NSDate::dateWithTimeIntervalSinceReferenceDate(number * 1000.5), "added");
  book->setValueForKey(NSDecimalNumber::decimalNumberWithString("12.50"), "price");
  book->setValueForKey(number / 3.0, "weight");
  book->setValueForKey(number % 2 == 0, "sold");
  book->setValueForKey(NSData::dataWithBytesLength("cover", 5), "cover");
  book->setValueForKey(NSUUID::initWithUUIDString("68753A44-4D6F-1226-9C60-0050E4C00067"),
                       "number");
  book->setValueForKey(NSURL::URLWithString("https://example.com/a"), "page");
  return book;
}

/// A book with a note, and similar to the one before; it takes that one's place.
void insertRelated(const Ref<NSManagedObjectContext>& context, int number,
                   Ref<NSManagedObject>& last) {
  auto book = insertBook(context, number);
  auto note =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Note", context);
  note->setValueForKey(NSString::stringWithFormat("Note %d", number), "text");
  note->setValueForKey(book, "about");
  if (last) book->mutableSetValueForKey("similar")->addObject(last);
  last = book;
}

/// One opening of the file, with everything that an application does in it.
class Session {
 public:
  Session(const fs::path& path, bool readOnly)
      : _coordinator(NSPersistentStoreCoordinator::initWithManagedObjectModel(model())) {
    Ref<NSError> error;
    _store = _coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path.string()),
        NSDictionary::dictionaryWithEntries(
            {{NSReadOnlyPersistentStoreOption, readOnly}, {NSPersistentStoreTimeoutOption, 0.01}}),
        &error);
    requireError(_store != nullptr, error, "opening");
    _context = NSManagedObjectContext::init();
    _context->setPersistentStoreCoordinator(_coordinator);
  }

  bool isOpen() const { return _store != nullptr; }

  void fetch(const char* entity, const char* predicate, const char* key) {
    auto request = NSFetchRequest::fetchRequestWithEntityName(entity);
    if (predicate) request->setPredicate(NSPredicate::predicateWithFormat(predicate));
    if (key) {
      request->setSortDescriptors(
          NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending(key, true)));
    }
    Ref<NSError> error;
    const Ref<NSArray> found = _context->executeFetchRequestError(request, &error);
    requireError(found != nullptr, error, "fetching");
    if (!found) return;
    for (const Value& value : *found) {
      auto* object = as<NSManagedObject>(value);
      // A record that is no longer found when its values are read is gone.
      const std::string raised = fuzzing::raisedName([&] {
        const Ref<NSArray> names = object->entity()->propertiesByName()->allKeys();
        for (const Value& name : *names) {
          object->valueForKey(name.stringValue()).description();
        }
      });
      require(raised.empty() || raised == NSObjectInaccessibleException, "reading raises", raised);
    }
    error = nullptr;
    const NSUInteger count = _context->countForFetchRequestError(request, &error);
    requireError(count != NSNotFound, error, "counting");
    _last = found->lastObject();
  }

  void change() {
    insertBook(_context, 7);
    auto note = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        "Note", _context);
    note->setValueForKey("new", "text");
    if (auto* object = as<NSManagedObject>(_last)) {
      const std::string raised = fuzzing::raisedName([&] {
        object->setValueForKey("changed", "title");
        note->setValueForKey(Value(object), "about");
        object->mutableSetValueForKey("similar")->removeAllObjects();
      });
      require(raised.empty() || raised == NSObjectInaccessibleException, "writing raises", raised);
    }
    save();
    if (auto* object = as<NSManagedObject>(_last)) {
      _context->deleteObject(Ref<NSManagedObject>(object));
    }
    save();
  }

 private:
  void save() {
    Ref<NSError> error;
    bool saved = false;
    const std::string raised = fuzzing::raisedName([&] { saved = _context->save(&error); });
    require(raised.empty() || raised == NSObjectInaccessibleException, "saving raises", raised);
    if (raised.empty()) requireError(saved, error, "saving");
  }

  Ref<NSPersistentStoreCoordinator> _coordinator;
  Ref<NSPersistentStore> _store;
  Ref<NSManagedObjectContext> _context;
  Value _last;
};

struct Files {
  std::string file;
  std::string log;
};

/// The good file with changes: each is a place (two bytes, low one first) and a count, then that
/// many bytes to put there; without bytes the file ends there. A count from 128 on means a place in
/// the log, and the file that has one.
Files changedFiles(std::string_view changes) {
  Files files{goodFile, {}};
  for (std::string_view rest = changes; rest.size() >= 3;) {
    const auto count = static_cast<unsigned char>(rest[2]);
    if (count >= 128) files = {loggedFile, goodLog};
    rest.remove_prefix(std::min<std::size_t>(rest.size(), 3 + count % 16));
  }
  while (changes.size() >= 3) {
    std::string& file = static_cast<unsigned char>(changes[2]) >= 128 ? files.log : files.file;
    const auto at = static_cast<unsigned char>(changes[0]) +
                    (static_cast<std::size_t>(static_cast<unsigned char>(changes[1])) << 8);
    const std::string_view bytes = changes.substr(3, static_cast<unsigned char>(changes[2]) % 16);
    changes.remove_prefix(3 + bytes.size());
    if (bytes.empty()) {
      file.resize(std::min(file.size(), at));
    } else if (at < file.size()) {
      file.replace(at, bytes.size(), bytes);
    }
  }
  return files;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  directory = fs::path(*count > 0 ? (*arguments)[0] : "").parent_path() /
              ("store-" + std::to_string(getpid()));
  fs::create_directories(directory);
  std::atexit([] {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
  });
  const MainQueueScope queue;
  const fs::path path = directory / "good.sqlite";
  {
    auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model());
    Ref<NSError> error;
    coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path.string()), nullptr, &error);
    requireError(true, error, "making the good file");
    auto context = NSManagedObjectContext::init();
    context->setPersistentStoreCoordinator(coordinator);
    Ref<NSManagedObject> last;
    for (int i = 0; i < 5; ++i) insertRelated(context, i, last);
    requireError(context->save(&error), error, "filling the good file");
    loggedFile = bytesOf(path);
    goodLog = bytesOf(path.string() + "-wal");
  }
  goodFile = bytesOf(path);
  require(!goodLog.empty(), "there is no log");
  removeStore(path);
  require(goodFile.size() > 4096, "the good file is empty");
  return 0;
}

// A store whose file is the input, or the good file with the changes that the input lists, is
// refused and left as it is, or works: every operation succeeds or has an error.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = fuzzing::textOf(data, size);
  const Files files =
      input.starts_with("SQLite format 3") ? Files{std::string(input), {}} : changedFiles(input);
  const std::string& file = files.file;
  const fs::path path = directory / "fuzzed.sqlite";
  removeStore(path);
  std::ofstream(path, std::ios::binary) << file;
  if (!files.log.empty()) std::ofstream(path.string() + "-wal", std::ios::binary) << files.log;
  const MainQueueScope queue;
  {
    Session session(path, true);
    if (session.isOpen()) session.fetch("Work", "title CONTAINS[c] 't' AND year > 1900", "title");
  }
  require(bytesOf(path) == file, "a file that was only read has changed");
  bool opened = false;
  {
    Session session(path, false);
    opened = session.isOpen();
    if (opened) {
      session.fetch("Book", nullptr, "added");
      session.change();
      session.fetch("Book", "price > 1 AND title BEGINSWITH 'T'", "price");
      session.fetch("Work", "ANY notes.text CONTAINS 'o' OR title != nil", "title");
      session.fetch("Note", "about.year > 1900", "about.title");
    }
  }
  require(opened || bytesOf(path) == file, "a file that was refused has changed");
  return 0;
}
