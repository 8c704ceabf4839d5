#include <veliface/stream/VelStreamProcessor.h>

#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <gtest/gtest.h>

#include "LogCapture.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;
using MsgPtr = std::shared_ptr<VelStreamMessage>;

Bytes frame(uint8 code, const Bytes& payload) {
  Bytes f(4 + payload.size());
  f[0] = code;
  f[1] = 0x2A;
  f[2] = static_cast<uint8>(payload.size() >> 8);
  f[3] = static_cast<uint8>(payload.size());
  std::copy(payload.begin(), payload.end(), f.begin() + 4);
  return f;
}

void feed(CircularByteBuffer& ring, const Bytes& b) {
  ASSERT_EQ(ring.write(b.data(), b.size()), b.size());
}

std::vector<MsgPtr> drain(VelStreamProcessor& p, CircularByteBuffer& ring) {
  std::vector<MsgPtr> out;
  while (MsgPtr m = p.pump(ring)) out.push_back(m);
  return out;
}

TEST(StreamProcessor, JunkBeforeTheMarkerIsDroppedAndTheCodeIsTheByteBefore) {
  VelStreamProcessor p(VEL_STREAM_WAVEFORM);
  CircularByteBuffer ring(64);
  feed(ring, {0x61, 0x62, 0x31, 0x2A, 0x00, 0x04, 0x42, 0x00, 0x00, 0x00});
  auto msgs = drain(p, ring);
  ASSERT_EQ(msgs.size(), 1u);
  auto* data = dynamic_cast<VelStreamDataPayload*>(msgs[0]->payload().get());
  ASSERT_NE(data, nullptr);
  EXPECT_FALSE(data->data());  // four payload bytes hold no chunk
  EXPECT_EQ(data->streamType(), VEL_STREAM_WAVEFORM);
  EXPECT_EQ(ring.bytesAvailable(), 0u);
}

TEST(StreamProcessor, NotifyCodesAndTexts) {
  const std::string texts[] = {"No error.",
                               "No streaming connection availaible on this port.",
                               "Stream timeout.",
                               "Stream is stopped.",
                               "Invalid start message.",
                               "Device is logging, could not start stream."};
  for (uint32 code = 0; code < 6; ++code) {
    EXPECT_EQ(notifyStrings[code], texts[code]);
    EXPECT_EQ(VelStreamNotifyPayload(code).errorStr(), texts[code]);
  }
  VelStreamProcessor p(VEL_STREAM_SPECTRUM);
  CircularByteBuffer ring(64);
  feed(ring, {0x30, 0x2A, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02});
  feed(ring, {0x30, 0x2A, 0x00, 0x04, 0x00, 0x00, 0x00, 0x07});
  feed(ring, {0x30, 0x2A, 0x00, 0x04, 0x01, 0x00, 0x00, 0x00});
  const auto msgs = drain(p, ring);
  ASSERT_EQ(msgs.size(), 3u);
  const uint32 codes[] = {2, 7, 0x01000000};
  const char* strs[] = {"Stream timeout.", "Unknown Stream Error.", "Unknown Stream Error."};
  for (std::size_t i = 0; i < 3; ++i) {
    auto* n = dynamic_cast<VelStreamNotifyPayload*>(msgs[i]->payload().get());
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->errorCode(), codes[i]);
    EXPECT_EQ(n->errorStr(), strs[i]);
    EXPECT_EQ(n->streamType(), VEL_STREAM_SPECTRUM);
  }
}

TEST(StreamProcessor, UnknownCodeIsLoggedAndItsPayloadSkipped) {
  LogCapture log;
  VelStreamProcessor p(VEL_STREAM_STATUS);
  CircularByteBuffer ring(64);
  feed(ring, frame(0x33, {0x30, 0x2A, 0x00, 0x00}));  // the payload is not searched
  feed(ring, frame(0x30, {0, 0, 0, 3}));
  const auto msgs = drain(p, ring);
  ASSERT_EQ(msgs.size(), 1u);
  EXPECT_EQ(dynamic_cast<VelStreamNotifyPayload&>(*msgs[0]->payload()).errorCode(), 3u);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Unknown message on stream. Code=3"});
}

