#pragma once
/// \file Job-settings tags: one value under a 16-bit key, with a wire form and a text form.
///
/// Wire form of a tag (little-endian): key (u16), length (u16), value (length bytes). The
/// enclosing message writes the key; a tag's own `serialize` writes the length and value.
/// Text form: "$" + key name + "=" + value, e.g. "$FFT_PTS_PER=1024".

#include <mavcommon/ByteStream.h>
#include <mavcommon/Endian.h>
#include <mavcommon/MavIpAddr.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/ISerializable.h>
#include <veliface/vocabulary/VelDeviceType.h>
#include <veliface/settings/VelSettingsTypes.h>

#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

/// Base of every job-settings tag. The key is fixed by the concrete class.
class VelJobSettingsTag : public ISerializable {
 public:
  /// A tag under `key`.
  explicit VelJobSettingsTag(JobTagKey key) : key_(key) {}
  /// Tags are owned through this base.
  ~VelJobSettingsTag() override = default;

  /// The tag's key.
  virtual JobTagKey tagKey() const;
  /// The one-line text form: `keyString()` followed by the value.
  virtual std::string toString() const = 0;

  /// "$" + key name + "=". A key outside the key table gets an empty name entered into the
  /// shared table, so it yields "$=" and `keyName` of that key returns "" from then on.
  std::string keyString() const;
  /// The key's name, or "Unrecognized Key (<key in decimal>)" for a key not in the table.
  static std::string keyName(JobTagKey key);
  /// Parses a text form; empty for a missing "$" or an unknown name. A value text that is
  /// not a number throws std::invalid_argument (out of int range: std::out_of_range).
  static std::shared_ptr<VelJobSettingsTag> fromString(std::string text);

 private:
  const JobTagKey key_;
};

/// A tag map: tags by key, in ascending key order, shared rather than copied.
using JobTagMap = std::map<JobTagKey, std::shared_ptr<VelJobSettingsTag>>;

/// How a scalar tag writes its value as text.
enum class VelTagText : uint8 {
  Decimal,  ///< decimal, signed or unsigned after the value type
  IPv4      ///< dotted IPv4 address
};

/// Marks a scalar tag that has no enumeration constructor.
struct VelNoTagEnum {};

