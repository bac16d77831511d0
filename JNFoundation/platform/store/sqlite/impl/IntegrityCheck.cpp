#include "JNFoundation/platform/store/sqlite/impl/IntegrityCheck.h"

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/LongWork.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

constexpr std::size_t mostFindings = 100;

/// Says of which record a property leads to which.
auto ledAstray(const NSEntityDescription& entity, const NSString& property) {
  std::string middle = " of '" + entity.name()->toStdString() + "': its '" +
                       property.toStdString() + "' leads to the record ";
  return [middle = std::move(middle)](const Statement& row) {
    std::string text = "The record ";
    text += row.text(0);
    text += middle;
    text += row.text(1);
    return text + ", which is of another entity.";
  };
}

/// How SQLite calls the values that stand for those of the type. Null where any may stand.
const char* storedKind(NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSBooleanAttributeType:
      return "integer";
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSDateAttributeType:
      return "real";
    case NSBinaryDataAttributeType:
      return "blob";
    case NSStringAttributeType:
    case NSDecimalAttributeType:
    case NSUUIDAttributeType:
    case NSURIAttributeType:
      return "text";
    default:
      return nullptr;
  }
}

}  // namespace

IntegrityCheck::IntegrityCheck(Database& database, const Schema& schema,
                               const NSManagedObjectModel& model, const LongWork& work)
    : _database(database), _schema(schema), _model(model) {
  constexpr int stepsBetweenLooks = 10'000;
  sqlite3_progress_handler(
      database.handle(), stepsBetweenLooks,
      [](void* data) { return static_cast<const LongWork*>(data)->isToEnd() ? 1 : 0; },
      const_cast<LongWork*>(&work));
}

IntegrityCheck::~IntegrityCheck() {
  sqlite3_progress_handler(_database.handle(), 0, nullptr, nullptr);
}

bool IntegrityCheck::isFull() const noexcept { return _findings.size() >= mostFindings; }

void IntegrityCheck::add(const std::string& sentence) {
  if (!isFull()) _findings.emplace_back(sentence);
}

template <class Sentence>
bool IntegrityCheck::collect(const std::string& sql, Sentence&& sentence) {
  Statement rows = _database.prepare(sql);
  Statement::Step step = Statement::Step::Failed;
  if (rows) {
    while (!isFull() && (step = rows.step()) == Statement::Step::Row) {
      const std::string text = sentence(rows);
      if (!text.empty()) add(text);
    }
  }
  if (step != Statement::Step::Failed) return true;
  const int code = _database.lastCode() & 0xff;
  // A table that is not there, or not as it was made, is an error of SQL.
  if (code != SQLITE_CORRUPT && code != SQLITE_NOTADB && code != SQLITE_ERROR) return false;
  add("The file is damaged: " + std::string(sqlite3_errmsg(_database.handle())) + ".");
  return true;
}

bool IntegrityCheck::run() {
  if (!checkFile() || !checkReferences() || !checkTables()) return false;
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    if (&entity->layout().root() == entity.get() && !checkRecords(*entity)) return false;
  }
  return true;
}

bool IntegrityCheck::checkFile() {
  std::string unread;
  const bool isDone = collect("PRAGMA integrity_check(" + std::to_string(mostFindings) + ")",
                              [&](const Statement& row) {
                                const std::string text(row.text(0));
                                // A disk that fails to read says nothing about the file.
                                if (text.find("unable to get the page. error code=") != text.npos)
                                  unread = text;
                                return text == "ok" ? std::string() : "The file: " + text + ".";
                              });
  return unread.empty() ? isDone : _database.refuse(SQLITE_IOERR_READ, unread);
}

bool IntegrityCheck::checkReferences() {
  return collect("PRAGMA foreign_key_check", [](const Statement& row) {
    return "The table " + std::string(row.text(0)) + ", row " + std::string(row.text(1)) +
           ": refers to a row that the table " + std::string(row.text(2)) + " does not have.";
  });
}

