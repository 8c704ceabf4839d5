#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>

#include <ControlFrames.h>
#include <LogCapture.h>
#include <SplitFeed.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;
using veliface::test::cat;

const Bytes kReset = {0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F};
const Bytes kSetTime1000 = {0x2A, 0x41, 0x04, 0x00, 0xE8, 0x03, 0x00, 0x00, 0x41, 0xD1};
// Its CRC, 0x2A4B, leaves a 0x2A behind in the buffer (set-time CRCs are not read).
const Bytes kSetTime230 = {0x2A, 0x41, 0x04, 0x00, 0xE6, 0x00, 0x00, 0x00, 0x4B, 0x2A};
const Bytes kUnknown47 = {0x2A, 0x47, 0x00, 0x00, 0xD8, 0xC7};
const Bytes kNotHandled5A = {0x2A, 0x5A, 0x00, 0x00, 0xEA, 0xC6};
const Bytes kSetBaud = {0x2A, 0x42, 0x01, 0x00, 0x07, 0x00, 0x00};

// The device's CRC of an enquire response is never read, so any two bytes do.
const Bytes kEnquireHeader = {0x2A, 0x45, 0x3B, 0x00};
const Bytes kEnquirePayload = veliface::test::enquirePayload();
const Bytes kEnquireCrc = {0x11, 0x22};
const Bytes kEnquire = cat({kEnquireHeader, kEnquirePayload, kEnquireCrc});

// One line per decoded message, to compare runs.
std::string describe(const std::shared_ptr<VelControlMessage>& m) {
  if (!m) return "none";
  const auto& p = m->payload();
  std::ostringstream os;
  if (auto* t = dynamic_cast<const VelSetTimeCmd*>(p.get())) {
    os << "SetTime " << t->time();
  } else if (dynamic_cast<const VelResetCmd*>(p.get())) {
    os << "Reset";
  } else if (auto* e = dynamic_cast<const VelEnquireCmd*>(p.get())) {
    const auto* hf = dynamic_cast<const VelEnqHFData*>(e->deviceData().get());
    os << "Enquire " << e->serial() << " " << e->firmwareVer() << " " << int(e->devType())
       << " " << (hf ? hf->modelString() : "-");
  } else {
    os << "other";
  }
  return os.str();
}

struct Harness {
  explicit Harness(std::size_t capacity = 4096) : ring(capacity) {}
  void feed(const Bytes& b) { ASSERT_EQ(ring.write(b.data(), b.size()), b.size()); }
  std::string pump() { return describe(proc.pump(ring)); }
  // Every message the bytes waiting now yield.
  std::vector<std::string> drain() {
    std::vector<std::string> out;
    for (auto m = proc.pump(ring); m; m = proc.pump(ring)) out.push_back(describe(m));
    return out;
  }
  CircularByteBuffer ring;
  VelControlProcessor proc;
};

using Strings = std::vector<std::string>;

}  // namespace

TEST(VelControlProcessor, SkipsGarbageAndLeavesUncheckedCrcInBuffer) {
  LogCapture log;
  Harness h;
  h.feed(cat({{0x00, 0xFF, 'x', 'y', 'z'}, kSetTime1000}));
  EXPECT_EQ(h.pump(), "SetTime 1000");
  EXPECT_EQ(h.proc.state(), &VelControlProcessor::st_endMsg);
  EXPECT_TRUE(h.proc.isEndState());
  EXPECT_EQ(describe(h.proc.message()), "SetTime 1000");
  EXPECT_EQ(h.ring.bytesAvailable(), 2u);  // the CRC of a set-time response is not read

  h.feed(kEnquire);
  EXPECT_EQ(h.pump(), "Enquire 4660 1.2.3 5 Aurel");
  EXPECT_EQ(h.ring.bytesAvailable(), 2u);
  EXPECT_EQ(h.pump(), "none");
  EXPECT_TRUE(log.lines().empty());
}

