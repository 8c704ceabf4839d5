#include <veliface/host/StreamSession.h>

#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamPayloads.h>

#include <SplitFeed.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8>;
using veliface::host::HostTime;
using veliface::host::StreamEvent;
using veliface::host::StreamSession;
using veliface::test::cat;

// Stream frame: code, marker, length (u16 BE), payload.
Bytes frame(uint8 code, const Bytes& payload) {
  Bytes f = {code, 0x2A, static_cast<uint8>(payload.size() >> 8), static_cast<uint8>(payload.size())};
  f.insert(f.end(), payload.begin(), payload.end());
  return f;
}

Bytes notify(uint8 code) { return frame(0x30, {0, 0, 0, code}); }

// A data message of `n` mono 16-bit samples starting at sample `first`: an all-zero event
// key (version 0) and a data chunk (version 0).
Bytes data(uint32 first, uint16 n) {
  Bytes p = {0x41, 0x00};
  p.insert(p.end(), 14, 0x00);
  p.insert(p.end(), {0x42, 0x00, 0x00, 0x00});
  p.insert(p.end(), {static_cast<uint8>(first >> 24), static_cast<uint8>(first >> 16),
                     static_cast<uint8>(first >> 8), static_cast<uint8>(first)});
  p.insert(p.end(), {0x01, 0x02, static_cast<uint8>(n >> 8), static_cast<uint8>(n)});
  p.insert(p.end(), 2u * n, 0x11);
  return frame(0x31, p);
}

std::vector<StreamEvent::Kind> kinds(const std::vector<StreamEvent>& events) {
  std::vector<StreamEvent::Kind> out;
  for (const auto& e : events) out.push_back(e.kind);
  return out;
}

}  // namespace

TEST(StreamSession, StartsDecodesAndCountsLostFramesWithNoiseBetweenFrames) {
  EXPECT_EQ(StreamSession::startMessage(), (Bytes{0x53, 0x2A, 0x00, 0x00}));
  // Ten-sample frames; the frames at 20 and 30 never come. Noise sits between frames.
  const Bytes bytes = cat({notify(0), data(0, 10), {0x01, 0x02, 0x03}, data(10, 10), data(40, 10),
                           {0x00}, data(50, 10)});
  for (std::size_t piece : veliface::test::pieceSizes()) {
    StreamSession s(VEL_STREAM_WAVEFORM);
    int dataMessages = 0;
    s.setSink([&](const VelStreamMessage& m) {
      if (dynamic_cast<const VelStreamDataPayload*>(m.payload().get())) ++dataMessages;
    });
    s.opened(HostTime(0));
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
      s.receive(bytes.data() + at, std::min(piece, bytes.size() - at), HostTime(1));
    }
    SCOPED_TRACE("piece " + std::to_string(piece));
    EXPECT_TRUE(s.started());
    EXPECT_EQ(kinds(s.takeEvents()), std::vector<StreamEvent::Kind>{StreamEvent::Kind::Started});
    EXPECT_EQ(dataMessages, 4);
    EXPECT_EQ(s.counters().samples, 40u);
    EXPECT_EQ(s.counters().lostFrames, 2u);
    EXPECT_EQ(s.counters().position, 60u);
  }
}

TEST(StreamSession, AReconnectionCountsOnFromTheStreamTimeBefore) {
  StreamSession s(VEL_STREAM_WAVEFORM);
  s.opened(HostTime(0));
  const Bytes first = cat({notify(0), data(0, 10), data(10, 10)});
  s.receive(first.data(), first.size(), HostTime(1));
  s.closed();
  s.opened(HostTime(2));
  // The new connection's stream counts its samples from 0 again: no gap, no loss.
  const Bytes second = cat({notify(0), data(0, 10)});
  s.receive(second.data(), second.size(), HostTime(3));
  EXPECT_EQ(s.counters().restarts, 1u);
  EXPECT_EQ(s.counters().position, 30u);
  EXPECT_EQ(s.counters().lostFrames, 0u);
}

TEST(StreamSession, SilenceIsReportedOnceAsAStallAndNoticesCarryTheirText) {
  StreamSession s(VEL_STREAM_SPECTRUM, StreamSession::Settings{HostTime(3000)});
  s.opened(HostTime(1000));
  s.tick(HostTime(3999));
  EXPECT_FALSE(s.stalled());
  s.tick(HostTime(4000));
  EXPECT_TRUE(s.stalled());
  s.tick(HostTime(9000));
  auto events = s.takeEvents();
  ASSERT_EQ(kinds(events), std::vector<StreamEvent::Kind>{StreamEvent::Kind::Stalled});
  EXPECT_EQ(events[0].text, "no data for 3.0 s");
  EXPECT_EQ(s.counters().stalls, 1u);

  // A byte at a time still counts as data; a notice comes with its text.
  const Bytes timeout = notify(2);
  for (std::size_t i = 0; i < timeout.size(); ++i) {
    s.receive(&timeout[i], 1, HostTime(10000 + 1000 * static_cast<int>(i)));
    s.tick(HostTime(10000 + 1000 * static_cast<int>(i)));
  }
  EXPECT_FALSE(s.stalled());
  events = s.takeEvents();
  ASSERT_EQ(kinds(events), std::vector<StreamEvent::Kind>{StreamEvent::Kind::Notice});
  EXPECT_EQ(events[0].code, 2u);
  EXPECT_EQ(events[0].text, "Stream timeout.");
  EXPECT_FALSE(s.started());

  // A closed port does not stall.
  s.closed();
  s.tick(HostTime(100000));
  EXPECT_TRUE(s.takeEvents().empty());
}
