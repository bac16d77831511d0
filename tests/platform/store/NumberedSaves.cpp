#include "NumberedSaves.h"

#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::testing {
namespace {

constexpr std::size_t mostBatches = 30;
constexpr std::int64_t tags = 5;

/// Spreads the bits of a number over all of them.
std::uint64_t mixed(std::uint64_t bits) {
  bits += 0x9e3779b97f4a7c15u;
  bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9u;
  bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebu;
  return bits ^ (bits >> 31);
}

std::uint64_t mixed(std::uint64_t seed, std::int64_t first, std::int64_t second = 0,
                    std::int64_t third = 0) {
  std::uint64_t bits = seed;
  for (const std::int64_t number : {first, second, third}) {
    bits = mixed(bits ^ static_cast<std::uint64_t>(number));
  }
  return bits;
}

std::int64_t sumOfText(std::string_view text) {
  std::uint64_t sum = text.size();
  for (const char letter : text) sum = sum * 31 + static_cast<unsigned char>(letter);
  return static_cast<std::int64_t>(sum >> 32);
}

Ref<NSEntityDescription> entity(const char* name, std::vector<Value> properties) {
  auto made = NSEntityDescription::init();
  made->setName(name);
  made->setProperties(NSArray::arrayWithValues(std::move(properties)));
  return made;
}

Ref<NSAttributeDescription> attribute(const char* name, NSAttributeType type) {
  return NSAttributeDescription::attributeWithNameType(name, type);
}

/// A relationship to one, or to many for a count of 0.
Ref<NSRelationshipDescription> relationship(const char* name,
                                            const Ref<NSEntityDescription>& destination,
                                            NSUInteger count,
                                            NSDeleteRule rule = NSNullifyDeleteRule) {
  auto made = NSRelationshipDescription::init();
  made->setName(name);
  made->setDestinationEntity(destination);
  made->setMaxCount(count);
  made->setDeleteRule(rule);
  return made;
}

std::int64_t integerOf(const NSManagedObject& object, const char* key) {
  return object.valueForKey(key).longLongValue();
}

Ref<NSFetchRequest> requestFor(const char* entity, const char* key = nullptr,
                               std::int64_t value = 0) {
  auto request = NSFetchRequest::fetchRequestWithEntityName(entity);
  if (key) request->setPredicate(NSPredicate::predicateWithFormat("%K == %lld", key, value));
  return request;
}

}  // namespace

/// Makes changes in a context until one fails.
class NumberedSaves::Editor {
 public:
  explicit Editor(const Ref<NSManagedObjectContext>& context) : _context(context) {}

  const Ref<NSError>& error() const { return _error; }

  /// Calls the block with each object of the entity whose key has the value.
  template <class Block>
  void forEach(const char* entity, const char* key, std::int64_t value, Block block) {
    if (_error) return;
    const Ref<NSArray> found =
        _context->executeFetchRequestError(requestFor(entity, key, value), &_error);
    if (!found) return;
    for (const Value& object : *found) block(*as<NSManagedObject>(object));
  }

  Ref<NSManagedObject> insert(const char* entity) {
    return NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity,
                                                                                      _context);
  }

  void erase(const char* entity, const char* key, std::int64_t value) {
    forEach(entity, key, value,
            [this](NSManagedObject& object) { _context->deleteObject(Ref(&object)); });
  }

 private:
  Ref<NSManagedObjectContext> _context;
  Ref<NSError> _error;
};

Ref<NSManagedObjectModel> NumberedSaves::model() {
  auto item = entity("Item", {}), batch = entity("Batch", {}), tag = entity("Tag", {});
  auto items = relationship("members", item, 0, NSCascadeDeleteRule);
  items->setOrdered(true);
  auto owner = relationship("owner", batch, 1);
  items->setInverseRelationship(owner);
  owner->setInverseRelationship(items);
  auto tagged = relationship("tags", tag, 0), batches = relationship("batches", batch, 0);
  tagged->setInverseRelationship(batches);
  batches->setInverseRelationship(tagged);
  item->setProperties(NSArray::arrayWithObjects(attribute("batch", NSInteger64AttributeType),
                                                attribute("position", NSInteger64AttributeType),
                                                attribute("text", NSStringAttributeType), owner));
  batch->setProperties(NSArray::arrayWithObjects(
      attribute("number", NSInteger64AttributeType), attribute("items", NSInteger64AttributeType),
      attribute("sum", NSInteger64AttributeType), items, tagged));
  tag->setProperties(
      NSArray::arrayWithObjects(attribute("number", NSInteger64AttributeType), batches));
  item->setIndexes(NSArray::arrayWithObjects(NSArray::arrayWithObjects("batch")));
  auto ledger = entity("Ledger", {attribute("identity", NSInteger64AttributeType),
                                  attribute("number", NSInteger64AttributeType),
                                  attribute("batches", NSInteger64AttributeType),
                                  attribute("sum", NSInteger64AttributeType)});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(item, batch, tag, ledger));
  return model;
}

