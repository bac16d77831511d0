// Refused with: takes and returns values, references
#include <vector>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>

class Shape : public JNFoundation::Subclass<Shape, JNFoundation::NSObject> {
 public:
  void draw(const std::vector<int>&) {}
};
const auto declaration = JNFoundation::ClassDeclaration<Shape>().operation("draw:", &Shape::draw);
