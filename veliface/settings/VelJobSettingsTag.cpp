#include <veliface/settings/VelJobSettingsTag.h>

#include <veliface/settings/internal/TagRegistry.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <sstream>
#include <type_traits>

namespace veliface::settings {
namespace {

template <class T, class = void>
struct HasSharedReader : std::false_type {};
template <class T>
struct HasSharedReader<T, std::void_t<decltype(T::deserializeShared(nullptr))>> : std::true_type {};

// A job-setup response makes one tag per entry; where the class can, the tag and its
// shared count are made in one allocation.
template <class T>
std::shared_ptr<VelJobSettingsTag> readAs(ByteStream* s) {
  if constexpr (HasSharedReader<T>::value) {
    return T::deserializeShared(s);
  } else {
    return std::shared_ptr<VelJobSettingsTag>(T::deserialize(s));
  }
}

template <class T>
constexpr TagKind kindOf(const char* name) {
  return {T::kKey, name, &readAs<T>, &T::parseValue};
}

// Every tag class with its key name, in the order of the key-name table.
const TagKind kTagKinds[] = {
    kindOf<VelAuxPinTag>("AUX_PIN"),
    kindOf<VelAuxMsgTag>("AUX_MSG"),
    kindOf<VelLogStartTimeTag>("LOG_START_TIME"),
    kindOf<VelSpecSampRateTag>("FFT_SAMPLE_RATE"),
    kindOf<VelSpecRefTag>("FFT_REF_LEVEL"),
    kindOf<VelPtsPerFftTag>("FFT_PTS_PER"),
    kindOf<VelPtsBtwFftTag>("FFT_PTS_BTW"),
    kindOf<VelFftProcTag>("FFT_TYPE"),
    kindOf<VelFftAccumTag>("FFT_ACCUM"),
    kindOf<VelFftWeightTag>("FFT_WEIGHT"),
    kindOf<VelSpecLogModeTag>("FFT_LOG_MODE"),
    kindOf<VelSpecLogLenTag>("FFT_LOG_LENGTH"),
    kindOf<VelDutyCycleTimeTag>("DUTY_CYCLE_TIME"),
    kindOf<VelDutyCycleActTag>("DUTY_RUN_TIME"),
    kindOf<VelDutyCycleIgnTimeTag>("DUTY_IGNORE_TIME_CHANGE"),
    kindOf<VelWavSampleRateTag>("WAVE_SAMPLE_RATE"),
    kindOf<VelWavBitDepthTag>("WAVE_BIT_DEPTH"),
    kindOf<VelWavGainTag>("WAVE_GAIN"),
    kindOf<VelWavByteOrderTag>("WAVE_ENDIAN"),
    kindOf<VelWavLogModeTag>("WAVE_LOG_MODE"),
    kindOf<VelWavLogLenTag>("WAVE_LOG_LENGTH"),
    kindOf<HciDevTypeTag>("ARRAY_DEV_TYPE"),
    kindOf<HciControlModeTag>("ARRAY_CTRL_MODE"),
    kindOf<HciWavLogModeTag>("ARRAY_WAVE_LOG_MODE"),
    kindOf<HciFftLogModeTag>("ARRAY_FFT_LOG_MODE"),
    kindOf<HciEpochLogModeTag>("ARRAY_EPOCH_LOG_MODE"),
    kindOf<HciWavLogLenTag>("ARRAY_WAVE_LOG_LENGTH"),
    kindOf<HciFftLogLenTag>("ARRAY_FFT_LOG_LENGTH"),
    kindOf<HciSubnetTag>("ARRAY_NETMASK"),
    kindOf<HciGatewayTag>("ARRAY_GATEWAY"),
    kindOf<HciDnsTag>("ARRAY_DNS"),
    kindOf<HciConsvBattTag>("CONSERVE_BATT"),
    kindOf<HciLogStartTimeTag>("ARRAY_LOG_START_TIME"),
    kindOf<HciDutyCycleTimeTag>("ARRAY_DUTY_CYCLE_TIME"),
    kindOf<HciDutyCycleActTag>("ARRAY_DUTY_RUN_TIME"),
    kindOf<HciDutyCycleDataTag>("ARRAY_DUTY_DATA_TYPE"),
    kindOf<HciDeviceListTag>("ARRAY_SERIALS"),
    kindOf<HciDeviceIpListTag>("ARRAY_IP_ADDR"),
};

// The process-wide key-name table. keyString() may add entries to it, hence the lock.
struct NameTable {
  NameTable() {
    for (const TagKind& k : kTagKinds) names.emplace(k.key, k.name);
  }
  std::mutex mutex;
  std::map<JobTagKey, std::string> names;
};

NameTable& nameTable() {
  static NameTable table;
  return table;
}

}  // namespace

const TagKind* findTagKind(JobTagKey key) {
  for (const TagKind& k : kTagKinds) {
    if (k.key == key) return &k;
  }
  return nullptr;
}

const TagKind* findTagKind(const std::string& name) {
  for (const TagKind& k : kTagKinds) {
    if (name == k.name) return &k;
  }
  return nullptr;
}

}  // namespace veliface::settings

