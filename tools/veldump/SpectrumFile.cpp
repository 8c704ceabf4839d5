#include "SpectrumFile.h"

#include "Record.h"
#include "WavFile.h"

#include <veliface/common/VelLog.h>
#include <veliface/vocabulary/VelDeviceType.h>
#include <veliface/files/VelDateStamp.h>
#include <veliface/files/VelWideText.h>

#include <algorithm>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <ostream>
#include <sstream>

namespace veldump {

namespace {

// Lines that frame a header block. The writer starts every block with the first and ends
// it with the second and third; everything between them is read by the library.
const char* const kBlockStart = "File Details:";
const char* const kHeaderEnd = "Data:";
const char* const kColumns = "Time\tComment\tTemperature\tHumidity\tSequence #\tData Points\t";
const char* const kFileType = "File Type\tSpectrum";
// A header block is 31 lines up to "Data:"; a block that runs on far longer has lost it.
constexpr std::size_t kMaxHeaderLines = 64;
// Data lines carry the time of day only; a step back of more than half a day is midnight.
constexpr std::int64_t kHalfDay = 43200;

std::int64_t floorDiv(std::int64_t a, std::int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// The line of bin frequencies the writer puts before the first spectrum of a block: one
// number per bin, each followed by a tab.
bool readFrequencies(const std::string& line, SpectrumBlock& block) {
  if (line.empty() || line.back() != '\t') return false;
  std::size_t count = 0;
  double first = 0.0;
  double last = 0.0;
  for (std::size_t start = 0; start < line.size();) {
    const std::size_t tab = line.find('\t', start);
    const std::string field = line.substr(start, tab - start);
    char* end = nullptr;
    const double v = std::strtod(field.c_str(), &end);
    if (field.empty() || end != field.c_str() + field.size()) return false;
    if (count == 0) first = v;
    last = v;
    ++count;
    start = tab + 1;
  }
  block.haveFrequencies = true;
  block.startFrequency = first;
  block.endFrequency = last;
  block.frequencyBins = count;
  return true;
}

// Collects the library's diagnostic lines while a header is read back.
class LogCollect {
 public:
  LogCollect() : scope_([this](const std::string& l) { lines_ += (lines_.empty() ? "" : "; ") + l; }) {}
  std::string take() { return std::move(lines_); }

 private:
  std::string lines_;  // declared first: it outlives the scope that fills it
  VelLog::SinkScope scope_;
};

class Reader {
 public:
  Reader(SpectrumSummary& s, const SpectrumSink& sink) : s_(s), sink_(sink) {}

  void line(std::string text, std::size_t no, bool cut) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    if (state_ == State::Start) {
      if (text != kBlockStart) {
        s_.error = "not a spectrum file: line 1 is not \"File Details:\"";
        state_ = State::Stop;
        return;
      }
    }
    if (state_ == State::Stop) return;
    if (state_ != State::Header && text == kBlockStart) {
      startBlock(no);
      header_ = text;
      return;
    }
    switch (state_) {
      case State::Header: return headerLine(text, no);
      case State::Columns:
        state_ = State::Frequencies;
        if (text == kColumns) return;
        bad(no, "expected the column titles after \"Data:\"");
        return;
      case State::Frequencies:
        state_ = State::Data;
        if (readFrequencies(text, s_.blocks.back())) return;
        return dataLine(text, no, cut);
      case State::Data: return dataLine(text, no, cut);
      default: return;
    }
  }

  void finish() {
    if (state_ == State::Start) {
      s_.error = "empty file";
    } else if (state_ == State::Header) {
      if (s_.blocks.size() == 1) {
        s_.error = "truncated: the header block ends before its \"Data:\" line";
      } else {
        bad(s_.blocks.back().line, "header block cut off before its \"Data:\" line");
      }
    }
    if (s_.spectra != 0) {
      double total = 0.0;
      std::uint64_t n = 0;
      s_.binMeans.resize(binSums_.size());
      for (std::size_t b = 0; b < binSums_.size(); ++b) {
        total += static_cast<double>(binSums_[b]);
        n += binCounts_[b];
        s_.binMeans[b] = binCounts_[b] ? static_cast<double>(binSums_[b]) / static_cast<double>(binCounts_[b]) : 0.0;
      }
      s_.meanLevel = n ? total / static_cast<double>(n) : 0.0;
    }
  }

 private:
  enum class State { Start, Header, Columns, Frequencies, Data, Stop };

  void startBlock(std::size_t no) {
    s_.blocks.emplace_back();
    s_.blocks.back().line = no;
    headerLines_ = 1;
    state_ = State::Header;
  }

  void headerLine(const std::string& text, std::size_t no) {
    header_ += '\n';
    header_ += text;
    if (++headerLines_ > kMaxHeaderLines) {
      if (s_.blocks.size() == 1) {
        s_.error = "not a spectrum file: no \"Data:\" line ends the header";
        state_ = State::Stop;
      } else {
        bad(s_.blocks.back().line, "header block without a \"Data:\" line");
        state_ = State::Data;
      }
      return;
    }
    if (text != kHeaderEnd) return;
    SpectrumBlock& block = s_.blocks.back();
    if (header_.find(std::string("\n") + kFileType + "\n") == std::string::npos) {
      if (s_.blocks.size() == 1) {
        s_.error = "not a spectrum file: the header does not say \"File Type\tSpectrum\"";
        state_ = State::Stop;
        return;
      }
      bad(block.line, "header block is not a spectrum header");
    }
    LogCollect log;
    // The header reader takes wide text; the file is UTF-8. A byte that is not part of a
    // valid sequence becomes U+FFFD, so a damaged text field stays a (damaged) text field.
    const std::wstring wide = veliface::files::toWide(header_, veliface::files::InvalidUtf8::Replacement);
    if (!block.header.deserialise(wide)) {
      const std::string why = log.take();
      bad(no, "header: " + (why.empty() ? std::string("rejected") : why));
    }
    day_ = floorDiv(block.header.startDt(), 86400);
    blockLast_ = std::numeric_limits<std::int64_t>::min();
    state_ = State::Columns;
  }

  void dataLine(const std::string& text, std::size_t no, bool cut) {
    MavSpectrumFileData d;
    if (!d.deserialise(text, static_cast<int>(day_))) {
      bad(no, cut ? "cut off before its line end" : "not a data line");
      return;
    }
    if (blockLast_ != std::numeric_limits<std::int64_t>::min() && d.dataTime() < blockLast_ - kHalfDay) {
      ++day_;
      d.setDataTime(d.dataTime() + 86400);
    }
    blockLast_ = d.dataTime();
    SpectrumBlock& block = s_.blocks.back();
    ++block.spectra;
    const std::size_t bins = d.spectrum() ? static_cast<std::size_t>(std::max<int>(d.numBins(), 0)) : 0;
    if (s_.spectra == 0) {
      s_.firstTime = d.dataTime();
      s_.firstSeq = d.seqNum();
      s_.minBins = bins;
      s_.minLevel = 255;
      s_.maxLevel = 0;
    }
    ++s_.spectra;
    s_.lastTime = d.dataTime();
    s_.lastSeq = d.seqNum();
    s_.minBins = std::min(s_.minBins, bins);
    s_.maxBins = std::max(s_.maxBins, bins);
    if (binSums_.size() < bins) {
      binSums_.resize(bins, 0);
      binCounts_.resize(bins, 0);
    }
    for (std::size_t b = 0; b < bins; ++b) {
      const int v = d.spectrum()[b];
      s_.minLevel = std::min(s_.minLevel, v);
      s_.maxLevel = std::max(s_.maxLevel, v);
      binSums_[b] += static_cast<std::uint64_t>(v);
      ++binCounts_[b];
    }
    if (sink_) sink_(block, d);
  }

  void bad(std::size_t no, std::string why) { s_.malformed.push_back({no, std::move(why)}); }

  SpectrumSummary& s_;
  const SpectrumSink& sink_;
  State state_ = State::Start;
  std::string header_;
  std::size_t headerLines_ = 0;
  std::int64_t day_ = 0;
  std::int64_t blockLast_ = 0;
  std::vector<std::uint64_t> binSums_;
  std::vector<std::uint64_t> binCounts_;
};

const char* powerCalcName(unsigned code) {
  switch (code) {
    case 4: return "Mean";
    case 5: return "Peak";
    case 6: return "Filtered";
    default: return "Unknown";
  }
}

std::string stamp(std::int64_t t) { return VelUtil::specDateStamp(t) + " " + VelUtil::specTimeStamp(t); }

std::string fixed(double v, int decimals) {
  std::ostringstream o;
  o.setf(std::ios::fixed);
  o.precision(decimals);
  o << v;
  return o.str();
}

Record blockRecord(const SpectrumBlock& b) {
  const MavSpectrumFileHeader& h = b.header;
  Record r;
  r.add("line", static_cast<std::uint64_t>(b.line))
      .add("device", VelUtil::deviceTypeStr(h.devId().devType()))
      .add("serial", unsigned{h.devId().serialNo()})
      .add("firmware", h.firmware())
      .add("start", stamp(h.startDt()))
      .add("timeZone", h.strTimeZone())
      .add("startSample", static_cast<std::uint64_t>(h.startSample()))
      .add("sampleRate", static_cast<std::int64_t>(h.sampleRate()))
      .add("fftSize", unsigned{h.fftSize()})
      .add("binWidth", static_cast<double>(h.recordedBinWidth()))
      .add("overlapPercent", static_cast<double>(h.overlapPercent()))
      .add("powerCalculation", powerCalcName(h.powerCalc()))
      .add("accumulations", unsigned{h.accums()})
      .add("refLevelVolts", int{h.refLevelVolts()})
      .add("refLeveluPa", h.refLeveluPa());
  if (b.haveFrequencies) {
    r.add("startFrequency", b.startFrequency)
        .add("endFrequency", b.endFrequency)
        .add("frequencyBins", static_cast<std::uint64_t>(b.frequencyBins));
  }
  r.add("spectra", static_cast<std::uint64_t>(b.spectra));
  return r;
}

}  // namespace

std::size_t SpectrumSummary::loudestBin() const {
  return binMeans.empty() ? 0
                          : static_cast<std::size_t>(std::max_element(binMeans.begin(), binMeans.end()) - binMeans.begin());
}

SpectrumSummary readSpectrumFile(std::istream& in, const SpectrumSink& sink) {
  SpectrumSummary s;
  Reader reader(s, sink);
  std::string line;
  std::size_t no = 0;
  while (s.error.empty() && std::getline(in, line)) reader.line(line, ++no, in.eof());
  if (s.error.empty() && in.bad()) s.error = "read error";
  if (s.error.empty()) reader.finish();
  return s;
}

SpectrumSummary readSpectrumFile(const std::string& path, const SpectrumSink& sink) {
  std::error_code ec;
  std::ifstream in(path, std::ios::binary);
  if (!in || !std::filesystem::is_regular_file(path, ec)) {
    SpectrumSummary s;
    s.error = std::string("cannot open: ") + (std::filesystem::is_directory(path, ec) ? "a directory" : std::strerror(errno ? errno : ENOENT));
    return s;
  }
  return readSpectrumFile(in, sink);
}

int printSpectrumReport(const SpectrumSummary& s, bool json, std::ostream& out) {
  if (!s.readable()) {
    if (json) {
      out << "{\"error\":" << jsonQuote(s.error) << "}\n";
    } else {
      out << "error: " << s.error << '\n';
    }
    return EXIT_UNREADABLE;
  }
  const std::size_t loud = s.loudestBin();
  const SpectrumBlock* first = s.blocks.empty() ? nullptr : &s.blocks.front();
  const double loudHz = first ? static_cast<double>(first->header.binWidth()) * static_cast<double>(loud) : 0.0;
  if (json) {
    Record top;
    top.add("spectra", static_cast<std::uint64_t>(s.spectra))
        .add("headerBlocks", static_cast<std::uint64_t>(s.blocks.size()));
    if (s.spectra != 0) {
      top.add("firstTime", stamp(s.firstTime))
          .add("lastTime", stamp(s.lastTime))
          .add("seconds", static_cast<std::int64_t>(s.lastTime - s.firstTime))
          .add("firstSeq", int{s.firstSeq})
          .add("lastSeq", int{s.lastSeq})
          .add("minBins", static_cast<std::uint64_t>(s.minBins))
          .add("maxBins", static_cast<std::uint64_t>(s.maxBins))
          .add("minLevel", s.minLevel)
          .add("maxLevel", s.maxLevel)
          .add("meanLevel", s.meanLevel)
          .add("loudestBin", static_cast<std::uint64_t>(loud))
          .add("loudestFrequency", loudHz)
          .add("loudestMeanLevel", s.binMeans[loud]);
    }
    std::string text = toJson(top);
    text.pop_back();  // the closing brace: the lists follow
    text += ",\"blocks\":[";
    for (std::size_t i = 0; i < s.blocks.size(); ++i) text += (i ? "," : "") + toJson(blockRecord(s.blocks[i]));
    text += "],\"malformed\":[";
    for (std::size_t i = 0; i < s.malformed.size(); ++i) {
      Record m;
      m.add("line", static_cast<std::uint64_t>(s.malformed[i].line)).add("why", s.malformed[i].why);
      text += (i ? "," : "") + toJson(m);
    }
    text += "],\"ok\":" + std::string(s.malformed.empty() ? "true" : "false") + "}";
    out << text << '\n';
    return s.malformed.empty() ? EXIT_OK : EXIT_PROBLEM;
  }
  for (std::size_t i = 0; i < s.blocks.size(); ++i) {
    const SpectrumBlock& b = s.blocks[i];
    const MavSpectrumFileHeader& h = b.header;
    out << "header " << i + 1 << " (line " << b.line << "): " << VelUtil::deviceTypeStr(h.devId().devType())
        << " S/N " << h.devId().serialNo() << ", firmware " << h.firmware() << '\n'
        << "  start: " << stamp(h.startDt()) << ' ' << h.strTimeZone() << ", sample " << h.startSample() << '\n'
        << "  FFT: " << h.sampleRate() << " S/s, " << h.fftSize() << " points, bin width "
        << fixed(h.recordedBinWidth(), 6) << " Hz, overlap " << fixed(h.overlapPercent(), 1) << " %, "
        << powerCalcName(h.powerCalc()) << ", " << h.accums() << " accumulations\n"
        << "  reference: " << h.refLevelVolts() << " dB re 1V, " << h.refLeveluPa() << " dB re 1uPa\n";
    if (b.haveFrequencies) {
      out << "  frequencies: " << b.frequencyBins << " bins, " << fixed(b.startFrequency, 2) << " to "
          << fixed(b.endFrequency, 2) << " Hz\n";
    }
    out << "  spectra: " << b.spectra << '\n';
  }
  out << "spectra: " << s.spectra << " under " << s.blocks.size() << " header(s)\n";
  if (s.spectra != 0) {
    out << "time: " << stamp(s.firstTime) << " to " << stamp(s.lastTime) << " (" << s.lastTime - s.firstTime
        << " s)\n"
        << "sequence: " << s.firstSeq << " to " << s.lastSeq << '\n'
        << "bins per spectrum: " << s.minBins;
    if (s.maxBins != s.minBins) out << " to " << s.maxBins;
    out << '\n'
        << "level (dB above the reference): min " << s.minLevel << ", max " << s.maxLevel << ", mean "
        << fixed(s.meanLevel, 1) << '\n'
        << "loudest bin: " << loud << " (" << fixed(loudHz, 2) << " Hz), mean level "
        << fixed(s.binMeans[loud], 1) << '\n';
  }
  for (const BadLine& b : s.malformed) out << "malformed: line " << b.line << ": " << b.why << '\n';
  out << (s.malformed.empty() ? "OK" : "NOT OK (" + std::to_string(s.malformed.size()) + " malformed line(s))")
      << '\n';
  return s.malformed.empty() ? EXIT_OK : EXIT_PROBLEM;
}

}  // namespace veldump
