#include <veliface/trigger/VelTrigger.h>

#include <typeinfo>

void VelTrigger::serialize(uint64* len, uint8* buf) const {
  mav::storeLE<uint16>(buf, testType_);
  *len += 2;
}

bool VelTrigger::operator==(const VelTrigger& other) const {
  return typeid(*this) == typeid(other) && testType_ == other.testType_;
}

void VelTrigger::readData(ByteStream* /*s*/) {}

namespace {

// A record class: the test types it takes, how to make one, how to read its body. Body
// readers are not virtual, so the reader calls the one of the class it made through here.
struct RecordKind {
  TEST_TYPE first, last;
  std::unique_ptr<VelTrigger> (*make)(TEST_TYPE type);
  void (*readBody)(VelTrigger& rec, ByteStream* s);
};

template <typename Record>
constexpr RecordKind kindOf(TEST_TYPE first, TEST_TYPE last) {
  return {first, last, [](TEST_TYPE type) -> std::unique_ptr<VelTrigger> { return std::make_unique<Record>(type); },
          [](VelTrigger& rec, ByteStream* s) { static_cast<Record&>(rec).readData(s); }};
}

const RecordKind kRecordKinds[] = {
    kindOf<VelTrigger_0_1>(0, 1),
    kindOf<VelTrigger_4>(4, 4),
    kindOf<VelTrigger_5_6>(5, 6),
};

const RecordKind* kindFor(TEST_TYPE type) {
  for (const RecordKind& k : kRecordKinds) {
    if (type >= k.first && type <= k.last) return &k;
  }
  return nullptr;
}

}  // namespace

std::unique_ptr<VelTrigger> VelTrigger::makeRecord(TEST_TYPE type) {
  const RecordKind* kind = kindFor(type);
  return kind ? kind->make(type) : nullptr;
}

std::unique_ptr<VelTrigger> VelTrigger::read(ByteStream* s, WireForm form) {
  uint8 errorCode = 0;
  uint16 payloadLen = 0;
  TEST_TYPE type = 0;
  const bool lead = form == WireForm::ErrorCoded ? s->readLE(errorCode) : s->readLE(payloadLen);
  if (!lead || !s->readLE(type)) return nullptr;
  // Types without a record class (2, 3, 7 and above) leave their body unread: its size is
  // unknown here, so the caller resynchronises from the enclosing message.
  const RecordKind* kind = kindFor(type);
  if (!kind) return nullptr;
  std::unique_ptr<VelTrigger> rec = kind->make(type);
  kind->readBody(*rec, s);
  rec->setTestType(type);
  if (form == WireForm::ErrorCoded) {
    rec->setErrorCode(errorCode);
  } else {
    rec->setPayloadLen(payloadLen);
  }
  return rec;
}

VelTrigger* VelTrigger::deserialize(ByteStream* s) {
  return read(s, WireForm::ErrorCoded).release();
}

std::shared_ptr<VelTrigger> VelTrigger::deserializeP(ByteStream* s) {
  return read(s, WireForm::LengthPrefixed);
}

std::string VelTrigger::errorText(uint8 code) {
  if (code >= 1 && code <= 31) {
    // Range and capacity checks of a set-up report every failed check at once.
    static const char* const kBits[] = {"Low Limit Out of Range", "High Limit Out of Range",
                                        "Too Much Data to Log WAV files",
                                        "Too Much Data to Log FFT files", "Threshold Invalid"};
    std::string text;
    for (unsigned bit = 0; bit < 5; ++bit) {
      if (!(code & (1u << bit))) continue;
      if (!text.empty()) text += ", ";
      text += kBits[bit];
    }
    return text;
  }
  if (code >= 245) {
    static const char* const kCodes[] = {
        "Trigger setup payload too small",
        "Internal Message Queue Error",
        "",
        "Invalid Threshold Type",
        "Min Frequency > Max Frequency",
        "Trigger Not Found",
        "Invalid Test",
        "Invalid Effect",
        "Limit to number of triggers has been reached",
        "System is out of memory and cannot service the request",
        "Unit Not Ready"};
    return kCodes[code - 245];
  }
  return std::string();
}

std::string VelTrigger::errorMes(bool withPrefix) const {
  std::string text = errorText(errorCode_);
  const auto* band = dynamic_cast<const VelTrigger_5_6*>(this);
  if (!withPrefix || text.empty() || !band || (testType_ != 5 && testType_ != 6)) return text;
  // Shown one-based to the user; the device numbers its triggers from 0.
  return "Trigger " + std::to_string(band->trigNum() + 1) + " error: " + text;
}

void VelTrigger_4::serialize(uint64* /*len*/, uint8* /*buf*/) const {
  // Deliberately empty: a type-4 record contributes no bytes to an outgoing command, and
  // the trigger enquiry's payload size depends on that.
}
