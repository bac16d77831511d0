#pragma once

#include <JNFoundation/platform/json/impl/JSONReader.h>
#include <JNFoundation/platform/json/impl/JSONScanner.h>

// The fast reader and the careful one together.
namespace JNFoundation::inline v0_1 {

class NSError;

namespace impl {

/// Returns: null for what is no JSON.
Value readJSONValue(JSONReader& reader, std::string_view text, JSONReader::Padding padding,
                    std::size_t maximumDepth);

/// Takes: null for nobody who wants the error.
void setJSONProblem(std::string_view text, const JSONProblem& problem, Ref<NSError>* error);
/// Says why the fast reader refused the text, after a slow look at it.
void setJSONRefusal(std::string_view text, const JSONReader& reader, Ref<NSError>* error);

}  // namespace impl
}  // namespace JNFoundation
