// Soak of the waveform recording glue: a long run of clock-aligned rollovers in fast mode
// (one-second files of a few samples each).
//
// Usage: record_soak [ROLLOVERS]   (default 100000; ROLLOVERS + 1 files)
//
// Every file is checked as it is closed and then removed, so the run needs no more disk
// than one file: its header must read back with a data size equal to the sample bytes that
// follow it and to the bytes of one second, and the sample bytes of all files, in order,
// must hash like the bytes sent. The number of open descriptors must stay the same from
// the first rollover to the last, and no sample may be reported missing. Prints one summary
// line ("soak: ...") and exits 1 on any failure.

#include <veliface/common/VelLog.h>
#include <veliface/files/MavWavHeader.h>
#include <veliface/record/WavRecorder.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <RecordStreams.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <stdlib.h>

namespace fs = std::filesystem;
using veliface::record::RecordListener;
using veliface::record::WavRecorder;
using recordtest::key;
using testsupport::openFds;

namespace {

constexpr uint32 kRate = 8;            // samples per second, 16-bit mono
constexpr uint32 kSecondBytes = kRate * 2;

std::uint64_t fnv(std::uint64_t h, const uint8* p, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
  return h;
}
constexpr std::uint64_t kFnvStart = 14695981039346656037ull;

struct Checker : RecordListener {
  std::uint64_t hash = kFnvStart;
  std::uint64_t files = 0;
  std::uint64_t missed = 0;
  std::uint64_t badFiles = 0;
  std::uint64_t errors = 0;
  std::string firstProblem;

  void problem(const std::string& what) {
    ++badFiles;
    if (firstProblem.empty()) firstProblem = what;
  }
  void missedSamples(uint64 n) override { missed += n; }
  void error(int code, const std::string& text) override {
    ++errors;
    if (firstProblem.empty()) firstProblem = "writer error " + std::to_string(code) + ": " + text;
  }
  void fileClosed(const fs::path& path, uint64 bytes) override {
    ++files;
    std::ifstream in(path, std::ios::binary);
    const std::string all((std::istreambuf_iterator<char>(in)), {});
    in.close();
    if (all.size() != bytes) problem(path.string() + ": size differs from the one reported");
    CircularByteBuffer ring(all.size() + 1);
    ring.write(reinterpret_cast<const uint8*>(all.data()), all.size());
    MavWavHeaderProcessor reader;
    if (!reader.pump(ring)) {
      problem(path.string() + ": header unreadable");
    } else {
      const uint64 start = reader.headerSize();
      const uint32 riff = static_cast<uint32>(static_cast<uint8>(all[4]) | static_cast<uint8>(all[5]) << 8 |
                                              static_cast<uint8>(all[6]) << 16 |
                                              static_cast<uint32>(static_cast<uint8>(all[7])) << 24);
      if (reader.header()->dataSize() != all.size() - start || reader.header()->dataSize() != kSecondBytes ||
          riff != all.size() - 8) {
        problem(path.string() + ": header sizes disagree with the file");
      }
      hash = fnv(hash, reinterpret_cast<const uint8*>(all.data()) + start, all.size() - start);
    }
    std::error_code ec;
    fs::remove(path, ec);
  }
};

VelStreamMessage header(int32_t t, uint64 seq) {
  stWAVE_SETUP_CHUNK_V0 setup{};
  setup.type = 0x45;
  setup.sampleRate = kRate;
  setup.sampleFormat = 0x82;  // 16-bit little-endian: the files hold the bytes as sent
  stAMPLITUDE_CHUNK_V0 scale{};
  scale.type = 0x47;
  scale.maxCount = 32767;
  scale.maxAmplitude = 3;
  auto payload = std::make_shared<VelStreamEventHeaderPayload>(
      key(t, seq), std::vector<std::shared_ptr<const VelDeviceInfoChunk>>{},
      std::vector<std::shared_ptr<const VelStreamStatusChunk>>{},
      VelStreamSetupContainer(std::shared_ptr<const VelWavSetupChunk>(std::make_shared<VelWavSetupChunk>(setup))),
      std::vector<std::shared_ptr<const VelAmplScalingChunk>>{std::make_shared<VelAmplScalingChunkV0>(scale)}, 1,
      nullptr);
  return VelStreamMessage(payload);
}

VelStreamMessage data(int32_t t, uint64 sample, std::uint64_t& sentHash) {
  std::shared_ptr<uint8[]> bytes(new uint8[kSecondBytes]);
  for (uint32 i = 0; i < kSecondBytes; ++i) bytes[i] = static_cast<uint8>((sample * 2 + i) * 131 >> 3);
  sentHash = fnv(sentHash, bytes.get(), kSecondBytes);
  auto chunk = std::make_shared<VelStreamDataChunkV0>();
  chunk->setSampleNum(static_cast<uint32>(sample));
  chunk->setNumChannels(1);
  chunk->setSampleFormat(0x82);
  chunk->setNumSamples(kRate);
  chunk->ResetI8(bytes, kSecondBytes);
  return VelStreamMessage(std::make_shared<VelStreamDataPayload>(key(t, sample), chunk));
}

}  // namespace