namespace veliface::tagaccess {
// The scalar tags share one template but expose the getter/setter names the protocol gives
// each of them; these mix-ins supply the names and forward to rawValue/setRawValue.

/// `func()` / `setFunc()`.
template <class Tag, class V>
class Func {
 public:
  /// The pin function.
  V func() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the pin function.
  void setFunc(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `msgType()` / `setMsgType()`.
template <class Tag, class V>
class MsgType {
 public:
  /// The message type.
  V msgType() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the message type.
  void setMsgType(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `time()` / `setTime()`.
template <class Tag, class V>
class Time {
 public:
  /// The time.
  V time() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the time.
  void setTime(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `rate()` / `setRate()`.
template <class Tag, class V>
class Rate {
 public:
  /// The sample rate.
  V rate() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the sample rate.
  void setRate(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `reference()` / `setReference()`.
template <class Tag, class V>
class Reference {
 public:
  /// The reference level.
  V reference() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the reference level.
  void setReference(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `points()` / `setPoints()`.
template <class Tag, class V>
class Points {
 public:
  /// The number of points.
  V points() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the number of points.
  void setPoints(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `value()` / `setValue()` of the value type.
template <class Tag, class V>
class Value {
 public:
  /// The value.
  V value() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the value.
  void setValue(V v) { static_cast<Tag&>(*this).setRawValue(v); }
};

/// `value()` / `setValue(HciControlMode)`.
template <class Tag, class V>
class ControlModeValue {
 public:
  /// The value.
  V value() const { return static_cast<const Tag&>(*this).rawValue(); }
  /// Replaces the value by a control mode.
  void setValue(HciControlMode m) { static_cast<Tag&>(*this).setRawValue(static_cast<V>(m)); }
};
}  // namespace veliface::tagaccess

/// A tag that holds one 32-bit value (signed `int` or unsigned `unsigned`). On the wire:
/// length 4, then the value. Every scalar tag class is a thin subclass of one instance, so
/// that a run-time type check tells the classes apart.
///
/// \tparam Derived the tag class itself; \tparam Key its key; \tparam V int or unsigned;
/// \tparam Enum the enumeration it can also be built from (VelNoTagEnum when none);
/// \tparam Text its text style; \tparam Access the mix-in with its getter/setter names.
template <class Derived, JobTagKey Key, typename V, typename Enum, VelTagText Text,
          template <class, class> class Access>
class VelScalarTag : public VelJobSettingsTag,
                     public DeserializationFactory<Derived>,
                     public Access<Derived, V> {
  static_assert(std::is_same_v<V, int> || std::is_same_v<V, unsigned>,
                "scalar tags carry a 32-bit int or unsigned");

 public:
  /// The value type.
  using value_type = V;
  /// The tag's key.
  static constexpr JobTagKey kKey = Key;

  /// Value 0.
  VelScalarTag() : VelScalarTag(V()) {}
  /// The raw 32-bit value.
  explicit VelScalarTag(V v) : VelJobSettingsTag(Key), value_(v) {}
  /// From the tag's enumeration, widened to 32 bits (zero-extended for the unsigned 16-bit
  /// enumerations, sign-extended for the signed device type).
  template <typename E, std::enable_if_t<std::is_same_v<E, Enum> && std::is_enum_v<E>, int> = 0>
  explicit VelScalarTag(E e) : VelJobSettingsTag(Key), value_(static_cast<V>(e)) {}

  /// The 32-bit value, whatever the class calls it.
  V rawValue() const { return value_; }
  /// Replaces the 32-bit value.
  void setRawValue(V v) { value_ = v; }

  /// Writes length 4 and the value (two's complement for signed tags).
  void serialize(uint64* len, uint8* buf) const override {
    mav::storeLE<uint16>(buf, 4);
    mav::storeLE<uint32>(buf + 2, static_cast<uint32>(value_));
    *len += 6;
  }

  /// Key string and the value in decimal or as dotted IPv4 text.
  std::string toString() const override {
    if constexpr (Text == VelTagText::IPv4) {
      return keyString() + MavIpAddr(static_cast<uint32>(value_)).toString();
    } else {
      return keyString() + std::to_string(value_);
    }
  }

  /// Reads exactly 4 value bytes (the length field is the caller's business); a short
  /// stream leaves the value 0.
  static Derived* deserialize(ByteStream* s) {
    auto* tag = new Derived();
    tag->readValue(s);
    return tag;
  }
  /// As `deserialize`, into a shared tag whose object and count share one allocation.
  static std::shared_ptr<Derived> deserializeShared(ByteStream* s) {
    auto tag = std::make_shared<Derived>();
    tag->readValue(s);
    return tag;
  }

  /// Builds the tag from the value part of its text form.
  static std::shared_ptr<VelJobSettingsTag> parseValue(const std::string& text) {
    if constexpr (Text == VelTagText::IPv4) {
      return std::make_shared<Derived>(static_cast<V>(MavIpAddr(text).toInt()));
    } else {
      // Negative numbers wrap for the unsigned tags.
      return std::make_shared<Derived>(static_cast<V>(std::stoi(text, nullptr, 10)));
    }
  }

 private:
  void readValue(ByteStream* s) {
    uint32 raw = 0;
    if (s->readLE(raw)) value_ = static_cast<V>(raw);
  }

  V value_;
};

// The scalar tag classes. `VelTagText::Decimal` unless the value is an IPv4 address.

/// Function of the auxiliary pin.
class VelAuxPinTag final : public VelScalarTag<VelAuxPinTag, AUX_PIN, unsigned, AuxPinFunc,
                                               VelTagText::Decimal, veliface::tagaccess::Func> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Message type on the auxiliary pin.
class VelAuxMsgTag final
    : public VelScalarTag<VelAuxMsgTag, AUX_MSG, unsigned, AuxPinMsg, VelTagText::Decimal,
                          veliface::tagaccess::MsgType> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Start time of logging.
class VelLogStartTimeTag final
    : public VelScalarTag<VelLogStartTimeTag, LOG_START_TIME, int, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Time> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Sample rate of the spectrum.
class VelSpecSampRateTag final
    : public VelScalarTag<VelSpecSampRateTag, FFT_SAMPLE_RATE, unsigned, SampRate,
                          VelTagText::Decimal, veliface::tagaccess::Rate> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Reference level of the spectrum.
class VelSpecRefTag final
    : public VelScalarTag<VelSpecRefTag, FFT_REF_LEVEL, int, VelNoTagEnum, VelTagText::Decimal,
                          veliface::tagaccess::Reference> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Points per FFT.
class VelPtsPerFftTag final
    : public VelScalarTag<VelPtsPerFftTag, FFT_PTS_PER, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Points> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Points between the starts of successive FFTs.
class VelPtsBtwFftTag final
    : public VelScalarTag<VelPtsBtwFftTag, FFT_PTS_BTW, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Points> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// How successive spectra are combined.
class VelFftProcTag final
    : public VelScalarTag<VelFftProcTag, FFT_TYPE, unsigned, VelFftProc, VelTagText::Decimal,
                          veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Number of spectra accumulated per update.
class VelFftAccumTag final
    : public VelScalarTag<VelFftAccumTag, FFT_ACCUM, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// FFT window weighting.
class VelFftWeightTag final
    : public VelScalarTag<VelFftWeightTag, FFT_WEIGHT, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Spectrum log mode.
class VelSpecLogModeTag final
    : public VelScalarTag<VelSpecLogModeTag, FFT_LOG_MODE, unsigned, VelLogMode,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Spectrum log file length.
class VelSpecLogLenTag final
    : public VelScalarTag<VelSpecLogLenTag, FFT_LOG_LENGTH, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Duty-cycle period.
class VelDutyCycleTimeTag final
    : public VelScalarTag<VelDutyCycleTimeTag, DUTY_CYCLE_TIME, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Active part of the duty cycle.
class VelDutyCycleActTag final
    : public VelScalarTag<VelDutyCycleActTag, DUTY_RUN_TIME, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Whether the duty cycle ignores changes of the device clock.
class VelDutyCycleIgnTimeTag final
    : public VelScalarTag<VelDutyCycleIgnTimeTag, DUTY_IGNORE_TIME_CHANGE, unsigned,
                          VelNoTagEnum, VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Sample rate of the waveform.
class VelWavSampleRateTag final
    : public VelScalarTag<VelWavSampleRateTag, WAVE_SAMPLE_RATE, unsigned, SampRate,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Bits per waveform sample.
class VelWavBitDepthTag final
    : public VelScalarTag<VelWavBitDepthTag, WAVE_BIT_DEPTH, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Waveform gain.
class VelWavGainTag final
    : public VelScalarTag<VelWavGainTag, WAVE_GAIN, unsigned, VelNoTagEnum, VelTagText::Decimal,
                          veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Byte order of waveform samples.
class VelWavByteOrderTag final
    : public VelScalarTag<VelWavByteOrderTag, WAVE_ENDIAN, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Waveform log mode.
class VelWavLogModeTag final
    : public VelScalarTag<VelWavLogModeTag, WAVE_LOG_MODE, unsigned, VelLogMode,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Waveform log file length.
class VelWavLogLenTag final
    : public VelScalarTag<VelWavLogLenTag, WAVE_LOG_LENGTH, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Device type of the array's members.
class HciDevTypeTag final
    : public VelScalarTag<HciDevTypeTag, ARRAY_DEV_TYPE, int, VelDeviceType, VelTagText::Decimal,
                          veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Control mode of the array.
class HciControlModeTag final
    : public VelScalarTag<HciControlModeTag, ARRAY_CTRL_MODE, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Waveform log mode of the array.
class HciWavLogModeTag final
    : public VelScalarTag<HciWavLogModeTag, ARRAY_WAVE_LOG_MODE, unsigned, VelLogMode,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Spectrum log mode of the array.
class HciFftLogModeTag final
    : public VelScalarTag<HciFftLogModeTag, ARRAY_FFT_LOG_MODE, unsigned, VelLogMode,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Epoch log mode of the array.
class HciEpochLogModeTag final
    : public VelScalarTag<HciEpochLogModeTag, ARRAY_EPOCH_LOG_MODE, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Waveform log file length of the array.
class HciWavLogLenTag final
    : public VelScalarTag<HciWavLogLenTag, ARRAY_WAVE_LOG_LENGTH, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Spectrum log file length of the array.
class HciFftLogLenTag final
    : public VelScalarTag<HciFftLogLenTag, ARRAY_FFT_LOG_LENGTH, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Subnet mask of the array hub.
class HciSubnetTag final
    : public VelScalarTag<HciSubnetTag, ARRAY_NETMASK, unsigned, VelNoTagEnum, VelTagText::IPv4,
                          veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Gateway of the array hub.
class HciGatewayTag final
    : public VelScalarTag<HciGatewayTag, ARRAY_GATEWAY, unsigned, VelNoTagEnum, VelTagText::IPv4,
                          veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// DNS server of the array hub.
class HciDnsTag final : public VelScalarTag<HciDnsTag, ARRAY_DNS, unsigned, VelNoTagEnum,
                                            VelTagText::IPv4, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Battery conservation mode of the array.
class HciConsvBattTag final
    : public VelScalarTag<HciConsvBattTag, CONSERVE_BATT, unsigned, HciControlMode,
                          VelTagText::Decimal, veliface::tagaccess::ControlModeValue> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Start time of logging of the array.
class HciLogStartTimeTag final
    : public VelScalarTag<HciLogStartTimeTag, ARRAY_LOG_START_TIME, int, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Time> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Duty-cycle period of the array.
class HciDutyCycleTimeTag final
    : public VelScalarTag<HciDutyCycleTimeTag, ARRAY_DUTY_CYCLE_TIME, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Active part of the array's duty cycle.
class HciDutyCycleActTag final
    : public VelScalarTag<HciDutyCycleActTag, ARRAY_DUTY_RUN_TIME, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// Kind of data recorded during the array's duty cycle.
class HciDutyCycleDataTag final
    : public VelScalarTag<HciDutyCycleDataTag, ARRAY_DUTY_DATA_TYPE, unsigned, VelNoTagEnum,
                          VelTagText::Decimal, veliface::tagaccess::Value> {
 public:
  using VelScalarTag::VelScalarTag;
};

/// The serial numbers of an array's members (key ARRAY_SERIALS), duplicates allowed.
///
/// Value on the wire: count N (u16), N serials (u16), and a zero word when N is odd so that
/// the value is a multiple of 4 bytes.
class HciDeviceListTag final : public VelJobSettingsTag,
                               public DeserializationFactory<HciDeviceListTag> {
 public:
  /// The tag's key.
  static constexpr JobTagKey kKey = ARRAY_SERIALS;

  /// An empty list.
  HciDeviceListTag();
  /// The given serials, in order.
  explicit HciDeviceListTag(std::vector<uint16> devices);
  /// Serials in decimal separated by ","; each is converted with std::stoi (which throws on
  /// a piece that is not a number) and keeps its low 16 bits. An empty text is an empty list.
  explicit HciDeviceListTag(const std::string& text);

  /// The serials.
  const std::vector<uint16>& deviceList() const { return devices_; }
  /// Replaces the whole list by a copy of `devices`.
  void setDeviceList(const std::vector<uint16>& devices) { devices_ = devices; }
  /// Appends `serial`, even when it is already present.
  void addDevice(uint16 serial) { devices_.push_back(serial); }
  /// Removes the first occurrence of `serial`; nothing when absent.
  void removeDevice(uint16 serial);
  /// Whether `serial` is in the list.
  bool containsDevice(uint16 serial) const;

  /// Writes length, count, serials and, for an odd count, the zero padding word.
  void serialize(uint64* len, uint8* buf) const override;
  /// "$ARRAY_SERIALS=" and the serials in decimal joined by ",".
  std::string toString() const override;

  /// Reads the count and up to that many serials, fewer when the stream ends early. The
  /// padding word after an odd count is deliberately left in the stream: the message reader
  /// reads known keys by their layout and so does not consume it either.
  static HciDeviceListTag* deserialize(ByteStream* s);
  /// Builds the tag from the value part of its text form.
  static std::shared_ptr<VelJobSettingsTag> parseValue(const std::string& text);

 private:
  std::vector<uint16> devices_;
};

/// The IPv4 addresses of an array's hub and members (key ARRAY_IP_ADDR), duplicates allowed.
///
/// Value on the wire: count N + 1 (u16; the hub counts as the first entry), hub address (u32),
/// N member addresses (u32).
class HciDeviceIpListTag final : public VelJobSettingsTag,
                                 public DeserializationFactory<HciDeviceIpListTag> {
 public:
  /// The tag's key.
  static constexpr JobTagKey kKey = ARRAY_IP_ADDR;

  /// No members, hub address 0.
  HciDeviceIpListTag();
  /// The given member addresses, hub address 0.
  explicit HciDeviceIpListTag(std::vector<uint32> addrs);
  /// Dotted addresses separated by ",": the hub first, then the members. An empty text gives
  /// hub address 0 and no members.
  explicit HciDeviceIpListTag(const std::string& text);

  /// The member addresses.
  const std::vector<uint32>& addrList() const { return addrs_; }
  /// Replaces the member addresses by a copy of `addrs`.
  void setAddrList(const std::vector<uint32>& addrs) { addrs_ = addrs; }
  /// Appends a member address.
  void addAddr(uint32 addr) { addrs_.push_back(addr); }
  /// Removes the first occurrence of `addr`; nothing when absent.
  void removeAddr(uint32 addr);
  /// The hub's address.
  uint32 hciAddr() const { return hciAddr_; }
  /// Replaces the hub's address.
  void setHciAddr(uint32 addr) { hciAddr_ = addr; }

  /// Writes length, count, hub address and member addresses.
  void serialize(uint64* len, uint8* buf) const override;
  /// "$ARRAY_IP_ADDR=" and the hub and member addresses as dotted text joined by ",".
  std::string toString() const override;
  /// The addresses as dotted text joined by ",", hub first (the text form without its key).
  std::string valueString() const;

  /// Reads the count, the hub address and up to count - 1 member addresses, fewer when the
  /// stream ends early.
  static HciDeviceIpListTag* deserialize(ByteStream* s);
  /// Builds the tag from the value part of its text form.
  static std::shared_ptr<VelJobSettingsTag> parseValue(const std::string& text);

 private:
  std::vector<uint32> addrs_;
  uint32 hciAddr_ = 0;
};
