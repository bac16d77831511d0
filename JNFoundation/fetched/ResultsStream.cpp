#include "JNFoundation/fetched/ResultsStream.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class ResultsEvent::classObject = Class::of<ResultsEvent>("ResultsEvent");
constinit const Class ResultsStream::classObject = Class::of<ResultsStream>("ResultsStream");

ResultsEvent::ResultsEvent(const NSFetchedResultsController& controller, bool isSnapshot,
                           ListChanges changes)
    : _isSnapshot(isSnapshot),
      _changes(std::move(changes)),
      _sections(controller.sections()),
      _objects(controller.fetchedObjects()) {}

ResultsStream::ResultsStream(const Ref<NSFetchedResultsController>& controller)
    : _controller(controller), _other(controller->delegate()) {}

ResultsStream::~ResultsStream() {
  // The controller has lost its weak reference already, unless it has another delegate by now.
  if (!_controller->delegate()) _controller->setDelegate(_other.load());
  if (_next) _next->cancel();
}

Ref<ResultsStream> ResultsStream::withController(
    const Ref<NSFetchedResultsController>& controller) {
  if (!controller) {
    raise(NSInvalidArgumentException, "+[ResultsStream withController:]: a controller is required");
  }
  auto stream = makeObject<ResultsStream>(controller);
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(stream));
  return stream;
}

Ref<ResultsEvent> ResultsStream::event(bool isSnapshot, ListChanges changes) const {
  return makeObject<ResultsEvent>(*_controller, isSnapshot, std::move(changes));
}

bool ResultsStream::performFetch(Ref<NSError>* error) {
  const Ref<ResultsStream> self(this);
  if (!_controller->performFetch(error)) return false;
  _isSuperseded = true;
  _observers.tell(event(true, {}));
  return true;
}

Ref<Observation> ResultsStream::observe(Block<void(const Ref<ResultsEvent>& event)> observer) {
  const Ref<ResultsStream> self(this);
  return _observers.add(std::move(observer), event(true, {}), _isAhead ? 1 : 0);
}

Ref<PLVPromise> ResultsStream::nextChange() {
  if (!_next) {
    _next = PLVPromise::init();
    // Those who wait may leave, and others come.
    _next->setShouldProcessResolvableCancellations(false);
  }
  return _next->promisedResolution();
}

// ---- The delegate -------------------------------------------------------------------------------

Ref<NSFetchedResultsControllerDelegate> ResultsStream::otherFor(Callback callback) const {
  Ref<NSFetchedResultsControllerDelegate> other = _other.load();
  return other && other->answers(callback) ? other : nullptr;
}

template <class Tell>
void ResultsStream::forward(Callback callback, Tell tell) {
  if (_failure) return;
  try {
    if (const auto other = otherFor(callback)) tell(*other);
  } catch (...) {
    // Raised again at the end of the batch: from here it would end the batch for the stream.
    _failure = std::current_exception();
  }
}

bool ResultsStream::answers(Callback callback) const {
  return callback != Callback::SectionIndexTitle || otherFor(callback);
}

void ResultsStream::controllerWillChangeContent(Controller controller) {
  _changes = {};
  _isAhead = _isSuperseded = false;
  _failure = nullptr;
  forward(Callback::WillChangeContent,
          [&](auto& other) { other.controllerWillChangeContent(controller); });
}

void ResultsStream::controllerDidChangeSectionAtIndexForChangeType(
    Controller controller, const Ref<NSFetchedResultsSectionInfo>& section, NSUInteger index,
    NSFetchedResultsChangeType type) {
  _isAhead = true;
  _changes.changeSectionAtIndexForChangeType(index, type);
  forward(Callback::DidChangeSection, [&](auto& other) {
    other.controllerDidChangeSectionAtIndexForChangeType(controller, section, index, type);
  });
}

void ResultsStream::controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
    Controller controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& path,
    NSFetchedResultsChangeType type, const Ref<NSIndexPath>& newPath) {
  _isAhead = true;
  _changes.changeObjectAtIndexPathForChangeTypeNewIndexPath(path, type, newPath);
  forward(Callback::DidChangeObject, [&](auto& other) {
    other.controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(controller, object, path,
                                                                        type, newPath);
  });
}

void ResultsStream::controllerDidChangeContent(Controller controller) {
  const Ref<ResultsStream> self(this);
  _isAhead = true;
  // Made before anybody may change the results again.
  Ref<ResultsEvent> event = this->event(false, std::exchange(_changes, {}));
  forward(Callback::DidChangeContent,
          [&](auto& other) { other.controllerDidChangeContent(controller); });
  if (const Ref<PLVPromise> next = std::exchange(_next, nullptr)) next->resolve(event);
  _isAhead = false;
  if (std::exchange(_isSuperseded, false)) event = this->event(true, {});
  const std::exception_ptr failure = std::exchange(_failure, nullptr);
  _observers.tell(event);
  if (failure) std::rethrow_exception(failure);
}

Ref<NSString> ResultsStream::controllerSectionIndexTitleForSectionName(Controller controller,
                                                                       const Ref<NSString>& name) {
  const auto other = otherFor(Callback::SectionIndexTitle);
  return other ? other->controllerSectionIndexTitleForSectionName(controller, name) : nullptr;
}

}  // namespace JNFoundation
