#include <veliface/files/MavWavInfoData.h>

#include <veliface/common/VelLog.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/internal/TimeBreakdown.h>

#include <mavcommon/Endian.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <iomanip>
#include <limits>
#include <sstream>

namespace {

// One INFO sub-chunk: identifier, 32-bit length, the text without a terminating zero.
void appendChunk(std::string& out, WavInfoName id, const std::string& text) {
  uint8 len[4];
  mav::storeLE(len, static_cast<uint32>(text.size()));
  out.append(wavInfoNames[id], 4);
  out.append(reinterpret_cast<const char*>(len), 4);
  out += text;
}

// Single-sensor files keep every sub-chunk even by padding the text itself with one space,
// so that no RIFF pad byte is ever needed after the text.
void appendEven(std::string& out, WavInfoName id, std::string text) {
  if (text.size() % 2 != 0) text += ' ';
  appendChunk(out, id, text);
}

// The creation date as printed into a zeroed 24-byte buffer; the zone is always +00.
struct DateBuffer {
  char text[24];
};
DateBuffer creationDate(long long t) {
  const std::tm tm = veliface::files::breakDownUtc(t);
  char wide[64];
  std::snprintf(wide, sizeof wide, "%4d-%02d-%02dT%02d:%02d:%02d+%02d", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, 0);
  // Only years beyond four digits need more than the 23 characters that the buffer keeps.
  DateBuffer b{};
  std::memcpy(b.text, wide, std::min(std::strlen(wide), sizeof b.text - 1));
  return b;
}

// Rounds and saturates a parsed value into T; NaN gives 0.
template <typename T>
T saturate(double v) {
  if (std::isnan(v)) return T{0};
  v = std::round(v);
  if (v <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
  if (v >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
  return static_cast<T>(v);
}

// Peak volts are kept in whole volts: the fraction is dropped on purpose (2.9 V is stored
// as 2), and the INFO comment and every reader of it depend on that.
int wholeVolts(float v) { return saturate<int>(std::trunc(static_cast<double>(v))); }

void writeList(std::ostream& os, unsigned n, const std::function<void(unsigned)>& item) {
  for (unsigned c = 1; c <= n; ++c) {
    if (c > 1) os << ",";
    item(c);
  }
}

// Strict numeric parse of one comment field; false leaves the field alone.
bool parseNumber(const std::string& text, double& out) {
  if (text.empty()) return false;
  char* end = nullptr;
  out = std::strtod(text.c_str(), &end);
  return end != text.c_str();
}

bool parseUnsigned(const std::string& text, unsigned long long& out) {
  if (text.empty() || text[0] < '0' || text[0] > '9') return false;
  char* end = nullptr;
  out = std::strtoull(text.c_str(), &end, 10);
  return end != text.c_str();
}

void readArtist(MavWavInfoDataHF& info, const std::string& text) {
  const std::size_t mark = text.find(" #");
  if (mark == std::string::npos) return;
  info.setDeviceType(VelUtil::deviceType(text.substr(0, mark)), 0);
  unsigned long long serial = 0;
  if (parseUnsigned(text.substr(mark + 2), serial) && serial <= 0xFFFFu) {
    info.setSerialNo(static_cast<unsigned short>(serial), 0);
  }
}

void readCreationDate(MavWavInfoDataHF& info, const std::string& text) {
  std::tm tm{};
  // The stamp is UTC but read back as local time; kept so, files written by the devices'
  // own tools are read the same way.
  if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &tm.tm_year, &tm.tm_mon, &tm.tm_mday,
                  &tm.tm_hour, &tm.tm_min, &tm.tm_sec) != 6) {
    return;
  }
  tm.tm_year -= 1900;
  tm.tm_mon -= 1;
  tm.tm_isdst = -1;
  info.setTime(static_cast<long long>(std::mktime(&tm)));
}

// The comment is "<v> V pk, <s> dBV re 1uPa, <h> % RH, <t> deg C, <m> = Max Count, <q> = Seq #";
// each value stands before its label, so the text is cut at the labels in order.
void readComment(MavWavInfoDataHF& info, const std::string& text) {
  static const char* const labels[] = {" V pk, ",  " dBV re 1uPa, ", " % RH, ",
                                       " deg C, ", " = Max Count, ", " = Seq #"};
  std::size_t pos = 0;
  for (std::size_t i = 0; i < 6; ++i) {
    const std::size_t at = text.find(labels[i], pos);
    if (at == std::string::npos) return;
    const std::string value = text.substr(pos, at - pos);
    pos = at + std::strlen(labels[i]);
    double v = 0;
    unsigned long long q = 0;
    switch (i) {
      case 0: if (parseNumber(value, v)) info.setVoltsPk(static_cast<float>(std::clamp(v, -1e9, 1e9))); break;
      case 1: if (parseNumber(value, v)) info.setSensitivity(saturate<short>(v), 0); break;
      case 2: if (parseNumber(value, v)) info.setHumidity(saturate<unsigned short>(v * 10.0), 0); break;
      case 3: if (parseNumber(value, v)) info.setTemperature(saturate<short>(v * 10.0), 0); break;
      case 4: if (parseNumber(value, v)) info.setMaxCount(saturate<int>(v)); break;
      default: if (parseUnsigned(value, q)) info.setSeqNum(q); break;
    }
  }
}

void copyOut(const std::string& body, uint64* len, uint8* buf) {
  std::memcpy(buf, body.data(), body.size());
  *len += body.size();
}

}  // namespace

