#pragma once
/// \file A minimal state machine whose states are member functions of the derived class.

#include <mavcommon/StateEvent.h>

#include <algorithm>
#include <vector>

/// State machine base. `Derived` supplies the states as public member functions
/// `void st_<state>(const StateEvent*)`; the machine holds the current one.
template <typename Derived>
class FiniteStateMachine {
 public:
  /// A state: a member function of the derived machine that handles one event.
  using StateHandler = void (Derived::*)(const StateEvent*);

  /// Starts in `initial`.
  explicit FiniteStateMachine(StateHandler initial) : state_(initial) {}
  /// Virtual so that machines can be held through the base.
  virtual ~FiniteStateMachine() = default;

  /// Makes `h` the current state.
  void transition(StateHandler h) { state_ = h; }
  /// Marks `h` as an end state (a complete result is ready while the machine stands in it).
  void addEndState(StateHandler h) {
    if (std::find(endStates_.begin(), endStates_.end(), h) == endStates_.end()) endStates_.push_back(h);
  }
  /// The current state.
  StateHandler state() const { return state_; }
  /// True while the current state is one of the end states.
  bool isEndState() const {
    return std::find(endStates_.begin(), endStates_.end(), state_) != endStates_.end();
  }
  /// Runs the current state's handler once with `e`.
  void dispatch(const StateEvent* e) { (static_cast<Derived*>(this)->*state_)(e); }
  /// Host pump: leaves an end state reached before, then runs the machine with `e` until it
  /// reaches an end state again (true) or `outOfData` is set by a state (false). Every run
  /// of a parser's state consumes bytes, changes state or sets the flag, so this ends.
  bool runUntilEnd(const StateEvent* e, const bool& outOfData) {
    if (isEndState()) dispatch(e);
    while (!outOfData) {
      dispatch(e);
      if (isEndState()) return true;
    }
    return false;
  }

 private:
  StateHandler state_;
  std::vector<StateHandler> endStates_;
};
