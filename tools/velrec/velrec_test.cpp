// Runs the velrec program (and velsim for the network test) and checks what it recorded:
// the files, their headers as the library reads them back, and the sample checksum against
// the one the simulated device reports for what it sent.

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/files/MavWavFormat.h>
#include <veliface/files/MavWavHeader.h>

#include <ControlFrames.h>
#include <ProcessRunner.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <thread>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using testsupport::ChildProcess;
using testsupport::fields;
using Child = ChildProcess;

std::string find(const std::vector<std::string>& lines, const std::string& prefix) {
  return testsupport::findLine(lines, prefix);
}

fs::path freshDir(const std::string& name) {
  const fs::path d = fs::temp_directory_path() / ("velrec_test_" + std::to_string(getpid()) + "_" + name);
  fs::remove_all(d);
  return d;
}

// What velrec's summary says, checked against the files on disk.
struct Recorded {
  std::string checksum;
  uint64_t frames = 0;     // in the files, zero frames of gaps included
  uint64_t gapFrames = 0;  // zero frames standing for samples that never came
  int wavFiles = 0;
  int specFiles = 0;
};

// Checks every "wrote" line against its file: a WAV header the library reads back, with
// the frame count the summary names and sample data that fills the file to its end.
Recorded checkFiles(const std::vector<std::string>& lines, uint32_t rate) {
  Recorded r;
  for (const auto& l : lines) {
    if (l.rfind("velrec: wrote ", 0) != 0) continue;
    const std::string path = l.substr(14, l.find(' ', 14) - 14);
    const auto f = fields(l);
    EXPECT_TRUE(fs::exists(path)) << path;
    EXPECT_EQ(std::stoull(f.at("bytes")), fs::file_size(path)) << path;
    if (fs::path(path).extension() == ".txt") {
      ++r.specFiles;
      continue;
    }
    ++r.wavFiles;
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8> bytes((std::istreambuf_iterator<char>(in)), {});
    CircularByteBuffer ring(bytes.size());
    ring.write(bytes.data(), bytes.size());
    MavWavHeaderProcessor reader;
    const bool read = reader.pump(ring);
    const auto hdr = reader.header();
    if (l.find("(no samples)") != std::string::npos) {
      // A file opened by a last event header that no sample reached: the reader wants bytes
      // after the data chunk's header, so it reads as incomplete.
      EXPECT_EQ(f.at("samples"), "0") << path;
      EXPECT_LT(bytes.size(), 1024u) << path;
      continue;
    }
    EXPECT_TRUE(read && hdr && hdr->fmt()) << path;
    if (!read || !hdr || !hdr->fmt()) continue;
    EXPECT_EQ(hdr->fmt()->sampleRate(), rate);
    EXPECT_EQ(hdr->fmt()->numChannels(), 1);
    EXPECT_EQ(hdr->fmt()->blockAlign(), 3);  // one channel of 24-bit samples
    EXPECT_EQ(reader.headerSize() + hdr->dataSize(), bytes.size()) << path;
    const uint64_t frames = hdr->dataSize() / 3;
    EXPECT_EQ(std::stoull(f.at("samples")), frames) << path;
    r.frames += frames;
    r.gapFrames += std::stoull(f.at("gap_frames"));
  }
  auto total = fields(find(lines, "velrec: waveform samples="));
  r.checksum = total["checksum"];
  EXPECT_EQ(std::to_string(r.frames), total["samples"]);
  EXPECT_EQ(std::to_string(r.gapFrames), total["gap_frames"]);
  EXPECT_EQ(std::to_string(r.wavFiles), total["files"]);
  return r;
}

// The JSON sidecars of `dir`, in the order of their names (which is the order of time).
std::vector<nlohmann::json> sidecars(const fs::path& dir) {
  std::vector<fs::path> paths;
  for (const auto& e : fs::directory_iterator(dir))
    if (e.path().extension() == ".json") paths.push_back(e.path());
  std::sort(paths.begin(), paths.end());
  std::vector<nlohmann::json> out;
  for (const auto& p : paths) {
    std::ifstream in(p);
    out.push_back(nlohmann::json::parse(in, nullptr, false));
    EXPECT_FALSE(out.back().is_discarded()) << p;
  }
  return out;
}

// A sidecar's start time, microseconds since 1970 ("2026-11-24T10:15:00.000021Z").
int64_t startMicros(const nlohmann::json& side) {
  std::tm tm{};
  long micros = 0;
  const std::string t = side.value("start_time", "");
  EXPECT_EQ(std::sscanf(t.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%6ldZ", &tm.tm_year, &tm.tm_mon, &tm.tm_mday,
                        &tm.tm_hour, &tm.tm_min, &tm.tm_sec, &micros), 7) << t;
  tm.tm_year -= 1900;
  tm.tm_mon -= 1;
  return static_cast<int64_t>(timegm(&tm)) * 1000000 + micros;
}

// How long a sidecar's file lasts, in microseconds.
int64_t endMicros(const nlohmann::json& side) {
  return static_cast<int64_t>(side.value("frames", 0ull) * 1000000ull / side.value("sample_rate", 1u));
}

