#pragma once
// Test helper: decoded stream messages as a waveform or spectrum port delivers them, a
// synthetic 16-bit waveform stream, and the library's own read-back of a WAV file.

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/files/MavWavHeader.h>
#include <veliface/record/RecordListener.h>
#include <veliface/record/WavRecorder.h>
#include <veliface/stream/VelStreamPayloads.h>

#include "TempFiles.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <stdlib.h>
#include <cstdio>
#include <cstdlib>

namespace recordtest {

using testsupport::openFds;
using testsupport::readFile;
using testsupport::TempDir;

inline std::shared_ptr<const VelEventKeyChunk> key(int32_t t, uint64 seq) {
  stKEY_CHUNK_V1 raw{};
  raw.type = 0x41;
  raw.version = 1;
  raw.timeStamp = t;
  raw.seqNumHigh = static_cast<uint32>(seq >> 32);
  raw.seqNumLow = static_cast<uint32>(seq);
  raw.channel = 1;
  return std::make_shared<VelEventKeyChunkV1>(raw);
}

inline std::vector<std::shared_ptr<const VelDeviceInfoChunk>> deviceInfo() {
  stDEVICE_CHUNK_V1 raw{};
  raw.type = 0x44;
  raw.version = 1;
  raw.serialNo = 321;
  raw.sensitivity = static_cast<uint16>(-1700);
  raw.fwVer[0] = 1;
  raw.fwVer[1] = 2;
  raw.fwVer[2] = 3;
  return {std::make_shared<VelDeviceInfoChunkV1>(raw)};
}

inline VelStreamMessage wavHeader(int32_t t, uint64 seq, uint32 rate, uint8 format = 0x82, uint8 channels = 1) {
  stWAVE_SETUP_CHUNK_V0 setup{};
  setup.type = 0x45;
  setup.sampleRate = rate;
  setup.sampleFormat = format;  // default 16-bit little-endian: the file holds the bytes sent
  stAMPLITUDE_CHUNK_V0 scale{};
  scale.type = 0x47;
  scale.maxCount = 32767;
  scale.maxAmplitude = 3;
  auto payload = std::make_shared<VelStreamEventHeaderPayload>(
      key(t, seq), deviceInfo(), std::vector<std::shared_ptr<const VelStreamStatusChunk>>{},
      VelStreamSetupContainer(std::shared_ptr<const VelWavSetupChunk>(std::make_shared<VelWavSetupChunk>(setup))),
      std::vector<std::shared_ptr<const VelAmplScalingChunk>>{std::make_shared<VelAmplScalingChunkV0>(scale)},
      channels, nullptr);
  return VelStreamMessage(payload);
}

// A spectrum event header: FFT setup of 4 points at 1000 Hz (two samples between spectra,
// three accumulations, reference 20, filtered power), with `status` records when given.
inline VelStreamMessage fftHeader(int32_t t,
                                  std::vector<std::shared_ptr<const VelStreamStatusChunk>> status = {}) {
  stFFT_SETUP_CHUNK_V1 fft{};
  fft.type = 0x46;
  fft.version = 1;
  fft.sampleRate = 1000;
  fft.numPoints = 4;
  fft.samplesBtwFfts = 2;
  fft.refLevel = 20;
  fft.procType = 6;
  fft.accumCount = 3;
  return VelStreamMessage(std::make_shared<VelStreamEventHeaderPayload>(
      key(t, 0), deviceInfo(), std::move(status),
      VelStreamSetupContainer(std::shared_ptr<const VelFftSetupChunk>(std::make_shared<VelFftSetupChunkV1>(fft))),
      std::vector<std::shared_ptr<const VelAmplScalingChunk>>{}, 1, nullptr));
}

inline VelStreamMessage dataMsg(int32_t t, uint64 sample, const uint8* bytes, uint16 samples, uint8 format,
                         std::vector<uint8>* sent, uint8 channels = 1) {
  auto chunk = std::make_shared<VelStreamDataChunkV0>();
  chunk->setSampleNum(static_cast<uint32>(sample));
  chunk->setNumChannels(channels);
  chunk->setSampleFormat(format);
  chunk->setNumSamples(samples);
  const uint32 n = samples * (format & 0x7Fu) * channels;
  std::shared_ptr<uint8[]> copy(new uint8[n]);
  std::copy(bytes, bytes + n, copy.get());
  chunk->ResetI8(copy, n);
  if (sent != nullptr) sent->insert(sent->end(), bytes, bytes + n);
  return VelStreamMessage(std::make_shared<VelStreamDataPayload>(key(t, sample), chunk));
}

// A 16-bit little-endian mono stream: a header at each whole second, then blocks of `block` samples. A
// block that straddles a second is sent before the next second's header.
struct WavStream {
  WavStream(uint32 r, uint16 b, int32_t t) : rate(r), block(b), t0(t) {}
  uint32 rate;
  uint16 block;
  int32_t t0;
  uint64 sample = 0;
  int32_t second = -1;
  std::vector<uint8> sent;

