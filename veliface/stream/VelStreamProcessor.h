#pragma once
/// \file Parser of a stream channel: bytes in, stream messages out.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/FiniteStateMachine.h>
#include <mavcommon/MavTypes.h>
#include <mavcommon/BufferEvent.h>
#include <mavcommon/StateEvent.h>
#include <veliface/stream/VelStreamMessage.h>
#include <veliface/stream/VelStreamType.h>

#include <array>
#include <memory>
#include <vector>

/// The event that runs the stream processor: the host's receive buffer.
class StreamInputEvent : public BufferEvent {
 public:
  using BufferEvent::BufferEvent;
};

/// Turns the bytes of one stream channel into stream messages.
///
/// Frame: code (ASCII digit), marker 0x2A, payload length (u16 big-endian), payload; no CRC.
/// Codes: '0' notification, '1' sample data, '2' event header, '5' status. Every payload is
/// stamped with the processor's stream type. When the machine stands in `st_endMsg`,
/// `message()` is the decoded frame.
class VelStreamProcessor : public FiniteStateMachine<VelStreamProcessor> {
 public:
  /// A processor for a stream of `type`; starts searching for a frame.
  explicit VelStreamProcessor(VelStreamType type);

  /// The last decoded message (shared with the processor).
  std::shared_ptr<VelStreamMessage> message() const { return message_; }
  /// True when a handler stopped for lack of bytes.
  bool outOfData() const { return outOfData_; }
  /// Clears the out-of-data flag; call after putting new bytes into the buffer.
  void notifyDataAvailable() { outOfData_ = false; }
  /// The stream type stamped into every payload.
  VelStreamType streamType() const { return streamType_; }

  /// Host pump: clears the out-of-data flag, runs the machine over `buffer` until a
  /// message is complete (returned) or the bytes run out (empty pointer).
  std::shared_ptr<VelStreamMessage> pump(CircularByteBuffer& buffer);

  /// State: find the marker and read the frame header.
  void st_sync(const StateEvent* e);
  /// State: wait for the whole payload, then decode it.
  void st_readPayload(const StateEvent* e);
  /// End state: a message is ready; the next run searches for the next frame.
  void st_endMsg(const StateEvent* e);

 private:
  const std::shared_ptr<uint8[]>& frameBlock(std::size_t length);

  struct Block {
    std::shared_ptr<uint8[]> bytes;
    std::size_t size = 0;
  };

  uint8 header_[4] = {};  // code, marker, length as received
  uint16 length_ = 0;     // payload length in host order
  std::shared_ptr<VelStreamMessage> message_;
  VelStreamType streamType_;
  bool outOfData_ = false;
  std::vector<uint8> scratch_;  // payloads other than sample data, reused frame to frame
  // Blocks that sample-data frames are read into. A block whose samples nobody holds any
  // more is reused, so a steady stream allocates no sample memory.
  std::array<Block, 4> blocks_;
  Block spare_;  // a frame's block while all four above are held by the host
};
