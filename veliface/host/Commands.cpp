#include <veliface/host/Commands.h>

#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>
#include <veliface/vocabulary/DeviceText.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/stream/VelDataCollectCmd.h>
#include <veliface/trigger/VelEnquireTrigger.h>
#include <veliface/vocabulary/VelDeviceType.h>

namespace veliface::host {

std::shared_ptr<VelControlMsgPayload> enquireRequest() { return std::make_shared<VelEnquireCmd>(); }

std::shared_ptr<VelControlMsgPayload> setTimeRequest(std::int32_t secondsSince1970) {
  return std::make_shared<VelSetTimeCmd>(secondsSince1970);
}

std::shared_ptr<VelControlMsgPayload> jobSetupRequest(const JobTagMap& tags) {
  return std::make_shared<VelJobSetupCmd>(tags);
}

std::shared_ptr<VelControlMsgPayload> jobEnquiryRequest() { return std::make_shared<VelJobSetupEnq>(); }

std::shared_ptr<VelControlMsgPayload> triggerEnquiryRequest() { return std::make_shared<VelEnquireTrigger>(); }

std::shared_ptr<VelControlMsgPayload> dataCollectRequest(uint8 mask) {
  return std::make_shared<VelDataCollectCmd>(mask);
}

std::shared_ptr<VelControlMsgPayload> resetRequest() { return std::make_shared<VelResetCmd>(); }

std::optional<DeviceIdentity> identify(const std::shared_ptr<VelControlMessage>& answer) {
  const auto* enq = answerAs<VelEnquireCmd>(answer);
  if (!enq) return std::nullopt;
  const auto type = static_cast<VelDeviceType>(enq->devType());
  DeviceIdentity id;
  id.device = MavDevice::createDevice(type);
  if (id.device) id.device->updateDeviceInfo(*enq);
  id.description = VelUtil::deviceTypeStr(type) + " serial " + std::to_string(enq->serial()) + " firmware " +
                   escapeDeviceText(enq->firmwareVer()) + " built " + escapeDeviceText(enq->buildDate()) +
                   " status " + std::to_string(enq->status());
  return id;
}

}  // namespace veliface::host
