#include <veliface/device/MavDevice.h>

#include <veliface/control/VelEnquireCmd.h>
#include <veliface/device/FcrDevice.h>
#include <veliface/device/RowanDevice.h>
#include <veliface/device/VelDevice.h>
#include <veliface/device/VelDeviceId.h>

#include <cmath>
#include <sstream>

namespace {

// 10*log10(409.6): the bin correction of a 1024-point FFT at 410 bins, added for levels
// referred to the whole band of a bin.
constexpr double kBinRefOffset = 26.123599479677743;

// Only band triggers (test types 5 and 6) take part in the trigger look-ups.
const VelTrigger_5_6* bandTrigger(const std::shared_ptr<VelTrigger>& t) {
  return dynamic_cast<const VelTrigger_5_6*>(t.get());
}

// Trigger numbers are one byte on the device; callers pass ints and compare the low 8 bits.
bool numbered(const VelTrigger_5_6& t, int n) { return t.trigNum() == static_cast<uint8>(n); }

}  // namespace

bool MavDataScale::operator==(const MavDataScale& o) const {
  return fullScale == o.fullScale && sensitivity == o.sensitivity && reference == o.reference &&
         binCorrection == o.binCorrection && binCorrectionRef == o.binCorrectionRef &&
         refType == o.refType;
}

MavDevice::MavDevice(VelDeviceType type) : devType_(type) {}

MavDevice::MavDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
                     const JobTagMap& tags)
    : serial_(serial), devType_(type), netHostInfo_(info), jobSettings_(tags) {}

std::shared_ptr<MavDevice> MavDevice::createDevice(VelDeviceType type) {
  switch (type) {
    case DEV_ARRAY_HUB:
      return std::make_shared<HciDevice>(type);
    case DEV_POWER_MODULE:
      return std::make_shared<SmRecDevice>(type);
    case DEV_ROWAN:
      return std::make_shared<RowanDevice>(type);
    case DEV_FCR:
      return std::make_shared<FcrDevice>(type);
    default:  // 5, 7 and every type without a class of its own
      return std::make_shared<VelDevice>(type);
  }
}

bool MavDevice::hasWebserver() const { return false; }

bool MavDevice::updateDeviceInfo(const VelEnquireCmd& cmd) {
  const auto newType = static_cast<VelDeviceType>(cmd.devType());
  const auto newStatus = static_cast<VelDeviceStatus>(cmd.status());
  const bool unchanged = serial() == cmd.serial() && devType() == newType &&
                         firmwareVer() == cmd.firmwareVer() &&
                         buildDate() == cmd.buildDate() && status() == newStatus;
  if (!unchanged) {
    setSerial(cmd.serial());
    setDevType(newType);
    setFirmwareVer(cmd.firmwareVer());
    setBuildDate(cmd.buildDate());
    setStatus(newStatus);
  }
  if (cmd.deviceData()) setEnqVersion(cmd.deviceData()->enqVersion());
  return !unchanged;
}

std::string MavDevice::dump(const char* className, const std::string& extraLines) const {
  std::ostringstream os;
  os << "----------- " << className << " ---------- \n"
     << "Serial: " << unsigned{serial()} << '\n'
     << "FirmwareVer: " << firmwareVer() << '\n'
     << "Build Date: " << buildDate() << '\n'
     << "Device Type: " << static_cast<int>(devType()) << '\n'
     << "Status: " << static_cast<unsigned>(status()) << '\n'
     << "Enq.Version: " << unsigned{enqVersion()} << '\n'
     << extraLines << '\n';
  return os.str();
}

std::string MavDevice::toString() const { return dump("MavDevice", ""); }

std::string MavDevice::friendlyName() const {
  return VelDeviceId(devType(), serial()).friendlyName();
}

bool MavDevice::checkArray(MavDevice& other) { return devType() == other.devType(); }

bool MavDevice::checkArrayRates(MavDevice& other) {
  const VelJobSettings& mine = jobSettings();
  const VelJobSettings& theirs = other.jobSettings();
  return mine.wavRate() == theirs.wavRate() && mine.fftRate() == theirs.fftRate();
}

void MavDevice::setJobSettings(const VelJobSettings& s) { jobSettings_.setMap(s.map()); }

void MavDevice::mergeJobSettings(const VelJobSettings& s) { jobSettings_.mergeMap(s.map()); }

std::shared_ptr<VelTrigger_5_6> MavDevice::trigger(int n) const {
  for (const auto& t : triggers()) {
    const auto* band = bandTrigger(t);
    if (band && numbered(*band, n)) return std::static_pointer_cast<VelTrigger_5_6>(t);
  }
  return nullptr;
}

bool MavDevice::hasActiveTriggers() const {
  for (const auto& t : triggers()) {
    const auto* band = bandTrigger(t);
    if (band && band->enabled() != 0) return true;
  }
  return false;
}

void MavDevice::updateTriggers(int n, TrigRegime regime) {
  if (const auto t = trigger(n)) t->eventTrg().regime = regime;
}

VelPortConnStatus MavDevice::streamStatus(VelPort port) const {
  const auto it = streamStatus_.find(port);
  return it == streamStatus_.end() ? PORTCONN_UNKNOWN : it->second;
}

MavDataScale MavDevice::getDataScale(eReferenceType ref, double rate, bool) const {
  MavDataScale scale;
  scale.refType = ref;
  scale.binCorrection = static_cast<float>(10.0 * std::log10(rate * 0.0009765625));
  scale.binCorrectionRef = static_cast<float>(scale.binCorrection + kBinRefOffset);
  return scale;
}

// Deliberately not inverse to setNumPtsFft: each rounds its own way, and lengths that are
// not multiples of 1024 come back with the bin count of the multiple below.
void MavDevice::setNumBins(int n) {
  numBins_ = n;
  numPtsFft_ = (n * 1024) / 410;
}

void MavDevice::setNumPtsFft(int n) {
  numPtsFft_ = n;
  numBins_ = (n / 1024) * 410;
}

bool MavDevice::operator==(const MavDevice& o) const {
  return devType() == o.devType() && serial() == o.serial();
}