const char* program(const char* var) {
  const char* exe = std::getenv(var);
  return exe ? exe : "";
}

TEST(Velrec, RecordsTheSimulatedDeviceAndMatchesItsChecksum) {
  const fs::path out = freshDir("inproc"), cap = freshDir("cap");
  Child rec({program("VELREC"), "--fast", "--duration", "3", "--period", "1", "--out", out.string(),
             "--capture", cap.string(), "--seed", "11"});
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);

  // Three seconds at 48 kHz, starting on a whole second: three one-second files.
  const Recorded r = checkFiles(lines, 48000);
  EXPECT_EQ(r.frames, 144000u);
  EXPECT_EQ(r.wavFiles, 3);
  EXPECT_GE(r.specFiles, 3);
  auto sim = fields(find(lines, "velrec: simulator: waveform "));
  EXPECT_EQ(sim["samples"], "144000");
  // Every spectrum sent is one data line.
  EXPECT_EQ(fields(find(lines, "velrec: spectrum lines="))["lines"],
            fields(find(lines, "velrec: simulator: spectrum "))["spectra"]);
  ASSERT_FALSE(r.checksum.empty());
  EXPECT_EQ(r.checksum, sim["checksum"]);
  EXPECT_EQ(find(lines, "velrec: sequence losses"), "velrec: sequence losses=0 missed samples=0 stream restarts=0");
  EXPECT_FALSE(find(lines, "velrec: device ").empty());

  // The capture replays to the same recording.
  for (const char* f : {"control.bin", "waveform.bin", "spectrum.bin"}) EXPECT_GT(fs::file_size(cap / f), 0u) << f;
  const fs::path again = freshDir("replay");
  Child replay({program("VELREC"), "--replay", (cap / "waveform.bin").string(), "--period", "1", "--out",
                again.string()});
  const auto replayed = replay.rest();
  ASSERT_EQ(replay.wait(), 0);
  const Recorded rr = checkFiles(replayed, 48000);
  EXPECT_EQ(rr.checksum, r.checksum);
  EXPECT_EQ(rr.frames, 144000u);
  fs::remove_all(out), fs::remove_all(cap), fs::remove_all(again);
}

TEST(Velrec, EveryWrongOptionIsAUsageErrorWithStatusTwo) {
  const std::vector<std::vector<std::string>> wrong = {
      {"--period", "abc"}, {"--no-such-option"}, {"--duration", "-1"}, {"--prefix", "../x_"}, {"--period", "0"}};
  for (const auto& args : wrong) {
    std::vector<std::string> a{program("VELREC")};
    a.insert(a.end(), args.begin(), args.end());
    Child rec(a, true);
    const auto lines = rec.rest();
    EXPECT_EQ(rec.wait(), 2) << args[0];
    EXPECT_FALSE(lines.empty()) << args[0];  // and says why
  }
  Child help({program("VELREC"), "--help"});
  help.rest();
  EXPECT_EQ(help.wait(), 0);
}

TEST(Velrec, RefusesABadSettingAndAnUnusableOutputPath) {
  const fs::path out = freshDir("bad");
  // A setting is checked before anything connects: a usage error.
  Child bad({program("VELREC"), "--device", "127.0.0.1", "--control-port", "9", "--out", out.string(), "--set",
             "NO_SUCH_TAG=1"}, true);
  const auto lines = bad.rest();
  EXPECT_EQ(bad.wait(), 2);
  EXPECT_EQ(find(lines, "velrec: --set: "), "velrec: --set: unknown setting NO_SUCH_TAG (velrec --list-settings lists every setting)");
  Child syntax({program("VELREC"), "--out", out.string(), "--set", "LOG_START_TIME=2026-11-24"}, true);
  EXPECT_NE(find(syntax.rest(), "velrec: --set: setting LOG_START_TIME: '2026-11-24' is not a time"), "");
  EXPECT_EQ(syntax.wait(), 2);

  // Every setting of the library's tag table is listed.
  Child list({program("VELREC"), "--list-settings"});
  const auto listed = list.rest();
  EXPECT_EQ(list.wait(), 0);
  EXPECT_EQ(std::count_if(listed.begin(), listed.end(), [](const std::string& l) { return !l.empty() && l[0] != ' '; }), 38);
  EXPECT_NE(find(listed, "WAVE_SAMPLE_RATE"), "");

  // The simulated device judges the job: a rate it cannot take comes back as its verdict,
  // one clean line per setting.
  Child rejected({program("VELREC"), "--fast", "--duration", "1", "--out", out.string(), "--set",
                  "WAVE_SAMPLE_RATE=12345", "--set", "WAVE_BIT_DEPTH=16"}, true);
  const auto said = rejected.rest();
  EXPECT_EQ(rejected.wait(), 1);
  EXPECT_EQ(find(said, "velrec: WAVE_SAMPLE_RATE: "), "velrec: WAVE_SAMPLE_RATE: Value is not valid (device refused)");
  EXPECT_EQ(find(said, "velrec: WAVE_BIT_DEPTH: "), "");

  fs::create_directories(out);
  std::ofstream(out / "plain") << "x";
  Child unusable({program("VELREC"), "--fast", "--duration", "1", "--out", (out / "plain" / "sub").string()});
  unusable.rest();
  EXPECT_EQ(unusable.wait(), 1);
  fs::remove_all(out);
}

