#pragma once

#include <string>

#include "ClassPlan.h"

namespace jnmap {

/// The C++ of a planned class. Generated files stand in the folder "generated" beside those of the
/// application, and are written anew with every change of the model.
class ClassText {
 public:
  /// Takes: the application's namespace, which may be nested ("shop::model") or empty.
  ClassText(const ClassPlan& plan, std::string nameSpace)
      : _plan(plan), _nameSpace(std::move(nameSpace)) {}

  /// generated/Generated….h and its source.
  std::string generatedHeader() const;
  std::string generatedSource() const;
  /// The application's own class, to begin with.
  std::string applicationHeader() const;
  std::string applicationSource() const;

 private:
  std::string inNamespace(const std::string& body) const;
  std::string declarationOf(const ClassPlan::Accessor& accessor) const;
  std::string definitionOf(const ClassPlan::Accessor& accessor) const;

  const ClassPlan& _plan;
  std::string _nameSpace;
};

}  // namespace jnmap
