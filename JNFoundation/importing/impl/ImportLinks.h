#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include <JNFoundation/importing/impl/EntityImport.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace JNFoundation::inline v0_1::impl {

/// The relationships that records ask for while they are mapped, and what makes them: all that came
/// together at once, with one fetch for each entity. Records that are related may ask for more;
/// these come with the next round, so the depth of a record costs rounds, not stack.
/// Threads: the context's.
class ImportLinks : public NSObject {
 public:
  /// Told of what cannot be related: the number of the record, and why.
  using Refuse = std::function<void(NSUInteger index, const Ref<NSError>& error)>;

  /// What takes requests for objects of this context at the moment. Null for none.
  static ImportLinks* taking(const NSManagedObjectContext& context);

  /// Has a collector take requests for as long as this lives.
  class Taking {
   public:
    explicit Taking(ImportLinks& related);
    ~Taking();
    Taking(const Taking&) = delete;
    Taking& operator=(const Taking&) = delete;

   private:
    ImportLinks& _related;
    const Value _outer;
  };

  /// Takes: name of an entity to array of attribute names; null for none.
  static Ref<ImportLinks> init(const Ref<NSManagedObjectContext>& context,
                               const Ref<NSDictionary>& identities,
                               const Ref<PLVDataMapFilter>& filter, Refuse refuse);

  /// The record for which requests come from now on.
  void setRecordIndex(NSUInteger index) noexcept { _index = index; }
  void add(const Ref<NSManagedObject>& object, const Ref<NSRelationshipDescription>& relationship,
           const Value& value);
  /// Drops the requests of one record that wait.
  void dropRecord(NSUInteger index);
  bool isEmpty() const noexcept { return _links.empty(); }

  /// Relates everything that waits; what is asked for meanwhile waits. Fails: throws a Rejected.
  void relate();

  /// The objects that were made since the last time, with the numbers of their records.
  std::vector<std::pair<Ref<NSManagedObject>, NSUInteger>> takeInserted();

 protected:
  ImportLinks(Ref<NSManagedObjectContext> context, Ref<NSDictionary> identities,
              Ref<PLVDataMapFilter> filter, Refuse refuse);

 private:
  struct Link {
    Ref<NSManagedObject> object;
    Ref<NSRelationshipDescription> relationship;
    Value value;
    NSUInteger index;
  };
  /// One related record, or the identity of one.
  struct Element {
    std::size_t link;
    Ref<NSDictionary> record;  ///< null for an identity
    Value identity;
  };
  struct Group;

  EntityImport& entityImport(const Ref<NSEntityDescription>& entity);
  void relateGroup(const Group& group);
  Ref<NSManagedObject> objectFor(const Link& link, const Element& element, EntityImport& records,
                                 NSMutableDictionary& known);
  void refuse(const Link& link, NSInteger code, const char* sentence);

  const Ref<NSManagedObjectContext> _context;
  const Ref<NSDictionary> _identities;
  const Ref<PLVDataMapFilter> _filter;
  const Refuse _refuse;
  std::unordered_map<const NSEntityDescription*, std::unique_ptr<EntityImport>> _imports;
  std::vector<Link> _links;
  std::vector<std::pair<Ref<NSManagedObject>, NSUInteger>> _inserted;
  NSUInteger _index = 0;
};

}  // namespace JNFoundation::impl
