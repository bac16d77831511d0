#include "JNFoundation/fetched/Observation.h"

namespace JNFoundation {

constinit const Class Observation::classObject = Class::of<Observation>("Observation");

}  // namespace JNFoundation
