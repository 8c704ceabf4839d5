#include <veliface/files/MavSpectrumFile.h>

#include <veliface/common/VelLog.h>
#include <veliface/device/VelDevice.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/DeviceFacts.h>
#include <veliface/files/VelWideText.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <type_traits>
#include <vector>

using veliface::files::toWide;

namespace {

// --- writing -------------------------------------------------------------------------------

// Texts go through the stream's own string insertion, so a width set by the caller applies
// exactly as it would to any other string.
void put(std::ostream& os, const std::string& s) { os << s; }
void put(std::wostream& os, const std::string& s) { os << toWide(s); }

template <typename CharT>
void endLine(std::basic_ostream<CharT>& os) {
  os.put(os.widen('\n'));
  os.flush();
}

template <typename CharT, typename V>
void labelled(std::basic_ostream<CharT>& os, const char* label, const V& value) {
  put(os, label);
  os << os.widen('\t');
  if constexpr (std::is_same_v<V, std::string>) {
    put(os, value);
  } else {
    os << value;
  }
  endLine(os);
}

template <typename CharT>
void bare(std::basic_ostream<CharT>& os, const char* text) {
  put(os, text);
  endLine(os);
}

const char* powerCalcText(uint16 code) {
  switch (code) {
    case 4: return "Mean";
    case 5: return "Peak";
    case 6: return "Filtered";
    default: return "Unknown";
  }
}

template <typename CharT>
std::basic_ostream<CharT>& writeHeader(std::basic_ostream<CharT>& os, const MavSpectrumFileHeader& h) {
  bare(os, "File Details:");
  labelled(os, "File Type", std::string("Spectrum"));
  labelled(os, "File Version", std::string("5"));
  labelled(os, "Start Date", VelUtil::specDateStamp(h.startDt()));
  labelled(os, "Start Time", VelUtil::specTimeStamp(h.startDt()));
  labelled(os, "Time Zone", h.strTimeZone());
  labelled(os, "Author", h.author());
  labelled(os, "Computer", h.computerName());
  labelled(os, "User", h.userName());
  labelled(os, "Client", h.clientName());
  labelled(os, "Job", h.jobName());
  labelled(os, "Personnel", h.personnel());
  labelled(os, "Starting Sample", static_cast<unsigned long long>(h.startSample()));
  bare(os, "");
  bare(os, "Device Details:");
  labelled(os, "Device", VelUtil::deviceTypeStr(h.devId().devType()));
  labelled(os, "S/N", h.devId().serialNo());
  labelled(os, "Firmware", h.firmware());
  bare(os, "");
  bare(os, "Setup:");
  labelled(os, "dB Ref re 1V", h.refLevelVolts());
  labelled(os, "dB Ref re 1uPa", h.refLeveluPa());
  labelled(os, "Sample Rate [S/s]", h.sampleRate());
  labelled(os, "FFT Size", h.fftSize());
  // Fixed notation stays in force after the header: the writer's frequency line relies on
  // it to print its bin frequencies with two decimals.
  os << std::fixed << std::setprecision(6);
  labelled(os, "Bin Width [Hz]", h.binWidth());
  labelled(os, "Window Function", std::string("Hann"));
  labelled(os, "Overlap [%]", h.overlapPercent());
  labelled(os, "Power Calculation", std::string(powerCalcText(h.powerCalc())));
  labelled(os, "Accumulations", h.accums());
  bare(os, "");
  bare(os, "Data:");
  bare(os, "Time\tComment\tTemperature\tHumidity\tSequence #\tData Points\t");
  return os;
}

// True when the stream would print integers as plain decimal digits (no base, sign or
// grouping of its own), so that std::to_chars gives the same characters.
template <typename CharT>
bool plainDecimal(const std::basic_ostream<CharT>& os) {
  const auto base = os.flags() & std::ios_base::basefield;
  if (base == std::ios_base::hex || base == std::ios_base::oct) return false;
  if ((os.flags() & std::ios_base::showpos) != 0) return false;
  return std::use_facet<std::numpunct<CharT>>(os.getloc()).grouping().empty();
}

// The integer columns of a data line, gathered in one buffer and written in one call (a
// buffer per 8 K characters for very long spectra).
template <typename CharT>
class LineBuffer {
 public:
  explicit LineBuffer(std::basic_ostream<CharT>& os) : os_(os) {}
  template <typename I>
  void number(I v) {
    if (used_ > kCapacity - kMaxField) drain();
    // Digits and tab go into one field of kMaxField characters (an integer needs at most
    // 20 digits and a sign), bounded explicitly so that the tab's place is provably inside.
    CharT* field = buf_ + used_;
    CharT* end;
    if constexpr (std::is_same_v<CharT, char>) {
      end = std::to_chars(field, field + (kMaxField - 1), v).ptr;
    } else {
      char digits[kMaxField - 1];
      const char* last = std::to_chars(digits, digits + (kMaxField - 1), v).ptr;
      end = field;
      for (const char* p = digits; p != last; ++p) *end++ = static_cast<CharT>(*p);
    }
    *end = static_cast<CharT>('\t');
    used_ += static_cast<std::size_t>(end - field) + 1;
  }
  void drain() {
    if (used_ != 0) os_.write(buf_, static_cast<std::streamsize>(used_));
    used_ = 0;
  }

