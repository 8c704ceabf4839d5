#include <veliface/device/VelDeviceId.h>

#include <iterator>
#include <utility>

VelDeviceId::VelDeviceId() = default;

VelDeviceId::VelDeviceId(VelDeviceType type, unsigned short serial)
    : devType_(type), serialNo_(serial) {}

VelDeviceId::VelDeviceId(VelDeviceType type, unsigned short serial, const MavNetHostInfo& info)
    : devType_(type), serialNo_(serial), netHostInfo_(info) {}

VelDeviceId::VelDeviceId(const VelDeviceId& other)
    : devType_(other.devType_), serialNo_(other.serialNo_), netHostInfo_(other.netHostInfo()) {
  setDevIdList(other);
  hostDevNo_ = other.hostDevNo_;
}

VelDeviceId::VelDeviceId(VelDeviceId&& other) noexcept
    : devType_(other.devType_),
      serialNo_(other.serialNo_),
      netHostInfo_(other.netHostInfo()),
      devIdList_(std::move(other.devIdList_)),
      hostDevNo_(other.hostDevNo_) {}

VelDeviceId& VelDeviceId::operator=(const VelDeviceId& other) {
  devType_ = other.devType_;
  serialNo_ = other.serialNo_;
  netHostInfo_ = other.netHostInfo();
  setDevIdList(other);
  hostDevNo_ = other.hostDevNo_;
  return *this;
}

VelDeviceId& VelDeviceId::operator=(VelDeviceId&& other) noexcept {
  devType_ = other.devType_;
  serialNo_ = other.serialNo_;
  netHostInfo_ = other.netHostInfo();
  if (this != &other) devIdList_ = std::move(other.devIdList_);
  hostDevNo_ = other.hostDevNo_;
  return *this;
}

MavNetHostInfo VelDeviceId::netHostInfo() const { return netHostInfo_; }

void VelDeviceId::setNetHostInfo(const MavNetHostInfo& info) { netHostInfo_ = info; }

bool VelDeviceId::operator==(const VelDeviceId& other) const {
  return devType_ == other.devType_ && serialNo_ == other.serialNo_;
}

bool VelDeviceId::operator<(const VelDeviceId& other) const {
  // The type compares as a signed byte on purpose: 0xFF ("Unsupported device") sorts before
  // 0 ("No device"), and sorted containers of identities rely on that order.
  if (devType_ != other.devType_) {
    return static_cast<signed char>(devType_) < static_cast<signed char>(other.devType_);
  }
  return serialNo_ < other.serialNo_;
}

void VelDeviceId::setDevIdList(const VelDeviceId& other) { setDevIdList(other.devIdList_); }

void VelDeviceId::setDevIdList(const std::vector<VelDeviceId>& list) {
  // Copy first: `list` may be this very list or lie inside one of its elements.
  std::vector<VelDeviceId> copy(list);
  devIdList_.clear();  // keeps the capacity
  devIdList_.insert(devIdList_.end(), std::make_move_iterator(copy.begin()),
                    std::make_move_iterator(copy.end()));
}

std::string VelDeviceId::name(const char* serialSep, const char* hostSep) const {
  std::string text = VelUtil::deviceTypeStr(devType_) + serialSep + std::to_string(serialNo_);
  if (hostDevNo_ != 0) text += hostSep + std::to_string(hostDevNo_) + ")";
  return text;
}

std::string VelDeviceId::friendlyName() const { return name(" #", " ("); }

std::string VelDeviceId::friendly2Name() const { return name("\n #", "\n ("); }
