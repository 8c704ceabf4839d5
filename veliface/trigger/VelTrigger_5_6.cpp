#include <veliface/trigger/VelTrigger.h>

#include <utility>

bool VelTrigger_5_6::SEventTrigger::operator==(const SEventTrigger& o) const {
  return regime == o.regime && flag == o.flag && eventStart == o.eventStart &&
         intervalStart == o.intervalStart && eventEnd == o.eventEnd && hitCount == o.hitCount;
}

void VelTrigger_5_6::serialize(uint64* len, uint8* buf) const {
  if (commandCode() == 0x54) {
    // Deliberate: the removal record repeats the trigger number in its last two bytes;
    // the devices expect exactly this 4-byte form for a removal.
    mav::storeLE<uint16>(buf, testType());
    buf[2] = trigNum_;
    buf[3] = trigNum_;
    *len += 4;
    return;
  }
  uint8* p = buf;
  serializeBase(len, &p);
  serialize_5_6(len, p);
}

void VelTrigger_5_6::serializeBase(uint64* len, uint8** buf) const {
  mav::storeLE<uint16>(*buf, testType());
  *buf += 2;
  *len += 2;
}

void VelTrigger_5_6::serialize_5_6(uint64* len, uint8* buf) const { *len += writeBody(buf); }

bool VelTrigger_5_6::sameBody(const VelTrigger_5_6& o) const {
  // The detector's regime and bookkeeping are run-time state, not configuration; only
  // the flag byte takes part.
  return body() == o.body() && eventTrg_.flag == o.eventTrg_.flag;
}

bool VelTrigger_5_6::operator==(const VelTrigger_5_6& other) const {
  return VelTrigger::operator==(other) && sameBody(other);
}

std::string VelTrigger_5_6::errorMes(bool withPrefix) const {
  if (withPrefix) return VelTrigger::errorMes(true);
  std::string text = VelTrigger::errorMes(false);
  if (text.empty()) return text;
  // Unlike the prefixed form, this one shows the device's zero-based number.
  return "Trigger " + std::to_string(trigNum_) + " " + text;
}

bool VelTrigger_5_6::setStatus(uint8 s) {
  const TrigRegime target = (s >= 1 && s <= 3) ? static_cast<TrigRegime>(s) : TRIG_INACTIVE;
  if (eventTrg_.regime == target) return false;
  eventTrg_.regime = target;
  return true;
}

void VelTrigger_5_6::setInactive(int n) {
  eventTrg_.regime = TRIG_INACTIVE;
  eventTrg_.eventStart = 0;
  eventTrg_.eventEnd = 0;
  if (n <= 0) {
    eventTrg_.intervalStart = 0;
    eventTrg_.hitCount = 0;
  }
}

bool VelTrigger_5_6::isHit(double freq, double level, double floor) const {
  if (!(level > floor)) return false;
  // The band edges are compared at single precision, as the devices hold them.
  const double lo = static_cast<double>(static_cast<float>(minFreq_));
  const double hi = static_cast<double>(static_cast<float>(maxFreq_));
  if (!(lo <= freq && freq <= hi)) return false;
  const double threshold = threshold_;
  switch (testType()) {
    case 5:
      return level >= threshold;
    case 6:
      return threshold >= level;
    default:
      return false;
  }
}

void VelTrigger_5_6::calcTrigDataEx(long long t, std::shared_ptr<double[]> freqs,
                                    std::shared_ptr<double[]> levels, int n, int interval,
                                    double floor) {
  SEventTrigger& ev = eventTrg_;
  if (interval > 0 && t - ev.intervalStart >= interval) {
    ev.intervalStart = t;
    ev.hitCount = 0;
  }

  bool hit = false;
  if (n > 0 && freqs && levels) {
    for (int i = 0; i < n && !hit; ++i) hit = isHit(freqs[i], levels[i], floor);
  }

  if (hit) {
    if (ev.eventStart != 0) {
      // Confirmation needs a hit strictly later than duration + pre-trigger after the
      // event's start; this also holds for a hit during hold.
      if (t - ev.eventStart > static_cast<long long>(duration_) + preTrigger_) {
        ev.regime = TRIG_CONFIRMED;
        ev.eventEnd = t;
      }
    } else {
      ev.eventStart = t;
      ev.regime = TRIG_BEGUN;
    }
    if (interval > 0) ++ev.hitCount;
    return;
  }

  if (ev.eventEnd > 0 && t - ev.eventEnd <= eventHold_) {
    if (ev.regime != TRIG_HOLDING) {
      ev.eventStart = t - preTrigger_;
      ev.regime = TRIG_HOLDING;
    }
    return;
  }
  if (ev.regime == TRIG_INACTIVE) return;
  ev.regime = TRIG_INACTIVE;
  ev.eventEnd = 0;
  ev.eventStart = 0;
  if (interval <= 0) {
    ev.hitCount = 0;
    ev.intervalStart = 0;
  }
}