 private:
  static constexpr std::size_t kCapacity = 8192;
  static constexpr std::size_t kMaxField = 24;
  std::basic_ostream<CharT>& os_;
  CharT buf_[kCapacity];
  std::size_t used_ = 0;
};

template <typename CharT>
std::basic_ostream<CharT>& writeData(std::basic_ostream<CharT>& os, const MavSpectrumFileData& d) {
  const CharT tab = os.widen('\t');
  put(os, VelUtil::specTimeStamp(d.dataTime()));
  os << tab;
  put(os, d.comment());
  // Temperature and humidity follow whatever float settings the stream has (the writer's
  // frequency line leaves two fixed decimals), so they go through the stream itself.
  os << tab << d.temperature() << tab << d.humidity() << tab;
  const int bins = d.spectrum() == nullptr ? 0 : std::max<int>(d.numBins(), 0);
  if (plainDecimal(os)) {
    LineBuffer<CharT> line(os);
    line.number(d.seqNum());
    line.number(d.numBins());
    const uint8* level = d.spectrum();
    for (int i = 0; i < bins; ++i) line.number(static_cast<unsigned>(level[i]));
    line.drain();
  } else {
    os << d.seqNum() << tab << d.numBins() << tab;
    for (int i = 0; i < bins; ++i) os << static_cast<unsigned>(d.spectrum()[i]) << tab;
  }
  endLine(os);
  return os;
}

// --- reading -------------------------------------------------------------------------------

// The next tab-ended column of `line` from `pos`: false when no tab follows; otherwise the
// column's text goes to `col` and `pos` moves past its tab.
bool nextColumn(const std::string& line, std::size_t& pos, std::string& col) {
  const std::size_t tab = line.find('\t', pos);
  if (tab == std::string::npos) return false;
  col.assign(line, pos, tab - pos);
  pos = tab + 1;
  return true;
}

// Whole-text number conversions: false (value untouched) on anything but a clean number.
template <typename I>
bool toInt(const std::string& s, I& out) {
  long long v = 0;
  const auto r = std::from_chars(s.data(), s.data() + s.size(), v);
  if (r.ec != std::errc() || r.ptr != s.data() + s.size()) return false;
  if (v < static_cast<long long>(std::numeric_limits<I>::min()) ||
      (v > 0 && static_cast<unsigned long long>(v) > static_cast<unsigned long long>(std::numeric_limits<I>::max()))) {
    return false;
  }
  out = static_cast<I>(v);
  return true;
}

bool toU64(const std::string& s, uint64& out) {
  const auto r = std::from_chars(s.data(), s.data() + s.size(), out);
  return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

bool toFloat(const std::string& s, float& out) {
  if (s.empty()) return false;
  char* end = nullptr;
  const float v = std::strtof(s.c_str(), &end);
  if (end != s.c_str() + s.size()) return false;
  out = v;
  return true;
}

// "HH:MM:SS" as seconds of the day.
bool parseTimeOfDay(const std::string& s, int& seconds) {
  std::tm tm{};
  std::istringstream in(s);
  in >> std::get_time(&tm, "%H:%M:%S");
  if (in.fail()) return false;
  seconds = tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec;
  return true;
}

// "YYYY-MM-DD" as days since 1970 (proleptic Gregorian, independent of the local zone).
bool parseDate(const std::string& s, int64& days) {
  std::tm tm{};
  std::istringstream in(s);
  in >> std::get_time(&tm, "%Y-%m-%d");
  if (in.fail()) return false;
  int64 y = tm.tm_year + 1900;
  const int64 m = tm.tm_mon + 1;
  y -= m <= 2;
  const int64 era = (y >= 0 ? y : y - 399) / 400;
  const int64 yoe = y - era * 400;
  const int64 doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + tm.tm_mday - 1;
  const int64 doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  days = era * 146097 + doe - 719468;
  return true;
}

int64 floorDiv(int64 a, int64 b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace

// --- header --------------------------------------------------------------------------------

std::string MavSpectrumFileHeader::strTimeZone() const {
  if (timeZone_ == 0) return "UTC";
  return std::string("UTC ") + (timeZone_ > 0 ? "+" : "-") + std::to_string(std::abs(int{timeZone_}));
}

int MavSpectrumFileHeader::refLeveluPa() const {
  // A sensitivity read back from a file can be as far out as the int levels it came from,
  // so the level is saturated into an int rather than converted out of range.
  const double level = std::trunc(static_cast<double>(static_cast<float>(refLevelVolts_) - sensitivity_));
  if (std::isnan(level)) return 0;
  if (level <= static_cast<double>(std::numeric_limits<int>::min())) return std::numeric_limits<int>::min();
  if (level >= static_cast<double>(std::numeric_limits<int>::max())) return std::numeric_limits<int>::max();
  return static_cast<int>(level);
}

float MavSpectrumFileHeader::binWidth() const {
  return static_cast<float>(sampleRate_) / static_cast<float>(fftSize());
}

float MavSpectrumFileHeader::overlapPercent() const {
  const float n = static_cast<float>(fftSize());
  return (n - static_cast<float>(numPtsBtw_)) / n * 100.0f;
}

bool MavSpectrumFileHeader::deserialise(const std::wstring& text) {
  const std::string narrow = veliface::files::toUtf8(text);
  std::istringstream in(narrow);
  std::string line;
  int64 days = floorDiv(startDt_, 86400);
  int64 secs = startDt_ - days * 86400;
  bool haveRefUpa = false;
  int refUpa = 0;
  float overlap = 0.0f;
  bool haveOverlap = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line == "Data:") break;
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) continue;
    const std::string label = line.substr(0, tab);
    const std::string value = line.substr(tab + 1);
    // Unknown labels are passed over; a malformed number leaves its field as it was.
    if (label == "Start Date") {
      parseDate(value, days);
    } else if (label == "Start Time") {
      int s = 0;
      if (parseTimeOfDay(value, s)) secs = s;
    } else if (label == "Time Zone") {
      if (value == "UTC") {
        timeZone_ = 0;
      } else if (value.size() > 5 && value.compare(0, 4, "UTC ") == 0) {
        int16_t magnitude = 0;
        if (toInt(value.substr(5), magnitude)) {
          timeZone_ = static_cast<int16_t>(value[4] == '-' ? -magnitude : magnitude);
        }
      }
    } else if (label == "Author") {
      author_ = value;
    } else if (label == "Computer") {
      computerName_ = value;
    } else if (label == "User") {
      userName_ = value;
    } else if (label == "Client") {
      clientName_ = value;
    } else if (label == "Job") {
      jobName_ = value;
    } else if (label == "Personnel") {
      personnel_ = value;
    } else if (label == "Starting Sample") {
      toU64(value, startSample_);
    } else if (label == "Device") {
      devId_ = VelDeviceId(VelUtil::deviceType(value), devId_.serialNo());
    } else if (label == "S/N") {
      unsigned short serial = 0;
      if (toInt(value, serial)) devId_ = VelDeviceId(devId_.devType(), serial);
    } else if (label == "Firmware") {
      firmware_ = value;
    } else if (label == "dB Ref re 1V") {
      toInt(value, refLevelVolts_);
    } else if (label == "dB Ref re 1uPa") {
      haveRefUpa = toInt(value, refUpa);
    } else if (label == "Sample Rate [S/s]") {
      toInt(value, sampleRate_);
    } else if (label == "FFT Size") {
      toInt(value, numPts_);
    } else if (label == "Bin Width [Hz]") {
      toFloat(value, recordedBinWidth_);
    } else if (label == "Overlap [%]") {
      haveOverlap = toFloat(value, overlap);
    } else if (label == "Power Calculation") {
      for (uint16 code = 4; code <= 6; ++code) {
        if (value == powerCalcText(code)) powerCalc_ = code;
      }
    } else if (label == "Accumulations") {
      toInt(value, accums_);
    }
  }
  startDt_ = days * 86400 + secs;
  // The file keeps the sensitivity only inside the two reference levels; their difference
  // restores it to the whole dB that the file can tell.
  // The difference is taken in 64 bits: a level read from the file may be any int.
  if (haveRefUpa) sensitivity_ = static_cast<float>(int64{refLevelVolts_} - int64{refUpa});
  if (haveOverlap) {
    numPtsBtw_ = static_cast<uint16>(std::lround(fftSize() * (1.0 - overlap / 100.0)));
  }
  if (std::fabs(recordedBinWidth_ - binWidth()) > 1.e-3) {
    VelLog::write("fabs(m_binWidth - binWidth()) > 1.e-3");
    return false;
  }
  return true;
}