TEST(StreamProcessor, PayloadIsAwaitedNotAbandoned) {
  VelStreamProcessor p(VEL_STREAM_WAVEFORM);
  CircularByteBuffer ring(64);
  const Bytes f = frame(0x30, {0, 0, 0, 4});
  feed(ring, Bytes(f.begin(), f.begin() + 6));
  StreamInputEvent ev(ring);
  p.dispatch(&ev);  // header
  p.dispatch(&ev);
  EXPECT_TRUE(p.state() == &VelStreamProcessor::st_readPayload);
  EXPECT_TRUE(p.outOfData());
  feed(ring, Bytes(f.begin() + 6, f.end()));
  p.notifyDataAvailable();
  p.dispatch(&ev);
  EXPECT_TRUE(p.isEndState());
  EXPECT_EQ(dynamic_cast<VelStreamNotifyPayload&>(*p.message()->payload()).errorCode(), 4u);
}

TEST(StreamProcessor, AGivenUpHeaderSearchDropsTheBytesInHand) {
  // Deliberate: the search reads "a" and the code "0", finds no marker with only three bytes
  // waiting, and drops both, so this notification is lost and the next one is found.
  VelStreamProcessor p(VEL_STREAM_WAVEFORM);
  CircularByteBuffer ring(64);
  feed(ring, {0x61, 0x30, 0x2A, 0x00, 0x04});
  EXPECT_FALSE(p.pump(ring));
  EXPECT_EQ(ring.bytesAvailable(), 3u);
  feed(ring, {0x00, 0x00, 0x00, 0x02});
  feed(ring, frame(0x30, {0, 0, 0, 5}));
  const auto msgs = drain(p, ring);
  ASSERT_EQ(msgs.size(), 1u);
  EXPECT_EQ(dynamic_cast<VelStreamNotifyPayload&>(*msgs[0]->payload()).errorCode(), 5u);
}

// ---------------------------------------------------------------------------------------
// A generated capture of all four frame kinds, and feeds that must all decode it alike.

class CaptureGen {
 public:
  explicit CaptureGen(unsigned seed) : rng_(seed) {}

  Bytes capture(int frames) {
    Bytes out;
    for (int i = 0; i < frames; ++i) {
      const int kind = i < 4 ? i : pick(0, 9);
      Bytes f;
      if (kind == 0) f = frame(0x30, {0, 0, 0, static_cast<uint8>(pick(0, 7))});
      else if (kind == 1) f = frame(0x32, eventHeader());
      else if (kind == 2) f = frame(0x35, status());
      else f = frame(0x31, data());
      out.insert(out.end(), f.begin(), f.end());
    }
    return out;
  }

 private:
  int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
  uint8 byte() { return static_cast<uint8>(pick(0, 255)); }
  void randomBytes(Bytes& b, int n) {
    for (int i = 0; i < n; ++i) b.push_back(byte());
  }
  void key(Bytes& b) {
    const bool v1 = pick(0, 1) == 1;
    b.push_back(0x41);
    b.push_back(v1 ? 1 : 0);
    randomBytes(b, v1 ? 18 : 14);
  }
  Bytes eventHeader() {
    Bytes b;
    key(b);
    const int devices = pick(1, 4);
    for (int d = 0; d < devices; ++d) {
      const bool v1 = pick(0, 1) == 1;
      b.insert(b.end(), {0x44, static_cast<uint8>(v1 ? 1 : 0)});
      randomBytes(b, 10);
      if (v1) {
        b.push_back(pick(0, 3) == 0 ? 0xFF : byte());
        randomBytes(b, 3);
      }
    }
    const int channels = pick(0, 3);
    for (int c = 0; c < channels; ++c) {
      b.insert(b.end(), {0x43, 0x00});
      randomBytes(b, 22);
      b.insert(b.end(), {0x47, 0x00});
      randomBytes(b, 22);
    }
    if (pick(0, 1)) {
      b.insert(b.end(), {0x45, 0x00});
      randomBytes(b, 10);
    } else {
      const bool v1 = pick(0, 1) == 1;
      b.insert(b.end(), {0x46, static_cast<uint8>(v1 ? 1 : 0)});
      randomBytes(b, v1 ? 22 : 18);
    }
    return b;
  }
  Bytes status() {
    Bytes b = {0x4C, 0x00};
    randomBytes(b, 10);
    if (pick(0, 3) == 0) b.insert(b.end(), {0x49, 0x00, 0x00, 0x00, 0x00, 0x00});
    return b;
  }
  Bytes data() {
    Bytes b;
    key(b);
    const uint8 channels = static_cast<uint8>(pick(1, 100));
    const uint8 format = static_cast<uint8>(pick(1, 3) | (pick(0, 1) ? 0x80 : 0));
    const uint16 samples = static_cast<uint16>(pick(0, 24));
    b.insert(b.end(), {0x42, 0x00, 0x00, 0x00});
    randomBytes(b, 4);
    b.insert(b.end(), {channels, format, static_cast<uint8>(samples >> 8), static_cast<uint8>(samples)});
    const unsigned frameBytes = static_cast<uint8>((format & 0x7F) * channels);
    randomBytes(b, static_cast<int>(frameBytes * samples));
    return b;
  }

