#pragma once
/// \file One device's recording job as a tag map with typed accessors, and FFT planning helpers.

#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/settings/VelSettingsTypes.h>

#include <memory>
#include <string>

/// A device's job settings: a map of shared tags with one getter and setter per setting.
///
/// A getter returns its fixed default when the key is absent or holds a tag of another
/// class. A setter never changes a tag in place: it stores a new one, so other holders of
/// the old tag keep the old value. Nothing is validated here; the device judges the values.
class VelJobSettings {
 public:
  /// No tags: every getter returns its default.
  VelJobSettings() = default;
  /// Shares the tags of `m`.
  explicit VelJobSettings(const JobTagMap& m) : map_(m) {}
  /// Shares the tags of `other`.
  VelJobSettings(const VelJobSettings& other) = default;
  /// Shares the tags of `other`.
  VelJobSettings& operator=(const VelJobSettings& other) = default;
  /// Polymorphic: array settings derive from it.
  virtual ~VelJobSettings() = default;

  /// Replaces the whole map (the tags are shared, not copied).
  virtual void setMap(const JobTagMap& m);

  /// Function of the auxiliary pin; 0 when unset.
  virtual AuxPinFunc auxFunc() const;
  /// Stores a new auxiliary-pin function.
  virtual void setAuxFunc(AuxPinFunc f);
  /// Auxiliary-pin message type; 1 when unset.
  virtual AuxPinMsg auxMsg() const;
  /// Stores a new auxiliary-pin message type.
  virtual void setAuxMsg(AuxPinMsg m);
  /// Start time of logging; -1 when unset.
  virtual int wavLogStartTime() const;
  /// Stores a new start time of logging.
  virtual void setWavLogStartTime(int t);
  /// Spectrum sample rate; 32000 when unset or stored as 0.
  virtual SampRate fftRate() const;
  /// Stores a new spectrum sample rate.
  virtual void setFftRate(SampRate r);
  /// Spectrum reference level; -180 when unset.
  virtual int fftRef() const;
  /// Stores a new spectrum reference level.
  virtual void setFftRef(int ref);
  /// Points per FFT; 1024 when unset.
  virtual unsigned fftPoints() const;
  /// Stores a new number of points per FFT.
  virtual void setFftPoints(unsigned n);
  /// Points between FFTs; 512 when unset.
  virtual unsigned fftPointsBtw() const;
  /// Stores a new number of points between FFTs.
  virtual void setFftPointsBtw(unsigned n);
  /// How spectra are combined; 0 when unset.
  virtual VelFftProc fftProcType() const;
  /// Stores a new way of combining spectra.
  virtual void setFftProcType(VelFftProc p);
  /// Spectra accumulated per update; 4 when unset.
  virtual unsigned fftAccum() const;
  /// Stores a new accumulation count.
  virtual void setFftAccum(unsigned n);
  /// FFT window weighting; 1 when unset.
  virtual unsigned fftWeight() const;
  /// Stores a new window weighting.
  virtual void setFftWeight(unsigned w);
  /// Spectrum log mode; 0 when unset.
  virtual VelLogMode fftLogMode() const;
  /// Stores a new spectrum log mode.
  virtual void setFftLogMode(VelLogMode m);
  /// Spectrum log length; 1 when unset.
  virtual unsigned fftLogLen() const;
  /// Stores a new spectrum log length.
  virtual void setFftLogLen(unsigned n);
  /// Duty-cycle period; 0 when unset.
  virtual unsigned dutyCyclePeriod() const;
  /// Stores a new duty-cycle period.
  virtual void setDutyCyclePeriod(unsigned t);
  /// Active part of the duty cycle; 0 when unset.
  virtual unsigned dutyCycleActive() const;
  /// Stores a new active part of the duty cycle.
  virtual void setDutyCycleActive(unsigned t);
  /// Whether the duty cycle ignores clock changes; 0 when unset.
  virtual unsigned dutyCycleIgn() const;
  /// Stores a new clock-change setting of the duty cycle.
  virtual void setDutyCycleIgn(unsigned v);
  /// Waveform sample rate; 32000 when unset or stored as 0.
  virtual SampRate wavRate() const;
  /// Waveform sample rate as stored; 0 when unset.
  virtual SampRate realWavRate() const;
  /// Stores a new waveform sample rate.
  virtual void setWavRate(SampRate r);
  /// Packed sample format: (byte order << 7) | (low 8 bits of the bit depth >> 3); 0x83
  /// with the defaults.
  virtual VelWavDataFormat wavDataFormat() const;
  /// Stores bit depth (f * 8) mod 256 and byte order bit 7 of `f`.
  virtual void setWavDataFormat(VelWavDataFormat f);
  /// Bits per sample; 24 when unset.
  virtual VelWavBitDepth wavBitDepth() const;
  /// Stores a new bit depth.
  virtual void setWavBitDepth(VelWavBitDepth d);
  /// Sample byte order; 1 when unset.
  virtual VelByteOrder wavByteOrder() const;
  /// Stores a new sample byte order.
  virtual void setWavByteOrder(VelByteOrder o);
  /// Waveform gain; 0 when unset.
  virtual unsigned wavGain() const;
  /// Stores a new waveform gain.
  virtual void setWavGain(unsigned g);
  /// Waveform log mode; 0 when unset.
  virtual VelLogMode wavLogMode() const;
  /// Stores a new waveform log mode.
  virtual void setWavLogMode(VelLogMode m);
  /// Waveform log length; 1 when unset.
  virtual unsigned wavLogLen() const;
  /// Stores a new waveform log length.
  virtual void setWavLogLen(unsigned n);

