#include <optional>
#include <utility>

#include "DeferredFixture.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/deferred/DeferredCombinators.h>
#include <JNFoundation/platform/value/NSArray.h>

/// Combinations of random inputs that settle in random orders, beside what their rules say.
namespace JNFoundation {
namespace {

enum class Goal { All, Any, First, Settled };

/// The rules, over outcomes that are words: "v3" for a success of input 3, "x3" for a failure, "c3"
/// for a cancellation.
class InputModel {
 public:
  /// The inputs that are there at the start keep their outcomes, whatever is cancelled.
  InputModel(Goal goal, bool cancels, const std::vector<bool>& there)
      : _goal(goal), _cancels(cancels), _there(there), _outcomes(there.size()) {}

  bool isSettled(std::size_t input) const { return _outcomes[input].has_value(); }
  const std::string& outcome(std::size_t input) const { return *_outcomes[input]; }
  const std::string& result() const { return _result; }

  void settle(std::size_t input, char kind) {
    _outcomes[input] = kind + std::to_string(input);
    if (_result != "pending") return;
    const bool isSuccess = kind == 'v';
    if (_goal == Goal::First && isSuccess) {
      _result = "v " + outcome(input);
      return dropOthers();
    }
    if ((_goal == Goal::All && !isSuccess) || (_goal == Goal::Any && isSuccess)) dropOthers();
    judge();
  }

  void cancel() {
    if (_result != "pending") return;
    _result = "cancelled";
    cancelRunning();
  }

 private:
  void judge() {
    std::string all;
    bool hasSuccess = false, hasFailure = false;
    for (const std::optional<std::string>& outcome : _outcomes) {
      if (!outcome) return;
      all += " " + *outcome;
      (outcome->front() == 'v' ? hasSuccess : hasFailure) = true;
    }
    const bool succeeds = _goal == Goal::Settled || (_goal == Goal::All ? !hasFailure : hasSuccess);
    _result = (succeeds ? "v" : "x") + all;
  }
  void dropOthers() {
    if (_cancels) cancelRunning();
  }
  void cancelRunning() {
    for (std::size_t input = 0; input < _outcomes.size(); ++input) {
      if (!isSettled(input) && !_there[input]) _outcomes[input] = "c" + std::to_string(input);
    }
  }

  const Goal _goal;
  const bool _cancels;
  const std::vector<bool> _there;
  std::vector<std::optional<std::string>> _outcomes;
  std::string _result = "pending";
};

class CombinationsAgainstModel : public DeferredFixture {
 protected:
  std::size_t below(std::size_t limit) { return random.below(limit); }

  /// The word for an outcome of that input. A cancellation carries nothing that would name it.
  static std::string word(const Value& outcome, std::size_t input) {
    auto* rejected = as<PLVRejected>(outcome);
    if (!rejected) return "v" + text(outcome);
    return rejected->isCancellation() ? "c" + std::to_string(input) : "x" + text(rejected->value());
  }

  static std::string resultOf(const PLVDeferred& result) {
    if (!result.isResolved()) return "pending";
    const Value& resolution = result.resolution();
    if (isCancellation(resolution)) return "cancelled";
    auto* rejected = as<PLVRejected>(resolution);
    const Value& value = rejected ? rejected->value() : resolution;
    auto* outcomes = as<NSArray>(value);
    if (!outcomes) return "v " + word(value, 0);
    std::string words = rejected ? "x" : "v";
    for (NSUInteger i = 0; i < outcomes->count(); ++i) {
      words += " " + word(outcomes->objectAtIndex(i), i);
    }
    return words;
  }

  static void settle(PLVDeferred& input, std::size_t number, char kind) {
    const Value value = static_cast<NSInteger>(number);
    kind == 'v' ? input.resolve(value) : kind == 'x' ? input.reject(value) : input.cancel();
  }

  void round() {
    const auto goal = static_cast<Goal>(below(4));
    const auto unneeded = goal != Goal::Settled && below(2) ? Unneeded::Cancel : Unneeded::Continue;
    const std::size_t count = 1 + below(6), settledBefore = below(count + 1);
    std::vector<Ref<PLVDeferred>> inputs;
    std::vector<Value> entries;
    std::string kinds;
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < count; ++i) {
      inputs.push_back(PLVDeferred::init());
      kinds += "vvxc"[below(4)];
      order.push_back(i);
      // Some entries wait for their input, some are plain values.
      entries.emplace_back(below(4) ? inputs[i] : PLVDeferred::withResolved(inputs[i]));
      if (below(6) == 0) {
        entries[i] = static_cast<NSInteger>(i);
        kinds[i] = 'v';
      }
    }
    for (std::size_t i = count; i > 1; --i) std::swap(order[i - 1], order[below(i)]);
    std::vector<bool> there(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (i < settledBefore) settle(*inputs[order[i]], order[i], kinds[order[i]]);
      there[order[i]] = i < settledBefore || !entries[order[i]].isObject();
    }

    InputModel model(goal, unneeded == Unneeded::Cancel, there);
    for (std::size_t i = 0; i < count; ++i) {
      if (there[i]) model.settle(i, kinds[i]);
    }
    const Ref<PLVDeferred> result = combine(NSArray::arrayWithValues(entries), goal, unneeded);
    ASSERT_EQ(resultOf(*result), model.result()) << "at the start";

    const std::size_t cancelAt = below(2 * count);
    for (std::size_t i = settledBefore; i < count; ++i) {
      if (i == cancelAt && model.result() == "pending") {
        result->cancel();
        model.cancel();
        ASSERT_EQ(resultOf(*result), "cancelled");
      }
      settle(*inputs[order[i]], order[i], kinds[order[i]]);
      if (!model.isSettled(order[i])) model.settle(order[i], kinds[order[i]]);
      ASSERT_EQ(resultOf(*result), model.result());
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (auto* entry = as<PLVDeferred>(entries[i])) {
        ASSERT_EQ(word(entry->resolution(), i), model.outcome(i)) << "input " << i;
      }
    }
  }

  static Ref<PLVDeferred> combine(const Ref<NSArray>& entries, Goal goal, Unneeded unneeded) {
    switch (goal) {
      case Goal::All:
        return allResolved(entries, unneeded);
      case Goal::Any:
        return anyResolved(entries, unneeded);
      case Goal::First:
        return firstResolved(entries, unneeded);
      case Goal::Settled:
        break;
    }
    return allSettled(entries);
  }

  JNFoundation::testing::Randomness random;
};

TEST_F(CombinationsAgainstModel, DoWhatTheirRulesSay) {
  JN_TRACE_SEED(random);
  const int rounds = JNFoundation::testing::rounds(2000, 1'000'000);
  for (int i = 0; i < rounds; ++i) {
    round();
    ASSERT_FALSE(HasFailure()) << "round " << i;
    ASSERT_EQ(live.count(), 0) << "round " << i;
  }
}

}  // namespace
}  // namespace JNFoundation
