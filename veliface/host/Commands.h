#pragma once
/// \file The control requests a host sends, ready for `ControlSession::start`, and what their
/// answers mean for a host.

#include <veliface/common/VelCommand.h>
#include <veliface/common/VelCommandPayload.h>
#include <veliface/device/MavDevice.h>
#include <veliface/settings/VelJobSettingsTag.h>

#include <mavcommon/MavTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace veliface::host {

/// Asks the device who it is (enquire).
std::shared_ptr<VelControlMsgPayload> enquireRequest();
/// Sets the device clock to `secondsSince1970` (UTC).
std::shared_ptr<VelControlMsgPayload> setTimeRequest(std::int32_t secondsSince1970);
/// Sends a job: the settings `tags` (judge the answer with `judgeJobSetup`).
std::shared_ptr<VelControlMsgPayload> jobSetupRequest(const JobTagMap& tags);
/// Asks the device for its current job settings.
std::shared_ptr<VelControlMsgPayload> jobEnquiryRequest();
/// Asks the device for its trigger list.
std::shared_ptr<VelControlMsgPayload> triggerEnquiryRequest();
/// Asks the device for its recorded data of the streams in `mask`.
std::shared_ptr<VelControlMsgPayload> dataCollectRequest(uint8 mask);
/// Resets the device.
std::shared_ptr<VelControlMsgPayload> resetRequest();

/// The payload of `answer` as a `T`, or null when it is something else (or there is none).
/// The pointer lives as long as `answer` does: keep the message, not a temporary.
template <typename T>
const T* answerAs(const std::shared_ptr<VelControlMessage>& answer) {
  return answer ? dynamic_cast<const T*>(answer->payload().get()) : nullptr;
}

/// Who answered an enquiry.
struct DeviceIdentity {
  std::shared_ptr<MavDevice> device;  ///< the device model, filled from the answer (null for an unknown type)
  std::string description;            ///< one line for a person, device texts escaped
};

/// The identity in an enquiry answer, or nothing when `answer` is not one.
std::optional<DeviceIdentity> identify(const std::shared_ptr<VelControlMessage>& answer);

}  // namespace veliface::host
