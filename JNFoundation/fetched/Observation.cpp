#include "JNFoundation/fetched/Observation.h"

namespace JNFoundation::inline v0_1 {

constinit const Class Observation::classObject = Class::of<Observation>("Observation");

}  // namespace JNFoundation
