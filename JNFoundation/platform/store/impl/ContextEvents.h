#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation::inline v0_1::impl {

/// What happened to a context's objects since it last told. An object is in one list at most, and
/// in none if it came and went in between.
struct ContextEvent {
  /// New here: made in the context, or by another one whose save was merged.
  std::vector<Ref<NSManagedObject>> inserted;
  /// Written to.
  std::vector<Ref<NSManagedObject>> updated;
  std::vector<Ref<NSManagedObject>> deleted;
  /// Read again, or brought back to what it was: any of its values may have changed.
  std::vector<Ref<NSManagedObject>> refreshed;
  /// The context has forgotten every object.
  bool invalidatedAll = false;

  bool isEmpty() const noexcept {
    return inserted.empty() && updated.empty() && deleted.empty() && refreshed.empty() &&
           !invalidatedAll;
  }
};

/// Is told what happens in a context before the notification centre is. It may do anything in its
/// calls, and what it changes is told afterwards. It is removed before it goes.
/// Threads: the context's.
class ContextObserver {
 public:
  /// The event may be empty, of objects that came and went: those who wait for objects to be
  /// without changes look again.
  virtual void contextDidChange(NSManagedObjectContext& context, const ContextEvent& event) = 0;
  /// Inserted objects have got their permanent identifiers, by a save or because somebody wanted
  /// them, and so, among equals, another place in the order of records.
  virtual void contextDidSave(NSManagedObjectContext& context) = 0;

 protected:
  ~ContextObserver() = default;
};

/// Collects what a context will tell, and knows whom.
class ContextEvents {
 public:
  void noteInserted(NSManagedObject& object);
  void noteUpdated(NSManagedObject& object);
  void noteDeleted(NSManagedObject& object);
  void noteRefreshed(NSManagedObject& object);
  /// Of an object without a context that is about to be inserted: it may have come from elsewhere,
  /// where it was noted as well.
  void adopt(NSManagedObject& object) noexcept;
  /// Everything noted before goes with the objects.
  void noteInvalidatedAll() noexcept;

  bool isEmpty() const noexcept { return _objects.empty() && !_invalidatedAll && !_tellsAgain; }
  /// Has the observers be told once more when the present ones were, of nothing perhaps.
  void tellAgain() noexcept { _tellsAgain = true; }
  /// What is going to be told.
  const std::vector<Ref<NSManagedObject>>& objects() const noexcept { return _objects; }
  /// What was noted so far. Takes: the list of the context's objects.
  ContextEvent take(const ObjectRegistry& registry);

  void addObserver(ContextObserver& observer) { _observers.push_back(&observer); }
  void removeObserver(ContextObserver& observer) noexcept;
  /// Calls the function with each observer that is not removed meanwhile.
  template <class Function>
  void forEachObserver(Function&& function);

  /// While the observers are told, what they change waits until all of them were.
  bool isTelling = false;

 private:
  void note(NSManagedObject& object, std::uint32_t flag);

  std::vector<Ref<NSManagedObject>> _objects;
  /// With holes while somebody walks over them.
  std::vector<ContextObserver*> _observers;
  int _walks = 0;
  bool _invalidatedAll = false;
  bool _tellsAgain = false;
};

template <class Function>
void ContextEvents::forEachObserver(Function&& function) {
  struct Walk {
    ContextEvents& events;
    explicit Walk(ContextEvents& walked) : events(walked) { ++events._walks; }
    ~Walk() {
      if (--events._walks == 0) std::erase(events._observers, nullptr);
    }
  } walk(*this);
  // One that is added meanwhile is told of the next event.
  const std::size_t count = _observers.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (ContextObserver* observer = _observers[i]) function(*observer);
  }
}

}  // namespace JNFoundation::impl