std::string NumberedSaves::textOf(std::int64_t batch, std::int64_t position) const {
  std::uint64_t bits = mixed(_seed, batch, position, _batches.at(batch).revision);
  // Most fit a page many times, some take pages of their own.
  const std::size_t length = bits % 32 == 0 ? (bits >> 8) % 9000 : (bits >> 8) % 120;
  std::string text;
  while (text.size() < length) {
    bits = mixed(bits);
    text += std::to_string(bits);
  }
  text.resize(length);
  return text;
}

/// A bit for each tag.
std::uint64_t NumberedSaves::tagsOf(std::int64_t batch) const {
  return mixed(_seed, batch, -1, _batches.at(batch).revision) % (1u << tags);
}

std::int64_t NumberedSaves::sumOf(std::int64_t batch) const {
  std::int64_t sum = 0;
  for (std::int64_t i = 0; i < _batches.at(batch).items; ++i) sum += sumOfText(textOf(batch, i));
  return sum;
}

std::int64_t NumberedSaves::sum() const {
  std::int64_t sum = 0;
  for (const auto& [number, batch] : _batches) sum += number + batch.items + batch.revision;
  return sum;
}

bool NumberedSaves::change(const Ref<NSManagedObjectContext>& context, Ref<NSError>* error) {
  Editor editor(context);
  change(&editor);
  if (!editor.error()) return true;
  if (error) *error = editor.error();
  return false;
}

void NumberedSaves::goTo(std::int64_t number) {
  while (_number < number) change(nullptr);
}

void NumberedSaves::change(Editor* editor) {
  ++_number;
  std::uint64_t bits = mixed(_seed, _number);
  const auto below = [&bits](std::uint64_t limit) {
    bits = mixed(bits);
    return bits % limit;
  };
  const auto anyBatch = [&] {
    return std::next(_batches.begin(), static_cast<std::ptrdiff_t>(below(_batches.size())));
  };
  while (!_batches.empty() && (_batches.size() >= mostBatches || below(8) == 0)) {
    const auto gone = anyBatch();
    if (editor) editor->erase("Batch", "number", gone->first);
    _batches.erase(gone);
  }
  for (std::uint64_t i = below(3); i > 0 && !_batches.empty(); --i) {
    const auto changed = anyBatch();
    const std::int64_t batch = changed->first;
    changed->second.revision = _number;
    ++changed->second.turns;
    if (!editor) continue;
    editor->forEach("Batch", "number", batch, [&](NSManagedObject& record) {
      const Ref<NSMutableOrderedSet> members = record.mutableOrderedSetValueForKey("members");
      for (const Value& item : members->array()) {
        auto& member = *as<NSManagedObject>(item);
        const std::int64_t position = integerOf(member, "position");
        member.setValueForKey(NSString::fromText(textOf(batch, position)), "text");
      }
      if (const Value first = members->takeFirstObject(); !first.isNull()) {
        members->addObject(first);
      }
      rewrite(*editor, record, batch);
    });
  }
  const auto items = static_cast<std::int64_t>(below(16) == 0 ? below(200) : below(12));
  _batches[_number] = {items, _number, 0};
  if (!editor) return;
  for (std::int64_t i = 0; _number == 1 && i < tags; ++i) {
    editor->insert("Tag")->setValueForKey(i, "number");
  }
  auto batch = editor->insert("Batch");
  for (std::int64_t i = 0; i < items; ++i) {
    auto item = editor->insert("Item");
    item->setValueForKey(_number, "batch");
    item->setValueForKey(i, "position");
    item->setValueForKey(NSString::fromText(textOf(_number, i)), "text");
    // Either end will do.
    if (i % 2 == 0) {
      item->setValueForKey(batch, "owner");
    } else {
      batch->mutableOrderedSetValueForKey("members")->addObject(item);
    }
  }
  batch->setValueForKey(_number, "number");
  batch->setValueForKey(items, "items");
  rewrite(*editor, *batch, _number);
  if (_number == 1) editor->insert("Ledger")->setValueForKey(1, "identity");
  editor->forEach("Ledger", "identity", 1, [this](NSManagedObject& ledger) {
    ledger.setValueForKey(_number, "number");
    ledger.setValueForKey(static_cast<std::int64_t>(_batches.size()), "batches");
    ledger.setValueForKey(sum(), "sum");
  });
}

