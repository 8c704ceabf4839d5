#include <veliface/trigger/VelEnquireTrigger.h>

void VelEnquireTrigger::serialize(uint64* len, uint8* buf) const {
  // Deliberate, and kept as the command has always behaved: only the first band record's
  // test type is written (and advances the position); the bodies of band records, and the
  // records of types 0 and 1, are all written at that same position, so each overwrites
  // the one before while *len still counts every one of them. In practice the enquiry goes
  // out with an empty list and an empty payload.
  uint8* pos = buf;
  bool bandTypeWritten = false;
  for (const std::shared_ptr<VelTrigger>& trig : triggers_) {
    if (!trig) continue;
    switch (trig->testType()) {
      case 5:
      case 6: {
        const auto* band = dynamic_cast<const VelTrigger_5_6*>(trig.get());
        if (!band) break;
        if (!bandTypeWritten) {
          band->serializeBase(len, &pos);
          bandTypeWritten = true;
        }
        band->serialize_5_6(len, pos);
        break;
      }
      case 0:
      case 1:
      case 4:
        trig->serialize(len, pos);
        break;
      default:
        break;
    }
  }
}

VelEnquireTrigger* VelEnquireTrigger::deserialize(ByteStream* s) {
  auto* e = new VelEnquireTrigger();
  s->readLE(e->count_);
  // Every announced record gets an entry, empty when it cannot be decoded; the count is a
  // single byte, so a short payload cannot make this list large.
  e->triggers_.reserve(e->count_);
  for (unsigned i = 0; i < e->count_; ++i) e->triggers_.push_back(VelTrigger::deserializeP(s));
  return e;
}