std::ostream& operator<<(std::ostream& os, const MavSpectrumFileHeader& h) { return writeHeader(os, h); }
std::wostream& operator<<(std::wostream& os, const MavSpectrumFileHeader& h) { return writeHeader(os, h); }

// --- data ----------------------------------------------------------------------------------

void MavSpectrumFileData::setSpectrum(std::shared_ptr<const uint8[]> bins, int16_t numBins) {
  spectrum_ = std::move(bins);
  numBins_ = numBins;
}

MavSpectrumFileData MavSpectrumFileData::fromStreamData(const VelStreamDataPayload& payload) {
  MavSpectrumFileData d;
  if (const auto key = payload.eventKey()) {
    d.seqNum_ = static_cast<int32_t>(key->seqNum());
    d.dataTime_ = key->timeStamp();
  }
  if (const auto chunk = payload.data()) {
    // One byte per bin; a block never claims more bins than it carries bytes.
    const uint32 bins = std::min<uint32>({chunk->numSamples(), chunk->dataSize(), 0x7FFF});
    d.numBins_ = static_cast<int16_t>(chunk->data() ? bins : 0);
    d.spectrum_ = chunk->data();
  }
  return d;
}

bool MavSpectrumFileData::deserialise(const std::string& line, int day) {
  std::string text = line;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  // The columns are read one at a time rather than split into a list first: a line of
  // thousands of tabs must cost no more memory than the levels it carries.
  std::vector<std::string> cols(6);
  std::size_t pos = 0;
  for (std::string& col : cols) {
    if (!nextColumn(text, pos, col)) return false;
  }
  int tod = 0;
  float temperature = 0.0f;
  float humidity = 0.0f;
  int32_t seq = 0;
  int16_t bins = 0;
  if (!parseTimeOfDay(cols[0], tod) || !toFloat(cols[2], temperature) || !toFloat(cols[3], humidity) ||
      !toInt(cols[4], seq) || !toInt(cols[5], bins)) {
    return false;
  }
  const std::size_t count = static_cast<std::size_t>(std::max<int>(bins, 0));
  // Every column, the last bin included, ends with a tab: one tab per level and nothing after
  // the last one.
  if (static_cast<std::size_t>(std::count(text.begin() + static_cast<std::ptrdiff_t>(pos), text.end(), '\t')) != count ||
      (pos < text.size() && text.back() != '\t')) {
    return false;
  }
  std::shared_ptr<uint8[]> levels(new uint8[std::max<std::size_t>(count, 1)]);
  std::string level;
  for (std::size_t i = 0; i < count; ++i) {
    if (!nextColumn(text, pos, level) || !toInt(level, levels[i])) return false;
  }
  comment_ = cols[1];
  temperature_ = temperature;
  humidity_ = humidity;
  seqNum_ = seq;
  numBins_ = bins;
  dataTime_ = int64{day} * 86400 + tod;
  spectrum_ = std::move(levels);
  return true;
}