/// The store's own tables say which tables and columns there are, and agree with each other.
bool IntegrityCheck::checkTables() {
  const auto entitySays = [](const Statement& row) {
    return "The entity '" + std::string(row.text(0)) + "': " + std::string(row.text(1)) + ".";
  };
  return collect(
             "SELECT CASE count(*) WHEN 0 THEN 'no' ELSE 'more than one' END FROM jn_metadata "
             "WHERE key = 'identifier' HAVING count(*) <> 1",
             [](const Statement& row) {
               return "The store has " + std::string(row.text(0)) + " identifier.";
             }) &&
         collect("SELECT e.name, 'its number is ' || e.number FROM jn_entity e WHERE e.number < 1",
                 entitySays) &&
         collect(
             "SELECT e.name, 'the table ' || e.table_name || ' is missing' FROM jn_entity e "
             "WHERE NOT EXISTS (SELECT 1 FROM sqlite_schema s WHERE s.type = 'table' AND "
             "s.name = e.table_name)",
             entitySays) &&
         collect(
             "SELECT e.name, 'it is below an entity that is not in its table' FROM jn_entity e "
             "LEFT JOIN jn_entity r ON r.number = e.root WHERE r.root IS NOT e.root OR "
             "r.table_name IS NOT e.table_name",
             entitySays) &&
         collect(
             "SELECT e.name, 'the next number of a record is ' || e.next_key FROM jn_entity e "
             "WHERE typeof(e.next_key) <> 'integer' OR e.next_key < 1",
             entitySays) &&
         collect(
             "SELECT e.name, 'the column ' || c.column_name || ' of ' || c.property || ' is "
             "missing' FROM jn_column c JOIN jn_entity e ON e.number = c.entity WHERE NOT "
             "EXISTS (SELECT 1 FROM pragma_table_info(e.table_name) i WHERE i.name = "
             "c.column_name)",
             entitySays) &&
         collect(
             "SELECT c.property, 'its entity has the number ' || c.entity || ', which none "
             "has' FROM jn_column c LEFT JOIN jn_entity e ON e.number = c.entity WHERE "
             "e.number IS NULL",
             [](const Statement& row) {
               return "The column of '" + std::string(row.text(0)) +
                      "': " + std::string(row.text(1)) + ".";
             }) &&
         collect(
             "SELECT e.name, 'the table ' || l.table_name || ' of ' || l.property || ' is missing' "
             "FROM jn_link l JOIN jn_entity e ON e.number = l.entity WHERE NOT EXISTS (SELECT 1 "
             "FROM sqlite_schema s WHERE s.type = 'table' AND s.name = l.table_name)",
             entitySays) &&
         collect(
             "SELECT e.name, 'a column of the table ' || l.table_name || ' of ' || l.property || "
             "' is missing' FROM jn_link l JOIN jn_entity e ON e.number = l.entity WHERE (SELECT "
             "count(*) FROM pragma_table_info(l.table_name) i WHERE i.name IN (l.near_column, "
             "l.far_column, l.position_column)) < 2 + (l.position_column IS NOT NULL)",
             entitySays) &&
         collect(
             "SELECT l.property, l.entity FROM jn_link l LEFT JOIN jn_entity e ON e.number = "
             "l.entity WHERE e.number IS NULL",
             [](const Statement& row) {
               return "The table of '" + std::string(row.text(0)) +
                      "': its entity has the number " + std::string(row.text(1)) +
                      ", which none has.";
             });
}

bool IntegrityCheck::checkRecords(const NSEntityDescription& root) {
  const Schema::EntityMap& map = _schema.of(root);
  const std::string concrete = numbersOf(root);
  const std::string name = root.name()->toStdString();
  const auto recordSays = [&](const Statement& row) {
    return "The record " + std::string(row.text(0)) + " of '" + name +
           "': " + std::string(row.text(1)) + ".";
  };
  const std::string from = " FROM " + map.table + " WHERE ";
  return collect(
             "SELECT _pk, 'its entity has the number ' || _entity || ', which none that can "
             "have records has'" +
                 from + "_entity NOT IN (" + concrete + ")",
             recordSays) &&
         collect("SELECT _pk, 'its version is ' || _version" + from +
                     "typeof(_version) <> 'integer' OR _version < 1",
                 recordSays) &&
         collect("SELECT _pk, 'its number has not been given away'" + from +
                     "_pk < 1 OR _pk >= (SELECT next_key FROM jn_entity WHERE number = " +
                     std::to_string(map.number) + ")",
                 recordSays) &&
         checkValues(map) && checkReferences(map);
}

