#include <veliface/settings/VelJobSettings.h>

#include <cmath>

namespace {

constexpr unsigned kDefaultRate = 32000;

// Ceiling in float arithmetic: from 2^23 on a float is integral already; below, a fraction
// rounds away from zero towards +inf and the sign of x is kept (so -0.5 gives -0).
unsigned ceilToUnsigned(float x) {
  float r = x;
  if (std::fabs(x) < 8388608.0f) {
    const float t = std::trunc(x);
    r = std::copysign(x > t ? t + 1.0f : t, x);
  }
  // A float outside the 64-bit range (or NaN) has no integer value; report 0 rather than
  // convert it. Otherwise wrap to 32 bits as the integer conversion does.
  if (!(std::fabs(r) < 9.2e18f)) return 0;
  return static_cast<unsigned>(static_cast<int64>(r));
}

// Calls `fn(getter, setter)` for every setting of the recording job, in the order in which
// a copy must store them: the packed WAV format first, then the depth and byte order it
// carries, so that the explicit ones win.
template <class Fn>
void forEachJobSetting(Fn&& fn) {
  fn(&VelJobSettings::wavLogStartTime, &VelJobSettings::setWavLogStartTime);
  fn(&VelJobSettings::fftRate, &VelJobSettings::setFftRate);
  fn(&VelJobSettings::fftRef, &VelJobSettings::setFftRef);
  fn(&VelJobSettings::fftPoints, &VelJobSettings::setFftPoints);
  fn(&VelJobSettings::fftPointsBtw, &VelJobSettings::setFftPointsBtw);
  fn(&VelJobSettings::fftProcType, &VelJobSettings::setFftProcType);
  fn(&VelJobSettings::fftAccum, &VelJobSettings::setFftAccum);
  fn(&VelJobSettings::fftWeight, &VelJobSettings::setFftWeight);
  fn(&VelJobSettings::fftLogMode, &VelJobSettings::setFftLogMode);
  fn(&VelJobSettings::fftLogLen, &VelJobSettings::setFftLogLen);
  fn(&VelJobSettings::dutyCyclePeriod, &VelJobSettings::setDutyCyclePeriod);
  fn(&VelJobSettings::dutyCycleActive, &VelJobSettings::setDutyCycleActive);
  fn(&VelJobSettings::dutyCycleIgn, &VelJobSettings::setDutyCycleIgn);
  fn(&VelJobSettings::wavRate, &VelJobSettings::setWavRate);
  fn(&VelJobSettings::wavDataFormat, &VelJobSettings::setWavDataFormat);
  fn(&VelJobSettings::wavBitDepth, &VelJobSettings::setWavBitDepth);
  fn(&VelJobSettings::wavByteOrder, &VelJobSettings::setWavByteOrder);
  fn(&VelJobSettings::wavGain, &VelJobSettings::setWavGain);
  fn(&VelJobSettings::wavLogMode, &VelJobSettings::setWavLogMode);
  fn(&VelJobSettings::wavLogLen, &VelJobSettings::setWavLogLen);
}

bool sameJob(const VelJobSettings& a, const VelJobSettings& b) {
  bool same = true;
  forEachJobSetting([&](auto get, auto) { same = same && (a.*get)() == (b.*get)(); });
  return same;
}

}  // namespace

void VelJobSettings::setMap(const JobTagMap& m) { map_ = m; }

AuxPinFunc VelJobSettings::auxFunc() const {
  return enumValue<AuxPinFunc, uint16, VelAuxPinTag>(0);
}
void VelJobSettings::setAuxFunc(AuxPinFunc f) { setTag(std::make_shared<VelAuxPinTag>(f)); }

AuxPinMsg VelJobSettings::auxMsg() const {
  return static_cast<AuxPinMsg>(tagValue<VelAuxMsgTag>(1));
}
void VelJobSettings::setAuxMsg(AuxPinMsg m) { setTag(std::make_shared<VelAuxMsgTag>(m)); }

int VelJobSettings::wavLogStartTime() const { return tagValue<VelLogStartTimeTag>(-1); }
void VelJobSettings::setWavLogStartTime(int t) { storeTag<VelLogStartTimeTag>(t); }

