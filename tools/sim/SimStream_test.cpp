#include <sim/SimStream.h>

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/VelStreamProcessor.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace velsim {
namespace {

constexpr int64 kStart = 1700000000;

struct Decoded {
  std::vector<std::shared_ptr<VelStreamEventHeaderPayload>> headers;
  std::vector<std::shared_ptr<VelStreamDataPayload>> data;
  veliface::host::SampleChecksum sum;  // recomputed over the received sample bytes
  uint64 checksum() const { return sum.value(); }
};

// Runs the library's stream parser over everything the stream produced, in 4 KiB pieces.
Decoded decode(const Bytes& bytes, VelStreamType type) {
  Decoded d;
  CircularByteBuffer buf(1 << 16);
  VelStreamProcessor proc(type);
  std::size_t pos = 0;
  for (;;) {
    if (auto m = proc.pump(buf)) {
      auto p = m->payload();
      if (auto h = std::dynamic_pointer_cast<VelStreamEventHeaderPayload>(p)) d.headers.push_back(h);
      if (auto x = std::dynamic_pointer_cast<VelStreamDataPayload>(p)) {
        d.data.push_back(x);
        d.sum.update(x->data()->data().get(), x->data()->dataSize());
      }
      continue;
    }
    if (pos == bytes.size()) break;
    pos += buf.write(bytes.data() + pos, std::min<std::size_t>(4096, bytes.size() - pos));
  }
  return d;
}

StreamSetup waveSetup(uint32 nanos = 0) {
  StreamSetup s;
  s.sampleRate = 8000;
  s.channels = 2;
  s.samplesPerFrame = 1000;
  s.startSeconds = kStart;
  s.startNanos = nanos;
  return s;
}

TEST(SimStream, WaveformHeadersEverySecondAndContiguousSamples) {
  for (uint32 nanos : {0u, 250000000u}) {
    SimStream s(waveSetup(nanos));
    s.produce(3 * 8000 + 10);
    const Decoded d = decode(s.output(), VEL_STREAM_WAVEFORM);

    // Sample 0 opens the stream; then a header at each whole second, before its samples.
    const uint64 first = nanos ? 6000 : 8000;  // a quarter second in, 6000 samples remain
    ASSERT_EQ(d.headers.size(), 4u) << nanos;
    for (std::size_t i = 0; i < d.headers.size(); ++i) {
      const auto key = d.headers[i]->eventKey();
      ASSERT_TRUE(key);
      EXPECT_EQ(key->seqNum(), i == 0 ? 0 : first + (i - 1) * 8000) << i;
      EXPECT_EQ(key->timeStamp(), kStart + static_cast<int64>(i)) << i;
      ASSERT_TRUE(d.headers[i]->streamSetupChunk().wavSetup());
      EXPECT_EQ(d.headers[i]->streamSetupChunk().wavSetup()->sampleRate(), 8000u);
      EXPECT_EQ(d.headers[i]->numChannels(), 2);
    }
    uint64 expect = 0;
    for (const auto& p : d.data) {
      EXPECT_EQ(p->data()->sampleNum(), expect);
      EXPECT_EQ(p->eventKey()->seqNum(), expect);
      EXPECT_EQ(p->eventKey()->timeStamp(),
                kStart + static_cast<int64>((expect * 1000000000ull / 8000 + nanos) / 1000000000ull));
      EXPECT_EQ(p->data()->numChannels(), 2);
      EXPECT_LE(p->data()->numSamples(), 1000);
      expect += p->data()->numSamples();
    }
    EXPECT_EQ(expect, 3u * 8000u);  // the 10 extra samples wait for a frame
    EXPECT_EQ(s.nextSample(), expect);
    EXPECT_EQ(s.stats().frames, d.data.size());
    EXPECT_EQ(s.stats().headers, d.headers.size());
    EXPECT_EQ(s.stats().samples, expect);
    EXPECT_EQ(s.stats().bytes, expect * 2 * 3);
    EXPECT_EQ(s.stats().checksum, d.checksum());
  }
}

TEST(SimStream, AnEndCutsTheLastFrameShortAndADutyCycleSendsOnlyItsRuns) {
  // A quarter second in, frames of 1000 end at 6000, 7000, ...: an end at 12345 falls inside one.
  SimStream ended(waveSetup(250000000u));
  ended.setEnd(12345);
  ended.produce(12345);
  ended.produce(20000);  // nothing past the end
  EXPECT_EQ(ended.stats().samples, 12345u);
  EXPECT_EQ(decode(ended.output(), VEL_STREAM_WAVEFORM).data.back()->data()->numSamples(), 345);

  // Runs the first second of every two: seconds kStart (even) and kStart + 2 go out.
  StreamSetup duty = waveSetup();
  duty.dutyCycle = 2;
  duty.dutyRun = 1;
  SimStream cycled(duty);
  cycled.produce(4 * 8000);
  const Decoded d = decode(cycled.output(), VEL_STREAM_WAVEFORM);
  ASSERT_EQ(d.headers.size(), 3u);  // kStart + 4's header is due at the last sample asked for
  EXPECT_EQ(d.headers[1]->eventKey()->timeStamp(), kStart + 2);
  EXPECT_EQ(d.headers[1]->eventKey()->seqNum(), 16000u);  // the count goes on through the pause
  EXPECT_EQ(cycled.stats().samples, 16000u);
  EXPECT_EQ(cycled.stats().pausedSamples, 16000u);
  EXPECT_EQ(cycled.stats().dropped, 0u);
}

TEST(SimStream, ByteOrderChangesTheWireBytesButNotTheChecksum) {
  // Little-endian is the default; a big-endian stream carries the same values turned round
  // and reports the same checksum, because the checksum is taken in file order.
  StreamSetup little = waveSetup();
  StreamSetup big = waveSetup();
  big.littleEndian = false;
  SimStream l(little), b(big);
  l.produce(8000);
  b.produce(8000);
  const Decoded dl = decode(l.output(), VEL_STREAM_WAVEFORM);
  const Decoded db = decode(b.output(), VEL_STREAM_WAVEFORM);
  ASSERT_FALSE(dl.headers.empty());
  ASSERT_FALSE(db.headers.empty());
  EXPECT_EQ(dl.headers[0]->streamSetupChunk().wavSetup()->sampleFormat(), 0x83);
  EXPECT_EQ(db.headers[0]->streamSetupChunk().wavSetup()->sampleFormat(), 0x03);
  ASSERT_EQ(dl.data.size(), db.data.size());
  ASSERT_FALSE(dl.data.empty());
  const auto& cl = *dl.data[0]->data();
  const auto& cb = *db.data[0]->data();
  EXPECT_EQ(cl.sampleFormat(), 0x83);
  EXPECT_EQ(cb.sampleFormat(), 0x03);
  ASSERT_EQ(cl.dataSize(), cb.dataSize());
  bool differs = false;
  for (std::size_t i = 0; i + 3 <= cl.dataSize(); i += 3) {
    const uint8* x = cl.data().get() + i;
    const uint8* y = cb.data().get() + i;
    EXPECT_TRUE(x[0] == y[2] && x[1] == y[1] && x[2] == y[0]) << i;
    differs = differs || x[0] != y[0];
  }
  EXPECT_TRUE(differs);  // the signal is not made of palindromes
  EXPECT_EQ(l.stats().checksum, dl.checksum());
  EXPECT_EQ(b.stats().checksum, l.stats().checksum);
  EXPECT_NE(db.checksum(), dl.checksum());  // the wire bytes themselves do differ
}

TEST(SimStream, DroppedFramesShowAsGapsAndStayOutOfTheChecksum) {
  StreamSetup setup = waveSetup();
  setup.faults.dataDropRate = 0.2;
  setup.faults.seed = 9;
  SimStream s(setup);
  s.produce(5 * 8000);
  const Decoded d = decode(s.output(), VEL_STREAM_WAVEFORM);
  ASSERT_GT(s.stats().dropped, 0u);
  EXPECT_EQ(d.headers.size(), 6u);  // headers are never dropped
  uint64 expect = 0, gaps = 0;
  for (const auto& p : d.data) {
    // Frames are whole seconds of 8 x 1000 samples here, so a gap is a multiple of 1000.
    gaps += (p->data()->sampleNum() - expect) / 1000;
    expect = p->data()->sampleNum() + p->data()->numSamples();
  }
  gaps += (5 * 8000 - expect) / 1000;
  EXPECT_EQ(gaps, s.stats().dropped);
  EXPECT_EQ(s.stats().frames + s.stats().dropped, 40u);
  EXPECT_EQ(s.stats().checksum, d.checksum());
}

TEST(SimStream, SpectrumCarriesOneFramePerFft) {
  StreamSetup setup;
  setup.kind = StreamKind::Spectrum;
  setup.sampleRate = 16000;
  setup.fftPoints = 512;
  setup.fftHop = 256;
  setup.startSeconds = kStart;
  SimStream s(setup);
  s.produce(2 * 16000);
  const Decoded d = decode(s.output(), VEL_STREAM_SPECTRUM);
  ASSERT_EQ(d.headers.size(), 3u);
  auto fft = d.headers[0]->streamSetupChunk().fftSetup();
  ASSERT_TRUE(fft);
  EXPECT_EQ(fft->numPoints(), 512);
  EXPECT_EQ(fft->sampleRate(), 16000u);
  // FFTs start every 256 samples and need 512: (32000 - 512) / 256 + 1 of them fit.
  ASSERT_EQ(d.data.size(), 124u);
  EXPECT_EQ(s.stats().spectra, 124u);
  for (std::size_t i = 0; i < d.data.size(); ++i) {
    const auto& c = d.data[i]->data();
    EXPECT_EQ(c->numSamples(), 256);
    EXPECT_EQ(c->numChannels(), 1);
    EXPECT_EQ(c->bytesPerSamp(), 1);
    EXPECT_EQ(d.data[i]->eventKey()->seqNum(), i * 256);
    EXPECT_EQ(d.data[i]->eventKey()->timeStamp(), kStart + static_cast<int64>(i * 256 / 16000));
  }
  EXPECT_EQ(s.stats().checksum, d.checksum());
}

TEST(SimStream, StartMessageAndSetupChecks) {
  const uint8 start[4] = {0x53, 0x2A, 0x00, 0x00};
  const uint8 other[4] = {0x53, 0x2A, 0x00, 0x01};
  EXPECT_EQ(SimStream::startVerdict(start, false), NotifyCode::NoError);
  EXPECT_EQ(SimStream::startVerdict(start, true), NotifyCode::NoConnectionAvailable);
  EXPECT_EQ(SimStream::startVerdict(other, false), NotifyCode::InvalidStart);

  StreamSetup wide = waveSetup();
  wide.channels = 86;  // 258 bytes per sample frame: more than receivers can size
  EXPECT_THROW(SimStream{wide}, std::invalid_argument);
  wide.channels = 85;
  wide.samplesPerFrame = 300;  // 76500 sample bytes do not fit a frame
  EXPECT_THROW(SimStream{wide}, std::invalid_argument);
  wide.samplesPerFrame = 256;
  EXPECT_NO_THROW(SimStream{wide});
}

}  // namespace
}  // namespace velsim
