#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <vector>

#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace JNFoundation::testing {

/// One relationship of the random tests, as the naive graph and the model's maker read it.
struct NaiveRelationship {
  const char* entity;
  const char* name;
  const char* destination;
  bool toMany;
  bool ordered;
  NSDeleteRule rule;
  /// The number of the way back in the same list, or -1.
  int inverse;
};

/// Objects that lead to each other, in the plainest form that does what contexts promise: lists of
/// numbers at both ends, changed together.
class NaiveGraph {
 public:
  using Numbers = std::vector<int>;

  struct Node {
    const char* entity = nullptr;
    /// By relationship.
    std::map<int, Numbers> related;
    int value = 0;
    /// 0 for none.
    int code = 0;
    bool isSaved = false;
    bool isDeleted = false;

    friend bool operator==(const Node&, const Node&) = default;
  };

  explicit NaiveGraph(const std::vector<NaiveRelationship>& relationships)
      : _relationships(&relationships) {}

  /// Everything but what is forgotten.
  std::map<int, Node> nodes;

  const NaiveRelationship& relationship(int number) const {
    return (*_relationships)[static_cast<std::size_t>(number)];
  }
  Numbers& list(int node, int number) { return nodes[node].related[number]; }
  bool leads(int from, int number, int to) {
    const Numbers& known = list(from, number);
    return std::find(known.begin(), known.end(), to) != known.end();
  }

  void relate(int from, int number, int to) {
    if (leads(from, number, to)) return;
    const int inverse = relationship(number).inverse;
    const auto makeRoom = [&](int node, int at) {
      if (at < 0 || relationship(at).toMany || list(node, at).empty()) return;
      part(node, at, list(node, at).front());
    };
    makeRoom(from, number);
    makeRoom(to, inverse);
    list(from, number).push_back(to);
    if (inverse >= 0 && !leads(to, inverse, from)) list(to, inverse).push_back(from);
    for (const int node : {from, to}) {
      if (nodes[node].isDeleted) _withRules.push_back(node);
    }
  }

  void part(int from, int number, int to) {
    std::erase(list(from, number), to);
    const int inverse = relationship(number).inverse;
    if (inverse >= 0 && nodes.count(to) > 0) std::erase(list(to, inverse), from);
  }

  void replace(int from, int number, const Numbers& wanted) {
    const Numbers before = list(from, number);
    for (const int to : before) {
      if (std::find(wanted.begin(), wanted.end(), to) == wanted.end()) part(from, number, to);
    }
    for (const int to : wanted) relate(from, number, to);
    list(from, number) = wanted;
  }

  void remove(int node) {
    Node& removed = nodes[node];
    if (removed.isDeleted) return;
    removed.isDeleted = true;
    if (removed.isSaved) {
      _withRules.push_back(node);
      return;
    }
    _unsaved.push_back(node);
    if (_unsaved.size() > 1) return;
    while (!_unsaved.empty()) {
      const int next = _unsaved.front();
      applyRules(next);
      nodes.erase(next);
      // Where there is no way back.
      for (auto& [number, left] : nodes) {
        for (auto& [at, related] : left.related) std::erase(related, next);
      }
      _unsaved.pop_front();
    }
  }

  /// Runs the delete rules.
  void process() {
    while (!_withRules.empty()) {
      const int next = _withRules.front();
      _withRules.pop_front();
      if (nodes.count(next) > 0 && nodes[next].isDeleted) applyRules(next);
    }
  }

  /// Whether a rule that denies is broken.
  bool isDenied() {
    for (auto& [number, node] : nodes) {
      if (!node.isDeleted) continue;
      for (const auto& [at, related] : node.related) {
        if (relationship(at).rule != NSDenyDeleteRule) continue;
        for (const int other : related) {
          if (!nodes[other].isDeleted) return true;
        }
      }
    }
    return false;
  }

  /// Without a way back, members that go are no members for the save; those that the store has stay
  /// until then.
  void letGoOfAdded(const NaiveGraph& stored) {
    for (auto& [number, node] : nodes) {
      const auto before = stored.nodes.find(number);
      for (auto& [at, related] : node.related) {
        if (relationship(at).inverse >= 0 || !relationship(at).toMany) continue;
        const Numbers known =
            before == stored.nodes.end() ? Numbers() : before->second.related.at(at);
        std::erase_if(related, [&](int other) {
          return nodes.at(other).isDeleted &&
                 std::find(known.begin(), known.end(), other) == known.end();
        });
      }
    }
  }

  void settle() {
    letGoOfAdded(NaiveGraph(*_relationships));
    std::erase_if(nodes, [](const auto& entry) { return entry.second.isDeleted; });
    for (auto& [number, node] : nodes) node.isSaved = true;
    _withRules.clear();
  }

 private:
  void applyRules(int node) {
    const std::map<int, Numbers> before = nodes[node].related;
    for (const auto& [at, others] : before) {
      const NaiveRelationship& rule = relationship(at);
      const bool leadsBackToMany = rule.inverse >= 0 && relationship(rule.inverse).toMany;
      if (nodes[node].isSaved) {
        if (rule.rule == NSDenyDeleteRule) continue;
        if (rule.rule == NSNoActionDeleteRule && !leadsBackToMany) continue;
      }
      for (const int other : others) {
        if (rule.rule == NSCascadeDeleteRule && nodes.count(other) > 0) remove(other);
        if (rule.inverse >= 0) part(node, at, other);
      }
    }
  }

  const std::vector<NaiveRelationship>* _relationships;
  std::deque<int> _withRules;
  std::deque<int> _unsaved;
};

}  // namespace JNFoundation::testing
