#include "Author.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace shelf {

static const JNFoundation::ClassDeclaration<Author> declarationOfAuthor =
    JNFoundation::ClassDeclaration<Author>().factory();

}  // namespace shelf
