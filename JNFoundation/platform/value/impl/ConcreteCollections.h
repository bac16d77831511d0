#pragma once

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

/// The classes that plain collections are instances of, as log texts name them. Each is defined
/// beside its public class.
namespace JNFoundation::inline v0_1 {

struct ConcreteArray {
  using Superclass = NSArray;
  static const Class classObject;
};
struct ConcreteMutableArray {
  using Superclass = NSMutableArray;
  static const Class classObject;
};
struct ConcreteDictionary {
  using Superclass = NSDictionary;
  static const Class classObject;
};
struct ConcreteMutableDictionary {
  using Superclass = NSMutableDictionary;
  static const Class classObject;
};
struct ConcreteSet {
  using Superclass = NSSet;
  static const Class classObject;
};
struct ConcreteMutableSet {
  using Superclass = NSMutableSet;
  static const Class classObject;
};
struct ConcreteOrderedSet {
  using Superclass = NSOrderedSet;
  static const Class classObject;
};
struct ConcreteMutableOrderedSet {
  using Superclass = NSMutableOrderedSet;
  static const Class classObject;
};

}  // namespace JNFoundation
