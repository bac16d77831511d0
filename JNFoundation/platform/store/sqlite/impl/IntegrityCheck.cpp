#include "JNFoundation/platform/store/sqlite/impl/IntegrityCheck.h"

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/LongWork.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>

namespace JNFoundation::impl {
namespace {

constexpr std::size_t mostFindings = 100;

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
             });
}

bool IntegrityCheck::checkRecords(const NSEntityDescription& root) {
  const Schema::EntityMap& map = _schema.of(root);
  std::string concrete;
  for (const NSEntityDescription* entity : root.layout().family()) {
    if (entity->isAbstract()) continue;
    if (!concrete.empty()) concrete += ", ";
    concrete += std::to_string(_schema.of(*entity).number);
  }
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
         checkValues(map);
}

bool IntegrityCheck::checkValues(const Schema::EntityMap& rootMap) {
  // Abstract entities have columns, too.
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    if (&entity->layout().root() != rootMap.entity) continue;
    const Schema::EntityMap& map = _schema.of(*entity);
    for (const Schema::Column& column : map.columns) {
      const char* kind = storedKind(column.type);
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

}  // namespace JNFoundation::impl
