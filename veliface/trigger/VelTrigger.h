#pragma once
/// \file Trigger records: the family of tests a device runs on its data, keyed by test type.
///
/// A record travels in three shapes. Outgoing (set up 'S' / remove 'T') it is the test type
/// followed by the body of its class. Incoming it is either error-coded (error byte, test
/// type, body) or length-prefixed (u16 payload length, test type, body). All multi-byte
/// fields are little-endian.

#include <mavcommon/ByteStream.h>
#include <mavcommon/Endian.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/VelCommandPayload.h>

#include <memory>
#include <string>
#include <tuple>

/// Test type of a trigger record: 0/1 `VelTrigger_0_1`, 4 `VelTrigger_4`, 5/6
/// `VelTrigger_5_6` (5 fires at or above the threshold, 6 at or below); 2, 3 and 7 and above
/// have no decodable record.
using TEST_TYPE = uint16;

/// Regime of a band trigger's event detector.
enum TrigRegime : uint8 {
  TRIG_INACTIVE = 0,   ///< idle, no event
  TRIG_BEGUN = 1,      ///< first hit seen, event not yet confirmed
  TRIG_CONFIRMED = 2,  ///< event confirmed by a hit after duration + pre-trigger
  TRIG_HOLDING = 3     ///< misses within the hold time after the last confirming hit
};

/// Base trigger record; also the payload of the set-up/remove command and of its response.
class VelTrigger : public VelControlMsgPayload, public DeserializationFactory<VelTrigger> {
 public:
  /// A record of test type 0 with the defaults.
  VelTrigger() = default;
  /// A record of test type `type` with the defaults.
  explicit VelTrigger(TEST_TYPE type) : testType_(type) {}
  /// Copies every field.
  VelTrigger(const VelTrigger&) = default;
  /// Copies every field.
  VelTrigger& operator=(const VelTrigger&) = default;

  /// Writes the outgoing record (here: the test type alone, 2 bytes).
  void serialize(uint64* len, uint8* buf) const override;
  /// The command the record is sent with: 0x53 set up, 0x54 remove.
  uint8 commandCode() const override { return commandCode_; }
  /// Same class and test type (derived classes add their body fields).
  virtual bool operator==(const VelTrigger& other) const;
  /// Chooses set up (0x53) or remove (0x54).
  virtual void setCommandCode(uint8 code) { commandCode_ = code; }
  /// Fills the body fields from `s` (the base record has no body). Not virtual: each record
  /// class has its own, and the reader calls the one of the class it built.
  void readData(ByteStream* s);
  /// The error text of `errorCode`; with `withPrefix` a band trigger names itself
  /// ("Trigger <n+1> error: ..."). Not virtual: through a `VelTrigger&` this base form is
  /// what every record gives, also a band trigger, whose own form hides it.
  std::string errorMes(bool withPrefix) const;

  /// Negation of `==`.
  bool operator!=(const VelTrigger& other) const { return !(*this == other); }

  /// Test type.
  TEST_TYPE testType() const { return testType_; }
  /// Sets the test type.
  void setTestType(TEST_TYPE type) { testType_ = type; }
  /// Payload length as received in the length-prefixed form.
  uint16 payloadLen() const { return payloadLen_; }
  /// Sets the payload length.
  void setPayloadLen(uint16 len) { payloadLen_ = len; }
  /// Error code as received in the error-coded form.
  uint8 errorCode() const { return errorCode_; }
  /// Sets the error code.
  void setErrorCode(uint8 code) { errorCode_ = code; }

  /// Reads an error-coded record; null for an undecodable test type (only the 3-byte
  /// header consumed) or a header that is cut short.
  static VelTrigger* deserialize(ByteStream* s);
  /// Reads a length-prefixed record; empty for an undecodable test type (only the 4-byte
  /// header consumed) or a header that is cut short.
  static std::shared_ptr<VelTrigger> deserializeP(ByteStream* s);
  /// A new record of the class that `type` selects, with its defaults; null when none does.
  static std::unique_ptr<VelTrigger> makeRecord(TEST_TYPE type);
  /// Text of a device's trigger error code: joined bit texts for 1-31, one text for
  /// 245-255, empty otherwise.
  static std::string errorText(uint8 code);

