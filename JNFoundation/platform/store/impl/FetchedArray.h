#pragma once

#include <JNFoundation/platform/store/NSFetchedResultsController.h>
#include <JNFoundation/platform/store/NSFetchedResultsSectionInfo.h>
#include <JNFoundation/platform/store/impl/OrderedObjects.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1::impl {

/// Part of a list as it was at one moment, as an array. Making one copies nothing.
class FetchedArray final : public NSArray {
 public:
  FetchedArray(OrderedVersion list, std::size_t first, std::size_t count);

 private:
  NSUInteger foreignCount() const override { return _count; }
  Value foreignObjectAtIndex(NSUInteger index) const override;

  OrderedVersion _list;
  std::size_t _first;
  std::size_t _count;
  /// No other array of the process has it, however old.
  std::uint64_t _serial;
};

/// A section for as long as it has objects, whichever these are. Weighs as much as it has.
class FetchedSection final : public NSObject {
 public:
  explicit FetchedSection(Ref<NSString> name) : _name(std::move(name)) {}

  /// Null for the one section of results that have none.
  const Ref<NSString>& name() const noexcept { return _name; }
  /// Asks the controller when it is first wanted.
  const Ref<NSString>& title(const Weak<NSFetchedResultsController>& controller) const;
  void forgetTitle() const noexcept { _hasTitle = false; }

 private:
  Ref<NSString> _name;
  mutable Ref<NSString> _title;
  mutable bool _hasTitle = false;
};

/// A section and its objects as they were at one moment.
class FetchedSectionInfo final : public NSObject, public NSFetchedResultsSectionInfo {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  FetchedSectionInfo(Weak<NSFetchedResultsController> controller, Ref<FetchedSection> section,
                     OrderedVersion objects, std::size_t first, std::size_t count);

  Ref<NSString> name() const override { return _section->name(); }
  Ref<NSString> indexTitle() const override { return _section->title(_controller); }
  NSUInteger numberOfObjects() const override { return _count; }
  Ref<NSArray> objects() const override;
  /// The same section with the same objects.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;

 private:
  Weak<NSFetchedResultsController> _controller;
  Ref<FetchedSection> _section;
  OrderedVersion _list;
  std::size_t _first;
  std::size_t _count;
};

/// The sections as they were at one moment. Each info is made when it is read.
class FetchedSectionArray final : public NSArray {
 public:
  FetchedSectionArray(Weak<NSFetchedResultsController> controller, OrderedVersion sections,
                      OrderedVersion objects)
      : NSArray(Representation::Foreign),
        _controller(std::move(controller)),
        _sections(std::move(sections)),
        _objects(std::move(objects)) {}

 private:
  NSUInteger foreignCount() const override { return _sections.count(); }
  Value foreignObjectAtIndex(NSUInteger index) const override;

  Weak<NSFetchedResultsController> _controller;
  OrderedVersion _sections;
  OrderedVersion _objects;
};

}  // namespace JNFoundation::impl
