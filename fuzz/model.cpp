#include <platform/store/ModelDifference.h>

#include "Fuzzing.h"

#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

// A model file is refused with an error that names what is wrong, or it is a model whose text is
// read back to an equal one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using fuzzing::require;
  Ref<NSError> error;
  const auto model = NSManagedObjectModel::modelWithXMLError(fuzzing::textOf(data, size), &error);
  require((model == nullptr) == (error != nullptr), "a model and an error, or neither");
  if (!model) {
    const Value entity = error->userInfo()->objectForKey("entity");
    const Value property = error->userInfo()->objectForKey("property");
    const Ref<NSString> text = error->localizedDescription();
    require(entity.isNull() || text->containsString(*entity.stringValue()), "no entity", *text);
    require(property.isNull() || text->containsString(*property.stringValue()), "no property",
            *text);
    require(property.isNull() || !entity.isNull(), "a property without an entity", *text);
    return 0;
  }
  const Ref<NSString> written = model->XMLTextError(&error);
  if (!written) {
    // The parser takes references to characters that XML does not have.
    require(error && error->localizedDescription()->containsString("character"), "not written",
            error ? error->description()->utf8() : std::string_view());
    return 0;
  }
  const auto again = NSManagedObjectModel::modelWithXMLError(*written, &error);
  require(again != nullptr, "what was written is refused", *written);
  const std::string difference = ModelDifference::between(*model, *again);
  require(difference.empty(), difference.c_str(), *written);
  const Ref<NSString> twice = again->XMLTextError(&error);
  require(twice && twice->hasContentOf(*written), "written twice, the texts differ", *written);
  return 0;
}