std::ostream& operator<<(std::ostream& os, const MavSpectrumFileData& d) { return writeData(os, d); }
std::wostream& operator<<(std::wostream& os, const MavSpectrumFileData& d) { return writeData(os, d); }

// --- from a stream -------------------------------------------------------------------------

MavSpectrumFileHeader* MavSpectrumFileHeader::fromEventHdr(const VelStreamEventHeaderPayload& hdr,
                                                           std::shared_ptr<VelDevice> device) {
  const auto fft = hdr.streamSetupChunk().fftSetup();
  if (!fft) {
    VelLog::write(
        "static MavSpectrumFileHeader* MavSpectrumFileHeader::fromEventHdr(const VelStreamEventHeaderPayload&, "
        "std::shared_ptr<VelDevice>) WARNING: Event header contains no fft setup chunk. Fft Logger may be "
        "connected to the wrong stream.");
    return nullptr;
  }
  auto* h = new MavSpectrumFileHeader;
  h->fname_ = "spectrumlog";
  h->computerName_ = "HOST";
  h->userName_ = "USER";
  h->clientName_ = "CLIENT";
  h->jobName_ = "JOB";
  h->personnel_ = "PERSONNEL";
  h->author_ = "Tidewells' Wren II";
  if (const auto key = hdr.eventKey()) {
    h->startDt_ = key->timeStamp();
    h->startSample_ = key->seqNum();
  }
  const auto& infos = hdr.deviceInfoChunks();
  const veliface::files::DeviceFacts facts =
      veliface::files::deviceFacts(std::move(device), infos.empty() ? nullptr : infos.front().get());
  h->devId_ = VelDeviceId(facts.type, facts.serial);
  h->firmware_ = facts.firmware;
  h->sensitivity_ = facts.sensitivity;
  // Both setup versions answer every field; the reference level is a signed dB value
  // carried in an unsigned field.
  h->refLevelVolts_ = static_cast<int16_t>(fft->refLevel());
  h->sampleRate_ = static_cast<int32_t>(fft->sampleRate());
  h->numPts_ = fft->numPoints();
  h->numPtsBtw_ = fft->samplesBtwFfts();
  h->powerCalc_ = fft->procType();
  h->accums_ = fft->accumCount();
  h->recordedBinWidth_ = h->binWidth();
  return h;
}
