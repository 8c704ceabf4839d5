// veldump: the command line. Each subcommand is one call into veldump_lib.
#include "Capture.h"
#include "SpectrogramFile.h"
#include "SpectrumFile.h"
#include "WavFile.h"

#include <common/CommandLine.h>

#include <CLI/CLI.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

int main(int argc, char** argv) {
  CLI::App app{"veldump: inspect what VelIface devices send and what velrec records.\n"
               "Exit codes: 0 OK, 1 a problem was found (or a write failed), 2 unreadable input."};
  app.require_subcommand(1);

  // capture
  std::string capFile;
  std::string channel;
  std::string streamType = "waveform";
  bool json = false;
  CLI::App* cap = app.add_subcommand(
      "capture",
      "Decode a capture (the raw bytes received on one channel, in order) and print one line "
      "per message, the library's diagnostics as '# log:' lines and a summary.\n"
      "Example: veldump capture rec/stream-5001.bin --channel stream --stream-type waveform --json");
  cap->add_option("FILE", capFile, "capture file, e.g. control.bin")->required();
  cap->add_option("--channel", channel,
                  "channel the bytes came from: control (TCP 5000), stream (TCP 5001/5002) or "
                  "discovery (UDP 30303); e.g. --channel control")
      ->required()
      ->check(CLI::IsMember({"control", "stream", "discovery"}));
  cap->add_option("--stream-type", streamType,
                  "for --channel stream: waveform (port 5001), spectrum (5002) or status; "
                  "default waveform; e.g. --stream-type spectrum")
      ->check(CLI::IsMember({"waveform", "spectrum", "status"}));
  cap->add_flag("--json", json,
                "print one JSON object per line instead of text: messages, {\"log\": ...} and "
                "{\"summary\": ...}; e.g. veldump capture c.bin --channel control --json");

  // wav
  std::string wavFile;
  CLI::App* wav = app.add_subcommand(
      "wav",
      "Print a WAV recording's format, sizes, duration and INFO metadata, and check that the "
      "RIFF and data sizes fit the file length and the data is whole blocks. Exit 0 OK, "
      "1 problem found, 2 unreadable.\n"
      "Example: veldump wav rec/HF1234_20240101_120000.wav");
  wav->add_option("FILE", wavFile, "WAV file to check, e.g. rec/log.wav")->required();

  // repair
  std::string repairFile;
  std::string repairOut;
  CLI::App* repair = app.add_subcommand(
      "repair",
      "Rewrite the RIFF and data sizes of a WAV file cut off before it was finished (sizes 0 "
      "or stale) from the file length; the data size is rounded down to whole blocks and a "
      "partial block is dropped; the INFO metadata is kept. A file that is already right is "
      "left alone.\n"
      "Example: veldump repair rec/log.wav   or   veldump repair rec/log.wav --output fixed.wav");
  repair->add_option("FILE", repairFile, "WAV file to repair, e.g. rec/log.wav")->required();
  repair->add_option("--output,-o", repairOut,
                     "write the repaired file here instead of replacing FILE (default: in place, "
                     "through a temporary file renamed over FILE); e.g. --output fixed.wav");

  // spectrum
  std::string specFile;
  bool specJson = false;
  CLI::App* spectrum = app.add_subcommand(
      "spectrum",
      "Summarise a spectrum file: each header block (device, serial, firmware, start, sample "
      "rate, FFT size, bin width, frequency range, overlap, power calculation, reference "
      "levels), then the number of spectra, time span, sequence numbers, bins, lowest, "
      "highest and mean level, and the loudest bin. Malformed lines are listed by number. "
      "Exit 0 OK, 1 malformed lines, 2 unreadable.\n"
      "Example: veldump spectrum recordings/spectrumlog20240101_120000.txt --json");
  spectrum->add_option("FILE", specFile, "spectrum file, e.g. recordings/spectrumlog20240101_120000.txt")
      ->required();
  spectrum->add_flag("--json", specJson, "print the summary as one JSON object; e.g. --json");

  // spectrogram
  std::string drawFile;
  veldump::SpectrogramOptions drawOpt;
  double minDb = 0.0;
  double maxDb = 0.0;
  CLI::App* spectrogram = app.add_subcommand(
      "spectrogram",
      "Draw a spectrum file as a PNG: time along x, frequency up y (0 Hz at the bottom), level "
      "as colour from dark violet (low) to yellow (high). More than 4096 spectra are averaged "
      "into 4096 columns, more than 1024 bins into 1024 rows. Prints the output path and the "
      "image size. Exit 0 written, 1 written with malformed lines passed over (or not written), "
      "2 unreadable or no spectra.\n"
      "Example: veldump spectrogram recordings/spectrumlog20240101_120000.txt -o tone.png --min 20 --max 140");
  spectrogram->add_option("FILE", drawFile, "spectrum file, e.g. recordings/spectrumlog20240101_120000.txt")
      ->required();
  spectrogram->add_option("--output,-o", drawOpt.output,
                          "PNG to write (default: FILE with .png for its extension); e.g. -o tone.png");
  spectrogram->add_option("--min", minDb,
                          "level drawn darkest, in dB above the file's reference level as the data "
                          "lines hold it (default: the lowest in the file); e.g. --min 20");
  spectrogram->add_option("--max", maxDb,
                          "level drawn brightest, same units (default: the highest in the file); "
                          "e.g. --max 140");

  if (const int rc = tools::parseCommandLine(app, argc, argv); rc >= 0) return rc;

  if (spectrum->parsed()) {
    return veldump::printSpectrumReport(veldump::readSpectrumFile(specFile), specJson, std::cout);
  }
  if (spectrogram->parsed()) {
    if (spectrogram->count("--min")) drawOpt.range.lo = minDb;
    if (spectrogram->count("--max")) drawOpt.range.hi = maxDb;
    return veldump::drawSpectrogram(drawFile, drawOpt, std::cout, std::cerr);
  }

  if (wav->parsed()) return veldump::printWavReport(veldump::inspectWav(wavFile), std::cout);
  if (repair->parsed()) return veldump::repairWav(repairFile, repairOut, std::cout);

  if (cap->parsed()) {
    std::ifstream in(capFile, std::ios::binary);
    std::error_code ec;
    if (!in || !std::filesystem::is_regular_file(capFile, ec)) {
      std::cerr << "veldump: cannot open capture '" << capFile << "'\n";
      return 2;
    }
    if (cap->count("--stream-type") && channel != "stream") {
      std::cerr << "veldump: --stream-type applies to --channel stream only\n";
      return 2;
    }
    static const std::map<std::string, veldump::Channel> channels{
        {"control", veldump::Channel::Control},
        {"stream", veldump::Channel::Stream},
        {"discovery", veldump::Channel::Discovery}};
    static const std::map<std::string, VelStreamType> types{{"waveform", VEL_STREAM_WAVEFORM},
                                                            {"spectrum", VEL_STREAM_SPECTRUM},
                                                            {"status", VEL_STREAM_STATUS}};
    veldump::CaptureOptions opt;
    opt.channel = channels.at(channel);
    opt.streamType = types.at(streamType);
    opt.json = json;
    veldump::dumpCapture(in, opt, std::cout);
    if (in.bad()) {
      std::cerr << "veldump: read error on '" << capFile << "'\n";
      return 2;
    }
    return 0;
  }
  return 0;
}