  template <typename Recorder>
  void run(Recorder& rec, int seconds) {
    const uint64 end = sample + uint64{rate} * static_cast<uint64>(seconds);
    std::vector<uint8> bytes(block * 2u);
    while (sample < end) {
      const int32_t s = static_cast<int32_t>(sample / rate);
      if (s != second) {
        second = s;
        rec.take(wavHeader(t0 + s, uint64{rate} * static_cast<uint64>(s), rate));
      }
      for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8>((sample * 2 + i) * 7);
      rec.take(dataMsg(t0 + s, sample, bytes.data(), block, 0x82, &sent));
      sample += block;
    }
  }
};

struct ReadBack {
  std::shared_ptr<MavWavHeader> header;
  std::string samples;
};

inline ReadBack readWav(const std::filesystem::path& path) {
  const std::string bytes = readFile(path);
  CircularByteBuffer buf(bytes.size() + 1);
  buf.write(reinterpret_cast<const uint8*>(bytes.data()), bytes.size());
  MavWavHeaderProcessor reader;
  ReadBack r;
  if (!reader.pump(buf)) return r;
  r.header = reader.header();
  r.samples = bytes.substr(static_cast<std::size_t>(reader.headerSize()));
  return r;
}

struct Events : veliface::record::RecordListener {
  std::vector<std::filesystem::path> opened;
  std::vector<std::pair<std::filesystem::path, uint64>> closed;
  std::vector<std::pair<int, std::string>> errors;
  uint64 missed = 0;
  std::vector<std::pair<uint64, uint64>> losses;
  void sequenceLoss(uint64 last, uint64 seq) override { losses.emplace_back(last, seq); }
  void fileOpened(const std::filesystem::path& p) override { opened.push_back(p); }
  void fileClosed(const std::filesystem::path& p, uint64 bytes) override { closed.emplace_back(p, bytes); }
  void missedSamples(uint64 n) override { missed += n; }
  void error(int code, const std::string& text) override { errors.emplace_back(code, text); }
};

// The writer's own words in a storage error, without the file and reason that follow them.
inline std::string writerText(const std::string& error) { return error.substr(0, error.find(" (")); }
// An error (code, text) with the text cut to the writer's own words.
inline std::pair<int, std::string> writerError(const std::pair<int, std::string>& e) {
  return {e.first, writerText(e.second)};
}

inline std::vector<std::filesystem::path> wavFiles(const std::filesystem::path& dir, const char* extension = ".wav") {
  std::vector<std::filesystem::path> files;
  for (const auto& e : std::filesystem::directory_iterator(dir))
    if (e.path().extension() == extension) files.push_back(e.path());
  std::sort(files.begin(), files.end());
  return files;
}

inline std::string run(const std::string& command) {
  std::string out;
  if (FILE* p = popen(command.c_str(), "r")) {
    char buf[256];
    while (fgets(buf, sizeof buf, p) != nullptr) out += buf;
    pclose(p);
  }
  return out;
}

inline bool have(const char* tool) { return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0; }

}  // namespace recordtest
