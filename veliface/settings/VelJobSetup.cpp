#include <veliface/settings/VelJobSetup.h>

#include <mavcommon/Endian.h>
#include <veliface/common/VelLog.h>
#include <veliface/settings/internal/JobSetupReader.h>
#include <veliface/settings/internal/TagRegistry.h>

namespace veliface::settings {

void readJobSetupBody(ByteStream* s, const JobSetupReadStyle& style, JobSetupType& type,
                      JobTagMap& tags, std::shared_ptr<VelJobSetupErr>& error) {
  readEnumLE(s, type);
  if (type == JOB_SETUP_TAG_BASED) {
    uint16 count = 0;
    s->readLE(count);
    for (uint16 i = 0; i < count; ++i) {
      uint16 key = 0;
      uint16 length = 0;
      if (!s->readLE(key) || !s->readLE(length)) return;
      if (style.skipEmptyEntries && length == 0) continue;
      const TagKind* kind = findTagKind(static_cast<JobTagKey>(key));
      if (!kind) {
        VelLog::write(std::string(style.logPrefix) + "Unrecognized key, ignoring: " +
                      std::to_string(key));
        s->ignore(length);
        if (s->fail()) return;
        continue;
      }
      // A known key is read by its class's own layout, whatever the length says. A value cut
      // off by the end of the payload still makes a tag: the fields that could not be read
      // keep their constructor values. Devices send keys in ascending order, so the end is
      // the right hint; a repeated key still replaces the earlier value.
      std::shared_ptr<VelJobSettingsTag> tag = kind->read(s);
      if (tag) tags.insert_or_assign(tags.end(), static_cast<JobTagKey>(key), std::move(tag));
      if (s->fail()) return;  // nothing after a cut value can be read
    }
  } else if (type == JOB_SETUP_ERROR) {
    VelLog::write(std::string(style.logPrefix) + "JobSetup Error Returned!");
    error.reset(VelJobSetupErr::deserialize(s));
  } else {
    VelLog::write(std::string(style.logPrefix) + "Non Tag-Based setup.");
  }
}

}  // namespace veliface::settings

using veliface::settings::JobSetupReadStyle;
using veliface::settings::readEnumLE;
using veliface::settings::readJobSetupBody;

// --- VelJobSetupErr ---------------------------------------------------------------------

VelJobSetupErr* VelJobSetupErr::deserialize(ByteStream* s) {
  auto* err = new VelJobSetupErr();
  readEnumLE(s, err->errorCode_);
  readEnumLE(s, err->setupType_);
  if (err->errorCode_ == JOB_ERR_UNRECOGNIZED_TAG || err->errorCode_ == JOB_ERR_TAG_LENGTH) {
    readEnumLE(s, err->badTagKey_);
  } else if (err->errorCode_ == JOB_ERR_TAG_VALUE) {
    uint16 count = 0;
    s->readLE(count);
    for (uint16 i = 0; i < count; ++i) {
      uint16 key = 0;
      uint16 verdict = 0;
      if (!s->readLE(key) || !s->readLE(verdict)) break;
      err->addErr(static_cast<JobTagKey>(key), static_cast<TagErrCode>(verdict));
    }
  }
  return err;
}

std::string VelJobSetupErr::toString() const {
  std::string text = "Job Setup Error: ";
  switch (errorCode_) {
    case JOB_ERR_UNRECOGNIZED_TAG:
      return text + "Unrecognized Tag: " + VelJobSettingsTag::keyName(badTagKey_);
    case JOB_ERR_TAG_LENGTH:
      return text + "Invalid tag length: " + VelJobSettingsTag::keyName(badTagKey_);
    case JOB_ERR_TAG_VALUE:
      text += "Invalid or conflicting value: \n";
      for (const auto& [key, verdict] : tagErrors_) {
        if (verdict == TAG_OK) continue;
        text += VelJobSettingsTag::keyName(key) + ": " + VelUtil::tagErrStr(verdict);
      }
      return text;
    case JOB_ERR_TIME: return text + "Invalid time.";
    case JOB_ERR_RESERVED: return text + "Non-zero bytes found in reserved area.";
    case JOB_ERR_DUTY_CYCLE: return text + "Invalid duty cycle settings.";
    case JOB_ERR_DSP: return text + "Failed to communicate with DSP.";
    case JOB_ERR_MEMORY: return text + "Memory allocation failed.";
    case JOB_ERR_PAYLOAD_SIZE: return text + "Message payload was too small for the message type.";
    case JOB_ERR_UNUSED: return text + "Unused Error Code.";
    case JOB_ERR_TRIGGER_DATA: return text + "Trigger could generate too much data.";
    case JOB_ERR_DATA_RATE: return text + "Too much data to log (change sample rate).";
    case JOB_ERR_NOT_READY: return text + "The device is not ready to receive setup messages.";
  }
  return text + "Unknown Error";
}

// --- VelJobSetupCmd ---------------------------------------------------------------------

void VelJobSetupCmd::serialize(uint64* len, uint8* buf) const {
  mav::storeLE<uint16>(buf, setupType_);
  uint64 n = 2;
  if (setupType_ == JOB_SETUP_TAG_BASED) {
    uint16 count = 0;
    n += 2;
    for (const auto& [key, tag] : jobSetup_) {
      if (!tag) continue;
      mav::storeLE<uint16>(buf + n, key);
      n += 2;
      tag->serialize(&n, buf + n);
      ++count;
    }
    mav::storeLE<uint16>(buf + 2, count);
  }
  *len += n;
}

VelJobSetupCmd* VelJobSetupCmd::deserialize(ByteStream* s) {
  auto* cmd = new VelJobSetupCmd({}, static_cast<JobSetupType>(0));
  static const JobSetupReadStyle kStyle{"VelJobSetupCmd::deserialize: ", false};
  readJobSetupBody(s, kStyle, cmd->setupType_, cmd->jobSetup_, cmd->error_);
  return cmd;
}

// --- VelJobSetupEnq ---------------------------------------------------------------------

void VelJobSetupEnq::serialize(uint64* len, uint8* buf) const {
  mav::storeLE<uint16>(buf, setupType_);
  *len += 2;
}

VelJobSetupEnq* VelJobSetupEnq::deserialize(ByteStream* s) {
  auto* enq = new VelJobSetupEnq({}, static_cast<JobSetupType>(0));
  static const JobSetupReadStyle kStyle{"VelJobSetupEnq::deserialize: ", true};
  s->readLE(enq->status_);
  readJobSetupBody(s, kStyle, enq->setupType_, enq->jobSetup_, enq->error_);
  return enq;
}
