#include "tests/platform/store/FetchedResultsFixture.h"

namespace JNFoundation {
namespace {

const ClassDeclaration<ListedItem> declarationOfFixtureClass =
    ClassDeclaration<ListedItem>()
        .factory()
        .operation("level", &ListedItem::level)
        .operation("wrong", &ListedItem::wrong);

}  // namespace
}  // namespace JNFoundation
