#include <veliface/device/VelDevice.h>

#include <veliface/control/VelEnquireCmd.h>
#include <veliface/device/VelDeviceId.h>
#include <veliface/device/internal/FieldSync.h>

#include <cstdint>
#include <iomanip>
#include <sstream>

using veliface::device::field;
using veliface::device::syncFields;

namespace {

// Sensitivity and temperature are signed tenths on the wire, humidity unsigned tenths.
float signedTenths(uint16 raw) { return static_cast<float>(static_cast<std::int16_t>(raw) / 10.0); }
float unsignedTenths(uint16 raw) { return static_cast<float>(raw / 10.0); }

}  // namespace

// ----- VelDevice -----

VelDevice::VelDevice(VelDeviceType type) : MavDevice(type) {}

VelDevice::VelDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
                     const JobTagMap& tags)
    : MavDevice(serial, type, info, tags) {}

bool VelDevice::updateDeviceInfo(const VelEnquireCmd& cmd) {
  const bool identityChanged = MavDevice::updateDeviceInfo(cmd);
  const auto* r = dynamic_cast<const VelEnqHFData*>(cmd.deviceData().get());
  if (!r) return identityChanged;
  const bool recordChanged = syncFields(
      field(this, &VelDevice::sensitivity, &VelDevice::setSensitivity,
            signedTenths(r->sensitivity())),
      field(this, &VelDevice::temperature, &VelDevice::setTemperature,
            signedTenths(r->temperature())),
      field(this, &VelDevice::humidity, &VelDevice::setHumidity, unsignedTenths(r->humidity())),
      field(this, &VelDevice::battPercent, &VelDevice::setBattPercent, r->battPercent()),
      field(this, &VelDevice::battStat, &VelDevice::setBattStat,
            static_cast<VelBattStatus>(r->battStat())),
      field(this, &VelDevice::hardwareRev, &VelDevice::setHardwareRev, r->hardwareRev()),
      field(this, &VelDevice::linkType, &VelDevice::setLinkType,
            static_cast<VelLinkType>(r->linkType())),
      field(this, &VelDevice::syncStatus, &VelDevice::setSyncStatus,
            static_cast<VelSyncStatus>(r->syncStatus())),
      field(this, &VelDevice::sysTimeStatus, &VelDevice::setSysTimeStatus,
            static_cast<VelTimeSource>(r->timeSrc())),
      field(this, &VelDevice::firmwareRel, &VelDevice::setFirmwareRel, r->firmwareRel()),
      field(this, &VelDevice::modelString, &VelDevice::setModelString, r->modelString()));
  return recordChanged || identityChanged;
}

std::string VelDevice::dumpLines(std::initializer_list<DumpLine> which) const {
  std::ostringstream os;
  os << std::fixed << std::setprecision(1);
  for (const DumpLine line : which) {
    switch (line) {
      case DumpLine::LinkType:
        os << "Link type: " << unsigned{linkType()} << '\n';
        break;
      case DumpLine::Sensitivity:
        os << "Sensitivity: " << sensitivity() << '\n';
        break;
      case DumpLine::FirmwareRel:
        os << "FirmwareRel: " << firmwareRel() << '\n';
        break;
      case DumpLine::Model:
        os << "Model: " << modelString() << '\n';
        break;
      case DumpLine::Temperature:
        os << "Temperature: " << temperature() << '\n';
        break;
      case DumpLine::BattStat:
        os << "Batt Stat: " << unsigned{battStat()} << '\n';
        break;
      case DumpLine::BattPercent:
        os << "Batt %: " << unsigned{battPercent()} << '\n';
        break;
    }
  }
  return os.str();
}

std::string VelDevice::toString() const {
  return dump("VelDevice",
              dumpLines({DumpLine::LinkType, DumpLine::Sensitivity, DumpLine::FirmwareRel,
                         DumpLine::Model, DumpLine::Temperature, DumpLine::BattStat,
                         DumpLine::BattPercent}));
}