// ---- MavWavInfoDataHF -------------------------------------------------------------------

std::string MavWavInfoDataHF::deviceStr(unsigned char) const { return VelUtil::deviceTypeStr(deviceType_); }
void MavWavInfoDataHF::setDeviceType(VelDeviceType type, unsigned char) { deviceType_ = type; }
VelDeviceType MavWavInfoDataHF::deviceType(unsigned char) const { return deviceType_; }
uint16 MavWavInfoDataHF::serialNo(unsigned char) const { return serial_; }
void MavWavInfoDataHF::setSerialNo(unsigned short serial, unsigned char) { serial_ = serial; }
std::string MavWavInfoDataHF::modelStr(unsigned char) const { return "KTx-AAA"; }
std::string MavWavInfoDataHF::datetimeStr() const { return VelUtil::wavDateStamp(timestamp()); }
std::string MavWavInfoDataHF::creatorStr() const { return creator_; }
void MavWavInfoDataHF::setCreator(std::string creator) { creator_ = std::move(creator); }
std::string MavWavInfoDataHF::filename() const { return filename_; }
void MavWavInfoDataHF::setFilename(std::string name) { filename_ = std::move(name); }
float MavWavInfoDataHF::voltsPk() const { return static_cast<float>(voltsPk_); }
void MavWavInfoDataHF::setVoltsPk(float v) { voltsPk_ = wholeVolts(v); }
short MavWavInfoDataHF::sensitivity(unsigned char) const { return sensitivity_; }
void MavWavInfoDataHF::setSensitivity(short v, unsigned char) { sensitivity_ = v; }
short MavWavInfoDataHF::temperature(unsigned char) const { return temperature_; }
void MavWavInfoDataHF::setTemperature(short v, unsigned char) { temperature_ = v; }
unsigned short MavWavInfoDataHF::humidity(unsigned char) const { return humidity_; }
void MavWavInfoDataHF::setHumidity(unsigned short v, unsigned char) { humidity_ = v; }

std::string MavWavInfoDataHF::body() const {
  std::string out(wavInfoNames[WAV_INFO], 4);

  std::string artist = deviceStr(0) + " #" + std::to_string(serial_);
  padString(artist);
  appendChunk(out, WAV_IART, artist);

  appendEven(out, WAV_IPRD, hwVersion_ + " " + hwRelease_);
  appendEven(out, WAV_ICRD, creationDate(timestamp()).text);

  std::string creator = creatorStr();  // through the virtual slot: subclasses name themselves
  padString(creator);
  appendChunk(out, WAV_ISFT, creator);

  appendEven(out, WAV_INAM, filename_);

  // Humidity before temperature, and each value before its label, as every reader expects.
  std::ostringstream cmt;
  cmt << std::fixed << std::setprecision(6) << voltsPk() << " V pk, " << sensitivity_
      << " dBV re 1uPa, " << humidity_ / 10.0 << " % RH, " << temperature_ / 10.0 << " deg C, "
      << maxCount_ << " = Max Count, " << seqNum() << " = Seq #";
  std::string comment = cmt.str();
  padString(comment);
  appendChunk(out, WAV_ICMT, comment);
  return out;
}

