#include <gtest/gtest.h>
#include <string>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {
namespace {

/// A class of the library with a class operation that makes instances of the receiving class.
class Task : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> withPriority(int priority) { return makeObject<Self>(priority); }

   protected:
    using Above::Above;
    ClassOperations() = default;
  };

  static Ref<Task> withPriority(int priority) { return makeObject<Task>(priority); }
  int priority() const { return _priority; }

 protected:
  Task() = default;
  explicit Task(int priority) : _priority(priority) {}

 private:
  int _priority = 0;
};
constinit const Class Task::classObject = Class::of<Task>("Task");

class Pausing : public NSObjectProtocol {
 public:
  virtual bool pause() = 0;
};
class Logging : public NSObjectProtocol {
 public:
  virtual std::string log() const = 0;
};

class Upload : public Subclass<Upload, Task> {
 protected:
  using Subclass::Subclass;
};
class LargeUpload : public Subclass<LargeUpload, Upload, Pausing> {
 public:
  bool pause() override { return true; }

 protected:
  using Subclass::Subclass;
};
class LoggedUpload : public Subclass<LoggedUpload, LargeUpload, Logging> {
 public:
  std::string log() const override { return "logged"; }

 protected:
  using Subclass::Subclass;
};
class Silent : public Subclass<Silent, Upload> {
 public:
  Silent() = default;
};

TEST(Subclass, HasAClassObjectOfItsOwn) {
  EXPECT_EQ(Upload::classObject.name(), "Upload");
  EXPECT_EQ(Upload::classObject.superclass(), &Task::classObject);
  EXPECT_EQ(LargeUpload::classObject.superclass(), &Upload::classObject);
  EXPECT_EQ(LoggedUpload::classObject.superclass(), &LargeUpload::classObject);
  EXPECT_EQ(NSClassFromString("LoggedUpload"), &LoggedUpload::classObject);
}

TEST(Subclass, MakesInstancesOfItselfThroughInheritedClassOperations) {
  const Ref<Upload> upload = Upload::withPriority(3);
  EXPECT_EQ(&upload->class_(), &Upload::classObject);
  EXPECT_EQ(upload->priority(), 3);
  const Ref<LoggedUpload> logged = LoggedUpload::withPriority(5);
  EXPECT_EQ(&logged->class_(), &LoggedUpload::classObject);
  EXPECT_EQ(logged->priority(), 5);
  EXPECT_EQ(&Task::withPriority(1)->class_(), &Task::classObject);
}

TEST(Subclass, MayHaveADefaultConstructorOnly) {
  const Ref<Silent> silent = makeObject<Silent>();
  EXPECT_EQ(silent->priority(), 0);
  EXPECT_TRUE(isKindOf<Upload>(*silent));
}

TEST(Subclass, AdoptsTheProtocolsOfEveryLevel) {
  testing::LiveObjects live;
  {
    const Ref<LoggedUpload> upload = LoggedUpload::withPriority(1);
    const Value value = upload;
    ASSERT_TRUE(as<Pausing>(value));
    ASSERT_TRUE(as<Logging>(value));
    EXPECT_TRUE(as<Pausing>(value)->pause());
    EXPECT_EQ(as<Logging>(value)->log(), "logged");
    const Ref<Pausing> pausing = upload;
    const Ref<Logging> logging = upload;
    EXPECT_EQ(pausing->protocolObject(), upload.get());
    EXPECT_EQ(logging->protocolObject(), upload.get());
    EXPECT_EQ(upload->retainCount(), 4u);
  }
  EXPECT_EQ(live.count(), 0);
  EXPECT_EQ(as<Logging>(Value(LargeUpload::withPriority(1))), nullptr);
}

TEST(Subclass, MayStandInAFunction) {
  class Local : public Subclass<Local, NSObject> {
   public:
    explicit Local(std::string text) : text(std::move(text)) {}
    std::string text;
  };
  const Value value = makeObject<Local>("inside");
  EXPECT_EQ(as<Local>(value)->text, "inside");
  EXPECT_EQ(value.class_()->name(), "Local");
}

}  // namespace
}  // namespace JNFoundation
