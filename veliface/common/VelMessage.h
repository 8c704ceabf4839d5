#pragma once
/// \file Roots of the stream-channel messages and their payloads.

/// Root of the stream-channel messages (they do not use the control frame).
class VelMessage {
 public:
  /// Virtual: messages are held through their bases.
  virtual ~VelMessage() = default;
};

/// Root of the stream-channel message payloads.
class VelMessagePayload {
 public:
  /// Virtual: payloads are held through their bases.
  virtual ~VelMessagePayload() = default;
};
