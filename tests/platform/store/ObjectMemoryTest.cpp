// What objects give back, as the C library counts it. Left out where it does not count, or where a
// sanitizer has taken its place.
#include <features.h>

#if defined(__GLIBC_PREREQ) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#if __GLIBC_PREREQ(2, 33)

#include <malloc.h>
#include <string>

#include "platform/store/StoreFixture.h"

namespace JNFoundation {
namespace {

constexpr int kNotes = 20'000;
constexpr std::size_t kBlock = 4096;

std::ptrdiff_t heapInUse() {
  const auto info = mallinfo2();
  return static_cast<std::ptrdiff_t>(info.uordblks + info.hblkhd);
}

/// A store of many notes, of which no object is left.
class ObjectMemoryTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    for (int i = 0; i < kNotes; ++i) {
      insert("Note", {{"text", "a text that is not any other's, number " + std::to_string(i)}});
    }
    save();
    context->reset();
    // Whatever is set up once.
    readAll();
    context->releaseUnusedMemory();
    _before = heapInUse();
  }

  /// All notes, all looked at.
  Ref<NSArray> readAll() const {
    Ref<NSArray> notes = fetch(request("Note"));
    for (const Value& note : *notes) as<NSObject>(note)->valueForKey("text");
    return notes;
  }

  std::ptrdiff_t growth() const { return heapInUse() - _before; }

 private:
  std::ptrdiff_t _before = 0;
};

TEST_F(ObjectMemoryTest, ObjectsThatGoGiveBackAll) {
  Ref<NSArray> notes = readAll();
  EXPECT_GT(growth(), kNotes * 200);
  notes = nullptr;
  context->releaseUnusedMemory();
  EXPECT_LT(growth(), kNotes * 2);
}

TEST_F(ObjectMemoryTest, FaultsGiveBackTheirTextsAndValues) {
  const Ref<NSArray> notes = readAll();
  const std::ptrdiff_t whole = growth();
  context->releaseUnusedMemory();
  // A text with its characters, and two values.
  EXPECT_GT(whole - growth(), kNotes * 110);
  EXPECT_TRUE(as<NSManagedObject>(notes->firstObject())->isFault());
}

TEST_F(ObjectMemoryTest, FaultsThatAreReadAgainAndAgainDoNotGrow) {
  const Ref<NSArray> notes = readAll();
  const std::ptrdiff_t whole = growth();
  for (int round = 0; round < 5; ++round) {
    context->releaseUnusedMemory();
    readAll();
  }
  EXPECT_LT(growth(), whole + kNotes * 10);
}

TEST_F(ObjectMemoryTest, ATextThatLivesOnHoldsABlockAtMost) {
  constexpr int step = 500;
  std::vector<Value> texts;
  {
    const Ref<NSArray> notes = readAll();
    for (int i = 0; i < kNotes; i += step) {
      texts.push_back(
          as<NSObject>(notes->objectAtIndex(static_cast<NSUInteger>(i)))->valueForKey("text"));
    }
  }
  context->releaseUnusedMemory();
  const auto kept = static_cast<std::ptrdiff_t>(texts.size() * kBlock);
  EXPECT_LT(growth(), kept + kNotes * 2);
  texts.clear();
  EXPECT_LT(growth(), kNotes * 2);
}

}  // namespace
}  // namespace JNFoundation

#endif
#endif
