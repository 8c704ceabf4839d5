#pragma once
/// \file The trigger enquiry ('R'): the command and its response listing the triggers.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/trigger/VelTrigger.h>

#include <memory>
#include <vector>

/// Trigger enquiry, both the command and the decoded response.
///
/// Response payload: count (u8), then `count` length-prefixed trigger records.
class VelEnquireTrigger : public VelControlMsgPayload,
                          public DeserializationFactory<VelEnquireTrigger> {
 public:
  /// An enquiry with an empty list.
  VelEnquireTrigger() = default;
  /// A command carrying `triggers`.
  explicit VelEnquireTrigger(std::vector<std::shared_ptr<VelTrigger>> triggers)
      : triggers_(std::move(triggers)) {}

  /// Writes the command payload: nothing for an empty list; the records of a non-empty
  /// list are written over one another at one position (kept as the command behaves).
  void serialize(uint64* len, uint8* buf) const override;
  /// Always 0x52.
  uint8 commandCode() const override { return 0x52; }

  /// Number of records the response announced (0 for a new command).
  uint8 count() const { return count_; }
  /// The records in received order (shared, not copied); an undecodable record is empty.
  std::vector<std::shared_ptr<VelTrigger>> triggers() const { return triggers_; }

  /// Decodes a response.
  static VelEnquireTrigger* deserialize(ByteStream* s);

 private:
  uint8 count_ = 0;
  std::vector<std::shared_ptr<VelTrigger>> triggers_;
};