namespace {

// Splits on "," the way std::getline does: an empty text gives no pieces and a trailing ","
// adds none.
std::vector<std::string> splitList(const std::string& text) {
  std::vector<std::string> pieces;
  std::istringstream in(text);
  std::string piece;
  while (std::getline(in, piece, ',')) pieces.push_back(piece);
  return pieces;
}

}  // namespace

JobTagKey VelJobSettingsTag::tagKey() const { return key_; }

std::string VelJobSettingsTag::keyString() const {
  auto& table = veliface::settings::nameTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  // Looked up with the index operator on purpose: a key outside the table is entered with
  // an empty name, which keyName() then reports for it.
  return "$" + table.names[key_] + "=";
}

std::string VelJobSettingsTag::keyName(JobTagKey key) {
  auto& table = veliface::settings::nameTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  const auto it = table.names.find(key);
  if (it != table.names.end()) return it->second;
  return "Unrecognized Key (" + std::to_string(static_cast<unsigned>(key)) + ")";
}

std::shared_ptr<VelJobSettingsTag> VelJobSettingsTag::fromString(std::string text) {
  if (text.empty() || text[0] != '$') return nullptr;
  // The name runs to the "=" (or, without one, to the end of the line); the value to the
  // end of the line.
  const std::size_t nameEnd = std::min(text.find('=', 1), text.find('\n', 1));
  const std::string name = text.substr(1, nameEnd == std::string::npos ? std::string::npos
                                                                        : nameEnd - 1);
  std::string value;
  if (nameEnd != std::string::npos && text[nameEnd] == '=') {
    value = text.substr(nameEnd + 1);
    value = value.substr(0, value.find('\n'));
  }
  const auto* kind = veliface::settings::findTagKind(name);
  if (!kind) return nullptr;
  return kind->parse(value);
}

// --- HciDeviceListTag -----------------------------------------------------------------

HciDeviceListTag::HciDeviceListTag() : VelJobSettingsTag(kKey) {}

HciDeviceListTag::HciDeviceListTag(std::vector<uint16> devices)
    : VelJobSettingsTag(kKey), devices_(std::move(devices)) {}

HciDeviceListTag::HciDeviceListTag(const std::string& text) : VelJobSettingsTag(kKey) {
  for (const std::string& piece : splitList(text)) {
    devices_.push_back(static_cast<uint16>(std::stoi(piece, nullptr, 10)));
  }
}

void HciDeviceListTag::removeDevice(uint16 serial) {
  const auto it = std::find(devices_.begin(), devices_.end(), serial);
  if (it != devices_.end()) devices_.erase(it);
}

bool HciDeviceListTag::containsDevice(uint16 serial) const {
  return std::find(devices_.begin(), devices_.end(), serial) != devices_.end();
}

void HciDeviceListTag::serialize(uint64* len, uint8* buf) const {
  const auto count = static_cast<uint16>(devices_.size());
  const bool odd = (count % 2) != 0;
  // Padded to a multiple of 4 value bytes.
  const auto length = static_cast<uint16>(2 + 2 * count + (odd ? 2 : 0));
  mav::storeLE<uint16>(buf, length);
  mav::storeLE<uint16>(buf + 2, count);
  uint8* p = buf + 4;
  for (uint16 i = 0; i < count; ++i, p += 2) mav::storeLE<uint16>(p, devices_[i]);
  if (odd) mav::storeLE<uint16>(p, 0);
  *len += 2u + length;
}

