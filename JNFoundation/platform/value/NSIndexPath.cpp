#include "JNFoundation/platform/value/NSIndexPath.h"

#include <algorithm>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSIndexPath::classObject = Class::of<NSIndexPath>("NSIndexPath");

namespace {

const ClassDeclaration<NSIndexPath> declarationOfNSIndexPath =
    ClassDeclaration<NSIndexPath>()
        .factory([]() -> Ref<NSObject> { return NSIndexPath::indexPath(); })
        .property("length", &NSIndexPath::length)
        .operation("indexAtPosition:", &NSIndexPath::indexAtPosition)
        .operation("indexPathByAddingIndex:", &NSIndexPath::indexPathByAddingIndex)
        .operation("indexPathByRemovingLastIndex", &NSIndexPath::indexPathByRemovingLastIndex)
        .operation("compare:", &NSIndexPath::compare);

}  // namespace

NSIndexPath::NSIndexPath(NSUInteger length) : _length(length) {
  if (length > inlineLength) _indexes = new NSUInteger[length];
}

NSIndexPath::~NSIndexPath() {
  if (_length > inlineLength) delete[] _indexes;
}

Ref<NSIndexPath> NSIndexPath::indexPath() { return indexPathWithIndexesLength(nullptr, 0); }

Ref<NSIndexPath> NSIndexPath::indexPathWithIndex(NSUInteger index) {
  return indexPathWithIndexesLength(&index, 1);
}

Ref<NSIndexPath> NSIndexPath::indexPathWithIndexes(std::initializer_list<NSUInteger> indexes) {
  return indexPathWithIndexesLength(indexes.begin(), indexes.size());
}

Ref<NSIndexPath> NSIndexPath::indexPathWithIndexesLength(const NSUInteger* indexes,
                                                         NSUInteger length) {
  if (!indexes && length > 0) {
    raise(NSInvalidArgumentException,
          "+[NSIndexPath indexPathWithIndexes:length:]: null with a length of %llu", length);
  }
  Ref<NSIndexPath> path = Ref<NSIndexPath>::adopt(new NSIndexPath(length));
  std::copy_n(indexes, length, path->writable());
  return path;
}

Ref<NSIndexPath> NSIndexPath::indexPathByAddingIndex(NSUInteger index) const {
  Ref<NSIndexPath> path = Ref<NSIndexPath>::adopt(new NSIndexPath(_length + 1));
  std::copy_n(indexes(), _length, path->writable());
  path->writable()[_length] = index;
  return path;
}

Ref<NSIndexPath> NSIndexPath::indexPathByRemovingLastIndex() const {
  return indexPathWithIndexesLength(indexes(), _length == 0 ? 0 : _length - 1);
}

NSComparisonResult NSIndexPath::compare(const Ref<NSIndexPath>& other) const {
  if (!other) raise(NSInvalidArgumentException, "-[NSIndexPath compare:]: the argument is null");
  const NSUInteger shared = std::min(_length, other->_length);
  for (NSUInteger i = 0; i < shared; ++i) {
    if (indexes()[i] < other->indexes()[i]) return NSOrderedAscending;
    if (indexes()[i] > other->indexes()[i]) return NSOrderedDescending;
  }
  if (_length == other->_length) return NSOrderedSame;
  return _length < other->_length ? NSOrderedAscending : NSOrderedDescending;
}

bool NSIndexPath::isEqual(const Value& other) const {
  const NSIndexPath* path = as<NSIndexPath>(other);
  return path && std::equal(indexes(), indexes() + _length, path->indexes(),
                            path->indexes() + path->_length);
}

std::size_t NSIndexPath::hash() const {
  std::uint64_t hash = _length;
  for (NSUInteger i = 0; i < _length; ++i) hash = mixHash(31 * hash + indexes()[i]);
  return static_cast<std::size_t>(hash);
}

Ref<NSString> NSIndexPath::description() const {
  std::string text = NSObject::description()->toStdString();
  text += " {length = " + textFromUnsigned(_length) + ", path = ";
  for (NSUInteger i = 0; i < _length; ++i) {
    if (i > 0) text += " - ";
    text += textFromUnsigned(indexes()[i]);
  }
  return text + "}";
}

}  // namespace JNFoundation