SampRate VelJobSettings::fftRate() const {
  return rateValue<VelSpecSampRateTag>(kDefaultRate);
}
SampRate VelJobSettings::realFftRate() const {
  return static_cast<SampRate>(tagValue<VelSpecSampRateTag>(0));
}
void VelJobSettings::setFftRate(SampRate r) { setTag(std::make_shared<VelSpecSampRateTag>(r)); }

int VelJobSettings::fftRef() const { return tagValue<VelSpecRefTag>(-180); }
void VelJobSettings::setFftRef(int ref) { storeTag<VelSpecRefTag>(ref); }

unsigned VelJobSettings::fftPoints() const { return tagValue<VelPtsPerFftTag>(1024); }
void VelJobSettings::setFftPoints(unsigned n) { storeTag<VelPtsPerFftTag>(n); }

unsigned VelJobSettings::fftPointsBtw() const { return tagValue<VelPtsBtwFftTag>(512); }
void VelJobSettings::setFftPointsBtw(unsigned n) { storeTag<VelPtsBtwFftTag>(n); }

VelFftProc VelJobSettings::fftProcType() const {
  return enumValue<VelFftProc, uint16, VelFftProcTag>(0);
}
void VelJobSettings::setFftProcType(VelFftProc p) { setTag(std::make_shared<VelFftProcTag>(p)); }

unsigned VelJobSettings::fftAccum() const { return tagValue<VelFftAccumTag>(4); }
void VelJobSettings::setFftAccum(unsigned n) { storeTag<VelFftAccumTag>(n); }

unsigned VelJobSettings::fftWeight() const { return tagValue<VelFftWeightTag>(1); }
void VelJobSettings::setFftWeight(unsigned w) { storeTag<VelFftWeightTag>(w); }

VelLogMode VelJobSettings::fftLogMode() const {
  return enumValue<VelLogMode, uint16, VelSpecLogModeTag>(0);
}
void VelJobSettings::setFftLogMode(VelLogMode m) {
  setTag(std::make_shared<VelSpecLogModeTag>(m));
}

unsigned VelJobSettings::fftLogLen() const { return tagValue<VelSpecLogLenTag>(1); }
void VelJobSettings::setFftLogLen(unsigned n) { storeTag<VelSpecLogLenTag>(n); }

unsigned VelJobSettings::dutyCyclePeriod() const { return tagValue<VelDutyCycleTimeTag>(0); }
void VelJobSettings::setDutyCyclePeriod(unsigned t) { storeTag<VelDutyCycleTimeTag>(t); }

unsigned VelJobSettings::dutyCycleActive() const { return tagValue<VelDutyCycleActTag>(0); }
void VelJobSettings::setDutyCycleActive(unsigned t) { storeTag<VelDutyCycleActTag>(t); }

unsigned VelJobSettings::dutyCycleIgn() const { return tagValue<VelDutyCycleIgnTimeTag>(0); }
void VelJobSettings::setDutyCycleIgn(unsigned v) { storeTag<VelDutyCycleIgnTimeTag>(v); }

SampRate VelJobSettings::wavRate() const {
  return rateValue<VelWavSampleRateTag>(kDefaultRate);
}
SampRate VelJobSettings::realWavRate() const {
  return static_cast<SampRate>(tagValue<VelWavSampleRateTag>(0));
}
void VelJobSettings::setWavRate(SampRate r) { setTag(std::make_shared<VelWavSampleRateTag>(r)); }

VelWavDataFormat VelJobSettings::wavDataFormat() const {
  const auto depth = static_cast<uint8>(wavBitDepth());
  return static_cast<VelWavDataFormat>((wavByteOrder() << 7) | (depth >> 3));
}
void VelJobSettings::setWavDataFormat(VelWavDataFormat f) {
  // Deliberately formed in one byte: byte counts of 32 and more lose bits 5 and 6 of the
  // count, so only depths below 256 survive a round trip through the packed format.
  setWavBitDepth(static_cast<VelWavBitDepth>(static_cast<uint8>(f * 8u)));
  setWavByteOrder(byteOrder(f));
}

VelWavBitDepth VelJobSettings::wavBitDepth() const {
  return enumValue<VelWavBitDepth, uint8, VelWavBitDepthTag>(24);
}
void VelJobSettings::setWavBitDepth(VelWavBitDepth d) { storeTag<VelWavBitDepthTag>(d); }

