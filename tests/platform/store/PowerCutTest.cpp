#include "../text/Randomness.h"
#include "PowerCuts.h"
#include "StoreFixture.h"

namespace JNFoundation {
namespace {

using testing::Durability;
using testing::PowerCuts;
using testing::Randomness;

class PowerCutTest : public ::testing::Test {
 protected:
  TemporaryDirectory directory;
};

TEST_F(PowerCutTest, EveryAcknowledgedSaveOutlastsItWithFullDurability) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  PowerCuts cuts(directory.path, Durability::Full, randomness.bits());
  for (int i = testing::rounds(24, 1000); i > 0; --i) {
    ASSERT_EQ(cuts.round(), "") << "in round " << cuts.rounds();
  }
  EXPECT_EQ(cuts.lostSaves(), 0);
}

TEST_F(PowerCutTest, LastSavesMayGoWithNormalDurabilityAndNothingIsHalfThere) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  PowerCuts cuts(directory.path, Durability::Normal, randomness.bits());
  for (int i = testing::rounds(24, 1000); i > 0; --i) {
    ASSERT_EQ(cuts.round(), "") << "in round " << cuts.rounds();
  }
}

}  // namespace
}  // namespace JNFoundation