std::string HciDeviceListTag::toString() const {
  std::string s = keyString();
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    if (i > 0) s += ',';
    s += std::to_string(devices_[i]);
  }
  return s;
}

HciDeviceListTag* HciDeviceListTag::deserialize(ByteStream* s) {
  auto* tag = new HciDeviceListTag();
  uint16 count = 0;
  s->readLE(count);
  while (tag->devices_.size() < count && s->bytesAvailable() >= 2) {
    uint16 serial = 0;
    s->readLE(serial);
    tag->devices_.push_back(serial);
  }
  return tag;
}

std::shared_ptr<VelJobSettingsTag> HciDeviceListTag::parseValue(const std::string& text) {
  return std::make_shared<HciDeviceListTag>(text);
}

// --- HciDeviceIpListTag ---------------------------------------------------------------

HciDeviceIpListTag::HciDeviceIpListTag() : VelJobSettingsTag(kKey) {}

HciDeviceIpListTag::HciDeviceIpListTag(std::vector<uint32> addrs)
    : VelJobSettingsTag(kKey), addrs_(std::move(addrs)) {}

HciDeviceIpListTag::HciDeviceIpListTag(const std::string& text) : VelJobSettingsTag(kKey) {
  const std::vector<std::string> pieces = splitList(text);
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const uint32 addr = MavIpAddr(pieces[i]).toInt();
    if (i == 0) {
      hciAddr_ = addr;
    } else {
      addrs_.push_back(addr);
    }
  }
}

void HciDeviceIpListTag::removeAddr(uint32 addr) {
  const auto it = std::find(addrs_.begin(), addrs_.end(), addr);
  if (it != addrs_.end()) addrs_.erase(it);
}

void HciDeviceIpListTag::serialize(uint64* len, uint8* buf) const {
  const auto count = static_cast<uint16>(addrs_.size());
  const auto length = static_cast<uint16>(4 * count + 6);
  mav::storeLE<uint16>(buf, length);
  mav::storeLE<uint16>(buf + 2, static_cast<uint16>(count + 1));  // the hub is entry one
  mav::storeLE<uint32>(buf + 4, hciAddr_);
  uint8* p = buf + 8;
  for (uint16 i = 0; i < count; ++i, p += 4) mav::storeLE<uint32>(p, addrs_[i]);
  *len += 2u + length;
}

std::string HciDeviceIpListTag::valueString() const {
  std::string s = MavIpAddr(hciAddr_).toString();
  for (uint32 a : addrs_) s += "," + MavIpAddr(a).toString();
  return s;
}

std::string HciDeviceIpListTag::toString() const { return keyString() + valueString(); }

HciDeviceIpListTag* HciDeviceIpListTag::deserialize(ByteStream* s) {
  auto* tag = new HciDeviceIpListTag();
  uint16 count = 0;
  s->readLE(count);
  s->readLE(tag->hciAddr_);
  if (count < 2) return tag;
  while (tag->addrs_.size() < count - 1u && s->bytesAvailable() >= 4) {
    uint32 addr = 0;
    s->readLE(addr);
    tag->addrs_.push_back(addr);
  }
  return tag;
}

std::shared_ptr<VelJobSettingsTag> HciDeviceIpListTag::parseValue(const std::string& text) {
  return std::make_shared<HciDeviceIpListTag>(text);
}

// --- verdict texts ----------------------------------------------------------------------

std::string VelUtil::tagErrStr(TagErrCode code) {
  switch (code) {
    case TAG_INVALID: return "Value is not valid; ";
    case TAG_CONFLICT: return "Value is in conflict with another tag value; ";
    case TAG_UNCHECKED: return "Unchecked; ";
    case TAG_TOO_HIGH: return "Too High; ";
    case TAG_TOO_LOW: return "Too Low; ";
    default: return "";
  }
}
