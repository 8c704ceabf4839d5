#pragma once
/// \file Base of the events that drive a state machine.

/// Polymorphic base of every event handed to a `FiniteStateMachine` handler.
class StateEvent {
 public:
  /// Virtual so that handlers can cast to the concrete event they expect.
  virtual ~StateEvent() = default;
};