  /// Each tag's text form followed by "\n", in ascending key order.
  virtual std::string toString() const;
  /// Makes the job settings of `other` (all but the auxiliary pin) explicit here when any of
  /// them differs; returns true when none did (and then changes nothing).
  virtual bool checkSetupMap(const VelJobSettings& other);

  /// Spectrum sample rate as stored; 0 when unset.
  SampRate realFftRate() const;
  /// The map.
  const JobTagMap& map() const { return map_; }
  /// Stores `t` under its key, replacing any earlier tag; an empty pointer is ignored.
  void setTag(std::shared_ptr<VelJobSettingsTag> t);
  /// Inserts or replaces every entry of `m`; other entries stay.
  void mergeMap(const JobTagMap& m);
  /// Whether these settings equal settings made from `m` (see operator==).
  bool compareSetupMap(const JobTagMap& m) const;
  /// Same number of entries and the same effective value (defaults included) from every
  /// getter from auxFunc to wavLogLen.
  bool operator==(const VelJobSettings& other) const;
  /// Negation of ==.
  bool operator!=(const VelJobSettings& other) const { return !(*this == other); }

  /// Bit depth of a packed format: f * 8 over the whole code (bit 7 is not masked off).
  static unsigned bitDepth(VelWavDataFormat f) { return f * 8u; }
  /// Byte order of a packed format: bit 7.
  static VelByteOrder byteOrder(VelWavDataFormat f) { return static_cast<VelByteOrder>(f >> 7); }

  /// ceil(a / c * b); see VelUtil::calcAccumsPerUpdate.
  static unsigned calcAccumsPerUpdate(float a, float b, float c);
  /// a * c / b; see VelUtil::calcFftUpdateRate.
  static float calcFftUpdateRate(float a, float b, float c);
  /// Whole accumulations from a count in 1/4096 units; see VelUtil::calcFftAccum.
  static unsigned calcFftAccum(unsigned v);
  /// Accumulations from a count in 1/4096 units; see VelUtil::calcFftAccumD.
  static double calcFftAccumD(int v);

 protected:
  /// The value of the tag of class `Tag` stored under `key`, or `def` when the key is absent
  /// or holds a tag of another class.
  template <class Tag>
  typename Tag::value_type tagValue(JobTagKey key, typename Tag::value_type def) const {
    const auto it = map_.find(key);
    if (it == map_.end()) return def;
    const auto* tag = dynamic_cast<const Tag*>(it->second.get());
    return tag ? tag->rawValue() : def;
  }
  /// `tagValue` under the class's own key.
  template <class Tag>
  typename Tag::value_type tagValue(typename Tag::value_type def) const {
    return tagValue<Tag>(Tag::kKey, def);
  }
  /// `tagValue` read as the enumeration `E` through `Narrow`, the width the setting has on
  /// the wire (higher bits of a wider stored value are dropped, as the device does).
  template <class E, class Narrow, class Tag>
  E enumValue(typename Tag::value_type def) const {
    return static_cast<E>(static_cast<Narrow>(tagValue<Tag>(def)));
  }
  /// A sample-rate setting: `fallback` when unset or zero.
  template <class Tag>
  SampRate rateValue(unsigned fallback) const {
    const unsigned r = tagValue<Tag>(fallback);
    return static_cast<SampRate>(r == 0 ? fallback : r);
  }
  /// Stores a new tag of class `Tag` holding `v`.
  template <class Tag, class V>
  void storeTag(V v) {
    setTag(std::make_shared<Tag>(static_cast<typename Tag::value_type>(v)));
  }
  /// The list tag of class `Tag` under its key, nullptr when absent or of another class.
  template <class Tag>
  std::shared_ptr<Tag> listTag() const {
    const auto it = map_.find(Tag::kKey);
    return it == map_.end() ? nullptr : std::dynamic_pointer_cast<Tag>(it->second);
  }

 private:
  JobTagMap map_;
};

namespace VelUtil {
/// Spectra per update for an update interval in seconds: ceil(rate / points * interval).
unsigned fftAccums(float interval, unsigned sampleRate, unsigned short points);
/// Seconds between spectrum updates: points * accums / rate.
float fftUpdateIval(unsigned short accums, unsigned sampleRate, unsigned short points);
/// Spectrum updates per second: rate / (points * accums).
float fftUpdateRate(unsigned short accums, unsigned sampleRate, unsigned short points);
/// ceil(a / c * b).
unsigned calcAccumsPerUpdate(float a, float b, float c);
/// a * c / b.
float calcFftUpdateRate(float a, float b, float c);
/// ((v + 4095) mod 2^32) >> 12, at least 1: a count in 1/4096 units rounded up to whole ones.
unsigned calcFftAccum(unsigned v);
/// v / 4096 when positive, else 1.0.
double calcFftAccumD(int v);
}  // namespace VelUtil
