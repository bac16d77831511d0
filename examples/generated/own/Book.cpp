#include "Book.h"

#include <JNFoundation/importing/RelatedRecords.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace shelf {

static const JNFoundation::ClassDeclaration<Book> declarationOfBook =
    JNFoundation::ClassDeclaration<Book>().factory();

void Book::takeAuthor(const JNFoundation::Value& value) {
  JNFoundation::relateRecord(*this, "author", value);
}

}  // namespace shelf
