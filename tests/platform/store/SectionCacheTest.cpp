#include <fstream>

#include "tests/platform/store/FetchedResultsFixture.h"

#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation {
namespace {

namespace fs = std::filesystem;

class SectionCacheTest : public FetchedResultsTest {
 protected:
  static constexpr int count = 200;

  void SetUp() override {
    FetchedResultsTest::SetUp();
    NSFetchedResultsController::setCacheDirectory(directory.file("caches"));
    for (int i = 0; i < count; ++i) item(std::to_string(i).c_str(), i);
    save();
  }
  void TearDown() override { NSFetchedResultsController::setCacheDirectory(nullptr); }

  /// How many objects were asked for their section by the fetch of a new controller.
  int asked(const Ref<NSFetchRequest>& request, const char* name = "levels") {
    context->reset();
    auto controller = controllerOf(request, "level", name);
    ListedItem::timesAsked = 0;
    Ref<NSError> error;
    EXPECT_TRUE(controller->performFetch(&error)) << text(error);
    const int times = ListedItem::timesAsked;
    found = "";
    for (const ListView::Section& section : ListView::sectionsOf(*controller)) {
      found += section.name + std::to_string(section.rows.size()) + " ";
    }
    return times;
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& file : fs::directory_iterator(directory.file("caches"), ignored)) {
      names.push_back(file.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string found;
};

TEST_F(SectionCacheTest, TheNextFetchAsksTwoObjectsOfEachSection) {
  EXPECT_EQ(asked(items()), count);
  EXPECT_EQ(files(), std::vector<std::string>{"levels.sections"});
  EXPECT_EQ(asked(items()), 4);
  EXPECT_EQ(found, "low100 high100 ");
}

TEST_F(SectionCacheTest, WithoutADirectoryOrANameNothingIsKept) {
  EXPECT_EQ(asked(items(), nullptr), count);
  EXPECT_TRUE(files().empty());
  NSFetchedResultsController::setCacheDirectory(nullptr);
  EXPECT_FALSE(NSFetchedResultsController::cacheDirectory());
  EXPECT_EQ(asked(items()), count);
  EXPECT_EQ(asked(items()), count);
  EXPECT_TRUE(files().empty());
  EXPECT_FALSE(fs::exists(directory.file("caches")));
}

TEST_F(SectionCacheTest, ResultsWithoutSectionsKeepNothing) {
  auto controller = controllerOf(items(), nullptr, "levels");
  EXPECT_TRUE(controller->performFetch());
  EXPECT_TRUE(files().empty());
}

TEST_F(SectionCacheTest, AChangedFileIsAskedAnew) {
  asked(items());
  auto another = newContext();
  auto made =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Item", another);
  made->setValueForKey(50, "rank");
  ASSERT_TRUE(another->save());
  EXPECT_EQ(asked(items()), count + 1);
  EXPECT_EQ(found, "low101 high100 ");
  EXPECT_EQ(asked(items()), 4);
}

TEST_F(SectionCacheTest, UnsavedChangesAreAskedAnewAndNotKept) {
  asked(items());
  context->reset();
  item("unsaved", 50);
  auto controller = controllerOf(items(), "level", "levels");
  ListedItem::timesAsked = 0;
  EXPECT_TRUE(controller->performFetch());
  EXPECT_EQ(ListedItem::timesAsked, count + 1);
  context->rollback();
  EXPECT_EQ(asked(items()), 4) << "what is kept still is true";
}

TEST_F(SectionCacheTest, AnotherRequestUnderTheSameNameIsAskedAnew) {
  const std::vector<std::function<Ref<NSFetchRequest>()>> others = {
      [] {
        return items({by("rank"), by("name")});
      },
      [] { return items({by("rank")}, NSPredicate::predicateWithFormat("rank < 150")); },
      [] {
        auto wanted = items();
        wanted->setFetchLimit(150);
        return wanted;
      },
      [] {
        auto wanted = items();
        wanted->setIncludesSubentities(false);
        return wanted;
      }};
  for (const auto& other : others) {
    asked(items());
    EXPECT_EQ(asked(items()), 4);
    EXPECT_GE(asked(other()), 150);
    EXPECT_EQ(asked(other()), 4);
  }
  asked(items());
  auto byGroup = controllerOf(items({by("rank")}), "group", "levels");
  EXPECT_TRUE(byGroup->performFetch());
  EXPECT_EQ(byGroup->sections()->count(), 1u);
}

TEST_F(SectionCacheTest, ADamagedFileIsNone) {
  asked(items());
  const std::string path = directory.file("caches/levels.sections");
  std::ifstream file(path);
  const std::string whole((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<std::string> damaged = {"", "[]", "null", "{}", whole.substr(0, whole.size() / 2)};
  const auto changed = [&](const std::string& from, const std::string& to) {
    std::string text = whole;
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from << " in " << whole;
    if (at != std::string::npos) text.replace(at, from.size(), to);
    damaged.push_back(text);
  };
  changed("[100,100]", "[100]");
  changed("[100,100]", "[99,101]");
  changed("[100,100]", "[100,101]");
  changed("[100,100]", "[100,-100]");
  changed("[100,100]", "[18446744073709551615,201]");
  changed("\"low\",\"high\"", "\"low\",\"low\"");
  changed("\"low\",\"high\"", "1,2");
  for (const std::string& text : damaged) {
    std::ofstream(path) << text;
    EXPECT_GE(asked(items()), count) << text;
    EXPECT_EQ(found, "low100 high100 ");
    EXPECT_EQ(asked(items()), 4) << "it was written anew";
  }
}

TEST_F(SectionCacheTest, ADirectoryThatCannotBeWrittenIsDoneWithout) {
  std::ofstream(directory.file("blocked")) << "a file";
  NSFetchedResultsController::setCacheDirectory(directory.file("blocked"));
  EXPECT_EQ(asked(items()), count);
  EXPECT_EQ(asked(items()), count);
  EXPECT_EQ(found, "low100 high100 ");
}

TEST_F(SectionCacheTest, CachesAreDeletedByName) {
  asked(items(), "a");
  asked(items(), "../b/ c");
  ASSERT_EQ(files().size(), 2u) << "a name leads nowhere else";
  std::ofstream(directory.file("caches/other.txt")) << "the application's";
  NSFetchedResultsController::deleteCacheWithName("a");
  EXPECT_EQ(files().size(), 2u);
  EXPECT_EQ(asked(items(), "a"), count);
  EXPECT_EQ(asked(items(), "../b/ c"), 4);
  NSFetchedResultsController::deleteCacheWithName("nothing");
  NSFetchedResultsController::deleteCacheWithName(nullptr);
  EXPECT_EQ(files(), std::vector<std::string>{"other.txt"});
  NSFetchedResultsController::setCacheDirectory(nullptr);
  NSFetchedResultsController::deleteCacheWithName(nullptr);
}

TEST_F(SectionCacheTest, AStoreInMemoryKeepsNothing) {
  open(NSInMemoryStoreType, listModel());
  item("a", 1);
  save();
  EXPECT_EQ(asked(items()), 1);
  EXPECT_TRUE(files().empty());
}

TEST_F(SectionCacheTest, ListsWithKnownSectionsAreFollowedLikeOthers) {
  asked(items());
  context->reset();
  auto controller = controllerOf(items(), "level", "levels");
  EXPECT_TRUE(controller->performFetch());
  auto view = ListView::of(controller);
  item("new", 100);
  as<NSManagedObject>(controller->objectAtIndexPath(path(0, 0)))->setValueForKey(300, "rank");
  process();
  view->expectTrue();
  EXPECT_EQ(view->told(), "will, +new 1.1, >0 0.0 1.101, did");
}

}  // namespace
}  // namespace JNFoundation
