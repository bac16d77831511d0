#include <JNFoundation/platform/query/TextComparison.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/text/Folding.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

std::string_view textOfArgument(sqlite3_value* value) {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return {bytes ? bytes : "", static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

/// jn_text(operator, options, text, pattern): whether the text satisfies the operator. What is no
/// text satisfies none.
void textFunction(sqlite3_context* context, int, sqlite3_value** arguments) {
  constexpr int patternArgument = 3;
  auto& database = *static_cast<Database*>(sqlite3_user_data(context));
  try {
    if (sqlite3_value_type(arguments[2]) != SQLITE_TEXT) {
      sqlite3_result_int(context, 0);
      return;
    }
    auto* comparison = static_cast<TextComparison*>(sqlite3_get_auxdata(context, patternArgument));
    std::unique_ptr<TextComparison> fresh;
    if (!comparison) {
      fresh = std::make_unique<TextComparison>(
          static_cast<NSPredicateOperatorType>(sqlite3_value_int64(arguments[0])),
          static_cast<NSComparisonPredicateOptions>(sqlite3_value_int64(arguments[1])),
          textOfArgument(arguments[patternArgument]));
      comparison = fresh.get();
    }
    sqlite3_result_int(context, comparison->matches(textOfArgument(arguments[2])) ? 1 : 0);
    // SQLite keeps it for the next row; it may also drop it at once, so this comes last.
    if (fresh) {
      sqlite3_set_auxdata(context, patternArgument, fresh.release(),
                          [](void* kept) { delete static_cast<TextComparison*>(kept); });
    }
  } catch (const Raised& raised) {
    database.pendingException = raised.exception();
    sqlite3_result_error(context, "an exception was raised", -1);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

using Order = int (*)(std::string_view, std::string_view);

template <Order order>
int collation(void*, int leftSize, const void* left, int rightSize, const void* right) {
  return order({static_cast<const char*>(left), static_cast<std::size_t>(leftSize)},
               {static_cast<const char*>(right), static_cast<std::size_t>(rightSize)});
}

int compareCaseInsensitive(std::string_view left, std::string_view right) {
  return compareFolded(left, right, Fold::Case);
}

}  // namespace

bool registerFunctions(Database& database) {
  sqlite3* handle = database.handle();
  const auto collate = [&](const char* name,
                           int (*order)(void*, int, const void*, int, const void*)) {
    return sqlite3_create_collation_v2(handle, name, SQLITE_UTF8, nullptr, order, nullptr) ==
           SQLITE_OK;
  };
  return sqlite3_create_function_v2(
             handle, "jn_text", 4, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY,
             &database, textFunction, nullptr, nullptr, nullptr) == SQLITE_OK &&
         collate("jn_caseInsensitive", collation<compareCaseInsensitive>) &&
         collate("jn_localized", collation<compareLocalized>) &&
         collate("jn_localizedCaseInsensitive", collation<compareLocalizedCaseInsensitive>) &&
         collate("jn_localizedStandard", collation<compareLocalizedStandard>);
}

}  // namespace JNFoundation::impl
