// generated FILE.json: imports books with the classes that `jnmap generate` made of the data model.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "own/Author.h"
#include "own/Book.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

namespace {

/// Everything but the outcome is an error for people.
int fail(const Ref<NSError>& error) {
  std::fprintf(stderr, "%s\n", error->localizedDescription()->UTF8String());
  return 1;
}

void print(const shelf::Book& book) {
  std::printf("%s", book.title()->UTF8String());
  if (const Ref<shelf::Author> author = book.author()) {
    std::printf(", by %s", author->name()->UTF8String());
  }
  if (const std::optional<std::int64_t> pages = book.pages()) {
    std::printf(", %d pages", static_cast<int>(*pages));
  }
  if (book.published()) std::printf(", %s", book.published().description()->UTF8String());
  std::puts("");
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: generated FILE.json\n", stderr);
    return 2;
  }
  Ref<NSError> error;
  const auto model = NSManagedObjectModel::initWithContentsOfFileError(SHELF_MODEL, &error);
  if (!model) return fail(error);
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr);
  const auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);

  std::ifstream file(arguments[1], std::ios::binary);
  std::ostringstream text;
  if (!(text << file.rdbuf())) {
    std::fprintf(stderr, "%s cannot be read\n", arguments[1]);
    return 1;
  }
  const Value records =
      NSJSONSerialization::JSONObjectWithTextOptionsError(text.str(), NSJSONReadingPlain, &error);
  if (error) return fail(error);

  // Who wrote what is found by the uniqueness constraints of the model.
  const auto loop = NSRunLoop::mainRunLoop();
  importRecords(Ref<NSArray>(as<NSArray>(records)), shelf::Book::entityName, context)
      .thenResolved(
          [](const Ref<ImportReport>& report) { std::puts(report->description()->UTF8String()); })
      .untyped()
      ->thenEither([loop](const Value& outcome) {
        loop->stop();
        return outcome;
      });
  loop->run();

  const auto request = NSFetchRequest::fetchRequestWithEntityName(shelf::Book::entityName);
  request->setSortDescriptors(
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending("title", true)));
  const Ref<NSArray> books = context->executeFetchRequestError(request);
  for (const Value& book : books) print(*as<shelf::Book>(book));
  return 0;
}
