#pragma once
/// \file Job setup (code 0x44) and job-setup enquiry (code 0x46) payloads, and the error
/// record of a rejected setup.
///
/// Payload of a request: setup type (u16); for a tag-based setup (type 20) a tag count (u16)
/// and the tags (key, length, value) in ascending key order. A response carries the same
/// after a status byte (enquiry only), or, with type 0xFFFF, an error record.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/settings/VelSettingsTypes.h>

#include <map>
#include <memory>
#include <string>

/// Code at the head of every job-setup payload (u16); other values are non-tag-based setups
/// of which nothing further is parsed.
enum JobSetupType : uint16 {
  JOB_SETUP_TAG_BASED = 20,  ///< a counted list of tags follows
  JOB_SETUP_ERROR = 0xFFFF   ///< an error record follows (responses only)
};

/// Why the device rejected a job setup (u16).
enum JobErrCode : uint16 {
  JOB_ERR_UNRECOGNIZED_TAG = 0xFFF3,  ///< "Unrecognized Tag: " + key name
  JOB_ERR_TAG_LENGTH = 0xFFF4,        ///< "Invalid tag length: " + key name
  JOB_ERR_TAG_VALUE = 0xFFF5,         ///< "Invalid or conflicting value: " + verdicts
  JOB_ERR_TIME = 0xFFF6,              ///< "Invalid time."
  JOB_ERR_RESERVED = 0xFFF7,          ///< "Non-zero bytes found in reserved area."
  JOB_ERR_DUTY_CYCLE = 0xFFF8,        ///< "Invalid duty cycle settings."
  JOB_ERR_DSP = 0xFFF9,               ///< "Failed to communicate with DSP."
  JOB_ERR_MEMORY = 0xFFFA,            ///< "Memory allocation failed."
  JOB_ERR_PAYLOAD_SIZE = 0xFFFB,      ///< "Message payload was too small for the message type."
  JOB_ERR_UNUSED = 0xFFFC,            ///< "Unused Error Code."
  JOB_ERR_TRIGGER_DATA = 0xFFFD,      ///< "Trigger could generate too much data."
  JOB_ERR_DATA_RATE = 0xFFFE,         ///< "Too much data to log (change sample rate)."
  JOB_ERR_NOT_READY = 0xFFFF          ///< "The device is not ready to receive setup messages."
};

/// The device's description of a rejected setup.
///
/// Wire record: error code (u16), setup type (u16), then the offending key (u16) for codes
/// 0xFFF3 and 0xFFF4, or a verdict count M (u16) and M pairs of key and verdict (u16 each)
/// for 0xFFF5; nothing more for other codes.
class VelJobSetupErr : public DeserializationFactory<VelJobSetupErr> {
 public:
  /// Code 0xFFF5 for a tag-based setup, no key, no verdicts.
  VelJobSetupErr() = default;
  /// The given code and setup type, no key, no verdicts.
  VelJobSetupErr(JobErrCode code, JobSetupType type) : errorCode_(code), setupType_(type) {}

  /// The error code.
  JobErrCode errorCode() const { return errorCode_; }
  /// The setup type of the rejected setup.
  JobSetupType setupType() const { return setupType_; }
  /// The offending key of codes 0xFFF3 and 0xFFF4, else 0.
  JobTagKey badTagKey() const { return badTagKey_; }
  /// The verdicts per key (code 0xFFF5).
  std::map<JobTagKey, TagErrCode> tagErrors() const { return tagErrors_; }
  /// Records the verdict for `key`, replacing an earlier one.
  void addErr(JobTagKey key, TagErrCode code) { tagErrors_[key] = code; }

  /// Reads an error record; fields that cannot be read keep their defaults.
  static VelJobSetupErr* deserialize(ByteStream* s);
  /// "Job Setup Error: " and the code's text; for 0xFFF5 every non-zero verdict as
  /// "<key name>: <verdict text>", with no separator between entries.
  std::string toString() const;

 private:
  JobErrCode errorCode_ = JOB_ERR_TAG_VALUE;
  JobSetupType setupType_ = JOB_SETUP_TAG_BASED;
  JobTagKey badTagKey_ = AUX_PIN;
  std::map<JobTagKey, TagErrCode> tagErrors_;
};

/// Job setup: the host's request (tags to apply) and, decoded from code 0x44, the device's
/// answer (the tags it applied, or an error).
class VelJobSetupCmd : public VelControlMsgPayload, public DeserializationFactory<VelJobSetupCmd> {
 public:
  /// A setup of `type` carrying `tags` (sent only for a tag-based setup).
  explicit VelJobSetupCmd(JobTagMap tags = {}, JobSetupType type = JOB_SETUP_TAG_BASED)
      : setupType_(type), jobSetup_(std::move(tags)) {}

  /// Writes the setup type and, for a tag-based setup, the count and the tags.
  void serialize(uint64* len, uint8* buf) const override;
  /// 0x44.
  uint8 commandCode() const override { return 0x44; }

  /// Reads a response: the tags of a tag-based setup (unknown keys are logged and skipped),
  /// the error record of type 0xFFFF, nothing for other types.
  static VelJobSetupCmd* deserialize(ByteStream* s);

  /// The setup type.
  JobSetupType setupType() const { return setupType_; }
  /// The tags.
  const JobTagMap& jobSetup() const { return jobSetup_; }
  /// Whether a tag is stored under `key`.
  bool containsTag(JobTagKey key) const { return jobSetup_.count(key) != 0; }
  /// Whether the device rejected the setup (type 0xFFFF).
  bool isError() const { return setupType_ == JOB_SETUP_ERROR; }
  /// The error record, empty unless the response was an error.
  const std::shared_ptr<VelJobSetupErr>& error() const { return error_; }

 private:
  JobSetupType setupType_;
  JobTagMap jobSetup_;
  std::shared_ptr<VelJobSetupErr> error_;
};

/// Job-setup enquiry: the host's question (the setup type alone) and, decoded from code 0x46,
/// the device's status byte and current tags.
class VelJobSetupEnq : public VelControlMsgPayload, public DeserializationFactory<VelJobSetupEnq> {
 public:
  /// An enquiry of `type`; `tags` are kept but not sent.
  explicit VelJobSetupEnq(JobTagMap tags = {}, JobSetupType type = JOB_SETUP_TAG_BASED)
      : setupType_(type), jobSetup_(std::move(tags)) {}

  /// Writes the setup type alone.
  void serialize(uint64* len, uint8* buf) const override;
  /// 0x46.
  uint8 commandCode() const override { return 0x46; }

  /// Reads a response: the status byte, then as the job-setup response, except that an
  /// entry of length 0 (a key the device holds no value for) is passed over.
  static VelJobSetupEnq* deserialize(ByteStream* s);

  /// The device's status byte (responses only).
  uint8 status() const { return status_; }
  /// The setup type.
  JobSetupType setupType() const { return setupType_; }
  /// The tags.
  const JobTagMap& jobSetup() const { return jobSetup_; }
  /// Whether a tag is stored under `key`.
  bool containsTag(JobTagKey key) const { return jobSetup_.count(key) != 0; }
  /// Whether the device answered with an error (type 0xFFFF).
  bool isError() const { return setupType_ == JOB_SETUP_ERROR; }
  /// The error record, empty unless the response was an error.
  const std::shared_ptr<VelJobSetupErr>& error() const { return error_; }

 private:
  JobSetupType setupType_;
  uint8 status_ = 0;
  JobTagMap jobSetup_;
  std::shared_ptr<VelJobSetupErr> error_;
};
