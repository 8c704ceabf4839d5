#pragma once
/// \file Parser of Marco responses: bytes in, network messages out.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/BufferEvent.h>
#include <mavcommon/StateEvent.h>
#include <veliface/discovery/VelMarcoCommand.h>

#include <memory>
#include <vector>

/// The event that runs the discovery processor: the host's receive buffer.
class MarcoMessageEvent : public BufferEvent {
 public:
  using BufferEvent::BufferEvent;
};

/// Turns the bytes that devices send in answer to Marco requests into messages.
///
/// States: `st_sync` (find "*" and read the header) → `st_readPayload` → `st_crc` →
/// `st_endMsg` (a message is ready in `message()`) → `st_sync`. A state that lacks bytes
/// sets the out-of-data flag and waits; bytes it has already taken stay consumed.
class VelMarcoProcessor : public FiniteStateMachine<VelMarcoProcessor> {
 public:
  /// Starts searching for a frame; no message yet.
  VelMarcoProcessor();

  /// The last decoded message.
  std::shared_ptr<VelMarcoCommand> message() const { return message_; }
  /// True when a state stopped for lack of bytes.
  bool outOfData() const { return outOfData_; }
  /// Sets or clears the out-of-data flag; clear it after putting new bytes into the buffer.
  void setOutOfData(bool value) { outOfData_ = value; }
  /// Clears the out-of-data flag.
  void notifyDataAvailable() { outOfData_ = false; }

  /// Host pump: clears the out-of-data flag, runs the machine over `buffer` until a
  /// message is complete (returned) or the bytes run out (empty pointer).
  std::shared_ptr<VelMarcoCommand> pump(CircularByteBuffer& buffer);

  /// State: search for "*" and read type code and length.
  void st_sync(const StateEvent* e);
  /// State: read the payload and build the message its type code names.
  void st_readPayload(const StateEvent* e);
  /// State: take the two CRC bytes.
  void st_crc(const StateEvent* e);
  /// End state: a message is ready; the next run searches for the next frame.
  void st_endMsg(const StateEvent* e);

 private:
  std::shared_ptr<VelMarcoCommand> message_;
  uint8 start_ = 0;
  uint8 code_ = 0;
  uint16 length_ = 0;
  bool outOfData_ = false;
  std::vector<uint8> scratch_;
};