 protected:
  /// The two incoming header shapes.
  enum class WireForm { ErrorCoded, LengthPrefixed };
  /// The one decoder of both incoming forms.
  static std::unique_ptr<VelTrigger> read(ByteStream* s, WireForm form);

 private:
  TEST_TYPE testType_ = 0;
  uint16 payloadLen_ = 0;
  uint8 errorCode_ = 0;
  uint8 commandCode_ = 0x53;
};

/// What the record classes share, written once: body read, body write and body equality
/// over the tuple `Record::body()` of body fields in wire order, and the typed readers.
template <typename Record>
class VelTriggerRecord : public VelTrigger {
 public:
  using VelTrigger::VelTrigger;

  /// Same class, same test type, same body.
  bool operator==(const VelTrigger& other) const override {
    const auto* o = dynamic_cast<const Record*>(&other);
    return o && VelTrigger::operator==(other) && self().sameBody(*o);
  }
  /// Fills the body fields from `s`; a field that cannot be read keeps its value.
  void readData(ByteStream* s) {
    std::apply([s](auto&... f) { (s->readLE(f), ...); }, self().body());
  }
  /// Reads an error-coded record; null unless its test type selects this class.
  static Record* deserialize(ByteStream* s) {
    return narrow(read(s, WireForm::ErrorCoded)).release();
  }
  /// Reads a length-prefixed record; empty unless its test type selects this class.
  static std::shared_ptr<Record> deserializeP(ByteStream* s) {
    return narrow(read(s, WireForm::LengthPrefixed));
  }

 protected:
  /// Body equality (a class may widen it).
  bool sameBody(const Record& o) const { return self().body() == o.body(); }
  /// Writes the body at `buf` in wire order; returns its size.
  uint64 writeBody(uint8* buf) const {
    uint64 n = 0;
    std::apply([&](const auto&... f) { ((mav::storeLE(buf + n, f), n += sizeof(f)), ...); },
               self().body());
    return n;
  }

 private:
  const Record& self() const { return static_cast<const Record&>(*this); }
  Record& self() { return static_cast<Record&>(*this); }
  static std::unique_ptr<Record> narrow(std::unique_ptr<VelTrigger> r) {
    if (!dynamic_cast<Record*>(r.get())) return nullptr;
    return std::unique_ptr<Record>(static_cast<Record*>(r.release()));
  }
};

/// Record of test types 0 and 1: six opaque values the library carries but never interprets.
/// Body (14 bytes): param0..param4 (u16 each), param5 (u32).
class VelTrigger_0_1 : public VelTriggerRecord<VelTrigger_0_1> {
 public:
  /// A record of test type `type` (0 or 1) with the defaults (param4 = 32).
  explicit VelTrigger_0_1(TEST_TYPE type = 0) : VelTriggerRecord(type) {}

  /// First value.
  uint16 param0() const { return p0_; }
  /// Second value.
  uint16 param1() const { return p1_; }
  /// Third value.
  uint16 param2() const { return p2_; }
  /// Fourth value.
  uint16 param3() const { return p3_; }
  /// Fifth value.
  uint16 param4() const { return p4_; }
  /// Sixth value (32 bits).
  uint32 param5() const { return p5_; }
  /// Sets the first value.
  void setParam0(uint16 v) { p0_ = v; }
  /// Sets the second value.
  void setParam1(uint16 v) { p1_ = v; }
  /// Sets the third value.
  void setParam2(uint16 v) { p2_ = v; }
  /// Sets the fourth value.
  void setParam3(uint16 v) { p3_ = v; }
  /// Sets the fifth value.
  void setParam4(uint16 v) { p4_ = v; }
  /// Sets the sixth value.
  void setParam5(uint32 v) { p5_ = v; }

