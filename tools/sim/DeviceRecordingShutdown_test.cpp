// A device recording whose waveform stream changes its channel count between data frames,
// stopped while the blocks of the new count wait for a file: every file opened is reported
// finished once, with the size on disk, and nothing is opened or reported after finish.

#include <sim/SimDevice.h>
#include <sim/SimStream.h>

#include <veliface/host/DeviceRecording.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace {

namespace fs = std::filesystem;
using namespace veliface::host;

// The frames of a stream's bytes: code, marker, length (u16, big-endian), payload.
std::vector<velsim::Bytes> frames(const velsim::Bytes& bytes) {
  std::vector<velsim::Bytes> out;
  for (std::size_t at = 0; at + 4 <= bytes.size();) {
    const std::size_t size = 4u + (std::size_t{bytes[at + 2]} << 8 | bytes[at + 3]);
    out.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                     bytes.begin() + static_cast<std::ptrdiff_t>(std::min(at + size, bytes.size())));
    at += size;
  }
  return out;
}

// One second and a half of a mono stream, then data frames of a stereo stream of the same
// clock with no event header between: the channel count flips between two data frames.
velsim::Bytes flippingStream() {
  velsim::SimDevice sim(velsim::DeviceConfig{});
  velsim::StreamSetup mono = sim.streamSetup(velsim::StreamKind::Waveform, 1700000000, 0);
  velsim::StreamSetup stereo = mono;
  stereo.channels = 2;
  velsim::SimStream a(mono), b(stereo);
  a.produce(72000);
  b.produce(72000);
  b.output().clear();
  b.produce(96000);
  velsim::Bytes out = a.output();
  for (const auto& f : frames(b.output())) {
    // The stereo stream's data frames that follow where the mono stream stopped.
    if (f[0] == 0x31) out.insert(out.end(), f.begin(), f.end());
  }
  return out;
}

struct Dir {
  fs::path path = fs::temp_directory_path() / ("flip_" + std::to_string(getpid()));
  Dir() {
    fs::remove_all(path);
    fs::create_directories(path);
  }
  ~Dir() { fs::remove_all(path); }
  std::set<fs::path> files() const {
    std::set<fs::path> out;
    for (const auto& e : fs::directory_iterator(path))
      if (e.path().extension() != ".json") out.insert(e.path());
    return out;
  }
};

TEST(DeviceRecordingShutdown, AChannelFlipThenStopReportsEveryFileOnceAndNothingAfter) {
  const velsim::Bytes stream = flippingStream();
  Dir dir;
  RecordingSettings settings;
  settings.outDir = dir.path;
  std::set<fs::path> onDiskAtFinish;
  {
    DeviceRecording rec(settings, nullptr);
    rec.opened(StreamPort::Waveform, HostTime(0));
    rec.receive(StreamPort::Waveform, stream.data(), stream.size(), HostTime(10));
    rec.finish();
    std::map<fs::path, int> opened, finished;
    for (const RecordingEvent& e : rec.takeEvents()) {
      if (e.kind == RecordingEvent::Kind::FileOpened) ++opened[e.path];
      if (e.kind == RecordingEvent::Kind::FileFinished) ++finished[e.path];
    }
    EXPECT_GE(opened.size(), 2u);  // the flip finished the mono file
    EXPECT_EQ(opened, finished);
    for (const auto& [path, n] : finished) EXPECT_EQ(n, 1) << path;
    ASSERT_EQ(rec.files().size(), finished.size());
    for (const RecordedFile& f : rec.files()) EXPECT_EQ(f.bytes, fs::file_size(f.path)) << f.path;
    onDiskAtFinish = dir.files();
    // Stopped means stopped: more bytes and the end of the object open nothing.
    rec.receive(StreamPort::Waveform, stream.data(), stream.size(), HostTime(20));
    EXPECT_TRUE(rec.takeEvents().empty());
  }
  EXPECT_EQ(dir.files(), onDiskAtFinish);
}

TEST(DeviceRecordingShutdown, DestroyedWithoutFinishAfterAFlipLeavesWholeFiles) {
  const velsim::Bytes stream = flippingStream();
  Dir dir;
  RecordingSettings settings;
  settings.outDir = dir.path;
  {
    DeviceRecording rec(settings, nullptr);
    rec.opened(StreamPort::Waveform, HostTime(0));
    rec.receive(StreamPort::Waveform, stream.data(), stream.size(), HostTime(10));
  }  // the destructor finishes what is open, with nobody left to tell
  const auto files = dir.files();
  ASSERT_GE(files.size(), 2u);
  for (const fs::path& f : files) {
    std::ifstream in(f, std::ios::binary);
    std::vector<char> head(8);
    in.read(head.data(), 8);
    const uint32_t riff = static_cast<uint8_t>(head[4]) | static_cast<uint8_t>(head[5]) << 8 |
                          static_cast<uint8_t>(head[6]) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(head[7])) << 24;
    EXPECT_EQ(riff + 8u, fs::file_size(f)) << f;
  }
}

}  // namespace
