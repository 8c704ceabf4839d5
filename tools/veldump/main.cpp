// veldump: the command line. Each subcommand is one call into veldump_lib per file.
#include "Capture.h"
#include "SpectrogramFile.h"
#include "SpectrumFile.h"
#include "WavFile.h"

#include <common/CaptureName.h>
#include <common/CommandLine.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

// The one style of every error: "veldump: <path>: <reason>" on standard error.
int failed(const std::string& path, const std::string& reason) {
  std::cerr << "veldump: " << path << ": " << reason << '\n';
  return veldump::EXIT_UNREADABLE;
}

// Runs `one` on each file; with several, each report starts with a line naming its file.
// One bad file does not stop the others; the exit status is the worst of them.
int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& one) {
  int worst = veldump::EXIT_OK;
  for (const std::string& f : files) {
    if (files.size() > 1) std::cout << "== " << f << '\n' << std::flush;
    worst = std::max(worst, one(f));
  }
  return worst;
}

// The channel (and stream type) a capture's name says it came from, as velrec --capture
// names them: control.bin, waveform.bin, spectrum.bin, discovery.bin, and control.2.bin ...
// for later connections.
struct NamedChannel {
  veldump::Channel channel;
  VelStreamType type;
};
std::optional<NamedChannel> channelFromName(const std::string& path) {
  const auto name = tools::parseCaptureFileName(std::filesystem::path(path).filename().string());
  if (!name) return std::nullopt;
  if (name->channel == "control") return NamedChannel{veldump::Channel::Control, VEL_STREAM_WAVEFORM};
  if (name->channel == "discovery") return NamedChannel{veldump::Channel::Discovery, VEL_STREAM_WAVEFORM};
  return NamedChannel{veldump::Channel::Stream, name->channel == "waveform" ? VEL_STREAM_WAVEFORM : VEL_STREAM_SPECTRUM};
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"veldump: inspect what VelIface devices send and what velrec records.\n"
               "Every subcommand takes one file or several (veldump wav rec/*.wav).\n"
               "Exit status: 0 done and all well; 1 failed (a file that cannot be read, a problem found in\n"
               "one, a capture that decodes to nothing, a write that failed: the message names the\n"
               "file and why); 2 wrong options or values."};
  app.require_subcommand(1);

  // capture
  std::vector<std::string> capFiles;
  std::string channel;
  std::string streamType = "waveform";
  bool json = false;
  CLI::App* cap = app.add_subcommand(
      "capture",
      "Decode a capture (the raw bytes received on one channel, in order, as velrec --capture DIR "
      "saves them) and print one line per message, the library's diagnostics as '# log:' lines "
      "and a summary. The channel comes from the file's name (control.bin, waveform.bin, "
      "spectrum.bin, discovery.bin, waveform.2.bin for a later connection) unless --channel says. "
      "A capture that decodes to no message fails (exit 1).\n"
      "Example: veldump capture cap/control.bin cap/waveform.bin --json");
  cap->add_option("FILE", capFiles, "capture files, e.g. cap/control.bin")->required();
  cap->add_option("--channel", channel,
                  "channel the bytes came from, when the name does not say: control (TCP 5000), "
                  "stream (TCP 5001/5002) or discovery (UDP 30303); e.g. --channel control")
      ->check(CLI::IsMember({"control", "stream", "discovery"}));
  cap->add_option("--stream-type", streamType,
                  "for --channel stream: waveform (port 5001), spectrum (5002) or status; "
                  "default waveform; e.g. --stream-type spectrum")
      ->check(CLI::IsMember({"waveform", "spectrum", "status"}));
  cap->add_flag("--json", json,
                "print one JSON object per line instead of text: messages, {\"log\": ...} and "
                "{\"summary\": ...}; e.g. veldump capture cap/control.bin --json");

  // wav
  std::vector<std::string> wavFiles;
  CLI::App* wav = app.add_subcommand(
      "wav",
      "Print a WAV recording's format, sizes, duration and INFO metadata, check that the RIFF "
      "and data sizes fit the file length and the data is whole blocks, and report what the "
      "sidecar beside it (X.json) says: the time of the first sample and the gaps written as "
      "zeros. Exit 0 OK, 1 a problem found or a file unreadable.\n"
      "Example: veldump wav rec/20261124_101500.wav   or   veldump wav rec/*.wav");
  wav->add_option("FILE", wavFiles, "WAV files to check, e.g. rec/20261124_101500.wav")->required();

  // repair
  std::vector<std::string> repairFiles;
  std::string repairOut;
  CLI::App* repair = app.add_subcommand(
      "repair",
      "Rewrite the RIFF and data sizes of a WAV file cut off before it was finished (sizes 0 "
      "or stale) from the file length; the data size is rounded down to whole blocks and a "
      "partial block is dropped; the INFO metadata is kept. A file that is already right is "
      "left alone.\n"
      "Example: veldump repair rec/20261124_101500.wav   or   veldump repair rec/*.wav");
  repair->add_option("FILE", repairFiles, "WAV files to repair, e.g. rec/20261124_101500.wav")->required();
  repair->add_option("--output,-o", repairOut,
                     "write the repaired file here instead of replacing FILE (one FILE only; default: "
                     "in place, through a temporary file renamed over FILE); e.g. --output fixed.wav");

  // spectrum
  std::vector<std::string> specFiles;
  bool specJson = false;
  CLI::App* spectrum = app.add_subcommand(
      "spectrum",
      "Summarise a spectrum file: each header block (device, serial, firmware, start, sample "
      "rate, FFT size, bin width, frequency range, overlap, power calculation, reference "
      "levels), then the number of spectra, time span, sequence numbers, bins, lowest, "
      "highest and mean level, and the loudest bin. Malformed lines are listed by number. "
      "Exit 0 OK, 1 malformed lines or a file unreadable.\n"
      "Example: veldump spectrum rec/20261124_101500.txt --json");
  spectrum->add_option("FILE", specFiles, "spectrum files, e.g. rec/20261124_101500.txt")->required();
  spectrum->add_flag("--json", specJson, "print each summary as one JSON object; e.g. --json");

  // spectrogram
  std::vector<std::string> drawFiles;
  veldump::SpectrogramOptions drawOpt;
  double minDb = 0.0;
  double maxDb = 0.0;
  CLI::App* spectrogram = app.add_subcommand(
      "spectrogram",
      "Draw a spectrum file as a PNG: time along x, frequency up y (0 Hz at the bottom), level "
      "as colour from dark violet (low) to yellow (high). More than 4096 spectra are averaged "
      "into 4096 columns, more than 1024 bins into 1024 rows. Prints the output path and the "
      "image size. Exit 0 written, 1 written with malformed lines passed over, not written, "
      "or nothing to draw.\n"
      "Example: veldump spectrogram rec/20261124_101500.txt -o tone.png --min 20 --max 140");
  spectrogram->add_option("FILE", drawFiles, "spectrum files, e.g. rec/20261124_101500.txt")->required();
  spectrogram->add_option("--output,-o", drawOpt.output,
                          "PNG to write (one FILE only; default: FILE with .png for its extension); "
                          "e.g. -o tone.png");
  spectrogram->add_option("--min", minDb,
                          "level drawn darkest, in dB above the file's reference level as the data "
                          "lines hold it (default: the lowest in the file); e.g. --min 20");
  spectrogram->add_option("--max", maxDb,
                          "level drawn brightest, same units (default: the highest in the file); "
                          "e.g. --max 140");

  if (const int rc = tools::parseCommandLine(app, argc, argv); rc >= 0) return rc;
  const auto usage = [](const std::string& why) {
    std::cerr << "veldump: " << why << " (--help lists every option)\n";
    return veldump::EXIT_USAGE;
  };

  if (spectrum->parsed()) {
    return forEachFile(specFiles, [&](const std::string& f) {
      const auto s = veldump::readSpectrumFile(f);
      return s.readable() ? veldump::printSpectrumReport(s, specJson, std::cout) : failed(f, s.error);
    });
  }
  if (spectrogram->parsed()) {
    if (!drawOpt.output.empty() && drawFiles.size() > 1) return usage("--output takes one FILE; give none for FILE.png each");
    if (spectrogram->count("--min")) drawOpt.range.lo = minDb;
    if (spectrogram->count("--max")) drawOpt.range.hi = maxDb;
    return forEachFile(drawFiles, [&](const std::string& f) { return veldump::drawSpectrogram(f, drawOpt, std::cout, std::cerr); });
  }
  if (wav->parsed()) {
    return forEachFile(wavFiles, [](const std::string& f) {
      const auto w = veldump::inspectWav(f);
      return w.readable() ? veldump::printWavReport(w, std::cout) : failed(f, w.error);
    });
  }
  if (repair->parsed()) {
    if (!repairOut.empty() && repairFiles.size() > 1) return usage("--output takes one FILE; give none to repair each in place");
    return forEachFile(repairFiles, [&](const std::string& f) { return veldump::repairWav(f, repairOut, std::cout); });
  }

  if (cap->parsed()) {
    if (cap->count("--stream-type") && channel != "stream") return usage("--stream-type applies to --channel stream only");
    static const std::map<std::string, veldump::Channel> channels{
        {"control", veldump::Channel::Control},
        {"stream", veldump::Channel::Stream},
        {"discovery", veldump::Channel::Discovery}};
    static const std::map<std::string, VelStreamType> types{{"waveform", VEL_STREAM_WAVEFORM},
                                                            {"spectrum", VEL_STREAM_SPECTRUM},
                                                            {"status", VEL_STREAM_STATUS}};
    // Every file needs a channel before any is decoded: a name that says none is a usage error.
    for (const std::string& f : capFiles) {
      if (channel.empty() && !channelFromName(f))
        return usage(f + ": its name says no channel (control.bin, waveform.bin, spectrum.bin, discovery.bin); give --channel");
    }
    return forEachFile(capFiles, [&](const std::string& f) {
      std::ifstream in(f, std::ios::binary);
      std::error_code ec;
      if (std::filesystem::is_directory(f, ec)) return failed(f, "a directory, not a capture file");
      if (!in) return failed(f, std::strerror(errno));
      veldump::CaptureOptions opt;
      if (channel.empty()) {
        const auto named = channelFromName(f);
        opt.channel = named->channel;
        opt.streamType = named->type;
      } else {
        opt.channel = channels.at(channel);
        opt.streamType = types.at(streamType);
      }
      opt.json = json;
      const veldump::CaptureSummary s = veldump::dumpCapture(in, opt, std::cout);
      if (in.bad()) return failed(f, std::string("read error: ") + std::strerror(errno));
      if (s.messages == 0) {
        return failed(f, "no message decodes from its " + std::to_string(s.bytes) +
                             " bytes (another channel's capture, or no capture at all?)");
      }
      return int{veldump::EXIT_OK};
    });
  }
  return veldump::EXIT_OK;
}
