#pragma once

#include <memory>

#include <JNFoundation/platform/dispatch/NSNotification.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

/// Tells whoever asked for it that something happened.
///
///     Ref<NSObject> observer =
///         NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
///             NSManagedObjectContextDidSaveNotification, context,
///             [list](const Ref<NSNotification>& notification) { list->merge(notification); });
///     NSNotificationCenter::defaultCenter()->removeObserver(observer);
///
/// Observers are called by whoever posts, on the posting thread, before the post returns, in the
/// order in which they were added. One that is removed meanwhile is not called any more by the
/// thread that removed it; one that is added meanwhile is called from the next post on. What an
/// observer raises passes to whoever posted, and the observers behind it are not called.
/// Threads: any.
class NSNotificationCenter : public NSObject {
 public:
  using Superclass = NSObject;
  /// What an observer is called as.
  using Handler = Block<void(const Ref<NSNotification>& notification)>;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The one of the process.
  static const Ref<NSNotificationCenter>& defaultCenter();
  /// One of its own.
  static Ref<NSNotificationCenter> init();

  /// Takes: a null name for every name; a null object for every object. The object is held weakly:
  /// once it is gone nobody can post about it. The block must not be null; it is kept until the
  /// observer is removed.
  /// Returns: the observer, to be removed with. It need not be kept.
  Ref<NSObject> addObserverForNameObjectUsingBlock(const Ref<NSString>& name, const Value& object,
                                                   Handler block);
  /// Sends the observer a message, with the notification as its argument if the selector takes one.
  /// The observer is held weakly; once it is gone nothing is sent any more.
  void addObserverSelectorNameObject(const Ref<NSObject>& observer, SEL selector,
                                     const Ref<NSString>& name, const Value& object);

  /// Removes everything that was added with, or returned as, this observer. An unknown one is
  /// ignored.
  void removeObserver(const Ref<NSObject>& observer);
  /// The same of the given name and object only, where they are not null.
  void removeObserverNameObject(const Ref<NSObject>& observer, const Ref<NSString>& name,
                                const Value& object);

  /// Calls: every observer of the name and the object, now.
  void postNotification(const Ref<NSNotification>& notification);
  /// The same with a new notification. Fails: raises NSInvalidArgumentException for a null name.
  void postNotificationNameObjectUserInfo(const Ref<NSString>& name, const Value& object,
                                          const Ref<NSDictionary>& userInfo = nullptr);

  /// Whether anybody would be called: what costs something to tell need not be made for nobody.
  bool isObserved(const Ref<NSString>& name, const Value& object) const;

 protected:
  NSNotificationCenter();
  ~NSNotificationCenter() override;

 private:
  struct Observation;
  struct State;

  void add(Observation observation);

  std::unique_ptr<State> _state;
};

}  // namespace JNFoundation