void MavWavInfoDataHF::serialize(uint64* len, uint8* buf) const { copyOut(body(), len, buf); }
uint64 MavWavInfoDataHF::serializedSize() const { return body().size(); }

MavWavInfoDataHF* MavWavInfoDataHF::deserialize(ByteStream* s) {
  auto* info = new MavWavInfoDataHF();
  while (s->bytesAvailable() > 0) {
    char id[4];
    if (!s->read(id, 4).good()) break;
    int which = -1;
    for (int i = 0; i < 7; ++i) {
      if (std::memcmp(id, wavInfoNames[i], 4) == 0) which = i;
    }
    if (which == WAV_INFO) continue;  // the list type has no length of its own
    uint32 n = 0;
    if (!s->readLE(n) || n > s->bytesAvailable()) break;
    const std::string text(reinterpret_cast<const char*>(s->current()), n);
    s->ignore(n);
    switch (which) {
      case WAV_IART: readArtist(*info, text); break;
      case WAV_IPRD: {
        // "<version> <release>", possibly followed by one space of padding.
        std::string t = text;
        if (t.size() % 2 == 0 && !t.empty() && t.back() == ' ') t.pop_back();
        const std::size_t sp = t.find(' ');
        info->setHwVersion(t.substr(0, sp));
        info->setHwRelease(sp == std::string::npos ? std::string() : t.substr(sp + 1));
        break;
      }
      case WAV_ICRD: readCreationDate(*info, text); break;
      case WAV_ISFT:
      case WAV_INAM: {
        // Padding is trailing spaces; names and creators do not end in one.
        const std::size_t last = text.find_last_not_of(' ');
        std::string t = last == std::string::npos ? std::string() : text.substr(0, last + 1);
        if (which == WAV_ISFT) info->setCreator(t); else info->setFilename(t);
        break;
      }
      case WAV_ICMT: readComment(*info, text); break;
      default: VelLog::write("Ignoring tag"); break;
    }
  }
  return info;
}

// ---- MavWavInfoDataHCI ------------------------------------------------------------------

MavWavInfoDataHCI::MavWavInfoDataHCI(unsigned char channels) : entries_(std::size_t{channels} + 1) {}

const MavWavInfoDataHCI::Entry* MavWavInfoDataHCI::entry(unsigned char channel) const {
  return channel < entries_.size() ? &entries_[channel] : nullptr;
}
MavWavInfoDataHCI::Entry* MavWavInfoDataHCI::entry(unsigned char channel) {
  return channel < entries_.size() ? &entries_[channel] : nullptr;
}