std::string IntegrityCheck::numbersOf(const NSEntityDescription& entity) const {
  std::string numbers;
  for (const NSEntityDescription* member : entity.layout().family()) {
    if (!numbers.empty()) numbers += ", ";
    numbers += std::to_string(_schema.of(*member).number);
  }
  return numbers;
}

bool IntegrityCheck::checkValues(const Schema::EntityMap& rootMap) {
  // Abstract entities have columns, too.
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    if (&entity->layout().root() != rootMap.entity) continue;
    const Schema::EntityMap& map = _schema.of(*entity);
    for (const Schema::Column& column : map.columns) {
      const char* kind = column.destination ? "integer" : storedKind(column.type);
      // What is inherited has been looked at.
      if (!kind ||
          (entity->superentity() && column.attribute < entity->superentity()->layout().count())) {
        continue;
      }
      const std::string attribute = " of '" + entity->name()->toStdString() + "': the value of '" +
                                    entity->layout()[column.attribute].name->toStdString() +
                                    "' is stored as ";
      const auto recordSays = [&](const Statement& row) {
        std::string text = "The record ";
        text += row.text(0);
        text += attribute;
        text += row.text(1);
        text += ", not as ";
        text += kind;
        return text + ".";
      };
      std::string sql = "SELECT _pk, typeof(" + column.name + ") FROM " + map.table;
      sql += " WHERE typeof(" + column.name + ") NOT IN ('null', '" + kind + "')";
      if (!collect(sql, recordSays)) {
        return false;
      }
    }
  }
  return true;
}

/// Whether what records lead to is of the entity that the model says. That it is there at all is
/// SQLite's to check, where it has to be.
bool IntegrityCheck::checkReferences(const Schema::EntityMap& rootMap) {
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    if (&entity->layout().root() != rootMap.entity) continue;
    const EntityLayout& layout = entity->layout();
    const Ref<NSEntityDescription> above = entity->superentity();
    const std::size_t inherited = above ? above->layout().count() : 0;
    for (const Schema::Column& column : _schema.of(*entity).columns) {
      if (!column.destination || column.attribute < inherited) continue;
      if (!checkColumn(*entity, column)) return false;
    }
    for (const std::size_t number : layout.toManys()) {
      const NSRelationshipDescription& relationship = *layout[number].relationship;
      if (number < inherited || relationship.isTransient()) continue;
      const Schema::Link& link = _schema.of(relationship);
      if (link.hasOwnTable && !checkPairs(*entity, relationship, link)) return false;
    }
  }
  return true;
}

bool IntegrityCheck::checkColumn(const NSEntityDescription& entity, const Schema::Column& column) {
  const std::string& name = column.name;
  std::string wrong = "far._entity NOT IN (" + numbersOf(*column.destination) + ")";
  if (!column.entityColumn.empty()) {
    wrong = "(near." + name + " IS NULL) <> (near." + column.entityColumn + " IS NULL) OR near." +
            column.entityColumn + " <> far._entity OR " + wrong;
  }
  return collect("SELECT near._pk, near." + name + " FROM " + _schema.of(entity).table +
                     " near LEFT JOIN " + _schema.of(*column.destination).table +
                     " far ON far._pk = near." + name + " WHERE " + wrong,
                 ledAstray(entity, *entity.layout()[column.attribute].name));
}

bool IntegrityCheck::checkPairs(const NSEntityDescription& entity,
                                const NSRelationshipDescription& relationship,
                                const Schema::Link& link) {
  const auto sql = [&](const NSEntityDescription& member, const std::string& end) {
    return "SELECT pair." + link.near + ", pair." + link.far + " FROM " + link.table +
           " pair JOIN " + _schema.of(member).table + " record ON record._pk = pair." + end +
           " WHERE record._entity NOT IN (" + numbersOf(member) + ")";
  };
  const auto sentence = ledAstray(entity, *relationship.name());
  return collect(sql(entity, link.near), sentence) &&
         collect(sql(*link.destination, link.far), sentence);
}

}  // namespace JNFoundation::impl