int main(int argc, char** argv) {
  const long rollovers = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 100000;
  if (rollovers < 2) {
    std::fprintf(stderr, "usage: record_soak [ROLLOVERS >= 2]\n");
    return 2;
  }
  // Fast mode: in memory where the system has it, so that the header patches and syncs of
  // a hundred thousand files cost no disk time.
  std::string base = fs::is_directory("/dev/shm") ? "/dev/shm/velsoak_XXXXXX" : "/tmp/velsoak_XXXXXX";
  const char* made = mkdtemp(base.data());
  if (made == nullptr) {
    std::perror("record_soak: temporary directory");
    return 1;
  }
  const fs::path dir = made;
  const VelLog::SinkScope quiet(VelLog::discard);

  Checker check;
  std::uint64_t sentHash = kFnvStart;
  std::size_t fdsAtFirst = 0;
  std::size_t fdsMax = 0;
  std::size_t fdsMin = static_cast<std::size_t>(-1);
  {
    WavRecorder rec(dir, "soak", 1, nullptr, &check);
    const int32_t t0 = 1700000000;
    // One file per second: the header of second s closes the file of second s - 1, and
    // finishing closes the last one.
    for (long s = 0; s <= rollovers; ++s) {
      const uint64 sample = uint64{kRate} * static_cast<uint64>(s);
      rec.take(header(t0 + static_cast<int32_t>(s), sample));
      if (s == 1) fdsAtFirst = openFds();
      if (s >= 1 && (s % 1000 == 0 || s == rollovers)) {
        const std::size_t fds = openFds();
        fdsMax = std::max(fdsMax, fds);
        fdsMin = std::min(fdsMin, fds);
      }
      rec.take(data(t0 + static_cast<int32_t>(s), sample, sentHash));
    }
    rec.finish();
  }
  std::error_code ec;
  fs::remove_all(dir, ec);

  const bool fdsSteady = fdsMin == fdsAtFirst && fdsMax == fdsAtFirst;
  const bool ok = check.files == static_cast<std::uint64_t>(rollovers) + 1 && check.hash == sentHash &&
                  check.missed == 0 && check.badFiles == 0 && check.errors == 0 && fdsSteady;
  std::printf("soak: rollovers=%ld files=%llu checksum=%s missed=%llu bad_files=%llu errors=%llu open_fds=%zu..%zu "
              "result=%s\n",
              rollovers, static_cast<unsigned long long>(check.files), check.hash == sentHash ? "equal" : "DIFFERENT",
              static_cast<unsigned long long>(check.missed), static_cast<unsigned long long>(check.badFiles),
              static_cast<unsigned long long>(check.errors), fdsMin, fdsMax, ok ? "pass" : "FAIL");
  if (!check.firstProblem.empty()) std::printf("soak: first problem: %s\n", check.firstProblem.c_str());
  return ok ? 0 : 1;
}
