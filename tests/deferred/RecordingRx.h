#pragma once

#include <functional>
#include <memory>

#include <JNFoundation/deferred/PLVDeferredUtil.h>

namespace JNFoundation {

/// The least that a reactive-extensions library does, for builds without a real one: nothing is
/// sent after an error or completed, and what ended is disposed of.
struct RecordingRx {
  template <class Element>
  struct Subscription {
    std::function<void(Element)> onNext;
    std::function<void(Ref<NSError>)> onError;
    std::function<void()> onCompleted;
    bool isStopped = false;
    Block<void()> disposal;

    void dispose() {
      isStopped = true;
      if (const Block<void()> once = std::exchange(disposal, nullptr)) once();
    }
  };

  template <class Element>
  class Observer {
   public:
    explicit Observer(std::shared_ptr<Subscription<Element>> subscription)
        : _subscription(std::move(subscription)) {}
    void next(Element element) const {
      if (!_subscription->isStopped) _subscription->onNext(std::move(element));
    }
    void error(const Ref<NSError>& error) const {
      if (std::exchange(_subscription->isStopped, true)) return;
      _subscription->onError(error);
      _subscription->dispose();
    }
    void completed() const {
      if (std::exchange(_subscription->isStopped, true)) return;
      _subscription->onCompleted();
      _subscription->dispose();
    }

   private:
    std::shared_ptr<Subscription<Element>> _subscription;
  };

  template <class Element>
  class Observable {
   public:
    explicit Observable(std::function<Block<void()>(Observer<Element>)> subscribe)
        : _subscribe(std::move(subscribe)) {}

    std::shared_ptr<Subscription<Element>> subscribe(std::function<void(Element)> onNext,
                                                     std::function<void(Ref<NSError>)> onError,
                                                     std::function<void()> onCompleted) const {
      auto subscription = std::make_shared<Subscription<Element>>();
      subscription->onNext = std::move(onNext);
      subscription->onError = std::move(onError);
      subscription->onCompleted = std::move(onCompleted);
      const Block<void()> disposal = _subscribe(Observer<Element>(subscription));
      if (subscription->isStopped) {
        if (disposal) disposal();
      } else {
        subscription->disposal = disposal;
      }
      return subscription;
    }

   private:
    std::function<Block<void()>(Observer<Element>)> _subscribe;
  };

  template <class Element, class Subscribe>
  static Observable<Element> create(Subscribe subscribe) {
    return Observable<Element>(std::move(subscribe));
  }

  template <class Element>
  static Observable<Element> error(const Ref<NSError>& error) {
    return create<Element>([error](const Observer<Element>& observer) {
      observer.error(error);
      return Block<void()>();
    });
  }
};

}  // namespace JNFoundation