TEST(VelControlProcessor, WaitsWhenFewerThanFourBytes) {
  Harness h;
  h.feed({0x2A, 0x59, 0x00});
  EXPECT_EQ(h.pump(), "none");
  EXPECT_TRUE(h.proc.outOfData());
  EXPECT_EQ(h.proc.state(), &VelControlProcessor::st_sync);
  EXPECT_EQ(h.ring.bytesAvailable(), 3u);  // nothing consumed
  h.feed({0x00, 0xBA, 0x9F});
  EXPECT_EQ(h.pump(), "Reset");
}

TEST(VelControlProcessor, BadCrcIsReportedAndTheNextFrameDecodes) {
  LogCapture log;
  Harness h;
  h.feed({0x2A, 0x59, 0x00, 0x00, 0x34, 0x12});
  EXPECT_EQ(h.pump(), "none");
  EXPECT_EQ(log.lines(), Strings{"VelControlProcessor: warning bad CRC in message, typeCode: 0x59, "
                                 "crc calc'd: 0x9fba, crc msg: 0x1234"});
  // The payload was decoded before the check: it replaced message() but never ended.
  EXPECT_EQ(describe(h.proc.message()), "Reset");
  EXPECT_FALSE(h.proc.isEndState());

  log.clear();
  h.feed(kReset);
  EXPECT_EQ(h.pump(), "Reset");
  EXPECT_TRUE(log.lines().empty());
}

TEST(VelControlProcessor, UnknownNotHandledAndConsumedCodes) {
  LogCapture log;
  Harness h;
  h.feed(cat({kUnknown47, kNotHandled5A, kSetBaud, {0x2A, 0x00, 0x00, 0x00, 0x00, 0x00}, kReset}));
  EXPECT_EQ(h.drain(), Strings{"Reset"});
  EXPECT_EQ(log.lines(), (Strings{"Unknown Command response received! Code = 0x47",
                                  "One of the not handled Command response received! Code = 0x5a",
                                  "Unknown Command response received! Code = 0x0"}));
}

TEST(VelControlProcessor, OverlongHeaderIsAbandonedAndSearchRestartsAfterIt) {
  LogCapture log;
  Harness h;
  // Length 255 with six bytes waiting: the header is taken to be false, and the reset frame
  // right behind it is found by the renewed search.
  h.feed(cat({{0x2A, 0x41, 0xFF, 0x00}, kReset}));
  EXPECT_EQ(h.drain(), Strings{"Reset"});
  EXPECT_TRUE(log.lines().empty());

  // With fewer than four bytes waiting the header is kept and the processor waits.
  Harness w;
  w.feed({0x2A, 0x41, 0x04, 0x00, 0xE8, 0x03, 0x00});
  EXPECT_EQ(w.pump(), "none");
  EXPECT_EQ(w.proc.state(), &VelControlProcessor::st_readPayload);
  w.feed({0x00});
  EXPECT_EQ(w.pump(), "SetTime 1000");
}

TEST(VelControlProcessor, FruitlessRenewedSearchKeepsTheAbandonedHeaderOnPurpose) {
  // Set-time header with length 8 and five bytes behind it: the header is abandoned and
  // the renewed search reads 01 and 02 before fewer than four bytes wait. It took no
  // header, so the machine stays in st_readPayload with code 0x41 and length 8.
  LogCapture log;
  Harness h;
  h.feed({0x2A, 0x41, 0x08, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05});
  EXPECT_EQ(h.pump(), "none");
  EXPECT_TRUE(h.proc.outOfData());
  EXPECT_EQ(h.proc.state(), &VelControlProcessor::st_readPayload);
  EXPECT_EQ(h.ring.bytesAvailable(), 3u);

  // The next run takes the eight bytes 03 04 05 2A 59 00 00 BA as that header's payload:
  // a set-time response of 0x2A050403 comes out and the reset frame is lost. Its last CRC
  // byte is skipped as garbage and the frame after it decodes.
  h.feed(kReset);
  EXPECT_EQ(h.pump(), "SetTime 704971779");
  EXPECT_EQ(h.ring.bytesAvailable(), 1u);
  h.feed(cat({kReset, kSetTime1000}));
  EXPECT_EQ(h.drain(), (Strings{"Reset", "SetTime 1000"}));
  EXPECT_TRUE(log.lines().empty());
}