/// What a batch says of itself beside its items.
void NumberedSaves::rewrite(Editor& editor, NSManagedObject& batch, std::int64_t number) const {
  batch.setValueForKey(sumOf(number), "sum");
  std::vector<Value> chosen;
  for (std::int64_t i = 0; i < tags; ++i) {
    if ((tagsOf(number) >> i & 1) == 0) continue;
    editor.forEach("Tag", "number", i, [&](NSManagedObject& tag) { chosen.emplace_back(&tag); });
  }
  batch.setValueForKey(NSSet::setWithValues(std::move(chosen)), "tags");
}

/// What is wrong with whom the batch leads to.
std::string NumberedSaves::differenceOfBatch(const NSManagedObject& batch) const {
  const std::int64_t number = integerOf(batch, "number");
  const Batch& known = _batches.at(number);
  const Value members = batch.valueForKey("members"), chosen = batch.valueForKey("tags");
  const auto& items = *as<NSOrderedSet>(members);
  const std::string name = "batch " + std::to_string(number);
  if (static_cast<std::int64_t>(items.count()) != known.items) {
    return name + " leads to " + std::to_string(items.count()) + " items";
  }
  for (std::int64_t i = 0; i < known.items; ++i) {
    const Value item = items.objectAtIndex(static_cast<NSUInteger>(i));
    const auto& member = *as<NSManagedObject>(item);
    if (integerOf(member, "batch") != number ||
        integerOf(member, "position") != (i + known.turns) % known.items) {
      return name + " has its items in another order";
    }
    if (member.valueForKey("owner").object() != &batch)
      return name + " is not the owner of its items";
  }
  std::uint64_t found = 0;
  for (const Value& tag : *as<NSSet>(chosen)) {
    found |= std::uint64_t{1} << integerOf(*as<NSManagedObject>(tag), "number");
  }
  return found == tagsOf(number) ? std::string() : name + " has other tags";
}

std::string NumberedSaves::difference(const Ref<NSManagedObjectContext>& context) const {
  Ref<NSError> error;
  const std::int64_t found = numberIn(context, &error);
  if (found < 0) return error->description()->toStdString();
  if (found != _number) {
    return "the ledger is at " + std::to_string(found) + " and not at " + std::to_string(_number);
  }
  std::set<std::pair<std::int64_t, std::int64_t>> missing;
  for (const auto& [number, batch] : _batches) {
    for (std::int64_t i = 0; i < batch.items; ++i) missing.emplace(number, i);
  }
  for (const char* kind : {"Ledger", "Batch", "Item"}) {
    const Ref<NSArray> objects = context->executeFetchRequestError(requestFor(kind), &error);
    if (!objects) return error->description()->toStdString();
    const std::string_view entity = kind;
    const std::size_t expected = entity == "Batch" ? _batches.size() : _number > 0 ? 1 : 0;
    if (entity != "Item" && objects->count() != expected) {
      return std::string(kind) + " has " + std::to_string(objects->count()) + " records and not " +
             std::to_string(expected);
    }
    for (const Value& value : *objects) {
      const NSManagedObject& object = *as<NSManagedObject>(value);
      bool agrees = false;
      if (entity == "Ledger") {
        agrees = integerOf(object, "sum") == sum() &&
                 integerOf(object, "batches") == static_cast<std::int64_t>(_batches.size());
      } else {
        const std::int64_t batch = integerOf(object, entity == "Item" ? "batch" : "number");
        const auto known = _batches.find(batch);
        if (known == _batches.end()) {
          agrees = false;
        } else if (entity == "Batch") {
          agrees = integerOf(object, "items") == known->second.items &&
                   integerOf(object, "sum") == sumOf(batch);
          const std::string problem = agrees ? differenceOfBatch(object) : std::string();
          if (!problem.empty()) return problem;
        } else {
          const std::int64_t position = integerOf(object, "position");
          const Value text = object.valueForKey("text");
          agrees = missing.erase({batch, position}) == 1 && text.isString() &&
                   as<NSString>(text)->utf8() == textOf(batch, position);
        }
      }
      if (!agrees) return "unexpected: " + object.description()->toStdString();
    }
  }
  if (!missing.empty()) {
    return "batch " + std::to_string(missing.begin()->first) + " lacks items, the first is " +
           std::to_string(missing.begin()->second);
  }
  return {};
}

std::int64_t NumberedSaves::numberIn(const Ref<NSManagedObjectContext>& context,
                                     Ref<NSError>* error) {
  const Ref<NSArray> ledgers = context->executeFetchRequestError(requestFor("Ledger"), error);
  if (!ledgers) return -1;
  if (ledgers->count() == 0) return 0;
  const Value ledger = ledgers->firstObject();
  return integerOf(*as<NSManagedObject>(ledger), "number");
}

}  // namespace JNFoundation::testing
