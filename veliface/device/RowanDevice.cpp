#include <veliface/device/RowanDevice.h>

RowanDevice::RowanDevice(VelDeviceType type) : VelDevice(type) {}

RowanDevice::RowanDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
                         const JobTagMap& tags)
    : VelDevice(serial, type, info, tags) {}

bool RowanDevice::checkArray(MavDevice& other) {
  const auto* rowan = dynamic_cast<const RowanDevice*>(&other);
  if (!rowan || !MavDevice::checkArray(other) || rowan->fcrChannel() != fcrChannel()) {
    return false;
  }
  if (!fcr_ || !rowan->fcr_) return !fcr_ && !rowan->fcr_;
  return fcr_->checkArray(*rowan->fcr_);
}

std::string RowanDevice::friendlyName() const { return deviceId().friendlyName(); }

VelDeviceId RowanDevice::deviceId() const {
  VelDeviceId id(*this);
  id.setHostDevNo(fcrChannel());
  return id;
}