VelByteOrder VelJobSettings::wavByteOrder() const {
  return enumValue<VelByteOrder, uint8, VelWavByteOrderTag>(1);
}
void VelJobSettings::setWavByteOrder(VelByteOrder o) { storeTag<VelWavByteOrderTag>(o); }

unsigned VelJobSettings::wavGain() const { return tagValue<VelWavGainTag>(0); }
void VelJobSettings::setWavGain(unsigned g) { storeTag<VelWavGainTag>(g); }

VelLogMode VelJobSettings::wavLogMode() const {
  return enumValue<VelLogMode, uint16, VelWavLogModeTag>(0);
}
void VelJobSettings::setWavLogMode(VelLogMode m) { setTag(std::make_shared<VelWavLogModeTag>(m)); }

unsigned VelJobSettings::wavLogLen() const { return tagValue<VelWavLogLenTag>(1); }
void VelJobSettings::setWavLogLen(unsigned n) { storeTag<VelWavLogLenTag>(n); }

std::string VelJobSettings::toString() const {
  std::string s;
  for (const auto& entry : map_) {
    if (entry.second) s += entry.second->toString() + "\n";
  }
  return s;
}

void VelJobSettings::setTag(std::shared_ptr<VelJobSettingsTag> t) {
  if (!t) return;
  const JobTagKey key = t->tagKey();
  map_[key] = std::move(t);
}

void VelJobSettings::mergeMap(const JobTagMap& m) {
  for (const auto& entry : m) map_[entry.first] = entry.second;
}

bool VelJobSettings::compareSetupMap(const JobTagMap& m) const {
  return *this == VelJobSettings(m);
}

bool VelJobSettings::operator==(const VelJobSettings& o) const {
  if (map_.size() != o.map_.size()) return false;
  return auxFunc() == o.auxFunc() && auxMsg() == o.auxMsg() && sameJob(*this, o);
}

bool VelJobSettings::checkSetupMap(const VelJobSettings& o) {
  // The auxiliary pin is deliberately left out: it is not part of the recording job that
  // the device echoes, so a difference there must not force a new setup.
  if (sameJob(*this, o)) return true;
  forEachJobSetting([&](auto get, auto set) { (this->*set)((o.*get)()); });
  return false;
}

unsigned VelJobSettings::calcAccumsPerUpdate(float a, float b, float c) {
  return VelUtil::calcAccumsPerUpdate(a, b, c);
}
float VelJobSettings::calcFftUpdateRate(float a, float b, float c) {
  return VelUtil::calcFftUpdateRate(a, b, c);
}
unsigned VelJobSettings::calcFftAccum(unsigned v) { return VelUtil::calcFftAccum(v); }
double VelJobSettings::calcFftAccumD(int v) { return VelUtil::calcFftAccumD(v); }

unsigned VelUtil::fftAccums(float interval, unsigned sampleRate, unsigned short points) {
  return ceilToUnsigned(static_cast<float>(sampleRate) / static_cast<float>(points) * interval);
}

float VelUtil::fftUpdateIval(unsigned short accums, unsigned sampleRate, unsigned short points) {
  const uint32 product = uint32{points} * uint32{accums};
  return static_cast<float>(product) / static_cast<float>(sampleRate);
}

float VelUtil::fftUpdateRate(unsigned short accums, unsigned sampleRate, unsigned short points) {
  const uint32 product = uint32{points} * uint32{accums};
  return static_cast<float>(sampleRate) / static_cast<float>(product);
}

unsigned VelUtil::calcAccumsPerUpdate(float a, float b, float c) {
  return ceilToUnsigned(a / c * b);
}

float VelUtil::calcFftUpdateRate(float a, float b, float c) { return a * c / b; }

unsigned VelUtil::calcFftAccum(unsigned v) {
  const unsigned whole = (v + 4095u) >> 12;  // unsigned addition wraps mod 2^32
  return whole == 0 ? 1u : whole;
}

double VelUtil::calcFftAccumD(int v) {
  const double d = v * 0.000244140625;
  return d > 0 ? d : 1.0;
}