// velsim on ports picked at run time, as a child; the ports it reports.
struct Velsim {
  explicit Velsim(std::vector<std::string> extra) : child(args(std::move(extra))) {
    for (const char* name : {"control", "waveform", "spectrum"}) {
      const std::string l = child.until(std::string("velsim: ") + name + " port ");
      if (!l.empty()) ports[name] = l.substr(l.rfind(' ') + 1);
    }
  }
  static std::vector<std::string> args(std::vector<std::string> extra) {
    std::vector<std::string> a{program("VELSIM"), "--control-port", "0", "--waveform-port", "0",
                               "--spectrum-port", "0", "--discovery-port", "0"};
    a.insert(a.end(), extra.begin(), extra.end());
    return a;
  }
  // velrec --device on these ports with `extra` options; standard error comes along.
  std::vector<std::string> velrec(const fs::path& out, std::vector<std::string> extra) {
    std::vector<std::string> a{program("VELREC"), "--device", "127.0.0.1", "--out", out.string(),
                               "--control-port", ports["control"], "--waveform-port", ports["waveform"],
                               "--spectrum-port", ports["spectrum"]};
    a.insert(a.end(), extra.begin(), extra.end());
    return a;
  }
  // The fields of velsim's summary lines of both streams, in whichever order they come.
  std::map<std::string, std::string> summary(const std::string& stream) {
    while (summaries.count(stream) == 0) {
      const std::string l = child.line();
      if (l.empty()) break;
      for (const char* name : {"waveform", "spectrum"})
        if (l.rfind(std::string("velsim: ") + name + " samples=", 0) == 0) summaries[name] = fields(l);
    }
    return summaries[stream];
  }
  Child child;
  std::map<std::string, std::string> ports;
  std::map<std::string, std::map<std::string, std::string>> summaries;
};

// Data lines of a spectrum file: those after the column titles and the bin frequencies.
uint64_t spectrumLines(const fs::path& path) {
  std::ifstream in(path);
  uint64_t n = 0;
  int stage = 0;  // 0: header block, 1: frequency line next, 2: data
  for (std::string l; std::getline(in, l);) {
    if (stage == 2 && !l.empty()) ++n;
    if (stage == 1) stage = 2;
    if (stage == 0 && l.rfind("Time\tComment", 0) == 0) stage = 1;
  }
  return n;
}

// Every file of `dir` read back by the independent readers: veldump checks each WAV file
// (exit 0), Python's wave module opens it, and the spectrum files hold `spectra` data lines.
void readBack(const fs::path& dir, const std::string& spectra) {
  uint64_t lines = 0;
  int wavs = 0;
  for (const auto& e : fs::directory_iterator(dir)) {
    const std::string f = e.path().string();
    if (e.path().extension() == ".txt") {
      lines += spectrumLines(e.path());
      continue;
    }
    if (e.path().extension() != ".wav") continue;
    ++wavs;
    Child soxi({"/usr/bin/env", "soxi", "-s", f});
    EXPECT_FALSE(soxi.line().empty()) << f;
    EXPECT_EQ(soxi.wait(), 0) << f;
    Child dump({program("VELDUMP"), "wav", f});
    dump.rest();
    EXPECT_EQ(dump.wait(), 0) << f;
    // The sidecar beside it is JSON and counts the frames the file holds.
    Child py({"/usr/bin/env", "python3", "-c",
              "import wave,json,sys; w=wave.open(sys.argv[1]); s=json.load(open(sys.argv[1][:-4]+'.json'));"
              "print(w.getnframes(), s['frames'], w.getnchannels(), s['channels'])", f});
    std::istringstream counts(py.line());
    uint64_t frames = 0, sideFrames = 1, channels = 0, sideChannels = 1;
    counts >> frames >> sideFrames >> channels >> sideChannels;
    EXPECT_EQ(frames, sideFrames) << f;
    EXPECT_EQ(channels, sideChannels) << f;
    EXPECT_EQ(py.wait(), 0) << f;
  }
  EXPECT_GT(wavs, 0);
  EXPECT_EQ(std::to_string(lines), spectra);
}

