#include "JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h"

namespace JNFoundation::inline v0_1::impl {

SQLiteConnection::Lookup& SQLiteConnection::lookupOf(const NSEntityDescription& root) {
  const auto known = _lookupOfRoot.find(&root);
  if (known != _lookupOfRoot.end()) return known->second;
  RowShape shape(schema, root, true);
  std::string sql =
      "SELECT " + shape.columns(true) + " FROM " + schema.of(root).table + " WHERE _pk = ?";
  return _lookupOfRoot.emplace(&root, Lookup{std::move(sql), std::move(shape)}).first->second;
}

SQLiteConnection::Lookup& SQLiteConnection::lookupOf(
    const NSRelationshipDescription& relationship) {
  const auto known = _lookupOfRelationship.find(&relationship);
  if (known != _lookupOfRelationship.end()) return known->second;
  const Schema::Link& link = schema.of(relationship);
  RowShape shape(schema, *link.destination, true, "member.");
  std::string sql =
      "SELECT " + shape.columns(true) + " FROM " + schema.of(*link.destination).table + " member";
  const std::string owner = link.hasOwnTable ? "pair." : "member.";
  if (link.hasOwnTable) sql += " JOIN " + link.table + " pair ON member._pk = pair." + link.far;
  sql += " WHERE " + owner + link.near + " = ? ORDER BY ";
  if (!link.position.empty()) {
    sql += owner + link.position + " IS NULL, " + owner + link.position + ", ";
  }
  sql += "member._pk";
  return _lookupOfRelationship.emplace(&relationship, Lookup{std::move(sql), std::move(shape)})
      .first->second;
}

}  // namespace JNFoundation::impl