 private:
  friend class VelTriggerRecord<VelTrigger_0_1>;
  auto body() { return std::tie(p0_, p1_, p2_, p3_, p4_, p5_); }
  auto body() const { return std::tie(p0_, p1_, p2_, p3_, p4_, p5_); }

  uint16 p0_ = 0, p1_ = 0, p2_ = 0, p3_ = 0, p4_ = 32;
  uint32 p5_ = 0;
};

/// Record of test type 4: two opaque bytes. It adds nothing to an outgoing command.
class VelTrigger_4 : public VelTriggerRecord<VelTrigger_4> {
 public:
  /// A record of test type `type` with both bytes 0.
  explicit VelTrigger_4(TEST_TYPE type = 4) : VelTriggerRecord(type) {}

  /// Writes nothing and leaves `*len` as it is.
  void serialize(uint64* len, uint8* buf) const override;

  /// First byte.
  uint8 param0() const { return p0_; }
  /// Second byte.
  uint8 param1() const { return p1_; }
  /// Sets the first byte.
  void setParam0(uint8 v) { p0_ = v; }
  /// Sets the second byte.
  void setParam1(uint8 v) { p1_ = v; }

 private:
  friend class VelTriggerRecord<VelTrigger_4>;
  auto body() { return std::tie(p0_, p1_); }
  auto body() const { return std::tie(p0_, p1_); }

  uint8 p0_ = 0, p1_ = 0;
};

/// Record of test types 5 and 6: a level test on a frequency band, with the state of the
/// event detector that the host can run on spectrum data (`calcTrigDataEx`).
///
/// Outgoing set-up record (24 bytes): test type, trigNum, enabled, duration, eventHold,
/// minFreq, maxFreq, threshType, threshold, effect, preTrigger. Removal record (4 bytes):
/// test type, trigNum, trigNum.
class VelTrigger_5_6 : public VelTriggerRecord<VelTrigger_5_6> {
 public:
  /// Run-time state of the event detector. Times are in the caller's unit.
  class SEventTrigger {
   public:
    /// Idle state, flag set.
    SEventTrigger() = default;
    /// Copies the state.
    SEventTrigger(const SEventTrigger&) = default;
    /// Copies the state.
    SEventTrigger& operator=(const SEventTrigger&) = default;
    /// Virtual: the state may be extended.
    virtual ~SEventTrigger() = default;
    /// Regime, flag and the four bookkeeping values all equal.
    virtual bool operator==(const SEventTrigger& o) const;

    TrigRegime regime = TRIG_INACTIVE;  ///< current regime
    int64 eventStart = 0;     ///< first hit of the current event (0: none)
    int64 intervalStart = 0;  ///< start of the current counting interval
    int64 eventEnd = 0;       ///< latest hit that confirmed the event (0: none)
    uint32 hitCount = 0;      ///< hits in the current counting interval
    uint8 flag = 1;           ///< flag byte; part of the record's equality
  };

  /// A record of test type `type` (5 or 6) with the defaults (effect 32).
  explicit VelTrigger_5_6(TEST_TYPE type = 5) : VelTriggerRecord(type) {}

  using VelTriggerRecord<VelTrigger_5_6>::operator==;
  /// Writes the removal record when the command is 0x54, else the 24-byte set-up record.
  void serialize(uint64* len, uint8* buf) const override;
  /// The record's own text; without prefix "Trigger <n> <text>" (zero-based number).
  std::string errorMes(bool withPrefix) const;
  /// Every body field and the event flag byte equal (regime and bookkeeping are not).
  virtual bool operator==(const VelTrigger_5_6& other) const;

  /// Writes the test type at `*buf`; advances `*buf` and `*len` by 2.
  void serializeBase(uint64* len, uint8** buf) const;
  /// Writes the 22-byte body at `buf`; adds 22 to `*len`.
  void serialize_5_6(uint64* len, uint8* buf) const;