TEST(Velrec, RecordsVelsimOverLoopbackAndMatchesItsChecksum) {
  // Big-endian samples on the wire: the files hold them little-endian, and both checksums
  // are over the file order, so they still agree.
  Velsim sim({"--fast", "--duration", "3", "--seed", "5"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("net");
  Child rec(sim.velrec(out, {"--fast", "--duration", "3", "--period", "1", "--set", "WAVE_SAMPLE_RATE=64000",
                             "--set", "WAVE_ENDIAN=0"}));
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  auto sent = sim.summary("waveform");
  auto spectra = sim.summary("spectrum");

  const Recorded r = checkFiles(lines, 64000);
  EXPECT_EQ(r.frames, 192000u);
  EXPECT_EQ(r.wavFiles, 3);
  EXPECT_EQ(sent["samples"], "192000");
  EXPECT_EQ(r.checksum, sent["checksum"]);
  EXPECT_NE(find(lines, "velrec: job accepted: $WAVE_SAMPLE_RATE=64000"), "");
  EXPECT_NE(find(lines, "velrec: job accepted: $WAVE_ENDIAN=0"), "");
  EXPECT_EQ(find(lines, "velrec: lost frames="), "velrec: lost frames=0 reconnects=0");
  ASSERT_FALSE(spectra["spectra"].empty());
  EXPECT_EQ(fields(find(lines, "velrec: spectrum lines="))["lines"], spectra["spectra"]);
  readBack(out, spectra["spectra"]);
  fs::remove_all(out);
}

TEST(Velrec, KeepsRecordingThroughInjectedFaultsAndCountsEveryDroppedFrame) {
  Velsim sim({"--fast", "--duration", "3", "--seed", "8", "--bad-crc", "0.5", "--drop-frames", "0.05",
              "--garbage", "0.3", "--split-writes", "--samples-per-frame", "500"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("faults");
  Child rec(sim.velrec(out, {"--fast", "--duration", "3", "--period", "1"}), true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  auto sent = sim.summary("waveform");
  auto spectra = sim.summary("spectrum");

  ASSERT_NE(sent["dropped"], "0");  // the run must actually lose frames
  EXPECT_EQ(fields(find(lines, "velrec: lost frames="))["frames"], sent["dropped"]);
  EXPECT_NE(find(lines, "velrec: bad CRC on the answer to "), "");
  const Recorded r = checkFiles(lines, 48000);
  // Every sample sent is in the files, and each dropped frame's samples stand there as zeros,
  // so that the files hold exactly the three seconds.
  EXPECT_EQ(std::to_string(r.frames - r.gapFrames), sent["samples"]);
  EXPECT_EQ(r.gapFrames, std::stoull(sent["dropped"]) * 500);
  EXPECT_EQ(r.frames, 3u * 48000);
  EXPECT_EQ(r.checksum, sent["checksum"]);
  EXPECT_EQ(fields(find(lines, "velrec: spectrum lines="))["lines"], spectra["spectra"]);
  readBack(out, spectra["spectra"]);
  fs::remove_all(out);
}

TEST(Velrec, ReconnectsAfterTheDeviceDropsItsConnectionsAndRecordsOn) {
  // Every connection of velsim drops after 1.5 s of stream, the control channel with it.
  Velsim sim({"--fast", "--duration", "30", "--disconnect-after", "1.5", "--seed", "4"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("reconnect");
  Child rec(sim.velrec(out, {"--fast", "--duration", "4", "--period", "1"}), true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);

  EXPECT_NE(find(lines, "velrec: connection to the device lost; reconnecting in 0.5 s (attempt 1)"), "");
  EXPECT_NE(find(lines, "velrec: reconnected to 127.0.0.1; recording on into new files"), "");
  auto counts = fields(find(lines, "velrec: lost frames="));
  EXPECT_EQ(counts["frames"], "0");
  EXPECT_GE(std::stoi(counts["reconnects"]), 2);
  EXPECT_EQ(find(lines, "velrec: sequence losses"), "velrec: sequence losses=0 missed samples=0 stream restarts=0");
  // Each connection's stream counts its samples from 0 again: nothing compares them with the
  // connection before, so no counter wraps, on the terminal or in the log.
  for (const std::string& l : lines) EXPECT_EQ(l.find("MISSED"), std::string::npos) << l;
  std::ifstream log(out / "velrec.log");
  for (std::string l; std::getline(log, l);) {
    EXPECT_EQ(l.find("MISSED"), std::string::npos) << l;
    EXPECT_EQ(l.find("42949"), std::string::npos) << l;
  }
  // Four seconds of stream over three connections, every sample in a valid file, exactly.
  const Recorded r = checkFiles(lines, 48000);
  EXPECT_EQ(r.frames, 192000u);
  // A file after a reconnection starts at the new stream's time, never before the last ended.
  const auto side = sidecars(out);
  for (std::size_t i = 1; i < side.size(); ++i)
    EXPECT_GE(startMicros(side[i]), startMicros(side[i - 1]) + endMicros(side[i - 1]) - 21) << side[i]["file"];
  readBack(out, fields(find(lines, "velrec: spectrum lines="))["lines"]);
  fs::remove_all(out);
}

// The example host (plain POSIX sockets over the host layer) records velsim as velrec does.
TEST(Velrec, TheExampleHostRecordsVelsimThroughTheHostLayer) {
  if (std::string(program("RECORD_TCP")).empty()) GTEST_SKIP() << "examples not built";
  Velsim sim({"--fast", "--duration", "2", "--seed", "9"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("example");
  fs::create_directories(out);
  Child ex({program("RECORD_TCP"), "127.0.0.1", "2", out.string(), sim.ports["control"], sim.ports["waveform"],
            sim.ports["spectrum"]});
  const auto lines = ex.rest();
  ASSERT_EQ(ex.wait(), 0);
  auto sent = sim.summary("waveform");
  EXPECT_EQ(sent["samples"], "96000");
  EXPECT_EQ("checksum=" + sent["checksum"], find(lines, "checksum="));
  EXPECT_NE(find(lines, "device Aurel HF serial 1201"), "");
  readBack(out, sim.summary("spectrum")["spectra"]);
  fs::remove_all(out);
}

// A device that answers its control channel and accepts both stream ports, then sends
// nothing on them: a stream that connects and goes silent.
class SilentDevice {
 public:
  SilentDevice() {
    for (int& fd : listeners_) {
      fd = socket(AF_INET, SOCK_STREAM, 0);
      sockaddr_in a{};
      a.sin_family = AF_INET;
      a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      socklen_t len = sizeof a;
      bind(fd, reinterpret_cast<sockaddr*>(&a), len);
      listen(fd, 4);
      getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
      ports.push_back(std::to_string(ntohs(a.sin_port)));
    }
    thread_ = std::thread([this] { run(); });
  }
  ~SilentDevice() {
    stop_ = true;
    thread_.join();
    for (int fd : listeners_) close(fd);
    for (int fd : clients_) close(fd);
  }
  std::vector<std::string> ports;  // control, waveform, spectrum

 private:
  void run() {
    std::vector<uint8> pending;
    int control = -1;
    while (!stop_) {
      std::vector<pollfd> fds;
      for (int fd : listeners_) fds.push_back({fd, POLLIN, 0});
      if (control >= 0) fds.push_back({control, POLLIN, 0});
      if (poll(fds.data(), fds.size(), 50) <= 0) continue;
      for (std::size_t i = 0; i < 3; ++i) {
        if (!(fds[i].revents & POLLIN)) continue;
        const int c = accept(listeners_[i], nullptr, nullptr);
        clients_.push_back(c);
        if (i == 0) control = c, pending.clear();
      }
      if (control < 0 || fds.size() < 4 || !(fds[3].revents & POLLIN)) continue;
      uint8 buf[512];
      const ssize_t n = read(control, buf, sizeof buf);
      if (n <= 0) {
        control = -1;
        continue;
      }
      pending.insert(pending.end(), buf, buf + n);
      // Answer each whole request: the enquiry with an identity, anything else with its echo.
      while (pending.size() >= 6 && pending.size() >= 6u + (pending[2] | pending[3] << 8)) {
        const std::size_t len = pending[2] | pending[3] << 8;
        const std::vector<uint8> payload(pending.begin() + 4, pending.begin() + 4 + static_cast<long>(len));
        const auto answer = veliface::test::responseFrame(
            pending[1], pending[1] == 0x45 ? veliface::test::enquirePayload() : payload);
        if (write(control, answer.data(), answer.size()) < 0) break;
        pending.erase(pending.begin(), pending.begin() + 6 + static_cast<long>(len));
      }
    }
  }
  int listeners_[3] = {-1, -1, -1};
  std::vector<int> clients_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

TEST(Velrec, ASilentStreamIsAStallAndTheDurationStillEndsTheRun) {
  SilentDevice dev;
  const fs::path out = freshDir("silent");
  const auto start = std::chrono::steady_clock::now();
  Child rec({program("VELREC"), "--device", "127.0.0.1", "--out", out.string(), "--duration", "1",
             "--control-port", dev.ports[0], "--waveform-port", dev.ports[1], "--spectrum-port", dev.ports[2]},
            true);
  const auto lines = rec.rest();
  const int rc = rec.wait();
  const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_NE(find(lines, "velrec: waveform stream stalled: no data for 5."), "");
  EXPECT_NE(find(lines, "velrec: connection to the device lost; reconnecting"), "");
  EXPECT_NE(find(lines, "velrec: error: the device did not deliver 1.0 s of stream"), "");
  EXPECT_EQ(rc, 1);
  EXPECT_LT(took, 30.0);
  fs::remove_all(out);
}

TEST(Velrec, ScanListsTheDeviceThatAnswersDiscovery) {
  Velsim sim({});
  const std::string line = sim.child.until("velsim: discovery port ");
  ASSERT_FALSE(line.empty());
  const std::string port = line.substr(line.rfind(' ') + 1);
  Child scan({program("VELREC"), "--scan", "127.0.0.1:" + port});
  const auto lines = scan.rest();
  ASSERT_EQ(scan.wait(), 0);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("device Aurel HF serial 1201 at 127.0.0.1 (MAC 00:50:C2:4A:04:B1", 0), 0u) << lines[0];
  Child json({program("VELREC"), "--scan", "127.0.0.1:" + port, "--json"});
  const auto objects = json.rest();
  ASSERT_EQ(json.wait(), 0);
  ASSERT_EQ(objects.size(), 1u);
  EXPECT_NE(objects[0].find("\"serial\":1201"), std::string::npos) << objects[0];
  // Nobody at a port: said, and status 1.
  Child none({program("VELREC"), "--scan", "127.0.0.1:1"}, true);
  EXPECT_NE(find(none.rest(), "velrec: no device answered at 127.0.0.1:1"), "");
  EXPECT_EQ(none.wait(), 1);
}

TEST(Velrec, ADeviceNeverReachedEndsTheRunAfterItsRetries) {
  Child rec({program("VELREC"), "--device", "127.0.0.1", "--control-port", "1", "--retries", "2", "--out",
             freshDir("unreachable").string()},
            true);
  const auto lines = rec.rest();
  EXPECT_EQ(rec.wait(), 1);
  EXPECT_NE(find(lines, "velrec: cannot reach the control port 127.0.0.1:1 ("), "");
  EXPECT_NE(find(lines, "velrec: error: cannot reach the control port 127.0.0.1:1"), "");
  const std::string last = find(lines, "velrec: error: ");
  EXPECT_NE(last.find("giving up after 2 tries (--retries)"), std::string::npos) << last;

  // A name that does not resolve: the host and the resolver's reason, well within 30 s.
  const auto start = std::chrono::steady_clock::now();
  Child nameless({program("VELREC"), "--device", "no-such-host.invalid", "--retries", "1", "--out",
                  freshDir("unresolvable").string()},
                 true);
  const std::string said = find(nameless.rest(), "velrec: error: ");
  EXPECT_EQ(nameless.wait(), 1);
  EXPECT_NE(said.find("cannot reach the control port no-such-host.invalid:5000 ("), std::string::npos) << said;
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

// The simulated recorder type is named as the device type table names it, and its identity
// reaches every sidecar.
TEST(Velrec, TheSimulatedDeviceTypeIsNamedFromTheTypeTable) {
  Velsim sim({"--type", "13", "--fast", "--duration", "2"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("type13");
  Child rec(sim.velrec(out, {"--fast", "--duration", "1"}), true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  EXPECT_NE(find(lines, "velrec: device Power Module serial 1201"), "");
  const auto side = sidecars(out);
  ASSERT_FALSE(side.empty());
  EXPECT_EQ(side[0]["device"]["type_text"], "Power Module");
  EXPECT_EQ(side[0]["calibration"]["full_scale_volts"], 2.5);
  const double sensitivity = side[0]["calibration"]["sensitivity_db"];
  EXPECT_TRUE(sensitivity <= -170 && sensitivity >= -200) << sensitivity;
  fs::remove_all(out);
}

}  // namespace

// An array hub's four members at 8 kHz: one four-channel file per period, every sample.
TEST(VelrecRecording, AnArrayHubIsRecordedAsOneFileOfAllItsChannelsPerPeriod) {
  Velsim sim({"--type", "8", "--members", "4", "--sample-rate", "8000", "--fast", "--duration", "7"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("hub");
  Child rec(sim.velrec(out, {"--fast", "--period", "3", "--duration", "7"}), true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  auto sent = sim.summary("waveform");
  EXPECT_EQ(fields(find(lines, "velrec: waveform samples="))["checksum"], sent["checksum"]);

  const auto side = sidecars(out);
  ASSERT_GE(side.size(), 3u);
  EXPECT_LE(side.size(), 4u);
  uint64_t frames = 0;
  for (const auto& s : side) {
    const std::string wav = (out / s.value("file", "")).string();
    Child py({"/usr/bin/env", "python3", "-c",
              "import wave,sys; w=wave.open(sys.argv[1]); print(w.getnchannels(), w.getnframes())", wav});
    EXPECT_EQ(py.line(), "4 " + std::to_string(s.value("frames", 0ull))) << wav;
    EXPECT_EQ(py.wait(), 0);
    EXPECT_EQ(s["channels"], 4);
    EXPECT_EQ(s["device"]["type_text"], "Array Hub");
    ASSERT_EQ(s["device"]["members"].size(), 4u);
    EXPECT_EQ(s["device"]["members"][3]["serial"], 1205);
    EXPECT_EQ(s["device"]["members"][3]["type_text"], "Aurel HF");
    frames += s.value("frames", 0ull);
  }
  EXPECT_EQ(frames, 56000u);
  EXPECT_EQ(sent["samples"], "56000");
  fs::remove_all(out);
}

// With frames dropped, the missing samples stand as zeros: every whole period holds exactly
// its frames, each file starts where the one before ended, and the gaps add up to the drops.
TEST(VelrecRecording, DroppedFramesStandAsListedZerosAndEveryFileStartsOnTime) {
  Velsim sim({"--fast", "--duration", "7", "--drop-frames", "0.05", "--sample-rate", "8000",
              "--samples-per-frame", "500", "--seed", "3"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("gaps");
  Child rec(sim.velrec(out, {"--fast", "--period", "3", "--duration", "7"}), true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  auto sent = sim.summary("waveform");
  ASSERT_NE(sent["dropped"], "0");

  const auto side = sidecars(out);
  ASSERT_GE(side.size(), 3u);
  uint64_t gapFrames = 0, frames = 0;
  for (std::size_t i = 0; i < side.size(); ++i) {
    const auto& s = side[i];
    if (i > 0 && i + 1 < side.size()) {
      EXPECT_EQ(s["frames"], 24000) << s["file"];
    }
    if (i > 0) {
      EXPECT_NEAR(startMicros(s), startMicros(side[i - 1]) + endMicros(side[i - 1]), 125) << s["file"];
    }
    uint64_t listed = 0;
    for (const auto& g : s["gaps"]) {
      EXPECT_LE(g["start_frame"].get<uint64_t>() + g["frames"].get<uint64_t>(), s["frames"].get<uint64_t>());
      listed += g["frames"].get<uint64_t>();
    }
    EXPECT_EQ(listed, s["gap_frames"]);
    gapFrames += listed;
    frames += s.value("frames", 0ull);
  }
  EXPECT_EQ(gapFrames, std::stoull(sent["dropped"]) * 500);
  EXPECT_EQ(frames, 56000u);
  fs::remove_all(out);
}

// A duty-cycled stream pauses: each pause ends a file, the next starts at its true time, and
// nothing is filled across it. The user's deployment facts are in every sidecar.
TEST(VelrecRecording, ADutyCycledStreamShowsItsPausesAndFillsNothingAcrossThem) {
  Velsim sim({"--fast", "--duration", "30", "--sample-rate", "8000"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("duty");
  Child rec(sim.velrec(out, {"--fast", "--period", "3", "--duration", "8", "--set", "DUTY_CYCLE_TIME=4", "--set",
                             "DUTY_RUN_TIME=2", "--meta", "site=Kiel fjord", "--meta", "depth_m=12"}),
            true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  EXPECT_GE(std::stoi(fields(find(lines, "velrec: sequence losses"))["restarts"]), 3);
  EXPECT_EQ(fields(find(lines, "velrec: lost frames="))["frames"], "0");  // a pause loses nothing

  const auto side = sidecars(out);
  ASSERT_GE(side.size(), 4u);
  int pauses = 0;
  uint64_t frames = 0;
  for (std::size_t i = 0; i < side.size(); ++i) {
    EXPECT_EQ(side[i]["gap_frames"], 0) << side[i]["file"];
    EXPECT_EQ(side[i]["deployment"]["site"], "Kiel fjord");
    EXPECT_EQ(side[i]["deployment"]["depth_m"], "12");
    frames += side[i].value("frames", 0ull);
    if (i == 0) continue;
    const int64_t after = startMicros(side[i]) - startMicros(side[i - 1]) - endMicros(side[i - 1]);
    EXPECT_TRUE(after == 0 || after == 2000000) << side[i]["file"] << " starts " << after << " us after the last ended";
    pauses += after > 0;
  }
  EXPECT_GE(pauses, 3);
  EXPECT_EQ(frames, 64000u);
  fs::remove_all(out);
}

// A period whose files would outgrow the 32-bit sizes of a WAV file is refused before any file
// is written, with the longest period that fits.
TEST(VelrecRecording, APeriodTooLongForAWavFileIsRefusedWithTheLongestThatFits) {
  Velsim sim({"--fast", "--duration", "2", "--sample-rate", "512000"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("period");
  Child rec(sim.velrec(out, {"--fast", "--period", "3600", "--duration", "1"}), true);
  const auto lines = rec.rest();
  EXPECT_EQ(rec.wait(), 1);
  const std::string said = find(lines, "velrec: error: a period of 3600 s does not fit");
  EXPECT_NE(said.find("the longest period that fits is 2796 s"), std::string::npos) << said;
  if (fs::exists(out)) {
    for (const auto& e : fs::directory_iterator(out)) EXPECT_NE(e.path().extension(), ".wav") << e.path();
  }
  fs::remove_all(out);
}

// The bytes of every file in `dir`, by name.
std::map<std::string, std::string> contents(const fs::path& dir) {
  std::map<std::string, std::string> out;
  for (const auto& e : fs::directory_iterator(dir)) {
    std::ifstream in(e.path(), std::ios::binary);
    out[e.path().filename().string()] = std::string(std::istreambuf_iterator<char>(in), {});
  }
  return out;
}

// A capture of a recording that lost its connection twice and dropped frames replays to the
// very same files; bytes that hold no waveform stream are an error.
TEST(VelrecRecording, AReplayedCaptureDirectoryGivesTheSameFilesRestartsIncluded) {
  Velsim sim({"--fast", "--duration", "30", "--disconnect-after", "1.5", "--drop-frames", "0.03", "--seed", "6"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("live"), cap = freshDir("livecap"), again = freshDir("again");
  Child rec(sim.velrec(out, {"--fast", "--duration", "4", "--period", "1", "--capture", cap.string(), "--meta",
                             "site=tank"}),
            true);
  rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  ASSERT_TRUE(fs::exists(cap / "waveform.2.bin"));  // one set of files per connection

  Child replay({program("VELREC"), "--replay", cap.string(), "--duration", "4", "--period", "1", "--meta", "site=tank",
                "--out", again.string()},
               true);
  replay.rest();
  ASSERT_EQ(replay.wait(), 0);
  const auto live = contents(out), replayed = contents(again);
  EXPECT_GE(live.size(), 12u);
  for (const auto& [name, bytes] : live) {
    if (name == "velrec.log") continue;  // the run's own account, with its times
    ASSERT_TRUE(replayed.count(name)) << name;
    EXPECT_TRUE(replayed.at(name) == bytes) << name << " differs";
  }
  EXPECT_EQ(replayed.size(), live.size());

  // Random bytes, and the control channel given as a waveform capture, decode to nothing.
  std::ofstream(cap / "noise.bin") << std::string(5000, '\x5a');
  for (const fs::path& wrong : {cap / "noise.bin", cap / "control.bin"}) {
    Child bad({program("VELREC"), "--replay", wrong.string(), "--out", freshDir("bad").string()}, true);
    const std::string said = find(bad.rest(), "velrec: error: ");
    EXPECT_EQ(bad.wait(), 1) << wrong;
    EXPECT_NE(said.find(wrong.string()), std::string::npos) << said;
  }
  fs::remove_all(out), fs::remove_all(cap), fs::remove_all(again), fs::remove_all(freshDir("bad"));
}

// Left alone, a recording keeps its diagnostics in its log, not on the terminal, survives a
// closed terminal, tells a supervisor each gap as JSON, and stops within a second when told.
TEST(VelrecUnattended, LogStatusAndSignalsOfARecordingLeftAlone) {
  Velsim sim({"--duration", "60", "--drop-frames", "0.05", "--sample-rate", "8000", "--samples-per-frame", "500"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path out = freshDir("alone");
  const fs::path status = out.string() + ".jsonl";
  fs::remove(status);
  Child rec(sim.velrec(out, {"--period", "1", "--status-json", status.string()}), true);
  ASSERT_NE(rec.until("velrec: recording 8000 Hz, 24 bits, 1 channel, files of 1 s into " + out.string()), "");
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  rec.signal(SIGHUP);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  const auto stopAt = std::chrono::steady_clock::now();
  rec.signal(SIGTERM);
  const auto lines = rec.rest();
  EXPECT_EQ(rec.wait(), 0);  // SIGHUP did not end it; SIGTERM ended it cleanly
  EXPECT_LT(std::chrono::steady_clock::now() - stopAt, std::chrono::seconds(1));
  EXPECT_NE(find(lines, "velrec: stopping on SIGTERM"), "");

  // The library's diagnostics are in the log, with time stamps, and not on the terminal.
  for (const std::string& l : lines) {
    EXPECT_EQ(l.find("closing wav file"), std::string::npos) << l;
    EXPECT_EQ(l.find("MavWavWriter"), std::string::npos) << l;
  }
  std::ifstream log(out / "velrec.log");
  std::string logText((std::istreambuf_iterator<char>(log)), {});
  EXPECT_NE(logText.find("Z closing wav file\n"), std::string::npos);
  EXPECT_NE(logText.find("Z stopping on SIGTERM\n"), std::string::npos);

  // One gap event per gap the sidecars list; the last status agrees with the summary.
  std::ifstream in(status);
  int gapEvents = 0;
  nlohmann::json last;
  for (std::string l; std::getline(in, l);) {
    const auto j = nlohmann::json::parse(l, nullptr, false);
    ASSERT_FALSE(j.is_discarded()) << l;
    if (j["event"] == "gap") ++gapEvents;
    if (j["event"] == "end") last = j;
  }
  std::size_t listed = 0;
  for (const auto& s : sidecars(out)) listed += s["gaps"].size();
  EXPECT_GT(listed, 0u);
  EXPECT_EQ(static_cast<std::size_t>(gapEvents), listed);
  ASSERT_FALSE(last.is_null());
  EXPECT_EQ(last["exit_code"], 0);
  EXPECT_EQ(std::to_string(last["lost_frames"].get<uint64_t>()), fields(find(lines, "velrec: lost frames="))["frames"]);
  fs::remove_all(out), fs::remove(status);
}

// A second recorder on a device already recording says the device is busy, and options can
// come from a config file.
TEST(VelrecUnattended, ABusyDeviceSaysSoAndAConfigFileGivesTheOptions) {
  Velsim sim({"--duration", "30"});
  ASSERT_EQ(sim.ports.size(), 3u);
  const fs::path first = freshDir("first"), second = freshDir("second");
  fs::create_directories(second);
  std::ofstream(second / "velrec.conf") << "period = 2\nmeta = [\"site=config file\"]\n";
  Child one(sim.velrec(first, {}), true);
  ASSERT_NE(one.until("velrec: waveform stream started"), "");
  Child two(sim.velrec(second, {"--config", (second / "velrec.conf").string(), "--retries", "2"}), true);
  const auto said = two.rest();
  EXPECT_EQ(two.wait(), 1);
  const std::string busy = find(said, "velrec: error: the device at 127.0.0.1:");
  EXPECT_NE(busy.find("closed the control connection at once: it is busy with another host; giving up after 2 tries"),
            std::string::npos) << busy;
  one.signal(SIGINT);
  one.rest();
  EXPECT_EQ(one.wait(), 0);

  // The config file's options are in force (its period, its deployment facts).
  Velsim again({"--fast", "--duration", "3"});
  Child rec(again.velrec(second, {"--config", (second / "velrec.conf").string(), "--fast", "--duration", "2"}), true);
  const auto lines = rec.rest();
  ASSERT_EQ(rec.wait(), 0);
  EXPECT_NE(find(lines, "velrec: recording 48000 Hz, 24 bits, 1 channel, files of 2 s into "), "");
  const auto side = sidecars(second);
  ASSERT_FALSE(side.empty());
  EXPECT_EQ(side[0]["deployment"]["site"], "config file");
  fs::remove_all(first), fs::remove_all(second);
}
