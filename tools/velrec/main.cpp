// velrec: records what a device streams to WAV and spectrum files. With no device named it
// starts the simulated device (velsim) on loopback and records it; with --device it talks to a device
// (or velsim) over TCP; with --replay it records a capture directory again.

#include "Console.h"
#include "DeviceControl.h"
#include "Network.h"
#include "Session.h"
#include "Replay.h"
#include "Reporter.h"
#include "RunLog.h"
#include "StatusJson.h"
#include "Scan.h"
#include "SimulatorProcess.h"

#include <veliface/common/VelLog.h>
#include <veliface/device/MavDevice.h>
#include <veliface/device/VelDevice.h>
#include <veliface/host/SettingsCatalog.h>
#include <veliface/vocabulary/DeviceText.h>

#include <common/CommandLine.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <thread>

namespace {

using namespace velrec;
using Clock = std::chrono::steady_clock;

// The notification of a stream port that has no connection left for another host.
constexpr uint32 kNoConnectionAvailable = 1;

volatile std::sig_atomic_t g_stop = 0;
extern "C" void onSignal(int sig) { g_stop = sig; }

struct Options {
  std::string device;
  uint16 controlPort = 5000;
  uint16 waveformPort = 5001;
  uint16 spectrumPort = 5002;
  std::string out = "./recordings";
  std::string prefix;
  int period = 60;
  double duration = 0;
  bool fast = false;
  bool sync = false;
  std::vector<std::string> settings;
  std::vector<std::string> meta;
  std::string replay;
  std::string capture;
  uint64 seed = 1;
  std::string scan;
  bool json = false;
  int retries = 5;
  bool verbose = false;
  bool listSettings = false;
  std::string statusJson;
};

// `v` with `decimals` digits after the point.
std::string fmt(int decimals, double v) {
  char b[64];
  std::snprintf(b, sizeof b, "%.*f", decimals, v);
  return b;
}

// Enquire, job setup and clock, the same for the simulated and a real device.
std::shared_ptr<MavDevice> prepare(DeviceControl& ctl, const Options& o, Console& console, int& exitCode) {
  auto device = ctl.enquire();
  if (!device) {
    console.log("the device does not answer the enquiry");
    return nullptr;  // exitCode stays 0: nobody there yet, which a caller may try again
  }
  if (!o.settings.empty()) {
    std::string error;
    if (!ctl.setupJob(o.settings, error)) {
      console.log("error: " + error);
      exitCode = 1;
      return nullptr;
    }
  }
  if (!ctl.setClock()) console.log("the device did not confirm the clock setting; recording anyway");
  return device;
}

SessionConfig sessionConfig(const Options& o) {
  SessionConfig c;
  c.outDir = o.out;
  c.prefix = o.prefix;
  c.period = o.period;
  c.duration = o.duration;
  c.sync = o.sync;
  for (const std::string& m : o.meta) {
    const auto eq = m.find('=');
    c.deployment.emplace_back(m.substr(0, eq), m.substr(eq + 1));
  }
  return c;
}

void reportNotifications(Session& session, Console& console) {
  session.setNotifySink([&console](Channel ch, uint32 code, const std::string& text) {
    console.log(std::string(channelName(ch)) + (code == 0 ? " stream started" : " stream: " + text));
  });
}

// Sleeps `d`, or less when a signal asks to stop.
void pause(std::chrono::milliseconds d) {
  for (auto until = Clock::now() + d; Clock::now() < until && !g_stop;)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

// A device over TCP. One round connects the control channel, enquires, sends the job, sets
// the clock and opens both stream ports; when any of these connections is lost the round
// ends, the open files are finished, and after a back-off (0.5 s doubling to 8 s, back to
// 0.5 s once a round streams) a new round records on into new files.
int runDevice(const Options& o, Reporter& report, Capture* capture, std::unique_ptr<Session>& session,
              bool reconnect = true) {
  Console& console = report.console();
  asio::io_context io;
  // With a duration the run also ends on the clock: a device that stalls, stops sending or
  // streams at rate 0 never delivers the audio, and the run must not wait for it forever.
  // Real time plus a margin for connecting and reconnecting is time enough.
  const auto runStart = Clock::now();
  bool timedOut = false;
  const auto pastDeadline = [&] {
    if (o.duration <= 0 || timedOut) return timedOut;
    const auto limit = std::chrono::duration<double>(o.duration * 1.1 + 10.0);
    if (Clock::now() - runStart < limit) return false;
    timedOut = true;
    console.log("error: the device did not deliver " + fmt(1, o.duration) + " s of stream within " +
                fmt(0, limit.count()) + " s; stopping");
    return true;
  };
  const std::chrono::milliseconds firstBackoff(500), maxBackoff(8000);
  std::chrono::milliseconds backoff = firstBackoff;
  int attempt = 0;
  int failedFirst = 0;  // tries that failed before the first connection
  bool everStreamed = false;
  // Says why and waits before the next try; false when there is to be none: the simulated
  // device is not retried, and a device never reached gets `--retries` tries in all.
  const auto retry = [&](const std::string& why) {
    if (!reconnect || (!session && ++failedFirst >= o.retries)) {
      console.log("error: " + why +
                  (reconnect ? "; giving up after " + std::to_string(failedFirst) +
                                   (failedFirst == 1 ? " try" : " tries") + " (--retries)"
                             : ""));
      return false;
    }
    ++attempt;
    console.log(why + (session ? "; reconnecting in " : "; trying again in ") +
                fmt(1, static_cast<double>(backoff.count()) / 1000.0) +
                " s (attempt " + std::to_string(attempt) + ")");
    pause(backoff);
    backoff = std::min(backoff * 2, maxBackoff);
    return true;
  };
  while (!g_stop && !pastDeadline()) {
    // A round after one that recorded is a new connection: its bytes go to new capture files.
    if (session && capture) capture->nextConnection();
    TcpLink link(io);
    std::string error;
    if (!link.connect(o.device, o.controlPort, std::chrono::seconds(5), error)) {
      if (!retry("cannot reach the control port " + o.device + ":" + std::to_string(o.controlPort) + " (" + error + ")"))
        return 1;
      continue;
    }
    DeviceControl ctl(link, console, capture);
    int exitCode = 0;
    const auto device = prepare(ctl, o, console, exitCode);
    if (exitCode) return exitCode;  // the job was refused: trying again changes nothing
    if (!device) {
      // A device closes a second host's control connection at once: it serves one at a time.
      const std::string why = link.closed() ? "the device at " + o.device + ":" + std::to_string(o.controlPort) +
                                                  " closed the control connection at once: it is busy with another host"
                                            : "no answer on the control port " + o.device + ":" + std::to_string(o.controlPort);
      if (!retry(why)) return 1;
      continue;
    }
    if (!session) {
      session = std::make_unique<Session>(sessionConfig(o), std::dynamic_pointer_cast<VelDevice>(device), capture);
      report.attach(*session);
    } else {
      session->noteReconnect();
      report.connection("reconnected", "reconnected to " + o.device + "; recording on into new files");
    }
    StreamConn wave(io, o.device, o.waveformPort, Channel::Waveform, *session, console);
    StreamConn spec(io, o.device, o.spectrumPort, Channel::Spectrum, *session, console);
    bool streaming = false;
    bool busy = false;
    session->setNotifySink([&](Channel ch, uint32 code, const std::string& text) {
      if (code == 0) {
        console.log(std::string(channelName(ch)) + " stream started");
        streaming = true;
      } else if (code == kNoConnectionAvailable && !streaming) {
        // A stream port serves one host at a time: another host records this device.
        console.log("error: the device at " + o.device + " is busy: its " + channelName(ch) +
                    " port serves another host (\"" + text + "\")");
        busy = true;
      } else {
        console.log(std::string(channelName(ch)) + " stream: " + text);
      }
    });
    wave.start();
    spec.start();
    io.restart();
    // The spectrum stream may lag behind the waveform: once the waveform is complete it gets
    // a few seconds to reach the end as well.
    std::optional<Clock::time_point> waveDone;
    bool complete = false;
    while (!g_stop && session->failure().empty() && !busy) {
      if (session->limitReached()) {
        // A device that stops its waveform stream at the end is no lost connection.
        if (!waveDone) waveDone = Clock::now();
        if (session->spectrumDone() || spec.lost() || Clock::now() - *waveDone > std::chrono::seconds(5)) {
          complete = true;
          break;
        }
      } else if (wave.lost() || spec.lost() || !session->stalled().empty()) {
        break;
      }
      if (pastDeadline()) break;
      io.run_for(std::chrono::milliseconds(100));
      session->tick();
      report.tick(*session);
    }
    // A port that went silent is handled like a lost connection.
    if (!session->stalled().empty() && !complete) console.log(session->stalled());
    const bool lost = wave.lost() || spec.lost() || !session->stalled().empty();
    wave.stop();
    spec.stop();
    io.restart();
    io.poll();
    session->setNotifySink({});
    if (busy && !everStreamed) return 1;
    everStreamed = everStreamed || streaming;
    if (complete || g_stop || !session->failure().empty() || pastDeadline()) break;
    if (lost && !reconnect) {
      console.log("the simulated device ended the connection");
      break;
    }
    if (lost) {
      // Both ports start over together, so finish the files of the one still running too.
      session->connectionLost(Channel::Waveform);
      session->connectionLost(Channel::Spectrum);
      if (streaming) backoff = firstBackoff, attempt = 0;
      report.json().event("connection_lost", {{"message", "connection to the device lost"}});
      if (!retry("connection to the device lost")) return 1;
    }
  }
  return timedOut ? 1 : 0;
}

// The simulated device: velsim started beside velrec on free loopback ports and recorded like
// any device, with the same seed and duration; its own account of what it sent comes last.
int runSimulated(Options o, Reporter& report, Capture* capture, std::unique_ptr<Session>& session) {
  Console& console = report.console();
  SimulatorProcess sim;
  std::vector<std::string> args{"--seed", std::to_string(o.seed)};
  if (o.fast) args.push_back("--fast");
  if (o.duration > 0) args.insert(args.end(), {"--duration", fmt(6, o.duration)});
  std::string error;
  if (!sim.start(args, std::chrono::seconds(10), error)) {
    console.log("error: " + error);
    return 1;
  }
  o.device = "127.0.0.1";
  o.controlPort = sim.controlPort();
  o.waveformPort = sim.waveformPort();
  o.spectrumPort = sim.spectrumPort();
  const int rc = runDevice(o, report, capture, session, false);
  // With a duration velsim ends by itself a moment after its streams; stopped early or
  // without one, it is told to stop at once. Either way it reports what it sent.
  const auto grace = o.duration > 0 && !g_stop ? std::chrono::seconds(3) : std::chrono::seconds(0);
  for (const std::string& line : sim.stop(std::chrono::duration_cast<std::chrono::milliseconds>(grace)))
    console.out("simulator: " + line);
  return rc;
}

// A capture directory recorded again, connection by connection, with the device its control
// capture names: the same options give the same files.
int runReplay(const Options& o, Reporter& report, Capture* capture, std::unique_ptr<Session>& session) {
  Console& console = report.console();
  std::string error;
  const auto connections = capturedConnections(o.replay, error);
  if (connections.empty()) {
    console.log("error: " + error);
    return 1;
  }
  const auto device = capturedDevice(connections.front().control);
  if (!device) console.log("the capture holds no enquiry answer; the files will name no device");
  session = std::make_unique<Session>(sessionConfig(o), device, capture);
  report.attach(*session);
  reportNotifications(*session, console);
  if (!replayConnections(connections, *session, error)) {
    console.log("error: " + error);
    return 1;
  }
  return 0;
}

// Every setting --set takes, one per line: name, how its value is written, unit, meaning.
void listSettings(std::ostream& out) {
  for (const auto& s : veliface::host::settingsCatalog()) {
    out << s.name << "\n    " << veliface::host::settingKindText(s.kind) << (*s.unit ? std::string(", in ") + s.unit : "")
        << "\n    " << s.what << "\n";
  }
}

// The command line as typed, for the log.
std::string commandLine(int argc, char** argv) {
  std::string line;
  for (int i = 0; i < argc; ++i) line += (i ? " " : "") + std::string(argv[i]);
  return line;
}

void summary(Console& console, const Session& s) {
  uint64 samples = 0, bytes = 0, lines = 0, gaps = 0;
  int wavFiles = 0, specFiles = 0;
  for (const FileRecord& f : s.files()) {
    if (f.wav) {
      console.out("wrote " + f.path.string() + " samples=" + std::to_string(f.samples) + " gap_frames=" +
                  std::to_string(f.gapFrames) + " bytes=" + std::to_string(f.bytes) +
                  (f.samples == 0 ? " (no samples)" : ""));
      samples += f.samples, bytes += f.dataBytes, gaps += f.gapFrames, ++wavFiles;
    } else {
      console.out("wrote " + f.path.string() + " lines=" + std::to_string(f.samples) +
                  " bytes=" + std::to_string(f.bytes));
      lines += f.samples, ++specFiles;
    }
  }
  char line[160];
  std::snprintf(line, sizeof line,
                "waveform samples=%" PRIu64 " gap_frames=%" PRIu64 " bytes=%" PRIu64 " checksum=0x%016" PRIx64 " files=%d",
                samples, gaps, bytes, s.checksum(), wavFiles);
  console.out(line);
  console.out("spectrum lines=" + std::to_string(lines) + " files=" + std::to_string(specFiles));
  console.out("sequence losses=" + std::to_string(s.counters().sequenceLosses) +
              " missed samples=" + std::to_string(s.counters().missedSamples) +
              " stream restarts=" + std::to_string(s.counters().restarts));
  console.out("lost frames=" + std::to_string(s.counters().lostFrames) +
              " reconnects=" + std::to_string(s.counters().reconnects));
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  CLI::App app{
      "velrec: records what an acoustic sensor streams to WAV files (waveform) and spectrum text\n"
      "files, one file per period, starting on whole multiples of the period on the clock.\n"
      "Without --device it starts the simulated device velsim on loopback and records it; with --device it\n"
      "connects to a device or to velsim, enquires it, applies --set settings, sets its clock\n"
      "and records its waveform and spectrum ports. Ctrl-C finishes every file properly.\n\n"
      "Examples:\n"
      "  velrec --duration 10 --out ./recordings            10 s of simulated audio, real time\n"
      "  velrec --fast --duration 600 --period 60           ten files as fast as possible\n"
      "  velrec --device 192.168.1.20 --set WAVE_SAMPLE_RATE=128000 --period 300\n"
      "  velrec --device 127.0.0.1 --capture ./cap          also keep the raw bytes\n"
      "  velrec --replay ./cap --out ./again                 record a capture again (same --period, --prefix, --duration, --meta)\n\n"
      "Beside each WAV file X.wav a JSON sidecar X.json holds the true start time of its first\n"
      "sample, its gaps (samples that never arrived, written as zeros so that time stays true),\n"
      "the device, its calibration and clock, and the --meta facts. OUT/velrec.log keeps every\n"
      "line of the run with its time, the library's diagnostics included.\n\n"
      "Exit status: 0 done; 1 failed (device, network or disk: the message says which and why,\n"
      "naming the host or file and the system's reason; every file is finished as far as the\n"
      "disk allows); 2 wrong options or values, found before anything connects or writes."};
  app.add_option("--device", o.device, "host name or address of the device or velsim (example: --device 192.168.1.20)");
  app.add_option("--control-port", o.controlPort, "device control TCP port (example: --control-port 5000)")->capture_default_str();
  app.add_option("--waveform-port", o.waveformPort, "device waveform stream TCP port (example: --waveform-port 5001)")->capture_default_str();
  app.add_option("--spectrum-port", o.spectrumPort, "device spectrum stream TCP port (example: --spectrum-port 5002)")->capture_default_str();
  app.add_option("--out", o.out, "directory of the recordings, created if missing (example: --out /data/rec)")->capture_default_str();
  app.add_option("--prefix", o.prefix, "file name prefix before the date and time (example: --prefix site3_)")
      ->check([](const std::string& p) {
        return p.find('/') == std::string::npos ? std::string()
                                                : std::string("holds a path separator; the files go into --out");
      });
  app.add_option("--period", o.period, "seconds per file; files start on whole multiples on the clock (example: --period 300)")
      ->check(tools::wholeNumber(1, 86400))->capture_default_str();
  app.add_option("--duration", o.duration, "stop after this many seconds of waveform audio; 0 records until Ctrl-C (example: --duration 10)")
      ->check(tools::decimalNumber(0, 1e9, "a number of seconds"))->capture_default_str();
  app.add_flag("--sync", o.sync, "force the audio to disk once a second, so that even a power cut leaves every file readable up to its last second (costs a disk flush a second)");
  app.add_flag("--fast", o.fast, "simulated device: produce audio as fast as possible instead of in real time");
  app.add_option("--set", o.settings, "job setting NAME=VALUE sent to the device before recording; repeatable "
                                     "(example: --set WAVE_SAMPLE_RATE=96000 --set WAVE_BIT_DEPTH=16)");
  app.add_option("--meta", o.meta, "a deployment fact KEY=VALUE written into every file's JSON sidecar; repeatable "
                                   "(example: --meta site=\"Kiel fjord\" --meta latitude=54.33 --meta depth_m=12)")
      ->check([](const std::string& v) -> std::string {
        const auto eq = v.find('=');
        if (eq == std::string::npos || eq == 0) return "--meta takes KEY=VALUE with a non-empty KEY, not '" + v + "'";
        return "";
      });
  app.add_option("--replay", o.replay, "record a capture directory (from --capture) again instead of a device: the same "
                                       "options give the same files (example: --replay ./cap)");
  app.add_option("--capture", o.capture, "also save the raw bytes of each channel as control.bin, waveform.bin, "
                                         "spectrum.bin in this directory, control.2.bin ... for each reconnection "
                                         "(example: --capture ./cap)");
  app.add_option("--seed", o.seed, "simulated device: seed of its signal (example: --seed 7)")->capture_default_str();
  app.add_option("--scan", o.scan, "find devices: broadcast the discovery request on the local network, or ask one "
                                   "ADDRESS[:PORT] (port 30303 unless given), and list every device that answers "
                                   "(example: --scan, --scan 192.168.1.20)")
      ->expected(0, 1);
  app.add_flag("--json", o.json, "with --scan: one JSON object per device");
  app.add_flag("--list-settings", o.listSettings, "list every job setting --set takes, with its type, unit and meaning");
  app.add_flag("--verbose,-v", o.verbose, "show the library's diagnostics on the terminal too (they always go to OUT/velrec.log)");
  app.add_option("--status-json", o.statusJson, "write one JSON line per event (file opened and finished, gap, restart, "
                                                "reconnection, error) and a status every 5 s to FILE, or to standard "
                                                "output with - (example: --status-json /data/rec/status.jsonl)");
  app.set_config("--config", "", "read options from FILE, one 'option = value' per line (e.g. period = 300, "
                                 "set = [\"WAVE_SAMPLE_RATE=96000\"]); options given on the command line win");
  app.add_option("--retries", o.retries, "tries to reach the device before the first connection; after them the "
                                        "run ends with exit status 1. Once recording, a lost connection is tried "
                                        "again without end (example: --retries 20)")
      ->check(tools::wholeNumber(1, 1000000))->capture_default_str();
  if (const int rc = tools::parseCommandLine(app, argc, argv); rc >= 0) return rc;
  if (app.count("--scan") > 0) return scanForDevices(o.scan, o.json, std::chrono::seconds(2), std::cout, std::cerr);
  if (o.listSettings) {
    listSettings(std::cout);
    return 0;
  }
  if (!o.device.empty() && !o.replay.empty()) {
    std::fprintf(stderr, "velrec: --device and --replay exclude each other\n");
    return 2;
  }
  // Every setting is checked before anything connects: a typo costs no trip to the device.
  for (const std::string& setting : o.settings) {
    std::string canonical, error;
    if (!veliface::host::checkSetting(setting, canonical, error)) {
      std::fprintf(stderr, "velrec: --set: %s (velrec --list-settings lists every setting)\n", error.c_str());
      return 2;
    }
  }

  Console console(isatty(STDERR_FILENO) != 0);
  struct sigaction sa {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  setStopFlag(&g_stop);
  // A closed terminal must not end a recording left running in it.
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  sigaction(SIGHUP, &ignore, nullptr);

  // The output directory is made and written to (its log) before any device is touched.
  std::error_code ec;
  std::filesystem::create_directories(o.out, ec);
  if (ec) {
    console.log("error: cannot create the output directory " + o.out + ": " + ec.message());
    return 1;
  }
  std::string error;
  RunLog runLog(std::filesystem::path(o.out) / "velrec.log", error);
  if (!error.empty()) {
    console.log("error: cannot write into the output directory: " + error);
    return 1;
  }
  console.setCopy([&runLog](const std::string& line) { runLog.write(line); });
  // The library passes on what devices send (a code byte, a name): escaped, and kept in the
  // log rather than on the terminal.
  const VelLog::SinkScope logToConsole(
      [&console, &o](const std::string& line) { console.diagnostic(veliface::escapeDeviceText(line), o.verbose); });
  std::unique_ptr<StatusJson> statusOut = o.statusJson.empty() ? std::make_unique<StatusJson>()
                                                               : std::make_unique<StatusJson>(o.statusJson, error);
  if (!error.empty()) {
    console.log("error: cannot write the status: " + error);
    return 1;
  }
  Reporter report(console, *statusOut, o.out, o.period, o.verbose);
  runLog.write("velrec started: " + commandLine(argc, argv));
  std::unique_ptr<Capture> capture;
  if (!o.capture.empty()) {
    capture = std::make_unique<Capture>(o.capture, error);
    if (!error.empty()) {
      console.log("error: " + error);
      return 1;
    }
  }

  std::unique_ptr<Session> session;
  int rc = 0;
  try {
    rc = !o.replay.empty() ? runReplay(o, report, capture.get(), session)
         : !o.device.empty() ? runDevice(o, report, capture.get(), session)
                             : runSimulated(o, report, capture.get(), session);
  } catch (const std::exception& e) {
    console.log(std::string("error: ") + e.what());
    rc = 1;
  }
  if (!session) {
    if (g_stop && rc == 0) {
      console.log(std::string("stopped on ") + (g_stop == SIGINT ? "SIGINT" : "SIGTERM") +
                  " before the device answered; nothing was recorded");
      rc = 1;
    }
    statusOut->event("end", {{"exit_code", rc}});
    return rc;
  }
  if (g_stop) console.log(g_stop == SIGINT ? "stopping on SIGINT" : "stopping on SIGTERM");
  session->finish();
  report.tick(*session, true);
  console.endStatus();
  summary(console, *session);
  if (!session->failure().empty()) {
    console.log("error: " + session->failure());
    rc = 1;
  }
  report.end(*session, rc);
  return rc;
}
