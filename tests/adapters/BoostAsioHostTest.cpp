#include "AsioLoop.h"

#include <JNFoundation/adapters/BoostAsioHost.h>

namespace JNFoundation {
namespace {

using BoostAsioLoop = AsioLoop<BoostAsioHost, BoostAsio>;
INSTANTIATE_TYPED_TEST_SUITE_P(BoostAsio, HostConformance, BoostAsioLoop);

}  // namespace
}  // namespace JNFoundation