  std::mt19937 rng_;
};

std::string keySummary(const std::shared_ptr<const VelEventKeyChunk>& k) {
  if (!k) return "-";
  std::ostringstream os;
  os << int(k->version()) << "/" << k->timeStamp() << "/" << k->seqNum() << "/" << int(k->channel());
  return os.str();
}

// Everything a consumer can see of a message, as text.
std::string summary(const VelStreamMessage& m) {
  std::ostringstream os;
  const VelStreamMessagePayload* p = m.payload().get();
  os << int(p->streamType()) << ":";
  if (auto* n = dynamic_cast<const VelStreamNotifyPayload*>(p)) {
    os << "N" << n->errorCode();
  } else if (auto* d = dynamic_cast<const VelStreamDataPayload*>(p)) {
    os << "D" << keySummary(d->eventKey());
    if (auto c = d->data()) {
      os << " " << c->sampleNum() << "," << int(c->numChannels()) << "," << int(c->sampleFormat()) << ","
         << c->numSamples() << "," << c->dataSize() << ":";
      uint32 fnv = 2166136261u;  // FNV-1a over the sample bytes
      for (uint32 i = 0; i < c->dataSize(); ++i) fnv = (fnv ^ c->data()[i]) * 16777619u;
      os << fnv;
    }
  } else if (auto* h = dynamic_cast<const VelStreamEventHeaderPayload*>(p)) {
    os << "H" << keySummary(h->eventKey()) << " n" << int(h->numChannels()) << " a" << h->isArray();
    for (const auto& i : h->deviceInfoChunks()) os << " d" << i->serialNo() << "/" << int(i->channel());
    if (h->arrayMasterInfo()) os << " m" << h->arrayMasterInfo()->serialNo();
    for (const auto& s : h->streamStatusChunks()) os << " s" << s->temperature() << "/" << int(s->channel());
    for (const auto& a : h->amplScalingChunks()) os << " g" << a->maxCount();
    if (auto w = h->streamSetupChunk().wavSetup()) os << " w" << w->sampleRate() << "/" << w->bitDepth();
    if (auto f = h->streamSetupChunk().fftSetup()) os << " f" << f->numPoints() << "/" << int(f->channel());
  } else if (auto* s = dynamic_cast<const VelStatusDataPayload*>(p)) {
    os << "S";
    if (auto t = s->trigChunk()) os << int(t->numTrigs()) << "," << int(t->state()[0]);
  } else {
    os << "?";
  }
  return os.str();
}

std::vector<std::string> summaries(const std::vector<MsgPtr>& msgs) {
  std::vector<std::string> out;
  for (const auto& m : msgs) out.push_back(summary(*m));
  return out;
}

