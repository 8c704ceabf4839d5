#include <veliface/device/FcrDevice.h>

#include <algorithm>
#include <utility>

namespace {

// Members compare by identity (type and serial) in any order: sort before comparing.
std::vector<VelDeviceId> sorted(std::vector<VelDeviceId> ids) {
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::vector<VelDeviceId> identities(const FcrDevice::DeviceList& list) {
  std::vector<VelDeviceId> ids;
  ids.reserve(list.size());
  for (const auto& dev : list) {
    if (dev) ids.emplace_back(dev->devType(), dev->serial());
  }
  return ids;
}

}  // namespace

FcrDevice::FcrDevice(VelDeviceType type) : VelDevice(type) {}

FcrDevice::FcrDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
                     const JobTagMap& tags)
    : VelDevice(serial, type, info, tags) {}

bool FcrDevice::checkArray(MavDevice& other) {
  const auto* fcr = dynamic_cast<const FcrDevice*>(&other);
  return fcr && MavDevice::checkArray(other) && compareDevLists(fcr->devList());
}

void FcrDevice::setDevList(const DeviceList& list) {
  DeviceList members;
  members.reserve(list.size());
  for (const auto& dev : list) {
    if (dev) members.push_back(dev);
  }
  devList_ = std::move(members);
}

void FcrDevice::setDevList(const std::vector<VelDeviceId>& ids) {
  DeviceList members;
  members.reserve(ids.size());
  for (const VelDeviceId& id : ids) {
    auto dev = createDevice(id.devType());
    dev->setSerial(id.serialNo());
    dev->setNetHostInfo(id.netHostInfo());
    members.push_back(std::move(dev));
  }
  devList_ = std::move(members);
}

bool FcrDevice::compareDevLists(const DeviceList& list) const {
  return sorted(identities(devList_)) == sorted(identities(list));
}

bool FcrDevice::compareDevLists(const std::vector<VelDeviceId>& ids) const {
  return sorted(identities(devList_)) == sorted(ids);
}

VelDeviceId FcrDevice::deviceId() const {
  VelDeviceId id(*this);
  id.setDevIdList(identities(devList_));
  return id;
}
