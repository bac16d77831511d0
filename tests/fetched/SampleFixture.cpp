#include "tests/fetched/SampleFixture.h"

namespace JNFoundation {
namespace {

const ClassDeclaration<ListedItem> declaration = ClassDeclaration<ListedItem>().factory();

}  // namespace
}  // namespace JNFoundation