// Feeds `capture` in pieces chosen by `nextPiece`, through a ring of `capacity` bytes,
// summarising each message as it comes and dropping it.
template <typename NextPiece>
std::vector<std::string> feedInPieces(const Bytes& capture, std::size_t capacity, NextPiece nextPiece) {
  VelStreamProcessor p(VEL_STREAM_WAVEFORM);
  CircularByteBuffer ring(capacity);
  std::vector<std::string> out;
  std::size_t pos = 0;
  std::size_t guard = 0;
  while (pos < capture.size()) {
    const std::size_t n = std::min({nextPiece(), capture.size() - pos, ring.freeSpace()});
    pos += ring.write(capture.data() + pos, n);
    while (MsgPtr m = p.pump(ring)) out.push_back(summary(*m));
    if (++guard > capture.size() * 2) break;  // no progress: the test fails below
  }
  EXPECT_EQ(pos, capture.size());
  return out;
}

TEST(StreamProcessor, SplitInvariance) {
  LogCapture log;
  const Bytes capture = CaptureGen(20240611).capture(240);

  VelStreamProcessor whole(VEL_STREAM_WAVEFORM);
  CircularByteBuffer big(capture.size());
  feed(big, capture);
  // Every message is held to the end, so no sample block may be reused under them.
  const std::vector<MsgPtr> held = drain(whole, big);
  const std::vector<std::string> expected = summaries(held);
  ASSERT_EQ(expected.size(), 240u);
  for (char kind : {'N', 'D', 'H', 'S'}) {
    EXPECT_TRUE(std::any_of(expected.begin(), expected.end(),
                            [kind](const std::string& s) { return s[2] == kind; }))
        << kind;
  }

  for (std::size_t piece : {1, 2, 3, 5, 7, 13, 32, 1024}) {
    EXPECT_EQ(feedInPieces(capture, capture.size(), [piece] { return piece; }), expected) << piece;
  }
  std::mt19937 rng(7);
  std::uniform_int_distribution<std::size_t> size(1, 3000);
  EXPECT_EQ(feedInPieces(capture, capture.size(), [&] { return size(rng); }), expected) << "random";
  // A ring a little larger than the largest frame wraps in the middle of most frames.
  EXPECT_EQ(feedInPieces(capture, 8191, [&] { return size(rng); }), expected) << "wrapping";
  EXPECT_TRUE(log.lines().empty());
}

TEST(StreamProcessor, SampleBlocksAreReusedOnlyWhenReleased) {
  auto dataFrame = [](uint8 fill) {
    Bytes payload = {0x42, 0x00, 0x00, 0x00, 0, 0, 0, 0, 0x01, 0x02, 0x00, 0x08};
    payload.insert(payload.end(), 16, fill);
    return frame(0x31, payload);
  };
  auto samples = [](const MsgPtr& m) {
    return dynamic_cast<VelStreamDataPayload&>(*m->payload()).data();
  };
  VelStreamProcessor p(VEL_STREAM_WAVEFORM);
  CircularByteBuffer ring(1024);
  for (uint8 fill = 1; fill <= 6; ++fill) feed(ring, dataFrame(fill));
  MsgPtr first = p.pump(ring);
  const uint8* firstBytes = samples(first)->data().get();
  std::vector<const uint8*> later;
  for (int i = 0; i < 5; ++i) later.push_back(samples(p.pump(ring))->data().get());
  // The first message is still held: its samples are intact and its block is not reused.
  EXPECT_EQ(samples(first)->data()[15], 1);
  EXPECT_EQ(std::count(later.begin(), later.end(), firstBytes), 0);
  // Released messages give their blocks back: frames alternate over the same two blocks.
  EXPECT_EQ(later[0], later[2]);
  EXPECT_EQ(later[1], later[3]);
}

