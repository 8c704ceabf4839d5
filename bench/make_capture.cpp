// make_capture: writes a raw waveform stream capture of a simulated hydrophone, byte for
// byte what `velrec --capture` keeps of the waveform port (the start notification, then
// event headers and data frames), for the end-to-end replay measurement of bench/run.sh.
//
//   make_capture OUT MEGABYTES [SAMPLE_RATE] [BIT_DEPTH]
//
// The default is the heaviest single sensor: 512 kS/s x 24-bit mono, about 1.55 MB/s of
// stream. The stream is cut after the first whole second of audio at or beyond MEGABYTES
// (MiB), so the replay ends on an event header boundary like a capture stopped by duration.

#include <sim/SimStream.h>
#include <sim/StreamFrameEncoder.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: make_capture OUT MEGABYTES [SAMPLE_RATE] [BIT_DEPTH]\n");
    return 2;
  }
  const char* path = argv[1];
  const unsigned long long target = std::strtoull(argv[2], nullptr, 10) * 1024ull * 1024ull;
  velsim::StreamSetup setup;
  setup.kind = velsim::StreamKind::Waveform;
  setup.sampleRate = argc > 3 ? static_cast<uint32>(std::strtoul(argv[3], nullptr, 10)) : 512000;
  setup.bitDepth = argc > 4 ? static_cast<unsigned>(std::strtoul(argv[4], nullptr, 10)) : 24;
  setup.serial = 1201;
  setup.sensitivity = 170;
  setup.fwVer = {2, 14, 0};
  setup.startSeconds = 1700000000;  // fixed, so that every run writes the same bytes
  if (target == 0 || setup.sampleRate == 0) {
    std::fprintf(stderr, "make_capture: MEGABYTES and SAMPLE_RATE must be positive\n");
    return 2;
  }

  std::FILE* out = std::fopen(path, "wb");
  if (!out) {
    std::fprintf(stderr, "make_capture: cannot open %s: %s\n", path, std::strerror(errno));
    return 1;
  }
  unsigned long long written = 0;
  auto put = [&](const velsim::Bytes& b) {
    if (!b.empty() && std::fwrite(b.data(), 1, b.size(), out) != b.size()) {
      std::fprintf(stderr, "make_capture: write to %s failed: %s\n", path, std::strerror(errno));
      std::exit(1);
    }
    written += b.size();
  };
  try {
    velsim::Bytes note;
    velsim::StreamFrameEncoder::appendNotifyFrame(note, velsim::NotifyCode::NoError);
    put(note);
    velsim::SimStream wave(setup);
    // A second at a time: produce() up to the next whole second also emits that second's
    // header, which is where a duration-limited recording stops as well.
    uint64 second = 0;
    while (written < target) {
      wave.produce(++second * setup.sampleRate);
      put(wave.output());
      wave.output().clear();
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_capture: %s\n", e.what());
    return 1;
  }
  if (std::fclose(out) != 0) {
    std::fprintf(stderr, "make_capture: closing %s failed: %s\n", path, std::strerror(errno));
    return 1;
  }
  std::printf("%llu\n", written);
  return 0;
}