std::string MavWavInfoDataHCI::deviceStr(unsigned char channel) const {
  switch (deviceType(channel)) {
    case DEV_AUREL_HF: return "Aurel HF";
    case DEV_AUREL_AF: return "Aurel AF";
    case DEV_ARRAY_HUB: return "HCI";
    default: return std::string();
  }
}
void MavWavInfoDataHCI::setDeviceType(VelDeviceType type, unsigned char channel) {
  if (Entry* e = entry(channel)) e->type = type;
}
VelDeviceType MavWavInfoDataHCI::deviceType(unsigned char channel) const {
  const Entry* e = entry(channel);
  return e ? e->type : DEV_NONE;
}
uint16 MavWavInfoDataHCI::serialNo(unsigned char channel) const {
  const Entry* e = entry(channel);
  return e ? e->serial : 0;
}
void MavWavInfoDataHCI::setSerialNo(unsigned short serial, unsigned char channel) {
  if (Entry* e = entry(channel)) e->serial = serial;
}
std::string MavWavInfoDataHCI::modelStr(unsigned char channel) const {
  const Entry* e = entry(channel);
  return e ? e->model : std::string();
}
void MavWavInfoDataHCI::setModelStr(const std::string& model, unsigned char channel) {
  if (Entry* e = entry(channel)) e->model = model;
}
std::string MavWavInfoDataHCI::datetimeStr() const { return VelUtil::wavDateStamp(timestamp()); }
std::string MavWavInfoDataHCI::creatorStr() const { return creator_; }
void MavWavInfoDataHCI::setCreator(std::string creator) { creator_ = std::move(creator); }
std::string MavWavInfoDataHCI::filename() const { return filename_; }
void MavWavInfoDataHCI::setFilename(std::string name) { filename_ = std::move(name); }
float MavWavInfoDataHCI::voltsPk() const { return static_cast<float>(voltsPk_); }
void MavWavInfoDataHCI::setVoltsPk(float v) { voltsPk_ = wholeVolts(v); }
short MavWavInfoDataHCI::sensitivity(unsigned char channel) const {
  const Entry* e = entry(channel);
  return e ? e->sensitivity : 0;
}
void MavWavInfoDataHCI::setSensitivity(short v, unsigned char channel) {
  if (Entry* e = entry(channel)) e->sensitivity = v;
}
short MavWavInfoDataHCI::temperature(unsigned char channel) const {
  const Entry* e = entry(channel);
  return e ? e->temperature : 0;
}
void MavWavInfoDataHCI::setTemperature(short v, unsigned char channel) {
  if (Entry* e = entry(channel)) e->temperature = v;
}
unsigned short MavWavInfoDataHCI::humidity(unsigned char channel) const {
  const Entry* e = entry(channel);
  return e ? e->humidity : 0;
}
void MavWavInfoDataHCI::setHumidity(unsigned short v, unsigned char channel) {
  if (Entry* e = entry(channel)) e->humidity = v;
}

std::string MavWavInfoDataHCI::body() const {
  const unsigned n = numChannels_;
  auto ch = [](unsigned c) { return static_cast<unsigned char>(c); };
  std::string out(wavInfoNames[WAV_INFO], 4);

  // Array files write their sub-chunks as they are: the creator may have an odd length.
  appendChunk(out, WAV_ISFT, creatorStr());
  // The whole 24-byte date buffer, both trailing zeros included: a fixed length on purpose,
  // the hub's own tools read the date at this size.
  appendChunk(out, WAV_ICRD, std::string(creationDate(timestamp()).text, 24));

  std::string artist = deviceStr(0) + " #" + std::to_string(serialNo(0));
  for (unsigned c = 1; c <= n; ++c) artist += "," + deviceStr(ch(c)) + " #" + std::to_string(serialNo(ch(c)));
  padString(artist);
  appendChunk(out, WAV_IART, artist);

  std::ostringstream cmt;
  cmt << std::fixed << std::setprecision(6) << "Vpk=" << voltsPk() << ";V re 1uPa=";
  writeList(cmt, n, [&](unsigned c) { cmt << sensitivity(ch(c)); });
  cmt << std::setprecision(1) << ";%RH=";
  writeList(cmt, n, [&](unsigned c) { cmt << humidity(ch(c)) / 10.0; });
  cmt << ";deg C=";
  writeList(cmt, n, [&](unsigned c) { cmt << temperature(ch(c)) / 10.0; });
  cmt << ";Seq # =" << seqNum();
  std::string comment = cmt.str();
  padString(comment);
  appendChunk(out, WAV_ICMT, comment);
  return out;
}

void MavWavInfoDataHCI::serialize(uint64* len, uint8* buf) const { copyOut(body(), len, buf); }
uint64 MavWavInfoDataHCI::serializedSize() const { return body().size(); }

MavWavInfoDataHCI* MavWavInfoDataHCI::deserialize(ByteStream* /*s*/) { return nullptr; }