TEST(StreamProcessor, MessagesReleasedOnAnotherThreadKeepTheirSamples) {
  // A host that hands each message to a worker thread and decodes on meanwhile: no message
  // may see its samples, key or chunk overwritten by a later frame.
  constexpr uint32 kFrames = 3000;
  auto dataFrame = [](uint32 n) {
    const uint8 fill = static_cast<uint8>(n * 7 + 1);
    Bytes payload = {0x41, 0x00, 0x00, 0x00, 0, 0, 0, 0, 0, 0, 0, 0};
    payload.insert(payload.end(), {static_cast<uint8>(n >> 24), static_cast<uint8>(n >> 16),
                                   static_cast<uint8>(n >> 8), static_cast<uint8>(n)});
    payload.insert(payload.end(), {0x42, 0x00, 0x00, 0x00, static_cast<uint8>(n >> 24),
                                   static_cast<uint8>(n >> 16), static_cast<uint8>(n >> 8),
                                   static_cast<uint8>(n), 0x01, 0x03, 0x00, 0x40});
    payload.insert(payload.end(), 3 * 64, fill);
    return frame(0x31, payload);
  };

  std::mutex mutex;
  std::condition_variable ready;
  std::deque<MsgPtr> queue;
  bool done = false;
  uint32 checked = 0;
  uint32 wrong = 0;
  std::thread worker([&] {
    for (;;) {
      MsgPtr m;
      {
        std::unique_lock<std::mutex> lock(mutex);
        ready.wait(lock, [&] { return done || !queue.empty(); });
        if (queue.empty()) return;
        m = std::move(queue.front());
        queue.pop_front();
      }
      const auto& d = dynamic_cast<const VelStreamDataPayload&>(*m->payload());
      const uint32 n = d.data()->sampleNum();
      const uint8 fill = static_cast<uint8>(n * 7 + 1);
      const auto& bytes = d.data()->data();
      bool ok = d.eventKey()->seqNum() == n && d.data()->dataSize() == 192u;
      for (uint32 i = 0; ok && i < 192; ++i) ok = bytes[i] == fill;
      wrong += ok ? 0 : 1;
      ++checked;
    }
  });

  VelStreamProcessor p(VEL_STREAM_WAVEFORM);
  CircularByteBuffer ring(4096);
  for (uint32 n = 0; n < kFrames; ++n) {
    feed(ring, dataFrame(n));
    MsgPtr m = p.pump(ring);
    if (!m) {
      ADD_FAILURE() << "frame " << n << " not decoded";
      break;
    }
    std::lock_guard<std::mutex> lock(mutex);
    queue.push_back(std::move(m));
    ready.notify_one();
  }
  {
    std::lock_guard<std::mutex> lock(mutex);
    done = true;
    ready.notify_one();
  }
  worker.join();
  EXPECT_EQ(checked, kFrames);
  EXPECT_EQ(wrong, 0u);
}

TEST(StreamProcessor, BadInputNeverCrashesOrHangs) {
  LogCapture log;
  const Bytes clean = CaptureGen(99).capture(60);
  std::size_t total = 0;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    Bytes input;
    if (seed % 2) {
      // Random bytes, rich in markers and frame codes so that frames are attempted.
      const uint8 alphabet[] = {0x2A, 0x30, 0x31, 0x32, 0x35, 0x41, 0x42, 0x44, 0x46, 0x00, 0xFF};
      for (int i = 0; i < 6000; ++i) {
        input.push_back(rng() % 3 ? alphabet[rng() % sizeof alphabet] : static_cast<uint8>(rng()));
      }
    } else {
      // The clean capture with frames cut short and bytes flipped.
      input = clean;
      for (int i = 0; i < 30; ++i) {
        const std::size_t at = rng() % input.size();
        if (i % 2) {
          input[at] = static_cast<uint8>(rng());
        } else {
          input.erase(input.begin() + static_cast<std::ptrdiff_t>(at),
                      input.begin() + static_cast<std::ptrdiff_t>(std::min(input.size(), at + rng() % 40)));
        }
      }
    }
    VelStreamProcessor p(VEL_STREAM_STATUS);
    CircularByteBuffer ring(70000);
    std::size_t pos = 0;
    std::size_t pumps = 0;
    std::size_t messages = 0;
    while (pos < input.size()) {
      pos += ring.write(input.data() + pos, std::min<std::size_t>(1 + rng() % 700, input.size() - pos));
      while (MsgPtr m = p.pump(ring)) {
        ++messages;
        ASSERT_EQ(summary(*m).substr(0, 2), "3:") << seed;
        ASSERT_NE(summary(*m)[2], '?') << seed;
      }
      ++pumps;
    }
    // Every message takes at least its 4-byte header off the input.
    EXPECT_LE(messages, input.size() / 4) << seed;
    total += messages;
    EXPECT_LE(ring.bytesAvailable(), input.size());
    EXPECT_GT(pumps, 0u);
  }
  EXPECT_GT(total, 40u);  // the damaged inputs still yield frames to decode
}

}  // namespace