TEST(VelControlProcessor, LeftoverCrcByte0x2AIsTakenAsNextStart) {
  // The unread CRC 4B 2A of the set-time response leaves 0x2A in front of the next frame:
  // it is taken as a start, so "*", 0x59 becomes code and length low byte of a false
  // header, which is abandoned. The first reset frame is lost; the second decodes.
  LogCapture log;
  Harness h;
  h.feed(cat({kSetTime230, kReset, kReset}));
  EXPECT_EQ(h.drain(), (Strings{"SetTime 230", "Reset"}));
  EXPECT_TRUE(log.lines().empty());
}

TEST(VelControlProcessor, PayloadArrivingInPiecesIsDroppedOnPurpose) {
  // Deliberate: a payload is taken only when it is whole in the buffer. Once four or more
  // of its bytes wait without the rest, the header is abandoned and the frame is lost.
  // The renewed search reads the first payload byte and runs short, so the abandoned
  // header stays in force: the next run reads 59 bytes from the second payload byte on as
  // an enquire response, a garbled one (its serial 0x3112 is made of the bytes 12 31).
  Harness h;
  h.feed(cat({kEnquireHeader, Bytes(kEnquirePayload.begin(), kEnquirePayload.begin() + 4)}));
  EXPECT_EQ(h.pump(), "none");
  h.feed(cat({Bytes(kEnquirePayload.begin() + 4, kEnquirePayload.end()), kEnquireCrc, kReset}));
  EXPECT_EQ(h.drain(), (Strings{"Enquire 12562 .2.3 1 -", "Reset"}));

  // With fewer than four waiting, the processor keeps the header and waits for the rest.
  Harness w;
  w.feed(cat({kEnquireHeader, Bytes(kEnquirePayload.begin(), kEnquirePayload.begin() + 3)}));
  EXPECT_EQ(w.pump(), "none");
  w.feed(cat({Bytes(kEnquirePayload.begin() + 3, kEnquirePayload.end()), kEnquireCrc, kReset}));
  EXPECT_EQ(w.drain(), (Strings{"Enquire 4660 1.2.3 5 Aurel", "Reset"}));
}

// Split feeding. What holds for the control processor:
//  - a frame whose bytes are all written before the pump runs decodes exactly as when
//    written at once, whatever the piece size and wherever the ring wraps;
//  - pumping after every piece, a frame whose payload is at most 4 bytes always decodes
//    (its payload is whole by the time four bytes wait); a longer payload decodes only when
//    it arrives whole, otherwise it is dropped and the processor resynchronises on the
//    next frame.
TEST(VelControlProcessor, SplitFeeding) {
  const std::vector<Bytes> frames = {kEnquire, kReset, kSetTime1000, kReset};
  const Strings all = {"Enquire 4660 1.2.3 5 Aurel", "Reset", "SetTime 1000", "Reset"};
  const Bytes garbage = {0x01, 0x02, 0x03, 0x04};
  const Bytes stream = cat({garbage, frames[0], frames[1], frames[2], frames[3]});

  for (std::size_t piece : veliface::test::pieceSizes()) {
    SCOPED_TRACE("piece " + std::to_string(piece));

    // Pump once each frame is wholly present; the ring wraps inside the enquire frame.
    {
      CircularByteBuffer ring = veliface::test::makeWrappingBuffer(128, 100);
      VelControlProcessor proc;
      Strings got;
      veliface::test::feedInPieces(ring, garbage, piece, [] {});
      for (const Bytes& f : frames) {
        veliface::test::feedInPieces(ring, f, piece, [] {});
        for (auto m = proc.pump(ring); m; m = proc.pump(ring)) got.push_back(describe(m));
      }
      EXPECT_EQ(got, all);
    }

    // Pump after every piece.
    {
      CircularByteBuffer ring = veliface::test::makeWrappingBuffer(128, 100);
      VelControlProcessor proc;
      Strings got;
      veliface::test::feedInPieces(ring, stream, piece, [&] {
        for (auto m = proc.pump(ring); m; m = proc.pump(ring)) got.push_back(describe(m));
      });
      if (piece >= stream.size()) {
        EXPECT_EQ(got, all);
      } else {
        EXPECT_EQ(got, (Strings{"Reset", "SetTime 1000", "Reset"}));
      }
    }
  }
}