MavDataScale VelDevice::getDataScale(eReferenceType ref, double rate, bool useTagReference) const {
  MavDataScale scale = MavDevice::getDataScale(ref, rate, useTagReference);
  scale.sensitivity = sensitivity();
  if (useTagReference) {
    // The spectrum-reference tag; a key that is absent or holds another tag class leaves the
    // default reference.
    const JobTagMap& tags = jobSettings().map();
    const auto it = tags.find(FFT_REF_LEVEL);
    if (it != tags.end()) {
      if (const auto* tag = dynamic_cast<const VelSpecRefTag*>(it->second.get())) {
        scale.reference = static_cast<float>(tag->reference());
      }
    }
  }
  return scale;
}

// ----- SmRecDevice -----

SmRecDevice::SmRecDevice(VelDeviceType type) : VelDevice(type) {}

SmRecDevice::SmRecDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
                         const JobTagMap& tags)
    : VelDevice(serial, type, info, tags) {}

bool SmRecDevice::updateDeviceInfo(const VelEnquireCmd& cmd) {
  // The identity step's result is dropped on purpose: see the class comment.
  MavDevice::updateDeviceInfo(cmd);
  const auto* r = dynamic_cast<const VelEnqSmRecData*>(cmd.deviceData().get());
  if (!r) return false;
  return syncFields(
      field(this, &SmRecDevice::hardwareRev, &SmRecDevice::setHardwareRev, r->hardwareRev()),
      field(this, &SmRecDevice::linkType, &SmRecDevice::setLinkType,
            static_cast<VelLinkType>(r->linkType())),
      field(this, &SmRecDevice::syncStatus, &SmRecDevice::setSyncStatus,
            static_cast<VelSyncStatus>(r->syncStatus())),
      field(this, &SmRecDevice::sysTimeSrc, &SmRecDevice::setSysTimeSrc,
            static_cast<VelTimeSource>(r->timeSrc())),
      field(this, &SmRecDevice::modelString, &SmRecDevice::setModelString, r->modelString()),
      field(this, &SmRecDevice::hddStat, &SmRecDevice::setHddStat,
            static_cast<ArrayStorageStat>(r->hddStat())),
      field(this, &SmRecDevice::hddSpace, &SmRecDevice::setHddSpace,
            static_cast<uint64>(r->hddSpace())),
      field(this, &SmRecDevice::battPercent, &SmRecDevice::setBattPercent, r->battPercent()));
}

std::string SmRecDevice::toString() const {
  return dump("SmRecDevice",
              dumpLines({DumpLine::LinkType, DumpLine::Model, DumpLine::BattPercent}));
}

// ----- HciDevice -----

HciDevice::HciDevice(VelDeviceType type) : VelDevice(type) {}

HciDevice::HciDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
                     const JobTagMap& tags)
    : VelDevice(serial, type, info, tags) {}

bool HciDevice::updateDeviceInfo(const VelEnquireCmd& cmd) {
  // The identity step's result is dropped on purpose: see the class comment.
  MavDevice::updateDeviceInfo(cmd);
  const auto* r = dynamic_cast<const VelEnqHCIData*>(cmd.deviceData().get());
  if (!r) return false;
  return syncFields(
      field(this, &HciDevice::hardwareRev, &HciDevice::setHardwareRev, r->hardwareRev()),
      field(this, &HciDevice::linkType, &HciDevice::setLinkType,
            static_cast<VelLinkType>(r->linkType())),
      field(this, &HciDevice::firmwareRel, &HciDevice::setFirmwareRel, r->firmwareRel()));
}

std::string HciDevice::toString() const {
  return dump("HciDevice", dumpLines({DumpLine::LinkType, DumpLine::FirmwareRel}));
}

// ----- the identity of a device -----

VelDeviceId::VelDeviceId(const VelDevice& device)
    : devType_(device.devType()), serialNo_(device.serial()), netHostInfo_(device.netHostInfo()) {}
