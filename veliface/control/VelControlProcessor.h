#pragma once
/// \file Parser of the control channel: bytes in, decoded responses out.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/BufferEvent.h>
#include <mavcommon/StateEvent.h>
#include <veliface/common/VelCommand.h>

#include <memory>
#include <vector>

/// The event that runs the control processor: the host's receive buffer.
class ControlResponseEvent : public BufferEvent {
 public:
  using BufferEvent::BufferEvent;
};

/// Turns the bytes of a device's control channel into response messages.
///
/// It finds the frame start "*", reads code and length, takes the payload only when it is
/// wholly in the buffer, checks the CRC where the code demands it, and builds the payload
/// class the code names. When the machine stands in `st_endMsg`, `message()` is the
/// decoded response.
class VelControlProcessor : public FiniteStateMachine<VelControlProcessor> {
 public:
  /// Starts searching for a frame; no message yet.
  VelControlProcessor();

  /// The last decoded message (shared with the processor).
  std::shared_ptr<VelControlMessage> message() const { return message_; }
  /// True when a handler stopped for lack of bytes.
  bool outOfData() const { return outOfData_; }
  /// Clears the out-of-data flag; call after putting new bytes into the buffer.
  void notifyDataAvailable() { outOfData_ = false; }
  /// Folds `count` bytes into the running CRC (nothing for 0).
  void updateCrc(const uint8* bytes, uint16 count);

  /// Host pump: clears the out-of-data flag, runs the machine over `buffer` until a
  /// response is complete (returned) or the bytes run out (empty pointer).
  std::shared_ptr<VelControlMessage> pump(CircularByteBuffer& buffer);

  /// State: search for "*" and read the header.
  void st_sync(const StateEvent* e);
  /// Same as `st_sync`.
  void checkL(const StateEvent* e);
  /// State: read the payload and build the response.
  void st_readPayload(const StateEvent* e);
  /// State: read and check the two CRC bytes.
  void st_crc(const StateEvent* e);
  /// End state: a response is ready; the next run searches for the next frame.
  void st_endMsg(const StateEvent* e);

 private:
  bool readHeader(const ControlResponseEvent& ev);

  std::shared_ptr<VelControlMessage> message_;
  // start, code and length lie side by side in wire order so that the four header bytes
  // can be folded into the CRC exactly as they arrived.
  uint8 start_ = 0;
  uint8 code_ = 0;
  uint16 length_ = 0;
  bool outOfData_ = false;
  uint16 crc_ = 0;
  std::vector<uint8> scratch_;
};