  /// Target regime `s` (1-3, anything else 0); true when the regime changed.
  bool setStatus(uint8 s);
  /// Regime 0, no event; `n` <= 0 also restarts the counting interval.
  void setInactive(int n);
  /// Evaluates one spectrum of `n` bins taken at time `t` and moves the event state.
  /// A bin hits when its level is above `floor`, its frequency lies in the band and its
  /// level passes the threshold (type 5: level >= threshold; type 6: level <= threshold).
  /// `interval` > 0 counts hits per interval of that length.
  void calcTrigDataEx(long long t, std::shared_ptr<double[]> freqs,
                      std::shared_ptr<double[]> levels, int n, int interval, double floor);

  /// The event state, for modification.
  SEventTrigger& eventTrg() { return eventTrg_; }
  /// The event state.
  const SEventTrigger& eventTrg() const { return eventTrg_; }
  /// The event state's regime.
  TrigRegime trgRegime() const { return eventTrg_.regime; }

  /// Trigger number, the trigger's key on the device.
  uint8 trigNum() const { return trigNum_; }
  /// Sets the trigger number.
  void setTrigNum(uint8 v) { trigNum_ = v; }
  /// 0 disabled, non-zero enabled.
  uint8 enabled() const { return enabled_; }
  /// Enables (non-zero) or disables.
  void setEnabled(uint8 v) { enabled_ = v; }
  /// Duration of the triggered capture.
  uint16 duration() const { return duration_; }
  /// Sets the duration.
  void setDuration(uint16 v) { duration_ = v; }
  /// Hold time of an event.
  uint16 eventHold() const { return eventHold_; }
  /// Sets the hold time.
  void setEventHold(uint16 v) { eventHold_ = v; }
  /// Lower band edge, Hz.
  uint32 minFreq() const { return minFreq_; }
  /// Sets the lower band edge.
  void setMinFreq(uint32 v) { minFreq_ = v; }
  /// Upper band edge, Hz.
  uint32 maxFreq() const { return maxFreq_; }
  /// Sets the upper band edge.
  void setMaxFreq(uint32 v) { maxFreq_ = v; }
  /// Kind of threshold.
  uint16 threshType() const { return threshType_; }
  /// Sets the kind of threshold.
  void setThreshType(uint16 v) { threshType_ = v; }
  /// Threshold level.
  std::int16_t threshold() const { return threshold_; }
  /// Sets the threshold level.
  void setThreshold(std::int16_t v) { threshold_ = v; }
  /// What the trigger does when met.
  uint16 effect() const { return effect_; }
  /// Sets the effect.
  void setEffect(uint16 v) { effect_ = v; }
  /// Pre-trigger time.
  uint16 preTrigger() const { return preTrigger_; }
  /// Sets the pre-trigger time.
  void setPreTrigger(uint16 v) { preTrigger_ = v; }

 private:
  friend class VelTriggerRecord<VelTrigger_5_6>;
  auto body() {
    return std::tie(trigNum_, enabled_, duration_, eventHold_, minFreq_, maxFreq_, threshType_,
                    threshold_, effect_, preTrigger_);
  }
  auto body() const {
    return std::tie(trigNum_, enabled_, duration_, eventHold_, minFreq_, maxFreq_, threshType_,
                    threshold_, effect_, preTrigger_);
  }
  bool sameBody(const VelTrigger_5_6& o) const;
  bool isHit(double freq, double level, double floor) const;

  uint8 trigNum_ = 0;
  uint8 enabled_ = 0;
  uint16 duration_ = 0;
  uint16 eventHold_ = 0;
  uint32 minFreq_ = 0;
  uint32 maxFreq_ = 0;
  uint16 threshType_ = 0;
  std::int16_t threshold_ = 0;
  uint16 effect_ = 32;
  uint16 preTrigger_ = 0;
  SEventTrigger eventTrg_;
};
